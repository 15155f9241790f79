#pragma once

#include "elementsink.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>
#include <vector>

namespace quenlofar {

/// A condition on leaves, such as "dwRate>=25" or "fccType=vid*".
class FieldCondition
{
public:
    /// An integer as such: not all 64-bit ones are a double.
    using Number = std::variant<quint64, qint64, double>;

    /// Nothing when `text` is no condition.
    static std::optional<FieldCondition> parse(const QString &text);

    bool holds(const Field &field) const;
    /// Whether it speaks of leaves that are shown by the name `name`.
    bool isOn(QStringView name) const;

private:
    enum class Comparison { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual };

    bool isEqual(const Field &field) const;

    QByteArray m_name; // with wildcards
    Comparison m_comparison = Comparison::Equal;
    QByteArray m_value; // with wildcards
    std::optional<Number> m_number; // the value, if it is one
};

/// The name that a leaf is asked for by: unparsed bytes have no name of their own.
QStringView nameForConditions(QStringView name);

/// What is asked for of a tree: items of some names, leaves for which conditions hold, or both.
class ItemConditions
{
public:
    ItemConditions() = default;
    /// Items with a name that matches one of `patterns`, see matchesWildcards, or any item where there are none; where
    /// there are conditions, leaves alone, in such items or such items themselves, for which all of them hold.
    ItemConditions(const QStringList &patterns, std::vector<FieldCondition> conditions);

    /**
     * Reads words with blanks between them. A word with a comparison sign is a condition, any other one a pattern;
     * a word that begins or ends in quotes, or has them on both sides of its value, may have blanks in them.
     *
     * @return nothing where a word is no condition: `*error` then says which, in words for people
     */
    static std::optional<ItemConditions> parse(const QString &text, QString *error);

    bool areAny() const { return !m_patterns.empty() || !m_conditions.empty(); } ///< something is asked for
    bool areOnLeaves() const { return !m_conditions.empty(); } ///< nodes are not asked for
    /// A node or leaf of the name matches one of the patterns, or there are none.
    bool matchesName(QStringView name) const;
    /// Conditions can hold for leaves of this name.
    bool mayHold(QStringView name) const;
    /// All conditions hold.
    bool hold(const Field &field) const;

private:
    std::vector<QByteArray> m_patterns;
    std::vector<FieldCondition> m_conditions;
};

} // namespace quenlofar
