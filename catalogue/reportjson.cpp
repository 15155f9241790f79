#include "filepath.h"
#include "jsonprinter.h"
#include "reportprinters.h"
#include "schema.h"

#include <QBuffer>

namespace quenlofar {

namespace {

void printCounts(JsonPrinter &json, const std::vector<ReportCount> &counts)
{
    json.beginArray();
    for (const ReportCount &count : counts) {
        json.beginObject().key(u"name").text(count.name);
        if (!count.detail.isEmpty())
            json.key(u"detail").text(count.detail);
        json.key(u"files").number(quint64(count.files)).key(u"damaged").number(quint64(count.damaged));
        if (count.findings > 0)
            json.key(u"findings").number(quint64(count.findings));
        json.endObject();
    }
    json.endArray();
}

void printFiles(JsonPrinter &json, const ReportList &list)
{
    json.beginArray();
    for (const ReportFile &file : list.files) {
        json.beginObject().key(u"file").text(pathFromBytes(file.path));
        if (!file.other.isNull())
            json.key(u"before").text(pathFromBytes(file.other));
        if (!file.what.isEmpty())
            json.key(u"what").text(file.what);
        if (!file.text.isEmpty())
            json.key(u"text").text(file.text);
        json.endObject();
    }
    json.endArray();
}

} // namespace

QByteArray jsonReport(const Report &report)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    {
        JsonPrinter json(buffer);
        json.beginObject().key(u"schemaVersion").number(quint64(catalogueSchemaVersion));
        json.key(u"files").number(quint64(report.files)).key(u"bytes").number(quint64(report.bytes));
        if (report.run > 0) {
            json.key(u"run").beginObject().key(u"number").number(quint64(report.run));
            json.key(u"started").text(report.started).key(u"isFinished").boolean(report.isFinished);
            json.key(u"program").text(report.program).key(u"rules").text(report.rules);
            json.key(u"level").text(report.level).endObject();
        }
        for (const CountSection &section : countSections) {
            json.key(QString::fromLatin1(section.key));
            printCounts(json, report.*section.counts);
        }
        for (const ListSection &section : listSections) {
            json.key(QString::fromLatin1(section.key));
            printFiles(json, report.*section.list);
        }
        json.endObject();
        json.finish();
    }
    return buffer.data();
}

} // namespace quenlofar
