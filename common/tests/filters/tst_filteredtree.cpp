#include "collapsefilter.h"
#include "failingnew.h"
#include "filteredtree.h"
#include "matchfilter.h"
#include "testing/recordingsink.h"

#include <QTest>

using namespace quenlofar;

namespace {

/// Writes into a sink of the test.
class RecordingWriter : public TreeWriter
{
public:
    explicit RecordingWriter(RecordingSink &sink) : m_sink(sink) { }

    bool beginDocument(const DocumentStart &start) override { return m_sink.beginDocument(start); }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        return m_sink.beginElement(offset, size, title, index);
    }
    bool addField(const Field &field) override { return m_sink.addField(field); }
    bool endElement() override { return m_sink.endElement(); }
    bool reportFrame(const Frame &frame) override { return m_sink.reportFrame(frame); }
    bool endDocument(const RunResult &result) override { return m_sink.endDocument(result); }
    bool setElementSize(quint64 size) override { return m_sink.setElementSize(size); }
    bool reportProblem(const quenlofar::ReportedProblem &problem) override { return m_sink.reportProblem(problem); }
    void setNotes(const ItemNotes &) override { }
    bool addOmission(quint64 count) override
    {
        const QString text = QString::number(count);
        return m_sink.addField({false, 0, 0, 0, -1, u"omitted", text, {}, {}});
    }

private:
    RecordingSink &m_sink;
};

/// A film's shape: lists in lists, many chunks of a few names, a leaf or two in each.
void callAll(ElementSink &sink)
{
    const Field leaf{false, 0, 1, 2, -1, u"id", u"value", {}, {}};
    sink.beginDocument({QStringLiteral("film"), QStringLiteral("TEST"), 100});
    for (const QStringView outer : {u"RIFF", u"RIFF", u"JUNK"}) {
        sink.beginElement(0, 8, outer, -1);
        for (int list = 0; list < 11; ++list) {
            sink.beginElement(0, 8, u"LIST", -1);
            for (int chunk = 0; chunk < 11; ++chunk) {
                sink.beginElement(0, 8, chunk % 2 == 0 ? u"00dc" : u"01wb", -1);
                sink.addField(leaf);
                sink.endElement();
            }
            sink.endElement();
        }
        sink.endElement();
    }
    sink.endDocument({});
}

/// Gives the document as a run does: a sink that threw is only asked for the end of the document. True when all went
/// well.
bool walk(ElementSink &sink)
{
    try {
        callAll(sink);
        return true;
    } catch (const std::bad_alloc &) {
        RunResult result;
        result.error.kind = FileError::Memory;
        sink.endDocument(result);
        return false;
    }
}

/// Nodes whose sizes come at their ends, and a problem in each and in the file.
bool callProblems(ElementSink &sink, int siblings)
{
    constexpr quenlofar::Severity error = quenlofar::Severity::Error;
    bool works = sink.beginDocument({QStringLiteral("file"), QStringLiteral("TEST"), 100});
    works = sink.beginElement(0, sizeFromEnd, u"outer", -1) && works;
    works = sink.addField({false, 0, 0, 1, -1, u"id", u"value", {}, {}}) && works;
    for (int i = 0; i < siblings; ++i) {
        works = sink.beginElement(quint64(i), sizeFromEnd, u"inner", -1) && works;
        works = sink.reportProblem({quint64(i), 1, error, u"in an inner one"}) && works;
        works = sink.setElementSize(1) && works;
        works = sink.endElement() && works;
    }
    works = sink.reportProblem({0, 9, error, u"in the outer one"}) && works;
    works = sink.setElementSize(9) && works;
    works = sink.endElement() && works;
    works = sink.reportProblem({0, 9, error, u"in the file"}) && works;
    return sink.endDocument({}) && works;
}

} // namespace

