#include "finding.h"

#include <algorithm>
#include <map>
#include <utility>

namespace quenlofar {

namespace {

constexpr size_t noCause = ~size_t(0);

/// A finding that is still being counted.
struct Entry
{
    Finding finding;
    size_t cause = noCause; // ordinal of the entry
    // Of what is counted already, and of the latest occurrence, about which a draft may still say more.
    bool isCounted = false;
    Severity worst = Severity::Note;
    Severity latest = Severity::Note;
    Confidence least = Confidence::Certain;
    Confidence latestConfidence = Confidence::Certain;
    // What it explains, where its rule explains anything.
    std::vector<ByteRange> ranges;
    bool rangesAreSorted = true;
    bool explainsAllStreams = false;

    void settleLatest()
    {
        worst = isCounted ? std::max(worst, latest) : latest;
        least = std::min(least, latestConfidence);
        isCounted = true;
    }
};

/// An earlier finding that may explain those of the current rule.
struct Candidate
{
    size_t entry;
    CauseScope scope;
};

void addRange(Entry &entry, const ByteRange &range)
{
    // What is found side by side, as a rule in the order of the file, is one range.
    if (!entry.ranges.empty()) {
        ByteRange &last = entry.ranges.back();
        if (range.offset >= last.offset && range.offset <= last.end()) {
            last.size = std::max(last.end(), range.end()) - last.offset;
            return;
        }
        entry.rangesAreSorted = entry.rangesAreSorted && range.offset > last.offset;
    }
    entry.ranges.push_back(range);
}

/// Ascending and without overlaps, so that the ends ascend too.
void sortRanges(Entry &entry)
{
    if (entry.rangesAreSorted)
        return;
    std::sort(entry.ranges.begin(), entry.ranges.end(),
              [](const ByteRange &a, const ByteRange &b) { return a.offset < b.offset; });
    std::vector<ByteRange> ranges;
    ranges.swap(entry.ranges);
    entry.rangesAreSorted = true;
    for (const ByteRange &range : ranges)
        addRange(entry, range);
}

/// Whether one of the sorted ranges shares a byte with `range`.
bool holds(const std::vector<ByteRange> &ranges, const ByteRange &range)
{
    const auto first = std::partition_point(ranges.begin(), ranges.end(),
                                            [&range](const ByteRange &each) { return each.end() <= range.offset; });
    return first != ranges.end() && first->offset < range.end();
}

} // namespace

class Findings::Private
{
public:
    bool explains(const Candidate &candidate, const Occurrence &occurrence) const;
    size_t causeOf(const Occurrence &occurrence) const;
    void settle();
    ByteRange clipped(const ByteRange &place) const;

    RuleList rules;
    CauseRows causes;
    quint64 fileSize = 0;

    int rule = -1; // the current one,
    bool ruleIsCause = false; // whether it explains any other,
    std::vector<Candidate> candidates; // what may explain its findings, in their order,
    std::map<std::pair<int, size_t>, size_t> current; // and its findings by stream and cause
    size_t firstCurrent = 0; // ordinal of its first finding

