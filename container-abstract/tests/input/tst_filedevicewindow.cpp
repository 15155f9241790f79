#include "faultysource.h"
#include "filedevice.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <random>
#include <vector>

using namespace quenlofar;

class TestFileDeviceWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aJumpFetchesAtMost4KiB();
    void theWindowGrowsWhileReadingIsSequential();
    void aSkipSmallerThanAFetchIsSequential();
    void aJumpEndsTheGrowth();
    void smallStepsBackFetchNothing();
    void largeReadsGoStraightToTheCaller();
    void smallerReadsGoThroughTheWindow();
    void aScanFetchesEachByteOnce();
    void memoryIsNeverFetched();

    void readErrors_data();
    void readErrors();
    void onlyTheFirstReadErrorIsRemembered();
    void damageBehindWhatIsWantedIsNoError();
    void onlyAFailedReadAheadIsTriedWithLess_data();
    void onlyAFailedReadAheadIsTriedWithLess();
    void aSourceThatGivesLessThanItsSizeIsNoError();
    void aSourceThatGivesLittleAtATimeIsReadToTheEnd();

    void theReadLimitHoldsOutsideTheWindow();
    void theStopFlagHoldsOutsideTheWindow();
    void theStopFlagEndsALongRead();
    void aMemorySourceStopsAtItsEndOnly();

    void likeAnArray_data();
    void likeAnArray();
};

namespace {

std::vector<qint64> sizesOf(const std::vector<Fetch> &fetches)
{
    std::vector<qint64> sizes;
    sizes.reserve(fetches.size());
    for (const Fetch &fetch : fetches)
        sizes.push_back(fetch.size);
    return sizes;
}

} // namespace

void TestFileDeviceWindow::aJumpFetchesAtMost4KiB()
{
    SourceState state;
    state.size = 1000 * kib * kib;
    FileDevice device;
    openFaulty(&device, &state);
    std::mt19937_64 random(1);
    qint64 position = 0;
    for (int jump = 0; jump < 1000; ++jump) {
        // Forwards and backwards, always by more than the window and a skip may be.
        position = (position + 10 * kib + qint64(random() % quint64(980 * kib * kib))) % (state.size - kib);
        QVERIFY(device.seek(position));
        QCOMPARE(readBytes(&device, 12), bytesAt(position, 12));
    }
    QCOMPARE(state.fetches.size(), size_t(1000));
    for (const Fetch &fetch : state.fetches)
        QCOMPARE(fetch.size, 4 * kib);
    QCOMPARE(device.bytesFetched(), quint64(1000 * 4 * kib));
    QCOMPARE(device.bytesRead(), quint64(12000));
}

void TestFileDeviceWindow::theWindowGrowsWhileReadingIsSequential()
{
    SourceState state;
    state.size = 1200 * kib;
    FileDevice device;
    openFaulty(&device, &state);
    for (qint64 position = 0; position < state.size; position += 100)
        QCOMPARE(readBytes(&device, 100), bytesAt(position, std::min<qint64>(100, state.size - position)));
    const std::vector<qint64> expected = {4 * kib,   8 * kib,   16 * kib,  32 * kib,  64 * kib,
                                          128 * kib, 256 * kib, 256 * kib, 256 * kib, 180 * kib};
    QCOMPARE(sizesOf(state.fetches), expected);
    QCOMPARE(device.bytesFetched(), quint64(1200 * kib));
}

void TestFileDeviceWindow::aSkipSmallerThanAFetchIsSequential()
{
    SourceState state;
    state.size = kib * kib;
    FileDevice device;
    openFaulty(&device, &state);
    QCOMPARE(readBytes(&device, 4), bytesAt(0, 4));
    QVERIFY(device.seek(8 * kib)); // 4 KiB behind the window's end
    QCOMPARE(readBytes(&device, 4), bytesAt(8 * kib, 4));
    QVERIFY(device.seek(20 * kib + 1)); // 4 KiB and a byte behind it
    QCOMPARE(readBytes(&device, 4), bytesAt(20 * kib + 1, 4));
    QCOMPARE(sizesOf(state.fetches), (std::vector<qint64>{4 * kib, 8 * kib, 4 * kib}));
}

