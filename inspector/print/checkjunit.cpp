// The XML of JUnit's Ant task, as CI servers read it: a suite per file, a case per rule.
#include "checkoutput.h"
#include "displaytext.h"
#include "filepath.h"
#include "textoutput.h"

#include <map>

namespace quenlofar {

namespace {

/// `text` as characters of XML 1.0, in which most control characters cannot stand however they are written.
QString xmlText(const QString &text)
{
    QString shown = displayText(text).toHtmlEscaped();
    for (QChar &character : shown) {
        if (character.unicode() >= 0xFFFE)
            character = QChar::ReplacementCharacter;
    }
    return shown;
}

QString attribute(QStringView name, const QString &value)
{
    return QStringLiteral(" %1=\"%2\"").arg(name.toString(), xmlText(value));
}

QString placeLine(const JudgedFinding &finding)
{
    const quint64 offset = finding.places.empty() ? 0 : finding.places.front().offset;
    QString line = QStringLiteral("%1: at %2").arg(severityName(finding.severity).toString()).arg(offset);
    if (!finding.path.isEmpty())
        line += QStringLiteral(", ") + finding.path;
    if (finding.stream >= 0)
        line += QStringLiteral(", stream %1").arg(finding.stream);
    line += QStringLiteral(": %1 Expected %2, found %3.").arg(finding.message, finding.expected, finding.actual);
    if (finding.count > 1)
        line += QStringLiteral(" %1 times.").arg(finding.count);
    if (!finding.suppressed.isEmpty())
        line += QStringLiteral(" Suppressed: %1.").arg(finding.suppressed);
    return line;
}

/// One test case; what there is to say stands in it.
class Suite
{
public:
    void addCase(const QString &container, const QString &name, const QStringList &inside)
    {
        ++m_tests;
        QString line = QStringLiteral("    <testcase") + attribute(u"classname", container) + attribute(u"name", name);
        if (inside.isEmpty()) {
            m_lines.append(line + QStringLiteral("/>"));
            return;
        }
        m_lines.append(line + QLatin1Char('>'));
        for (const QString &element : inside)
            m_lines.append(QStringLiteral("      ") + element);
        m_lines.append(QStringLiteral("    </testcase>"));
    }
    void countFailure() { ++m_failures; }
    void countError() { ++m_errors; }
    void countSkipped() { ++m_skipped; }

    void print(TextOutput &output, const QString &name) const
    {
        output.line(QStringLiteral("  <testsuite") + attribute(u"name", name)
                    + QStringLiteral(" tests=\"%1\" failures=\"%2\" errors=\"%3\" skipped=\"%4\">")
                          .arg(m_tests)
                          .arg(m_failures)
                          .arg(m_errors)
                          .arg(m_skipped));
        for (const QString &line : m_lines)
            output.line(line);
        output.line(QStringLiteral("  </testsuite>"));
    }

private:
    QStringList m_lines;
    int m_tests = 0;
    int m_failures = 0;
    int m_errors = 0;
    int m_skipped = 0;
};

/// The case of a rule; `findings` are its own, in their order.
void addRule(Suite *suite, const FileCheck &check, const RuleOutcome &outcome,
             const std::vector<const JudgedFinding *> &findings, CheckChoice::FailOn failOn)
{
    QStringList lines;
    const JudgedFinding *failing = nullptr;
    for (const JudgedFinding *finding : findings) {
        lines.append(xmlText(placeLine(*finding)));
        if (!failing && fails(*finding, failOn))
            failing = finding;
    }
    QStringList inside;
    const QString text = lines.join(QLatin1Char('\n'));
    if (failing) {
        suite->countFailure();
        inside.append(QStringLiteral("<failure") + attribute(u"message", failing->message)
                      + attribute(u"type", severityName(failing->severity).toString()) + QLatin1Char('>') + text
                      + QStringLiteral("</failure>"));
    } else {
        const QString why = outcome.state == RuleState::NotApplicable ? QStringLiteral("not applicable")
            : outcome.state == RuleState::SwitchedOff                 ? QStringLiteral("switched off")
                                                                      : QString();
        if (!why.isNull()) {
            suite->countSkipped();
            inside.append(QStringLiteral("<skipped") + attribute(u"message", why) + QStringLiteral("/>"));
        }
        if (!lines.isEmpty())
            inside.append(QStringLiteral("<system-out>") + text + QStringLiteral("</system-out>"));
    }
    suite->addCase(check.start.container, outcome.rule, inside);
}

} // namespace

QByteArray junitHead()
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"quenlofar check\">\n";
}

QByteArray junitTail()
{
    return "</testsuites>\n";
}

QString printJunit(QIODevice &device, const FileCheck &check, CheckChoice::FailOn failOn)
{
    Suite suite;
    std::map<QString, std::vector<const JudgedFinding *>> byRule;
    for (const JudgedFinding &finding : check.findings)
        byRule[finding.rule].push_back(&finding);
    for (const RuleOutcome &outcome : check.rules)
        addRule(&suite, check, outcome, byRule[outcome.rule], failOn);
    // What kept the file from being judged is a case of its own.
    const QStringList reasons = reasonsOf(check.result) + (check.rules.empty() ? check.notChecked : QStringList());
    if (!reasons.isEmpty()) {
        suite.countError();
        suite.addCase(check.start.container.isNull() ? QStringLiteral("file") : check.start.container,
                      QStringLiteral("file can be judged"),
                      {QStringLiteral("<error") + attribute(u"message", reasons.join(QStringLiteral("; ")))
                       + QStringLiteral("/>")});
    }
    TextOutput output(device);
    suite.print(output, check.start.file);
    output.flush();
    return output.errorText();
}

} // namespace quenlofar
