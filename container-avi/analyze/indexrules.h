#pragma once

#include "avirules.h"
#include "avitexts.h"

#include <QString>

namespace quenlofar {

// What the rules about index entries share: rules_index.cpp and rules_opendml_entries.cpp.

/// "chunk 00dc at offset 326": the packet number `packet`.
QString packetText(const AviLayout &file, quint64 packet);
/// What stands at `target`, where a chunk's header is claimed to be, or its data where `isData`: for a finding that
/// says what an entry hits instead of what it should.
QString targetText(const AviContext &context, quint64 target, bool isData);

/// Whether each frame of a codec, by its biCompression, can be decoded alone, or is shown without a key frame as well.
bool hasFramesAlone(quint32 compression);

/// Calls `tell(entry, more)` for each irregular entry of idx1, or of standard indexes, that has the bit `what`; `more`
/// like it were counted and not kept.
template <typename Tell>
void forIrregularEntries(const AviLayout &file, bool isLegacy, AviIrregularity what, const Tell &tell)
{
    for (const AviIrregularEntry &entry : file.irregularEntries) {
        if ((entry.what & what) != 0 && (file.indexes[entry.index].kind == AviIndexKind::Legacy) == isLegacy)
            tell(entry, quint64(0));
    }
    for (const AviIrregularRest &rest : file.irregularRest) {
        if (rest.count > 0 && rest.what == what && rest.isLegacy == isLegacy)
            tell(rest.first, rest.count - 1);
    }
}

/// Chunks that an index should have and does not, gathered before they are told.
class MissingChunks
{
public:
    /// For the streams of `file`, which outlives it.
    explicit MissingChunks(const AviLayout &file) : m_file(file), m_counts(PacketTable::streamLimit) { }

    /// The packet is missing.
    void add(quint64 index, const Packet &packet);
    /// How many of the stream are.
    quint64 count(int stream) const { return m_counts[size_t(stream)].count; }
    /// Calls `tell(stream, about, more)` for them: one by one where the file is damaged, because each may have another
    /// cause, otherwise once a stream with all others as `more`.
    template <typename Tell> void tellAll(const Tell &tell) const
    {
        for (const quint32 index : m_indexes)
            tell(int(m_file.packets.at(index).stream), m_file.chunkRange(index), quint64(0));
        for (int stream = 0; stream < PacketTable::streamLimit; ++stream) {
            const Count &count = m_counts[size_t(stream)];
            if (count.count > count.kept)
                tell(stream, m_file.chunkRange(count.firstNotKept), count.count - count.kept - 1);
        }
    }

private:
    struct Count
    {
        quint64 count = 0;
        quint64 kept = 0; // in m_indexes
        quint32 firstNotKept = 0;
    };
    static constexpr size_t mostKept = 65536;

    const AviLayout &m_file;
    std::vector<Count> m_counts; // by stream
    std::vector<quint32> m_indexes; // of packets that are told one by one
};

} // namespace quenlofar
