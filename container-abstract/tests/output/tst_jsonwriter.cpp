#include "jsonwriter.h"

#include "jsondocument.h"

#include <QTest>

#include <limits>

using namespace quenlofar;

Q_DECLARE_METATYPE(Calls)
Q_DECLARE_METATYPE(RunResult)

class TestJsonWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void documents_data();
    void documents();
    void aWholeDocumentOnOneLine();
    void aWholeDocumentIndented();
    void emptyArraysIndented();
    void outcome_data();
    void outcome();
    void deepNesting();
    void oneWriterPrintsManyDocuments();
    void nothingIsPrintedOutsideADocument();
};

void TestJsonWriter::documents_data()
{
    QTest::addColumn<Calls>("calls");
    QTest::addColumn<QByteArray>("elements");

    const auto row = [](const char *rule, const Calls &calls, const QByteArray &elements) {
        QTest::newRow(rule) << calls << elements;
    };
    row(
        "no elements", [](ElementSink &) {}, "");
    row(
        "a leaf may stand at the top level", [](ElementSink &sink) { sink.addField(leaf(3, 4, u"id", u"RIFF")); },
        R"({"field":"id","offset":3,"size":4,"value":"RIFF"})");
    row(
        "a leaf with a meaning", [](ElementSink &sink) { sink.addField(leaf(3, 4, u"n", u"1", u"one")); },
        R"({"field":"n","offset":3,"size":4,"value":"1","meaning":"one"})");
    row(
        "a leaf with a description only", [](ElementSink &sink) { sink.addField(leaf(3, 4, u"n", u"1", {}, u"told")); },
        R"({"field":"n","offset":3,"size":4,"value":"1","description":"told"})");
    row(
        "an empty value is printed, empty texts beside it are not",
        [](ElementSink &sink) { sink.addField(leaf(3, 0, u"n", {})); },
        R"({"field":"n","offset":3,"size":0,"value":""})");
    row(
        "flag, code and index of a leaf are not printed",
        [](ElementSink &sink) {
            sink.addField({true, 255, 3, 4, 9, u"n", u"1", {}, {}});
        },
        R"({"field":"n","offset":3,"size":4,"value":"1"})");
    row(
        "unparsed data has a place and nothing else",
        [](ElementSink &sink) { sink.addField(leaf(7, 8, unparsedDataMarker, {})); },
        R"({"unparsed":true,"offset":7,"size":8})");
    row(
        "a name that only begins like the mark is a name",
        [](ElementSink &sink) { sink.addField(leaf(7, 8, u"d771bd4e", u"")); },
        R"({"field":"d771bd4e","offset":7,"size":8,"value":""})");
    row(
        "the largest numbers",
        [](ElementSink &sink) {
            constexpr quint64 most = std::numeric_limits<quint64>::max();
            sink.addField(leaf(most, most, u"n", u""));
        },
        R"({"field":"n","offset":18446744073709551615,"size":18446744073709551615,"value":""})");
    row(
        "a node without items and without an index",
        [](ElementSink &sink) {
            sink.beginElement(12, 192, u"LIST hdrl", -1);
            sink.endElement();
        },
        R"({"node":"LIST hdrl","offset":12,"size":192,"items":[]})");
    row(
        "a node with index 0",
        [](ElementSink &sink) {
            sink.beginElement(12, 16, u"idx1_entry", 0);
            sink.endElement();
        },
        R"({"node":"idx1_entry","offset":12,"size":16,"index":0,"items":[]})");
    row(
        "an index beyond 32 bits",
        [](ElementSink &sink) {
            sink.beginElement(12, 16, u"e", 1099511627776);
            sink.endElement();
        },
        R"({"node":"e","offset":12,"size":16,"index":1099511627776,"items":[]})");
    row(
        "leaves and nodes stand in the order of the calls",
        [](ElementSink &sink) {
            sink.beginElement(0, 9, u"a", -1);
            sink.addField(leaf(1, 1, u"b", u"x"));
            sink.beginElement(2, 3, u"c", -1);
            sink.addField(leaf(3, 1, u"d", u"y"));
            sink.endElement();
            sink.addField(leaf(5, 1, u"e", u"z"));
            sink.endElement();
            sink.beginElement(9, 1, u"f", -1);
            sink.endElement();
        },
        R"({"node":"a","offset":0,"size":9,"items":[{"field":"b","offset":1,"size":1,"value":"x"},)"
        R"({"node":"c","offset":2,"size":3,"items":[{"field":"d","offset":3,"size":1,"value":"y"}]},)"
        R"({"field":"e","offset":5,"size":1,"value":"z"}]},{"node":"f","offset":9,"size":1,"items":[]})");
    row(
        "nodes that are still open at the end are closed",
        [](ElementSink &sink) {
            sink.beginElement(0, 9, u"a", -1);
            sink.beginElement(1, 8, u"b", -1);
        },
        R"({"node":"a","offset":0,"size":9,"items":[{"node":"b","offset":1,"size":8,"items":[]}]})");
    row(
        "one end too many is ignored",
        [](ElementSink &sink) {
            sink.beginElement(0, 9, u"a", -1);
            sink.endElement();
            sink.endElement();
            sink.addField(leaf(1, 1, u"b", u"x"));
        },
        R"({"node":"a","offset":0,"size":9,"items":[]},{"field":"b","offset":1,"size":1,"value":"x"})");
}

