#include "labeltable.h"

#include <cstring>
#include <functional>
#include <string_view>

namespace quenlofar {

namespace {

/// The ends of a text, which tell most texts apart.
quint64 ends(QStringView text)
{
    if (text.size() >= 4) {
        quint64 first;
        quint64 last;
        std::memcpy(&first, text.data(), sizeof first);
        std::memcpy(&last, text.data() + text.size() - 4, sizeof last);
        return first * 31 + last;
    }
    return text.isEmpty() ? 0 : quint64(text.front().unicode()) << 16 | text.back().unicode();
}

size_t hashOf(const Field &field, quint64 rowMinusIndex)
{
    const std::hash<std::u16string_view> hashText;
    size_t hash =
        size_t(rowMinusIndex) * 4 + size_t(field.index != -1) * 2 + size_t(field.flag) + size_t(field.code) * 31;
    for (const QStringView text : {field.name, field.meaning, field.description})
        hash = hash * 0x9E3779B97F4A7C15U + hashText({text.utf16(), size_t(text.size())});
    return hash;
}

/// Cheap to compute, different for most labels, the best bits at the top.
quint64 sketchOf(const Field &field, quint64 rowMinusIndex)
{
    const quint64 sizes = quint64(field.name.size()) + quint64(field.meaning.size()) * 64;
    return (ends(field.name) + ends(field.meaning) * 7 + sizes + rowMinusIndex * 16) * 0x9E3779B97F4A7C15U;
}

} // namespace

quint32 LabelTable::find(const Field &field, quint64 rowMinusIndex)
{
    quint16 &recent = m_recent[sketchOf(field, rowMinusIndex) >> (64 - recentBits)];
    quint32 number = recent;
    if (number >= m_labels.size() || !m_labels[number].matches(field, rowMinusIndex)) {
        number = findOrAdd(field, rowMinusIndex);
        if (number == full)
            return full;
        recent = quint16(number);
    }
    m_labels[m_last].follower = quint16(number);
    follow(quint16(number));
    return number;
}

quint32 LabelTable::findOrAdd(const Field &field, quint64 rowMinusIndex)
{
    const size_t hash = hashOf(field, rowMinusIndex);
    for (auto [at, end] = m_numbers.equal_range(hash); at != end; ++at) {
        if (m_labels[at->second].matches(field, rowMinusIndex))
            return at->second;
    }
    // Labels with a part that a file can make up at will leave room for plain names.
    const bool isPlain = field.meaning.isEmpty() && field.description.isEmpty() && field.index == -1;
    if (m_labels.size() >= (isPlain ? full : full - full / 4))
        return full;
    const quint16 number = quint16(m_labels.size());
    m_labels.push_back({shared(field.name), shared(field.meaning), shared(field.description), field.flag, field.code,
                        field.index != -1, rowMinusIndex});
    m_numbers.emplace(hash, number);
    return number;
}

/// A copy of the characters, since the text itself may live in a plug-in; one copy for all labels.
QString LabelTable::shared(QStringView text)
{
    return text.isEmpty() ? QString() : *m_texts.insert(text.toString()).first;
}

} // namespace quenlofar