class TestFilteredTree : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void problemsAndSizesGoWithTheirNodes_data()
    {
        QTest::addColumn<int>("levels");
        QTest::addColumn<QStringList>("only");
        QTest::addColumn<QStringList>("expected");

        const QString problem = QStringLiteral("problem error ");
        const QStringList begin{QStringLiteral("outer 0+? {"), QStringLiteral("  id 0+1 value")};
        const QStringList inner{QStringLiteral("  inner 0+? {"),
                                QStringLiteral("    ") + problem + QStringLiteral("0+1 in an inner one"),
                                QStringLiteral("    size 1"), QStringLiteral("  }")};
        const QStringList end{QStringLiteral("  ") + problem + QStringLiteral("0+9 in the outer one"),
                              QStringLiteral("  size 9"), QStringLiteral("}")};
        const QStringList file{problem + QStringLiteral("0+9 in the file")};
        QTest::newRow("all") << 9 << QStringList() << begin + inner + end + file;
        QTest::newRow("one level") << 1 << QStringList() << begin.mid(0, 1) + end + file;
        QTest::newRow("no level") << 0 << QStringList() << file;
        QTest::newRow("what matches, and what it is in")
            << 9 << QStringList(QStringLiteral("inner")) << begin.mid(0, 1) + inner + end + file;
        QTest::newRow("nothing matches") << 9 << QStringList(QStringLiteral("nothing")) << file;
    }

    void problemsAndSizesGoWithTheirNodes()
    {
        QFETCH(int, levels);
        QFETCH(QStringList, only);
        QFETCH(QStringList, expected);
        RecordingSink sink;
        FilteredTree filtered(std::make_unique<RecordingWriter>(sink));
        filtered.add<DepthFilter>(quint64(levels));
        filtered.add<CollapseFilter>();
        if (!only.isEmpty())
            filtered.add<MatchFilter>(only, std::vector<FieldCondition>());
        QVERIFY(callProblems(filtered, 1));
        QCOMPARE(sink.lines, expected);
    }

    void problemsComeBehindWhatIsCollapsed()
    {
        RecordingSink sink;
        FilteredTree filtered(std::make_unique<RecordingWriter>(sink));
        filtered.add<CollapseFilter>();
        QVERIFY(callProblems(filtered, 20));
        QCOMPARE(sink.lines.mid(6),
                 (QStringList{QStringLiteral("  omitted 0+0 18"), QStringLiteral("  inner 19+? {"),
                              QStringLiteral("    problem error 19+1 in an inner one"), QStringLiteral("    size 1"),
                              QStringLiteral("  }"), QStringLiteral("  problem error 0+9 in the outer one"),
                              QStringLiteral("  size 9"), QStringLiteral("}"),
                              QStringLiteral("problem error 0+9 in the file")}));
    }

    void theDocumentEndsWhereverMemoryRunsOut_data()
    {
        QTest::addColumn<bool>("collapses");
        QTest::addColumn<QStringList>("only");
        QTest::newRow("collapsed") << true << QStringList();
        QTest::newRow("matched") << false << QStringList(QStringLiteral("id"));
        QTest::newRow("matched and collapsed") << true << QStringList(QStringLiteral("*dc"));
        QTest::newRow("nothing matches") << true << QStringList(QStringLiteral("nothing"));
    }

    void theDocumentEndsWhereverMemoryRunsOut()
    {
        QFETCH(bool, collapses);
        QFETCH(QStringList, only);
        QStringList expected;
        bool isEnough = false;
        int tries = 0;
        for (int allocations = 0; !isEnough; ++allocations, ++tries) {
            RecordingSink sink;
            FilteredTree tree(std::make_unique<RecordingWriter>(sink));
            if (collapses)
                tree.add<CollapseFilter>();
            if (!only.isEmpty())
                tree.add<MatchFilter>(only, std::vector<FieldCondition>());
            allocationsLeft = allocations;
            isEnough = walk(tree);
            allocationsLeft = -1;
            QCOMPARE(sink.documentsBegun, 1);
            QCOMPARE(sink.documentsEnded, 1);
            QCOMPARE(sink.result.error.kind, isEnough ? FileError::None : FileError::Memory);
            QVERIFY(isEnough || sink.lines.size() < 3 * (1 + 11 * (1 + 11 * 2)) * 2);
            // The next document has memory again.
            sink.lines.clear();
            FilteredTree again(std::make_unique<RecordingWriter>(sink));
            if (collapses)
                again.add<CollapseFilter>();
            if (!only.isEmpty())
                again.add<MatchFilter>(only, std::vector<FieldCondition>());
            QVERIFY(walk(again));
            if (tries == 0)
                expected = sink.lines;
            QCOMPARE(sink.lines, expected);
        }
        QVERIFY(tries > 1);
    }
};

QTEST_APPLESS_MAIN(TestFilteredTree)
#include "tst_filteredtree.moc"
