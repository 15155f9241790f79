#include "avibuilder.h"
#include "aviprobe.h"
#include "chunktable.h"

#include <QTest>

using namespace quenlofar;
using namespace build;

namespace {

const QByteArray fiveBytes = "12345";

QStringList lines(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list.append(QString::fromLatin1(text));
    return list;
}

/// An AVI parser that checks after each of its elements that it has put everything back.
class TidyProbe : public AviProbe
{
public:
    using AviProbe::AviProbe;
    int untidy = 0;

protected:
    int parseElement(quint64 *size) override
    {
        const quint64 position = m_position;
        const QVector<qint64> ends = m_levelEnds;
        const int nodes = openNodes();
        const int status = ContainerAVI::parseElement(size);
        const bool positionKept = m_position == position;
        const bool fileIsBack = *size == 0 || m_file.pos() == qint64(position);
        if (!positionKept || !fileIsBack || m_levelEnds != ends || openNodes() != nodes)
            ++untidy;
        return status;
    }
};

} // namespace

class TestWalker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void element_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<quint64>("size");
        QTest::addColumn<int>("status");
        const auto row = [](const char *rule, const QByteArray &file, std::initializer_list<const char *> expected,
                            quint64 size,
                            int status = 0) { QTest::newRow(rule) << file << lines(expected) << size << status; };

        row("an odd size is shown padded", chunk("IARL", fiveBytes) + zeros(8),
            {"IARL 0+14 {", "  id 0+4 IARL", "  size 4+4 6", "  value 8+6", "}"}, 14);
        row("an even size stays", chunk("IARL", "1234") + zeros(8),
            {"IARL 0+12 {", "  id 0+4 IARL", "  size 4+4 4", "  value 8+4", "}"}, 12);
        row("a chunk of no data", chunk("IARL", "") + zeros(8),
            {"IARL 0+8 {", "  id 0+4 IARL", "  size 4+4 0", "  value 8+0", "}"}, 8);
        row("the largest size is padded to 0", chunk("IARL", "").declaredSize(0xFFFFFFFF) + zeros(8),
            {"IARL 0+8 {", "  id 0+4 IARL", "  size 4+4 0", "  value 8+0", "}"}, 8);
        row("the size of a node is a 32-bit sum", chunk("IARL", "").declaredSize(0xFFFFFFFE) + zeros(8),
            {"IARL 0+6 {", "  id 0+4 IARL", "  size 4+4 4294967294", "  value 8+4294967294", "}"}, 0x100000006);
        row("a chunk without a handler is not read, even if its data is missing",
            chunk("IARL", "").declaredSize(100) + zeros(8),
            {"IARL 0+108 {", "  id 0+4 IARL", "  size 4+4 100", "  value 8+100", "}"}, 108);

        row("stream data chunks are plain", chunk("00dc", "frame!") + zeros(8),
            {"00dc 0+14 {", "  id 0+4 00dc", "  size 4+4 6", "  value 8+6", "}"}, 14);
        row("01wb is known", chunk("01wb", "") + zeros(8),
            {"01wb 0+8 {", "  id 0+4 01wb", "  size 4+4 0", "  value 8+0", "}"}, 8);
        row("ix00 is known", chunk("ix00", "") + zeros(8),
            {"ix00 0+8 {", "  id 0+4 ix00", "  size 4+4 0", "  value 8+0", "}"}, 8);
        row("00ix is known", chunk("00ix", "") + zeros(8),
            {"00ix 0+8 {", "  id 0+4 00ix", "  size 4+4 0", "  value 8+0", "}"}, 8);

        row("garbage in front of a chunk is one unparsed leaf", QByteArray("\1\2\3") + chunk("IARL", "1234") + zeros(8),
            {"unparsed 0+3", "IARL 3+12 {", "  id 3+4 IARL", "  size 7+4 4", "  value 11+4", "}"}, 15);
        row("zero bytes are garbage", zeros(5) + chunk("IARL", "") + zeros(8),
            {"unparsed 0+5", "IARL 5+8 {", "  id 5+4 IARL", "  size 9+4 0", "  value 13+0", "}"}, 13);
        row("garbage up to the end of the list", QByteArray(20, '\xFF'), {"unparsed 0+20"}, 20);
        row("the tail claims 8 bytes", QByteArray("IARL\0\0\0\0", 8), {"unparsed 0+8"}, 8);
        row("the tail claims 8 bytes though fewer remain", "abc", {"unparsed 0+8"}, 8);
        row("9 bytes are a chunk header and one byte", QByteArray("IARL\0\0\0\0x", 9),
            {"IARL 0+8 {", "  id 0+4 IARL", "  size 4+4 0", "  value 8+0", "}"}, 8);

        row("an unknown id of size 0 is garbage", chunk("abcd", "") + chunk("IARL", "") + zeros(8),
            {"unparsed 0+8", "IARL 8+8 {", "  id 8+4 IARL", "  size 12+4 0", "  value 16+0", "}"}, 16);
        row("an unknown chunk of 2 bytes", chunk("abcd", "xy") + zeros(8),
            {"abcd 0+10 {", "  id 0+4 abcd", "  size 4+4 2", "  value 8+2 xy", "}"}, 10);
        row("an unknown chunk's odd size is not padded", chunk("abcd", fiveBytes) + zeros(8),
            {"abcd 0+13 {", "  id 0+4 abcd", "  size 4+4 5", "  value 8+5 12345", "}"}, 13);
        row("an unknown chunk behind garbage", QByteArray("\1\2") + chunk("abcd", "wxyz") + zeros(8),
            {"unparsed 0+2", "abcd 2+12 {", "  id 2+4 abcd", "  size 6+4 4", "  value 10+4 wxyz", "}"}, 14);
        row("a FourCC of an unknown DV frame", chunk("00__", "wxyz") + zeros(8),
            {"00__ 0+12 {", "  id 0+4 00__", "  size 4+4 4", "  value 8+4 wxyz", "}"}, 12);
        row("the first and the last digit and capital letter are characters of ids", chunk("09AZ", "wxyz") + zeros(8),
            {"09AZ 0+12 {", "  id 0+4 09AZ", "  size 4+4 4", "  value 8+4 wxyz", "}"}, 12);
        row("the first and the last small letter, underscore and blank are, too", chunk("az_ ", "wxyz") + zeros(8),
            {"az_  0+12 {", "  id 0+4 az_ ", "  size 4+4 4", "  value 8+4 wxyz", "}"}, 12);
        row("zzdc has no stream number", chunk("zzdc", "wxyz") + zeros(8),
            {"zzdc 0+12 {", "  id 0+4 zzdc", "  size 4+4 4", "  value 8+4 wxyz", "}"}, 12);
        // 26 bytes: no chunk starts behind byte 18, and the size is compared with 18 itself.
        row("a size that reaches the level's end is still a size", chunk("abcd", QByteArray(18, 'x')),
            {"abcd 0+26 {", "  id 0+4 abcd", "  size 4+4 18", "  value 8+18 xxxxxxxxxxxxxxxxxx", "}"}, 26);
        row("a larger one makes garbage of the id", chunk("abcd", QByteArray(17, '\1')).declaredSize(19),
            {"unparsed 0+26"}, 26);
        row("the size is compared with the level's end, not with the room left",
            zeros(16) + chunk("abcd", "wxyz").declaredSize(20) + zeros(8), {}, 0,
            5); // the look-ahead meets the end of the file
        row("the look-ahead steps onto a known id inside an unknown chunk",
            chunk("abcd", "1234" + chunk("IARL", "56").bytes()) + zeros(8),
            {"unparsed 0+12", "IARL 12+10 {", "  id 12+4 IARL", "  size 16+4 2", "  value 20+2", "}"}, 22);
        row("the look-ahead begins with the first four bytes of the data",
            chunk("abcd", chunk("IARL", "56").bytes()) + zeros(8),
            {"unparsed 0+8", "IARL 8+10 {", "  id 8+4 IARL", "  size 12+4 2", "  value 16+2", "}"}, 18);
        row("the look-ahead ends with the last four bytes of the data",
            chunk("abcd", "123456IARL") + QByteArray("\4\0\0\0", 4) + zeros(12),
            {"unparsed 0+14", "IARL 14+12 {", "  id 14+4 IARL", "  size 18+4 4", "  value 22+4", "}"}, 26);
        row("and does not see an id that ends behind them", chunk("abcd", "1234567IAR") + QByteArray("L") + zeros(12),
            {"abcd 0+18 {", "  id 0+4 abcd", "  size 4+4 10", "  value 8+10 1234567IAR", "}"}, 18);
        // Behind the known id stands another one: it is taken for the id of a chunk one byte before the first.
        row("the id behind the found one counts, one byte before it", chunk("abcd", "12IARLIART56") + zeros(8),
            {"unparsed 0+9", "IART 9+1380010324 {", "  id 9+4 IART", "  size 13+4 1380010316"}, 0, -1);
        row("the look-ahead finds a data chunk's id", chunk("abcd", QByteArray("ab00dc\2\0\0\0xy", 12)) + zeros(8),
            {"unparsed 0+10", "00dc 10+10 {", "  id 10+4 00dc", "  size 14+4 2", "  value 18+2", "}"}, 20);

        row("a list of no children", list("INFO", {}) + zeros(8),
            {"LIST(INFO) 0+12 {", "  id 0+4 LIST", "  size 4+4 4", "  type 8+4 INFO", "}"}, 12);
        row("a list of children", list("INFO", {chunk("IARL", "12"), chunk("00dc", "")}) + zeros(8),
            {"LIST(INFO) 0+30 {", "  id 0+4 LIST", "  size 4+4 22", "  type 8+4 INFO", "  IARL 12+10 {",
             "    id 12+4 IARL", "    size 16+4 2", "    value 20+2", "  }", "  unparsed 22+8", "}"},
            30);
        row("RIFF is a list too", list("AVI ", {chunk("IARL", "12345678")}, "RIFF") + zeros(8),
            {"RIFF(AVI ) 0+28 {", "  id 0+4 RIFF", "  size 4+4 20", "  type 8+4 AVI ", "  IARL 12+16 {",
             "    id 12+4 IARL", "    size 16+4 8", "    value 20+8", "  }", "}"},
            28);
        row("a form type ends at its first zero byte", list("a\0bc", {}) + zeros(8),
            {"LIST(a) 0+12 {", "  id 0+4 LIST", "  size 4+4 4", "  type 8+4 a", "}"}, 12);
        row("a form type is Latin-1 and not altered", list("\xE9\n\"z", {}) + zeros(8),
            {"LIST(\xE9\n\"z) 0+12 {", "  id 0+4 LIST", "  size 4+4 4", "  type 8+4 \xE9\n\"z", "}"}, 12);
        row("a list of size 0 has a form type all the same", list("INFO", {}).declaredSize(0) + zeros(8),
            {"LIST(INFO) 0+8 {", "  id 0+4 LIST", "  size 4+4 0", "  type 8+4 INFO", "}"}, 8);
        row("a list whose form type is cut off", QByteArray("LIST\4\0\0\0IN", 10),
            {"LIST() 0+12 {", "  id 0+4 LIST", "  size 4+4 4", "  type 8+4", "}"}, 12, 5);
        row("a list beyond the end of the file ends where a child makes no progress",
            list("INFO", {chunk("IARL", "12")}).declaredSize(200),
            {"LIST(INFO) 0+208 {", "  id 0+4 LIST", "  size 4+4 200", "  type 8+4 INFO", "  IARL 12+10 {",
             "    id 12+4 IARL", "    size 16+4 2", "    value 20+2", "  }", "}"},
            208, 5);

        row("a text of an INFO list", chunk("IART", "Example\0") + zeros(8),
            {"IART 0+16 {", "  id 0+4 IART", "  size 4+4 8", "  value 8+8 Example", "}"}, 16);
        row("a text that is missing", chunk("IART", "").declaredSize(20) + QByteArray("x"),
            {"IART 0+28 {", "  id 0+4 IART", "  size 4+4 20", "}"}, 28, 5);
        row("an empty text counts as cut off", chunk("IART", "") + zeros(8),
            {"IART 0+8 {", "  id 0+4 IART", "  size 4+4 0", "}"}, 8, 5);
        row("ICRD is shown like every text", chunk("ICRD", "2012") + zeros(8),
            {"ICRD 0+12 {", "  id 0+4 ICRD", "  size 4+4 4", "  value 8+4 2012", "}"}, 12);
        row("PAD is shown", chunk("PAD ", "pad!") + zeros(8),
            {"PAD  0+12 {", "  id 0+4 PAD ", "  size 4+4 4", "  value 8+4 pad!", "}"}, 12);

        row("the file ends inside an id", "\1\2\3IA", {"unparsed 0+8"}, 8);
        row("a file of nothing", QByteArray(), {"unparsed 0+8"}, 8);
    }
    void element()
    {
        QFETCH(QByteArray, file);
        QFETCH(QStringList, expected);
        QFETCH(quint64, size);
        QFETCH(int, status);
        AviProbe probe(file);
        quint64 reported = 99;
        const int result = probe.parseElement(&reported);
        if (status == -1) { // only how it begins is of interest
            QCOMPARE(probe.lines().mid(0, expected.size()), expected);
            return;
        }
        QCOMPARE(probe.lines(), expected);
        QCOMPARE(reported, size);
        QCOMPARE(result, status);
        QCOMPARE(probe.m_position, quint64(0));
        QCOMPARE(probe.openNodes(), 0);
    }

    void otherCharactersMakeNoId_data()
    {
        QTest::addColumn<char>("character");
        QTest::addColumn<int>("place");
        for (const char character : {'!', '/', ':', '@', '[', '^', '`', '{', '\x1F', '\xE1'}) {
            for (int place = 0; place < 4; ++place)
                QTest::addRow("byte %d in place %d", static_cast<unsigned char>(character), place)
                    << character << place;
        }
    }
    void otherCharactersMakeNoId()
    {
        QFETCH(char, character);
        QFETCH(int, place);
        QByteArray id = "abcd";
        id[place] = character;
        AviProbe probe(chunk(id.constData(), "wxyz") + zeros(8));
        quint64 size = 0;
        QCOMPARE(probe.parseElement(&size), 0);
        QCOMPARE(probe.lines(), lines({"unparsed 0+20"}));
        QCOMPARE(size, quint64(20));
    }

    void unknownDataIsShownByItsFirst127Bytes()
    {
        AviProbe probe(QByteArray(300, 'a') + zeros(8));
        QCOMPARE(probe.call(AviProbe::unknownObject, 300), 0);
        QCOMPARE(probe.lines(), QStringList{QStringLiteral("value 0+300 ") + QString(127, QLatin1Char('a'))});
    }

    void unknownDataThatIsShorterThanItsSize()
    {
        AviProbe probe(QByteArray(126, 'a'));
        QCOMPARE(probe.call(AviProbe::unknownObject, 300), 5);
        QVERIFY(probe.lines().isEmpty());
    }

    void unknownDataThatHoldsTheShownBytes()
    {
        AviProbe probe(QByteArray(127, 'a'));
        QCOMPARE(probe.call(AviProbe::listInfo, 300), 0);
        QCOMPARE(probe.lines().size(), 1);
    }

    void moviOffsetIsThatOfTheFormType()
    {
        AviProbe probe(zeros(3) + list("movi", {}) + zeros(8));
        quint64 size = 0;
        probe.parseElement(&size);
        QCOMPARE(probe.moviOffset(), quint64(11));
    }

    void otherFormsLeaveTheMoviOffset()
    {
        AviProbe probe(list("MOVI", {list("mov", {})}) + zeros(8));
        quint64 size = 0;
        probe.parseElement(&size);
        QCOMPARE(probe.moviOffset(), quint64(0));
    }

    void theLatestMoviListCounts()
    {
        AviProbe probe(list("AVI ", {list("movi", {chunk("00dc", "12")}), list("movi", {chunk("00dc", "12")})}, "RIFF")
                       + zeros(8));
        quint64 size = 0;
        probe.parseElement(&size);
        QCOMPARE(probe.moviOffset(), quint64(12 + 22 + 8));
    }

    void theStatusOfAListIsItsLastChilds()
    {
        // The text in the middle is empty, which gives 5; the last child is fine.
        AviProbe probe(list("INFO", {chunk("IART", ""), chunk("ICMT", "12345678")}) + zeros(8));
        quint64 size = 0;
        QCOMPARE(probe.parseElement(&size), 0);
        AviProbe last(list("INFO", {chunk("ICMT", "12345678"), chunk("IART", "")}) + zeros(8));
        // Its last child is the tail: no chunk header stands in the last 8 bytes.
        QCOMPARE(last.parseElement(&size), 0);
        AviProbe handler(list("INFO", {chunk("ICMT", "12345678"), chunk("IART", "").declaredSize(999)}) + zeros(80));
        QCOMPARE(handler.parseElement(&size), 0);
    }

    void aHandlersStatusIsTheElements()
    {
        const QByteArray entry = indexEntry("00dc", 16, 4, 100);
        AviProbe probe(chunk("idx1", entry) + zeros(8)); // no video stream was announced
        quint64 size = 0;
        QCOMPARE(probe.parseElement(&size), int(StatusUnknownStream));
        QCOMPARE(size, quint64(24));
    }

    void aShortReadOfAnUnknownSizeLeavesEverythingAsItWas()
    {
        AviProbe probe("abcd\1\2");
        probe.m_levelEnds = {1000}; // the file is shorter than the list that it is said to hold
        quint64 size = 77;
        QCOMPARE(probe.parseElement(&size), 5);
        QCOMPARE(size, quint64(0));
        QVERIFY(probe.lines().isEmpty());
        QCOMPARE(probe.m_position, quint64(0));
    }

    void aShortReadDuringTheLookAhead()
    {
        AviProbe probe(QByteArray("abcd\100\0\0\0xyz", 11));
        probe.m_levelEnds = {1000};
        quint64 size = 77;
        QCOMPARE(probe.parseElement(&size), 5);
        QCOMPARE(size, quint64(0));
        QVERIFY(probe.lines().isEmpty());
    }

    void aShortReadOfAKnownSizeCountsAsZero()
    {
        AviProbe probe("IARL\4\3\2");
        probe.m_levelEnds = {1000};
        quint64 size = 0;
        QCOMPARE(probe.parseElement(&size), 5);
        QCOMPARE(probe.lines(), lines({"IARL 0+8 {", "  id 0+4 IARL", "  size 4+4 0", "  value 8+0", "}"}));
        QCOMPARE(size, quint64(8));
    }

    void aHandlersStatusCountsWhereTheSizeWasCutOff()
    {
        AviProbe probe("avih\4\3\2"); // avih never reports a short read
        probe.m_levelEnds = {1000};
        quint64 size = 0;
        QCOMPARE(probe.parseElement(&size), 0);
    }

    void positionsNearTheLargest()
    {
        // The sums wrap or turn negative; nothing is found, nothing overflows.
        for (const quint64 position : {quint64(0x7FFFFFFFFFFFFFF0), quint64(0x8000000000000000), ~quint64(0)}) {
            AviProbe probe("IARL");
            probe.m_position = position;
            probe.m_levelEnds = {std::numeric_limits<qint64>::max()};
            probe.m_file.seek(0);
            quint64 size = 0;
            probe.parseElement(&size);
            QCOMPARE(probe.openNodes(), 0);
            QCOMPARE(probe.m_position, position);
        }
    }

    void garbageAtAPositionThatNoFileHas()
    {
        // No byte stands there: the device refuses to go on from there, and the walk ends with the file.
        AviProbe probe(QByteArray(40, '\1'));
        probe.m_position = quint64(0x8000000000000000);
        probe.m_levelEnds = {std::numeric_limits<qint64>::max()};
        quint64 size = 77;
        QCOMPARE(probe.parseElement(&size), 5);
        QCOMPARE(size, quint64(0));
        QVERIFY(probe.lines().isEmpty());
        QCOMPARE(probe.m_position, quint64(0x8000000000000000));
    }

    void everythingIsPutBack()
    {
        const QByteArray file =
            list("AVI ",
                 {list("hdrl",
                       {chunk("avih", build::MainHeader()), chunk("abcd", "wxyz12345"),
                        list("strl", {chunk("strh", StreamHeader("vids")), chunk("strf", VideoFormat()), "\1\2\3"})}),
                  list("movi", {chunk("00dc", fiveBytes), list("rec ", {chunk("01wb", "")})}),
                  chunk("idx1", indexEntry("00dc", 16, 4, 5)), chunk("IART", "")},
                 "RIFF");
        TidyProbe probe(file);
        quint64 size = 0;
        static_cast<AviProbe &>(probe).parseElement(&size);
        QCOMPARE(probe.untidy, 0);
        QVERIFY(probe.lines().size() > 60);
        QCOMPARE(probe.m_levelEnds.size(), 1);
    }
};

QTEST_APPLESS_MAIN(TestWalker)
#include "tst_walker.moc"
