#include "textwriter.h"

#include "limiteddevice.h"

#include <QBuffer>
#include <QTest>

#include <functional>
#include <limits>

using namespace quenlofar;

using Calls = std::function<void(ElementSink &)>;
Q_DECLARE_METATYPE(Calls)
Q_DECLARE_METATYPE(RunResult)
Q_DECLARE_METATYPE(VideoStream)

namespace {

const DocumentStart someFile{QStringLiteral("a.avi"), QStringLiteral("AVI"), 100};

/// A leaf without flag, code and index.
Field leaf(quint64 offset, quint64 size, QStringView name, QStringView value, QStringView meaning = {},
           QStringView description = {})
{
    return {false, 0, offset, size, -1, name, value, meaning, description};
}

QByteArray printed(const Calls &calls)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    TextWriter writer(buffer);
    calls(writer);
    return buffer.data();
}

/// What is printed between the heading and the outcome for these calls, in a document about someFile.
QByteArray printedLines(const Calls &calls)
{
    const QByteArray before = "a.avi: AVI, 100 bytes\n\noffset    size\n";
    const QByteArray after = "\nstatus 0: walked to the end\n";
    QByteArray document = printed([&calls](ElementSink &sink) {
        sink.beginDocument(someFile);
        calls(sink);
        sink.endDocument({});
    });
    if (!document.startsWith(before) || !document.endsWith(after))
        return "not as expected: " + document;
    return document.mid(before.size(), document.size() - before.size() - after.size());
}

/// A document in which everything occurs.
void fillDocument(ElementSink &sink)
{
    sink.beginDocument({QStringLiteral("film.avi"), QStringLiteral("AVI"), 5000000000});
    sink.beginElement(0, 400, u"RIFF(AVI )", -1);
    sink.addField(leaf(0, 4, u"id", u"RIFF"));
    sink.addField(leaf(12, 4, u"dwFlags", u"272", u"AVIF_HASINDEX", u"how to play it"));
    sink.beginElement(100, 16, u"idx1_entry", 0);
    sink.addField(leaf(100, 4, u"chunk_id", u"00dc"));
    sink.endElement();
    sink.reportFrame({0, 3, 4999999998, 1000, true});
    sink.addField(leaf(116, 284, unparsedDataMarker, {}));
    sink.endElement();
    sink.reportFrame({1, 0, 5012, 1, false});
    RunResult result;
    result.status = 5;
    result.videoStreams = {{320, 240, 0, 13, 25.0}, {640, 4294966816, 3, 0, 29.97}};
    sink.endDocument(result);
}

const char filledDocument[] = R"(film.avi: AVI, 5000000000 bytes

    offset        size
         0         400  RIFF(AVI )
         0           4    id = RIFF
        12           4    dwFlags = 272  (AVIF_HASINDEX)  how to play it
       100          16    idx1_entry [0]
       100           4      chunk_id = 00dc
                          frame 3 of video stream 0: 1000 bytes at 4999999998, key frame
       116         284    284 bytes that no parser interprets
                        frame 0 of video stream 1: 1 byte at 5012

video stream 0: 320 x 240, 25 frames/second, codec 13
video stream 1: 640 x 480 top-down, 29.97 frames/second, unknown codec, pixel format 3
2 video frames reported
status 5: the file ends inside an element
)";

} // namespace

class TestTextWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aWholeDocument();
    void filesThatWereNotWalked();
    void documentsAreSetApart();
    void lines_data();
    void lines();
    void outcome_data();
    void outcome();
    void videoStreams_data();
    void videoStreams();
    void texts_data();
    void texts();
    void theColumnsGrowWithTheFile();
    void deepNodesAreIndentedLikeTheSixtieth();
    void whatIsPrintedWhereTheBufferEnds();
    void nothingIsPrintedOutsideADocument();
    void outputThatFailsAtAnyByte();
};

void TestTextWriter::aWholeDocument()
{
    QCOMPARE(printed(fillDocument), QByteArray(filledDocument));
}

