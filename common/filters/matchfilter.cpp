#include "matchfilter.h"

#include "wildcards.h"

#include <algorithm>
#include <cmath>
#include <compare>
#include <type_traits>
#include <utility>

namespace quenlofar {

namespace {

using Number = FieldCondition::Number;

bool consistsOf(QStringView text, QStringView characters)
{
    return std::all_of(text.begin(), text.end(),
                       [characters](QChar character) { return characters.contains(character); });
}

/// Decimal, with or without a fraction, or hexadecimal with 0x. Qt's conversions also take blanks, names and more.
std::optional<Number> numberOf(QStringView text)
{
    bool isNumber = false;
    if (text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        const QString digits = text.mid(2).toString();
        const quint64 number = digits.toULongLong(&isNumber, 16);
        return isNumber && consistsOf(digits, u"0123456789abcdefABCDEF") ? std::optional<Number>(number) : std::nullopt;
    }
    if (!consistsOf(text, u"0123456789+-.eE"))
        return std::nullopt;
    const QString digits = text.toString();
    if (const quint64 number = digits.toULongLong(&isNumber); isNumber)
        return number;
    if (const qint64 number = digits.toLongLong(&isNumber); isNumber)
        return number;
    const double number = digits.toDouble(&isNumber);
    return isNumber && std::isfinite(number) ? std::optional<Number>(number) : std::nullopt;
}

/// Of integers exact.
std::partial_ordering order(const Number &one, const Number &other)
{
    return std::visit(
        [](auto left, auto right) -> std::partial_ordering {
            if constexpr (std::is_integral_v<decltype(left)> && std::is_integral_v<decltype(right)>) {
                return std::cmp_less(left, right) ? std::partial_ordering::less
                    : std::cmp_equal(left, right) ? std::partial_ordering::equivalent
                                                  : std::partial_ordering::greater;
            } else {
                return double(left) <=> double(right);
            }
        },
        one, other);
}

/// Unparsed bytes have no name of their own.
QStringView shownName(const Field &field)
{
    return field.isUnparsedData() ? QStringView(u"unparsed") : field.name;
}

} // namespace

std::optional<FieldCondition> FieldCondition::parse(const QString &text)
{
    int at = 0;
    while (at < text.size() && !QStringView(u"=!<>").contains(text[at]))
        ++at;
    const QChar first = at < text.size() ? text[at] : QChar();
    const bool hasEqualsSign = at + 1 < text.size() && text[at + 1] == QLatin1Char('=') && first != QLatin1Char('=');

    FieldCondition condition;
    if (first == QLatin1Char('='))
        condition.m_comparison = Comparison::Equal;
    else if (first == QLatin1Char('!') && hasEqualsSign)
        condition.m_comparison = Comparison::NotEqual;
    else if (first == QLatin1Char('<'))
        condition.m_comparison = hasEqualsSign ? Comparison::LessOrEqual : Comparison::Less;
    else if (first == QLatin1Char('>'))
        condition.m_comparison = hasEqualsSign ? Comparison::GreaterOrEqual : Comparison::Greater;
    else
        return std::nullopt;

    const QString value = text.mid(at + (hasEqualsSign ? 2 : 1));
    condition.m_name = text.left(at).toUtf8();
    condition.m_value = value.toUtf8();
    condition.m_number = numberOf(value);
    const bool needsNumber =
        condition.m_comparison != Comparison::Equal && condition.m_comparison != Comparison::NotEqual;
    if (condition.m_name.isEmpty() || (needsNumber && !condition.m_number))
        return std::nullopt;
    return condition;
}

bool FieldCondition::holds(const Field &field) const
{
    if (!matchesWildcards(m_name, shownName(field)))
        return false;
    if (m_comparison == Comparison::Equal || m_comparison == Comparison::NotEqual)
        return isEqual(field) == (m_comparison == Comparison::Equal);
    const std::optional<Number> number = numberOf(field.value);
    if (!number)
        return false;
    const std::partial_ordering found = order(*number, *m_number);
    switch (m_comparison) {
    case Comparison::Less:
        return std::is_lt(found);
    case Comparison::LessOrEqual:
        return std::is_lteq(found);
    case Comparison::Greater:
        return std::is_gt(found);
    default:
        return std::is_gteq(found);
    }
}

bool FieldCondition::isEqual(const Field &field) const
{
    if (m_number) {
        const std::optional<Number> number = numberOf(field.value);
        if (number && std::is_eq(order(*number, *m_number)))
            return true;
    }
    return matchesWildcards(m_value, field.value)
        || (!field.meaning.isEmpty() && matchesWildcards(m_value, field.meaning));
}

MatchFilter::MatchFilter(TreeWriter &next, const QStringList &patterns, const std::vector<FieldCondition> &conditions)
    : TreeFilter(next), m_conditions(conditions)
{
    for (const QString &pattern : patterns)
        m_patterns.push_back(pattern.toUtf8());
}

bool MatchFilter::matches(QStringView name) const
{
    return m_patterns.empty() || std::any_of(m_patterns.begin(), m_patterns.end(), [name](const QByteArray &pattern) {
               return matchesWildcards(pattern, name);
           });
}

bool MatchFilter::beginDocument(const DocumentStart &start)
{
    m_pending.clear();
    m_depth = 0;
    m_hitDepth = 0;
    return m_next.beginDocument(start);
}

bool MatchFilter::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    ++m_depth;
    if (m_hitDepth == 0 && matches(title))
        m_hitDepth = m_depth;
    m_pending.emplace_back(offset, size, title, index, m_notes);
    // With conditions only a leaf can bring its nodes in.
    return m_hitDepth == 0 || !m_conditions.empty() || showPending();
}

bool MatchFilter::addField(const Field &field)
{
    const bool isShown = (m_hitDepth > 0 || matches(shownName(field)))
        && std::all_of(m_conditions.begin(), m_conditions.end(),
                       [&field](const FieldCondition &condition) { return condition.holds(field); });
    if (!isShown)
        return true;
    const ItemNotes notes = m_notes;
    const bool works = showPending();
    m_next.setNotes(notes);
    return m_next.addField(field) && works;
}

bool MatchFilter::endElement()
{
    if (m_hitDepth == m_depth)
        m_hitDepth = 0;
    --m_depth;
    if (m_pending.empty())
        return m_next.endElement();
    m_pending.pop_back();
    return true;
}

bool MatchFilter::showPending()
{
    bool works = true;
    for (const StoredItem &node : m_pending)
        works = node.writeTo(m_next) && works;
    m_pending.clear();
    return works;
}

} // namespace quenlofar
