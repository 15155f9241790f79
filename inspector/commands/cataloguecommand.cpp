#include "commands.h"

#include "batch.h"
#include "catalogue.h"
#include "cataloguereport.h"
#include "describingsink.h"
#include "exitstatus.h"
#include "fileanalysis.h"
#include "filepath.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "programoutput.h"
#include "recordwriter.h"
#include "rulecatalogue.h"
#include "runlock.h"
#include "schema.h"
#include "streamfacts.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

namespace quenlofar {

namespace {

constexpr qint64 nanosecondsInSecond = 1000000000;

/// Describes a file, and knows what it is.
class KeptDescription : public DescribingSink
{
public:
    using DescribingSink::DescribingSink;

    DocumentStart start;

    bool beginDocument(const DocumentStart &begun) override
    {
        start = begun;
        return DescribingSink::beginDocument(begun);
    }
};

DigestKind digestKind(CatalogueChoice::Digest digest)
{
    return digest == CatalogueChoice::Digest::Fast ? DigestKind::Fast
        : digest == CatalogueChoice::Digest::None  ? DigestKind::None
                                                   : DigestKind::Sha256;
}

ReportFormat reportFormat(CatalogueChoice::Report report)
{
    switch (report) {
    case CatalogueChoice::Report::Html:
        return ReportFormat::Html;
    case CatalogueChoice::Report::Csv:
        return ReportFormat::Csv;
    case CatalogueChoice::Report::Json:
        return ReportFormat::Json;
    default:
        return ReportFormat::Text;
    }
}

class CatalogueCommand
{
public:
    CatalogueCommand(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
        : m_options(options), m_choice(options.catalogue), m_plugins(plugins), m_output(output)
    {
    }

    int run();

private:
    RunSettings settings() const;
    bool waitForTurn();
    void choose(QVector<QString> *files);
    FileReport checkOne(const FileTask &task);
    void conclude();
    QByteArray tail();
    QByteArray said();

    const Options &m_options;
    const CatalogueChoice &m_choice;
    const PluginLoader &m_plugins;
    ProgramOutput &m_output;
    std::unique_ptr<Database> m_database;
    std::optional<CatalogueRun> m_run;
    std::optional<RecordWriter> m_writer;
    bool m_hasWaited = false;
    bool m_hasChosen = false; // all files that were found are known
    int m_exitStatus = ExitClean;
};

int CatalogueCommand::run()
{
    // What was named as the report's place may be the catalogue only by mistake.
    if (!m_output.spares({m_choice.database}))
        return ExitFailure;
    const InputChoice &input = m_options.input;
    if (input.files.isEmpty() && input.directories.isEmpty() && input.list.isNull()) {
        m_database = openCatalogueToRead(m_choice.database);
        m_output.write(said());
        return m_output.finish();
    }
    catalogueState(m_choice.database); // what is no catalogue gets no lock beside it
    RunLock lock(m_choice.database);
    while (!lock.take()) {
        if (!waitForTurn())
            return InterruptWatch::exitStatus();
    }
    m_database = openCatalogueToWrite(m_choice.database);
    m_run.emplace(*m_database, settings());
    BatchFrame frame;
    frame.choose = [this](QVector<QString> *files) { choose(files); };
    frame.tail = [this](const QVector<FileReport> &) { return tail(); };
    frame.exitStatus = [this] { return m_exitStatus; };
    return lookAtFiles(
        m_options, m_plugins, m_output, [this](const FileTask &task) { return checkOne(task); }, frame);
}

RunSettings CatalogueCommand::settings() const
{
    RunSettings settings;
    settings.level = m_choice.level;
    settings.digest = digestKind(m_choice.digest);
    if (m_choice.recheckSeconds >= 0)
        settings.recheckAge = m_choice.recheckSeconds * nanosecondsInSecond;
    settings.program = QStringLiteral("quenlofar " QUENLOFAR_VERSION);
    QStringList names;
    const QVector<PluginInfo> plugins = m_plugins.plugins();
    for (const PluginInfo &plugin : plugins)
        names.append(plugin.name + QLatin1Char(' ') + plugin.version);
    settings.rules = rulesVersion(RuleCatalogue(m_plugins.parsersFor({})), names);
    return settings;
}

/// Another run is at work: says so once, and waits a little. False where a signal came.
bool CatalogueCommand::waitForTurn()
{
    if (!m_hasWaited && !m_options.quiet)
        printMessage(QStringLiteral("%1: another run is at work on it; waiting for its end").arg(m_choice.database));
    m_hasWaited = true;
    constexpr auto pause = std::chrono::milliseconds(50);
    std::this_thread::sleep_for(pause);
    return !InterruptWatch::wasInterrupted();
}

/// Leaves those files that have to be looked at, by names that do not depend on where the program was started.
void CatalogueCommand::choose(QVector<QString> *files)
{
    AbsolutePaths paths;
    QVector<QString> chosen;
    for (const QString &file : std::as_const(*files)) {
        const QByteArray path = paths.of(pathToBytes(file));
        if (m_run->noteFound(path))
            chosen.append(pathFromBytes(path));
        if (InterruptWatch::wasInterrupted())
            break;
    }
    m_run->commit();
    *files = chosen;
    m_hasChosen = !InterruptWatch::wasInterrupted();
    m_writer.emplace(*m_run, [] { InterruptWatch::flag() = true; });
}

FileReport CatalogueCommand::checkOne(const FileTask &task)
{
    FileReport report;
    FileRecord record;
    record.path = pathToBytes(task.file);
    int error = 0;
    const std::optional<FileStamp> stamp = stampOf(record.path, &error);
    if (stamp)
        record.stamp = *stamp;
    {
        FileCheck check;
        FileAnalysis analysis(m_options.limits, &InterruptWatch::flag(), task.progress);
        analysis.read(task.file, task.parsers, m_choice.level);
        CheckSettings settings;
        settings.level = m_choice.level;
        check = judge(analysis, settings);
        if (check.result.error.kind == FileError::None) {
            // The tables of the reading are not needed any more, but go with it: a walk takes little memory.
            KeptDescription description(task.parsers);
            const RunResult walk = task.run.run(task.file, task.parsers, description);
            takeDescription(description.rows(), streamsOf(description, walk), &record);
            if (check.start.container.isNull()) {
                check.start = description.start;
                check.result = walk;
                if (!check.start.container.isNull())
                    check.notChecked.append(QStringLiteral("no rules for this container"));
            }
        }
        takeCheck(std::move(check), &record);
    }
    if (!record.isUnreadable() && m_choice.digest != CatalogueChoice::Digest::None) {
        QString trouble;
        record.digestKind = digestKindText(digestKind(m_choice.digest));
        record.digest =
            fileDigest(task.file, digestKind(m_choice.digest), InterruptWatch::flag(), task.progress, &trouble);
        if (!trouble.isNull()) {
            record.status = QStringLiteral("unreadable");
            record.trouble = trouble;
        }
    }
    if (InterruptWatch::flag())
        return report; // what was found of it is not all
    if (record.isUnreadable()) {
        report.exitStatus = ExitFailure;
        report.trouble = record.trouble;
        report.messages.append(QStringLiteral("%1: %2").arg(task.file, record.trouble));
    }
    m_writer->add(std::move(record));
    return report;
}

/// Behind the last file: what was found is stored, and what was not found is noted.
void CatalogueCommand::conclude()
{
    if (!m_writer)
        return;
    const QString failure = m_writer->finish();
    if (!failure.isNull())
        throw CatalogueError(failure);
    if (InterruptWatch::flag() || !m_hasChosen)
        return; // the next run goes on
    for (const QString &directory : m_options.input.directories) {
        int error = 0;
        const QByteArray top = pathToBytes(directory) + '/';
        if (stampOf(top, &error))
            m_run->noteMissing(AbsolutePaths().of(top));
    }
    m_run->finish();
    if (m_run->news().isBad())
        m_exitStatus = std::max<int>(m_exitStatus, ExitFileProblem);
}

QByteArray CatalogueCommand::tail()
{
    try {
        conclude();
        return said();
    } catch (const CatalogueError &error) {
        m_exitStatus = ExitFailure;
        printMessage(error.text());
        return {};
    }
}

/// The report, or what is new and wrong.
QByteArray CatalogueCommand::said()
{
    if (m_choice.report == CatalogueChoice::Report::None)
        return printNews(*m_database);
    const ReportFormat format = reportFormat(m_choice.report);
    return printReport(makeReport(*m_database, mostFilesOf(format)), format);
}

} // namespace

int catalogueFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    try {
        return CatalogueCommand(options, plugins, output).run();
    } catch (const CatalogueError &error) {
        printMessage(error.text());
        return ExitFailure;
    }
}

} // namespace quenlofar
