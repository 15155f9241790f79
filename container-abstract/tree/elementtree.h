#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"
#include "framelist.h"

#include <QString>
#include <QVector>

#include <memory>
#include <vector>

namespace quenlofar {

/**
 * Keeps everything that a run hands over, compactly, for random access: nodes, leaves and frames, with all texts
 * copied, so that the tree outlives the plug-in that filled it.
 *
 * Items appear when endDocument is called (which ends nodes that are still open); before that the tree is empty. It
 * then does not change any more and may be read from several threads; the next beginDocument empties it. Items are
 * addressed by handles. Parent, row, number of children and n-th child of an item are found in constant time. Needs
 * at most about 18 bytes per item, texts and child index included, in typical files, 12 where most items are fields of
 * small records, and never more than that at a time.
 *
 * Where memory runs out calls throw std::bad_alloc, at the bound std::length_error; what came before stays, and is
 * there to be read after endDocument, which takes no memory. A finished tree takes nothing more.
 */
class CONTAINERABSTRACT_EXPORT ElementTree : public ElementSink
{
public:
    /// A node or leaf of the tree; root() is the document itself.
    using Item = quint32;

    /// As many bytes as memory has.
    static constexpr quint64 unbounded = ~quint64(0);

    class FieldReader;

    /// A problem that the parser reported, with a text of its own.
    struct Problem
    {
        Item item; ///< the node that it is in, or root()
        quenlofar::KeptProblem problem; ///< what is wrong where
    };

    /// Items and their texts take at most `maxBytes`; the frames are not counted.
    explicit ElementTree(quint64 maxBytes = unbounded);
    ~ElementTree() override;

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    bool setElementSize(quint64 size) override;
    bool reportProblem(const quenlofar::ReportedProblem &problem) override;

    const DocumentStart &document() const; ///< what beginDocument brought
    const RunResult &result() const; ///< what endDocument brought
    const FrameList &frames() const; ///< in the order in which they were reported
    const std::vector<Problem> &problems() const; ///< by their items; those of one item as they were reported

    Item root() const; ///< as long as the file, without a name
    Item parent(Item item) const; ///< the root's parent is the root
    quint32 row(Item item) const; ///< position among the parent's children, from 0
    quint32 childCount(Item item) const; ///< 0 for a leaf
    Item child(Item item, quint32 row) const; ///< `row` is below childCount(item)
    /// The deepest item that covers the byte at `offset`, in bytes from the start of the file: each node around it, the
    /// root apart, covers the byte too. Of several equally deep ones the first in the order of the document; root()
    /// where there is none. An item without bytes covers none. Time is logarithmic in the number of children of each
    /// node on the way where these are in order, each beginning at or behind the end of the one before; linear where
    /// they are not, and all of them that cover the byte are followed. May throw std::bad_alloc.
    Item itemAt(quint64 offset) const;
    quint64 itemCount() const; ///< nodes and leaves, the root not counted

    bool isNode(Item item) const; ///< true for the root too
    bool isUnparsedData(Item item) const; ///< a leaf over bytes that nobody interprets
    quint64 offset(Item item) const; ///< bytes from the start of the file
    quint64 size(Item item) const; ///< bytes
    qint64 index(Item item) const; ///< ordinal among repeated records, or -1
    QString name(Item item) const; ///< a node's title, a leaf's name
    QString value(Item item) const; ///< of a leaf; empty for a node
    QString meaning(Item item) const; ///< of a leaf, see Field; empty for a node
    QString description(Item item) const; ///< of a leaf, see Field; empty for a node
    bool flag(Item item) const; ///< of a leaf, see Field; false for a node
    uchar code(Item item) const; ///< of a leaf, see Field; 0 for a node

    /// Hands the whole document to `sink`, as the run that filled the tree did (frames last); false when it failed.
    bool replay(ElementSink &sink) const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

/// Reads items of a finished tree without an allocation for each text. What it returns is valid until the next call on
/// the same reader; the tree has to outlive it.
class CONTAINERABSTRACT_EXPORT ElementTree::FieldReader
{
public:
    /// Reads items of `tree`; several readers may read one tree.
    explicit FieldReader(const ElementTree &tree);
    ~FieldReader();

    /// A node comes as a field that has its title for a name.
    Field field(Item item);
    /// A node's title, a leaf's name.
    QStringView name(Item item);

private:
    struct Buffers;
    const ElementTree &m_tree;
    std::unique_ptr<Buffers> m_buffers;
};

} // namespace quenlofar
