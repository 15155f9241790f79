// Rules about strf, each with a file that breaks it and one that keeps it.
#include "onestream.h"

#include <QTest>

#include <limits>

using namespace quenlofar;
using namespace build;

namespace {

QByteArray video(const QByteArray &format, const std::vector<QByteArray> &data = one::chunks("00dc", 2, 20))
{
    return one::file(one::streamList(StreamHeader("vids").scale(1).rate(25).length(2), format), data);
}

/// Raw pictures of 5 by 3 pixels: rows of 15 bytes are padded to 16.
VideoFormat raw(quint16 bits = 24)
{
    return VideoFormat().picture(5, 3).bitCount(bits);
}

QByteArray sound(const QByteArray &format, quint32 sampleSize = 4, int chunkSize = 100, quint32 scale = 1,
                 quint32 rate = 1000)
{
    return one::file(one::streamList(StreamHeader("auds").scale(scale).rate(rate).sampleSize(sampleSize), format),
                     one::chunks("00wb", 3, chunkSize));
}

/// 16 bits, two channels, 1000 samples per second.
WaveFormat pcm()
{
    return WaveFormat(1).channels(2).samplesPerSecond(1000).bytesPerSecond(4000).blockAlign(4).bitsPerSample(16);
}

WaveFormat coded(quint16 tag, quint32 samples, quint16 block)
{
    return WaveFormat(tag).channels(2).samplesPerSecond(samples).bytesPerSecond(16000).blockAlign(block);
}

/// WAVEFORMATEXTENSIBLE of PCM.
QByteArray extensible(quint16 validBits, quint32 mask)
{
    return WaveFormat(0xFFFE)
        .channels(2)
        .samplesPerSecond(1000)
        .bytesPerSecond(4000)
        .blockAlign(4)
        .bitsPerSample(16)
        .extra(u16(validBits) + u32(mask) + u32(1)
               + QByteArray::fromHex("000010008000"
                                     "00aa00389b71"));
}

/// MPEGLAYER3WAVEFORMAT.
QByteArray mp3(quint16 extraSize = 12)
{
    return coded(0x55, 44100, 1152).put(16, u16(extraSize) + u16(1) + u32(2) + u16(418) + u16(1) + u16(1393));
}

} // namespace

