#include "aviprobe.h"
#include "codecclaims.h"
#include "fourcctable.h"

#include <QSet>
#include <QTest>
#include <QtEndian>

using namespace quenlofar;

class TestFourCCTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tagIsLittleEndian();
    void countsRowsAndTerminator();
    void repeatsSevenTags();
    void everyClaimIsARow();
    void rows_data();
    void rows();
    void findsCodec_data();
    void findsCodec();
    void firstTerminatorEndsTheTable();
    void findsCodecByName_data();
    void findsCodecByName();
};

static_assert(sizeof(FourCCRow) == 8 && offsetof(FourCCRow, tag) == 4, "the row's layout is part of the interface");
static_assert(sizeof(CodecNameRow) == 24 && offsetof(CodecNameRow, codecId) == 20, "so is this one's");

void TestFourCCTable::tagIsLittleEndian()
{
    QCOMPARE(fourCC("H264"), 0x34363248u);
    QCOMPARE(fourCC("\xFF\x80\0\x01"), 0x010080FFu);
    // One that the compiler does not know.
    char text[] = "DIVX";
    text[3] = '3';
    QCOMPARE(fourCC(text), 0x33564944u);
}

void TestFourCCTable::countsRowsAndTerminator()
{
    int count = 0;
    while (count < videoCodecCount && videoCodecs[count].codecId != 0)
        ++count;
    QCOMPARE(count, 295);
    QCOMPARE(sizeof videoCodecs / sizeof videoCodecs[0], size_t(296));
    QCOMPARE(videoCodecs[295].codecId, 0);
    QCOMPARE(videoCodecs[295].tag, 0u);
}

void TestFourCCTable::repeatsSevenTags()
{
    // Row numbers count from 1.
    QSet<quint32> seen;
    QList<int> repeated;
    for (int row = 1; row <= videoCodecCount; ++row) {
        if (seen.contains(videoCodecs[row - 1].tag))
            repeated.append(row);
        seen.insert(videoCodecs[row - 1].tag);
    }
    QCOMPARE(repeated, (QList<int>{19, 95, 102, 123, 126, 127, 177}));
}

void TestFourCCTable::everyClaimIsARow()
{
    int row = 0;
    for (const CodecClaim &claim : codecClaims) {
        for (const QByteArray &claimed : QByteArray(claim.tags).split('|')) {
            const quint32 tag =
                claimed.size() == 4 ? qFromLittleEndian<quint32>(claimed.constData()) : claimed.toUInt(nullptr, 16);
            QVERIFY2(row < videoCodecCount && videoCodecs[row].tag == tag && videoCodecs[row].codecId == claim.codecId,
                     QByteArray("row " + QByteArray::number(row + 1) + ", " + claimed).constData());
            ++row;
        }
    }
    QCOMPARE(row, videoCodecCount);
}

void TestFourCCTable::rows_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<quint32>("tag");
    QTest::addColumn<int>("codecId");

    QTest::newRow("first") << 1 << fourCC("H264") << 28;
    QTest::newRow("last of the first codec") << 10 << fourCC("V264") << 28;
    QTest::newRow("claimed twice: H.263+ comes second") << 19 << fourCC("H263") << 20;
    QTest::newRow("a number for a tag") << 29 << 4u << 13;
    QTest::newRow("last of MPEG-4 part 2") << 66 << fourCC("PLV1") << 13;
    QTest::newRow("claimed twice: same codec") << 95 << fourCC("dvh1") << 25;
    QTest::newRow("claimed twice: MPEG-2 comes second") << 102 << fourCC("mpg2") << 2;
    QTest::newRow("a number between two codecs") << 109 << 0x10000004u << 13;
    QTest::newRow("claimed twice: lossless JPEG comes second") << 123 << fourCC("LJPG") << 10;
    QTest::newRow("claimed twice: JPEG-LS comes second") << 126 << fourCC("MJPG") << 12;
    QTest::newRow("claimed twice: Motion JPEG comes second") << 127 << fourCC("MJLS") << 8;
    QTest::newRow("id beyond 16 bits") << 130 << fourCC("AVRn") << 1096176238;
    QTest::newRow("tag zero") << 145 << 0u << 14;
    QTest::newRow("blanks count") << 167 << fourCC("Y8  ") << 14;
    QTest::newRow("claimed twice: raw video both times") << 177 << fourCC("YVU9") << 14;
    QTest::newRow("dot and digit") << 232 << fourCC("Q1.0") << 62;
    QTest::newRow("three-byte id") << 274 << fourCC("G2M4") << 4665933;
    QTest::newRow("trailing blank counts") << 286 << fourCC("exr ") << 0x30455852;
    QTest::newRow("last but two") << 293 << fourCC("SVQ3") << 24;
    QTest::newRow("last") << 295 << fourCC("a12v") << 808530518;
}

void TestFourCCTable::rows()
{
    QFETCH(int, row);
    QFETCH(quint32, tag);
    QFETCH(int, codecId);
    QCOMPARE(videoCodecs[row - 1].tag, tag);
    QCOMPARE(videoCodecs[row - 1].codecId, codecId);
}

