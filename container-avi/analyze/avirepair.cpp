#include "avirepair.h"

#include "aviids.h"
#include "avitexts.h"
#include "containeranalyzer.h"
#include "filedevice.h"
#include "frametypes.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>

namespace quenlofar {

namespace {

// AVIOLDINDEX
constexpr quint64 entrySize = 16;
constexpr quint32 keyFrameFlag = 0x00000010; // AVIIF_KEYFRAME
constexpr quint32 noTimeFlag = 0x00000100; // AVIIF_NO_TIME: a palette

// AVIMAINHEADER
constexpr quint32 flagsOffset = 12; // of dwFlags
constexpr quint32 hasIndexFlag = 0x00000010; // AVIF_HASINDEX

/// Rules whose findings go away with an idx1 that has each chunk of the first RIFF list once, in order.
constexpr QStringView indexRules[] = {
    u"index-missing",
    u"index-flag-without-index",
    u"idx1-size",
    u"idx1-base",
    u"idx1-base-unknown",
    u"idx1-no-such-chunk",
    u"idx1-chunk-size",
    u"idx1-duplicate",
    u"idx1-chunk-not-indexed",
    u"idx1-order",
    u"idx1-no-key-frame",
    u"idx1-first-not-key",
    u"idx1-list-flag",
    u"idx1-empty-key-frame",
    u"idx1-audio-not-key",
    u"idx1-beyond-first-riff",
    u"idx1-key-flag-differs",
};

bool isOfIndex(const QString &rule)
{
    return std::find(std::begin(indexRules), std::end(indexRules), QStringView(rule)) != std::end(indexRules);
}

void appendNumber(QByteArray *bytes, quint32 number)
{
    std::array<char, sizeof number> buffer = {};
    qToLittleEndian(number, buffer.data());
    bytes->append(buffer.data(), int(buffer.size()));
}

QByteArray numberBytes(quint32 number)
{
    QByteArray bytes;
    appendNumber(&bytes, number);
    return bytes;
}

} // namespace

void AviRepairPlanner::setSource(ByteSource *source, const std::atomic<bool> *cancel)
{
    m_source = source;
    m_cancel = cancel;
}

bool AviRepairPlanner::mendsNotesOf(const QString &rule) const
{
    return rule == QLatin1String("idx1-base");
}

bool AviRepairPlanner::plansFor(const QString &rule) const
{
    return rule == QLatin1String("last-chunk-cut") || isOfIndex(rule);
}

bool AviRepairPlanner::hidesPackets(const QString &rule) const
{
    return rule == QLatin1String("movi-stale");
}

bool AviRepairPlanner::saysOpen(const std::vector<Finding> &findings) const
{
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding &finding) { return finding.rule == QLatin1String("size-open"); });
}

std::vector<StepChanges> AviRepairPlanner::plan(const std::vector<Finding> &findings)
{
    std::vector<StepChanges> steps;
    if (!m_source || !m_layout.isWalked || m_layout.isCutShort)
        return steps;
    StepChanges changes = paddingStep(findings);
    // An index stands behind that.
    if (changes.isEmpty())
        changes = indexStep(findings);
    if (!changes.isEmpty())
        steps.push_back(std::move(changes));
    return steps;
}

/// The size of the chunk in which the file ends, where it is odd, with the byte of padding that is due then.
StepChanges AviRepairPlanner::paddingStep(const std::vector<Finding> &findings) const
{
    StepChanges changes;
    const auto isCut = [](const Finding &finding) { return finding.rule == QLatin1String("last-chunk-cut"); };
    const auto damage = std::find_if(m_layout.damages.begin(), m_layout.damages.end(), [this](const AviDamage &each) {
        return each.kind == AviDamageKind::ChunkCut && each.size % 2 != 0
            && each.offset + each.size == m_layout.fileSize;
    });
    if (damage == m_layout.damages.end() || std::none_of(findings.begin(), findings.end(), isCut))
        return changes;
    changes.patches.push_back({damage->offset + 4, numberBytes(quint32(damage->size - 8))});
    changes.appended = QByteArray(1, '\0');
    // What ends with the chunk ends with its padding.
    for (quint32 list = m_layout.elementAt(damage->offset); list != AviLayout::none;
         list = m_layout.elements[list].parent) {
        const AviElement &element = m_layout.elements[list];
        const quint64 size = m_layout.fileSize + 1 - element.offset - 8;
        if (element.isList() && element.end == m_layout.fileSize && size <= 0xFFFFFFFF)
            changes.patches.push_back({element.offset + 4, numberBytes(quint32(size))});
    }
    changes.step.rules = QStringList(QStringLiteral("last-chunk-cut"));
    changes.step.repair = Repair::Append;
    changes.step.reason = QStringLiteral("The last chunk ends where the file does; a byte of padding follows");
    return changes;
}

