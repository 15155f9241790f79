#include "cataloguereport.h"

#include "displaytext.h"
#include "filepath.h"
#include "reportprinters.h"

#include <QDateTime>

#include <limits>

namespace quenlofar {

namespace {

QString timeText(qint64 time)
{
    constexpr qint64 inMillisecond = 1000000;
    return QDateTime::fromMSecsSinceEpoch(time / inMillisecond).toUTC().toString(Qt::ISODate);
}

/// `sql` has the columns name, detail, files, damaged files, findings.
std::vector<ReportCount> countsOf(Database &database, const QByteArray &sql)
{
    std::vector<ReportCount> counts;
    Statement statement = database.prepare(sql);
    while (statement.next()) {
        counts.push_back(
            {statement.text(0), statement.text(1), statement.number(2), statement.number(3), statement.number(4)});
    }
    return counts;
}

/// `sql` has the columns path, what, text, other path; `from` is what is counted.
ReportList listOf(Database &database, const QByteArray &columns, const QByteArray &from, qint64 mostFiles)
{
    ReportList list;
    list.count = database.number("SELECT count(*) " + from);
    Statement statement = database.prepare("SELECT " + columns + ' ' + from + " ORDER BY file.path LIMIT "
                                           + QByteArray::number(mostFiles));
    while (statement.next())
        list.files.push_back({statement.bytes(0), statement.text(1), statement.text(2), statement.bytes(3)});
    return list;
}

void askForRun(Database &database, Report *report)
{
    Statement statement =
        database.prepare("SELECT id, started, finished, program, rules, level FROM run ORDER BY id DESC LIMIT 1");
    if (!statement.next())
        return;
    report->run = statement.number(0);
    report->started = timeText(statement.number(1));
    report->isFinished = !statement.isNull(2);
    report->program = statement.text(3);
    report->rules = statement.text(4);
    report->level = statement.text(5);
}

} // namespace

qint64 mostFilesOf(ReportFormat format)
{
    constexpr qint64 onPage = 1000;
    return format == ReportFormat::Text || format == ReportFormat::Html ? onPage : std::numeric_limits<qint64>::max();
}

Report makeReport(Database &database, qint64 mostFiles)
{
    Report report;
    askForRun(database, &report);
    report.files = database.number("SELECT count(*) FROM file WHERE missing_run IS NULL");
    report.bytes = database.number("SELECT total(size) FROM file WHERE missing_run IS NULL");
    report.verdicts = countsOf(database,
                               "SELECT coalesce(verdict, 'not checked'), '', count(*), sum(verdict IS 'damaged'), 0 "
                               "FROM file WHERE missing_run IS NULL GROUP BY 1 ORDER BY 3 DESC, 1");
    report.byRule = countsOf(database,
                             "SELECT rule, severity, count(DISTINCT file), "
                             "count(DISTINCT CASE verdict WHEN 'damaged' THEN file END), sum(count) FROM finding "
                             "JOIN file ON file.id = finding.file WHERE missing_run IS NULL GROUP BY 1, 2 "
                             "ORDER BY 3 DESC, 1, 2");
    report.byWriter = countsOf(database,
                               "SELECT coalesce(writer, ''), '', count(*), sum(verdict IS 'damaged'), 0 FROM file "
                               "WHERE missing_run IS NULL AND checked_run IS NOT NULL GROUP BY 1 ORDER BY 3 DESC, 1");
    report.byCodec =
        countsOf(database,
                 "SELECT coalesce(stream.codec_name, stream.codec, ''), stream.kind, count(DISTINCT file), "
                 "count(DISTINCT CASE verdict WHEN 'damaged' THEN file END), 0 FROM stream "
                 "JOIN file ON file.id = stream.file WHERE missing_run IS NULL GROUP BY 1, 2 "
                 "ORDER BY 3 DESC, 1, 2");
    const QByteArray since = QByteArray::number(database.number("SELECT since FROM run ORDER BY id DESC LIMIT 1"));
    report.newFindings = listOf(database, "file.path, severity || ' ' || rule, message, NULL",
                                "FROM finding JOIN file ON file.id = finding.file WHERE first_run > " + since
                                    + " AND severity <> 'note' AND missing_run IS NULL",
                                mostFiles);
    report.changed = listOf(database, "path, change, NULL, NULL",
                            "FROM file WHERE changed_run > " + since + " AND missing_run IS NULL", mostFiles);
    report.missing = listOf(database, "path, CASE WHEN missing_run > " + since + " THEN 'new' ELSE '' END, NULL, NULL",
                            "FROM file WHERE missing_run IS NOT NULL", mostFiles);
    report.moved = listOf(database, "path, NULL, NULL, moved_from", "FROM file WHERE moved_run > " + since, mostFiles);
    report.notChecked =
        listOf(database, "path, status, trouble, NULL",
               "FROM file WHERE (checked_run IS NULL OR status = 'unreadable') AND missing_run IS NULL", mostFiles);
    return report;
}

QByteArray printReport(const Report &report, ReportFormat format)
{
    switch (format) {
    case ReportFormat::Html:
        return htmlReport(report);
    case ReportFormat::Csv:
        return csvReport(report);
    case ReportFormat::Json:
        return jsonReport(report);
    case ReportFormat::Text:
        break;
    }
    return textReport(report);
}

QByteArray printNews(Database &database)
{
    const QByteArray since = QByteArray::number(database.number("SELECT since FROM run ORDER BY id DESC LIMIT 1"));
    Statement statement =
        database.prepare("SELECT 'damaged', path, message FROM finding JOIN file ON file.id = finding.file "
                         "WHERE first_run > "
                         + since
                         + " AND severity = 'error' AND missing_run IS NULL "
                           "UNION ALL SELECT 'changed', path, 'the bytes are others, size and time are not' FROM file "
                           "WHERE changed_run > "
                         + since
                         + " AND change = 'content' AND missing_run IS NULL "
                           "UNION ALL SELECT 'missing', path, '' FROM file WHERE missing_run > "
                         + since + " ORDER BY 2, 1, 3");
    QByteArray lines;
    while (statement.next()) {
        lines += statement.text(0).toUtf8() + ": " + shownPath(statement.bytes(1)).toUtf8();
        const QString text = statement.text(2);
        if (!text.isEmpty())
            lines += ": " + displayText(text).toUtf8();
        lines += '\n';
    }
    return lines;
}

QString shownPath(const QByteArray &path)
{
    return displayText(pathFromBytes(path));
}

QString shownName(const ReportCount &count)
{
    return count.name.isEmpty() ? QStringLiteral("unknown") : displayText(count.name);
}

} // namespace quenlofar
