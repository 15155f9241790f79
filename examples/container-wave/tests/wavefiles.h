#pragma once

#include "waveanalyzer.h"

#include "bytesource.h"
#include "testing/riffbuilder.h"

#include <QStringList>

#include <memory>
#include <vector>

/// WAVE files for tests, and what the analyzer says of them in lines.
namespace wavefiles {

using namespace quenlofar;
using namespace quenlofar::build;

inline QByteArray wave(std::initializer_list<QByteArray> chunks)
{
    return list("WAVE", chunks, "RIFF");
}

/// A fmt chunk of PCM unless changed: two channels of 16 bits, 1000 samples per second.
class Format : public Record<Format>
{
public:
    Format() : Record(16) { tag(1).channels(2).rate(1000).byteRate(4000).block(4).bits(16); }
    Format &tag(quint16 number) { return put(0, u16(number)); }
    Format &channels(quint16 number) { return put(2, u16(number)); }
    Format &rate(quint32 number) { return put(4, u32(number)); }
    Format &byteRate(quint32 number) { return put(8, u32(number)); }
    Format &block(quint16 number) { return put(12, u16(number)); }
    Format &bits(quint16 number) { return put(14, u16(number)); }
    /// PCM by an extension of 22 bytes.
    Format &extensible(quint16 validBits, quint32 speakers)
    {
        return tag(0xFFFE).put(
            16, u16(22) + u16(validBits) + u32(speakers) + QByteArray::fromHex("0100000000001000800000aa00389b71"));
    }
};

inline QByteArray fmt(const Format &format = {})
{
    return chunk("fmt ", format);
}

inline QByteArray sound(int size = 40)
{
    return chunk("data", QByteArray(size, '\1'));
}

/// RF64 with ds64 before `chunks`, whose 32-bit sizes are those of RF64.
inline QByteArray longWave(quint64 riffSize, quint64 dataSize, quint64 samples, const QByteArray &chunks)
{
    const QByteArray sizes = u64(riffSize) + u64(dataSize) + u64(samples) + u32(0);
    return list("WAVE", {chunk("ds64", sizes), chunks}, "RF64").declaredSize(0xFFFFFFFF);
}

inline QByteArray longSound()
{
    return chunk("data", QByteArray(40, '\1')).declaredSize(0xFFFFFFFF);
}

/// What an analyzer finds, once it has been asked.
struct Judged
{
    explicit Judged(const QByteArray &bytes, Level level = Level::Default) : source(memorySource(bytes))
    {
        AnalysisOptions options;
        options.level = level;
        result = analyzer.read(*source, options);
        Findings findings;
        isJudged = analyzer.check({level, {}}, findings);
        notChecked = findings.notChecked();
        list = findings.takeList();
    }

    std::unique_ptr<ByteSource> source;
    WaveAnalyzer analyzer;
    AnalysisResult result;
    std::vector<Finding> list;
    QStringList notChecked;
    bool isJudged = false;
};

/// "rule severity offset+size stream: expected | actual", with " < cause" and " x count" where there are.
inline QString lineOf(const Finding &finding, const std::vector<Finding> &list)
{
    QString line = QStringLiteral("%1 %2 %3+%4").arg(finding.rule, severityName(finding.severity).toString());
    line = line.arg(finding.places.front().offset).arg(finding.places.front().size);
    if (finding.stream >= 0)
        line += QStringLiteral(" stream %1").arg(finding.stream);
    line += QStringLiteral(": %1 | %2").arg(finding.expected, finding.actual);
    if (finding.causedBy != 0)
        line += QStringLiteral(" < ") + list[size_t(finding.causedBy) - 1].rule;
    if (finding.count > 1)
        line += QStringLiteral(" x%1").arg(finding.count);
    return line;
}

inline QString linesOf(const std::vector<Finding> &list)
{
    QStringList lines;
    for (const Finding &finding : list)
        lines.append(lineOf(finding, list));
    return lines.join(QLatin1Char('\n'));
}

} // namespace wavefiles
