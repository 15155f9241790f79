#pragma once

#include "elementtree.h"
#include "nameindex.h"

#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace quenlofar {

/// A stretch of a walk as a finished tree, which never changes again and may be read from any thread. It begins with
/// the nodes that were open where it begins, one inside the other, each the first child of the one around it; they
/// have come in an earlier segment and are opened anew only to have a place for their further children.
struct TreeSegment
{
    ElementTree tree; ///< finished; frames are those that were reported during the stretch
    quint32 openAtBegin = 0; ///< nodes that were opened anew, one inside the other
    quint32 openAtEnd = 0; ///< nodes that are still open behind it: the last child of the last child and so on
    quint64 items = 0; ///< nodes and leaves, those that were opened anew not counted
    quint64 begin = 0; ///< no item but the ones opened anew covers a byte before this one
    quint64 end = 0; ///< nor from this one on
    quint64 reach = 0; ///< where the last of the items ends whose size is known
    bool isLast = false; ///< the walk is over, and the tree has its result
    /// Of the nodes with NameIndex::fewestChildren and more, those that memory was there for; by their nodes.
    std::vector<NameIndex> nameIndexes;

    /// The index of a node's children; null where it has none. Rows are counted behind the one that was opened anew.
    const NameIndex *nameIndexOf(ElementTree::Item node) const;
};

/// When a stretch is long enough to be published.
struct SegmentPace
{
    quint64 firstItems = 2'000; ///< items of the first segment; each has up to twice as many as the one before
    quint64 mostItems = 1'000'000; ///< items of a segment
    std::chrono::milliseconds first{30}; ///< longest time of the first segment; doubles from one to the next
    std::chrono::milliseconds longest{2'000}; ///< longest time of a segment that has items
    quint64 mostBytes = quint64(1536) << 20; ///< memory of all segments together, estimated; beyond it the sink fails
};

/**
 * Cuts a walk into segments and publishes each when it is finished, so that another thread can show what was found
 * while the walk goes on: what is published is never written to again, and a segment costs a constant more than its
 * items. A walk has few segments, because they become longer and longer.
 */
class SegmentSink : public ElementSink
{
public:
    /// Takes a finished segment; called in the thread of the walk.
    using Publish = std::function<void(std::shared_ptr<const TreeSegment> segment)>;

    /// Publishes through `publish` at the pace of `pace`.
    SegmentSink(Publish publish, const SegmentPace &pace);

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    bool setElementSize(quint64 size) override;
    bool reportProblem(const quenlofar::ReportedProblem &problem) override;
    QString errorText() const override;

    /// Publishes what is there, because the walk may wait now for long: at once for the first few segments, later at
    /// the usual intervals. Called between two calls of the sink; never throws.
    void publishBeforeWaiting() noexcept;

private:
    struct OpenNode
    {
        quint64 offset = 0;
        quint64 size = 0;
        QString title;
        qint64 index = -1;
        quint32 children = 0; // in the segment that is being filled
    };
    using Clock = std::chrono::steady_clock;

    std::shared_ptr<TreeSegment> makeSegment() const;
    OpenNode &innermost() { return m_nodes[m_openCount - 1]; }
    void publishIfDue();
    void publish();
    void handOver();
    void finish(const RunResult &result);
    void noteIfWide(size_t level) noexcept;
    void indexNames(TreeSegment *segment) const noexcept;
    bool take(quint64 offset, quint64 size, qsizetype characters, OpenNode *parent);

    const Publish m_publish;
    const SegmentPace m_pace;
    DocumentStart m_start;
    std::shared_ptr<TreeSegment> m_segment; // that is being filled
    std::vector<std::shared_ptr<const TreeSegment>> m_finished; // but not handed over yet
    // The root is the first. Those behind the open ones are kept for their titles' memory.
    std::vector<OpenNode> m_nodes;
    size_t m_openCount = 1; // the root counted
    std::vector<std::vector<quint32>> m_wide; // nodes of the segment with many children, as rows from the root inwards
    quint64 m_itemsOfSegment;
    std::chrono::milliseconds m_timeOfSegment;
    Clock::time_point m_begin;
    quint64 m_published = 0; // segments
    quint64 m_bytes = 0; // estimated, of all segments
    bool m_isFull = false;
};

} // namespace quenlofar