void TestFileDeviceWindow::aJumpEndsTheGrowth()
{
    SourceState state;
    state.size = kib * kib;
    FileDevice device;
    openFaulty(&device, &state);
    QCOMPARE(readBytes(&device, 3 * kib), bytesAt(0, 3 * kib));
    QCOMPARE(readBytes(&device, 3 * kib), bytesAt(3 * kib, 3 * kib));
    QVERIFY(device.seek(500 * kib));
    QCOMPARE(readBytes(&device, 4), bytesAt(500 * kib, 4));
    QVERIFY(device.seek(100 * kib));
    QCOMPARE(readBytes(&device, 4 * kib), bytesAt(100 * kib, 4 * kib));
    QCOMPARE(readBytes(&device, 4), bytesAt(104 * kib, 4));
    QCOMPARE(sizesOf(state.fetches), (std::vector<qint64>{4 * kib, 8 * kib, 4 * kib, 4 * kib, 8 * kib}));
}

void TestFileDeviceWindow::smallStepsBackFetchNothing()
{
    SourceState state;
    state.size = kib * kib;
    FileDevice device;
    openFaulty(&device, &state);
    QCOMPARE(readBytes(&device, 4 * kib - 1), bytesAt(0, 4 * kib - 1));
    QCOMPARE(readBytes(&device, 4), bytesAt(4 * kib - 1, 4)); // across the window's end
    QCOMPARE(state.fetches.size(), size_t(2));
    for (qint64 position = 4 * kib + 2; position >= 4 * kib - 64; --position) {
        QVERIFY(device.seek(position));
        QCOMPARE(readBytes(&device, 100), bytesAt(position, 100));
    }
    QCOMPARE(state.fetches.size(), size_t(2));
    // What was kept was not fetched again.
    QCOMPARE(state.fetches[1].position, 4 * kib);
    QVERIFY(device.seek(4 * kib - 65));
    QCOMPARE(readBytes(&device, 1), bytesAt(4 * kib - 65, 1));
    QCOMPARE(state.fetches.size(), size_t(3));
}

void TestFileDeviceWindow::largeReadsGoStraightToTheCaller()
{
    SourceState state;
    state.size = 40 * kib * kib;
    FileDevice device;
    openFaulty(&device, &state);
    QCOMPARE(readBytes(&device, 10), bytesAt(0, 10));
    // What the window holds, then exactly the rest; reading on from there is sequential.
    QCOMPARE(readBytes(&device, 100 * kib), bytesAt(10, 100 * kib));
    QCOMPARE(readBytes(&device, 10), bytesAt(100 * kib + 10, 10));
    QCOMPARE(sizesOf(state.fetches), (std::vector<qint64>{4 * kib, 96 * kib + 10, 16 * kib}));
    // After a jump too, nothing is fetched beyond what is asked for.
    QVERIFY(device.seek(30 * kib * kib));
    QCOMPARE(readBytes(&device, 5000), bytesAt(30 * kib * kib, 5000));
    QCOMPARE(state.fetches.back().size, qint64(5000));
    // A very long read comes in pieces.
    QVERIFY(device.seek(kib * kib));
    QCOMPARE(readBytes(&device, 10 * kib * kib), bytesAt(kib * kib, 10 * kib * kib));
    for (const Fetch &fetch : state.fetches)
        QVERIFY(fetch.size <= 4 * kib * kib);
    QCOMPARE(device.bytesFetched(), quint64(4 * kib + 96 * kib + 10 + 16 * kib + 5000 + 10 * kib * kib));
}

