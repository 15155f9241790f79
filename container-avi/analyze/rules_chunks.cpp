#include "avichain.h"
#include "avirules.h"
#include "avitexts.h"
#include "indexedsizes.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

namespace quenlofar {

namespace {

/// Packets from one look at the cancel flag to the next.
constexpr quint64 cancelInterval = 65536;
constexpr quint64 farAway = quint64(1) << 62; // behind the end of every file

bool isWalked(const AviContext &context)
{
    return context.file.isWalked;
}

/// All packets are known.
bool isCounted(const AviContext &context)
{
    return context.file.isWalked && !context.file.isCutShort;
}

bool hasCountedStreams(const AviContext &context)
{
    return isCounted(context) && !context.file.streams.empty();
}

bool isInData(const AviLayout &file, quint32 element)
{
    const quint32 parent = file.elements[element].parent;
    if (parent == AviLayout::none)
        return false;
    return file.elements[parent].form == fourCC("movi") || file.elements[parent].form == fourCC("rec ");
}

/// Adds the places of a tally to a finding that has its first one.
void addMore(FindingDraft &draft, const AviTally &tally)
{
    if (tally.count == 2)
        draft.andMore(1, {tally.places[1]});
    else if (tally.count > 2)
        draft.andMore(tally.count - 1, {tally.places[1], tally.places[2]});
}

// Which chunks there are

constexpr quint32 streamsOffset = 24; // AVIMAINHEADER: dwStreams

void checkUndeclaredStream(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviChunkKind &kind : file.chunkKinds) {
        if (kind.letters == 0 || kind.stream < file.streamListCount || kind.chunks.count == 0)
            continue;
        Occurrence occurrence{kind.chunks.places[0], kind.stream, kind.chunks.places[0]};
        // A stream that the main header counts: what is missing is its list of headers.
        if (file.mainHeader.exists() && kind.stream < file.mainHeader.u32(streamsOffset))
            occurrence.about = file.mainHeader.field(streamsOffset, 4);
        FindingDraft draft = findings.add(occurrence);
        addMore(draft, kind.chunks);
        draft.expected(QStringLiteral("a stream below %1").arg(file.streamListCount))
            .actual(kind.stream)
            .message(QStringLiteral("Chunks that belong to a stream that the headers do not declare: %1."))
            .explainsAllStreams();
        for (size_t place = 0; place < std::min<quint64>(kind.chunks.count, kind.chunks.places.size()); ++place)
            draft.explains(kind.chunks.places[place]);
    }
}

struct LettersRow
{
    StreamKind kind;
    quint16 letters;
};
constexpr LettersRow letterRows[] = {
    {StreamKind::Video, twoLetters("dc")}, {StreamKind::Video, twoLetters("db")}, {StreamKind::Video, twoLetters("pc")},
    {StreamKind::Audio, twoLetters("wb")}, {StreamKind::Text, twoLetters("tx")},  {StreamKind::Mixed, twoLetters("__")},
    {StreamKind::Mixed, twoLetters("iv")}, {StreamKind::Mixed, twoLetters("dc")}, {StreamKind::Mixed, twoLetters("db")},
};

bool fits(StreamKind kind, quint16 letters)
{
    return std::any_of(std::begin(letterRows), std::end(letterRows),
                       [kind, letters](const LettersRow &row) { return row.kind == kind && row.letters == letters; });
}

/// Subtitles as bitmaps, which stand in a stream of type video; their chunks end in letters of their own.
bool isBitmapText(const AviStream &stream)
{
    return stream.handler == fourCC("DXSB") || stream.compression == fourCC("DXSB");
}

QString expectedLetters(StreamKind kind)
{
    QStringList all;
    for (const LettersRow &row : letterRows) {
        if (row.kind == kind)
            all.append(QString(QLatin1Char(char(row.letters))) + QLatin1Char(char(row.letters >> 8)));
    }
    return all.join(QStringLiteral(", "));
}

void checkChunkKind(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (const AviChunkKind &kind : file.chunkKinds) {
        if (kind.letters == 0 || kind.stream >= file.streams.size() || kind.chunks.count == 0)
            continue;
        const AviStream &stream = file.streams[kind.stream];
        // Nobody says which letters the chunks of other streams have.
        const bool isJudged = stream.kind != StreamKind::Other && stream.kind != StreamKind::Midi;
        if (!isJudged || fits(stream.kind, kind.letters))
            continue;
        const bool isText = stream.kind == StreamKind::Text || isBitmapText(stream);
        const bool isHabit =
            std::none_of(file.chunkKinds.begin(), file.chunkKinds.end(), [&](const AviChunkKind &each) {
                return each.stream == kind.stream && fits(stream.kind, each.letters);
            });
        FindingDraft draft = findings.add(kind.chunks.places[0], kind.stream);
        addMore(draft, kind.chunks);
        draft.severity(isText ? Severity::Note : Severity::Warning)
            .expected(expectedLetters(stream.kind))
            .actual(QString(QLatin1Char(char(kind.letters))) + QLatin1Char(char(kind.letters >> 8)))
            .message(QStringLiteral("Chunks whose ids end in letters that do not fit the type of their stream: %1."));
        for (size_t place = 0; place < std::min<quint64>(kind.chunks.count, kind.chunks.places.size()); ++place)
            draft.explains(kind.chunks.places[place]);
        // Among chunks that fit, such a one probably belongs to another stream.
        if (!isHabit)
            draft.explainsAllStreams();
    }
}

void checkChunkSwallowsOthers(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    const IndexedSizes indexed(file);
    for (const AviDamage &damage : file.damages) {
        if (damage.kind != AviDamageKind::ChunkSwallowsOthers)
            continue;
        // Whether the last byte is padding nobody knows but an index.
        const quint64 found = damage.size - 8;
        const std::optional<quint32> known = indexed.sizeOf(damage.offset, damage.offset + damage.size);
        const quint64 size = known ? *known : found;
        const int stream = damage.packet == AviLayout::none ? -1 : damage.stream;
        FindingDraft draft = findings.add(ByteRange{damage.offset + 4, 4}, stream);
        draft.confidence(damage.isCertain ? Confidence::Certain : Confidence::Likely).explainsAllStreams();
        if (damage.size >= 8 && found <= 0xFFFFFFFF)
            draft.mend({damage.offset + 4, 4}, 4, size);
        if (!draft.isNew())
            continue;
        AviHeader header; // of a packet the true size alone is kept
        readHeader(context.bytes, damage.offset, &header);
        draft.expected(size)
            .actual(header.size)
            .message(QStringLiteral("A chunk says that it has %2 bytes; other chunks begin behind %3 of them.")
                         .arg(header.size)
                         .arg(size))
            // Had bytes been lost in it, all behind would have moved; entries before miss with the base of these.
            .explains({file.moviLists.empty() ? damage.offset : file.elements[file.moviLists.front()].content().offset,
                       farAway});
    }
}

/// Where entries of indexes lead that hit no chunk of their stream: the place of a chunk's header, and the stream.
using MissedPlaces = std::vector<std::pair<quint64, int>>;

MissedPlaces missedPlaces(const AviLayout &file)
{
    MissedPlaces places;
    for (const AviIrregularEntry &entry : file.irregularEntries) {
        const bool isLegacy = file.indexes[entry.index].kind == AviIndexKind::Legacy;
        const quint64 toHeader = isLegacy ? 0 : 8;
        if ((entry.what & NoSuchChunk) != 0 && entry.target >= toHeader)
            places.push_back({entry.target - toHeader, int(entry.stream)});
    }
    std::sort(places.begin(), places.end());
    return places;
}

/// The stream of which an index has the chunk at `offset`; -1 where none does.
int streamByIndex(const MissedPlaces &places, quint64 offset)
{
    const auto found = std::lower_bound(places.begin(), places.end(), std::make_pair(offset, 0));
    return found != places.end() && found->first == offset ? found->second : -1;
}

void checkUnknownChunk(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    MissedPlaces missed;
    bool isMissedKnown = false;
    for (quint32 number = 0; number < file.elements.size(); ++number) {
        const AviElement &element = file.elements[number];
        const AviIdKind kind = element.isList() || !isInData(file, number) ? AviIdKind::List : idKind(element.id);
        const bool isPadding =
            element.id == fourCC("JUNK") || element.id == fourCC("junk") || element.id == fourCC("PAD ");
        // An id that is not even printable is what fourcc-not-ascii is about.
        if (isPadding || kind == AviIdKind::List || kind == AviIdKind::Index || kind == AviIdKind::None)
            continue;
        if (!isMissedKnown)
            missed = missedPlaces(file);
        isMissedKnown = true;
        // An index that has the chunk tells a damaged id from a writer's own.
        const int stream = streamByIndex(missed, element.offset);
        FindingDraft draft = findings.add(Occurrence{element.header(), stream, element.range()});
        if (!draft.isNew())
            continue;
        draft.actual(idText(element.id));
        if (stream < 0)
            draft.expected(QStringLiteral("data of a stream, an index or JUNK"))
                .message(QStringLiteral("Chunks among the data whose ids are not known: %1."));
        else
            draft.expected(QStringLiteral("the id of a chunk of stream %1, which an index has here").arg(stream))
                .message(QStringLiteral("Chunks that an index has as data and whose ids say something else, so that "
                                        "readers who follow the file pass them over: %1."));
    }
}

void checkListInMovi(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (quint32 number = 0; number < file.elements.size(); ++number) {
        const AviElement &element = file.elements[number];
        if (!element.isList() || !isInData(file, number) || element.form == fourCC("rec "))
            continue;
        FindingDraft draft = findings.add(Occurrence{element.header(), -1, element.range()});
        if (!draft.isNew())
            continue;
        draft.expected(QStringLiteral("LIST rec "))
            .actual(elementText(element.id, element.form))
            .message(QStringLiteral("Lists among the data that are no lists of records: %1."));
    }
}

void checkStreamEmpty(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    for (size_t number = 0; number < file.streams.size(); ++number) {
        const AviStream &stream = file.streams[number];
        const PacketTotals &totals = file.packets.totals(int(number));
        if (totals.count + totals.palettes > 0)
            continue;
        findings.add(file.elements[stream.list].header(), int(number))
            .expected(QStringLiteral("a chunk"))
            .actual(QStringLiteral("none"))
            .message(QStringLiteral("Stream %2 is declared and has no chunk.").arg(number));
    }
}

void checkEmptyFrames(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    struct Run
    {
        bool isAsked = false;
        quint64 length = 0;
        quint64 longest = 0;
        AviTally empty; // headers
    };
    std::vector<Run> runs(file.streams.size());
    for (size_t number = 0; number < runs.size(); ++number) {
        const StreamKind kind = file.streams[number].kind;
        runs[number].isAsked =
            (kind == StreamKind::Video || kind == StreamKind::Mixed) && file.packets.totals(int(number)).empty > 0;
    }
    if (std::none_of(runs.begin(), runs.end(), [](const Run &run) { return run.isAsked; }))
        return;
    for (quint64 index = 0; index < file.packets.size(); ++index) {
        if (index % cancelInterval == 0 && context.isCancelled())
            return;
        const Packet packet = file.packets.at(index);
        if (packet.stream >= runs.size() || !runs[packet.stream].isAsked || packet.isPalette)
            continue;
        Run &run = runs[packet.stream];
        run.length = packet.isEmpty() ? run.length + 1 : 0;
        run.longest = std::max(run.longest, run.length);
        if (packet.isEmpty())
            run.empty.add({packet.offset - 8, 8});
    }
    for (size_t number = 0; number < runs.size(); ++number) {
        const Run &run = runs[number];
        if (run.empty.count == 0)
            continue;
        FindingDraft draft = findings.add(run.empty.places[0], int(number));
        addMore(draft, run.empty);
        draft.expected(QStringLiteral("frames with data"))
            .actual(QStringLiteral("%1 without, at most %2 in a row").arg(run.empty.count).arg(run.longest))
            .message(QStringLiteral("%2 without data, at most %3 in a row: the frame before is shown again.")
                         .arg(countText(run.empty.count, "frame"))
                         .arg(run.longest));
    }
}

// Time

/// A stream of sound or pictures of which everybody knows when its data is due.
bool isTimed(const AviLayout &file, int number)
{
    const AviStream &stream = file.streams[size_t(number)];
    const bool isKind =
        stream.kind == StreamKind::Video || stream.kind == StreamKind::Audio || stream.kind == StreamKind::Mixed;
    const PacketTotals &totals = file.packets.totals(number);
    return isKind && !isBitmapText(stream) && file.packets.stream(number).hasTimeBase() && totals.count > totals.empty;
}

bool hasSeveralTimedStreams(const AviContext &context)
{
    if (!isCounted(context))
        return false;
    int count = 0;
    for (int number = 0; number < int(context.file.streams.size()); ++number)
        count += isTimed(context.file, number) ? 1 : 0;
    return count > 1;
}

/// How far apart in the file data of one time stands, measured where a chunk is late.
class Interleaving
{
public:
    explicit Interleaving(const AviContext &context) : m_file(context.file), m_thresholds(context.options.thresholds)
    {
        m_tracks.resize(m_file.streams.size());
        for (size_t number = 0; number < m_tracks.size(); ++number) {
            Track &track = m_tracks[number];
            track.isTimed = isTimed(m_file, int(number));
            if (!track.isTimed)
                continue;
            const PacketStream &facts = m_file.packets.stream(int(number));
            track.start = facts.seconds(double(facts.start));
            // Sound reaches up to the end of its chunk, a frame is due at its beginning.
            track.isSound = facts.kind == StreamKind::Audio;
        }
    }

