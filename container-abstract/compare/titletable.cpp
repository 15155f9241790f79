#include "titletable.h"

#include <functional>
#include <new>
#include <string_view>

namespace quenlofar {

namespace {

size_t hashOf(quint32 level, QStringView title)
{
    const std::u16string_view text(title.utf16(), size_t(title.size()));
    return (std::hash<std::u16string_view>()(text) ^ level) * 0x9E3779B97F4A7C15U >> 16;
}

} // namespace

quint32 TitleTable::intern(quint32 level, QStringView title)
{
    const size_t hash = hashOf(level, title);
    if (!m_buckets.empty()) {
        for (quint32 number = bucket(hash); number != none; number = m_entries[number].next) {
            const Entry &entry = m_entries[number];
            if (entry.hash == hash && entry.level == level && this->title(number) == title)
                return number;
        }
    }
    return add(level, title, hash);
}

quint32 TitleTable::add(quint32 level, QStringView title, size_t hash)
{
    constexpr size_t leastBuckets = 64;
    const quint32 number = size();
    if (number == none)
        throw std::bad_alloc();
    if (m_entries.size() >= m_buckets.size())
        rehash(m_buckets.empty() ? leastBuckets : 2 * m_buckets.size());
    m_entries.push_back({hash, textBegin(number), level, none});
    m_text.append(title.utf16(), size_t(title.size()));
    Entry &entry = m_entries.back();
    entry.textEnd = m_text.size();
    entry.next = bucket(hash);
    bucket(hash) = number;
    return number;
}

QStringView TitleTable::title(quint32 number) const
{
    const size_t begin = textBegin(number);
    return {m_text.data() + begin, qsizetype(m_entries[number].textEnd - begin)};
}

void TitleTable::truncate(quint32 size) noexcept
{
    while (m_entries.size() > size) {
        bucket(m_entries.back().hash) = m_entries.back().next;
        m_entries.pop_back();
    }
    m_text.resize(textBegin(size));
}

void TitleTable::rehash(size_t bucketCount)
{
    m_buckets = std::vector<quint32>(bucketCount, none);
    for (quint32 number = 0; number < size(); ++number) {
        Entry &entry = m_entries[number];
        entry.next = bucket(entry.hash);
        bucket(entry.hash) = number;
    }
}

} // namespace quenlofar
