#pragma once

#include "avicodecs.h"
#include "avirules.h"

namespace quenlofar {

// What rules about single streams share.

/// A stream and what it is checked in.
struct AviStreamContext
{
    const AviContext &context;
    const AviStream &stream;
    int number; ///< of the stream, from 0
    AviCodec codec; ///< of the stream

    const AviLayout &file() const { return context.file; }
    /// What its packets add up to; zeros at level quick.
    const PacketTotals &totals() const
    {
        static const PacketTotals none;
        return number < context.file.packets.streamCount() ? context.file.packets.totals(number) : none;
    }
    /// The list that lacks something.
    ByteRange listHeader() const { return context.file.elements[stream.list].header(); }
};

/// The kind of streams that a rule is held against.
enum class StreamFilter : quint8 {
    All,
    Header, ///< a strh is there
    Video, ///< the strf of a video stream, its first field there
    Audio, ///< the strf of an audio stream, its first field there
    VideoHeader, ///< the strh of a video stream
    AudioHeader, ///< the strh of an audio stream
    Pcm, ///< the format of uncompressed sound
    Mp3, ///< the format
    VariableFrames, ///< MPEG audio, AC-3 or AAC with one frame per chunk: dwSampleSize is 0
};

constexpr bool matches(StreamFilter filter, const AviStream &stream, AviCodec codec)
{
    const bool hasFormat = stream.format.size >= 4;
    const bool isAudio = stream.kind == StreamKind::Audio;
    switch (filter) {
    case StreamFilter::All:
        return true;
    case StreamFilter::Header:
        return stream.header.exists();
    case StreamFilter::Video:
        return stream.kind == StreamKind::Video && hasFormat;
    case StreamFilter::Audio:
        return isAudio && hasFormat;
    case StreamFilter::VideoHeader:
        return stream.kind == StreamKind::Video;
    case StreamFilter::AudioHeader:
        return isAudio;
    case StreamFilter::Pcm:
        return codec == AviCodec::Pcm;
    case StreamFilter::Mp3:
        return codec == AviCodec::Mp3;
    case StreamFilter::VariableFrames:
        return stream.sampleSize == 0 && codec >= AviCodec::Mp2 && codec <= AviCodec::Aac;
    }
    return false;
}

/// Whether a stream is there that the rule is held against.
template <StreamFilter filter> bool hasStream(const AviContext &context)
{
    for (const AviStream &stream : context.file.streams) {
        if (matches(filter, stream, codecOf(stream)))
            return true;
    }
    return false;
}

/// Holds a rule against each such stream.
template <StreamFilter filter, void (*check)(const AviStreamContext &, Findings &)>
void eachStream(const AviContext &context, Findings &findings)
{
    for (size_t number = 0; number < context.file.streams.size(); ++number) {
        const AviStream &stream = context.file.streams[number];
        const AviCodec codec = codecOf(stream);
        if (matches(filter, stream, codec))
            check({context, stream, int(number), codec}, findings);
    }
}

/// Calls `visit(packet)` for all packets that are no palettes, as long as nobody cancels.
template <typename Visit> void eachPacket(const AviContext &context, const Visit &visit)
{
    constexpr quint64 cancelInterval = 4096;
    const PacketTable &packets = context.file.packets;
    for (quint64 index = 0; index < packets.size(); ++index) {
        if (index % cancelInterval == 0 && context.isCancelled())
            return;
        const Packet packet = packets.at(index);
        if (!packet.isPalette)
            visit(packet);
    }
}

/// The streams' packets are known, all of them.
inline bool allPacketsAreKnown(const AviContext &context)
{
    return context.file.isWalked && !context.file.isCutShort;
}

} // namespace quenlofar
