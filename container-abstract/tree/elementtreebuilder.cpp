#include "elementtree_p.h"

#include <algorithm>
#include <limits>
#include <new>

namespace quenlofar {

namespace {

constexpr quint64 max32 = std::numeric_limits<quint32>::max();

/// The number that `text` prints, if it is what printing that number gives and the number is below 2^32.
bool isDecimal(QStringView text, quint32 *number)
{
    constexpr int mostDigits = 10;
    const char16_t *const digits = text.utf16();
    if (text.size() > mostDigits || (digits[0] == u'0' && text.size() > 1))
        return false;
    quint64 sum = 0;
    for (int i = 0; i < int(text.size()); ++i) {
        const quint32 digit = quint32(digits[i]) - u'0';
        if (digit > 9)
            return false;
        sum = sum * 10 + digit;
    }
    *number = quint32(sum);
    return sum <= max32;
}

bool isLatin1(QStringView text)
{
    return std::all_of(text.utf16(), text.utf16() + text.size(), [](char16_t unit) { return unit <= 0xFF; });
}

quint64 withContent(quint64 secondWord, quint32 content)
{
    return quint32(secondWord) | quint64(content) << 32;
}

} // namespace

ElementTree::Private::Private(quint64 bound) : maxBytes(bound), pool(bound) { }

void ElementTree::Private::provide(quint64 chunks)
{
    // For all chunks that the pool can have then: it may take more than what is missing, and any store may get them.
    for (WordStore *store : {&items, &pending, &side})
        store->expectChunks(pool.total() + chunks + ChunkPool::chunksOfSlab);
    pool.provide(chunks);
    if (items.size() == 0) {
        labels.intern({false, 0, 0, 0, -1, {}, {}, {}, {}}, 0);
        side.resize(1);
        items.resize(1);
    }
}

inline ItemRecord ElementTree::Private::packLeaf(const Field &field, quint32 label)
{
    const QStringView value = field.value;
    ItemKind kind = ItemKind::TextValue;
    quint32 content = 0;
    if (value.isEmpty()) {
        kind = ItemKind::EmptyValue;
    } else if (isDecimal(value, &content)) {
        kind = ItemKind::DecimalValue;
    } else if (value.size() <= 4 && value.back() != QChar(0) && isLatin1(value)) {
        kind = ItemKind::Latin1Value;
        content = 0;
        for (int i = 0; i < int(value.size()); ++i)
            content |= quint32(value.utf16()[i]) << 8 * i;
    } else {
        content = keepText(value);
    }
    return ItemRecord::make(kind, label, field.offset, field.size, content);
}

/// A node comes as a field that has its title for a name.
bool ElementTree::Private::add(ItemKind kind, const Field &field)
{
    if (Q_UNLIKELY(finished))
        return false;
    provideFor(0);
    quint64 rowMinusIndex = 0;
    if (field.index != -1)
        rowMinusIndex = (pending.size() - firstChild) / ItemRecord::wordCount - quint64(field.index);
    const quint32 label = labels.intern(field, rowMinusIndex);
    if (Q_UNLIKELY(label == LabelTable::full || field.offset > ItemRecord::maxOffset || field.size > max32))
        push(makeWide(kind == ItemKind::Node ? ItemKind::WideNode : ItemKind::WideLeaf, field));
    else if (kind == ItemKind::Node)
        push(ItemRecord::make(kind, label, field.offset, field.size, 0));
    else
        push(packLeaf(field, label));
    ++itemCount;
    return true;
}

ItemRecord ElementTree::Private::makeWide(ItemKind kind, const Field &field)
{
    // The name is one of few even where the rest is not: the label keeps it, unless there is no room for names either.
    const quint32 label = labels.intern({false, 0, 0, 0, -1, field.name, {}, {}, {}}, 0);
    const quint32 name = label == LabelTable::full ? keepText(field.name) : 0;
    const quint32 value = keepText(field.value);
    const quint32 meaning = keepText(field.meaning);
    const quint32 description = keepText(field.description);

    provideFor(WideWordCount);
    const quint32 position = side.size();
    side.resize(position + WideWordCount);
    *side.write(position + WideOffset) = field.offset;
    *side.write(position + WideSize) = field.size;
    *side.write(position + WideIndex) = quint64(field.index);
    *side.write(position + WideFlagAndCode) = quint64(field.flag) << 32 | field.code;
    *side.write(position + WideNameAndValue) = name | quint64(value) << 32;
    *side.write(position + WideMeaningAndDescription) = meaning | quint64(description) << 32;
    return ItemRecord::make(kind, label == LabelTable::full ? 0 : label, 0, position, 0);
}

/// Copies a text to the side and returns where; 0 for an empty one. From the low end: one bit that says whether a
/// character takes one byte or two, 31 bits of length, the characters.
quint32 ElementTree::Private::keepText(QStringView text)
{
    if (text.isEmpty())
        return 0;
    if (quint64(text.size()) > max32 / 2)
        throw std::bad_alloc();
    const bool isNarrow = isLatin1(text);
    const int bits = isNarrow ? 8 : 16;
    const quint64 words = (32 + quint64(text.size()) * quint64(bits) + 63) / 64;
    provideFor(words);

    const quint32 position = side.size();
    side.resize(position + quint32(words));
    quint32 at = position;
    quint64 word = quint64(text.size()) << 1 | quint64(!isNarrow);
    int filled = 32;
    for (const char16_t *unit = text.utf16(); unit != text.utf16() + text.size(); ++unit) {
        word |= quint64(*unit) << filled;
        filled += bits;
        if (filled == 64) {
            *side.write(at++) = word;
            word = 0;
            filled = 0;
        }
    }
    if (filled > 0)
        *side.write(at) = word;
    return position;
}

void ElementTree::Private::openLastItem() noexcept
{
    quint64 *const second = pending.write(pending.size() - 1);
    *second = withContent(*second, firstChild);
    firstChild = pending.size();
    ++openNodes;
}

/// A node that began without a size is a wide one: sizeFromEnd is none that a record has room for.
void ElementTree::Private::setOpenSize(quint64 size) noexcept
{
    const ItemRecord node = pendingRecord(firstChild - ItemRecord::wordCount);
    if (node.kind() == ItemKind::WideNode)
        *side.write(node.widePosition() + WideSize) = size;
}

void ElementTree::Private::keepProblem(const quenlofar::ReportedProblem &problem)
{
    const bool hasNode = openNodes > 0;
    if (hasNode)
        unplaced.reserve(unplaced.size() + 1);
    problems.push_back({hasNode ? firstChild - ItemRecord::wordCount : 0, keptProblem(problem)});
    if (hasNode)
        unplaced.push_back(problems.size() - 1);
}

void ElementTree::Private::closeNode() noexcept
{
    const quint32 first = firstChild;
    const quint32 children = moveChildren(first);
    quint64 *const second = pending.write(first - 1);
    firstChild = quint32(*second >> 32);
    *second = withContent(*second, children);
    --openNodes;
}

/// Moves the records from `first` on to their final place and returns the position of their header, 0 if there are
/// none.
quint32 ElementTree::Private::moveChildren(quint32 first) noexcept
{
    const quint32 count = (pending.size() - first) / ItemRecord::wordCount;
    if (count == 0)
        return 0;
    const ItemRecord node = first == 0 ? ItemRecord{0, 0} : pendingRecord(first - ItemRecord::wordCount);
    const quint64 nodeOffset = Q_UNLIKELY(node.isWide()) ? offsetOf(node) : node.offset();
    const quint32 header = items.size();
    ChildrenTraits traits{true, true};
    if (!moveFewShortChildren(first, header, nodeOffset, &traits.inOrder)) {
        traits = traitsOf(first, nodeOffset);
        if (traits.canBeShort)
            moveShortChildren(first, header, nodeOffset);
        else
            moveLongChildren(first, header);
    }
    *items.write(header) = count | (traits.inOrder ? inOrderBit : 0);
    items.mark(header);
    return header;
}

/// The way of most nodes, in one pass: false, with nothing moved, where the children cannot be short or lie in more
/// than one chunk.
inline bool ElementTree::Private::moveFewShortChildren(quint32 first, quint32 header, quint64 nodeOffset,
                                                       bool *inOrder) noexcept
{
    const quint32 size = pending.size() - first;
    const quint32 count = size / ItemRecord::wordCount;
    const quint64 *const words = pending.inOneChunk(first, size);
    if (!words || !WordStore::areInOneChunk(header + 1, count)
        || !ItemRecord{words[0], words[1]}.canBeShort(nodeOffset))
        return false;
    items.resize(header + 1 + count);
    quint64 *const out = items.write(header + 1);
    bool isSorted = true;
    quint64 endBefore = 0;
    for (quint32 i = 0; i < count; ++i) {
        const quint64 *const pair = words + size_t(i) * ItemRecord::wordCount;
        const ItemRecord record{pair[0], pair[1]};
        if (Q_UNLIKELY(!record.canBeShort(nodeOffset))) {
            items.resize(header);
            return false;
        }
        out[i] = record.toShort(nodeOffset);
        isSorted &= record.offset() >= endBefore;
        endBefore = record.offset() + record.size(); // of 46 and 32 bits
    }
    pending.resize(first);
    *inOrder = isSorted;
    return true;
}

/// Of the records from `first` on.
ElementTree::Private::ChildrenTraits ElementTree::Private::traitsOf(quint32 first, quint64 nodeOffset) const
{
    ChildrenTraits traits{true, true};
    quint64 offsetBefore = 0;
    quint64 sizeBefore = 0;
    for (quint32 at = first; at != pending.size() && (traits.inOrder || traits.canBeShort);
         at += ItemRecord::wordCount) {
        const ItemRecord record = pendingRecord(at);
        const bool isWide = record.isWide();
        const quint64 offset = isWide ? offsetOf(record) : record.offset();
        // By subtraction: the end of a made-up item may lie beyond 2^64.
        traits.inOrder &= offset >= offsetBefore && offset - offsetBefore >= sizeBefore;
        traits.canBeShort = traits.canBeShort && record.canBeShort(nodeOffset);
        offsetBefore = offset;
        sizeBefore = isWide ? sizeOf(record) : record.size();
    }
    return traits;
}

void ElementTree::Private::moveLongChildren(quint32 first, quint32 header) noexcept
{
    const quint32 words = pending.size() - first;
    items.resize(header + 1 + words);
    for (quint32 i = 0; i < words; i += ItemRecord::wordCount) {
        const ItemRecord record = pendingRecord(first + i);
        if (record.isNode() && record.content() != 0) {
            quint64 *const childHeader = items.write(record.content());
            *childHeader = withContent(*childHeader, header + 1 + i);
        }
    }
    if (Q_UNLIKELY(!unplaced.empty()))
        placeProblems(first, header);
    items.moveTail(&pending, header + 1);
}

/// All of them are leaves, which have neither children nor problems that would have to follow.
void ElementTree::Private::moveShortChildren(quint32 first, quint32 header, quint64 nodeOffset) noexcept
{
    quint32 to = header + 1 + (pending.size() - first) / ItemRecord::wordCount;
    items.resize(to);
    // From the end to the begin: chunks come free on one side as they are needed on the other.
    while (pending.size() != first) {
        const quint32 last = pending.size() - ItemRecord::wordCount;
        *items.write(--to) = pendingRecord(last).toShort(nodeOffset);
        pending.resize(last);
    }
}

/// The records from `first` on in `pending` go behind the header at `header`, and so do the problems of these nodes.
void ElementTree::Private::placeProblems(quint32 first, quint32 header) noexcept
{
    // Problems of the node around them may have come already; its own place is not known yet.
    auto last = unplaced.end();
    while (last != unplaced.begin() && problems[*(last - 1)].item == first - ItemRecord::wordCount)
        --last;
    auto begin = last;
    for (; begin != unplaced.begin() && problems[*(begin - 1)].item >= first; --begin)
        problems[*(begin - 1)].item += header + 1 - first;
    unplaced.erase(begin, last);
}

void ElementTree::Private::finish() noexcept
{
    while (openNodes > 0)
        closeNode();
    rootChildren = moveChildren(0);
    std::stable_sort(problems.begin(), problems.end(),
                     [](const Problem &a, const Problem &b) { return a.item < b.item; });
    finished = true;
}

} // namespace quenlofar
