#include "elementtree.h"

#include "jsonwriter.h"
#include "plaintree.h"
#include "randomdocument.h"
#include "testing/recordingsink.h"

#include <QBuffer>
#include <QTest>

#include <stdexcept>
#include <thread>
#include <vector>

#if QT_VERSION < QT_VERSION_CHECK(6, 3, 0)
#define QVERIFY_THROWS_EXCEPTION(type, ...) QVERIFY_EXCEPTION_THROWN(__VA_ARGS__, type)
#endif

using namespace quenlofar;

namespace {

QByteArray json(const Calls &calls)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    JsonWriter writer(buffer);
    calls(writer);
    return buffer.data();
}

} // namespace

class TestElementTreeRuns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void randomDocuments_data();
    void randomDocuments();
    void itemsAtBytes_data();
    void itemsAtBytes();
    void framesAreKept();
    void textsOfTheDocumentAreCopied();
    void nodesLeftOpenAreEnded();
    void anEndTooManyIsIgnored();
    void aFinishedTreeTakesNothingMore();
    void beginDocumentEmptiesTheTree();
    void beginDocumentForgetsFrames();
    void theBound_data();
    void theBound();
    void theBoundOfALargeTree();
    void noRoomAtAll();
    void aReplayThatTheSinkRefusesStaysBalanced();
    void aFinishedTreeIsReadByManyThreads();
};

void TestElementTreeRuns::randomDocuments_data()
{
    QTest::addColumn<unsigned>("seed");
    QTest::addColumn<int>("calls");
    for (unsigned seed = 1; seed <= 40; ++seed)
        QTest::newRow("short, seed " + QByteArray::number(seed)) << seed << 40 + int(seed);
    for (unsigned seed = 1; seed <= 2; ++seed)
        QTest::newRow("long, seed " + QByteArray::number(seed)) << seed << 30000 + int(seed);
}

void TestElementTreeRuns::randomDocuments()
{
    QFETCH(unsigned, seed);
    QFETCH(int, calls);

    ElementTree tree;
    PlainTree plain;
    RandomDocument(seed, calls)(tree);
    RandomDocument(seed, calls)(plain);
    QCOMPARE(difference(tree, plain), QString());

    const QByteArray direct = json(RandomDocument(seed, calls));
    const QByteArray replayed = json([&tree](ElementSink &sink) { QVERIFY(tree.replay(sink)); });
    QVERIFY2(replayed == direct, (calls < 100 ? direct + replayed : QByteArray("they differ")).constData());
}

void TestElementTreeRuns::itemsAtBytes_data()
{
    QTest::addColumn<unsigned>("seed");
    QTest::addColumn<int>("calls");
    for (unsigned seed = 1; seed <= 60; ++seed)
        QTest::newRow("short, seed " + QByteArray::number(seed)) << seed << 20 + 5 * int(seed);
    QTest::newRow("long") << 1U << 20001;
}

void TestElementTreeRuns::itemsAtBytes()
{
    QFETCH(unsigned, seed);
    QFETCH(int, calls);

    ElementTree tree;
    PlainTree plain;
    RandomDocument(seed, calls)(tree);
    RandomDocument(seed, calls)(plain);
    const size_t step = plain.items.size() / 200 + 1;
    for (size_t number = 0; number < plain.items.size(); number += step) {
        const PlainItem &item = plain.items[number];
        const quint64 end = item.offset + item.size;
        for (const quint64 byte : {item.offset - 1, item.offset, item.offset + item.size / 2, end - 1, end}) {
            const int expected = plain.itemAt(byte);
            QVERIFY2(tree.itemAt(byte) == handleOf(tree, plain, expected),
                     qPrintable(QStringLiteral("byte %1 is in item %2").arg(byte).arg(expected)));
        }
    }
}

void TestElementTreeRuns::framesAreKept()
{
    const Calls calls = [](ElementSink &sink) {
        sink.beginElement(0, 1, u"idx1", -1);
        sink.reportFrame({0, 0, 10, 20, true});
        sink.reportFrame({1, 5, max64, max64, false});
        sink.endElement();
    };
    ElementTree tree;
    fill(tree, calls);
    QCOMPARE(tree.frames().size(), quint64(2));
    QCOMPARE(tree.frames().at(0).size, quint64(20));
    QCOMPARE(tree.frames().at(1).number, quint64(5));
    RecordingSink sink;
    QVERIFY(tree.replay(sink));
    QCOMPARE(sink.lines,
             QStringList({QStringLiteral("idx1 0+1 {"), QStringLiteral("}"), QStringLiteral("frame 0/0 10+20 key"),
                          QStringLiteral("frame 1/5 18446744073709551615+18446744073709551615")}));
}

