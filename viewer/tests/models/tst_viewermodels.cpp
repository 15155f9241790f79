// The model of the tree, watched by Qt's own tester while the tree grows, and what it is asked for: paths and names.
#include "elementmodel.h"
#include "pathcompletion.h"
#include "placesmodel.h"
#include "plaintree.h"
#include "randomdocument.h"
#include "testsources.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QPersistentModelIndex>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <random>
#include <set>

using namespace quenlofar;

namespace {

using Segments = std::vector<std::shared_ptr<const TreeSegment>>;

/// The segments of what `calls` hand to a sink, with at most `items` each.
Segments segmentsOf(const Calls &calls, quint64 items)
{
    Segments segments;
    SegmentSink sink([&](std::shared_ptr<const TreeSegment> segment) { segments.push_back(std::move(segment)); },
                     paceOf(1, items));
    calls(sink);
    return segments;
}

/// A node "many" of `count` leaves "leaf" of 2 bytes, and a leaf behind it.
Calls manyLeaves(quint64 count)
{
    return [count](ElementSink &sink) {
        sink.beginDocument({QStringLiteral("many"), QStringLiteral("TEST"), 1'000'000});
        sink.beginElement(0, count * 2, u"many", -1);
        for (quint64 i = 0; i < count; ++i)
            sink.addField(leaf(i * 2, 2, u"leaf", QString::number(i)));
        sink.endElement();
        sink.addField(leaf(count * 2, 1, unparsedDataMarker, u""));
        sink.endDocument({});
    };
}

/// A walk over a node "list" with `count` leaves, named by their rows, and a leaf behind it.
Calls namedLeaves(quint32 count, const std::function<QString(quint32)> &name)
{
    return [count, name](ElementSink &sink) {
        sink.beginDocument({QStringLiteral("many"), QStringLiteral("TEST"), qint64(count) + 1});
        sink.beginElement(0, count, u"list", -1);
        for (quint32 row = 0; row < count; ++row)
            sink.addField(leaf(row, 1, name(row), u""));
        sink.endElement();
        sink.addField(leaf(count, 1, u"end", u""));
        sink.endDocument({});
    };
}

/// The tree of what `calls` hand over, cut into segments of at most `items`.
void build(GrowingTree *tree, const Calls &calls, quint64 items)
{
    SegmentSink sink([&](std::shared_ptr<const TreeSegment> segment) { tree->append(std::move(segment)); },
                     paceOf(items, items));
    calls(sink);
}

QString text(const QModelIndex &index, int column = 0)
{
    return index.sibling(index.row(), column).data().toString();
}

/// The first difference between what the model shows and the tree, or nothing; groups are looked through.
QString difference(const ElementModel &model, const GrowingTree &tree)
{
    std::vector<QModelIndex> open = {QModelIndex()};
    quint64 items = 0;
    while (!open.empty()) {
        const QModelIndex node = open.back();
        open.pop_back();
        std::vector<QModelIndex> children;
        for (int row = 0; row < model.rowCount(node); ++row) {
            const QModelIndex child = model.index(row, 0, node);
            if (!model.isGroup(child)) {
                children.push_back(child);
                continue;
            }
            for (int inGroup = 0; inGroup < model.rowCount(child); ++inGroup)
                children.push_back(model.index(inGroup, 0, child));
        }
        const TreeItem item = model.itemOf(node);
        if (children.size() != tree.childCount(item))
            return QStringLiteral("%1 children").arg(children.size());
        for (quint32 row = 0; row < quint32(children.size()); ++row) {
            if (model.itemOf(children[row]) != tree.child(item, row)
                || model.indexOf(tree.child(item, row)) != children[row])
                return QStringLiteral("child %1").arg(row);
        }
        items += children.size();
        open.insert(open.end(), children.begin(), children.end());
    }
    return items == tree.itemCount() ? QString() : QStringLiteral("%1 items").arg(items);
}

} // namespace

class ViewerModelsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void randomTreesAsTheyGrow_data();
    void randomTreesAsTheyGrow();
    void groupsOfAThousand();
    void nodeThatGrowsBeyondAThousand();
    void rowsAreAnnounced();
    void textsOfColumns();
    void namesOfManyChildren_data();
    void namesOfManyChildren();
    void childrenThatAllHaveOtherNames();
    void orderOfTheDocument();
    void completionsOfPaths();
    void patternsAsPeopleTypeThem_data();
    void patternsAsPeopleTypeThem();
    void patternsAreFoundEverywhere();
    void placesAcrossPiecesAndHoles();
    void searchThatIsEnded();
};

