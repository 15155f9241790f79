#include "summaryrows.h"

#include "displaytext.h"
#include "filesummary.h"
#include "streamtexts.h"
#include "strictreading.h"

namespace quenlofar {

namespace {

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

void SummaryRows::addFile(const FileSummary &summary)
{
    const DocumentStart &start = summary.start;
    if (start.fileSize < 0)
        return;
    add(QStringLiteral("container"), start.container.isNull() ? QStringLiteral("unknown") : start.container);
    add(QStringLiteral("size"), sizeText(quint64(start.fileSize), m_sizes));
    for (const DescriptionRow &row : summary.rows) {
        // What was left out is said where the streams stand.
        if (summary.streams.size() <= mostStreams + 1 || row.label != QLatin1String("streams"))
            add(row.label, row.text);
    }
}

void SummaryRows::addStreams(FileSummary &summary, const StrictReading &reading)
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

void SummaryRows::addPackets(const StreamPackets &packets)
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
        appendPart(&text, sizesText(*packets.sizes, m_sizes));
        appendPart(&text, bitRateText(packets.bitRate));
    }
    if (!text.isEmpty())
        add(hasFrames ? QStringLiteral("  sizes") : label, text);
}

/// What the index says, where nobody lists packets.
void SummaryRows::addFrames(FileSummary &summary, uint videoOrdinal)
{
    const auto found = summary.frames.streams().find(videoOrdinal);
    if (found == summary.frames.streams().end()) {
        add(QStringLiteral("  frames"), QStringLiteral("none in an index"));
        return;
    }
    StreamFrames &frames = found->second;
    add(QStringLiteral("  frames"), QStringLiteral("%1, %2").arg(frames.count).arg(keyFramesText(&frames)));
    QString text = sizesText(frames.sizes.spread(), m_sizes);
    appendPart(&text, bitRateText(summary.bitRate(videoOrdinal, frames)));
    add(QStringLiteral("  sizes"), text);
}

void SummaryRows::addBytes(const FileSummary &summary)
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
        const QString size = sizeText(summary.bytes.byteCount(kind), m_sizes);
        const QString place = placeText(first);
        return ranges == 1 ? QStringLiteral("%1 at %2").arg(size, place)
                           : QStringLiteral("%1 in %2 places, the first at %3").arg(size).arg(ranges).arg(place);
    };
    add(QStringLiteral("unparsed"), text(ByteAccounting::Kind::Unparsed));
    add(QStringLiteral("gaps"), text(ByteAccounting::Kind::Gap),
        summary.bytes.rangeCount(ByteAccounting::Kind::Gap) > 0);
}

void SummaryRows::addProblems(const FileSummary &summary)
{
    const ProblemCounts &counts = summary.result.problems;
    if (counts.total() == 0)
        return;
    add(QStringLiteral("problems"), counts.text(), counts.errors > 0);
    for (const KeptProblem &problem : summary.problems) {
        add(QStringLiteral("  ") + severityName(problem.severity).toString(),
            QStringLiteral("%1: %2").arg(placeText(problem.offset), problem.text), problem.severity == Severity::Error);
    }
    const quint64 others = counts.total() - quint64(summary.problems.size());
    if (others > 0)
        add({}, QStringLiteral("%1 more").arg(others));
}

void SummaryRows::add(const QString &label, const QString &text, bool isTrouble)
{
    m_rows.append({displayText(label), displayText(text), isTrouble});
}

QString SummaryRows::placeText(quint64 offset) const
{
    return m_hexOffsets ? QStringLiteral("0x") + QString::number(offset, 16) : QString::number(offset);
}

} // namespace quenlofar
