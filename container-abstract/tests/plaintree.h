#pragma once

#include "elementtree.h"

#include <QTest>

#include <functional>
#include <limits>
#include <vector>

namespace quenlofar {

using Calls = std::function<void(ElementSink &)>;

inline constexpr quint64 max64 = std::numeric_limits<quint64>::max();

/// A leaf without flag, code and index.
inline Field leaf(quint64 offset, quint64 size, QStringView name, QStringView value, QStringView meaning = {},
                  QStringView description = {})
{
    return {false, 0, offset, size, -1, name, value, meaning, description};
}

inline void fill(ElementTree &tree, const Calls &calls)
{
    QVERIFY(tree.beginDocument({QStringLiteral("a.avi"), QStringLiteral("AVI"), 100}));
    calls(tree);
    QVERIFY(tree.endDocument({}));
}

/// One item of the plain tree that the compact one is compared with.
struct PlainItem
{
    bool isNode = false;
    bool flag = false;
    uchar code = 0;
    quint64 offset = 0;
    quint64 size = 0;
    qint64 index = -1;
    QString name, value, meaning, description;
    int parent = 0;
    int row = 0;
    std::vector<int> children; // in the order of the calls
};

/// Keeps everything in the plainest way; item 0 is the root.
class PlainTree : public ElementSink
{
public:
    std::vector<PlainItem> items = {PlainItem{}};

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        m_open = add({true, false, 0, offset, size, index, title.toString(), {}, {}, {}, 0, 0, {}});
        return true;
    }
    bool addField(const Field &field) override
    {
        add({false,
             field.flag,
             field.code,
             field.offset,
             field.size,
             field.index,
             field.name.toString(),
             field.value.toString(),
             field.meaning.toString(),
             field.description.toString(),
             0,
             0,
             {}});
        return true;
    }
    bool endElement() override
    {
        m_open = items[size_t(m_open)].parent;
        return true;
    }
    bool reportFrame(const Frame &) override { return true; }
    int open() const { return m_open; }

    /// The number of the deepest item that covers a byte together with all nodes around it, of several the first; 0
    /// where there is none.
    int itemAt(quint64 byte) const
    {
        int deepest = 0;
        std::vector<int> depths(items.size(), -1); // of what covers the byte
        depths[0] = 0;
        for (size_t number = 1; number < items.size(); ++number) {
            const PlainItem &item = items[number];
            const int depthAround = depths[size_t(item.parent)];
            if (depthAround < 0 || byte < item.offset || byte - item.offset >= item.size)
                continue;
            depths[number] = depthAround + 1;
            if (depths[number] > depths[size_t(deepest)])
                deepest = int(number);
        }
        return deepest;
    }

private:
    int add(PlainItem item)
    {
        const int number = int(items.size());
        item.parent = m_open;
        item.row = int(items[size_t(m_open)].children.size());
        items[size_t(m_open)].children.push_back(number);
        items.push_back(item);
        return number;
    }

    int m_open = 0;
};

/// The handle of item `number` of the plain tree in a tree of the same items.
inline ElementTree::Item handleOf(const ElementTree &tree, const PlainTree &plain, int number)
{
    std::vector<int> rows;
    for (; number != 0; number = plain.items[size_t(number)].parent)
        rows.push_back(plain.items[size_t(number)].row);
    ElementTree::Item item = tree.root();
    for (auto row = rows.rbegin(); row != rows.rend(); ++row)
        item = tree.child(item, quint32(*row));
    return item;
}

/// The first difference between the two trees, or nothing. Looks at every item in every way.
inline QString difference(const ElementTree &tree, const PlainTree &plain)
{
    struct Pair
    {
        ElementTree::Item item;
        int number;
    };
    if (tree.itemCount() != plain.items.size() - 1)
        return QStringLiteral("%1 items").arg(tree.itemCount());
    std::vector<Pair> open = {{tree.root(), 0}};
    while (!open.empty()) {
        const auto [item, number] = open.back();
        open.pop_back();
        const PlainItem &expected = plain.items[size_t(number)];
        if (tree.childCount(item) != expected.children.size())
            return QStringLiteral("item %1 has %2 children").arg(number).arg(tree.childCount(item));
        for (quint32 row = 0; row < tree.childCount(item); ++row) {
            const ElementTree::Item child = tree.child(item, row);
            const int childNumber = expected.children[row];
            const PlainItem &is = plain.items[size_t(childNumber)];
            if (tree.parent(child) != item)
                return QStringLiteral("parent of item %1").arg(childNumber);
            if (tree.row(child) != quint32(is.row))
                return QStringLiteral("row of item %1 is %2").arg(childNumber).arg(tree.row(child));
            if (tree.isNode(child) != is.isNode || tree.offset(child) != is.offset || tree.size(child) != is.size)
                return QStringLiteral("kind or place of item %1").arg(childNumber);
            if (tree.index(child) != is.index)
                return QStringLiteral("index of item %1 is %2").arg(childNumber).arg(tree.index(child));
            if (tree.flag(child) != is.flag || tree.code(child) != is.code)
                return QStringLiteral("flag or code of item %1").arg(childNumber);
            if (tree.name(child) != is.name || tree.value(child) != is.value || tree.meaning(child) != is.meaning
                || tree.description(child) != is.description)
                return QStringLiteral("texts of item %1").arg(childNumber);
            if (tree.isUnparsedData(child) != (!is.isNode && is.name == unparsedDataMarker))
                return QStringLiteral("mark of item %1").arg(childNumber);
            open.push_back({child, childNumber});
        }
    }
    return {};
}

} // namespace quenlofar