    /// The next packet of the file.
    void add(const Packet &packet)
    {
        if (packet.stream >= m_tracks.size() || !m_tracks[packet.stream].isTimed || packet.isPalette)
            return;
        Track &track = m_tracks[packet.stream];
        const PacketStream &facts = m_file.packets.stream(packet.stream);
        const double ticks = facts.bytesPerTick == 0 ? double(track.count) : double(track.bytes) / facts.bytesPerTick;
        const double duration = facts.bytesPerTick == 0 ? 1.0 : double(packet.size) / facts.bytesPerTick;
        const double seconds = facts.seconds(double(facts.start) + ticks);
        ++track.count;
        track.bytes += packet.size;
        if (packet.isEmpty())
            return;
        if (m_leader >= 0 && m_leader != packet.stream)
            judge(packet, seconds);
        track.reached = std::max(track.reached, track.isSound ? seconds + facts.seconds(duration) : seconds);
        if (m_leader < 0 || track.reached > m_tracks[size_t(m_leader)].reached)
            m_leader = packet.stream;
    }

    struct Worst
    {
        AviTally late; // headers of chunks that come too late
        double seconds = 0; // the most
        quint64 bytes = 0; // the most, where the seconds are no reason
    };
    const Worst &worst(int stream) const { return m_tracks[size_t(stream)].worst; }

private:
    struct Track
    {
        bool isTimed = false;
        bool isSound = false;
        double start = 0; // seconds
        double reached = 0; // seconds up to which there was data
        quint64 count = 0; // of packets so far
        quint64 bytes = 0; // of their data
        quint64 nextLook = 0; // offset before which the data cannot be too far away
        Worst worst;
    };

