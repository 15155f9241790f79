#include "containerabstract_p.h"
#include "scriptedparser.h"
#include "testing/recordingsink.h"

#include <QTest>

#include <cstring>

using namespace quenlofar;

namespace {

/// Reaches the protected virtual operations as the host does.
class Order : public ScriptedParser
{
public:
    /// Where the operation stands in the table of virtual operations (Itanium C++ ABI: 1 + offset of the entry).
    template <typename Operation> static int slot(Operation operation)
    {
        std::ptrdiff_t entry = 0;
        std::memcpy(&entry, &operation, sizeof entry);
        return int((entry - 1) / std::ptrdiff_t(sizeof(void *)));
    }
    static QList<int> slotsOfParser()
    {
        return {slot(&Order::verifyContainerFormat), slot(&Order::findBeginOfContainer), slot(&Order::parseElement),
                slot(&Order::prepareParsing), slot(&Order::finalizeParsing)};
    }
};

QString sumText(const RecordView &record, const FieldRow &)
{
    return QStringLiteral("sum %1").arg(record.read<quint16>(1));
}

constexpr FieldRow rowsOfThree[] = {{u"first", 0, FieldKind::U8, nullptr, u"a byte"},
                                    {u"second", 1, FieldKind::U16, sumText},
                                    {u"third", 3, FieldKind::U8, nullptr, {}, 1}};

struct Host
{
    RecordingSink sink;
    ScriptedParser parser;
    Host() { ContainerAbstractPrivate::of(parser).sink = &sink; }
};

} // namespace