class TestFormatRules : public QObject
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
        const VideoFormat xvid = VideoFormat().picture(16, 16).bitCount(24).compression("XVID");

        row("video-format-size", "40 bytes", video(xvid), "");
        row("video-format-size", "39 bytes", video(xvid.bytes().left(39)), "error 164+8: 40 bytes or more -> 39 bytes");
        row("video-format-size", "biSize too large", video(VideoFormat(xvid).put(0, u32(41))),
            "warning 172+4: 40 or less -> 41");
        row("video-format-size", "biSize counts what stands behind",
            video(VideoFormat(xvid).put(0, u32(44)).put(40, zeros(4))), "");
        row("video-format-size", "not asked of sound", sound(pcm()), "not applicable");

        row("video-picture-size", "16 by 16", video(xvid), "");
        row("video-picture-size", "first row on top", video(VideoFormat(xvid).picture(16, -16)), "");
        row("video-picture-size", "no width", video(VideoFormat(xvid).picture(0, 16)), "error 176+4: above 0 -> 0");
        row("video-picture-size", "width below 0", video(VideoFormat(xvid).picture(-16, 16)),
            "error 176+4: above 0 -> -16");
        row("video-picture-size", "no height", video(VideoFormat(xvid).picture(16, 0)), "error 180+4: not 0 -> 0");

        row("video-image-size", "0", video(raw(), one::chunks("00db", 2, 48)), "");
        row("video-image-size", "48", video(raw().imageSize(48), one::chunks("00db", 2, 48)), "");
        row("video-image-size", "45", video(raw().imageSize(45), one::chunks("00db", 2, 48)),
            "note 192+4: 48, or 0 -> 45");
        row("video-image-size", "the size of all chunks", video(raw().imageSize(45), one::chunks("00db", 2, 45)), "");
        row("video-image-size", "YUY2 of 4 by 2",
            video(VideoFormat().picture(4, 2).bitCount(16).compression("YUY2").imageSize(17),
                  one::chunks("00db", 2, 16)),
            "note 192+4: 16, or 0 -> 17");
        row("video-image-size", "I420 of 4 by 2",
            video(VideoFormat().picture(4, 2).bitCount(12).compression("I420").imageSize(12),
                  one::chunks("00db", 2, 12)),
            "");
        row("video-image-size", "not asked of codecs", video(VideoFormat(xvid).imageSize(1)), "not applicable");

        row("palette-missing", "24 bits have none", video(raw(), one::chunks("00db", 2, 48)), "not applicable");
        row("palette-missing", "256 colours", video(raw(8).put(40, zeros(1024))), "");
        row("palette-missing", "a colour less", video(raw(8).put(40, zeros(1020))),
            "error 164+8: a palette of 1024 bytes -> 1020 bytes");
        row("palette-missing", "biClrUsed", video(raw(8).colors(3, 0).put(40, zeros(12))), "");
        row("palette-missing", "biClrUsed and a colour less", video(raw(8).colors(3, 0).put(40, zeros(8))),
            "error 164+8: a palette of 12 bytes -> 8 bytes");
        row("palette-missing", "four bits", video(raw(4)), "error 164+8: a palette of 64 bytes -> 0 bytes");
        row("palette-missing", "run lengths", video(raw(8).compression(u32(1))),
            "error 164+8: a palette of 1024 bytes -> 0 bytes");
        row("palette-missing", "grey pictures of another format", video(raw(8).compression("Y800")), "not applicable");

        // The first chunk stands behind strl (124 bytes) at 212, in a movi whose header has 12 bytes.
        row("raw-frame-size", "rows are padded", video(raw(), one::chunks("00db", 2, 48)), "");
        row("raw-frame-size", "too short", video(raw(), one::chunks("00db", 2, 46)),
            "error 232+46 x2: 48 bytes -> 46 bytes");
        row("raw-frame-size", "too long", video(raw(), one::chunks("00db", 2, 50)),
            "note 232+50 x2: 48 bytes -> 50 bytes");
        row("raw-frame-size", "no padding, and biSizeImage says so",
            video(raw().imageSize(46), one::chunks("00db", 2, 46)), "");
        row("raw-frame-size", "empty frames are exempt",
            video(raw(), {chunk("00db", {}), chunk("00db", QByteArray(48, 'a'))}), "");
        row("raw-frame-size", "first row on top", video(raw().picture(5, -3), one::chunks("00db", 2, 48)), "");
        row("raw-frame-size", "a bit for a pixel", video(raw(1).put(40, zeros(8)), one::chunks("00db", 2, 12)), "");
        row("raw-frame-size", "larger than any chunk",
            video(raw(32).picture(0x7FFFFFFF, std::numeric_limits<qint32>::min()), one::chunks("00db", 2, 12)),
            "not applicable");
        row("raw-frame-size", "not asked of codecs", video(xvid), "not applicable");

        row("audio-format-size", "18 bytes", sound(pcm()), "");
        row("audio-format-size", "16 bytes of PCM", sound(pcm().bytes().left(16)), "");
        row("audio-format-size", "14 bytes of PCM", sound(pcm().bytes().left(14)),
            "error 164+8: 16 bytes or more -> 14 bytes");
        row("audio-format-size", "14 bytes of another format", sound(coded(0x11, 1000, 4).bytes().left(14)), "");
        row("audio-format-size", "12 bytes", sound(coded(0x11, 1000, 4).bytes().left(12)),
            "error 164+8: 14 bytes or more -> 12 bytes");

        row("audio-format-zero", "two channels", sound(pcm()), "");
        row("audio-format-zero", "no channels", sound(pcm().channels(0)), "error 174+2: not 0 -> 0");
        row("audio-format-zero", "no samples", sound(pcm().samplesPerSecond(0)), "error 176+4: not 0 -> 0");

        row("block-align-zero", "4", sound(pcm()), "");
        row("block-align-zero", "0", sound(pcm().blockAlign(0)), "error 184+2: not 0 -> 0");

        row("pcm-block-align", "two channels of 16 bits", sound(pcm()), "");
        row("pcm-block-align", "two bytes", sound(pcm().blockAlign(2)), "error 184+2: 4 -> 2");
        row("pcm-block-align", "20 bits take three bytes", sound(pcm().bitsPerSample(20).blockAlign(6)), "");
        row("pcm-block-align", "a block codec", sound(coded(0x11, 1000, 256)), "not applicable");

        row("pcm-byte-rate", "4000", sound(pcm()), "");
        row("pcm-byte-rate", "4001", sound(pcm().bytesPerSecond(4001)), "warning 180+4: 4000 -> 4001");

        row("format-extra-size", "none", sound(coded(0x11, 1000, 256)), "");
        row("format-extra-size", "two", sound(coded(0x11, 1000, 256).extra(zeros(2))), "");
        row("format-extra-size", "three of two", sound(coded(0x11, 1000, 256).put(18, zeros(2)).extraSize(3)),
            "warning 188+2: 2 or less -> 3");
        row("format-extra-size", "not asked of PCM", sound(pcm().extraSize(99)), "");

        row("extensible-fields", "two places", sound(extensible(16, 3)), "");
        row("extensible-fields", "no places", sound(extensible(16, 0)), "");
        row("extensible-fields", "three places", sound(extensible(16, 7)), "warning 192+4: 2 channels -> 3 channels");
        row("extensible-fields", "17 of 16 bits", sound(extensible(17, 3)), "warning 190+2: 16 or less -> 17");
        row("extensible-fields", "too short", sound(extensible(16, 3).left(38)),
            "warning 164+8: 40 bytes or more -> 38 bytes");
        row("extensible-fields", "another format", sound(pcm()), "not applicable");

        // strl has 102 bytes here, so the data of the first chunk stands at 210.
        row("pcm-chunk-align", "25 blocks", sound(pcm()), "");
        row("pcm-chunk-align", "24 blocks and two bytes", sound(pcm(), 4, 98),
            "warning 210+98 x3: a multiple of 4 bytes -> 98 bytes");
        row("pcm-chunk-align", "another format", sound(coded(0x11, 1000, 4), 4, 98), "not applicable");

        row("vbr-block-align", "1152", sound(mp3(), 0), "");
        row("vbr-block-align", "99 of 100", sound(coded(0x55, 44100, 99), 0), "warning 184+2: 100 or more -> 99");
        row("vbr-block-align", "constant bit rate", sound(coded(0x55, 44100, 1), 1), "not applicable");

        row("vbr-time-base", "MP3 of 44100", sound(mp3(), 0, 100, 1152, 44100), "");
        row("vbr-time-base", "MP3 of 22050", sound(coded(0x55, 22050, 1152), 0, 100, 576, 22050), "");
        row("vbr-time-base", "ticks of twice the length", sound(coded(0x55, 22050, 1152), 0, 100, 1152, 22050),
            "warning 128+8: 576 samples in a tick -> 1152.0 samples in a tick");
        row("vbr-time-base", "MP2 of 22050", sound(coded(0x50, 22050, 1152), 0, 100, 1152, 22050), "");
        row("vbr-time-base", "layer 1", sound(coded(0x50, 48000, 1152).put(18, u16(1)), 0, 100, 1, 125), "");
        row("vbr-time-base", "AC-3", sound(coded(0x2000, 48000, 1536), 0, 100, 1536, 48000), "");
        row("vbr-time-base", "AC-3 in hundredths", sound(coded(0x2000, 48000, 1536), 0, 100, 1, 100),
            "warning 128+8: 1536 samples in a tick -> 480.0 samples in a tick");
        row("vbr-time-base", "AAC", sound(coded(0xFF, 44100, 1024), 0, 100, 1024, 44100), "");
        row("vbr-time-base", "AAC whose rate is that of replicated bands",
            sound(coded(0xFF, 44100, 2048), 0, 100, 2048, 44100), "");
        row("vbr-time-base", "AAC in ticks of MP3", sound(coded(0xFF, 44100, 1152), 0, 100, 1152, 44100),
            "warning 128+8: 1024 samples in a tick -> 1152.0 samples in a tick");

        row("mp3-format-size", "30 bytes", sound(mp3(), 0), "");
        row("mp3-format-size", "18 bytes", sound(coded(0x55, 44100, 1152), 0), "warning 164+8: 30 bytes -> 18 bytes");
        row("mp3-format-size", "no cbSize", sound(mp3(0), 0), "warning 188+2: 12 -> 0");
        row("mp3-format-size", "another format", sound(pcm()), "not applicable");
    }

    void rules()
    {
        QFETCH(QString, rule);
        QFETCH(QByteArray, bytes);
        QTEST(one::found(bytes, rule, Level::Default), "finding");
    }
};

QTEST_APPLESS_MAIN(TestFormatRules)
#include "tst_formatrules.moc"
