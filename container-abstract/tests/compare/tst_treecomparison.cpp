#include "treecomparison.h"

#include "elementpath.h"
#include "plaintree.h"

#include <QTest>

#include <map>
#include <random>

using namespace quenlofar;

namespace {

/**
 * Fills a tree from a text: items separated by blanks, `name=value` or `name` for a leaf, `name{` to open a node and
 * `}` to close it. Every leaf has 4 bytes and every node 100, offsets count up from 0.
 */
void fillFromText(ElementTree &tree, const QString &text)
{
    fill(tree, [&text](ElementSink &sink) {
        quint64 offset = 0;
        for (const QString &item : text.split(QLatin1Char(' '))) {
            const QStringView name = QStringView(item).left(item.size() - 1);
            const auto equals = item.indexOf(QLatin1Char('='));
            if (item == QLatin1String("}"))
                sink.endElement();
            else if (item.endsWith(QLatin1Char('{')))
                sink.beginElement(offset++, 100, name, -1);
            else if (equals >= 0)
                sink.addField(leaf(offset++, 4, QStringView(item).left(equals), QStringView(item).mid(equals + 1)));
            else if (item == QLatin1String("?"))
                sink.addField(leaf(offset++, 4, unparsedDataMarker, {}));
            else if (!item.isEmpty())
                sink.addField(leaf(offset++, 4, item, {}));
        }
    });
}

QString aspectsText(quint32 aspects)
{
    const char *const names[] = {"kind",  "size",   "value",  "meaning", "description",
                                 "index", "offset", "stream", "number",  "key"};
    QString text;
    for (int i = 0; i < 10; ++i) {
        if (aspects >> i & 1)
            text += QLatin1Char(' ') + QLatin1String(names[i]);
    }
    return text;
}

/// One line for each difference: "- path", "+ path" or "~ path" and what differs. The items have to be those of the
/// path.
QStringList itemDifferences(const ElementTree &first, const ElementTree &second, bool compareOffsets = false)
{
    QStringList lines;
    compareItems(first, second, {compareOffsets}, [&](const ItemDifference &difference) {
        const QString path = difference.path.toString();
        const QString kind = QStringLiteral("-+~").mid(difference.kind, 1);
        lines.append(kind + QLatin1Char(' ') + path + aspectsText(difference.aspects));
        const bool isInFirst = difference.kind != ItemDifference::OnlyInSecond;
        const bool isInSecond = difference.kind != ItemDifference::OnlyInFirst;
        if (elementPathText(first, difference.first) != (isInFirst ? path : QString())
            || elementPathText(second, difference.second) != (isInSecond ? path : QString()))
            lines.append(QStringLiteral("other items than of this path"));
        return true;
    });
    return lines;
}

QStringList frameDifferences(const ElementTree &first, const ElementTree &second, bool compareOffsets)
{
    QStringList lines;
    compareFrames(first, second, {compareOffsets}, [&lines](const FrameDifference &difference) {
        const QString position = QString::number(difference.position);
        if (difference.kind == FrameDifference::Count)
            lines.append(QStringLiteral("count ") + position);
        else
            lines.append(position + aspectsText(difference.aspects)
                         + QStringLiteral(": %1 %2").arg(difference.first.offset).arg(difference.second.offset));
        return true;
    });
    return lines;
}

/// A document that can be changed at random and handed to a sink.
struct RandomNode
{
    char16_t name = u'r';
    bool isNode = true;
    unsigned value = 0;
    std::vector<RandomNode> children;

