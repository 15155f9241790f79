#include "containerwave.h"
#include "wavedescriber.h"

#include "byteaccounting.h"
#include "describingsink.h"
#include "testing/memoryrun.h"
#include "testing/recordingsink.h"
#include "testing/riffbuilder.h"

#include <QtTest>

using namespace quenlofar;
using namespace build;

namespace {

QByteArray wave(std::initializer_list<QByteArray> chunks)
{
    return list("WAVE", chunks, "RIFF");
}

QByteArray fmt(quint16 tag, quint16 channels, quint32 rate, quint16 blockSize, quint16 bits)
{
    return chunk("fmt ", u16(tag) + u16(channels) + u32(rate) + u32(rate * blockSize) + u16(blockSize) + u16(bits));
}

QByteArray fixed(const char *text, int size)
{
    return QByteArray(text).leftJustified(size, '\0');
}

/// bext with the five loudness values, without a coding history.
QByteArray bext(quint16 version)
{
    return fixed("A description", 256) + fixed("Somebody", 32) + fixed("REF", 32) + "2024-05-17" + "12:34:56" + u64(48)
        + u16(version) + zeros(64) + le(qint16(-2300)) + le(qint16(750)) + le(qint16(-100)) + le(qint16(-1850))
        + le(qint16(-2010)) + zeros(180);
}

QByteArray zeroDigits(int bytes)
{
    return QByteArray("00 ").repeated(bytes).trimmed();
}

/// The lines behind `title`'s header, up to its end; see RecordingSink.
QStringList linesIn(const QStringList &lines, const QString &title)
{
    QStringList result;
    bool inside = false;
    for (const QString &line : lines) {
        const QString text = line.trimmed();
        if (inside && text == QLatin1String("}"))
            break;
        if (inside && !text.startsWith(QLatin1String("id ")) && !text.startsWith(QLatin1String("size ")))
            result.append(text);
        inside = inside || text.startsWith(title + QLatin1Char(' '));
    }
    return result;
}

} // namespace

class TestContainerWave : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void detection_data();
    void detection();
    void wholeFile();
    void chunks_data();
    void chunks();
    void cutsCoverEveryByte();
    void aLongTextIsShownInPart();
    void describes_data();
    void describes();
    void describesTexts();
};

void TestContainerWave::detection_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<int>("status");
    QTest::newRow("RIFF of the form WAVE") << wave({}) << int(StatusOk);
    QTest::newRow("RF64 of the form WAVE") << QByteArray(list("WAVE", {}, "RF64")) << int(StatusOk);
    QTest::newRow("another form") << QByteArray(list("AVI ", {}, "RIFF")) << int(StatusNotRecognised);
    QTest::newRow("a list is no file") << QByteArray(list("WAVE", {})) << int(StatusNotRecognised);
    QTest::newRow("too short for a form") << QByteArray("RIFF\4\0\0\0WAV") << int(StatusNotRecognised);
    QTest::newRow("no bytes") << QByteArray() << int(StatusNotRecognised);
}

void TestContainerWave::detection()
{
    QFETCH(QByteArray, file);
    RecordingSink sink;
    QTEST(runOverMemory(file, factoryOf<ContainerWave>(), sink).status, "status");
}

void TestContainerWave::wholeFile()
{
    RecordingSink sink;
    const RunResult result =
        runOverMemory(wave({fmt(1, 1, 8000, 1, 8), chunk("data", "abc")}), factoryOf<ContainerWave>(), sink);
    QCOMPARE(result.status, 0);
    QCOMPARE(sink.lines.join(QLatin1Char('\n')),
             QStringLiteral("RIFF(WAVE) 0+48 {\n"
                            "  id 0+4 RIFF\n"
                            "  size 4+4 40\n"
                            "  type 8+4 WAVE\n"
                            "  fmt  12+24 {\n"
                            "    id 12+4 fmt \n"
                            "    size 16+4 16\n"
                            "    wFormatTag 20+2 1 [PCM]\n"
                            "    nChannels 22+2 1\n"
                            "    nSamplesPerSec 24+4 8000\n"
                            "    nAvgBytesPerSec 28+4 8000\n"
                            "    nBlockAlign 32+2 1\n"
                            "    wBitsPerSample 34+2 8\n"
                            "  }\n"
                            "  data 36+12 {\n"
                            "    id 36+4 data\n"
                            "    size 40+4 3\n"
                            "    value 44+3\n"
                            "    padding 47+1 0\n"
                            "  }\n"
                            "}"));
}

