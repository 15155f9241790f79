#include "summarytext.h"

#include "checkoutput.h"
#include "displaytext.h"
#include "ecma48.h"
#include "filesummary.h"
#include "report.h"
#include "statuscodes.h"
#include "strictreading.h"
#include "textoutput.h"

#include <algorithm>

namespace quenlofar {

namespace {

// As in trees.
constexpr std::string_view fileColour = ecma48::bold;
constexpr std::string_view labelColour = ecma48::faint;
constexpr std::string_view troubleColour = ecma48::red;

} // namespace

void SummaryText::print(FileSummary &summary, const StrictReading &reading)
{
    m_rows.addFile(summary);
    m_rows.addStreams(summary, reading);
    m_rows.addBytes(summary);
    m_rows.addProblems(summary);
    addStatus(summary);
    // Of what nobody knows nothing is to be said but that.
    if (!reading.check.start.container.isNull())
        addVerdict(reading.check);

    m_output.line(coloured(displayText(summary.start.file), fileColour));
    int width = 0;
    for (const SummaryRow &row : m_rows.rows())
        width = std::max(width, int(row.label.size()));
    for (const SummaryRow &row : m_rows.rows()) {
        const QString label =
            coloured(row.label, labelColour) + QString(width - int(row.label.size()), QLatin1Char(' '));
        m_output.line(QStringLiteral("  ") + label + QStringLiteral("  ")
                      + (row.isTrouble ? coloured(row.text, troubleColour) : row.text));
    }
}

void SummaryText::addStatus(const FileSummary &summary)
{
    QStringList reasons = reasonsOf(summary.result);
    if (!summary.result.sinkError.isNull())
        reasons.append(QStringLiteral("not summarised to its end: ") + summary.result.sinkError);
    for (const QString &reason : std::as_const(reasons))
        m_rows.add(QStringLiteral("status"), reason, true);
    if (reasons.isEmpty())
        m_rows.add(QStringLiteral("status"), statusText(StatusOk));
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
        m_rows.add(QStringLiteral("verdict"), text, isTrouble);
        return;
    }
    for (size_t ordinal = 0; ordinal < std::min(mostCauses, causes.size()); ++ordinal) {
        const JudgedFinding &cause = *causes[ordinal];
        QString sentence = cause.message;
        if (sentence.endsWith(QLatin1Char('.')))
            sentence.chop(1);
        m_rows.add(ordinal == 0 ? QStringLiteral("verdict") : QString(),
                   QStringLiteral("%1%2 (%3)")
                       .arg(ordinal == 0 ? verdict + QStringLiteral(": ") : QString(), sentence, cause.rule),
                   isTrouble);
    }
    if (causes.size() > mostCauses)
        m_rows.add({}, QStringLiteral("%1 more; quenlofar check lists all").arg(causes.size() - mostCauses), isTrouble);
}

QString SummaryText::coloured(const QString &text, std::string_view colour) const
{
    return m_style.colour ? ecma48::styled(text, colour) : text;
}

} // namespace quenlofar
