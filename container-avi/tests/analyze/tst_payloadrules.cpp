// Rules about payload, each with a file that breaks it and one that keeps it.
#include "bitstring.h"
#include "judging.h"
#include "onestream.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace payload;

namespace {

/// The data of the first chunk stands here: behind headers with a strf of 40 bytes, and that of `movi`.
constexpr int firstData = 232;

std::vector<QByteArray> chunksOf(const char *id, std::initializer_list<QByteArray> data)
{
    std::vector<QByteArray> chunks;
    for (const QByteArray &each : data)
        chunks.push_back(chunk(id, each));
    return chunks;
}

QByteArray video(const char *codec, std::initializer_list<QByteArray> data, const std::vector<int> &notKey = {},
                 const QByteArray &setup = {}, qint32 width = 64, qint32 height = 48)
{
    const VideoFormat format = VideoFormat().picture(width, height).bitCount(24).compression(codec).put(40, setup);
    return one::file(one::streamList(StreamHeader("vids").handler(codec).scale(1).rate(25), format),
                     chunksOf("00dc", data), notKey);
}

QByteArray xvid(std::initializer_list<QByteArray> data, const std::vector<int> &notKey = {})
{
    return video("XVID", data, notKey);
}

/// MP3 of 44100 Hz and two channels; strf has 30 bytes, so the first chunk's data stands at 222.
QByteArray mp3Stream(std::initializer_list<QByteArray> data, quint32 sampleSize, quint16 channels = 2)
{
    const WaveFormat format = WaveFormat(0x55)
                                  .channels(channels)
                                  .samplesPerSecond(44100)
                                  .bytesPerSecond(16000)
                                  .blockAlign(sampleSize == 0 ? 1152 : 1)
                                  .extra(zeros(12));
    return one::file(one::streamList(StreamHeader("auds").scale(1).rate(16000).sampleSize(sampleSize), format),
                     chunksOf("00wb", data));
}

QByteArray dvStream(const char *type, std::initializer_list<QByteArray> data, quint32 scale, quint32 rate,
                    const QByteArray &format)
{
    return one::file(one::streamList(StreamHeader(type).handler("dvsd").scale(scale).rate(rate), format),
                     chunksOf("00__", data));
}

QByteArray dvVideo(std::initializer_list<QByteArray> data, quint32 scale = 1, quint32 rate = 25)
{
    return dvStream("vids", data, scale, rate, VideoFormat().picture(720, 576).bitCount(24).compression("dvsd"));
}

QByteArray withZeros(QByteArray bytes, int at, int count)
{
    return bytes.replace(at, count, zeros(count));
}

/// Bytes in memory whose long runs of zeros are holes, and whose reads are counted.
class HoledSource final : public ByteSource
{
public:
    HoledSource(const QByteArray &bytes, qint64 *bytesRead) : m_bytes(bytes), m_bytesRead(bytesRead) { }

    qint64 size() const override { return m_bytes.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const QByteArray part = m_bytes.mid(int(position), int(std::min<qint64>(maxSize, m_bytes.size())));
        std::copy(part.begin(), part.end(), data);
        *m_bytesRead += part.size();
        return part.size();
    }
    qint64 holeEnd(qint64 position) override
    {
        qint64 end = position;
        while (end < m_bytes.size() && m_bytes.at(int(end)) == 0)
            ++end;
        return end - position >= 4096 ? end : position;
    }

private:
    const QByteArray m_bytes;
    qint64 *const m_bytesRead;
};

/// Bytes from a disk that fails: once it is asked about what stands between `holeBegin` and `unreadable`, it claims
/// that a hole goes on behind both, and reads that touch `unreadable` fail.
class FailingSource final : public ByteSource
{
public:
    FailingSource(const QByteArray &bytes, qint64 holeBegin, qint64 unreadable)
        : m_bytes(bytes), m_holeBegin(holeBegin), m_unreadable(unreadable)
    {
    }
    qint64 size() const override { return m_bytes.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        if (wasAsked && position <= m_unreadable && position + maxSize > m_unreadable)
            return -1;
        const QByteArray part = m_bytes.mid(int(position), int(std::min<qint64>(maxSize, m_bytes.size())));
        std::copy(part.begin(), part.end(), data);
        return part.size();
    }
    qint64 holeEnd(qint64 position) override
    {
        wasAsked = wasAsked || (position >= m_holeBegin && position < m_unreadable);
        const qint64 end = m_unreadable + 100000;
        return wasAsked && position >= m_holeBegin ? std::max(position, end) : position;
    }
    QString errorText() const override { return QStringLiteral("a bad sector"); }

