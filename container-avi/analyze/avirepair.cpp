#include "avirepair.h"

#include "aviids.h"
#include "aviindexbytes.h"
#include "avikeyflags.h"
#include "avilike.h"
#include "avipartindexes.h"
#include "avirewrite.h"
#include "avitexts.h"
#include "containeranalyzer.h"
#include "filedevice.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>

namespace quenlofar {

namespace {

// AVIMAINHEADER
constexpr quint32 flagsOffset = 12; // of dwFlags
constexpr quint32 hasIndexFlag = 0x00000010; // AVIF_HASINDEX

/// Rules whose findings go away with an idx1 that has each chunk of the first RIFF list once, in order.
constexpr QStringView legacyRules[] = {
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

/// Rules whose findings go away with OpenDML indexes of all parts.
constexpr QStringView partRules[] = {
    u"dmlh-missing",           u"index-type",
    u"super-no-such-index",    u"std-no-such-chunk",
    u"std-base-beyond-file",   u"index-stream-differs",
    u"odml-chunk-not-indexed", u"avix-without-indx",
    u"indexes-differ",         u"std-span",
};

/// Rules whose findings go away when the file is put together anew.
constexpr QStringView rewriteRules[] = {
    u"size-open",           u"size-wrapped",    u"foreign-bytes",  u"zero-bytes",           u"pad-missing",
    u"list-order",          u"avih-not-first",  u"riff-over-2gib", u"first-riff-over-1gib", u"ix-outside-movi",
    u"interleave-distance", u"mp3-format-size",
};

/// Rules about bytes behind the last RIFF list.
constexpr QStringView trailingRules[] = {u"trailing-zeros", u"trailing-bytes"};

template <size_t Count> bool isOneOf(const QStringView (&rules)[Count], const QString &rule)
{
    return std::find(std::begin(rules), std::end(rules), QStringView(rule)) != std::end(rules);
}

/// Adds the rules of findings that are among `rules` to those of a step. False where there are none.
template <size_t Count>
bool takeRules(const QStringView (&rules)[Count], const std::vector<Finding> &findings, QStringList *taken)
{
    bool found = false;
    for (const Finding &finding : findings) {
        if (!isOneOf(rules, finding.rule))
            continue;
        found = true;
        if (!taken->contains(finding.rule))
            taken->append(finding.rule);
    }
    return found;
}

bool hasRule(const std::vector<Finding> &findings, QStringView rule)
{
    return std::any_of(findings.begin(), findings.end(),
                       [rule](const Finding &finding) { return QStringView(finding.rule) == rule; });
}

} // namespace

void AviRepairPlanner::setSource(ByteSource *source, const std::atomic<bool> *cancel)
{
    m_source = source;
    m_cancel = cancel;
}

bool AviRepairPlanner::mendsNotesOf(const QString &rule, const RepairWishes &wishes) const
{
    return rule == QLatin1String("idx1-base") || (wishes.rewrites && isOneOf(rewriteRules, rule))
        || (wishes.cutsTrailing && isOneOf(trailingRules, rule));
}

bool AviRepairPlanner::plansFor(const Finding &finding, const RepairWishes &wishes) const
{
    const QString &rule = finding.rule;
    if (isOneOf(rewriteRules, rule))
        return wishes.rewrites || finding.severity == Severity::Error;
    if (isOneOf(trailingRules, rule))
        return wishes.cutsTrailing;
    if (rule == QLatin1String("hdrl-missing"))
        return wishes.like != nullptr;
    return rule == QLatin1String("last-chunk-cut") || isOneOf(legacyRules, rule) || isOneOf(partRules, rule);
}

bool AviRepairPlanner::hidesPackets(const QString &rule) const
{
    return rule == QLatin1String("movi-stale");
}

bool AviRepairPlanner::saysOpen(const std::vector<Finding> &findings) const
{
    return hasRule(findings, u"size-open");
}

std::vector<StepChanges> AviRepairPlanner::plan(const std::vector<Finding> &findings, const RepairWishes &wishes)
{
    std::vector<StepChanges> steps;
    if (!m_source || !m_layout.isWalked || m_layout.isCutShort)
        return steps;
    // One after the other: each builds on those before, and an index stands behind all.
    StepChanges changes = headersStep(findings, wishes);
    if (changes.isEmpty())
        changes = cutStep(findings, wishes);
    if (changes.isEmpty())
        changes = paddingStep(findings);
    if (changes.isEmpty())
        changes = partIndexesStep(findings);
    if (changes.isEmpty())
        changes = rewriteStep(findings, wishes);
    if (changes.isEmpty())
        changes = indexStep(findings);
    if (!changes.isEmpty())
        steps.push_back(std::move(changes));
    return steps;
}

/// The headers of a like file, where there are none.
StepChanges AviRepairPlanner::headersStep(const std::vector<Finding> &findings, const RepairWishes &wishes) const
{
    StepChanges changes;
    if (!wishes.like || !hasRule(findings, u"hdrl-missing"))
        return changes;
    changes.layout = withHeadersOf(*wishes.like, m_layout, m_cancel);
    changes.step.rules = QStringList(QStringLiteral("hdrl-missing"));
    changes.step.repair = Repair::Rewrite;
    changes.step.reason = QStringLiteral("The headers come from the file that was named as like this one");
    changes.contradictedBy = rulesAgainstHeaders();
    return changes;
}

/// Bytes behind the last RIFF list are left out, where that was asked for.
StepChanges AviRepairPlanner::cutStep(const std::vector<Finding> &findings, const RepairWishes &wishes) const
{
    StepChanges changes;
    const ByteRange &trailing = m_layout.trailing;
    if (!wishes.cutsTrailing || trailing.size == 0 || !takeRules(trailingRules, findings, &changes.step.rules))
        return changes;
    changes.layout.copy({0, trailing.offset});
    changes.layout.dropped.push_back(trailing);
    changes.step.repair = Repair::Rewrite;
    changes.step.reason = QStringLiteral("%1 behind the last RIFF list %2 left out, as was asked for")
                              .arg(bytesText(trailing.size), QLatin1String(trailing.size == 1 ? "is" : "are"));
    return changes;
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

/// OpenDML indexes made anew in their room.
StepChanges AviRepairPlanner::partIndexesStep(const std::vector<Finding> &findings) const
{
    QStringList rules;
    if (!takeRules(partRules, findings, &rules))
        return {};
    FileDevice file;
    openForAnalysis(file, *m_source, {Level::Deep, m_cancel, nullptr});
    AviKeyFlags keys(m_layout, findings);
    if (!keys.read(file, 0, m_layout.packets.size(), m_cancel))
        return {};
    StepChanges changes = AviPartIndexes(m_layout, file, keys).make(rules.contains(QStringLiteral("indexes-differ")));
    changes.step.rules = rules;
    changes.step.reason = QStringLiteral("OpenDML indexes are made anew from the %1 of %2; %3")
                              .arg(countText(m_layout.packets.size(), "chunk"),
                                   countText(m_layout.segments.size(), "RIFF list"), keys.sourcesText());
    return changes;
}

/// The whole file, put together anew.
StepChanges AviRepairPlanner::rewriteStep(const std::vector<Finding> &findings, const RepairWishes &wishes) const
{
    StepChanges changes;
    const bool isForIndexes =
        wishes.rewrites || std::any_of(findings.begin(), findings.end(), [](const Finding &finding) {
            return isOneOf(partRules, finding.rule) && finding.severity == Severity::Error;
        });
    takeRules(rewriteRules, findings, &changes.step.rules);
    if (isForIndexes)
        takeRules(partRules, findings, &changes.step.rules);
    if (changes.step.rules.isEmpty())
        return changes;
    FileDevice file;
    openForAnalysis(file, *m_source, {Level::Deep, m_cancel, nullptr});
    AviKeyFlags keys(m_layout, findings);
    if (!keys.read(file, 0, m_layout.packets.size(), m_cancel))
        return changes;
    AviRewriteChoice choice;
    choice.interleaves = changes.step.rules.contains(QStringLiteral("interleave-distance"));
    choice.extendsMp3 = changes.step.rules.contains(QStringLiteral("mp3-format-size"));
    AviRewrite rewrite(m_layout, file, keys, choice);
    changes.layout = rewrite.make(m_cancel);
    changes.step.repair = Repair::Rewrite;
    changes.step.reason =
        QStringLiteral("The file is put together anew, in %1: %2 with their padding%3, and indexes of "
                       "all of them; %4")
            .arg(countText(quint64(rewrite.segments()), "RIFF list"), countText(m_layout.packets.size(), "chunk"),
                 choice.interleaves ? QStringLiteral(" in the order of their times") : QString(), keys.sourcesText());
    return changes;
}

/// The new idx1, in the room of the old one where it is as large, otherwise behind the file's last byte.
StepChanges AviRepairPlanner::indexStep(const std::vector<Finding> &findings) const
{
    StepChanges changes;
    if (m_layout.segments.empty() || m_layout.packets.size() == 0)
        return changes;
    const quint32 segment = m_layout.segments.front();
    const AviElement &riff = m_layout.elements[segment];
    const quint32 movi = m_layout.child(segment, fourCC("LIST"), fourCC("movi"));
    if (movi == AviLayout::none || !takeRules(legacyRules, findings, &changes.step.rules))
        return changes;
    AviKeyFlags keys(m_layout, findings);
    const QByteArray index = newIndex(m_layout.elements[movi].offset + 8, &keys);
    if (index.isEmpty())
        return changes;

    const quint32 old = m_layout.child(segment, fourCC("idx1"));
    const quint32 renamed = old == AviLayout::none ? renamedIndex(movi, index) : AviLayout::none;
    if (renamed != AviLayout::none) {
        changes.patches.push_back({m_layout.elements[renamed].offset, QByteArrayLiteral("idx1")});
        changes.step.repair = Repair::Patch;
        patchIndexFlag(&changes);
        changes.step.reason = QStringLiteral("The chunk \"%1\" behind movi has the entries of idx1, and gets its name")
                                  .arg(idText(m_layout.elements[renamed].id));
        return changes;
    }
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
    changes.step.reason = QStringLiteral("idx1 is made anew from the %1 in the first RIFF list; %2")
                              .arg(countText(quint64(index.size()) / legacyEntrySize, "chunk"), keys.sourcesText());
    return changes;
}

/// The chunk behind `movi` that has the entries of `index`, whatever it says of key frames and wherever its offsets
/// count from: its name was changed. AviLayout::none without one.
quint32 AviRepairPlanner::renamedIndex(quint32 movi, const QByteArray &index) const
{
    constexpr int idSize = 4;
    constexpr int sizeOffset = 12; // of dwSize
    FileDevice file;
    openForAnalysis(file, *m_source, {Level::Deep, m_cancel, nullptr});
    for (quint32 each = m_layout.nextSibling(movi); each != AviLayout::none; each = m_layout.nextSibling(each)) {
        const AviElement &element = m_layout.elements[each];
        if (element.isList() || element.content().size != quint64(index.size()))
            continue;
        file.seek(qint64(element.content().offset));
        const QByteArray entries = file.read(index.size());
        bool isLike = entries.size() == index.size();
        for (int at = 0; isLike && at < index.size(); at += int(legacyEntrySize)) {
            const char *const entry = entries.constData() + at;
            isLike = std::equal(entry, entry + idSize, index.constData() + at)
                && std::equal(entry + sizeOffset, entry + legacyEntrySize, index.constData() + at + sizeOffset);
        }
        if (isLike)
            return each;
    }
    return AviLayout::none;
}

/// The entries for all chunks of the first RIFF list; empty where an offset does not fit into one, or reading ended.
/// `base` is where offsets count from.
QByteArray AviRepairPlanner::newIndex(quint64 base, AviKeyFlags *keys) const
{
    constexpr quint64 cancelInterval = 1024;
    FileDevice file;
    openForAnalysis(file, *m_source, {Level::Deep, m_cancel, nullptr});
    const auto [begin, end] = m_layout.packetsIn(m_layout.segments.front());
    if (end - begin > quint64(std::numeric_limits<int>::max()) / legacyEntrySize
        || !keys->read(file, begin, end, m_cancel))
        return {};
    QByteArray index;
    index.reserve(int((end - begin) * legacyEntrySize));
    for (quint64 each = begin; each < end; ++each) {
        if ((each % cancelInterval == 0 && isCancelled()) || file.hasReadError())
            return {};
        const Packet packet = m_layout.packets.at(each);
        const quint64 header = packet.offset - 8;
        if (header < base || header - base > 0xFFFFFFFF)
            return {};
        std::array<char, 4> id = {};
        file.seek(qint64(header));
        file.read(id.data(), qint64(id.size()));
        const quint32 flags = packet.isPalette ? legacyNoTimeFlag : keys->isKey(each) ? legacyKeyFrameFlag : 0;
        appendLegacyEntry(&index, qFromLittleEndian<quint32>(id.data()), flags, quint32(header - base), packet.size);
    }
    return index;
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
