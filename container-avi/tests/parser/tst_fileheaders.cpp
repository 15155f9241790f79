#include "avibuilder.h"
#include "aviprobe.h"

#include <QTest>

using namespace quenlofar;
using namespace build;

class TestFileHeaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsMainHeader();
    void mainHeaderIsUnsigned();
    void mainHeaderMeanings_data();
    void mainHeaderMeanings();
    void mainHeaderSizes_data();
    void mainHeaderSizes();
    void keepsLastMainHeader();
    void shortReadKeepsPreviousMainHeader();
    void extendedHeader_data();
    void extendedHeader();
    void extendedHeaderWrapsBelowFourBytes();
    void extendedHeaderAtTheEndOfTheFile_data();
    void extendedHeaderAtTheEndOfTheFile();
};

void TestFileHeaders::showsMainHeader()
{
    const QByteArray bytes = zeros(100)
        + build::MainHeader()
              .frameTime(40000)
              .maxBytesPerSecond(1000001)
              .padding(2)
              .flags(0x110)
              .totalFrames(3)
              .initialFrames(4294967295)
              .streams(5)
              .bufferSize(6)
              .picture(320, 240)
              .reserved(7, 8, 9, 4000000000);
    AviProbe parser(bytes);
    QCOMPARE(parser.call(AviProbe::avih, 100, 56), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("dwMicroSecPerFrame 100+4 40000 [25 frames/second]"),
                 QStringLiteral("dwMaxBytesPerSec 104+4 1000001"),
                 QStringLiteral("dwPaddingGranularity 108+4 2"),
                 QStringLiteral("dwFlags 112+4 272 [AVIF_HASINDEX | AVIF_ISINTERLEAVED]"),
                 QStringLiteral("dwTotalFrames 116+4 3"),
                 QStringLiteral("dwInitialFrames 120+4 4294967295"),
                 QStringLiteral("dwStreams 124+4 5"),
                 QStringLiteral("dwSuggestedBufferSize 128+4 6"),
                 QStringLiteral("dwWidth 132+4 320"),
                 QStringLiteral("dwHeight 136+4 240"),
                 QStringLiteral("dwReserved 140+16 7 8 9 4000000000"),
             }));
}

void TestFileHeaders::mainHeaderIsUnsigned()
{
    AviProbe parser(QByteArray(56, '\xFF'));
    QCOMPARE(parser.call(AviProbe::avih, 56), 0);
    QStringList lines = parser.lines();
    lines.removeAt(3); // the names of its flags have rows of their own
    QCOMPARE(lines,
             (QStringList{
                 QStringLiteral("dwMicroSecPerFrame 0+4 4294967295 [0.000232831 frames/second]"),
                 QStringLiteral("dwMaxBytesPerSec 4+4 4294967295"),
                 QStringLiteral("dwPaddingGranularity 8+4 4294967295"),
                 QStringLiteral("dwTotalFrames 16+4 4294967295"),
                 QStringLiteral("dwInitialFrames 20+4 4294967295"),
                 QStringLiteral("dwStreams 24+4 4294967295"),
                 QStringLiteral("dwSuggestedBufferSize 28+4 4294967295"),
                 QStringLiteral("dwWidth 32+4 4294967295"),
                 QStringLiteral("dwHeight 36+4 4294967295"),
                 QStringLiteral("dwReserved 40+16 4294967295 4294967295 4294967295 4294967295"),
             }));
}

