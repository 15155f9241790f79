#include "recordingsink.h"
#include "scriptedparser.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <new>
#include <thread>

namespace {

const QString path = QStringLiteral("clip.avi");

/// Bytes of which those from `badFrom` on cannot be read.
class DamagedSource : public ByteSource
{
public:
    DamagedSource(qint64 size, qint64 badFrom) : m_size(size), m_badFrom(badFrom) { }
    qint64 size() const override { return m_size; }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        if (position >= m_badFrom)
            return -1;
        const qint64 count = std::min(maxSize, m_badFrom - position);
        std::fill(data, data + count, 'x');
        return count;
    }
    QString errorText() const override { return QStringLiteral("bad sector"); }

private:
    qint64 m_size;
    qint64 m_badFrom;
};

/// A parser of elements of `size` bytes, one leaf each.
void parseInSteps(ScriptedParser &parser, quint64 step)
{
    parser.parse = [step](ScriptedParser &self, quint64 *size) {
        self.beginElement(self.m_position, step, QStringLiteral("part"), -1);
        self.addLeaf(self.m_position, step, QStringLiteral("bytes"));
        self.endElement();
        *size = step;
        return 0;
    };
}

RunResult runOver(const QByteArray &bytes, const std::function<void(ScriptedParser &)> &setUp, ElementSink &sink,
                  const RunLimits &limits = {})
{
    ContainerRun run(limits);
    run.setOpener(memoryOpener(bytes));
    return run.run(path, {scriptedFactory(QStringLiteral("TEST"), setUp)}, sink);
}

void verifyBalanced(const RecordingSink &sink)
{
    QCOMPARE(sink.depth(), 0);
    QCOMPARE(sink.documentsBegun, 1);
    QCOMPARE(sink.documentsEnded, 1);
}

} // namespace

