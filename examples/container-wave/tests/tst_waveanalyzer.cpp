#include "waveanalyzer.h"

#include "bytesource.h"
#include "pluginloader.h"
#include "testing/riffbuilder.h"

#include <QtTest>

#include <cstring>
#include <set>

using namespace quenlofar;
using namespace build;

namespace {

QByteArray wave(std::initializer_list<QByteArray> chunks)
{
    return list("WAVE", chunks, "RIFF");
}

/// A fmt chunk of PCM unless changed: two channels of 16 bits, 1000 samples per second.
class Format : public Record<Format>
{
public:
    Format() : Record(16) { tag(1).channels(2).rate(1000).byteRate(4000).block(4).bits(16); }
    Format &tag(quint16 number) { return put(0, u16(number)); }
    Format &channels(quint16 number) { return put(2, u16(number)); }
    Format &rate(quint32 number) { return put(4, u32(number)); }
    Format &byteRate(quint32 number) { return put(8, u32(number)); }
    Format &block(quint16 number) { return put(12, u16(number)); }
    Format &bits(quint16 number) { return put(14, u16(number)); }
    /// PCM by an extension of 22 bytes.
    Format &extensible(quint16 validBits, quint32 speakers)
    {
        return tag(0xFFFE).put(
            16, u16(22) + u16(validBits) + u32(speakers) + QByteArray::fromHex("0100000000001000800000aa00389b71"));
    }
};

QByteArray fmt(const Format &format = {})
{
    return chunk("fmt ", format);
}

QByteArray sound(int size = 40)
{
    return chunk("data", QByteArray(size, '\1'));
}

/// RF64 with ds64 before `chunks`, whose 32-bit sizes are those of RF64.
QByteArray longWave(quint64 riffSize, quint64 dataSize, quint64 samples, const QByteArray &chunks)
{
    const QByteArray sizes = u64(riffSize) + u64(dataSize) + u64(samples) + u32(0);
    return list("WAVE", {chunk("ds64", sizes), chunks}, "RF64").declaredSize(0xFFFFFFFF);
}

QByteArray longSound()
{
    return chunk("data", QByteArray(40, '\1')).declaredSize(0xFFFFFFFF);
}

/// What an analyzer finds, once it has been asked.
struct Judged
{
    explicit Judged(const QByteArray &bytes, Level level = Level::Default) : source(memorySource(bytes))
    {
        AnalysisOptions options;
        options.level = level;
        result = analyzer.read(*source, options);
        Findings findings;
        isJudged = analyzer.check({level, {}}, findings);
        notChecked = findings.notChecked();
        list = findings.takeList();
    }