void TestJsonWriter::documents()
{
    QFETCH(Calls, calls);
    QFETCH(QByteArray, elements);
    QCOMPARE(printedInside(calls), around(elements));
}

void TestJsonWriter::aWholeDocumentOnOneLine()
{
    QCOMPARE(printed(fillDocument),
             QByteArray(R"({"formatVersion":1,"file":"film.avi","fileSize":5000000000,"container":"AVI","elements":[)"
                        R"({"node":"RIFF AVI","offset":0,"size":400,"items":[)"
                        R"({"field":"id","offset":0,"size":4,"value":"RIFF"},)"
                        R"({"field":"dwFlags","offset":12,"size":4,"value":"272",)"
                        R"("meaning":"AVIF_HASINDEX | AVIF_ISINTERLEAVED","description":"how to play it"},)"
                        R"({"node":"idx1_entry","offset":100,"size":16,"index":0,"items":[]}]},)"
                        R"({"unparsed":true,"offset":400,"size":20}],)"
                        R"("status":5,)"
                        R"("videoStreams":[{"width":320,"height":4294967056,"formatCode":3,"codecId":28,)"
                        R"("frameRate":29.97}],)"
                        R"("frames":[{"stream":0,"number":0,"offset":2056,"size":1000,"key":true},)"
                        R"({"stream":1,"number":7,"offset":4294967296,"size":4294967297,"key":false}]})"
                        "\n"));
}

void TestJsonWriter::aWholeDocumentIndented()
{
    QCOMPARE(printed(fillDocument, JsonWriter::Layout::Indented), QByteArray(R"({
  "formatVersion": 1,
  "file": "film.avi",
  "fileSize": 5000000000,
  "container": "AVI",
  "elements": [
    {
      "node": "RIFF AVI",
      "offset": 0,
      "size": 400,
      "items": [
        {
          "field": "id",
          "offset": 0,
          "size": 4,
          "value": "RIFF"
        },
        {
          "field": "dwFlags",
          "offset": 12,
          "size": 4,
          "value": "272",
          "meaning": "AVIF_HASINDEX | AVIF_ISINTERLEAVED",
          "description": "how to play it"
        },
        {
          "node": "idx1_entry",
          "offset": 100,
          "size": 16,
          "index": 0,
          "items": []
        }
      ]
    },
    {
      "unparsed": true,
      "offset": 400,
      "size": 20
    }
  ],
  "status": 5,
  "videoStreams": [
    {
      "width": 320,
      "height": 4294967056,
      "formatCode": 3,
      "codecId": 28,
      "frameRate": 29.97
    }
  ],
  "frames": [
    {
      "stream": 0,
      "number": 0,
      "offset": 2056,
      "size": 1000,
      "key": true
    },
    {
      "stream": 1,
      "number": 7,
      "offset": 4294967296,
      "size": 4294967297,
      "key": false
    }
  ]
}
)"));
}

void TestJsonWriter::emptyArraysIndented()
{
    const Calls calls = [](ElementSink &sink) {
        sink.beginDocument({QStringLiteral("gone"), {}, -1});
        RunResult result;
        result.status = 1;
        result.error = {FileError::Open, -1, QStringLiteral("No such file or directory")};
        sink.endDocument(result);
    };
    QCOMPARE(printed(calls, JsonWriter::Layout::Indented), QByteArray(R"({
  "formatVersion": 1,
  "file": "gone",
  "fileSize": null,
  "container": null,
  "elements": [],
  "status": 1,
  "error": {
    "kind": "open",
    "offset": null,
    "message": "No such file or directory"
  },
  "videoStreams": [],
  "frames": []
}
)"));
}