/// The new idx1, in the room of the old one where it is as large, otherwise behind the file's last byte.
StepChanges AviRepairPlanner::indexStep(const std::vector<Finding> &findings)
{
    StepChanges changes;
    if (m_layout.segments.empty() || m_layout.packets.size() == 0)
        return changes;
    const quint32 segment = m_layout.segments.front();
    const AviElement &riff = m_layout.elements[segment];
    const quint32 movi = m_layout.child(segment, fourCC("LIST"), fourCC("movi"));
    if (movi == AviLayout::none)
        return changes;
    std::vector<KeyDoubt> doubts(PacketTable::streamLimit);
    for (const Finding &finding : findings) {
        if (!isOfIndex(finding.rule))
            continue;
        if (!changes.step.rules.contains(finding.rule))
            changes.step.rules.append(finding.rule);
        KeyDoubt &doubt = doubts[size_t(std::max(finding.stream, 0))];
        doubt.indexIsWrong = doubt.indexIsWrong || finding.rule == QLatin1String("idx1-key-flag-differs")
            || finding.rule == QLatin1String("idx1-no-key-frame");
        doubt.firstIsKey = doubt.firstIsKey || finding.rule == QLatin1String("idx1-first-not-key");
    }
    if (changes.step.rules.isEmpty())
        return changes;
    KeySources sources;
    const QByteArray index = newIndex(m_layout.elements[movi].offset + 8, doubts, &sources);
    if (index.isEmpty())
        return changes;

    const quint32 old = m_layout.child(segment, fourCC("idx1"));
    if (old != AviLayout::none && m_layout.elements[old].content().size == quint64(index.size())) {
        changes.patches.push_back({m_layout.elements[old].content().offset, index});
        changes.step.repair = Repair::Patch;
    } else {
        // Bytes can be added at the end alone.
        const quint64 padding = m_layout.fileSize % 2;
        const quint64 end = m_layout.fileSize + padding + 8 + quint64(index.size());
        const bool isLast = m_layout.segments.size() == 1 && riff.end == m_layout.fileSize;
        if (!isLast || end - riff.offset - 8 > 0xFFFFFFFF)
            return changes;
        changes.appended =
            QByteArray(int(padding), '\0') + QByteArrayLiteral("idx1") + numberBytes(quint32(index.size())) + index;
        changes.patches.push_back({riff.offset + 4, numberBytes(quint32(end - riff.offset - 8))});
        if (old != AviLayout::none)
            changes.patches.push_back({m_layout.elements[old].offset, QByteArrayLiteral("JUNK")});
        changes.step.repair = Repair::Append;
    }
    patchIndexFlag(&changes);
    changes.step.reason =
        QStringLiteral(
            "idx1 is made anew from the %1 in the first RIFF list; key flags of %2 come from an index, of %3 "
            "from the payload%4")
            .arg(countText(quint64(index.size()) / entrySize, "chunk"))
            .arg(sources.index)
            .arg(sources.payload)
            .arg(sources.guessed == 0
                     ? QString()
                     : QStringLiteral("; of %1 nothing says it, and the first frame alone is called one")
                           .arg(countText(sources.guessed, "stream")));
    return changes;
}

