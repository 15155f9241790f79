#include "commands.h"

#include "batch.h"
#include "catalogue.h"
#include "cataloguereport.h"
#include "exitstatus.h"
#include "fileanalysis.h"
#include "filefactsjson.h"
#include "filepath.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "programoutput.h"
#include "recordings.h"
#include "recordwriter.h"
#include "runlock.h"
#include "schema.h"

#include <QFile>
#include <QHash>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

namespace quenlofar {

namespace {

constexpr qint64 nanosecondsInSecond = 1000000000;
constexpr qint64 mostBytesOfLine = qint64(1) << 28; // of a part that is imported

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
    bool importAll();
    void choose(QVector<QString> *files);
    FileReport checkOne(const FileTask &task);
    void conclude();
    QByteArray tail();
    QByteArray said();

    const Options &m_options;
    const CatalogueChoice &m_choice;
    const PluginLoader &m_plugins;
    ProgramOutput &m_output;
    RunSettings m_settings;
    std::unique_ptr<Database> m_database;
    std::optional<CatalogueRun> m_run;
    std::optional<RecordWriter> m_writer;
    QHash<QString, CheckDepth> m_otherDepths; // of files that are not checked as the options say
    bool m_hasWaited = false;
    bool m_hasChosen = false; // all files that were found are known
    int m_exitStatus = ExitClean;
};

int CatalogueCommand::run()
{
    // What was named as the report's place may be the catalogue only by mistake.
    QVector<QString> kept;
    kept.append(m_choice.database); // Qt makes a vector of a list in braces without asking whether there is memory
    if (!m_output.spares(kept))
        return ExitFailure;
    const InputChoice &input = m_options.input;
    const bool hasFiles = !input.files.isEmpty() || !input.directories.isEmpty() || !input.list.isNull();
    if (!hasFiles && m_choice.imports.isEmpty()) {
        m_database = openCatalogueToRead(m_choice.database);
        m_output.write(said());
        return m_output.finish();
    }
    catalogueState(m_choice.database); // a file that is not a catalogue gets no lock file beside it
    RunLock lock(m_choice.database);
    while (!lock.take()) {
        if (!waitForTurn())
            return InterruptWatch::exitStatus();
    }
    m_database = openCatalogueToWrite(m_choice.database);
    m_settings = settings();
    if (!m_choice.imports.isEmpty()) {
        const bool isWhole = importAll();
        if (m_run)
            m_run->commit();
        if (!isWhole)
            return InterruptWatch::wasInterrupted() ? InterruptWatch::exitStatus() : int(ExitFailure);
        if (!hasFiles) {
            if (m_run)
                m_run->finish();
            if (m_run && m_run->news().isBad())
                m_exitStatus = ExitFileProblem;
            if (m_run || m_choice.report != CatalogueChoice::Report::None)
                m_output.write(said());
            return std::max(m_exitStatus, m_output.finish());
        }
    }
    if (!m_run)
        m_run.emplace(*m_database, m_settings);
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
    settings.digest = digestKindOf(m_choice.digest);
    if (m_choice.recheckSeconds >= 0)
        settings.recheckAge = m_choice.recheckSeconds * nanosecondsInSecond;
    settings.program = programVersion();
    settings.rules = loadedRules(m_plugins);
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

/// Takes what other machines have found. False where a part cannot be read; what came before is kept.
bool CatalogueCommand::importAll()
{
    for (const QString &part : m_choice.imports) {
        QFile file;
        const int descriptor = ::open(pathToBytes(part).constData(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
            printMessage(QStringLiteral("--import %1: %2").arg(part, errnoText(errno)));
            return false;
        }
        for (quint64 number = 1;; ++number) {
            if (InterruptWatch::wasInterrupted())
                return false;
            const QByteArray line = file.readLine(mostBytesOfLine);
            if (line.isEmpty() && file.error() == QFileDevice::NoError)
                break; // a pipe is at its end only then
            QString error;
            if (line.isEmpty()) {
                printMessage(QStringLiteral("--import %1: %2").arg(part, file.errorString()));
                return false;
            }
            const std::optional<FileRecord> record = parseFileFacts(line, &error);
            if (!record) {
                printMessage(QStringLiteral("--import %1: line %2: %3").arg(part).arg(number).arg(error));
                return false;
            }
            // Of a file that was not even there nothing is to be kept; the check itself has said so.
            const bool isNowhere = record->isUnreadable() && record->stamp.size < 0;
            if (isNowhere || CatalogueRun::isKnown(*m_database, *record))
                continue;
            if (!m_run)
                m_run.emplace(*m_database, m_settings);
            m_run->import(*record);
        }
    }
    return true;
}

/// Leaves those files that have to be looked at, by names that do not depend on where the program was started.
void CatalogueCommand::choose(QVector<QString> *files)
{
    AbsolutePaths paths;
    QVector<QString> chosen;
    const QByteArray catalogue = paths.of(pathToBytes(m_choice.database));
    for (const QString &file : std::as_const(*files)) {
        const QByteArray path = paths.of(pathToBytes(file));
        // Whoever closes the database gives up SQLite's locks of it.
        if (path == catalogue)
            continue;
        if (const std::optional<CheckDepth> depth = m_run->noteFound(path)) {
            chosen.append(pathFromBytes(path));
            if (depth->level != m_settings.level || depth->digest != m_settings.digest)
                m_otherDepths.insert(chosen.last(), *depth);
        }
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
    int error = 0;
    const std::optional<FileStamp> stamp = stampOf(pathToBytes(task.file), &error);
    const CheckDepth depth = m_otherDepths.value(task.file, {m_settings.level, m_settings.digest});
    FileCheck check;
    {
        FileAnalysis analysis(m_options.limits, &InterruptWatch::flag(), task.progress);
        analysis.read(task.file, task.parsers, depth.level);
        CheckSettings settings;
        settings.level = depth.level;
        check = judge(analysis, settings);
    }
    FileRecord record = recordMaker(task, depth.digest).make(task.file, stamp, std::move(check));
    if (InterruptWatch::flag())
        return report; // what was found of it is not all
    record.program = m_settings.program;
    record.rules = m_settings.rules;
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
