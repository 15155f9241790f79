#include "placefinder.h"

#include <algorithm>

namespace quenlofar {

namespace {

using Item = ElementTree::Item;

bool covers(const Field &field, quint64 offset)
{
    return offset - field.offset < field.size && offset >= field.offset;
}

} // namespace

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

bool PlaceFinder::beginDocument(const DocumentStart &start)
{
    m_sought.clear();
    m_places.clear();
    m_levels.clear();
    m_numbers.clear();
    m_refused = m_unwatched = 0;
    m_isComplete = true;
    m_isFull = false;
    m_depth = 0;
    const bool isBegun = m_kept.beginDocument(start);
    const auto fileSize = quint64(std::max<qint64>(start.fileSize, 0));
    for (const FileOffset &offset : m_offsets) {
        const std::optional<quint64> inFile = offset.in(fileSize);
        if (inFile && *inFile < fileSize)
            m_sought.push_back(*inFile);
    }
    std::sort(m_sought.begin(), m_sought.end());
    m_sought.erase(std::unique(m_sought.begin(), m_sought.end()), m_sought.end());
    m_places.resize(m_sought.size());
    for (size_t i = 0; i < m_sought.size(); ++i)
        m_places[i].offset = m_sought[i];
    prepareLevel(0, {false, 0, 0, fileSize, -1, {}, {}, {}, {}}, 0);
    m_levels[0].isKept = true;
    return isBegun;
}

bool PlaceFinder::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    if (admit({false, 0, offset, size, index, title, {}, {}, {}}, true))
        return true;
    ++m_refused;
    return false;
}

bool PlaceFinder::addField(const Field &field)
{
    return admit(field, false);
}

bool PlaceFinder::endElement()
{
    if (m_refused > 0) {
        --m_refused;
        return false;
    }
    if (m_unwatched > 0) {
        --m_unwatched;
        return true;
    }
    if (m_depth == 0)
        return true;
    closeLevel();
    if (m_levels[m_depth].isKept)
        m_kept.endElement();
    --m_depth;
    return true;
}

bool PlaceFinder::endDocument(const RunResult &result)
{
    // Without memory the levels are left as they were.
    if (m_depth == 0 && !m_levels.empty() && result.error.kind != FileError::Memory)
        closeLevel();
    return m_kept.endDocument(result);
}

QString PlaceFinder::errorText() const
{
    return m_kept.errorText();
}

bool PlaceFinder::coversSought(const Field &field) const
{
    const auto first = std::lower_bound(m_sought.begin(), m_sought.end(), field.offset);
    return first != m_sought.end() && *first - field.offset < field.size;
}

bool PlaceFinder::admit(const Field &field, bool isNode)
{
    if (m_unwatched > 0) {
        if (Q_UNLIKELY(coversSought(field)))
            m_isComplete = false;
        m_unwatched += isNode ? 1 : 0;
        return true;
    }
    if (Q_LIKELY(!m_isFull))
        lookAt(field, isNode);
    return !m_isFull;
}

void PlaceFinder::lookAt(const Field &field, bool isNode)
{
    Level &level = m_levels[m_depth];
    const quint64 number = level.names.count(pathName(field.name));
    const bool isCovered = coversSought(field);
    for (size_t i = 0; i < m_places.size(); ++i) {
        Place &place = m_places[i];
        if (isCovered && covers(field, place.offset)) {
            if (!isNode) {
                place.hasLeaf = true;
            } else if (m_depth + 1 > place.innermostLevel) {
                place.innermostLevel = place.outerLevel = m_depth + 1;
                place.around.clear();
                place.previous.reset();
                place.next.reset();
            }
        }
        if (!place.hasLeaf && !lookBeside(level, i, field, isNode) && level.beside[i].previousIsLast) {
            level.beside[i].previous.assign(level.last);
            level.beside[i].previousIsLast = false;
        }
    }

    const bool isSought = isCovered && !isNode;
    const bool opensLevel = isNode && (isCovered || m_pace == Pace::Thorough);
    const bool isKept = isSought || level.keepsNext;
    if (isKept) {
        keep(level, field, isNode, number);
        if (isNode && !opensLevel)
            m_kept.endElement();
    }
    level.keepsNext = isSought;
    level.last.assign(field, isNode);
    level.lastNumber = number;
    level.hasLast = true;
    level.lastIsKept = isKept;
    if (opensLevel) {
        prepareLevel(m_depth + 1, field, number);
        m_levels[++m_depth].isKept = isKept;
    } else if (isNode) {
        m_unwatched = 1;
    }
}

/// Whether the child `field`, which is about to become the level's last one, is now the closest before the place.
bool PlaceFinder::lookBeside(Level &level, size_t place, const Field &field, bool isNode)
{
    const quint64 offset = m_places[place].offset;
    Beside &beside = level.beside[place];
    const quint64 end = field.offset + field.size;
    if (field.offset > offset) {
        if (!beside.hasNext || field.offset < beside.earliestBegin) {
            beside.next.assign(field, isNode);
            beside.hasNext = true;
            beside.earliestBegin = field.offset;
        }
        return false;
    }
    if (covers(field, offset) || (beside.hasPrevious && end < beside.latestEnd))
        return false;
    beside.hasPrevious = beside.previousIsLast = true;
    beside.latestEnd = end;
    return true;
}

