// What is expected of the samples is what ffprobe 5.1 says of them, but where it measures instead of reading headers:
// lengths of PCM and MP3 at constant rate, bit rates of which the header says 0, the open size of a pipe.
#include "avibuilder.h"
#include "avidescriber.h"
#include "codecnames.h"
#include "containeravi.h"
#include "describingsink.h"
#include "elementtree.h"
#include "fourcctable.h"
#include "testing/memoryrun.h"

#include <QFile>
#include <QTest>

using namespace quenlofar;
using namespace build;

namespace {

struct Description
{
    RunResult result;
    QVector<DescriptionRow> rows;
    QVector<StreamDescription> streams;
};

QVector<ParserFactory> aviParser()
{
    return {factoryOf<ContainerAVI, AviDescriber>(QStringLiteral("AVI"))};
}

Description describe(const QByteArray &file)
{
    DescribingSink sink(aviParser());
    const RunResult result = runOverMemory(file, aviParser().first(), sink);
    return {result, sink.rows(), sink.streams()};
}

QByteArray golden(const char *name)
{
    QFile file(QStringLiteral(QUENLOFAR_SAMPLES_DIR "/golden/%1.avi").arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// "0 video 0 'name' XVID (MPEG-4 Visual) 64x48 25/s 10s", "1 audio 0x0001 (PCM) 8000Hz 2ch 16bit 256000bit/s 10s";
/// what is not known is left out, but for the numbers of video and audio.
QString lineOf(const StreamDescription &stream)
{
    QString line = QStringLiteral("%1 %2").arg(stream.ordinal).arg(stream.kindText());
    if (stream.videoOrdinal >= 0)
        line += QStringLiteral(" %1").arg(stream.videoOrdinal);
    if (!stream.name.isEmpty())
        line += QStringLiteral(" '%1'").arg(stream.name);
    if (!stream.codecCode.isEmpty())
        line += QLatin1Char(' ') + stream.codecCode;
    if (!stream.codecName.isEmpty())
        line += QStringLiteral(" (%1)").arg(stream.codecName);
    if (stream.kind == StreamDescription::Kind::Video)
        line += QStringLiteral(" %1x%2 %3/s").arg(stream.width).arg(stream.height).arg(stream.frameRate);
    if (stream.kind == StreamDescription::Kind::Audio) {
        line += QStringLiteral(" %1Hz %2ch %3bit %4bit/s")
                    .arg(stream.sampleRate)
                    .arg(stream.channels)
                    .arg(stream.bitsPerSample)
                    .arg(stream.bitRate);
    }
    if (stream.seconds() >= 0)
        line += QStringLiteral(" %1s").arg(stream.seconds());
    return line;
}

QStringList linesOf(const QVector<StreamDescription> &streams)
{
    QStringList lines;
    for (const StreamDescription &stream : streams)
        lines.append(lineOf(stream));
    return lines;
}

QStringList linesOf(const QVector<DescriptionRow> &rows)
{
    QStringList lines;
    for (const DescriptionRow &row : rows)
        lines.append(row.label + QStringLiteral(": ") + row.text);
    return lines;
}

/// The run's record of a video stream and its description say the same.
void compareVideoStreams(const Description &description)
{
    int ordinal = 0;
    for (const StreamDescription &stream : description.streams) {
        if (stream.videoOrdinal < 0)
            continue;
        QCOMPARE(stream.videoOrdinal, ordinal);
        QVERIFY(ordinal < int(description.result.videoStreams.size()));
        QCOMPARE(stream.width, description.result.videoStreams.at(ordinal).width);
        ++ordinal;
    }
    QCOMPARE(int(description.result.videoStreams.size()), ordinal);
}

// Parts of made files. A stream of each kind lasts 4 seconds.

StreamHeader header(const char *type)
{
    return StreamHeader(type).scale(1).rate(25).length(100);
}

Chunk videoHeader()
{
    return chunk("strh", header("vids").handler("hand"));
}

Chunk videoFormat(const QByteArray &compression = "XVID", qint32 width = 64, qint32 height = 48)
{
    return chunk("strf", VideoFormat().picture(width, height).compression(compression));
}

Chunk audioHeader()
{
    return chunk("strh", header("auds"));
}

Chunk audioFormat(quint16 tag = 1)
{
    return chunk(
        "strf",
        WaveFormat(tag).channels(2).samplesPerSecond(8000).bytesPerSecond(32000).blockAlign(4).bitsPerSample(16));
}

Chunk strl(std::initializer_list<QByteArray> chunks)
{
    return list("strl", chunks);
}

/// A file of these parts, long enough to be taken for one.
QByteArray fileOf(const QByteArray &parts)
{
    return list("AVI ", {parts, chunk("JUNK", zeros(1000))}, "RIFF");
}

QString ellipsis()
{
    return QString(QChar(0x2026));
}

const QString video = QStringLiteral("video 0 XVID (MPEG-4 Visual) 64x48 25/s 4s");
const QString audio = QStringLiteral("audio 0x0001 (PCM) 8000Hz 2ch 16bit 256000bit/s 4s");

} // namespace

class TestAviDescriber : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void streamsOfSamples_data()
    {
        QTest::addColumn<QStringList>("streams");
        const auto row = [](const char *name, std::initializer_list<const char *> streams) {
            QStringList lines;
            for (const char *stream : streams)
                lines.append(QString::fromUtf8(stream));
            QTest::newRow(name) << lines;
        };
        row("dvgrab-dv-type1", {"0 other dvsd (DV) 0.0667333s"});
        row("dvgrab-dv-type2",
            {"0 video 0 dvsd (DV) 720x480 29.97/s 0.0333667s",
             "1 audio 0x0001 (PCM) 48000Hz 2ch 16bit 1536000bit/s 0.033375s"});
        row("ffmpeg-audio-only-pcm8", {"0 audio 0x0001 (PCM) 22050Hz 1ch 8bit 176400bit/s 1s"});
        row("ffmpeg-cram-cinepak-mp2",
            {"0 video 0 MSVC (Microsoft Video 1) 64x48 10/s 1s", "1 video 1 cvid (Cinepak) 64x48 10/s 1s",
             "2 audio 0x0050 (MPEG audio, layer 1 or 2) 22050Hz 1ch 0bit 32000bit/s 1.0449s"});
        row("ffmpeg-h264-aac-ac3-audio-first",
            {"0 audio 0x00FF (AAC) 22050Hz 1ch 16bit 24000bit/s 2.27556s", "1 video 0 H264 (H.264) 64x48 10/s 2s",
             "2 audio 0x2000 (AC-3) 32000Hz 1ch 16bit 32000bit/s 2.256s"});
        row("ffmpeg-hfyu-ffv1", {"0 video 0 HFYU (HuffYUV) 64x48 10/s 1s", "1 video 1 FFV1 (FFV1) 64x48 10/s 1s"});
        row("ffmpeg-mjpeg-pcm24-6ch-extensible",
            {"0 video 0 MJPG (Motion JPEG) 64x48 10/s 1s",
             "1 audio 0xFFFE (extensible wave format) 8000Hz 6ch 24bit 1152000bit/s 1s"});
        row("ffmpeg-mpeg4-mp3vbr-info-utf8",
            {"0 video 0 FMP4 (MPEG-4 Visual) 64x48 10/s 2.1s",
             "1 audio 0x0055 (MP3) 22050Hz 1ch 0bit 0bit/s 2.06367s"});
        row("ffmpeg-mpeg4-xsub",
            {"0 video 0 DIVX (MPEG-4 Visual) 64x48 20/s 2s", "1 video 1 DXSB (XSUB subtitles) 64x48 0/s"});
        row("ffmpeg-raw-bgr24-i420",
            {"0 video 0 0x00000000 (uncompressed RGB) 64x48 10/s 0.6s",
             "1 video 1 I420 (uncompressed) 64x48 10/s 0.6s"});
        row("ffmpeg-vp8-adpcm-ms",
            {"0 video 0 VP80 (VP8) 64x48 10/s 1s",
             "1 audio 0x0002 (Microsoft ADPCM) 22050Hz 1ch 4bit 128000bit/s 1.01569s"});
        row("gstreamer-mjpeg-mp3",
            {"0 video 0 MJPG (Motion JPEG) 64x48 10/s 2s",
             "1 audio 0x0055 (MP3) 22050Hz 1ch 16bit 32000bit/s 2.0635s"});
        row("mencoder-dx50-pcm16-info-latin1",
            {"0 video 0 DX50 (MPEG-4 Visual) 64x48 10/s 2s", "1 audio 0x0001 (PCM) 22050Hz 1ch 16bit 352800bit/s 2s"});
        row("spliced-garbage",
            {"0 video 0 FMP4 (MPEG-4 Visual) 64x48 10/s 2.1s",
             "1 audio 0x0055 (MP3) 22050Hz 1ch 0bit 0bit/s 2.06367s"});
        row("spliced-opendml-avix",
            {"0 video 0 XVID (MPEG-4 Visual) 64x48 10/s 2s",
             "1 audio 0x0055 (MP3) 22050Hz 1ch 0bit 32000bit/s 2.06375s"});
        row("spliced-txts-rec-lists",
            {"0 video 0 FMP4 (MPEG-4 Visual) 64x48 10/s 2.1s", "1 audio 0x0055 (MP3) 22050Hz 1ch 0bit 0bit/s 2.06367s",
             "2 subtitles 'English' 1s"});
        row("yuv2lav-mjpeg", {"0 video 0 MJPG (Motion JPEG) 64x48 25/s 1s"});
    }
    void streamsOfSamples()
    {
        QFETCH(QStringList, streams);
        const Description description = describe(golden(QTest::currentDataTag()));
        QCOMPARE(linesOf(description.streams), streams);
        compareVideoStreams(description);
    }

    void rowsOfSamples_data()
    {
        QTest::addColumn<QStringList>("rows");
        const auto row = [](const char *name, const char *rows) {
            QTest::newRow(name) << QString::fromUtf8(rows).split(QLatin1Char('|'));
        };
        row("dvgrab-dv-type2", "segments: 1 (RIFF AVI )");
        row("ffmpeg-mpeg4-mp3vbr-info-utf8",
            "segments: 1 (RIFF AVI )|title: Zwölf Boxkämpfer 映像|artist: Example|comment: made for tests|"
            "writing software: Lavf59.27.100");
        row("mencoder-dx50-pcm16-info-latin1",
            "segments: 1 (RIFF AVI )|title: Café test|artist: Example|copyright: none|"
            "writing software: MEncoder UNKNOWN-12");
        row("gstreamer-mjpeg-mp3", "segments: 1 (RIFF AVI )|title: Täst|artist: Example");
        row("spliced-opendml-avix", "segments: 2 (RIFF AVI , RIFF AVIX)|writing software: MEncoder UNKNOWN-12");
        row("yuv2lav-mjpeg", "segments: 1 (RIFF AVI )|writing software: mjpegtools-2.1.0");
    }
    void rowsOfSamples()
    {
        QFETCH(QStringList, rows);
        QCOMPARE(linesOf(describe(golden(QTest::currentDataTag())).rows), rows);
    }

    void streams_data()
    {
        QTest::addColumn<QByteArray>("parts");
        QTest::addColumn<QStringList>("streams");
        const auto row = [](const char *name, const QByteArray &parts, const QStringList &streams) {
            QTest::newRow(name) << parts << streams;
        };
        const QByteArray wholeVideo = strl({videoHeader(), videoFormat()});
        const QByteArray wholeAudio = strl({audioHeader(), audioFormat()});
        const QString onlyVideo = QStringLiteral("0 ") + video;
        const QString onlyAudio = QStringLiteral("0 ") + audio;

        row("no streams", {}, {});
        row("video and audio", wholeVideo + wholeAudio, {onlyVideo, QStringLiteral("1 ") + audio});
        row("a MIDI stream", strl({chunk("strh", header("mids").handler("midi"))}), {QStringLiteral("0 MIDI midi 4s")});
        row("subtitles after audio: the format is none of theirs",
            wholeAudio + strl({chunk("strh", header("txts")), audioFormat()}),
            {onlyAudio, QStringLiteral("1 subtitles 4s")});
        row("an unknown kind after video: the format is none of its own",
            wholeVideo + strl({chunk("strh", header("data").handler("MJPG")), videoFormat()}),
            {onlyVideo, QStringLiteral("1 other MJPG (Motion JPEG) 4s")});

        row("a list without anything", strl({}) + wholeVideo,
            {QStringLiteral("0 other"), QStringLiteral("1 ") + video});
        row("a format without a header", wholeAudio + strl({audioFormat()}), {onlyAudio, QStringLiteral("1 other")});
        row("a header without a format: the handler is the code", strl({videoHeader()}),
            {QStringLiteral("0 video 0 hand 0x0 25/s 4s")});
        row("an audio header without a format", strl({audioHeader()}),
            {QStringLiteral("0 audio 0Hz 0ch 0bit 0bit/s 4s")});
        row("a format before its header, of the kind of the stream before",
            wholeAudio + strl({audioFormat(), audioHeader()}), {onlyAudio, QStringLiteral("1 ") + audio});
        row("a format before its header, read as another kind", wholeAudio + strl({videoFormat(), videoHeader()}),
            {onlyAudio, QStringLiteral("1 video 0 hand 0x0 25/s 4s")});
        row("a second header is a second stream",
            strl({videoHeader(), videoFormat("MJPG"), videoHeader(), videoFormat()}),
            {QStringLiteral("0 video 0 MJPG (Motion JPEG) 64x48 25/s 4s"),
             QStringLiteral("1 video 1 XVID (MPEG-4 Visual) 64x48 25/s 4s")});
        row("headers without lists", videoHeader() + videoFormat() + audioHeader() + audioFormat(),
            {onlyVideo, QStringLiteral("1 ") + audio});
        row("a header behind its list", strl({audioHeader(), audioFormat()}) + videoHeader() + videoFormat(),
            {onlyAudio, QStringLiteral("1 ") + video});
        row("a format behind its list is nobody's", strl({audioHeader()}) + audioFormat(),
            {QStringLiteral("0 audio 0Hz 0ch 0bit 0bit/s 4s")});
        row("a list inside a list", strl({audioHeader(), audioFormat(), wholeVideo, chunk("strn", "nobody's")}),
            {onlyAudio, QStringLiteral("1 ") + video});
        row("of two formats the later one counts", strl({videoHeader(), videoFormat("MJPG", 1, 2), videoFormat()}),
            {onlyVideo});
        row("a name", strl({audioHeader(), audioFormat(), chunk("strn", "Director's comment\0")}),
            {QStringLiteral("0 audio 'Director's comment' 0x0001 (PCM) 8000Hz 2ch 16bit 256000bit/s 4s")});
        row("an index between header and format", strl({videoHeader(), chunk("indx", zeros(24)), videoFormat()}),
            {onlyVideo});
        row("the file ends inside a format", wholeAudio + videoHeader() + "strf" + u32(40) + "1234",
            {onlyAudio, QStringLiteral("1 video 0 0x00000000 (uncompressed RGB) 0x0 25/s 4s")});
    }
    void streams()
    {
        QFETCH(QByteArray, parts);
        QFETCH(QStringList, streams);
        const bool isCutOff = parts.endsWith("1234");
        const Description description =
            describe(isCutOff ? list("AVI ", {chunk("JUNK", zeros(1000)), parts}, "RIFF").bytes() : fileOf(parts));
        QCOMPARE(linesOf(description.streams), streams);
        compareVideoStreams(description);
    }

    void videoFormats_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("described");
        QTest::newRow("a code in lower case") << videoFormat("xvid").bytes() << "xvid (MPEG-4 Visual) 64x48";
        QTest::newRow("a code that nobody knows") << videoFormat("Zz9 ").bytes() << "Zz9  64x48";
        QTest::newRow("three characters") << videoFormat(QByteArray("RAW\0", 4)).bytes() << "RAW 64x48";
        QTest::newRow("no compression") << videoFormat(zeros(4)).bytes() << "0x00000000 (uncompressed RGB) 64x48";
        QTest::newRow("compression by number") << videoFormat(u32(1)).bytes() << "0x00000001 (Microsoft RLE) 64x48";
        QTest::newRow("a code that is no ASCII") << videoFormat("X\xE9\x7F"
                                                                "D")
                                                        .bytes()
                                                 << "0x447FE958 64x48";
        QTest::newRow("a code with a line break") << videoFormat("XV\nD").bytes() << "0x440A5658 64x48";
        QTest::newRow("top line first") << videoFormat("XVID", 64, -48).bytes() << "XVID (MPEG-4 Visual) 64x48";
        QTest::newRow("the least height") << videoFormat("XVID", 64, std::numeric_limits<qint32>::min()).bytes()
                                          << "XVID (MPEG-4 Visual) 64x2147483648";
    }
    void videoFormats()
    {
        QFETCH(QByteArray, format);
        QFETCH(QString, described);
        const Description description = describe(fileOf(strl({videoHeader(), format})));
        QCOMPARE(linesOf(description.streams), QStringList(QStringLiteral("0 video 0 %1 25/s 4s").arg(described)));
    }

