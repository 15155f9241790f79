#include "repairplan.h"

#include "fileanalysis.h"
#include "filepath.h"
#include "patchset.h"
#include "recipesource.h"
#include "repairplanner.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <memory>
#include <utility>

#include <sys/stat.h>

namespace quenlofar {

namespace {

/// Each round mends what could be told only after the one before.
constexpr int mostRounds = 20;

/// A file as it would be after some steps, read and judged.
struct State
{
    PatchSet patches;
    std::vector<RecipeStep> steps;
    std::unique_ptr<FileAnalysis> analysis;
    FileCheck check;
};

/// The planner of the plug-in; null where it has none.
RepairPlanner *plannerOf(const State &state)
{
    return static_cast<RepairPlanner *>(state.analysis->analyzer()->extension(RepairPlanner::number));
}

/// The bytes of a packet with its padding, which may have been taken for data.
quint64 padded(quint32 size)
{
    return quint64(size) + size % 2;
}

/// Whether a stream lacks packets that it had before, by their sizes and their order: others may stand between them,
/// and where a size was wrong a packet may have become longer.
bool hidesPackets(const State &before, const State &after)
{
    const PacketTable &old = before.analysis->analyzer()->packets();
    const PacketTable &now = after.analysis->analyzer()->packets();
    for (int stream = 0; stream < old.streamCount(); ++stream) {
        const PacketTotals totals = stream < now.streamCount() ? now.totals(stream) : PacketTotals();
        if (totals.count < old.totals(stream).count
            || totals.bytes + totals.count < old.totals(stream).bytes // a byte of padding each
            || totals.palettes < old.totals(stream).palettes)
            return true;
    }
    std::vector<quint64> next(PacketTable::streamLimit, 0); // numbers behind the packets that were found, by stream
    for (quint64 index = 0; index < old.size(); ++index) {
        const Packet packet = old.at(index);
        if (packet.isPalette)
            continue;
        const quint64 count = now.totals(packet.stream).count;
        quint64 &number = next[packet.stream];
        while (number < count && padded(now.at(now.indexOf(packet.stream, number)).size) < packet.size)
            ++number;
        if (number++ >= count)
            return true;
    }
    return false;
}

/// Findings of one rule in one stream, whatever causes them.
using FindingKey = std::pair<QString, int>;
struct FindingSum
{
    quint64 count = 0;
    Severity severity = Severity::Note; // the worst
};

std::map<FindingKey, FindingSum> sums(const FileCheck &check)
{
    std::map<FindingKey, FindingSum> all;
    for (const JudgedFinding &finding : check.findings) {
        FindingSum &sum = all[{finding.rule, finding.stream}];
        sum.count += finding.count;
        sum.severity = std::max(sum.severity, finding.severity);
    }
    return all;
}

/// The ids of the findings of `before` that are gone.
std::vector<int> clearedBy(const FileCheck &before, const FileCheck &after)
{
    std::vector<int> cleared;
    const std::map<FindingKey, FindingSum> left = sums(after);
    for (const JudgedFinding &finding : before.findings) {
        if (left.find({finding.rule, finding.stream}) == left.end())
            cleared.push_back(finding.id);
    }
    return cleared;
}

QByteArray bytesOf(quint64 number, int width)
{
    QByteArray bytes(width, '\0');
    for (int at = 0; at < width; ++at)
        bytes[at] = char(quint8(number >> (8 * at)));
    return bytes;
}

/// Whether a check found something that none of the others has, or that is less severe there.
bool hasAnythingElse(const FileCheck &check, std::initializer_list<const FileCheck *> others)
{
    std::map<FindingKey, FindingSum> known;
    for (const FileCheck *const other : others) {
        for (const auto &[key, sum] : sums(*other)) {
            FindingSum &worst = known[key];
            worst.severity = std::max(worst.severity, sum.severity);
            worst.count += sum.count;
        }
    }
    if (!check.result.isClean())
        return true;
    const std::map<FindingKey, FindingSum> now = sums(check);
    return std::any_of(now.begin(), now.end(), [&known](const auto &each) {
        const auto found = known.find(each.first);
        return found == known.end() || found->second.severity < each.second.severity;
    });
}

class Planning
{
public:
    Planning(const QString &path, const QVector<ParserFactory> &parsers, const RepairSettings &settings,
             const RunLimits &limits, const std::atomic<bool> *cancel, WalkProgress *progress)
        : m_path(path), m_parsers(parsers), m_settings(settings), m_limits(limits), m_cancel(cancel),
          m_progress(progress), m_level(settings.level)
    {
    }

