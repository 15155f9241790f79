#include "byteaccounting.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace quenlofar {

namespace {

constexpr QStringView dataField{u"value"};

/// What covers a byte: the first kind of those whose leaves do, and whether there are several leaves.
using Cover = uchar;
constexpr Cover notCovered = 0;
constexpr Cover interpretedCover = 1;
constexpr Cover dataCover = 2;
constexpr Cover unparsedCover = 3;
constexpr Cover kindMask = 3;
constexpr Cover severalLeaves = 4;

Cover coverOf(const Field &field)
{
    if (field.isUnparsedData())
        return unparsedCover;
    return field.value.isEmpty() && field.name == dataField ? dataCover : interpretedCover;
}

Cover combined(Cover a, Cover b)
{
    if (a == notCovered || b == notCovered)
        return a | b;
    return Cover(std::min(a & kindMask, b & kindMask) | severalLeaves);
}

bool isOfKind(Cover cover, ByteAccounting::Kind kind)
{
    switch (kind) {
    case ByteAccounting::Kind::Interpreted:
        return (cover & kindMask) == interpretedCover;
    case ByteAccounting::Kind::Data:
        return (cover & kindMask) == dataCover;
    case ByteAccounting::Kind::Unparsed:
        return (cover & kindMask) == unparsedCover;
    case ByteAccounting::Kind::Gap:
        return cover == notCovered;
    case ByteAccounting::Kind::Overlap:
        break;
    }
    return (cover & severalLeaves) != 0;
}

/// How a file is covered: the places where the cover changes. From the last one on nothing is covered.
class CoverMap
{
public:
    /// Covers are told apart by the bits of `distinction` alone.
    explicit CoverMap(Cover distinction) : m_distinction(distinction) { }

    Cover distinction() const { return m_distinction; }
    quint64 size() const { return m_positions.size(); }
    quint64 position(size_t i) const { return m_positions[i]; }
    Cover cover(size_t i) const { return m_covers[i]; }
    quint64 end() const { return m_positions.back(); }

    /// Gives the memory back; nothing may be asked of the map any more.
    void drop() noexcept
    {
        decltype(m_positions)().swap(m_positions);
        decltype(m_covers)().swap(m_covers);
    }
    /// `position` is not before end(). May throw std::bad_alloc.
    void append(quint64 position, Cover cover)
    {
        cover &= m_distinction;
        if (position != end()) {
            if (cover == m_covers.back())
                return;
            m_positions.reserve(roomForOneMore(m_positions));
            m_covers.reserve(roomForOneMore(m_covers));
            m_positions.push_back(position);
            m_covers.push_back(cover);
            return;
        }
        m_covers.back() = cover;
        if (size() > 1 && m_covers[size() - 2] == cover) {
            m_positions.pop_back();
            m_covers.pop_back();
        }
    }

private:
    template <typename T> static size_t roomForOneMore(const std::vector<T> &values)
    {
        return values.size() < values.capacity() ? 0 : 2 * values.size();
    }

    Cover m_distinction;
    // Side by side rather than pairs: a pair would take 16 bytes.
    std::vector<quint64> m_positions{0};
    std::vector<Cover> m_covers{notCovered};
};

CoverMap united(const CoverMap &a, const CoverMap &b)
{
    CoverMap both(a.distinction());
    size_t nextOfA = 0;
    size_t nextOfB = 0;
    Cover coverByA = notCovered;
    Cover coverByB = notCovered;
    while (nextOfA < a.size() || nextOfB < b.size()) {
        constexpr quint64 never = std::numeric_limits<quint64>::max();
        const quint64 positionOfA = nextOfA < a.size() ? a.position(nextOfA) : never;
        const quint64 positionOfB = nextOfB < b.size() ? b.position(nextOfB) : never;
        if (positionOfA <= positionOfB)
            coverByA = a.cover(nextOfA++);
        if (positionOfB <= positionOfA)
            coverByB = b.cover(nextOfB++);
        both.append(std::min(positionOfA, positionOfB), combined(coverByA, coverByB));
    }
    return both;
}

/// One end of a leaf that came out of order.
struct LeafEnd
{
    quint64 position;
    Cover kind;
    bool begins;
};

/// How the leaves cover the file whose ends these are. Sorts them.
CoverMap mapOf(std::vector<LeafEnd> *ends, Cover distinction)
{
    std::sort(ends->begin(), ends->end(), [](const LeafEnd &a, const LeafEnd &b) { return a.position < b.position; });
    CoverMap map(distinction);
    size_t open[kindMask + 1] = {}; // leaves by kind
    for (size_t i = 0; i < ends->size(); ++i) {
        const LeafEnd &end = (*ends)[i];
        open[end.kind] += end.begins ? 1 : -size_t(1);
        if (i + 1 < ends->size() && (*ends)[i + 1].position == end.position)
            continue;
        Cover cover = notCovered;
        for (Cover kind = interpretedCover; kind <= unparsedCover; ++kind) {
            if (open[kind] > 0)
                cover = combined(cover, open[kind] > 1 ? Cover(kind | severalLeaves) : kind);
        }
        map.append(end.position, cover);
    }
    return map;
}

} // namespace

