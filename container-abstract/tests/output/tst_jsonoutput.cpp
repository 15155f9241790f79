#include "jsonwriter.h"

#include "jsondocument.h"
#include "limiteddevice.h"

#include <QFile>
#include <QJsonDocument>
#include <QTest>

#include <limits>

using namespace quenlofar;

Q_DECLARE_METATYPE(JsonWriter::Layout)
Q_DECLARE_METATYPE(LimitedDevice::Failure)

class TestJsonOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frameRates_data();
    void frameRates();
    void texts_data();
    void texts();
    void textsLongerThanTheBuffer_data();
    void textsLongerThanTheBuffer();
    void outputThatFailsAtAnyByte_data();
    void outputThatFailsAtAnyByte();
    void outputThatFailsAfterTheFirstBuffer();
    void outputThatFailsAmongTheFrames();
    void waysInWhichADeviceFails_data();
    void waysInWhichADeviceFails();
    void aFullDiskIsNoticedAtTheEndOfTheDocument();
};

void TestJsonOutput::frameRates_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("a whole number") << 25.0 << QByteArray("25");
    QTest::newRow("zero") << 0.0 << QByteArray("0");
    QTest::newRow("negative zero") << -0.0 << QByteArray("-0");
    QTest::newRow("the shortest text, not 17 digits") << 29.97 << QByteArray("29.97");
    QTest::newRow("as many digits as it takes") << 30000.0 / 1001.0 << QByteArray("29.97002997002997");
    QTest::newRow("one third") << 1.0 / 3.0 << QByteArray("0.3333333333333333");
    QTest::newRow("a large one has an exponent") << 1e300 << QByteArray("1e+300");
    QTest::newRow("the smallest one") << 5e-324 << QByteArray("5e-324");
    QTest::newRow("the last digit is the nearest one that is short")
        << 900719925474099.25 << QByteArray("900719925474099.2");
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << QByteArray("null");
    QTest::newRow("negative and infinite") << -std::numeric_limits<double>::infinity() << QByteArray("null");
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << QByteArray("null");
}

void TestJsonOutput::frameRates()
{
    QFETCH(double, rate);
    QFETCH(QByteArray, text);
    const QByteArray document = printed([rate](ElementSink &sink) {
        sink.beginDocument(someFile);
        RunResult result;
        result.videoStreams = {{1, 2, 0, 4, rate}, {5, 6, 7, -8, rate}};
        sink.endDocument(result);
    });
    QCOMPARE(document,
             around("",
                    R"("status":0,"videoStreams":[{"width":1,"height":2,"formatCode":0,"codecId":4,"frameRate":)" + text
                        + R"(},{"width":5,"height":6,"formatCode":7,"codecId":-8,"frameRate":)" + text
                        + R"(}],"frames":[])"));
    if (text != "null")
        QCOMPARE(text.toDouble(), rate);
}