    std::unique_ptr<ByteSource> source;
    WaveAnalyzer analyzer;
    AnalysisResult result;
    std::vector<Finding> list;
    QStringList notChecked;
    bool isJudged = false;
};

/// "rule severity offset+size stream: expected | actual", with " < cause" and " x count" where there are.
QString lineOf(const Finding &finding, const std::vector<Finding> &list)
{
    QString line = QStringLiteral("%1 %2 %3+%4").arg(finding.rule, severityName(finding.severity).toString());
    line = line.arg(finding.places.front().offset).arg(finding.places.front().size);
    if (finding.stream >= 0)
        line += QStringLiteral(" stream %1").arg(finding.stream);
    line += QStringLiteral(": %1 | %2").arg(finding.expected, finding.actual);
    if (finding.causedBy != 0)
        line += QStringLiteral(" < ") + list[size_t(finding.causedBy) - 1].rule;
    if (finding.count > 1)
        line += QStringLiteral(" x%1").arg(finding.count);
    return line;
}

QString linesOf(const std::vector<Finding> &list)
{
    QStringList lines;
    for (const Finding &finding : list)
        lines.append(lineOf(finding, list));
    return lines.join(QLatin1Char('\n'));
}

/// "offset+size kind" of each region.
QString regionsOf(const WaveAnalyzer &analyzer)
{
    QStringList texts;
    const RegionTable &regions = analyzer.regions();
    for (quint64 at = 0; at < regions.fileSize();) {
        const Region region = regions.at(at);
        texts.append(QStringLiteral("%1+%2 %3")
                         .arg(region.range.offset)
                         .arg(region.range.size)
                         .arg(regionKindText(region.kind)));
        at = region.range.end();
    }
    return texts.join(QStringLiteral(", "));
}

/// A file that breaks a rule, and what is found in it, in the words of lineOf.
struct Row
{
    const char *name;
    QByteArray file;
    const char *expected;
};

std::vector<Row> ruleRows()
{
    std::vector<Row> rows;
    const auto row = [&rows](const char *name, const QByteArray &file, const char *expected) {
        rows.push_back({name, file, expected});
    };
    const auto sized = [](quint32 size, std::initializer_list<QByteArray> chunks) {
        return QByteArray(list("WAVE", chunks, "RIFF").declaredSize(size));
    };
    // RIFF 0+12, fmt 12+24, data 36+8, sound 44+40: 84 bytes, of which the size tells 76.
    row("another id", QByteArray(wave({fmt(), sound()})).replace(0, 4, "RIFX"),
        "outer-header error 0+12: RIFF or RF64, and WAVE | 0x58464952, and 0x45564157");
    row("a size of 0", sized(0, {fmt(), sound()}), "size-never-filled-in error 4+4: 76 | 0, left open");
    row("sizes of a pipe", sized(0xFFFFFFFF, {fmt(), chunk("data", "\1\2\1\2").declaredSize(0xFFFFFFFF)}),
        "size-never-filled-in error 4+4: 40 | 4294967295, left open x2");
    row("sound without a size", sized(0, {fmt(), chunk("data", "\1\2\1\2\1").declaredSize(0)}),
        "size-never-filled-in error 4+4: 42 | 0, left open x2\n"
        "sound-in-blocks warning 40+4 stream 0: 4 | 6 < size-never-filled-in");
    row("cut in the sound", QByteArray(wave({fmt(), sound()})).left(70),
        "file-cut error 4+4: 62 | 76\n"
        "chunk-cut error 40+4 stream 0: 26 | 40 < file-cut\n"
        "sound-in-blocks warning 40+4 stream 0: 24 | 26 < file-cut");
    row("cut before the sound", QByteArray(wave({fmt(), sound()})).left(36),
        "file-cut error 4+4: 28 | 76\n"
        "chunk-missing error 0+12 stream 0: a chunk \"data\" | none < file-cut");
    row("cut in a header", QByteArray(wave({fmt(), sound()})).left(41),
        "file-cut error 4+4: 33 | 76\n"
        "broken-chain error 36+5: a chunk | 5 bytes that are none < file-cut\n"
        "chunk-missing error 0+12 stream 0: a chunk \"data\" | none < file-cut");
    row("cut in the format", QByteArray(wave({fmt(), sound()})).left(30),
        "file-cut error 4+4: 22 | 76\n"
        "chunk-cut error 16+4: 10 | 16 < file-cut\n"
        "chunk-missing error 0+12 stream 0: a chunk \"data\" | none < file-cut\n"
        "format-too-short error 12+8 stream 0: 16 bytes or more | 10 bytes < file-cut");
    row("a size that is too large", sized(80, {fmt(), sound()}), "file-cut error 4+4: 76 | 80");
    row("a size that ends in the sound", sized(70, {fmt(), sound()}), "outer-size-short error 4+4: 76 | 70");
    row("a size that ends before a chunk", sized(76, {fmt(), sound(), list("INFO", {chunk("INAM", "name")})}),
        "outer-size-short error 4+4: 100 | 76");
    row("zeros between chunks", wave({fmt(), zeros(16), sound()}),
        "broken-chain error 36+64: a chunk | 64 bytes that are none\n"
        "chunk-missing error 0+12 stream 0: a chunk \"data\" | none < broken-chain");
    row("a chunk that is longer than the file", wave({fmt(), chunk("data", zeros(40)).declaredSize(60)}),
        "chunk-cut error 40+4 stream 0: 40 | 60");
    row("a chunk of texts that is longer than the file",
        wave({fmt(), sound(), chunk("LIST", "INFO").declaredSize(5000)}), "chunk-cut error 88+4: 4 | 5000");
    // "abc" without its padding, in front of a chunk.
    row("no padding", sized(87, {QByteArray("bext\3\0\0\0abc", 11), fmt(), sound()}),
        "odd-not-padded error 12+8: a byte of padding | the next chunk");
    row("no padding at the end",
        sized(39, {fmt(Format().channels(1).block(1).bits(8).byteRate(1000)), QByteArray("data\3\0\0\0abc", 11)})
            .left(47),
        "odd-not-padded warning 36+8: a byte of padding | the end of the file");
    row("more behind the end", wave({fmt(), sound()}) + "TAG", "trailing-data warning 84+3: 0 | 3");
    row("two formats", wave({fmt(), fmt(), sound()}), "chunk-repeated error 36+8: one such chunk | another one");
    row("three sounds", wave({fmt(), sound(8), sound(8), sound(8)}),
        "chunk-repeated error 52+8: one such chunk | another one x2");
    row("no format", wave({sound()}), "chunk-missing error 0+12 stream 0: a chunk \"fmt \" | none");
    row("nothing", wave({}), "chunk-missing error 0+12 stream 0: a chunk \"fmt \" | none x2");
    row("a format of 14 bytes", wave({chunk("fmt ", zeros(14)), sound()}),
        "format-too-short error 12+8 stream 0: 16 bytes or more | 14 bytes");
    row("the format at the end", wave({sound(), fmt()}),
        "format-after-data error 60+8 stream 0: before offset 12 | at offset 60");
    row("no channels", wave({fmt(Format().channels(0)), sound()}),
        "format-zero error 22+2 stream 0: 1 or more | 0\n"
        "block-size error 32+2 stream 0: 0 | 4 < format-zero");
    row("all numbers 0 but the tag", wave({chunk("fmt ", Format().put(2, zeros(14))), sound()}),
        "format-zero error 22+2 stream 0: 1 or more | 0 x4");
    row("a block that is too small", wave({fmt(Format().block(3)), sound()}),
        "block-size error 32+2 stream 0: 4 | 3\n"
        "byte-rate warning 28+4 stream 0: 3000 | 4000 < block-size\n"
        "sound-in-blocks warning 40+4 stream 0: 39 | 40 < block-size");
    row("a byte rate of one channel", wave({fmt(Format().byteRate(2000)), sound()}),
        "byte-rate warning 28+4 stream 0: 4000 | 2000");
    row("half a block", wave({fmt(), sound(42)}), "sound-in-blocks warning 40+4 stream 0: 40 | 42");
    row("no extension", wave({fmt(Format().tag(0xFFFE)), sound()}),
        "extension error 36+2 stream 0: 22 bytes | 0 bytes");
    row("an extension that says that it is short", wave({fmt(Format().extensible(16, 3).put(16, u16(2))), sound()}),
        "extension error 36+2 stream 0: 22 bytes | 2 bytes");
    row("more valid bits than there are", wave({fmt(Format().extensible(24, 3)), sound()}),
        "extension error 38+2 stream 0: at most 16 | 24");
    row("more speakers than channels", wave({fmt(Format().extensible(16, 0x3F)), sound()}),
        "extension warning 40+4 stream 0: at most 2 speakers | 6 speakers");
    row("RF64 without its sizes", list("WAVE", {fmt(), sound()}, "RF64").declaredSize(0xFFFFFFFF),
        "size-never-filled-in error 4+4: 76 | 4294967295, left open\n"
        "long-sizes-missing error 0+12: ds64 as the first chunk | none");
    // ds64 12+36, fmt 48+24, data 72+8, sound 80+40: 120 bytes.
    row("a ds64 that counts other samples", longWave(112, 40, 11, fmt() + longSound()),
        "long-sizes warning 36+8: 10 | 11");
    row("a ds64 without its table",
        list("WAVE", {chunk("ds64", u64(108) + u64(40) + u64(10)), fmt(), longSound()}, "RF64")
            .declaredSize(0xFFFFFFFF),
        "long-sizes error 16+4: 28 bytes or more | 24 bytes");
    row("an RF64 file that is cut", longWave(112, 40, 10, fmt() + longSound()).left(100),
        "file-cut error 20+8: 92 | 112\n"
        "chunk-cut error 28+8 stream 0: 20 | 40 < file-cut");
    return rows;
}

} // namespace

