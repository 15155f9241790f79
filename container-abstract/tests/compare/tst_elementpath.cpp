#include "elementpath.h"

#include "failingnew.h"
#include "plaintree.h"
#include "randomdocument.h"

#include <QTest>

#include <map>

using namespace quenlofar;

namespace {

using Components = QVector<QPair<QString, quint64>>;

Components componentsOf(const ElementPath &path)
{
    Components components;
    for (const PathComponent &component : path)
        components.append({component.name, component.number});
    return components;
}

ElementPath pathOf(const Components &components)
{
    ElementPath path;
    for (const auto &[name, number] : components)
        path.append({name, number});
    return path;
}

QString utf16(std::initializer_list<char16_t> units)
{
    return QString(reinterpret_cast<const QChar *>(units.begin()), int(units.size()));
}

/// Writes down the path of every item of a walk, in the order of the calls, as a tracker tells it.
class PathSink : public ElementSink
{
public:
    QStringList paths;
    QVector<quint64> offsets;

    bool beginElement(quint64 offset, quint64, QStringView title, qint64) override
    {
        m_tracker.enter(title);
        return note(offset);
    }
    bool addField(const Field &field) override
    {
        m_tracker.leaf(field.name);
        return note(field.offset);
    }
    bool endElement() override
    {
        m_tracker.leave();
        return true;
    }
    bool reportFrame(const Frame &) override { return true; }

private:
    bool note(quint64 offset)
    {
        paths.append(m_tracker.path().toString());
        offsets.append(offset);
        return true;
    }

    ElementPathTracker m_tracker;
};

/// The items of a tree in document order.
std::vector<ElementTree::Item> itemsOf(const ElementTree &tree)
{
    std::vector<ElementTree::Item> items;
    std::vector<ElementTree::Item> open = {tree.root()};
    while (!open.empty()) {
        const ElementTree::Item item = open.back();
        open.pop_back();
        if (item != tree.root())
            items.push_back(item);
        for (quint32 row = tree.childCount(item); row > 0; --row)
            open.push_back(tree.child(item, row - 1));
    }
    return items;
}

void sampleDocument(ElementSink &sink)
{
    sink.beginElement(0, 90, u"RIFF(AVI )", -1);
    sink.addField(leaf(0, 4, u"id", u"RIFF"));
    sink.beginElement(12, 20, u"LIST(strl)", -1);
    sink.addField(leaf(13, 1, u"a", u"1"));
    sink.endElement();
    sink.beginElement(32, 20, u"LIST(strl)", -1);
    sink.addField(leaf(33, 1, u"a", u"1"));
    sink.addField(leaf(34, 1, u"a", u"2"));
    sink.addField(leaf(35, 1, u"A", u"3"));
    sink.endElement();
    sink.addField(leaf(52, 5, unparsedDataMarker, {}));
    sink.beginElement(57, 3, u"unparsed", -1);
    sink.addField(leaf(57, 3, {}, u"no name"));
    sink.endElement();
    sink.addField(leaf(60, 5, unparsedDataMarker, {}));
    sink.addField(leaf(65, 1, u"LIST(strl)", u"a leaf"));
    sink.endElement();
    sink.addField(leaf(90, 1, u"50%[x]/\u0085", u"v"));
    sink.beginElement(91, 9, {}, -1);
    sink.addField(leaf(92, 1, u"in a node without a title", u"v"));
    sink.endElement();
}

const QStringList samplePaths{
    QStringLiteral("RIFF(AVI )"),
    QStringLiteral("RIFF(AVI )/id"),
    QStringLiteral("RIFF(AVI )/LIST(strl)"),
    QStringLiteral("RIFF(AVI )/LIST(strl)/a"),
    QStringLiteral("RIFF(AVI )/LIST(strl)[1]"),
    QStringLiteral("RIFF(AVI )/LIST(strl)[1]/a"),
    QStringLiteral("RIFF(AVI )/LIST(strl)[1]/a[1]"),
    QStringLiteral("RIFF(AVI )/LIST(strl)[1]/A"),
    QStringLiteral("RIFF(AVI )/unparsed"),
    QStringLiteral("RIFF(AVI )/unparsed[1]"),
    QStringLiteral("RIFF(AVI )/unparsed[1]/"),
    QStringLiteral("RIFF(AVI )/unparsed[2]"),
    QStringLiteral("RIFF(AVI )/LIST(strl)[2]"),
    QStringLiteral("50%25%5Bx%5D%2F%C2%85"),
    QString(),
    QStringLiteral("/in a node without a title"),
};

} // namespace

