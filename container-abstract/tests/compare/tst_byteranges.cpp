#include "byteranges.h"

#include <QtTest>

#include <bitset>
#include <limits>
#include <random>

class TestByteRanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void adding_data();
    void adding();
    void operations_data();
    void operations();
    void randomSetsAgreeWithSetsOfSingleBytes();
    void aMillionRangesInOrder();
};

Q_DECLARE_METATYPE(ByteRanges)

namespace {

constexpr quint64 max64 = std::numeric_limits<quint64>::max();

using Ranges = QVector<QPair<quint64, quint64>>; // offset, size

Ranges rangesOf(const ByteRanges &set)
{
    Ranges ranges;
    for (const ByteRange &range : set)
        ranges.append({range.offset, range.size});
    return ranges;
}

} // namespace

void TestByteRanges::adding_data()
{
    QTest::addColumn<ByteRanges>("set");
    QTest::addColumn<Ranges>("ranges");
    QTest::addColumn<quint64>("bytes");

    const auto row = [](const char *rule, std::initializer_list<ByteRange> added, const Ranges &ranges, quint64 bytes) {
        QTest::newRow(rule) << ByteRanges(added) << ranges << bytes;
    };
    row("nothing", {}, {}, 0);
    row("no bytes are no range", {{5, 0}}, {}, 0);
    row("ascending", {{0, 2}, {3, 2}}, {{0, 2}, {3, 2}}, 4);
    row("touching ranges are one", {{0, 2}, {2, 2}}, {{0, 4}}, 4);
    row("overlapping ranges are one", {{0, 3}, {2, 2}}, {{0, 4}}, 4);
    row("a range inside the last", {{0, 9}, {2, 2}}, {{0, 9}}, 9);
    row("the same range twice", {{4, 2}, {4, 2}}, {{4, 2}}, 2);
    row("before the first", {{5, 2}, {1, 2}}, {{1, 2}, {5, 2}}, 4);
    row("touching the first from below", {{5, 2}, {3, 2}}, {{3, 4}}, 4);
    row("between two", {{0, 1}, {9, 1}, {4, 2}}, {{0, 1}, {4, 2}, {9, 1}}, 4);
    row("filling the place between two", {{0, 4}, {6, 1}, {4, 2}}, {{0, 7}}, 7);
    row("touching the one before only", {{0, 4}, {8, 1}, {4, 2}}, {{0, 6}, {8, 1}}, 7);
    row("touching the one behind only", {{0, 1}, {6, 1}, {4, 2}}, {{0, 1}, {4, 3}}, 4);
    row("over several", {{0, 1}, {3, 1}, {6, 1}, {9, 1}, {2, 6}}, {{0, 1}, {2, 6}, {9, 1}}, 8);
    row("over all", {{2, 1}, {4, 1}, {6, 1}, {0, 9}}, {{0, 9}}, 9);
    row("inside one that is not the last", {{0, 5}, {9, 1}, {1, 2}}, {{0, 5}, {9, 1}}, 6);
    row("behind the last number is cut off", {{max64 - 2, 10}}, {{max64 - 2, 2}}, 2);
    row("all bytes that there are", {{1, max64}, {0, 5}}, {{0, max64}}, max64);
    row("the byte behind the last number", {{max64, 1}}, {}, 0);
}

void TestByteRanges::adding()
{
    QFETCH(ByteRanges, set);
    QFETCH(Ranges, ranges);
    QFETCH(quint64, bytes);

    QCOMPARE(rangesOf(set), ranges);
    QCOMPARE(set.byteCount(), bytes);
    QCOMPARE(set.rangeCount(), quint64(ranges.size()));
    QCOMPARE(set.isEmpty(), ranges.isEmpty());
    set.clear();
    QVERIFY(set == ByteRanges());
}