class TestContainerRun : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void callsInTheirOrder()
    {
        QStringList calls;
        RecordingSink sink;
        const RunResult result = runOver(
            "0123456789",
            [&](ScriptedParser &parser) {
                parser.called = [&](const char *operation) { calls.append(QLatin1String(operation)); };
                parser.verify = [&](ScriptedParser &self, const QString &given) {
                    calls.append(self.m_file.isOpen() ? QStringLiteral("open") : QStringLiteral("closed"));
                    calls.append(given);
                    return 0;
                };
                parser.parse = [&](ScriptedParser &self, quint64 *size) {
                    calls.append(QStringLiteral("at %1 %2 ends %3")
                                     .arg(self.m_position)
                                     .arg(self.m_file.pos())
                                     .arg(self.m_levelEnds.size() == 1 ? self.m_levelEnds.first() : -1));
                    *size = 5;
                    return 0;
                };
            },
            sink);
        QCOMPARE(calls,
                 (QStringList{QStringLiteral("verifyContainerFormat"), QStringLiteral("closed"), path,
                              QStringLiteral("prepareParsing"), QStringLiteral("findBeginOfContainer"),
                              QStringLiteral("parseElement"), QStringLiteral("at 0 0 ends 10"),
                              QStringLiteral("parseElement"), QStringLiteral("at 5 5 ends 10"),
                              QStringLiteral("finalizeParsing")}));
        QVERIFY(result.isClean());
        QCOMPARE(sink.document.container, QStringLiteral("TEST"));
        QCOMPARE(sink.document.file, path);
        QCOMPARE(sink.document.fileSize, qint64(10));
        verifyBalanced(sink);
    }

    void firstNonZeroStatusIsKeptAndDoesNotStopTheWalk()
    {
        int element = 0;
        RecordingSink sink;
        const RunResult result = runOver(
            "0123",
            [&](ScriptedParser &parser) {
                parser.parse = [&](ScriptedParser &, quint64 *size) {
                    *size = 1;
                    constexpr int statuses[] = {0, 4, 5, 0};
                    return statuses[element++];
                };
            },
            sink);
        QCOMPARE(element, 4);
        QCOMPARE(result.status, 4);
    }

    void noProgressEndsTheWalkWithTheRestUnparsed()
    {
        RecordingSink sink;
        const RunResult result = runOver(
            "0123456789",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    *size = self.m_position == 0 ? 4 : 0;
                    return self.m_position == 0 ? 0 : 5;
                };
            },
            sink);
        QCOMPARE(sink.lines, QStringList{QStringLiteral("unparsed 4+6")});
        QCOMPARE(result.status, 5);
        QCOMPARE(result.items, quint64(1));
    }

    void anElementBeyondTheEndEndsTheWalk()
    {
        RecordingSink sink;
        runOver(
            "0123",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &, quint64 *size) {
                    *size = std::numeric_limits<quint64>::max();
                    return 0;
                };
            },
            sink);
        QVERIFY(sink.lines.isEmpty());
    }

    void videoStreamIsAnnouncedByItsLeaf()
    {
        RecordingSink sink;
        const RunResult result = runOver(
            "0",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    self.addLeaf(0, 4, QStringLiteral("fccType"), QStringLiteral("auds"), QStringLiteral("Audio"));
                    self.addLeaf(0, 4, QStringLiteral("other"), QStringLiteral("vids"), QStringLiteral("Video"));
                    if (!self.m_videoStreams.isEmpty())
                        return 100;
                    self.addLeaf(0, 4, QStringLiteral("fccType"), QStringLiteral("vids"), QStringLiteral("Video"));
                    if (self.m_videoStreams.size() != 1 || self.m_streamFrameCounters != QVector<quint64>{0})
                        return 101;
                    self.m_videoStreams.last()->width = 64;
                    self.addLeaf(0, 4, QStringLiteral("fccType"), QStringLiteral("vids"), QStringLiteral("Video"));
                    self.m_videoStreams.last()->frameRate = 25.0;
                    *size = 1;
                    return 0;
                };
            },
            sink);
        QCOMPARE(result.status, 0);
        QCOMPARE(result.videoStreams.size(), 2);
        QCOMPARE(result.videoStreams[0].width, quint32(64));
        QCOMPARE(result.videoStreams[0].frameRate, 0.0);
        QCOMPARE(result.videoStreams[1].width, quint32(0));
        QCOMPARE(result.videoStreams[1].frameRate, 25.0);
    }

    void theFirstParserThatAcceptsWalks()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener(memoryOpener("0"));
        const auto verdict = [](int status) {
            return [status](ScriptedParser &parser) {
                parser.verify = [status](ScriptedParser &, const QString &) { return status; };
                parseInSteps(parser, 1);
            };
        };
        run.run(path,
                {scriptedFactory(QStringLiteral("A"), verdict(StatusNotRecognised)),
                 scriptedFactory(QStringLiteral("B"), verdict(42)),
                 scriptedFactory(QStringLiteral("C"), verdict(StatusOk)),
                 scriptedFactory(QStringLiteral("D"), verdict(StatusOk))},
                sink);
        QCOMPARE(sink.document.container, QStringLiteral("C"));
        QCOMPARE(sink.document.parser, 2);
        verifyBalanced(sink);
    }

    void aFileThatNobodyAcceptsHasADocument()
    {
        RecordingSink sink;
        const RunResult result = runOver(
            "012",
            [](ScriptedParser &parser) {
                parser.verify = [](ScriptedParser &, const QString &) { return int(StatusNotRecognised); };
            },
            sink);
        QCOMPARE(result.status, int(StatusNotRecognised));
        QVERIFY(sink.document.container.isNull());
        QCOMPARE(sink.document.parser, -1);
        QCOMPARE(sink.document.fileSize, qint64(3));
        QVERIFY(sink.lines.isEmpty());
        verifyBalanced(sink);
    }

    void aFileThatCannotBeOpenedHasADocument()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener([](const QString &, QString *error) {
            *error = QStringLiteral("no such file");
            return std::unique_ptr<ByteSource>();
        });
        const RunResult result = run.run(path, {}, sink);
        QCOMPARE(result.status, int(StatusCannotOpen));
        QCOMPARE(result.error.kind, FileError::Open);
        QCOMPARE(result.error.offset, qint64(-1));
        QCOMPARE(result.error.message, QStringLiteral("no such file"));
        QCOMPARE(sink.document.fileSize, qint64(-1));
        QVERIFY(sink.document.container.isNull());
        QCOMPARE(sink.document.parser, -1);
        verifyBalanced(sink);
    }

    void aFileThatIsGoneWhenItsWalkBeginsCannotBeOpened()
    {
        RecordingSink sink;
        ContainerRun run;
        int opened = 0;
        run.setOpener([&opened](const QString &, QString *error) {
            if (++opened == 1)
                return memorySource("0123");
            *error = QStringLiteral("it was taken away");
            return std::unique_ptr<ByteSource>();
        });
        const RunResult result =
            run.run(path, {scriptedFactory(QStringLiteral("TEST"), [](ScriptedParser &) {})}, sink);
        QCOMPARE(opened, 2);
        QCOMPARE(result.status, int(StatusCannotOpen));
        QCOMPARE(int(result.error.kind), int(FileError::Open));
        QCOMPARE(result.error.offset, qint64(-1));
        QCOMPARE(result.error.message, QStringLiteral("it was taken away"));
        QVERIFY(sink.document.container.isNull());
        QVERIFY(sink.lines.isEmpty());
        verifyBalanced(sink);
    }

    void aFactoryThatMakesNoParserIsPassedOver()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener(memoryOpener("0"));
        const ParserFactory none{QStringLiteral("NONE"), {}, {}, [] { return std::unique_ptr<ContainerAbstract>(); }};
        run.run(path,
                {none, scriptedFactory(QStringLiteral("B"), [](ScriptedParser &parser) { parseInSteps(parser, 1); })},
                sink);
        QCOMPARE(sink.document.container, QStringLiteral("B"));
        QCOMPARE(sink.document.parser, 1);
        verifyBalanced(sink);
    }

    void readErrorDuringTheWalkIsToldFromTheEnd()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener([](const QString &, QString *) { return std::make_unique<DamagedSource>(100'000, 50'000); });
        const RunResult result = run.run(
            path,
            {scriptedFactory(QStringLiteral("TEST"),
                             [](ScriptedParser &parser) {
                                 parser.parse = [](ScriptedParser &self, quint64 *size) {
                                     char bytes[1000];
                                     *size = sizeof bytes;
                                     return self.m_file.read(bytes, sizeof bytes) == qint64(sizeof bytes) ? 0 : 5;
                                 };
                             })},
            sink);
        QCOMPARE(result.status, int(StatusReadError));
        QCOMPARE(result.error.kind, FileError::Read);
        QCOMPARE(result.error.offset, qint64(50'000));
        QCOMPARE(result.error.message, QStringLiteral("bad sector"));
        verifyBalanced(sink);
    }

    void readErrorDuringDetectionIsNoVerdict()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener([](const QString &, QString *) { return std::make_unique<DamagedSource>(100'000, 10); });
        const RunResult result =
            run.run(path,
                    {scriptedFactory(QStringLiteral("TEST"),
                                     [](ScriptedParser &parser) {
                                         parser.verify = [](ScriptedParser &self, const QString &given) {
                                             self.openFile(given);
                                             char bytes[12];
                                             const bool complete =
                                                 self.m_file.read(bytes, sizeof bytes) == qint64(sizeof bytes);
                                             self.closeFile();
                                             return int(complete ? StatusOk : StatusNotRecognised);
                                         };
                                     })},
                    sink);
        QCOMPARE(result.status, int(StatusReadError));
        QCOMPARE(result.error.kind, FileError::Read);
        QCOMPARE(result.error.offset, qint64(10));
        QVERIFY(sink.document.container.isNull());
    }

    void memoryThatRunsOutIsReported()
    {
        RecordingSink sink;
        const RunResult result = runOver(
            "0",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *) -> int {
                    self.beginElement(0, 1, QStringLiteral("node"), -1);
                    throw std::bad_alloc();
                };
            },
            sink);
        QCOMPARE(result.error.kind, FileError::Memory);
        verifyBalanced(sink);
    }

    void limitsHaveTheirDefaults()
    {
        const RunLimits limits;
        QCOMPARE(limits.itemsFor(1024), quint64(1'000'000));
        QCOMPARE(limits.itemsFor(5'000'000), quint64(5'000'000));
        QCOMPARE(limits.maxDepth, quint64(1000));
        QCOMPARE(limits.workFor(1000), quint64(64'000 + 67'108'864));
        QCOMPARE(limits.workFor(std::numeric_limits<qint64>::max()), std::numeric_limits<quint64>::max());
        QCOMPARE(limits.workFor(0), quint64(67'108'864));
    }

    void exactlyTheAllowedItemsAreAdded()
    {
        RecordingSink sink;
        RunLimits limits;
        limits.maxItems = 5;
        const RunResult result = runOver(
            "0123456789", [](ScriptedParser &parser) { parseInSteps(parser, 1); }, sink, limits);
        QCOMPARE(sink.lines,
                 (QStringList{QStringLiteral("part 0+1 {"), QStringLiteral("  bytes 0+1"), QStringLiteral("}"),
                              QStringLiteral("part 1+1 {"), QStringLiteral("  bytes 1+1"), QStringLiteral("}"),
                              QStringLiteral("part 2+1 {"), QStringLiteral("}")}));
        QCOMPARE(result.limit, RunLimit::Items);
        QCOMPARE(result.limitValue, quint64(5));
        QCOMPARE(result.stopPosition, quint64(2));
        QCOMPARE(result.items, quint64(5));
        QCOMPARE(result.status, 0);
        verifyBalanced(sink);
    }

    void theLimitOfItemsIsNotReachedByItsLastItem()
    {
        RecordingSink sink;
        RunLimits limits;
        limits.maxItems = 2;
        QVERIFY(runOver(
                    "0", [](ScriptedParser &parser) { parseInSteps(parser, 1); }, sink, limits)
                    .isClean());
    }

    void exactlyTheAllowedDepthIsOpened()
    {
        RecordingSink sink;
        RunLimits limits;
        limits.maxDepth = 3;
        const RunResult result = runOver(
            "0",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *) -> int {
                    for (quint64 i = 0;; ++i)
                        self.beginElement(i, 8, QStringLiteral("node"), -1);
                };
            },
            sink, limits);
        QCOMPARE(sink.lines.size(), 6);
        QCOMPARE(sink.nodesEnded, 3);
        QCOMPARE(result.limit, RunLimit::Depth);
        QCOMPARE(result.limitValue, quint64(3));
        QCOMPARE(result.stopPosition, quint64(3));
        verifyBalanced(sink);
    }

    void depthCountsOpenNodesOnly()
    {
        RecordingSink sink;
        RunLimits limits;
        limits.maxDepth = 1;
        QVERIFY(runOver(
                    "0123456789", [](ScriptedParser &parser) { parseInSteps(parser, 1); }, sink, limits)
                    .isClean());
    }

    void readingTooMuchEndsTheRun()
    {
        RecordingSink sink;
        RunLimits limits;
        limits.maxWorkFactor = 1;
        const QByteArray bytes(1024 * 1024, 'x');
        const RunResult result = runOver(
            bytes,
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *) -> int {
                    for (quint64 i = 0;; ++i) {
                        self.m_file.seek(0);
                        self.m_file.read(1024 * 1024);
                        self.addLeaf(i, 1, QStringLiteral("again"));
                    }
                };
            },
            sink, limits);
        QCOMPARE(result.limit, RunLimit::Work);
        QCOMPARE(result.limitValue, quint64(65 * 1024 * 1024));
        QCOMPARE(sink.lines.size(), 65);
        QCOMPARE(result.status, 0);
        verifyBalanced(sink);
    }

    void workSpentInDetectionCounts()
    {
        RecordingSink sink;
        ContainerRun run(RunLimits{RunLimits::defaultItems, 1000, 0});
        run.setOpener(memoryOpener(QByteArray(1024 * 1024, 'x')));
        int asked = 0;
        const auto reader = [&asked](ScriptedParser &parser) {
            parser.verify = [&asked](ScriptedParser &self, const QString &given) {
                ++asked;
                self.openFile(given);
                for (int i = 0; i < 40; ++i) {
                    self.m_file.seek(0);
                    self.m_file.read(1024 * 1024);
                }
                self.m_file.seek(1024 * 1024);
                char byte = 0;
                self.m_file.read(&byte, 1); // leaves the window: here the host may cut short
                self.closeFile();
                return int(StatusNotRecognised);
            };
        };
        const RunResult result =
            run.run(path,
                    {scriptedFactory(QStringLiteral("A"), reader), scriptedFactory(QStringLiteral("B"), reader),
                     scriptedFactory(QStringLiteral("C"), reader)},
                    sink);
        QCOMPARE(asked, 2);
        QCOMPARE(result.limit, RunLimit::Work);
        QCOMPARE(result.status, 0);
        QVERIFY(sink.document.container.isNull());
        verifyBalanced(sink);
    }

    void aCancelledRunEndsAtTheNextElement()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener(memoryOpener("0123456789"));
        const RunResult result =
            run.run(path,
                    {scriptedFactory(QStringLiteral("TEST"),
                                     [&](ScriptedParser &parser) {
                                         parser.parse = [&](ScriptedParser &self, quint64 *) -> int {
                                             self.beginElement(0, 8, QStringLiteral("node"), -1);
                                             std::thread([&run] { run.cancel(); }).join();
                                             self.addLeaf(4, 1, QStringLiteral("never"));
                                             return 0;
                                         };
                                     })},
                    sink);
        QVERIFY(result.cancelled);
        QCOMPARE(result.stopPosition, quint64(4));
        QCOMPARE(result.status, 0);
        QCOMPARE(sink.lines, (QStringList{QStringLiteral("node 0+8 {"), QStringLiteral("}")}));
        verifyBalanced(sink);
    }

    void readsOfACancelledRunSayNothingOfTheFile()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener([](const QString &, QString *) { return std::make_unique<DamagedSource>(100'000, 100'000); });
        const RunResult result =
            run.run(path,
                    {scriptedFactory(QStringLiteral("TEST"),
                                     [&](ScriptedParser &parser) {
                                         parser.parse = [&](ScriptedParser &self, quint64 *) -> int {
                                             run.cancel();
                                             char byte = 0;
                                             return self.m_file.read(&byte, 1) == 1 ? 0 : 5;
                                         };
                                     })},
                    sink);
        QVERIFY(result.cancelled);
        QCOMPARE(result.status, 0);
        QVERIFY(sink.lines.isEmpty());
        verifyBalanced(sink);
    }

    void aCancelAfterTheLastElementCutsNothingShort()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener(memoryOpener("0"));
        const RunResult result = run.run(path,
                                         {scriptedFactory(QStringLiteral("TEST"),
                                                          [&](ScriptedParser &parser) {
                                                              parser.parse = [&](ScriptedParser &, quint64 *size) {
                                                                  run.cancel();
                                                                  *size = 1;
                                                                  return 0;
                                                              };
                                                          })},
                                         sink);
        QVERIFY(!result.cancelled);
    }

    void aFailedSinkEndsTheRun_data()
    {
        QTest::addColumn<int>("failAt");
        QTest::addColumn<int>("calls");
        // Calls of one part: begin, field, end. Every begun node is still ended.
        QTest::newRow("at beginElement, raised at the next field") << 1 << 2;
        QTest::newRow("at addField, raised at the next node") << 2 << 3;
        QTest::newRow("at endElement, raised at the next node") << 3 << 3;
        QTest::newRow("at the second node") << 4 << 5;
    }
    void aFailedSinkEndsTheRun()
    {
        QFETCH(int, failAt);
        QFETCH(int, calls);
        RecordingSink sink;
        sink.failAt = failAt;
        const RunResult result = runOver(
            "0123456789", [](ScriptedParser &parser) { parseInSteps(parser, 1); }, sink);
        QCOMPARE(result.sinkError, QStringLiteral("the sink is full"));
        QCOMPARE(sink.calls, calls);
        QVERIFY(!result.isClean());
        verifyBalanced(sink);
    }

    void aSinkThatFailsAtTheBeginningGetsNoElement()
    {
        class ClosedSink : public RecordingSink
        {
        public:
            bool beginDocument(const DocumentStart &start) override
            {
                RecordingSink::beginDocument(start);
                return false;
            }
        } sink;
        const RunResult result = runOver(
            "0123456789", [](ScriptedParser &parser) { parseInSteps(parser, 1); }, sink);
        QCOMPARE(result.sinkError, QStringLiteral("the sink is full"));
        QCOMPARE(sink.calls, 0);
        verifyBalanced(sink);
    }

    void aSinkMayLeaveTheDocumentToItself()
    {
        class Counter : public ElementSink
        {
        public:
            int nodes = 0;
            bool beginElement(quint64, quint64, QStringView, qint64) override
            {
                ++nodes;
                return true;
            }
            bool addField(const Field &) override { return true; }
            bool endElement() override { return true; }
            bool reportFrame(const Frame &) override { return true; }
        } sink;
        const RunResult result = runOver(
            "0123456789", [](ScriptedParser &parser) { parseInSteps(parser, 1); }, sink);
        QCOMPARE(sink.nodes, 10);
        QVERIFY(result.isClean());
        QVERIFY(sink.errorText().isNull());
    }

    void aSinkThatFailsAtAFrameEndsTheRun()
    {
        RecordingSink sink;
        sink.failAt = 1;
        const RunResult result = runOver(
            "0123456789",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    self.reportFrame(0, 0);
                    self.addLeaf(0, 1, QStringLiteral("never"));
                    *size = 1;
                    return 0;
                };
            },
            sink);
        QCOMPARE(result.sinkError, QStringLiteral("the sink is full"));
        QCOMPARE(sink.calls, 1);
    }

    void nodesThatAParserLeavesOpenAreEnded()
    {
        RecordingSink sink;
        runOver(
            "0",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    self.beginElement(0, 1, QStringLiteral("left open"), -1);
                    *size = 1;
                    return 0;
                };
            },
            sink);
        QCOMPARE(sink.nodesEnded, 1);
        verifyBalanced(sink);
    }
};

QTEST_APPLESS_MAIN(TestContainerRun)
#include "tst_containerrun.moc"
