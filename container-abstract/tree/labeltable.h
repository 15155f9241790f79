#pragma once

#include "elementsink.h"

#include <QString>

#include <array>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace quenlofar {

/// What the items of one kind have in common.
struct Label
{
    QString name;
    QString meaning;
    QString description;
    bool flag;
    uchar code;
    bool hasIndex;
    quint64 rowMinusIndex; ///< modulo 2^64: what turns an item's row into its index
    quint16 follower = 0; ///< the number of the label that came next the last time

    bool matches(const Field &field, quint64 shift) const
    {
        return equal(name, field.name) && equal(meaning, field.meaning) && equal(description, field.description)
            && flag == field.flag && code == field.code && hasIndex == (field.index != -1) && rowMinusIndex == shift;
    }

private:
    /// Short texts are compared here, four characters at a time: a call would take longer than the comparison.
    static bool equal(const QString &kept, QStringView text)
    {
        const auto size = text.size();
        if (kept.size() != size)
            return false;
        const char16_t *const a = QStringView(kept).utf16();
        const char16_t *const b = text.utf16();
        if (size < 4)
            return size == 0 || (a[0] == b[0] && a[size / 2] == b[size / 2] && a[size - 1] == b[size - 1]);
        for (int at = 0; at + 4 < size; at += 4) {
            if (fourUnits(a + at) != fourUnits(b + at))
                return false;
        }
        return fourUnits(a + size - 4) == fourUnits(b + size - 4);
    }
    static quint64 fourUnits(const char16_t *from)
    {
        quint64 units;
        std::memcpy(&units, from, sizeof units);
        return units;
    }
};

/**
 * Gives equal labels equal numbers and keeps each once. Files use a few hundred of them in millions of items, but what
 * a file makes up (meanings, ids) has no bound: therefore the table has one.
 */
class LabelTable
{
public:
    static constexpr int numberBits = 14;
    static constexpr quint32 full = 1U << numberBits; ///< not a number: the table has no room for the label

    /// The number of the label of `field`, a node's title being its name, or `full`. `rowMinusIndex` is 0 where there
    /// is no index. May throw std::bad_alloc.
    quint32 intern(const Field &field, quint64 rowMinusIndex)
    {
        // Records repeat: what came after the last label the time before comes again.
        if (Q_UNLIKELY(m_expected >= m_labels.size() || !m_labels[m_expected].matches(field, rowMinusIndex)))
            return find(field, rowMinusIndex);
        follow(m_expected);
        return m_last;
    }
    const Label &operator[](quint32 number) const { return m_labels[number]; }

private:
    static constexpr int recentBits = 10;

    void follow(quint16 number)
    {
        m_last = number;
        m_expected = m_labels[number].follower;
    }
    quint32 find(const Field &field, quint64 rowMinusIndex);
    quint32 findOrAdd(const Field &field, quint64 rowMinusIndex);
    QString shared(QStringView text);

    std::vector<Label> m_labels;
    quint16 m_last = 0;
    quint16 m_expected = 0;
    std::array<quint16, 1 << recentBits> m_recent = {}; // by a sketch of the label
    std::unordered_multimap<size_t, quint16> m_numbers; // by a hash of everything
    std::unordered_set<QString> m_texts; // no QSet: without memory a QSet aborts the program
};

} // namespace quenlofar
