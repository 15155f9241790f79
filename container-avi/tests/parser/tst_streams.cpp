#include "avibuilder.h"
#include "aviprobe.h"

#include <QTest>

#include <cmath>

using namespace quenlofar;
using namespace build;

class TestStreams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsStreamHeader();
    void signsOfStreamHeader();
    void streamHeaderMeanings_data();
    void streamHeaderMeanings();
    void streamHeaderSizes_data();
    void streamHeaderSizes();
    void shortStreamHeaderIsZeroFilled();
    void streamKinds_data();
    void streamKinds();
    void keepsKindOfPreviousStream_data();
    void keepsKindOfPreviousStream();
    void numbersVideoStreams();
    void rates_data();
    void rates();
    void frameRateGoesToTheLastRecord();
    void frameRateOfAnUnknownKindAfterVideo();
    void formatByStreamType_data();
    void formatByStreamType();
    void showsVideoFormat();
    void signsOfVideoFormat();
    void videoFormatSizes_data();
    void videoFormatSizes();
    void videoRecord_data();
    void videoRecord();
    void videoFormatChangesOnlyTheLastRecord();
    void videoFormatWithoutARecord();
    void videoFormatOfAnotherStreamChangesNoRecord();
    void shortVideoFormatIsZeroFilled();
};

void TestStreams::showsStreamHeader()
{
    VideoStream record;
    AviProbe parser(zeros(8)
                    + StreamHeader("vids")
                          .handler("XVID")
                          .priority(65535)
                          .language(32768)
                          .initialFrames(1)
                          .scale(1001)
                          .rate(30000)
                          .length(1800)
                          .bufferSize(4294967295)
                          .quality(4294967295)
                          .sampleSize(2)
                          .frame(-1, -32768, 320, 32767));
    parser.m_videoStreams.append(&record);
    parser.videoStreamCount() = 4;
    QCOMPARE(parser.call(AviProbe::strh, 8, 56), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("fccType 8+4 vids [Video]"),
                 QStringLiteral("fccHandler 12+4 XVID"),
                 QStringLiteral("dwFlags 16+4 0"),
                 QStringLiteral("wPriority 20+2 65535"),
                 QStringLiteral("wLanguage 22+2 32768"),
                 QStringLiteral("dwInitialFrames 24+4 1"),
                 QStringLiteral("dwScale 28+4 1001"),
                 QStringLiteral("dwRate 32+4 30000"),
                 QStringLiteral("dwStart 36+4 0 [00:00:0.000]"),
                 QStringLiteral("dwLength 40+4 1800 [00:01:0.060]"),
                 QStringLiteral("dwSuggestedBufferSize 44+4 4294967295"),
                 QStringLiteral("dwQuality 48+4 4294967295 [Default level]"),
                 QStringLiteral("dwSampleSize 52+4 2"),
                 QStringLiteral("rcFrame 56+8 {"),
                 QStringLiteral("  left 56+2 -1"),
                 QStringLiteral("  top 58+2 -32768"),
                 QStringLiteral("  right 60+2 320"),
                 QStringLiteral("  bottom 62+2 32767"),
                 QStringLiteral("}"),
             }));
    QCOMPARE(parser.streamType(), 1u);
    QCOMPARE(parser.timeBase(), 30000.0 / 1001.0);
    QCOMPARE(parser.videoStreamNumbers(), (QVector<quint32>{4}));
    QCOMPARE(parser.videoStreamCount(), 5u);
    QCOMPARE(record.frameRate, 30000.0 / 1001.0);
}