    std::vector<Entry> entries;
    std::vector<Finding> list; // of the entries, settled
    std::vector<RuleState> states;
    QStringList notChecked;
};

Findings::Findings() : d(std::make_unique<Private>()) { }

Findings::~Findings() = default;

void Findings::begin(const RuleList &rules, const CauseRows &causes, quint64 fileSize)
{
    *d = Private();
    d->rules = rules;
    d->causes = causes;
    d->fileSize = fileSize;
    d->states.assign(size_t(rules.size()), RuleState::NotApplicable);
}

void Findings::beginRule(int ordinal)
{
    d->settle();
    d->rule = ordinal;
    d->current.clear();
    d->firstCurrent = d->entries.size();
    d->states[size_t(ordinal)] = RuleState::Passed;

    const auto namesHave = [](const RuleNames &names, QStringView name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    const QStringView name = d->rules[ordinal].name;
    d->ruleIsCause = false;
    d->candidates.clear();
    for (const CauseRow &row : d->causes) {
        d->ruleIsCause = d->ruleIsCause || namesHave(row.causes, name);
        if (!namesHave(row.effects, name))
            continue;
        for (size_t entry = 0; entry < d->entries.size(); ++entry) {
            const QString &cause = d->entries[entry].finding.rule;
            if (cause != name && namesHave(row.causes, cause)) {
                sortRanges(d->entries[entry]);
                d->candidates.push_back({entry, row.scope});
            }
        }
    }
    std::stable_sort(d->candidates.begin(), d->candidates.end(),
                     [](const Candidate &a, const Candidate &b) { return a.entry < b.entry; });
}

bool Findings::Private::explains(const Candidate &candidate, const Occurrence &occurrence) const
{
    const Entry &cause = entries[candidate.entry];
    switch (candidate.scope) {
    case CauseScope::File:
        return true;
    case CauseScope::Stream:
        return cause.finding.stream == occurrence.stream;
    case CauseScope::Concerned:
        break;
    }
    if (occurrence.about.size > 0)
        return holds(cause.ranges, occurrence.about);
    return cause.explainsAllStreams || cause.finding.stream < 0 || occurrence.stream < 0
        || cause.finding.stream == occurrence.stream;
}

size_t Findings::Private::causeOf(const Occurrence &occurrence) const
{
    const auto cause = std::find_if(candidates.begin(), candidates.end(),
                                    [this, &occurrence](const Candidate &each) { return explains(each, occurrence); });
    return cause == candidates.end() ? noCause : cause->entry;
}

ByteRange Findings::Private::clipped(const ByteRange &place) const
{
    ByteRange inside = place;
    inside.offset = std::min(inside.offset, fileSize > 0 ? fileSize - 1 : 0);
    inside.size = std::min(inside.size, fileSize - inside.offset);
    return inside;
}

FindingDraft Findings::add(const Occurrence &occurrence)
{
    const Rule &rule = d->rules[d->rule];
    const size_t cause = d->causeOf(occurrence);
    const auto known = d->current.find({occurrence.stream, cause});
    const bool isNew = known == d->current.end();
    const size_t ordinal = isNew ? d->entries.size() : known->second;
    if (isNew) {
        Entry entry;
        entry.cause = cause;
        entry.finding.id = int(ordinal) + 1;
        entry.finding.rule = rule.name.toString();
        entry.finding.repair = rule.repair;
        entry.finding.stream = occurrence.stream;
        entry.finding.causedBy = cause == noCause ? 0 : int(cause) + 1;
        d->entries.push_back(std::move(entry));
        d->current.emplace(std::make_pair(occurrence.stream, cause), ordinal);
        d->states[size_t(d->rule)] = RuleState::Failed;
    }

    Entry &entry = d->entries[ordinal];
    if (!isNew)
        entry.settleLatest();
    entry.latest = rule.severities.highest();
    entry.latestConfidence = Confidence::Certain;
    ++entry.finding.count;
    if (entry.finding.places.size() < Finding::mostPlaces)
        entry.finding.places.push_back(d->clipped(occurrence.place));
    if (d->ruleIsCause)
        addRange(entry, occurrence.about.size > 0 ? occurrence.about : occurrence.place);
    return {*this, ordinal, isNew};
}

bool Findings::has(QStringView rule, int stream) const
{
    return std::any_of(d->entries.begin(), d->entries.end(), [rule, stream](const Entry &entry) {
        return entry.finding.rule == rule && (stream < 0 || entry.finding.stream == stream);
    });
}

void Findings::notChecked(const QString &what)
{
    if (!d->notChecked.contains(what))
        d->notChecked.append(what);
}

/// Puts what is known of the current rule's findings into the list. May be done again when more were counted.
void Findings::Private::settle()
{
    list.resize(firstCurrent);
    for (size_t ordinal = firstCurrent; ordinal < entries.size(); ++ordinal) {
        const Entry &entry = entries[ordinal];
        Finding finding = entry.finding;
        finding.severity = entry.isCounted ? std::max(entry.worst, entry.latest) : entry.latest;
        finding.confidence = std::min(entry.least, entry.latestConfidence);
        finding.message.replace(QLatin1String("%1"), QString::number(finding.count));
        list.push_back(std::move(finding));
    }
}

const std::vector<Finding> &Findings::list() const
{
    d->settle();
    return d->list;
}

std::vector<Finding> Findings::takeList()
{
    d->settle();
    std::vector<Finding> list;
    list.swap(d->list);
    d->entries.clear();
    d->current.clear();
    d->candidates.clear();
    d->firstCurrent = 0;
    return list;
}

const std::vector<RuleState> &Findings::ruleStates() const
{
    return d->states;
}

QStringList Findings::notChecked() const
{
    return d->notChecked;
}

FindingDraft &FindingDraft::severity(Severity severity)
{
    m_findings->d->entries[m_ordinal].latest = severity;
    return *this;
}

FindingDraft &FindingDraft::confidence(Confidence confidence)
{
    m_findings->d->entries[m_ordinal].latestConfidence = confidence;
    return *this;
}

FindingDraft &FindingDraft::repair(Repair repair)
{
    if (m_isNew)
        m_findings->d->entries[m_ordinal].finding.repair = repair;
    return *this;
}

FindingDraft &FindingDraft::expected(const QString &text)
{
    if (m_isNew)
        m_findings->d->entries[m_ordinal].finding.expected = text;
    return *this;
}

FindingDraft &FindingDraft::actual(const QString &text)
{
    if (m_isNew)
        m_findings->d->entries[m_ordinal].finding.actual = text;
    return *this;
}

FindingDraft &FindingDraft::expected(qint64 number)
{
    return m_isNew ? expected(QString::number(number)) : *this;
}

FindingDraft &FindingDraft::expected(quint64 number)
{
    return m_isNew ? expected(QString::number(number)) : *this;
}

FindingDraft &FindingDraft::actual(qint64 number)
{
    return m_isNew ? actual(QString::number(number)) : *this;
}

FindingDraft &FindingDraft::actual(quint64 number)
{
    return m_isNew ? actual(QString::number(number)) : *this;
}

FindingDraft &FindingDraft::message(const QString &text)
{
    if (m_isNew)
        m_findings->d->entries[m_ordinal].finding.message = text;
    return *this;
}

FindingDraft &FindingDraft::mend(const ByteRange &place, quint8 width, quint64 bytes, quint64 mask)
{
    std::vector<Mend> &mends = m_findings->d->entries[m_ordinal].finding.mends;
    if (place.size == width && place.end() <= m_findings->d->fileSize && mends.size() < Finding::mostMends)
        mends.push_back({place.offset, bytes, mask, width});
    return *this;
}

FindingDraft &FindingDraft::andMore(quint64 more, std::initializer_list<ByteRange> places)
{
    Finding &finding = m_findings->d->entries[m_ordinal].finding;
    finding.count += more;
    for (const ByteRange &place : places) {
        if (finding.places.size() < Finding::mostPlaces)
            finding.places.push_back(m_findings->d->clipped(place));
    }
    return *this;
}

FindingDraft &FindingDraft::explains(const ByteRange &range)
{
    if (m_findings->d->ruleIsCause)
        addRange(m_findings->d->entries[m_ordinal], range);
    return *this;
}

FindingDraft &FindingDraft::explainsAllStreams()
{
    m_findings->d->entries[m_ordinal].explainsAllStreams = true;
    return *this;
}

} // namespace quenlofar
