#include "filesummary.h"

#include "streamfacts.h"

#include <algorithm>
#include <cmath>

namespace quenlofar {

QString leftOutText(const QVector<DescriptionRow> &rows)
{
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [](const DescriptionRow &row) { return row.label == QLatin1String("streams"); });
    return found == rows.end() ? QString() : found->text;
}

quint64 FileSummary::bitRate(uint videoOrdinal, const StreamFrames &streamFrames) const
{
    constexpr double bitsPerByte = 8.0;
    constexpr double most = 1e18; // what is more is no rate, and has to fit
    // Writers count some frames that they do not store. Where more are missing, the index covers a part of the stream.
    constexpr double leastCovered = 0.9;
    const double rate = frameRate(videoOrdinal);
    if (streamFrames.count == 0 || !std::isfinite(rate) || rate <= 0.0)
        return 0;
    const StreamDescription *const stream = videoStream(videoOrdinal);
    if (stream && double(streamFrames.count) < leastCovered * stream->seconds() * rate)
        return 0;
    const double bitsPerFrame = double(streamFrames.bytes) * bitsPerByte / double(streamFrames.count);
    return quint64(std::llround(std::min(most, bitsPerFrame * rate)));
}

const StreamDescription *FileSummary::videoStream(uint videoOrdinal) const
{
    const auto found = std::find_if(streams.begin(), streams.end(), [videoOrdinal](const StreamDescription &stream) {
        return stream.videoOrdinal == int(videoOrdinal);
    });
    return found == streams.end() ? nullptr : &*found;
}

/// Frames per second; 0 when it is not known.
double FileSummary::frameRate(uint videoOrdinal) const
{
    if (const StreamDescription *const stream = videoStream(videoOrdinal))
        return stream->frameRate;
    // Of very many streams not all are described.
    if (videoOrdinal >= uint(result.videoStreams.size()))
        return 0.0;
    const double rate = result.videoStreams[int(videoOrdinal)].frameRate;
    return std::isfinite(rate) ? rate : 0.0;
}

bool SummarySink::beginDocument(const DocumentStart &start)
{
    m_summary.start = start;
    m_summary.bytes.beginDocument(start);
    return took(m_describer.beginDocument(start));
}

// Each call goes to those parts alone that make something of it: files hold millions of items.

bool SummarySink::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    return took(m_describer.beginElement(offset, size, title, index));
}

bool SummarySink::addField(const Field &field)
{
    m_summary.bytes.addField(field);
    return took(m_describer.addField(field));
}

bool SummarySink::endElement()
{
    return took(m_describer.endElement());
}

bool SummarySink::reportFrame(const Frame &frame)
{
    m_summary.frames.add(frame);
    return took(m_describer.reportFrame(frame));
}

bool SummarySink::setElementSize(quint64 size)
{
    return took(m_describer.setElementSize(size));
}

bool SummarySink::reportProblem(const ReportedProblem &problem)
{
    if (m_summary.problems.size() < FileSummary::mostProblems)
        m_summary.problems.append(keptProblem(problem));
    return took(m_describer.reportProblem(problem));
}

bool SummarySink::endDocument(const RunResult &result)
{
    m_summary.bytes.endDocument(result);
    took(m_describer.endDocument(result));
    m_summary.rows = m_describer.rows();
    m_summary.streams = streamsOf(m_describer, result);
    m_summary.result = result;
    const QString error = print(m_summary);
    if (m_errorText.isNull())
        m_errorText = error;
    return m_errorText.isNull();
}

/// Remembers the first trouble of the describer, the only part that may refuse anything.
bool SummarySink::took(bool isTaken)
{
    if (Q_UNLIKELY(!isTaken) && m_errorText.isNull())
        m_errorText = m_describer.errorText();
    return isTaken;
}

} // namespace quenlofar
