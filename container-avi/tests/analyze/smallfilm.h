#pragma once

#include "avianalyzer.h"
#include "avibuilder.h"
#include "bytesource.h"

#include <QStringList>

#include <memory>
#include <vector>

namespace quenlofar {

/// A file of eight chunks, and what a reading of it says in a line.
namespace film {

/// Where `movi` begins: its header, and its first chunk.
constexpr quint64 moviOffset = 314;
constexpr quint64 dataOffset = 326;

/// `count` bytes as payload has them: none looks like an id.
inline QByteArray payload(int count)
{
    QByteArray bytes(count, '\0');
    for (int i = 0; i < count; ++i)
        bytes[i] = char(0x81 + i % 64);
    return bytes;
}

/// The headers of a video and an audio stream: 314 bytes with that of the RIFF.
inline QByteArray headers()
{
    using namespace build;
    return list(
        "hdrl",
        {chunk("avih", MainHeader().frameTime(40000).flags(0x10).totalFrames(4).streams(2).picture(16, 16)),
         list("strl",
              {chunk("strh", StreamHeader("vids").handler("XVID").scale(1).rate(25).length(4)),
               chunk("strf", VideoFormat().picture(16, 16).bitCount(24).compression("XVID"))}),
         list("strl",
              {chunk("strh", StreamHeader("auds").scale(1).rate(1000).length(11).sampleSize(2)),
               chunk("strf",
                     WaveFormat(1).channels(1).samplesPerSecond(1000).bytesPerSecond(2000).blockAlign(2).bitsPerSample(
                         16))})});
}

/// The data chunks, one by one: at 0, 18, 32, 48, 62, 82, 96 and 104 from dataOffset; 116 bytes together.
inline std::vector<QByteArray> chunks()
{
    using build::chunk;
    return {chunk("00dc", payload(10)),  chunk("01wb", payload(6)),  chunk("00dc", payload(7)),
            chunk("01wb", payload(6)),   chunk("00dc", payload(12)), chunk("01wb", payload(6)),
            chunk("00dc", QByteArray()), chunk("01wb", payload(4))};
}

inline QByteArray joined(const std::vector<QByteArray> &parts)
{
    QByteArray all;
    for (const QByteArray &part : parts)
        all += part;
    return all;
}

/// idx1 for these chunks, its offsets counted from `base` before the first chunk, as a rule the form type of `movi`.
inline QByteArray index(int base = 4)
{
    using build::indexEntry;
    const quint32 b = quint32(base);
    return build::chunk("idx1",
                        indexEntry("00dc", 0x10, b + 0, 10) + indexEntry("01wb", 0x10, b + 18, 6)
                            + indexEntry("00dc", 0, b + 32, 7) + indexEntry("01wb", 0x10, b + 48, 6)
                            + indexEntry("00dc", 0, b + 62, 12) + indexEntry("01wb", 0x10, b + 82, 6)
                            + indexEntry("00dc", 0, b + 96, 0) + indexEntry("01wb", 0x10, b + 104, 4));
}

/// The whole file: 578 bytes with the data chunks and the index above.
inline QByteArray file(const QByteArray &data = joined(chunks()), const QByteArray &behind = index())
{
    return build::list("AVI ", {headers(), build::list("movi", {data}), behind}, "RIFF");
}

/// The file with bytes put in, taken out or changed, and no size corrected.
inline QByteArray inserted(quint64 at, const QByteArray &bytes)
{
    return file().insert(int(at), bytes);
}
inline QByteArray removed(quint64 at, int count)
{
    return file().remove(int(at), count);
}
inline QByteArray replaced(quint64 at, const QByteArray &bytes)
{
    return file().replace(int(at), int(bytes.size()), bytes);
}

/// A source and an analyzer that has read it.
struct Reading
{
    explicit Reading(const QByteArray &bytes, quenlofar::Level level = quenlofar::Level::Default)
        : source(memorySource(bytes))
    {
        quenlofar::AnalysisOptions options;
        options.level = level;
        result = analyzer.read(*source, options);
    }
    const quenlofar::AviLayout &layout() const { return analyzer.layout(); }

    std::unique_ptr<ByteSource> source;
    quenlofar::AviAnalyzer analyzer;
    quenlofar::AnalysisResult result;
};

/// "0+10 18+6": where the packets' headers stand from dataOffset on, and their sizes; "!" for one that is cut.
inline QString packetsText(const quenlofar::AviLayout &layout)
{
    QStringList texts;
    for (quint64 index = 0; index < layout.packets.size(); ++index) {
        const quenlofar::Packet packet = layout.packets.at(index);
        texts.append(QStringLiteral("%1+%2%3")
                         .arg(qint64(packet.offset) - 8 - qint64(dataOffset))
                         .arg(packet.size)
                         .arg(packet.isCut ? QStringLiteral("!") : QString()));
    }
    return texts.join(QLatin1Char(' '));
}

/// "foreign 18+5, padding 47+0": what is wrong, from dataOffset on.
inline QString damagesText(const quenlofar::AviLayout &layout)
{
    static const char *const kinds[] = {"foreign",  "zeros",   "swallows", "beyond-parent", "too-short",
                                        "too-long", "padding", "stray",    "cut",           "beyond-file"};
    QStringList texts;
    for (const quenlofar::AviDamage &damage : layout.damages)
        texts.append(QStringLiteral("%1 %2+%3")
                         .arg(QLatin1String(kinds[size_t(damage.kind)]))
                         .arg(qint64(damage.offset) - qint64(dataOffset))
                         .arg(damage.size));
    return texts.join(QStringLiteral(", "));
}

/// Empty where each byte of the file is in one region, and the regions follow one another.
inline QString regionsProblem(const quenlofar::RegionTable &regions)
{
    for (quint64 at = 0; at < regions.fileSize();) {
        const quenlofar::Region region = regions.at(at);
        if (region.range.offset != at || region.range.size == 0 || region.range.end() > regions.fileSize())
            return QStringLiteral("%1+%2 at %3").arg(region.range.offset).arg(region.range.size).arg(at);
        at = region.range.end();
    }
    return {};
}

} // namespace film

} // namespace quenlofar
