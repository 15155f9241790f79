#pragma once

#include "testing/riffbuilder.h"

namespace quenlofar {

/// The records of AVI files, for tests.
namespace build {

/// avih: AVIMAINHEADER
struct MainHeader : Record<MainHeader>
{
    MainHeader() : Record(56) { }
    MainHeader &frameTime(quint32 microseconds) { return put(0, u32(microseconds)); }
    MainHeader &maxBytesPerSecond(quint32 bytes) { return put(4, u32(bytes)); }
    MainHeader &padding(quint32 granularity) { return put(8, u32(granularity)); }
    MainHeader &flags(quint32 flags) { return put(12, u32(flags)); }
    MainHeader &totalFrames(quint32 frames) { return put(16, u32(frames)); }
    MainHeader &initialFrames(quint32 frames) { return put(20, u32(frames)); }
    MainHeader &streams(quint32 count) { return put(24, u32(count)); }
    MainHeader &bufferSize(quint32 bytes) { return put(28, u32(bytes)); }
    MainHeader &picture(quint32 width, quint32 height) { return put(32, u32(width) + u32(height)); }
    MainHeader &reserved(quint32 a, quint32 b, quint32 c, quint32 d)
    {
        return put(40, u32(a) + u32(b) + u32(c) + u32(d));
    }
};

/// vprp: VideoPropHeader; fields are appended by fieldInfo
struct VideoProperties : Record<VideoProperties>
{
    VideoProperties() : Record(36) { }
    VideoProperties &format(quint32 token, quint32 standard) { return put(0, u32(token) + u32(standard)); }
    VideoProperties &refreshRate(quint32 hertz) { return put(8, u32(hertz)); }
    VideoProperties &total(quint32 inT, quint32 inLines) { return put(12, u32(inT) + u32(inLines)); }
    VideoProperties &aspectRatio(quint32 ratio) { return put(20, u32(ratio)); }
    VideoProperties &frame(quint32 width, quint32 height) { return put(24, u32(width) + u32(height)); }
    VideoProperties &fields(quint32 count) { return put(32, u32(count)); }
    /// The eight words of one more field, counted up from `first`.
    VideoProperties &fieldInfo(quint32 first)
    {
        QByteArray words;
        for (quint32 word = 0; word < 8; ++word)
            words += u32(first + word);
        return put(int(bytes().size()), words);
    }
};

/// strh: AVISTREAMHEADER
struct StreamHeader : Record<StreamHeader>
{
    explicit StreamHeader(const QByteArray &type) : Record(56) { put(0, type); }
    StreamHeader &handler(const QByteArray &fourCC) { return put(4, fourCC); }
    StreamHeader &flags(quint32 flags) { return put(8, u32(flags)); }
    StreamHeader &priority(quint16 priority) { return put(12, u16(priority)); }
    StreamHeader &language(quint16 language) { return put(14, u16(language)); }
    StreamHeader &initialFrames(quint32 frames) { return put(16, u32(frames)); }
    StreamHeader &scale(quint32 scale) { return put(20, u32(scale)); }
    StreamHeader &rate(quint32 rate) { return put(24, u32(rate)); }
    StreamHeader &start(quint32 units) { return put(28, u32(units)); }
    StreamHeader &length(quint32 units) { return put(32, u32(units)); }
    StreamHeader &bufferSize(quint32 bytes) { return put(36, u32(bytes)); }
    StreamHeader &quality(quint32 quality) { return put(40, u32(quality)); }
    StreamHeader &sampleSize(quint32 bytes) { return put(44, u32(bytes)); }
    StreamHeader &frame(qint16 left, qint16 top, qint16 right, qint16 bottom)
    {
        return put(48, le(left) + le(top) + le(right) + le(bottom));
    }
};

/// strf of a video stream: BITMAPINFOHEADER
struct VideoFormat : Record<VideoFormat>
{
    VideoFormat() : Record(40) { put(0, u32(40)); }
    VideoFormat &picture(qint32 width, qint32 height) { return put(4, le(width) + le(height)); }
    VideoFormat &planes(quint16 count) { return put(12, u16(count)); }
    VideoFormat &bitCount(quint16 bits) { return put(14, u16(bits)); }
    VideoFormat &compression(const QByteArray &fourCC) { return put(16, fourCC); }
    VideoFormat &imageSize(quint32 bytes) { return put(20, u32(bytes)); }
    VideoFormat &pelsPerMeter(qint32 x, qint32 y) { return put(24, le(x) + le(y)); }
    VideoFormat &colors(quint32 used, quint32 important) { return put(32, u32(used) + u32(important)); }
};

/// strf of an audio stream: WAVEFORMATEX
struct WaveFormat : Record<WaveFormat>
{
    explicit WaveFormat(quint16 tag) : Record(18) { put(0, u16(tag)); }
    WaveFormat &channels(quint16 count) { return put(2, u16(count)); }
    WaveFormat &samplesPerSecond(quint32 samples) { return put(4, u32(samples)); }
    WaveFormat &bytesPerSecond(quint32 bytes) { return put(8, u32(bytes)); }
    WaveFormat &blockAlign(quint16 bytes) { return put(12, u16(bytes)); }
    WaveFormat &bitsPerSample(quint16 bits) { return put(14, u16(bits)); }
    WaveFormat &extraSize(quint16 bytes) { return put(16, u16(bytes)); }
    /// Appends `data` and counts it.
    WaveFormat &extra(const QByteArray &data) { return extraSize(quint16(data.size())).put(18, data); }
};

/// One entry of idx1.
inline QByteArray indexEntry(const QByteArray &id, quint32 flags, quint32 offset, quint32 size)
{
    return id.leftJustified(4, '\0', true) + u32(flags) + u32(offset) + u32(size);
}

/// The header of indx; entries are appended by put or "+".
struct IndexHeader : Record<IndexHeader>
{
    IndexHeader(quint8 type, quint16 longsPerEntry, quint32 entries) : Record(24)
    {
        put(0, u16(longsPerEntry));
        put(3, u8(type));
        put(4, u32(entries));
    }
    IndexHeader &subType(quint8 type) { return put(2, u8(type)); }
    IndexHeader &chunkId(const QByteArray &id) { return put(8, id); }
    IndexHeader &baseOffset(quint64 offset) { return put(12, u64(offset)); }
    IndexHeader &reserved(quint32 a, quint32 b, quint32 c) { return put(12, u32(a) + u32(b) + u32(c)); }
};

inline QByteArray superIndexEntry(quint64 offset, quint32 size, quint32 duration)
{
    return u64(offset) + u32(size) + u32(duration);
}

} // namespace build

} // namespace quenlofar
