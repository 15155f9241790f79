#include "scriptedrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <limits>
#include <new>
#include <stdexcept>
#include <thread>

using namespace quenlofar;

/// What ends a run before the file does: limits, the user, a sink that fails.
class TestRunStops : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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

    void workIsAFractionOrANumberOfBytes()
    {
        RunLimits limits;
        limits.maxWorkFactor = 0.5;
        QCOMPARE(limits.workFor(1001), quint64(500 + 67'108'864));
        limits.maxWorkFactor = 1e30;
        QCOMPARE(limits.workFor(1000), std::numeric_limits<quint64>::max());
        limits.maxWorkFactor = 1;
        QCOMPARE(limits.workFor(std::numeric_limits<qint64>::max()), quint64(0x8000000003FFFFFF));
        limits.maxWork = 17;
        QCOMPARE(limits.workFor(1000), quint64(17));
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
        QVERIFY(!result.cancelled);
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
            run.run(clipPath,
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
            run.run(clipPath,
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
        QVERIFY(result.sinkError.isNull());
        QCOMPARE(result.stopPosition, quint64(4));
        QCOMPARE(result.status, 0);
        QCOMPARE(sink.lines, (QStringList{QStringLiteral("node 0+8 {"), QStringLiteral("}")}));
        verifyBalanced(sink);
    }

    void runsThatShareAFlagAreCancelledTogether()
    {
        RecordingSink sink;
        std::atomic<bool> flag{false};
        ContainerRun first;
        ContainerRun second;
        for (ContainerRun *const run : {&first, &second}) {
            run->setOpener(memoryOpener("0123"));
            run->shareCancelFlag(flag);
        }
        first.cancel();
        QVERIFY(flag);
        const RunResult result = second.run(
            clipPath,
            {scriptedFactory(QStringLiteral("TEST"), [](ScriptedParser &parser) { parseInSteps(parser, 1); })}, sink);
        QVERIFY(result.cancelled);
        QVERIFY(sink.lines.isEmpty());
    }

    void progressFollowsTheReading()
    {
        RecordingSink sink;
        WalkProgress progress;
        SourceState state;
        state.size = 10'000'000;
        ContainerRun run;
        run.setOpener(faultyOpener(&state));
        run.setProgress(&progress);
        QVector<qint64> seen;
        const auto readAt = [&](ScriptedParser &self, qint64 place) {
            char byte = 0;
            self.m_file.seek(place);
            self.m_file.read(&byte, 1);
            QVERIFY(!progress.isReading);
            seen.append(progress.position);
        };
        run.run(clipPath,
                {scriptedFactory(QStringLiteral("TEST"),
                                 [&](ScriptedParser &parser) {
                                     parser.parse = [&](ScriptedParser &self, quint64 *) {
                                         readAt(self, 5);
                                         readAt(self, 6); // in the window: nothing is read
                                         readAt(self, 9'000'000);
                                         return 0;
                                     };
                                 })},
                sink);
        QCOMPARE(seen, (QVector<qint64>{5, 5, 9'000'000}));
    }

    void progressFollowsWhatIsFound()
    {
        RecordingSink sink;
        WalkProgress progress;
        ContainerRun run;
        run.setOpener(memoryOpener("0123456789"));
        run.setProgress(&progress);
        QVector<qint64> seen;
        run.run(clipPath,
                {scriptedFactory(QStringLiteral("TEST"),
                                 [&](ScriptedParser &parser) {
                                     parser.parse = [&](ScriptedParser &self, quint64 *size) {
                                         self.beginElement(3, 5, QStringLiteral("node"), -1);
                                         seen.append(progress.position);
                                         self.addField(false, 7, 0, 1, QStringLiteral("leaf"), {}, {}, {}, -1);
                                         seen.append(progress.position);
                                         self.endElement();
                                         *size = 10;
                                         return 0;
                                     };
                                 })},
                sink);
        QCOMPARE(seen, (QVector<qint64>{3, 7}));
    }

    void timeEndsARun_data()
    {
        QTest::addColumn<QByteArray>("doing");
        QTest::newRow("that adds and adds") << QByteArray("adding");
        QTest::newRow("that reads and reads") << QByteArray("reading");
        QTest::newRow("that looks for its format") << QByteArray("detecting");
    }
    void timeEndsARun()
    {
        QFETCH(QByteArray, doing);
        RecordingSink sink;
        SourceState state;
        state.size = 10'000'000;
        RunLimits limits;
        limits.maxSeconds = 1;
        limits.maxItems = std::numeric_limits<quint64>::max();
        limits.maxWorkFactor = std::numeric_limits<double>::max();
        ContainerRun run(limits);
        run.setOpener(faultyOpener(&state));
        const auto readOn = [](ScriptedParser &self) {
            char byte = 0;
            for (qint64 place = 0;; place = (place + 1'000'000) % 10'000'000) {
                self.m_file.seek(place);
                if (self.m_file.read(&byte, 1) != 1)
                    return;
            }
        };
        QElapsedTimer timer;
        timer.start();
        const RunResult result =
            run.run(clipPath,
                    {scriptedFactory(QStringLiteral("TEST"),
                                     [&](ScriptedParser &parser) {
                                         if (doing == "detecting") {
                                             parser.verify = [&](ScriptedParser &self, const QString &path) {
                                                 self.openFile(path);
                                                 readOn(self);
                                                 return int(StatusNotRecognised);
                                             };
                                         }
                                         parser.parse = [&](ScriptedParser &self, quint64 *) -> int {
                                             if (doing == "reading") {
                                                 readOn(self);
                                                 return StatusEndOfFile;
                                             }
                                             for (;;) {
                                                 self.beginElement(5, 1, QStringLiteral("node"), -1);
                                                 self.endElement();
                                                 std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                             }
                                         };
                                     })},
                    sink);
        QCOMPARE(result.limit, RunLimit::Time);
        QCOMPARE(result.limitValue, quint64(1));
        QCOMPARE(result.status, int(StatusOk));
        QVERIFY(!result.cancelled);
        QVERIFY(timer.elapsed() >= 1000);
        QVERIFY(timer.elapsed() < 10000);
        if (doing == "adding")
            QCOMPARE(result.stopPosition, quint64(5));
    }

    void readsOfACancelledRunSayNothingOfTheFile()
    {
        RecordingSink sink;
        ContainerRun run;
        SourceState state;
        state.size = 100'000;
        run.setOpener(faultyOpener(&state));
        const RunResult result =
            run.run(clipPath,
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
        const RunResult result = run.run(clipPath,
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

    void aSinkThatFailsWhileALimitEndsTheRunIsTold()
    {
        class Witness : public RecordingSink
        {
        public:
            bool endDocument(const RunResult &outcome) override
            {
                told = outcome;
                return RecordingSink::endDocument(outcome);
            }
            RunResult told;
        } sink;
        sink.failAt = 2; // the end of the node that is open when the limit is reached
        RunLimits limits;
        limits.maxItems = 1;
        runOver(
            "0", [](ScriptedParser &parser) { parseInSteps(parser, 1); }, sink, limits);
        QCOMPARE(sink.told.limit, RunLimit::Items);
        QCOMPARE(sink.told.sinkError, QStringLiteral("the sink is full"));
        verifyBalanced(sink);
    }

    void aSinkThatFailsAtTheBeginningGetsNoElement_data()
    {
        QTest::addColumn<int>("verdict");
        QTest::newRow("a file that is walked") << int(StatusOk);
        QTest::newRow("a file that nobody accepts") << int(StatusNotRecognised);
    }
    void aSinkThatFailsAtTheBeginningGetsNoElement()
    {
        QFETCH(int, verdict);
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
            "0123456789",
            [verdict](ScriptedParser &parser) {
                parser.verify = [verdict](ScriptedParser &, const QString &) { return verdict; };
                parseInSteps(parser, 1);
            },
            sink);
        QCOMPARE(result.sinkError, QStringLiteral("the sink is full"));
        QCOMPARE(result.status, verdict);
        QCOMPARE(sink.calls, 0);
        verifyBalanced(sink);
    }

    void aSinkThatThrowsIsAskedForTheEndAlone_data()
    {
        QTest::addColumn<int>("throwAt");
        QTest::addColumn<bool>("isMemory");
        QTest::addColumn<int>("calls"); // of the parts of two elements: begin, field, frame, end
        for (const bool isMemory : {true, false}) {
            const char *const what = isMemory ? "memory" : "something else";
            QTest::addRow("%s, at beginDocument", what) << 0 << isMemory << 0;
            QTest::addRow("%s, at a node", what) << 1 << isMemory << 1;
            QTest::addRow("%s, at a leaf", what) << 2 << isMemory << 2;
            QTest::addRow("%s, at a frame", what) << 3 << isMemory << 3;
            QTest::addRow("%s, at the end of a node", what) << 4 << isMemory << 4;
            QTest::addRow("%s, at the last end", what) << 8 << isMemory << 8;
            QTest::addRow("%s, at endDocument", what) << 9 << isMemory << 8;
            QTest::addRow("%s, never", what) << -1 << isMemory << 8;
        }
    }
    void aSinkThatThrowsIsAskedForTheEndAlone()
    {
        QFETCH(int, throwAt);
        QFETCH(bool, isMemory);
        QFETCH(int, calls);

        class Thrower : public RecordingSink
        {
        public:
            Thrower(int throwAt, bool isMemory) : m_throwAt(throwAt), m_isMemory(isMemory) { }
            int ends = 0;

            bool beginDocument(const DocumentStart &start) override
            {
                RecordingSink::beginDocument(start);
                return throwsAt(0);
            }
            bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
            {
                RecordingSink::beginElement(offset, size, title, index);
                return throwsAt(calls);
            }
            bool addField(const Field &field) override
            {
                RecordingSink::addField(field);
                return throwsAt(calls);
            }
            bool endElement() override
            {
                RecordingSink::endElement();
                return throwsAt(calls);
            }
            bool reportFrame(const Frame &frame) override
            {
                RecordingSink::reportFrame(frame);
                return throwsAt(calls);
            }
            bool endDocument(const RunResult &outcome) override
            {
                RecordingSink::endDocument(outcome);
                return ++ends > 1 || throwsAt(9);
            }

        private:
            bool throwsAt(int call) const
            {
                if (call == m_throwAt && m_isMemory)
                    throw std::bad_alloc();
                if (call == m_throwAt)
                    throw std::runtime_error("boom");
                return true;
            }

            const int m_throwAt;
            const bool m_isMemory;
        } sink(throwAt, isMemory);

        const RunResult result = runOver(
            "01",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    self.beginElement(self.m_position, 1, QStringLiteral("node"), -1);
                    self.addLeaf(self.m_position, 1, QStringLiteral("fccType"), {}, QStringLiteral("Video"));
                    self.reportFrame(0, self.m_position);
                    self.endElement();
                    *size = 1;
                    return 0;
                };
            },
            sink);
        QCOMPARE(sink.calls, calls);
        QCOMPARE(sink.ends, throwAt == 9 ? 2 : 1);
        QCOMPARE(result.isClean(), throwAt == -1);
        if (throwAt == -1)
            return;
        QCOMPARE(result.error.kind, isMemory ? FileError::Memory : FileError::None);
        QCOMPARE(result.error.message, isMemory ? QStringLiteral("not enough memory") : QString());
        QCOMPARE(result.sinkError, isMemory ? QString() : QStringLiteral("boom"));
        QCOMPARE(sink.result.error.kind, result.error.kind);
    }

    void aSinkThatThrowsAtTheEndOfAnUnknownFileIsTold()
    {
        class Thrower : public RecordingSink
        {
        public:
            bool endDocument(const RunResult &) override { throw std::bad_alloc(); }
        } sink;
        const RunResult result = runOver(
            "01",
            [](ScriptedParser &parser) {
                parser.verify = [](ScriptedParser &, const QString &) { return int(StatusNotRecognised); };
            },
            sink);
        QCOMPARE(result.status, int(StatusNotRecognised));
        QCOMPARE(result.error.kind, FileError::Memory);
    }

    void aSinkThatThrowsAtTheBeginningOfAnUnknownFileIsTold()
    {
        class Thrower : public RecordingSink
        {
        public:
            bool beginDocument(const DocumentStart &) override { throw std::runtime_error("boom"); }
        } sink;
        const RunResult result = runOver(
            "01",
            [](ScriptedParser &parser) {
                parser.verify = [](ScriptedParser &, const QString &) { return int(StatusNotRecognised); };
            },
            sink);
        QCOMPARE(result.sinkError, QStringLiteral("boom"));
        QCOMPARE(sink.documentsEnded, 1);
    }

    void aSinkThatFailsAtAFrameEndsTheRun()
    {
        RecordingSink sink;
        sink.failAt = 2;
        const RunResult result = runOver(
            "0123456789",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    self.addLeaf(0, 1, QStringLiteral("fccType"), {}, QStringLiteral("Video"));
                    self.reportFrame(0, 0);
                    self.addLeaf(0, 1, QStringLiteral("never"));
                    *size = 1;
                    return 0;
                };
            },
            sink);
        QCOMPARE(result.sinkError, QStringLiteral("the sink is full"));
        QCOMPARE(sink.calls, 2);
    }
};

QTEST_APPLESS_MAIN(TestRunStops)
#include "tst_runstops.moc"