void TestTextWriter::filesThatWereNotWalked()
{
    const QByteArray unknown = printed([](ElementSink &sink) {
        sink.beginDocument({QStringLiteral("notes.txt"), {}, 11});
        RunResult result;
        result.status = 3;
        sink.endDocument(result);
    });
    QCOMPARE(unknown,
             QByteArray("notes.txt: unknown container format, 11 bytes\nstatus 3: no parser recognises the file\n"));

    const QByteArray missing = printed([](ElementSink &sink) {
        sink.beginDocument({QStringLiteral("gone.avi"), {}, -1});
        RunResult result;
        result.status = 1;
        result.error = {FileError::Open, -1, QStringLiteral("No such file or directory")};
        sink.endDocument(result);
    });
    QCOMPARE(missing,
             QByteArray("gone.avi: not opened\nstatus 1: the file cannot be opened\n"
                        "opening failed: No such file or directory\n"));
}

void TestTextWriter::documentsAreSetApart()
{
    const QByteArray documents = printed([](ElementSink &sink) {
        for (const int size : {0, 1}) {
            sink.beginDocument({QStringLiteral("a"), QStringLiteral("AVI"), size});
            sink.beginElement(0, 0, u"left open", -1);
            sink.endDocument({});
        }
    });
    QCOMPARE(
        documents,
        QByteArray("a: AVI, 0 bytes\n\noffset    size\n     0       0  left open\n\nstatus 0: walked to the end\n"
                   "\n"
                   "a: AVI, 1 byte\n\noffset    size\n     0       0  left open\n\nstatus 0: walked to the end\n"));
}

void TestTextWriter::lines_data()
{
    QTest::addColumn<Calls>("calls");
    QTest::addColumn<QByteArray>("text");

    const auto leafRow = [](const char *rule, const Field &field, const QByteArray &text) {
        QTest::newRow(rule) << Calls([field](ElementSink &sink) { sink.addField(field); }) << text;
    };
    leafRow("a value", leaf(3, 4, u"n", u"v"), "     3       4  n = v\n");
    leafRow("a value and a meaning", leaf(3, 4, u"n", u"v", u"m"), "     3       4  n = v  (m)\n");
    leafRow("a value and a description", leaf(3, 4, u"n", u"v", {}, u"d"), "     3       4  n = v  d\n");
    leafRow("everything", leaf(3, 4, u"n", u"v", u"m", u"d"), "     3       4  n = v  (m)  d\n");
    leafRow("no value: the size is given in words", leaf(3, 12, u"value", {}),
            "     3      12  value  (12 bytes of data)\n");
    leafRow("no value, one byte", leaf(3, 1, u"value", {}), "     3       1  value  (1 byte of data)\n");
    leafRow("no value and no bytes", leaf(3, 0, u"value", {}), "     3       0  value  (empty)\n");
    leafRow("no value: the description stays", leaf(3, 0, u"value", {}, {}, u"d"),
            "     3       0  value  (empty)  d\n");
    leafRow("no value: a meaning takes its place", leaf(3, 12, u"n", {}, u"m"), "     3      12  n  (m)\n");
    leafRow("a text without a character", {false, emptyTextCode, 3, 12, -1, u"n", {}, {}, {}},
            "     3      12  n = \"\"\n");
    leafRow("a text without a character that means something", {false, emptyTextCode, 3, 0, -1, u"n", {}, u"m", {}},
            "     3       0  n = \"\"  (m)\n");
    leafRow("unparsed data", leaf(3, 32208, unparsedDataMarker, {}),
            "     3   32208  32208 bytes that no parser interprets\n");
    leafRow("one unparsed byte", leaf(3, 1, unparsedDataMarker, {}),
            "     3       1  1 byte that no parser interprets\n");
    leafRow("numbers that are too large for their column",
            leaf(std::numeric_limits<quint64>::max(), 10000000, u"n", u"v"), "18446744073709551615  10000000  n = v\n");
    QTest::newRow("nodes indent what they hold, leaves do not") << Calls([](ElementSink &sink) {
        sink.beginElement(0, 9, u"a", -1);
        sink.beginElement(1, 8, u"b", 12);
        sink.addField(leaf(2, 1, u"c", u"x"));
        sink.addField(leaf(3, 1, u"d", u"y"));
        sink.endElement();
        sink.addField(leaf(4, 1, u"e", u"z"));
        sink.endElement();
        sink.addField(leaf(9, 1, u"f", u"0"));
    })
                                                                << QByteArray("     0       9  a\n"
                                                                              "     1       8    b [12]\n"
                                                                              "     2       1      c = x\n"
                                                                              "     3       1      d = y\n"
                                                                              "     4       1    e = z\n"
                                                                              "     9       1  f = 0\n");
    QTest::newRow("one end too many is ignored") << Calls([](ElementSink &sink) {
        sink.endElement();
        sink.addField(leaf(9, 1, u"f", u"0"));
    }) << QByteArray("     9       1  f = 0\n");
}