void TestByteRanges::operations_data()
{
    QTest::addColumn<ByteRanges>("a");
    QTest::addColumn<ByteRanges>("b");
    QTest::addColumn<Ranges>("either");
    QTest::addColumn<Ranges>("both");
    QTest::addColumn<Ranges>("onlyInA");

    QTest::newRow("with nothing") << ByteRanges{{1, 2}} << ByteRanges() << Ranges{{1, 2}} << Ranges{} << Ranges{{1, 2}};
    QTest::newRow("nothing with something")
        << ByteRanges() << ByteRanges{{1, 2}} << Ranges{{1, 2}} << Ranges{} << Ranges{};
    QTest::newRow("with the same") << ByteRanges{{1, 2}, {5, 1}} << ByteRanges{{1, 2}, {5, 1}} << Ranges{{1, 2}, {5, 1}}
                                   << Ranges{{1, 2}, {5, 1}} << Ranges{};
    QTest::newRow("side by side") << ByteRanges{{1, 2}} << ByteRanges{{3, 2}} << Ranges{{1, 4}} << Ranges{}
                                  << Ranges{{1, 2}};
    QTest::newRow("a hole in the middle")
        << ByteRanges{{0, 9}} << ByteRanges{{3, 2}} << Ranges{{0, 9}} << Ranges{{3, 2}} << Ranges{{0, 3}, {5, 4}};
    QTest::newRow("one range across several")
        << ByteRanges{{0, 2}, {4, 2}, {8, 2}} << ByteRanges{{1, 8}} << Ranges{{0, 10}} << Ranges{{1, 1}, {4, 2}, {8, 1}}
        << Ranges{{0, 1}, {9, 1}};
    QTest::newRow("several in one range") << ByteRanges{{0, 9}} << ByteRanges{{0, 1}, {2, 1}, {8, 3}} << Ranges{{0, 11}}
                                          << Ranges{{0, 1}, {2, 1}, {8, 1}} << Ranges{{1, 1}, {3, 5}};
}

void TestByteRanges::operations()
{
    QFETCH(ByteRanges, a);
    QFETCH(ByteRanges, b);
    ByteRanges united = a;
    united.unite(b);
    QTEST(rangesOf(united), "either");
    ByteRanges common = a;
    common.intersect(b);
    QTEST(rangesOf(common), "both");
    ByteRanges rest = a;
    rest.subtract(b);
    QTEST(rangesOf(rest), "onlyInA");

    // With itself as well.
    ByteRanges same = a;
    same.unite(same);
    same.intersect(same);
    QVERIFY(same == a);
    same.subtract(same);
    QVERIFY(same.isEmpty());
}

void TestByteRanges::randomSetsAgreeWithSetsOfSingleBytes()
{
    constexpr size_t bytes = 64;
    using Bits = std::bitset<bytes>;
    std::mt19937 random(1);
    const auto fill = [&](ByteRanges *set, Bits *bits) {
        for (auto count = random() % 12; count > 0; --count) {
            const size_t offset = random() % bytes;
            const size_t size = random() % std::min<size_t>(bytes - offset + 1, 8);
            set->add({offset, size});
            for (size_t i = offset; i < offset + size; ++i)
                bits->set(i);
        }
    };
    const auto rangesOfBits = [](const Bits &bits) {
        Ranges ranges;
        for (size_t i = 0; i < bytes; ++i) {
            if (bits[i] && i > 0 && bits[i - 1])
                ++ranges.last().second;
            else if (bits[i])
                ranges.append({i, 1});
        }
        return ranges;
    };
    for (int round = 0; round < 3000; ++round) {
        ByteRanges a, b;
        Bits bitsOfA, bitsOfB;
        fill(&a, &bitsOfA);
        fill(&b, &bitsOfB);
        QCOMPARE(rangesOf(a), rangesOfBits(bitsOfA));
        ByteRanges united = a, common = a, rest = a;
        united.unite(b);
        common.intersect(b);
        rest.subtract(b);
        QCOMPARE(rangesOf(united), rangesOfBits(bitsOfA | bitsOfB));
        QCOMPARE(rangesOf(common), rangesOfBits(bitsOfA & bitsOfB));
        QCOMPARE(rangesOf(rest), rangesOfBits(bitsOfA & ~bitsOfB));
        QCOMPARE(rest.byteCount(), quint64((bitsOfA & ~bitsOfB).count()));
        QCOMPARE(rest != a, (bitsOfA & bitsOfB).any());
    }
}

void TestByteRanges::aMillionRangesInOrder()
{
    constexpr quint64 count = 1000000;
    ByteRanges even, odd;
    for (quint64 i = 0; i < count; ++i) {
        even.add({2 * i, 1});
        odd.add({2 * i + 1, 1});
    }
    QCOMPARE(even.rangeCount(), count);
    even.unite(odd);
    QCOMPARE(rangesOf(even), (Ranges{{0, 2 * count}}));
    even.subtract(odd);
    QCOMPARE(even.rangeCount(), count);
    even.intersect(odd);
    QVERIFY(even.isEmpty());
}

QTEST_APPLESS_MAIN(TestByteRanges)
#include "tst_byteranges.moc"
