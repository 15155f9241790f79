// What the analyzer reads of WAVE files: packets, regions, and files that are cut, hostile or cannot be read.
#include "wavefiles.h"

#include <QtTest>

#include <cstring>

using namespace wavefiles;

namespace {

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

} // namespace

class TestWaveReading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
};

void TestWaveReading::packetsAreSeconds()
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
    QCOMPARE(packets.at(0).knownBy, quint8(KnownFromData));
    QCOMPARE(packets.sourceName(KnownFromData), QStringView(u"data")); // as the chunk is called
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

void TestWaveReading::packetsOfCompressedSound()
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

void TestWaveReading::packetsAreBounded()
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

void TestWaveReading::longFiles()
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

void TestWaveReading::regions_data()
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

void TestWaveReading::regions()
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

void TestWaveReading::everyCutIsFound()
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

void TestWaveReading::hostileNumbers()
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

void TestWaveReading::tooManyChunks()
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

void TestWaveReading::anErrorIsNoVerdict()
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

void TestWaveReading::aCancelIsNoVerdict()
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

QTEST_APPLESS_MAIN(TestWaveReading)
#include "tst_wavereading.moc"
