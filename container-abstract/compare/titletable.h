#pragma once

#include <QString>
#include <QStringView>

#include <string>
#include <vector>

namespace quenlofar {

/**
 * Gives equal titles of one level equal numbers, counted up from 0 in the order in which they first come. The last ones
 * can be taken out again, so that the titles of nested nodes use one table, each its own level. Memory is reused:
 * a title that the table knows needs none.
 */
class TitleTable
{
public:
    /// The number of `title`, given to it now if it has none. May throw std::bad_alloc; the table is then of no use any
    /// more.
    quint32 intern(quint32 level, QStringView title);
    quint32 size() const { return quint32(m_entries.size()); }
    /// Valid until the next title is added.
    QStringView title(quint32 number) const;
    /// Takes out all titles but the first `size`.
    void truncate(quint32 size) noexcept;

private:
    static constexpr quint32 none = 0xFFFFFFFF;

    struct Entry
    {
        size_t hash;
        size_t textEnd; ///< in m_text; the text begins where that of the entry before ends
        quint32 level;
        quint32 next; ///< older entry of the same bucket, or none
    };

    size_t textBegin(quint32 number) const { return number == 0 ? 0 : m_entries[number - 1].textEnd; }
    quint32 &bucket(size_t hash) { return m_buckets[hash & (m_buckets.size() - 1)]; }
    quint32 add(quint32 level, QStringView title, size_t hash);
    void rehash(size_t bucketCount);

    std::vector<Entry> m_entries;
    std::u16string m_text;
    std::vector<quint32> m_buckets; // a power of two; each the youngest entry, so that truncate finds it at the front
};

} // namespace quenlofar