void TestTextWriter::lines()
{
    QFETCH(Calls, calls);
    QFETCH(QByteArray, text);
    QCOMPARE(printedLines(calls), text);
}

void TestTextWriter::outcome_data()
{
    QTest::addColumn<RunResult>("result");
    QTest::addColumn<QByteArray>("text");

    const auto row = [](const char *rule, const QByteArray &text, const std::function<void(RunResult &)> &fill) {
        RunResult result;
        result.stopPosition = 77;
        fill(result);
        QTest::newRow(rule) << result << text;
    };
    row("nothing to tell", "status 0: walked to the end\n", [](RunResult &) {});
    row("a parser's own status", "status -7: status -7\n", [](RunResult &result) { result.status = -7; });
    row("the limit on items", "stopped at byte 77 by the limit of 1000 items\n", [](RunResult &result) {
        result.limit = RunLimit::Items;
        result.limitValue = 1000;
    });
    row("the limit on depth", "stopped at byte 77 by the limit of 1 nested node\n", [](RunResult &result) {
        result.limit = RunLimit::Depth;
        result.limitValue = 1;
    });
    row("the limit on work", "stopped at byte 77 by the limit of 9 bytes to be read\n", [](RunResult &result) {
        result.limit = RunLimit::Work;
        result.limitValue = 9;
    });
    row("the limit on time", "stopped at byte 77 by the limit of 30 seconds\n", [](RunResult &result) {
        result.limit = RunLimit::Time;
        result.limitValue = 30;
    });
    row("the limit on structure", "stopped at byte 77 by the limit of 1 structure entry\n", [](RunResult &result) {
        result.limit = RunLimit::Structure;
        result.limitValue = 1;
    });
    row("cancelled", "cancelled at byte 77\n", [](RunResult &result) { result.cancelled = true; });
    row("a read error", "status 2: reading the file failed\nreading failed at byte 0: Input/output error\n",
        [](RunResult &result) {
            result.status = 2;
            result.error = {FileError::Read, 0, QStringLiteral("Input/output error")};
        });
    row("memory", "memory ran out: std::bad_alloc\n", [](RunResult &result) {
        result.error = {FileError::Memory, -1, QStringLiteral("std::bad_alloc")};
    });
    row("a status and a limit",
        "status 5: the file ends inside an element\nstopped at byte 77 by the limit of 2 items\n",
        [](RunResult &result) {
            result.status = 5;
            result.limit = RunLimit::Items;
            result.limitValue = 2;
        });
    row("a sink beside the writer that failed", "not printed to its end: a full tree\n",
        [](RunResult &result) { result.sinkError = QStringLiteral("a full tree"); });
    row("a parser that throws", "the parser failed at byte 7: boom\n", [](RunResult &result) {
        result.error = {FileError::Parser, 7, QStringLiteral("boom")};
    });
}

void TestTextWriter::outcome()
{
    QFETCH(RunResult, result);
    QFETCH(QByteArray, text);
    const QByteArray document = printed([&result](ElementSink &sink) {
        sink.beginDocument(someFile);
        sink.endDocument(result);
    });
    QCOMPARE(document, "a.avi: AVI, 100 bytes\n" + text);
}