void TestElementTreeRuns::textsOfTheDocumentAreCopied()
{
    QString file = QStringLiteral("file");
    QString container = QStringLiteral("AVI");
    ElementTree tree;
    tree.beginDocument(
        {QString::fromRawData(file.constData(), 4), QString::fromRawData(container.constData(), 3), 1, 2});
    file.fill(QLatin1Char('x'));
    container.fill(QLatin1Char('x'));
    RunResult result;
    result.status = 5;
    result.error.message = QStringLiteral("told");
    tree.endDocument(result);
    QCOMPARE(tree.document().file, QStringLiteral("file"));
    QCOMPARE(tree.document().container, QStringLiteral("AVI"));
    QCOMPARE(tree.document().parser, 2);
    QCOMPARE(tree.result().status, 5);
    QCOMPARE(tree.result().error.message, QStringLiteral("told"));
}

void TestElementTreeRuns::nodesLeftOpenAreEnded()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        sink.beginElement(0, 1, u"a", -1);
        sink.beginElement(0, 1, u"b", -1);
        sink.addField(leaf(0, 1, u"c", u"v"));
    });
    const ElementTree::Item a = tree.child(tree.root(), 0);
    const ElementTree::Item b = tree.child(a, 0);
    QCOMPARE(tree.name(b), QStringLiteral("b"));
    QCOMPARE(tree.name(tree.child(b, 0)), QStringLiteral("c"));
    QVERIFY(tree.parent(b) == a);
}

void TestElementTreeRuns::anEndTooManyIsIgnored()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        sink.endElement();
        sink.beginElement(0, 1, u"a", -1);
        sink.endElement();
        sink.endElement();
        sink.addField(leaf(0, 1, u"b", u"v"));
    });
    QCOMPARE(tree.childCount(tree.root()), 2U);
}

void TestElementTreeRuns::aFinishedTreeTakesNothingMore()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) { sink.addField(leaf(0, 1, u"b", u"v")); });
    QVERIFY(!tree.addField(leaf(0, 1, u"b", u"v")));
    QVERIFY(!tree.beginElement(0, 1, u"b", -1));
    QVERIFY(!tree.reportFrame({}));
    tree.endElement();
    tree.endDocument({});
    QCOMPARE(tree.itemCount(), quint64(1));
    QCOMPARE(tree.childCount(tree.root()), 1U);
}

void TestElementTreeRuns::beginDocumentEmptiesTheTree()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        sink.addField(leaf(0, 1, u"old", u"v"));
        sink.reportFrame({});
        sink.beginElement(0, 1, u"left open", -1);
    });
    fill(tree, [](ElementSink &sink) { sink.addField(leaf(0, 1, u"new", u"w")); });
    QCOMPARE(tree.itemCount(), quint64(1));
    QVERIFY(tree.frames().isEmpty());
    QCOMPARE(tree.name(tree.child(tree.root(), 0)), QStringLiteral("new"));
}

void TestElementTreeRuns::beginDocumentForgetsFrames()
{
    ElementTree tree;
    QVERIFY(tree.beginDocument({QStringLiteral("a.avi"), QStringLiteral("AVI"), 100}));
    QVERIFY(tree.reportFrame({}));
    QVERIFY(tree.beginDocument({QStringLiteral("b.avi"), QStringLiteral("AVI"), 100}));
    QVERIFY(tree.frames().isEmpty());
    QCOMPARE(tree.document().file, QStringLiteral("b.avi"));
}

void TestElementTreeRuns::theBound_data()
{
    QTest::addColumn<int>("shape"); // what is added again and again
    QTest::newRow("leaves") << 0;
    QTest::newRow("nodes with leaves") << 1;
    QTest::newRow("nodes inside each other") << 2;
    QTest::newRow("leaves with long texts") << 3;
    QTest::newRow("leaves that are kept whole") << 4;
    QTest::newRow("one very long text") << 5;
}

