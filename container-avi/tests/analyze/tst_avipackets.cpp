// The packets of the golden files: against numbers that ffprobe gave, and against ffprobe itself where it is installed.
#include "smallfilm.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <algorithm>

using namespace quenlofar;

namespace {

const QString goldenDirectory = QStringLiteral(QUENLOFAR_SAMPLES_DIR "/golden");

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray golden(const QString &name)
{
    return readAll(goldenDirectory + QLatin1Char('/') + name + QStringLiteral(".avi"));
}

/// "20+1/7840/2": packets with data, and empty ones, their bytes, and key frames ("?" where nobody knows any).
QString streamsText(const PacketTable &packets)
{
    QStringList texts;
    for (int stream = 0; stream < packets.streamCount(); ++stream) {
        const PacketTotals &totals = packets.totals(stream);
        texts.append(
            QStringLiteral("%1+%2/%3/%4")
                .arg(totals.count - totals.empty)
                .arg(totals.empty)
                .arg(totals.bytes)
                .arg(totals.keyUnknown == totals.count ? QStringLiteral("?") : QString::number(totals.keyFrames)));
    }
    return texts.join(QLatin1Char(' '));
}

/// A source whose reads come in pieces of no more than a few bytes, and never from memory.
class StutteringSource final : public ByteSource
{
public:
    StutteringSource(const QByteArray &bytes, qint64 piece) : m_bytes(bytes), m_piece(piece) { }
    qint64 size() const override { return m_bytes.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        if (position >= brokenFrom)
            return -1;
        const qint64 count = std::min({maxSize, m_piece, size() - position, brokenFrom - position});
        if (count <= 0)
            return 0;
        memcpy(data, m_bytes.constData() + position, size_t(count));
        return count;
    }
    QString errorText() const override { return QStringLiteral("Input/output error"); }

    qint64 brokenFrom = std::numeric_limits<qint64>::max(); ///< reading from here on fails

private:
    const QByteArray m_bytes;
    const qint64 m_piece;
};

/// All that a reading says, in a text.
QString everything(const AviAnalyzer &analyzer)
{
    const AviLayout &layout = analyzer.layout();
    QString text = film::packetsText(layout) + film::damagesText(layout);
    for (quint64 index = 0; index < layout.packets.size(); ++index) {
        const Packet packet = layout.packets.at(index);
        text += QStringLiteral(" %1/%2").arg(int(packet.key)).arg(packet.knownBy);
    }
    for (quint64 ordinal = 0; ordinal < layout.references.size(); ++ordinal)
        text += QStringLiteral(" %1").arg(layout.references.at(ordinal).target.offset);
    for (quint32 number = 0; number < layout.elements.size(); ++number)
        text += QStringLiteral(" %1-%2").arg(layout.elements[number].offset).arg(layout.elements[number].end);
    return text;
}

/// A packet as ffprobe prints it.
struct PeerPacket
{
    int stream;
    quint64 offset;
    quint32 size;
    bool isKey;
};

QVector<PeerPacket> peerPackets(const QString &path)
{
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
                  {QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-show_packets"),
                   QStringLiteral("-show_entries"), QStringLiteral("packet=stream_index,size,pos,flags"),
                   QStringLiteral("-of"), QStringLiteral("csv=p=0"), path});
    ffprobe.waitForFinished();
    QVector<PeerPacket> packets;
    for (const QByteArray &line : ffprobe.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> cells = line.split(',');
        if (cells.size() >= 4)
            packets.append({cells[0].toInt(), cells[2].toULongLong(), cells[1].toUInt(), cells[3].startsWith('K')});
    }
    return packets;
}

} // namespace