void TestJsonOutput::texts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    const auto units = [](std::initializer_list<char16_t> text) {
        return QString::fromUtf16(text.begin(), int(text.size()));
    };
    QTest::newRow("a quote") << QStringLiteral("a\"b") << QByteArray(R"(a\"b)");
    QTest::newRow("a backslash") << QStringLiteral("a\\") << QByteArray(R"(a\\)");
    QTest::newRow("a slash stays") << QStringLiteral("a/b") << QByteArray("a/b");
    QTest::newRow("the named control characters") << QStringLiteral("\b\t\n\f\r") << QByteArray(R"(\b\t\n\f\r)");
    QTest::newRow("U+0000") << units({u'a', 0, u'b'}) << QByteArray("a\\u0000b");
    QTest::newRow("U+0000 alone") << units({0}) << QByteArray("\\u0000");
    QTest::newRow("other control characters") << units({1, 0x1F}) << QByteArray("\\u0001\\u001F");
    QTest::newRow("a blank stays, DEL is escaped") << units({0x20, 0x7E, 0x7F}) << QByteArray(" ~\\u007F");
    QTest::newRow("C1") << units({0x80, 0x9B, 0x9F}) << QByteArray("\\u0080\\u009B\\u009F");
    QTest::newRow("U+00A0 has two bytes") << units({0xA0}) << QByteArray("\xC2\xA0");
    QTest::newRow("Arabic letter mark") << units({0x61B, 0x61C, 0x61D}) << QByteArray("\xD8\x9B\\u061C\xD8\x9D");
    QTest::newRow("direction marks") << units({0x200D, 0x200E, 0x200F, 0x2010})
                                     << QByteArray("\xE2\x80\x8D\\u200E\\u200F\xE2\x80\x90");
    QTest::newRow("embeddings") << units({0x202A, 0x202E, 0x202F}) << QByteArray("\\u202A\\u202E\xE2\x80\xAF");
    QTest::newRow("isolates") << units({0x2065, 0x2066, 0x2069, 0x206A})
                              << QByteArray("\xE2\x81\xA5\\u2066\\u2069\xE2\x81\xAA");
    QTest::newRow("Latin-1") << units({0xE9, 0xFF}) << QByteArray("\xC3\xA9\xC3\xBF");
    QTest::newRow("U+07FF has two bytes") << units({0x7FF}) << QByteArray("\xDF\xBF");
    QTest::newRow("U+0800 has three bytes") << units({0x800}) << QByteArray("\xE0\xA0\x80");
    QTest::newRow("line separators") << units({0x2027, 0x2028, 0x2029}) << QByteArray("\xE2\x80\xA7\\u2028\\u2029");
    QTest::newRow("around the surrogates") << units({0xD7FF, 0xE000}) << QByteArray("\xED\x9F\xBF\xEE\x80\x80");
    QTest::newRow("U+FFFF") << units({0xFFFF}) << QByteArray("\xEF\xBF\xBF");
    QTest::newRow("U+10000") << units({0xD800, 0xDC00}) << QByteArray("\xF0\x90\x80\x80");
    QTest::newRow("U+1F600") << units({0xD83D, 0xDE00}) << QByteArray("\xF0\x9F\x98\x80");
    QTest::newRow("U+10FFFF") << units({0xDBFF, 0xDFFF}) << QByteArray("\xF4\x8F\xBF\xBF");
    QTest::newRow("a high surrogate alone") << units({0xD83D}) << QByteArray("\xEF\xBF\xBD");
    QTest::newRow("a low surrogate alone") << units({0xDE00}) << QByteArray("\xEF\xBF\xBD");
    QTest::newRow("a pair the wrong way round") << units({0xDE00, 0xD83D}) << QByteArray("\xEF\xBF\xBD\xEF\xBF\xBD");
    QTest::newRow("a high surrogate before a pair")
        << units({0xD83D, 0xD83D, 0xDE00}) << QByteArray("\xEF\xBF\xBD\xF0\x9F\x98\x80");
    QTest::newRow("a high surrogate before an escape") << units({0xD83D, u'"'}) << QByteArray("\xEF\xBF\xBD\\\"");
    QTest::newRow("a byte of a path that is not UTF-8") << units({u'a', 0xDCFF}) << QByteArray("a\xEF\xBF\xBD");
}

void TestJsonOutput::texts()
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
    const QByteArray quoted = '"' + bytes + '"';
    QCOMPARE(document,
             R"({"formatVersion":1,"file":)" + quoted + R"(,"fileSize":0,"container":)" + quoted
                 + R"(,"elements":[{"node":)" + quoted + R"(,"offset":0,"size":0,"items":[{"field":)" + quoted
                 + R"(,"offset":0,"size":0,"value":)" + quoted + R"(,"meaning":)" + quoted + R"(,"description":)"
                 + quoted + R"(}]}],"status":0,"error":{"kind":"read","offset":0,"message":)" + quoted
                 + R"(},"videoStreams":[],"frames":[]})" + "\n");
    QVERIFY(!QJsonDocument::fromJson(document).isNull());
}

void TestJsonOutput::textsLongerThanTheBuffer_data()
{
    QTest::addColumn<int>("before"); // letters before the character
    QTest::addColumn<QString>("character");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("times");

    for (const int before : {4094, 4095, 4096, 4097, 65400, 65536, 200000}) {
        const QByteArray place = " after " + QByteArray::number(before);
        QTest::newRow("a pair" + place) << before << QStringLiteral("\U0001F600") << QByteArray("\xF0\x9F\x98\x80")
                                        << 1;
        QTest::newRow("an escape" + place) << before << QStringLiteral("\n") << QByteArray("\\n") << 1;
        QTest::newRow("half a pair" + place) << before << QString(QChar(0xD800)) << QByteArray("\xEF\xBF\xBD") << 1;
    }
    QTest::newRow("many quotes") << 0 << QStringLiteral("\"") << QByteArray("\\\"") << 100000;
    QTest::newRow("many control characters") << 1 << QString(QChar(1)) << QByteArray("\\u0001") << 100000;
    QTest::newRow("many of three bytes") << 2 << QString(QChar(0x20AC)) << QByteArray("\xE2\x82\xAC") << 100000;
}