class TestWaveAnalyzer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recognises_data();
    void recognises();
    void rules_data();
    void rules();
    void everyRuleHasARow();
    void goodFiles_data();
    void goodFiles();
    void samplesConform_data();
    void samplesConform();
    void packetsAreSeconds();
    void packetsOfCompressedSound();
    void packetsAreBounded();
    void longFiles();
    void regions_data();
    void regions();
    void everyCutIsFound();
    void hostileNumbers();
    void tooManyChunks();
    void anErrorIsNoVerdict();
    void aCancelIsNoVerdict();
    void thePluginExportsIt();
};

void TestWaveAnalyzer::recognises_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<int>("recognition");
    const QByteArray whole = wave({fmt(), sound()});
    QTest::newRow("RIFF of the form WAVE") << whole << int(Recognition::Yes);
    QTest::newRow("RF64 of the form WAVE") << QByteArray("RF64\377\377\377\377WAVE") << int(Recognition::Yes);
    QTest::newRow("a damaged id") << QByteArray(whole).replace(0, 4, "RIFX") << int(Recognition::Parts);
    QTest::newRow("a damaged form") << QByteArray(whole).replace(8, 4, "WAVF") << int(Recognition::Parts);
    QTest::newRow("another form") << QByteArray(list("AVI ", {}, "RIFF")) << int(Recognition::No);
    QTest::newRow("a form alone") << QByteArray("????????WAVE????") << int(Recognition::No);
    QTest::newRow("no bytes") << QByteArray() << int(Recognition::No);
}

