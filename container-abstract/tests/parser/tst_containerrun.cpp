#include "scriptedrun.h"

#include <QTest>

#include <limits>
#include <new>
#include <stdexcept>

using namespace quenlofar;

Q_DECLARE_METATYPE(RunResult)
Q_DECLARE_METATYPE(ParserFactory)
Q_DECLARE_METATYPE(FileError::Kind)
Q_DECLARE_METATYPE(ScriptedParser::Parse)

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
                 (QStringList{QStringLiteral("verifyContainerFormat"), QStringLiteral("closed"), clipPath,
                              QStringLiteral("prepareParsing"), QStringLiteral("findBeginOfContainer"),
                              QStringLiteral("parseElement"), QStringLiteral("at 0 0 ends 10"),
                              QStringLiteral("parseElement"), QStringLiteral("at 5 5 ends 10"),
                              QStringLiteral("finalizeParsing")}));
        QVERIFY(result.isClean());
        QCOMPARE(sink.document.container, QStringLiteral("TEST"));
        QCOMPARE(sink.document.file, clipPath);
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
        run.run(clipPath,
                {scriptedFactory(QStringLiteral("A"), verdict(StatusNotRecognised)),
                 scriptedFactory(QStringLiteral("B"), verdict(42)),
                 scriptedFactory(QStringLiteral("C"), verdict(StatusOk)),
                 scriptedFactory(QStringLiteral("D"), verdict(StatusOk))},
                sink);
        QCOMPARE(sink.document.container, QStringLiteral("C"));
        QCOMPARE(sink.document.parser, 2);
        QCOMPARE(sink.document.parserName, QStringLiteral("C"));
        QVERIFY(sink.document.parserVersion.isNull());
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
        QVERIFY(sink.document.parserName.isNull());
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
        const RunResult result = run.run(clipPath, {}, sink);
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
            run.run(clipPath, {scriptedFactory(QStringLiteral("TEST"), [](ScriptedParser &) {})}, sink);
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
        run.run(clipPath,
                {none, scriptedFactory(QStringLiteral("B"), [](ScriptedParser &parser) { parseInSteps(parser, 1); })},
                sink);
        QCOMPARE(sink.document.container, QStringLiteral("B"));
        QCOMPARE(sink.document.parser, 1);
        verifyBalanced(sink);
    }

    void theReadingOfAllParsersCounts()
    {
        RecordingSink sink;
        ContainerRun run;
        run.setOpener(memoryOpener("0123456789"));
        const auto reader = [](int verdict) {
            return [verdict](ScriptedParser &parser) {
                parser.verify = [verdict](ScriptedParser &self, const QString &given) {
                    self.openFile(given);
                    self.m_file.read(3);
                    self.closeFile();
                    return verdict;
                };
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    self.m_file.read(2);
                    *size = 5;
                    return 0;
                };
            };
        };
        const RunResult result = run.run(clipPath,
                                         {scriptedFactory(QStringLiteral("A"), reader(StatusNotRecognised)),
                                          scriptedFactory(QStringLiteral("B"), reader(StatusOk))},
                                         sink);
        // Three bytes twice to detect the format, two bytes of two elements.
        QCOMPARE(result.bytesRead, quint64(10));
    }

    void readErrorDuringTheWalkIsToldFromTheEnd()
    {
        RecordingSink sink;
        ContainerRun run;
        SourceState state;
        state.size = 100'000;
        state.damagedFrom = 50'000;
        state.error = QStringLiteral("bad sector");
        run.setOpener(faultyOpener(&state));
        const RunResult result = run.run(
            clipPath,
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
        SourceState state;
        state.size = 100'000;
        state.damagedFrom = 10;
        run.setOpener(faultyOpener(&state));
        const RunResult result =
            run.run(clipPath,
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

    void memoryThatRunsOutInDetectionIsNoVerdict()
    {
        RecordingSink sink;
        const RunResult result = runOver(
            "0",
            [](ScriptedParser &parser) {
                parser.verify = [](ScriptedParser &, const QString &) -> int { throw std::bad_alloc(); };
            },
            sink);
        QCOMPARE(result.error.kind, FileError::Memory);
        QCOMPARE(result.status, 0);
        QVERIFY(sink.document.container.isNull());
        verifyBalanced(sink);
    }

    void whatAParserThrowsIsReported_data()
    {
        QTest::addColumn<ScriptedParser::Parse>("parse");
        QTest::addColumn<FileError::Kind>("kind");
        QTest::addColumn<QString>("message");
        const auto row = [](const char *name, FileError::Kind kind, const char *message,
                            const ScriptedParser::Parse &parse) {
            QTest::newRow(name) << parse << kind << QString::fromLatin1(message);
        };
        using Self = ScriptedParser &;
        row("an exception", FileError::Parser, "boom",
            [](Self, quint64 *) -> int { throw std::runtime_error("boom"); });
        row("something that is no exception", FileError::Parser, "it threw something other than std::exception",
            [](Self, quint64 *) -> int { throw 42; });
        row("a length that nothing can have", FileError::Memory, "too long",
            [](Self, quint64 *) -> int { throw std::length_error("too long"); });
    }

    void whatAParserThrowsIsReported()
    {
        QFETCH(ScriptedParser::Parse, parse);
        RecordingSink sink;
        const RunResult result = runOver(
            "0",
            [parse](ScriptedParser &parser) {
                parser.parse = [parse](ScriptedParser &self, quint64 *size) {
                    self.beginElement(0, 1, QStringLiteral("node"), -1);
                    return parse(self, size);
                };
            },
            sink);
        QTEST(result.error.kind, "kind");
        QTEST(result.error.message, "message");
        verifyBalanced(sink);
    }

    void aParserThatFailsDoesNotStopTheOthers_data()
    {
        QTest::addColumn<ParserFactory>("failing");
        QTest::addColumn<QString>("message");
        QTest::newRow("detection throws") << scriptedFactory(QStringLiteral("BAD"), [](ScriptedParser &parser) {
            parser.verify = [](ScriptedParser &, const QString &) -> int { throw std::runtime_error("boom"); };
        }) << QStringLiteral("boom");
        ParserFactory factory = scriptedFactory(QStringLiteral("BAD"), [](ScriptedParser &) {});
        factory.create = []() -> std::unique_ptr<ContainerAbstract> { throw std::runtime_error("boom"); };
        QTest::newRow("making it throws") << factory << QStringLiteral("boom");
        factory.create = []() -> std::unique_ptr<ContainerAbstract> { return nullptr; };
        QTest::newRow("none is made") << factory << QStringLiteral("the plug-in for BAD makes no parser");
    }

    void aParserThatFailsDoesNotStopTheOthers()
    {
        QFETCH(ParserFactory, failing);
        QFETCH(QString, message);
        SourceState state;
        state.size = 1;
        ContainerRun run;
        run.setOpener(faultyOpener(&state));
        const ParserFactory good =
            scriptedFactory(QStringLiteral("GOOD"), [](ScriptedParser &parser) { parseInSteps(parser, 1); });
        RecordingSink sink;
        const RunResult found = run.run(clipPath, {failing, good}, sink);
        QCOMPARE(sink.document.container, QStringLiteral("GOOD"));
        QCOMPARE(found.error.kind, FileError::None);
        const RunResult result = run.run(clipPath, {failing}, sink);
        QCOMPARE(result.status, int(StatusNotRecognised));
        QCOMPARE(result.error.kind, FileError::Parser);
        QCOMPARE(result.error.message, message);
    }

    void aParserThatMovesThePositionIsNotFollowed()
    {
        RecordingSink sink;
        const RunResult result = runOver(
            "0123",
            [](ScriptedParser &parser) {
                parser.parse = [](ScriptedParser &self, quint64 *size) {
                    self.addField(false, self.m_position, 0, 1, QStringLiteral("byte"), {}, {}, {}, -1);
                    self.m_position = 0;
                    *size = 1;
                    return int(StatusOk);
                };
            },
            sink);
        QCOMPARE(result.items, quint64(4));
    }

    void memoryThatRunsOutAfterAReadErrorIsTheError()
    {
        RecordingSink sink;
        ContainerRun run;
        SourceState state;
        state.size = 100'000;
        state.damagedFrom = 0;
        run.setOpener(faultyOpener(&state));
        const RunResult result =
            run.run(clipPath,
                    {scriptedFactory(QStringLiteral("TEST"),
                                     [](ScriptedParser &parser) {
                                         parser.parse = [](ScriptedParser &self, quint64 *) -> int {
                                             self.m_file.read(1);
                                             throw std::bad_alloc();
                                         };
                                     })},
                    sink);
        QCOMPARE(result.error.kind, FileError::Memory);
    }

    void aResultIsCleanIfNothingHappened_data()
    {
        QTest::addColumn<RunResult>("result");
        QTest::addColumn<bool>("isClean");
        const auto row = [](const char *rule, bool isClean, const std::function<void(RunResult &)> &fill) {
            RunResult result;
            fill(result);
            QTest::newRow(rule) << result << isClean;
        };
        row("nothing", true, [](RunResult &) {});
        row("counts alone", true, [](RunResult &result) { result.items = result.bytesRead = 7; });
        row("a status", false, [](RunResult &result) { result.status = StatusReadError; });
        row("an error", false, [](RunResult &result) { result.error.kind = FileError::Memory; });
        row("a limit", false, [](RunResult &result) { result.limit = RunLimit::Items; });
        row("a cancel", false, [](RunResult &result) { result.cancelled = true; });
        row("a sink that failed", false, [](RunResult &result) { result.sinkError = QStringLiteral("full"); });
    }
    void aResultIsCleanIfNothingHappened()
    {
        QFETCH(RunResult, result);
        QTEST(result.isClean(), "isClean");
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

    void withoutMemoryForAParserNoOtherIsTried()
    {
        ParserFactory poor;
        poor.containerName = QStringLiteral("POOR");
        poor.create = []() -> std::unique_ptr<ContainerAbstract> { throw std::bad_alloc(); };
        int isTried = 0;
        const ParserFactory other =
            scriptedFactory(QStringLiteral("OTHER"), [&isTried](ScriptedParser &) { ++isTried; });
        RecordingSink sink;
        ContainerRun run;
        run.setOpener(memoryOpener("01"));
        const RunResult result = run.run(QStringLiteral("clip"), {poor, other}, sink);
        QCOMPARE(result.error.kind, FileError::Memory);
        QCOMPARE(isTried, 0);
        QCOMPARE(sink.documentsBegun, 1);
        QCOMPARE(sink.documentsEnded, 1);
    }
};

QTEST_APPLESS_MAIN(TestContainerRun)
#include "tst_containerrun.moc"
