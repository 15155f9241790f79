#include "rulerows.h"
#include "sparsesource.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

/// What the streams of a film are.
struct Streams
{
    QByteArray firstType = "vids";
    QByteArray handler = "XVID";
    quint32 rate = 10; // frames per second
    quint32 soundStart = 0; // ticks of the sound, a thousandth of a second and two bytes each
    QByteArray secondType = "auds";
};

/// The headers of two streams, without counts: 314 bytes with that of the RIFF.
QByteArray headersOf(const Streams &streams)
{
    return list(
        "hdrl",
        {chunk("avih", MainHeader().frameTime(100000).streams(2).picture(16, 16)),
         list("strl",
              {chunk("strh", StreamHeader(streams.firstType).handler(streams.handler).scale(1).rate(streams.rate)),
               chunk("strf", VideoFormat().picture(16, 16).bitCount(24).compression(streams.handler))}),
         list("strl",
              {chunk("strh",
                     StreamHeader(streams.secondType).scale(1).rate(1000).start(streams.soundStart).sampleSize(2)),
               chunk("strf",
                     WaveFormat(1).channels(1).samplesPerSecond(1000).bytesPerSecond(2000).blockAlign(2).bitsPerSample(
                         16))})});
}

QByteArray filmOf(const QByteArray &data, const Streams &streams = {})
{
    return list("AVI ", {headersOf(streams), list("movi", {data})}, "RIFF");
}

/// `count` frames of two bytes: at ten per second.
QByteArray frames(int count)
{
    QByteArray all;
    for (int i = 0; i < count; ++i)
        all += chunk("00dc", payload(2));
    return all;
}

/// A chunk of sound that lasts `milliseconds`.
QByteArray sound(int milliseconds)
{
    return chunk("01wb", payload(2 * milliseconds));
}

/// `seconds` seconds of sound and pictures, half a second of each after the other.
QByteArray interleaved(int seconds)
{
    QByteArray all;
    for (int i = 0; i < 2 * seconds; ++i)
        all += frames(5) + sound(500);
    return all;
}

QByteArray changed(quint64 at, const QByteArray &bytes)
{
    return replaced(dataOffset + at, bytes);
}

template <typename Change> Streams streamsWith(Change change)
{
    Streams streams;
    change(streams);
    return streams;
}

} // namespace

class TestChunkRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rules_data()
    {
        addRuleColumns();
        const auto row = addRuleRow;
        const QByteArray whole = file();

        row("kept", whole, "undeclared-stream", "");
        row("one chunk", changed(48, "07"), "undeclared-stream", "error [none] 374+4 #7 a stream below 2 > 7");
        row("a list of headers is lost", replaced(212, "JUNK"), "undeclared-stream",
            "error [none] 344+4 x4 #1 a stream below 1 > 1 < stream-count");
        row("all headers are lost", replaced(12, "JUNK"), "undeclared-stream",
            "error [none] 326+4 x4 #0 a stream below 0 > 0 < hdrl-missing | "
            "error [none] 344+4 x4 #1 a stream below 0 > 1 < hdrl-missing");

        const Streams subtitles = streamsWith([](Streams &streams) { streams.handler = "DXSB"; });
        const Streams mixed = streamsWith([](Streams &streams) { streams.firstType = "iavs"; });
        const Streams data = streamsWith([](Streams &streams) { streams.secondType = "dats"; });
        const Streams text = streamsWith([](Streams &streams) { streams.secondType = "txts"; });
        row("kept", whole, "chunk-kind", "");
        row("kept by colours", filmOf(chunk("00db", "ab") + chunk("00pc", "ab")), "chunk-kind", "");
        row("kept by a stream of both", filmOf(chunk("00__", "ab"), mixed), "chunk-kind", "");
        row("kept by data of a camera", filmOf(chunk("01me", "ab"), data), "chunk-kind", "");
        row("sound in a video stream", changed(34, "wb"), "chunk-kind", "warning [none] 358+4 #0 dc, db, pc > wb");
        row("pictures in an audio stream", changed(48 + 2, "dc"), "chunk-kind", "warning [none] 374+4 #1 wb > dc");
        row("subtitles as pictures", filmOf(chunk("00sb", "ab"), subtitles), "chunk-kind",
            "note [none] 326+4 #0 dc, db, pc > sb");
        row("text", filmOf(chunk("01st", "ab"), text), "chunk-kind", "note [none] 326+4 #1 tx > st");

        row("kept", whole, "chunk-swallows-others", "");
        row("a chunk's size is too large", changed(36, u32(40)), "chunk-swallows-others",
            "error [patch] 362+4 #0 7 > 40");
        row("bytes are lost", removed(dataOffset + 72, 4), "chunk-swallows-others", "error [patch] 392+4 #0 8 > 12");
        row("a header's size is too large", replaced(28, u32(90)), "chunk-swallows-others",
            "error [patch] 28+4 56 > 90");

        row("kept", file(joined(chunks()) + chunk("JUNK", zeros(4)) + chunk("ix00", zeros(24))), "unknown-chunk", "");
        row("other ids", file(joined(chunks()) + chunk("abcd", payload(4)) + chunk("data", payload(2))),
            "unknown-chunk", "note [none] 442+8 x2 data of a stream, an index or JUNK > abcd");
        // idx1 has the frame, so the id was damaged, and the frame is missing for that reason.
        row("an id that idx1 has otherwise", changed(32, "abcd"), "unknown-chunk",
            "note [none] 358+8 #0 the id of a chunk of stream 0, which an index has here > abcd");
        row("an id that idx1 has otherwise", changed(32, "abcd"), "frame-count",
            "warning [patch] 48+4 #0 3 > 4 < unknown-chunk");
        row("an id that idx1 has otherwise", changed(32, "abcd"), "idx1-no-such-chunk",
            "error [append] 490+4 #0 a chunk 00dc at offset 358 > no chunk at offset 358 < unknown-chunk");
        row("an entry whose id names no stream", replaced(482, "XXXX"), "idx1-chunk-not-indexed",
            "warning [append] 358+8 #0 an entry in idx1 > none < idx1-no-such-chunk");

        row("kept", filmOf(list("rec ", {frames(1)})), "list-in-movi", "");
        row("another list", filmOf(frames(1) + list("INFO", {chunk("ISFT", "ab")})), "list-in-movi",
            "error [none] 336+12 LIST rec  > LIST INFO");

        row("kept", whole, "stream-empty", "");
        row("no sound", filmOf(frames(3)), "stream-empty", "warning [none] 212+12 #1 a chunk > none");

        row("kept", filmOf(frames(3) + sound(300)), "empty-frames", "");
        row("at three places",
            filmOf(frames(1) + chunk("00dc", {}) + frames(1) + chunk("00dc", {}) + chunk("00dc", {})), "empty-frames",
            "note [none] 336+8 x3 #0 frames with data > 3 without, at most 2 in a row");

        row("kept", filmOf(interleaved(5)), "interleave-distance", "");
        row("kept by one chunk of less than two seconds", filmOf(sound(1900) + frames(19)), "interleave-distance", "");
        row("one stream behind the other", filmOf(frames(50) + sound(5000)), "interleave-distance",
            "warning [rewrite] 826+8 #1 less than 2 s apart > 4.90 s");
        row("sound for five seconds in one chunk", filmOf(sound(5000) + frames(50)), "interleave-distance",
            "warning [rewrite] 10334+8 x31 #0 less than 2 s apart > 5.00 s");
        row("kept where sound begins later",
            filmOf(frames(50) + sound(1000), streamsWith([](Streams &streams) { streams.soundStart = 4900; })),
            "interleave-distance", "");
        row("sound that begins later than it says",
            filmOf(interleaved(5), streamsWith([](Streams &streams) { streams.soundStart = 3000; })),
            "interleave-distance", "warning [rewrite] 4558+8 x30 #0 less than 2 s apart > 3.00 s");
        row("empty chunks are no data",
            filmOf(sound(100) + frames(1) + QByteArray(chunk("00dc", {})).repeated(40) + sound(4000)),
            "interleave-distance", "");

        row("kept", filmOf(interleaved(5)), "durations-differ", "");
        row("kept within a second", filmOf(interleaved(5) + sound(900)), "durations-differ", "");
        row("more than a second", filmOf(interleaved(5) + sound(1100)), "durations-differ",
            "warning [patch] 264+4 #1 5.00 s, within 1.00 s > 6.10 s");
        row("kept within a twentieth", filmOf(interleaved(50) + sound(2400)), "durations-differ", "");
        row("more than a twentieth", filmOf(interleaved(50) + sound(2700)), "durations-differ",
            "warning [patch] 264+4 #1 50.00 s, within 2.64 s > 52.70 s");
        row("kept where sound begins later and ends with the pictures",
            filmOf(frames(50) + sound(1000), streamsWith([](Streams &streams) { streams.soundStart = 4000; })),
            "durations-differ", "");
    }

    void rules() { tryRuleRow(); }

    // Sound that lies a second and a half behind is far away only where that takes more than 64 MiB.
    void distanceCountsBytesToo_data()
    {
        QTest::addColumn<quint32>("frameSize");
        QTest::addColumn<QString>("findings");
        // From the last frame that is due at 0 to the sound lie sixteen frames with headers.
        QTest::newRow("kept") << quint32(4194304 - 10) << QString();
        QTest::newRow("64 MiB") << quint32(4194304 - 8)
                                << QStringLiteral("warning [rewrite] 67109190+8 #1 less than 67108864 bytes apart > "
                                                  "67108864 bytes");
    }

    void distanceCountsBytesToo()
    {
        QFETCH(quint32, frameSize);
        QFETCH(QString, findings);
        constexpr quint32 count = 16; // 1.5 seconds
        const quint64 soundOffset = dataOffset + count * quint64(8 + frameSize);
        const QByteArray last = chunk("01wb", payload(4));
        const quint32 moviSize = quint32(soundOffset - dataOffset) + 4 + quint32(last.size());
        SparseFile bytes;
        bytes.size = qint64(soundOffset) + last.size();
        bytes.islands[0] = QByteArray("RIFF") + u32(quint32(bytes.size) - 8) + "AVI " + headersOf({}) + "LIST"
            + u32(moviSize) + "movi";
        for (quint32 frame = 0; frame < count; ++frame)
            bytes.islands[qint64(dataOffset + frame * quint64(8 + frameSize))] = QByteArray("00dc") + u32(frameSize);
        bytes.islands[qint64(soundOffset)] = last;
        const Verdict verdict(std::make_unique<SparseSource>(&bytes));
        QVERIFY(verdict.isComplete);
        QCOMPARE(verdict.of(QStringLiteral("interleave-distance")), findings);
    }

    void thresholdsAreOptions()
    {
        const QByteArray bytes = filmOf(interleaved(5) + sound(600));
        CheckOptions options;
        QCOMPARE(Verdict(bytes, options).of(QStringLiteral("interleave-distance")), QString());
        options.thresholds.interleaveSeconds = 0.3;
        options.thresholds.durationSeconds = 0.5;
        options.thresholds.durationShare = 0.01;
        const Verdict strict(bytes, options);
        QVERIFY(strict.of(QStringLiteral("interleave-distance")).contains(QStringLiteral("less than 0.3 s apart")));
        QVERIFY(strict.of(QStringLiteral("durations-differ")).contains(QStringLiteral("within 0.50 s")));
    }

    void rulesNeedData()
    {
        CheckOptions quick;
        quick.level = Level::Quick;
        const Verdict verdict(file(), quick);
        for (const char *rule : {"stream-empty", "interleave-distance", "durations-differ", "undeclared-stream"})
            QCOMPARE(int(verdict.state(QString::fromLatin1(rule))), int(RuleState::NotApplicable));
        // One stream alone is as long as itself.
        const Verdict single(filmOf(frames(3)));
        QCOMPARE(int(single.state(QStringLiteral("durations-differ"))), int(RuleState::NotApplicable));
    }
};

QTEST_APPLESS_MAIN(TestChunkRules)
#include "tst_chunkrules.moc"
