#include "treecomparison.h"

#include "elementpath.h"
#include "pathtext.h"
#include "titletable.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

namespace quenlofar {

namespace {

using Item = ElementTree::Item;

constexpr quint32 none = std::numeric_limits<quint32>::max();

/// Which children of two nodes stand for each other. All by row.
struct Siblings
{
    std::vector<quint32> firstNumbers; // among the like-named ones
    std::vector<quint32> secondNumbers;
    std::vector<quint32> counterparts; // of the first node's children: rows of the second's, or none
    std::vector<bool> hasCounterpart; // of the second node's children
};

/// Two nodes of one path whose children are being compared.
struct OpenPair
{
    Item first;
    Item second;
    quint32 firstCount; ///< of children
    quint32 secondCount;
    quint32 row = 0; ///< the first node's next child
    std::unique_ptr<Siblings> siblings = {}; ///< none as long as the children are in step: same names at same rows
};

class ItemComparison
{
public:
    using Visitor = std::function<bool(const ItemDifference &)>;

    ItemComparison(const ElementTree &first, const ElementTree &second, const ComparisonOptions &options,
                   const Visitor &visitor)
        : m_first(first), m_second(second), m_options(options), m_visitor(visitor)
    {
    }
    bool run();

private:
    bool step();
    bool stepOutOfStep();
    bool reportAdditions(quint32 endRow);
    bool compare(Item first, const Field &a, Item second, const Field &b);
    quint32 differences(Item first, const Field &a, Item second, const Field &b) const;
    bool report(ItemDifference difference, quint32 number);
    void open(Item first, Item second);
    void close();
    quint32 numberOf(OpenPair &pair, quint32 row);
    const Siblings &siblingsOf(OpenPair &pair);
    QStringView firstName(Item item) { return pathName(m_firstReader.name(item)); }
    QStringView secondName(Item item) { return pathName(m_secondReader.name(item)); }

