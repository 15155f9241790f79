#pragma once

#include "byterange.h"
#include "elementpath.h"
#include "segmentsink.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <unordered_map>
#include <vector>

namespace quenlofar {

/// A node or leaf of a GrowingTree: which segment it begins in, and its handle there. 0 is the root.
using TreeItem = quint64;

/**
 * The tree of a file as far as it is known, for one thread: a row of finished segments that are looked at as one tree.
 *
 * A segment is appended in time proportional to the number of open nodes, whatever it holds. Handles stay good. A node
 * that is complete never changes; one that is open gets children at its end. Parent, row, number of children and n-th
 * child are found in constant time, for children of nodes that lie in several segments in logarithmic time.
 */
class GrowingTree
{
public:
    /// More segments are never made.
    static constexpr quint64 mostSegments = quint64(1) << 20;
    /// Bits of an item's handle that are in use; the rest is free for a caller that keeps something beside it.
    static constexpr int handleBits = 52;

    GrowingTree();

    /// Appends what the walk found next; openNodes() are then those that are open behind it.
    void append(std::shared_ptr<const TreeSegment> segment);
    /// Takes the segments out, so that another thread can free their memory; the tree is empty then.
    std::vector<std::shared_ptr<const TreeSegment>> takeSegments();

    bool hasBegun() const { return !m_segments.empty(); } ///< document() says something
    bool isComplete() const { return m_isComplete; } ///< the walk is over, and result() says how it went
    const DocumentStart &document() const; ///< of the file that is walked
    const RunResult &result() const; ///< complete when isComplete()
    quint64 itemCount() const { return m_itemCount; } ///< nodes and leaves so far, the root not counted
    /// The nodes that will get more children, from the root inwards; the root alone before there is anything, none
    /// when the tree is complete.
    const std::vector<TreeItem> &openNodes() const { return m_open; }

    static constexpr TreeItem root() { return 0; } ///< as long as the file, without a name
    TreeItem parent(TreeItem item) const; ///< the root's parent is the root
    quint32 row(TreeItem item) const; ///< position among the parent's children, from 0
    quint32 childCount(TreeItem item) const; ///< so far; 0 for a leaf
    TreeItem child(TreeItem item, quint32 row) const; ///< `row` is below childCount(item)
    int depth(TreeItem item) const; ///< how many nodes are around it, the root counted; 0 for the root
    /// The deepest item that covers the byte at `offset`, as ElementTree::itemAt; root() where there is none so far.
    TreeItem itemAt(quint64 offset) const;

    bool isNode(TreeItem item) const; ///< true for the root too
    bool isUnparsedData(TreeItem item) const; ///< a leaf over bytes that nobody interprets
    quint64 offset(TreeItem item) const; ///< bytes from the start of the file
    /// Bytes; of a node whose size is known only at its end, up to the end of what was found so far.
    quint64 size(TreeItem item) const;
    /// The bytes that it covers; never reaches beyond 2^63.
    ByteRange range(TreeItem item) const { return {offset(item), size(item)}; }
    bool covers(TreeItem item, quint64 byte) const; ///< `byte` is one of its bytes
    QString name(TreeItem item) const; ///< a node's title, a leaf's name
    QString value(TreeItem item) const; ///< of a leaf; empty for a node
    QString meaning(TreeItem item) const; ///< of a leaf, see Field; empty for a node
    QString description(TreeItem item) const; ///< of a leaf, see Field; empty for a node

    /// The item's path as the listings of the program print it; null for the root. Of nodes with many children in one
    /// segment a thousand at most are looked at, see NameIndex.
    QString path(TreeItem item) const;
    /// The item at `path`, or the root where there is none so far. Looks at as few children as path().
    TreeItem find(const ElementPath &path) const;
    /// The names of children of `node` as paths have them, each once, in the order in which they first come, at most
    /// `most`. Time as path().
    QStringList childNames(TreeItem node, int most) const;
    /// How many children have that name; time as path().
    quint32 countOf(TreeItem node, QStringView name) const;

    quint32 segmentCount() const { return quint32(m_segments.size()); } ///< that were appended
    /// One of them; another thread may read it, too.
    const std::shared_ptr<const TreeSegment> &segment(quint32 number) const { return m_segments[number].segment; }
    /// The item that begins in the segment `segment` as `item`.
    static constexpr TreeItem handle(quint32 segment, ElementTree::Item item) { return quint64(segment) << 32 | item; }
    /// Whether `one` stands before `other` in the document; a node stands before what is in it.
    bool precedes(TreeItem one, TreeItem other) const;

private:
    /// A node's children within one segment.
    struct Part
    {
        quint32 segment;
        ElementTree::Item node; // the handle of the node, or of its continuation, in the segment
        quint32 firstRow; // of the part's first child among all children of the node
        quint32 skipped; // 1 where the first child in the segment is a continuation, otherwise 0
    };
    /// A node that was open at the end of a segment.
    struct Split
    {
        std::vector<Part> parts; // those without children are left out
        std::vector<TreeItem> splitChildren; // those of the children that are split too
        int depth = 0;
        quint32 childCount = 0;
        quint64 size = 0;
    };
    /// A segment and whose continuations the nodes are that it begins with, the root first.
    struct Held
    {
        std::shared_ptr<const TreeSegment> segment;
        std::vector<ElementTree::Item> chain;
        std::vector<TreeItem> originals;
    };

    static quint32 segmentOf(TreeItem item) { return quint32(item >> 32); }
    static ElementTree::Item inSegment(TreeItem item) { return quint32(item); }
    const ElementTree &treeOf(TreeItem item) const { return m_segments[segmentOf(item)].segment->tree; }
    TreeItem original(quint32 segment, ElementTree::Item item) const;
    void addPart(Split *split, quint32 segment, ElementTree::Item node, quint32 skipped);
    const Split *splitOf(TreeItem item) const;
    std::vector<TreeItem> splitsAt(quint64 byte) const;
    bool isBefore(TreeItem one, TreeItem other) const;
    std::vector<Part> partsOf(TreeItem node) const;
    quint32 rowsOf(const Part &part) const;
    template <typename Visit> void visitPart(const Part &part, quint32 rows, Visit visit) const;
    quint32 countBefore(TreeItem node, QStringView name, quint32 row) const;
    TreeItem childNamed(TreeItem node, QStringView name, quint64 number) const;

    std::vector<Held> m_segments;
    std::unordered_map<TreeItem, Split> m_splits; // the root is always one
    std::vector<TreeItem> m_open;
    quint64 m_itemCount = 0;
    quint64 m_end = 0; // of what was found so far
    bool m_isComplete = false;
};

} // namespace quenlofar