void TestJsonOutput::textsLongerThanTheBuffer()
{
    QFETCH(int, before);
    QFETCH(QString, character);
    QFETCH(QByteArray, bytes);
    QFETCH(int, times);
    const QString text = QString(before, QLatin1Char('x')) + character.repeated(times) + QLatin1Char('y');
    const QByteArray expected = QByteArray(before, 'x') + bytes.repeated(times) + 'y';
    const QByteArray document = printedInside([&text](ElementSink &sink) { sink.addField(leaf(1, 2, u"n", text)); });
    // Not QCOMPARE: it would print hundreds of kilobytes.
    QVERIFY(document == around(R"({"field":"n","offset":1,"size":2,"value":")" + expected + "\"}"));
}

void TestJsonOutput::outputThatFailsAtAnyByte_data()
{
    QTest::addColumn<JsonWriter::Layout>("layout");
    QTest::newRow("on one line") << JsonWriter::Layout::Line;
    QTest::newRow("indented") << JsonWriter::Layout::Indented;
}

void TestJsonOutput::outputThatFailsAtAnyByte()
{
    QFETCH(JsonWriter::Layout, layout);
    const QByteArray whole = printed(fillDocument, layout);
    QVERIFY(whole.size() > 600);
    for (int room = 0; room < whole.size(); ++room) {
        LimitedDevice device(room);
        JsonWriter writer(device, layout);
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
    LimitedDevice device(whole.size());
    JsonWriter writer(device, layout);
    fillDocument(writer);
    QCOMPARE(device.taken, whole);
    QVERIFY(writer.errorText().isNull());
}

void TestJsonOutput::outputThatFailsAfterTheFirstBuffer()
{
    LimitedDevice device(100000);
    JsonWriter writer(device);
    QVERIFY(writer.beginDocument(someFile));
    QVERIFY(writer.beginElement(0, 0, u"n", -1));
    int taken = 0;
    while (writer.addField(leaf(0, 0, u"name", u"some value")))
        QVERIFY(++taken < 100000);
    QVERIFY(taken > 1000);
    QVERIFY(!writer.addField(leaf(0, 0, u"name", u"some value")));
    QVERIFY(!writer.reportFrame({}));
    QVERIFY(!writer.beginElement(0, sizeFromEnd, u"n", -1));
    QVERIFY(!writer.setElementSize(1));
    QVERIFY(!writer.reportProblem({0, 1, Severity::Error, u"p"}));
    QVERIFY(!writer.endElement());
    QVERIFY(!writer.endElement());
    QVERIFY(!writer.endDocument({}));
    QCOMPARE(device.failures, 1);
    QCOMPARE(int(device.taken.size()), 100000);
}

void TestJsonOutput::outputThatFailsAmongTheFrames()
{
    LimitedDevice device(100000);
    JsonWriter writer(device);
    QVERIFY(writer.beginDocument(someFile));
    for (quint64 number = 0; number < 20000; ++number)
        QVERIFY(writer.reportFrame({0, number, number, 1, true}));
    QVERIFY(!writer.endDocument({}));
    QCOMPARE(device.failures, 1);
    QCOMPARE(int(device.taken.size()), 100000);
}

void TestJsonOutput::waysInWhichADeviceFails_data()
{
    QTest::addColumn<LimitedDevice::Failure>("failure");
    QTest::addColumn<QString>("text");
    QTest::newRow("it says so") << LimitedDevice::Error << QStringLiteral("the disk is full");
    QTest::newRow("it takes nothing and says nothing")
        << LimitedDevice::TakesNothing << QStringLiteral("Unknown error");
    QTest::newRow("its memory runs out") << LimitedDevice::OutOfMemory
                                         << QStringLiteral("not enough memory for the output");
}

void TestJsonOutput::waysInWhichADeviceFails()
{
    QFETCH(LimitedDevice::Failure, failure);
    QFETCH(QString, text);
    LimitedDevice device(50, failure);
    JsonWriter writer(device);
    fillDocument(writer);
    QCOMPARE(device.failures, 1);
    QCOMPARE(int(device.taken.size()), 50);
    QCOMPARE(writer.errorText(), text);
}

void TestJsonOutput::aFullDiskIsNoticedAtTheEndOfTheDocument()
{
    // A file that buffers by itself would tell only when it is closed.
    QFile full(QStringLiteral("/dev/full"));
    if (!full.open(QIODevice::WriteOnly))
        QSKIP("there is no device that is always full");
    JsonWriter writer(full);
    QVERIFY(writer.beginDocument(someFile));
    QVERIFY(!writer.endDocument({}));
    QVERIFY(!writer.errorText().isEmpty());
}

QTEST_APPLESS_MAIN(TestJsonOutput)
#include "tst_jsonoutput.moc"