void ViewerModelsTest::randomTreesAsTheyGrow_data()
{
    QTest::addColumn<int>("seed");
    for (int seed = 1; seed <= 12; ++seed)
        QTest::addRow("seed %d", seed) << seed;
}

void ViewerModelsTest::randomTreesAsTheyGrow()
{
    QFETCH(int, seed);
    const Segments segments = segmentsOf(RandomDocument(unsigned(seed), 150), quint64(1 + seed * 3));
    GrowingTree tree;
    ElementModel model(tree);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    for (const auto &segment : segments) {
        tree.append(segment);
        model.grow();
        QCOMPARE(difference(model, tree), QString());
    }
    QVERIFY(segments.size() > 3);
}

void ViewerModelsTest::groupsOfAThousand()
{
    GrowingTree tree;
    for (const auto &segment : segmentsOf(manyLeaves(2500), 10'000))
        tree.append(segment);
    const ElementModel model(tree);
    const QModelIndex many = model.index(0, 0);
    QCOMPARE(text(many), QStringLiteral("many"));
    QCOMPARE(model.rowCount(many), 3);
    QCOMPARE(text(model.index(0, 0, many)), QStringLiteral("0 ... 999"));
    QCOMPARE(text(model.index(2, 0, many)), QStringLiteral("2000 ... 2499"));
    QCOMPARE(text(model.index(2, 0, many), ElementModel::OffsetColumn), QStringLiteral("4000"));
    const QModelIndex group = model.index(2, 0, many);
    QCOMPARE(model.rowCount(group), 500);
    QCOMPARE(text(model.index(499, 0, group), ElementModel::ValueColumn), QStringLiteral("2499"));
    QVERIFY(model.isGroup(group));
    QCOMPARE(model.parent(model.index(499, 0, group)), group);
    QCOMPARE(model.parent(group), many);
    QCOMPARE(model.itemOf(group), model.itemOf(many));
    QVERIFY(!model.index(500, 0, group).isValid());

    GrowingTree smaller;
    for (const auto &segment : segmentsOf(manyLeaves(1000), 10'000))
        smaller.append(segment);
    const ElementModel flat(smaller);
    QCOMPARE(flat.rowCount(flat.index(0, 0)), 1000);
    QCOMPARE(text(flat.index(999, 0, flat.index(0, 0)), ElementModel::ValueColumn), QStringLiteral("999"));
}

void ViewerModelsTest::nodeThatGrowsBeyondAThousand()
{
    const Segments segments = segmentsOf(manyLeaves(2300), 300);
    GrowingTree tree;
    ElementModel model(tree);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QPersistentModelIndex leafOfSecondGroup;
    for (const auto &segment : segments) {
        tree.append(segment);
        model.grow();
        QCOMPARE(difference(model, tree), QString());
        const QModelIndex many = model.index(0, 0);
        if (!leafOfSecondGroup.isValid() && model.rowCount(many) == 2)
            leafOfSecondGroup = model.index(5, 0, model.index(1, 0, many));
    }
    QVERIFY(segments.size() > 7);
    QCOMPARE(model.rowCount(model.index(0, 0)), 3);
    QVERIFY(leafOfSecondGroup.isValid());
    QCOMPARE(text(leafOfSecondGroup, ElementModel::ValueColumn), QStringLiteral("1005"));
}

void ViewerModelsTest::rowsAreAnnounced()
{
    const Segments segments = segmentsOf(manyLeaves(40), 10);
    GrowingTree tree;
    ElementModel model(tree);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    tree.append(segments[0]);
    QCOMPARE(model.rowCount(), 0); // not before it is announced
    model.grow();
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(inserted.size(), 1);
    for (size_t i = 1; i < segments.size(); ++i) {
        tree.append(segments[i]);
        model.grow();
    }
    QCOMPARE(model.rowCount(), 2);
    QCOMPARE(model.rowCount(model.index(0, 0)), 40);
    QVERIFY(inserted.size() > 4);
    QCOMPARE(reset.size(), 0);
}

void ViewerModelsTest::textsOfColumns()
{
    GrowingTree tree;
    for (const auto &segment : segmentsOf(
             [](ElementSink &sink) {
                 sink.beginDocument({QStringLiteral("texts"), QStringLiteral("TEST"), 1000});
                 sink.addField(leaf(255, 16, u"na\nme", u"va\tlue", u"means", u"explains"));
                 sink.addField(leaf(271, 4, unparsedDataMarker, u""));
                 sink.addField(leaf(275, 4, u"long", QString(5000, QLatin1Char('x'))));
                 sink.addField(leaf(279, 4, u"    ", u""));
                 sink.endDocument({});
             },
             1000))
        tree.append(segment);
    ElementModel model(tree);
    const QModelIndex first = model.index(0, 0);
    QCOMPARE(text(first), QStringLiteral("na\\nme"));
    QCOMPARE(text(first, ElementModel::ValueColumn), QStringLiteral("va\\tlue"));
    QCOMPARE(text(first, ElementModel::MeaningColumn), QStringLiteral("means"));
    QCOMPARE(text(first, ElementModel::OffsetColumn), QStringLiteral("255"));
    QCOMPARE(text(first, ElementModel::SizeColumn), QStringLiteral("16"));
    QCOMPARE(first.data(Qt::ToolTipRole).toString(), QStringLiteral("explains"));
    QCOMPARE(text(model.index(1, 0)), QStringLiteral("unparsed data"));
    QCOMPARE(text(model.index(2, 0), ElementModel::ValueColumn).size(), 1001); // and a sign that it goes on
    QCOMPARE(text(model.index(3, 0)), QStringLiteral("\"    \""));
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    model.setOffsetsInHex(true);
    QCOMPARE(text(first, ElementModel::OffsetColumn), QStringLiteral("0xFF"));
    QCOMPARE(text(first, ElementModel::SizeColumn), QStringLiteral("0x10"));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(model.headerData(3, Qt::Horizontal).toString(), QStringLiteral("Offset"));
}

void ViewerModelsTest::namesOfManyChildren_data()
{
    QTest::addColumn<quint32>("count");
    QTest::addColumn<quint32>("period");
    QTest::addColumn<quint64>("items");
    QTest::newRow("one segment, three names") << quint32(20'000) << quint32(3) << quint64(1'000'000);
    QTest::newRow("one segment, one name") << quint32(10'000) << quint32(1) << quint64(1'000'000);
    QTest::newRow("many segments, with and without an index") << quint32(20'000) << quint32(7) << quint64(4500);
    QTest::newRow("few children in each segment") << quint32(9000) << quint32(2) << quint64(500);
    QTest::newRow("names that come once in a while") << quint32(20'000) << quint32(3000) << quint64(9000);
}

void ViewerModelsTest::namesOfManyChildren()
{
    QFETCH(quint32, count);
    QFETCH(quint32, period);
    QFETCH(quint64, items);
    GrowingTree tree;
    build(&tree, namedLeaves(count, [period](quint32 row) { return QStringLiteral("n%1").arg(row % period); }), items);
    const TreeItem list = tree.child(GrowingTree::root(), 0);
    QCOMPARE(tree.childCount(list), count);
    QCOMPARE(tree.countOf(list, QStringLiteral("n0")), (count + period - 1) / period);
    QCOMPARE(tree.countOf(list, QStringLiteral("n")), quint32(0));
    for (quint32 row = 0; row < count; row += row % 1000 < 3 ? 1 : 97) {
        const quint32 number = row / period;
        const QString suffix = number == 0 ? QString() : QStringLiteral("[%1]").arg(number);
        const QString path = QStringLiteral("list/n%1").arg(row % period) + suffix;
        QCOMPARE(tree.path(tree.child(list, row)), path);
        ElementPath parsed;
        QString error;
        QVERIFY(parseElementPath(path, &parsed, &error));
        QCOMPARE(tree.find(parsed), tree.child(list, row));
    }
    ElementPath beyond;
    QString error;
    QVERIFY(parseElementPath(QStringLiteral("list/n0[%1]").arg((count + period - 1) / period), &beyond, &error));
    QCOMPARE(tree.find(beyond), GrowingTree::root());
    QCOMPARE(tree.path(tree.child(GrowingTree::root(), 1)), QStringLiteral("end"));
    QCOMPARE(tree.childNames(list, 10).size(), std::min<int>(10, int(period)));
    // Nodes with many children in a segment have an index there, others have none.
    quint32 indexes = 0;
    for (quint32 number = 0; number < tree.segmentCount(); ++number)
        indexes += quint32(tree.segment(number)->nameIndexes.size());
    QCOMPARE(indexes > 0, items >= NameIndex::fewestChildren);
}

void ViewerModelsTest::childrenThatAllHaveOtherNames()
{
    constexpr quint32 count = 30'000;
    GrowingTree tree;
    build(&tree, namedLeaves(count, [](quint32 row) { return QString::number(row); }), 1'000'000);
    const TreeItem list = tree.child(GrowingTree::root(), 0);
    QCOMPARE(tree.path(tree.child(list, 29'999)), QStringLiteral("list/29999"));
    QCOMPARE(tree.find({{QStringLiteral("list"), 0}, {QStringLiteral("12345"), 0}}), tree.child(list, 12'345));
    QCOMPARE(tree.find({{QStringLiteral("list"), 0}, {QStringLiteral("30000"), 0}}), GrowingTree::root());
    QCOMPARE(tree.childNames(list, 50'000).size(), int(count));
}

void ViewerModelsTest::orderOfTheDocument()
{
    for (const quint64 items : {quint64(1), quint64(3), quint64(1000)}) {
        GrowingTree tree;
        build(
            &tree,
            [](ElementSink &sink) {
                sink.beginDocument({QStringLiteral("order"), QStringLiteral("TEST"), 100});
                for (const QStringView name : {u"a", u"b"}) {
                    sink.beginElement(0, 10, name, -1);
                    sink.addField(leaf(0, 1, u"first", u""));
                    sink.beginElement(1, 5, u"inner", -1);
                    sink.addField(leaf(1, 1, u"deep", u""));
                    sink.endElement();
                    sink.addField(leaf(7, 1, u"last", u""));
                    sink.endElement();
                }
                sink.endDocument({});
            },
            items);
        const QStringList order = {QString(),
                                   QStringLiteral("a"),
                                   QStringLiteral("a/first"),
                                   QStringLiteral("a/inner"),
                                   QStringLiteral("a/inner/deep"),
                                   QStringLiteral("a/last"),
                                   QStringLiteral("b"),
                                   QStringLiteral("b/first"),
                                   QStringLiteral("b/inner"),
                                   QStringLiteral("b/inner/deep"),
                                   QStringLiteral("b/last")};
        std::vector<TreeItem> found;
        for (const QString &text : order) {
            ElementPath path;
            QString error;
            QVERIFY(parseElementPath(text, &path, &error));
            found.push_back(text.isEmpty() ? GrowingTree::root() : tree.find(path));
        }
        for (size_t one = 0; one < found.size(); ++one) {
            for (size_t other = 0; other < found.size(); ++other)
                QCOMPARE(tree.precedes(found[one], found[other]), one < other);
        }
    }
}

void ViewerModelsTest::completionsOfPaths()
{
    GrowingTree tree;
    build(
        &tree,
        [](ElementSink &sink) {
            sink.beginDocument({QStringLiteral("paths"), QStringLiteral("TEST"), 100});
            sink.beginElement(0, 50, u"RIFF", -1);
            for (quint64 i = 0; i < 25; ++i) {
                sink.beginElement(i, 1, u"part/x", -1);
                sink.addField(leaf(i, 1, u"id", u"a"));
                sink.endElement();
            }
            sink.addField(leaf(30, 1, u"size", u""));
            sink.endElement();
            sink.addField(leaf(60, 1, unparsedDataMarker, u""));
            sink.endDocument({});
        },
        1000);
    const auto completions = [&tree](const char *text) {
        return pathCompletions(tree, QString::fromLatin1(text), 100);
    };
    const auto list = [](std::initializer_list<const char *> texts) {
        QStringList result;
        for (const char *text : texts)
            result.append(QString::fromLatin1(text));
        return result;
    };
    QCOMPARE(completions(""), list({"RIFF", "unparsed"}));
    QCOMPARE(completions("ri"), list({"RIFF"}));
    QCOMPARE(completions("RIFF/"), list({"RIFF/part%2Fx", "RIFF/size"}));
    QCOMPARE(completions("RIFF/part%2Fx[2]/"), list({"RIFF/part%2Fx[2]/id"}));
    QCOMPARE(completions("RIFF/part%2Fx[2"),
             list({"RIFF/part%2Fx[2]", "RIFF/part%2Fx[20]", "RIFF/part%2Fx[21]", "RIFF/part%2Fx[22]",
                   "RIFF/part%2Fx[23]", "RIFF/part%2Fx[24]"}));
    QCOMPARE(completions("RIFF/part%2Fx[").size(), 10);
    QCOMPARE(completions("RIFF/part%2Fx[25"), QStringList());
    QCOMPARE(completions("RIFF/part%2Fx[x"), QStringList());
    QCOMPARE(completions("nowhere/"), QStringList());
    QCOMPARE(completions("unparsed/"), QStringList());
    QCOMPARE(completions("RIFF]/"), QStringList());
    QCOMPARE(pathCompletions(tree, QString(), 1), list({"RIFF"}));
}

void ViewerModelsTest::patternsAsPeopleTypeThem_data()
{
    using Kind = ByteQuery::Kind;
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("places"); // or what is wrong
    const auto add = [](const char *name, Kind kind, const char *text, const QByteArray &bytes, const char *places) {
        QTest::newRow(name) << int(kind) << QString::fromUtf8(text) << bytes << QString::fromUtf8(places);
    };
    const QByteArray bytes("\x00\xDC\x01\x4F\x00\xDC\x02\x3F\x00\xdc\x03\x40", 12);
    add("bytes with wildcards", Kind::Bytes, "00 dc ?? 4?", bytes, "0 8");
    add("without blanks", Kind::Bytes, "00DC", bytes, "0 4 8");
    add("half a byte", Kind::Bytes, "?F", bytes, "3 7");
    add("overlapping", Kind::Bytes, "61 61", "aaaa", "0 1 2");
    add("longer than the file", Kind::Bytes, "61 61 61 61 61", "aaaa", "");
    add("no digits", Kind::Bytes, "?? ??", bytes, "Type the bytes to look for, such as 00 DC ?? 4?.");
    add("nothing", Kind::Bytes, " ", bytes, "Type the bytes to look for, such as 00 DC ?? 4?.");
    add("a digit alone", Kind::Bytes, "00 d", bytes, "A byte has two digits: the last one is missing.");
    add("a digit alone in front", Kind::Bytes, "0 dc", bytes, "A byte has two digits: there is a blank behind one.");
    add("no hexadecimal digit", Kind::Bytes, "0g", bytes, "\"g\" is no hexadecimal digit and no \"?\".");
    add("text", Kind::Text, "gr\xC3\xBC\xC3\x9F", "x gr\xC3\xBC\xC3\x9F", "2");
    add("no text", Kind::Text, "", "x", "Type 1 to 4096 bytes of text.");
    add("FourCC", Kind::FourCC, "ab d", "ab  ab d", "4");
    add("three characters", Kind::FourCC, "abc", "abcd", "A FourCC has four characters.");
    add("byte", Kind::Number, "64", bytes, "11");
    add("two bytes, either order", Kind::Number, "0x0102", QByteArray("\x01\x02\x01", 3), "0 1");
    add("two bytes that are alike", Kind::Number, "0x0101", QByteArray("\x01\x01", 2), "0");
    add("four bytes", Kind::Number, "65536", QByteArray("\x00\x00\x01\x00\x00\x01\x00\x00", 8), "0 1 3 4");
    add("a negative one", Kind::Number, "-2", QByteArray("\x00\xFE\xFF\xFE", 4), "1 3");
    add("no number", Kind::Number, "1.5", bytes, "\"1.5\" is no number of at most 64 bits.");
}

void ViewerModelsTest::patternsAsPeopleTypeThem()
{
    QFETCH(int, kind);
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, places);
    QString error;
    const std::optional<ByteQuery> query = ByteQuery::parse(ByteQuery::Kind(kind), text, &error);
    if (!query) {
        QCOMPARE(error, places);
        return;
    }
    std::set<size_t> found;
    for (const BytePattern &pattern : query->patterns) {
        std::vector<size_t> each;
        pattern.find(reinterpret_cast<const uchar *>(bytes.constData()), size_t(bytes.size()), &each);
        QVERIFY(std::is_sorted(each.begin(), each.end()));
        found.insert(each.begin(), each.end());
    }
    QStringList texts;
    for (const size_t place : found)
        texts.append(QString::number(place));
    QCOMPARE(texts.join(QLatin1Char(' ')), places);
}

void ViewerModelsTest::patternsAreFoundEverywhere()
{
    // Of few values, so that much matches in part.
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        QByteArray bytes(int(random() % 400), '\0');
        for (char &byte : bytes)
            byte = char(random() % 3);
        QString text;
        const int size = 1 + int(random() % 5);
        for (int i = 0; i < size; ++i)
            text += random() % 4 == 0 && i > 0 ? QStringLiteral("??") : QStringLiteral("0%1").arg(random() % 3);
        QString error;
        const std::optional<BytePattern> pattern = BytePattern::parse(text, &error);
        QVERIFY2(pattern, qPrintable(text));
        std::vector<size_t> expected;
        for (int at = 0; at + size <= int(bytes.size()); ++at) {
            bool matches = true;
            for (int i = 0; i < size; ++i)
                matches =
                    matches && (text[2 * i] == QLatin1Char('?') || bytes[at + i] == char(text[2 * i + 1].digitValue()));
            if (matches)
                expected.push_back(size_t(at));
        }
        std::vector<size_t> found;
        pattern->find(reinterpret_cast<const uchar *>(bytes.constData()), size_t(bytes.size()), &found);
        QCOMPARE(found, expected);
    }
}

void ViewerModelsTest::placesAcrossPiecesAndHoles()
{
    // A file of 5 GiB with holes; what is looked for stands at the borders of what is read and of the holes.
    const QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("sparse.bin"));
    constexpr qint64 size = qint64(5) << 30;
    const std::vector<quint64> offsets = {0, 1048573, 2097150, 4095, 1'000'000'001, 4'294'967'294, quint64(size) - 4};
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    if (!file.resize(size))
        QSKIP("the file system has no files of 5 GiB");
    for (const quint64 offset : offsets) {
        QVERIFY(file.seek(qint64(offset)));
        QCOMPARE(file.write("\0xy\0", 4), 4);
    }
    file.close();
    ByteSearch search(path, {});
    const GrowingTree tree;
    PlacesModel model(search, nullptr, tree);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QString error;
    search.start(*ByteQuery::parse(ByteQuery::Kind::Bytes, QStringLiteral("00 78 79 00"), &error));
    QVERIFY(search.isRunning());
    QTRY_VERIFY_WITH_TIMEOUT(!search.isRunning(), patience);
    QVERIFY(search.isWhole());
    QCOMPARE(search.progress(), 100);
    std::vector<quint64> sorted = offsets;
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(search.places(), sorted);
    QCOMPARE(model.rowCount(), 7);
    QCOMPARE(text(model.index(6, 0)), QStringLiteral("0x13FFFFFFC"));
    QCOMPARE(*search.behind(4095), size_t(2));
    QCOMPARE(*search.before(4095), size_t(0));
    QVERIFY(!search.before(0));
    QVERIFY(!search.behind(quint64(size)));
    search.clear();
    QCOMPARE(model.rowCount(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(DocumentWork::runningThreads(), 0, patience);
}

void ViewerModelsTest::searchThatIsEnded()
{
    const auto file = makeFile(100'000'000);
    file->blocksFrom = 5'000'000;
    const SourceOpener opener = [file](const QString &, QString *) { return std::make_unique<MadeUpSource>(file); };
    QString error;
    {
        ByteSearch search(QStringLiteral("made up"), opener);
        search.start(*ByteQuery::parse(ByteQuery::Kind::Bytes, QStringLiteral("00 01 02"), &error));
        QTRY_VERIFY_WITH_TIMEOUT(file->waiting > 0, patience);
        QTRY_VERIFY_WITH_TIMEOUT(search.count() > 0, patience);
        QElapsedTimer timer;
        timer.start();
        search.cancel();
        QVERIFY(timer.elapsed() < soon);
        QVERIFY(!search.isRunning());
        QVERIFY(!search.isWhole());
        QCOMPARE(search.places().front(), quint64(0));
        QCOMPARE(search.places()[1], quint64(251));
        const quint64 count = search.count();
        file->release();
        QVERIFY(haveThreadsEnded());
        QCoreApplication::processEvents();
        QCOMPARE(search.count(), count); // nothing comes any more
    }
    // The byte 250 comes before a 0, but not at the end of the file.
    file->blocksFrom = -1;
    file->failsFrom = 3'000'000;
    ByteSearch failing(QStringLiteral("made up"), opener);
    failing.start(*ByteQuery::parse(ByteQuery::Kind::Number, QStringLiteral("0xFA00"), &error));
    QTRY_VERIFY_WITH_TIMEOUT(!failing.isRunning(), patience);
    QCOMPARE(failing.error(), QStringLiteral("the disk is on fire"));
    QVERIFY(!failing.isWhole());
    QVERIFY(!file->usedInWindow);
}

QTEST_MAIN(ViewerModelsTest)
#include "tst_viewermodels.moc"
