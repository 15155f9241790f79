#include "commands.h"

#include "batch.h"
#include "checkoutput.h"
#include "exitstatus.h"
#include "fileanalysis.h"
#include "filebytes.h"
#include "filecheck.h"
#include "filefactsjson.h"
#include "filepath.h"
#include "findingpaths.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "programoutput.h"
#include "recordings.h"
#include "ruleoutput.h"
#include "textstyle.h"

#include <optional>

namespace quenlofar {

namespace {

constexpr quint64 mostBytes = quint64(1) << 30; // of a policy or a baseline

/// The bytes of a file that an option names; null, and a message, where they cannot be had.
std::optional<QByteArray> bytesOf(const QString &option, const QString &path)
{
    QString error;
    std::optional<QByteArray> bytes = bytesOfFile(path, mostBytes, &error);
    if (!bytes)
        printMessage(QStringLiteral("%1 %2: %3").arg(option, path, error));
    return bytes;
}

class CheckCommand
{
public:
    CheckCommand(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
        : m_options(options), m_plugins(plugins), m_output(output), m_catalogue(plugins.parsersFor({}))
    {
    }

    int run();

private:
    bool readSettings();
    bool areKnown(const QString &where, const QStringList &rules) const;
    FileReport checkOne(const FileTask &task) const;
    BatchFrame frame() const;

    const Options &m_options;
    const PluginLoader &m_plugins;
    ProgramOutput &m_output;
    const RuleCatalogue m_catalogue;
    CheckSettings m_settings;
    QString m_rulesVersion; // where records are asked for
};

int CheckCommand::run()
{
    const CheckChoice &choice = m_options.check;
    if (choice.isQuestion()) {
        const bool isAboutOne = !choice.explained.isNull();
        if (isAboutOne && !areKnown(QStringLiteral("--explain"), {choice.explained}))
            return ExitFailure;
        const std::vector<RuleCatalogue::Entry> rules =
            isAboutOne ? m_catalogue.find(choice.explained) : m_catalogue.entries();
        printRules(m_output, rules, isAboutOne, m_options);
        return m_output.finish();
    }
    if (!readSettings())
        return ExitFailure;
    if (choice.fileFacts)
        m_rulesVersion = loadedRules(m_plugins);
    return lookAtFiles(
        m_options, m_plugins, m_output, [this](const FileTask &task) { return checkOne(task); }, frame());
}

/// False, and a message, where some rule is not known.
bool CheckCommand::areKnown(const QString &where, const QStringList &rules) const
{
    const QStringList unknown = m_catalogue.unknown(rules);
    for (const QString &rule : unknown)
        printMessage(QStringLiteral("%1: there is no rule \"%2\"").arg(where, rule));
    if (!unknown.isEmpty())
        printMessage(QStringLiteral("try: quenlofar check --list-rules"));
    return unknown.isEmpty();
}

bool CheckCommand::readSettings()
{
    const CheckChoice &choice = m_options.check;
    m_settings.level = choice.level;
    m_settings.only = choice.only;
    m_settings.except = choice.except;
    if (!areKnown(QStringLiteral("--only"), choice.only) || !areKnown(QStringLiteral("--except"), choice.except))
        return false;
    // Both may be the target of -o only by mistake.
    QVector<QString> inputs;
    for (const QString &file : {choice.policy, choice.baseline}) {
        if (!file.isNull())
            inputs.append(file);
    }
    if (!m_output.spares(inputs))
        return false;
    QString error;
    if (!choice.policy.isNull()) {
        const std::optional<QByteArray> bytes = bytesOf(QStringLiteral("--policy"), choice.policy);
        std::optional<Policy> policy;
        if (bytes) {
            policy = Policy::parse(*bytes, &error);
            if (!policy)
                printMessage(QStringLiteral("--policy %1: %2").arg(choice.policy, error));
        }
        if (!policy || !areKnown(QStringLiteral("--policy ") + choice.policy, policy->rules()))
            return false;
        m_settings.policy = *policy;
    }
    if (!choice.baseline.isNull()) {
        const std::optional<QByteArray> bytes = bytesOf(QStringLiteral("--baseline"), choice.baseline);
        std::optional<Baseline> baseline;
        if (bytes) {
            baseline = Baseline::parse(*bytes, &error);
            if (!baseline)
                printMessage(QStringLiteral("--baseline %1: %2").arg(choice.baseline, error));
        }
        if (!baseline)
            return false;
        m_settings.baseline = *baseline;
    }
    return true;
}

BatchFrame CheckCommand::frame() const
{
    BatchFrame frame;
    if (m_options.format == Options::Format::Sarif) {
        frame.head = sarifHead(m_catalogue);
        frame.dropsFirstComma = true;
        frame.tail = sarifTail;
    } else if (m_options.format == Options::Format::Junit) {
        frame.head = junitHead();
        frame.tail = [](const QVector<FileReport> &) { return junitTail(); };
    }
    return frame;
}

FileReport CheckCommand::checkOne(const FileTask &task) const
{
    FileCheck check;
    int error = 0;
    const std::optional<FileStamp> stamp =
        m_options.check.fileFacts ? stampOf(pathToBytes(task.file), &error) : std::nullopt;
    {
        FileAnalysis analysis(m_options.limits, &InterruptWatch::flag(), task.progress);
        analysis.read(task.file, task.parsers, m_settings.level);
        if (!analysis.analyzer() && analysis.start().fileSize >= 0)
            analysis.identify(task.file, task.parsers, task.run);
        check = judge(analysis, m_settings);
    }
    // Lines have no places, and a walk is what takes the time.
    if (m_options.format != Options::Format::Lines)
        lookUpPaths(&check, task.parsers, task.run);

    CheckStyle style;
    if (m_options.check.fileFacts) {
        const QString path = pathFromBytes(AbsolutePaths().of(pathToBytes(task.file)));
        FileRecord record = recordMaker(task, digestKindOf(m_options.check.digest)).make(path, stamp, check);
        record.program = programVersion();
        record.rules = m_rulesVersion;
        style.facts = [record](JsonPrinter &json) { printFileFacts(json, record); };
    }
    style.format = m_options.format;
    style.pretty = m_options.pretty;
    style.csvTexts = m_options.csvTexts;
    style.text = textStyle(m_options.output, m_output);
    style.failOn = m_options.check.failOn;
    style.isFirst = task.isFirst;
    style.isOneOfMany = task.isOneOfMany;
    RunResult result = check.result;
    result.sinkError = printCheck(task.output, check, style, m_catalogue);
    FileReport report = reportOf(task.file, result, task.programOutput.hasFailed());
    if (report.exitStatus >= ExitFailure)
        return report;
    if (m_options.check.failOn == CheckChoice::FailOn::Never) {
        report.exitStatus = ExitClean;
        return report;
    }
    if (fails(check, m_options.check.failOn)) {
        report.exitStatus = ExitFileProblem;
        if (report.trouble.isNull())
            report.trouble = verdictText(check.verdict);
    } else if (check.verdict == Verdict::Unknown) {
        report.exitStatus = ExitFileProblem;
        if (report.trouble.isNull()) {
            report.trouble = check.notChecked.isEmpty() ? QStringLiteral("cannot be judged") : check.notChecked.first();
            report.messages.append(QStringLiteral("%1: %2").arg(task.file, report.trouble));
        }
    }
    return report;
}

} // namespace

int checkFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return CheckCommand(options, plugins, output).run();
}

} // namespace quenlofar