void TestElementTreeRuns::theBound()
{
    QFETCH(int, shape);
    constexpr quint64 bound = 4 * 1024 * 1024;
    const QString longText(100, QLatin1Char('x'));
    const QString veryLongText(shape == 5 ? 5000000 : 0, QLatin1Char('x'));

    ElementTree tree(bound);
    PlainTree plain;
    QVERIFY(tree.beginDocument({QStringLiteral("a.avi"), QStringLiteral("AVI"), 100}));
    const auto field = [&](const Field &each) { return tree.addField(each) && plain.addField(each); };
    const auto begin = [&](quint64 offset) {
        return tree.beginElement(offset, 1, u"n", qint64(offset))
            && plain.beginElement(offset, 1, u"n", qint64(offset));
    };
    const auto addOne = [&](quint64 i) {
        switch (shape) {
        case 0:
            return field(leaf(i, 4, u"dwFlags", u"1"));
        case 1: {
            if (!begin(i) || !field(leaf(i, 4, u"dwFlags", u"1")))
                return false;
            return tree.endElement() && plain.endElement();
        }
        case 2:
            return begin(i);
        case 3:
            return field(leaf(i, 4, u"strn", longText));
        case 4:
            return field(leaf(max64 - i, 4, u"strn", u"1"));
        default:
            return i < 3 ? field(leaf(i, 4, u"a", u"b")) : field(leaf(i, 4, u"strn", veryLongText));
        }
    };
    quint64 added = 0;
    QString reason;
    try {
        while (addOne(added))
            QVERIFY(++added < 1000000);
    } catch (const std::length_error &error) {
        reason = QString::fromLatin1(error.what());
    }
    QCOMPARE(reason, QStringLiteral("the element tree is full"));
    QVERIFY(shape == 5 ? added == 3 : added > 10000);
    QVERIFY(tree.endDocument({}));
    plain.endDocument({});
    QCOMPARE(difference(tree, plain), QString());

    // The next document finds room again.
    fill(tree, [](ElementSink &sink) { sink.addField(leaf(0, 1, u"n", u"v")); });
    QCOMPARE(tree.itemCount(), quint64(1));
}

void TestElementTreeRuns::theBoundOfALargeTree()
{
    // Of 20 MiB, what is left beyond 16 MiB is less than one of the larger pieces that memory is taken in, and is used.
    constexpr quint64 bound = 20 * 1024 * 1024;
    constexpr quint64 textSize = 100 * 1024;
    const QString text(int(textSize), QLatin1Char('x'));
    ElementTree tree(bound);
    quint64 added = 0;
    const auto addUntilItIsFull = [&] {
        while (added * textSize < bound) {
            tree.addField(leaf(added, 4, u"strn", text));
            ++added;
        }
    };
    QVERIFY_THROWS_EXCEPTION(std::length_error, addUntilItIsFull());
    QVERIFY2(added * textSize > bound - 2 * 1024 * 1024, QByteArray::number(added).constData());
}

void TestElementTreeRuns::noRoomAtAll()
{
    ElementTree tree(0);
    QVERIFY(tree.beginDocument({QStringLiteral("a.avi"), QStringLiteral("AVI"), 100}));
    QVERIFY_THROWS_EXCEPTION(std::length_error, tree.beginElement(0, 1, u"n", -1));
    QVERIFY_THROWS_EXCEPTION(std::length_error, tree.addField(leaf(0, 1, u"n", u"v")));
    QVERIFY(tree.endDocument({}));
    QCOMPARE(tree.itemCount(), quint64(0));
    QCOMPARE(tree.childCount(tree.root()), 0U);
    QCOMPARE(tree.document().file, QStringLiteral("a.avi"));
}

void TestElementTreeRuns::aReplayThatTheSinkRefusesStaysBalanced()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) {
        sink.beginElement(0, 1, u"a", -1);
        sink.addField(leaf(0, 1, u"b", u"v"));
        sink.beginElement(0, 1, u"c", -1);
        sink.addField(leaf(0, 1, u"d", u"v"));
        sink.endElement();
        sink.endElement();
        sink.reportFrame({});
        sink.reportFrame({});
    });
    RecordingSink whole;
    QVERIFY(tree.replay(whole));
    QCOMPARE(whole.calls, 8);
    for (int failAt = 1; failAt <= whole.calls; ++failAt) {
        RecordingSink sink;
        sink.failAt = failAt;
        QVERIFY(!tree.replay(sink));
        QCOMPARE(sink.depth(), 0);
        QCOMPARE(sink.documentsEnded, 1);
        QCOMPARE(sink.lines.mid(0, failAt), whole.lines.mid(0, failAt));
        // After the refusal only nodes are ended.
        QVERIFY(sink.calls - failAt <= 2);
    }
}

void TestElementTreeRuns::aFinishedTreeIsReadByManyThreads()
{
    ElementTree tree;
    PlainTree plain;
    RandomDocument(99, 5000)(tree);
    RandomDocument(99, 5000)(plain);
    const QByteArray direct = json(RandomDocument(99, 5000));
    std::vector<QString> differences(4, QStringLiteral("not run"));
    std::vector<QByteArray> documents(4);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            differences[i] = difference(tree, plain);
            documents[i] = json([&tree](ElementSink &sink) { tree.replay(sink); });
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (size_t i = 0; i < 4; ++i) {
        QCOMPARE(differences[i], QString());
        QVERIFY(documents[i] == direct);
    }
}

QTEST_APPLESS_MAIN(TestElementTreeRuns)
#include "tst_elementtreeruns.moc"