void TestFileDeviceWindow::smallerReadsGoThroughTheWindow()
{
    SourceState state;
    state.size = 200 * kib;
    FileDevice device;
    openFaulty(&device, &state);
    for (qint64 position = 0; position < 120 * kib; position += 6 * kib)
        QCOMPARE(readBytes(&device, 6 * kib), bytesAt(position, 6 * kib));
    // 4 KiB would not hold the first read; 8 KiB hold what the second asks for.
    QCOMPARE(sizesOf(state.fetches), (std::vector<qint64>{6 * kib, 8 * kib, 16 * kib, 32 * kib, 64 * kib}));
}

void TestFileDeviceWindow::aScanFetchesEachByteOnce()
{
    SourceState state;
    state.size = 1000 * kib + 7;
    FileDevice device;
    openFaulty(&device, &state);
    // As a parser searches for an id: four bytes at each position.
    qint64 wrong = 0;
    for (qint64 position = 0; position + 4 <= state.size; ++position) {
        char word[4] = {};
        device.seek(position);
        if (device.read(word, 4) != 4 || word[0] != byteAt(position) || word[3] != byteAt(position + 3))
            ++wrong;
    }
    QCOMPARE(wrong, qint64(0));
    QCOMPARE(device.bytesFetched(), quint64(state.size));
    QCOMPARE(device.bytesRead(), quint64(4 * (state.size - 3)));
}

void TestFileDeviceWindow::memoryIsNeverFetched()
{
    const QByteArray bytes = bytesAt(0, 300 * kib);
    FileDevice device;
    QCOMPARE(device.open(memorySource(bytes)), int(StatusOk));
    QVERIFY(device.seek(200 * kib));
    QCOMPARE(device.read(1000 * kib), bytesAt(200 * kib, 100 * kib));
    QVERIFY(device.seek(5));
    QCOMPARE(readBytes(&device, 200 * kib), bytesAt(5, 200 * kib));
    QCOMPARE(device.bytesFetched(), quint64(0));
    QCOMPARE(device.bytesRead(), quint64(300 * kib));
}

void TestFileDeviceWindow::readErrors_data()
{
    QTest::addColumn<qint64>("damagedFrom");
    QTest::addColumn<qint64>("position");
    QTest::addColumn<qint64>("maxSize");
    QTest::addColumn<qint64>("count");
    QTest::addColumn<qint64>("errorOffset");

    const qint64 none = -1;
    QTest::newRow("the first byte") << qint64(0) << qint64(0) << qint64(4) << qint64(0) << qint64(0);
    QTest::newRow("what comes before the error is good")
        << qint64(5000) << qint64(4998) << qint64(10) << qint64(2) << qint64(5000);
    QTest::newRow("a read that ends before the error")
        << qint64(5000) << qint64(4990) << qint64(10) << qint64(10) << none;
    QTest::newRow("a read that begins at the error")
        << qint64(5000) << qint64(5000) << qint64(10) << qint64(0) << qint64(5000);
    QTest::newRow("a read that begins behind the first damaged byte")
        << qint64(5000) << qint64(6000) << qint64(10) << qint64(0) << qint64(6000);
    QTest::newRow("a long read") << 300 * kib << qint64(100) << 600 * kib << 300 * kib - 100 << 300 * kib;
    QTest::newRow("a long read of several pieces") << 7000 * kib << qint64(0) << 9000 * kib << 7000 * kib << 7000 * kib;
    QTest::newRow("the last byte") << 10000 * kib - 1 << 10000 * kib - 4 << qint64(4) << qint64(3) << 10000 * kib - 1;
    QTest::newRow("the end is no error") << furthest << 10000 * kib - 4 << qint64(8) << qint64(4) << none;
}

void TestFileDeviceWindow::readErrors()
{
    QFETCH(qint64, damagedFrom);
    QFETCH(qint64, position);
    QFETCH(qint64, maxSize);
    QFETCH(qint64, count);
    QFETCH(qint64, errorOffset);
    SourceState state;
    state.size = 10000 * kib;
    state.damagedFrom = damagedFrom;
    FileDevice device;
    openFaulty(&device, &state);
    QVERIFY(device.seek(position));
    QCOMPARE(readBytes(&device, maxSize), bytesAt(position, count));
    QCOMPARE(device.pos(), position + count);
    QCOMPARE(device.hasReadError(), errorOffset >= 0);
    QCOMPARE(device.readErrorOffset(), errorOffset);
    QCOMPARE(device.errorText(), errorOffset >= 0 ? QStringLiteral("Input/output error") : QString());
    QCOMPARE(device.bytesRead(), quint64(count));
}

