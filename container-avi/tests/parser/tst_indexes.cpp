#include "avibuilder.h"
#include "aviprobe.h"

#include <QRegularExpression>
#include <QTest>

using namespace quenlofar;
using namespace build;

class TestIndexes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsLegacyIndex();
    void legacyIndexSizes_data();
    void legacyIndexSizes();
    void chunkIds_data();
    void chunkIds();
    void legacyFlags_data();
    void legacyFlags();
    void reportsFrames();
    void frameState();
    void streamNumbers_data();
    void streamNumbers();
    void stopsAtUnknownStream();
    void videoStreamAfterAudioStreamIsRefused();
    void frameCounters();
    void shortLegacyIndexKeepsTheLastEntry();

    void showsSuperIndex();
    void showsStandardIndex();
    void standardIndexEntries_data();
    void standardIndexEntries();
    void durations_data();
    void durations();
    void openDmlIndexEnds_data();
    void openDmlIndexEnds();
    void unknownIndexTypeIsShownTwice();
    void indexTypeDecidesTheHeader_data();
    void indexTypeDecidesTheHeader();
    void headerIsUnsigned();
    void shortOpenDmlIndexIsZeroFilled();
};

void TestIndexes::showsLegacyIndex()
{
    AviProbe parser(zeros(6) + indexEntry("00dc", 0x10, 4, 1000)
                    + indexEntry("01wb", 0xF0000000, 4294967295, 4294967294));
    parser.videoStreamNumbers() = {0};
    QCOMPARE(parser.call(AviProbe::idx1, 6, 32), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("idx1_entry 6+16 #0 {"),
                 QStringLiteral("  chunk_id 6+4 00dc"),
                 QStringLiteral("  Flags 10+4 16 [AVIIF_KEYFRAME]"),
                 QStringLiteral("  Offset 14+4 4"),
                 QStringLiteral("  Size 18+4 1000"),
                 QStringLiteral("}"),
                 QStringLiteral("frame 0/0 12+1000 key"),
                 QStringLiteral("idx1_entry 22+16 #1 {"),
                 QStringLiteral("  chunk_id 22+4 01wb"),
                 QStringLiteral("  Flags 26+4 4026531840"),
                 QStringLiteral("  Offset 30+4 4294967295"),
                 QStringLiteral("  Size 34+4 4294967294"),
                 QStringLiteral("}"),
             }));
    QCOMPARE(parser.m_file.pos(), qint64(6));
}

void TestIndexes::legacyIndexSizes_data()
{
    QTest::addColumn<quint32>("size");
    QTest::addColumn<QStringList>("expected"); // titles and unparsed bytes

    const QString first = QStringLiteral("idx1_entry 0+16 #0 {");
    const QString second = QStringLiteral("idx1_entry 16+16 #1 {");
    QTest::newRow("empty: nothing") << 0u << QStringList{};
    QTest::newRow("half an entry is unparsed") << 8u << QStringList{QStringLiteral("unparsed 0+8")};
    QTest::newRow("one entry") << 16u << QStringList{first};
    QTest::newRow("two entries and a half") << 40u << QStringList{first, second, QStringLiteral("unparsed 32+8")};
    QTest::newRow("an entry and 15 bytes") << 31u << QStringList{first, QStringLiteral("unparsed 16+15")};
}

void TestIndexes::legacyIndexSizes()
{
    QFETCH(quint32, size);
    QFETCH(QStringList, expected);
    AviProbe parser(indexEntry("01wb", 0, 0, 1) + indexEntry("01wb", 0, 0, 1) + zeros(8));
    QCOMPARE(parser.call(AviProbe::idx1, size), 0);
    QCOMPARE(parser.lines().filter(QRegularExpression(QStringLiteral("^(idx1_entry|unparsed)"))), expected);
    QCOMPARE(parser.openNodes(), 0);
    QCOMPARE(parser.m_file.pos(), qint64(0));
}