void TestStreams::signsOfStreamHeader()
{
    AviProbe parser(QByteArray(56, '\xFF')); // only the rectangle is signed
    QCOMPARE(parser.call(AviProbe::strh, 56), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("fccType 0+4 \u00ff\u00ff\u00ff\u00ff"),
                 QStringLiteral("fccHandler 4+4 \u00ff\u00ff\u00ff\u00ff"),
                 QStringLiteral("dwFlags 8+4 4294967295 [AVISF_VIDEO_PALCHANGES]"),
                 QStringLiteral("wPriority 12+2 65535"),
                 QStringLiteral("wLanguage 14+2 65535"),
                 QStringLiteral("dwInitialFrames 16+4 4294967295"),
                 QStringLiteral("dwScale 20+4 4294967295"),
                 QStringLiteral("dwRate 24+4 4294967295"),
                 QStringLiteral("dwStart 28+4 4294967295 [1193046:28:15.000]"),
                 QStringLiteral("dwLength 32+4 4294967295 [1193046:28:15.000]"),
                 QStringLiteral("dwSuggestedBufferSize 36+4 4294967295"),
                 QStringLiteral("dwQuality 40+4 4294967295 [Default level]"),
                 QStringLiteral("dwSampleSize 44+4 4294967295"),
                 QStringLiteral("rcFrame 48+8 {"),
                 QStringLiteral("  left 48+2 -1"),
                 QStringLiteral("  top 50+2 -1"),
                 QStringLiteral("  right 52+2 -1"),
                 QStringLiteral("  bottom 54+2 -1"),
                 QStringLiteral("}"),
             }));
}

void TestStreams::streamHeaderMeanings_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("expected");

    const auto flags = [](const char *name, quint32 value, const QString &expected) {
        QTest::newRow(name) << StreamHeader("vids").flags(value).bytes() << 2
                            << QStringLiteral("dwFlags 8+4 ") + expected;
    };
    flags("flags: disabled", 0x1, QStringLiteral("1 [AVISF_DISABLED]"));
    flags("flags: palette changes", 0x10000, QStringLiteral("65536 [AVISF_VIDEO_PALCHANGES]"));
    flags("flags: the second name replaces the first", 0x10001, QStringLiteral("65537 [AVISF_VIDEO_PALCHANGES]"));
    flags("flags: a bit without a name", 0x2, QStringLiteral("2"));
    flags("flags: all but the named bits", 0xFFFEFFFE, QStringLiteral("4294901758"));

    const auto quality = [](const char *name, quint32 value, const QString &expected) {
        QTest::newRow(name) << StreamHeader("vids").quality(value).bytes() << 11
                            << QStringLiteral("dwQuality 40+4 ") + expected;
    };
    quality("quality: none is the minimum", 0, QStringLiteral("0 [Minimum level]"));
    quality("quality: 10000 is the maximum", 10000, QStringLiteral("10000 [Maximum level]"));
    quality("quality: -1 is shown unsigned", 0xFFFFFFFF, QStringLiteral("4294967295 [Default level]"));
    quality("quality: between", 5000, QStringLiteral("5000"));
    quality("quality: above", 10001, QStringLiteral("10001"));

    const auto handler = [](const char *name, const QByteArray &fourCC, const QString &expected) {
        QTest::newRow(name) << StreamHeader("vids").handler(fourCC).bytes() << 1
                            << QStringLiteral("fccHandler 4+4") + expected;
    };
    handler("handler: ends at the first zero byte", QByteArray("D\0SD", 4), QStringLiteral(" D"));
    handler("handler: four zero bytes are no text", zeros(4), QString());
    handler("handler: Latin-1", "\xE9\x20\xFF\x7F", QString::fromUtf16(u" \u00e9 \u00ff\u007f"));

    const auto start = [](const char *name, quint32 units, quint32 rate, quint32 scale, const QString &expected) {
        QTest::newRow(name) << StreamHeader("auds").start(units).rate(rate).scale(scale).bytes() << 8
                            << QStringLiteral("dwStart 28+4 ") + expected;
    };
    start("start: a minute and more", 261, 4, 1, QStringLiteral("261 [00:01:5.250]"));
    start("start: an hour and more", 7451, 2, 1, QStringLiteral("7451 [01:02:5.500]"));
    start("start: no minute", 61, 4, 1, QStringLiteral("61 [00:00:15.250]"));

    const auto length = [](const char *name, quint32 units, quint32 rate, quint32 scale, const QString &expected) {
        QTest::newRow(name) << StreamHeader("auds").length(units).rate(rate).scale(scale).bytes() << 9
                            << QStringLiteral("dwLength 32+4 ") + expected;
    };
    length("length: 59.9999 s round up without a carry", 599999, 10000, 1, QStringLiteral("599999 [00:00:60.000]"));
    length("length: hours beyond two digits", 360000, 1, 1, QStringLiteral("360000 [100:00:0.000]"));
    length("length: the scale multiplies", 5, 1, 13, QStringLiteral("5 [00:01:5.000]"));
    length("length: rate and scale are unsigned", 4294967295, 4294967295, 1,
           QStringLiteral("4294967295 [00:00:1.000]"));
    length("length: zero scale, an infinite rate", 100, 25, 0, QStringLiteral("100 [00:00:0.000]"));
    length("length: zero rate, an infinite time", 100, 0, 1, QStringLiteral("100 [71582788:15:00inf]"));
    length("length: zero rate and scale, no number", 100, 0, 0, QStringLiteral("100 [00:00:00nan]"));
    length("length: nothing at a zero rate is no number", 0, 0, 1, QStringLiteral("0 [00:00:00nan]"));
}

