#include "filerecord.h"

#include <algorithm>
#include <utility>

namespace quenlofar {

namespace {

QString statusOf(const FileCheck &check)
{
    if (check.result.error.kind != FileError::None)
        return QStringLiteral("unreadable");
    if (check.start.container.isNull())
        return QStringLiteral("not recognised");
    return check.result.limit != RunLimit::None ? QStringLiteral("limited") : QStringLiteral("read");
}

QString troubleOf(const FileCheck &check)
{
    if (check.result.error.kind != FileError::None)
        return check.result.error.message;
    if (check.result.limit != RunLimit::None)
        return QStringLiteral("a limit ended the reading");
    if (check.start.container.isNull())
        return QStringLiteral("no parser recognises the file");
    // Of a file with a verdict that is no trouble: a deeper level would look at more.
    return check.verdict == Verdict::Unknown && !check.notChecked.isEmpty() ? check.notChecked.first() : QString();
}

} // namespace

void takeCheck(FileCheck check, FileRecord *record)
{
    record->status = statusOf(check);
    record->trouble = troubleOf(check);
    record->container = check.start.container;
    record->level = check.level;
    record->verdict = check.verdict;
    record->counts = check.counts;
    record->findings = std::move(check.findings);
}

void takeDescription(const QVector<DescriptionRow> &rows, const QVector<StreamDescription> &streams, FileRecord *record)
{
    const auto found = std::find_if(rows.begin(), rows.end(), [](const DescriptionRow &row) {
        return row.label == QLatin1String("writing software");
    });
    record->writer = found == rows.end() ? QString() : found->text;
    record->streams = streams;
}

} // namespace quenlofar