void TestIndexes::chunkIds_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QString>("expected");

    QTest::newRow("four characters") << indexEntry("01wb", 0, 0, 0) << QStringLiteral("  chunk_id 0+4 01wb");
    QTest::newRow("a zero byte ends them")
        << indexEntry(QByteArray("0\0wb", 4), 0, 0, 0) << QStringLiteral("  chunk_id 0+4 0");
    QTest::newRow("a zero byte first: no text") << indexEntry(zeros(4), 0, 0, 0) << QStringLiteral("  chunk_id 0+4");
    QTest::newRow("what follows the id is no part of it")
        << indexEntry("rec ", 0x41414141, 0, 0) << QStringLiteral("  chunk_id 0+4 rec ");
    QTest::newRow("Latin-1") << indexEntry("\xE9\xFF\x01\x80", 0, 0, 0)
                             << QStringLiteral("  chunk_id 0+4 ") + QString::fromLatin1("\xE9\xFF\x01\x80");
}

void TestIndexes::chunkIds()
{
    QFETCH(QByteArray, entry);
    QFETCH(QString, expected);
    AviProbe parser(entry);
    QCOMPARE(parser.call(AviProbe::idx1, 16), 0);
    QCOMPARE(parser.lines().at(1), expected);
}

void TestIndexes::legacyFlags_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<quint32>("flags");
    QTest::addColumn<QString>("expected");

    const QString L = QStringLiteral("AVIIF_LIST");
    const QString K = QStringLiteral("AVIIF_KEYFRAME");
    const QString N = QStringLiteral("AVIIF_NOTIME");
    const QString C = QStringLiteral("AVIIF_COMPUSE");
    const QByteArray dc = "00dc";
    const QByteArray wb = "01wb";
    QTest::newRow("none") << dc << 0u << QString();
    QTest::newRow("list") << dc << 0x1u << L;
    QTest::newRow("key frame") << dc << 0x10u << K;
    QTest::newRow("list, key frame: no separator") << dc << 0x11u << L + K;
    QTest::newRow("no time") << dc << 0x100u << N;
    QTest::newRow("list, no time: no separator") << dc << 0x101u << L + N;
    QTest::newRow("key frame, no time") << dc << 0x110u << K + N;
    QTest::newRow("list, key frame, no time") << dc << 0x111u << L + K + N;
    QTest::newRow("compressor's use") << dc << 0x00010000u << C;
    QTest::newRow("list, compressor's use") << dc << 0x00020001u << L + C;
    QTest::newRow("key frame, compressor's use") << dc << 0x08000010u << K + C;
    QTest::newRow("list, key frame, compressor's use") << QByteArray("00db") << 0x10011u << L + K + C;
    QTest::newRow("no time, compressor's use") << dc << 0x00100100u << N + C;
    QTest::newRow("list, no time, compressor's use") << dc << 0x0FFF0101u << L + N + C;
    QTest::newRow("key frame, no time, compressor's use") << dc << 0x00010110u << K + N + C;
    QTest::newRow("all, in order") << dc << 0xFFFFFFFFu << L + K + N + C;
    QTest::newRow("bits without a name") << dc << 0xF000FEEEu << QString();
    QTest::newRow("key frame of another stream has no name") << wb << 0x10u << QString();
    QTest::newRow("the others have theirs in every stream") << wb << 0x10111u << L + N + C;
    QTest::newRow("db is video") << QByteArray("00db") << 0x10u << K;
    QTest::newRow("dd is not named") << QByteArray("00dd") << 0x10u << QString();
    QTest::newRow("pc is not named") << QByteArray("00pc") << 0x10u << QString();
    QTest::newRow("case counts") << QByteArray("00DC") << 0x10u << QString();
    QTest::newRow("dc alone is video") << QByteArray("dc") << 0x10u << K;
    QTest::newRow("three characters that end in dc are video") << QByteArray("0dc") << 0x10u << K;
    QTest::newRow("one character is not") << QByteArray("d") << 0x10u << QString();
    QTest::newRow("dc behind a zero byte is not") << QByteArray("0\0dc", 4) << 0x10u << QString();
}

void TestIndexes::legacyFlags()
{
    QFETCH(QByteArray, id);
    QFETCH(quint32, flags);
    QFETCH(QString, expected);
    AviProbe parser(indexEntry(id, flags, 0, 0));
    QCOMPARE(parser.call(AviProbe::idx1, 16), 0);
    const QString meaning = expected.isEmpty() ? QString() : QStringLiteral(" [%1]").arg(expected);
    QCOMPARE(parser.lines().at(2), QStringLiteral("  Flags 4+4 %1").arg(flags) + meaning);
}

