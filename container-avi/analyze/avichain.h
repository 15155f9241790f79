#pragma once

#include "avirecords.h"
#include "filedevice.h"

namespace quenlofar {

/// A chunk's first eight bytes, and what follows them.
struct AviHeader
{
    quint32 id = 0;
    quint32 size = 0;
    quint32 form = 0; ///< the next four bytes; 0 where the file ends before
};

/// Reads the header at `at`; false where the file ends within its first eight bytes, or cannot be read.
inline bool readHeader(FileDevice &file, quint64 at, AviHeader *header)
{
    char bytes[12] = {};
    file.seek(qint64(at));
    if (file.read(bytes, sizeof bytes) < 8)
        return false;
    const RecordView view(bytes, sizeof bytes);
    *header = {view.read<quint32>(0), view.read<quint32>(4), view.read<quint32>(8)};
    return true;
}

/**
 * Answers whether places hold chains of chunk headers, for a reading that has lost its way.
 *
 * It reads through a device of its own, so that the reading's window stays where it is. Its effort is bounded: after so
 * many headers as a file of this length may cost it finds nothing more, and isExhausted().
 */
class AviChain
{
public:
    /// Headers that make a chain that is believed.
    static constexpr quint32 enough = 3;
    /// Headers that are followed at most.
    static constexpr quint32 most = 4096;

    /// A chain of chunks, one behind the other.
    struct Run
    {
        quint32 headers = 0; ///< that were followed
        bool reachesEnd = false; ///< of the range, or of what may hold such chunks
        quint64 at = 0; ///< behind the last of them

        /// To be taken for chunks.
        bool isBelieved() const { return headers >= enough || (headers > 0 && reachesEnd); }
    };
    /// Where a chain was found.
    struct Hit
    {
        bool isFound = false;
        quint64 at = 0;
        Run run;
        quint64 zeros = 0; ///< bytes that are 0, from where the search began up to the first other one
    };

    explicit AviChain(FileDevice &file);

    /// Follows chunk headers from `at` on, until one is none or leads behind `end`, `limit` of them were followed and
    /// `least` was passed.
    Run follow(quint64 at, quint64 end, quint64 least = 0);
    /// Whether a header stands there that AVI files have, of a chunk that ends at `end` or before.
    bool isHeaderAt(quint64 at, quint64 end);
    /// Whether a header of any id of printable characters stands there, of a chunk that ends at `end` or before.
    bool isPrintableAt(quint64 at, quint64 end);
    /// Whether a RIFF begins there.
    bool isRiffAt(quint64 at);
    /// The first place from `begin` on and before `last` at which a chain begins that is believed, within what ends at
    /// `end`, and that passes `least`. Reads every byte up to there. In an index, whose entries begin with ids, a chain
    /// that is shorter than `enough` is not believed.
    Hit find(quint64 begin, quint64 last, quint64 end, quint64 least = 0, bool isInIndex = false);
    /// The first RIFF list of an AVI file from `begin` on and before `last`.
    Hit findRiff(quint64 begin, quint64 last);

    /// Headers that were looked at so far; what led on in the file may be taken back, because it is bounded by that.
    quint64 spent() const { return m_probes; }
    void takeBack(quint64 spent) { m_probes = spent; } ///< Counts from here on again.
    /// The bound on headers was reached.
    bool isExhausted() const { return m_probes >= m_mostProbes; }
    /// Nothing can be read any more, or should be.
    bool isStopped() const { return isExhausted() || m_file.wasInterrupted() || m_file.hasReadError(); }

private:
    bool isPlausible(const AviHeader &header, quint64 at, quint64 end) const;
    template <typename Accepts> Hit search(quint64 begin, quint64 last, Accepts accepts);
    static void countZeros(const char *bytes, quint64 count, Hit *hit, bool *isZero);

    FileDevice &m_file;
    quint64 m_probes = 0;
    quint64 m_mostProbes;
};

} // namespace quenlofar