void TestFileDeviceWindow::onlyTheFirstReadErrorIsRemembered()
{
    SourceState state;
    state.size = kib * kib;
    state.damagedFrom = 50 * kib;
    state.damagedTo = 60 * kib;
    FileDevice device;
    openFaulty(&device, &state);
    QVERIFY(device.seek(55 * kib));
    QCOMPARE(readBytes(&device, 4), QByteArray());
    state.error = QStringLiteral("something else");
    QVERIFY(device.seek(52 * kib));
    QCOMPARE(readBytes(&device, 4), QByteArray());
    QCOMPARE(device.readErrorOffset(), 55 * kib);
    QCOMPARE(device.errorText(), QStringLiteral("Input/output error"));
    // The rest of the file is still there.
    QVERIFY(device.seek(60 * kib));
    QCOMPARE(readBytes(&device, 100), bytesAt(60 * kib, 100));
    QVERIFY(device.seek(0));
    QCOMPARE(readBytes(&device, 100), bytesAt(0, 100));
    QVERIFY(device.hasReadError());
}

void TestFileDeviceWindow::damageBehindWhatIsWantedIsNoError()
{
    SourceState state;
    state.size = kib * kib;
    state.damagedFrom = 10000;
    state.allOrNothing = true;
    FileDevice device;
    openFaulty(&device, &state);
    for (qint64 position = 0; position < 10000; position += 100)
        QCOMPARE(readBytes(&device, 100), bytesAt(position, 100));
    QVERIFY(!device.hasReadError());
    QCOMPARE(readBytes(&device, 1), QByteArray());
    QCOMPARE(device.readErrorOffset(), qint64(10000));
    QCOMPARE(device.pos(), qint64(10000));
}

void TestFileDeviceWindow::onlyAFailedReadAheadIsTriedWithLess_data()
{
    QTest::addColumn<qint64>("position");
    QTest::addColumn<qint64>("maxSize");
    QTest::addColumn<std::vector<qint64>>("sizes");
    QTest::newRow("an error while reading ahead") << qint64(0) << qint64(10) << std::vector<qint64>{4 * kib, 10};
    QTest::newRow("an error in what is wanted") << qint64(0) << 500 * kib << std::vector<qint64>{500 * kib};
    QTest::newRow("an early end") << 900 * kib << qint64(10) << std::vector<qint64>{4 * kib};
}

void TestFileDeviceWindow::onlyAFailedReadAheadIsTriedWithLess()
{
    QFETCH(qint64, position);
    QFETCH(qint64, maxSize);
    QFETCH(std::vector<qint64>, sizes);
    SourceState state;
    state.size = kib * kib;
    state.damagedFrom = 0;
    state.damagedTo = 800 * kib;
    state.end = 800 * kib;
    FileDevice device;
    openFaulty(&device, &state);
    QVERIFY(device.seek(position));
    QCOMPARE(readBytes(&device, maxSize), QByteArray());
    QCOMPARE(sizesOf(state.fetches), sizes);
}

