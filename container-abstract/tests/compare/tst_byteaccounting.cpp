#include "byteaccounting.h"

#include "failingnew.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

using namespace quenlofar;

namespace {

constexpr quint64 max64 = std::numeric_limits<quint64>::max();

enum LeafKind { Interpreted, Data, Unparsed };

struct Leaf
{
    LeafKind kind;
    quint64 offset;
    quint64 size;
};
using Leaves = QVector<Leaf>;
using Ranges = QVector<QPair<quint64, quint64>>; // offset, size

bool add(ByteAccounting *accounting, const Leaf &leaf)
{
    const QStringView names[] = {u"dwFlags", u"value", unparsedDataMarker};
    return accounting->addField({false, 0, leaf.offset, leaf.size, -1, names[leaf.kind], {}, {}, {}});
}

bool begin(ByteAccounting *accounting, qint64 fileSize)
{
    return accounting->beginDocument({QStringLiteral("a.avi"), QStringLiteral("AVI"), fileSize});
}

bool account(ByteAccounting *accounting, qint64 fileSize, const Leaves &leaves)
{
    bool taken = begin(accounting, fileSize);
    for (const Leaf &leaf : leaves)
        taken = add(accounting, leaf) && taken;
    return accounting->endDocument({}) && taken;
}

Ranges rangesOf(const ByteAccounting &accounting, ByteAccounting::Kind kind)
{
    Ranges ranges;
    accounting.visitRanges(kind, [&ranges](const ByteRange &range) {
        ranges.append({range.offset, range.size});
        return true;
    });
    return ranges;
}

/// The kind's ranges as told by counting the leaves of each single byte.
Ranges countedRanges(ByteAccounting::Kind kind, size_t fileSize, const Leaves &leaves)
{
    struct Counts
    {
        int of[3];
    };
    std::vector<Counts> counts(fileSize);
    for (const Leaf &leaf : leaves) {
        for (size_t i = 0; i < fileSize; ++i)
            counts[i].of[leaf.kind] += i >= leaf.offset && i - leaf.offset < leaf.size ? 1 : 0;
    }
    const auto isOfKind = [kind](const Counts &count) {
        const int all = count.of[Interpreted] + count.of[Data] + count.of[Unparsed];
        switch (kind) {
        case ByteAccounting::Kind::Interpreted:
            return count.of[Interpreted] > 0;
        case ByteAccounting::Kind::Data:
            return count.of[Interpreted] == 0 && count.of[Data] > 0;
        case ByteAccounting::Kind::Unparsed:
            return all > 0 && all == count.of[Unparsed];
        case ByteAccounting::Kind::Gap:
            return all == 0;
        case ByteAccounting::Kind::Overlap:
            break;
        }
        return all > 1;
    };
    Ranges ranges;
    for (size_t i = 0; i < fileSize; ++i) {
        if (isOfKind(counts[i]) && i > 0 && isOfKind(counts[i - 1]))
            ++ranges.last().second;
        else if (isOfKind(counts[i]))
            ranges.append({i, 1});
    }
    return ranges;
}

constexpr ByteAccounting::Kind allKinds[] = {ByteAccounting::Kind::Interpreted, ByteAccounting::Kind::Data,
                                             ByteAccounting::Kind::Unparsed, ByteAccounting::Kind::Gap,
                                             ByteAccounting::Kind::Overlap};

quint64 sumOfTheFirstFour(const ByteAccounting &accounting)
{
    quint64 sum = 0;
    for (int i = 0; i < 4; ++i)
        sum += accounting.byteCount(allKinds[i]);
    return sum;
}

} // namespace

Q_DECLARE_METATYPE(Leaf)

class TestByteAccounting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leaves_data();
    void leaves();
    void whatIsData_data();
    void whatIsData();
    void nodesAndFramesCoverNothing();
    void whatIsCoveredMayNotBeToldApart();
    void randomLeavesAgreeWithCountingEachByte_data();
    void randomLeavesAgreeWithCountingEachByte();
    void manyLeavesOutOfOrder_data();
    void manyLeavesOutOfOrder();
    void theNextDocumentStartsAnew();
    void aVisitorMayEndTheVisit();
    void memoryThatRunsOutIsThrown();
};

