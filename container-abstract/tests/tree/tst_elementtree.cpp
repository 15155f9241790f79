#include "elementtree.h"

#include "plaintree.h"

#include <QTest>

#include <limits>

using namespace quenlofar;

class TestElementTree : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNewTreeIsEmpty();
    void aFinishedTreeTakesNothingMore();
    void aSmallTreeItemByItem();
    void theRootStandsForTheDocument();
    void values_data();
    void values();
    void aTextLongerThanAChunk();
    void textsOfManyMegabytes();
    void fields_data();
    void fields();
    void nodes_data();
    void nodes();
    void equalKindsOfItemsKeepTheirOwnTexts();
    void moreMeaningsThanTheTableOfLabelsHolds();
    void moreNamesThanTheTableOfLabelsHolds();
    void aWideNode();
    void aDeepTree();
    void leavesNearTheirNode_data();
    void leavesNearTheirNode();
    void itemsAtBytes_data();
    void itemsAtBytes();
    void itemsAtBytesOfATreeWithoutItems();
};

void TestElementTree::aNewTreeIsEmpty()
{
    ElementTree tree;
    QCOMPARE(tree.itemCount(), quint64(0));
    QCOMPARE(tree.childCount(tree.root()), 0U);
    QVERIFY(tree.frames().isEmpty());
    // Items appear when the document ends.
    tree.beginElement(0, 1, u"n", -1);
    tree.endElement();
    QCOMPARE(tree.itemCount(), quint64(0));
    QCOMPARE(tree.childCount(tree.root()), 0U);
}

void TestElementTree::aFinishedTreeTakesNothingMore()
{
    ElementTree tree;
    QVERIFY(tree.setElementSize(5)); // of no node
    fill(tree, [](ElementSink &sink) { sink.addField(leaf(0, 4, u"id", u"RIFF")); });
    QVERIFY(!tree.reportFrame({}));
    QVERIFY(!tree.reportProblem({0, 1, Severity::Error, u"wrong"}));
    QCOMPARE(tree.itemCount(), quint64(1));
    QVERIFY(tree.frames().isEmpty());
    // The next document begins anew, also where the one before had frames alone.
    fill(tree, [](ElementSink &sink) { sink.reportFrame({}); });
    QCOMPARE(tree.itemCount(), quint64(0));
    QCOMPARE(tree.frames().size(), quint64(1));
    fill(tree, [](ElementSink &) {});
    QVERIFY(tree.frames().isEmpty());
}

void TestElementTree::aSmallTreeItemByItem()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        sink.beginElement(0, 400, u"RIFF(AVI )", -1);
        sink.addField(leaf(0, 4, u"id", u"RIFF"));
        sink.beginElement(100, 16, u"idx1_entry", 0);
        sink.addField(leaf(104, 4, u"Flags", u"16", u"AVIIF_KEYFRAME", u"how to seek"));
        sink.endElement();
        sink.addField(leaf(116, 284, unparsedDataMarker, {}));
        sink.endElement();
        sink.addField({true, 255, 400, 8, 3, u"tail", u"longer than four", {}, {}});
    });

    QCOMPARE(tree.itemCount(), quint64(6));
    const ElementTree::Item root = tree.root();
    QCOMPARE(tree.childCount(root), 2U);
    const ElementTree::Item riff = tree.child(root, 0);
    const ElementTree::Item tail = tree.child(root, 1);
    QCOMPARE(tree.childCount(riff), 3U);
    const ElementTree::Item id = tree.child(riff, 0);
    const ElementTree::Item entry = tree.child(riff, 1);
    const ElementTree::Item rest = tree.child(riff, 2);
    QCOMPARE(tree.childCount(entry), 1U);
    const ElementTree::Item flags = tree.child(entry, 0);

    QVERIFY(tree.isNode(riff) && tree.isNode(entry));
    QVERIFY(!tree.isNode(id) && !tree.isNode(rest) && !tree.isNode(flags) && !tree.isNode(tail));
    QVERIFY(tree.isUnparsedData(rest) && !tree.isUnparsedData(id) && !tree.isUnparsedData(riff));
    QVERIFY(tree.parent(riff) == root && tree.parent(tail) == root && tree.parent(flags) == entry);
    QVERIFY(tree.parent(id) == riff && tree.parent(entry) == riff && tree.parent(rest) == riff);
    QCOMPARE(tree.row(riff), 0U);
    QCOMPARE(tree.row(tail), 1U);
    QCOMPARE(tree.row(entry), 1U);
    QCOMPARE(tree.row(rest), 2U);
    QCOMPARE(tree.childCount(tail), 0U);

    QCOMPARE(tree.name(riff), QStringLiteral("RIFF(AVI )"));
    QVERIFY(tree.value(riff).isEmpty());
    QCOMPARE(tree.size(riff), quint64(400));
    QCOMPARE(tree.index(riff), qint64(-1));
    QCOMPARE(tree.index(entry), qint64(0));
    QCOMPARE(tree.offset(flags), quint64(104));
    QCOMPARE(tree.value(flags), QStringLiteral("16"));
    QCOMPARE(tree.meaning(flags), QStringLiteral("AVIIF_KEYFRAME"));
    QCOMPARE(tree.description(flags), QStringLiteral("how to seek"));
    QVERIFY(!tree.flag(flags));
    QVERIFY(tree.flag(tail));
    QCOMPARE(int(tree.code(tail)), 255);
    QCOMPARE(tree.index(tail), qint64(3));
    QCOMPARE(tree.value(tail), QStringLiteral("longer than four"));
}