void TestIndexes::reportsFrames()
{
    AviProbe parser(indexEntry("00dc", 0x10, 4, 1000) + indexEntry("01wb", 0x10, 1012, 50)
                    + indexEntry("00dc", 0, 1070, 0) + indexEntry("00db", 0x1, 1078, 7)
                    + indexEntry("00pc", 0x10, 1100, 8) + indexEntry("01dc", 0x10, 1200, 9));
    parser.moviOffset() = 5000;
    parser.videoStreamNumbers() = {0, 1};
    parser.m_streamFrameCounters = {0, 0};
    QCOMPARE(parser.call(AviProbe::idx1, 96), 0);
    // The offset counts from the form type of the list, and eight bytes of chunk header stand before the data. The
    // audio entry, the empty one and the palette change are shown only.
    QCOMPARE(parser.lines().filter(QStringLiteral("frame")),
             (QStringList{QStringLiteral("frame 0/0 5012+1000 key"), QStringLiteral("frame 0/1 6086+7"),
                          QStringLiteral("frame 1/0 6208+9 key")}));
    QCOMPARE(parser.m_streamFrameCounters, (QVector<quint64>{2, 1}));
    // The next index goes on counting.
    parser.clearLines();
    QCOMPARE(parser.call(AviProbe::idx1, 16), 0);
    QCOMPARE(parser.lines().last(), QStringLiteral("frame 0/2 5012+1000 key"));
}

void TestIndexes::frameState()
{
    AviProbe parser(indexEntry("00dc", 0xFFFFFFFF, 4294967295, 4294967295) + indexEntry("00dc", 0, 1, 2));
    parser.moviOffset() = 4;
    parser.videoStreamNumbers() = {0};
    parser.m_streamFrameCounters = {5};
    parser.call(AviProbe::idx1, 16);
    QCOMPARE(parser.m_frameOffset, Q_UINT64_C(4294967307)); // no wrap at 32 bits
    QCOMPARE(parser.m_frameSize, Q_UINT64_C(4294967295));
    QCOMPARE(parser.m_frameIsKey, 16);
    QCOMPARE(parser.m_streamFrameCounters, (QVector<quint64>{6}));
    parser.call(AviProbe::idx1, 16, 16);
    QCOMPARE(parser.m_frameOffset, Q_UINT64_C(13));
    QCOMPARE(parser.m_frameSize, Q_UINT64_C(2));
    QCOMPARE(parser.m_frameIsKey, 0);
    // Sums wrap at 64 bits.
    parser.moviOffset() = ~Q_UINT64_C(0);
    parser.call(AviProbe::idx1, 16, 16);
    QCOMPARE(parser.m_frameOffset, Q_UINT64_C(8));
}

void TestIndexes::streamNumbers_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<int>("stream"); // -1: refused

    QTest::newRow("decimal digits") << QByteArray("02dc") << 2;
    QTest::newRow("0a is ten") << QByteArray("0adc") << 10;
    QTest::newRow("0A is ten") << QByteArray("0Adb") << 10;
    QTest::newRow("10 is sixteen") << QByteArray("10dc") << 16;
    QTest::newRow("1F is thirty-one") << QByteArray("1Fdc") << 31;
    QTest::newRow("beyond the known streams") << QByteArray("20dc") << -1;
    QTest::newRow("ff is beyond") << QByteArray("ffdc") << -1;
    QTest::newRow("not a digit first") << QByteArray("g0dc") << -1;
    QTest::newRow("not a digit last") << QByteArray("0gdc") << -1;
    QTest::newRow("white space before counts as nothing") << QByteArray(" 7dc") << 7;
    QTest::newRow("white space after counts as nothing") << QByteArray("7 dc") << 7;
    QTest::newRow("a vertical tab is white space") << QByteArray("\v7dc") << 7;
    // Qt 5 takes a no-break space for white space, Qt 6 does not: the number is what QString says in each.
    bool isNumber = false;
    const int number = QString(QChar(0xA0)).append(QLatin1Char('7')).toInt(&isNumber, 16);
    QTest::newRow("a no-break space is what QString takes it for")
        << QByteArray::fromHex("a0376463") << (isNumber ? number : -1);
    QTest::newRow("a plus sign") << QByteArray("+7dc") << 7;
    QTest::newRow("minus zero is zero") << QByteArray("-0dc") << 0;
    QTest::newRow("minus one is no stream") << QByteArray("-1dc") << -1;
    QTest::newRow("a sign alone is no number") << QByteArray("- dc") << -1;
    QTest::newRow("blanks are no number") << QByteArray("  dc") << -1;
    QTest::newRow("a prefix alone is no number") << QByteArray("0xdc") << -1;
    QTest::newRow("dc alone: its digits are d and c") << QByteArray("dc") << -1;
    QTest::newRow("db alone: its digits are d and b") << QByteArray("db") << -1;
    QTest::newRow("1dc: its digits are 1 and d") << QByteArray("1dc") << 29;
    QTest::newRow("characters above 0x7F") << QByteArray("0\xB2"
                                                         "dc")
                                           << -1;
}