    RepairPlan plan();
    RepairPlan judged(const Recipe &recipe) const;

private:
    State look(PatchSet patches, std::vector<RecipeStep> steps) const;
    FileCheck checkOf(FileAnalysis *analysis, const SourceOpener &opener) const;
    std::unique_ptr<ByteSource> openOriginal(QString *error) const;
    std::unique_ptr<ByteSource> open(const PatchSet &patches, const std::vector<RecipeStep> &steps,
                                     QString *error) const;
    bool isAskedFor(const Finding &finding, const RepairPlanner *planner) const;
    bool openLike(QString *error);
    std::vector<Finding> toMend(const State &state) const;
    std::vector<StepChanges> stepsFor(const State &state) const;
    std::vector<StepChanges> mendSteps(const State &state, const std::vector<Finding> &findings) const;
    StepChanges mendStep(ByteSource &source, const std::vector<const Finding *> &findings) const;
    bool add(const StepChanges &changes, PatchSet *patches, std::vector<RecipeStep> *steps) const;
    State with(const State &state, const std::vector<StepChanges> &changes) const;
    QString objection(const State &before, const State &after, const std::vector<StepChanges> &changes) const;
    QString tryAll(State *state, const std::vector<StepChanges> &changes) const;
    bool needsData(const State &state) const;
    void mend(State *state, RepairPlan *plan);
    bool isCancelled() const { return m_cancel && m_cancel->load(std::memory_order_relaxed); }