class TestElementPath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pathsAndTheirText_data();
    void pathsAndTheirText();
    void otherWaysToWriteAPath_data();
    void otherWaysToWriteAPath();
    void malformedPaths_data();
    void malformedPaths();
    void aTrackerTellsThePathOfEachItem();
    void theCurrentItem();
    void pathsOfTreeItems();
    void finding_data();
    void finding();
    void whatCannotBeFound_data();
    void whatCannotBeFound();
    void theSearchIsDecidedEarly();
    void aFinderStartsAnewWithEachDocument();
    void sizesThatComeLast();
    void randomDocuments_data();
    void randomDocuments();
    void manySiblings_data();
    void manySiblings();
    void deepNodes();
};

void TestElementPath::pathsAndTheirText_data()
{
    QTest::addColumn<Components>("components");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *rule, const Components &components, const QString &text) {
        QTest::newRow(rule) << components << text;
    };
    const auto oneName = [](const char *rule, const QString &name, const QString &text) {
        QTest::newRow(rule) << Components{{name, 0}} << text;
    };
    row("components are joined by slashes", {{QStringLiteral("RIFF(AVI )"), 0}, {QStringLiteral("id"), 0}},
        QStringLiteral("RIFF(AVI )/id"));
    row("the first of its name has no number, the others do",
        {{QStringLiteral("a"), 1}, {QStringLiteral("a"), 0}, {QStringLiteral("b"), 10}},
        QStringLiteral("a[1]/a/b[10]"));
    row("the largest number", {{QStringLiteral("a"), max64}}, QStringLiteral("a[18446744073709551615]"));
    row("an empty name", {{QString(), 0}}, QString());
    row("an empty name with a number", {{QString(), 3}}, QStringLiteral("[3]"));
    row("empty names at both ends and between",
        {{QString(), 0}, {QStringLiteral("a"), 0}, {QString(), 0}, {QString(), 1}, {QString(), 0}},
        QStringLiteral("/a//[1]/"));
    oneName("slash, brackets and percent sign", QStringLiteral("/[]%"), QStringLiteral("%2F%5B%5D%25"));
    oneName("what stands around them stays", QStringLiteral("a/b]c"), QStringLiteral("a%2Fb%5Dc"));
    oneName("the first and the last control characters", utf16({0, 0x1F, 0x7F, 0x80, 0x9F}),
            QStringLiteral("%00%1F%7F%C2%80%C2%9F"));
    oneName("their neighbours stay", utf16({0x20, 0x7E, 0xA0}), utf16({0x20, 0x7E, 0xA0}));
    oneName("other characters stay", QStringLiteral("\u00E9\u20AC\U0001F3AC\\\"'"),
            QStringLiteral("\u00E9\u20AC\U0001F3AC\\\"'"));
    oneName("lone surrogates stay", utf16({0xDC80, u'a', 0xD800}), utf16({0xDC80, u'a', 0xD800}));
}

void TestElementPath::pathsAndTheirText()
{
    QFETCH(Components, components);
    QFETCH(QString, text);
    QCOMPARE(elementPathText(pathOf(components)), text);
    if (components.size() == 1 && components[0].second == 0)
        QCOMPARE(escapedPathName(components[0].first), text);

    ElementPath path;
    QString error;
    QVERIFY2(parseElementPath(text, &path, &error), qPrintable(error));
    QCOMPARE(componentsOf(path), components);
    QVERIFY(error.isNull());
}

void TestElementPath::otherWaysToWriteAPath_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Components>("components");

    QTest::newRow("[0] may be given") << QStringLiteral("a[0]/b")
                                      << Components{{QStringLiteral("a"), 0}, {QStringLiteral("b"), 0}};
    QTest::newRow("zeros in front") << QStringLiteral("a[007]") << Components{{QStringLiteral("a"), 7}};
    QTest::newRow("small hexadecimal letters") << QStringLiteral("%2f%5b") << Components{{QStringLiteral("/["), 0}};
    QTest::newRow("any character in hexadecimal") << QStringLiteral("%41%C3%A9%E2%82%ACb%F0%9F%8E%AC")
                                                  << Components{{QStringLiteral("A\u00E9\u20ACb\U0001F3AC"), 0}};
    QTest::newRow("control characters as they are")
        << QStringLiteral("a\tb") << Components{{QStringLiteral("a\tb"), 0}};
}

void TestElementPath::otherWaysToWriteAPath()
{
    QFETCH(QString, text);
    ElementPath path;
    QString error;
    QVERIFY2(parseElementPath(text, &path, &error), qPrintable(error));
    QTEST(componentsOf(path), "components");
}