    bool wasAsked = false;

private:
    const QByteArray m_bytes;
    const qint64 m_holeBegin;
    const qint64 m_unreadable;
};

QStringList notChecked(const QByteArray &bytes, Level level)
{
    film::Reading reading(bytes, level);
    Findings findings;
    CheckOptions options;
    options.level = level;
    reading.analyzer.check(options, findings);
    return findings.notChecked();
}

} // namespace

class TestPayloadRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rules_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("finding");
        const auto row = [](const char *rule, const char *name, const QByteArray &bytes, const QString &finding) {
            QTest::addRow("%s: %s", rule, name) << QString::fromLatin1(rule) << bytes << finding;
        };
        const auto at = [](const char *severity, int offset, const char *rest) {
            return QStringLiteral("%1 %2%3").arg(QLatin1String(severity)).arg(offset).arg(QLatin1String(rest));
        };
        const QString none;
        const QString notApplicable = QStringLiteral("not applicable");
        const QByteArray head = layer(64, 48);

        row("dv-format", "32 bytes", dvStream("iavs", {dv(true, 144000)}, 1, 25, zeros(32)), none);
        row("dv-format", "24 bytes", dvStream("iavs", {dv(true, 144000)}, 1, 25, zeros(24)),
            at("error", 164, "+8: 32 bytes -> 24 bytes"));
        row("dv-format", "video has another one", dvVideo({dv(true, 144000)}), notApplicable);

        row("dv-frame-size", "625 lines", dvVideo({dv(true, 144000)}), none);
        row("dv-frame-size", "525 lines", dvVideo({dv(false, 120000)}), none);
        row("dv-frame-size", "twice as much", dvVideo({dv(true, 288000)}), none);
        row("dv-frame-size", "empty", dvVideo({dv(true, 144000), {}}), none);
        row("dv-frame-size", "too short", dvVideo({dv(true, 143990), dv(true, 143990)}),
            at("warning", firstData, "+143990 x2: 120000 or 144000 bytes, or a multiple -> 143990 bytes"));
        row("dv-frame-size", "another codec", xvid({head + plane(0)}), notApplicable);

        row("mp3-chunk-start", "a header", mp3Stream({mp3(), mp3()}, 0), none);
        row("mp3-chunk-start", "other bytes", mp3Stream({mp3(), mp3().mid(7)}, 0),
            at("note", 222 + 417 + 1 + 8, "+410: the header of a frame -> other bytes"));
        row("mp3-chunk-start", "constant bit rate may split", mp3Stream({mp3().left(7), mp3().mid(7)}, 1),
            notApplicable);

        row("mp3-header-differs", "as the format says", mp3Stream({mp3(), mp3()}, 0), none);
        row("mp3-header-differs", "one channel", mp3Stream({mp3(), mp3()}, 0, 1),
            at("warning", 174, "+6: layer 3, 2 channels, 44100 Hz -> layer 3, 1 channels, 44100 Hz"));
        row("mp3-header-differs", "some frames of one channel", mp3Stream({mp3(), mp3(9, true), mp3()}, 0),
            at("warning", 222 + 417 + 1 + 8, "+4: layer 3, 2 channels, 44100 Hz -> layer 3, 1 channels, 44100 Hz"));
        row("mp3-header-differs", "split frames", mp3Stream({mp3() + mp3().left(7), mp3().mid(7) + mp3()}, 1, 1),
            at("warning", 174, "+6: layer 3, 2 channels, 44100 Hz -> layer 3, 1 channels, 44100 Hz"));

        row("mp3-vbr-as-cbr", "one bit rate", mp3Stream({mp3() + mp3() + mp3() + mp3()}, 1), none);
        row("mp3-vbr-as-cbr", "the first frame has information alone", mp3Stream({mp3(5) + mp3() + mp3() + mp3()}, 1),
            none);
        row("mp3-vbr-as-cbr", "two bit rates", mp3Stream({mp3() + mp3() + mp3(5) + mp3()}, 1),
            at("warning", 152, "+4: 128000 bits per second throughout -> also 64000 bits per second"));
        row("mp3-vbr-as-cbr", "a frame in each chunk", mp3Stream({mp3(), mp3(5)}, 0), notApplicable);

        const QByteArray first = head + plane(0); // 13 + 45 bytes
        const int entries = firstData + int(first.size()) + 8 + 46 + 8; // behind a chunk of 45 bytes and its padding
        row("idx1-key-flag-differs", "I and P", xvid({first, plane(1)}, {1}), none);
        row("idx1-key-flag-differs", "P flagged", xvid({first, plane(1)}),
            at("warning", entries + 16, "+16: no key frame -> a key frame"));
        row("idx1-key-flag-differs", "I not flagged", xvid({first, plane(1), plane(0)}, {1, 2}),
            at("warning", entries + 8 + 46 + 2 * 16, "+16: a key frame -> no key frame"));
        row("idx1-key-flag-differs", "packed: P and B", xvid({first, plane(1) + plane(2)}, {1}), none);
        row("idx1-key-flag-differs", "a frame that is not coded", xvid({first, plane(0, 0, false)}, {1}), none);
        row("idx1-key-flag-differs", "no header says it", xvid({first, filling(45)}), none);
        row("idx1-key-flag-differs", "empty frames are exempt", xvid({first, {}}), none);
        row("idx1-key-flag-differs", "pictures alone", video("HFYU", {filling(40), filling(42)}, {1}),
            at("warning", firstData + 40 + 8 + 42 + 8 + 16, "+16: a key frame -> no key frame"));
        row("idx1-key-flag-differs", "H.264",
            video("H264", {startCodes({sequenceSet(), slice(5, 7)}), startCodes({slice(1, 5)})}, {1}), none);
        row("idx1-key-flag-differs", "H.264, P flagged",
            video("H264", {startCodes({sequenceSet(), slice(5, 7, 39)}), startCodes({slice(1, 5)})}),
            at("warning", firstData + 4 + 7 + 4 + 41 + 8 + 46 + 8 + 16, "+16: no key frame -> a key frame"));
        row("idx1-key-flag-differs", "H.264, I slices may be flagged",
            video("H264", {startCodes({sequenceSet(), slice(5, 7)}), startCodes({slice(1, 7)})}), none);
        row("idx1-key-flag-differs", "H.264, recovery point",
            video("H264", {startCodes({sequenceSet(), slice(5, 7)}), startCodes({recoveryPoint(0), slice(1, 7)})}),
            none);
        row("idx1-key-flag-differs", "H.264, lengths",
            video("H264", {lengths({slice(5, 7)}), lengths({slice(1, 5)})}, {1}, configuration()), none);
        row("idx1-key-flag-differs", "a codec that nobody reads", video("VP80", {filling(40)}), notApplicable);

        row("zero-hole", "none", xvid({head + plane(0, 3000)}), none);
        row("zero-hole", "511 bytes", xvid({withZeros(head + plane(0, 3000), 100, 511)}), none);
        row("zero-hole", "512 bytes", xvid({withZeros(head + plane(0, 3000), 100, 512)}),
            at("warning", firstData + 100, "+512: fewer than 512 zero bytes in a row -> 512 zero bytes"));
        row("zero-hole", "up to the chunk's end", xvid({withZeros(head + plane(0, 3000), 1000, 2018)}),
            at("warning", firstData + 1000, "+2018: fewer than 512 zero bytes in a row -> 2018 zero bytes"));
        row("zero-hole", "H.264", video("H264", {startCodes({sequenceSet(), slice(5, 7, 600) + zeros(600)})}),
            at("warning", firstData + 4 + 7 + 4 + 602, "+600: fewer than 512 zero bytes in a row -> 600 zero bytes"));
        row("zero-hole", "JPEG", video("MJPG", {jpeg(64, 48, filling(20) + zeros(600) + filling(20))}),
            at("warning", firstData + 45, "+600: fewer than 512 zero bytes in a row -> 600 zero bytes"));
        row("zero-hole", "JPEG without its end", video("MJPG", {jpeg(64, 48).chopped(2) + zeros(600)}),
            at("warning", firstData + 85, "+600: fewer than 512 zero bytes in a row -> 600 zero bytes"));
        row("zero-hole", "padding behind JPEG", video("MJPG", {jpeg(64, 48) + zeros(600)}), none);
        row("zero-hole", "padding between two pictures", video("MJPG", {jpeg(64, 48) + zeros(600) + jpeg(64, 48)}),
            none);
        // 640 by 480 pixels are 4800 blocks; of two bits each they take 1200 bytes.
        const QByteArray flat = flatTable(0) + flatTable(1);
        row("zero-hole", "a picture of one colour",
            video("MJPG", {jpeg(640, 480, zeros(1200), flat)}, {}, {}, 640, 480), none);
        row("zero-hole", "more than a picture of one colour takes",
            video("MJPG", {jpeg(640, 480, filling(1) + zeros(1202), flat)}, {}, {}, 640, 480),
            at("warning", firstData + 2 + 13 + 44 + 10 + 1,
               "+1202: fewer than 512 zero bytes in a row -> 1202 zero bytes"));
        row("zero-hole", "MP3", mp3Stream({withZeros(mp3().repeated(4), 300, 700)}, 1),
            at("warning", 222 + 300, "+700: fewer than 512 zero bytes in a row -> 700 zero bytes"));
        row("zero-hole", "raw pictures may be black", video("YUY2", {zeros(6144)}), notApplicable);

        const QByteArray dvInfo = zeros(32);
        row("dv-system", "625 lines", dvVideo({dv(true, 144000)}), none);
        row("dv-system", "525 lines", dvVideo({dv(false, 120000)}, 1001, 30000), none);
        row("dv-system", "525 lines, rounded", dvVideo({dv(false, 120000)}, 33367, 1000000), none);
        row("dv-system", "525 lines at 25", dvVideo({dv(false, 120000), dv(false, 120000)}),
            at("warning", 128, "+8: 29.97 frames per second -> 25.00 frames per second"));
        row("dv-system", "625 lines at 29.97", dvStream("iavs", {dv(true, 144000)}, 1001, 30000, dvInfo),
            at("warning", 128, "+8: 25 frames per second -> 29.97 frames per second"));
        row("dv-system", "one frame of another system", dvVideo({dv(true, 144000), dv(false, 144000)}),
            at("warning", firstData + 144000 + 8, "+144000: 25.00 frames per second -> 29.97 frames per second"));
        row("dv-system", "twice the rate", dvVideo({dv(true, 288000)}, 1, 50), none);

        row("jpeg-markers", "both", video("MJPG", {jpeg(64, 48)}), none);
        row("jpeg-markers", "no EOI", video("MJPG", {jpeg(64, 48), jpeg(64, 48).chopped(2)}),
            at("warning", firstData + 88 + 8, "+85: EOI at its end -> no EOI"));
        row("jpeg-markers", "no SOI", video("MJPG", {jpeg(64, 48).mid(2)}),
            at("warning", firstData, "+85: SOI at its beginning -> no SOI"));
        row("jpeg-markers", "padding", video("MJPG", {jpeg(64, 48) + QByteArray(9, '\xFF') + zeros(9)}), none);
        row("jpeg-markers", "two pictures", video("MJPG", {jpeg(64, 24) + jpeg(64, 24)}), none);

        row("coded-picture-size", "MPEG-4", xvid({head + plane(0)}), none);
        row("coded-picture-size", "MPEG-4 of another size", xvid({layer(320, 240) + plane(0)}),
            at("warning", 176, "+8: 320 by 240 -> 64 by 48"));
        row("coded-picture-size", "rounded to macroblocks", video("XVID", {layer(64, 48) + plane(0)}, {}, {}, 60, 33),
            none);
        row("coded-picture-size", "a macroblock more", video("XVID", {layer(64, 48) + plane(0)}, {}, {}, 64, 32),
            at("warning", 176, "+8: 64 by 48 -> 64 by 32"));
        row("coded-picture-size", "first row on top", video("MJPG", {jpeg(64, 48)}, {}, {}, 64, -48), none);
        row("coded-picture-size", "H.264", video("H264", {startCodes({sequenceSet(), slice(5, 7)})}, {}, {}, 128, 48),
            at("warning", 176, "+8: 64 by 48 -> 128 by 48"));
        row("coded-picture-size", "the set of the format",
            video("H264", {lengths({slice(5, 7)})}, {}, configuration(), 64, 480),
            at("warning", 176, "+8: 64 by 48 -> 64 by 480"));
        row("coded-picture-size", "the header of the format", video("DIVX", {plane(0)}, {}, head), none);
        row("coded-picture-size", "JPEG of half the height", video("MJPG", {jpeg(64, 24) + jpeg(64, 24)}), none);
        row("coded-picture-size", "JPEG of half the width", video("MJPG", {jpeg(32, 48)}),
            at("warning", 176, "+8: 32 by 48 -> 64 by 48"));
        row("coded-picture-size", "one picture of another size", video("MJPG", {jpeg(64, 48), jpeg(640, 480)}),
            at("warning", firstData + 88 + 8, "+87: 64 by 48 -> 640 by 480"));

        row("coded-start", "I-VOP", xvid({head + plane(0), plane(1)}, {1}), none);
        row("coded-start", "P-VOP", xvid({head + plane(1), plane(0)}, {0}),
            at("warning", firstData, "+58: a frame that needs no others -> a frame that needs others"));
        row("coded-start", "no header", xvid({plane(0)}), at("warning", firstData, "+45: VOL header -> no VOL header"));
        row("coded-start", "header in the format", video("DIVX", {plane(0)}, {}, head), none);
        row("coded-start", "header in a chunk of its own", xvid({head, plane(0)}), none);
        row("coded-start", "IDR", video("H264", {startCodes({sequenceSet(), slice(5, 7)})}), none);
        row("coded-start", "P slice", video("H264", {startCodes({sequenceSet(), slice(1, 5)})}),
            at("warning", firstData, "+57: a frame that needs no others -> a frame that needs others"));
        row("coded-start", "no set", video("H264", {startCodes({slice(5, 7)})}),
            at("warning", firstData, "+46: sequence parameter set -> no sequence parameter set"));
        row("coded-start", "set in the format", video("H264", {lengths({slice(5, 7)})}, {}, configuration()), none);

        row("duplicate-frames", "others", xvid({head + plane(0), plane(1), plane(1, 41)}), none);
        row("duplicate-frames", "three alike", xvid({head + plane(0), plane(1), plane(1), plane(1)}),
            at("note", firstData + 58 + 8 + 46 + 8, "+45 x2: each frame another -> up to 3 like frames in a row"));
        row("duplicate-frames", "empty frames are none", xvid({head + plane(0), {}, {}}), none);
        row("duplicate-frames", "an empty frame between", xvid({plane(0), {}, plane(0)}),
            at("note", firstData + 46 + 8 + 8, "+45: each frame another -> up to 2 like frames in a row"));
        row("duplicate-frames", "sound", mp3Stream({mp3(), mp3()}, 0), notApplicable);
    }

    void rules()
    {
        QFETCH(QString, rule);
        QFETCH(QByteArray, bytes);
        QTEST(one::found(bytes, rule), "finding");
    }

    void paletteChangesMakeOtherFrames()
    {
        const QByteArray frame = chunk("00db", filling(48));
        const QByteArray palette = chunk("00pc", zeros(8));
        const QByteArray streams = one::streamList(StreamHeader("vids").scale(1).rate(25),
                                                   VideoFormat().picture(8, 6).bitCount(8).put(40, zeros(1024)));
        const QString rule = QStringLiteral("duplicate-frames");
        QCOMPARE(one::found(one::file(streams, {frame, palette, frame}), rule), QString());
        QVERIFY(!one::found(one::file(streams, {palette, frame, frame}), rule).isEmpty());
    }

    // Packets larger than a piece, and packets across the ends of pieces, are read as others are.
    void largePacketsAreReadInPieces()
    {
        const QByteArray large = layer(64, 48) + plane(0, 3000000);
        const QByteArray hole = withZeros(large, 524288 - 100, 512); // across the end of the first piece
        const QString rule = QStringLiteral("zero-hole");
        QCOMPARE(one::found(xvid({large}), rule), QString());
        QCOMPARE(one::found(xvid({hole}), rule),
                 QStringLiteral("warning %1+512: fewer than 512 zero bytes in a row -> 512 zero bytes")
                     .arg(firstData + 524288 - 100));
        const QString like = QStringLiteral("duplicate-frames");
        QVERIFY(one::found(xvid({large, large}), like).contains(QStringLiteral("up to 2")));
        QCOMPARE(one::found(xvid({large, hole}), like), QString());
        // Many packets that do not end where pieces do.
        std::vector<QByteArray> many;
        for (int number = 0; number < 300; ++number)
            many.push_back(chunk("00dc", layer(64, 48) + plane(0, 7001 + number)));
        const QByteArray film = one::file(one::streamList(StreamHeader("vids").scale(1).rate(25),
                                                          VideoFormat().picture(320, 240).compression("XVID")),
                                          many);
        const QString size = QStringLiteral("coded-picture-size");
        QCOMPARE(one::found(film, size), QStringLiteral("warning 176+8: 64 by 48 -> 320 by 240"));
    }

    // Zeros of a hole are seen as if they had been read.
    void holesAreNotRead()
    {
        constexpr int holeSize = 2000000;
        const QByteArray hole = withZeros(layer(64, 48) + plane(0, 3000000), 500000, holeSize);
        const QByteArray film = xvid({hole, hole, layer(64, 48) + plane(0, 3000000)});
        qint64 bytesRead = 0;
        CheckOptions options;
        options.level = Level::Deep;
        const film::Verdict verdict(std::make_unique<HoledSource>(film, &bytesRead), options);
        const quint64 second = firstData + quint64(hole.size()) + 8;
        QCOMPARE(
            verdict.of(QStringLiteral("zero-hole")),
            QStringLiteral("warning [none] %1+2000000 x2 #0 fewer than 512 zero bytes in a row > 2000000 zero bytes")
                .arg(firstData + 500000));
        QCOMPARE(verdict.of(QStringLiteral("duplicate-frames")),
                 QStringLiteral("note [none] %1+%2 #0 each frame another > up to 2 like frames in a row")
                     .arg(second)
                     .arg(hole.size()));
        // What is read ahead of a hole is small against it.
        QVERIFY2(bytesRead < film.size() - 2 * holeSize + holeSize / 2, qPrintable(QString::number(bytesRead)));
    }

    // A packet that begins where a hole is said to be, and cannot be read there, ends the reading.
    void packetThatCannotBeRead()
    {
        const QByteArray hole = withZeros(layer(64, 48) + plane(0, 600000), 300000, 300000 + int(layer(64, 48).size()));
        const QByteArray film = xvid({hole, zeros(200000)});
        FailingSource source(film, firstData + 300000, firstData + hole.size() + 8);
        AviAnalyzer analyzer;
        AnalysisOptions options;
        options.level = Level::Deep;
        QVERIFY(analyzer.read(source, options).isComplete());
        QVERIFY(!source.wasAsked);
        CheckOptions all;
        all.level = Level::Deep;
        Findings findings;
        QVERIFY(!analyzer.check(all, findings));
        QVERIFY(source.wasAsked);
        QCOMPARE(findings.notChecked(),
                 QStringList{QStringLiteral("payload not checked from offset %1 on").arg(firstData + hole.size() + 8)});
    }

    // Only frames of one size are compared, wherever the next frame stands.
    void framesOfManySizesAreCompared()
    {
        const QString rule = QStringLiteral("duplicate-frames");
        const QByteArray small = layer(64, 48) + plane(0, 45);
        const QByteArray other = layer(64, 48) + plane(0, 46);
        QCOMPARE(one::found(xvid({small, other, small, other}), rule), QString());
        QCOMPARE(one::found(xvid({small, other, other, small, small, other}), rule),
                 QStringLiteral("note %1+%2 x2: each frame another -> up to 2 like frames in a row")
                     .arg(firstData + small.size() + 1 + 8 + other.size() + 8)
                     .arg(other.size()));
        std::vector<QByteArray> farApart = chunksOf("00dc", {small});
        for (int number = 0; number < 40; ++number)
            farApart.push_back(chunk("01wb", filling(4)));
        farApart.push_back(chunk("00dc", small));
        const QByteArray streams = one::streamList(StreamHeader("vids").handler("XVID").scale(1).rate(25),
                                                   VideoFormat().picture(64, 48).bitCount(24).compression("XVID"))
            + one::streamList(StreamHeader("auds").scale(1).rate(8000).sampleSize(2), WaveFormat(1));
        QVERIFY(one::found(one::file(streams, farApart), rule).contains(QStringLiteral("up to 2")));
    }

    void whatIsNotCheckedIsSaid()
    {
        const QByteArray film = xvid({layer(64, 48) + plane(0)});
        const QStringList atThisLevel{QStringLiteral("payload of XVID not checked at this level")};
        QCOMPARE(notChecked(film, Level::Quick), atThisLevel);
        QCOMPARE(notChecked(film, Level::Default), atThisLevel);
        QCOMPARE(notChecked(film, Level::Deep), QStringList());
        const QStringList byNobody{QStringLiteral("payload of HFYU not checked: it has no reader")};
        const QByteArray other = video("HFYU", {filling(40)});
        QCOMPARE(notChecked(other, Level::Default), byNobody);
        QCOMPARE(notChecked(other, Level::Deep), byNobody);
        // Two streams of one codec are told once; raw data has nothing that could be read.
        const QByteArray stream =
            one::streamList(StreamHeader("vids").scale(1).rate(25), VideoFormat().picture(64, 48).compression("XVID"));
        QCOMPARE(notChecked(one::file(stream + stream, {}), Level::Quick), atThisLevel);
        QCOMPARE(notChecked(video("YUY2", {filling(6144)}), Level::Default), QStringList());
    }

    // Whatever one changed byte does: places stay inside of the file, and what is expected is not what is there.
    void everyChangedByteIsSurvived()
    {
        const QByteArray films[] = {
            xvid({layer(64, 48) + plane(0), plane(1), plane(1), {}}, {1, 2, 3}),
            video("H264", {lengths({slice(5, 7)}), lengths({recoveryPoint(0), slice(1, 7)})}, {}, configuration()),
            video("MJPG", {jpeg(64, 48, filling(20), flatTable(0) + flatTable(1)), jpeg(64, 24) + jpeg(64, 24)}),
            mp3Stream({mp3(5), mp3(5) + mp3(5).left(20)}, 1),
        };
        for (const QByteArray &film : films) {
            for (int at = 0; at < film.size(); ++at) {
                for (const char value : {'\0', '\xFF', '\x01'}) {
                    QByteArray bytes = film;
                    bytes[at] = value;
                    verifySound(bytes);
                }
            }
        }
    }

    void trouble()
    {
        // A source that breaks inside of the payload, once it was read for its structure.
        class BreakingSource final : public ByteSource
        {
        public:
            explicit BreakingSource(const QByteArray &bytes) : m_bytes(bytes) { }
            qint64 size() const override { return m_bytes.size(); }
            qint64 readAt(qint64 position, char *data, qint64 maxSize) override
            {
                if (isBroken && position + maxSize > 2000)
                    return -1;
                const qint64 count = std::clamp<qint64>(size() - position, 0, maxSize);
                memcpy(data, m_bytes.constData() + position, size_t(count));
                return count;
            }
            bool isBroken = false;

        private:
            const QByteArray m_bytes;
        };
        BreakingSource source(xvid({layer(64, 48) + plane(0, 1000), plane(1, 200000)}, {1}));
        AviAnalyzer analyzer;
        AnalysisOptions reading;
        reading.level = Level::Deep;
        QVERIFY(analyzer.read(source, reading).isComplete());
        CheckOptions options;
        options.level = Level::Deep;
        Findings findings;
        QVERIFY(analyzer.check(options, findings));
        source.isBroken = true;
        QVERIFY(!analyzer.check(options, findings));
        QVERIFY(
            findings.notChecked().join(QLatin1Char(' ')).contains(QStringLiteral("payload not checked from offset")));
    }

private:
    static void verifySound(const QByteArray &bytes)
    {
        film::Reading reading(bytes, Level::Deep);
        Findings findings;
        CheckOptions options;
        options.level = Level::Deep;
        QVERIFY(reading.analyzer.check(options, findings));
        for (const Finding &finding : findings.list()) {
            for (const ByteRange &place : finding.places)
                QVERIFY(place.end() <= quint64(bytes.size()));
            QVERIFY2(finding.expected != finding.actual, qPrintable(finding.rule));
            QVERIFY(!finding.message.contains(QLatin1String("%1")));
        }
    }
};

QTEST_APPLESS_MAIN(TestPayloadRules)
#include "tst_payloadrules.moc"
