#include "treesearch.h"

#include "document.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace quenlofar {

namespace {

/// What conditions say of the names that came last: patterns take longer to match than names to compare.
class NameVerdicts
{
public:
    struct Verdict
    {
        QString name;
        bool isMatch = false; // of a pattern
        bool mayHold = false;
    };

    explicit NameVerdicts(const ItemConditions &conditions) : m_conditions(conditions) { }

    const Verdict &on(QStringView name)
    {
        for (size_t i = 0; i < m_count; ++i) {
            if (QStringView(m_known[i].name) == name)
                return m_known[i];
        }
        Verdict &verdict = m_known[m_next];
        const QStringView asked = nameForConditions(name);
        verdict = {name.toString(), m_conditions.matchesName(asked), m_conditions.mayHold(asked)};
        m_next = (m_next + 1) % m_known.size();
        m_count = std::min(m_count + 1, m_known.size());
        return verdict;
    }

private:
    const ItemConditions &m_conditions;
    std::array<Verdict, 16> m_known;
    size_t m_count = 0;
    size_t m_next = 0;
};

} // namespace

/// What was found since it was last told.
struct TreeSearch::News
{
    std::vector<TreeItem> matches;
    quint64 count = 0;
};

/// Looks through segments, in another thread.
class TreeSearch::Look
{
public:
    using Tell = std::function<void(std::shared_ptr<const News>)>;

    Look(ItemConditions conditions, const std::atomic<bool> &isCancelled, Tell tell)
        : m_conditions(std::move(conditions)), m_isCancelled(isCancelled), m_tell(std::move(tell))
    {
    }

    void look(quint32 number, const TreeSegment &segment);
    std::shared_ptr<const News> takeNews() { return std::make_shared<News>(std::exchange(m_found, {})); }

private:
    using Clock = std::chrono::steady_clock;

    void found(TreeItem item)
    {
        ++m_found.count;
        if (m_kept < mostKept) {
            m_found.matches.push_back(item);
            ++m_kept;
        }
    }
    void tell()
    {
        m_tell(takeNews());
        m_told = Clock::now();
    }

    const ItemConditions m_conditions;
    const std::atomic<bool> &m_isCancelled;
    const Tell m_tell;
    News m_found;
    quint64 m_kept = 0;
    Clock::time_point m_told = Clock::now();
};

void TreeSearch::Look::look(quint32 number, const TreeSegment &segment)
{
    constexpr quint32 itemsBetweenLooks = 0xFFF; // at the clock, a mask
    constexpr std::chrono::milliseconds betweenNews{50};
    struct OpenNode
    {
        ElementTree::Item node;
        quint32 row;
        quint32 count;
    };
    const ElementTree &tree = segment.tree;
    ElementTree::FieldReader reader(tree);
    NameVerdicts verdicts(m_conditions);
    std::vector<OpenNode> levels = {{tree.root(), 0, tree.childCount(tree.root())}};
    size_t matchLevels = 0; // open nodes up to the outermost that matches a pattern; 0: none does
    quint32 openedAnew = segment.openAtBegin; // items that were found in an earlier segment; they come first
    quint32 visited = 0;
    while (!levels.empty() && !m_isCancelled.load(std::memory_order_relaxed)) {
        OpenNode &level = levels.back();
        if (level.row == level.count) {
            if (levels.size() == matchLevels + 1)
                matchLevels = 0;
            levels.pop_back();
            continue;
        }
        if ((++visited & itemsBetweenLooks) == 0 && m_found.count > 0 && Clock::now() - m_told > betweenNews)
            tell();
        const ElementTree::Item item = tree.child(level.node, level.row++);
        const NameVerdicts::Verdict &verdict = verdicts.on(reader.name(item));
        const bool isNew = openedAnew == 0;
        openedAnew -= isNew ? 0 : 1;
        if (tree.isNode(item)) {
            if (verdict.isMatch && isNew && !m_conditions.areOnLeaves())
                found(GrowingTree::handle(number, item));
            if (verdict.isMatch && matchLevels == 0)
                matchLevels = levels.size();
            levels.push_back({item, 0, tree.childCount(item)});
        } else if (!m_conditions.areOnLeaves() ? verdict.isMatch
                                               : verdict.mayHold && (verdict.isMatch || matchLevels > 0)
                           && m_conditions.hold(reader.field(item))) {
            found(GrowingTree::handle(number, item));
        }
    }
}