void TestIndexes::streamNumbers()
{
    QFETCH(QByteArray, id);
    QFETCH(int, stream);
    AviProbe parser(indexEntry(id, 0, 0, 1));
    for (quint32 number = 0; number < 32; ++number)
        parser.videoStreamNumbers().append(number);
    QCOMPARE(parser.call(AviProbe::idx1, 16), stream < 0 ? 4 : 0);
    QCOMPARE(parser.lines().filter(QStringLiteral("frame")),
             stream < 0 ? QStringList() : QStringList{QStringLiteral("frame %1/0 8+1").arg(stream)});
}

void TestIndexes::stopsAtUnknownStream()
{
    const QByteArray bytes = indexEntry("00dc", 0, 0, 1) + indexEntry("01dc", 0, 0, 0) + indexEntry("01dc", 0x10, 0, 5)
        + indexEntry("00dc", 0, 0, 1) + zeros(3);
    AviProbe parser(bytes);
    parser.videoStreamNumbers() = {0};
    QCOMPARE(parser.call(AviProbe::idx1, quint32(bytes.size())), 4);
    // The empty entry of the same stream is not looked up. The entry that stops the walk is complete; what follows it,
    // the partial one included, is unparsed.
    QCOMPARE(parser.lines().mid(7),
             (QStringList{
                 QStringLiteral("idx1_entry 16+16 #1 {"),
                 QStringLiteral("  chunk_id 16+4 01dc"),
                 QStringLiteral("  Flags 20+4 0"),
                 QStringLiteral("  Offset 24+4 0"),
                 QStringLiteral("  Size 28+4 0"),
                 QStringLiteral("}"),
                 QStringLiteral("idx1_entry 32+16 #2 {"),
                 QStringLiteral("  chunk_id 32+4 01dc"),
                 QStringLiteral("  Flags 36+4 16 [AVIIF_KEYFRAME]"),
                 QStringLiteral("  Offset 40+4 0"),
                 QStringLiteral("  Size 44+4 5"),
                 QStringLiteral("}"),
                 QStringLiteral("unparsed 48+19"),
             }));
    QCOMPARE(parser.m_file.pos(), qint64(0));
    QCOMPARE(parser.m_frameSize, Q_UINT64_C(1)); // still that of the frame before
}

void TestIndexes::videoStreamAfterAudioStreamIsRefused()
{
    // Numbers count video streams only, so stream 01 is not known although it is the file's only video stream.
    AviProbe parser(StreamHeader("auds") + StreamHeader("vids").bytes() + indexEntry("00wb", 0, 0, 1)
                    + indexEntry("01dc", 0, 0, 1));
    parser.call(AviProbe::strh, 0, 56);
    parser.call(AviProbe::strh, 56, 56);
    parser.clearLines();
    QCOMPARE(parser.call(AviProbe::idx1, 112, 32), 4);
    QCOMPARE(int(parser.lines().size()), 12);
    QVERIFY(parser.lines().filter(QStringLiteral("frame")).isEmpty());

    // Without any video stream every video entry is refused.
    AviProbe empty(indexEntry("00dc", 0, 0, 1));
    QCOMPARE(empty.call(AviProbe::idx1, 16), 4);
}

