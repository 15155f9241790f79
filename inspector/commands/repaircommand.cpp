#include "commands.h"

#include "batch.h"
#include "bytesource.h"
#include "displaytext.h"
#include "exitstatus.h"
#include "filepath.h"
#include "findingpaths.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "pluginplaces.h"
#include "programoutput.h"
#include "recipewriter.h"
#include "repairoutput.h"
#include "repairplan.h"
#include "rulecatalogue.h"
#include "textstyle.h"

#include <sys/stat.h>

#include <ctime>

namespace quenlofar {

namespace {

/// A file that changed later than this may still be written to, in seconds.
constexpr qint64 stillWritten = 60;

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
    WriteResult write(const RepairPlan &plan, const QString &file) const;
    QString doneText(const WriteResult &result) const;
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
    if (int(!m_choice.copy.isNull()) + int(m_choice.inPlace) + int(undoes) > 1)
        error = QStringLiteral("of --output, --in-place and --undo only one can be done");
    else if ((writes() || undoes) && !isOne)
        error = QStringLiteral("what is written comes from one FILE");
    else if (m_choice.inPlace != !m_choice.journal.isNull())
        error = QStringLiteral("--in-place and --journal belong together");
    else if ((writes() || undoes) && !PluginPlaceTrust::ofProcess().inCaller)
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

/// The changes of a plan with the bytes that stand there, and their names in the tree.
std::vector<PlanChange> changesOf(const RepairPlan &plan, const FileTask &task)
{
    std::vector<PlanChange> changes;
    QString error;
    const std::unique_ptr<ByteSource> source = openFileSource(task.file, &error);
    std::vector<ByteRange> places;
    for (const Recipe::Piece &piece : plan.recipe.pieces()) {
        if (!piece.isNew)
            continue;
        PlanChange change{piece, {}, {}};
        if (source && piece.offset < plan.recipe.originalSize()) {
            change.old.resize(int(piece.size));
            source->readAt(qint64(piece.offset), change.old.data(), change.old.size());
        }
        places.push_back({piece.offset, piece.offset < plan.recipe.originalSize() ? piece.size : 0});
        changes.push_back(std::move(change));
    }
    // A name for each of a million entries of an index helps nobody.
    constexpr size_t mostNamed = 1000;
    if (changes.empty() || changes.size() > mostNamed)
        return changes;
    PlacePaths paths(places);
    task.run.run(task.file, task.parsers, paths);
    for (size_t number = 0; number < changes.size(); ++number) {
        if (!changes[number].old.isEmpty())
            changes[number].path = paths.path(number);
    }
    return changes;
}

WriteResult RepairCommand::write(const RepairPlan &plan, const QString &file) const
{
    struct stat facts = {};
    const bool isKnown = ::stat(pathToBytes(file).constData(), &facts) == 0;
    if (plan.isOpen && !m_choice.force && isKnown && std::time(nullptr) - facts.st_mtim.tv_sec < stillWritten)
        return {file
                    + QStringLiteral(": it was never closed and changed within the last minute; something may still "
                                     "write to it (--force mends it all the same)"),
                false, false};
    WriteOptions options;
    options.isForced = m_choice.force;
    options.cancel = &InterruptWatch::flag();
    if (m_choice.inPlace)
        return writeInPlace(plan.recipe, file, m_choice.journal, options);
    return writeCopy(plan.recipe, file, m_choice.copy, options);
}

QString RepairCommand::doneText(const WriteResult &result) const
{
    if (m_choice.inPlace)
        return QStringLiteral("changed in place; quenlofar repair --undo %1 takes it back").arg(m_choice.journal);
    return QStringLiteral("written: %1%2")
        .arg(m_choice.copy,
             result.sharesExtents ? QStringLiteral(" (what is like shares its place on the disk)") : QString());
}

FileReport RepairCommand::repairOne(const FileTask &task) const
{
    RepairSettings settings;
    settings.level = m_choice.level;
    settings.only = m_choice.only;
    settings.except = m_choice.except;
    const RepairPlan plan =
        planRepair(task.file, task.parsers, settings, m_options.limits, &InterruptWatch::flag(), task.progress);
    const std::vector<PlanChange> changes = changesOf(plan, task);
    const bool isReadable = plan.after.result.isClean();
    // A file in order is copied too: whoever asks for a file under that name gets one.
    const bool isWritten = isReadable && (!m_choice.copy.isNull() || (m_choice.inPlace && !plan.isEmpty()));
    WriteResult written;
    if (isWritten)
        written = write(plan, task.file);

    RepairStyle style;
    style.format = m_options.format;
    style.pretty = m_options.pretty;
    style.text = textStyle(m_options.output, m_output);
    RunResult result = plan.after.result;
    result.cancelled = result.cancelled || written.isCancelled;
    result.sinkError =
        printPlan(task.output, plan, changes, isWritten && written.isDone() ? doneText(written) : QString(), style);
    FileReport report = reportOf(task.file, result, task.programOutput.hasFailed());
    if (!written.error.isNull()) {
        report.exitStatus = ExitFailure;
        report.trouble = QStringLiteral("cannot be written");
        report.messages.append(written.error);
    }
    if (report.exitStatus >= ExitFailure)
        return report;
    if (plan.before.verdict == Verdict::Unknown) {
        report.exitStatus = ExitFileProblem;
        if (report.trouble.isNull()) {
            report.trouble = QStringLiteral("cannot be judged");
            report.messages.append(QStringLiteral("%1: cannot be judged").arg(task.file));
        }
        return report;
    }
    if (plan.after.counts.error > 0 || (!isWritten && !plan.isEmpty())) {
        report.exitStatus = ExitFileProblem;
        if (report.trouble.isNull())
            report.trouble =
                plan.isEmpty() || isWritten ? verdictText(plan.after.verdict) : QStringLiteral("can be repaired");
    }
    return report;
}

} // namespace

int repairFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return RepairCommand(options, plugins, output).run();
}

} // namespace quenlofar