    void aNegativeWidthIsNotKnown()
    {
        QCOMPARE(describe(fileOf(strl({videoHeader(), videoFormat("XVID", -64)}))).streams.first().width, 0U);
    }

    void timeBases_data()
    {
        QTest::addColumn<quint32>("scale");
        QTest::addColumn<quint32>("rate");
        QTest::addColumn<QString>("described");
        QTest::newRow("30000/1001") << 1001U << 30000U << "29.97/s 3.33667s";
        QTest::newRow("no scale") << 0U << 25U << "0/s";
        QTest::newRow("no rate") << 1U << 0U << "0/s";
        QTest::newRow("neither") << 0U << 0U << "0/s";
        QTest::newRow("the most frames") << 1U << 0xFFFFFFFFU << "4.29497e+09/s 2.32831e-08s";
    }
    void timeBases()
    {
        QFETCH(quint32, scale);
        QFETCH(quint32, rate);
        QFETCH(QString, described);
        const Chunk head = chunk("strh", StreamHeader("vids").scale(scale).rate(rate).length(100));
        const StreamDescription stream = describe(fileOf(strl({head, videoFormat()}))).streams.first();
        QCOMPARE(lineOf(stream), QStringLiteral("0 video 0 XVID (MPEG-4 Visual) 64x48 ") + described);
        QCOMPARE(stream.length, qint64(100));
        QCOMPARE(stream.timeBaseNumerator, scale);
        QCOMPARE(stream.timeBaseDenominator, rate);
    }

