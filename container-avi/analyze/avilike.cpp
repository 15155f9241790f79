#include "avilike.h"

#include "aviindexbytes.h"
#include "avireader.h"
#include "bytesource.h"
#include "containeranalyzer.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr quint64 largestHeaders = quint64(16) << 20; // bytes of a list of headers that is taken

/// Whether chunks with these letters can be of a stream of this kind.
bool fits(quint16 letters, StreamKind kind)
{
    switch (kind) {
    case StreamKind::Video:
        return letters == twoLetters("dc") || letters == twoLetters("db") || letters == twoLetters("pc");
    case StreamKind::Audio:
        return letters == twoLetters("wb");
    case StreamKind::Mixed:
        return letters == twoLetters("__") || letters == twoLetters("dc") || letters == twoLetters("db");
    case StreamKind::Text:
    case StreamKind::Midi:
    case StreamKind::Other:
        break;
    }
    return true;
}

/// Whether the streams of the data are those that the headers declare.
bool haveSameStreams(const AviLayout &like, const AviLayout &layout)
{
    for (const AviChunkKind &kind : layout.chunkKinds) {
        if (kind.chunks.count > 0
            && (kind.stream >= like.streams.size() || !fits(kind.letters, like.streams[kind.stream].kind)))
            return false;
    }
    // The other way round: a stream without a chunk is another recording.
    for (size_t stream = 0; stream < like.streams.size(); ++stream) {
        const bool isUsed = like.packets.totals(int(stream)).count > 0;
        if (isUsed && (int(stream) >= layout.packets.streamCount() || layout.packets.totals(int(stream)).count == 0))
            return false;
    }
    return layout.packets.size() > 0;
}

} // namespace

FileLayout withHeadersOf(ByteSource &like, const AviLayout &layout, const std::atomic<bool> *cancel)
{
    FileLayout result;
    if (!layout.isWalked || layout.segments.empty() || layout.moviLists.empty() || layout.leading.size > 0)
        return result;
    AviLayout healthy;
    AnalysisOptions options;
    options.level = Level::Default;
    options.cancel = cancel;
    const AnalysisResult read = readAvi(like, options, healthy);
    const quint32 headers = healthy.segments.empty()
        ? AviLayout::none
        : healthy.child(healthy.segments.front(), fourCC("LIST"), fourCC("hdrl"));
    if (!read.isComplete() || headers == AviLayout::none || !healthy.mainHeader.exists() || healthy.streams.empty()
        || !healthy.damages.empty() || healthy.elements[headers].range().size > largestHeaders
        || !haveSameStreams(healthy, layout))
        return result;
    const AviElement &list = healthy.elements[headers];
    QByteArray bytes(int(list.range().size), '\0');
    if (like.readAt(qint64(list.offset), bytes.data(), bytes.size()) != bytes.size())
        return result;
    // Its index is about other data.
    for (const AviStream &stream : healthy.streams) {
        for (const quint32 index : healthy.children(stream.list, fourCC("indx")))
            bytes.replace(int(healthy.elements[index].offset - list.offset), 4, QByteArrayLiteral("JUNK"));
    }
    if (bytes.size() % 2 != 0)
        bytes.append('\0');

    const AviElement &riff = layout.elements[layout.segments.front()];
    const quint64 size = riff.end - riff.offset - 8 + quint64(bytes.size());
    if (size > 0xFFFFFFFF)
        return result;
    result.copy({0, riff.offset + 4});
    result.add(numberBytes(quint32(size)));
    result.superseded.push_back(riff.sizeField());
    result.copy({riff.offset + 8, 4});
    result.add(bytes);
    quint64 at = riff.offset + 12;
    // What is left of a list of headers holds nothing that readers need.
    const quint32 rest = layout.child(layout.segments.front(), fourCC("LIST"), fourCC("hdrl"));
    if (rest != AviLayout::none) {
        const quint64 offset = layout.elements[rest].offset;
        result.copy({at, offset - at});
        result.add(QByteArrayLiteral("JUNK"));
        result.superseded.push_back({offset, 4});
        at = offset + 4;
    }
    result.copy({at, layout.fileSize - at});
    return result;
}

QStringList rulesAgainstHeaders()
{
    static const char *const rules[] = {"undeclared-stream",  "chunk-kind",         "raw-frame-size", "pcm-chunk-align",
                                        "coded-picture-size", "mp3-header-differs", "jpeg-markers",   "dv-frame-size",
                                        "dv-system",          "coded-start",        "vbr-time-base"};
    QStringList names;
    for (const char *const rule : rules)
        names.append(QString::fromLatin1(rule));
    return names;
}

} // namespace quenlofar