void TestElementTree::theRootStandsForTheDocument()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) { sink.addField({true, 9, 5, 6, 7, u"first", u"v", {}, {}}); });
    const ElementTree::Item root = tree.root();
    QVERIFY(tree.isNode(root));
    QVERIFY(tree.parent(root) == root);
    QCOMPARE(tree.row(root), 0U);
    QCOMPARE(tree.offset(root), quint64(0));
    QCOMPARE(tree.size(root), quint64(100));
    QCOMPARE(tree.index(root), qint64(-1));
    QVERIFY(tree.name(root).isEmpty() && tree.value(root).isEmpty() && !tree.flag(root));
    QCOMPARE(int(tree.code(root)), 0);

    ElementTree missing;
    missing.beginDocument({QStringLiteral("gone"), {}, -1});
    missing.endDocument({});
    QCOMPARE(missing.size(missing.root()), quint64(0));
    QVERIFY(missing.document().container.isNull());
    QCOMPARE(missing.document().fileSize, qint64(-1));
}

void TestElementTree::values_data()
{
    QTest::addColumn<QString>("value");

    const auto row = [](const char *rule, std::initializer_list<char16_t> units) {
        QTest::newRow(rule) << QString::fromUtf16(units.begin(), int(units.size()));
    };
    QTest::newRow("empty") << QString();
    for (const char *number : {"0", "7", "10", "4294967295", "4294967296", "9999999999", "18446744073709551615"})
        QTest::newRow(number) << QString::fromLatin1(number);
    QTest::newRow("leading zeros stay") << QStringLiteral("007");
    QTest::newRow("two zeros stay") << QStringLiteral("00");
    QTest::newRow("leading zeros of eleven digits") << QStringLiteral("00000000001");
    QTest::newRow("a plus sign stays") << QStringLiteral("+5");
    QTest::newRow("a minus sign") << QStringLiteral("-1");
    QTest::newRow("a large negative number") << QStringLiteral("-2147483648");
    QTest::newRow("a digit and a letter") << QStringLiteral("1a");
    QTest::newRow("a blank after digits") << QStringLiteral("12 ");
    QTest::newRow("digits that are not ASCII") << QStringLiteral("\u0661\u0662");
    QTest::newRow("one character") << QStringLiteral("a");
    QTest::newRow("four characters") << QStringLiteral("00dc");
    QTest::newRow("five characters") << QStringLiteral("00dcx");
    row("one zero character", {0});
    row("four zero characters", {0, 0, 0, 0});
    row("five zero characters", {0, 0, 0, 0, 0});
    row("the end of Latin-1", {0xFF, 0xFE, 0xFF, 0xFE});
    row("just beyond Latin-1", {0x100});
    row("Latin-1 and one character beyond", {u'a', u'b', u'c', u'd', u'e', 0x20AC});
    row("a pair", {0xD83D, 0xDE00});
    row("half a pair", {0xDE00});
    for (int length = 5; length < 40; ++length) {
        const QByteArray lengthText = QByteArray::number(length);
        QTest::newRow("Latin-1, length " + lengthText) << QString(length, QChar(0xE9));
        QTest::newRow("not Latin-1, length " + lengthText) << QString(length, QChar(0x416));
    }
}