void TestFileDeviceWindow::aSourceThatGivesLessThanItsSizeIsNoError()
{
    SourceState state;
    state.size = kib * kib;
    state.end = 10000;
    FileDevice device;
    openFaulty(&device, &state);
    QVERIFY(device.seek(9000));
    QCOMPARE(readBytes(&device, 2000), bytesAt(9000, 1000));
    QCOMPARE(readBytes(&device, 1), QByteArray());
    QVERIFY(device.seek(0));
    QCOMPARE(readBytes(&device, 500 * kib), bytesAt(0, 10000));
    QVERIFY(device.seek(500 * kib));
    QCOMPARE(readBytes(&device, 500 * kib), QByteArray());
    QVERIFY(!device.hasReadError());
    QVERIFY(!device.wasInterrupted());

    // A fetch that gave nothing leaves nothing wrong behind.
    QVERIFY(device.seek(0));
    for (qint64 position = 0; position < 10000; position += 100)
        QCOMPARE(readBytes(&device, 100), bytesAt(position, 100));
    QCOMPARE(readBytes(&device, 1), QByteArray());
    QVERIFY(device.seek(4 * kib - 64));
    QCOMPARE(readBytes(&device, 5000), bytesAt(4 * kib - 64, 5000));
}

void TestFileDeviceWindow::aSourceThatGivesLittleAtATimeIsReadToTheEnd()
{
    SourceState state;
    state.size = 20000;
    state.mostAtOnce = 7;
    FileDevice device;
    openFaulty(&device, &state);
    QCOMPARE(readBytes(&device, 20), bytesAt(0, 20));
    QCOMPARE(device.read(furthest), bytesAt(20, 19980));
}

void TestFileDeviceWindow::theReadLimitHoldsOutsideTheWindow()
{
    SourceState state;
    state.size = kib * kib;
    FileDevice device;
    device.setReadLimit(1000);
    openFaulty(&device, &state);
    QCOMPARE(readBytes(&device, 1000), bytesAt(0, 1000));
    QVERIFY(device.seek(100 * kib)); // the limit is reached, not exceeded
    QCOMPARE(readBytes(&device, 1), bytesAt(100 * kib, 1));
    QCOMPARE(readBytes(&device, 2000), bytesAt(100 * kib + 1, 2000)); // inside the window
    QVERIFY(!device.wasInterrupted());
    QVERIFY(device.seek(0));
    QCOMPARE(readBytes(&device, 4), QByteArray());
    QVERIFY(device.wasInterrupted());
    QVERIFY(!device.hasReadError());
    QCOMPARE(device.pos(), qint64(0));
    QCOMPARE(device.bytesRead(), quint64(3001));

    // It holds for the next file too, because what was read is counted on.
    openFaulty(&device, &state);
    QVERIFY(!device.wasInterrupted());
    QCOMPARE(readBytes(&device, 4), QByteArray());
    QVERIFY(device.wasInterrupted());
    device.close();
    QVERIFY(device.wasInterrupted());
    openFaulty(&device, &state);
    device.setReadLimit(4000);
    QCOMPARE(readBytes(&device, 4), bytesAt(0, 4));
}

void TestFileDeviceWindow::theStopFlagHoldsOutsideTheWindow()
{
    std::atomic<bool> stop = false;
    SourceState state;
    state.size = kib * kib;
    FileDevice device;
    openFaulty(&device, &state);
    device.setStopFlag(&stop);
    QCOMPARE(readBytes(&device, 4), bytesAt(0, 4));
    stop = true;
    QCOMPARE(readBytes(&device, 0), QByteArray()); // asked for nothing, got all of it
    QCOMPARE(readBytes(&device, 4), bytesAt(4, 4)); // inside the window
    QVERIFY(!device.wasInterrupted());
    QCOMPARE(readBytes(&device, 4 * kib), QByteArray());
    QVERIFY(device.wasInterrupted());
    QCOMPARE(device.pos(), qint64(8));
    QCOMPARE(device.read(4 * kib), QByteArray());
    stop = false;
    QCOMPARE(readBytes(&device, 4 * kib), bytesAt(8, 4 * kib));
    QVERIFY(device.wasInterrupted()); // it was, since the file was opened
}