void TestStreams::streamHeaderMeanings()
{
    QFETCH(QByteArray, header);
    QFETCH(int, line);
    QFETCH(QString, expected);
    AviProbe parser(header);
    QCOMPARE(parser.call(AviProbe::strh, 56), 0);
    QCOMPARE(parser.lines().value(line), expected);
}

void TestStreams::streamHeaderSizes_data()
{
    QTest::addColumn<quint32>("size");
    QTest::addColumn<int>("lines");
    QTest::addColumn<QString>("last");

    QTest::newRow("exactly as long as the header: no unparsed bytes") << 56u << 19 << QStringLiteral("}");
    QTest::newRow("longer by one byte: it is unparsed") << 57u << 20 << QStringLiteral("unparsed 56+1");
    QTest::newRow("longer: the rest is unparsed") << 64u << 20 << QStringLiteral("unparsed 56+8");
    QTest::newRow("shorter: all fields and the rectangle all the same") << 48u << 19 << QStringLiteral("}");
    QTest::newRow("empty: the same") << 0u << 19 << QStringLiteral("}");
}

void TestStreams::streamHeaderSizes()
{
    QFETCH(quint32, size);
    QFETCH(int, lines);
    QFETCH(QString, last);
    AviProbe parser(StreamHeader("vids").frame(1, 2, 3, 4) + zeros(8));
    QCOMPARE(parser.call(AviProbe::strh, size), 0);
    QCOMPARE(parser.lines().size(), lines);
    QCOMPARE(parser.lines().at(17), QStringLiteral("  bottom 54+2 4"));
    QCOMPARE(parser.lines().last(), last);
}

void TestStreams::shortStreamHeaderIsZeroFilled()
{
    AviProbe parser(QByteArray("auds\x01\x02"));
    QCOMPARE(parser.call(AviProbe::strh, 56), 0);
    QCOMPARE(parser.lines().size(), 19);
    QCOMPARE(parser.lines().at(0), QStringLiteral("fccType 0+4 auds [Audio]"));
    QCOMPARE(parser.lines().at(1), QStringLiteral("fccHandler 4+4 ") + QString::fromLatin1("\x01\x02"));
    QCOMPARE(parser.lines().at(12), QStringLiteral("dwSampleSize 44+4 0"));
}

void TestStreams::streamKinds_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<quint32>("streamType"); // 77 stood there before
    QTest::addColumn<int>("videoStreams");

    QTest::newRow("vids") << QByteArray("vids") << QStringLiteral(" vids [Video]") << 1u << 1;
    QTest::newRow("auds") << QByteArray("auds") << QStringLiteral(" auds [Audio]") << 2u << 0;
    QTest::newRow("mids") << QByteArray("mids") << QStringLiteral(" mids [MIDI]") << 3u << 0;
    QTest::newRow("txts") << QByteArray("txts") << QStringLiteral(" txts [Subtitles]") << 4u << 0;
    QTest::newRow("iavs is not known") << QByteArray("iavs") << QStringLiteral(" iavs") << 77u << 0;
    QTest::newRow("zero bytes are no kind") << zeros(4) << QString() << 77u << 0;
    QTest::newRow("case counts") << QByteArray("VIDS") << QStringLiteral(" VIDS") << 77u << 0;
    QTest::newRow("all four characters count") << QByteArray("vid\0", 4) << QStringLiteral(" vid") << 77u << 0;
}

