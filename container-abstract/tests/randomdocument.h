#pragma once

#include "elementsink.h"

#include <QString>

#include <algorithm>
#include <random>

namespace quenlofar {

/// Makes up a document, the same one for the same seed. The texts that it lends change as soon as a call returned.
class RandomDocument
{
public:
    RandomDocument(unsigned seed, int calls) : m_random(seed), m_calls(calls) { }

    void operator()(ElementSink &sink)
    {
        sink.beginDocument({QStringLiteral("random.avi"), QStringLiteral("AVI"), qint64(m_random() % 5000000000)});
        int depth = 0;
        for (int i = 0; i < m_calls; ++i) {
            const unsigned kind = below(16);
            if (kind < 4) {
                beginElement(sink);
                ++depth;
            } else if (kind < 7 && depth > 0) {
                sink.endElement();
                --depth;
            } else if (kind == 7) {
                sink.reportFrame({below(3), m_random() % 1000, offset(), size(), below(2) == 0});
            } else {
                const bool isPlain = below(8) != 0;
                const auto [begin, length] = place();
                sink.addField({!isPlain && below(2) == 0, isPlain ? uchar(0) : uchar(below(256)), begin, length,
                               isPlain ? -1 : index(), lend(0, name()), lend(1, value()), lend(2, meaning()),
                               lend(3, below(16) == 0 ? value() : QString())});
            }
            for (QString &text : m_lent)
                text.fill(QChar(0x2603));
        }
        // One document in two leaves nodes open.
        while (depth > 0 && m_calls % 2 == 0) {
            sink.endElement();
            --depth;
        }
        RunResult result;
        result.status = int(below(10));
        result.videoStreams = {{1, 2, 3, 4, 5.5}};
        sink.endDocument(result);
    }

private:
    /// How the children of a node lie. Those of files are mostly in order and near.
    enum class Layout { Anywhere, Near, InOrder };

    void beginElement(ElementSink &sink)
    {
        const auto [begin, length] = below(4) == 0 ? Place{below(300), below(5000)} : place();
        sink.beginElement(begin, length, lend(0, title()), index());
        m_layout = Layout(below(3));
        m_next = begin;
    }
    struct Place
    {
        quint64 offset;
        quint64 size;
    };
    Place place()
    {
        if (m_layout == Layout::Anywhere)
            return {offset(), size()};
        // Around the largest size and distance that a short record has room for.
        const Place found = {m_next
                                 + (m_layout == Layout::Near ? below(1030)
                                        : below(8) == 0      ? below(90)
                                                             : 0),
                             below(12) == 0 ? below(400) : below(18)};
        if (m_layout == Layout::InOrder)
            m_next = found.offset + found.size;
        return found;
    }
    unsigned below(unsigned bound) { return unsigned(m_random() % bound); }
    QString oneOf(std::initializer_list<const char16_t *> texts)
    {
        return QString::fromUtf16(texts.begin()[below(unsigned(texts.size()))]);
    }
    QStringView lend(size_t place, const QString &text)
    {
        // The same characters in the same memory, whatever the text: nothing may be told by its address.
        QString &lent = m_lent[place];
        lent.resize(text.size());
        std::copy(text.begin(), text.end(), lent.begin());
        return lent;
    }
    quint64 offset()
    {
        switch (below(10)) {
        case 0:
            return m_random();
        case 1:
            return (quint64(1) << 46) - below(3);
        default:
            return m_random() % 10000000;
        }
    }
    quint64 size()
    {
        switch (below(10)) {
        case 0:
            return m_random();
        case 1:
            return (quint64(1) << 32) - below(3);
        default:
            return below(100);
        }
    }
    qint64 index()
    {
        switch (below(8)) {
        case 0:
            return 0;
        case 1:
            return qint64(1) << 40;
        case 2:
            return qint64(m_random());
        case 3:
            return m_series++;
        default:
            return -1;
        }
    }
    QString title() { return oneOf({u"00dc", u"01wb", u"idx1_entry", u"LIST(movi)", u"", u"\u00E9", u"\u20AC-title"}); }
    QString name()
    {
        if (below(20) == 0)
            return unparsedDataMarker.toString();
        if (below(20) == 0)
            return QStringLiteral("name %1").arg(m_random() % 100000);
        return oneOf(
            {u"id", u"size", u"dwFlags", u"dwFlagz", u"dwOffset", u"a", u"ab", u"abc", u"acc", u"", u"\u0416"});
    }
    QString meaning()
    {
        if (below(4) != 0)
            return {};
        if (below(2) == 0)
            return QStringLiteral("meaning %1").arg(m_random());
        return oneOf({u"Video", u"Audio", u"25 frames/second", u"\u65E5\u672C"});
    }
    QString value()
    {
        switch (below(6)) {
        case 0:
            return QString::number(m_random() >> below(64));
        case 1:
            return QString(int(below(300)), QChar(ushort(below(0x10000))));
        case 2:
            return QStringLiteral("text %1").arg(below(1000));
        default:
            return oneOf({u"", u"0", u"007", u"+5", u"-1", u"4294967295", u"4294967296", u"00000000001", u"abcd",
                          u"abcde", u"\u00FF\u00FF\u00FF\u00FF", u"\u0100", u"12a", u"9999999999"});
        }
    }

    std::mt19937_64 m_random;
    int m_calls;
    qint64 m_series = 0;
    Layout m_layout = Layout::Anywhere;
    quint64 m_next = 0; // where the last node, or the item after the last one, begins
    QString m_lent[4];
};

} // namespace quenlofar