void TestFourCCTable::findsCodec_data()
{
    QTest::addColumn<quint32>("tag");
    QTest::addColumn<int>("codecId");

    QTest::newRow("H264 is H.264") << fourCC("H264") << 28;
    QTest::newRow("h264 is a row of its own") << fourCC("h264") << 28;
    QTest::newRow("x264 is H.264") << fourCC("x264") << 28;
    QTest::newRow("avc1 is H.264") << fourCC("avc1") << 28;
    QTest::newRow("XVID is MPEG-4 part 2") << fourCC("XVID") << 13;
    QTest::newRow("DIVX is MPEG-4 part 2") << fourCC("DIVX") << 13;
    QTest::newRow("first row wins: MJPG is Motion JPEG, not JPEG-LS") << fourCC("MJPG") << 8;
    QTest::newRow("first row wins: MJLS is JPEG-LS, not Motion JPEG") << fourCC("MJLS") << 12;
    QTest::newRow("first row wins: LJPG is Motion JPEG, not lossless JPEG") << fourCC("LJPG") << 8;
    QTest::newRow("first row wins: H263 is H.263, not H.263+") << fourCC("H263") << 5;
    QTest::newRow("first row wins: mpg2 is MPEG-1, not MPEG-2") << fourCC("mpg2") << 1;
    QTest::newRow("first row wins: dvh1 is DV both times") << fourCC("dvh1") << 25;
    QTest::newRow("first row wins: YVU9 is raw video both times") << fourCC("YVU9") << 14;
    QTest::newRow("h263 in small letters is unknown") << fourCC("h263") << 0;
    QTest::newRow("Xvid in mixed letters is unknown") << fourCC("Xvid") << 0;
    QTest::newRow("AVRn has a four-character id") << fourCC("AVRn") << 1096176238;
    QTest::newRow("012v has a four-character id") << fourCC("012v") << 808530518;
    QTest::newRow("tag 0 is raw video when it is looked up") << 0u << 14;
    QTest::newRow("tag 1 is Microsoft RLE") << 1u << 46;
    QTest::newRow("tag 2 is Microsoft RLE") << 2u << 46;
    QTest::newRow("tag 3 is raw video") << 3u << 14;
    QTest::newRow("tag 0x10000001 is MPEG-1") << 0x10000001u << 1;
    QTest::newRow("tag 0x10000002 is MPEG-2") << 0x10000002u << 2;
    QTest::newRow("tag 0x10000004 is MPEG-4 part 2") << 0x10000004u << 13;
    QTest::newRow("bytes from 0x80 up are in no row") << fourCC("H26\xB4") << 0;
    QTest::newRow("the last row is found") << fourCC("a12v") << 808530518;
}

void TestFourCCTable::findsCodec()
{
    QFETCH(quint32, tag);
    QFETCH(int, codecId);
    QCOMPARE(AviProbe({}).getCodecID(videoCodecs, tag), codecId);
}

void TestFourCCTable::firstTerminatorEndsTheTable()
{
    const FourCCRow table[] = {{0, 7}, {1, 8}, {0, 0}};
    AviProbe parser({});
    QCOMPARE(parser.getCodecID(table, 7u), 0);
    QCOMPARE(parser.getCodecID(table, 8u), 0);
    QCOMPARE(parser.getCodecID(table + 1, 8u), 1);
    // The terminator is recognised by its codec id: its tag never matches.
    QCOMPARE(parser.getCodecID(table + 1, 0u), 0);
}

void TestFourCCTable::findsCodecByName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("codecId");

    QTest::newRow("equal") << QStringLiteral("mpeg4") << 13;
    QTest::newRow("first row wins") << QStringLiteral("twice") << 21;
    QTest::newRow("nineteen characters") << QStringLiteral("nineteen characters") << 23;
    QTest::newRow("case counts") << QStringLiteral("MPEG4") << 0;
    QTest::newRow("a beginning is not enough") << QStringLiteral("mpeg") << 0;
    QTest::newRow("nor is a longer text") << QStringLiteral("mpeg44") << 0;
    QTest::newRow("an empty text equals no row") << QString() << 0;
    QTest::newRow("the terminator's text is never compared") << QStringLiteral("end") << 0;
    QTest::newRow("nor is what follows it") << QStringLiteral("after") << 0;
}

void TestFourCCTable::findsCodecByName()
{
    static const CodecNameRow table[] = {{"mpeg4", 13}, {"twice", 21}, {"twice", 22}, {"nineteen characters", 23},
                                         {"end", 0},    {"after", 24}};
    QFETCH(QString, name);
    QFETCH(int, codecId);
    QCOMPARE(AviProbe({}).getCodecID(table, name), codecId);
    QCOMPARE(AviProbe({}).getCodecID(table + 4, name), 0);
}

QTEST_APPLESS_MAIN(TestFourCCTable)
#include "tst_fourcctable.moc"
