#include "repairoutput.h"

#include "checkoutput.h"
#include "displaytext.h"
#include "ecma48.h"
#include "report.h"
#include "textoutput.h"

namespace quenlofar {

namespace {

constexpr int shownBytes = 16; // of each change, in text
constexpr size_t shownChanges = 3; // of each step, in text

QString hexText(const QByteArray &bytes)
{
    QString text = QString::fromLatin1(bytes.left(shownBytes).toHex(' '));
    if (bytes.size() > shownBytes)
        text += QStringLiteral(" ... (%1 bytes)").arg(bytes.size());
    return text;
}

/// How many bytes there are in all ranges.
quint64 bytesOf(const std::vector<ByteRange> &ranges)
{
    quint64 bytes = 0;
    for (const ByteRange &range : ranges)
        bytes += range.size;
    return bytes;
}

/// A plan for people.
class RepairText
{
public:
    RepairText(QIODevice &output, const TextStyle &style) : m_output(output), m_style(style) { }

    QString print(const RepairPlan &plan, const std::vector<PlanChange> &changes, const QString &done);

private:
    void printMoved(const Recipe &recipe);
    void printStep(const RepairPlan &plan, quint32 number, const std::vector<PlanChange> &changes);
    QString bold(const QString &text) const { return m_style.colour ? ecma48::styled(text, ecma48::bold) : text; }

    TextOutput m_output;
    const TextStyle m_style;
};

QString RepairText::print(const RepairPlan &plan, const std::vector<PlanChange> &changes, const QString &done)
{
    const QString file = bold(displayText(plan.before.start.file)) + QStringLiteral(": ");
    if (plan.isEmpty()) {
        m_output.line(file + displayText(verdictLine(plan.before)) + QStringLiteral("; nothing to repair"));
    } else {
        m_output.line(file + displayText(verdictLine(plan.before)) + QStringLiteral(" -> ")
                      + displayText(verdictLine(plan.after)));
    }
    for (quint32 number = 0; number < plan.recipe.steps().size(); ++number)
        printStep(plan, number, changes);
    for (const OmittedStep &omitted : plan.omitted) {
        m_output.line(QStringLiteral("  left out: %1 (%2): %3")
                          .arg(displayText(omitted.step.reason),
                               displayText(omitted.step.rules.join(QStringLiteral(", "))),
                               displayText(omitted.reason)));
    }
    for (const JudgedFinding &finding : plan.after.findings) {
        m_output.line(QStringLiteral("  stays: %1: %2 (%3)")
                          .arg(severityName(finding.severity).toString(), displayText(finding.message),
                               displayText(finding.rule)));
    }
    if (!plan.isEmpty()) {
        quint64 changed = 0;
        quint64 added = 0;
        for (const PlanChange &change : changes)
            (change.old.isEmpty() ? added : changed) += change.piece.isNew ? change.piece.size : 0;
        if (plan.recipe.movesNothing())
            m_output.line(QStringLiteral("  %1 bytes change, %2 are added, %3 are copied")
                              .arg(changed)
                              .arg(added)
                              .arg(plan.recipe.originalSize() - changed));
        else
            printMoved(plan.recipe);
    }
    const QStringList reasons = reasonsOf(plan.after.result);
    for (const QString &reason : reasons)
        m_output.line(QStringLiteral("  ") + displayText(reason));
    if (!done.isEmpty())
        m_output.line(QStringLiteral("  ") + displayText(done));
    m_output.flush();
    return m_output.errorText();
}

/// What becomes of the bytes of a file that is put together anew.
void RepairText::printMoved(const Recipe &recipe)
{
    const quint64 superseded = bytesOf(recipe.removed(Recipe::Removal::Superseded));
    const quint64 dropped = bytesOf(recipe.removed(Recipe::Removal::AskedFor));
    m_output.line(QStringLiteral("  %1 bytes are new, %2 are copied, %3 of sizes, headers and indexes are made anew%4")
                      .arg(recipe.newBytes().size())
                      .arg(recipe.newSize() - quint64(recipe.newBytes().size()))
                      .arg(superseded)
                      .arg(dropped == 0 ? QString() : QStringLiteral(", %1 are left out").arg(dropped)));
}

void RepairText::printStep(const RepairPlan &plan, quint32 number, const std::vector<PlanChange> &changes)
{
    const RecipeStep &step = plan.recipe.steps()[number];
    m_output.line(QStringLiteral("  %1. %2 (%3): %4")
                      .arg(number + 1)
                      .arg(displayText(step.rules.join(QStringLiteral(", "))), repairText(step.repair),
                           displayText(step.reason)));
    size_t count = 0;
    for (const PlanChange &change : changes) {
        // What is copied is told by its sum.
        if (change.piece.step != number || !change.piece.isNew || ++count > shownChanges)
            continue;
        QString line = QStringLiteral("     at ") + offsetText(change.piece.offset, m_style.hexOffsets);
        if (!change.path.isEmpty())
            line += QStringLiteral(", ") + displayText(change.path);
        line += QStringLiteral(": ");
        if (!change.old.isEmpty())
            line += hexText(change.old) + QStringLiteral(" -> ");
        m_output.line(line + hexText(newBytes(plan, change))
                      + (change.old.isEmpty() ? QStringLiteral(" added") : QString()));
    }
    if (count > shownChanges)
        m_output.line(QStringLiteral("     and at %1 more places").arg(count - shownChanges));
}

} // namespace

QString printPlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes,
                  const QString &done, const RepairStyle &style)
{
    if (style.format == Options::Format::Json)
        return writePlan(output, plan, changes, style.oldDigest,
                         style.pretty ? JsonLayout::Indented : JsonLayout::Line);
    return RepairText(output, style.text).print(plan, changes, done);
}

} // namespace quenlofar
