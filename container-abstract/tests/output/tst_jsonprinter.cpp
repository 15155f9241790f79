#include "jsonprinter.h"

#include "limiteddevice.h"

#include <QBuffer>
#include <QTest>

#include <functional>
#include <limits>

using namespace quenlofar;

using Steps = std::function<void(JsonPrinter &)>;
Q_DECLARE_METATYPE(Steps)

namespace {

QByteArray printed(const Steps &steps, JsonLayout layout)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    JsonPrinter json(buffer, layout);
    steps(json);
    return json.finish() ? buffer.data() : QByteArray("failed");
}

} // namespace

class TestJsonPrinter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void documents_data();
    void documents();
    void indentation();
    void manyDocuments();
    void outputThatFails();
};

void TestJsonPrinter::documents_data()
{
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<QByteArray>("document");

    const auto row = [](const char *rule, const Steps &steps, const QByteArray &document) {
        QTest::newRow(rule) << steps << document;
    };
    row(
        "an empty object", [](JsonPrinter &json) { json.beginObject().endObject(); }, "{}");
    row(
        "members of every kind",
        [](JsonPrinter &json) {
            json.beginObject().key(u"text").text(u"a").key(u"number").number(std::numeric_limits<quint64>::max());
            json.key(u"signed").signedNumber(std::numeric_limits<qint64>::min()).key(u"real").real(29.97);
            json.key(u"yes").boolean(true).key(u"no").boolean(false).key(u"nothing").null().endObject();
        },
        R"({"text":"a","number":18446744073709551615,"signed":-9223372036854775808,"real":29.97,"yes":true,"no":false,"nothing":null})");
    row(
        "bytes as digits",
        [](JsonPrinter &json) {
            json.beginArray().hexDigits("\x00\xFF\x1A", 3).hexDigits("", 0);
            json.hexDigits(QByteArray(100000, '\x7E').constData(), 100000).endArray();
        },
        R"(["00ff1a","",")" + QByteArray("7e").repeated(100000) + R"("])");
    row(
        "arrays in arrays",
        [](JsonPrinter &json) { json.beginArray().beginArray().number(1).number(2).endArray().endArray(); }, "[[1,2]]");
    row(
        "infinity and NaN are null",
        [](JsonPrinter &json) {
            json.beginArray().real(std::numeric_limits<double>::infinity());
            json.real(std::numeric_limits<double>::quiet_NaN()).endArray();
        },
        "[null,null]");
    row(
        "texts are escaped", [](JsonPrinter &json) { json.beginArray().text(u"\"\\\u0001\u00E9").endArray(); },
        "[\"\\\"\\\\\\u0001\xC3\xA9\"]");
    row(
        "half a pair is no character",
        [](JsonPrinter &json) {
            const char16_t half = 0xD83D;
            json.beginArray().text(QStringView(&half, 1)).endArray();
        },
        "[\"\xEF\xBF\xBD\"]");
    row(
        "what documents about files begin with",
        [](JsonPrinter &json) {
            json.beginObject().documentStart({QStringLiteral("a"), QStringLiteral("AVI"), 12}).endObject();
        },
        R"({"formatVersion":1,"file":"a","fileSize":12,"container":"AVI"})");
    row(
        "the parser that accepts a file",
        [](JsonPrinter &json) {
            json.beginObject();
            json.documentStart(
                {QStringLiteral("a"), QStringLiteral("AVI"), 12, 0, QStringLiteral("p"), QStringLiteral("1.0")});
            json.endObject();
        },
        R"({"formatVersion":1,"file":"a","fileSize":12,"container":"AVI","parser":{"name":"p","version":"1.0"}})");
    row(
        "a parser without a version, in one of several files",
        [](JsonPrinter &json) {
            json.beginObject().fileStart({QStringLiteral("a"), QStringLiteral("AVI"), 12, 0, QStringLiteral("p")});
            json.endObject();
        },
        R"({"file":"a","fileSize":12,"container":"AVI","parser":{"name":"p"}})");
    row(
        "of a file that could not be opened nothing is known",
        [](JsonPrinter &json) {
            json.beginObject().documentStart({QStringLiteral("a"), {}, -1}).endObject();
        },
        R"({"formatVersion":1,"file":"a","fileSize":null,"container":null})");
    row(
        "the outcome of a walk",
        [](JsonPrinter &json) {
            RunResult result;
            result.status = 2;
            result.limit = RunLimit::Work;
            result.cancelled = true;
            result.error = {FileError::Read, 7, QStringLiteral("bad")};
            json.beginObject().outcome(result).endObject();
        },
        R"({"status":2,"limit":"work","cancelled":true,"error":{"kind":"read","offset":7,"message":"bad"}})");
}

void TestJsonPrinter::documents()
{
    QFETCH(Steps, steps);
    QFETCH(QByteArray, document);
    QCOMPARE(printed(steps, JsonLayout::Line), document + '\n');
}

void TestJsonPrinter::indentation()
{
    const Steps steps = [](JsonPrinter &json) {
        json.beginObject().key(u"a").beginArray().number(1).endArray().endObject();
    };
    QCOMPARE(printed(steps, JsonLayout::Indented), QByteArray("{\n  \"a\": [\n    1\n  ]\n}\n"));
}

void TestJsonPrinter::manyDocuments()
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    JsonPrinter json(buffer);
    for (quint64 i = 0; i < 3; ++i) {
        json.beginArray().number(i).endArray();
        QVERIFY(json.finish());
    }
    QCOMPARE(buffer.data(), QByteArray("[0]\n[1]\n[2]\n"));
    QVERIFY(json.errorText().isNull());
}

void TestJsonPrinter::outputThatFails()
{
    LimitedDevice device(5);
    JsonPrinter json(device);
    json.beginArray().text(u"long enough").endArray();
    QVERIFY(!json.finish());
    QVERIFY(!json.errorText().isEmpty());
}

QTEST_APPLESS_MAIN(TestJsonPrinter)
#include "tst_jsonprinter.moc"
