#pragma once

#include "smallfilm.h"

namespace quenlofar {

namespace film {

/**
 * An OpenDML film of two RIFF lists: 5 frames and 4 chunks of sound of 2 bytes a tick, an index chunk for each stream
 * and list behind its data. A test sets other values before bytes(), or changes in the bytes: 836 of them.
 *
 *     212 indx of video, entries at 244 and 260        378 indx of audio, entries at 410 and 426      454 dmlh
 *     466 movi: 478 00dc, 490 01wb, 504 00dc, 518 01wb, 536 00dc, 552 ix00 (584, 592, 600), 608 ix01 (640, 648)
 *     656 RIFF, 668 movi: 680 00dc, 698 01wb, 714 01wb, 730 00dc, 740 ix00 (772, 780), 788 ix01 (820, 828)
 *
 * Of one RIFF list and with idx1 it has 712 bytes:
 *
 *     422 dmlh, 434 movi: 446 00dc, 458 01wb, 472 00dc, 486 01wb, 504 00dc, 520 ix00, 576 ix01, 624 idx1 (from 632)
 */
struct OpenFilm
{
    bool hasExtendedHeader = true;
    quint32 totalFrames = 0; ///< dwTotalFrames of dmlh; 0 for what is true
    QByteArray properties; ///< data of `vprp`; none where it is empty
    bool hasAudioIndex = true; ///< `indx` of the sound
    bool hasLegacyIndex = false; ///< `idx1` behind the first `movi`, the first frame key
    bool hasSecondSegment = true;

    QByteArray bytes() const
    {
        using namespace build;
        // Everything has its place once its size is known.
        const quint64 firstMovi = 12 + quint64(header(0, 0).size());
        const quint64 firstIndexes = firstMovi + 12 + quint64(firstData().size());
        const QByteArray first =
            list("AVI ", {header(firstIndexes, 0), firstMoviList(firstMovi), legacyIndex()}, "RIFF");
        const quint64 secondMovi = quint64(first.size()) + 12;
        const quint64 secondIndexes = secondMovi + 12 + quint64(secondData().size());
        const QByteArray whole =
            list("AVI ", {header(firstIndexes, secondIndexes), firstMoviList(firstMovi), legacyIndex()}, "RIFF");
        if (!hasSecondSegment)
            return whole;
        return whole + list("AVIX", {secondMoviList(secondMovi)}, "RIFF");
    }

private:
    static QByteArray firstData()
    {
        using build::chunk;
        return joined({chunk("00dc", payload(4)), chunk("01wb", payload(6)), chunk("00dc", payload(6)),
                       chunk("01wb", payload(10)), chunk("00dc", payload(8))});
    }
    static QByteArray secondData()
    {
        using build::chunk;
        return joined({chunk("00dc", payload(10)), chunk("01wb", payload(8)), chunk("01wb", payload(8)),
                       chunk("00dc", payload(2))});
    }
    static QByteArray standardIndex(const char *id, const QByteArray &chunkId, quint64 base, const QByteArray &entries)
    {
        using namespace build;
        return chunk(
            id, IndexHeader(1, 2, quint32(entries.size()) / 8).chunkId(chunkId).baseOffset(base).bytes() + entries);
    }
    static QByteArray firstMoviList(quint64 movi)
    {
        using namespace build;
        return list("movi",
                    {firstData(),
                     standardIndex("ix00", "00dc", movi + 8,
                                   u32(12) + u32(4) + u32(38) + u32(0x80000006) + u32(70) + u32(0x80000008)),
                     standardIndex("ix01", "01wb", movi + 8, u32(24) + u32(6) + u32(52) + u32(10))});
    }
    static QByteArray secondMoviList(quint64 movi)
    {
        using namespace build;
        return list("movi",
                    {secondData(),
                     standardIndex("ix00", "00dc", movi + 8, u32(12) + u32(10) + u32(62) + u32(0x80000002)),
                     standardIndex("ix01", "01wb", movi + 8, u32(30) + u32(8) + u32(46) + u32(8))});
    }
    QByteArray superIndex(const QByteArray &chunkId, quint64 first, quint32 firstSize, quint32 firstTicks,
                          quint64 second, quint32 secondSize, quint32 secondTicks) const
    {
        using namespace build;
        QByteArray entries = superIndexEntry(first, firstSize, firstTicks);
        if (hasSecondSegment)
            entries += superIndexEntry(second, secondSize, secondTicks);
        return chunk("indx", IndexHeader(0, 4, hasSecondSegment ? 2 : 1).chunkId(chunkId).bytes() + entries);
    }
    QByteArray legacyIndex() const
    {
        using namespace build;
        if (!hasLegacyIndex)
            return {};
        return chunk("idx1",
                     indexEntry("00dc", 0x10, 4, 4) + indexEntry("01wb", 0x10, 16, 6) + indexEntry("00dc", 0, 30, 6)
                         + indexEntry("01wb", 0x10, 44, 10) + indexEntry("00dc", 0, 62, 8));
    }
    /// The header list; the index chunks of the streams stand at these places, one behind the other.
    QByteArray header(quint64 firstIndexes, quint64 secondIndexes) const
    {
        using namespace build;
        const QByteArray vprp = properties.isEmpty() ? QByteArray() : chunk("vprp", properties).bytes();
        const QByteArray audioIndex =
            hasAudioIndex ? superIndex("01wb", firstIndexes + 56, 48, 8, secondIndexes + 48, 48, 8) : QByteArray();
        return list(
            "hdrl",
            {chunk("avih", MainHeader().frameTime(40000).flags(0x10).totalFrames(3).streams(2).picture(16, 16)),
             list("strl",
                  {chunk("strh",
                         StreamHeader("vids").handler("XVID").scale(1).rate(25).length(hasSecondSegment ? 5 : 3)),
                   chunk("strf", VideoFormat().picture(16, 16).bitCount(24).compression("XVID")), vprp,
                   superIndex("00dc", firstIndexes, 56, 3, secondIndexes, 48, 2)}),
             list(
                 "strl",
                 {chunk("strh",
                        StreamHeader("auds").scale(1).rate(1000).length(hasSecondSegment ? 16 : 8).sampleSize(2)),
                  chunk(
                      "strf",
                      WaveFormat(1).channels(1).samplesPerSecond(1000).bytesPerSecond(2000).blockAlign(2).bitsPerSample(
                          16)),
                  audioIndex}),
             hasExtendedHeader ? list("odml",
                                      {chunk("dmlh",
                                             u32(totalFrames != 0       ? totalFrames
                                                     : hasSecondSegment ? 5
                                                                        : 3))})
                                     .bytes()
                               : QByteArray()});
    }
};

} // namespace film

} // namespace quenlofar
