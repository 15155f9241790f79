#pragma once

#include "wavelayout.h"

#include "containeranalyzer.h"

/**
 * Judges WAVE files by the rules of waverules.cpp.
 *
 * The one stream's packets are its sound cut into seconds: as many whole blocks as a second has, the last one shorter.
 * No index says where they are, and no reader needs them; they give a place to every time, and a time to every place.
 * Where a file would have more than mostPackets of them, which takes twelve days, each is as much longer.
 */
class WaveAnalyzer final : public quenlofar::ContainerAnalyzer
{
public:
    static constexpr quint64 mostPackets = 1 << 20;

    WaveAnalyzer() : m_references(m_packets), m_regions(m_packets) { }

    /// Yes where the parser accepts the file; Parts where one word of what it looks at is damaged.
    quenlofar::Recognition recognises(quenlofar::ByteSource &source) override;
    quenlofar::AnalysisResult read(quenlofar::ByteSource &source, const quenlofar::AnalysisOptions &options) override;
    const quenlofar::PacketTable &packets() const override { return m_packets; }
    /// Without entries: WAVE files have no index.
    const quenlofar::ReferenceTable &references() const override { return m_references; }
    const quenlofar::RegionTable &regions() const override { return m_regions; }
    quenlofar::RuleList rules() const override;
    bool check(const quenlofar::CheckOptions &options, quenlofar::Findings &findings) override;

private:
    void fillPackets();
    void fillRegions();

    WaveLayout m_layout;
    quenlofar::AnalysisResult m_result; // of the latest read
    const std::atomic<bool> *m_cancel = nullptr;
    quenlofar::PacketTable m_packets;
    quenlofar::ReferenceTable m_references;
    quenlofar::RegionTable m_regions;
};