void TestWaveAnalyzer::recognises()
{
    QFETCH(QByteArray, file);
    QTEST(int(WaveAnalyzer().recognises(*memorySource(file))), "recognition");
}

void TestWaveAnalyzer::rules_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("expected");
    for (const Row &row : ruleRows())
        QTest::newRow(row.name) << row.file << QString::fromLatin1(row.expected);
}

void TestWaveAnalyzer::rules()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, expected);
    const Judged judged(file);
    QVERIFY(judged.isJudged);
    QVERIFY(judged.result.isComplete());
    QCOMPARE(linesOf(judged.list), expected);
}

void TestWaveAnalyzer::everyRuleHasARow()
{
    std::set<QString> broken;
    for (const Row &row : ruleRows()) {
        const QStringList lines = QString::fromLatin1(row.expected).split(QLatin1Char('\n'));
        for (const QString &line : lines)
            broken.insert(line.section(QLatin1Char(' '), 0, 0));
    }
    std::set<QString> names;
    const RuleList rules = WaveAnalyzer().rules();
    for (int ordinal = 0; ordinal < rules.size(); ++ordinal) {
        names.insert(rules[ordinal].name.toString());
        for (const QStringView text : {rules[ordinal].title, rules[ordinal].reason, rules[ordinal].affected,
                                       rules[ordinal].advice, rules[ordinal].source})
            QVERIFY2(!text.isEmpty(), qPrintable(rules[ordinal].name.toString()));
    }
    QCOMPARE(int(names.size()), rules.size());
    QVERIFY(names == broken);
}