    void grow(std::mt19937 &random, int depth)
    {
        for (auto count = random() % 6; count > 0; --count)
            children.push_back(made(random, depth));
    }
    static RandomNode made(std::mt19937 &random, int depth)
    {
        RandomNode node{char16_t(u'a' + random() % 3), depth > 0 && random() % 2 == 0, unsigned(random() % 3), {}};
        if (node.isNode)
            node.grow(random, depth - 1);
        return node;
    }
    void change(std::mt19937 &random)
    {
        for (size_t i = 0; i < children.size(); ++i) {
            switch (random() % 16) {
            case 0:
                children.erase(children.begin() + std::ptrdiff_t(i--));
                break;
            case 1:
                children.insert(children.begin() + std::ptrdiff_t(i++), made(random, 2));
                break;
            case 2:
                std::swap(children[i], children[random() % children.size()]);
                break;
            case 3:
                children[i].value = unsigned(random() % 3);
                break;
            default:
                children[i].change(random);
            }
        }
    }
    void report(ElementSink &sink) const
    {
        for (const RandomNode &child : children) {
            const QStringView title(&child.name, 1);
            if (child.isNode) {
                sink.beginElement(0, child.value, title, -1);
                child.report(sink);
                sink.endElement();
            } else {
                sink.addField(leaf(0, 1, title, QString::number(child.value)));
            }
        }
    }
};

using ItemsByPath = std::map<QString, ElementTree::Item>;

ItemsByPath itemsByPath(const ElementTree &tree)
{
    ItemsByPath items;
    std::vector<ElementTree::Item> open = {tree.root()};
    while (!open.empty()) {
        const ElementTree::Item item = open.back();
        open.pop_back();
        for (quint32 row = 0; row < tree.childCount(item); ++row) {
            open.push_back(tree.child(item, row));
            items.emplace(elementPathText(tree, open.back()), open.back());
        }
    }
    return items;
}

/// Whether the parent of the item is a node in both trees, or the item stands at the top level.
bool isInsideBoth(const QString &path, const ItemsByPath &otherItems, const ElementTree &other)
{
    const auto slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return true;
    const auto parent = otherItems.find(path.left(slash));
    return parent != otherItems.end() && other.isNode(parent->second);
}

/// What is to be reported, by looking up each path in the other tree; in any order.
QStringList expectedDifferences(const ElementTree &first, const ElementTree &second)
{
    QStringList lines;
    const ItemsByPath itemsOfFirst = itemsByPath(first);
    const ItemsByPath itemsOfSecond = itemsByPath(second);
    for (const auto &[path, item] : itemsOfFirst) {
        const auto other = itemsOfSecond.find(path);
        if (other == itemsOfSecond.end()) {
            if (isInsideBoth(path, itemsOfSecond, second))
                lines.append(QStringLiteral("- ") + path);
            continue;
        }
        const quint32 aspects = (first.isNode(item) != second.isNode(other->second) ? KindDiffers : 0U)
            | (first.size(item) != second.size(other->second) ? SizeDiffers : 0U)
            | (first.value(item) != second.value(other->second) ? ValueDiffers : 0U);
        if (aspects != 0)
            lines.append(QStringLiteral("~ ") + path + aspectsText(aspects));
    }
    for (const auto &[path, item] : itemsOfSecond) {
        if (itemsOfFirst.find(path) == itemsOfFirst.end() && isInsideBoth(path, itemsOfFirst, first))
            lines.append(QStringLiteral("+ ") + path);
    }
    return lines;
}

} // namespace

Q_DECLARE_METATYPE(std::vector<Frame>)

class TestTreeComparison : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void items_data();
    void items();
    void aspects_data();
    void aspects();
    void offsetsOnRequest();
    void aVisitorMayEndTheComparison();
    void randomTreesAgreeWithLookingUpEachPath();
    void manySiblings_data();
    void manySiblings();
    void deepNodes();
    void frames_data();
    void frames();
    void aVisitorMayEndTheComparisonOfFrames();
};