    void formatTagsWithoutANameTakeTheMeaning()
    {
        // Today the parser has no meaning where there is no name: the leaves come from the test.
        AviDescriber describer;
        describer.beginElement(0, 8, u"strh", -1);
        describer.addField({false, 0, 0, 4, -1, u"fccType", u"auds", u"Audio", {}});
        describer.endElement();
        describer.beginElement(8, 8, u"strf", -1);
        describer.addField({false, 0, 8, 2, -1, u"wFormatTag", u"4660", u"SOMETHING", {}});
        describer.addField({false, 0, 10, 2, -1, u"nChannels", u"-1", {}, {}});
        describer.addField({false, 0, 12, 4, -1, u"nSamplesPerSec", u"4294967296", {}, {}});
        describer.addField({false, 0, 16, 4, -1, u"nAvgBytesPerSec", u"many", {}, {}});
        describer.endElement();
        describer.endDocument({});
        QCOMPARE(linesOf(describer.streams()),
                 QStringList(QStringLiteral("0 audio 0x1234 (SOMETHING) 0Hz 0ch 0bit 0bit/s")));
    }

    void onlyAChunksOwnLeavesCount()
    {
        const Chunk nested = list("strn", {chunk("abcd", "a long value")});
        const Description description = describe(fileOf(strl({audioHeader(), audioFormat(), nested})));
        QCOMPARE(linesOf(description.streams), QStringList(QStringLiteral("0 ") + audio));
    }