void TestFileDeviceWindow::theStopFlagEndsALongRead()
{
    // A limit that is exceeded in the middle stands for a cancel in the middle.
    SourceState state;
    state.size = 100 * kib * kib;
    FileDevice device;
    openFaulty(&device, &state);
    device.setReadLimit(quint64(5 * kib * kib));
    const QByteArray came = readBytes(&device, 50 * kib * kib);
    QVERIFY(device.wasInterrupted());
    QVERIFY(came.size() > 5 * kib * kib);
    QVERIFY(came.size() <= 9 * kib * kib);
    QCOMPARE(device.pos(), qint64(came.size()));
    QCOMPARE(came, bytesAt(0, came.size()));

    FileDevice other;
    openFaulty(&other, &state);
    other.setReadLimit(quint64(5 * kib * kib));
    const QByteArray array = other.read(50 * kib * kib);
    QVERIFY(other.wasInterrupted());
    QVERIFY(array.size() > 5 * kib * kib);
    QVERIFY(array.size() <= 9 * kib * kib);
    QCOMPARE(array, bytesAt(0, array.size()));
}

void TestFileDeviceWindow::aMemorySourceStopsAtItsEndOnly()
{
    const std::atomic<bool> stop = true;
    FileDevice device;
    QCOMPARE(device.open(memorySource("abcdef")), int(StatusOk));
    device.setStopFlag(&stop);
    QCOMPARE(readBytes(&device, 4), QByteArray("abcd"));
    QVERIFY(!device.wasInterrupted());
    QCOMPARE(readBytes(&device, 4), QByteArray());
    QVERIFY(device.wasInterrupted());
}

void TestFileDeviceWindow::likeAnArray_data()
{
    QTest::addColumn<bool>("inMemory");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<quint32>("seed");
    QTest::addColumn<bool>("isStingy");

    QTest::newRow("memory") << true << qint64(700001) << 11U << false;
    QTest::newRow("a source, large") << false << qint64(3000003) << 12U << false;
    QTest::newRow("a source, about as large as the window") << false << 262 * kib + 1 << 13U << false;
    QTest::newRow("a source, smaller than a fetch") << false << qint64(3001) << 14U << false;
    QTest::newRow("a source that gives what it likes") << false << qint64(100001) << 15U << true;
}

void TestFileDeviceWindow::likeAnArray()
{
    QFETCH(bool, inMemory);
    QFETCH(qint64, size);
    QFETCH(quint32, seed);
    QFETCH(bool, isStingy);
    const QByteArray bytes = bytesAt(0, size);
    SourceState state;
    state.size = size;
    FileDevice device;
    if (inMemory)
        QCOMPARE(device.open(memorySource(bytes)), int(StatusOk));
    else
        openFaulty(&device, &state);

    std::mt19937 random(seed);
    const auto below = [&random](qint64 limit) { return qint64(random() % quint64(limit)); };
    qint64 position = 0;
    quint64 total = 0;
    for (int step = 0; step < 20000; ++step) {
        if (isStingy)
            state.mostAtOnce = 1 + below(step % 2 ? 5000 : 30);
        switch (below(8)) {
        case 0:
            position = below(size + 100); // a jump, sometimes past the end
            break;
        case 1:
            position += below(6000); // a skip
            break;
        case 2:
            position = std::max<qint64>(position - below(70), 0); // a step back
            break;
        case 3:
            ++position;
            break;
        default: // reading on
            break;
        }
        const qint64 wanted = step % 1000 == 0 ? below(2 * size) : step % 20 == 0 ? below(20000) : below(40);
        const QByteArray expected = position >= size ? QByteArray() : bytes.mid(int(position), int(wanted));
        QVERIFY(device.seek(position));
        const QByteArray came = step % 3 == 0 ? device.read(wanted) : readBytes(&device, wanted);
        position += expected.size();
        total += quint64(expected.size());
        if (came != expected || device.pos() != position || device.bytesRead() != total)
            QFAIL(qPrintable(QStringLiteral("step %1, %2 bytes up to %3").arg(step).arg(wanted).arg(position)));
    }
    QVERIFY(!device.hasReadError());
    for (const Fetch &fetch : state.fetches)
        QVERIFY(fetch.position + fetch.size <= size);
}

QTEST_APPLESS_MAIN(TestFileDeviceWindow)
#include "tst_filedevicewindow.moc"