void TestElementTree::values()
{
    QFETCH(QString, value);
    ElementTree tree;
    fill(tree, [&value](ElementSink &sink) {
        sink.addField(leaf(0, 0, u"a", u"before"));
        sink.addField(leaf(0, 0, u"b", value));
        sink.addField(leaf(0, 0, u"c", u"behind"));
    });
    QCOMPARE(tree.value(tree.child(tree.root(), 0)), QStringLiteral("before"));
    QCOMPARE(tree.value(tree.child(tree.root(), 1)), value);
    QCOMPARE(tree.value(tree.child(tree.root(), 2)), QStringLiteral("behind"));
}

void TestElementTree::aTextLongerThanAChunk()
{
    const QString latin(700000, QChar(0xE9));
    const QString wide = QString(300000, QChar(0x416)) + QLatin1Char('.');
    ElementTree tree;
    fill(tree, [&](ElementSink &sink) { sink.addField(leaf(max64, 0, u"a", latin, wide, latin + wide)); });
    const ElementTree::Item item = tree.child(tree.root(), 0);
    QVERIFY(tree.value(item) == latin);
    QVERIFY(tree.meaning(item) == wide);
    QVERIFY(tree.description(item) == latin + wide);
}

void TestElementTree::textsOfManyMegabytes()
{
    // A tree beyond some 16 MiB takes its memory in larger pieces.
    constexpr int count = 24;
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        for (int i = 0; i < count; ++i)
            sink.addField(leaf(quint64(i), 1, u"text", QString(1000000, QChar(ushort(u'a' + i)))));
    });
    QCOMPARE(tree.childCount(tree.root()), quint32(count));
    for (int i = 0; i < count; ++i)
        QVERIFY(tree.value(tree.child(tree.root(), quint32(i))) == QString(1000000, QChar(ushort(u'a' + i))));
}

void TestElementTree::fields_data()
{
    QTest::addColumn<quint64>("offset");
    QTest::addColumn<quint64>("size");
    QTest::addColumn<qint64>("index");
    QTest::addColumn<bool>("flag");
    QTest::addColumn<int>("code");

    constexpr quint64 bit32 = quint64(1) << 32;
    constexpr quint64 bit46 = quint64(1) << 46;
    QTest::newRow("all zero") << quint64(0) << quint64(0) << qint64(0) << false << 0;
    QTest::newRow("as parsers use it") << quint64(44) << quint64(4) << qint64(-1) << false << 0;
    QTest::newRow("an offset beyond 32 bits") << bit32 << quint64(4) << qint64(-1) << false << 0;
    QTest::newRow("the last offset of 46 bits") << bit46 - 1 << quint64(4) << qint64(-1) << false << 0;
    QTest::newRow("the first offset of 47 bits") << bit46 << quint64(4) << qint64(-1) << false << 0;
    QTest::newRow("the largest offset") << max64 << quint64(4) << qint64(-1) << false << 0;
    QTest::newRow("the last size of 32 bits") << quint64(9) << bit32 - 1 << qint64(-1) << false << 0;
    QTest::newRow("the first size of 33 bits") << quint64(9) << bit32 << qint64(-1) << false << 0;
    QTest::newRow("the largest size") << quint64(9) << max64 << qint64(-1) << false << 0;
    QTest::newRow("flag") << quint64(9) << quint64(4) << qint64(-1) << true << 0;
    QTest::newRow("code") << quint64(9) << quint64(4) << qint64(-1) << false << 255;
    QTest::newRow("index 1") << quint64(9) << quint64(4) << qint64(1) << false << 0;
    QTest::newRow("an index of 41 bits") << quint64(9) << quint64(4) << (qint64(1) << 40) << false << 0;
    QTest::newRow("an index below -1") << quint64(9) << quint64(4) << qint64(-2) << false << 0;
    QTest::newRow("the smallest index") << quint64(9) << quint64(4) << std::numeric_limits<qint64>::min() << false << 0;
    QTest::newRow("everything at its largest") << max64 << max64 << std::numeric_limits<qint64>::max() << true << 255;
}