void TestElementPath::malformedPaths_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");

    const QString percent = QStringLiteral("\"%\" without two hexadecimal digits; in a name it is written %25");
    const QString utf8 = QStringLiteral("the bytes written %XX are not UTF-8");
    const QString bracket = QStringLiteral("\"[\" without a number and \"]\"; in a name it is written %5B");
    const QString large = QStringLiteral("the number in \"[\" and \"]\" is too large");
    const auto row = [](const char *text, int place, const QString &error) {
        QTest::newRow(text) << QString::fromLatin1(text)
                            << QStringLiteral("character ") + QString::number(place) + QStringLiteral(": ") + error;
    };
    row("%", 1, percent);
    row("a/b%", 4, percent);
    row("%4", 1, percent);
    row("%41%4", 4, percent);
    row("%G0", 1, percent);
    row("%0g", 1, percent);
    row("%@0", 1, percent);
    row("%:0", 1, percent);
    row("%%25", 1, percent);
    row("a%FF", 2, utf8);
    row("a%41%C3", 5, utf8);
    row("%C3\xA9", 1, utf8);
    row("%C3x%A9", 1, utf8);
    row("%ED%A0%80", 1, utf8);
    row("a[", 2, bracket);
    row("a[]", 2, bracket);
    row("a[1", 2, bracket);
    row("a[1/b", 2, bracket);
    row("a[-1]", 2, bracket);
    row("a[+1]", 2, bracket);
    row("a[1 ]", 2, bracket);
    row("a[x]", 2, bracket);
    row("a[/b", 2, bracket);
    row("a[:]", 2, bracket);
    row("a]", 2, QStringLiteral("\"]\" without \"[\" before it; in a name it is written %5D"));
    row("a[1]b", 5, QStringLiteral("only \"/\" or the end of the path may follow \"]\""));
    row("a[1][2]", 5, QStringLiteral("only \"/\" or the end of the path may follow \"]\""));
    row("a[18446744073709551616]", 2, large);
    row("a[99999999999999999999]", 2, large);
}

void TestElementPath::malformedPaths()
{
    QFETCH(QString, text);
    ElementPath path{{QStringLiteral("kept"), 5}};
    QString error;
    QVERIFY(!parseElementPath(text, &path, &error));
    QTEST(error, "error");
    QCOMPARE(componentsOf(path), (Components{{QStringLiteral("kept"), 5}}));
}

void TestElementPath::aTrackerTellsThePathOfEachItem()
{
    PathSink sink;
    sampleDocument(sink);
    QCOMPARE(sink.paths, samplePaths);
}

void TestElementPath::theCurrentItem()
{
    ElementPathTracker tracker;
    QVERIFY(tracker.path().isNull());
    tracker.leave();
    tracker.leaf(u"a");
    tracker.leaf(u"a");
    QCOMPARE(tracker.path().toString(), QStringLiteral("a[1]"));
    QCOMPARE(tracker.path().toString(), QStringLiteral("a[1]"));
    tracker.enter(u"a");
    tracker.enter(u"b");
    tracker.leaf(u"c");
    tracker.leave();
    QCOMPARE(tracker.path().toString(), QStringLiteral("a[2]"));
    tracker.leaf(u"b");
    QCOMPARE(tracker.path().toString(), QStringLiteral("a[2]/b[1]"));
    tracker.leave();
    QVERIFY(tracker.path().isNull());
    tracker.enter({});
    QVERIFY(!tracker.path().isNull() && tracker.path().isEmpty());
    tracker.clear();
    QVERIFY(tracker.path().isNull());
    tracker.leaf(u"a");
    QCOMPARE(tracker.path().toString(), QStringLiteral("a"));
}

void TestElementPath::pathsOfTreeItems()
{
    ElementTree tree;
    fill(tree, sampleDocument);
    QStringList paths;
    for (const ElementTree::Item item : itemsOf(tree))
        paths.append(elementPathText(tree, item));
    QCOMPARE(paths, samplePaths);
    QVERIFY(elementPathText(tree, tree.root()).isNull());
    QVERIFY(elementPathText(ElementPath()).isNull());
}

