#pragma once

#include "finding.h"
#include "smallfilm.h"

namespace quenlofar {

/// What one rule says of a file, in a line.
namespace film {

/// "error 0 x2 @458+4 expected|actual": severity, stream ("-" without one), count, first place, and what should stand
/// there and what does. Empty where the rule finds nothing; several findings are separated by "; ".
inline QString ruleSays(const QByteArray &bytes, const QString &rule,
                        quenlofar::Level level = quenlofar::Level::Default)
{
    Reading reading(bytes, level);
    quenlofar::CheckOptions options;
    options.level = level;
    quenlofar::Findings findings;
    if (reading.analyzer.rules().find(rule) < 0 || !reading.analyzer.check(options, findings))
        return QStringLiteral("not checked");
    QStringList texts;
    for (const quenlofar::Finding &finding : findings.list()) {
        if (finding.rule != rule)
            continue;
        static const char *const severities[] = {"note", "warning", "error"};
        const QString stream = finding.stream < 0 ? QStringLiteral("-") : QString::number(finding.stream);
        texts.append(QStringLiteral("%1 %2 x%3 @%4+%5 %6|%7")
                         .arg(QLatin1String(severities[size_t(finding.severity)]), stream)
                         .arg(finding.count)
                         .arg(finding.places.front().offset)
                         .arg(finding.places.front().size)
                         .arg(finding.expected, finding.actual));
    }
    return texts.join(QStringLiteral("; "));
}

} // namespace film

} // namespace quenlofar