void TestTextWriter::videoStreams_data()
{
    QTest::addColumn<VideoStream>("stream");
    QTest::addColumn<QByteArray>("text");

    const double infinite = std::numeric_limits<double>::infinity();
    QTest::newRow("everything known") << VideoStream{320, 240, 3, 14, 0.5}
                                      << QByteArray("320 x 240, 0.5 frames/second, codec 14, pixel format 3");
    QTest::newRow("nothing known") << VideoStream{} << QByteArray("0 x 0, 0 frames/second, unknown codec");
    QTest::newRow("an infinite frame rate")
        << VideoStream{1, 2, 0, 4, infinite} << QByteArray("1 x 2, unknown frame rate, codec 4");
    QTest::newRow("a height of -1") << VideoStream{1, 0xFFFFFFFF, 0, 4, 1}
                                    << QByteArray("1 x 1 top-down, 1 frames/second, codec 4");
    QTest::newRow("the smallest height") << VideoStream{1, 0x80000000, 0, 4, 1}
                                         << QByteArray("1 x 2147483648 top-down, 1 frames/second, codec 4");
    QTest::newRow("the largest height") << VideoStream{1, 0x7FFFFFFF, 0, 4, 1}
                                        << QByteArray("1 x 2147483647, 1 frames/second, codec 4");
    QTest::newRow("the codec has a sign")
        << VideoStream{1, 1, 0, -2147483647 - 1, 1} << QByteArray("1 x 1, 1 frames/second, codec -2147483648");
    QTest::newRow("the width has no sign")
        << VideoStream{0xFFFFFFFF, 1, 0, 4, 1} << QByteArray("4294967295 x 1, 1 frames/second, codec 4");
}

void TestTextWriter::videoStreams()
{
    QFETCH(VideoStream, stream);
    QFETCH(QByteArray, text);
    const QByteArray document = printed([&stream](ElementSink &sink) {
        sink.beginDocument(someFile);
        RunResult result;
        result.videoStreams = {stream};
        sink.endDocument(result);
    });
    QCOMPARE(document,
             "a.avi: AVI, 100 bytes\nvideo stream 0: " + text
                 + "\n0 video frames reported\nstatus 0: walked to the end\n");
}

void TestTextWriter::texts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    const auto units = [](std::initializer_list<char16_t> text) {
        return QString::fromUtf16(text.begin(), int(text.size()));
    };
    QTest::newRow("quotes and brackets stay") << QStringLiteral("\"a\" (b)") << QByteArray("\"a\" (b)");
    QTest::newRow("a backslash is doubled") << QStringLiteral("C:\\n") << QByteArray("C:\\\\n");
    QTest::newRow("line feed, return, tabulator") << QStringLiteral("\n\r\t") << QByteArray("\\n\\r\\t");
    QTest::newRow("U+0000") << units({0, u'a'}) << QByteArray("\\x00a");
    QTest::newRow("escape") << units({0x1B, u'['}) << QByteArray("\\x1B[");
    QTest::newRow("the last of C0") << units({0x1F, 0x20}) << QByteArray("\\x1F ");
    QTest::newRow("DEL") << units({0x7E, 0x7F}) << QByteArray("~\\x7F");
    QTest::newRow("C1") << units({0x80, 0x9B, 0x9F, 0xA0}) << QByteArray("\\x80\\x9B\\x9F\xC2\xA0");
    QTest::newRow("Arabic letter mark") << units({0x61B, 0x61C, 0x61D}) << QByteArray("\xD8\x9B\\u061C\xD8\x9D");
    QTest::newRow("direction marks") << units({0x200D, 0x200E, 0x200F, 0x2010})
                                     << QByteArray("\xE2\x80\x8D\\u200E\\u200F\xE2\x80\x90");
    QTest::newRow("line separators and embeddings")
        << units({0x2027, 0x2028, 0x2029, 0x202A, 0x202E, 0x202F})
        << QByteArray("\xE2\x80\xA7\\u2028\\u2029\\u202A\\u202E\xE2\x80\xAF");
    QTest::newRow("isolates") << units({0x2065, 0x2066, 0x2069, 0x206A})
                              << QByteArray("\xE2\x81\xA5\\u2066\\u2069\xE2\x81\xAA");
    QTest::newRow("other characters are UTF-8")
        << units({0xE9, 0x20AC, 0xD83D, 0xDE00}) << QByteArray("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    QTest::newRow("half a pair") << units({0xD83D, u'a', 0xDCFF})
                                 << QByteArray("\xEF\xBF\xBD"
                                               "a\xEF\xBF\xBD");
}

void TestTextWriter::texts()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    const QByteArray document = printed([&text](ElementSink &sink) {
        sink.beginDocument({text, text, 0});
        sink.beginElement(0, 0, text, -1);
        sink.addField(leaf(0, 0, text, text, text, text));
        RunResult result;
        result.error = {FileError::Read, 0, text};
        sink.endDocument(result);
    });
    QCOMPARE(document,
             bytes + ": " + bytes + ", 0 bytes\n\noffset    size\n     0       0  " + bytes + "\n     0       0    "
                 + bytes + " = " + bytes + "  (" + bytes + ")  " + bytes + "\n\nreading failed at byte 0: " + bytes
                 + "\n");
}

