#include "avikeyflags.h"
#include "bitstring.h"
#include "filedevice.h"
#include "onestream.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace payload;

namespace {

using Chunks = std::vector<QByteArray>;

Chunks chunksOf(const char *id, std::initializer_list<QByteArray> data)
{
    Chunks chunks;
    for (const QByteArray &each : data)
        chunks.push_back(chunk(id, each));
    return chunks;
}

QByteArray videoList(const char *codec, const QByteArray &setup = {})
{
    const VideoFormat format = VideoFormat().picture(64, 48).bitCount(24).compression(codec).put(40, setup);
    return one::streamList(StreamHeader("vids").handler(codec).scale(1).rate(25), format);
}

QByteArray soundList()
{
    return one::streamList(
        StreamHeader("auds").scale(1).rate(1000).sampleSize(2),
        WaveFormat(1).channels(1).samplesPerSecond(1000).bytesPerSecond(2000).blockAlign(2).bitsPerSample(16));
}

/// A film without an index.
QByteArray unindexed(const QByteArray &streamList, const Chunks &data)
{
    return list("AVI ",
                {list("hdrl", {chunk("avih", MainHeader().frameTime(40000).streams(1)), streamList}),
                 list("movi", {film::joined(data)})},
                "RIFF");
}

/// A file on a disk that fails.
class FailingSource : public ByteSource
{
public:
    explicit FailingSource(qint64 size) : m_size(size) { }
    qint64 size() const override { return m_size; }
    qint64 readAt(qint64, char *, qint64) override { return -1; }
    QString errorText() const override { return QStringLiteral("the disk fails"); }

private:
    const qint64 m_size;
};

std::vector<Finding> findingsOf(const QString &rule)
{
    Finding finding;
    finding.rule = rule;
    finding.stream = 0;
    return rule.isEmpty() ? std::vector<Finding>() : std::vector<Finding>{finding};
}

} // namespace

