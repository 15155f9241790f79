#include "growingtree.h"

#include <QSet>

#include <algorithm>
#include <functional>

namespace quenlofar {

GrowingTree::GrowingTree()
{
    m_open.push_back(root());
    m_splits[root()];
}

std::vector<std::shared_ptr<const TreeSegment>> GrowingTree::takeSegments()
{
    std::vector<std::shared_ptr<const TreeSegment>> segments;
    segments.reserve(m_segments.size());
    for (Held &held : m_segments)
        segments.push_back(std::move(held.segment));
    *this = GrowingTree();
    return segments;
}

void GrowingTree::addPart(Split *split, quint32 segment, ElementTree::Item node, quint32 skipped)
{
    const quint32 children = m_segments[segment].segment->tree.childCount(node) - skipped;
    if (children == 0)
        return;
    split->parts.push_back({segment, node, split->childCount, skipped});
    split->childCount += children;
}

void GrowingTree::append(std::shared_ptr<const TreeSegment> segment)
{
    const quint32 number = quint32(m_segments.size());
    const ElementTree &tree = segment->tree;
    m_itemCount += segment->items;
    m_end = std::max(m_end, segment->reach);
    m_isComplete = segment->isLast;

    // The nodes that the segment goes on with, and what it adds to them.
    m_segments.push_back({std::move(segment), {tree.root()}, m_open});
    Held &held = m_segments.back();
    for (quint32 level = 0; level < held.segment->openAtBegin; ++level)
        held.chain.push_back(tree.child(held.chain.back(), 0));
    for (size_t level = 0; level < held.chain.size(); ++level) {
        Split &split = m_splits[m_open[level]];
        addPart(&split, number, held.chain[level], level + 1 < held.chain.size() ? 1 : 0);
        if (level > 0)
            split.size = tree.size(held.chain[level]);
    }
    // The nodes that are open behind it: each the last child of the one around it.
    const quint32 openAtEnd = held.segment->openAtEnd;
    m_open.assign(1, root());
    ElementTree::Item node = tree.root();
    for (quint32 level = 1; level <= openAtEnd; ++level) {
        node = tree.child(node, tree.childCount(node) - 1);
        if (level < held.chain.size() && held.chain[level] == node) {
            m_open.push_back(held.originals[level]);
            continue;
        }
        const TreeItem item = handle(number, node);
        m_splits[m_open.back()].splitChildren.push_back(item);
        Split &split = m_splits[item];
        split.depth = int(level);
        addPart(&split, number, node, 0);
        split.size = tree.size(node);
        m_open.push_back(item);
    }
    if (m_isComplete)
        m_open.clear();
}

const DocumentStart &GrowingTree::document() const
{
    return m_segments.front().segment->tree.document();
}

const RunResult &GrowingTree::result() const
{
    return m_segments.back().segment->tree.result();
}

/// The item that `item` is, or goes on with.
TreeItem GrowingTree::original(quint32 segment, ElementTree::Item item) const
{
    if (item == 0)
        return root();
    // A tree puts the children of a node down when it ends, so handles descend from the outer nodes to the inner ones.
    const Held &held = m_segments[segment];
    const auto first = held.chain.begin() + 1;
    const auto found = std::lower_bound(first, held.chain.end(), item, std::greater<>());
    return found == held.chain.end() || *found != item ? handle(segment, item)
                                                       : held.originals[size_t(found - held.chain.begin())];
}

const GrowingTree::Split *GrowingTree::splitOf(TreeItem item) const
{
    const auto found = m_splits.find(item);
    return found == m_splits.end() ? nullptr : &found->second;
}

TreeItem GrowingTree::parent(TreeItem item) const
{
    return item == root() ? root() : original(segmentOf(item), treeOf(item).parent(inSegment(item)));
}

quint32 GrowingTree::row(TreeItem item) const
{
    if (item == root())
        return 0;
    const quint32 rowInSegment = treeOf(item).row(inSegment(item));
    const Split *const split = splitOf(parent(item));
    if (!split)
        return rowInSegment;
    const auto part = std::lower_bound(split->parts.begin(), split->parts.end(), segmentOf(item),
                                       [](const Part &each, quint32 segment) { return each.segment < segment; });
    return part->firstRow + rowInSegment - part->skipped;
}

quint32 GrowingTree::childCount(TreeItem item) const
{
    if (const Split *const split = splitOf(item))
        return split->childCount;
    return treeOf(item).childCount(inSegment(item));
}

TreeItem GrowingTree::child(TreeItem item, quint32 row) const
{
    const Split *const split = splitOf(item);
    if (!split)
        return handle(segmentOf(item), treeOf(item).child(inSegment(item), row));
    const auto behind = std::upper_bound(split->parts.begin(), split->parts.end(), row,
                                         [](quint32 wanted, const Part &each) { return wanted < each.firstRow; });
    const Part &part = *(behind - 1);
    const ElementTree &tree = m_segments[part.segment].segment->tree;
    return handle(part.segment, tree.child(part.node, row - part.firstRow + part.skipped));
}

int GrowingTree::depth(TreeItem item) const
{
    int steps = 0;
    const Split *split = splitOf(item);
    for (; !split; split = splitOf(item)) {
        item = parent(item);
        ++steps;
    }
    return steps + split->depth;
}

/// The split nodes that cover the byte, and so does every node around them but the root, which is the first of them.
std::vector<TreeItem> GrowingTree::splitsAt(quint64 byte) const
{
    std::vector<TreeItem> covering = {root()};
    for (size_t i = 0; i < covering.size(); ++i) {
        for (const TreeItem child : splitOf(covering[i])->splitChildren) {
            if (covers(child, byte))
                covering.push_back(child);
        }
    }
    return covering;
}

/// Of two items of one depth: whether the first one stands before the other in the document.
bool GrowingTree::isBefore(TreeItem one, TreeItem other) const
{
    while (one != other) {
        const TreeItem parentOfOne = parent(one);
        const TreeItem parentOfOther = parent(other);
        if (parentOfOne == parentOfOther)
            return row(one) < row(other);
        one = parentOfOne;
        other = parentOfOther;
    }
    return false;
}

TreeItem GrowingTree::itemAt(quint64 offset) const
{
    TreeItem deepest = root();
    int depthOfDeepest = 0;
    const auto consider = [&](TreeItem item, int itemDepth) {
        if (itemDepth > depthOfDeepest || (itemDepth == depthOfDeepest && itemDepth > 0 && isBefore(item, deepest))) {
            deepest = item;
            depthOfDeepest = itemDepth;
        }
    };
    const std::vector<TreeItem> splits = splitsAt(offset);
    for (const TreeItem split : splits)
        consider(split, splitOf(split)->depth);
    for (quint32 number = 0; number < m_segments.size(); ++number) {
        const TreeSegment &segment = *m_segments[number].segment;
        if (offset < segment.begin || offset >= segment.end)
            continue;
        const TreeItem item = original(number, segment.tree.itemAt(offset));
        TreeItem around = item;
        int steps = 0;
        for (; !splitOf(around); around = parent(around))
            ++steps;
        if (steps > 0 && std::find(splits.begin(), splits.end(), around) != splits.end())
            consider(item, steps + splitOf(around)->depth);
    }
    return deepest;
}

bool GrowingTree::isNode(TreeItem item) const
{
    return item == root() || treeOf(item).isNode(inSegment(item));
}

bool GrowingTree::isUnparsedData(TreeItem item) const
{
    return item != root() && treeOf(item).isUnparsedData(inSegment(item));
}

quint64 GrowingTree::offset(TreeItem item) const
{
    return item == root() ? 0 : treeOf(item).offset(inSegment(item));
}

quint64 GrowingTree::size(TreeItem item) const
{
    if (item == root())
        return hasBegun() ? quint64(std::max<qint64>(document().fileSize, 0)) : 0;
    const Split *const split = splitOf(item);
    const quint64 size = split ? split->size : treeOf(item).size(inSegment(item));
    if (size != sizeFromEnd)
        return size;
    const quint64 begin = offset(item);
    return m_end > begin ? m_end - begin : 0;
}

bool GrowingTree::covers(TreeItem item, quint64 byte) const
{
    const quint64 begin = offset(item);
    return byte >= begin && byte - begin < size(item);
}

QString GrowingTree::name(TreeItem item) const
{
    return item == root() ? QString() : treeOf(item).name(inSegment(item));
}

QString GrowingTree::value(TreeItem item) const
{
    return item == root() ? QString() : treeOf(item).value(inSegment(item));
}

QString GrowingTree::meaning(TreeItem item) const
{
    return item == root() ? QString() : treeOf(item).meaning(inSegment(item));
}

QString GrowingTree::description(TreeItem item) const
{
    return item == root() ? QString() : treeOf(item).description(inSegment(item));
}

/// The children of `node` by segments.
std::vector<GrowingTree::Part> GrowingTree::partsOf(TreeItem node) const
{
    if (const Split *const split = splitOf(node))
        return split->parts;
    return {{segmentOf(node), inSegment(node), 0, 0}};
}

quint32 GrowingTree::rowsOf(const Part &part) const
{
    return m_segments[part.segment].segment->tree.childCount(part.node) - part.skipped;
}

/// Calls `visit(child, name)` for the first `rows` children of the part, until it returns false.
template <typename Visit> void GrowingTree::visitPart(const Part &part, quint32 rows, Visit visit) const
{
    const ElementTree &tree = m_segments[part.segment].segment->tree;
    ElementTree::FieldReader reader(tree);
    for (quint32 row = 0; row < rows; ++row) {
        const ElementTree::Item item = tree.child(part.node, row + part.skipped);
        if (!visit(handle(part.segment, item), pathName(reader.name(item))))
            return;
    }
}

/// Children of that name in rows before `row`.
quint32 GrowingTree::countBefore(TreeItem node, QStringView name, quint32 row) const
{
    quint32 count = 0;
    for (const Part &part : partsOf(node)) {
        if (part.firstRow >= row)
            break;
        const quint32 rows = std::min(row - part.firstRow, rowsOf(part));
        if (const NameIndex *const index = m_segments[part.segment].segment->nameIndexOf(part.node)) {
            count += rows == rowsOf(part) ? index->count(name) : index->countBefore(name, rows);
            continue;
        }
        visitPart(part, rows, [&count, name](TreeItem, QStringView other) {
            count += other == name ? 1U : 0U;
            return true;
        });
    }
    return count;
}

/// The child that has the name and `number` of its name before it; the root where there is none.
TreeItem GrowingTree::childNamed(TreeItem node, QStringView name, quint64 number) const
{
    for (const Part &part : partsOf(node)) {
        if (const NameIndex *const index = m_segments[part.segment].segment->nameIndexOf(part.node)) {
            const quint32 count = index->count(name);
            if (number < count) {
                const quint32 row = index->row(name, quint32(number));
                return handle(part.segment,
                              m_segments[part.segment].segment->tree.child(part.node, row + part.skipped));
            }
            number -= count;
            continue;
        }
        TreeItem found = root();
        visitPart(part, rowsOf(part), [&](TreeItem child, QStringView other) {
            if (other != name || number-- > 0)
                return true;
            found = child;
            return false;
        });
        if (found != root())
            return found;
    }
    return root();
}

QString GrowingTree::path(TreeItem item) const
{
    ElementPath path;
    for (; item != root(); item = parent(item)) {
        PathComponent component;
        component.name = pathName(name(item)).toString();
        component.number = countBefore(parent(item), component.name, row(item));
        path.prepend(component);
    }
    return elementPathText(path);
}

TreeItem GrowingTree::find(const ElementPath &path) const
{
    TreeItem node = root();
    for (const PathComponent &component : path) {
        if (node != root() && !isNode(node))
            return root();
        node = childNamed(node, component.name, component.number);
        if (node == root())
            return root();
    }
    return node;
}

QStringList GrowingTree::childNames(TreeItem node, int most) const
{
    QStringList names;
    QSet<QString> known;
    const auto add = [&](const QString &name) {
        if (int(names.size()) < most && !known.contains(name)) {
            known.insert(name);
            names.append(name);
        }
        return int(names.size()) < most;
    };
    for (const Part &part : partsOf(node)) {
        if (const NameIndex *const index = m_segments[part.segment].segment->nameIndexOf(part.node)) {
            const QStringList more = index->names(most);
            for (const QString &name : more)
                add(name);
        } else {
            visitPart(part, rowsOf(part), [&add](TreeItem, QStringView name) { return add(name.toString()); });
        }
    }
    return names;
}

quint32 GrowingTree::countOf(TreeItem node, QStringView name) const
{
    return countBefore(node, name, childCount(node));
}

bool GrowingTree::precedes(TreeItem one, TreeItem other) const
{
    if (one == other || other == root())
        return false;
    if (one == root())
        return true;
    // An item begins in the segment of its handle, and segments stand one behind the other.
    if (segmentOf(one) != segmentOf(other))
        return segmentOf(one) < segmentOf(other);
    const int depthOfOne = depth(one);
    const int depthOfOther = depth(other);
    TreeItem up = one;
    for (int level = depthOfOne; level > depthOfOther; --level)
        up = parent(up);
    TreeItem upOfOther = other;
    for (int level = depthOfOther; level > depthOfOne; --level)
        upOfOther = parent(upOfOther);
    return up == upOfOther ? depthOfOne < depthOfOther : isBefore(up, upOfOther);
}

} // namespace quenlofar
