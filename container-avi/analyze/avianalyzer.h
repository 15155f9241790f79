#pragma once

#include "avilayout.h"
#include "avirepair.h"
#include "containeranalyzer.h"

namespace quenlofar {

/// Judges AVI files: AviReader reads them, the rules of avirules.h are what they are held against.
class AviAnalyzer final : public ContainerAnalyzer
{
public:
    AviAnalyzer();

    /// Yes for RIFF with a form near "AVI "; Parts where a list of headers or of data stands in the first 64 KiB.
    Recognition recognises(ByteSource &source) override;
    AnalysisResult read(ByteSource &source, const AnalysisOptions &options) override;
    const PacketTable &packets() const override { return m_layout.packets; }
    const ReferenceTable &references() const override { return m_layout.references; }
    const RegionTable &regions() const override { return m_regions; }
    RuleList rules() const override;
    bool check(const CheckOptions &options, Findings &findings) override;
    /// The planner of repairs.
    void *extension(int number) override;

    /// What was read, for tests.
    const AviLayout &layout() const { return m_layout; }

private:
    QString cutShortText() const;

    AviLayout m_layout;
    RegionTable m_regions;
    AviRepairPlanner m_planner;
    AnalysisResult m_result; // of the latest read
    ByteSource *m_source = nullptr; // of the latest read; null before
    const std::atomic<bool> *m_cancel = nullptr;
    WalkProgress *m_progress = nullptr;
};

/// Tells the kind of every byte from a layout.
void fillRegions(const AviLayout &layout, RegionTable &regions);

} // namespace quenlofar