void TestWaveAnalyzer::goodFiles_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("plain") << wave({fmt(), sound()});
    QTest::newRow("no sound") << wave({fmt(), sound(0)});
    QTest::newRow("no sound, and texts behind") << wave({fmt(), sound(0), list("INFO", {chunk("INAM", "name")})});
    QTest::newRow("an odd size, padded") << wave({fmt(Format().channels(1).bits(8).block(1).byteRate(1000)), sound(5)});
    QTest::newRow("12 bits in 16") << wave({fmt(Format().bits(12)), sound()});
    QTest::newRow("extensible") << wave({fmt(Format().extensible(16, 3)), sound()});
    QTest::newRow("compressed sound has a byte rate of its own")
        << wave({fmt(Format().tag(0x11).block(36).byteRate(777).bits(4)), sound(72)});
    QTest::newRow("an unknown chunk") << wave({chunk("wxyz", "abc"), fmt(), sound()});
    QTest::newRow("RF64") << longWave(112, 40, 10, fmt() + longSound());
    QTest::newRow("RF64 that counts no samples") << longWave(112, 40, 0, fmt() + longSound());
}

void TestWaveAnalyzer::goodFiles()
{
    QFETCH(QByteArray, file);
    QCOMPARE(linesOf(Judged(file).list), QString());
}

void TestWaveAnalyzer::samplesConform_data()
{
    QTest::addColumn<quint64>("bytes"); // of the sound, as a hex dump shows them
    QTest::addColumn<double>("seconds"); // as ffprobe tells them
    QTest::newRow("ffmpeg-bext") << quint64(320) << 0.02;
    QTest::newRow("ffmpeg-ima-adpcm") << quint64(1024) << 0.255125; // its byte rate is a nominal one
    QTest::newRow("ffmpeg-info") << quint64(320) << 0.02;
    QTest::newRow("ffmpeg-pcm16-mono") << quint64(800) << 0.05;
    QTest::newRow("ffmpeg-pcm24-6ch") << quint64(864) << 0.001;
    QTest::newRow("ffmpeg-rf64") << quint64(800) << 0.05;
    QTest::newRow("sox-alaw") << quint64(80) << 0.01;
    QTest::newRow("sox-float") << quint64(640) << 0.02;
    QTest::newRow("sox-pcm16-stereo") << quint64(368) << 0.002086;
    QTest::newRow("sox-pcm8-odd") << quint64(23) << 0.002086;
}

void TestWaveAnalyzer::samplesConform()
{
    QFile file(QStringLiteral(SAMPLES "/%1.wav").arg(QLatin1String(QTest::currentDataTag())));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const Judged judged(file.readAll());
    QCOMPARE(linesOf(judged.list), QString());
    const PacketTable &packets = judged.analyzer.packets();
    QCOMPARE(packets.streamCount(), 1);
    QTEST(packets.totals(0).bytes, "bytes");
    QFETCH(double, seconds);
    QVERIFY(qAbs(packets.duration(0) - seconds) < 0.000001);
}

void TestWaveAnalyzer::packetsAreSeconds()
{
    const Judged judged(wave({fmt(), sound(10000)}));
    const PacketTable &packets = judged.analyzer.packets();
    QCOMPARE(packets.size(), quint64(3));
    QCOMPARE(int(packets.stream(0).kind), int(StreamKind::Audio));
    for (const auto &[index, offset, size] : std::initializer_list<std::tuple<quint64, quint64, quint32>>{
             {0, 44, 4000}, {1, 4044, 4000}, {2, 8044, 2000}}) {
        QCOMPARE(packets.at(index).offset, offset);
        QCOMPARE(packets.at(index).size, size);
        QCOMPARE(packets.secondsOf(index), double(index));
        QCOMPARE(int(packets.at(index).key), int(KeyState::Yes));
        QVERIFY(!packets.at(index).isCut);
    }
    QCOMPARE(packets.duration(0), 2.5);
    QCOMPARE(packets.indexAt(4043), quint64(0));
    QCOMPARE(judged.analyzer.references().size(), quint64(0));

    const Judged cut(QByteArray(wave({fmt(), sound(10000)})).left(5044));
    QCOMPARE(cut.analyzer.packets().size(), quint64(2));
    QVERIFY(!cut.analyzer.packets().at(0).isCut);
    QVERIFY(cut.analyzer.packets().at(1).isCut);
    QCOMPARE(cut.analyzer.packets().at(1).size, quint32(1000));

    QCOMPARE(Judged(wave({fmt(), sound()}), Level::Quick).analyzer.packets().size(), quint64(0));
}

