#include "containerabstract_p.h"
#include "inputcursor.h"
#include "scriptedparser.h"
#include "testing/memoryrun.h"
#include "testing/recordingsink.h"

#include <QTest>

#include <limits>

using namespace quenlofar;

namespace {

constexpr quint64 largest = std::numeric_limits<quint64>::max();

constexpr FieldRow rows[] = {{u"kind", 0, FieldKind::FourCC}, {u"size", 4, FieldKind::U32}};

/// A parser with an open file, whose elements are written down.
struct Host
{
    explicit Host(const QByteArray &bytes)
    {
        ContainerAbstractPrivate::of(parser).sink = &sink;
        ContainerAbstractPrivate::of(parser).opener = memoryOpener(bytes);
        parser.openFile({});
    }

    RecordingSink sink;
    ScriptedParser parser;
};

class ParserOfViews : public ScriptedParser
{
public:
    using ContainerAbstract::addLeaf;
};

} // namespace

class TestInputCursor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsToItsEndAndNoFurther()
    {
        Host host("0123456789");
        InputCursor cursor(host.parser.m_file, 2, 6);
        QCOMPARE(cursor.position(), quint64(2));
        QCOMPARE(cursor.bytesLeft(), quint64(4));
        QCOMPARE(cursor.peek(3), QByteArray("234"));
        QCOMPARE(cursor.read(3), QByteArray("234"));
        QCOMPARE(cursor.position(), quint64(5));
        QVERIFY(!cursor.atEnd());
        QCOMPARE(cursor.read(3), QByteArray("5"));
        QVERIFY(cursor.atEnd());
        QCOMPARE(cursor.read(1), QByteArray());
        QCOMPARE(cursor.position(), quint64(6));
    }

    void whereItIsDoesNotDependOnTheDevice()
    {
        Host host("0123456789");
        InputCursor cursor(host.parser.m_file, 2, 10);
        host.parser.m_file.seek(9);
        QCOMPARE(cursor.read(2), QByteArray("23"));
        host.parser.m_file.seek(0);
        QCOMPARE(cursor.read(2), QByteArray("45"));
    }

    void bounds_data()
    {
        QTest::addColumn<quint64>("begin");
        QTest::addColumn<quint64>("end");
        QTest::addColumn<quint64>("left");

        QTest::newRow("inside the file") << quint64(2) << quint64(6) << quint64(4);
        QTest::newRow("the file's end bounds it") << quint64(2) << quint64(100) << quint64(8);
        QTest::newRow("also the largest end") << quint64(2) << largest << quint64(8);
        QTest::newRow("beginning behind the file") << quint64(11) << quint64(100) << quint64(0);
        QTest::newRow("beginning where no file reaches") << largest << largest << quint64(0);
        QTest::newRow("an end before the beginning") << quint64(6) << quint64(2) << quint64(0);
    }
    void bounds()
    {
        QFETCH(quint64, begin);
        QFETCH(quint64, end);
        QFETCH(quint64, left);
        Host host("0123456789");
        InputCursor cursor(host.parser.m_file, begin, end);
        QCOMPARE(cursor.position(), begin);
        QCOMPARE(cursor.bytesLeft(), left);
        QCOMPARE(quint64(cursor.read(largest).size()), left);
        QVERIFY(cursor.atEnd());
    }

    void skipsToItsEndAndNoFurther()
    {
        Host host("0123456789");
        InputCursor cursor(host.parser.m_file, 2, 6);
        QCOMPARE(cursor.skip(1), quint64(1));
        QCOMPARE(cursor.position(), quint64(3));
        QCOMPARE(cursor.skip(largest), quint64(3));
        QVERIFY(cursor.atEnd());
    }

    void numbersAreInItsByteOrder()
    {
        Host host(QByteArray("\1\2\3\4\5\6\7", 7));
        InputCursor big(host.parser.m_file, 0, 7, ByteOrder::BigEndian);
        QCOMPARE(big.number<quint32>(), 0x01020304U);
        QCOMPARE(big.number<quint16>(), quint16(0x0506));
        QCOMPARE(big.number<quint16>(), quint16(0x0700)); // what is missing is zero
        InputCursor little(host.parser.m_file, 0, 7);
        QCOMPARE(little.number<quint32>(), 0x04030201U);
    }

    void recordsOutliveTheCursor()
    {
        Host host(QByteArray("NOTE\0\0\0\5", 8));
        StoredRecord record;
        QCOMPARE(record.size(), size_t(0));
        {
            InputCursor cursor(host.parser.m_file, 0, 8, ByteOrder::BigEndian);
            record = cursor.record(8);
        }
        host.parser.closeFile();
        const StoredRecord copy = record;
        record = StoredRecord();
        QCOMPARE(copy.fourCC(0), QStringLiteral("NOTE"));
        QCOMPARE(copy.size(), size_t(8));
        QCOMPARE(copy.bytes(), QByteArray("NOTE\0\0\0\5", 8));
    }

    void partsAreTakenOff()
    {
        Host host("0123456789");
        InputCursor cursor(host.parser.m_file, 1, 8);
        InputCursor part = cursor.part(3);
        QCOMPARE(part.position(), quint64(1));
        QCOMPARE(part.end(), quint64(4));
        QCOMPARE(cursor.position(), quint64(4));
        QCOMPARE(part.read(100), QByteArray("123"));
        QCOMPARE(cursor.part(100).bytesLeft(), quint64(4));
        QVERIFY(cursor.atEnd());
    }

    void theByteOrderIsThatOfTheParser()
    {
        Host host(QByteArray("\1\2", 2));
        QCOMPARE(host.parser.cursor(0, 2).number<quint16>(), quint16(0x0201));
        host.parser.setByteOrder(ByteOrder::BigEndian);
        QCOMPARE(host.parser.cursor(0, 2).number<quint16>(), quint16(0x0102));
    }

    void addedRecordsMoveItOn()
    {
        Host host(QByteArray("..CALL\0\0\0\2ab", 12));
        host.parser.setByteOrder(ByteOrder::BigEndian);
        InputCursor cursor = host.parser.cursor(2, 12);
        const StoredRecord record = host.parser.addRecord(cursor, rows);
        QCOMPARE(record.size(), size_t(8));
        QCOMPARE(record.read<quint32>(4), 2U);
        QCOMPARE(cursor.position(), quint64(10));
        QCOMPARE(host.sink.lines, (QStringList{QStringLiteral("kind 2+4 CALL"), QStringLiteral("size 6+4 2")}));
    }

    void aRecordThatIsCutOffStopsBeforeTheFieldThatIs()
    {
        Host host("CALL\1\1");
        InputCursor cursor = host.parser.cursor(0, 100);
        QCOMPARE(host.parser.addRecord(cursor, rows).size(), size_t(6));
        QCOMPARE(cursor.position(), quint64(4));
        host.parser.addUnparsed(cursor);
        QVERIFY(cursor.atEnd());
        QCOMPARE(host.sink.lines, (QStringList{QStringLiteral("kind 0+4 CALL"), QStringLiteral("unparsed 4+2")}));
    }

    void whatIsLeftBecomesOneLeaf()
    {
        Host host("abcdef");
        InputCursor cursor = host.parser.cursor(0, 6);
        InputCursor part = cursor.part(2);
        host.parser.addData(part, u"value");
        part = cursor.part(3);
        host.parser.addText(part, u"name", TextEncoding::Latin1, 2);
        part = cursor.part(0);
        host.parser.addData(part, u"value");
        host.parser.addText(part, u"name");
        host.parser.addUnparsed(part);
        host.parser.addUnparsed(cursor);
        QCOMPARE(
            host.sink.lines,
            (QStringList{QStringLiteral("value 0+2"), QStringLiteral("name 2+3 cd"), QStringLiteral("unparsed 5+1")}));
        QVERIFY(cursor.atEnd());
    }

    void textsMayBeViews()
    {
        ParserOfViews parser;
        RecordingSink sink;
        ContainerAbstractPrivate::of(parser).sink = &sink;
        const QString title = QStringLiteral("a title");
        parser.beginElement(0, 1, QStringView(title).mid(2));
        parser.addLeaf(0, 1, u"name", u"value", u"meaning", u"description");
        parser.addLeaf(0, 1, u"name", QStringLiteral("value"));
        parser.endElement();
        QCOMPARE(sink.lines,
                 (QStringList{QStringLiteral("title 0+1 {"), QStringLiteral("  name 0+1 value [meaning] (description)"),
                              QStringLiteral("  name 0+1 value"), QStringLiteral("}")}));
    }
};

QTEST_APPLESS_MAIN(TestInputCursor)
#include "tst_inputcursor.moc"
