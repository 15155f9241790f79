#include "bytesource.h"
#include "filedevice.h"
#include "filescan.h"
#include "sparsesource.h"

#include <QTemporaryFile>
#include <QTest>

#include <random>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace quenlofar;

namespace {

constexpr qint64 kib = 1024;
constexpr qint64 tebibyte = kib * kib * kib * kib;

/// What a loop over a file leaves behind: nothing of it may tell a hole from zeros that were read.
struct Trace
{
    std::vector<std::pair<qint64, quint32>> found; // place and bytes of what is not zero
    qint64 lastPosition = 0;
    qint64 position = 0;
    quint64 bytesRead = 0;
    bool wasInterrupted = false;
    bool operator==(const Trace &other) const
    {
        return found == other.found && lastPosition == other.lastPosition && position == other.position
            && bytesRead == other.bytesRead && wasInterrupted == other.wasInterrupted;
    }
};

/// One way to read a file from `begin` on. The bytes in front of it are read too, so that the window has any size.
struct Loop
{
    qint64 warmUp = 0;
    qint64 begin = 0;
    qint64 blockSize = 0; ///< 0: the word at every byte
    quint64 limit = ~quint64(0);
};

void scanWords(FileDevice &file, qint64 begin, Trace *trace)
{
    FileScan scan(file);
    qint64 at = begin;
    quint32 word = 0;
    while (scan.readAt(quint64(at), &word)) {
        if (word != 0)
            trace->found.emplace_back(at, word);
        ++at;
        at += scan.passHole(file.size() - at);
    }
    trace->lastPosition = at;
}

void readBlocks(FileDevice &file, qint64 begin, qint64 blockSize, Trace *trace)
{
    std::vector<char> block(static_cast<size_t>(blockSize));
    qint64 left = (file.size() - begin) / blockSize;
    file.seek(begin);
    while (left > 0 && file.read(block.data(), blockSize) == blockSize) {
        for (qint64 i = 0; i < blockSize; ++i) {
            if (block[size_t(i)] != 0)
                trace->found.emplace_back(file.pos() - blockSize + i, quint32(uchar(block[size_t(i)])));
        }
        --left;
        left -= file.passHole(blockSize, left * blockSize, 1) / blockSize;
    }
    trace->lastPosition = left;
}

Trace traceOf(SparseFile &sparse, const Loop &loop)
{
    Trace trace;
    FileDevice file;
    file.open(std::make_unique<SparseSource>(&sparse));
    file.setReadLimit(loop.limit);
    for (qint64 at = 0; at < loop.warmUp; at += 1000)
        file.read(1000);
    if (loop.blockSize == 0)
        scanWords(file, loop.begin, &trace);
    else
        readBlocks(file, loop.begin, loop.blockSize, &trace);
    trace.position = file.pos();
    trace.bytesRead = file.bytesRead();
    trace.wasInterrupted = file.wasInterrupted();
    return trace;
}

/// The file with every zero written.
SparseFile twinOf(const SparseFile &file)
{
    SparseFile twin = file;
    twin.tellsHoles = twin.lies = false;
    twin.reads = 0;
    return twin;
}

} // namespace