void TestByteAccounting::leaves_data()
{
    QTest::addColumn<qint64>("fileSize");
    QTest::addColumn<Leaves>("leaves");
    QTest::addColumn<Ranges>("interpreted");
    QTest::addColumn<Ranges>("data");
    QTest::addColumn<Ranges>("unparsed");
    QTest::addColumn<Ranges>("gaps");
    QTest::addColumn<Ranges>("overlaps");

    const auto row = [](const char *rule, qint64 fileSize, const Leaves &leaves, const Ranges &interpreted,
                        const Ranges &data, const Ranges &unparsed, const Ranges &gaps, const Ranges &overlaps) {
        QTest::newRow(rule) << fileSize << leaves << interpreted << data << unparsed << gaps << overlaps;
    };
    row("an empty file", 0, {}, {}, {}, {}, {}, {});
    row("a file that could not be opened", -1, {{Interpreted, 0, 4}}, {}, {}, {}, {}, {});
    row("no leaves: one gap", 9, {}, {}, {}, {}, {{0, 9}}, {});
    row("one of each kind, side by side", 16, {{Interpreted, 0, 4}, {Data, 4, 4}, {Unparsed, 8, 4}}, {{0, 4}}, {{4, 4}},
        {{8, 4}}, {{12, 4}}, {});
    row("neighbours of one kind are one range", 8, {{Interpreted, 0, 4}, {Interpreted, 4, 4}}, {{0, 8}}, {}, {}, {},
        {});
    row("gaps at the start, between and at the end", 12, {{Unparsed, 2, 2}, {Unparsed, 6, 2}}, {}, {}, {{2, 2}, {6, 2}},
        {{0, 2}, {4, 2}, {8, 4}}, {});
    row("interpreted before data before unparsed", 12, {{Unparsed, 0, 12}, {Data, 0, 8}, {Interpreted, 0, 4}}, {{0, 4}},
        {{4, 4}}, {{8, 4}}, {}, {{0, 8}});
    row("the same whichever comes first", 12, {{Interpreted, 0, 4}, {Data, 0, 8}, {Unparsed, 0, 12}}, {{0, 4}},
        {{4, 4}}, {{8, 4}}, {}, {{0, 8}});
    row("two leaves at one place", 8, {{Interpreted, 0, 4}, {Interpreted, 0, 4}, {Interpreted, 4, 4}}, {{0, 8}}, {}, {},
        {}, {{0, 4}});
    row("three leaves at one place are one overlap", 4, {{Data, 0, 4}, {Data, 0, 4}, {Data, 2, 2}}, {}, {{0, 4}}, {},
        {}, {{0, 4}});
    row("an overlap across two kinds is one range", 8, {{Interpreted, 0, 4}, {Data, 4, 4}, {Unparsed, 2, 4}}, {{0, 4}},
        {{4, 4}}, {}, {}, {{2, 4}});
    row("a leaf fills a gap that was left", 12, {{Interpreted, 0, 4}, {Interpreted, 8, 4}, {Interpreted, 4, 4}},
        {{0, 12}}, {}, {}, {}, {});
    row("no bytes cover nothing", 4, {{Interpreted, 0, 0}, {Unparsed, 2, 0}, {Data, 4, 0}}, {}, {}, {}, {{0, 4}}, {});
    row("a leaf that reaches behind the end", 8, {{Interpreted, 4, 100}}, {{4, 4}}, {}, {}, {{0, 4}}, {});
    row("leaves behind the end", 8, {{Interpreted, 8, 4}, {Interpreted, max64, 1}, {Data, max64, max64}}, {}, {}, {},
        {{0, 8}}, {});
    row("offset and size that overflow", 8, {{Data, 6, max64}, {Unparsed, 2, max64 - 1}}, {}, {{6, 2}}, {{2, 4}},
        {{0, 2}}, {{6, 2}});
    row("the largest file", std::numeric_limits<qint64>::max(), {{Data, 8, max64}, {Interpreted, 0, 8}}, {{0, 8}},
        {{8, (quint64(1) << 63) - 9}}, {}, {}, {});
}

void TestByteAccounting::leaves()
{
    QFETCH(qint64, fileSize);
    QFETCH(Leaves, leaves);
    ByteAccounting accounting;
    QVERIFY(account(&accounting, fileSize, leaves));
    QTEST(rangesOf(accounting, ByteAccounting::Kind::Interpreted), "interpreted");
    QTEST(rangesOf(accounting, ByteAccounting::Kind::Data), "data");
    QTEST(rangesOf(accounting, ByteAccounting::Kind::Unparsed), "unparsed");
    QTEST(rangesOf(accounting, ByteAccounting::Kind::Gap), "gaps");
    QTEST(rangesOf(accounting, ByteAccounting::Kind::Overlap), "overlaps");
    QCOMPARE(sumOfTheFirstFour(accounting), quint64(std::max<qint64>(fileSize, 0)));
    for (const ByteAccounting::Kind kind : allKinds)
        QCOMPARE(accounting.rangeCount(kind), quint64(rangesOf(accounting, kind).size()));
}

