#include "repairoutput.h"

#include "checkoutput.h"
#include "displaytext.h"
#include "ecma48.h"
#include "jsonprinter.h"
#include "report.h"
#include "textoutput.h"

#include <algorithm>

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

QByteArray newBytes(const RepairPlan &plan, const Recipe::Piece &piece)
{
    return plan.recipe.newBytes().mid(int(piece.from), int(piece.size));
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
        m_output.line(line + hexText(newBytes(plan, change.piece))
                      + (change.old.isEmpty() ? QStringLiteral(" added") : QString()));
    }
    if (count > shownChanges)
        m_output.line(QStringLiteral("     and at %1 more places").arg(count - shownChanges));
}

void printNewBytes(JsonPrinter &json, const RepairPlan &plan, const Recipe::Piece &piece)
{
    json.hexDigits(plan.recipe.newBytes().constData() + piece.from, qint64(piece.size));
}

void printChange(JsonPrinter &json, const RepairPlan &plan, const PlanChange &change)
{
    json.beginObject();
    if (!change.piece.isNew) {
        json.key(u"copy").beginArray().number(change.piece.from).number(change.piece.size).endArray();
        json.key(u"to").number(change.piece.offset).endObject();
        return;
    }
    if (!plan.recipe.movesNothing()) {
        json.key(u"insert");
        printNewBytes(json, plan, change.piece);
        json.key(u"to").number(change.piece.offset).endObject();
        return;
    }
    if (change.old.isEmpty()) {
        json.key(u"append").number(change.piece.size);
    } else {
        json.key(u"offset").number(change.piece.offset);
        json.key(u"old").hexDigits(change.old.constData(), change.old.size());
    }
    json.key(u"new");
    printNewBytes(json, plan, change.piece);
    json.endObject();
}

/// Ranges of the original that are left out; nothing where there are none.
void printRanges(JsonPrinter &json, QStringView key, const std::vector<ByteRange> &ranges)
{
    if (ranges.empty())
        return;
    json.key(key).beginArray();
    for (const ByteRange &range : ranges)
        json.beginArray().number(range.offset).number(range.size).endArray();
    json.endArray();
}

QString printJson(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes,
                  const RepairStyle &style)
{
    JsonPrinter json(output, style.pretty ? JsonLayout::Indented : JsonLayout::Line);
    json.beginObject().documentStart(plan.before.start);
    json.key(u"sha256OfOldBytes").text(QString::fromLatin1(style.oldDigest.toHex()));
    json.key(u"newSize")
        .number(plan.isEmpty() ? quint64(std::max<qint64>(plan.before.start.fileSize, 0)) : plan.recipe.newSize());
    json.key(u"steps").beginArray();
    for (quint32 number = 0; number < plan.recipe.steps().size(); ++number) {
        const RecipeStep &step = plan.recipe.steps()[number];
        json.beginObject().key(u"id").number(quint64(number) + 1).key(u"rules").beginArray();
        for (const QString &rule : step.rules)
            json.text(rule);
        json.endArray().key(u"findings").beginArray();
        for (const quint32 id : step.findings)
            json.number(quint64(id));
        json.endArray().key(u"class").text(repairText(step.repair)).key(u"reason").text(step.reason);
        json.key(u"changes").beginArray();
        for (const PlanChange &change : changes) {
            if (change.piece.step == number)
                printChange(json, plan, change);
        }
        json.endArray().endObject();
    }
    json.endArray();
    printRanges(json, u"superseded", plan.recipe.removed(Recipe::Removal::Superseded));
    printRanges(json, u"dropped", plan.recipe.removed(Recipe::Removal::AskedFor));
    json.key(u"leftOut").beginArray();
    for (const OmittedStep &omitted : plan.omitted) {
        json.beginObject().key(u"rules").beginArray();
        for (const QString &rule : omitted.step.rules)
            json.text(rule);
        json.endArray().key(u"reason").text(omitted.reason).endObject();
    }
    json.endArray().key(u"cleared").beginArray();
    for (const int id : plan.cleared)
        printFinding(json, plan.before.findings[size_t(id) - 1]);
    json.endArray().key(u"left").beginArray();
    for (const JudgedFinding &finding : plan.after.findings)
        printFinding(json, finding);
    json.endArray().key(u"verdictBefore").text(verdictText(plan.before.verdict));
    json.key(u"verdictAfter").text(verdictText(plan.after.verdict)).outcome(plan.after.result).endObject();
    json.finish();
    return json.errorText();
}

} // namespace

QString printPlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes,
                  const QString &done, const RepairStyle &style)
{
    if (style.format == Options::Format::Json)
        return printJson(output, plan, changes, style);
    return RepairText(output, style.text).print(plan, changes, done);
}

} // namespace quenlofar