class TestFileDeviceHoles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void terabytesInAFewReads()
    {
        SparseFile file;
        file.size = 8 * tebibyte;
        const qint64 place = 5 * tebibyte + 12345;
        file.islands = {{place, QByteArray("x")}};
        const Trace words = traceOf(file, {});
        QCOMPARE(words.found.size(), size_t(4));
        QCOMPARE(words.found.back(), std::make_pair(place, quint32('x')));
        QCOMPARE(words.bytesRead, quint64(4 * (file.size - 3) + 3));
        QCOMPARE(words.position, file.size);
        QVERIFY2(file.reads < 100, QByteArray::number(file.reads));

        file.reads = 0;
        const Trace blocks = traceOf(file, {0, 0, 6144});
        QCOMPARE(blocks.found, (std::vector<std::pair<qint64, quint32>>{{place, quint32('x')}}));
        QCOMPARE(blocks.bytesRead, quint64(file.size / 6144 * 6144));
        QVERIFY2(file.reads < 100, QByteArray::number(file.reads));
    }

    void likeZerosThatAreRead_data()
    {
        QTest::addColumn<unsigned>("seed");
        QTest::addColumn<qint64>("blockSize");
        for (unsigned seed = 0; seed < 5; ++seed) {
            for (const qint64 blockSize : {0, 1, 6144, 1 << 18, 300'000})
                QTest::addRow("%u, %d", seed, int(blockSize)) << seed << blockSize;
        }
    }
    void likeZerosThatAreRead()
    {
        QFETCH(const unsigned, seed);
        QFETCH(const qint64, blockSize);
        std::mt19937 random(seed);
        const auto below = [&random](qint64 bound) { return qint64(random() % quint64(bound)); };
        // Holes begin and end in the middle of words and blocks, and around the ends of windows: each is 256 KiB, the
        // first ones of this size begins behind 4, 8 ... 128 KiB.
        SparseFile file;
        file.size = kib * kib + below(kib * kib / 2);
        for (int i = 0; i < 3; ++i) {
            const qint64 place = below(2) == 0 ? below(file.size) : 252 * kib + below(5) * 256 * kib + below(140) - 70;
            const QByteArray bytes(int(1 + below(below(2) == 0 ? 6 : 300'000)), char(1 + below(255)));
            const auto after = file.islands.lower_bound(place);
            const bool hasRoom = (after == file.islands.end() || place + bytes.size() <= after->first)
                && (after == file.islands.begin()
                    || std::prev(after)->first + std::prev(after)->second.size() <= place);
            if (place + bytes.size() <= file.size && hasRoom)
                file.islands[place] = bytes;
        }
        SparseFile twin = twinOf(file);
        const Loop whole{below(2) * below(700'000), below(20'000), blockSize};
        QVERIFY(traceOf(file, whole) == traceOf(twin, whole));
        QVERIFY2(file.reads <= twin.reads + 1, "a hole that is not passed costs no more than a look");

        // Wherever the limit strikes.
        for (int i = 0; i < 4; ++i) {
            Loop loop = whole;
            loop.limit = quint64(below(blockSize == 0 ? 4 * file.size : file.size));
            QVERIFY(traceOf(file, loop) == traceOf(twin, loop));
        }
    }

    void aLieIsFoundOut_data()
    {
        QTest::addColumn<qint64>("place");
        QTest::newRow("in the window") << 400 * kib;
        QTest::newRow("where it would go to") << 4 * kib * kib - 10;
    }
    void aLieIsFoundOut()
    {
        QFETCH(const qint64, place);
        SparseFile file;
        file.size = 4 * kib * kib;
        file.islands = {{place, QByteArray("lie")}};
        file.lies = true;
        SparseFile twin = twinOf(file);
        for (const qint64 blockSize : {0, 4096}) {
            const Trace trace = traceOf(file, {0, 0, blockSize});
            QVERIFY(trace == traceOf(twin, {0, 0, blockSize}));
            QVERIFY(!trace.found.empty());
        }
    }

    void aFileThatHasShrunk()
    {
        for (const qint64 end : {300 * kib, 800 * kib, 3000 * kib}) {
            SparseFile file;
            file.size = 4 * kib * kib;
            file.end = end;
            SparseFile twin = twinOf(file);
            for (const qint64 blockSize : {0, 6144}) {
                const Trace trace = traceOf(file, {0, 0, blockSize});
                QVERIFY(trace == traceOf(twin, {0, 0, blockSize}));
            }
        }
    }

    void noHoleIsPassedAfterAStop()
    {
        SparseFile file;
        file.size = tebibyte;
        FileDevice device;
        device.open(std::make_unique<SparseSource>(&file));
        std::atomic<bool> stop{false};
        device.setStopFlag(&stop);
        while (device.pos() < kib * kib)
            device.read(1000);
        stop = true;
        QCOMPARE(device.passHole(1000, file.size, 1), qint64(0));
        stop = false;
        QVERIFY(device.passHole(1000, file.size - device.pos(), 1) > 0);
    }

    void zerosOfAHoleArePassed()
    {
        SparseFile file;
        file.size = 3 * kib * kib;
        file.islands[0] = QByteArray(100, 'x');
        file.islands[2 * kib * kib] = QByteArray(1, 'y');
        FileDevice device;
        QCOMPARE(device.holeSize(), qint64(0)); // closed
        QVERIFY(!device.passZeros(1));
        device.open(std::make_unique<SparseSource>(&file));
        QCOMPARE(device.holeSize(), qint64(0)); // data
        device.seek(1000);
        QCOMPARE(device.holeSize(), 2 * kib * kib - 1000); // up to the island
        QVERIFY(device.passZeros(500));
        QCOMPARE(device.holeSize(), 2 * kib * kib - 1500);
        QVERIFY(device.passZeros(2 * kib * kib - 1500));
        QCOMPARE(device.pos(), 2 * kib * kib);
        QCOMPARE(device.bytesRead(), quint64(2 * kib * kib - 1000));
        QByteArray bytes(2, '?');
        QCOMPARE(device.read(bytes.data(), 2), qint64(2)); // and reading goes on behind it
        QCOMPARE(bytes, QByteArray("y\0", 2));
        QCOMPARE(device.holeSize(), kib * kib - 2); // up to the end
        device.seek(file.size);
        QCOMPARE(device.holeSize(), qint64(0));
    }

    void limitsStrikeInHoles()
    {
        SparseFile file;
        file.size = tebibyte;
        FileDevice device;
        device.open(std::make_unique<SparseSource>(&file));
        device.setReadLimit(1000);
        QVERIFY(device.passZeros(2000));
        QVERIFY(!device.wasInterrupted());
        QVERIFY(!device.passZeros(2000));
        QCOMPARE(device.pos(), qint64(2000));
        QVERIFY(device.wasInterrupted());
    }

    void holesThatAreNoneAreNotBelieved()
    {
        SparseFile file;
        file.size = 5000;
        file.islands[0] = QByteArray(5000, 'x');
        file.lies = true;
        FileDevice device;
        device.open(std::make_unique<SparseSource>(&file));
        QCOMPARE(device.holeSize(), qint64(0));
    }

    void memoryHasNoHoles()
    {
        FileDevice device;
        device.open(memorySource(QByteArray(4 * kib * kib, '\0')));
        device.read(2 * kib * kib);
        QCOMPARE(device.passHole(1, kib * kib, 1), qint64(0));
    }

    void holesOfFiles()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        constexpr qint64 size = 64 * kib * kib;
        QVERIFY(file.resize(size));
        QVERIFY(file.seek(32 * kib * kib));
        QCOMPARE(file.write("x"), qint64(1));
        QVERIFY(file.flush());
        if (::lseek(file.handle(), 0, SEEK_DATA) <= 0)
            QSKIP("files have no holes here");

        QString error;
        const std::unique_ptr<ByteSource> source = openFileSource(file.fileName(), &error);
        QVERIFY(source);
        const qint64 data = source->holeEnd(0);
        QVERIFY(data > 31 * kib * kib && data <= 32 * kib * kib);
        QCOMPARE(source->holeEnd(5), data);
        QCOMPARE(source->holeEnd(32 * kib * kib), 32 * kib * kib);
        QCOMPARE(source->holeEnd(40 * kib * kib), size);
        QCOMPARE(source->holeEnd(size), size);
        QCOMPARE(source->holeEnd(size + 1), size + 1);
        QCOMPARE(source->holeEnd(-1), qint64(-1));

        // Longer or shorter by now: the hole ends where the file did or does.
        QVERIFY(file.resize(2 * size));
        QCOMPARE(source->holeEnd(40 * kib * kib), size);
        QVERIFY(file.resize(48 * kib * kib));
        QCOMPARE(source->holeEnd(40 * kib * kib), 48 * kib * kib);
        QCOMPARE(source->holeEnd(50 * kib * kib), 50 * kib * kib);
    }
};

QTEST_APPLESS_MAIN(TestFileDeviceHoles)
#include "tst_filedeviceholes.moc"