void TestWaveAnalyzer::packetsOfCompressedSound()
{
    // MP3 tells nothing but a byte rate: 100 bytes a second are 2 whole blocks of 36.
    const Judged rated(wave({fmt(Format().tag(0x55).block(36).byteRate(100).bits(0)), sound(180)}));
    const PacketTable &packets = rated.analyzer.packets();
    QCOMPARE(packets.size(), quint64(3));
    QCOMPARE(packets.at(1).offset, quint64(44 + 72));
    QCOMPARE(packets.secondsOf(1), 0.72);
    QCOMPARE(packets.duration(0), 1.8);
    QCOMPARE(int(packets.at(0).key), int(KeyState::Unknown));

    // ADPCM tells the samples of a block, here 250, so 4 blocks are a second of 1000 samples. fmt has 4 bytes more.
    const Format adpcm = Format().tag(0x11).block(36).byteRate(9999).bits(4).put(16, u16(2) + u16(250));
    const Judged counted(wave({fmt(adpcm), sound(180)}));
    QCOMPARE(counted.analyzer.packets().size(), quint64(2));
    QCOMPARE(counted.analyzer.packets().at(1).offset, quint64(48 + 144));
    QCOMPARE(counted.analyzer.packets().secondsOf(1), 1.0);
    QCOMPARE(counted.analyzer.packets().duration(0), 1.25);
    QCOMPARE(int(counted.analyzer.packets().at(1).key), int(KeyState::Yes));
}

void TestWaveAnalyzer::packetsAreBounded()
{
    // A block of one byte, once a second: 3 000 000 packets, were they not made longer.
    const Judged judged(
        wave({fmt(Format().channels(1).bits(8).rate(1).block(1).byteRate(1)), chunk("data", zeros(3000000))}));
    const PacketTable &packets = judged.analyzer.packets();
    QCOMPARE(packets.size(), quint64(1000000));
    QCOMPARE(packets.at(7).size, quint32(3));
    QCOMPARE(packets.totals(0).bytes, quint64(3000000));
}

namespace {

/// Begins with some bytes; behind them all are zero.
class LongSource final : public ByteSource
{
public:
    LongSource(const QByteArray &bytes, qint64 size) : m_bytes(bytes), m_size(size) { }
    qint64 size() const override { return m_size; }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const qint64 count = qMax<qint64>(0, qMin(maxSize, m_size - position));
        std::memset(data, 0, size_t(count));
        if (position < m_bytes.size())
            std::memcpy(data, m_bytes.constData() + position, size_t(qMin<qint64>(count, m_bytes.size() - position)));
        m_bytesRead += count;
        return count;
    }
    qint64 bytesRead() const { return m_bytesRead; }

private:
    QByteArray m_bytes;
    qint64 m_size;
    qint64 m_bytesRead = 0;
};

} // namespace