void TestFileHeaders::mainHeaderMeanings_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("expected");

    const auto frameTime = [](const char *name, quint32 microseconds, const QString &expected) {
        QTest::newRow(name) << build::MainHeader().frameTime(microseconds).bytes() << 0
                            << QStringLiteral("dwMicroSecPerFrame 0+4 ") + expected;
    };
    frameTime("rate: whole", 40000, QStringLiteral("40000 [25 frames/second]"));
    frameTime("rate: six significant digits", 33367, QStringLiteral("33367 [29.9697 frames/second]"));
    frameTime("rate: below one", 4294967295, QStringLiteral("4294967295 [0.000232831 frames/second]"));
    frameTime("rate: a million", 1, QStringLiteral("1 [1e+06 frames/second]"));
    frameTime("rate: no guard against zero", 0, QStringLiteral("0 [inf frames/second]"));

    const auto flags = [](const char *name, quint32 value, const QString &expected) {
        QTest::newRow(name) << build::MainHeader().flags(value).bytes() << 3
                            << QStringLiteral("dwFlags 12+4 ") + expected;
    };
    flags("flags: none", 0, QStringLiteral("0"));
    flags("flags: three names, joined in table order", 0x910,
          QStringLiteral("2320 [AVIF_HASINDEX | AVIF_ISINTERLEAVED | AVIF_TRUSTCKTYPE]"));
    flags("flags: no separator before a single name", 0x20, QStringLiteral("32 [AVIF_MUSTUSEINDEX]"));
    flags("flags: a bit without a name", 0x1, QStringLiteral("1"));
    flags("flags: all six names", 0x30930,
          QStringLiteral("198960 [AVIF_HASINDEX | AVIF_MUSTUSEINDEX | AVIF_ISINTERLEAVED | AVIF_TRUSTCKTYPE | "
                         "AVIF_WASCAPTUREFILE | AVIF_COPYRIGHTED]"));
    flags("flags: every bit gives six names", 0xFFFFFFFF,
          QStringLiteral("4294967295 [AVIF_HASINDEX | AVIF_MUSTUSEINDEX | AVIF_ISINTERLEAVED | AVIF_TRUSTCKTYPE | "
                         "AVIF_WASCAPTUREFILE | AVIF_COPYRIGHTED]"));
    flags("flags: every bit without a name", ~0x30930u, QStringLiteral("4294768335"));
}

void TestFileHeaders::mainHeaderMeanings()
{
    QFETCH(QByteArray, header);
    QFETCH(int, line);
    QFETCH(QString, expected);
    AviProbe parser(header);
    QCOMPARE(parser.call(AviProbe::avih, 56), 0);
    QCOMPARE(parser.lines().value(line), expected);
}

void TestFileHeaders::mainHeaderSizes_data()
{
    QTest::addColumn<quint32>("size");
    QTest::addColumn<int>("lines");
    QTest::addColumn<QString>("last");

    const QString reserved = QStringLiteral("dwReserved 40+16 1 2 3 4");
    QTest::newRow("exactly as long as the header: no unparsed bytes") << 56u << 11 << reserved;
    QTest::newRow("longer: the rest is unparsed") << 64u << 12 << QStringLiteral("unparsed 56+8");
    QTest::newRow("one byte longer") << 57u << 12 << QStringLiteral("unparsed 56+1");
    QTest::newRow("shorter: all fields all the same") << 40u << 11 << reserved;
    QTest::newRow("empty: all fields all the same") << 0u << 11 << reserved;
    QTest::newRow("as long as can be") << 4294967295u << 12 << QStringLiteral("unparsed 56+4294967239");
}

void TestFileHeaders::mainHeaderSizes()
{
    QFETCH(quint32, size);
    QFETCH(int, lines);
    QFETCH(QString, last);
    AviProbe parser(build::MainHeader().reserved(1, 2, 3, 4) + zeros(8));
    QCOMPARE(parser.call(AviProbe::avih, size), 0);
    QCOMPARE(parser.lines().size(), lines);
    QCOMPARE(parser.lines().last(), last);
}

void TestFileHeaders::keepsLastMainHeader()
{
    AviProbe parser(build::MainHeader().streams(1).picture(1, 2) + build::MainHeader().streams(2).reserved(0, 0, 0, 9));
    parser.call(AviProbe::avih, 0, 56);
    QCOMPARE(parser.mainHeader().dwStreams, 1u);
    QCOMPARE(parser.mainHeader().dwWidth, 1u);
    parser.call(AviProbe::avih, 56, 56);
    QCOMPARE(parser.mainHeader().dwStreams, 2u);
    QCOMPARE(parser.mainHeader().dwWidth, 0u);
    QCOMPARE(parser.mainHeader().dwReserved[3], 9u);
}

