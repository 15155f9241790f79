#include "containerabstract_p.h"
#include "elementpath.h"
#include "elementtree.h"
#include "jsonwriter.h"
#include "scriptedrun.h"
#include "textwriter.h"

#include <QBuffer>
#include <QTest>

#include <limits>

using namespace quenlofar;

using quenlofar::Severity;

namespace {

constexpr QStringView tooLong = u"the length is larger than the file";

/// One element: a node whose size is known at its end, with a leaf, a node in it and two problems; and one problem of
/// the file.
void parseSample(ScriptedParser &parser)
{
    parser.nameStatus(101, u"a length is wrong");
    parser.parse = [](ScriptedParser &self, quint64 *size) {
        self.beginElement(0, sizeFromEnd, u"outer");
        self.addLeaf(0, 4, QStringLiteral("length"), QStringLiteral("99"));
        self.reportProblem(0, 4, Severity::Error, tooLong);
        self.reportProblem(9, 0, Severity::Note, u"there is no padding");
        self.beginElement(4, 2, u"inner");
        self.reportProblem(5, 1, Severity::Warning, u"\u00E4 \x1B[31m");
        self.endElement();
        self.addLeaf(6, 3, QStringLiteral("text"), QStringLiteral("abc"));
        self.endElement(9);
        self.reportProblem(0, 9, Severity::Warning, u"there is no end mark");
        *size = 9;
        return 101;
    };
}

const QByteArray sample("0123456789", 9);

template <typename Writer> QByteArray printed(const QByteArray &bytes, void (*setUp)(ScriptedParser &))
{
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    Writer writer(output);
    runOver(bytes, setUp, writer);
    return output.data();
}

QStringList linesOf(const std::function<void(ScriptedParser &)> &script, RunResult *result = nullptr,
                    const RunLimits &limits = {})
{
    RecordingSink sink;
    const RunResult outcome = runOver(
        QByteArray(100, '.'),
        [script](ScriptedParser &parser) {
            parser.parse = [script](ScriptedParser &self, quint64 *size) {
                *size = 100;
                script(self);
                return 0;
            };
        },
        sink, limits);
    if (result)
        *result = outcome;
    return sink.lines;
}

} // namespace

