#pragma once

#include "elementpath.h"
#include "elementtree.h"

#include <QStringView>

#include <optional>
#include <vector>

namespace quenlofar {

/// What stands at one byte of a file.
struct BytePlace
{
    quint64 offset = 0; ///< of the byte, from the start of the file
    std::vector<ElementTree::Item> leaves; ///< all that cover it, in the order of the tree
    ElementTree::Item innermost = 0; ///< the deepest node that covers it, of several the first; the root for none
};

/// The items beside a place; nothing where there are none.
struct Neighbours
{
    std::optional<ElementTree::Item> previous;
    std::optional<ElementTree::Item> next;
};

/// Looks at every item of `tree`, because in damaged files items reach out of the nodes that they stand in.
BytePlace findPlace(const ElementTree &tree, quint64 offset);
/// The siblings before and after `item`.
Neighbours siblingsOf(const ElementTree &tree, ElementTree::Item item);
/// The items closest before and behind `offset`, which no leaf covers: in `node`, or where it has none there, in the
/// nodes around it.
Neighbours neighboursOf(const ElementTree &tree, ElementTree::Item node, quint64 offset);

/// Tells the paths of items that are asked for in the order of the tree. All of them together take one walk over it,
/// however many siblings they have.
class PathWalk
{
public:
    /// `tree` outlives the object.
    explicit PathWalk(const ElementTree &tree) : m_tree(tree), m_reader(tree), m_current(tree.root()) { }

    /// The path of `item`, valid until the next call. It is the item that was asked for last, or stands behind it.
    QStringView pathOf(ElementTree::Item item);

private:
    void advance();

    const ElementTree &m_tree;
    ElementTree::FieldReader m_reader;
    ElementPathTracker m_tracker;
    ElementTree::Item m_current;
};

} // namespace quenlofar
