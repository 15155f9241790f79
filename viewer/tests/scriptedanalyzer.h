#pragma once

#include "bytesource.h"
#include "containeranalyzer.h"
#include "testsources.h"

#include <QThread>

#include <atomic>
#include <memory>

namespace quenlofar {

/// What all analyzers of a test do.
struct AnalyzerScript
{
    std::atomic<bool> blocksCheck{false}; ///< check() waits until it is cancelled
    std::atomic<int> packets{10}; ///< that are found in a file
    std::atomic<int> waiting{0}; ///< checks that wait
    std::atomic<int> checks{0}; ///< that have begun
    std::atomic<int> level{-1}; ///< of the latest check
};

/// Finds packets in every file, from byte 1000 on, each 108 bytes behind the one before: ten of 100 bytes, but for the
/// fourth one, which is empty, and others of 51 to 100 bytes; each fourth is key. One finding stands at byte 20: at the
/// deep level another one at byte 1108.
class ScriptedAnalyzer : public ContainerAnalyzer
{
public:
    explicit ScriptedAnalyzer(std::shared_ptr<AnalyzerScript> script)
        : m_script(std::move(script)), m_references(m_packets), m_regions(m_packets)
    {
    }

    Recognition recognises(ByteSource &) override { return Recognition::Yes; }
    AnalysisResult read(ByteSource &source, const AnalysisOptions &options) override
    {
        m_cancel = options.cancel;
        m_size = quint64(source.size());
        PacketStream video;
        video.kind = StreamKind::Video;
        video.isDeclared = true;
        video.timeBaseNumerator = 1;
        video.timeBaseDenominator = 10;
        m_packets.setStream(0, video);
        for (int i = 0; i < m_script->packets; ++i) {
            Packet packet;
            packet.offset = 1000 + quint64(i) * 108;
            packet.size = i == 3 ? 0 : i < 10 ? 100 : 100 - quint32(i) % 50;
            packet.key = i % 4 == 0 ? KeyState::Yes : KeyState::No;
            m_packets.append(packet);
        }
        m_packets.finish();
        m_references.finish();
        m_regions.reset(m_size, 8);
        m_regions.append({0, 992}, RegionKind::Header);
        return {};
    }
    const PacketTable &packets() const override { return m_packets; }
    const ReferenceTable &references() const override { return m_references; }
    const RegionTable &regions() const override { return m_regions; }
    RuleList rules() const override
    {
        static const Rule rule{u"made-up",    Severity::Warning,     Level::Quick,
                               Repair::Patch, u"Nothing is made up", u"This was made up",
                               u"nobody",     u"Do not care",        u"practice"};
        static const Rule *const rules[] = {&rule};
        return {rules, 1};
    }
    bool check(const CheckOptions &options, Findings &findings) override
    {
        ++m_script->checks;
        m_script->level = int(options.level);
        findings.begin(rules(), {}, m_size);
        findings.beginRule(0);
        findings.add(ByteRange{20, 4}).message(QStringLiteral("Made up."));
        if (options.level == Level::Deep)
            findings.add(ByteRange{1108, 4}, 0).message(QStringLiteral("Made up, too."));
        while (m_script->blocksCheck && !(m_cancel && *m_cancel)) {
            m_script->waiting = 1;
            QThread::msleep(1);
        }
        m_script->waiting = 0;
        return !(m_cancel && *m_cancel);
    }

private:
    const std::shared_ptr<AnalyzerScript> m_script;
    const std::atomic<bool> *m_cancel = nullptr;
    quint64 m_size = 0;
    PacketTable m_packets;
    ReferenceTable m_references;
    RegionTable m_regions;
};

/// As optionsFor, with a scripted analyzer.
inline DocumentOptions optionsWithAnalyzer(const std::shared_ptr<MadeUpFile> &file,
                                           const std::shared_ptr<AnalyzerScript> &script)
{
    DocumentOptions options = optionsFor(file, 10, 108);
    options.parsers[0].createAnalyzer = [script] { return std::make_unique<ScriptedAnalyzer>(script); };
    return options;
}

} // namespace quenlofar