void TestStreams::streamKinds()
{
    QFETCH(QByteArray, type);
    QFETCH(QString, expected);
    QFETCH(quint32, streamType);
    QFETCH(int, videoStreams);
    AviProbe parser(StreamHeader(type).rate(5).scale(2));
    parser.streamType() = 77;
    QCOMPARE(parser.call(AviProbe::strh, 56), 0);
    QCOMPARE(parser.lines().at(0), QStringLiteral("fccType 0+4") + expected);
    QCOMPARE(parser.streamType(), streamType);
    QCOMPARE(int(parser.videoStreamNumbers().size()), videoStreams);
    QCOMPARE(parser.timeBase(), 2.5); // of every kind
}

void TestStreams::keepsKindOfPreviousStream_data()
{
    QTest::addColumn<QByteArray>("previous");
    QTest::addColumn<QByteArray>("unknown");
    QTest::addColumn<QString>("first");
    QTest::addColumn<int>("lines");

    QTest::newRow("iavs after video: read as a video format")
        << QByteArray("vids") << QByteArray("iavs") << QStringLiteral("biSize 0+4 40") << 11;
    QTest::newRow("zero bytes after video: read as a video format")
        << QByteArray("vids") << zeros(4) << QStringLiteral("biSize 0+4 40") << 11;
    QTest::newRow("iavs after audio: read as a wave format")
        << QByteArray("auds") << QByteArray("iavs") << QStringLiteral("wFormatTag 0+2 40") << 8;
    QTest::newRow("iavs after subtitles: one value")
        << QByteArray("txts") << QByteArray("iavs") << QStringLiteral("value 0+40") << 1;
    QTest::newRow("iavs first: one value") << QByteArray() << QByteArray("iavs") << QStringLiteral("value 0+40") << 1;
}

void TestStreams::keepsKindOfPreviousStream()
{
    QFETCH(QByteArray, previous);
    QFETCH(QByteArray, unknown);
    QFETCH(QString, first);
    QFETCH(int, lines);
    AviProbe parser(VideoFormat() + StreamHeader(previous).bytes() + StreamHeader(unknown).bytes());
    if (!previous.isEmpty())
        parser.call(AviProbe::strh, 40, 56);
    parser.call(AviProbe::strh, 96, 56);
    parser.clearLines();
    QCOMPARE(parser.call(AviProbe::strf, 40), 0);
    QCOMPARE(parser.lines().value(0), first);
    QCOMPARE(int(parser.lines().size()), lines);
}

void TestStreams::numbersVideoStreams()
{
    AviProbe parser(StreamHeader("vids") + StreamHeader("auds").bytes() + StreamHeader("vids").bytes());
    for (const quint64 offset : {0u, 56u, 112u})
        parser.call(AviProbe::strh, offset, 56);
    QCOMPARE(parser.videoStreamNumbers(), (QVector<quint32>{0, 1}));
    QCOMPARE(parser.videoStreamCount(), 2u);
    QCOMPARE(parser.streamType(), 1u);
}

void TestStreams::rates_data()
{
    QTest::addColumn<quint32>("rate");
    QTest::addColumn<quint32>("scale");
    QTest::addColumn<double>("expected");

    QTest::newRow("whole") << 25u << 1u << 25.0;
    QTest::newRow("fraction") << 30000u << 1001u << 30000.0 / 1001.0;
    QTest::newRow("no rate") << 0u << 1u << 0.0;
    QTest::newRow("zero scale is infinite") << 25u << 0u << double(INFINITY);
    QTest::newRow("zero by zero is no number") << 0u << 0u << double(NAN);
    QTest::newRow("unsigned") << 4294967295u << 4294967294u << 4294967295.0 / 4294967294.0;
}