void PlaceFinder::prepareLevel(size_t depth, const Field &node, quint64 number)
{
    if (m_levels.size() <= depth)
        m_levels.emplace_back();
    Level &level = m_levels[depth];
    level.node.assign(node, true);
    level.number = number;
    level.isKept = level.hasLast = level.lastIsKept = level.keepsNext = false;
    level.names.clear();
    level.beside.resize(m_places.size());
    for (Beside &beside : level.beside)
        beside.hasPrevious = beside.hasNext = beside.previousIsLast = false;
}

/// Before the innermost level ends: what the places know of the levels around them grows by this one.
void PlaceFinder::closeLevel()
{
    const Level &level = m_levels[m_depth];
    const auto copyTo = [](std::optional<ItemCopy> *copy, const ItemCopy &item) { copy->emplace().assign(item); };
    for (size_t i = 0; i < m_places.size(); ++i) {
        Place &place = m_places[i];
        if (place.hasLeaf || place.outerLevel != m_depth)
            continue;
        const Beside &beside = level.beside[i];
        if (!place.previous && beside.hasPrevious) {
            copyTo(&place.previous, beside.previousIsLast ? level.last : beside.previous);
            place.previousLevel = m_depth;
        }
        if (!place.next && beside.hasNext) {
            copyTo(&place.next, beside.next);
            place.nextLevel = m_depth;
        }
        place.outerLevel = noLevel;
        if (m_depth > 0) {
            place.around.emplace_back();
            place.around.back().first.assign(level.node);
            place.around.back().second = level.number;
            place.outerLevel = m_depth - 1;
        }
    }
}

/// Keeps a child of the last level, with what it stands in and the sibling before it. A node stays open.
void PlaceFinder::keep(Level &level, const Field &field, bool isNode, quint64 number)
{
    const auto put = [this](const Field &item, bool itemIsNode, quint64 itemNumber) {
        m_numbers.push_back(itemNumber);
        const bool isPut =
            itemIsNode ? m_kept.beginElement(item.offset, item.size, item.name, item.index) : m_kept.addField(item);
        m_isFull = m_isFull || !isPut;
    };
    for (size_t depth = 1; depth <= m_depth; ++depth) {
        Level &around = m_levels[depth];
        if (around.isKept)
            continue;
        put(around.node.field(), true, around.number);
        around.isKept = m_levels[depth - 1].lastIsKept = true;
    }
    if (level.hasLast && !level.lastIsKept) {
        put(level.last.field(), level.last.isNode(), level.lastNumber);
        if (level.last.isNode())
            m_kept.endElement();
    }
    put(field, isNode, number);
}

std::vector<Item> PlaceFinder::leavesAt(quint64 offset) const
{
    std::vector<Item> leaves;
    const Item root = m_kept.root();
    Item node = root;
    for (quint32 row = 0;;) {
        if (row == m_kept.childCount(node)) {
            if (node == root)
                return leaves;
            row = m_kept.row(node) + 1;
            node = m_kept.parent(node);
            continue;
        }
        const Item item = m_kept.child(node, row);
        if (m_kept.isNode(item)) {
            node = item;
            row = 0;
            continue;
        }
        const quint64 begin = m_kept.offset(item);
        if (offset >= begin && offset - begin < m_kept.size(item))
            leaves.push_back(item);
        ++row;
    }
}

std::unique_ptr<GapPlace> PlaceFinder::gapAt(quint64 offset) const
{
    const auto place =
        std::find_if(m_places.begin(), m_places.end(), [offset](const Place &known) { return known.offset == offset; });
    if (place == m_places.end() || place->outerLevel != noLevel)
        return nullptr;
    auto gap = std::make_unique<GapPlace>();
    ElementTree &tree = gap->tree;
    tree.beginDocument(m_kept.document());
    const auto write = [&tree](const ItemCopy &item) {
        item.writeTo(tree);
        if (item.isNode())
            tree.endElement();
    };
    ElementPath path;
    const size_t depth = place->around.size();
    for (size_t level = 0; level <= depth; ++level) {
        if (place->previous && place->previousLevel == level)
            write(*place->previous);
        if (place->next && place->nextLevel == level)
            write(*place->next);
        if (level == depth)
            break;
        const auto &[node, number] = place->around[depth - 1 - level];
        node.writeTo(tree);
        path.append({pathName(node.field().name).toString(), number});
    }
    tree.endDocument(m_kept.result()); // which ends the nodes

    Item node = tree.root();
    for (size_t level = 0; level <= depth; ++level) {
        quint32 row = 0;
        if (place->previous && place->previousLevel == level)
            gap->neighbours.previous = tree.child(node, row++);
        if (place->next && place->nextLevel == level)
            gap->neighbours.next = tree.child(node, row++);
        if (level < depth)
            node = tree.child(node, row);
    }
    gap->innermost = node;
    gap->path = elementPathText(path);
    return gap;
}

PlaceFinder::PathWalk::PathWalk(const PlaceFinder &places)
    : m_places(places), m_reader(places.m_kept), m_current(places.m_kept.root())
{
}

QString PlaceFinder::PathWalk::pathOf(Item leaf)
{
    while (m_current != leaf)
        advance();
    return elementPathText(m_path);
}

/// Goes to the next item in the order of the tree.
void PlaceFinder::PathWalk::advance()
{
    const ElementTree &tree = m_places.m_kept;
    quint32 row = 0;
    while (row >= tree.childCount(m_current)) {
        m_path.removeLast();
        row = tree.row(m_current) + 1;
        m_current = tree.parent(m_current);
    }
    m_current = tree.child(m_current, row);
    m_path.append({pathName(m_reader.name(m_current)).toString(), m_places.m_numbers[m_next++]});
}

} // namespace quenlofar