    const ElementTree &m_first;
    const ElementTree &m_second;
    const ComparisonOptions m_options;
    const Visitor &m_visitor;
    ElementTree::FieldReader m_firstReader{m_first};
    ElementTree::FieldReader m_secondReader{m_second};
    std::vector<OpenPair> m_open; // from the roots on
    PathText m_path; // of the open nodes from the top level on, perhaps not yet of all
    TitleTable m_titles; // of one pair's children
};

bool ItemComparison::run()
{
    open(m_first.root(), m_second.root());
    while (!m_open.empty()) {
        if (!step())
            return false;
    }
    return true;
}

/// Deals with one child of the innermost open pair, or closes it.
bool ItemComparison::step()
{
    const OpenPair &pair = m_open.back();
    if (pair.siblings)
        return stepOutOfStep();
    if (pair.row == pair.firstCount && pair.row == pair.secondCount) {
        close();
        return true;
    }
    if (pair.row == std::min(pair.firstCount, pair.secondCount))
        return stepOutOfStep();
    const Item first = m_first.child(pair.first, pair.row);
    const Item second = m_second.child(pair.second, pair.row);
    const Field a = m_firstReader.field(first);
    const Field b = m_secondReader.field(second);
    return pathName(a.name) == pathName(b.name) ? compare(first, a, second, b) : stepOutOfStep();
}

bool ItemComparison::stepOutOfStep()
{
    OpenPair &pair = m_open.back();
    const Siblings &siblings = siblingsOf(pair);
    if (pair.row == pair.firstCount) {
        const bool goesOn = reportAdditions(pair.secondCount);
        close();
        return goesOn;
    }
    const Item first = m_first.child(pair.first, pair.row);
    const quint32 counterpart = siblings.counterparts[pair.row];
    if (counterpart == none) {
        const quint32 number = siblings.firstNumbers[pair.row++];
        return report({ItemDifference::OnlyInFirst, 0, {}, first, m_second.root()}, number);
    }
    if (!reportAdditions(counterpart))
        return false;
    const Item second = m_second.child(pair.second, counterpart);
    return compare(first, m_firstReader.field(first), second, m_secondReader.field(second));
}

/// Reports the second node's children right before `endRow` that the first has not.
bool ItemComparison::reportAdditions(quint32 endRow)
{
    const OpenPair &pair = m_open.back();
    const Siblings &siblings = *pair.siblings;
    quint32 row = endRow;
    while (row > 0 && !siblings.hasCounterpart[row - 1])
        --row;
    for (; row < endRow; ++row) {
        const Item second = m_second.child(pair.second, row);
        if (!report({ItemDifference::OnlyInSecond, 0, {}, m_first.root(), second}, siblings.secondNumbers[row]))
            return false;
    }
    return true;
}

/// Compares the next child of the innermost open pair with its counterpart; two nodes are then open.
bool ItemComparison::compare(Item first, const Field &a, Item second, const Field &b)
{
    OpenPair &pair = m_open.back();
    const quint32 row = pair.row++;
    const quint32 aspects = differences(first, a, second, b);
    if (Q_UNLIKELY(aspects != 0)) {
        const quint32 number = numberOf(pair, row);
        if (!report({ItemDifference::Changed, aspects, {}, first, second}, number))
            return false;
    }
    if (m_first.isNode(first) && m_second.isNode(second))
        open(first, second);
    return true;
}

quint32 ItemComparison::differences(Item first, const Field &a, Item second, const Field &b) const
{
    const auto aspect = [](bool differs, quint32 which) { return differs ? which : 0; };
    return aspect(m_first.isNode(first) != m_second.isNode(second), KindDiffers) | aspect(a.size != b.size, SizeDiffers)
        | aspect(a.value != b.value, ValueDiffers) | aspect(a.meaning != b.meaning, MeaningDiffers)
        | aspect(a.description != b.description, DescriptionDiffers) | aspect(a.index != b.index, IndexDiffers)
        | aspect(m_options.compareOffsets && a.offset != b.offset, OffsetDiffers);
}

/// Hands a child of the innermost open pair to the visitor; `number` is its own among those of its name.
bool ItemComparison::report(ItemDifference difference, quint32 number)
{
    while (m_path.components() + 1 < m_open.size()) {
        const size_t depth = m_path.components();
        const quint32 openNumber = numberOf(m_open[depth], m_open[depth].row - 1);
        m_path.push(firstName(m_open[depth + 1].first), openNumber);
    }
    const bool isInFirst = difference.kind != ItemDifference::OnlyInSecond;
    m_path.push(isInFirst ? firstName(difference.first) : secondName(difference.second), number);
    difference.path = m_path.text();
    const bool goesOn = m_visitor(difference);
    m_path.truncate(m_open.size() - 1);
    return goesOn;
}

void ItemComparison::open(Item first, Item second)
{
    m_open.push_back({first, second, m_first.childCount(first), m_second.childCount(second)});
}

void ItemComparison::close()
{
    m_open.pop_back();
    if (!m_open.empty())
        m_path.truncate(m_open.size() - 1);
}

/// The number of the first node's child in that row among those of its name.
quint32 ItemComparison::numberOf(OpenPair &pair, quint32 row)
{
    constexpr quint32 fewRows = 16; // looking at this many takes less than a table of all
    if (pair.siblings || row >= fewRows)
        return siblingsOf(pair).firstNumbers[row];
    const QString name = firstName(m_first.child(pair.first, row)).toString();
    quint32 number = 0;
    for (quint32 before = 0; before < row; ++before) {
        if (firstName(m_first.child(pair.first, before)) == QStringView(name))
            ++number;
    }
    return number;
}

/// Finds out, once, which children of the pair stand for each other.
const Siblings &ItemComparison::siblingsOf(OpenPair &pair)
{
    if (pair.siblings)
        return *pair.siblings;
    auto siblings = std::make_unique<Siblings>();
    struct OfOneName
    {
        quint32 firstCount = 0;
        quint32 secondCount = 0;
        quint32 nextRow = none; ///< of the second node's children, the first that has no counterpart yet
        quint32 lastRow = none;
    };
    std::vector<OfOneName> names;
    m_titles.truncate(0);
    const auto named = [this, &names](QStringView name) -> OfOneName & {
        const quint32 number = m_titles.intern(0, name);
        if (number == names.size())
            names.emplace_back();
        return names[number];
    };

    std::vector<quint32> nextRows(pair.secondCount, none); // of the next child of the same name
    siblings->secondNumbers.reserve(pair.secondCount);
    for (quint32 row = 0; row < pair.secondCount; ++row) {
        OfOneName &name = named(secondName(m_second.child(pair.second, row)));
        siblings->secondNumbers.push_back(name.secondCount++);
        (name.lastRow == none ? name.nextRow : nextRows[name.lastRow]) = row;
        name.lastRow = row;
    }
    siblings->hasCounterpart.resize(pair.secondCount);
    siblings->firstNumbers.reserve(pair.firstCount);
    siblings->counterparts.reserve(pair.firstCount);
    for (quint32 row = 0; row < pair.firstCount; ++row) {
        OfOneName &name = named(firstName(m_first.child(pair.first, row)));
        siblings->firstNumbers.push_back(name.firstCount++);
        siblings->counterparts.push_back(name.nextRow);
        if (name.nextRow != none) {
            siblings->hasCounterpart[name.nextRow] = true;
            name.nextRow = nextRows[name.nextRow];
        }
    }
    pair.siblings = std::move(siblings);
    return *pair.siblings;
}

} // namespace

bool compareItems(const ElementTree &first, const ElementTree &second, const ComparisonOptions &options,
                  const std::function<bool(const ItemDifference &)> &visitor)
{
    return ItemComparison(first, second, options, visitor).run();
}

bool compareFrames(const ElementTree &first, const ElementTree &second, const ComparisonOptions &options,
                   const std::function<bool(const FrameDifference &)> &visitor)
{
    const quint64 count = std::min(first.frames().size(), second.frames().size());
    if (first.frames().size() != second.frames().size()
        && !visitor({FrameDifference::Count, 0, count, Frame(), Frame()}))
        return false;
    const auto aspect = [](bool differs, quint32 which) { return differs ? which : 0; };
    for (quint64 position = 0; position < count; ++position) {
        const Frame a = first.frames().at(position);
        const Frame b = second.frames().at(position);
        const quint32 aspects = aspect(a.stream != b.stream, StreamDiffers)
            | aspect(a.number != b.number, NumberDiffers) | aspect(a.size != b.size, SizeDiffers)
            | aspect(a.key != b.key, KeyDiffers)
            | aspect(options.compareOffsets && a.offset != b.offset, OffsetDiffers);
        if (aspects != 0 && !visitor({FrameDifference::Changed, aspects, position, a, b}))
            return false;
    }
    return true;
}

} // namespace quenlofar