void TestByteAccounting::whatIsData_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("kind"); // of the first three

    const QString value = QStringLiteral("value");
    QTest::newRow("value without a text") << value << QString() << int(Data);
    QTest::newRow("value with a text") << value << QStringLiteral("0") << int(Interpreted);
    QTest::newRow("another name without a text") << QStringLiteral("Value") << QString() << int(Interpreted);
    QTest::newRow("no name, no text") << QString() << QString() << int(Interpreted);
    QTest::newRow("unparsed data with a text") << unparsedDataMarker.toString() << value << int(Unparsed);
}

void TestByteAccounting::whatIsData()
{
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(int, kind);
    ByteAccounting accounting;
    begin(&accounting, 4);
    QVERIFY(accounting.addField({false, 0, 0, 4, -1, name, value, u"a meaning", {}}));
    QVERIFY(accounting.endDocument({}));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(accounting.byteCount(allKinds[i]), quint64(i == kind ? 4 : 0));
}

void TestByteAccounting::nodesAndFramesCoverNothing()
{
    ByteAccounting accounting;
    begin(&accounting, 100);
    QVERIFY(accounting.beginElement(0, 100, u"RIFF(AVI )", -1));
    QVERIFY(add(&accounting, {Interpreted, 0, 4}));
    QVERIFY(accounting.endElement());
    QVERIFY(accounting.reportFrame({0, 0, 50, 10, true}));
    QVERIFY(accounting.endDocument({}));
    QCOMPARE(rangesOf(accounting, ByteAccounting::Kind::Gap), (Ranges{{4, 96}}));
}

void TestByteAccounting::whatIsCoveredMayNotBeToldApart()
{
    ByteAccounting accounting(ByteAccounting::Detail::Covered);
    const Leaves all = {{Interpreted, 0, 4}, {Data, 2, 6}, {Unparsed, 6, 4}, {Unparsed, 12, 2}, {Data, 11, 2}};
    for (int document = 0; document < 2; ++document) {
        QVERIFY(account(&accounting, 16, all));
        QCOMPARE(rangesOf(accounting, ByteAccounting::Kind::Interpreted), (Ranges{{0, 8}, {11, 2}}));
        QCOMPARE(rangesOf(accounting, ByteAccounting::Kind::Data), Ranges());
        QCOMPARE(rangesOf(accounting, ByteAccounting::Kind::Unparsed), (Ranges{{8, 2}, {13, 1}}));
        QCOMPARE(rangesOf(accounting, ByteAccounting::Kind::Gap), (Ranges{{10, 1}, {14, 2}}));
        QCOMPARE(rangesOf(accounting, ByteAccounting::Kind::Overlap), Ranges());
        QCOMPARE(sumOfTheFirstFour(accounting), quint64(16));
    }

    // A good file takes no memory, however long it is: there is no place where the kind changes.
    QVERIFY(begin(&accounting, 1 << 20));
    allocationsLeft = 2; // a place and its cover
    bool taken = true;
    for (quint64 i = 0; i < (1 << 16); ++i)
        taken = add(&accounting, {i % 2 == 0 ? Interpreted : Data, 16 * i, 16}) && taken;
    allocationsLeft = -1;
    QVERIFY(taken && accounting.endDocument({}));
    QCOMPARE(rangesOf(accounting, ByteAccounting::Kind::Interpreted), (Ranges{{0, 1 << 20}}));
}

void TestByteAccounting::randomLeavesAgreeWithCountingEachByte_data()
{
    QTest::addColumn<int>("leafCount");
    QTest::addColumn<unsigned>("largest");
    QTest::addColumn<unsigned>("outOfOrder"); // one leaf of this many
    QTest::addColumn<int>("rounds");

    QTest::newRow("few leaves in any order") << 8 << 12U << 1U << 2000;
    QTest::newRow("mostly ascending") << 20 << 6U << 5U << 1000;
    QTest::newRow("more than the pending leaves that are gathered") << 20000 << 3U << 1U << 2;
}

void TestByteAccounting::randomLeavesAgreeWithCountingEachByte()
{
    QFETCH(int, leafCount);
    QFETCH(unsigned, largest);
    QFETCH(unsigned, outOfOrder);
    QFETCH(int, rounds);

    constexpr quint64 fileSize = 80;
    std::mt19937_64 random(7);
    for (int round = 0; round < rounds; ++round) {
        Leaves leaves;
        quint64 next = 0;
        for (int i = 0; i < leafCount; ++i) {
            const bool isNext = random() % outOfOrder != 0;
            const Leaf leaf{LeafKind(random() % 3), isNext ? next + random() % 2 : random() % (fileSize + 4),
                            random() % largest};
            leaves.append(leaf);
            next = leaf.offset + leaf.size;
        }
        ByteAccounting accounting;
        QVERIFY(account(&accounting, qint64(fileSize), leaves));
        for (const ByteAccounting::Kind kind : allKinds)
            QCOMPARE(rangesOf(accounting, kind), countedRanges(kind, fileSize, leaves));
        QCOMPARE(sumOfTheFirstFour(accounting), fileSize);
    }
}

