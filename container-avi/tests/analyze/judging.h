#pragma once

#include "smallfilm.h"

#include <QStringList>

namespace quenlofar {

namespace film {

/// What all rules say of a file.
class Verdict
{
public:
    explicit Verdict(const QByteArray &bytes, const quenlofar::CheckOptions &options = {})
        : Verdict(memorySource(bytes), options)
    {
    }
    explicit Verdict(std::unique_ptr<ByteSource> source, const quenlofar::CheckOptions &options = {})
        : m_source(std::move(source))
    {
        quenlofar::AnalysisOptions reading;
        reading.level = options.level;
        isComplete = m_analyzer.read(*m_source, reading).isComplete();
        isComplete = m_analyzer.check(options, m_findings) && isComplete;
    }

    const std::vector<quenlofar::Finding> &findings() const { return m_findings.list(); }
    const quenlofar::AviLayout &layout() const { return m_analyzer.layout(); }

    /// "error [patch] 4+4 x2 #1 570 > 670 < cause": severity, repair, the first place, a count above 1, the stream,
    /// expected and actual, and the rule of the cause. Findings of the same rule are joined by " | ".
    QString of(const QString &rule) const
    {
        QStringList texts;
        for (const quenlofar::Finding &finding : findings()) {
            if (finding.rule != rule)
                continue;
            const ByteRange place = finding.places.front();
            QString text =
                QStringLiteral("%1 [%2] %3+%4")
                    .arg(quenlofar::severityName(finding.severity).toString(), quenlofar::repairText(finding.repair))
                    .arg(place.offset)
                    .arg(place.size);
            if (finding.count > 1)
                text += QStringLiteral(" x%1").arg(finding.count);
            if (finding.stream >= 0)
                text += QStringLiteral(" #%1").arg(finding.stream);
            text += QStringLiteral(" %1 > %2").arg(finding.expected, finding.actual);
            if (finding.causedBy > 0)
                text += QStringLiteral(" < %1").arg(findings()[size_t(finding.causedBy) - 1].rule);
            texts.append(text);
        }
        return texts.join(QStringLiteral(" | "));
    }

    /// The rules of the findings without a cause, above a note.
    QString causes() const
    {
        QStringList names;
        for (const quenlofar::Finding &finding : findings()) {
            if (finding.causedBy == 0 && finding.severity > quenlofar::Severity::Note)
                names.append(finding.rule);
        }
        return names.join(QLatin1Char(' '));
    }

    quenlofar::RuleState state(const QString &rule) const
    {
        return m_findings.ruleStates()[size_t(m_analyzer.rules().find(rule))];
    }

    /// Empty where each finding lies inside of the file and says two different things.
    QString problem() const
    {
        for (const quenlofar::Finding &finding : findings()) {
            const bool isInside = !finding.places.empty()
                && std::all_of(finding.places.begin(), finding.places.end(), [this](const ByteRange &place) {
                       return place.offset < m_analyzer.layout().fileSize
                           && place.end() <= m_analyzer.layout().fileSize;
                   });
            if (!isInside || finding.expected == finding.actual || finding.expected.isEmpty()
                || !finding.message.endsWith(QLatin1Char('.')))
                return QStringLiteral("%1: %2 > %3: %4")
                    .arg(finding.rule, finding.expected, finding.actual, finding.message);
        }
        return {};
    }

    bool isComplete = false;

private:
    std::unique_ptr<ByteSource> m_source;
    quenlofar::AviAnalyzer m_analyzer;
    quenlofar::Findings m_findings;
};

} // namespace film

} // namespace quenlofar
