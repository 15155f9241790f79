#include "teesink.h"

TeeSink::TeeSink(ElementSink &first, ElementSink &second) : m_first(first), m_second(second) { }

TeeSink::~TeeSink() = default;

// Both sinks get every call, also after one of them failed: the nodes of each have to nest.

bool TeeSink::both(bool firstTook, bool secondTook)
{
    if (firstTook && secondTook)
        return true;
    if (!m_failed)
        m_failed = firstTook ? &m_second : &m_first;
    return false;
}

bool TeeSink::beginDocument(const DocumentStart &start)
{
    m_failed = nullptr;
    const bool firstTook = m_first.beginDocument(start);
    return both(firstTook, m_second.beginDocument(start));
}

bool TeeSink::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    const bool firstTook = m_first.beginElement(offset, size, title, index);
    return both(firstTook, m_second.beginElement(offset, size, title, index));
}

bool TeeSink::addField(const Field &field)
{
    const bool firstTook = m_first.addField(field);
    return both(firstTook, m_second.addField(field));
}

bool TeeSink::endElement()
{
    const bool firstTook = m_first.endElement();
    return both(firstTook, m_second.endElement());
}

bool TeeSink::reportFrame(const Frame &frame)
{
    const bool firstTook = m_first.reportFrame(frame);
    return both(firstTook, m_second.reportFrame(frame));
}

bool TeeSink::endDocument(const RunResult &result)
{
    const bool firstTook = m_first.endDocument(result);
    return both(firstTook, m_second.endDocument(result));
}

QString TeeSink::errorText() const
{
    return m_failed ? m_failed->errorText() : QString();
}