void TestTreeComparison::items_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QStringList>("differences");

    const auto row = [](const char *rule, const char *first, const char *second,
                        std::initializer_list<const char *> differences) {
        QStringList lines;
        for (const char *line : differences)
            lines.append(QString::fromLatin1(line));
        QTest::newRow(rule) << QString::fromLatin1(first) << QString::fromLatin1(second) << lines;
    };
    row("two empty trees", "", "", {});
    row("equal trees", "n{ a=1 m{ a=2 } ? } b", "n{ a=1 m{ a=2 } ? } b", {});
    row("all is new", "", "a n{ b }", {"+ a", "+ n"});
    row("all is gone", "a n{ b }", "", {"- a", "- n"});
    row("a value", "n{ a=1 b=2 }", "n{ a=1 b=3 }", {"~ n/b value"});
    row("a value that only one has", "a", "a=0", {"~ a value"});
    row("values in nodes of one title", "n{ a=1 } n{ a=1 }", "n{ a=1 } n{ a=2 }", {"~ n[1]/a value"});
    row("a missing node is reported without its inside", "n{ m{ a b } c }", "n{ c }", {"- n/m"});
    row("a new node is reported without its inside", "n{ c }", "n{ c m{ a b } }", {"+ n/m"});
    row("a node instead of a leaf is reported without its inside", "a b{ c }", "a{ c } b",
        {"~ a kind size", "~ b kind size"});
    row("names differ in case", "a", "A", {"- a", "+ A"});
    row("of like-named siblings the last are missing", "a=1 a=2 a=3 b", "a=1 a=3 b", {"~ a[1] value", "- a[2]"});
    row("nodes and leaves of one name are counted together", "a{ x } a=1 b", "a{ x } a=1 b a{ x }", {"+ a[2]"});
    row("unparsed data goes by that name", "? a ?", "? a unparsed=1 ?", {"~ unparsed[1] value", "+ unparsed[2]"});
    row("an addition comes before the sibling that follows it", "a=1 b=1 c=1", "a=2 x b=2 y z c=2 w",
        {"~ a value", "+ x", "~ b value", "+ y", "+ z", "~ c value", "+ w"});
    row("an addition comes after what is gone from its place", "a b c", "a x c", {"- b", "+ x"});
    row("in front of all", "a=1", "x y a=2", {"+ x", "+ y", "~ a value"});
    row("an addition before a node comes before its inside", "n{ a=1 } b", "x n{ a=2 } b", {"+ x", "~ n/a value"});
    row("an addition behind a node comes after its inside", "n{ a=1 } b", "n{ a=2 } x b", {"~ n/a value", "+ x"});
    row("another order is no difference", "a=1 b=2 c=3", "c=3 a=1 b=2", {});
    row("another order: the order of the first", "a=1 b=1 c=1", "c=2 b=2 a=2", {"~ a value", "~ b value", "~ c value"});
    row("another order: an addition goes with its follower", "a=1 b=1", "b=2 x a=2 y",
        {"+ x", "~ a value", "~ b value", "+ y"});
    row("differences on several levels", "n{ a=1 m{ a=1 } b=1 } c=1", "n{ a=2 m{ a=2 } b=2 } c=2",
        {"~ n/a value", "~ n/m/a value", "~ n/b value", "~ c value"});
    row("numbers of all open nodes", "n{ m{ a } m{ a } } n{ m{ a } m{ a=1 } }",
        "n{ m{ a } m{ a } } n{ m{ a } m{ a=2 b } }", {"~ n[1]/m[1]/a value", "+ n[1]/m[1]/b"});
    row("numbers after many siblings", "a a a a a a a a a a a a a a a a a a=1 n{ b=1 }",
        "a a a a a a a a a a a a a a a a a a=2 n{ b=2 }", {"~ a[17] value", "~ n/b value"});
    row("inside nodes that are in another order", "n{ a=1 } n{ a=2 } b", "b n{ a=1 } x n{ a=3 }",
        {"+ x", "~ n[1]/a value"});
    row("an empty name", "n{ =1 }", "n{ =2 =3 }", {"~ n/ value", "+ n/[1]"});
    row("a node without children on one side", "n{ }", "n{ a m{ b } }", {"+ n/a", "+ n/m"});
    row("characters that paths escape", "a/b=1", "a/b=2", {"~ a%2Fb value"});
}

