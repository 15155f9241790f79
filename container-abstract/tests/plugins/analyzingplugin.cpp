// A complete plug-in with the optional export of an analyzer. Its rules are literals, which go when it is unloaded.
#include "containeranalyzer.h"
#include "dummyparser.h"
#include "pluginexports.h"

namespace {

using namespace quenlofar;

constexpr Rule rule{u"dummy-rule", Severity::Note, Level::Quick, Repair::None, {}, {}, {}, {}, {}};
constexpr const Rule *rules[] = {&rule};

class DummyAnalyzer : public ContainerAnalyzer
{
public:
    DummyAnalyzer() : m_references(m_packets), m_regions(m_packets) { }

    Recognition recognises(ByteSource &) override { return Recognition::Parts; }
    AnalysisResult read(ByteSource &, const AnalysisOptions &) override { return {}; }
    const PacketTable &packets() const override { return m_packets; }
    const ReferenceTable &references() const override { return m_references; }
    const RegionTable &regions() const override { return m_regions; }
    RuleList rules() const override { return {::rules, 1}; }
    bool check(const CheckOptions &, Findings &findings) override
    {
        findings.begin(rules(), {}, 10);
        findings.beginRule(0);
        findings.add(ByteRange{3, 1}).expected(1).actual(2);
        return true;
    }

private:
    PacketTable m_packets;
    ReferenceTable m_references;
    RegionTable m_regions;
};

} // namespace

QString containerName()
{
    return QStringLiteral("Analyzed");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("ana")};
}

ContainerAbstract *createParser()
{
    return new DummyParser;
}

ContainerAnalyzer *createAnalyzer()
{
    return new DummyAnalyzer;
}
