#include "textwriter.h"

#include "jsondocument.h"

#include <QBuffer>
#include <QTest>

using namespace quenlofar;

using TreeCalls = std::function<void(TreeWriter &)>;
Q_DECLARE_METATYPE(TreeCalls)
Q_DECLARE_METATYPE(TextStyle)

namespace {

QByteArray printedText(const TreeCalls &calls, const TextStyle &style, qint64 fileSize = 100)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    TextWriter writer(buffer, style);
    writer.beginDocument({QStringLiteral("a"), QStringLiteral("AVI"), fileSize});
    calls(writer);
    writer.endDocument({});
    const QByteArray text = buffer.data();
    // Between the heading of the columns and the outcome.
    const auto begin = text.indexOf("size\n") + 5;
    return text.mid(begin, text.lastIndexOf("\n\n") + 1 - begin);
}

TextStyle styled(const std::function<void(TextStyle &)> &change)
{
    TextStyle style;
    change(style);
    return style;
}

} // namespace

/// What the writers of trees can be told beyond the walk: styles, notes, omissions.
class TestTextStyle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void styles_data();
    void styles();
    void colours();
    void troubleIsColoured();
    void jsonNotes_data();
    void jsonNotes();
    void anOmissionIsRefusedAfterAFailure();
    void jsonWithoutFrames();
};