void TestTextWriter::theColumnsGrowWithTheFile()
{
    const auto lineFor = [](qint64 fileSize) {
        const QByteArray document = printed([fileSize](ElementSink &sink) {
            sink.beginDocument({QStringLiteral("a"), QStringLiteral("AVI"), fileSize});
            sink.addField(leaf(0, 1, u"n", u"v"));
            sink.endDocument({});
        });
        return document.split('\n').at(3);
    };
    QCOMPARE(lineFor(999999), QByteArray("     0       1  n = v"));
    QCOMPARE(lineFor(1000000), QByteArray("      0        1  n = v"));
    QCOMPARE(lineFor(std::numeric_limits<qint64>::max()),
             QByteArray("                  0                    1  n = v"));
}

void TestTextWriter::deepNodesAreIndentedLikeTheSixtieth()
{
    const QByteArray text = printedLines([](ElementSink &sink) {
        for (int i = 0; i < 1000; ++i)
            sink.beginElement(1, 2, u"n", -1);
        for (int i = 0; i < 940; ++i)
            sink.endElement();
        sink.addField(leaf(3, 4, u"at the sixtieth", u"v"));
        sink.endElement();
        sink.addField(leaf(3, 4, u"before it", u"v"));
    });
    const QList<QByteArray> lines = text.split('\n');
    QCOMPARE(int(lines.size()), 1003);
    QCOMPARE(lines.at(0), QByteArray("     1       2  n"));
    QCOMPARE(lines.at(59), "     1       2  " + QByteArray(118, ' ') + "n");
    QCOMPARE(lines.at(60), "     1       2  " + QByteArray(120, ' ') + "n");
    QCOMPARE(lines.at(999), "     1       2  " + QByteArray(120, ' ') + "n");
    QCOMPARE(lines.at(1000), "     3       4  " + QByteArray(120, ' ') + "at the sixtieth = v");
    QCOMPARE(lines.at(1001), "     3       4  " + QByteArray(118, ' ') + "before it = v");
}

void TestTextWriter::whatIsPrintedWhereTheBufferEnds()
{
    // The buffer has 65536 bytes, and texts are put into it in pieces of 4096 characters where there is room for as
    // many of three bytes. With 54 bytes before the name, six pieces with 4124 letters of one byte leave two bytes of
    // it.
    for (int letters = 4120; letters < 4150; ++letters) {
        const int wide = 6 * 4096 - letters;
        const QString name = QString(letters, QLatin1Char('x')) + QString(wide, QChar(0x20AC));
        const QByteArray lines = printedLines(
            [&name](ElementSink &sink) { sink.addField(leaf(1, 2, name, u"value", u"meaning", u"description")); });
        const QByteArray expected = "     1       2  " + QByteArray(letters, 'x')
            + QByteArray("\xE2\x82\xAC").repeated(wide) + " = value  (meaning)  description\n";
        // Not QCOMPARE: it would print tens of kilobytes.
        QVERIFY(lines == expected);
    }
}

void TestTextWriter::nothingIsPrintedOutsideADocument()
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
    QCOMPARE(document, QByteArray("a.avi: AVI, 100 bytes\nstatus 0: walked to the end\n"));
}

void TestTextWriter::outputThatFailsAtAnyByte()
{
    const QByteArray whole(filledDocument);
    for (int room = 0; room < whole.size(); ++room) {
        LimitedDevice device(room);
        TextWriter writer(device);
        QVERIFY(writer.errorText().isNull());
        fillDocument(writer);
        QCOMPARE(device.taken, whole.left(room));
        QCOMPARE(writer.errorText(), QStringLiteral("the disk is full"));
        QVERIFY(!writer.beginDocument(someFile));
        QVERIFY(!writer.beginElement(0, 0, u"n", -1));
        QVERIFY(!writer.addField(leaf(0, 0, u"n", u"v")));
        QVERIFY(!writer.reportFrame({}));
        QVERIFY(!writer.endElement());
        QVERIFY(!writer.endDocument({}));
        QCOMPARE(device.failures, 1);
    }
}

QTEST_APPLESS_MAIN(TestTextWriter)
#include "tst_textwriter.moc"
