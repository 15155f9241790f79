#pragma once

#include "avilayout.h"
#include "finding.h"

#include <QString>

#include <atomic>
#include <vector>

namespace quenlofar {

class FileDevice;
class FrameTypes;

/**
 * Which packets an index that is made anew calls key frames: what an old index says, where nothing is wrong with that,
 * else what the payload says, else the first frame of a stream alone, because readers start there in any case.
 */
class AviKeyFlags
{
public:
    /// For the packets of `layout`, which outlives the object; `findings` tell what is wrong with the old flags.
    AviKeyFlags(const AviLayout &layout, const std::vector<Finding> &findings);

    /// Looks at the packets from `begin` up to before `end`; where the index is silent, at their first bytes. False
    /// where reading failed or `cancel`, which may be null, became true.
    bool read(FileDevice &file, quint64 begin, quint64 end, const std::atomic<bool> *cancel);
    /// Of a packet that was looked at. Packets of palettes are none.
    bool isKey(quint64 packet) const { return m_keys[size_t(packet)]; }
    /// "key flags of 7 come from an index, of 3 from the payload".
    QString sourcesText() const;

private:
    /// What the findings say of the key flags of a stream.
    struct Doubt
    {
        bool indexIsWrong = false; // on all frames
        bool firstIsKey = false; // whatever the index says
    };
    bool keyOf(const Packet &packet, bool isFirst, FrameTypes &types);

    const AviLayout &m_layout;
    std::vector<Doubt> m_doubts; // by stream
    std::vector<bool> m_keys; // by packet
    // From where they came
    quint64 m_fromIndex = 0; // frames
    quint64 m_fromPayload = 0; // frames
    quint64 m_guessed = 0; // streams of which nothing says it
};

} // namespace quenlofar