class TestProblems : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void problemsComeBehindTheItemsOfTheirNodeAndThenItsSize()
    {
        RecordingSink sink;
        const RunResult result = runOver(sample, parseSample, sink);
        QCOMPARE(
            sink.lines,
            (QStringList{QStringLiteral("outer 0+? {"), QStringLiteral("  length 0+4 99"),
                         QStringLiteral("  inner 4+2 {"), QStringLiteral("    problem warning 5+1 \u00E4 \x1B[31m"),
                         QStringLiteral("  }"), QStringLiteral("  text 6+3 abc"),
                         QStringLiteral("  problem error 0+4 the length is larger than the file"),
                         QStringLiteral("  problem note 9+0 there is no padding"), QStringLiteral("  size 9"),
                         QStringLiteral("}"), QStringLiteral("problem warning 0+9 there is no end mark")}));
        QCOMPARE(result.problems.errors, quint64(1));
        QCOMPARE(result.problems.warnings, quint64(2));
        QCOMPARE(result.problems.notes, quint64(1));
        QCOMPARE(result.problems.text(), QStringLiteral("1 error, 2 warnings, 1 note"));
        QCOMPARE(result.items, quint64(4)); // problems are no items
    }

    void statusesOfAParserHaveItsWords()
    {
        RecordingSink sink;
        const RunResult result = runOver(sample, parseSample, sink);
        QCOMPARE(result.status, 101);
        QCOMPARE(result.ownStatusText, QStringLiteral("a length is wrong"));
        QCOMPARE(statusText(result), QStringLiteral("a length is wrong"));
    }

    void statusesOfTheFrameworkKeepTheirs()
    {
        RecordingSink sink;
        const auto setUp = [](ScriptedParser &parser) {
            parser.nameStatus(StatusEndOfFile, u"something else");
            parser.nameStatus(firstOwnStatus - 1, u"no status of a parser's own");
            parser.nameStatus(firstOwnStatus, u"another one");
            parser.parse = [](ScriptedParser &, quint64 *size) {
                *size = 9;
                return int(StatusEndOfFile);
            };
        };
        const RunResult result = runOver(sample, setUp, sink);
        QVERIFY(result.ownStatusText.isNull());
        QCOMPARE(statusText(result), QStringLiteral("the file ends inside an element"));
    }

    void onlyErrorsAreSomethingWrong()
    {
        RunResult result;
        result.problems.add(Severity::Note);
        result.problems.add(Severity::Warning);
        QVERIFY(result.isClean());
        result.problems.add(Severity::Error);
        QVERIFY(!result.isClean());
        QCOMPARE(quenlofar::ProblemCounts().text(), QString());
        QVERIFY(Severity::Error > Severity::Warning && Severity::Warning > Severity::Note);
    }

    void json()
    {
        QCOMPARE(printed<JsonWriter>(sample, parseSample),
                 QByteArray("{\"formatVersion\":1,\"file\":\"clip.avi\",\"fileSize\":9,\"container\":\"TEST\","
                            "\"parser\":{\"name\":\"TEST\"},"
                            "\"elements\":[{\"node\":\"outer\",\"offset\":0,\"items\":["
                            "{\"field\":\"length\",\"offset\":0,\"size\":4,\"value\":\"99\"},"
                            "{\"node\":\"inner\",\"offset\":4,\"size\":2,\"items\":[],\"problems\":["
                            "{\"severity\":\"warning\",\"offset\":5,\"size\":1,\"text\":\"\xC3\xA4 \\u001B[31m\"}]},"
                            "{\"field\":\"text\",\"offset\":6,\"size\":3,\"value\":\"abc\"}],\"problems\":["
                            "{\"severity\":\"error\",\"offset\":0,\"size\":4,"
                            "\"text\":\"the length is larger than the file\"},"
                            "{\"severity\":\"note\",\"offset\":9,\"size\":0,\"text\":\"there is no padding\"}],"
                            "\"size\":9}],\"problems\":["
                            "{\"severity\":\"warning\",\"offset\":0,\"size\":9,\"text\":\"there is no end mark\"}],"
                            "\"status\":101,\"statusText\":\"a length is wrong\","
                            "\"problemCounts\":{\"errors\":1,\"warnings\":2,\"notes\":1},"
                            "\"videoStreams\":[],\"frames\":[]}\n"));
    }

    void text()
    {
        QCOMPARE(printed<TextWriter>(sample, parseSample),
                 QByteArray("clip.avi: TEST, 9 bytes\n"
                            "\n"
                            "offset    size\n"
                            "     0     ...  outer\n"
                            "     0       4    length = 99\n"
                            "     4       2    inner\n"
                            "     5       1      warning: \xC3\xA4 \\x1B[31m\n"
                            "     6       3    text = abc\n"
                            "     0       4    error: the length is larger than the file\n"
                            "     9       0    note: there is no padding\n"
                            "             9  (end)\n"
                            "     0       9  warning: there is no end mark\n"
                            "\n"
                            "1 error, 2 warnings, 1 note\n"
                            "status 101: a length is wrong\n"));
    }

    void aTreeKeepsThem()
    {
        ElementTree tree;
        runOver(sample, parseSample, tree);
        const ElementTree::Item outer = tree.child(tree.root(), 0);
        const ElementTree::Item inner = tree.child(outer, 1);
        QCOMPARE(tree.size(outer), quint64(9));
        QCOMPARE(tree.size(inner), quint64(2));
        QCOMPARE(tree.problems().size(), size_t(4));
        QStringList found;
        for (const ElementTree::Problem &kept : tree.problems()) {
            found.append((kept.item == outer       ? QStringLiteral("outer")
                              : kept.item == inner ? QStringLiteral("inner")
                                                   : QStringLiteral("root"))
                         + QStringLiteral(" %1+%2").arg(kept.problem.offset).arg(kept.problem.size));
        }
        found.sort();
        QCOMPARE(found,
                 (QStringList{QStringLiteral("inner 5+1"), QStringLiteral("outer 0+4"), QStringLiteral("outer 9+0"),
                              QStringLiteral("root 0+9")}));

        // From the tree a size is known beforehand; all else is the same.
        RecordingSink walked;
        RecordingSink replayed;
        runOver(sample, parseSample, walked);
        QVERIFY(tree.replay(replayed));
        walked.lines.replaceInStrings(QStringLiteral("outer 0+?"), QStringLiteral("outer 0+9"));
        walked.lines.removeAll(QStringLiteral("  size 9"));
        QCOMPARE(replayed.lines, walked.lines);
        // A sink that fails at any call is told the end of what it has begun, and no more.
        for (int call = 1; call <= replayed.calls; ++call) {
            RecordingSink full;
            full.failAt = call;
            QVERIFY(!tree.replay(full));
            QCOMPARE(full.depth(), 0);
            QCOMPARE(full.documentsEnded, 1);
        }
    }

    void aTreeKeepsProblemsOfManyNodes()
    {
        // Nodes that end in any order of depth, each with a problem that tells its place.
        const auto setUp = [](ScriptedParser &parser) {
            parser.parse = [](ScriptedParser &self, quint64 *size) {
                const std::function<void(quint64, int)> node = [&](quint64 offset, int depth) {
                    self.beginElement(offset, depth % 2 == 0 ? sizeFromEnd : 1, u"node");
                    for (int child = 0; child < depth; ++child)
                        node(offset * 10 + quint64(child) + 1, depth - 1);
                    self.reportProblem(offset, 1, Severity::Note, u"here");
                    self.endElement(offset);
                };
                node(1, 4);
                *size = 9;
                return 0;
            };
        };
        ElementTree tree;
        runOver(sample, setUp, tree);
        QCOMPARE(tree.problems().size(), size_t(1 + 4 + 12 + 24 + 24));
        for (const ElementTree::Problem &kept : tree.problems())
            QCOMPARE(kept.problem.offset, tree.offset(kept.item));
    }

    void whatIsInANodeGivesItItsSizeWhereTheParserDoesNot()
    {
        QCOMPARE(
            linesOf([](ScriptedParser &self) {
                self.beginElement(10, sizeFromEnd, u"outer");
                self.addLeaf(10, 4, QStringLiteral("a"));
                self.beginElement(20, sizeFromEnd, u"inner");
                self.addLeaf(20, 6, QStringLiteral("b"));
                self.endElement();
                self.endElement();
            }),
            (QStringList{QStringLiteral("outer 10+? {"), QStringLiteral("  a 10+4"), QStringLiteral("  inner 20+? {"),
                         QStringLiteral("    b 20+6"), QStringLiteral("    size 6"), QStringLiteral("  }"),
                         QStringLiteral("  size 16"), QStringLiteral("}")}));
    }

    void sizes_data()
    {
        QTest::addColumn<quint64>("leafOffset");
        QTest::addColumn<quint64>("leafSize");
        QTest::addColumn<quint64>("expected");
        constexpr quint64 largest = std::numeric_limits<quint64>::max();

        QTest::newRow("a leaf behind the beginning") << quint64(12) << quint64(5) << quint64(7);
        QTest::newRow("a leaf before it does not count") << quint64(2) << quint64(5) << quint64(0);
        QTest::newRow("no size is the mark for none") << quint64(0) << largest << (quint64(1) << 63) - 10;
        QTest::newRow("no sum wraps") << quint64(12) << largest << (quint64(1) << 63) - 10;
    }
    void sizes()
    {
        QFETCH(quint64, leafOffset);
        QFETCH(quint64, leafSize);
        QFETCH(quint64, expected);
        const QStringList lines = linesOf([&](ScriptedParser &self) {
            self.beginElement(10, sizeFromEnd, u"node");
            self.addLeaf(leafOffset, leafSize, QStringLiteral("leaf"));
            self.endElement();
        });
        QCOMPARE(lines.at(2), QStringLiteral("  size %1").arg(expected));
    }

    void aNodeWithASizeKeepsIt()
    {
        QCOMPARE(linesOf([](ScriptedParser &self) {
                     self.beginElement(10, 5, u"node");
                     self.endElement(7);
                 }),
                 (QStringList{QStringLiteral("node 10+5 {"), QStringLiteral("}")}));
    }

    void aRunThatIsStoppedTellsSizesAndProblems()
    {
        RunLimits limits;
        limits.maxItems = 2;
        RunResult result;
        QCOMPARE(linesOf(
                     [](ScriptedParser &self) {
                         self.beginElement(0, sizeFromEnd, u"node");
                         self.reportProblem(1, 2, Severity::Error, u"wrong");
                         self.addLeaf(0, 8, QStringLiteral("a"));
                         self.addLeaf(8, 8, QStringLiteral("one too many"));
                     },
                     &result, limits),
                 (QStringList{QStringLiteral("node 0+? {"), QStringLiteral("  a 0+8"),
                              QStringLiteral("  problem error 1+2 wrong"), QStringLiteral("  size 8"),
                              QStringLiteral("}")}));
        QVERIFY(result.limit == RunLimit::Items);
    }

    void manyProblemsAreCountedAndTheFirstShown()
    {
        RunResult result;
        const QStringList lines = linesOf(
            [](ScriptedParser &self) {
                for (quint64 i = 0; i < 10'005; ++i)
                    self.reportProblem(i, 0, Severity::Warning, u"again");
            },
            &result);
        QCOMPARE(int(lines.size()), 10'000);
        QCOMPARE(lines.last(), QStringLiteral("problem warning 9999+0 again"));
        QCOMPARE(result.problems.warnings, quint64(10'005));
    }

    void placesThatNoFileHasAreTheParsersFault()
    {
        RunResult result;
        const QStringList lines = linesOf(
            [](ScriptedParser &self) {
                self.reportProblem(~quint64(0), 4, Severity::Error, u"behind all");
                self.reportProblem(10, ~quint64(0), Severity::Note, u"too long");
            },
            &result);
        // No file has a byte at 2^63 or behind.
        QCOMPARE(lines,
                 (QStringList{QStringLiteral("problem error 9223372036854775808+0 behind all"),
                              QStringLiteral("problem note 10+9223372036854775798 too long")}));
        QVERIFY(result.error.kind == FileError::Parser);
        QCOMPARE(result.error.message, QStringLiteral("an item or frame ends where no file can"));
    }

    void longTextsAreCutOff()
    {
        const QStringList lines =
            linesOf([](ScriptedParser &self) { self.reportProblem(0, 0, Severity::Note, QString(600, u'x')); });
        QCOMPARE(lines, QStringList{QStringLiteral("problem note 0+0 ") + QString(500, u'x')});
    }

    void aSinkThatFailsEndsTheRun()
    {
        for (int call = 1; call <= 11; ++call) {
            // The node is the first, its size the ninth, a problem of the file the last.
            RecordingSink sink;
            sink.failAt = call;
            const RunResult result = runOver(sample, parseSample, sink);
            QCOMPARE(result.sinkError, QStringLiteral("the sink is full"));
        }
    }

    void aPathFindsANodeWithASizeThatComesLast()
    {
        ElementPathFinder finder({{QStringLiteral("outer"), 0}});
        runOver(sample, parseSample, finder);
        QVERIFY(finder.found() && finder.isDecided() && finder.isNode());
        QCOMPARE(finder.size(), quint64(9));
    }
};

QTEST_APPLESS_MAIN(TestProblems)
#include "tst_problems.moc"