    void judge(const Packet &packet, double seconds)
    {
        Track &track = m_tracks[packet.stream];
        const Track &leader = m_tracks[size_t(m_leader)];
        const double common = std::max(seconds, leader.start); // a time of which both have data
        const double apart = leader.reached - common;
        if (apart >= m_thresholds.interleaveSeconds) {
            track.worst.late.add({packet.offset - 8, 8});
            track.worst.seconds = std::max(track.worst.seconds, apart);
        } else if (apart > m_thresholds.interleaveBytesFrom && packet.offset >= track.nextLook) {
            const quint64 other = offsetAt(m_leader, common, leader.count - 1);
            const quint64 bytes = packet.offset - std::min(other, packet.offset);
            if (bytes >= m_thresholds.interleaveBytes) {
                track.worst.late.add({packet.offset - 8, 8});
                track.worst.bytes = std::max(track.worst.bytes, bytes);
            } else {
                // It grows no faster than the offset does.
                track.nextLook = packet.offset + m_thresholds.interleaveBytes - bytes;
            }
        }
    }
    /// Where the data of `stream` that is due at `seconds` stands; it has packets up to number `last`.
    quint64 offsetAt(int stream, double seconds, quint64 last) const
    {
        const PacketTable &packets = m_file.packets;
        quint64 low = 0;
        quint64 high = last;
        while (low < high) {
            const quint64 middle = low + (high - low + 1) / 2;
            if (packets.secondsOf(packets.indexOf(stream, middle)) <= seconds)
                low = middle;
            else
                high = middle - 1;
        }
        return packets.at(packets.indexOf(stream, low)).offset;
    }