void TestContainerWave::chunks_data()
{
    QTest::addColumn<QByteArray>("data"); // of the one chunk, which begins at 20
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const char *id, const QByteArray &data, const char *expected) {
        QTest::newRow(name) << data << QString::fromLatin1(id) << QString::fromLatin1(expected);
    };
    row("fact", "fact", u32(77), "dwSampleLength 20+4 77");
    row("fact with more than is known", "fact", u32(77) + zeros(2), "dwSampleLength 20+4 77|unparsed 24+2");
    row("a field that is cut off is unparsed", "fact", u16(77), "unparsed 20+2");
    row("sampler with a loop", "smpl",
        u32(1) + u32(2) + u32(22675) + u32(60) + u32(0) + u32(0) + u32(0) + u32(1) + u32(0) + u32(5) + u32(0) + u32(10)
            + u32(20) + u32(0) + u32(3),
        "dwManufacturer 20+4 1|dwProduct 24+4 2|dwSamplePeriod 28+4 22675|dwMIDIUnityNote 32+4 60|"
        "dwMIDIPitchFraction 36+4 0|dwSMPTEFormat 40+4 0|dwSMPTEOffset 44+4 0|cSampleLoops 48+4 1|cbSamplerData 52+4 0|"
        "SampleLoop 56+24 #0 {|dwIdentifier 56+4 5|dwType 60+4 0|dwStart 64+4 10|dwEnd 68+4 20|dwFraction 72+4 0|"
        "dwPlayCount 76+4 3");
    row("cue points", "cue ", u32(1) + u32(7) + u32(8) + "data" + u32(0) + u32(0) + u32(9),
        "dwCuePoints 20+4 1|CuePoint 24+24 #0 {|dwName 24+4 7|dwPosition 28+4 8|fccChunk 32+4 data|"
        "dwChunkStart 36+4 0|dwBlockStart 40+4 0|dwSampleOffset 44+4 9");
    row("more cue points than there are", "cue ", u32(0xFFFFFFFF) + zeros(10),
        "dwCuePoints 20+4 4294967295|unparsed 24+10");
    row("a label", "labl", u32(7) + "Verse", "dwName 20+4 7|value 24+5 Verse|padding 29+1 0");
    row("a label without a text", "labl", u32(7), "dwName 20+4 7");
    row("an unknown chunk is shown as a text", "abcd", "hello!", "value 20+6 hello!");
    row("no data, no leaf", "abcd", "", "");
    row("sound is not shown", "data", "abcd", "value 20+4");
    row("entries of ds64", "ds64", u64(1) + u64(2) + u64(3) + u32(1) + "wxyz" + u64(0x100000000),
        "riffSize 20+8 1|dataSize 28+8 2|sampleCount 36+8 3|tableLength 44+4 1|chunkSize64 48+12 #0 {|"
        "chunkId 48+4 wxyz|chunkSize 52+8 4294967296");
    const char *const bextLines =
        "Description 20+256 A description|Originator 276+32 Somebody|OriginatorReference 308+32 "
        "REF|OriginationDate 340+10 2024-05-17|OriginationTime 350+8 12:34:56|"
        "TimeReference 358+8 48|Version 366+2 ";
    row("bext, version 1: no loudness", "bext", bext(1),
        (QByteArray(bextLines) + "1|UMID 368+64 " + zeroDigits(64)
         + "|LoudnessValue 432+2 -2300|LoudnessRange 434+2 750|MaxTruePeakLevel 436+2 -100|"
           "MaxMomentaryLoudness 438+2 -1850|MaxShortTermLoudness 440+2 -2010|Reserved 442+180 "
         + zeroDigits(180))
            .constData());
    row("bext, version 2, with a history", "bext", bext(2) + "A=PCM",
        (QByteArray(bextLines) + "2|UMID 368+64 " + zeroDigits(64)
         + "|LoudnessValue 432+2 -2300 [-23.00 LUFS]|LoudnessRange 434+2 750 [7.50 LU]|"
           "MaxTruePeakLevel 436+2 -100 [-1.00 dBTP]|MaxMomentaryLoudness 438+2 -1850 [-18.50 LUFS]|"
           "MaxShortTermLoudness 440+2 -2010 [-20.10 LUFS]|Reserved 442+180 "
         + zeroDigits(180) + "|CodingHistory 622+5 A=PCM|padding 627+1 0")
            .constData());
    const QByteArray header = u16(0xFFFE) + u16(2) + u32(48000) + u32(288000) + u16(6) + u16(24);
    const char *const headerLines = "wFormatTag 20+2 65534 [extensible wave format]|nChannels 22+2 2|"
                                    "nSamplesPerSec 24+4 48000|nAvgBytesPerSec 28+4 288000|nBlockAlign 32+2 6|"
                                    "wBitsPerSample 34+2 24|cbSize 36+2 ";
    row("an extensible format of another maker", "fmt ",
        header + u16(22) + u16(20) + u32(3) + QByteArray::fromHex("00112233445566778899aabbccddeeff"),
        (QByteArray(headerLines)
         + "22|wValidBitsPerSample 38+2 20|dwChannelMask 40+4 3 [FRONT_LEFT | FRONT_RIGHT]|"
           "SubFormat 44+16 {33221100-5544-7766-8899-aabbccddeeff}")
            .constData());
    row("an extension that says that it is short", "fmt ", header + u16(2) + zeros(22),
        (QByteArray(headerLines) + "2|unparsed 38+22").constData());
}