void TestStreams::rates()
{
    QFETCH(quint32, rate);
    QFETCH(quint32, scale);
    QFETCH(double, expected);
    VideoStream record;
    AviProbe parser(StreamHeader("vids").rate(rate).scale(scale));
    parser.m_videoStreams.append(&record);
    QCOMPARE(parser.call(AviProbe::strh, 56), 0);
    if (std::isnan(expected)) {
        QVERIFY(std::isnan(parser.timeBase()));
        QVERIFY(std::isnan(record.frameRate));
    } else {
        QVERIFY(parser.timeBase() == expected); // to the last bit, and infinity equals itself
        QVERIFY(record.frameRate == expected);
    }
}

void TestStreams::frameRateGoesToTheLastRecord()
{
    VideoStream first, last;
    AviProbe parser(StreamHeader("vids").rate(24).scale(1) + StreamHeader("auds").rate(8000).scale(1).bytes());
    parser.call(AviProbe::strh, 0, 56); // no record yet: none is touched
    QCOMPARE(parser.videoStreamNumbers(), (QVector<quint32>{0}));
    parser.m_videoStreams = {&first, &last};
    parser.call(AviProbe::strh, 0, 56);
    QCOMPARE(first.frameRate, 0.0);
    QCOMPARE(last.frameRate, 24.0);
    parser.call(AviProbe::strh, 56, 56); // an audio stream has no frame rate
    QCOMPARE(last.frameRate, 24.0);
    QCOMPARE(parser.timeBase(), 8000.0);
}

void TestStreams::frameRateOfAnUnknownKindAfterVideo()
{
    VideoStream record;
    AviProbe parser(StreamHeader("iavs").rate(50).scale(2));
    parser.m_videoStreams.append(&record);
    parser.streamType() = VideoStreamType;
    parser.call(AviProbe::strh, 56);
    QCOMPARE(record.frameRate, 25.0);
    QVERIFY(parser.videoStreamNumbers().isEmpty());
}

void TestStreams::formatByStreamType_data()
{
    QTest::addColumn<quint32>("streamType");
    QTest::addColumn<QStringList>("firstLines");

    const QStringList value{QStringLiteral("value 4+40")};
    QTest::newRow("before any stream header: one value") << 0u << value;
    QTest::newRow("video") << 1u
                           << QStringList{QStringLiteral("biSize 4+4 40"),
                                          QStringLiteral("biWidth 8+4 0 (Width of image (in pixels).)")};
    QTest::newRow("audio") << 2u << QStringList{QStringLiteral("wFormatTag 4+2 40"), QStringLiteral("nChannels 6+2 0")};
    QTest::newRow("MIDI: one value") << 3u << value;
    QTest::newRow("subtitles: one value") << 4u << value;
    QTest::newRow("anything else: one value") << 5u << value;
}

void TestStreams::formatByStreamType()
{
    QFETCH(quint32, streamType);
    QFETCH(QStringList, firstLines);
    AviProbe parser(zeros(4) + VideoFormat());
    parser.streamType() = streamType;
    QCOMPARE(parser.call(AviProbe::strf, 4, 40), 0);
    QCOMPARE(parser.lines().mid(0, 2), firstLines);
}

void TestStreams::showsVideoFormat()
{
    VideoStream record;
    record.formatCode = 9;
    record.frameRate = 1.5;
    AviProbe parser(zeros(2)
                    + VideoFormat()
                          .picture(640, 480)
                          .planes(1)
                          .bitCount(65535)
                          .compression("XVID")
                          .imageSize(921600)
                          .pelsPerMeter(-1, 2835)
                          .colors(256, 4294967295));
    parser.streamType() = VideoStreamType;
    parser.m_videoStreams.append(&record);
    QCOMPARE(parser.call(AviProbe::strf, 2, 40), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("biSize 2+4 40"),
                 QStringLiteral("biWidth 6+4 640 (Width of image (in pixels).)"),
                 QStringLiteral("biHeight 10+4 480 (Height of image (in pixels).)"),
                 QStringLiteral("biPlanes 14+2 1"),
                 QStringLiteral("biBitCount 16+2 65535 (Color depth of image (in bits).)"),
                 QStringLiteral("biCompression 18+4 XVID"),
                 QStringLiteral("biSizeImage 22+4 921600"),
                 QStringLiteral("biXPelsPerMeter 26+4 -1"),
                 QStringLiteral("biYPelsPerMeter 30+4 2835"),
                 QStringLiteral("biClrUsed 34+4 256"),
                 QStringLiteral("biClrImportant 38+4 4294967295"),
             }));
    QCOMPARE(record.width, 640u);
    QCOMPARE(record.height, 480u);
    QCOMPARE(record.codecId, 13);
    QCOMPARE(record.formatCode, 9u);
    QCOMPARE(record.frameRate, 1.5);
}

