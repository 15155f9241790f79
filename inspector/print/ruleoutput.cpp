#include "ruleoutput.h"

#include "displaytext.h"
#include "jsonprinter.h"
#include "options.h"
#include "textoutput.h"

namespace quenlofar {

namespace {

constexpr Severity severities[] = {Severity::Error, Severity::Warning, Severity::Note};

/// "error", "error or note".
QString severitiesText(const Rule &rule)
{
    QStringList names;
    for (const Severity severity : severities) {
        if (rule.severities.contains(severity))
            names.append(severityName(severity).toString());
    }
    return names.join(QStringLiteral(" or "));
}

/// Lines of at most 100 characters, divided at blanks.
void printParagraph(TextOutput &output, const QString &label, QStringView text)
{
    constexpr int most = 100;
    const QString indentation(2, QLatin1Char(' '));
    QString line = indentation + label;
    for (const QString &word : text.toString().split(QLatin1Char(' '))) {
        if (line.size() + 1 + word.size() > most) {
            output.line(line);
            line = indentation + indentation + word;
        } else {
            line += QLatin1Char(' ') + word;
        }
    }
    output.line(line);
}

void explain(TextOutput &output, const RuleCatalogue::Entry &entry)
{
    const Rule &rule = *entry.rule;
    output.line(QStringLiteral("%1 (%2): %3").arg(rule.name.toString(), entry.container, rule.title.toString()));
    printParagraph(output, QStringLiteral("severity:"), severitiesText(rule));
    printParagraph(output, QStringLiteral("level:"), levelText(rule.level));
    printParagraph(output, QStringLiteral("repair:"), repairText(rule.repair));
    printParagraph(output, QStringLiteral("why:"), rule.reason);
    printParagraph(output, QStringLiteral("who notices:"), rule.affected);
    printParagraph(output, QStringLiteral("what to do:"), rule.advice);
    printParagraph(output, QStringLiteral("source:"), rule.source);
}

void printText(QIODevice &device, const std::vector<RuleCatalogue::Entry> &rules, bool areExplained)
{
    TextOutput output(device);
    if (areExplained) {
        for (const RuleCatalogue::Entry &entry : rules)
            explain(output, entry);
    } else {
        QVector<QStringList> rows{{QStringLiteral("container"), QStringLiteral("rule"), QStringLiteral("severity"),
                                   QStringLiteral("level"), QStringLiteral("repair"), QStringLiteral("title")}};
        for (const RuleCatalogue::Entry &entry : rules) {
            const Rule &rule = *entry.rule;
            rows.append({displayText(entry.container), displayText(rule.name), severitiesText(rule),
                         levelText(rule.level), repairText(rule.repair), displayText(rule.title)});
        }
        for (const QString &line : tableLines(rows, {}))
            output.line(line);
    }
    output.flush();
}

void printJson(QIODevice &device, const std::vector<RuleCatalogue::Entry> &rules, bool areExplained, JsonLayout layout)
{
    JsonPrinter json(device, layout);
    json.beginObject().key(u"formatVersion").number(1).key(u"rules").beginArray();
    for (const RuleCatalogue::Entry &entry : rules) {
        const Rule &rule = *entry.rule;
        json.beginObject().key(u"container").text(entry.container).key(u"rule").text(rule.name);
        json.key(u"severity").text(severityName(rule.severities.highest())).key(u"severities").beginArray();
        for (const Severity severity : severities) {
            if (rule.severities.contains(severity))
                json.text(severityName(severity));
        }
        json.endArray().key(u"level").text(levelText(rule.level)).key(u"repair").text(repairText(rule.repair));
        json.key(u"title").text(rule.title).key(u"source").text(rule.source);
        if (areExplained) {
            json.key(u"reason").text(rule.reason).key(u"affected").text(rule.affected);
            json.key(u"advice").text(rule.advice);
        }
        json.endObject();
    }
    json.endArray().endObject();
    json.finish();
}

} // namespace

void printRules(QIODevice &output, const std::vector<RuleCatalogue::Entry> &rules, bool areExplained,
                const Options &options)
{
    if (options.format == Options::Format::Json)
        printJson(output, rules, areExplained, options.pretty ? JsonLayout::Indented : JsonLayout::Line);
    else
        printText(output, rules, areExplained);
}

} // namespace quenlofar