void TestTreeComparison::items()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    ElementTree a, b;
    fillFromText(a, first);
    fillFromText(b, second);
    QTEST(itemDifferences(a, b), "differences");
    QCOMPARE(itemDifferences(a, a), QStringList());
}

void TestTreeComparison::aspects_data()
{
    QTest::addColumn<bool>("isNode");
    QTest::addColumn<quint64>("size");
    QTest::addColumn<QString>("meaning");
    QTest::addColumn<QString>("description");
    QTest::addColumn<qint64>("index");
    QTest::addColumn<bool>("flag");
    QTest::addColumn<QStringList>("differences");

    const QString meaning = QStringLiteral("m");
    const QString description = QStringLiteral("d");
    const auto line = [](const char *text) { return QStringList(QString::fromLatin1(text)); };
    QTest::newRow("none") << false << quint64(5) << meaning << description << qint64(7) << false << QStringList();
    QTest::newRow("size") << false << quint64(6) << meaning << description << qint64(7) << false << line("~ a size");
    QTest::newRow("meaning") << false << quint64(5) << QString() << description << qint64(7) << false
                             << line("~ a meaning");
    QTest::newRow("description") << false << quint64(5) << meaning << QStringLiteral("e") << qint64(7) << false
                                 << line("~ a description");
    QTest::newRow("index") << false << quint64(5) << meaning << description << qint64(-1) << false << line("~ a index");
    QTest::newRow("several") << false << quint64(0) << QString() << QString() << qint64(0) << false
                             << line("~ a size meaning description index");
    QTest::newRow("kind") << true << quint64(5) << QString() << QString() << qint64(7) << false
                          << line("~ a kind meaning description");
    QTest::newRow("the host's flag and code are not compared")
        << false << quint64(5) << meaning << description << qint64(7) << true << QStringList();
}

void TestTreeComparison::aspects()
{
    QFETCH(bool, isNode);
    QFETCH(quint64, size);
    QFETCH(QString, meaning);
    QFETCH(QString, description);
    QFETCH(qint64, index);
    QFETCH(bool, flag);
    ElementTree a, b;
    fill(a, [](ElementSink &sink) { sink.addField({false, 0, 1, 5, 7, u"a", {}, u"m", u"d"}); });
    fill(b, [&](ElementSink &sink) {
        if (isNode)
            sink.beginElement(1, size, u"a", index);
        else
            sink.addField({flag, uchar(flag), 1, size, index, u"a", {}, meaning, description});
    });
    QTEST(itemDifferences(a, b), "differences");
    QTEST(itemDifferences(b, a), "differences");
}

void TestTreeComparison::offsetsOnRequest()
{
    ElementTree a, b;
    fillFromText(a, QStringLiteral("a n{ b=1 }"));
    fillFromText(b, QStringLiteral("x a n{ b=2 }"));
    QCOMPARE(itemDifferences(a, b), (QStringList{QStringLiteral("+ x"), QStringLiteral("~ n/b value")}));
    QCOMPARE(itemDifferences(a, b, true),
             (QStringList{QStringLiteral("+ x"), QStringLiteral("~ a offset"), QStringLiteral("~ n offset"),
                          QStringLiteral("~ n/b value offset")}));
}

void TestTreeComparison::aVisitorMayEndTheComparison()
{
    ElementTree a, b;
    fillFromText(a, QStringLiteral("a=1 n{ b } g"));
    fillFromText(b, QStringLiteral("a=2 n{ x b y } z"));
    // ~ a, + n/x, + n/y, - g, + z
    for (int last = 1; last <= 5; ++last) {
        int seen = 0;
        QVERIFY(!compareItems(a, b, {}, [&seen, last](const ItemDifference &) { return ++seen < last; }));
        QCOMPARE(seen, last);
    }
    QVERIFY(compareItems(a, b, {}, [](const ItemDifference &) { return true; }));
}