void TestContainerWave::chunks()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, id);
    QFETCH(QString, expected);
    RecordingSink sink;
    const QByteArray file = wave({chunk(id.toLatin1().constData(), data)});
    QCOMPARE(runOverMemory(file, factoryOf<ContainerWave>(), sink).status, 0);
    QCOMPARE(linesIn(sink.lines, id).join(QLatin1Char('|')), expected);
}

void TestContainerWave::cutsCoverEveryByte()
{
    const QByteArray file =
        wave({fmt(1, 1, 8000, 1, 8), chunk("cue ", u32(2) + zeros(48)), chunk("bext", bext(2) + "A"),
              list("INFO", {chunk("INAM", "A title")}), chunk("data", "abc")});
    for (int size = 12; size <= int(file.size()); ++size) {
        ByteAccounting accounting;
        const RunResult result = runOverMemory(file.left(size), factoryOf<ContainerWave>(), accounting);
        QCOMPARE(result.status, size == int(file.size()) ? 0 : int(StatusEndOfFile));
        QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Gap), quint64(0));
        QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Overlap), quint64(0));
    }
}

void TestContainerWave::aLongTextIsShownInPart()
{
    RecordingSink sink;
    runOverMemory(wave({chunk("abcd", QByteArray(10000, 'x'))}), factoryOf<ContainerWave>(), sink);
    QCOMPARE(linesIn(sink.lines, QStringLiteral("abcd")).first(),
             QStringLiteral("value 20+10000 ") + QString(256, QLatin1Char('x')));
}

void TestContainerWave::describes_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("expected"); // code, name, channels, samples per second, bits, bits per second, length
    QTest::newRow("PCM: the length is that of the data")
        << wave({fmt(1, 2, 44100, 4, 16), chunk("data", zeros(400))}) << "0x0001 PCM 2 44100 16 1411200 100";
    QTest::newRow("other formats: it is that of fact")
        << wave({fmt(0x11, 1, 8000, 256, 4), chunk("fact", u32(2041)), chunk("data", zeros(512))})
        << "0x0011 IMA ADPCM 1 8000 4 16384000 2041";
    QTest::newRow("other formats without fact: unknown")
        << wave({fmt(0x55, 1, 8000, 1, 0), chunk("data", zeros(512))}) << "0x0055 MP3 1 8000 0 64000 -1";
    QTest::newRow("an extensible format is what it extends to")
        << wave({chunk("fmt ",
                       u16(0xFFFE) + u16(6) + u32(48000) + u32(1152000) + u16(24) + u16(32) + u16(22) + u16(24)
                           + u32(0x3F) + QByteArray::fromHex("0300000000001000800000aa00389b71")),
                 chunk("data", zeros(240))})
        << "0xFFFE PCM, floating point 6 48000 24 9216000 10";
    QTest::newRow("no format, no stream") << wave({chunk("data", zeros(4))}) << "";
}

void TestContainerWave::describes()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, expected);
    const ParserFactory factory = factoryOf<ContainerWave, WaveDescriber>();
    DescribingSink sink({factory});
    runOverMemory(file, factory, sink);
    QStringList lines;
    const QVector<StreamDescription> streams = sink.streams();
    for (const StreamDescription &stream : streams) {
        QCOMPARE(stream.kindText(), QStringLiteral("audio"));
        lines.append(QStringLiteral("%1 %2 %3 %4 %5 %6 %7")
                         .arg(stream.codecCode, stream.codecName)
                         .arg(stream.channels)
                         .arg(stream.sampleRate)
                         .arg(stream.bitsPerSample)
                         .arg(stream.bitRate)
                         .arg(stream.length));
    }
    QCOMPARE(lines.join(QLatin1Char('\n')), expected);
}

void TestContainerWave::describesTexts()
{
    const ParserFactory factory = factoryOf<ContainerWave, WaveDescriber>();
    DescribingSink sink({factory});
    runOverMemory(wave({chunk("bext", bext(1)),
                        list("INFO", {chunk("INAM", "First"), chunk("INAM", "Second"), chunk("ISFT", "Tool")})}),
                  factory, sink);
    QStringList lines;
    const QVector<DescriptionRow> rows = sink.rows();
    for (const DescriptionRow &row : rows)
        lines.append(row.label + QLatin1Char('=') + row.text);
    QCOMPARE(lines.join(QLatin1Char('|')),
             QStringLiteral("title=First|writing software=Tool|description=A description|originator=Somebody"));
}

QTEST_APPLESS_MAIN(TestContainerWave)
#include "tst_containerwave.moc"
