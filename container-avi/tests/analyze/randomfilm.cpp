#include "randomfilm.h"

#include <algorithm>

namespace quenlofar {

namespace film {

using namespace build;

namespace {

/// Frames a second, as scale and rate.
constexpr quint32 frameRates[][2] = {{1, 25}, {1, 10}, {1001, 30000}, {40000, 1000000}, {1, 50}};
/// MP3 of version 1 at 44100 Hz and 128 kbit/s: samples of a frame.
constexpr quint32 mp3Samples = 1152;

const char *const codecNames[] = {"raw", "MJPG", "XVID", "HFYU", "PCM", "MP3", "MP3-bytes", "text"};
const char *const indexNames[] = {"idx1", "idx1-from-file", "OpenDML", "OpenDML+idx1", "index-in-strl"};

QByteArray filled(int size, int first)
{
    QByteArray bytes = payload::filling(size);
    for (int at = 0; at < std::min(size, 4); ++at)
        bytes[at] = char(0x30 + ((first >> (4 * at)) & 0xF)); // frames differ from one another
    return bytes;
}

} // namespace

RandomFilm::RandomFilm(quint32 seed) : m_random(seed)
{
    chooseStreams();
    makeData();
    laidOut();
    m_bytes = laidOut();
}

void RandomFilm::chooseStreams()
{
    m_indexing = Indexing(below(5));
    m_width = 16 * (1 + below(4));
    m_height = 16 * (1 + below(3));
    m_statesBuffers = oneIn(2);
    m_hasTexts = oneIn(3);
    m_room = oneIn(2) ? 4 + below(300) : 0;
    m_choices.append(QLatin1String(indexNames[int(m_indexing)]));
    const quint32 videos = oneIn(8) ? 0 : 1 + below(2);
    const quint32 sounds = videos == 0 ? 1 : below(3);
    const quint32 texts = oneIn(4) ? 1 : 0;
    for (quint32 each = 0; each < videos; ++each) {
        const auto &rate = frameRates[below(5)];
        m_streams.push_back({Codec(below(4)), rate[0], rate[1]});
    }
    for (quint32 each = 0; each < sounds; ++each) {
        Stream sound{Codec(4 + below(3)), 1, 8000};
        sound.channels = 1 + below(2);
        if (sound.codec == Codec::Pcm) {
            sound.bits = 8 * (1 + below(3));
            sound.sampleSize = sound.channels * sound.bits / 8;
        } else {
            const bool isBytes = sound.codec == Codec::Mp3Bytes;
            sound.channels = 2;
            sound.scale = isBytes ? 1 : mp3Samples;
            sound.rate = isBytes ? 16000 : 44100;
            sound.sampleSize = isBytes ? 1 : 0;
        }
        m_streams.push_back(sound);
    }
    for (quint32 each = 0; each < texts; ++each)
        m_streams.push_back({Codec::Text, 1, 1000});
    for (const Stream &stream : m_streams)
        m_choices.append(QStringLiteral("%1@%2/%3")
                             .arg(QLatin1String(codecNames[int(stream.codec)]))
                             .arg(stream.rate)
                             .arg(stream.scale));
}

double RandomFilm::secondsOf(const Stream &stream) const
{
    const double ticks =
        stream.sampleSize == 0 ? double(stream.chunks) : double(stream.dataBytes) / double(stream.sampleSize);
    return ticks * stream.scale / stream.rate;
}

QByteArray RandomFilm::chunkId(int number) const
{
    const Stream &stream = m_streams[size_t(number)];
    const char *const letters = stream.codec == Codec::Raw ? "db"
        : isVideo(stream)                                  ? "dc"
        : isSound(stream)                                  ? "wb"
                                                           : "tx";
    return QByteArray("0") + char('0' + number) + letters;
}

void RandomFilm::appendChunk(Segment &segment, int number, const QByteArray &data, bool isKey)
{
    Stream &stream = m_streams[size_t(number)];
    segment.chunks.push_back({number, quint32(segment.data.size()) + 4, quint32(data.size()), isKey, 0, 0});
    segment.data += Chunk(chunkId(number).constData(), data);
    ++stream.chunks;
    stream.dataBytes += quint64(data.size());
    stream.largest = std::max(stream.largest, quint32(data.size()));
}

void RandomFilm::appendFrame(Segment &segment, int number)
{
    const Stream &stream = m_streams[size_t(number)];
    const int count = int(stream.chunks);
    const bool isFirst = count == 0;
    if (!isFirst && oneIn(12)) {
        appendChunk(segment, number, {}, false);
        return;
    }
    switch (stream.codec) {
    case Codec::Raw:
        appendChunk(segment, number, filled(int(m_width * m_height * 3), count), true);
        break;
    case Codec::MotionJpeg:
        appendChunk(segment, number, payload::jpeg(int(m_width), int(m_height), filled(20 + int(below(200)), count)),
                    true);
        break;
    case Codec::Mpeg4: {
        const bool isKey = isFirst || oneIn(5);
        const QByteArray plane = payload::plane(isKey ? 0 : 1, 20 + int(below(200)));
        appendChunk(segment, number, (isKey ? payload::layer(m_width, m_height) : QByteArray()) + plane, isKey);
        break;
    }
    default:
        appendChunk(segment, number, filled(1 + int(below(300)), count), true);
    }
}

void RandomFilm::appendSound(Segment &segment, int number, double until)
{
    const Stream &stream = m_streams[size_t(number)];
    while (secondsOf(stream) < until) {
        QByteArray data;
        if (stream.codec == Codec::Pcm)
            data = filled(int(stream.sampleSize * (1 + below(900))), int(stream.chunks));
        else
            data = payload::mp3();
        appendChunk(segment, number, data, true);
    }
}

void RandomFilm::makeData()
{
    const quint32 segments = hasParts() ? 1 + below(3) : 1;
    const bool hasLists = m_indexing <= Indexing::LegacyFromFile && oneIn(4);
    m_choices.append(QStringLiteral("%1-segments%2").arg(segments).arg(hasLists ? QStringLiteral(" rec") : QString()));
    const double step = 0.05 + 0.01 * below(20);
    double time = 0;
    for (quint32 part = 0; part < segments; ++part) {
        Segment segment;
        const quint32 steps = 1 + below(5);
        for (quint32 each = 0; each < steps; ++each) {
            time += step;
            const quint32 listOffset = quint32(segment.data.size()) + 4;
            const size_t firstOfList = segment.chunks.size();
            if (hasLists)
                segment.data += "LIST" + u32(0) + "rec ";
            for (int number = 0; number < int(m_streams.size()); ++number) {
                const Stream &stream = m_streams[size_t(number)];
                while (isVideo(stream) && secondsOf(stream) < time)
                    appendFrame(segment, number);
                if (isSound(stream))
                    appendSound(segment, number, time);
                else if (!isVideo(stream) && (stream.chunks == 0 || oneIn(3)))
                    appendChunk(segment, number, filled(3 + int(below(20)), 0), true);
            }
            if (hasLists) {
                const quint32 size = quint32(segment.data.size()) + 4 - listOffset - 8;
                segment.data.replace(int(listOffset), 4, u32(size));
                for (size_t chunk = firstOfList; chunk < segment.chunks.size(); ++chunk) {
                    segment.chunks[chunk].list = listOffset;
                    segment.chunks[chunk].listSize = size;
                }
            }
            if (oneIn(6))
                segment.data += chunk("JUNK", zeros(int(below(40))));
        }
        for (size_t number = 0; number < m_streams.size(); ++number) {
            Stream &stream = m_streams[number];
            quint64 ticks = 0;
            for (const Placed &placed : segment.chunks)
                ticks += placed.stream != int(number) ? 0 : stream.sampleSize == 0 ? 1 : placed.size;
            stream.ticks.push_back(stream.sampleSize == 0 ? ticks : ticks / stream.sampleSize);
        }
        segment.indexes.resize(m_streams.size());
        m_segments.push_back(segment);
    }
}

// Headers and indexes

QByteArray RandomFilm::videoHeader(const Stream &stream) const
{
    const bool isRaw = stream.codec == Codec::Raw;
    const char *const codec = stream.codec == Codec::MotionJpeg ? "MJPG"
        : stream.codec == Codec::Mpeg4                          ? "XVID"
                                                                : "HFYU";
    const quint32 raw = m_width * m_height * 3;
    return chunk("strh",
                 StreamHeader("vids")
                     .handler(isRaw ? "DIB " : codec)
                     .scale(stream.scale)
                     .rate(stream.rate)
                     .length(stream.chunks)
                     .bufferSize(m_statesBuffers ? stream.largest : 0)
                     .frame(0, 0, qint16(m_width), qint16(m_height)))
        + chunk("strf",
                VideoFormat()
                    .picture(qint32(m_width), qint32(m_height))
                    .planes(1)
                    .bitCount(24)
                    .compression(isRaw ? zeros(4) : QByteArray(codec))
                    .imageSize(isRaw ? raw : 0));
}

QByteArray RandomFilm::soundHeader(const Stream &stream) const
{
    const bool isPcm = stream.codec == Codec::Pcm;
    const quint64 ticks = stream.sampleSize == 0 ? stream.chunks : stream.dataBytes / stream.sampleSize;
    WaveFormat format(isPcm ? 1 : 0x55);
    format.channels(quint16(stream.channels)).samplesPerSecond(isPcm ? stream.rate : 44100);
    if (isPcm)
        format.bytesPerSecond(stream.rate * stream.sampleSize)
            .blockAlign(quint16(stream.sampleSize))
            .bitsPerSample(quint16(stream.bits));
    else // MPEGLAYER3WAVEFORMAT: wID, fdwFlags, nBlockSize, nFramesPerBlock, nCodecDelay
        format.bytesPerSecond(16000)
            .blockAlign(stream.sampleSize == 0 ? quint16(mp3Samples) : 1)
            .extra(u16(1) + u32(2) + u16(417) + u16(1) + u16(0));
    return chunk("strh",
                 StreamHeader("auds")
                     .scale(stream.scale)
                     .rate(stream.rate)
                     .length(quint32(ticks))
                     .bufferSize(m_statesBuffers ? stream.largest : 0)
                     .sampleSize(stream.sampleSize))
        + chunk("strf", format);
}

QByteArray RandomFilm::partIndex(const char *id, const Segment &segment, int number) const
{
    // AVISTDINDEX: offsets of data from the base, sizes with the highest bit set where there is no key frame.
    QByteArray entries;
    for (const Placed &placed : segment.chunks) {
        if (placed.stream == number)
            entries += u32(placed.offset + 8) + u32(placed.size | (placed.isKey ? 0 : 0x80000000));
    }
    return chunk(
        id,
        IndexHeader(1, 2, quint32(entries.size() / 8)).chunkId(chunkId(number)).baseOffset(segment.movi).bytes()
            + entries);
}

QByteArray RandomFilm::superIndex(int number) const
{
    QByteArray entries;
    quint32 count = 0;
    for (size_t part = 0; part < m_segments.size(); ++part) {
        const Segment &segment = m_segments[part];
        const int size = int(partIndex("ix00", segment, number).size());
        entries += superIndexEntry(segment.indexes[size_t(number)], quint32(size),
                                   quint32(m_streams[size_t(number)].ticks[part]));
        ++count;
    }
    return chunk("indx", IndexHeader(0, 4, count).chunkId(chunkId(number)).bytes() + entries);
}

QByteArray RandomFilm::legacyIndex() const
{
    const Segment &first = m_segments.front();
    const quint32 base = m_indexing == Indexing::LegacyFromFile ? quint32(first.movi) : 0;
    QByteArray entries;
    quint32 list = 0;
    for (const Placed &placed : first.chunks) {
        if (placed.list != list)
            entries += indexEntry("rec ", 1, base + placed.list, placed.listSize);
        list = placed.list;
        entries += indexEntry(chunkId(placed.stream), placed.isKey ? 0x10 : 0, base + placed.offset, placed.size);
    }
    return chunk("idx1", entries);
}

QByteArray RandomFilm::headers() const
{
    QByteArray lists;
    const Stream *video = nullptr;
    quint64 firstFrames = 0;
    quint64 allFrames = 0;
    quint32 largest = 0;
    for (int number = 0; number < int(m_streams.size()); ++number) {
        const Stream &stream = m_streams[size_t(number)];
        QByteArray content = isVideo(stream) ? videoHeader(stream)
            : isSound(stream)
            ? soundHeader(stream)
            : chunk("strh", StreamHeader("txts").scale(1).rate(1000).length(stream.chunks)) + chunk("strf", {});
        if (hasParts())
            content += superIndex(number);
        else if (m_indexing == Indexing::InStream)
            content += partIndex("indx", m_segments.front(), number);
        if (m_hasTexts)
            content += chunk("strn", QByteArray("name\0", 5));
        lists += list("strl", {content});
        largest = std::max(largest, stream.largest);
        if (isVideo(stream) && !video) {
            video = &stream;
            firstFrames = stream.ticks.front();
            allFrames = stream.chunks;
        }
    }
    if (hasParts())
        lists += list("odml", {chunk("dmlh", u32(quint32(allFrames)) + zeros(244))});
    // Readers take a whole `rec ` list at once where the index names it.
    for (const Placed &placed : m_segments.front().chunks)
        largest = std::max(largest, placed.listSize);
    MainHeader header;
    header.flags(0x10).totalFrames(quint32(firstFrames)).streams(quint32(m_streams.size()));
    header.bufferSize(m_statesBuffers ? largest : 0);
    if (video)
        header.frameTime(quint32((1000000ULL * video->scale + video->rate / 2) / video->rate))
            .picture(m_width, m_height);
    return list("hdrl", {chunk("avih", header), lists});
}

QByteArray RandomFilm::laidOut()
{
    QByteArray file;
    for (size_t part = 0; part < m_segments.size(); ++part) {
        Segment &segment = m_segments[part];
        QByteArray before;
        if (part == 0) {
            before = headers();
            if (m_hasTexts)
                before +=
                    list("INFO", {chunk("ISFT", QByteArray("builder\0", 8)), chunk("INAM", QByteArray("odd\0", 4))});
            if (m_room > 0)
                before += chunk("JUNK", zeros(int(m_room)));
        }
        segment.movi = quint64(file.size() + 12 + before.size() + 8);
        QByteArray data = segment.data;
        for (int number = 0; hasParts() && number < int(m_streams.size()); ++number) {
            segment.indexes[size_t(number)] = segment.movi + 4 + quint64(data.size());
            const QByteArray id = QByteArray("ix0") + char('0' + number);
            data += partIndex(id.constData(), segment, number);
        }
        const bool hasLegacy = part == 0 && m_indexing != Indexing::Parts && m_indexing != Indexing::InStream;
        file += list(part == 0 ? "AVI " : "AVIX",
                     {before, list("movi", {data}), hasLegacy ? legacyIndex() : QByteArray()}, "RIFF");
    }
    return file;
}

} // namespace film

} // namespace quenlofar