void TestTreeComparison::randomTreesAgreeWithLookingUpEachPath()
{
    std::mt19937 random(5);
    int differences = 0;
    for (int round = 0; round < 1500; ++round) {
        RandomNode document;
        document.grow(random, 4);
        ElementTree a, b;
        fill(a, [&document](ElementSink &sink) { document.report(sink); });
        if (round % 10 == 0)
            document = RandomNode::made(random, 4);
        else
            document.change(random);
        fill(b, [&document](ElementSink &sink) { document.report(sink); });

        QStringList lines = itemDifferences(a, b);
        QStringList expected = expectedDifferences(a, b);
        differences += int(lines.size());
        lines.sort();
        expected.sort();
        QCOMPARE(lines, expected);

        // What is not new comes in the order of the first tree.
        quint64 place = 0;
        std::map<ElementTree::Item, quint64> places;
        std::vector<ElementTree::Item> open = {a.root()};
        while (!open.empty()) {
            const ElementTree::Item item = open.back();
            open.pop_back();
            places[item] = place++;
            for (quint32 row = a.childCount(item); row > 0; --row)
                open.push_back(a.child(item, row - 1));
        }
        quint64 last = 0;
        bool isAscending = true;
        compareItems(a, b, {}, [&](const ItemDifference &difference) {
            if (difference.kind != ItemDifference::OnlyInSecond) {
                isAscending = isAscending && places[difference.first] > last;
                last = places[difference.first];
            }
            return true;
        });
        QVERIFY(isAscending);
    }
    QVERIFY(differences > 3000);
}

void TestTreeComparison::manySiblings_data()
{
    QTest::addColumn<quint32>("titles");
    QTest::addColumn<quint32>("inserted"); // before this row; none at 0
    QTest::addColumn<quint32>("changedEvery");
    QTest::addColumn<quint32>("changed");

    constexpr quint32 never = 0xFFFFFFFF;
    QTest::newRow("in step") << 2U << 0U << never << 1U;
    QTest::newRow("in step, many differ") << 2U << 0U << 2U << 100000U;
    QTest::newRow("one inserted") << 2U << 1U << never << 1U;
    QTest::newRow("one inserted, many differ") << 2U << 1U << 2U << 100000U;
    QTest::newRow("a name of its own each") << 200000U << 100000U << 4U << 50000U;
}

void TestTreeComparison::manySiblings()
{
    QFETCH(quint32, titles);
    QFETCH(quint32, inserted);
    QFETCH(quint32, changedEvery);
    QFETCH(quint32, changed);
    constexpr quint32 count = 200000;
    const auto fillMany = [&](ElementTree *tree, bool isSecond) {
        fill(*tree, [&](ElementSink &sink) {
            sink.beginElement(0, 1, u"LIST(movi)", -1);
            for (quint32 i = 0; i < count; ++i) {
                if (isSecond && inserted > 0 && i == inserted)
                    sink.addField(leaf(0, 1, u"inserted", {}));
                sink.beginElement(0, isSecond && i % changedEvery == 0 ? 2 : 1, QString::number(i % titles), -1);
                sink.endElement();
            }
        });
    };
    ElementTree a, b;
    fillMany(&a, false);
    fillMany(&b, true);

    quint32 seen = 0;
    QStringList additions;
    QString lastPath;
    compareItems(a, b, {}, [&](const ItemDifference &difference) {
        if (difference.kind == ItemDifference::Changed) {
            ++seen;
            lastPath = difference.path.toString();
        } else {
            additions.append(difference.path.toString());
        }
        return true;
    });
    QCOMPARE(seen, changed);
    QCOMPARE(additions, inserted > 0 ? QStringList(QStringLiteral("LIST(movi)/inserted")) : QStringList());
    if (changed == 100000)
        QCOMPARE(lastPath, QStringLiteral("LIST(movi)/0[99999]"));
}

