#include "summarytext.h"

#include "displaytext.h"
#include "ecma48.h"
#include "filesummary.h"
#include "report.h"
#include "statuscodes.h"
#include "streamoutput.h"
#include "textoutput.h"

#include <algorithm>

namespace quenlofar {

namespace {

// As in trees.
constexpr std::string_view fileColour = ecma48::bold;
constexpr std::string_view labelColour = ecma48::faint;
constexpr std::string_view troubleColour = ecma48::red;

// More do not fit on a screen.
constexpr int mostStreams = 8;

void appendPart(QString *text, const QString &part)
{
    if (part.isEmpty())
        return;
    if (!text->isEmpty())
        *text += QStringLiteral(", ");
    *text += part;
}

QString codecText(const StreamDescription &stream)
{
    if (stream.codecCode.isEmpty() || stream.codecName.isEmpty())
        return codeText(stream) + stream.codecName;
    return QStringLiteral("%1 (%2)").arg(codeText(stream), stream.codecName);
}

QString channelsText(quint32 channels)
{
    if (channels == 0)
        return {};
    return QStringLiteral("%1 %2").arg(channels).arg(channels == 1 ? QStringLiteral("channel")
                                                                   : QStringLiteral("channels"));
}

/// "video, CODE (name of the codec), 64 x 48, 10 frames/second, 2.1 s".
QString streamText(const StreamDescription &stream)
{
    QString text = stream.kindText();
    appendPart(&text, codecText(stream));
    appendPart(&text, pictureText(stream));
    if (stream.frameRate > 0.0)
        appendPart(&text, decimalText(stream.frameRate) + QStringLiteral(" frames/second"));
    if (stream.sampleRate > 0)
        appendPart(&text, QStringLiteral("%1 Hz").arg(stream.sampleRate));
    appendPart(&text, channelsText(stream.channels));
    if (stream.bitsPerSample > 0)
        appendPart(&text, QStringLiteral("%1 bits").arg(stream.bitsPerSample));
    appendPart(&text, bitRateText(stream.bitRate));
    const QString length = lengthText(stream);
    appendPart(&text, length == QLatin1String("unknown") ? QStringLiteral("length unknown") : length);
    if (!stream.name.isEmpty())
        appendPart(&text, QStringLiteral("\"%1\"").arg(stream.name));
    return text;
}

/// "every 12 frames", "every 3 to 12 frames, median 10".
QString spacingText(const Spread &spacing)
{
    if (spacing.least == spacing.greatest) {
        return spacing.least == 1 ? QStringLiteral("every frame")
                                  : QStringLiteral("every %1 frames").arg(spacing.least);
    }
    return QStringLiteral("every %1 to %2 frames, median %3")
        .arg(spacing.least)
        .arg(spacing.greatest)
        .arg(spacing.median);
}

QString keyFramesText(StreamFrames *frames)
{
    if (frames->keyFrames == 0)
        return QStringLiteral("no key frame");
    if (frames->keyFrames == 1)
        return QStringLiteral("1 key frame");
    return QStringLiteral("%1 key frames (%2)").arg(frames->keyFrames).arg(spacingText(frames->keySpacings.spread()));
}

/// "8 bytes", "202 to 1848 bytes, median 243".
QString sizesText(const Spread &sizes, SizeUnits units)
{
    if (sizes.least == sizes.greatest)
        return sizeText(sizes.least, units);
    const auto text = [units](quint64 size) {
        return units == SizeUnits::Bytes ? QString::number(size) : sizeText(size, units);
    };
    return QStringLiteral("%1 to %2, median %3")
        .arg(text(sizes.least), sizeText(sizes.greatest, units), text(sizes.median));
}

} // namespace

void SummaryText::print(FileSummary &summary)
{
    m_rows.clear();
    addFile(summary);
    addStreams(summary);
    addBytes(summary);
    addProblems(summary);
    addStatus(summary);

    m_output.line(coloured(displayText(summary.start.file), fileColour));
    int width = 0;
    for (const Row &row : std::as_const(m_rows))
        width = std::max(width, int(row.label.size()));
    for (const Row &row : std::as_const(m_rows)) {
        const QString label =
            coloured(row.label, labelColour) + QString(width - int(row.label.size()), QLatin1Char(' '));
        m_output.line(QStringLiteral("  ") + label + QStringLiteral("  ")
                      + (row.isTrouble ? coloured(row.text, troubleColour) : row.text));
    }
}

void SummaryText::addFile(const FileSummary &summary)
{
    const DocumentStart &start = summary.start;
    if (start.fileSize < 0)
        return;
    add(QStringLiteral("container"), start.container.isNull() ? QStringLiteral("unknown") : start.container);
    add(QStringLiteral("size"), sizeText(quint64(start.fileSize), m_style.sizes));
    for (const DescriptionRow &row : summary.rows) {
        // What was left out is said where the streams stand.
        if (summary.streams.size() <= mostStreams + 1 || row.label != QLatin1String("streams"))
            add(row.label, row.text);
    }
}

void SummaryText::addStreams(FileSummary &summary)
{
    const QVector<StreamDescription> &streams = summary.streams;
    for (const StreamDescription &stream : streams) {
        if (stream.ordinal == mostStreams && streams.size() > mostStreams + 1) {
            const QString leftOut = leftOutText(summary.rows);
            add(QStringLiteral("streams"),
                leftOut.isEmpty() ? QStringLiteral("%1 more").arg(streams.size() - mostStreams)
                                  : QStringLiteral("%1, %2 of them here").arg(leftOut).arg(mostStreams));
            return;
        }
        add(QStringLiteral("stream %1").arg(stream.ordinal), streamText(stream));
        if (stream.videoOrdinal >= 0)
            addFrames(summary, uint(stream.videoOrdinal));
    }
    if (streams.isEmpty() && !summary.start.container.isNull())
        add(QStringLiteral("streams"), QStringLiteral("none"));
}

void SummaryText::addFrames(FileSummary &summary, uint videoOrdinal)
{
    const auto found = summary.frames.streams().find(videoOrdinal);
    if (found == summary.frames.streams().end()) {
        add(QStringLiteral("  frames"), QStringLiteral("none in an index"));
        return;
    }
    StreamFrames &frames = found->second;
    add(QStringLiteral("  frames"), QStringLiteral("%1, %2").arg(frames.count).arg(keyFramesText(&frames)));
    QString text = sizesText(frames.sizes.spread(), m_style.sizes);
    appendPart(&text, bitRateText(summary.bitRate(videoOrdinal, frames)));
    add(QStringLiteral("  sizes"), text);
}

void SummaryText::addBytes(const FileSummary &summary)
{
    if (summary.start.container.isNull())
        return;
    add(QStringLiteral("items"), QString::number(summary.result.items));
    const auto text = [&](ByteAccounting::Kind kind) {
        const quint64 ranges = summary.bytes.rangeCount(kind);
        if (ranges == 0)
            return QStringLiteral("none");
        quint64 first = 0;
        summary.bytes.visitRanges(kind, [&first](const ByteRange &range) {
            first = range.offset;
            return false;
        });
        const QString size = sizeText(summary.bytes.byteCount(kind), m_style.sizes);
        const QString place = offsetText(first, m_style.hexOffsets);
        return ranges == 1 ? QStringLiteral("%1 at %2").arg(size, place)
                           : QStringLiteral("%1 in %2 places, the first at %3").arg(size).arg(ranges).arg(place);
    };
    add(QStringLiteral("unparsed"), text(ByteAccounting::Kind::Unparsed));
    add(QStringLiteral("gaps"), text(ByteAccounting::Kind::Gap),
        summary.bytes.rangeCount(ByteAccounting::Kind::Gap) > 0);
}

void SummaryText::addProblems(const FileSummary &summary)
{
    const quenlofar::ProblemCounts &counts = summary.result.problems;
    if (counts.total() == 0)
        return;
    add(QStringLiteral("problems"), counts.text(), counts.errors > 0);
    for (const quenlofar::KeptProblem &problem : summary.problems) {
        add(QStringLiteral("  ") + severityName(problem.severity).toString(),
            QStringLiteral("%1: %2").arg(offsetText(problem.offset, m_style.hexOffsets), problem.text),
            problem.severity == quenlofar::Severity::Error);
    }
    const quint64 others = counts.total() - quint64(summary.problems.size());
    if (others > 0)
        add({}, QStringLiteral("%1 more").arg(others));
}

void SummaryText::addStatus(const FileSummary &summary)
{
    QStringList reasons = reasonsOf(summary.result);
    if (!summary.result.sinkError.isNull())
        reasons.append(QStringLiteral("not summarised to its end: ") + summary.result.sinkError);
    for (const QString &reason : std::as_const(reasons))
        add(QStringLiteral("status"), reason, true);
    if (reasons.isEmpty())
        add(QStringLiteral("status"), statusText(StatusOk));
}

void SummaryText::add(const QString &label, const QString &text, bool isTrouble)
{
    m_rows.append({displayText(label), displayText(text), isTrouble});
}

QString SummaryText::coloured(const QString &text, std::string_view colour) const
{
    return m_style.colour ? ecma48::styled(text, colour) : text;
}

} // namespace quenlofar
