#pragma once

#include "aviindexbytes.h"
#include "avilayout.h"
#include "repairplanner.h"

#include <vector>

namespace quenlofar {

class AviKeyFlags;
class FileDevice;

/**
 * Makes OpenDML indexes anew in a file in which nothing moves: standard indexes in the room of old ones, or behind the
 * last chunk where they are about the last RIFF list; super indexes in the room of old ones and of JUNK beside them.
 */
class AviPartIndexes
{
public:
    /// The file `layout`, whose bytes `file` reads; key flags of all packets are known. All outlive the object.
    AviPartIndexes(const AviLayout &layout, FileDevice &file, const AviKeyFlags &keys)
        : m_layout(layout), m_file(file), m_keys(keys)
    {
    }

    /// Patches and bytes at the end; of a step nothing else. Empty where there is no room. `all` indexes are written
    /// anew, otherwise those that do not have every chunk of their part right.
    StepChanges make(bool all);

private:
    /// The chunks of a stream in one RIFF list.
    struct Part
    {
        quint64 count = 0; // without palettes
        quint64 bytes = 0; // of these
        quint32 chunkId = 0; // of the first
        QByteArray entries; // of a standard index of all of them
        std::vector<quint32> indexes; // ordinals of the index chunks that are about it
    };

    void findWrong();
    bool gather(size_t segment, quint64 base, std::vector<Part> *parts);
    bool writePart(size_t segment, quint64 base, size_t stream, const Part &part);
    bool isRight(const Part &part, size_t stream) const;
    void addSuperEntry(size_t stream, quint64 offset, quint32 size, const Part &part);
    bool writeSuper(size_t stream);
    bool writeExtendedHeader();
    void patch(quint64 offset, const QByteArray &bytes) { m_changes.patches.push_back({offset, bytes}); }

    const AviLayout &m_layout;
    FileDevice &m_file;
    const AviKeyFlags &m_keys;
    std::vector<bool> m_isWrong; // by index: an entry is
    bool m_writesAll = false;
    StepChanges m_changes;
    // By stream
    std::vector<QByteArray> m_superEntries;
    std::vector<quint32> m_chunkIds;
    std::vector<quint64> m_bytes; // before the part
    std::vector<quint64> m_ticks;
};

} // namespace quenlofar