void TestIndexes::frameCounters()
{
    const QByteArray bytes = indexEntry("00dc", 0, 0, 1) + indexEntry("01dc", 0, 0, 2) + indexEntry("01dc", 0, 0, 3);
    const auto frames = [&bytes](QVector<quint64> *counters) {
        AviProbe parser(bytes);
        parser.videoStreamNumbers() = {0, 1};
        parser.m_streamFrameCounters = *counters;
        parser.call(AviProbe::idx1, 48);
        *counters = parser.m_streamFrameCounters;
        return parser.lines().filter(QStringLiteral("frame"));
    };
    QVector<quint64> none;
    QCOMPARE(frames(&none),
             (QStringList{QStringLiteral("frame 0/0 8+1"), QStringLiteral("frame 1/0 8+2"),
                          QStringLiteral("frame 1/0 8+3")}));
    QVERIFY(none.isEmpty());

    QVector<quint64> two{7, 4294967295};
    QCOMPARE(frames(&two),
             (QStringList{QStringLiteral("frame 0/7 8+1"), QStringLiteral("frame 1/4294967295 8+2"),
                          QStringLiteral("frame 1/4294967296 8+3")}));
    QCOMPARE(two, (QVector<quint64>{8, 4294967297}));

    // A stream without a counter is not counted, and no other stream's counter is touched.
    QVector<quint64> tooFew{7};
    QCOMPARE(frames(&tooFew),
             (QStringList{QStringLiteral("frame 0/7 8+1"), QStringLiteral("frame 1/0 8+2"),
                          QStringLiteral("frame 1/0 8+3")}));
    QCOMPARE(tooFew, (QVector<quint64>{8}));
}

void TestIndexes::shortLegacyIndexKeepsTheLastEntry()
{
    AviProbe parser(indexEntry("01wb", 1, 2, 3) + "02");
    QCOMPARE(parser.call(AviProbe::idx1, 48), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("idx1_entry 0+16 #0 {"),
                 QStringLiteral("  chunk_id 0+4 01wb"),
                 QStringLiteral("  Flags 4+4 1 [AVIIF_LIST]"),
                 QStringLiteral("  Offset 8+4 2"),
                 QStringLiteral("  Size 12+4 3"),
                 QStringLiteral("}"),
                 QStringLiteral("idx1_entry 16+16 #1 {"),
                 QStringLiteral("  chunk_id 16+4 02wb"),
                 QStringLiteral("  Flags 20+4 1 [AVIIF_LIST]"),
                 QStringLiteral("  Offset 24+4 2"),
                 QStringLiteral("  Size 28+4 3"),
                 QStringLiteral("}"),
                 QStringLiteral("idx1_entry 32+16 #2 {"),
                 QStringLiteral("  chunk_id 32+4 02wb"),
                 QStringLiteral("  Flags 36+4 1 [AVIIF_LIST]"),
                 QStringLiteral("  Offset 40+4 2"),
                 QStringLiteral("  Size 44+4 3"),
                 QStringLiteral("}"),
             }));

    // Zero at the start of each chunk: nothing is left of the index before.
    parser.clearLines();
    QCOMPARE(parser.call(AviProbe::idx1, 18, 16), 0);
    QCOMPARE(parser.lines().mid(1, 4),
             (QStringList{QStringLiteral("  chunk_id 18+4"), QStringLiteral("  Flags 22+4 0"),
                          QStringLiteral("  Offset 26+4 0"), QStringLiteral("  Size 30+4 0")}));
}

void TestIndexes::showsSuperIndex()
{
    AviProbe parser(zeros(4) + IndexHeader(0, 4, 2).subType(255).chunkId("00dc").reserved(1, 4294967295, 3).bytes()
                    + superIndexEntry(18446744073709551615u, 4294967295, 90000) + superIndexEntry(5, 6, 7) + zeros(16));
    parser.timeBase() = 25.0;
    QCOMPARE(parser.call(AviProbe::indx, 4, 24 + 32 + 16), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("wLongsPerEntry 4+2 4"),
                 QStringLiteral("bIndexSubType 6+1 255"),
                 QStringLiteral("bIndexType 7+1 0"),
                 QStringLiteral("nEntriesInUse 8+4 2"),
                 QStringLiteral("dwChunkId 12+4 00dc"),
                 QStringLiteral("dwReserved 16+12 1 4294967295 3"),
                 QStringLiteral("index_entry 28+16 #0 {"),
                 QStringLiteral("  qwOffset 28+8 18446744073709551615"),
                 QStringLiteral("  dwSize 36+4 4294967295"),
                 QStringLiteral("  dwDuration 40+4 90000 [01:00:0.000]"),
                 QStringLiteral("}"),
                 QStringLiteral("index_entry 44+16 #1 {"),
                 QStringLiteral("  qwOffset 44+8 5"),
                 QStringLiteral("  dwSize 52+4 6"),
                 QStringLiteral("  dwDuration 56+4 7 [00:00:0.280]"),
                 QStringLiteral("}"),
                 QStringLiteral("unparsed 60+16"),
             }));
    QCOMPARE(parser.m_file.pos(), qint64(4));
}