void TestElementPath::finding_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isNode");
    QTest::addColumn<quint64>("offset");
    QTest::addColumn<quint64>("size");

    const auto row = [](const char *path, bool isNode, quint64 offset, quint64 size) {
        QTest::newRow(path) << QString::fromUtf8(path) << isNode << offset << size;
    };
    row("RIFF(AVI )", true, 0, 90);
    row("RIFF(AVI )[0]/id[0]", false, 0, 4);
    row("RIFF(AVI )/LIST(strl)", true, 12, 20);
    row("RIFF(AVI )/LIST(strl)[1]", true, 32, 20);
    row("RIFF(AVI )/LIST(strl)[2]", false, 65, 1);
    row("RIFF(AVI )/LIST(strl)/a", false, 13, 1);
    row("RIFF(AVI )/LIST(strl)[1]/a[1]", false, 34, 1);
    row("RIFF(AVI )/LIST(strl)[1]/A", false, 35, 1);
    row("RIFF(AVI )/unparsed", false, 52, 5);
    row("RIFF(AVI )/unparsed[1]", true, 57, 3);
    row("RIFF(AVI )/unparsed[1]/", false, 57, 3);
    row("RIFF(AVI )/unparsed[2]", false, 60, 5);
    row("50%25%5Bx%5D%2F%C2%85", false, 90, 1);
    row("", true, 91, 9);
    row("/in a node without a title", false, 92, 1);
}

void TestElementPath::finding()
{
    QFETCH(QString, text);
    ElementPath path;
    QString error;
    QVERIFY2(parseElementPath(text, &path, &error), qPrintable(error));
    ElementPathFinder finder(path);
    QVERIFY(finder.beginDocument({}));
    sampleDocument(finder);
    QVERIFY(finder.found() && finder.isDecided());
    QTEST(finder.isNode(), "isNode");
    QTEST(finder.offset(), "offset");
    QTEST(finder.size(), "size");
}

void TestElementPath::whatCannotBeFound_data()
{
    QTest::addColumn<QString>("text");
    for (const char *path : {"id", "RIFF(AVI )[1]", "RIFF(AVI )/LIST(strl)[3]", "RIFF(AVI )/LIST(strl)/a[1]",
                             "RIFF(AVI )/LIST(strl)[1]/a[2]", "RIFF(AVI )/id/a", "riff(avi )", "RIFF(AVI )/",
                             "RIFF(AVI )/LIST(strl)/A", "RIFF(AVI )/LIST(strl)[2]/a", "RIFF(AVI )/unparsed[3]", "[1]"})
        QTest::newRow(path) << QString::fromUtf8(path);
    QTest::newRow("the mark of unparsed data") << QStringLiteral("RIFF(AVI )/") + unparsedDataMarker.toString();
}

void TestElementPath::whatCannotBeFound()
{
    QFETCH(QString, text);
    ElementPath path;
    QString error;
    QVERIFY2(parseElementPath(text, &path, &error), qPrintable(error));
    ElementPathFinder finder(path);
    finder.beginDocument({});
    sampleDocument(finder);
    QVERIFY(!finder.found());
}

void TestElementPath::theSearchIsDecidedEarly()
{
    ElementPathFinder finder({{QStringLiteral("n"), 0}, {QStringLiteral("a"), 1}});
    finder.beginDocument({});
    QVERIFY(!finder.isDecided());
    finder.beginElement(0, 9, u"n", -1);
    finder.addField(leaf(0, 1, u"a", {}));
    finder.reportFrame({});
    QVERIFY(!finder.isDecided());
    finder.endElement();
    QVERIFY(finder.isDecided() && !finder.found());
    finder.beginElement(0, 9, u"n", -1);
    finder.addField(leaf(0, 1, u"a", {}));
    finder.addField(leaf(0, 1, u"a", {}));
    QVERIFY(!finder.found());

    ElementPathFinder ofNothing({});
    ofNothing.beginDocument({});
    QVERIFY(ofNothing.isDecided());
    sampleDocument(ofNothing);
    QVERIFY(!ofNothing.found());
}

void TestElementPath::aFinderStartsAnewWithEachDocument()
{
    ElementPathFinder finder({{QStringLiteral("a"), 1}});
    finder.beginDocument({});
    finder.endElement();
    finder.addField(leaf(1, 2, u"a", {}));
    finder.beginElement(3, 4, u"a", -1);
    QVERIFY(finder.found() && finder.isNode());
    finder.beginDocument({});
    QVERIFY(!finder.found() && !finder.isNode() && finder.offset() == 0 && finder.size() == 0);
    finder.addField(leaf(1, 2, u"a", {}));
    QVERIFY(!finder.found());
    finder.addField(leaf(5, 6, u"a", {}));
    QVERIFY(finder.found() && !finder.isNode() && finder.offset() == 5 && finder.size() == 6);
}

