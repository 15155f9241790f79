#include "checkoutput.h"

#include "displaytext.h"
#include "ecma48.h"
#include "filepath.h"
#include "findingjson.h"
#include "jsonprinter.h"
#include "report.h"
#include "textoutput.h"

#include <algorithm>
#include <string_view>

namespace quenlofar {

namespace {

std::string_view colourOf(Severity severity)
{
    return severity == Severity::Error ? ecma48::red : severity == Severity::Warning ? ecma48::yellow : ecma48::faint;
}

std::string_view colourOf(Verdict verdict)
{
    return verdict == Verdict::Damaged                                ? ecma48::red
        : verdict == Verdict::Warnings || verdict == Verdict::Unknown ? ecma48::yellow
                                                                      : std::string_view();
}

QString styled(const QString &text, std::string_view colour, const TextStyle &style)
{
    return style.colour && !colour.empty() ? ecma48::styled(text, colour) : text;
}

/// Findings below what causes them, for people.
class CheckText
{
public:
    CheckText(QIODevice &output, const TextStyle &style) : m_output(output), m_style(style) { }

    QString print(const FileCheck &check);

private:
    void printFinding(const JudgedFinding &finding, int depth);
    QString placeText(const JudgedFinding &finding) const;

    TextOutput m_output;
    const TextStyle m_style;
};

QString CheckText::print(const FileCheck &check)
{
    QString line = styled(displayText(check.start.file), ecma48::bold, m_style) + QStringLiteral(": ")
        + styled(displayText(verdictLine(check)), colourOf(check.verdict), m_style);
    // A file in order is one line.
    const bool isShort = check.findings.empty() && check.result.isClean() && check.verdict != Verdict::Unknown;
    if (isShort && !check.notChecked.isEmpty())
        line += QStringLiteral(" (not checked: %1)").arg(displayText(check.notChecked.join(QStringLiteral("; "))));
    m_output.line(line);

    std::vector<std::vector<size_t>> below(check.findings.size() + 1); // ordinals, by the id of the cause; 0: the top
    for (size_t ordinal = 0; ordinal < check.findings.size(); ++ordinal)
        below[size_t(check.findings[ordinal].causedBy)].push_back(ordinal);
    std::vector<std::pair<size_t, int>> open; // with depths, the next one last
    const auto push = [&](size_t id, int depth) {
        for (auto each = below[id].rbegin(); each != below[id].rend(); ++each)
            open.emplace_back(*each, depth);
    };
    push(0, 0);
    while (!open.empty() && m_output.works()) {
        const auto [ordinal, depth] = open.back();
        open.pop_back();
        printFinding(check.findings[ordinal], depth);
        push(ordinal + 1, depth + 1);
    }
    QStringList reasons = reasonsOf(check.result);
    QStringList notChecked = isShort ? QStringList() : check.notChecked;
    // The first of these stands in the line of the verdict.
    if (check.verdict == Verdict::Unknown && !reasons.isEmpty())
        reasons.removeFirst();
    else if (check.verdict == Verdict::Unknown && !notChecked.isEmpty())
        notChecked.removeFirst();
    for (const QString &what : std::as_const(notChecked))
        m_output.line(QStringLiteral("  not checked: ") + displayText(what));
    for (const QString &reason : std::as_const(reasons))
        m_output.line(QStringLiteral("  ") + displayText(reason));
    m_output.flush();
    return m_output.errorText();
}

void CheckText::printFinding(const JudgedFinding &finding, int depth)
{
    constexpr int deepest = 20;
    const QString indentation(2 + 2 * std::min(depth, deepest), QLatin1Char(' '));
    const bool counts = finding.suppressed.isEmpty();
    const QString severity = severityName(finding.severity).toString();
    QString line = indentation + styled(severity, counts ? colourOf(finding.severity) : ecma48::faint, m_style)
        + QStringLiteral(": %1 (%2)").arg(displayText(finding.message), displayText(finding.rule));
    if (finding.confidence == Confidence::Likely)
        line += QStringLiteral(" [likely]");
    if (!counts)
        line += QStringLiteral(" [suppressed: %1]").arg(displayText(finding.suppressed));
    if (!finding.severityReason.isEmpty())
        line += QStringLiteral(" [%1 because: %2]").arg(severity, displayText(finding.severityReason));
    m_output.line(line);
    m_output.line(indentation + QStringLiteral("  ") + placeText(finding));
}

/// "at 48, RIFF(AVI )/LIST(hdrl)/avih/dwTotalFrames: expected 20, found 21; 3 times, also at 96, 144".
QString CheckText::placeText(const JudgedFinding &finding) const
{
    QString text;
    if (!finding.places.empty())
        text = QStringLiteral("at ") + offsetText(finding.places.front().offset, m_style.hexOffsets);
    if (!finding.path.isEmpty())
        text += QStringLiteral(", ") + displayText(finding.path);
    if (finding.stream >= 0)
        text += QStringLiteral(", stream %1").arg(finding.stream);
    text += QStringLiteral(": expected %1, found %2").arg(displayText(finding.expected), displayText(finding.actual));
    if (finding.count > 1) {
        text += QStringLiteral("; %1 times").arg(finding.count);
        for (size_t place = 1; place < finding.places.size(); ++place)
            text += (place == 1 ? QStringLiteral(", also at ") : QStringLiteral(", "))
                + offsetText(finding.places[place].offset, m_style.hexOffsets);
    }
    return text;
}

QString printLine(QIODevice &device, const FileCheck &check)
{
    TextOutput output(device);
    output.line(displayText(check.start.file) + QStringLiteral(": ") + displayText(verdictLine(check)));
    output.flush();
    return output.errorText();
}

QString printCsv(QIODevice &device, const FileCheck &check, const CheckStyle &style)
{
    TextOutput output(device);
    if (style.isFirst)
        output.line(
            (style.isOneOfMany ? QStringLiteral("file,") : QString())
            + QStringLiteral("id,rule,severity,confidence,offset,size,path,stream,expected,actual,message,repair,"
                             "causedBy,count,suppressed"));
    const auto text = [&style](const QString &from) { return csvText(from, style.csvTexts); };
    for (const JudgedFinding &finding : check.findings) {
        const ByteRange place = finding.places.empty() ? ByteRange() : finding.places.front();
        QStringList cells;
        if (style.isOneOfMany)
            cells.append(text(check.start.file));
        cells += {QString::number(finding.id),
                  text(finding.rule),
                  severityName(finding.severity).toString(),
                  confidenceText(finding.confidence),
                  QString::number(place.offset),
                  QString::number(place.size),
                  text(finding.path),
                  finding.stream >= 0 ? QString::number(finding.stream) : QString(),
                  text(finding.expected),
                  text(finding.actual),
                  text(finding.message),
                  repairText(finding.repair),
                  finding.causedBy > 0 ? QString::number(finding.causedBy) : QString(),
                  QString::number(finding.count),
                  text(finding.suppressed)};
        output.line(cells.join(QLatin1Char(',')));
    }
    output.flush();
    return output.errorText();
}

void printCounts(JsonPrinter &json, const FindingCounts &counts)
{
    json.key(u"counts").beginObject().key(u"error").number(quint64(counts.error));
    json.key(u"warning").number(quint64(counts.warning)).key(u"note").number(quint64(counts.note));
    json.key(u"suppressed").number(quint64(counts.suppressed)).endObject();
}

QString printJson(QIODevice &output, const FileCheck &check, const CheckStyle &style)
{
    JsonPrinter json(output, style.pretty ? JsonLayout::Indented : JsonLayout::Line);
    json.beginObject().documentStart(check.start).key(u"level").text(levelText(check.level));
    json.key(u"verdict").text(verdictText(check.verdict));
    printCounts(json, check.counts);
    const auto passed = quint64(check.ruleCount(RuleState::Passed));
    const auto failed = quint64(check.ruleCount(RuleState::Failed));
    json.key(u"rules").beginObject().key(u"run").number(passed + failed);
    json.key(u"passed").number(passed).key(u"failed").number(failed);
    json.key(u"notApplicable").number(quint64(check.ruleCount(RuleState::NotApplicable)));
    json.key(u"switchedOff").number(quint64(check.ruleCount(RuleState::SwitchedOff))).endObject();
    json.key(u"findings").beginArray();
    for (const JudgedFinding &finding : check.findings)
        printFinding(json, finding);
    json.endArray().key(u"notChecked").beginArray();
    for (const QString &what : check.notChecked)
        json.text(what);
    json.endArray();
    if (style.facts) {
        json.key(u"fileFacts");
        style.facts(json);
    }
    json.outcome(check.result).endObject();
    json.finish();
    return json.errorText();
}

} // namespace

QString verdictLine(const FileCheck &check)
{
    QString line = verdictText(check.verdict);
    const QString counts = countsText(check.counts);
    if (!counts.isEmpty())
        line += QStringLiteral(", ") + counts;
    if (check.verdict != Verdict::Unknown)
        return line;
    const QStringList reasons = reasonsOf(check.result) + check.notChecked;
    return reasons.isEmpty() ? line : line + QStringLiteral(", ") + reasons.first();
}

bool fails(const FileCheck &check, CheckChoice::FailOn failOn)
{
    return std::any_of(check.findings.begin(), check.findings.end(),
                       [failOn](const JudgedFinding &finding) { return fails(finding, failOn); });
}

bool fails(const Finding &finding, CheckChoice::FailOn failOn)
{
    if (!finding.suppressed.isEmpty() || failOn == CheckChoice::FailOn::Never)
        return false;
    const Severity least = failOn == CheckChoice::FailOn::Error ? Severity::Error
        : failOn == CheckChoice::FailOn::Warning                ? Severity::Warning
                                                                : Severity::Note;
    return finding.severity >= least;
}

void printVerdict(JsonPrinter &json, const FileCheck &check, size_t most)
{
    json.key(u"verdict").text(verdictText(check.verdict));
    printCounts(json, check.counts);
    json.key(u"causes").beginArray();
    const std::vector<const JudgedFinding *> causes = check.causes(Severity::Warning);
    for (size_t ordinal = 0; ordinal < std::min(most, causes.size()); ++ordinal) {
        const JudgedFinding &cause = *causes[ordinal];
        json.beginObject().key(u"rule").text(cause.rule).key(u"severity").text(severityName(cause.severity));
        json.key(u"offset").number(cause.places.empty() ? 0 : cause.places.front().offset);
        if (cause.stream >= 0)
            json.key(u"stream").number(quint64(cause.stream));
        json.key(u"message").text(cause.message).endObject();
    }
    json.endArray();
}

QString printCheck(QIODevice &output, const FileCheck &check, const CheckStyle &style, const RuleCatalogue &catalogue)
{
    switch (style.format) {
    case Options::Format::Json:
        return printJson(output, check, style);
    case Options::Format::Csv:
        return printCsv(output, check, style);
    case Options::Format::Sarif:
        return printSarif(output, check, catalogue);
    case Options::Format::Junit:
        return printJunit(output, check, style.failOn);
    case Options::Format::Lines:
        return printLine(output, check);
    case Options::Format::Text:
        break;
    }
    return CheckText(output, style.text).print(check);
}

} // namespace quenlofar