void TestWaveAnalyzer::longFiles()
{
    // 64 terabytes of sound, and texts behind: ds64 12+36, fmt 48+24, data 72+8.
    constexpr quint64 soundSize = quint64(1) << 46;
    const QByteArray head = longWave(80 - 8 + soundSize + 12, soundSize, soundSize / 4, fmt() + longSound());
    LongSource source(head.left(80), qint64(80 + soundSize + 12));
    WaveAnalyzer analyzer;
    QVERIFY(analyzer.read(source, {}).isComplete());
    QVERIFY(source.bytesRead() < 100000);
    QVERIFY(analyzer.packets().size() <= WaveAnalyzer::mostPackets);
    QCOMPARE(analyzer.packets().totals(0).bytes, soundSize);
    QCOMPARE(analyzer.packets().duration(0), double(soundSize) / 4000);
    Findings findings;
    QVERIFY(analyzer.check({}, findings));
    QCOMPARE(linesOf(findings.takeList()), // the zeros behind are no chunk
             QStringLiteral("broken-chain error 70368744177744+12: a chunk | 12 bytes that are none"));

    // What ds64 says of a file of 120 bytes cannot be added up.
    const Judged judged(longWave(~quint64(0), ~quint64(0) - 3, 0, fmt() + longSound()));
    QCOMPARE(linesOf(judged.list),
             QStringLiteral("file-cut error 20+8: 112 | 18446744073709551615\n"
                            "chunk-cut error 28+8 stream 0: 40 | 18446744073709551612 < file-cut"));
    QCOMPARE(judged.analyzer.packets().totals(0).bytes, quint64(40));
}

void TestWaveAnalyzer::regions_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("expected");
    const QByteArray file = wave({fmt(), chunk("JUNK", "abc"), chunk("wxyz", "ab"), chunk("data", zeros(5)),
                                  list("INFO", {chunk("INAM", "name")})})
        + "TAG";
    const char *const head = "0+36 header, 36+12 padding, 48+10 unknown, 58+8 header, ";
    const char *const tail = ", 71+1 padding, 72+24 text, 96+3 unknown";
    QTest::newRow("with packets") << file << int(Level::Default) << QString::fromLatin1(head) + "66+5 audio" + tail;
    QTest::newRow("without") << file << int(Level::Quick) << QString::fromLatin1(head) + "66+5 audio" + tail;
    QTest::newRow("one packet after the other")
        << wave({fmt(), sound(8000)}) << int(Level::Default) << "0+44 header, 44+4000 audio, 4044+4000 audio";
    QTest::newRow("no bytes") << QByteArray() << int(Level::Default) << QString();
    QTest::newRow("less than a header") << QByteArray("RIFF") << int(Level::Default) << "0+4 header";
}

void TestWaveAnalyzer::regions()
{
    QFETCH(QByteArray, file);
    QFETCH(int, level);
    QTEST(regionsOf(Judged(file, Level(level)).analyzer), "expected");
}

namespace {

/// What holds of the findings of every file.
void verifyFindings(const Judged &judged, quint64 fileSize)
{
    for (const Finding &finding : judged.list) {
        QVERIFY(!finding.places.empty());
        for (const ByteRange &place : finding.places)
            QVERIFY2(place.end() <= fileSize, qPrintable(lineOf(finding, judged.list)));
        QVERIFY2(finding.expected != finding.actual, qPrintable(lineOf(finding, judged.list)));
        QVERIFY(!finding.message.isEmpty() && !finding.message.contains(QLatin1Char('%')));
        QVERIFY(finding.causedBy < finding.id);
    }
}

} // namespace

void TestWaveAnalyzer::everyCutIsFound()
{
    const QByteArray file = wave({fmt(), sound(10), list("INFO", {chunk("INAM", "name")})});
    for (int size = 0; size < int(file.size()); ++size) {
        const Judged judged(file.left(size));
        verifyFindings(judged, quint64(size));
        const std::vector<Finding> &list = judged.list;
        QCOMPARE(list.front().rule, size < 12 ? QStringLiteral("outer-header") : QStringLiteral("file-cut"));
        // Whatever else there is, that explains it.
        for (size_t finding = 1; finding < list.size() && size >= 12; ++finding)
            QCOMPARE(list[finding].causedBy, 1);
    }
}

