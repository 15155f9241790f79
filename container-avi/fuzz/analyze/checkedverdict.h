#pragma once

#include "avianalyzer.h"
#include "faultysource.h"
#include "finding.h"
#include "require.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <set>
#include <tuple>

namespace quenlofar {

/// How a file is read and judged.
struct VerdictSettings
{
    Level level = Level::Deep; ///< of reading and judging
    SourceFaults faults; ///< of the source
    quint64 cancelAt = 0; ///< read of the source, from 1, during which the reading is cancelled; 0 is never
    bool keepsText = true; ///< says everything that is known afterwards
};

/// What came of it.
struct CheckedVerdict
{
    AnalysisResult result; ///< of the reading
    bool isComplete = false; ///< of the judging
    QString text; ///< everything that is known of the file afterwards, a line each, where that is asked for
    double seconds = 0; ///< of this thread, for reading and judging alone
};

/// A source during one of whose reads the reading is cancelled; `source` outlives it.
class CancellingSource final : public ByteSource
{
public:
    CancellingSource(ByteSource &source, quint64 cancelAt) : m_source(source), m_cancelAt(cancelAt) { }

    qint64 size() const override { return m_source.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        if (++m_reads == m_cancelAt)
            m_cancel = true;
        return m_source.readAt(position, data, maxSize);
    }
    QString errorText() const override { return m_source.errorText(); }
    const char *memory() const override { return m_cancelAt == 0 ? m_source.memory() : nullptr; }
    const std::atomic<bool> *cancel() const { return &m_cancel; }

private:
    ByteSource &m_source;
    const quint64 m_cancelAt;
    quint64 m_reads = 0;
    std::atomic<bool> m_cancel{false};
};

inline bool isInside(const ByteRange &range, quint64 fileSize)
{
    return range.offset <= fileSize && range.size <= fileSize - range.offset;
}

// Each of these adds a line per entry to `text`, which may be null.

inline void checkPackets(const AviLayout &layout, QString *text)
{
    const PacketTable &packets = layout.packets;
    quint64 end = 0;
    for (quint64 index = 0; index < packets.size(); ++index) {
        const Packet packet = packets.at(index);
        require(packet.offset >= 8 && packet.offset - 8 >= end, "packets stand one behind the other");
        require(isInside(packet.range(), layout.fileSize), "a packet is inside of the file");
        require(packet.knownBy != 0, "a packet is known from somewhere");
        require(packets.indexAt(packet.offset) == index || packet.size == 0, "a packet is found by its offset");
        const quint64 number = packets.numberOf(index);
        require(packet.isPalette ? number == PacketTable::none : packets.indexOf(packet.stream, number) == index,
                "a packet is found by its number");
        end = packet.range().end();
        if (text)
            *text += QStringLiteral("packet %1 %2 %3 %4 %5 %6 %7\n")
                         .arg(packet.offset)
                         .arg(packet.size)
                         .arg(packet.stream)
                         .arg(int(packet.key))
                         .arg(packet.knownBy)
                         .arg(packet.isCut)
                         .arg(number);
    }
}

inline void checkReferences(const AviLayout &layout, QString *text)
{
    const ReferenceTable &references = layout.references;
    quint64 end = 0;
    for (quint64 ordinal = 0; ordinal < references.size(); ++ordinal) {
        const Reference reference = references.at(ordinal);
        require(reference.place.offset >= end, "entries are in the order of their places");
        require(isInside(reference.place, layout.fileSize), "an entry is inside of the file");
        require(references.ordinalAt(reference.place.offset) == ordinal, "an entry is found by its place");
        require(!reference.isHit || isInside({reference.target.offset, 0}, layout.fileSize),
                "what an entry hits is inside of the file");
        end = reference.place.end();
        if (!references.isReference(ordinal))
            continue;
        if (reference.target.offset < layout.fileSize) {
            const std::vector<quint64> found = references.ordinalsTo({reference.target.offset, 1}, references.size());
            require(std::find(found.begin(), found.end(), ordinal) != found.end(), "an entry is found by its target");
        }
        if (text)
            *text += QStringLiteral("entry %1 %2 %3 %4\n")
                         .arg(reference.place.offset)
                         .arg(reference.target.offset)
                         .arg(reference.target.size)
                         .arg(reference.isHit);
    }
    for (const quint64 ordinal : references.ordinalsTo({0, layout.fileSize + 1}, references.size()))
        require(references.isReference(ordinal), "what says nothing points at nothing");
}

inline void checkRegions(const RegionTable &regions, quint64 fileSize, QString *text)
{
    require(regions.fileSize() == fileSize, "the regions are those of the file");
    quint64 count = 0;
    for (quint64 at = 0; at < fileSize; ++count) {
        const Region region = regions.at(at);
        require(region.range.offset == at && region.range.size > 0, "each region begins where the one before ends");
        require(isInside(region.range, fileSize), "a region is inside of the file");
        at = region.range.end();
        if (text)
            *text += QStringLiteral("region %1 %2 %3\n").arg(at).arg(int(region.kind)).arg(region.stream);
    }
    // A header at the least, or padding, stands between two regions.
    require(count <= fileSize, "there are no more regions than bytes");
}

inline void checkFindings(const Findings &findings, const RuleList &rules, quint64 fileSize, QString *text)
{
    int id = 0;
    std::set<std::tuple<QString, int, int>> seen;
    std::set<QString> failed;
    for (const Finding &finding : findings.list()) {
        require(finding.id == ++id, "findings are numbered from 1");
        require(finding.causedBy >= 0 && finding.causedBy < id, "causes come before what they cause");
        const int ordinal = rules.find(finding.rule);
        require(ordinal >= 0, "a finding is of a rule");
        require(rules[ordinal].severities.contains(finding.severity), "a severity is one of the rule's");
        require(seen.insert({finding.rule, finding.stream, finding.causedBy}).second,
                "a rule, a stream and a cause have one finding");
        require(!finding.places.empty() && finding.places.size() <= Finding::mostPlaces
                    && finding.count >= finding.places.size(),
                "a finding has one to three places, and no more than its count");
        for (const ByteRange &place : finding.places) {
            require(isInside(place, fileSize), "a finding's place is inside of the file");
            require(place.offset < fileSize || fileSize == 0, "a finding's place begins at a byte of the file");
            if (text)
                *text += QStringLiteral("%1+%2 ").arg(place.offset).arg(place.size);
        }
        require(!finding.expected.isEmpty() && finding.expected != finding.actual,
                "what was expected is something else than what is there");
        require(finding.message.endsWith(QLatin1Char('.')), "a message is a sentence");
        require(finding.expected.size() + finding.actual.size() + finding.message.size() < 2000, "texts are short");
        failed.insert(finding.rule);
        if (text)
            *text += QStringLiteral("%1 %2 #%3 x%4 < %5: %6 > %7: %8\n")
                         .arg(finding.rule)
                         .arg(int(finding.severity))
                         .arg(finding.stream)
                         .arg(finding.count)
                         .arg(finding.causedBy)
                         .arg(finding.expected, finding.actual, finding.message);
    }
    require(findings.ruleStates().size() == size_t(rules.size()), "every rule has a state");
    for (int ordinal = 0; ordinal < rules.size(); ++ordinal)
        require((findings.ruleStates()[size_t(ordinal)] == RuleState::Failed)
                    == (failed.count(rules[ordinal].name.toString()) > 0),
                "the rules that failed are those with findings");
    if (text)
        *text += findings.notChecked().join(QLatin1Char('\n'));
}

/// Reads and judges `bytes`, with every promise of the analyzer looked after.
inline CheckedVerdict checkedVerdict(const QByteArray &bytes, const VerdictSettings &settings)
{
    const std::unique_ptr<ByteSource> memory = sourceOf(bytes, settings.faults);
    CancellingSource source(*memory, settings.cancelAt);
    AviAnalyzer analyzer;
    Findings findings;
    AnalysisOptions reading;
    reading.level = settings.level;
    reading.cancel = source.cancel();
    CheckOptions judging;
    judging.level = settings.level;

    CheckedVerdict verdict;
    const double begin = threadSeconds();
    verdict.result = analyzer.read(source, reading);
    verdict.isComplete = analyzer.check(judging, findings);
    verdict.seconds = threadSeconds() - begin;

    const AviLayout &layout = analyzer.layout();
    require(layout.fileSize == quint64(bytes.size()), "the size of the file is known");
    require(layout.elements.size() + layout.packets.size() + layout.references.size() <= layout.fileSize / 8,
            "there is at most one entry per eight bytes of the file");
    require(layout.damages.size() <= layout.fileSize / 8 + 8, "damages are bounded as well");
    QString *const text = settings.keepsText ? &verdict.text : nullptr;
    checkPackets(layout, text);
    checkReferences(layout, text);
    checkRegions(analyzer.regions(), layout.fileSize, text);
    checkFindings(findings, analyzer.rules(), layout.fileSize, text);
    return verdict;
}

} // namespace quenlofar
