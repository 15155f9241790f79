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

const NameIndex *TreeSegment::nameIndexOf(ElementTree::Item node) const
{
    const auto found =
        std::lower_bound(nameIndexes.begin(), nameIndexes.end(), node,
                         [](const NameIndex &each, ElementTree::Item wanted) { return each.node() < wanted; });
    return found == nameIndexes.end() || found->node() != node ? nullptr : &*found;
}

SegmentSink::SegmentSink(Publish publish, const SegmentPace &pace)
    : m_publish(std::move(publish)), m_pace(pace), m_nodes(1), m_itemsOfSegment(pace.firstItems),
      m_timeOfSegment(pace.first)
{
}

std::shared_ptr<TreeSegment> SegmentSink::makeSegment() const
{
    auto segment = std::make_shared<TreeSegment>();
    segment->tree.beginDocument(m_start);
    for (size_t level = 1; level < m_openCount; ++level) {
        const OpenNode &node = m_nodes[level];
        segment->tree.beginElement(node.offset, node.size, node.title, node.index);
    }
    segment->openAtBegin = quint32(m_openCount - 1);
    segment->begin = ~quint64(0);
    return segment;
}

void SegmentSink::publish()
{
    // What may fail for want of memory comes first: after a failure the segment goes on as before.
    std::shared_ptr<TreeSegment> next = makeSegment();
    m_finished.reserve(m_finished.size() + 1);
    m_segment->openAtEnd = quint32(m_openCount - 1);
    finish({});
    m_finished.push_back(std::move(m_segment));
    m_segment = std::move(next);
    // Each node that is open was opened anew, as the first child of the one around it.
    for (size_t level = 0; level < m_openCount; ++level)
        m_nodes[level].children = 1;
    innermost().children = 0;
    m_itemsOfSegment = std::min(m_itemsOfSegment * 2, m_pace.mostItems);
    m_timeOfSegment = std::min(m_timeOfSegment * 2, m_pace.longest);
    m_begin = Clock::now();
    m_bytes += bytesOfSegment;
    ++m_published;
    handOver();
}

/// Ends the tree of the segment that is being filled.
void SegmentSink::finish(const RunResult &result)
{
    for (size_t level = 0; level < m_openCount; ++level)
        noteIfWide(level);
    m_segment->tree.endDocument(result);
    indexNames(m_segment.get());
    m_wide.clear();
}

/// Remembers where the node at `level` is if it has many children.
void SegmentSink::noteIfWide(size_t level) noexcept
{
    if (Q_LIKELY(m_nodes[level].children < NameIndex::fewestChildren))
        return;
    try {
        std::vector<quint32> rows;
        for (size_t above = 0; above < level; ++above)
            rows.push_back(m_nodes[above].children - 1);
        m_wide.push_back(std::move(rows));
    } catch (const std::bad_alloc &) {
        return; // its children are looked at one by one
    }
}

void SegmentSink::indexNames(TreeSegment *segment) const noexcept
{
    try {
        for (const std::vector<quint32> &rows : m_wide) {
            ElementTree::Item node = segment->tree.root();
            bool isOpenedAnew = rows.size() <= segment->openAtBegin;
            for (const quint32 row : rows) {
                node = segment->tree.child(node, row);
                isOpenedAnew = isOpenedAnew && row == 0;
            }
            const bool hasAnother = isOpenedAnew && rows.size() < segment->openAtBegin;
            segment->nameIndexes.emplace_back(segment->tree, node, hasAnother ? 1 : 0);
        }
    } catch (const std::bad_alloc &) {
        // Those that are there are whole ones.
    }
    std::sort(segment->nameIndexes.begin(), segment->nameIndexes.end(),
              [](const NameIndex &one, const NameIndex &other) { return one.node() < other.node(); });
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
    m_openCount = 1;
    m_nodes[0].children = 0;
    m_wide.clear();
    m_segment = makeSegment();
    m_begin = Clock::now();
    return true;
}

/// Counts an item, a child of the open node `parent`; false where there is no room for more.
inline bool SegmentSink::take(quint64 offset, quint64 size, qsizetype characters, OpenNode *parent)
{
    ++m_segment->items;
    ++parent->children;
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
    if (m_openCount == m_nodes.size())
        m_nodes.emplace_back();
    OpenNode &node = m_nodes[m_openCount];
    node.offset = offset;
    node.size = size;
    node.title.setUnicode(title.data(), int(title.size()));
    node.index = index;
    node.children = 0;
    m_segment->tree.beginElement(offset, size, title, index);
    ++m_openCount;
    return take(offset, size, 0, &m_nodes[m_openCount - 2]);
}

bool SegmentSink::addField(const Field &field)
{
    publishIfDue();
    m_segment->tree.addField(field);
    constexpr qsizetype inRecord = 4; // characters that take no room of their own
    return take(field.offset, field.size, field.value.size() > inRecord ? qsizetype(field.value.size()) : 0,
                &innermost());
}

bool SegmentSink::endElement()
{
    if (m_openCount > 1) {
        noteIfWide(m_openCount - 1);
        --m_openCount;
    }
    return m_segment->tree.endElement();
}

bool SegmentSink::setElementSize(quint64 size)
{
    if (m_openCount > 1)
        innermost().size = size;
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
    for (size_t level = 1; level < m_openCount; ++level)
        noteIfWide(level);
    m_openCount = 1;
    if (!m_segment && m_finished.empty())
        m_segment = makeSegment();
    if (m_segment) {
        m_finished.reserve(m_finished.size() + 1);
        m_segment->isLast = true;
        m_segment->openAtEnd = 0;
        finish(result);
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