void TestElementTree::fields()
{
    QFETCH(quint64, offset);
    QFETCH(quint64, size);
    QFETCH(qint64, index);
    QFETCH(bool, flag);
    QFETCH(int, code);

    PlainTree plain;
    ElementTree tree;
    const Calls calls = [&](ElementSink &sink) {
        sink.addField(leaf(1, 1, u"n", u"v"));
        sink.addField({flag, uchar(code), offset, size, index, u"n", u"v", {}, {}});
        sink.addField({flag, uchar(code), offset, size, index, u"n", {}, u"m", u"d"});
        sink.addField({flag, uchar(code), offset, size, index, unparsedDataMarker, {}, {}, {}});
        sink.beginElement(1, 1, u"n", index);
        sink.addField({flag, uchar(code), offset, size, index, u"long name", u"long value", u"m", u"d"});
        sink.endElement();
    };
    calls(plain);
    fill(tree, calls);
    QCOMPARE(difference(tree, plain), QString());
}

void TestElementTree::nodes_data()
{
    QTest::addColumn<quint64>("offset");
    QTest::addColumn<quint64>("size");
    QTest::newRow("a usual one") << quint64(12) << quint64(192);
    QTest::newRow("one beyond 46 bits") << (quint64(1) << 50) << quint64(192);
    QTest::newRow("one of more than 32 bits") << quint64(12) << (quint64(1) << 33);
}

void TestElementTree::nodes()
{
    QFETCH(quint64, offset);
    QFETCH(quint64, size);

    // With and without children, next to each other and inside each other.
    const Calls calls = [&](ElementSink &sink) {
        sink.beginElement(offset, size, u"empty", -1);
        sink.endElement();
        sink.beginElement(offset, size, u"outer", 5);
        sink.beginElement(offset, size, u"inner", 6);
        sink.addField(leaf(0, 1, u"n", u"v"));
        sink.endElement();
        sink.beginElement(offset, size, u"empty", 7);
        sink.endElement();
        sink.endElement();
    };
    PlainTree plain;
    ElementTree tree;
    calls(plain);
    fill(tree, calls);
    QCOMPARE(difference(tree, plain), QString());
}

void TestElementTree::equalKindsOfItemsKeepTheirOwnTexts()
{
    // Texts with the same length and the same ends, one after the other in the same memory.
    PlainTree plain;
    ElementTree tree;
    const Calls calls = [](ElementSink &sink) {
        char16_t text[] = u"dwReserved0last";
        for (int round = 0; round < 3; ++round) {
            for (char16_t digit = u'0'; digit <= u'9'; ++digit) {
                text[10] = digit;
                sink.addField(leaf(0, 1, text, text, text, text));
                sink.addField(leaf(0, 1, text, text));
                sink.beginElement(0, 1, text, round);
                sink.endElement();
            }
        }
    };
    calls(plain);
    fill(tree, calls);
    QCOMPARE(difference(tree, plain), QString());
}

void TestElementTree::moreMeaningsThanTheTableOfLabelsHolds()
{
    PlainTree plain;
    ElementTree tree;
    const Calls calls = [](ElementSink &sink) {
        for (int i = 0; i < 20000; ++i) {
            sink.addField(leaf(quint64(i), 1, u"duration", QString::number(i), QStringLiteral("%1 s").arg(i)));
            sink.addField(leaf(quint64(i), 1, i % 2 ? u"size" : u"offset", QString::number(i)));
        }
    };
    calls(plain);
    fill(tree, calls);
    QCOMPARE(difference(tree, plain), QString());
}

