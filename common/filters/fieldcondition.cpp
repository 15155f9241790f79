#include "fieldcondition.h"

#include "wildcards.h"

#include <QCoreApplication>

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

/// Words with blanks between them, without their quotes; blanks in quotes are part of a word.
QStringList wordsOf(const QString &text)
{
    QStringList words;
    QString word;
    bool hasWord = false;
    bool isQuoted = false;
    for (const QChar character : text) {
        if (character == QLatin1Char('"')) {
            isQuoted = !isQuoted;
            hasWord = true;
        } else if (character.isSpace() && !isQuoted) {
            if (hasWord)
                words.append(word);
            word.clear();
            hasWord = false;
        } else {
            word += character;
            hasWord = true;
        }
    }
    if (hasWord)
        words.append(word);
    return words;
}

/// Texts for people, translated.
struct FieldConditionTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::FieldCondition)
};

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
    if (!isOn(nameForConditions(field.name)))
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

bool FieldCondition::isOn(QStringView name) const
{
    return matchesWildcards(m_name, name);
}

QStringView nameForConditions(QStringView name)
{
    return name == unparsedDataMarker ? QStringView(u"unparsed") : name;
}

ItemConditions::ItemConditions(const QStringList &patterns, std::vector<FieldCondition> conditions)
    : m_conditions(std::move(conditions))
{
    for (const QString &pattern : patterns)
        m_patterns.push_back(pattern.toUtf8());
}

std::optional<ItemConditions> ItemConditions::parse(const QString &text, QString *error)
{
    QStringList patterns;
    std::vector<FieldCondition> conditions;
    const QStringList words = wordsOf(text);
    for (const QString &word : words) {
        const bool isCondition = std::any_of(word.begin(), word.end(),
                                             [](QChar character) { return QStringView(u"=!<>").contains(character); });
        if (!isCondition) {
            patterns.append(word);
            continue;
        }
        const std::optional<FieldCondition> condition = FieldCondition::parse(word);
        if (!condition) {
            *error = FieldConditionTexts::tr("\"%1\" is no condition such as name=value, name!=value or name>=number.")
                         .arg(word);
            return std::nullopt;
        }
        conditions.push_back(*condition);
    }
    return ItemConditions(patterns, std::move(conditions));
}

bool ItemConditions::matchesName(QStringView name) const
{
    return m_patterns.empty() || std::any_of(m_patterns.begin(), m_patterns.end(), [name](const QByteArray &pattern) {
               return matchesWildcards(pattern, name);
           });
}

bool ItemConditions::mayHold(QStringView name) const
{
    return std::all_of(m_conditions.begin(), m_conditions.end(),
                       [name](const FieldCondition &condition) { return condition.isOn(name); });
}

bool ItemConditions::hold(const Field &field) const
{
    return std::all_of(m_conditions.begin(), m_conditions.end(),
                       [&field](const FieldCondition &condition) { return condition.holds(field); });
}

} // namespace quenlofar
