#include "commands.h"

#include "batch.h"
#include "bytesource.h"
#include "displaytext.h"
#include "exitstatus.h"
#include "filebytes.h"
#include "filepath.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "planfile.h"
#include "pluginloader.h"
#include "pluginplaces.h"
#include "programoutput.h"
#include "recipesource.h"
#include "recipewriter.h"
#include "repairoutput.h"
#include "repairplan.h"
#include "repairproof.h"
#include "rulecatalogue.h"
#include "textstyle.h"

#include <QFile>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

namespace quenlofar {

namespace {

/// What became of a plan.
struct Outcome
{
    bool isTried = false; ///< the mended file was to be written
    WriteResult written;
    RepairProof proof; ///< no packets where nothing was to be proved

    /// The mended file is there.
    bool isWritten() const { return isTried && written.isDone(); }
};

class RepairCommand
{
public:
    RepairCommand(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
        : m_options(options), m_choice(options.repair), m_plugins(plugins), m_output(output)
    {
    }

    int run();

private:
    bool isUsable() const;
    int takeBack() const;
    FileReport repairOne(const FileTask &task) const;
    std::optional<RepairPlan> planOf(const FileTask &task, QString *error) const;
    QString savePlan(const RepairPlan &plan, const std::vector<PlanChange> &changes, const QByteArray &digest) const;
    Outcome carryOut(const RepairPlan &plan, const FileTask &task) const;
    QString copyOf(const QString &file) const;
    WriteResult write(const RepairPlan &plan, const FileTask &task) const;
    RepairProof prove(const RepairPlan &plan, const FileTask &task, const QString &copy) const;
    QString doneText(const Outcome &outcome, const QString &file) const;
    bool writes() const { return !m_choice.copy.isNull() || m_choice.inPlace; }

    const Options &m_options;
    const RepairChoice &m_choice;
    const PluginLoader &m_plugins;
    ProgramOutput &m_output;
};

/// False, and a message, for options that do not fit together.
bool RepairCommand::isUsable() const
{
    const bool undoes = !m_choice.undo.isNull();
    const InputChoice &input = m_options.input;
    const bool isOne = input.files.size() == 1 && input.directories.isEmpty() && input.list.isNull();
    QString error;
    if (int(!m_choice.copy.isNull()) + int(!m_choice.directory.isNull()) + int(m_choice.inPlace) + int(undoes) > 1)
        error = QStringLiteral("of --output, --output-dir, --in-place and --undo only one can be done");
    else if ((writes() || undoes || !m_choice.apply.isNull() || !m_choice.savePlan.isNull()) && !isOne)
        error = QStringLiteral("what is written comes from one FILE, and a plan is for one");
    else if (m_choice.inPlace != !m_choice.journal.isNull())
        error = QStringLiteral("--in-place and --journal belong together");
    else if ((writes() || undoes || !m_choice.directory.isNull()) && !PluginPlaceTrust::ofProcess().inCaller)
        error = QStringLiteral("repair does not write with more rights than you have");
    if (!error.isNull())
        printMessage(error);
    const RuleCatalogue catalogue(m_plugins.parsersFor({}));
    const QStringList unknown = catalogue.unknown(m_choice.only + m_choice.except);
    for (const QString &rule : unknown)
        printMessage(QStringLiteral("there is no rule \"%1\"").arg(rule));
    return error.isNull() && unknown.isEmpty();
}

int RepairCommand::run()
{
    if (!isUsable())
        return ExitFailure;
    if (!m_choice.undo.isNull())
        return takeBack();
    return lookAtFiles(m_options, m_plugins, m_output, [this](const FileTask &task) { return repairOne(task); });
}

int RepairCommand::takeBack() const
{
    const QString &file = m_options.input.files.constFirst();
    const WriteResult result = undo(m_choice.undo, file);
    if (!result.isDone()) {
        printMessage(result.error);
        return ExitFailure;
    }
    return m_output.print(pathForDisplay(displayText(file) + QStringLiteral(": has its old bytes again\n")));
}

/// Where the copy of a file goes; null where none is asked for. Below --output-dir it has the path that it has below
/// the directory that was searched, or its name.
QString RepairCommand::copyOf(const QString &file) const
{
    if (m_choice.directory.isNull())
        return m_choice.copy;
    for (const QString &searched : m_options.input.directories) {
        const QString begin = searched.endsWith(QLatin1Char('/')) ? searched : searched + QLatin1Char('/');
        if (file.startsWith(begin))
            return m_choice.directory + QLatin1Char('/') + file.mid(begin.size());
    }
    return m_choice.directory + QLatin1Char('/') + file.mid(file.lastIndexOf(QLatin1Char('/')) + 1);
}

/// Makes the directories above a file that are missing below one that is there; false, with errno, where that fails.
bool makeDirectoriesOf(const QString &path, const QString &root)
{
    for (auto slash = path.indexOf(QLatin1Char('/'), root.size() + 1); slash >= 0;
         slash = path.indexOf(QLatin1Char('/'), slash + 1)) {
        constexpr mode_t permissions = 0777; // what the process's mask leaves of them
        if (::mkdir(pathToBytes(path.left(slash)).constData(), permissions) != 0 && errno != EEXIST)
            return false;
    }
    return true;
}

RepairProof RepairCommand::prove(const RepairPlan &plan, const FileTask &task, const QString &copy) const
{
    const SourceOpener mended = [&](const QString &file, QString *error) -> std::unique_ptr<ByteSource> {
        if (!copy.isNull())
            return openFileSource(copy, error);
        std::unique_ptr<ByteSource> source = openFileSource(file, error);
        return source ? std::make_unique<RecipeSource>(plan.recipe, std::move(source)) : nullptr;
    };
    return proveRepair(plan.recipe, task.file, mended, task.parsers, m_options.limits, &InterruptWatch::flag());
}

WriteResult RepairCommand::write(const RepairPlan &plan, const FileTask &task) const
{
    const QString &file = task.file;
    if (!m_choice.force && mayStillBeWritten(plan, file))
        return {file
                    + QStringLiteral(": it was never closed and changed within the last minute; something may still "
                                     "write to it (--force mends it all the same)"),
                false, false};
    WriteOptions options;
    options.isForced = m_choice.force;
    options.cancel = &InterruptWatch::flag();
    options.progress = task.progress;
    if (m_choice.inPlace)
        return writeInPlace(plan.recipe, file, m_choice.journal, options);
    const QString copy = copyOf(file);
    if (!m_choice.directory.isNull() && !makeDirectoriesOf(copy, m_choice.directory))
        return {copy + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(errno)), false, false};
    return writeCopy(plan.recipe, file, copy, options);
}

QString RepairCommand::doneText(const Outcome &outcome, const QString &file) const
{
    QStringList texts;
    if (outcome.isWritten() && m_choice.inPlace)
        texts.append(
            QStringLiteral("changed in place; quenlofar repair --undo %1 takes it back").arg(m_choice.journal));
    else if (outcome.isWritten())
        texts.append(QStringLiteral("written: ") + copyOf(file)
                     + (outcome.written.sharesExtents ? QStringLiteral(" (it shares unchanged data with the original)")
                                                      : QString()));
    if (outcome.proof.packets > 0 && outcome.proof.objection.isNull())
        texts.append(QStringLiteral("proved: all %1 packets with %2 bytes are in the mended file")
                         .arg(outcome.proof.packets)
                         .arg(outcome.proof.bytes));
    return texts.join(QStringLiteral("; "));
}

/// Writes and proves, as far as that is asked for.
Outcome RepairCommand::carryOut(const RepairPlan &plan, const FileTask &task) const
{
    Outcome outcome;
    const QString copy = copyOf(task.file);
    if (plan.before.verdict == Verdict::Unknown || !plan.after.result.isClean())
        return outcome;
    // What is changed in place is proved before.
    if (m_choice.proves && !plan.isEmpty() && copy.isNull())
        outcome.proof = prove(plan, task, {});
    // A file in order is copied too where one is named: whoever asks for a file under that name gets one.
    const bool isNeeded = !m_choice.copy.isNull() || (!plan.isEmpty() && (m_choice.inPlace || !copy.isNull()));
    outcome.isTried = isNeeded && outcome.proof.objection.isNull();
    if (outcome.isTried)
        outcome.written = write(plan, task);
    if (m_choice.proves && outcome.isWritten() && !copy.isNull())
        outcome.proof = prove(plan, task, copy);
    return outcome;
}

/// The plan that is made, or that was saved; null, and `*error`, where that is none for the file.
std::optional<RepairPlan> RepairCommand::planOf(const FileTask &task, QString *error) const
{
    RepairSettings settings;
    settings.level = m_choice.level;
    settings.only = m_choice.only;
    settings.except = m_choice.except;
    settings.rewrites = m_choice.rewrites;
    settings.cutsTrailing = m_choice.cutsTrailing;
    settings.like = m_choice.like;
    const RunLimits &limits = m_options.limits;
    const std::atomic<bool> *const cancel = &InterruptWatch::flag();
    if (m_choice.apply.isNull()) {
        RepairPlan plan = planRepair(task.file, task.parsers, settings, limits, cancel, task.progress);
        if (plan.error.isNull())
            return plan;
        *error = plan.error;
        return std::nullopt;
    }
    constexpr quint64 mostBytes = quint64(1) << 30;
    const std::optional<QByteArray> saved = bytesOfFile(m_choice.apply, mostBytes, error);
    const std::unique_ptr<ByteSource> original = saved ? openFileSource(task.file, error) : nullptr;
    const std::optional<Recipe> recipe = original ? recipeOfPlan(*saved, *original, error) : std::nullopt;
    if (!recipe) {
        *error = QStringLiteral("%1: %2").arg(!saved || original ? m_choice.apply : task.file, *error);
        return std::nullopt;
    }
    return judgeRecipe(task.file, *recipe, task.parsers, settings, limits, cancel, task.progress);
}

/// Writes the plan where that is asked for; null, or why that was not possible.
QString RepairCommand::savePlan(const RepairPlan &plan, const std::vector<PlanChange> &changes,
                                const QByteArray &digest) const
{
    if (m_choice.savePlan.isNull())
        return {};
    QFile file(m_choice.savePlan);
    RepairStyle style;
    style.format = Options::Format::Json;
    style.oldDigest = digest;
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return QStringLiteral("%1: %2").arg(m_choice.savePlan, file.errorString());
    const QString error = printPlan(file, plan, changes, {}, style);
    if (error.isNull() && file.flush())
        return {};
    file.remove();
    return QStringLiteral("%1: %2").arg(m_choice.savePlan, error.isNull() ? file.errorString() : error);
}

FileReport RepairCommand::repairOne(const FileTask &task) const
{
    QString planError;
    const std::optional<RepairPlan> made = planOf(task, &planError);
    if (!made) {
        FileReport report;
        report.exitStatus = ExitFailure;
        report.trouble = QStringLiteral("has no plan");
        report.messages.append(planError);
        return report;
    }
    const RepairPlan &plan = *made;
    const std::vector<PlanChange> changes = changesOf(plan, task.file, task.parsers, {}, task.run);
    const bool isPrinted = m_options.format == Options::Format::Json || !m_choice.savePlan.isNull();
    QString openError;
    const std::unique_ptr<ByteSource> original = isPrinted ? openFileSource(task.file, &openError) : nullptr;
    const QByteArray digest = original ? digestOfOldBytes(plan.recipe, *original) : QByteArray();
    const QString saveError = savePlan(plan, changes, digest);
    const Outcome outcome = saveError.isNull() ? carryOut(plan, task) : Outcome();

    RepairStyle style;
    style.format = m_options.format;
    style.pretty = m_options.pretty;
    style.oldDigest = digest;
    style.text = textStyle(m_options.output, m_output);
    RunResult result = plan.after.result;
    result.cancelled = result.cancelled || outcome.written.isCancelled;
    result.sinkError = printPlan(task.output, plan, changes, doneText(outcome, task.file), style);
    FileReport report = reportOf(task.file, result, task.programOutput.hasFailed());
    const auto addTrouble = [&report](int status, const QString &trouble, const QString &message) {
        report.exitStatus = std::max(report.exitStatus, status);
        if (report.trouble.isNull())
            report.trouble = trouble;
        if (!message.isNull())
            report.messages.append(message);
    };
    if (!saveError.isNull())
        addTrouble(ExitFailure, QStringLiteral("cannot be written"), saveError);
    else if (!outcome.written.error.isNull())
        addTrouble(ExitFailure, QStringLiteral("cannot be written"), outcome.written.error);
    else if (!outcome.proof.objection.isNull())
        addTrouble(ExitFailure, QStringLiteral("cannot be proved"),
                   task.file + QStringLiteral(": ") + outcome.proof.objection);
    if (report.exitStatus >= ExitFailure)
        return report;
    if (plan.before.verdict == Verdict::Unknown)
        addTrouble(ExitFileProblem, QStringLiteral("cannot be judged"),
                   report.trouble.isNull() ? task.file + QStringLiteral(": cannot be judged") : QString());
    else if (!plan.isEmpty() && !outcome.isWritten())
        addTrouble(ExitFileProblem, QStringLiteral("can be repaired"), {});
    else if (plan.after.counts.error > 0)
        addTrouble(ExitFileProblem, verdictText(plan.after.verdict), {});
    return report;
}

} // namespace

int repairFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return RepairCommand(options, plugins, output).run();
}

} // namespace quenlofar
