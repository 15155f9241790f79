#pragma once

#include "elementsink.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace quenlofar {

/// A node or leaf of a walk with texts of its own. Made to be overwritten at every item: its room is used again.
class ItemCopy
{
public:
    ItemCopy() = default;
    ItemCopy(const ItemCopy &) = delete;
    ItemCopy &operator=(const ItemCopy &) = delete;
    ItemCopy(ItemCopy &&) = default;
    ItemCopy &operator=(ItemCopy &&) = default;

    /// A node comes as a field that has its title for a name. May throw std::bad_alloc.
    void assign(const Field &field, bool isNode)
    {
        const auto units =
            size_t(field.name.size() + field.value.size() + field.meaning.size() + field.description.size());
        if (units > m_room || !m_texts)
            grow(std::max(units, size_t(1)));
        m_field = field;
        m_isNode = isNode;
        char16_t *room = m_texts.get();
        for (QStringView *const text : {&m_field.name, &m_field.value, &m_field.meaning, &m_field.description})
            *text = copied(*text, &room);
    }
    void assign(const ItemCopy &other) { assign(other.m_field, other.m_isNode); }

    const Field &field() const { return m_field; }
    bool isNode() const { return m_isNode; }
    /// Hands the item to `sink`; a node stays open there.
    bool writeTo(ElementSink &sink) const
    {
        return m_isNode ? sink.beginElement(m_field.offset, m_field.size, m_field.name, m_field.index)
                        : sink.addField(m_field);
    }

private:
    void grow(size_t units)
    {
        m_room = 0;
        m_texts.reset(new char16_t[2 * units]);
        m_room = 2 * units;
    }
    /// Copies `size` units, of which there are `bytes` bytes at least and twice as many at most.
    template <size_t bytes> static void copyEnds(char16_t *copy, const char16_t *units, size_t size)
    {
        constexpr size_t fromEnd = bytes / sizeof(char16_t);
        char first[bytes];
        char last[bytes];
        std::memcpy(first, units, bytes);
        std::memcpy(last, units + size - fromEnd, bytes);
        std::memcpy(copy, first, bytes);
        std::memcpy(copy + size - fromEnd, last, bytes);
    }
    static QStringView copied(QStringView text, char16_t **room)
    {
        char16_t *const copy = *room;
        const auto size = size_t(text.size());
        const char16_t *const units = text.utf16();
        *room += size;
        // Most texts are short: a call would take much longer than two moves, which may overlap.
        if (size < 4) {
            for (size_t i = 0; i < size; ++i)
                copy[i] = units[i];
        } else if (size <= 8) {
            copyEnds<8>(copy, units, size);
        } else if (size <= 16) {
            copyEnds<16>(copy, units, size);
        } else {
            std::memcpy(copy, units, size * sizeof(char16_t));
        }
        return {copy, text.size()};
    }

    Field m_field{false, 0, 0, 0, -1, {}, {}, {}, {}};
    bool m_isNode = false;
    std::unique_ptr<char16_t[]> m_texts;
    size_t m_room = 0; // UTF-16 units
};

} // namespace quenlofar