void TestElementTree::moreNamesThanTheTableOfLabelsHolds()
{
    PlainTree plain;
    ElementTree tree;
    const Calls calls = [](ElementSink &sink) {
        for (int i = 0; i < 20000; ++i) {
            sink.beginElement(quint64(i), 1, QStringLiteral("chunk %1").arg(i), i);
            sink.addField(leaf(quint64(i), 1, QStringLiteral("name %1").arg(i), QStringLiteral("v")));
            sink.addField(leaf(quint64(i), 1, unparsedDataMarker, {}));
            sink.endElement();
        }
    };
    calls(plain);
    fill(tree, calls);
    QCOMPARE(difference(tree, plain), QString());
}

void TestElementTree::aWideNode()
{
    constexpr quint32 count = 300000;
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        sink.beginElement(0, 1, u"idx1", -1);
        sink.addField(leaf(0, 4, u"id", u"idx1"));
        for (quint32 i = 0; i < count; ++i) {
            sink.beginElement(i, 16, u"idx1_entry", i);
            if (i % 3 == 0)
                sink.addField(leaf(i, 4, u"Size", QString::number(i)));
            sink.endElement();
        }
        sink.endElement();
    });
    const ElementTree::Item node = tree.child(tree.root(), 0);
    QCOMPARE(tree.childCount(node), count + 1);
    for (quint32 i = 0; i < count; ++i) {
        const ElementTree::Item entry = tree.child(node, i + 1);
        // No QCOMPARE in a loop of this length.
        if (tree.parent(entry) != node || tree.row(entry) != i + 1 || tree.index(entry) != i || tree.offset(entry) != i)
            QFAIL(qPrintable(QStringLiteral("entry %1").arg(i)));
        if (tree.childCount(entry) != (i % 3 == 0 ? 1 : 0))
            QFAIL(qPrintable(QStringLiteral("children of entry %1").arg(i)));
        if (i % 3 == 0 && tree.parent(tree.child(entry, 0)) != entry)
            QFAIL(qPrintable(QStringLiteral("parent of the leaf of entry %1").arg(i)));
    }
}

void TestElementTree::aDeepTree()
{
    constexpr quint64 depth = 200000;
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        for (quint64 i = 0; i < depth; ++i)
            sink.beginElement(i, 1, u"LIST", -1);
        sink.addField(leaf(depth, 1, u"n", u"v"));
        for (quint64 i = 0; i < depth; ++i)
            sink.endElement();
    });
    ElementTree::Item item = tree.root();
    for (quint64 i = 0; i <= depth; ++i) {
        if (tree.childCount(item) != 1 || tree.parent(tree.child(item, 0)) != item)
            QFAIL(qPrintable(QStringLiteral("depth %1").arg(i)));
        item = tree.child(item, 0);
        if (tree.offset(item) != i)
            QFAIL(qPrintable(QStringLiteral("offset at depth %1").arg(i)));
    }
    QCOMPARE(tree.value(item), QStringLiteral("v"));

    PlainTree plain;
    QVERIFY(tree.replay(plain));
    QCOMPARE(plain.items.size(), size_t(depth) + 2);
    QCOMPARE(plain.open(), 0);
}

/// Leaves of all kinds beside the leaf of the row, which fits beside them into a short record or not.
void TestElementTree::leavesNearTheirNode_data()
{
    QTest::addColumn<quint64>("offset");
    QTest::addColumn<quint64>("size");
    QTest::addColumn<QString>("value");
    const quint64 node = 5000;
    QTest::newRow("at the begin") << node << quint64(4) << QStringLiteral("00dc");
    QTest::newRow("at the largest distance") << node + 1023 << quint64(15) << QStringLiteral("4294967295");
    QTest::newRow("too far") << node + 1024 << quint64(4) << QStringLiteral("1");
    QTest::newRow("before the node") << node - 1 << quint64(1) << QStringLiteral("1");
    QTest::newRow("too large") << node + 8 << quint64(16) << QStringLiteral("1");
    QTest::newRow("large, without a value") << node + 8 << quint64(4294967295) << QString();
    QTest::newRow("too large without a value") << node + 8 << quint64(4294967296) << QString();
    QTest::newRow("a text") << node + 8 << quint64(15) << QStringLiteral("longer than four");
    QTest::newRow("a zero character at the end") << node + 8 << quint64(2) << QString(QChar(u'a')) + QChar(0);
}