TreeSearch::TreeSearch(Document &document, QObject *parent) : QObject(parent), m_document(document), m_looking(document)
{
    connect(&document, &Document::treeGrew, this, [this] {
        if (!isActive())
            return;
        lookOn();
        Q_EMIT changed(); // isDone() may be something else
    });
}

void TreeSearch::start(const ItemConditions &conditions)
{
    m_looking.cancel();
    m_isStopped = false;
    m_conditions = conditions;
    m_nextSegment = 0;
    m_matches.clear();
    m_count = 0;
    lookOn();
    Q_EMIT changed();
}

void TreeSearch::stop()
{
    if (isDone())
        return;
    m_isStopped = true;
    m_looking.cancel();
    Q_EMIT changed();
}

/// Lets a thread look into the segments that came since, unless one is at work: what it says last comes here again.
void TreeSearch::lookOn()
{
    const GrowingTree &tree = m_document.tree();
    if (m_looking.isRunning() || !isActive() || m_isStopped || m_nextSegment == tree.segmentCount())
        return;
    std::vector<std::pair<quint32, std::shared_ptr<const TreeSegment>>> segments;
    for (; m_nextSegment < tree.segmentCount(); ++m_nextSegment)
        segments.emplace_back(m_nextSegment, tree.segment(m_nextSegment));
    m_looking.startLong(
        [this, conditions = m_conditions, segments = std::move(segments)](const std::atomic<bool> &isCancelled,
                                                                          const Errand::Tell &tell) {
            Look look(conditions, isCancelled,
                      [this, &tell](const std::shared_ptr<const News> &news) { tell([this, news] { take(*news); }); });
            for (const auto &[number, segment] : segments)
                look.look(number, *segment);
            return Errand::Delivery([this, news = look.takeNews()] {
                lookOn();
                take(*news);
            });
        },
        [this] { Q_EMIT changed(); });
}

void TreeSearch::take(const News &news)
{
    m_count += news.count;
    const size_t room = mostKept - m_matches.size();
    m_matches.insert(m_matches.end(), news.matches.begin(),
                     news.matches.begin() + std::ptrdiff_t(std::min(room, news.matches.size())));
    Q_EMIT changed();
}

bool TreeSearch::isDone() const
{
    return !isActive() || m_isStopped || (!m_looking.isRunning() && m_document.tree().isComplete());
}

std::optional<size_t> TreeSearch::behind(TreeItem item) const
{
    const auto found =
        std::upper_bound(m_matches.begin(), m_matches.end(), item,
                         [this](TreeItem wanted, TreeItem each) { return m_document.tree().precedes(wanted, each); });
    return found == m_matches.end() ? std::nullopt : std::optional<size_t>(size_t(found - m_matches.begin()));
}

std::optional<size_t> TreeSearch::before(TreeItem item) const
{
    const auto found =
        std::lower_bound(m_matches.begin(), m_matches.end(), item,
                         [this](TreeItem each, TreeItem wanted) { return m_document.tree().precedes(each, wanted); });
    return found == m_matches.begin() ? std::nullopt : std::optional<size_t>(size_t(found - m_matches.begin()) - 1);
}

std::optional<size_t> TreeSearch::positionOf(TreeItem item) const
{
    const std::optional<size_t> last = before(item);
    const size_t position = last ? *last + 1 : 0;
    return position < m_matches.size() && m_matches[position] == item ? std::optional<size_t>(position) : std::nullopt;
}

bool TreeSearch::matches(TreeItem item) const
{
    if (!isActive() || item == GrowingTree::root())
        return false;
    const GrowingTree &tree = m_document.tree();
    const QString name = tree.name(item);
    const QStringView asked = nameForConditions(name);
    if (!m_conditions.areOnLeaves())
        return m_conditions.matchesName(asked);
    if (tree.isNode(item) || !m_conditions.mayHold(asked))
        return false;
    bool isNamed = m_conditions.matchesName(asked);
    for (TreeItem node = tree.parent(item); !isNamed && node != GrowingTree::root(); node = tree.parent(node))
        isNamed = m_conditions.matchesName(tree.name(node));
    const QString value = tree.value(item);
    const QString meaning = tree.meaning(item);
    const Field field{false, 0, tree.offset(item), tree.size(item), -1, name, value, meaning, {}};
    return isNamed && m_conditions.hold(field);
}

} // namespace quenlofar