class ByteAccounting::Private
{
public:
    explicit Private(Detail wanted)
        : detail(wanted), map(wanted == Detail::EveryKind ? Cover(kindMask | severalLeaves) : kindMask)
    {
    }

    void add(quint64 begin, quint64 end, Cover kind);
    void mergePending();
    void drop() noexcept;

    // Fewer are not worth a merge.
    static constexpr size_t leastPending = 8192;

    const Detail detail;
    quint64 fileSize = 0;
    bool finished = false;
    CoverMap map;
    std::vector<LeafEnd> pending; // of leaves that begin before the end of the map
};

ByteAccounting::ByteAccounting(Detail detail) : d(new Private(detail)) { }

ByteAccounting::~ByteAccounting() = default;

bool ByteAccounting::beginDocument(const DocumentStart &start)
{
    d = std::make_unique<Private>(d->detail);
    d->fileSize = quint64(std::max<qint64>(start.fileSize, 0));
    return true;
}

bool ByteAccounting::beginElement(quint64, quint64, QStringView, qint64)
{
    return true;
}

bool ByteAccounting::addField(const Field &field)
{
    if (d->finished)
        return false;
    const quint64 begin = std::min(field.offset, d->fileSize);
    const quint64 end = begin + std::min(field.size, d->fileSize - begin);
    if (begin == end)
        return true;
    const Cover cover = coverOf(field);
    d->add(begin, end, cover == dataCover && d->detail == Detail::Covered ? interpretedCover : cover);
    return true;
}

bool ByteAccounting::endElement()
{
    return true;
}

bool ByteAccounting::reportFrame(const Frame &)
{
    return true;
}

bool ByteAccounting::endDocument(const RunResult &result)
{
    if (result.error.kind == FileError::Memory)
        d->drop();
    else if (!d->finished)
        d->mergePending();
    d->finished = true;
    return true;
}

quint64 ByteAccounting::byteCount(Kind kind) const
{
    quint64 bytes = 0;
    visitRanges(kind, [&bytes](const ByteRange &range) {
        bytes += range.size;
        return true;
    });
    return bytes;
}

quint64 ByteAccounting::rangeCount(Kind kind) const
{
    quint64 count = 0;
    visitRanges(kind, [&count](const ByteRange &) {
        ++count;
        return true;
    });
    return count;
}

bool ByteAccounting::visitRanges(Kind kind, const std::function<bool(const ByteRange &)> &visitor) const
{
    if (!d->finished)
        return true;
    const CoverMap &map = d->map;
    for (size_t i = 0; i < map.size(); ++i) {
        if (!isOfKind(map.cover(i), kind))
            continue;
        const quint64 offset = map.position(i);
        // The cover may change and still be of the kind.
        while (i + 1 < map.size() && isOfKind(map.cover(i + 1), kind))
            ++i;
        const quint64 end = i + 1 < map.size() ? map.position(i + 1) : d->fileSize;
        if (offset < end && !visitor({offset, end - offset}))
            return false;
    }
    return true;
}

void ByteAccounting::Private::add(quint64 begin, quint64 end, Cover kind)
{
    if (begin >= map.end()) {
        map.append(begin, kind);
        map.append(end, notCovered);
        return;
    }
    pending.push_back({begin, kind, true});
    pending.push_back({end, kind, false});
    // As many as what they are merged with: each merge is paid for by the leaves that led to it.
    if (pending.size() >= leastPending && pending.size() >= map.size())
        mergePending();
}

void ByteAccounting::Private::mergePending()
{
    if (pending.empty())
        return;
    map = united(map, mapOf(&pending, map.distinction()));
    pending.clear();
}

void ByteAccounting::Private::drop() noexcept
{
    map.drop();
    decltype(pending)().swap(pending);
}

} // namespace quenlofar