void TestTextStyle::styles_data()
{
    QTest::addColumn<TextStyle>("style");
    QTest::addColumn<TreeCalls>("calls");
    QTest::addColumn<QByteArray>("lines");

    const auto row = [](const char *rule, const TextStyle &style, const TreeCalls &calls, const QByteArray &lines) {
        QTest::newRow(rule) << style << calls << lines;
    };
    const TextStyle hex = styled([](TextStyle &style) { style.hexOffsets = true; });
    const TextStyle iec = styled([](TextStyle &style) { style.sizes = SizeUnits::Iec; });
    const TextStyle narrow = styled([](TextStyle &style) { style.width = 50; });
    const TextStyle withoutFrames = styled([](TextStyle &style) { style.showsFrames = false; });

    row(
        "offsets in hexadecimal", hex, [](TreeWriter &writer) { writer.addField(leaf(26, 4, u"id", u"RIFF")); },
        "  0x1a       4  id = RIFF\n");
    row(
        "the place of a frame in hexadecimal", hex,
        [](TreeWriter &writer) {
            writer.reportFrame({0, 1, 255, 9, false});
        },
        "                frame 1 of video stream 0: 9 bytes at 0xff\n");
    row(
        "sizes with a unit", iec, [](TreeWriter &writer) { writer.addField(leaf(0, 2048, u"value", {})); },
        "     0    2.00 KiB  value  (2048 bytes of data)\n");
    row(
        "a path instead of a name and indentation", {},
        [](TreeWriter &writer) {
            writer.setNotes({u"A", {}});
            writer.beginElement(0, 8, u"A", -1);
            writer.setNotes({u"A/b[1]", {}});
            writer.addField(leaf(0, 4, u"b", u"1"));
            writer.endElement();
        },
        "     0       8  A\n     0       4  A/b[1] = 1\n");
    row(
        "a path in front of unparsed bytes", {},
        [](TreeWriter &writer) {
            writer.setNotes({u"unparsed", {}});
            writer.addField(leaf(0, 4, unparsedDataMarker, {}));
        },
        "     0       4  unparsed  4 bytes that no parser interprets\n");
    // What a line of 50 columns has room for behind "name": 26 columns.
    const auto named = [](const QString &name, const QString &value, const char16_t *bytes = u"") {
        return [name, value, bytes = QString::fromUtf16(bytes)](TreeWriter &writer) {
            writer.setNotes({{}, bytes});
            writer.addField(leaf(0, 1, name, value));
        };
    };
    const QString name = QStringLiteral("name");
    const QByteArray start = "     0       1  name = ";
    row("a character of two columns is counted so", narrow, named(name, QString(13, QChar(0x6620))),
        start + QByteArray("\xE6\x98\xA0").repeated(13) + "\n");
    row("a character of two columns is not cut in two", narrow, named(name, QString(14, QChar(0x6620))),
        start + QByteArray("\xE6\x98\xA0").repeated(12) + "\xE2\x80\xA6\n");
    row("a pair of two columns is not cut in two", narrow, named(name, QStringLiteral("\U0001F600").repeated(14)),
        start + QByteArray("\xF0\x9F\x98\x80").repeated(12) + "\xE2\x80\xA6\n");
    row("a mark on a character takes no column", narrow, named(name, QStringLiteral("e\u0301").repeated(26)),
        start + QByteArray("e\xCC\x81").repeated(26) + "\n");
    row("a mark stays with its character", narrow, named(name, QStringLiteral("e\u0301").repeated(27)),
        start + QByteArray("e\xCC\x81").repeated(25) + "\xE2\x80\xA6\n");
    row("an escape is counted as it is shown, and not cut in two", narrow, named(name, QString(7, QChar(0x1B))),
        start + QByteArray("\\x1B").repeated(6) + "\xE2\x80\xA6\n");
    row("a name is counted as it is shown", narrow, named(QString(2, QChar(0x6620)), QString(27, QLatin1Char('w'))),
        "     0       1  \xE6\x98\xA0\xE6\x98\xA0 = " + QByteArray(25, 'w') + "\xE2\x80\xA6\n");
    row("bytes have room behind a value", narrow, named(name, QString(18, QLatin1Char('w')), u"52 49"),
        start + QByteArray(16, 'w') + "\xE2\x80\xA6  [52 49]\n");
    row(
        "bytes at the end of the line", {},
        [](TreeWriter &writer) {
            writer.setNotes({{}, u"52 49"});
            writer.addField(leaf(0, 2, u"id", u"RI", u"two"));
        },
        "     0       2  id = RI  (two)  [52 49]\n");
    row(
        "notes belong to one item", {},
        [](TreeWriter &writer) {
            writer.setNotes({u"x/y", u"00"});
            writer.addField(leaf(0, 1, u"y", u"0"));
            writer.addField(leaf(1, 1, u"z", u"1"));
        },
        "     0       1  x/y = 0  [00]\n     1       1  z = 1\n");
    row(
        "an omission stands where the items would", {},
        [](TreeWriter &writer) {
            writer.beginElement(0, 8, u"A", -1);
            writer.addOmission(12);
            writer.endElement();
        },
        "     0       8  A\n                  ... 12 more like these\n");
    row(
        "what fits into the line stays", narrow,
        [](TreeWriter &writer) { writer.addField(leaf(0, 4, u"name", u"01234567890123456789")); },
        "     0       4  name = 01234567890123456789\n");
    row(
        "a long value is cut off", narrow,
        [](TreeWriter &writer) { writer.addField(leaf(0, 4, u"name", u"0123456789012345678901234567890123456789")); },
        "     0       4  name = 0123456789012345678901234\xE2\x80\xA6\n");
    row(
        "but never to nothing", narrow,
        [](TreeWriter &writer) {
            writer.addField(leaf(0, 4, u"a_name_that_fills_the_line_by_itself", u"01234567890123456789"));
        },
        "     0       4  a_name_that_fills_the_line_by_itself = 012345678901234\xE2\x80\xA6\n");
    row(
        "a character of two units is not cut in half", narrow,
        [](TreeWriter &writer) {
            writer.addField(leaf(0, 4, u"a_name_that_fills_the_line_by_itself", u"01234567890123\U0001F3A0789"));
        },
        "     0       4  a_name_that_fills_the_line_by_itself = 01234567890123\xE2\x80\xA6\n");
    row(
        "frames are only counted", withoutFrames,
        [](TreeWriter &writer) {
            writer.addField(leaf(0, 4, u"id", u"RIFF"));
            writer.reportFrame({0, 0, 5, 9, true});
        },
        "     0       4  id = RIFF\n");
}

void TestTextStyle::styles()
{
    QFETCH(TextStyle, style);
    QFETCH(TreeCalls, calls);
    QTEST(printedText(calls, style), "lines");
}

