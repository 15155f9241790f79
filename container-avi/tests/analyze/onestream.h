#pragma once

#include "smallfilm.h"

namespace quenlofar {

/// Files of one stream whose headers stand at fixed places, and what a rule finds in them.
namespace one {

/// Where the data of strh and strf begins, and `strl` and `strf` themselves.
constexpr int listOffset = 88;
constexpr int headerOffset = 108;
constexpr int formatChunk = 164;
constexpr int formatOffset = 172;

/// A stream list of a header and a format, as two whole chunks.
inline QByteArray streamList(const QByteArray &header, const QByteArray &format)
{
    using namespace build;
    return list("strl", {chunk("strh", header), chunk("strf", format)});
}

/// A file of this stream list and these data chunks, one behind the other; idx1 has an entry for each, of which all but
/// those in `notKey` are key frames.
inline QByteArray file(const QByteArray &streamLists, const std::vector<QByteArray> &data,
                       const std::vector<int> &notKey = {})
{
    using namespace build;
    QByteArray entries;
    quint32 offset = 4;
    for (size_t number = 0; number < data.size(); ++number) {
        const QByteArray &bytes = data[number];
        const bool isKey = std::find(notKey.begin(), notKey.end(), int(number)) == notKey.end();
        const quint32 size = qFromLittleEndian<quint32>(bytes.constData() + 4);
        entries += indexEntry(bytes.left(4), isKey ? 0x10 : 0, offset, size);
        offset += quint32(bytes.size());
    }
    const QByteArray index = data.empty() ? QByteArray() : chunk("idx1", entries).bytes();
    return list("AVI ",
                {list("hdrl", {chunk("avih", MainHeader().frameTime(40000).flags(0x10).streams(1)), streamLists}),
                 list("movi", {film::joined(data)}), index},
                "RIFF");
}

/// `count` chunks of `size` bytes that have no run of zero bytes and differ from one another.
inline std::vector<QByteArray> chunks(const char *id, int count, int size)
{
    std::vector<QByteArray> all;
    for (int number = 0; number < count; ++number) {
        QByteArray data(size, '\x55');
        if (size > 0)
            data[0] = char(number + 1);
        all.push_back(build::chunk(id, data));
    }
    return all;
}

/// What a rule finds, in a line: "error 140+4 x2: 4 -> 9; ...": severity, first place, count, expected and actual.
/// "not applicable" or "not run" where it was not held against the file; empty where all is well.
inline QString found(const QByteArray &bytes, const QString &rule, quenlofar::Level level = quenlofar::Level::Deep)
{
    using namespace quenlofar;
    film::Reading reading(bytes, level);
    Findings findings;
    CheckOptions options;
    options.level = level;
    reading.analyzer.check(options, findings);
    QStringList texts;
    for (const Finding &finding : findings.list()) {
        if (finding.rule != rule)
            continue;
        const QString count = finding.count == 1 ? QString() : QStringLiteral(" x%1").arg(finding.count);
        texts.append(QStringLiteral("%1 %2+%3%4: %5 -> %6")
                         .arg(severityName(finding.severity).toString())
                         .arg(finding.places.front().offset)
                         .arg(finding.places.front().size)
                         .arg(count, finding.expected, finding.actual));
    }
    const int ordinal = reading.analyzer.rules().find(rule);
    if (ordinal < 0)
        return QStringLiteral("no such rule");
    if (findings.ruleStates()[size_t(ordinal)] == RuleState::NotApplicable)
        return QStringLiteral("not applicable");
    return texts.join(QStringLiteral("; "));
}

} // namespace one

} // namespace quenlofar
