#pragma once

#include <QStringView>

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace quenlofar {

/// Counts like-named items. Few names are compared one by one, which takes less time than hashing; many are hashed.
class NameCounter
{
public:
    void clear()
    {
        m_few.clear();
        m_texts.clear();
        if (!m_many.empty())
            m_many.clear();
    }
    /// How often `name` was counted before. May throw std::bad_alloc.
    quint64 count(QStringView name)
    {
        const quint64 begin = beginOf(name);
        for (Few &few : m_few) {
            if (few.begin == begin && few.size == name.size() && endsWith(few, name))
                return few.count++;
        }
        return countNew(name, begin);
    }

private:
    static constexpr size_t mostCompared = 16;
    static constexpr qsizetype unitsOfBegin = sizeof(quint64) / sizeof(char16_t);

    struct Few
    {
        quint64 begin; ///< the first four units
        qsizetype size;
        size_t text; ///< where the whole name begins in m_texts
        quint64 count;
    };

    static quint64 beginOf(QStringView name)
    {
        quint64 begin = 0;
        if (name.size() >= unitsOfBegin) {
            std::memcpy(&begin, name.utf16(), sizeof begin);
        } else {
            for (qsizetype i = 0; i < name.size(); ++i)
                begin |= quint64(name.utf16()[i]) << 16 * i;
        }
        return begin;
    }
    bool endsWith(const Few &few, QStringView name) const
    {
        return few.size <= unitsOfBegin
            || std::memcmp(m_texts.data() + few.text, name.utf16(), size_t(few.size) * sizeof(char16_t)) == 0;
    }
    quint64 countNew(QStringView name, quint64 begin)
    {
        const std::u16string_view text(name.utf16(), size_t(name.size()));
        if (m_few.size() == mostCompared)
            return m_many[std::u16string(text)]++;
        const size_t place = m_texts.size();
        m_texts.append(text);
        m_few.push_back({begin, name.size(), place, 1});
        return 0;
    }

    std::vector<Few> m_few; // the names that came first
    std::u16string m_texts;
    std::unordered_map<std::u16string, quint64> m_many; // all others
};

} // namespace quenlofar