void TestFileHeaders::shortReadKeepsPreviousMainHeader()
{
    AviProbe parser(build::MainHeader().frameTime(1000000).streams(7) + u32(500000));
    parser.call(AviProbe::avih, 0, 56);
    parser.clearLines();
    QCOMPARE(parser.call(AviProbe::avih, 56, 4), 0);
    QCOMPARE(parser.lines().size(), 11);
    QCOMPARE(parser.lines().at(0), QStringLiteral("dwMicroSecPerFrame 56+4 500000 [2 frames/second]"));
    QCOMPARE(parser.lines().at(6), QStringLiteral("dwStreams 80+4 7"));
}

void TestFileHeaders::extendedHeader_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QStringList>("expected");

    const QString frames = QStringLiteral("dwTotalFrames 10+4 4294967295");
    const QByteArray start = u32(4294967295);
    QTest::newRow("four bytes: one field") << start << QStringList{frames};
    QTest::newRow("a short future is shown whole")
        << start + "hello!" << QStringList{frames, QStringLiteral("dwFuture 14+6 hello!")};
    QTest::newRow("127 bytes are shown") << start + QByteArray(127, 'a')
                                         << QStringList{frames,
                                                        QStringLiteral("dwFuture 14+127 ")
                                                            + QString(127, QLatin1Char('a'))};
    QTest::newRow("of 244 bytes the first 127 are shown")
        << start + QByteArray(127, 'a') + QByteArray(117, 'b')
        << QStringList{frames, QStringLiteral("dwFuture 14+244 ") + QString(127, QLatin1Char('a'))};
    QTest::newRow("zero bytes show no text")
        << start + zeros(244) << QStringList{frames, QStringLiteral("dwFuture 14+244")};
}

void TestFileHeaders::extendedHeader()
{
    QFETCH(QByteArray, data);
    QFETCH(QStringList, expected);
    AviProbe parser(zeros(10) + data);
    QCOMPARE(parser.call(AviProbe::dmlh, 10, quint32(data.size())), 0);
    QCOMPARE(parser.lines(), expected);
    QCOMPARE(parser.m_file.pos(), qint64(data.size() > 4 ? 10 : 14));
    QCOMPARE(parser.mainHeader().dwTotalFrames, 0u); // the main header's count is another one
}

void TestFileHeaders::extendedHeaderWrapsBelowFourBytes()
{
    AviProbe parser(u32(1) + QByteArray(127, 'x') + "y");
    QCOMPARE(parser.call(AviProbe::dmlh, 2), 0);
    QCOMPARE(parser.lines(),
             (QStringList{QStringLiteral("dwTotalFrames 0+4 1"),
                          QStringLiteral("dwFuture 4+4294967294 ") + QString(127, QLatin1Char('x'))}));
}

void TestFileHeaders::extendedHeaderAtTheEndOfTheFile_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<quint32>("size");
    QTest::addColumn<QString>("frames");

    QTest::newRow("the future is cut short") << u32(9) + "abc" << 8u << QStringLiteral("dwTotalFrames 0+4 9");
    QTest::newRow("the future is not there") << u32(9) << 8u << QStringLiteral("dwTotalFrames 0+4 9");
    QTest::newRow("126 of more bytes are there")
        << u32(9) + zeros(126) << 400u << QStringLiteral("dwTotalFrames 0+4 9");
    QTest::newRow("a wrapped size asks for 127 bytes too")
        << u32(9) + zeros(100) << 2u << QStringLiteral("dwTotalFrames 0+4 9");
    QTest::newRow("the field is cut short: the rest is zero")
        << QByteArray("\x09\x01") << 8u << QStringLiteral("dwTotalFrames 0+4 265");
}

void TestFileHeaders::extendedHeaderAtTheEndOfTheFile()
{
    QFETCH(QByteArray, bytes);
    QFETCH(quint32, size);
    QFETCH(QString, frames);
    AviProbe parser(bytes);
    QCOMPARE(parser.call(AviProbe::dmlh, size), 5);
    QCOMPARE(parser.lines(), QStringList{frames});
}

QTEST_APPLESS_MAIN(TestFileHeaders)
#include "tst_fileheaders.moc"
