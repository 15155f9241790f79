#include "summarytext.h"

#include "checkoutput.h"
#include "displaytext.h"
#include "ecma48.h"
#include "filesummary.h"
#include "packetoutput.h"
#include "report.h"
#include "statuscodes.h"
#include "streamoutput.h"
#include "strictreading.h"
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
/// Length and bit rate are those of the packets, where they are known.
QString streamText(const StreamDescription &stream, const StreamPackets *packets)
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
    const QString length = packets && packets->totals.count > 0 && packets->seconds >= 0.0
        ? durationText(packets->seconds)
        : lengthText(stream);
    appendPart(&text, length == QLatin1String("unknown") ? QStringLiteral("length unknown") : length);
    if (!stream.name.isEmpty())
        appendPart(&text, QStringLiteral("\"%1\"").arg(stream.name));
    return text;
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

void SummaryText::print(FileSummary &summary, const StrictReading &reading)
{
    m_rows.clear();
    addFile(summary);
    addStreams(summary, reading);
    addBytes(summary);
    addProblems(summary);
    addStatus(summary);
    // Of what nobody knows nothing is to be said but that.
    if (!reading.check.start.container.isNull())
        addVerdict(reading.check);

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

void SummaryText::addStreams(FileSummary &summary, const StrictReading &reading)
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
        const StreamPackets *const packets = reading.stream(stream.ordinal);
        add(QStringLiteral("stream %1").arg(stream.ordinal), streamText(stream, packets));
        if (packets)
            addPackets(*packets);
        else if (stream.videoOrdinal >= 0 && !reading.hasPackets)
            addFrames(summary, uint(stream.videoOrdinal));
    }
    if (streams.isEmpty() && !summary.start.container.isNull())
        add(QStringLiteral("streams"), QStringLiteral("none"));
}

void SummaryText::addPackets(const StreamPackets &packets)
{
    const bool hasFrames = packets.hasFrames();
    const PacketTotals &totals = packets.totals;
    const QString label = hasFrames ? QStringLiteral("  frames") : QStringLiteral("  packets");
    if (totals.count == 0) {
        add(label, QStringLiteral("none"));
        return;
    }
    QString text = QString::number(totals.count);
    if (totals.empty > 0)
        appendPart(&text, QStringLiteral("%1 empty").arg(totals.empty));
    if (hasFrames)
        appendPart(&text, keyFramesText(packets));
    if (hasFrames) {
        add(label, text);
        text.clear();
    }
    if (packets.sizes) {
        appendPart(&text, sizesText(*packets.sizes, m_style.sizes));
        appendPart(&text, bitRateText(packets.bitRate));
    }
    if (!text.isEmpty())
        add(hasFrames ? QStringLiteral("  sizes") : label, text);
}

/// What the index says, where nobody lists packets.
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
    const ProblemCounts &counts = summary.result.problems;
    if (counts.total() == 0)
        return;
    add(QStringLiteral("problems"), counts.text(), counts.errors > 0);
    for (const KeptProblem &problem : summary.problems) {
        add(QStringLiteral("  ") + severityName(problem.severity).toString(),
            QStringLiteral("%1: %2").arg(offsetText(problem.offset, m_style.hexOffsets), problem.text),
            problem.severity == Severity::Error);
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

void SummaryText::addVerdict(const FileCheck &check)
{
    constexpr size_t mostCauses = 3;
    const std::vector<const JudgedFinding *> causes = check.causes(Severity::Warning);
    const QString verdict = verdictText(check.verdict);
    const bool isTrouble = check.verdict == Verdict::Damaged;
    if (causes.empty()) {
        const QStringList reasons = reasonsOf(check.result) + check.notChecked;
        QString text = verdict;
        if (check.verdict == Verdict::Conforms)
            text += QStringLiteral(": no problem found");
        else if (!reasons.isEmpty())
            text += QStringLiteral(": ") + reasons.first();
        if (check.counts.note > 0)
            text += QStringLiteral(", %1 %2")
                        .arg(check.counts.note)
                        .arg(check.counts.note == 1 ? QStringLiteral("note") : QStringLiteral("notes"));
        add(QStringLiteral("verdict"), text, isTrouble);
        return;
    }
    for (size_t ordinal = 0; ordinal < std::min(mostCauses, causes.size()); ++ordinal) {
        const JudgedFinding &cause = *causes[ordinal];
        QString sentence = cause.message;
        if (sentence.endsWith(QLatin1Char('.')))
            sentence.chop(1);
        add(ordinal == 0 ? QStringLiteral("verdict") : QString(),
            QStringLiteral("%1%2 (%3)")
                .arg(ordinal == 0 ? verdict + QStringLiteral(": ") : QString(), sentence, cause.rule),
            isTrouble);
    }
    if (causes.size() > mostCauses)
        add({}, QStringLiteral("%1 more; quenlofar check lists all").arg(causes.size() - mostCauses), isTrouble);
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
