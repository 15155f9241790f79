#include "framelist.h"

#include <QTest>

#include <limits>
#include <vector>

using namespace quenlofar;

namespace {

constexpr quint64 max64 = std::numeric_limits<quint64>::max();
constexpr uint maxStream = std::numeric_limits<uint>::max();

bool operator==(const Frame &a, const Frame &b)
{
    return a.stream == b.stream && a.number == b.number && a.offset == b.offset && a.size == b.size && a.key == b.key;
}

void compare(const FrameList &list, const std::vector<Frame> &expected)
{
    QCOMPARE(list.size(), quint64(expected.size()));
    for (size_t i = 0; i < expected.size(); ++i)
        QVERIFY2(list.at(i) == expected[i], qPrintable(QStringLiteral("frame %1").arg(i)));
}

} // namespace

class TestFrameList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNewListIsEmpty();
    void aFrameComesBack_data();
    void aFrameComesBack();
    void manyFramesComeBack_data();
    void manyFramesComeBack();
    void aCopyIsIndependent();
    void aClearedListStartsAnew();
};

void TestFrameList::aNewListIsEmpty()
{
    const FrameList list;
    QVERIFY(list.isEmpty());
    QCOMPARE(list.size(), quint64(0));
}

void TestFrameList::aFrameComesBack_data()
{
    QTest::addColumn<uint>("stream");
    QTest::addColumn<quint64>("number");
    QTest::addColumn<quint64>("offset");
    QTest::addColumn<quint64>("size");
    QTest::addColumn<bool>("key");

    constexpr quint64 offset47 = quint64(1) << 47;
    QTest::newRow("all zero") << 0U << quint64(0) << quint64(0) << quint64(0) << false;
    QTest::newRow("a key frame") << 0U << quint64(0) << quint64(0) << quint64(0) << true;
    QTest::newRow("the largest stream") << maxStream << quint64(0) << quint64(5) << quint64(6) << false;
    QTest::newRow("a first number that is not 0") << 1U << quint64(77) << quint64(5) << quint64(6) << true;
    QTest::newRow("the largest number") << 1U << max64 << quint64(5) << quint64(6) << true;
    QTest::newRow("the largest packed offset") << 0U << quint64(0) << offset47 - 1 << quint64(1) << false;
    QTest::newRow("the first offset kept whole") << 0U << quint64(0) << offset47 << quint64(1) << true;
    QTest::newRow("the largest offset") << 2U << quint64(3) << max64 << quint64(1) << false;
    QTest::newRow("the largest packed size") << 0U << quint64(0) << quint64(1) << quint64(0xFFFFFFFE) << false;
    QTest::newRow("the first size kept whole") << 0U << quint64(0) << quint64(1) << quint64(0xFFFFFFFF) << false;
    QTest::newRow("a size beyond 32 bits") << 0U << quint64(0) << quint64(1) << quint64(0x100000000) << true;
    QTest::newRow("the largest size") << 0U << quint64(9) << quint64(1) << max64 << false;
}

void TestFrameList::aFrameComesBack()
{
    QFETCH(uint, stream);
    QFETCH(quint64, number);
    QFETCH(quint64, offset);
    QFETCH(quint64, size);
    QFETCH(bool, key);

    const Frame ordinary{4, 5, 6, 7, true};
    const Frame frame{stream, number, offset, size, key};
    FrameList list;
    for (const Frame &each : {ordinary, frame, frame, ordinary})
        list.append(each);
    compare(list, {ordinary, frame, frame, ordinary});
}

void TestFrameList::manyFramesComeBack_data()
{
    QTest::addColumn<uint>("streams");
    QTest::addColumn<quint64>("numberStep");
    QTest::addColumn<quint64>("largeEvery"); // 0 is never

    QTest::newRow("one stream, numbered without gaps") << 1U << quint64(1) << quint64(0);
    QTest::newRow("three streams in turn") << 3U << quint64(1) << quint64(0);
    QTest::newRow("more streams than fit a block") << 1000U << quint64(1) << quint64(0);
    QTest::newRow("a number that stays") << 1U << quint64(0) << quint64(0);
    QTest::newRow("numbers with gaps") << 2U << quint64(7) << quint64(0);
    QTest::newRow("numbers that jump beyond a block") << 2U << quint64(1) + (quint64(1) << 40) << quint64(0);
    QTest::newRow("numbers that run down") << 2U << max64 << quint64(0);
    QTest::newRow("frames kept whole in between") << 2U << quint64(1) << quint64(3);
    QTest::newRow("only frames kept whole") << 2U << quint64(1) << quint64(1);
}

void TestFrameList::manyFramesComeBack()
{
    QFETCH(uint, streams);
    QFETCH(quint64, numberStep);
    QFETCH(quint64, largeEvery);

    FrameList list;
    std::vector<Frame> expected;
    std::vector<quint64> numbers(streams);
    for (quint64 i = 0; i < 5000; ++i) {
        const uint stream = uint(i % streams);
        const bool isLarge = largeEvery != 0 && i % largeEvery == 0;
        const Frame frame{stream, numbers[stream], i * 100003, isLarge ? (i << 33) + 0xFFFFFFFF : i * 31, i % 5 == 0};
        numbers[stream] += numberStep;
        list.append(frame);
        expected.push_back(frame);
    }
    compare(list, expected);
}

void TestFrameList::aCopyIsIndependent()
{
    FrameList list;
    list.append({0, 0, 1, 2, true});
    FrameList copy = list;
    copy.append({0, 1, 3, 4, false});
    compare(list, {{0, 0, 1, 2, true}});
    compare(copy, {{0, 0, 1, 2, true}, {0, 1, 3, 4, false}});
}

void TestFrameList::aClearedListStartsAnew()
{
    FrameList list;
    for (quint64 i = 0; i < 300; ++i)
        list.append({0, i, i << 40, i << 30, true});
    list.clear();
    compare(list, {});
    list.append({7, 8, 9, 10, false});
    compare(list, {{7, 8, 9, 10, false}});
}

QTEST_APPLESS_MAIN(TestFrameList)
#include "tst_framelist.moc"
