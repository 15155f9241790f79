#include "waveanalyzer.h"

#include "waverules.h"

#include "bytesource.h"
#include "filedevice.h"

#include <algorithm>
#include <new>

using namespace quenlofar;

namespace {

/// What kind the bytes of a chunk are. Packets stand for the sound, where there are any.
RegionKind kindOf(quint32 id)
{
    switch (id) {
    case idOf("fmt "):
    case idOf("fact"):
    case idOf("ds64"):
    case idOf("cue "):
    case idOf("smpl"):
    case idOf("inst"):
    case idOf("plst"):
    case idOf("PEAK"):
        return RegionKind::Header;
    case idOf("LIST"): // names of places, or of the piece
    case idOf("bext"):
    case idOf("iXML"):
    case idOf("axml"):
    case idOf("cart"):
    case idOf("id3 "):
    case idOf("_PMX"):
        return RegionKind::Text;
    case idOf("JUNK"):
    case idOf("junk"):
    case idOf("PAD "):
    case idOf("FLLR"):
        return RegionKind::Padding;
    default:
        return RegionKind::Unknown;
    }
}

} // namespace

Recognition WaveAnalyzer::recognises(ByteSource &source)
{
    char bytes[16] = {};
    source.readAt(0, bytes, sizeof bytes); // what is not read stays zero
    const RecordView header(bytes, sizeof bytes);
    const quint32 id = header.read<quint32>(0);
    const quint32 chunk = header.read<quint32>(12);
    const bool hasId = id == idOf("RIFF") || id == idOf("RF64");
    const bool hasForm = header.read<quint32>(8) == idOf("WAVE");
    const bool hasChunk = chunk == idOf("fmt ") || chunk == idOf("ds64");
    if (hasId && hasForm)
        return Recognition::Yes;
    return int(hasId) + int(hasForm) + int(hasChunk) >= 2 ? Recognition::Parts : Recognition::No;
}

AnalysisResult WaveAnalyzer::read(ByteSource &source, const AnalysisOptions &options)
{
    m_cancel = options.cancel;
    m_packets.clear();
    try {
        FileDevice file;
        openForAnalysis(file, source, options);
        const bool isUnbounded = readWave(file, m_layout);
        m_result = analysisResult(file);
        m_result.isLimited = !isUnbounded;
        if (options.level != Level::Quick)
            fillPackets();
        m_packets.finish();
        fillRegions();
    } catch (const std::bad_alloc &) {
        m_layout = WaveLayout();
        m_layout.fileSize = quint64(std::max<qint64>(source.size(), 0));
        m_packets.clear();
        m_regions.reset(m_layout.fileSize, 0);
        m_result = AnalysisResult();
        m_result.error = {FileError::Memory, -1, QStringLiteral("not enough memory for the structure of the file")};
    }
    return m_result;
}

void WaveAnalyzer::fillPackets()
{
    const WaveChunk *data = m_layout.find(idOf("data"));
    if (!m_layout.hasFormat() || m_layout.blockSize() == 0)
        return;
    // Blocks give the time. The byte rate is right for sound without a fixed number of samples in a block, which has
    // nothing better; elsewhere writers often fill in a nominal one.
    const quint64 block = m_layout.blockSize();
    const quint32 samples = m_layout.samplesPerBlock();
    const quint64 blocksPerSecond = samples > 0 ? m_layout.sampleRate() / samples : m_layout.byteRate() / block;
    PacketStream stream;
    stream.kind = StreamKind::Audio;
    stream.isDeclared = true;
    stream.timeBaseNumerator = samples > 0 ? samples : quint32(block);
    stream.timeBaseDenominator = samples > 0 ? m_layout.sampleRate() : m_layout.byteRate();
    stream.bytesPerTick = quint32(block);
    m_packets.setStream(0, stream);
    if (!data)
        return;

    // No packet has more bytes than its size can tell: files end at 2^48, so 2^20 packets have 2^28 bytes each.
    const quint64 size = std::min(data->end - data->begin(), PacketTable::offsetLimit);
    const quint64 blocksAtLeast = size / block / mostPackets + 1;
    const quint64 blocks = std::max(blocksAtLeast, std::min(blocksPerSecond, (quint64(1) << 30) / block));
    for (quint64 at = 0; at < size; at += blocks * block) {
        Packet packet;
        packet.offset = data->begin() + at;
        packet.size = quint32(std::min(size - at, blocks * block));
        packet.key = samples > 0 ? KeyState::Yes : KeyState::Unknown;
        packet.isCut = data->isCut() && at + packet.size == size;
        if (!m_packets.append(packet))
            return; // behind the largest offset that is told
    }
}

void WaveAnalyzer::fillRegions()
{
    m_regions.reset(m_layout.fileSize, 0); // packets have no headers of their own
    m_regions.append({0, std::min(m_layout.fileSize, quint64(12))}, RegionKind::Header);
    const WaveChunk *const sound = m_packets.size() == 0 ? nullptr : m_layout.find(idOf("data"));
    for (const WaveChunk &chunk : m_layout.chunks) {
        const bool isSound = chunk.id == idOf("data");
        m_regions.append(chunk.header(), isSound ? RegionKind::Header : kindOf(chunk.id));
        if (&chunk != sound) // where there are no packets, the sound is a range like all else
            m_regions.append({chunk.begin(), chunk.end - chunk.begin()},
                             isSound ? RegionKind::Audio : kindOf(chunk.id));
        if (chunk.isPadded)
            m_regions.append({chunk.end, 1}, RegionKind::Padding);
    }
}

RuleList WaveAnalyzer::rules() const
{
    return waveRules();
}

bool WaveAnalyzer::check(const CheckOptions &options, Findings &findings)
{
    try {
        findings.begin(waveRules(), waveCauses(), m_layout.fileSize);
        for (int ordinal = 0; ordinal < waveRules().size(); ++ordinal) {
            const WaveRule &rule = waveRule(ordinal);
            if (m_cancel && m_cancel->load(std::memory_order_relaxed))
                return false;
            if (rule.rule.level > options.level || (rule.applies && !rule.applies(m_layout)))
                continue;
            findings.beginRule(ordinal);
            rule.check(m_layout, findings);
        }
        if (!m_result.isComplete())
            findings.notChecked(QStringLiteral("walk cut short at offset %1, after %2 chunks")
                                    .arg(m_layout.chainEnd)
                                    .arg(m_layout.chunks.size()));
        return m_result.error.kind == FileError::None && !m_result.isCancelled;
    } catch (const std::bad_alloc &) {
        return false;
    }
}