    const AviLayout &m_file;
    const CheckThresholds &m_thresholds;
    std::vector<Track> m_tracks;
    int m_leader = -1; // the stream that reached the latest time
};

void checkInterleaveDistance(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    Interleaving interleaving(context);
    for (quint64 index = 0; index < file.packets.size(); ++index) {
        if (index % cancelInterval == 0 && context.isCancelled())
            return;
        interleaving.add(file.packets.at(index));
    }
    for (int number = 0; number < int(file.streams.size()); ++number) {
        const Interleaving::Worst &worst = interleaving.worst(number);
        if (worst.late.count == 0)
            continue;
        const QString apart =
            worst.seconds > 0 ? QStringLiteral("%1 s").arg(worst.seconds, 0, 'f', 2) : bytesText(worst.bytes);
        FindingDraft draft = findings.add(worst.late.places[0], number);
        addMore(draft, worst.late);
        draft
            .expected(
                worst.seconds > 0
                    ? QStringLiteral("less than %1 s apart").arg(context.options.thresholds.interleaveSeconds)
                    : QStringLiteral("less than %1 apart").arg(bytesText(context.options.thresholds.interleaveBytes)))
            .actual(apart)
            .message(QStringLiteral("%2 of stream %3 behind data of the same time, which stands up to %4 before.")
                         .arg(countText(worst.late.count, "chunk"))
                         .arg(number)
                         .arg(apart));
    }
}

void checkDurationsDiffer(const AviContext &context, Findings &findings)
{
    const AviLayout &file = context.file;
    struct Length
    {
        int stream;
        double seconds;
        double end; // with the start
    };
    std::vector<Length> lengths;
    double longest = 0;
    for (int number = 0; number < int(file.streams.size()); ++number) {
        if (!isTimed(file, number))
            continue;
        const PacketStream &facts = file.packets.stream(number);
        const double seconds = file.packets.duration(number);
        lengths.push_back({number, seconds, seconds + facts.seconds(double(facts.start))});
        longest = std::max(longest, seconds);
    }
    // What the others are compared with: pictures, if there are any.
    const auto video = std::find_if(lengths.begin(), lengths.end(), [&file](const Length &each) {
        return file.streams[size_t(each.stream)].kind != StreamKind::Audio;
    });
    const Length &reference = video == lengths.end() ? lengths.front() : *video;
    const CheckThresholds &thresholds = context.options.thresholds;
    const double allowed = std::max(thresholds.durationSeconds, thresholds.durationShare * longest);
    for (const Length &each : lengths) {
        // A stream that begins later may be shorter, and one that begins earlier longer.
        const double difference =
            std::min(std::abs(each.seconds - reference.seconds), std::abs(each.end - reference.end));
        if (difference <= allowed)
            continue;
        findings
            .add(file.streams[size_t(each.stream)].header.field(32, 4), each.stream) // dwLength
            .expected(QStringLiteral("%1 s, within %2 s").arg(reference.seconds, 0, 'f', 2).arg(allowed, 0, 'f', 2))
            .actual(QStringLiteral("%1 s").arg(each.seconds, 0, 'f', 2))
            .message(QStringLiteral("Stream %2 lasts %3 s, stream %4 %5 s.")
                         .arg(each.stream)
                         .arg(each.seconds, 0, 'f', 2)
                         .arg(reference.stream)
                         .arg(reference.seconds, 0, 'f', 2));
    }
}

constexpr AviRule rules[] = {
    {{u"undeclared-stream", Severity::Error, Level::Default, Repair::None,
      u"Data chunks belong to streams that the headers declare",
      u"The two digits of a chunk id are the number of a stream. Data of a stream without headers cannot be played.",
      u"all readers; some stop at such a chunk", u"Look for what wrote or changed the file: its headers may be lost.",
      u"AVI RIFF File Reference"},
     AviStage::Chunks,
     isWalked,
     checkUndeclaredStream},
    {{u"chunk-kind",
      {Severity::Warning, Severity::Note},
      Level::Default,
      Repair::None,
      u"The letters of chunk ids fit the type of their stream",
      u"The last two letters of an id say what kind of data it is: dc and db are pictures, wb is sound. Readers that "
      u"go by the letters take the chunk for another kind of data. Writers of subtitles use letters of their own, "
      u"which is a note.",
      u"readers that choose the decoder by the letters",
      u"Look whether the chunk belongs to another stream.",
      u"AVI RIFF File Reference"},
     AviStage::Chunks,
     isWalked,
     checkChunkKind},
    {{u"chunk-swallows-others", Severity::Error, Level::Default, Repair::Patch,
      u"No chunk's size leads behind further chunks",
      u"The size of a chunk leads to no chunk, while a chain of chunks stands within it: the size is wrong, or bytes "
      u"were lost there. Readers that trust it lose all chunks up to there and the way.",
      u"readers without a search for the next chunk", u"Write the size up to the next chunk.", u"practice"},
     AviStage::Chunks,
     nullptr,
     checkChunkSwallowsOthers},
    {{u"unknown-chunk", Severity::Note, Level::Default, Repair::None,
      u"Among the data stand data, indexes and JUNK alone",
      u"A chunk with an unknown id among the data is a writer's own, or a data chunk whose id was damaged. Readers "
      u"pass it over.",
      u"nobody, unless an index has the chunk", u"Nothing, or where an index has the chunk write its id again.",
      u"AVI RIFF File Reference"},
     AviStage::Chunks,
     isWalked,
     checkUnknownChunk},
    {{u"list-in-movi", Severity::Error, Level::Default, Repair::None, u"Lists among the data are lists of records",
      u"LIST rec is the only list in movi that readers enter. Chunks in any other one are not found.",
      u"all readers: they pass the list over", u"Look what the list is; its form type may be damaged.",
      u"AVI RIFF File Reference"},
     AviStage::Chunks,
     isWalked,
     checkListInMovi},
    {{u"stream-empty", Severity::Warning, Level::Default, Repair::None, u"Each declared stream has a chunk",
      u"The headers promise a stream of which there is no data.", u"readers that wait for its first chunk",
      u"Look for the data, or take the stream out.", u"practice"},
     AviStage::Counts,
     hasCountedStreams,
     checkStreamEmpty},
    {{u"interleave-distance", Severity::Warning, Level::Default, Repair::Rewrite,
      u"Sound and pictures of one time stand close together",
      u"A reader that plays from one place has to keep in memory, or fetch by jumping, all that lies between sound and "
      u"picture of the same time.",
      u"readers that play from slow media or a network; those with a small buffer",
      u"Write the file again with the streams interleaved.", u"practice"},
     AviStage::Counts,
     hasSeveralTimedStreams,
     checkInterleaveDistance},
    {{u"empty-frames", Severity::Note, Level::Default, Repair::None, u"Frames have data",
      u"An empty video chunk shows the frame before it again: frames that were dropped while recording, or a codec "
      u"that had nothing to say.",
      u"whoever counts on every frame being there", u"Nothing has to be done.", u"practice"},
     AviStage::Counts,
     hasCountedStreams,
     checkEmptyFrames},
    {{u"durations-differ", Severity::Warning, Level::Default, Repair::Patch, u"Sound and pictures last equally long",
      u"Where one of them ends much earlier, data is missing, or a time base is wrong and they drift apart.",
      u"viewers", u"Compare time bases and lengths of the streams.", u"practice"},
     AviStage::Counts,
     hasSeveralTimedStreams,
     checkDurationsDiffer},
};

} // namespace

AviRules chunkRules()
{
    return rules;
}

} // namespace quenlofar
