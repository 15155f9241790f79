// Files that are made to exhaust their reader. Each has to end soon, in little memory, with everything balanced.
#include "avibuilder.h"
#include "containeravi.h"
#include "elementtree.h"
#include "testing/memoryrun.h"

#include <QFile>
#include <QTest>

#include <pthread.h>

#include <ctime>
#include <functional>
#include <limits>

using namespace quenlofar;
using namespace build;

Q_DECLARE_METATYPE(RunLimit)

namespace {

#if defined(__SANITIZE_ADDRESS__)
#define QUENLOFAR_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUENLOFAR_UNDER_ASAN 1
#endif
#endif

#ifdef QUENLOFAR_UNDER_ASAN
constexpr size_t smallStack = 4 * 1024 * 1024;
constexpr int secondsAllowed = 20;
#elif defined(__OPTIMIZE__)
constexpr size_t smallStack = 512 * 1024;
constexpr int secondsAllowed = 2;
#else
constexpr size_t smallStack = 2 * 1024 * 1024;
constexpr int secondsAllowed = 10;
#endif

/// Counts, and checks that the calls nest.
class CountingSink : public ElementSink
{
public:
    bool beginElement(quint64, quint64, QStringView, qint64) override
    {
        deepest = std::max(deepest, ++depth);
        ++nodes;
        return true;
    }
    bool addField(const Field &) override
    {
        ++leaves;
        return true;
    }
    bool endElement() override
    {
        --depth;
        return depth >= 0;
    }
    bool reportFrame(const Frame &) override { return true; }