class TestAviPackets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Numbers of packets with data, bytes and key frames are those of ffprobe 5.1.9. It passes empty packets over, and
    // takes every packet of sound and of codecs without other frames for a key frame, whatever an index says; these
    // numbers were read from idx1.
    void streams_data()
    {
        QTest::addColumn<QString>("streams");
        const auto row = [](const char *name, const char *streams) {
            QTest::newRow(name) << QString::fromLatin1(streams);
        };
        row("dvgrab-dv-type1", "2+0/240000/2"); // ffprobe shows the sound in it as a second stream
        row("dvgrab-dv-type2", "1+0/120000/1 1+0/6408/0"); // the chunk of sound is seven packets for ffprobe
        row("ffmpeg-audio-only-pcm8", "22+0/22050/22");
        row("ffmpeg-cram-cinepak-mp2", "10+0/1632/1 10+0/7100/1 20+0/4179/20");
        row("ffmpeg-h264-aac-ac3-audio-first", "45+4/6199/45 20+0/3551/2 42+5/8064/42");
        row("ffmpeg-hfyu-ffv1", "10+0/32320/10 10+0/7065/1");
        row("ffmpeg-mjpeg-pcm24-6ch-extensible", "10+0/12729/10 8+0/144000/8");
        row("ffmpeg-mpeg4-mp3vbr-info-utf8", "20+1/7840/2 79+0/2627/79");
        row("ffmpeg-mpeg4-xsub", "20+20/7746/2 2+0/362/2");
        row("ffmpeg-pipe-open-sizes", "20+0/7840/? 39+0/8150/?"); // without an index
        row("ffmpeg-raw-bgr24-i420", "6+0/55296/6 6+0/27648/6");
        row("ffmpeg-raw-pal8-palchange-yuy2", "8+0/24576/8 8+0/49152/8");
        row("ffmpeg-vp8-adpcm-ms", "10+0/3296/1 11+0/11264/11");
        row("gstreamer-mjpeg-mp3", "20+0/43990/20 79+0/8255/0");
        row("mencoder-dx50-pcm16-info-latin1", "20+0/6284/1 4+0/88200/4"); // four chunks of sound, 44 for ffprobe
        row("mencoder-xvid-mp3cbr", "20+0/3267/1 79+0/8255/79");
        row("spliced-garbage", "20+1/7840/1 79+0/2627/69"); // the entries before the garbage hit nothing
        row("spliced-opendml-avix", "20+0/3267/1 79+0/8255/79");
        row("spliced-opendml-std-index", "20+0/3267/1 79+0/8255/79");
        row("spliced-truncated", "5+1/2596/? 18+0/911/?");
        row("spliced-txts-rec-lists", "20+1/7840/2 79+0/2627/79 1+0/78/0"); // of subtitles ffprobe shows the text alone
        row("yuv2lav-mjpeg", "25+0/46472/0");
    }

    void streams()
    {
        QFETCH(QString, streams);
        const film::Reading reading(golden(QString::fromLatin1(QTest::currentDataTag())));
        QVERIFY(reading.result.isComplete());
        QCOMPARE(streamsText(reading.analyzer.packets()), streams);
        QCOMPARE(film::regionsProblem(reading.analyzer.regions()), QString());
    }

    void everyGoldenHasARow()
    {
        streams_data();
        QCOMPARE(QDir(goldenDirectory).entryList({QStringLiteral("*.avi")}).size(), 22);
    }

    void damages_data()
    {
        QTest::addColumn<QString>("damages");
        const QStringList files = QDir(goldenDirectory).entryList({QStringLiteral("*.avi")});
        for (const QString &file : files) {
            QString damages;
            if (file == QStringLiteral("spliced-garbage.avi")) // three letters, a thousand and one, and 64 zero bytes
                damages = QStringLiteral("foreign 12500+3, foreign 12923+1001, zeros 14326+64");
            else if (file == QStringLiteral("spliced-truncated.avi"))
                damages = QStringLiteral("beyond-file -326+13773, beyond-file 9732+3715, cut 13238+209");
            QTest::newRow(qPrintable(file.chopped(4))) << damages;
        }
    }

    void damages()
    {
        const film::Reading reading(golden(QString::fromLatin1(QTest::currentDataTag())));
        QTEST(film::damagesText(reading.layout()), "damages");
    }

    void packetsAreThoseOfFfprobe_data()
    {
        QTest::addColumn<bool>("splits");
        QTest::addColumn<bool>("keysDiffer");
        const QStringList files = QDir(goldenDirectory).entryList({QStringLiteral("*.avi")});
        for (const QString &file : files) {
            // It splits large chunks of sound, shows the sound inside of DV, and takes subtitles apart.
            const bool splits = file.startsWith(QStringLiteral("dvgrab-"))
                || file.startsWith(QStringLiteral("mencoder-dx50"))
                || file == QStringLiteral("spliced-txts-rec-lists.avi");
            // No index, or one that marks no frame of Motion JPEG.
            const bool keysDiffer = file == QStringLiteral("ffmpeg-pipe-open-sizes.avi")
                || file == QStringLiteral("spliced-truncated.avi") || file == QStringLiteral("spliced-garbage.avi")
                || file == QStringLiteral("yuv2lav-mjpeg.avi");
            QTest::newRow(qPrintable(file)) << splits << keysDiffer;
        }
    }

    void packetsAreThoseOfFfprobe()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("ffprobe")).isEmpty())
            QSKIP("ffprobe is not installed");
        QFETCH(bool, splits);
        QFETCH(bool, keysDiffer);
        const QString path = goldenDirectory + QLatin1Char('/') + QString::fromLatin1(QTest::currentDataTag());
        const film::Reading reading(readAll(path));
        const PacketTable &packets = reading.analyzer.packets();
        const QVector<PeerPacket> peers = peerPackets(path);
        QVERIFY(!peers.isEmpty());
        quint64 found = 0;
        for (const PeerPacket &peer : peers) {
            const quint64 index = packets.indexAt(peer.offset);
            const bool isSame = index != PacketTable::none && packets.at(index).offset == peer.offset
                && packets.at(index).stream == peer.stream && packets.at(index).size == peer.size;
            if (splits && !isSame)
                continue;
            QVERIFY2(isSame, qPrintable(QStringLiteral("stream %1 at %2").arg(peer.stream).arg(peer.offset)));
            ++found;
            const Packet packet = packets.at(index);
            if (!keysDiffer && packets.stream(packet.stream).kind == StreamKind::Video)
                QCOMPARE(packet.key == KeyState::Yes, peer.isKey);
        }
        quint64 withData = 0;
        for (int stream = 0; stream < packets.streamCount(); ++stream)
            withData += packets.totals(stream).count - packets.totals(stream).empty;
        if (!splits)
            QCOMPARE(found, withData);
        QVERIFY(found > 0);
    }

    void readAheadMakesNoDifference()
    {
        for (const char *name :
             {"spliced-garbage", "spliced-opendml-avix", "spliced-truncated", "spliced-txts-rec-lists"}) {
            const QByteArray bytes = golden(QString::fromLatin1(name));
            const film::Reading whole(bytes);
            for (const qint64 piece : {1, 7, 4096}) {
                StutteringSource source(bytes, piece);
                AviAnalyzer analyzer;
                QVERIFY(analyzer.read(source, {}).isComplete());
                QCOMPARE(everything(analyzer), everything(whole.analyzer));
            }
        }
    }

    void readErrorsEndTheReading()
    {
        const QByteArray bytes = golden(QStringLiteral("ffmpeg-mpeg4-mp3vbr-info-utf8"));
        for (const qint64 brokenFrom : {0, 5, 1000, 12000, 22000}) {
            StutteringSource source(bytes, 4096);
            source.brokenFrom = brokenFrom;
            AviAnalyzer analyzer;
            const AnalysisResult result = analyzer.read(source, {});
            QCOMPARE(int(result.error.kind), int(FileError::Read));
            QVERIFY(result.error.offset >= brokenFrom);
            QVERIFY(analyzer.layout().isCutShort);
            QVERIFY(analyzer.layout().readUpTo <= quint64(bytes.size()));
            QCOMPARE(film::regionsProblem(analyzer.regions()), QString());
        }
    }

    void anAnalyzerReadsSeveralFiles()
    {
        AviAnalyzer analyzer;
        const std::unique_ptr<ByteSource> first = memorySource(golden(QStringLiteral("spliced-opendml-avix")));
        const std::unique_ptr<ByteSource> second = memorySource(film::file());
        analyzer.read(*first, {});
        analyzer.read(*second, {});
        QCOMPARE(everything(analyzer), everything(film::Reading(film::file()).analyzer));
    }
};

QTEST_APPLESS_MAIN(TestAviPackets)
#include "tst_avipackets.moc"