    const QString m_path;
    const QVector<ParserFactory> &m_parsers;
    const RepairSettings &m_settings;
    const RunLimits m_limits;
    const std::atomic<bool> *const m_cancel;
    WalkProgress *const m_progress;
    Level m_level; // at which files are judged now
    QStringList m_hopeless; // rules whose steps were tried and did not help
    std::unique_ptr<ByteSource> m_like;
    RepairWishes m_wishes;
};

std::unique_ptr<ByteSource> Planning::openOriginal(QString *error) const
{
    return m_settings.opener ? m_settings.opener(m_path, error) : openFileSource(m_path, error);
}

/// The file with changes.
std::unique_ptr<ByteSource> Planning::open(const PatchSet &patches, const std::vector<RecipeStep> &steps,
                                           QString *error) const
{
    std::unique_ptr<ByteSource> source = openOriginal(error);
    if (!source || steps.empty())
        return source;
    return std::make_unique<RecipeSource>(patches.recipe(steps), std::move(source));
}

/// Reads what `opener` opens, and has it judged.
FileCheck Planning::checkOf(FileAnalysis *analysis, const SourceOpener &opener) const
{
    analysis->setOpener(opener);
    analysis->read(m_path, m_parsers, m_level);
    analysis->setOpener({}); // what it refers to may be about to move
    CheckSettings settings;
    settings.level = m_level;
    return judge(*analysis, settings);
}

State Planning::look(PatchSet patches, std::vector<RecipeStep> steps) const
{
    State state{
        std::move(patches), std::move(steps), std::make_unique<FileAnalysis>(m_limits, m_cancel, m_progress), {}};
    state.check = checkOf(state.analysis.get(), [this, &state](const QString &, QString *error) {
        return open(state.patches, state.steps, error);
    });
    return state;
}

bool Planning::isAskedFor(const Finding &finding, const RepairPlanner *planner) const
{
    if (m_settings.except.contains(finding.rule) || m_hopeless.contains(finding.rule))
        return false;
    if (!m_settings.only.isEmpty())
        return m_settings.only.contains(finding.rule);
    return finding.severity != Severity::Note || (planner && planner->mendsNotesOf(finding.rule, m_wishes));
}

/// Findings that are to be mended and can be. What hangs below a finding that stays is left alone: had the damage at
/// the top not happened it would be right, and it may still be right of what was lost.
std::vector<Finding> Planning::toMend(const State &state) const
{
    const RepairPlanner *const planner = plannerOf(state);
    const std::vector<JudgedFinding> &findings = state.check.findings;
    std::vector<bool> isHopeful(findings.size() + 1); // by id
    isHopeful[0] = true;
    std::vector<Finding> chosen;
    for (const JudgedFinding &finding : findings) {
        const bool isAsked = isAskedFor(finding, planner);
        const bool isMendable =
            isAsked && (!finding.mends.empty() || (planner && planner->plansFor(finding, m_wishes)));
        const bool isHopefulCause = isHopeful[size_t(finding.causedBy)];
        isHopeful[size_t(finding.id)] = isHopefulCause && isMendable;
        if (isMendable && isHopefulCause)
            chosen.push_back(finding);
    }
    return chosen;
}

/// What mends findings of one rule, as the rule says it.
StepChanges Planning::mendStep(ByteSource &source, const std::vector<const Finding *> &findings) const
{
    StepChanges changes;
    changes.step.rules = QStringList(findings.front()->rule);
    changes.step.repair = Repair::Patch;
    changes.step.reason = findings.front()->message;
    if (changes.step.reason.endsWith(QLatin1Char('.')))
        changes.step.reason.chop(1);
    for (const Finding *const finding : findings) {
        for (const Mend &mend : finding->mends) {
            QByteArray old(mend.width, '\0');
            if (source.readAt(qint64(mend.offset), old.data(), old.size()) != old.size())
                continue;
            quint64 value = 0;
            for (int at = 0; at < mend.width; ++at)
                value |= quint64(quint8(old[at])) << (8 * at);
            changes.patches.push_back(
                {mend.offset, bytesOf((value & ~mend.mask) | (mend.bytes & mend.mask), mend.width)});
        }
    }
    return changes;
}

std::vector<StepChanges> Planning::mendSteps(const State &state, const std::vector<Finding> &findings) const
{
    std::vector<StepChanges> steps;
    QString error;
    const std::unique_ptr<ByteSource> source = open(state.patches, state.steps, &error);
    if (!source)
        return steps;
    std::vector<QString> rules; // in the order of the findings
    std::map<QString, std::vector<const Finding *>> byRule;
    for (const Finding &finding : findings) {
        if (finding.mends.empty())
            continue;
        std::vector<const Finding *> &all = byRule[finding.rule];
        if (all.empty())
            rules.push_back(finding.rule);
        all.push_back(&finding);
    }
    for (const QString &rule : rules)
        steps.push_back(mendStep(*source, byRule[rule]));
    return steps;
}

/// What may help next: what rules say themselves first, because a planner builds on what is right by then.
std::vector<StepChanges> Planning::stepsFor(const State &state) const
{
    const std::vector<Finding> findings = toMend(state);
    std::vector<StepChanges> steps = mendSteps(state, findings);
    RepairPlanner *const planner = plannerOf(state);
    if (steps.empty() && planner)
        steps = planner->plan(findings, m_wishes);
    steps.erase(std::remove_if(steps.begin(), steps.end(), [](const StepChanges &each) { return each.isEmpty(); }),
                steps.end());
    return steps;
}

/// Adds a step. False where the file cannot be read.
bool Planning::add(const StepChanges &changes, PatchSet *patches, std::vector<RecipeStep> *steps) const
{
    QString error;
    const std::unique_ptr<ByteSource> current = open(*patches, *steps, &error);
    if (!current)
        return false;
    const auto number = quint32(steps->size());
    steps->push_back(changes.step);
    if (!changes.layout.isEmpty())
        return patches->rearrange(changes.layout, number);
    for (const StepChanges::Patch &patch : changes.patches) {
        if (!patches->replace(patch.offset, patch.bytes, number, *current))
            return false;
    }
    patches->append(changes.appended, number);
    return true;
}

State Planning::with(const State &state, const std::vector<StepChanges> &changes) const
{
    PatchSet patches = state.patches;
    std::vector<RecipeStep> steps = state.steps;
    for (const StepChanges &each : changes)
        add(each, &patches, &steps);
    return look(std::move(patches), std::move(steps));
}

/// Why the changes are no good: null where each clears something and none brings anything as bad.
QString Planning::objection(const State &before, const State &after, const std::vector<StepChanges> &changes) const
{
    if (!after.check.result.isClean())
        return QStringLiteral("the file could not be read with it");
    if (!after.patches.recipe(after.steps).lostBytes().empty())
        return QStringLiteral("bytes would be lost with it");
    const RepairPlanner *const planner = plannerOf(before);
    const bool mayHide = std::any_of(changes.begin(), changes.end(), [planner](const StepChanges &each) {
        return planner && std::any_of(each.step.rules.begin(), each.step.rules.end(), [planner](const QString &rule) {
                   return planner->hidesPackets(rule);
               });
    });
    if (!after.analysis->analyzer() || (!mayHide && hidesPackets(before, after)))
        return QStringLiteral("readers would not find all data with it");
    const std::map<FindingKey, FindingSum> old = sums(before.check);
    const std::map<FindingKey, FindingSum> now = sums(after.check);
    Severity least = Severity::Error; // of what was cleared
    for (const StepChanges &each : changes) {
        bool helps = false;
        for (const auto &[key, sum] : old) {
            if (!each.step.rules.contains(key.first))
                continue;
            const auto left = now.find(key);
            if (left != now.end() && left->second.count >= sum.count && left->second.severity >= sum.severity)
                continue;
            helps = true;
            least = std::min(least, sum.severity);
        }
        if (!helps)
            return QStringLiteral("it clears nothing");
    }
    for (const auto &[key, sum] : now) {
        const auto known = old.find(key);
        const bool isNew = known == old.end() || known->second.severity < sum.severity;
        const QString &rule = key.first;
        if (isNew && std::any_of(changes.begin(), changes.end(), [&rule](const StepChanges &each) {
                return each.contradictedBy.contains(rule);
            }))
            return QStringLiteral("the data contradicts it: %1").arg(rule);
        if (isNew && sum.severity >= least)
            return QStringLiteral("it would bring %1").arg(key.first);
    }
    if (after.check.counts.error > before.check.counts.error)
        return QStringLiteral("it would bring more errors than it clears");
    return {};
}

/// Takes the changes, alone or with those that follow from them; null, or why not.
QString Planning::tryAll(State *state, const std::vector<StepChanges> &changes) const
{
    State tried = with(*state, changes);
    QString reason = objection(*state, tried, changes);
    if (!reason.isNull() && tried.analysis->analyzer() && tried.check.result.isClean() && !isCancelled()) {
        // Where sizes are right, an index may be wrong that could be read before: it is mended at once.
        tried = with(tried, stepsFor(tried));
        if (!objection(*state, tried, changes).isNull())
            return reason;
    } else if (!reason.isNull()) {
        return reason;
    }
    *state = std::move(tried);
    return {};
}

/// False, and why, where a file is named that cannot be read.
bool Planning::openLike(QString *error)
{
    m_wishes.rewrites = m_settings.rewrites;
    m_wishes.cutsTrailing = m_settings.cutsTrailing;
    if (m_settings.like.isNull())
        return true;
    m_like = m_settings.opener ? m_settings.opener(m_settings.like, error) : openFileSource(m_settings.like, error);
    m_wishes.like = m_like.get();
    return m_like != nullptr;
}

RepairPlan Planning::plan()
{
    RepairPlan plan;
    if (!openLike(&plan.error)) {
        plan.error = m_settings.like + QStringLiteral(": ") + plan.error;
        return plan;
    }
    State state = look(PatchSet(0), {});
    plan.before = state.check;
    plan.after = state.check;
    if (!state.analysis->analyzer() || !state.check.result.isClean())
        return plan;
    if (const auto *const planner = plannerOf(state))
        plan.isOpen = planner->saysOpen({state.check.findings.begin(), state.check.findings.end()});
    // Steps leave data as they are: where none comes from the data they are tried without reading all of it.
    if (!needsData(state)) {
        m_level = std::min(m_level, Level::Default);
        state = look(PatchSet(0), {});
    }
    state.patches = PatchSet(quint64(state.check.start.fileSize));
    mend(&state, &plan);
    if (m_level != m_settings.level && !state.steps.empty() && !isCancelled()) {
        m_level = m_settings.level;
        State whole = look(std::move(state.patches), std::move(state.steps));
        if (hasAnythingElse(whole.check, {&plan.before, &state.check})) {
            plan.omitted.clear();
            m_hopeless.clear();
            whole = look(PatchSet(0), {});
            whole.patches = PatchSet(quint64(whole.check.start.fileSize));
        }
        mend(&whole, &plan); // what the data says only now
        state = std::move(whole);
    }
    if (isCancelled()) {
        plan.after.result.cancelled = true;
        return plan;
    }
    for (RecipeStep &step : state.steps) {
        for (const JudgedFinding &finding : plan.before.findings) {
            if (step.rules.contains(finding.rule))
                step.findings.push_back(quint32(finding.id));
        }
    }
    plan.recipe = state.patches.recipe(state.steps);
    if (!plan.isEmpty()) {
        plan.cleared = clearedBy(plan.before, state.check);
        plan.after = std::move(state.check);
    }
    return plan;
}

/// Whether steps have to be tried at the level that was asked for: one may be made for what the data says, or the data
/// may contradict it.
bool Planning::needsData(const State &state) const
{
    if (m_settings.level != Level::Deep || m_like)
        return true;
    const std::vector<Finding> findings = toMend(state);
    const RuleList rules = state.analysis->analyzer()->rules();
    return std::any_of(findings.begin(), findings.end(), [&rules](const Finding &finding) {
        const int ordinal = rules.find(finding.rule);
        return ordinal < 0 || rules[ordinal].level == Level::Deep;
    });
}

/// Makes steps until nothing more can be done.
void Planning::mend(State *state, RepairPlan *plan)
{
    bool hasHelped = false; // some step, since all were thought of
    for (int round = 0; round < mostRounds && !isCancelled(); ++round) {
        const std::vector<StepChanges> changes = stepsFor(*state);
        if (changes.empty() && hasHelped && !m_hopeless.isEmpty()) {
            // What did not help before the others may help behind them.
            m_hopeless.clear();
            plan->omitted.clear();
            hasHelped = false;
            continue;
        }
        if (changes.empty())
            break;
        if (tryAll(state, changes).isNull()) {
            hasHelped = true;
            continue;
        }
        // One after the other; what fails beside one that helps may help with it.
        bool helped = false;
        std::vector<OmittedStep> failed;
        for (const StepChanges &each : changes) {
            if (isCancelled())
                break;
            const QString reason = tryAll(state, {each});
            if (reason.isNull())
                helped = true;
            else
                failed.push_back({each.step, reason});
        }
        for (const OmittedStep &each : failed) {
            if (helped)
                break;
            m_hopeless += each.step.rules;
            plan->omitted.push_back(each);
        }
        hasHelped = hasHelped || helped;
    }
}

RepairPlan Planning::judged(const Recipe &recipe) const
{
    RepairPlan plan;
    plan.recipe = recipe;
    FileAnalysis analysis(m_limits, m_cancel, m_progress);
    plan.before = checkOf(&analysis, [this](const QString &, QString *error) { return openOriginal(error); });
    plan.after = checkOf(&analysis, [this, &recipe](const QString &, QString *error) -> std::unique_ptr<ByteSource> {
        std::unique_ptr<ByteSource> source = openOriginal(error);
        return source ? std::make_unique<RecipeSource>(recipe, std::move(source)) : nullptr;
    });
    plan.cleared = clearedBy(plan.before, plan.after);
    return plan;
}

} // namespace

bool mayStillBeWritten(const RepairPlan &plan, const QString &path)
{
    constexpr qint64 stillWritten = 60; // seconds
    struct stat facts = {};
    const bool isKnown = ::stat(pathToBytes(path).constData(), &facts) == 0;
    return plan.isOpen && isKnown && std::time(nullptr) - facts.st_mtim.tv_sec < stillWritten;
}

RepairPlan judgeRecipe(const QString &path, const Recipe &recipe, const QVector<ParserFactory> &parsers,
                       const RepairSettings &settings, const RunLimits &limits, const std::atomic<bool> *cancel,
                       WalkProgress *progress)
{
    return Planning(path, parsers, settings, limits, cancel, progress).judged(recipe);
}

RepairPlan planRepair(const QString &path, const QVector<ParserFactory> &parsers, const RepairSettings &settings,
                      const RunLimits &limits, const std::atomic<bool> *cancel, WalkProgress *progress)
{
    return Planning(path, parsers, settings, limits, cancel, progress).plan();
}

} // namespace quenlofar