void TestByteAccounting::manyLeavesOutOfOrder_data()
{
    QTest::addColumn<int>("order");

    QTest::newRow("ascending") << 0;
    QTest::newRow("descending") << 1;
    QTest::newRow("all of them twice") << 2;
    QTest::newRow("shuffled") << 3;
}

void TestByteAccounting::manyLeavesOutOfOrder()
{
    QFETCH(int, order);
    constexpr quint64 count = 300000;
    std::vector<quint64> places;
    for (quint64 i = 0; i < count; ++i) {
        places.push_back(order == 1 ? count - 1 - i : i);
        if (order == 2)
            places.push_back(i);
    }
    if (order == 3)
        std::shuffle(places.begin(), places.end(), std::mt19937(3));

    ByteAccounting accounting;
    QVERIFY(begin(&accounting, qint64(10 * count)));
    for (const quint64 place : places) {
        if (!add(&accounting, {place % 2 == 0 ? Interpreted : Unparsed, place * 10, 8}))
            QFAIL("a leaf was not taken");
    }
    QVERIFY(accounting.endDocument({}));
    const quint64 half = count / 2;
    QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Interpreted), 8 * half);
    QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Unparsed), 8 * half);
    QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Gap), 2 * count);
    QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Overlap), order == 2 ? 8 * count : 0);
    QCOMPARE(accounting.rangeCount(ByteAccounting::Kind::Gap), count);
}

void TestByteAccounting::theNextDocumentStartsAnew()
{
    ByteAccounting accounting;
    QVERIFY(account(&accounting, 8, {{Interpreted, 0, 8}}));
    QVERIFY(!add(&accounting, {Interpreted, 0, 8}));
    QVERIFY(begin(&accounting, 4));
    QVERIFY(add(&accounting, {Unparsed, 0, 3}));
    QCOMPARE(sumOfTheFirstFour(accounting), quint64(0));
    QVERIFY(accounting.endDocument({}));
    QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Interpreted), quint64(0));
    QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Unparsed), quint64(3));
}

void TestByteAccounting::aVisitorMayEndTheVisit()
{
    ByteAccounting accounting;
    account(&accounting, 8, {{Data, 0, 1}, {Data, 2, 1}, {Data, 4, 1}});
    Ranges seen;
    const auto visit = [&seen](const ByteRange &range) {
        seen.append({range.offset, range.size});
        return seen.size() < 2;
    };
    QVERIFY(!accounting.visitRanges(ByteAccounting::Kind::Data, visit));
    QCOMPARE(seen, (Ranges{{0, 1}, {2, 1}}));
    QVERIFY(accounting.visitRanges(ByteAccounting::Kind::Overlap, visit));
}

void TestByteAccounting::memoryThatRunsOutIsThrown()
{
    const auto addMany = [](ByteAccounting *accounting, bool ascending) {
        for (quint64 i = 1; i < 50000; ++i)
            add(accounting, {Data, ascending ? 2 * i : 100000 - 2 * i, 1});
    };
    RunResult outcome;
    outcome.error.kind = FileError::Memory;
    for (const int allocations : {0, 1, 2, 3, 10, 13, 15, 17}) {
        for (const bool ascending : {true, false}) {
            ByteAccounting accounting;
            QVERIFY(begin(&accounting, 100000));
            allocationsLeft = allocations;
            bool hasThrown = false;
            try {
                addMany(&accounting, ascending);
            } catch (const std::bad_alloc &) {
                hasThrown = true;
            }
            const bool isEnded = accounting.endDocument(outcome);
            allocationsLeft = -1;
            QVERIFY(hasThrown && isEnded);
            QCOMPARE(sumOfTheFirstFour(accounting), quint64(0));
        }
    }

    // The last merge, at the end of the document, which comes again.
    ByteAccounting accounting;
    QVERIFY(begin(&accounting, 100));
    add(&accounting, {Data, 50, 1});
    add(&accounting, {Data, 40, 1});
    allocationsLeft = 0;
    bool hasThrown = false;
    try {
        accounting.endDocument({});
    } catch (const std::bad_alloc &) {
        hasThrown = true;
    }
    const bool isEnded = accounting.endDocument(outcome);
    allocationsLeft = -1;
    QVERIFY(hasThrown && isEnded);
    QCOMPARE(sumOfTheFirstFour(accounting), quint64(0));
    QVERIFY(account(&accounting, 4, {{Data, 0, 4}}));
    QCOMPARE(sumOfTheFirstFour(accounting), quint64(4));
}

QTEST_APPLESS_MAIN(TestByteAccounting)
#include "tst_byteaccounting.moc"
