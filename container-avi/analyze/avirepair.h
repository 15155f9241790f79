#pragma once

#include "avilayout.h"
#include "repairplanner.h"

#include <atomic>

namespace quenlofar {

class ByteSource;
class AviKeyFlags;

/// Makes indexes anew from the chunks that stand in a file, and files whose parts have to move.
class AviRepairPlanner final : public RepairPlanner
{
public:
    /// `layout` outlives the object.
    explicit AviRepairPlanner(const AviLayout &layout) : m_layout(layout) { }

    /// What was read, and from where; `cancel` may be null. All outlive the next plan().
    void setSource(ByteSource *source, const std::atomic<bool> *cancel);

    /// True for idx1-base: what many writers do, and some readers do not expect; and for what a wish names.
    bool mendsNotesOf(const QString &rule, const RepairWishes &wishes) const override;
    /// True for rules of indexes and last-chunk-cut; for what takes moving bytes where it is an error or wished for.
    bool plansFor(const Finding &finding, const RepairWishes &wishes) const override;
    /// True for movi-stale: what is left over from an earlier try goes.
    bool hidesPackets(const QString &rule) const override;
    /// True with size-open.
    bool saysOpen(const std::vector<Finding> &findings) const override;
    std::vector<StepChanges> plan(const std::vector<Finding> &findings, const RepairWishes &wishes) override;

private:
    bool isCancelled() const { return m_cancel && m_cancel->load(std::memory_order_relaxed); }
    StepChanges headersStep(const std::vector<Finding> &findings, const RepairWishes &wishes) const;
    StepChanges paddingStep(const std::vector<Finding> &findings) const;
    StepChanges partIndexesStep(const std::vector<Finding> &findings) const;
    StepChanges rewriteStep(const std::vector<Finding> &findings, const RepairWishes &wishes) const;
    StepChanges cutStep(const std::vector<Finding> &findings, const RepairWishes &wishes) const;
    StepChanges indexStep(const std::vector<Finding> &findings) const;
    quint32 renamedIndex(quint32 movi, const QByteArray &index) const;
    QByteArray newIndex(quint64 base, AviKeyFlags *keys) const;
    void patchIndexFlag(StepChanges *changes) const;

    const AviLayout &m_layout;
    ByteSource *m_source = nullptr;
    const std::atomic<bool> *m_cancel = nullptr;
};

} // namespace quenlofar