void TestJsonWriter::outcome_data()
{
    QTest::addColumn<RunResult>("result");
    QTest::addColumn<QByteArray>("printedOutcome"); // from the status to the video streams

    const auto row = [](const char *rule, const QByteArray &outcome, const std::function<void(RunResult &)> &fill) {
        RunResult result;
        fill(result);
        QTest::newRow(rule) << result << outcome;
    };
    row("a status", R"("status":3)", [](RunResult &result) { result.status = 3; });
    row("a parser's own negative status", R"("status":-7)", [](RunResult &result) { result.status = -7; });
    row("the limit on items", R"("status":0,"limit":"items")", [](RunResult &r) { r.limit = RunLimit::Items; });
    row("the limit on depth", R"("status":0,"limit":"depth")", [](RunResult &r) { r.limit = RunLimit::Depth; });
    row("the limit on work", R"("status":0,"limit":"work")", [](RunResult &r) { r.limit = RunLimit::Work; });
    row("the limit on time", R"("status":0,"limit":"time")", [](RunResult &r) { r.limit = RunLimit::Time; });
    row("the limit on structure", R"("status":0,"limit":"structure")",
        [](RunResult &r) { r.limit = RunLimit::Structure; });
    row("cancelled", R"("status":0,"cancelled":true)", [](RunResult &result) { result.cancelled = true; });
    row("a read error has a place",
        R"("status":2,"error":{"kind":"read","offset":4096,"message":"Input/output error"})", [](RunResult &result) {
            result.status = 2;
            result.error = {FileError::Read, 4096, QStringLiteral("Input/output error")};
        });
    row("a place at the very begin", R"("status":2,"error":{"kind":"read","offset":0,"message":""})",
        [](RunResult &result) {
            result.status = 2;
            result.error = {FileError::Read, 0, {}};
        });
    row("memory", R"("status":0,"error":{"kind":"memory","offset":12,"message":"std::bad_alloc"})",
        [](RunResult &result) {
            result.error = {FileError::Memory, 12, QStringLiteral("std::bad_alloc")};
        });
    row("a parser that throws", R"("status":0,"error":{"kind":"parser","offset":7,"message":"boom"})",
        [](RunResult &result) {
            result.error = {FileError::Parser, 7, QStringLiteral("boom")};
        });
    row("all of them, in this order",
        R"("status":5,"limit":"work","cancelled":true,"error":{"kind":"open","offset":null,"message":"\"no\""})",
        [](RunResult &result) {
            result.status = 5;
            result.limit = RunLimit::Work;
            result.cancelled = true;
            result.error = {FileError::Open, -1, QStringLiteral("\"no\"")};
        });
}

void TestJsonWriter::outcome()
{
    QFETCH(RunResult, result);
    QFETCH(QByteArray, printedOutcome);
    const QByteArray document = printed([&result](ElementSink &sink) {
        sink.beginDocument(someFile);
        sink.endDocument(result);
    });
    QCOMPARE(document, around("", printedOutcome + R"(,"videoStreams":[],"frames":[])"));
}

void TestJsonWriter::deepNesting()
{
    constexpr int depth = 100000;
    const QByteArray document = printedInside([](ElementSink &sink) {
        for (int i = 0; i < depth; ++i)
            sink.beginElement(1, 2, u"n", -1);
        for (int i = 0; i < depth; ++i)
            sink.endElement();
    });
    QVERIFY(document
            == around(QByteArray(R"({"node":"n","offset":1,"size":2,"items":[)").repeated(depth)
                      + QByteArray("]}").repeated(depth)));
}

void TestJsonWriter::oneWriterPrintsManyDocuments()
{
    const QByteArray documents = printed([](ElementSink &sink) {
        sink.beginDocument(someFile);
        sink.beginElement(0, 1, u"left open", -1);
        sink.reportFrame({0, 0, 1, 2, true});
        sink.endDocument({});
        sink.beginDocument(someFile);
        sink.endDocument({});
    });
    QCOMPARE(documents,
             around(R"({"node":"left open","offset":0,"size":1,"items":[]})",
                    R"("status":0,"videoStreams":[],)"
                    R"("frames":[{"stream":0,"number":0,"offset":1,"size":2,"key":true}])")
                 + around(""));
}

void TestJsonWriter::nothingIsPrintedOutsideADocument()
{
    const QByteArray document = printed([](ElementSink &sink) {
        QVERIFY(!sink.addField(leaf(1, 2, u"n", u"v")));
        QVERIFY(!sink.beginElement(1, 2, u"n", -1));
        QVERIFY(!sink.endElement());
        QVERIFY(!sink.reportFrame({}));
        QVERIFY(!sink.setElementSize(2));
        QVERIFY(!sink.reportProblem({1, 2, Severity::Error, u"p"}));
        QVERIFY(!sink.endDocument({}));
        QVERIFY(sink.beginDocument(someFile));
        QVERIFY(sink.endDocument({}));
        QVERIFY(!sink.addField(leaf(1, 2, u"n", u"v")));
        QVERIFY(!sink.endDocument({}));
    });
    QCOMPARE(document, around(""));
}

QTEST_APPLESS_MAIN(TestJsonWriter)
#include "tst_jsonwriter.moc"