void TestTreeComparison::deepNodes()
{
    constexpr int depth = 1000000;
    const auto fillDeep = [](ElementTree *tree, QStringView value) {
        fill(*tree, [value](ElementSink &sink) {
            for (int i = 0; i < depth; ++i) {
                sink.addField(leaf(0, 1, u"n", {}));
                sink.beginElement(0, 1, u"n", -1);
            }
            sink.addField(leaf(0, 1, u"v", value));
            for (int i = 0; i < depth; ++i)
                sink.endElement();
        });
    };
    ElementTree a, b;
    fillDeep(&a, u"1");
    fillDeep(&b, u"2");
    int seen = 0;
    QVERIFY(compareItems(a, b, {}, [&seen](const ItemDifference &difference) {
        ++seen;
        return difference.path.size() == depth * 5 + 1 && difference.path.endsWith(u"/n[1]/v");
    }));
    QCOMPARE(seen, 1);
}

void TestTreeComparison::frames_data()
{
    QTest::addColumn<std::vector<Frame>>("first");
    QTest::addColumn<std::vector<Frame>>("second");
    QTest::addColumn<QStringList>("differences");
    QTest::addColumn<QStringList>("withOffsets");

    const auto row = [](const char *rule, const std::vector<Frame> &first, const std::vector<Frame> &second,
                        const QStringList &differences, const QStringList &withOffsets) {
        QTest::newRow(rule) << first << second << differences << withOffsets;
    };
    const auto lines = [](const char *line) { return QStringList(QString::fromLatin1(line)); };
    const Frame frame{1, 2, 30, 4, true};
    row("no frames", {}, {}, {}, {});
    row("the same", {frame, frame}, {frame, frame}, {}, {});
    row("fewer", {frame, frame}, {frame}, lines("count 1"), lines("count 1"));
    row("more", {}, {frame, frame}, lines("count 0"), lines("count 0"));
    row("stream", {frame}, {{0, 2, 30, 4, true}}, lines("0 stream: 30 30"), lines("0 stream: 30 30"));
    row("number", {frame}, {{1, 3, 30, 4, true}}, lines("0 number: 30 30"), lines("0 number: 30 30"));
    row("size", {frame}, {{1, 2, 30, 5, true}}, lines("0 size: 30 30"), lines("0 size: 30 30"));
    row("key", {frame}, {{1, 2, 30, 4, false}}, lines("0 key: 30 30"), lines("0 key: 30 30"));
    row("offset, on request", {frame}, {{1, 2, 31, 4, true}}, {}, lines("0 offset: 30 31"));
    row("the count first, then the frames that both have", {frame, frame, frame}, {frame, {7, 7, 7, 7, false}},
        {QStringLiteral("count 2"), QStringLiteral("1 size stream number key: 30 7")},
        {QStringLiteral("count 2"), QStringLiteral("1 size offset stream number key: 30 7")});
}

void TestTreeComparison::frames()
{
    QFETCH(std::vector<Frame>, first);
    QFETCH(std::vector<Frame>, second);
    const auto fillFrames = [](ElementTree *tree, const std::vector<Frame> &frames) {
        fill(*tree, [&frames](ElementSink &sink) {
            for (const Frame &frame : frames)
                sink.reportFrame(frame);
        });
    };
    ElementTree a, b;
    fillFrames(&a, first);
    fillFrames(&b, second);
    QTEST(frameDifferences(a, b, false), "differences");
    QTEST(frameDifferences(a, b, true), "withOffsets");
}

void TestTreeComparison::aVisitorMayEndTheComparisonOfFrames()
{
    ElementTree a, b;
    fill(a, [](ElementSink &sink) { sink.reportFrame({0, 0, 0, 1, true}); });
    fill(b, [](ElementSink &sink) {
        sink.reportFrame({0, 0, 0, 2, true});
        sink.reportFrame({0, 1, 0, 2, true});
    });
    for (int last = 1; last <= 2; ++last) {
        int seen = 0;
        QVERIFY(!compareFrames(a, b, {}, [&seen, last](const FrameDifference &) { return ++seen < last; }));
        QCOMPARE(seen, last);
    }
    QVERIFY(compareFrames(a, b, {}, [](const FrameDifference &) { return true; }));
}

QTEST_APPLESS_MAIN(TestTreeComparison)
#include "tst_treecomparison.moc"