    void streamsBeyondTheMostAreCounted_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("described");
        QTest::addColumn<QString>("row");
        QTest::newRow("more than chunk ids can name") << 20000 << 20000 << "";
        QTest::newRow("the most") << 65536 << 65536 << "";
        QTest::newRow("one more") << 65537 << 65536 << "streams: 65537, of which the first 65536 are described";
        QTest::newRow("many more") << 80000 << 65536 << "streams: 80000, of which the first 65536 are described";
    }
    void streamsBeyondTheMostAreCounted()
    {
        QFETCH(int, count);
        QFETCH(int, described);
        QFETCH(QString, row);
        const Description description = describe(fileOf(strl({videoHeader(), videoFormat()}).bytes().repeated(count)));
        QCOMPARE(int(description.streams.size()), described);
        QCOMPARE(description.streams.last().ordinal, described - 1);
        QCOMPARE(description.streams.last().videoOrdinal, described - 1);
        QCOMPARE(linesOf(description.rows).value(1), row);
    }

    void segments_data()
    {
        QTest::addColumn<QString>("forms");
        QTest::addColumn<QString>("text");
        QTest::newRow("like ones are counted") << "AVI AVIXAVIXAVIX"
                                               << "4 (RIFF AVI , 3 x RIFF AVIX)";
        QTest::newRow("only neighbours are") << "AVI AVIXAVI AVIX"
                                             << "4 (RIFF AVI , RIFF AVIX, RIFF AVI , RIFF AVIX)";
        QTest::newRow("as many as are shown") << "AVI 1   2   3   4   5   6   7   "
                                              << "8 (RIFF AVI , RIFF 1   , RIFF 2   , RIFF 3   , RIFF 4   , RIFF 5   , "
                                                 "RIFF 6   , RIFF 7   )";
    }
    void segments()
    {
        QFETCH(QString, forms);
        QFETCH(QString, text);
        QByteArray file;
        for (int at = 0; at < int(forms.size()); at += 4)
            file += list(forms.mid(at, 4).toLatin1().constData(), {chunk("JUNK", zeros(1000))}, "RIFF").bytes();
        QCOMPARE(linesOf(describe(file).rows), QStringList(QStringLiteral("segments: ") + text));
    }

    void segmentsBeyondTheMostAreCounted()
    {
        QByteArray file;
        for (int i = 0; i < 1000; ++i)
            file += list(i % 2 == 0 ? "AVI " : "AVIX", {chunk("JUNK", zeros(100))}, "RIFF").bytes();
        const QString text = describe(file).rows.value(0).text;
        QVERIFY2(text.startsWith(QStringLiteral("1000 (RIFF AVI , RIFF AVIX, ")), qPrintable(text));
        QVERIFY2(text.endsWith(QStringLiteral("RIFF AVIX, %1)").arg(ellipsis())), qPrintable(text));
        QCOMPARE(int(text.count(QStringLiteral("RIFF"))), 8);
    }

    void aSegmentInsideAnotherIsNone()
    {
        QCOMPARE(linesOf(describe(fileOf(list("AVIX", {}, "RIFF"))).rows),
                 QStringList(QStringLiteral("segments: 1 (RIFF AVI )")));
    }

    void texts_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        const auto letters = [](int count) { return QByteArray(count, 'a'); };
        const auto shown = [](int count) { return QString(count, QLatin1Char('a')); };
        QTest::newRow("as much as the parser shows") << letters(127) << shown(127);
        QTest::newRow("the same and a zero at the end") << letters(127) + zeros(1) << shown(127);
        QTest::newRow("more than it shows") << letters(129) << shown(127) + ellipsis();
        QTest::newRow("much more") << letters(60'000) << shown(127) + ellipsis();
        QTest::newRow("less, with zeros behind it") << letters(126) + zeros(1000) << shown(126);
        QTest::newRow("a cut character counts as more")
            << letters(126) + "\xC3\xA4" + letters(10) << shown(126) + QChar(0xC3) + ellipsis();
        QTest::newRow("a cut character after others")
            << QByteArray("\xC3\xA4") + letters(124) + "\xE6\x98\xA0" << QChar(0xE4) + shown(124) + ellipsis();
        QTest::newRow("nothing but zeros") << zeros(20) << "";
    }
    void texts()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        const Description description =
            describe(fileOf(strl({audioHeader(), chunk("strn", bytes)}) + list("INFO", {chunk("INAM", bytes)})));
        QCOMPARE(description.rows.value(1).text, text);
        QCOMPARE(description.streams.first().name, text);
    }

    void aTextOfAnyLengthIsClipped()
    {
        AviDescriber describer;
        const auto give = [&describer](QStringView title, const QString &value) {
            describer.beginElement(0, 8, title, -1);
            describer.addField({false, 0, 0, 4, -1, u"id", title, {}, {}});
            describer.addField({false, 0, 0, quint64(value.size()), -1, u"value", value, {}, {}});
            describer.endElement();
        };
        const QString longText(199, QLatin1Char('a'));
        const QString pair = QString::fromUtf8("\xF0\x9F\x8E\xAC");
        give(u"INAM", longText + QStringLiteral("bcd"));
        give(u"ISFT", longText + pair); // the pair does not fit
        QCOMPARE(describer.rows().value(0).text, longText + QLatin1Char('b') + ellipsis());
        QCOMPARE(describer.rows().value(1).text, longText + ellipsis());
    }

    void theFirstOfEqualTextsCounts()
    {
        const QByteArray infos = list("INFO", {chunk("INAM", zeros(2)), chunk("INAM", "one")})
            + list("INFO", {chunk("INAM", "two"), chunk("ICRD", "2012-10-21")});
        QCOMPARE(linesOf(describe(fileOf(infos)).rows).mid(1),
                 (QStringList{QStringLiteral("title: one"), QStringLiteral("creation date: 2012-10-21")}));
    }

    void aReplayedTreeIsDescribedLikeTheFile()
    {
        const QByteArray file = golden("spliced-txts-rec-lists");
        ElementTree tree;
        runOverMemory(file, aviParser().first(), tree);
        DescribingSink sink(aviParser());
        QVERIFY(tree.replay(sink));
        QCOMPARE(linesOf(sink.streams()), linesOf(describe(file).streams));
        QCOMPARE(int(sink.streams().size()), 3);
    }

    void namesOfCodecs_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QString>("name");
        QTest::newRow("by the codec's number") << QByteArray("DIV3") << "Microsoft MPEG-4 version 3";
        QTest::newRow("by the code") << QByteArray("HEVC") << "HEVC";
        QTest::newRow("by the code in capitals") << QByteArray("hevc") << "HEVC";
        QTest::newRow("lower case that has a meaning of its own") << QByteArray("dvsd") << "DV";
        QTest::newRow("the last row of the table of codes has no name") << QByteArray("a12v") << "";
        QTest::newRow("the end of that table is no row") << QByteArray("\0\0\0\0", 4) << "uncompressed RGB";
        QTest::newRow("no letters") << QByteArray("\xFF\xFF\xFF\xFF") << "";
        QTest::newRow("from a to z") << QByteArray("azaz") << "";
        QTest::newRow("mixed case") << QByteArray("mJpG") << "Motion JPEG";
    }
    void namesOfCodecs()
    {
        QFETCH(QByteArray, code);
        QFETCH(QString, name);
        QCOMPARE(videoCodecName(qFromLittleEndian<quint32>(code.constData())), name);
    }

    void namesOfAudioFormats()
    {
        QCOMPARE(audioFormatName(0x0055), QStringLiteral("MP3"));
        QCOMPARE(audioFormatName(0xFFFE), QStringLiteral("extensible wave format"));
        QCOMPARE(audioFormatName(0x1234), QString());
    }
};

QTEST_APPLESS_MAIN(TestAviDescriber)
#include "tst_avidescriber.moc"