void TestStreams::signsOfVideoFormat()
{
    AviProbe parser(QByteArray(40, '\xFF')); // the picture's sides and resolutions are signed
    QCOMPARE(parser.call(AviProbe::strfVideo, 40), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("biSize 0+4 4294967295"),
                 QStringLiteral("biWidth 4+4 -1 (Width of image (in pixels).)"),
                 QStringLiteral("biHeight 8+4 -1 (Height of image (in pixels).)"),
                 QStringLiteral("biPlanes 12+2 65535"),
                 QStringLiteral("biBitCount 14+2 65535 (Color depth of image (in bits).)"),
                 QStringLiteral("biCompression 16+4 \u00ff\u00ff\u00ff\u00ff"),
                 QStringLiteral("biSizeImage 20+4 4294967295"),
                 QStringLiteral("biXPelsPerMeter 24+4 -1"),
                 QStringLiteral("biYPelsPerMeter 28+4 -1"),
                 QStringLiteral("biClrUsed 32+4 4294967295"),
                 QStringLiteral("biClrImportant 36+4 4294967295"),
             }));
}

void TestStreams::videoFormatSizes_data()
{
    QTest::addColumn<quint32>("size");
    QTest::addColumn<int>("lines");
    QTest::addColumn<QString>("last");

    const QString important = QStringLiteral("biClrImportant 36+4 7");
    QTest::newRow("exactly as long as the header: no unparsed bytes") << 40u << 11 << important;
    QTest::newRow("longer by one byte: it is unparsed") << 41u << 12 << QStringLiteral("unparsed 40+1");
    QTest::newRow("a palette of 256 entries is unparsed") << 1064u << 12 << QStringLiteral("unparsed 40+1024");
    QTest::newRow("shorter: all fields all the same") << 20u << 11 << important;
    QTest::newRow("empty: the same") << 0u << 11 << important;
}

void TestStreams::videoFormatSizes()
{
    QFETCH(quint32, size);
    QFETCH(int, lines);
    QFETCH(QString, last);
    AviProbe parser(VideoFormat().colors(0, 7));
    QCOMPARE(parser.call(AviProbe::strfVideo, size), 0);
    QCOMPARE(int(parser.lines().size()), lines);
    QCOMPARE(parser.lines().last(), last);
}

void TestStreams::videoRecord_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QString>("shown"); // the lines of the height and the compression
    QTest::addColumn<quint32>("height");
    QTest::addColumn<qint32>("codecId");
    QTest::addColumn<quint32>("formatCode"); // 99 stood there before

    const QString positive = QStringLiteral("biHeight 8+4 2 (Height of image (in pixels).)|biCompression 16+4");
    QTest::newRow("known FourCC") << VideoFormat().picture(1, 2).compression("H264").bytes()
                                  << positive + QStringLiteral(" H264") << 2u << 28 << 99u;
    QTest::newRow("unknown FourCC") << VideoFormat().picture(1, 2).compression("Xvid").bytes()
                                    << positive + QStringLiteral(" Xvid") << 2u << 0 << 99u;
    QTest::newRow("uncompressed: raw video, packed 24-bit")
        << VideoFormat().picture(1, 2).bytes() << positive << 2u << 14 << 3u;
    QTest::newRow("a number for a FourCC: shown up to its zero byte")
        << VideoFormat().picture(1, 2).compression(u32(1)).bytes() << positive + QLatin1Char(' ') + QChar(1) << 2u << 46
        << 99u;
    QTest::newRow("raw video by number 3 keeps the pixel format")
        << VideoFormat().picture(1, 2).compression(u32(3)).bytes() << positive + QLatin1Char(' ') + QChar(3) << 2u << 14
        << 99u;
    QTest::newRow("bytes from 0x80 up") << VideoFormat().picture(1, 2).compression("H26\xB4").bytes()
                                        << positive + QStringLiteral(" H26") + QChar(0xB4) << 2u << 0 << 99u;
    QTest::newRow("top-down picture: the height's bit pattern")
        << VideoFormat().picture(1, -2).compression("H264").bytes()
        << QStringLiteral("biHeight 8+4 -2 (Height of image (in pixels).)|biCompression 16+4 H264") << 4294967294u << 28
        << 99u;
}

