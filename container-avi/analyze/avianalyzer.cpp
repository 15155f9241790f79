#include "avianalyzer.h"

#include "avireader.h"
#include "avirules.h"
#include "bytesource.h"
#include "filedevice.h"
#include "payloadpass.h"

#include <algorithm>
#include <new>

namespace quenlofar {

namespace {

/// Where parts of a damaged file are looked for.
constexpr qint64 searchedBytes = 65536;

/// A form that stands for AVI, or differs from "AVI " in one character: variants of writers, and damage.
bool isNearAvi(quint32 form)
{
    if (form == fourCC("AVIX"))
        return true;
    int differing = 0;
    for (int shift = 0; shift < 32; shift += 8)
        differing += quint8(form >> shift) == quint8(fourCC("AVI ") >> shift) ? 0 : 1;
    return differing <= 1;
}

} // namespace

AviAnalyzer::AviAnalyzer() : m_regions(m_layout.packets), m_planner(m_layout) { }

Recognition AviAnalyzer::recognises(ByteSource &source)
{
    QByteArray bytes(int(std::clamp<qint64>(source.size(), 0, searchedBytes)), '\0');
    const qint64 came = source.readAt(0, bytes.data(), bytes.size());
    bytes.truncate(int(std::max<qint64>(came, 0)));
    const RecordView view(bytes);
    if (bytes.size() >= 12 && view.read<quint32>(0) == fourCC("RIFF") && isNearAvi(view.read<quint32>(8)))
        return Recognition::Yes;
    // A list's header, whatever its size says.
    for (auto at = bytes.indexOf("LIST"); at >= 0; at = bytes.indexOf("LIST", at + 1)) {
        const quint32 form = view.read<quint32>(size_t(at) + 8);
        if (form == fourCC("hdrl") || form == fourCC("movi"))
            return Recognition::Parts;
    }
    return Recognition::No;
}

AnalysisResult AviAnalyzer::read(ByteSource &source, const AnalysisOptions &options)
{
    AnalysisResult result;
    m_source = &source;
    m_planner.setSource(&source, options.cancel);
    m_cancel = options.cancel;
    m_progress = options.progress;
    try {
        result = readAvi(source, options, m_layout);
        fillRegions(m_layout, m_regions);
    } catch (const std::bad_alloc &) {
        m_layout.clear();
        m_layout.fileSize = quint64(std::max<qint64>(source.size(), 0));
        m_layout.isCutShort = true;
        m_regions.reset(m_layout.fileSize, 8);
        result.error.kind = FileError::Memory;
        result.error.message = QStringLiteral("not enough memory for the structure of the file");
    }
    m_result = result;
    return result;
}

/// Why the reading ended early, and where.
QString AviAnalyzer::cutShortText() const
{
    const QString why = m_result.error.kind == FileError::Memory ? QStringLiteral("for lack of memory")
        : m_result.error.kind != FileError::None                 ? QStringLiteral("by an error of reading")
        : m_result.isCancelled                                   ? QStringLiteral("by a cancel")
                                                                 : QStringLiteral("by a limit");
    return QStringLiteral("walk cut short %1, at offset %2").arg(why).arg(m_layout.readUpTo);
}

RuleList AviAnalyzer::rules() const
{
    return aviRules();
}

void *AviAnalyzer::extension(int number)
{
    return number == RepairPlanner::number ? static_cast<RepairPlanner *>(&m_planner) : nullptr;
}

bool AviAnalyzer::check(const CheckOptions &options, Findings &findings)
{
    try {
        findings.begin(aviRules(), aviCauses(), m_layout.fileSize);
        if (!m_source)
            return false;
        FileDevice bytes;
        openForAnalysis(bytes, *m_source, {options.level, m_cancel, m_progress});
        PayloadPass payload(m_layout, bytes, m_cancel);
        const AviContext context{m_layout, bytes, options, m_cancel, &payload};
        const Level level = m_layout.isWalked ? options.level : Level::Quick;
        const RuleList rules = aviRules();
        for (const AviStage stage : {AviStage::Structure, AviStage::Headers, AviStage::Comparisons, AviStage::Chunks,
                                     AviStage::Index, AviStage::Counts, AviStage::Payload}) {
            for (int ordinal = 0; ordinal < rules.size(); ++ordinal) {
                const AviRule &rule = aviRule(ordinal);
                if (rule.stage != stage || rule.rule.level > level || (rule.applies && !rule.applies(context)))
                    continue;
                if (context.isCancelled())
                    return false;
                findings.beginRule(ordinal);
                rule.check(context, findings);
            }
        }
        if (m_layout.isCutShort)
            findings.notChecked(cutShortText());
        for (const QString &text : payloadNotChecked(m_layout, level))
            findings.notChecked(text);
        if (payload.isStarted() && !payload.isComplete())
            findings.notChecked(QStringLiteral("payload not checked from offset %1 on").arg(payload.readUpTo()));
        return !context.isCancelled() && !bytes.hasReadError();
    } catch (const std::bad_alloc &) {
        return false;
    }
}

} // namespace quenlofar