void TestIndexes::showsStandardIndex()
{
    AviProbe parser(IndexHeader(1, 2, 2).chunkId(QByteArray("ix\0x", 4)).baseOffset(1000).put(20, u32(9)).bytes()
                    + u32(0x100) + u32(0x80000010) + u32(0x200) + u32(0x20));
    QCOMPARE(parser.call(AviProbe::indx, 40), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("wLongsPerEntry 0+2 2"),
                 QStringLiteral("bIndexSubType 2+1 0"),
                 QStringLiteral("bIndexType 3+1 1"),
                 QStringLiteral("nEntriesInUse 4+4 2"),
                 QStringLiteral("dwChunkId 8+4 ix"),
                 QStringLiteral("qwBaseOffset 12+8 1000"),
                 QStringLiteral("dwReserved3 20+4 9"),
                 // The offset takes in the size that follows it, and the size is the next entry's offset.
                 QStringLiteral("index_entry 24+8 #0 {"),
                 QStringLiteral("  dwOffset 24+4 9223372105574252800 [9223372105574253800]"),
                 QStringLiteral("  dwSize 28+4 512 [512 (Key frame)]"),
                 QStringLiteral("}"),
                 // 0x20 * 2^32 + 0x200; nothing follows, so the size is zero.
                 QStringLiteral("index_entry 32+8 #1 {"),
                 QStringLiteral("  dwOffset 32+4 137438953984 [137438954984]"),
                 QStringLiteral("  dwSize 36+4 0 [0 (Key frame)]"),
                 QStringLiteral("}"),
             }));
    QVERIFY(parser.lines().filter(QStringLiteral("frame ")).isEmpty());
}

void TestIndexes::standardIndexEntries_data()
{
    QTest::addColumn<quint64>("base");
    QTest::addColumn<quint64>("offset");
    QTest::addColumn<quint32>("size");
    QTest::addColumn<QStringList>("expected");

    const auto row = [](const char *name, quint64 base, quint64 offset, quint32 size, const char *first,
                        const char *second) {
        QTest::newRow(name) << base << offset << size
                            << QStringList{QStringLiteral("  dwOffset 24+4 ") + QLatin1String(first),
                                           QStringLiteral("  dwSize 28+4 ") + QLatin1String(second)};
    };
    row("bit 31 clear: a key frame", 0, 1, 0x7FFFFFFF, "1 [1]", "2147483647 [2147483647 (Key frame)]");
    row("bit 31 set: no key frame, and not part of the size", 0, 1, 0x80000005, "1 [1]", "2147483653 [5]");
    row("all bits set", 0, 1, 0xFFFFFFFF, "1 [1]", "4294967295 [2147483647]");
    row("only bit 31 set", 0, 1, 0x80000000, "1 [1]", "2147483648 [0]");
    row("the base offset is added", 0x100000000, 5, 0, "5 [4294967301]", "0 [0 (Key frame)]");
    row("the sum wraps", 18446744073709551615u, 2, 0, "2 [1]", "0 [0 (Key frame)]");
    row("the largest offset", 0, 18446744073709551615u, 0, "18446744073709551615 [18446744073709551615]",
        "0 [0 (Key frame)]");
}

void TestIndexes::standardIndexEntries()
{
    QFETCH(quint64, base);
    QFETCH(quint64, offset);
    QFETCH(quint32, size);
    QFETCH(QStringList, expected);
    AviProbe parser(IndexHeader(1, 4, 1).baseOffset(base).bytes() + u64(offset) + u32(size) + u32(77));
    QCOMPARE(parser.call(AviProbe::indx, 40), 0);
    QCOMPARE(parser.lines().mid(8, 2), expected);
}

