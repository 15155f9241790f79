#include "elementtree.h"
#include "jsonwriter.h"
#include "plaintree.h"
#include "randomdocument.h"

#include <QBuffer>
#include <QTest>

#include <cstdlib>
#include <new>

using namespace quenlofar;

namespace {

constexpr qint64 unlimited = -1;

/// How often operator new still finds memory in this thread.
thread_local qint64 allocationsLeft = unlimited;

} // namespace

void *operator new(std::size_t size)
{
    void *const memory = allocationsLeft == 0 ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
    if (!memory)
        throw std::bad_alloc();
    if (allocationsLeft > 0)
        --allocationsLeft;
    return memory;
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace {

/// Hands calls to one sink that finds memory a number of times only, and what that one takes to another sink. As a run
/// does, it asks a sink that has thrown for nothing but the end of the document.
class StarvedSink : public ElementSink
{
public:
    StarvedSink(ElementSink &starved, qint64 allocations, ElementSink &fed)
        : m_starved(starved), m_allocations(allocations), m_fed(fed)
    {
    }

    bool hasThrown = false; ///< the sink that finds little memory has

    bool beginDocument(const DocumentStart &start) override
    {
        // The other one may never lack the begin of its document.
        takes([&] { m_starved.beginDocument(start); });
        return m_fed.beginDocument(start);
    }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        return takes([&] { m_starved.beginElement(offset, size, title, index); })
            && m_fed.beginElement(offset, size, title, index);
    }
    bool addField(const Field &field) override
    {
        return takes([&] { m_starved.addField(field); }) && m_fed.addField(field);
    }
    bool endElement() override
    {
        return takes([&] { m_starved.endElement(); }) && m_fed.endElement();
    }
    bool reportFrame(const Frame &frame) override
    {
        return takes([&] { m_starved.reportFrame(frame); }) && m_fed.reportFrame(frame);
    }
    bool endDocument(const RunResult &result) override
    {
        RunResult told = result;
        if (hasThrown)
            told.error = {FileError::Memory, -1, QStringLiteral("not enough memory")};
        m_isOver = true;
        takes([&] { m_starved.endDocument(told); });
        return m_fed.endDocument(told);
    }

private:
    template <typename Call> bool takes(const Call &call)
    {
        if (hasThrown && !m_isOver)
            return false;
        allocationsLeft = m_allocations;
        try {
            call();
        } catch (const std::bad_alloc &) {
            hasThrown = true;
        }
        m_allocations = allocationsLeft;
        allocationsLeft = unlimited;
        return !hasThrown;
    }

    ElementSink &m_starved;
    qint64 m_allocations;
    ElementSink &m_fed;
    bool m_isOver = false;
};

} // namespace

class TestMemoryEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aTreeKeepsWhatItTook_data();
    void aTreeKeepsWhatItTook();
    void aLargeTreeRefusesWhatItHasNoMemoryFor();
    void aUsedTreeThatCannotBeEmptiedThrows();
    void aJsonDocumentIsCompleteAndSaysSo();
};

void TestMemoryEnds::aTreeKeepsWhatItTook_data()
{
    QTest::addColumn<unsigned>("seed");
    QTest::addColumn<int>("calls");
    QTest::newRow("nodes are left open") << 1U << 301;
    QTest::newRow("all nodes are ended") << 2U << 300;
}

void TestMemoryEnds::aTreeKeepsWhatItTook()
{
    QFETCH(unsigned, seed);
    QFETCH(int, calls);
    bool isRefused = true;
    int allocations = 0;
    for (; isRefused; ++allocations) {
        QVERIFY(allocations < 10000);
        ElementTree tree;
        PlainTree plain;
        StarvedSink sink(tree, allocations, plain);
        RandomDocument(seed, calls)(sink);
        isRefused = sink.hasThrown;
        QCOMPARE(difference(tree, plain), QString());
    }
    QVERIFY(allocations > 50);
}

void TestMemoryEnds::aLargeTreeRefusesWhatItHasNoMemoryFor()
{
    // Beyond 16 MiB a tree takes its memory in larger pieces, which are not all of them asked for at once.
    constexpr quint64 leavesOfPiece = 5000;
    for (int pieces = 170; pieces < 290; pieces += 3) {
        ElementTree tree;
        tree.beginDocument({QStringLiteral("a.avi"), QStringLiteral("AVI"), 100});
        const Field field = leaf(0, 1, u"name", u"7");
        for (quint64 i = 0; i < quint64(pieces) * leavesOfPiece; ++i)
            QVERIFY(tree.addField(field));
        allocationsLeft = 0;
        quint64 more = 0;
        try {
            for (; more < 100 * leavesOfPiece; ++more)
                tree.addField(field);
        } catch (const std::bad_alloc &) {
            // What came before has to be there.
        }
        tree.endDocument({});
        allocationsLeft = unlimited;
        QCOMPARE(tree.itemCount(), quint64(pieces) * leavesOfPiece + more);
        QCOMPARE(tree.childCount(tree.root()), quint32(tree.itemCount()));
    }
}

void TestMemoryEnds::aUsedTreeThatCannotBeEmptiedThrows()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) { sink.addField(leaf(0, 1, u"old", u"v")); });
    PlainTree plain;
    StarvedSink sink(tree, 0, plain);
    sink.beginDocument({QStringLiteral("b.avi"), QStringLiteral("AVI"), 100});
    QVERIFY(sink.hasThrown);

    fill(tree, [](ElementSink &again) { again.addField(leaf(0, 1, u"newer", u"v")); });
    QCOMPARE(tree.itemCount(), quint64(1));
}

void TestMemoryEnds::aJsonDocumentIsCompleteAndSaysSo()
{
    bool isRefused = true;
    int allocations = 0;
    for (; isRefused; ++allocations) {
        QVERIFY(allocations < 10000);
        QBuffer starvedBuffer;
        QBuffer fedBuffer;
        QVERIFY(starvedBuffer.open(QIODevice::WriteOnly));
        QVERIFY(fedBuffer.open(QIODevice::WriteOnly));
        JsonWriter starved(starvedBuffer);
        JsonWriter fed(fedBuffer);
        StarvedSink sink(starved, allocations, fed);
        RandomDocument(1, 8000)(sink);
        isRefused = sink.hasThrown;
        QVERIFY(starvedBuffer.data() == fedBuffer.data());
        QVERIFY(starved.errorText().isNull());
    }
    QVERIFY(allocations > 3);
}

QTEST_APPLESS_MAIN(TestMemoryEnds)
#include "tst_memoryends.moc"
