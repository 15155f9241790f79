#pragma once

#include "containerabstract_export.h"
#include "fieldlayout.h"

#include <QString>
#include <QStringView>

#include <cstddef>

namespace quenlofar {

// What values of fields stand for, as tables. For a row of a layout there is a function per table that needs none
// written: {u"flags", 6, FieldKind::U16, flagsMeaning<headerFlags>}.

/// One bit, or group of bits of which any counts, and its name.
struct FlagName
{
    quint32 mask; ///< the bits
    QStringView name; ///< as the format calls them
};

/// The names of the rows of which a bit is set in `flags`, in table order, joined by `separator`.
template <size_t Count> QString flagNames(quint32 flags, const FlagName (&rows)[Count], QStringView separator)
{
    QString names;
    for (const FlagName &row : rows) {
        if ((flags & row.mask) == 0)
            continue;
        if (!names.isEmpty())
            names.append(separator.toString());
        names.append(row.name.toString());
    }
    return names;
}

/// A value and its name.
struct ValueName
{
    qint64 value; ///< as the field shows it
    QStringView name; ///< as the format calls it, or in words
};

/// The rows of a table of values with names. They are not copied: a table is a constant.
class ValueNames
{
public:
    constexpr ValueNames() = default;
    /// All rows of a table.
    template <size_t Count> constexpr ValueNames(const ValueName (&rows)[Count])
        : m_begin(rows), m_end(rows + Count) { }

    /// The first name of `value`; empty where it has none.
    QStringView nameOf(qint64 value) const
    {
        for (const ValueName *row = m_begin; row != m_end; ++row) {
            if (row->value == value)
                return row->name;
        }
        return {};
    }

private:
    const ValueName *m_begin = nullptr;
    const ValueName *m_end = nullptr;
};

/// The first name of `value` in `rows`; empty where it has none.
inline QString nameOfValue(qint64 value, ValueNames rows)
{
    return rows.nameOf(value).toString();
}

/**
 * Some bits of a number, as a field of their own. The number stays one leaf, because every byte of a file belongs to
 * one; its bit fields are the leaf's meaning.
 */
struct BitField
{
    int lowest; ///< the lowest bit; 0 is the lowest of the number
    int count; ///< bits, 1 to 64
    QStringView name; ///< as the format calls it
    ValueNames names = {}; ///< of its values
};

/// The bits of `field` in `number`, as a number.
constexpr quint64 bitsOf(quint64 number, const BitField &field)
{
    return (number >> field.lowest) & (~quint64(0) >> (64 - field.count));
}
/// "channels 2 | mode 1 (stereo)": every row's bits of `number`, in table order, joined by `separator`.
template <size_t Count> QString bitFieldsText(quint64 number, const BitField (&rows)[Count], QStringView separator)
{
    QString text;
    for (const BitField &row : rows) {
        if (!text.isEmpty())
            text.append(separator.toString());
        const quint64 value = bitsOf(number, row);
        text.append(row.name.toString()).append(QLatin1Char(' ')).append(QString::number(value));
        const QStringView name = row.names.nameOf(qint64(value));
        if (!name.isEmpty())
            text.append(QLatin1String(" (")).append(name.toString()).append(QLatin1Char(')'));
    }
    return text;
}

/// From when, and in which units, a date is counted.
struct Epoch
{
    qint64 secondsBefore1970; ///< when the count began
    qint64 unitsPerSecond; ///< at least 1
};
/// Seconds since 1970, as Unix counts.
inline constexpr Epoch unixEpoch{0, 1};
/// Seconds since 1904, as Mac OS, QuickTime and MP4 count.
inline constexpr Epoch macEpoch{2082844800, 1};
/// 100 nanoseconds since 1601, as Windows counts in a FILETIME.
inline constexpr Epoch windowsEpoch{11644473600, 10'000'000};

/// "2020-09-13T12:26:40Z", whole seconds; empty for 0, which says as a rule that no date was set, and for years that
/// have not four digits.
CONTAINERABSTRACT_EXPORT QString dateText(qint64 units, const Epoch &epoch);

/// The meaning of a field whose value is a set of flags: names of FlagName rows, joined by " | ".
template <const auto &Rows> QString flagsMeaning(const RecordView &record, const FieldRow &row)
{
    return flagNames(quint32(storedNumber(record, row)), Rows, u" | ");
}
/// The meaning of a field whose values have names: ValueName rows.
template <const auto &Rows> QString valueMeaning(const RecordView &record, const FieldRow &row)
{
    return nameOfValue(qint64(storedNumber(record, row)), Rows);
}
/// The meaning of a field that is made of bit fields: BitField rows, joined by " | ".
template <const auto &Rows> QString bitsMeaning(const RecordView &record, const FieldRow &row)
{
    return bitFieldsText(storedNumber(record, row), Rows, u" | ");
}
/// The meaning of a field that is a date: an Epoch.
template <const Epoch &Began> QString dateMeaning(const RecordView &record, const FieldRow &row)
{
    return dateText(qint64(storedNumber(record, row)), Began);
}

} // namespace quenlofar