void TestElementTree::leavesNearTheirNode()
{
    QFETCH(quint64, offset);
    QFETCH(quint64, size);
    QFETCH(QString, value);
    const QString text = value;
    const Calls calls = [=](ElementSink &sink) {
        sink.beginElement(3, 1, u"before", 5);
        sink.endElement();
        for (qint64 index = 0; index < 3; ++index) {
            sink.beginElement(5000, 100, u"node", index);
            sink.addField(leaf(5001, 3, u"id", u"abc", u"meaning", u"description"));
            sink.addField({true, 7, 5004, 0, 40, u"empty", {}, {}, {}});
            sink.addField({false, 0, offset, size, -1, u"this", text, {}, {}});
            sink.addField({true, 9, 5006, 2, 41, u"last", u"17", {}, {}});
            sink.endElement();
        }
    };
    ElementTree tree;
    PlainTree plain;
    fill(tree, calls);
    calls(plain);
    QCOMPARE(difference(tree, plain), QString());
    const ElementTree::Item item = tree.child(tree.child(tree.root(), 2), 2);
    QCOMPARE(tree.offset(item), offset);
    QCOMPARE(tree.size(item), size);
    QCOMPARE(tree.value(item), value);
}

void TestElementTree::itemsAtBytes_data()
{
    QTest::addColumn<quint64>("byte");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *rule, quint64 byte, const QString &name) { QTest::newRow(rule) << byte << name; };
    row("before everything", 9, {});
    row("a node that has no item there", 10, QStringLiteral("first"));
    row("a leaf", 12, QStringLiteral("a"));
    row("behind an item without bytes", 14, QStringLiteral("b"));
    row("the last byte", 19, QStringLiteral("b"));
    row("between items", 20, {});
    row("out of order: the later one is first in the file", 30, QStringLiteral("early"));
    row("the first of two", 45, QStringLiteral("late, low"));
    row("the deepest of two", 55, QStringLiteral("below"));
    row("a leaf outside its node is not found", 95, {});
    row("the end of all bytes", max64 - 1, QStringLiteral("far"));
    row("behind the end of all bytes", max64, {});
}

void TestElementTree::itemsAtBytes()
{
    QFETCH(quint64, byte);
    QFETCH(QString, name);
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        sink.beginElement(10, 10, u"first", -1);
        sink.addField(leaf(12, 2, u"a", u"1"));
        sink.addField(leaf(14, 0, u"nothing", {}));
        sink.addField(leaf(14, 6, u"b", u"2"));
        sink.addField(leaf(95, 1, u"outside", u"3"));
        sink.endElement();
        sink.addField(leaf(40, 20, u"late, low", u"4"));
        sink.beginElement(40, 20, u"late, high", -1);
        sink.addField(leaf(55, 1, u"below", u"5"));
        sink.endElement();
        sink.addField(leaf(30, 10, u"early", u"6"));
        sink.addField(leaf(max64 - 1, 1, u"far", u"7"));
    });
    QCOMPARE(tree.name(tree.itemAt(byte)), name);
}

void TestElementTree::itemsAtBytesOfATreeWithoutItems()
{
    ElementTree tree;
    QVERIFY(tree.itemAt(0) == tree.root());
    fill(tree, [](ElementSink &) {});
    QVERIFY(tree.itemAt(0) == tree.root());
    QVERIFY(tree.itemAt(max64) == tree.root());
}

QTEST_APPLESS_MAIN(TestElementTree)
#include "tst_elementtree.moc"
