#pragma once

#include "elementpath.h"
#include "elementtree.h"
#include "itemcopy.h"
#include "namecounter.h"
#include "offsetargument.h"

#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace quenlofar {

/// The items beside a place; nothing where there are none.
struct Neighbours
{
    std::optional<ElementTree::Item> previous;
    std::optional<ElementTree::Item> next;
};

/// The siblings before and after `item`.
Neighbours siblingsOf(const ElementTree &tree, ElementTree::Item item);

/// What stands around a byte that no leaf covers.
struct GapPlace
{
    ElementTree tree; ///< the nodes around it and the items beside it, nothing else
    ElementTree::Item innermost = 0; ///< the deepest node that covers it, of several the first; the root for none
    QString path; ///< of that node; null for the root
    /// The items closest before and behind: in the innermost node, or where it has none there, in the nodes around it.
    Neighbours neighbours;
};

/**
 * Finds during a walk what stands at some bytes of a file. It looks at every item, because in damaged files items reach
 * out of the nodes that they stand in, and keeps those that an answer needs: the leaves that cover a byte, the nodes
 * around them and the siblings beside them. Its calls may throw std::bad_alloc.
 *
 * What siblings are beside a leaf, and how many before it have its name, has to be followed all the time, which takes
 * several times as long as the walk. A quick finder follows it only inside of nodes that cover a byte of interest, and
 * finds out whether that was enough.
 */
class PlaceFinder : public ElementSink
{
public:
    using Item = ElementTree::Item;
    class PathWalk;

    enum class Pace { Quick, Thorough };

    /// Looks at the bytes at `offsets`, as far as they are in the file.
    PlaceFinder(std::vector<FileOffset> offsets, Pace pace) : m_offsets(std::move(offsets)), m_pace(pace) { }

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &) override { return true; }
    bool endDocument(const RunResult &result) override;
    QString errorText() const override;

    /// False when items reach out of their nodes so that a quick finder has missed something. What it answers is then
    /// of no use: the file has to be walked once more with a thorough one.
    bool isComplete() const { return m_isComplete; }
    /// Of the file, what is kept because a leaf covers one of the bytes. Siblings of such a leaf are here those beside
    /// it.
    const ElementTree &tree() const { return m_kept; }
    /// The leaves in tree() that cover the byte at `offset`, which was to be looked at, in the order of the file.
    std::vector<Item> leavesAt(quint64 offset) const;
    /// What is around the byte at `offset`, which was to be looked at and which no leaf covers. Null where the walk
    /// ended before that was known.
    std::unique_ptr<GapPlace> gapAt(quint64 offset) const;

private:
    static constexpr size_t noLevel = ~size_t(0);

    /// Of the children of an open node those that end and begin closest to a byte that they do not cover.
    struct Beside
    {
        bool hasPrevious;
        bool hasNext;
        bool previousIsLast; ///< it is the level's last child and not copied yet
        quint64 latestEnd;
        quint64 earliestBegin;
        ItemCopy previous;
        ItemCopy next;
    };
    /// An open node, or the document, and what came in it.
    struct Level
    {
        ItemCopy node;
        quint64 number; ///< among the like-named siblings of the node
        bool isKept; ///< it is open in m_kept
        bool hasLast;
        bool lastIsKept;
        bool keepsNext; ///< the last child covers a byte: the one behind it is wanted too
        ItemCopy last; ///< the latest child
        quint64 lastNumber;
        NameCounter names;
        std::vector<Beside> beside; ///< one for each place
    };
    /// A byte of interest.
    struct Place
    {
        quint64 offset;
        bool hasLeaf = false; ///< nothing of the following is needed then
        size_t innermostLevel = 0; ///< depth of the deepest node that covers it
        /// The level whose end adds the next outer node to what is known; noLevel when all is known.
        size_t outerLevel = 0;
        std::vector<std::pair<ItemCopy, quint64>> around; ///< the innermost node first, with their numbers
        std::optional<ItemCopy> previous;
        std::optional<ItemCopy> next;
        size_t previousLevel = 0;
        size_t nextLevel = 0;
    };

    bool coversSought(const Field &field) const;
    bool admit(const Field &field, bool isNode);
    void lookAt(const Field &field, bool isNode);
    bool lookBeside(Level &level, size_t place, const Field &field, bool isNode);
    void prepareLevel(size_t depth, const Field &node, quint64 number);
    void closeLevel();
    void keep(Level &level, const Field &field, bool isNode, quint64 number);

    const std::vector<FileOffset> m_offsets;
    const Pace m_pace;
    std::vector<quint64> m_sought; // offsets in the file, in order, each once
    std::vector<Place> m_places; // of them
    bool m_isComplete = true;
    quint64 m_unwatched = 0; // innermost open nodes of which nothing is followed
    std::vector<Level> m_levels; // of the other open nodes; some are only room for later ones
    size_t m_depth = 0; // the last level that is in use; 0 is the document
    quint64 m_refused = 0; // nodes that were begun when m_kept had no room left
    ElementTree m_kept;
    std::vector<quint64> m_numbers; // of the kept items among their like-named siblings, in the order of the file
    bool m_isFull = false; // m_kept has no room left
};

/// Tells the paths of leaves that a finder kept, asked for in the order of the tree: all together in one walk over it.
class PlaceFinder::PathWalk
{
public:
    /// `places` outlives the object.
    explicit PathWalk(const PlaceFinder &places);

    /// The path of `leaf`. It is the one that was asked for last, or stands behind it.
    QString pathOf(Item leaf);

private:
    void advance();

    const PlaceFinder &m_places;
    ElementTree::FieldReader m_reader;
    Item m_current;
    size_t m_next = 0; // in m_places.m_numbers
    ElementPath m_path; // of the current item
};

} // namespace quenlofar
