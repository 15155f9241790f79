#pragma once

#include "avilayout.h"
#include "repairplanner.h"

#include <atomic>

namespace quenlofar {

class ByteSource;
class FrameTypes;

/// Makes the idx1 of an AVI file anew, from the chunks that stand in it.
class AviRepairPlanner final : public RepairPlanner
{
public:
    /// `layout` outlives the object.
    explicit AviRepairPlanner(const AviLayout &layout) : m_layout(layout) { }

    /// What was read, and from where; `cancel` may be null. All outlive the next plan().
    void setSource(ByteSource *source, const std::atomic<bool> *cancel);

    /// True for idx1-base: what many writers do, and some readers do not expect.
    bool mendsNotesOf(const QString &rule) const override;
    /// True for the rules of idx1, and for last-chunk-cut.
    bool plansFor(const QString &rule) const override;
    /// True for movi-stale: what is left over from an earlier try goes.
    bool hidesPackets(const QString &rule) const override;
    /// True with size-open.
    bool saysOpen(const std::vector<Finding> &findings) const override;
    std::vector<StepChanges> plan(const std::vector<Finding> &findings) override;

private:
    /// From where key flags came.
    struct KeySources
    {
        quint64 index = 0; // frames of which an index said it
        quint64 payload = 0;
        quint64 guessed = 0; // first frames of streams of which nothing says it
    };

    /// What the findings say of the key flags of a stream.
    struct KeyDoubt
    {
        bool indexIsWrong = false; // on all frames
        bool firstIsKey = false; // whatever the index says
    };

    bool isCancelled() const { return m_cancel && m_cancel->load(std::memory_order_relaxed); }
    StepChanges paddingStep(const std::vector<Finding> &findings) const;
    StepChanges indexStep(const std::vector<Finding> &findings);
    QByteArray newIndex(quint64 base, const std::vector<KeyDoubt> &doubts, KeySources *sources);
    void ensureKeys(QByteArray *index, KeySources *sources) const;
    KeyState keyOf(const Packet &packet, FrameTypes &types, const KeyDoubt &doubt, KeySources *sources);
    void patchIndexFlag(StepChanges *changes) const;

    const AviLayout &m_layout;
    ByteSource *m_source = nullptr;
    const std::atomic<bool> *m_cancel = nullptr;
    // While an index is made, by stream: the entry of the first frame, from 1, and whether there was a key frame
    std::vector<quint32> m_firstFrame;
    std::vector<bool> m_hasKey;
};

} // namespace quenlofar
