#include "segmentsink.h"

#include "decodetext.h"

#include <QCoreApplication>

#include <algorithm>
#include <exception>

namespace quenlofar {

namespace {

constexpr quint64 bytesOfItem = 18; // see ElementTree
constexpr quint64 bytesOfSegment = quint64(1) << 20; // that a tree takes in any case
constexpr quint64 publishedAtOnce = 4; // segments
constexpr quint64 itemsBetweenClocks = 0x3FF; // a mask: reading the clock takes longer than adding an item

} // namespace

SegmentSink::SegmentSink(Publish publish, const SegmentPace &pace)
    : m_publish(std::move(publish)), m_pace(pace), m_itemsOfSegment(pace.firstItems), m_timeOfSegment(pace.first)
{
}

std::shared_ptr<TreeSegment> SegmentSink::makeSegment() const
{
    auto segment = std::make_shared<TreeSegment>();
    segment->tree.beginDocument(m_start);
    for (const OpenNode &node : m_open)
        segment->tree.beginElement(node.offset, node.size, node.title, node.index);
    segment->openAtBegin = quint32(m_open.size());
    segment->begin = ~quint64(0);
    return segment;
}

void SegmentSink::publish()
{
    // What may fail for want of memory comes first: after a failure the segment goes on as before.
    std::shared_ptr<TreeSegment> next = makeSegment();
    m_finished.reserve(m_finished.size() + 1);
    m_segment->openAtEnd = quint32(m_open.size());
    m_segment->tree.endDocument({});
    m_finished.push_back(std::move(m_segment));
    m_segment = std::move(next);
    m_itemsOfSegment = std::min(m_itemsOfSegment * 2, m_pace.mostItems);
    m_timeOfSegment = std::min(m_timeOfSegment * 2, m_pace.longest);
    m_begin = Clock::now();
    m_bytes += bytesOfSegment;
    ++m_published;
    handOver();
}

/// A segment that is not taken stays, because those behind it are of no use without it.
void SegmentSink::handOver()
{
    while (!m_finished.empty()) {
        m_publish(m_finished.front());
        m_finished.erase(m_finished.begin());
    }
}

inline void SegmentSink::publishIfDue()
{
    const quint64 items = m_segment->items;
    if (Q_LIKELY(items < m_itemsOfSegment && ((items & itemsBetweenClocks) != itemsBetweenClocks)))
        return;
    if (items >= m_itemsOfSegment || Clock::now() - m_begin >= m_timeOfSegment)
        publish();
}

void SegmentSink::publishBeforeWaiting() noexcept
{
    if (!m_segment || m_segment->items == 0)
        return;
    if (m_published >= publishedAtOnce && Clock::now() - m_begin < m_timeOfSegment)
        return;
    try {
        publish();
    } catch (const std::exception &) {
        return; // no memory for one more segment: the items stay in the one that is being filled
    }
}

bool SegmentSink::beginDocument(const DocumentStart &start)
{
    m_start = {ownCopy(start.file), ownCopy(start.container),  start.fileSize,
               start.parser,        ownCopy(start.parserName), ownCopy(start.parserVersion)};
    m_open.clear();
    m_segment = makeSegment();
    m_begin = Clock::now();
    return true;
}

/// Counts an item; false where there is no room for more.
inline bool SegmentSink::take(quint64 offset, quint64 size, qsizetype characters)
{
    ++m_segment->items;
    if (size > 0) {
        m_segment->begin = std::min(m_segment->begin, offset);
        // sizeFromEnd: nobody knows yet how far it reaches
        const quint64 end = size > ~offset ? ~quint64(0) : offset + size;
        m_segment->end = std::max(m_segment->end, end);
        m_segment->reach = std::max(m_segment->reach, size == sizeFromEnd ? offset : end);
    }
    m_bytes += bytesOfItem + quint64(characters);
    if (Q_UNLIKELY(m_bytes > m_pace.mostBytes))
        m_isFull = true;
    return !m_isFull;
}

bool SegmentSink::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    publishIfDue();
    m_open.push_back({offset, size, title.toString(), index});
    try {
        m_segment->tree.beginElement(offset, size, title, index);
    } catch (...) {
        m_open.pop_back();
        throw;
    }
    return take(offset, size, 0);
}

bool SegmentSink::addField(const Field &field)
{
    publishIfDue();
    m_segment->tree.addField(field);
    constexpr qsizetype inRecord = 4; // characters that take no room of their own
    return take(field.offset, field.size, field.value.size() > inRecord ? qsizetype(field.value.size()) : 0);
}

bool SegmentSink::endElement()
{
    if (!m_open.empty())
        m_open.pop_back();
    return m_segment->tree.endElement();
}

bool SegmentSink::setElementSize(quint64 size)
{
    if (!m_open.empty())
        m_open.back().size = size;
    return m_segment->tree.setElementSize(size);
}

bool SegmentSink::reportFrame(const Frame &frame)
{
    return m_segment->tree.reportFrame(frame);
}

bool SegmentSink::reportProblem(const quenlofar::ReportedProblem &problem)
{
    return m_segment->tree.reportProblem(problem);
}

bool SegmentSink::endDocument(const RunResult &result)
{
    // Called once more where it throws; and there was no memory for a segment where the document did not even begin.
    m_open.clear();
    if (!m_segment && m_finished.empty())
        m_segment = makeSegment();
    if (m_segment) {
        m_finished.reserve(m_finished.size() + 1);
        m_segment->isLast = true;
        m_segment->openAtEnd = 0;
        m_segment->tree.endDocument(result);
        m_finished.push_back(std::move(m_segment));
    }
    handOver();
    return true;
}

QString SegmentSink::errorText() const
{
    if (!m_isFull)
        return {};
    return QCoreApplication::translate("quenlofar::SegmentSink", "the tree takes more than %1 MiB of memory")
        .arg(m_pace.mostBytes >> 20);
}

} // namespace quenlofar
