#pragma once

#include "database.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace quenlofar {

/// How a report is written.
enum class ReportFormat {
    Text, ///< for people
    Html, ///< one page, complete in itself, without scripts
    Csv, ///< RFC 4180: section, name, detail, files, findings
    Json, ///< one document in a line
};

/// A line of a table of numbers.
struct ReportCount
{
    QString name; ///< of a verdict, a rule, a writer, a codec; empty where it is not known
    QString detail; ///< the severity of a rule's findings, the kind of a codec's streams; otherwise empty
    qint64 files = 0; ///< that are there
    qint64 damaged = 0; ///< of these
    qint64 findings = 0; ///< of a rule; otherwise 0
};

/// A file that something is said of.
struct ReportFile
{
    QByteArray path; ///< as the file system has it
    QString what; ///< in a few words
    QString text; ///< for people; may be empty
    QByteArray other; ///< the earlier path of a file that was moved; otherwise null
};

/// Files that the same is said of: the first of them, and how many there are.
struct ReportList
{
    std::vector<ReportFile> files;
    qint64 count = 0; ///< of all
};

/// What a catalogue says after its latest run.
struct Report
{
    qint64 run = 0; ///< number of the latest run; 0 where there was none
    QString started; ///< of that run: ISO 8601, UTC
    bool isFinished = false; ///< that run
    QString program; ///< of that run
    QString rules; ///< of that run
    QString level; ///< of that run
    qint64 files = 0; ///< that are there
    qint64 bytes = 0; ///< of these
    std::vector<ReportCount> verdicts, byRule, byWriter, byCodec;
    ReportList newFindings; ///< errors and warnings that the last finished run before did not know
    ReportList changed; ///< since that run
    ReportList moved; ///< since that run
    ReportList missing; ///< whenever that was noticed; `what` says "new" where it was since that run
    ReportList notChecked;
};

/// Asks `database` for a report; of each list of files at most `mostFiles` are kept. Throws CatalogueError.
Report makeReport(Database &database, qint64 mostFiles);
/// How many files of each list a report of this format names.
qint64 mostFilesOf(ReportFormat format);
/// Writes `report`, in UTF-8. Texts from files cannot harm a terminal, a browser or a spreadsheet.
QByteArray printReport(const Report &report, ReportFormat format);
/// What is new and wrong, a line for each finding or file; empty where nothing is.
QByteArray printNews(Database &database);

} // namespace quenlofar
