// A page that needs nothing else: no script, no other file, and it can be printed.
#include "displaytext.h"
#include "reportprinters.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr char pageHead[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>Archive report</title>
<style>
body { font: 15px/1.4 sans-serif; max-width: 60em; margin: 2em auto; padding: 0 1em; color: #222; background: #fff; }
h2 { font-size: 1.15em; margin: 1.6em 0 .4em; }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; vertical-align: top; padding: .15em .6em .15em 0; }
th { border-bottom: 1px solid #888; font-weight: normal; color: #555; }
td.number, th.number { text-align: right; width: 6em; }
td.chart { width: 30%; }
td.path { overflow-wrap: anywhere; }
svg { display: block; width: 100%; height: 1.1em; }
.all { fill: #9bb7d4; }
.damaged { fill: #b5362c; }
@media print { body { margin: 0; max-width: none; font-size: 10pt; } h2 { break-after: avoid; } tr { break-inside: avoid; } }
</style>
</head>
<body>
<h1>Archive report</h1>
)";

QByteArray html(const QString &text)
{
    return text.toHtmlEscaped().toUtf8();
}

/// A bar as long as the share of files, its damaged part in another colour; in words for those who do not see it.
QByteArray bar(const ReportCount &count, qint64 most)
{
    constexpr double wide = 100.0;
    const auto length = [most](qint64 files) {
        return QByteArray::number(wide * double(files) / double(std::max<qint64>(most, 1)), 'f', 2);
    };
    return "<svg viewBox=\"0 0 100 10\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\""
        + QByteArray::number(count.files) + " files, " + QByteArray::number(count.damaged)
        + " damaged\"><rect class=\"all\" width=\"" + length(count.files)
        + "\" height=\"10\"/><rect class=\"damaged\" width=\"" + length(count.damaged) + "\" height=\"10\"/></svg>";
}

void addHtmlCounts(QByteArray *out, const QString &title, const std::vector<ReportCount> &counts)
{
    if (counts.empty())
        return;
    qint64 most = 0;
    for (const ReportCount &count : counts)
        most = std::max(most, count.files);
    *out += "<h2>" + html(title)
        + "</h2>\n<table>\n<tr><th></th><th></th><th class=\"number\">files</th>"
          "<th class=\"number\">damaged</th><th></th></tr>\n";
    for (const ReportCount &count : counts) {
        *out += "<tr><td>" + html(shownName(count)) + "</td><td>" + html(count.detail) + "</td><td class=\"number\">"
            + QByteArray::number(count.files) + "</td><td class=\"number\">" + QByteArray::number(count.damaged)
            + "</td><td class=\"chart\">" + bar(count, most) + "</td></tr>\n";
    }
    *out += "</table>\n";
}

void addHtmlList(QByteArray *out, const QString &title, const ReportList &list)
{
    *out += "<h2>" + html(title) + ": " + QByteArray::number(list.count) + "</h2>\n";
    if (list.count == 0)
        return;
    *out += "<table>\n";
    for (const ReportFile &file : list.files) {
        *out += "<tr><td class=\"path\">" + html(shownPath(file.path));
        if (!file.other.isNull())
            *out += "<br>before " + html(shownPath(file.other));
        *out += "</td><td>" + html(file.what) + "</td><td>" + html(displayText(file.text)) + "</td></tr>\n";
    }
    *out += "</table>\n";
    if (qint64(list.files.size()) < list.count)
        *out += "<p>and " + QByteArray::number(list.count - qint64(list.files.size())) + " more</p>\n";
}

} // namespace

QByteArray htmlReport(const Report &report)
{
    QByteArray out = pageHead;
    out += "<p>" + QByteArray::number(report.files) + " files, " + QByteArray::number(report.bytes) + " bytes</p>\n";
    if (report.run > 0) {
        out += "<p>Run " + QByteArray::number(report.run) + ", begun " + html(report.started) + ", level "
            + html(report.level) + (report.isFinished ? "" : ", not finished") + "<br>" + html(report.program) + "; "
            + html(report.rules) + "</p>\n";
    }
    for (const CountSection &section : countSections)
        addHtmlCounts(&out, QString::fromUtf16(section.title), report.*section.counts);
    for (const ListSection &section : listSections)
        addHtmlList(&out, QString::fromUtf16(section.title), report.*section.list);
    out += "</body>\n</html>\n";
    return out;
}

} // namespace quenlofar