void TestIndexes::durations_data()
{
    QTest::addColumn<double>("timeBase");
    QTest::addColumn<quint32>("duration");
    QTest::addColumn<QString>("expected");

    QTest::newRow("before any stream header: units are seconds") << 1.0 << 65u << QStringLiteral("65 [00:01:5.000]");
    QTest::newRow("half seconds") << 2.0 << 131u << QStringLiteral("131 [00:01:5.500]");
    QTest::newRow("no minute") << 1000.0 << 12345u << QStringLiteral("12345 [00:00:12.345]");
    QTest::newRow("unsigned") << 4294967295.0 << 4294967295u << QStringLiteral("4294967295 [00:00:1.000]");
    QTest::newRow("hours widen the text") << 1.0 << 4294967295u << QStringLiteral("4294967295 [1193046:28:15.000]");
    QTest::newRow("a time base of zero") << 0.0 << 1u << QStringLiteral("1 [71582788:15:00inf]");
    QTest::newRow("zero by zero") << 0.0 << 0u << QStringLiteral("0 [00:00:00nan]");
}

void TestIndexes::durations()
{
    QFETCH(double, timeBase);
    QFETCH(quint32, duration);
    QFETCH(QString, expected);
    AviProbe parser(IndexHeader(0, 4, 1).bytes() + superIndexEntry(0, 0, duration));
    QCOMPARE(parser.timeBase(), 1.0);
    parser.timeBase() = timeBase;
    QCOMPARE(parser.call(AviProbe::indx, 40), 0);
    QCOMPARE(parser.lines().at(9), QStringLiteral("  dwDuration 36+4 ") + expected);
}

void TestIndexes::openDmlIndexEnds_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("longs");
    QTest::addColumn<quint32>("entries");
    QTest::addColumn<quint32>("size");
    QTest::addColumn<QStringList>("expected"); // titles and unparsed bytes

    const auto entry = [](int position, int size, int index) {
        return QStringLiteral("index_entry %1+%2 #%3 {").arg(position).arg(size).arg(index);
    };
    QTest::newRow("header alone") << 0 << 4 << 0u << 24u << QStringList{};
    QTest::newRow("header alone, entries claimed") << 0 << 4 << 5u << 24u << QStringList{};
    QTest::newRow("shorter than the header") << 1 << 2 << 5u << 8u << QStringList{};
    QTest::newRow("empty") << 0x80 << 2 << 5u << 0u << QStringList{};
    QTest::newRow("super: fewer in use than fit")
        << 0 << 4 << 1u << 72u << QStringList{entry(24, 16, 0), QStringLiteral("unparsed 40+32")};
    QTest::newRow("super: more in use than fit: nothing left over")
        << 0 << 4 << 9u << 56u << QStringList{entry(24, 16, 0), entry(40, 16, 1)};
    QTest::newRow("super: a partial last entry is shown whole")
        << 0 << 4 << 2u << 48u << QStringList{entry(24, 16, 0), entry(40, 16, 1)};
    QTest::newRow("none in use: all unparsed, once")
        << 0 << 4 << 0u << 40u << QStringList{QStringLiteral("unparsed 24+16")};
    QTest::newRow("unknown type, none in use: all unparsed, once")
        << 2 << 4 << 0u << 40u << QStringList{QStringLiteral("unparsed 24+16")};
    QTest::newRow("standard: fewer in use than fit")
        << 1 << 2 << 1u << 40u << QStringList{entry(24, 8, 0), QStringLiteral("unparsed 32+8")};
    QTest::newRow("standard: more in use than fit")
        << 1 << 2 << 9u << 40u << QStringList{entry(24, 8, 0), entry(32, 8, 1)};
    QTest::newRow("stride 0: all at one place, then all unparsed")
        << 0 << 0 << 3u << 40u
        << QStringList{entry(24, 0, 0), entry(24, 0, 1), entry(24, 0, 2), QStringLiteral("unparsed 24+16")};
    QTest::newRow("stride 4: entries overlap")
        << 1 << 1 << 2u << 40u << QStringList{entry(24, 4, 0), entry(28, 4, 1), QStringLiteral("unparsed 32+8")};
    QTest::newRow("the widest stride") << 1 << 65535 << 2u << 40u << QStringList{entry(24, 262140, 0)};
}