    qint64 nodes = 0;
    qint64 leaves = 0;
    int depth = 0;
    int deepest = 0;
};

RunResult walk(const QByteArray &file, ElementSink &sink, const RunLimits &limits = {})
{
    return runOverMemory(file, factoryOf<ContainerAVI>(), sink, limits);
}

/// A file of `content` behind a RIFF header, at least as long as detection asks for.
QByteArray riff(const QByteArray &content, quint32 declaredSize = 0xFFFFFFF0)
{
    const QByteArray filled = content.size() < 1000 ? content + zeros(1000 - int(content.size())) : content;
    return list("AVI ", {filled}, "RIFF").declaredSize(declaredSize);
}

QByteArray listHeader(quint32 size)
{
    return "LIST" + u32(size) + "hdrl";
}

/// `content` in lists of which every second one reaches to the end and the others hold one child: each is walked again
/// and again, twice as often with every pair.
QByteArray overlappingLists(int pairs, const QByteArray &content)
{
    QByteArray file;
    for (int left = pairs; left > 0; --left) {
        const int behind = (2 * left - 1) * 12 + int(content.size());
        file += listHeader(quint32(behind + 4)) + listHeader(16);
    }
    return file + content;
}

QByteArray nestedLists(int bytes)
{
    QByteArray file;
    file.reserve(bytes);
    for (int left = bytes; left > 12; left -= 12)
        file += listHeader(quint32(left - 8));
    return file;
}

/// Runs `work` in a thread with `stack` bytes of stack.
void onStackOf(size_t stack, std::function<void()> work)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    QCOMPARE(pthread_attr_setstacksize(&attributes, stack), 0);
    pthread_t thread{};
    const auto start = [](void *function) -> void * {
        (*static_cast<std::function<void()> *>(function))();
        return nullptr;
    };
    QCOMPARE(pthread_create(&thread, &attributes, start, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

} // namespace

class TestHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsAtALimit_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<RunLimit>("limit");
        QTest::newRow("a count of 4 billion field records")
            << riff(chunk("vprp", VideoProperties().fields(0xFFFFFFFF))) << RunLimit::Items;
        QTest::newRow("a count of 4 billion entries of no bytes")
            << riff(chunk("indx", IndexHeader(0, 0, 0xFFFFFFFF).bytes() + zeros(16))) << RunLimit::Items;
        QTest::newRow("a standard index of 4 billion entries of no bytes")
            << riff(chunk("indx", IndexHeader(1, 0, 0xFFFFFFFF).bytes() + zeros(16))) << RunLimit::Items;
        QTest::newRow("an idx1 of 4 GB at the end of 1 KB")
            << riff(chunk("JUNK", zeros(900)) + chunk("idx1", "").declaredSize(0xFFFFFFF0)) << RunLimit::Items;
        QTest::newRow("lists that overlap, 480 bytes of them")
            << riff(overlappingLists(20, chunk("IARL", "12"))) << RunLimit::Items;
        QTest::newRow("lists nested without end") << riff(nestedLists(12 * 1024 * 1024)) << RunLimit::Depth;
        QTest::newRow("a long unknown chunk in lists that overlap")
            << riff(overlappingLists(40, chunk("abcd", QByteArray(100'000, 'x')))) << RunLimit::Work;
        QTest::newRow("a long unknown chunk of zeros in lists that overlap")
            << riff(overlappingLists(40, chunk("abcd", zeros(100'000)))) << RunLimit::Work;
        QTest::newRow("garbage in lists that overlap")
            << riff(overlappingLists(40, QByteArray(100'000, '\1'))) << RunLimit::Work;
    }
    void endsAtALimit()
    {
        QFETCH(QByteArray, file);
        QFETCH(RunLimit, limit);
        const std::clock_t begin = std::clock(); // processor time: a busy machine is no fault
        CountingSink sink;
        const RunResult result = walk(file, sink);
        QCOMPARE(result.limit, limit);
        QCOMPARE(result.status, 0);
        QCOMPARE(sink.depth, 0);
        QCOMPARE(quint64(sink.nodes + sink.leaves), result.items);
        QVERIFY(result.items <= std::max(1'000'000ULL, quint64(file.size())));
        QVERIFY(sink.deepest <= 1000);
        QVERIFY(result.bytesRead <= 65 * quint64(file.size()) + 65 * 1024 * 1024);
        const double seconds = double(std::clock() - begin) / CLOCKS_PER_SEC;
        QVERIFY2(seconds < secondsAllowed, qPrintable(QString::number(seconds)));
    }

    void theDeepestWalkFitsIntoASmallStack()
    {
        const QByteArray file = riff(nestedLists(12 * 1024 * 1024));
        CountingSink sink;
        RunResult result;
        onStackOf(smallStack, [&] { result = walk(file, sink); });
        QCOMPARE(result.limit, RunLimit::Depth);
        QCOMPARE(sink.deepest, 1000);
        QCOMPARE(sink.depth, 0);
    }

    void aTreeOfTheDeepestWalkIsComplete()
    {
        ElementTree tree;
        const RunResult result = walk(riff(nestedLists(1024 * 1024)), tree);
        QCOMPARE(result.limit, RunLimit::Depth);
        ElementTree::Item item = tree.root();
        int depth = 0;
        while (tree.childCount(item) > 0 && tree.isNode(tree.child(item, tree.childCount(item) - 1))) {
            item = tree.child(item, tree.childCount(item) - 1);
            ++depth;
        }
        QCOMPARE(depth, 1000);
        QCOMPARE(tree.childCount(item), quint32(3)); // id, size and type of the innermost list
        QCOMPARE(tree.itemCount(), result.items);
    }

    void anHonestFileOfGarbageStaysWithinTheWork()
    {
        // Every byte is the start of something that might be a chunk: id, size and look-ahead are read over and over.
        QByteArray letters(3 * 1024 * 1024, 'a');
        CountingSink sink;
        const RunResult result = walk(riff(letters, quint32(letters.size())), sink);
        QCOMPARE(result.limit, RunLimit::None);
        QVERIFY(result.bytesRead < 10 * quint64(letters.size()));
    }

    void noCutMakesTheParserBreakARule()
    {
        QFile sample(QStringLiteral(QUENLOFAR_SAMPLES_DIR "/sample.avi"));
        QVERIFY(sample.open(QIODevice::ReadOnly));
        const QByteArray file = sample.readAll();
        QCOMPARE(file.size(), 22956);
        for (int size = 0; size <= int(file.size()); ++size) {
            CountingSink sink;
            const RunResult result = walk(QByteArray::fromRawData(file.constData(), size), sink);
            QVERIFY2(result.error.kind == FileError::None,
                     qPrintable(QStringLiteral("cut at %1: %2").arg(size).arg(result.error.message)));
            QVERIFY(result.sinkError.isNull());
            QCOMPARE(sink.depth, 0);
        }
    }
};

QTEST_APPLESS_MAIN(TestHostile)
#include "tst_hostile.moc"