/// The entries for all chunks of the first RIFF list; empty where an offset does not fit into one, or reading ended.
/// `base` is where offsets count from.
QByteArray AviRepairPlanner::newIndex(quint64 base, const std::vector<KeyDoubt> &doubts, KeySources *sources)
{
    constexpr quint64 cancelInterval = 1024;
    FileDevice file;
    openForAnalysis(file, *m_source, {Level::Deep, m_cancel, nullptr});
    FrameTypes types(m_layout, file);
    const auto [begin, end] = m_layout.packetsIn(m_layout.segments.front());
    if (end - begin > quint64(std::numeric_limits<int>::max()) / entrySize)
        return {};
    m_firstFrame.assign(PacketTable::streamLimit, 0);
    m_hasKey.assign(PacketTable::streamLimit, false);
    QByteArray index;
    index.reserve(int((end - begin) * entrySize));
    for (quint64 packetIndex = begin; packetIndex < end; ++packetIndex) {
        if ((packetIndex % cancelInterval == 0 && isCancelled()) || file.hasReadError())
            return {};
        const Packet packet = m_layout.packets.at(packetIndex);
        const quint64 header = packet.offset - 8;
        if (header < base || header - base > 0xFFFFFFFF)
            return {};
        std::array<char, 4> id = {};
        file.seek(qint64(header));
        file.read(id.data(), qint64(id.size()));
        const KeyState key = packet.isPalette ? KeyState::No : keyOf(packet, types, doubts[packet.stream], sources);
        if (!packet.isPalette && !packet.isEmpty() && m_firstFrame[packet.stream] == 0)
            m_firstFrame[packet.stream] = quint32(index.size() / int(entrySize)) + 1;
        m_hasKey[packet.stream] = m_hasKey[packet.stream] || key == KeyState::Yes;
        index.append(id.data(), int(id.size()));
        appendNumber(&index, packet.isPalette ? noTimeFlag : key == KeyState::Yes ? keyFrameFlag : 0);
        appendNumber(&index, quint32(header - base));
        appendNumber(&index, packet.size);
    }
    ensureKeys(&index, sources);
    return index;
}

/// Calls the first frame of each stream that has none a key frame: readers start there in any case.
void AviRepairPlanner::ensureKeys(QByteArray *index, KeySources *sources) const
{
    for (size_t stream = 0; stream < m_layout.streams.size(); ++stream) {
        if (m_firstFrame[stream] == 0 || m_hasKey[stream])
            continue;
        index->replace(int((m_firstFrame[stream] - 1) * entrySize + sizeof(quint32)), int(sizeof keyFrameFlag),
                       numberBytes(keyFrameFlag));
        ++sources->guessed;
    }
}

/// Whether decoding can begin at the packet, by the index or the payload; no where neither says it.
KeyState AviRepairPlanner::keyOf(const Packet &packet, FrameTypes &types, const KeyDoubt &doubt, KeySources *sources)
{
    const bool isFirst = !packet.isEmpty() && m_firstFrame[packet.stream] == 0;
    const KeyState fromIndex = doubt.indexIsWrong ? KeyState::Unknown : packet.key;
    const bool asksPayload = fromIndex == KeyState::Unknown || doubt.firstIsKey;
    const KeyState told = asksPayload ? types.typeOf(packet) : KeyState::Unknown;
    if (told != KeyState::Unknown) {
        ++sources->payload;
        return told;
    }
    if (isFirst && doubt.firstIsKey) {
        ++sources->guessed;
        return KeyState::Yes;
    }
    if (packet.key == KeyState::Unknown)
        return KeyState::No;
    ++sources->index;
    return packet.key;
}

/// With an index the main header has to say so.
void AviRepairPlanner::patchIndexFlag(StepChanges *changes) const
{
    const AviRecord &header = m_layout.mainHeader;
    const quint32 flags = header.u32(flagsOffset);
    if (header.exists() && header.field(flagsOffset, 4).size == 4 && (flags & hasIndexFlag) == 0)
        changes->patches.push_back({header.field(flagsOffset, 4).offset, numberBytes(flags | hasIndexFlag)});
}

} // namespace quenlofar