class TestAviKeyFlags : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void flags_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("rule"); // what is wrong with the index
        QTest::addColumn<QString>("flags"); // K for each key frame, - for each other packet
        QTest::addColumn<QString>("sources");
        const auto row = [](const char *name, const QByteArray &bytes, const char *rule, const char *flags,
                            const char *sources) {
            QTest::newRow(name) << bytes << QString::fromLatin1(rule) << QString::fromLatin1(flags)
                                << QStringLiteral("key flags of ") + QString::fromLatin1(sources);
        };
        const Chunks mpeg4 = chunksOf("00dc", {layer(64, 48) + plane(0), plane(1), plane(2), plane(0)});
        const Chunks other = chunksOf("00dc", {filling(20), filling(20), filling(20)});

        row("MPEG-4", unindexed(videoList("XVID"), mpeg4), "", "K--K", "0 come from an index, of 4 from the payload");
        row("MPEG-4, headers in strf",
            unindexed(videoList("XVID", layer(64, 48)), chunksOf("00dc", {plane(0), plane(0, 0, false), plane(1)})), "",
            "K--", "0 come from an index, of 2 from the payload");
        row("H.264, lengths as strf states",
            unindexed(videoList("H264", configuration()),
                      chunksOf("00dc", {lengths({slice(5, 7)}), lengths({slice(1, 5)}), lengths({slice(1, 7)})})),
            "", "K--", "0 come from an index, of 3 from the payload");
        row("H.264, start codes",
            unindexed(videoList("H264"),
                      chunksOf("00dc",
                               {startCodes({sequenceSet(), slice(5, 7)}), startCodes({slice(1, 5)}),
                                startCodes({recoveryPoint(0), slice(1, 7)})})),
            "", "K-K", "0 come from an index, of 3 from the payload");
        row("Motion JPEG, of which every frame stands alone",
            unindexed(videoList("MJPG"), chunksOf("00dc", {jpeg(64, 48), {}, jpeg(64, 48)})), "", "K-K",
            "0 come from an index, of 3 from the payload");
        row("sound", unindexed(soundList(), chunksOf("00wb", {filling(4), filling(4)})), "", "KK",
            "0 come from an index, of 2 from the payload");
        row("a codec that nobody reads here", unindexed(videoList("CVID"), other), "", "K--",
            "0 come from an index, of 0 from the payload; of 1 stream nothing says it, and the first frame alone is "
            "called one");
        row("empty frames are no key frames", unindexed(videoList("CVID"), chunksOf("00dc", {{}, filling(6)})), "",
            "-K",
            "0 come from an index, of 1 from the payload; of 1 stream nothing says it, and the first frame alone is "
            "called one");
        row("palettes are none",
            unindexed(videoList("MJPG"),
                      {chunk("00dc", jpeg(64, 48)), chunk("00pc", filling(8)), chunk("00dc", jpeg(64, 48))}),
            "", "K-K", "0 come from an index, of 2 from the payload");
        row("a stream that no header declares",
            unindexed(videoList("MJPG"), {chunk("00dc", jpeg(64, 48)), chunk("07dc", jpeg(64, 48))}), "", "K-",
            "0 come from an index, of 1 from the payload");

        // What idx1 says counts, unless it is wrong.
        row("idx1", one::file(videoList("CVID"), other, {1}), "", "K-K", "3 come from an index, of 0 from the payload");
        row("idx1, another rule", one::file(videoList("CVID"), other, {1}), "idx1-order", "K-K",
            "3 come from an index, of 0 from the payload");
        row("idx1 contradicts the payload", one::file(videoList("XVID"), mpeg4), "idx1-key-flag-differs", "K--K",
            "0 come from an index, of 4 from the payload");
        row("idx1 knows no key frame, the payload does", one::file(videoList("XVID"), mpeg4, {0, 1, 2, 3}),
            "idx1-no-key-frame", "K--K", "0 come from an index, of 4 from the payload");
        row("idx1 knows no key frame, nor does the payload", one::file(videoList("CVID"), other, {0, 1, 2}),
            "idx1-no-key-frame", "K--",
            "3 come from an index, of 0 from the payload; of 1 stream nothing says it, and the first frame alone is "
            "called one");
        row("the first frame is none in idx1", one::file(videoList("CVID"), other, {0, 2}), "idx1-first-not-key", "KK-",
            "2 come from an index, of 0 from the payload; of 1 stream nothing says it, and the first frame alone is "
            "called one");
        row("the first frame is none in idx1, the payload says that it is", one::file(videoList("XVID"), mpeg4, {0}),
            "idx1-first-not-key", "K--K", "0 come from an index, of 4 from the payload");
    }
    void flags()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, rule);
        film::Reading reading(bytes);
        FileDevice file;
        openForAnalysis(file, *reading.source, {});
        AviKeyFlags keys(reading.layout(), findingsOf(rule));
        const quint64 count = reading.layout().packets.size();
        QVERIFY(keys.read(file, 0, count, nullptr));
        QString flags;
        for (quint64 packet = 0; packet < count; ++packet)
            flags += QLatin1Char(keys.isKey(packet) ? 'K' : '-');
        QTEST(flags, "flags");
        QTEST(keys.sourcesText(), "sources");
    }

    void aPartAlone()
    {
        film::Reading reading(unindexed(videoList("XVID"), chunksOf("00dc", {plane(0), plane(0), plane(1), plane(0)})));
        FileDevice file;
        openForAnalysis(file, *reading.source, {});
        AviKeyFlags keys(reading.layout(), {});
        QVERIFY(keys.read(file, 1, 3, nullptr));
        QVERIFY(keys.isKey(1) && !keys.isKey(2));
        QVERIFY(!keys.isKey(0) && !keys.isKey(3)); // these were not looked at
        QCOMPARE(keys.sourcesText(), QStringLiteral("key flags of 0 come from an index, of 2 from the payload"));
    }

    void aCancelEndsTheReading()
    {
        film::Reading reading(unindexed(videoList("XVID"), chunksOf("00dc", {plane(0), plane(1)})));
        FileDevice file;
        openForAnalysis(file, *reading.source, {});
        AviKeyFlags keys(reading.layout(), {});
        std::atomic<bool> cancel{true};
        QVERIFY(!keys.read(file, 0, 2, &cancel));
        cancel = false;
        QVERIFY(keys.read(file, 0, 2, &cancel));
    }

    void aDiskThatFailsIsNoticed()
    {
        film::Reading reading(unindexed(videoList("XVID"), chunksOf("00dc", {plane(0), plane(1)})));
        FailingSource failing(reading.source->size());
        FileDevice file;
        openForAnalysis(file, failing, {});
        AviKeyFlags keys(reading.layout(), {});
        QVERIFY(!keys.read(file, 0, 2, nullptr));
        QVERIFY(!keys.read(file, 0, 2, nullptr));
    }
};

QTEST_APPLESS_MAIN(TestAviKeyFlags)
#include "tst_avikeyflags.moc"
