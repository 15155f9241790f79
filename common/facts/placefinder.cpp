#include "placefinder.h"

namespace quenlofar {

namespace {

using Item = ElementTree::Item;

bool covers(const ElementTree &tree, Item item, quint64 offset)
{
    const quint64 begin = tree.offset(item);
    return offset >= begin && offset - begin < tree.size(item);
}

/// The item behind `item` in the order of the tree, or the root; `*depth` is that of the item.
Item nextItem(const ElementTree &tree, Item item, quint64 *depth)
{
    if (tree.childCount(item) > 0) {
        ++*depth;
        return tree.child(item, 0);
    }
    while (item != tree.root()) {
        const Item parent = tree.parent(item);
        const quint32 row = tree.row(item) + 1;
        if (row < tree.childCount(parent))
            return tree.child(parent, row);
        item = parent;
        --*depth;
    }
    return item;
}

/// Of the children of `node` that do not cover `offset` those that end and begin closest to it.
Neighbours neighboursAmongChildren(const ElementTree &tree, Item node, quint64 offset)
{
    Neighbours result;
    quint64 latestEnd = 0;
    quint64 earliestBegin = 0;
    for (quint32 row = 0; row < tree.childCount(node); ++row) {
        const Item child = tree.child(node, row);
        const quint64 begin = tree.offset(child);
        const quint64 end = begin + tree.size(child);
        if (begin > offset && (!result.next || begin < earliestBegin)) {
            result.next = child;
            earliestBegin = begin;
        } else if (begin <= offset && !covers(tree, child, offset) && (!result.previous || end >= latestEnd)) {
            result.previous = child;
            latestEnd = end;
        }
    }
    return result;
}

} // namespace

BytePlace findPlace(const ElementTree &tree, quint64 offset)
{
    BytePlace place{offset, {}, tree.root()};
    quint64 depth = 0;
    quint64 innermostDepth = 0;
    for (Item item = nextItem(tree, tree.root(), &depth); item != tree.root(); item = nextItem(tree, item, &depth)) {
        if (!covers(tree, item, offset))
            continue;
        if (!tree.isNode(item)) {
            place.leaves.push_back(item);
        } else if (depth > innermostDepth) {
            place.innermost = item;
            innermostDepth = depth;
        }
    }
    return place;
}

Neighbours siblingsOf(const ElementTree &tree, Item item)
{
    const Item parent = tree.parent(item);
    const quint32 row = tree.row(item);
    Neighbours result;
    if (row > 0)
        result.previous = tree.child(parent, row - 1);
    if (row + 1 < tree.childCount(parent))
        result.next = tree.child(parent, row + 1);
    return result;
}

Neighbours neighboursOf(const ElementTree &tree, Item node, quint64 offset)
{
    Neighbours result = neighboursAmongChildren(tree, node, offset);
    while (node != tree.root() && !(result.previous && result.next)) {
        node = tree.parent(node);
        const Neighbours outer = neighboursAmongChildren(tree, node, offset);
        if (!result.previous)
            result.previous = outer.previous;
        if (!result.next)
            result.next = outer.next;
    }
    return result;
}

QStringView PathWalk::pathOf(ElementTree::Item item)
{
    while (m_current != item)
        advance();
    return m_tracker.path();
}

/// Goes to the next item in the order of the tree.
void PathWalk::advance()
{
    quint32 row = 0;
    while (row >= m_tree.childCount(m_current)) {
        if (m_tree.isNode(m_current))
            m_tracker.leave();
        row = m_tree.row(m_current) + 1;
        m_current = m_tree.parent(m_current);
    }
    m_current = m_tree.child(m_current, row);
    if (m_tree.isNode(m_current))
        m_tracker.enter(m_reader.name(m_current));
    else
        m_tracker.leaf(m_reader.name(m_current));
}

} // namespace quenlofar
