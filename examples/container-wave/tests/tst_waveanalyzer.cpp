#include "wavefiles.h"

#include "pluginloader.h"

#include <QtTest>

#include <set>

using namespace wavefiles;

namespace {

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