void TestIndexes::openDmlIndexEnds()
{
    QFETCH(int, type);
    QFETCH(int, longs);
    QFETCH(quint32, entries);
    QFETCH(quint32, size);
    QFETCH(QStringList, expected);
    AviProbe parser(IndexHeader(quint8(type), quint16(longs), entries).bytes() + zeros(64));
    QCOMPARE(parser.call(AviProbe::indx, size), 0);
    QCOMPARE(parser.lines().filter(QRegularExpression(QStringLiteral("^(index_entry|unparsed)"))), expected);
    QCOMPARE(parser.openNodes(), 0);
    QCOMPARE(parser.m_file.pos(), qint64(0));
}

void TestIndexes::unknownIndexTypeIsShownTwice()
{
    AviProbe parser(zeros(100) + IndexHeader(0x80, 4, 3).bytes() + zeros(48));
    QCOMPARE(parser.call(AviProbe::indx, 100, 72), 0);
    QCOMPARE(parser.lines().mid(7),
             (QStringList{QStringLiteral("unparsed 124+48"), QStringLiteral("unparsed 124+48")}));
    QCOMPARE(parser.m_file.pos(), qint64(100));
}

void TestIndexes::indexTypeDecidesTheHeader_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("expected");

    const QStringList other{QStringLiteral("qwBaseOffset 12+8 8589934593"), QStringLiteral("dwReserved3 20+4 3")};
    QTest::newRow("super index: three reserved words") << 0 << QStringList{QStringLiteral("dwReserved 12+12 1 2 3")};
    QTest::newRow("standard index: a base offset") << 1 << other;
    QTest::newRow("unknown type: a base offset") << 2 << other;
    QTest::newRow("data index: a base offset") << 0x80 << other;
}

void TestIndexes::indexTypeDecidesTheHeader()
{
    QFETCH(int, type);
    QFETCH(QStringList, expected);
    AviProbe parser(IndexHeader(quint8(type), 0, 0).reserved(1, 2, 3));
    QCOMPARE(parser.call(AviProbe::indx, 24), 0);
    QCOMPARE(parser.lines().mid(5), expected);
}

void TestIndexes::headerIsUnsigned()
{
    for (const char *kind : {"\xFF\xFF\xFF\0", "\xFF\xFF\xFF\1"}) {
        AviProbe parser(QByteArray(kind, 4) + QByteArray(20, '\xFF'));
        QCOMPARE(parser.call(AviProbe::indx, 24), 0);
        QCOMPARE(parser.lines().at(0), QStringLiteral("wLongsPerEntry 0+2 65535"));
        QCOMPARE(parser.lines().at(3), QStringLiteral("nEntriesInUse 4+4 4294967295"));
        QVERIFY(parser.lines().last().endsWith(QStringLiteral(" 4294967295"))); // a reserved word
    }
}

void TestIndexes::shortOpenDmlIndexIsZeroFilled()
{
    AviProbe header(QByteArray(IndexHeader(1, 2, 3).chunkId("00dc")).left(10));
    QCOMPARE(header.call(AviProbe::indx, 24), 0);
    QCOMPARE(header.lines().mid(4),
             (QStringList{QStringLiteral("dwChunkId 8+4 00"), QStringLiteral("qwBaseOffset 12+8 0"),
                          QStringLiteral("dwReserved3 20+4 0")}));

    // An entry shows nothing of the one before.
    AviProbe entries(IndexHeader(0, 4, 2).bytes() + superIndexEntry(1, 2, 3) + "\x04");
    QCOMPARE(entries.call(AviProbe::indx, 56), 0);
    QCOMPARE(entries.lines().mid(12, 3),
             (QStringList{QStringLiteral("  qwOffset 40+8 4"), QStringLiteral("  dwSize 48+4 0"),
                          QStringLiteral("  dwDuration 52+4 0 [00:00:0.000]")}));
}

QTEST_APPLESS_MAIN(TestIndexes)
#include "tst_indexes.moc"
