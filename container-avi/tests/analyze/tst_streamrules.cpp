// Rules about strh, each with a file that breaks it and one that keeps it.
#include "onestream.h"

#include <QTest>

using namespace quenlofar;
using namespace build;

namespace {

/// Video of five frames of 20 bytes.
struct Video
{
    StreamHeader header = StreamHeader("vids").handler("XVID").scale(1).rate(25).length(5);
    VideoFormat format = VideoFormat().picture(16, 16).bitCount(24).compression("XVID");
    std::vector<QByteArray> data = one::chunks("00dc", 5, 20);

    QByteArray bytes() const { return one::file(one::streamList(header, format), data); }
};

/// Sound of ten chunks of 100 bytes: 16 bits, two channels, 1000 samples per second.
struct Sound
{
    StreamHeader header = StreamHeader("auds").scale(1).rate(1000).length(250).sampleSize(4);
    WaveFormat format =
        WaveFormat(1).channels(2).samplesPerSecond(1000).bytesPerSecond(4000).blockAlign(4).bitsPerSample(16);
    std::vector<QByteArray> data = one::chunks("00wb", 10, 100);

    QByteArray bytes() const { return one::file(one::streamList(header, format), data); }
};

QByteArray withHeader(const StreamHeader &header)
{
    Video video;
    video.header = header;
    return video.bytes();
}

QByteArray withSound(const StreamHeader &header)
{
    Sound sound;
    sound.header = header;
    return sound.bytes();
}

QByteArray withBlocks(quint16 tag, quint32 sampleSize)
{
    Sound sound;
    sound.header.sampleSize(sampleSize);
    sound.format =
        WaveFormat(tag).channels(2).samplesPerSecond(1000).bytesPerSecond(4000).blockAlign(4).bitsPerSample(16);
    return sound.bytes();
}

QByteArray withByteRate(quint16 tag, quint32 bytesPerSecond)
{
    Sound sound;
    sound.format = WaveFormat(tag)
                       .channels(2)
                       .samplesPerSecond(1000)
                       .bytesPerSecond(bytesPerSecond)
                       .blockAlign(4)
                       .bitsPerSample(16);
    return sound.bytes();
}

QByteArray videoOfChunks(StreamHeader header, const std::vector<QByteArray> &data)
{
    Video video;
    video.header = header;
    video.data = data;
    return video.bytes();
}

std::vector<QByteArray> joined(std::vector<QByteArray> data, const QByteArray &more)
{
    data.push_back(more);
    return data;
}

} // namespace

class TestStreamRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rules_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("finding");
        const auto row = [](const char *rule, const char *name, const QByteArray &bytes, const char *finding) {
            QTest::addRow("%s: %s", rule, name) << QString::fromLatin1(rule) << bytes << QString::fromLatin1(finding);
        };
        const QByteArray video = Video().bytes();
        const QByteArray sound = Sound().bytes();

        row("strh-missing", "is there", video, "");
        row("strh-missing", "none", one::file(list("strl", {chunk("strf", VideoFormat())}), one::chunks("00dc", 2, 20)),
            "error 88+12: strh -> no strh");
        row("strh-missing", "44 bytes",
            one::file(one::streamList(Video().header.bytes().left(44), VideoFormat()), one::chunks("00dc", 2, 20)),
            "error 100+8: 48 bytes or more -> 44 bytes");
        row("strh-missing", "48 bytes",
            one::file(one::streamList(Video().header.bytes().left(48), VideoFormat()), one::chunks("00dc", 2, 20)), "");

        row("stream-type", "vids", video, "");
        row("stream-type", "auds", sound, "");
        row("stream-type", "a camera's data track", withHeader(StreamHeader("meta").scale(1).rate(1)),
            "warning 108+4: vids, auds, txts, mids or iavs -> meta");
        row("stream-type", "0", withHeader(StreamHeader(zeros(4)).scale(1).rate(1)),
            "error 108+4: vids, auds, txts, mids or iavs -> 0x00000000");

        row("time-base-zero", "25 per second", video, "");
        row("time-base-zero", "no scale", withHeader(StreamHeader("vids").rate(25)), "error 128+4: not 0 -> 0");
        row("time-base-zero", "no rate", withHeader(StreamHeader("vids").scale(1)), "error 132+4: not 0 -> 0");
        row("time-base-zero", "subtitles with times of their own",
            one::file(one::streamList(StreamHeader("vids").handler("DXSB"),
                                      VideoFormat().picture(16, 16).compression("DXSB")),
                      one::chunks("00sb", 1, 20)),
            "");

        row("stream-length", "five frames", video, "");
        row("stream-length", "one tick too many", withHeader(Video().header.length(6)), "note 140+4: 5 -> 6");
        row("stream-length", "one tick too few", withHeader(Video().header.length(4)), "note 140+4: 5 -> 4");
        row("stream-length", "two ticks too many", withHeader(Video().header.length(7)), "error 140+4: 5 -> 7");
        row("stream-length", "within a hundredth",
            videoOfChunks(Video().header.length(303), one::chunks("00dc", 300, 4)), "warning 140+4: 300 -> 303");
        row("stream-length", "more than a hundredth",
            videoOfChunks(Video().header.length(304), one::chunks("00dc", 300, 4)), "error 140+4: 300 -> 304");
        row("stream-length", "empty chunks are frames",
            videoOfChunks(Video().header.length(6), joined(one::chunks("00dc", 5, 20), chunk("00dc", {}))), "");
        row("stream-length", "palettes are none",
            videoOfChunks(Video().header.length(5), joined(one::chunks("00dc", 5, 20), chunk("00pc", zeros(8)))), "");
        row("stream-length", "video is counted in chunks, whatever dwSampleSize says",
            withHeader(Video().header.sampleSize(20)), "");
        row("stream-length", "blocks of sound", sound, "");
        row("stream-length", "too many blocks", withSound(Sound().header.length(260)), "error 140+4: 250 -> 260");
        row("stream-length", "1000 bytes are 111 blocks of nine and one more byte",
            withSound(Sound().header.sampleSize(9).length(111)), "");
        row("stream-length", "rounded up", withSound(Sound().header.sampleSize(9).length(112)), "");
        row("stream-length", "a tick behind the rounded one", withSound(Sound().header.sampleSize(9).length(113)),
            "note 140+4: 111 -> 113");
        row("stream-length", "chunks of sound", withSound(Sound().header.sampleSize(0).length(10)), "");
        row("stream-length", "chunks and not bytes", withSound(Sound().header.sampleSize(0).length(250)),
            "error 140+4: 10 -> 250");
        row("stream-length", "a stream of type iavs",
            one::file(one::streamList(StreamHeader("iavs").scale(1).rate(25).length(9), zeros(32)),
                      one::chunks("00__", 5, 20)),
            "error 140+4: 5 -> 9");
        row("stream-length", "other streams are not counted",
            withHeader(StreamHeader("mids").scale(1).rate(1).length(99)), "");

        row("sample-size", "a block", sound, "");
        row("sample-size", "0", withBlocks(1, 0), "not applicable");
        row("sample-size", "PCM", withBlocks(1, 2), "error 152+4: 4 -> 2");
        row("sample-size", "another format", withBlocks(0x11, 2), "warning 152+4: 4 -> 2");
        row("sample-size", "not asked of video", video, "not applicable");

        row("video-sample-size", "0", video, "");
        row("video-sample-size", "the size of all frames", withHeader(Video().header.sampleSize(20)), "");
        row("video-sample-size", "another size", withHeader(Video().header.sampleSize(21)),
            "note 152+4: 0 or 20 -> 21");
        row("video-sample-size", "frames of several sizes",
            videoOfChunks(Video().header.sampleSize(20), joined(one::chunks("00dc", 4, 20), chunk("00dc", zeros(22)))),
            "note 152+4: 0 -> 20");

        row("stream-start", "0", video, "");
        row("stream-start", "an hour", withHeader(Video().header.start(25 * 3600)), "note 136+4: 0 -> 90000");
        row("stream-start", "a tick more", withHeader(Video().header.start(25 * 3600 + 1)),
            "warning 136+4: 0 -> 90001");
        row("stream-start", "no time base", withHeader(StreamHeader("vids").start(7)), "note 136+4: 0 -> 7");

        row("stream-buffer-too-small", "not stated", video, "");
        row("stream-buffer-too-small", "the largest chunk", withHeader(Video().header.bufferSize(20)), "");
        row("stream-buffer-too-small", "a byte less", withHeader(Video().header.bufferSize(19)),
            "warning 144+4: 20 or more -> 19");

        row("palette-flag", "none and none", video, "");
        row("palette-flag", "set without palettes", withHeader(Video().header.flags(0x10000)),
            "warning 116+4: not set -> set");
        row("palette-flag", "palettes and not set",
            videoOfChunks(Video().header, joined(one::chunks("00dc", 5, 20), chunk("00pc", zeros(8)))),
            "warning 116+4: set -> not set");
        row("palette-flag", "set and palettes",
            videoOfChunks(Video().header.flags(0x10000), joined(one::chunks("00dc", 5, 20), chunk("00pc", zeros(8)))),
            "");

        const QByteArray stream = one::streamList(Video().header, Video().format);
        const int streamSize = 12 + 8 + 56 + 8 + 40;
        QCOMPARE(stream.size(), streamSize);
        row("streams-over-100", "a hundred", one::file(stream.repeated(100), one::chunks("00dc", 5, 20)), "");
        row("streams-over-100", "one more", one::file(stream.repeated(101), one::chunks("00dc", 5, 20)),
            qPrintable(QStringLiteral("error %1+12: 100 or fewer -> 101").arg(88 + 100 * streamSize)));

        row("strf-missing", "is there", video, "");
        row("strf-missing", "none",
            one::file(list("strl", {chunk("strh", Video().header)}), one::chunks("00dc", 5, 20)),
            "error 88+12: strf -> no strf");
        row("strf-missing", "empty is there",
            one::file(one::streamList(StreamHeader("txts").scale(1).rate(1), {}), one::chunks("00tx", 1, 20)), "");

        row("strf-order", "behind strh", video, "");
        row("strf-order", "before strh",
            one::file(list("strl", {chunk("strf", Video().format), chunk("strh", Video().header)}),
                      one::chunks("00dc", 5, 20)),
            "note 100+8: directly behind strh -> before strh");
        row("strf-order", "behind another chunk",
            one::file(
                list("strl", {chunk("strh", Video().header), chunk("JUNK", zeros(4)), chunk("strf", Video().format)}),
                one::chunks("00dc", 5, 20)),
            "note 176+8: directly behind strh -> behind another chunk");

        row("byte-rate", "4000 bytes", sound, "");
        row("byte-rate", "two hundredths more", withByteRate(1, 4080), "");
        row("byte-rate", "PCM of another rate", withByteRate(1, 4100),
            "warning 132+4: 4100 bytes per second -> 4000 bytes per second");
        row("byte-rate", "MP3", withByteRate(0x55, 2000),
            "warning 132+4: 2000 bytes per second -> 4000 bytes per second");
        row("byte-rate", "block codecs state a nominal rate", withByteRate(2, 2000),
            "note 132+4: 2000 bytes per second -> 4000 bytes per second");
        row("byte-rate", "a frame in each chunk", withSound(Sound().header.sampleSize(0)), "not applicable");
    }

    void rules()
    {
        QFETCH(QString, rule);
        QFETCH(QByteArray, bytes);
        QTEST(one::found(bytes, rule, Level::Default), "finding");
    }

    // What takes no look at the data is found at level quick, and nothing else is looked at.
    void quickRulesStandAlone()
    {
        const QByteArray start = withHeader(Video().header.start(7));
        QCOMPARE(one::found(start, QStringLiteral("stream-start"), Level::Quick), QStringLiteral("note 136+4: 0 -> 7"));
        const QByteArray length = withHeader(Video().header.length(9));
        QCOMPARE(one::found(length, QStringLiteral("stream-length"), Level::Quick), QStringLiteral("not applicable"));
    }
};

QTEST_APPLESS_MAIN(TestStreamRules)
#include "tst_streamrules.moc"
