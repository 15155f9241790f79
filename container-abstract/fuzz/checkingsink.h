#pragma once

#include "containerrun.h"
#include "elementsink.h"
#include "require.h"

#include <functional>
#include <initializer_list>
#include <limits>
#include <vector>

namespace quenlofar {

/**
 * Hands everything on to other sinks and holds its caller to what a sink may rely on: the calls' order, nodes
 * that nest and are all ended, nothing new after a stop, the bounds, places inside of one another, frames that are
 * counted.
 */
class CheckingSink : public ElementSink
{
public:
    explicit CheckingSink(std::initializer_list<ElementSink *> sinks = {}) : m_sinks(sinks) { }

    quint64 itemLimit = std::numeric_limits<quint64>::max();
    quint64 depthLimit = std::numeric_limits<quint64>::max();
    /// From this call on (counted from 1) the sink takes no more; 0 is never.
    quint64 failAt = 0;
    /// Called at call number `cancelAt`, to cancel the run.
    quint64 cancelAt = 0;
    std::function<void()> cancel;
    /// A handler on its own neither announces streams nor counts frames nor stands at a sensible place.
    bool isWholeWalk = true;

    quint64 items() const { return m_items; }
    quint64 openNodes() const { return m_nodes.size(); }

    bool beginDocument(const DocumentStart &start) override
    {
        require(!m_isOpen, "a document begins once");
        m_isOpen = true;
        m_fileSize = start.fileSize;
        m_isWalked = !start.container.isNull();
        return toAll([&](ElementSink &sink) { return sink.beginDocument(start); });
    }

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        require(index >= -1, "an index is an ordinal or -1");
        admit(offset, size, true);
        m_nodes.push_back(offset);
        require(m_nodes.size() <= depthLimit, "no more nodes are open than the limit says");
        toAll([&](ElementSink &sink) { return sink.beginElement(offset, size, title, index); });
        return takes();
    }

    bool addField(const Field &field) override
    {
        admit(field.offset, field.size, false);
        require(!field.name.isEmpty(), "a leaf has a name");
        if (field.isUnparsedData())
            require(field.value.isEmpty() && field.meaning.isEmpty() && field.description.isEmpty(),
                    "unparsed data has no texts");
        if (field.name == QStringView(u"fccType") && field.meaning == QStringView(u"Video"))
            m_frameCounts.push_back(0);
        toAll([&](ElementSink &sink) { return sink.addField(field); });
        return takes();
    }

    bool endElement() override
    {
        require(m_isOpen, "a node ends inside the document");
        require(!m_nodes.empty(), "only a node that was begun is ended");
        m_nodes.pop_back();
        toAll([](ElementSink &sink) { return sink.endElement(); });
        return takes();
    }

    bool reportFrame(const Frame &frame) override
    {
        require(m_isOpen, "a frame is reported inside the document");
        if (isWholeWalk) {
            require(frame.stream < m_frameCounts.size(), "a frame belongs to a video stream that was announced");
            require(frame.number == m_frameCounts[frame.stream]++, "the frames of a stream are counted from 0");
        }
        toAll([&](ElementSink &sink) { return sink.reportFrame(frame); });
        return takes();
    }

    bool endDocument(const RunResult &result) override
    {
        require(m_isOpen, "a document that ends was begun, and ends once");
        require(m_nodes.empty(), "every node that was begun is ended");
        m_isOpen = false;
        require(result.items == m_items, "the run counts the items that it handed over");
        require((result.limit != RunLimit::None) == (result.limitValue != 0), "a limit is told with its value");
        require(result.limit != RunLimit::Items || result.items == itemLimit,
                "all items are used up before that limit");
        const bool wasStopped = result.limit != RunLimit::None || result.cancelled || !result.sinkError.isNull();
        // A cancel that comes with the last call cuts nothing short.
        require(!m_hasFailed || !m_isWalked || !result.sinkError.isNull(), "a sink that failed is told");
        if (m_isWalked) {
            require(result.videoStreams.size() == int(m_frameCounts.size()), "every announced video stream is told");
            require(wasStopped || m_isUnsure || m_covered >= quint64(m_fileSize),
                    "the items at the top level cover the whole file");
        }
        return toAll([&](ElementSink &sink) { return sink.endDocument(result); });
    }

    QString errorText() const override { return QStringLiteral("the sink is full"); }

private:
    void admit(quint64 offset, quint64 size, bool isNode)
    {
        require(m_isOpen, "an item comes inside the document");
        require(!m_isStopped, "no item comes after a stop");
        ++m_items;
        require(m_items <= itemLimit, "no more items come than the limit says");
        if (!isWholeWalk)
            return;
        if (!m_nodes.empty()) {
            require(offset >= m_nodes.back(), "an item does not begin before its node");
            return;
        }
        // The size of a node is a 32-bit number, so the largest of them are shown too small by 4 GiB.
        require(m_isUnsure || offset == m_covered, "the items at the top level stand side by side");
        m_covered = offset + size;
        m_isUnsure = m_isUnsure || (isNode && size < 8);
    }

    bool takes()
    {
        ++m_calls;
        if (cancelAt != 0 && m_calls == cancelAt) {
            cancel();
            m_isStopped = true;
        }
        if (failAt != 0 && m_calls >= failAt)
            m_isStopped = m_hasFailed = true;
        return !m_hasFailed;
    }

    template <typename Call> bool toAll(Call call)
    {
        bool taken = true;
        for (ElementSink *sink : m_sinks)
            taken = call(*sink) && taken;
        require(taken, "a sink with enough room takes everything");
        return taken;
    }

    const std::vector<ElementSink *> m_sinks;
    std::vector<quint64> m_nodes; // where the open ones begin
    std::vector<quint64> m_frameCounts; // by video stream
    quint64 m_items = 0;
    quint64 m_calls = 0;
    quint64 m_covered = 0; // of the file, from its beginning on, by items at the top level
    qint64 m_fileSize = -1;
    bool m_isOpen = false;
    bool m_isWalked = false;
    bool m_isStopped = false;
    bool m_hasFailed = false;
    bool m_isUnsure = false; // what is covered is not known
};

} // namespace quenlofar