void TestTextStyle::colours()
{
    const TextStyle style = styled([](TextStyle &colourful) { colourful.colour = true; });
    const TreeCalls calls = [](TreeWriter &writer) {
        writer.beginElement(0, 8, u"A", -1);
        writer.addField(leaf(0, 4, u"n", u"1", u"one"));
        writer.addField(leaf(4, 4, unparsedDataMarker, {}));
        writer.endElement();
    };
    QByteArray text = printedText(calls, style);
    QVERIFY(text.contains("\033[1mA\033[0m"));
    QVERIFY(text.contains("\033[36mn\033[0m = 1"));
    QVERIFY(text.contains("\033[32m(one)\033[0m"));
    QVERIFY(text.contains("\033[33m4 bytes that no parser interprets\033[0m"));
    // Nothing else than colours is different.
    for (const char *const sequence : {"\033[0m", "\033[1m", "\033[2m", "\033[36m", "\033[32m", "\033[33m"})
        text.replace(sequence, "");
    QCOMPARE(text, printedText(calls, {}));
}

void TestTextStyle::troubleIsColoured()
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    TextWriter writer(buffer, styled([](TextStyle &style) { style.colour = true; }));
    writer.beginDocument(someFile);
    RunResult result;
    result.status = 5;
    writer.endDocument(result);
    QVERIFY(buffer.data().endsWith("\033[31mstatus 5: the file ends inside an element\033[0m\n"));
}

void TestTextStyle::jsonNotes_data()
{
    QTest::addColumn<TreeCalls>("calls");
    QTest::addColumn<QByteArray>("elements");

    const auto row = [](const char *rule, const TreeCalls &calls, const QByteArray &elements) {
        QTest::newRow(rule) << calls << elements;
    };
    row(
        "the path of a node",
        [](TreeWriter &writer) {
            writer.setNotes({u"A", {}});
            writer.beginElement(0, 8, u"A", -1);
            writer.addField(leaf(0, 1, u"b", u"1"));
            writer.endElement();
        },
        R"({"node":"A","offset":0,"size":8,"path":"A","items":[{"field":"b","offset":0,"size":1,"value":"1"}]})");
    row(
        "path and bytes of a leaf",
        [](TreeWriter &writer) {
            writer.setNotes({u"b", u"31"});
            writer.addField(leaf(0, 1, u"b", u"1", u"one"));
        },
        R"({"field":"b","offset":0,"size":1,"value":"1","meaning":"one","path":"b","bytes":"31"})");
    row(
        "bytes that nobody interprets",
        [](TreeWriter &writer) {
            writer.setNotes({{}, u"00"});
            writer.addField(leaf(0, 1, unparsedDataMarker, {}));
        },
        R"({"unparsed":true,"offset":0,"size":1,"bytes":"00"})");
    row(
        "items that were left out", [](TreeWriter &writer) { writer.addOmission(7); }, R"({"omitted":7})");
}

void TestTextStyle::jsonNotes()
{
    QFETCH(TreeCalls, calls);
    QFETCH(QByteArray, elements);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    JsonWriter writer(buffer);
    writer.beginDocument(someFile);
    calls(writer);
    QVERIFY(writer.endDocument({}));
    QCOMPARE(buffer.data(), around(elements));
}

void TestTextStyle::anOmissionIsRefusedAfterAFailure()
{
    QBuffer closed; // writing to it fails
    TextWriter text(closed);
    JsonWriter json(closed);
    for (TreeWriter *const writer : {static_cast<TreeWriter *>(&text), static_cast<TreeWriter *>(&json)}) {
        writer->beginDocument(someFile);
        QVERIFY(!writer->endDocument({}));
        QVERIFY(!writer->addOmission(1));
    }
}

void TestTextStyle::jsonWithoutFrames()
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    JsonWriter writer(buffer, JsonLayout::Line, JsonWriter::Frames::LeftOut);
    writer.beginDocument(someFile);
    QVERIFY(writer.reportFrame({0, 0, 1, 2, true}));
    QVERIFY(writer.endDocument({}));
    QCOMPARE(buffer.data(), around({}, R"("status":0,"videoStreams":[])"));
}

QTEST_APPLESS_MAIN(TestTextStyle)
#include "tst_textstyle.moc"