class TestContainerAbstract : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void virtualOperationsStandInTheirOrder()
    {
        // Eleven operations of QObject, of which the destructor takes two places, come first.
        QCOMPARE(Order::slotsOfParser(), (QList<int>{12, 13, 14, 15, 16}));
    }

    void hasItsOwnMetaObject()
    {
        const ScriptedParser parser;
        QCOMPARE(QByteArray(parser.metaObject()->className()), QByteArray("ContainerAbstract"));
    }

    void initialState()
    {
        const ScriptedParser parser;
        QVERIFY(!parser.m_file.isOpen());
        QCOMPARE(parser.m_position, quint64(0));
        QVERIFY(parser.m_levelEnds.isEmpty());
        QVERIFY(parser.m_streamFrameCounters.isEmpty());
        QVERIFY(parser.m_videoStreams.isEmpty());
        QCOMPARE(parser.m_frameOffset, quint64(0));
        QCOMPARE(parser.m_frameSize, quint64(0));
        QCOMPARE(parser.m_frameIsKey, 0);
    }

    void commonElementIsEmptyByDefault()
    {
        const ContainerAbstract::CommonElement element;
        QCOMPARE(element.type, 0);
        QVERIFY(element.name.isEmpty());
    }

    void commonElementCopies()
    {
        const ContainerAbstract::CommonElement element(7, QStringLiteral("a list"));
        const ContainerAbstract::CommonElement copy(element);
        QCOMPARE(copy.type, 7);
        QCOMPARE(copy.name, QStringLiteral("a list"));
        ContainerAbstract::CommonElement assigned;
        assigned = copy;
        QCOMPARE(assigned.type, 7);
        QCOMPARE(assigned.name, QStringLiteral("a list"));
    }

    void operationsGoStraightToTheSink()
    {
        Host host;
        host.parser.beginElement(100, 56, QStringLiteral("node"), 3);
        host.parser.addField(true, 108, 9, 4, QStringLiteral("name"), QStringLiteral("value"),
                             QStringLiteral("meaning"), QStringLiteral("description"), 5);
        host.parser.endElement();
        QCOMPARE(host.sink.lines,
                 (QStringList{QStringLiteral("node 100+56 #3 {"),
                              QStringLiteral("  name 108+4 value [meaning] (description) flag 1 code 9 index 5"),
                              QStringLiteral("}")}));
        QCOMPARE(host.sink.depth(), 0);
    }

    void aFieldOfNoBytesIsLegal()
    {
        Host host;
        host.parser.addLeaf(7, 0, QStringLiteral("text"));
        QCOMPARE(host.sink.lines, QStringList{QStringLiteral("text 7+0")});
    }

    void aFieldMayStandAtTheTopLevel()
    {
        Host host;
        host.parser.addLeaf(0, 8, unparsedDataMarker.toString());
        QCOMPARE(host.sink.lines, QStringList{QStringLiteral("unparsed 0+8")});
    }

    void unparsedBytesHaveTheMark()
    {
        Host host;
        host.parser.addUnparsed(3, 8);
        QCOMPARE(host.sink.lines, QStringList{QStringLiteral("unparsed 3+8")});
    }

    void aRecordIsItsRows()
    {
        Host host;
        const RecordView record("\1\2\3", 3);
        host.parser.addRecord(100, record, rowsOfThree);
        QCOMPARE(host.sink.lines,
                 (QStringList{QStringLiteral("first 100+1 1 (a byte)"), QStringLiteral("second 101+2 770 [sum 770]"),
                              QStringLiteral("third 103+1 2")}));
    }

    void aTextOfZerosIsEmptyNotData()
    {
        constexpr FieldRow rows[] = {
            textRow(u"text", 0, 2), textRow(u"hex", 2, 2, FieldKind::Hex), {u"id", 4, FieldKind::FourCC}};
        Host host;
        host.parser.addRecord(100, RecordView("\0\0\0\0\0\0\0\0", 8), rows);
        host.parser.addWholeFields(200, RecordView("a\0\0\1", 4), rows);
        host.parser.addLeaf(300, 2, QStringLiteral("value"), host.parser.bytesToText(QByteArray(2, '\0')));
        QCOMPARE(host.sink.lines,
                 (QStringList{QStringLiteral("text 100+2 \"\""), QStringLiteral("hex 102+2 00 00"),
                              QStringLiteral("id 104+4"), QStringLiteral("text 200+2 a"),
                              QStringLiteral("hex 202+2 00 01"), QStringLiteral("value 300+2")}));
    }

    void wholeFields_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("leaves");
        QTest::addColumn<quint64>("covered");
        QTest::newRow("no bytes, no leaves") << 0 << 0 << quint64(0);
        QTest::newRow("one field") << 1 << 1 << quint64(1);
        QTest::newRow("a field that is cut off is none") << 2 << 1 << quint64(1);
        QTest::newRow("two fields") << 3 << 2 << quint64(3);
        QTest::newRow("all fields") << 4 << 3 << quint64(4);
        QTest::newRow("a record that is longer than its rows") << 5 << 3 << quint64(4);
    }

    void wholeFields()
    {
        QFETCH(int, size);
        QFETCH(int, leaves);
        QFETCH(quint64, covered);
        Host host;
        QCOMPARE(host.parser.addWholeFields(100, RecordView("\1\2\3\4\5", size_t(size)), rowsOfThree), covered);
        QCOMPARE(int(host.sink.lines.size()), leaves);
    }

    void endingMoreThanWasBegunEndsNothing()
    {
        Host host;
        host.parser.endElement();
        QCOMPARE(host.sink.nodesEnded, 0);
    }

    void reportedFrameTakesTheMembers()
    {
        Host host;
        host.parser.m_frameOffset = 5012;
        host.parser.m_frameSize = 1000;
        host.parser.m_frameIsKey = 16;
        QCOMPARE(host.parser.reportFrame(1, 42), 0);
        host.parser.m_frameIsKey = 0;
        QCOMPARE(host.parser.reportFrame(1, 43), 0);
        QCOMPARE(host.sink.lines,
                 (QStringList{QStringLiteral("frame 1/42 5012+1000 key"), QStringLiteral("frame 1/43 5012+1000")}));
    }

    void bytesBecomeText()
    {
        Host host;
        QCOMPARE(host.parser.bytesToText("Caf\xE9"), QStringLiteral("Caf\u00E9"));
    }

    void withoutARunVideoStreamsAreTheCallersOwn()
    {
        Host host;
        host.parser.addLeaf(0, 4, QStringLiteral("fccType"), QStringLiteral("vids"), QStringLiteral("Video"));
        QVERIFY(host.parser.m_videoStreams.isEmpty());
        QVERIFY(host.parser.m_streamFrameCounters.isEmpty());
    }

    void withoutASinkElementsAreDropped()
    {
        ScriptedParser parser;
        parser.beginElement(0, 8, QStringLiteral("node"), -1);
        parser.addLeaf(0, 8, QStringLiteral("field"));
        parser.endElement();
        QCOMPARE(parser.reportFrame(0, 0), 0);
        QCOMPARE(ContainerAbstractPrivate::of(parser).items, quint64(2));
    }

    void openFilePassesTheStatusOn()
    {
        ScriptedParser parser;
        QCOMPARE(parser.openFile(QStringLiteral("/nowhere/at/all.avi")), int(StatusCannotOpen));
        QVERIFY(!parser.m_file.errorText().isEmpty());
        QCOMPARE(parser.openFile(QStringLiteral("/")), int(StatusCannotOpen));
    }

    void closeFileCloses()
    {
        ScriptedParser parser;
        ContainerAbstractPrivate::of(parser).opener = memoryOpener("0123456789");
        QCOMPARE(parser.openFile({}), int(StatusOk));
        QCOMPARE(parser.m_file.size(), qint64(10));
        parser.closeFile();
        QVERIFY(!parser.m_file.isOpen());
    }
};

QTEST_APPLESS_MAIN(TestContainerAbstract)
#include "tst_containerabstract.moc"