void TestStreams::videoRecord()
{
    QFETCH(QByteArray, format);
    QFETCH(QString, shown);
    QFETCH(quint32, height);
    QFETCH(qint32, codecId);
    QFETCH(quint32, formatCode);
    VideoStream record;
    record.codecId = 77;
    record.formatCode = 99;
    AviProbe parser(format);
    parser.streamType() = VideoStreamType;
    parser.m_videoStreams.append(&record);
    QCOMPARE(parser.call(AviProbe::strf, 40), 0);
    QCOMPARE(parser.lines().at(2) + QLatin1Char('|') + parser.lines().at(5), shown);
    QCOMPARE(record.width, 1u);
    QCOMPARE(record.height, height);
    QCOMPARE(record.codecId, codecId);
    QCOMPARE(record.formatCode, formatCode);
}

void TestStreams::videoFormatChangesOnlyTheLastRecord()
{
    VideoStream first, last;
    AviProbe parser(VideoFormat().picture(3, 4).compression("MJPG")
                    + VideoFormat().picture(5, 6).compression("????").bytes());
    parser.streamType() = VideoStreamType;
    parser.m_videoStreams = {&first, &last};
    parser.call(AviProbe::strf, 0, 40);
    QCOMPARE(first.width, 0u);
    QCOMPARE(last.width, 3u);
    QCOMPARE(last.codecId, 8);
    parser.call(AviProbe::strf, 40, 40); // a second format of the stream overwrites the first
    QCOMPARE(last.width, 5u);
    QCOMPARE(last.height, 6u);
    QCOMPARE(last.codecId, 0);
}

void TestStreams::videoFormatWithoutARecord()
{
    AviProbe parser(VideoFormat().compression("XVID"));
    parser.streamType() = VideoStreamType;
    QCOMPARE(parser.call(AviProbe::strf, 40), 0);
    QCOMPARE(parser.lines().size(), 11);
}

void TestStreams::videoFormatOfAnotherStreamChangesNoRecord()
{
    VideoStream record;
    AviProbe parser(VideoFormat().picture(3, 4).compression("XVID"));
    parser.m_videoStreams.append(&record);
    for (const quint32 type : {0u, 2u, 3u, 4u}) {
        parser.streamType() = type;
        QCOMPARE(parser.call(AviProbe::strfVideo, 40), 0);
    }
    QCOMPARE(record.width, 0u);
    QCOMPARE(record.codecId, 0);
}

void TestStreams::shortVideoFormatIsZeroFilled()
{
    VideoStream record;
    AviProbe parser(VideoFormat().picture(3, 4).compression("XVID").resize(18));
    parser.streamType() = VideoStreamType;
    parser.m_videoStreams.append(&record);
    QCOMPARE(parser.call(AviProbe::strf, 40), 0);
    QCOMPARE(parser.lines().at(5), QStringLiteral("biCompression 16+4 XV"));
    QCOMPARE(parser.lines().at(10), QStringLiteral("biClrImportant 36+4 0"));
    QCOMPARE(record.height, 4u);
    QCOMPARE(record.codecId, 0);
}

QTEST_APPLESS_MAIN(TestStreams)
#include "tst_streams.moc"