void TestElementPath::sizesThatComeLast()
{
    const auto walk = [](ElementPathFinder &finder) {
        finder.beginDocument({});
        finder.beginElement(0, sizeFromEnd, u"before", -1);
        finder.setElementSize(1);
        finder.endElement();
        finder.beginElement(1, sizeFromEnd, u"late", -1);
        finder.beginElement(2, sizeFromEnd, u"inner", -1);
        finder.setElementSize(3);
        finder.endElement();
        finder.addField(leaf(5, 2, u"leaf", u"v"));
        finder.setElementSize(8);
        finder.endElement();
        finder.beginElement(9, 4, u"early", -1);
        finder.setElementSize(77); // of a node that has one already
        finder.endElement();
        finder.endDocument({});
    };
    const auto sizeOf = [&walk](const Components &path) {
        ElementPathFinder finder(pathOf(path));
        walk(finder);
        return finder.found() ? qint64(finder.size()) : qint64(-1);
    };
    const auto name = [](const char *text) { return QString::fromLatin1(text); };
    QCOMPARE(sizeOf({{name("before"), 0}}), qint64(1));
    QCOMPARE(sizeOf({{name("late"), 0}}), qint64(8));
    QCOMPARE(sizeOf({{name("late"), 0}, {name("inner"), 0}}), qint64(3));
    QCOMPARE(sizeOf({{name("late"), 0}, {name("leaf"), 0}}), qint64(2));
    QCOMPARE(sizeOf({{name("early"), 0}}), qint64(4));
    QCOMPARE(sizeOf({{name("none"), 0}}), qint64(-1));
}

void TestElementPath::randomDocuments_data()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 0; seed < 8; ++seed)
        QTest::addRow("%u", seed) << seed;
}

/// Tracker and tree agree, no two items have one path, and each is found by its path.
void TestElementPath::randomDocuments()
{
    QFETCH(unsigned, seed);
    RandomDocument document(seed, 400);
    PathSink sink;
    document(sink);
    ElementTree tree;
    RandomDocument(seed, 400)(tree);
    const std::vector<ElementTree::Item> items = itemsOf(tree);
    QCOMPARE(size_t(sink.paths.size()), items.size());
    std::map<QString, int> byPath;
    for (int i = 0; i < int(sink.paths.size()); ++i) {
        const QString text = sink.paths[i];
        QCOMPARE(elementPathText(tree, items[size_t(i)]), text);
        QVERIFY(byPath.emplace(text, i).second);
        ElementPath path;
        QString error;
        QVERIFY(parseElementPath(text, &path, &error));
        QCOMPARE(elementPathText(path), text);
        ElementPathFinder finder(path);
        tree.replay(finder);
        QVERIFY(finder.found());
        QCOMPARE(finder.offset(), sink.offsets[i]);
        QCOMPARE(finder.isNode(), tree.isNode(items[size_t(i)]));
    }
}

void TestElementPath::manySiblings_data()
{
    QTest::addColumn<quint64>("titles");
    QTest::newRow("two titles in turn") << quint64(2);
    QTest::newRow("a title of its own each") << quint64(1000000);
}

void TestElementPath::manySiblings()
{
    QFETCH(quint64, titles);
    constexpr quint64 count = 1000000;
    ElementPathTracker tracker;
    tracker.enter(u"LIST(movi)");
    for (quint64 i = 0; i < count; ++i) {
        tracker.enter(QString::number(i % titles));
        tracker.leaf(u"id");
        tracker.leave();
    }
    tracker.leaf(u"1");
    QCOMPARE(tracker.path().toString(), QStringLiteral("LIST(movi)/1[%1]").arg(count / titles));
    tracker.leaf(QString::number(titles - 1));
    QCOMPARE(tracker.path().toString(),
             QStringLiteral("LIST(movi)/%1[%2]").arg(titles - 1).arg(titles == 2 ? count / 2 + 1 : 1));

    if (titles == 2) {
        // A title that came before needs no memory.
        allocationsLeft = 0;
        for (int i = 0; i < 1000; ++i) {
            tracker.enter(i % 2 == 0 ? u"0" : u"1");
            tracker.leaf(u"id");
            tracker.leave();
        }
        allocationsLeft = -1;
    }
}

void TestElementPath::deepNodes()
{
    constexpr int depth = 1000000;
    ElementPathTracker tracker;
    for (int i = 0; i < depth; ++i) {
        tracker.leaf(u"l");
        tracker.enter(u"l");
    }
    QCOMPARE(int(tracker.path().size()), depth * 5 - 1);
    for (int i = 1; i < depth; ++i)
        tracker.leave();
    tracker.leaf(u"l");
    QCOMPARE(tracker.path().toString(), QStringLiteral("l[1]/l[2]"));
}

QTEST_APPLESS_MAIN(TestElementPath)
#include "tst_elementpath.moc"
