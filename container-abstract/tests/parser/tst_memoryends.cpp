#include "elementtree.h"
#include "jsonwriter.h"
#include "plaintree.h"
#include "randomdocument.h"

#include <QBuffer>
#include <QtTest>

#include <cstdlib>
#include <new>

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

/// Hands calls to one sink that finds memory a number of times only, and what that one takes to another sink.
class StarvedSink : public ElementSink
{
public:
    StarvedSink(ElementSink &starved, qint64 allocations, ElementSink &fed)
        : m_starved(starved), m_allocations(allocations), m_fed(fed)
    {
    }

    bool isRefused = false; ///< a call was

    bool beginDocument(const DocumentStart &start) override
    {
        // The other one may never lack the begin of its document.
        return takes([&] { return m_starved.beginDocument(start); }) && m_fed.beginDocument(start);
    }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        if (takes([&] { return m_starved.beginElement(offset, size, title, index); }))
            return m_fed.beginElement(offset, size, title, index);
        ++m_refusedNodes;
        return false;
    }
    bool addField(const Field &field) override
    {
        return takes([&] { return m_starved.addField(field); }) && m_fed.addField(field);
    }
    bool endElement() override
    {
        const bool taken = takes([&] { return m_starved.endElement(); });
        if (m_refusedNodes > 0)
            --m_refusedNodes;
        else
            m_fed.endElement();
        return taken;
    }
    bool reportFrame(const Frame &frame) override
    {
        return takes([&] { return m_starved.reportFrame(frame); }) && m_fed.reportFrame(frame);
    }
    bool endDocument(const RunResult &result) override
    {
        const bool taken = takes([&] { return m_starved.endDocument(result); });
        RunResult told = result;
        if (isRefused)
            told.error = {FileError::Memory, -1, m_starved.errorText()};
        m_fed.endDocument(told);
        return taken;
    }

private:
    template <typename Call> bool takes(const Call &call)
    {
        allocationsLeft = m_allocations;
        const bool taken = call();
        m_allocations = allocationsLeft;
        allocationsLeft = unlimited;
        isRefused = isRefused || !taken;
        return taken;
    }

    ElementSink &m_starved;
    qint64 m_allocations;
    ElementSink &m_fed;
    int m_refusedNodes = 0;
};

} // namespace

class TestMemoryEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aTreeKeepsWhatItTook_data();
    void aTreeKeepsWhatItTook();
    void aLargeTreeRefusesWhatItHasNoMemoryFor();
    void aUsedTreeThatCannotBeEmptiedSaysSo();
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
        isRefused = sink.isRefused;
        QCOMPARE(tree.errorText(), isRefused ? QStringLiteral("not enough memory for the element tree") : QString());
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
        while (more < 100 * leavesOfPiece && tree.addField(field))
            ++more;
        tree.endDocument({});
        allocationsLeft = unlimited;
        QCOMPARE(tree.itemCount(), quint64(pieces) * leavesOfPiece + more);
        QCOMPARE(tree.childCount(tree.root()), quint32(tree.itemCount()));
    }
}

void TestMemoryEnds::aUsedTreeThatCannotBeEmptiedSaysSo()
{
    ElementTree tree;
    fill(tree, [](ElementSink &sink) { sink.addField(leaf(0, 1, u"old", u"v")); });
    PlainTree plain;
    StarvedSink sink(tree, 0, plain);
    QVERIFY(!sink.beginDocument({QStringLiteral("b.avi"), QStringLiteral("AVI"), 100}));
    QCOMPARE(tree.errorText(), QStringLiteral("not enough memory for the element tree"));
    QVERIFY(!sink.addField(leaf(0, 1, u"new", u"v")));
    QVERIFY(!sink.reportFrame({}));
    QVERIFY(!sink.endDocument({}));

    fill(tree, [](ElementSink &again) { again.addField(leaf(0, 1, u"newer", u"v")); });
    QVERIFY(tree.errorText().isNull());
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
        isRefused = sink.isRefused;
        QVERIFY(starvedBuffer.data() == fedBuffer.data());
        QCOMPARE(starved.errorText(),
                 isRefused ? QStringLiteral("not enough memory to print the document") : QString());
    }
    QVERIFY(allocations > 3);
}

QTEST_APPLESS_MAIN(TestMemoryEnds)
#include "tst_memoryends.moc"