void TestWaveAnalyzer::hostileNumbers()
{
    const QByteArray files[] = {wave({fmt(Format().extensible(16, 3)), chunk("fact", u32(10)), sound(9)}),
                                longWave(112, 40, 10, fmt() + longSound())};
    for (const QByteArray &file : files) {
        for (int at = 0; at + 8 <= int(file.size()); ++at) {
            for (const QByteArray &number : {QByteArray(8, '\xff'), QByteArray(8, '\0'), u32(0x7FFFFFFE), u32(1)}) {
                const Judged judged(QByteArray(file).replace(at, int(number.size()), number));
                verifyFindings(judged, quint64(file.size()));
                quint64 end = 0;
                while (end < quint64(file.size())) {
                    const Region region = judged.analyzer.regions().at(end);
                    QCOMPARE(region.range.offset, end);
                    QVERIFY(region.range.size > 0);
                    end = region.range.end();
                }
                QCOMPARE(end, quint64(file.size()));
            }
        }
    }
}

void TestWaveAnalyzer::tooManyChunks()
{
    const Judged judged(wave({fmt(), QByteArray("abcd\0\0\0\0", 8).repeated(100000), sound()}));
    QVERIFY(judged.result.isLimited);
    QVERIFY(judged.isJudged);
    QCOMPARE(linesOf(judged.list), QString()); // the sound may be there: nobody looked
    QCOMPARE(judged.notChecked, QStringList{QStringLiteral("walk cut short at offset 800028, after 100000 chunks")});
}

namespace {

/// Gives the first 30 bytes of a file, then errors.
class BrokenSource final : public ByteSource
{
public:
    qint64 size() const override { return 1000; }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const QByteArray bytes = QByteArray(wave({fmt(), sound()})).left(30);
        const qint64 count = qMin(maxSize, bytes.size() - position);
        if (count <= 0)
            return -1;
        std::memcpy(data, bytes.constData() + position, size_t(count));
        return count;
    }
    QString errorText() const override { return QStringLiteral("broken"); }
};

} // namespace

void TestWaveAnalyzer::anErrorIsNoVerdict()
{
    BrokenSource source;
    WaveAnalyzer analyzer;
    const AnalysisResult result = analyzer.read(source, {});
    QCOMPARE(int(result.error.kind), int(FileError::Read));
    QCOMPARE(result.error.message, QStringLiteral("broken"));
    Findings findings;
    QVERIFY(!analyzer.check({}, findings));
    QVERIFY(!findings.has(u"file-cut"));
    QVERIFY(!findings.has(u"chunk-missing"));
    QCOMPARE(findings.notChecked().size(), 1);
}

void TestWaveAnalyzer::aCancelIsNoVerdict()
{
    const std::atomic<bool> cancel{true};
    AnalysisOptions options;
    options.cancel = &cancel;
    BrokenSource source;
    WaveAnalyzer analyzer;
    QVERIFY(analyzer.read(source, options).isCancelled);
    Findings findings;
    QVERIFY(!analyzer.check({}, findings));
    QVERIFY(findings.list().empty());
}

void TestWaveAnalyzer::thePluginExportsIt()
{
    PluginLoader loader;
    QVERIFY2(loader.addFile(QStringLiteral(PLUGIN)), qPrintable(loader.warnings().join(QLatin1Char(' '))));
    const std::unique_ptr<ContainerAnalyzer> analyzer = loader.parsersFor({}).first().createAnalyzer();
    const auto source = memorySource(QByteArray(wave({fmt(), sound()})).left(70));
    QCOMPARE(int(analyzer->recognises(*source)), int(Recognition::Yes));
    QVERIFY(analyzer->read(*source, {}).isComplete());
    Findings findings;
    QVERIFY(analyzer->check({}, findings));
    QVERIFY(findings.has(u"file-cut"));
    QCOMPARE(analyzer->rules().size(), 19);
}

QTEST_APPLESS_MAIN(TestWaveAnalyzer)
#include "tst_waveanalyzer.moc"
