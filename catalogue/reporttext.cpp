// Reports as lines: for people, and as comma-separated values.
#include "displaytext.h"
#include "filepath.h"
#include "reportprinters.h"

#include <algorithm>
#include <string_view>

namespace quenlofar {

namespace {

void addLine(QByteArray *out, const QString &line)
{
    *out += line.toUtf8();
    *out += '\n';
}

void addCounts(QByteArray *out, const QString &title, const std::vector<ReportCount> &counts)
{
    if (counts.empty())
        return;
    addLine(out, QString());
    addLine(out, title);
    for (const ReportCount &count : counts) {
        QString line = QStringLiteral("%1  %2").arg(count.files, 8).arg(shownName(count));
        if (!count.detail.isEmpty())
            line += QStringLiteral(" (%1)").arg(count.detail);
        if (count.findings > 0)
            line += count.findings == 1 ? QStringLiteral(", found once")
                                        : QStringLiteral(", found %1 times").arg(count.findings);
        if (count.damaged > 0 && count.damaged < count.files)
            line += QStringLiteral(", %1 of them damaged").arg(count.damaged);
        addLine(out, line);
    }
}

void addList(QByteArray *out, const QString &title, const ReportList &list)
{
    if (list.count == 0)
        return;
    addLine(out, QString());
    addLine(out, QStringLiteral("%1: %2").arg(title).arg(list.count));
    for (const ReportFile &file : list.files) {
        QString line = QStringLiteral("  ") + shownPath(file.path);
        if (!file.other.isNull())
            line += QStringLiteral(", before ") + shownPath(file.other);
        if (!file.what.isEmpty())
            line += QStringLiteral(": ") + file.what;
        if (!file.text.isEmpty())
            line += QStringLiteral(": ") + displayText(file.text);
        addLine(out, line);
    }
    if (qint64(list.files.size()) < list.count)
        addLine(out, QStringLiteral("  and %1 more").arg(list.count - qint64(list.files.size())));
}

/// A field, harmless for terminals and spreadsheets, in quotes where it needs them.
QByteArray cell(const QString &text)
{
    QString shown = displayText(text);
    if (!text.isEmpty() && QStringView(u"=+-@\t").contains(text.front()))
        shown.prepend(QLatin1Char('\''));
    const bool needsQuotes = std::any_of(shown.cbegin(), shown.cend(),
                                         [](QChar character) { return QStringView(u",\"\r\n").contains(character); });
    if (needsQuotes) {
        shown.replace(QLatin1Char('"'), QStringLiteral("\"\""));
        shown = QLatin1Char('"') + shown + QLatin1Char('"');
    }
    return shown.toUtf8();
}

} // namespace

QByteArray textReport(const Report &report)
{
    QByteArray out;
    addLine(&out,
            QStringLiteral("%1 %2, %3 bytes")
                .arg(report.files)
                .arg(report.files == 1 ? QStringLiteral("file") : QStringLiteral("files"))
                .arg(report.bytes));
    if (report.run > 0) {
        addLine(
            &out,
            QStringLiteral("run %1, %2, level %3%4")
                .arg(report.run)
                .arg(report.started, report.level, report.isFinished ? QString() : QStringLiteral(", not finished")));
    }
    for (const CountSection &section : countSections)
        addCounts(&out, QString::fromUtf16(section.title), report.*section.counts);
    for (const ListSection &section : listSections)
        addList(&out, QString::fromUtf16(section.title), report.*section.list);
    return out;
}

QByteArray csvReport(const Report &report)
{
    QByteArray out = "section,name,detail,files,damaged,findings\r\n";
    for (const CountSection &section : countSections) {
        for (const ReportCount &count : report.*section.counts) {
            out += QByteArray(section.key) + ',' + cell(count.name) + ',' + cell(count.detail) + ','
                + QByteArray::number(count.files) + ',' + QByteArray::number(count.damaged) + ','
                + QByteArray::number(count.findings) + "\r\n";
        }
    }
    for (const ListSection &section : listSections) {
        for (const ReportFile &file : (report.*section.list).files) {
            QString detail = file.other.isNull() ? file.what : pathFromBytes(file.other);
            if (!file.text.isEmpty())
                detail += QStringLiteral(": ") + file.text;
            out += QByteArray(section.key) + ',' + cell(pathFromBytes(file.path)) + ',' + cell(detail) + ",,,\r\n";
        }
    }
    return out;
}

} // namespace quenlofar
