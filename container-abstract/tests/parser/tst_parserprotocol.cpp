#include "byteaccounting.h"
#include "elementtree.h"
#include "scriptedrun.h"

#include <QTest>

#include <limits>
#include <stdexcept>

using namespace quenlofar;

Q_DECLARE_METATYPE(ScriptedParser::Parse)

namespace {

using Self = ScriptedParser &;

constexpr quint64 two63 = quint64(1) << 63;
const QByteArray tenBytes = "0123456789";

/// A parser that does one thing at the file's begin and then takes the whole file.
ScriptedParser::Parse once(const std::function<void(ScriptedParser &)> &deed)
{
    return [deed](Self self, quint64 *size) {
        deed(self);
        *size = quint64(self.m_file.size());
        return 0;
    };
}

/// The walk of ten bytes with a parser that is made of `parse`.
RunResult runOf(const ScriptedParser::Parse &parse, ElementSink &sink)
{
    return runOver(
        tenBytes, [parse](ScriptedParser &parser) { parser.parse = parse; }, sink);
}

/// The walk of ten bytes with a parser that begins at `begin`.
RunResult runFrom(qint64 begin, ElementSink &sink)
{
    return runOver(
        tenBytes,
        [begin](ScriptedParser &parser) {
            parser.begin = begin;
            parseInSteps(parser, 1);
        },
        sink);
}

} // namespace

/// What a run says of a parser whose answers make no sense, and what it makes of them.
class TestParserProtocol : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatMakesNoSenseIsTold_data()
    {
        QTest::addColumn<ScriptedParser::Parse>("parse");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QStringList>("lines");
        const auto row = [](const char *rule, const char *message, const QStringList &lines,
                            const std::function<void(ScriptedParser &)> &deed) {
            QTest::newRow(rule) << once(deed) << QString::fromLatin1(message) << lines;
        };
        row("a node is left open", "it left a node open", {QStringLiteral("node 0+4 {"), QStringLiteral("}")},
            [](Self self) { self.beginElement(0, 4, QStringLiteral("node"), -1); });
        row("one end too many", "it ended a node that it had not begun", {}, [](Self self) { self.endElement(); });
        row("a node's index below -1", "an item has the index -2", {QStringLiteral("node 0+4 {"), QStringLiteral("}")},
            [](Self self) {
                self.beginElement(0, 4, QStringLiteral("node"), -2);
                self.endElement();
            });
        row("a leaf's index below -1", "an item has the index -9223372036854775808", {QStringLiteral("leaf 0+4")},
            [](Self self) {
                self.addField(false, 0, 0, 4, QStringLiteral("leaf"), {}, {}, {}, std::numeric_limits<qint64>::min());
            });
        row("a leaf that ends behind 2^63", "an item or frame ends where no file can",
            {QStringLiteral("leaf 9223372036854775807+1")},
            [](Self self) { self.addLeaf(two63 - 1, 2, QStringLiteral("leaf")); });
        row("a leaf whose end wraps", "an item or frame ends where no file can",
            {QStringLiteral("leaf 4+%1").arg(two63 - 4)},
            [](Self self) { self.addLeaf(4, std::numeric_limits<quint64>::max(), QStringLiteral("leaf")); });
        row("a node that begins behind 2^63", "an item or frame ends where no file can",
            {QStringLiteral("node 9223372036854775808+0 {"), QStringLiteral("}")}, [](Self self) {
                self.beginElement(two63 + 1, 0, QStringLiteral("node"), -1);
                self.endElement();
            });
        row("a frame of a stream that was not announced",
            "it reported a frame of video stream 0, which it had not announced", {},
            [](Self self) { self.reportFrame(0, 0); });
        row("a frame that ends behind 2^63", "an item or frame ends where no file can",
            {QStringLiteral("fccType 0+4 [Video]"), QStringLiteral("frame 0/7 9223372036854775808+0 key")},
            [](Self self) {
                self.addLeaf(0, 4, QStringLiteral("fccType"), {}, QStringLiteral("Video"));
                self.m_frameOffset = two63 + 5;
                self.m_frameSize = 3;
                self.m_frameIsKey = 1;
                self.reportFrame(0, 7);
            });
    }
    void whatMakesNoSenseIsTold()
    {
        QFETCH(ScriptedParser::Parse, parse);
        RecordingSink sink;
        const RunResult result = runOf(parse, sink);
        QTEST(sink.lines, "lines");
        QCOMPARE(result.error.kind, FileError::Parser);
        QTEST(result.error.message, "message");
        QCOMPARE(result.error.offset, qint64(0));
        QCOMPARE(result.status, 0);
        QVERIFY(!result.isClean());
        verifyBalanced(sink);
    }

    void whatMakesSenseIsNoTrouble_data()
    {
        QTest::addColumn<ScriptedParser::Parse>("parse");
        const auto row = [](const char *rule, const std::function<void(ScriptedParser &)> &deed) {
            QTest::newRow(rule) << once(deed);
        };
        row("items beyond the end of the file", [](Self self) {
            self.beginElement(0, 4'000'000'000, QStringLiteral("node"), -1);
            self.addLeaf(11, 100, QStringLiteral("leaf"));
            self.endElement();
        });
        row("a leaf that ends at 2^63", [](Self self) { self.addLeaf(two63 - 1, 1, QStringLiteral("leaf")); });
        row("a leaf of no bytes at 2^63", [](Self self) { self.addLeaf(two63, 0, QStringLiteral("leaf")); });
        row("an index of -1 and the largest", [](Self self) {
            self.addField(false, 0, 0, 1, QStringLiteral("leaf"), {}, {}, {}, -1);
            self.addField(false, 0, 0, 1, QStringLiteral("leaf"), {}, {}, {}, std::numeric_limits<qint64>::max());
        });
        row("a frame of the stream that was announced last", [](Self self) {
            self.addLeaf(0, 4, QStringLiteral("fccType"), {}, QStringLiteral("Video"));
            self.addLeaf(0, 4, QStringLiteral("fccType"), {}, QStringLiteral("Video"));
            self.reportFrame(1, 0);
        });
    }
    void whatMakesSenseIsNoTrouble()
    {
        QFETCH(ScriptedParser::Parse, parse);
        RecordingSink sink;
        QVERIFY(runOf(parse, sink).isClean());
    }

    void whereTheWalkBegins_data()
    {
        QTest::addColumn<qint64>("begin");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("unparsed");
        QTest::newRow("before the file") << qint64(-1)
                                         << QStringLiteral("it begins at byte -1, which is not in the file")
                                         << QStringLiteral("unparsed 0+10");
        QTest::newRow("behind the file") << qint64(11)
                                         << QStringLiteral("it begins at byte 11, which is not in the file")
                                         << QStringLiteral("unparsed 0+10");
        QTest::newRow("at the end") << qint64(10) << QString() << QStringLiteral("unparsed 0+10");
        QTest::newRow("inside") << qint64(9) << QString() << QStringLiteral("unparsed 0+9");
    }
    void whereTheWalkBegins()
    {
        QFETCH(qint64, begin);
        QFETCH(QString, message);
        RecordingSink sink;
        const RunResult result = runFrom(begin, sink);
        QTEST(sink.lines.value(0), "unparsed");
        QCOMPARE(result.error.message, message);
        QCOMPARE(result.error.kind, message.isNull() ? FileError::None : FileError::Parser);
        QCOMPARE(sink.lines.size(), begin == 9 ? 4 : 1);
    }

    void bytesInFrontThatAParserShowsItselfStayItsOwn()
    {
        RecordingSink sink;
        const RunResult result = runOver(
            tenBytes,
            [](ScriptedParser &parser) {
                parser.begin = 10;
                parser.prepare = [](Self self) { self.addLeaf(0, 10, QStringLiteral("all")); };
            },
            sink);
        QVERIFY(result.isClean());
        QCOMPARE(sink.lines, QStringList{QStringLiteral("all 0+10")});
    }

    void anEmptyFileBeginsAtItsEnd()
    {
        RecordingSink sink;
        QVERIFY(runOver(
                    {}, [](ScriptedParser &) {}, sink)
                    .isClean());
        QVERIFY(sink.lines.isEmpty());
    }

    void whatFollowsANodeThatWasLeftOpenStandsBesideIt()
    {
        RecordingSink sink;
        const RunResult result = runOf(
            [](Self self, quint64 *size) {
                self.beginElement(self.m_position, 5, QStringLiteral("node"), -1);
                *size = 5;
                return 0;
            },
            sink);
        QCOMPARE(sink.lines,
                 (QStringList{QStringLiteral("node 0+5 {"), QStringLiteral("}"), QStringLiteral("node 5+5 {"),
                              QStringLiteral("}")}));
        QCOMPARE(result.error.kind, FileError::Parser);
    }

    void theFirstTroubleIsToldWithItsPlace()
    {
        RecordingSink sink;
        const RunResult result = runOf(
            [](Self self, quint64 *size) {
                if (self.m_position == 4)
                    self.endElement();
                if (self.m_position == 6)
                    self.addField(false, 0, 0, 1, QStringLiteral("leaf"), {}, {}, {}, -7);
                *size = 2;
                return 0;
            },
            sink);
        QCOMPARE(result.error.message, QStringLiteral("it ended a node that it had not begun"));
        QCOMPARE(result.error.offset, qint64(4));
    }

    void anExceptionIsTheTrouble()
    {
        RecordingSink sink;
        const RunResult result = runOf(
            [](Self self, quint64 *) -> int {
                self.endElement();
                throw std::runtime_error("boom");
            },
            sink);
        QCOMPARE(result.error.message, QStringLiteral("boom"));
    }

    void whatIsAddedDuringDetectionIsDropped()
    {
        for (const int verdict : {StatusOk, StatusNotRecognised}) {
            RecordingSink sink;
            const RunResult result = runOver(
                tenBytes,
                [verdict](ScriptedParser &parser) {
                    parser.verify = [verdict](Self self, const QString &) {
                        self.beginElement(0, 1, QStringLiteral("too early"), -1);
                        self.addLeaf(0, 4, QStringLiteral("fccType"), {}, QStringLiteral("Video"));
                        return int(verdict);
                    };
                    parseInSteps(parser, 10);
                },
                sink);
            QCOMPARE(result.error.kind, FileError::Parser);
            QCOMPARE(result.error.message, QStringLiteral("it added items before it was asked to"));
            QVERIFY(result.videoStreams.isEmpty());
            QCOMPARE(result.items, quint64(verdict == StatusOk ? 2 : 0));
            QCOMPARE(sink.lines.size(), verdict == StatusOk ? 3 : 0);
            verifyBalanced(sink);
        }
    }

    void aLimitIsNoTroubleOfTheParser()
    {
        RecordingSink sink;
        RunLimits limits;
        limits.maxItems = 1;
        const RunResult result = runOver(
            tenBytes,
            [](ScriptedParser &parser) {
                parser.parse = [](Self self, quint64 *) -> int {
                    for (;;)
                        self.beginElement(0, 1, QStringLiteral("node"), -1);
                };
            },
            sink, limits);
        QCOMPARE(result.limit, RunLimit::Items);
        QCOMPARE(result.error.kind, FileError::None);
        verifyBalanced(sink);
    }

    void noByteIsInAGap_data()
    {
        QTest::addColumn<qint64>("begin");
        for (const qint64 begin : {-1, 0, 3, 10, 11})
            QTest::addRow("a walk from %d", int(begin)) << begin;
    }
    void noByteIsInAGap()
    {
        QFETCH(qint64, begin);
        ByteAccounting accounting;
        runFrom(begin, accounting);
        QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Gap), quint64(0));
        QCOMPARE(accounting.byteCount(ByteAccounting::Kind::Overlap), quint64(0));
    }
};

QTEST_APPLESS_MAIN(TestParserProtocol)
#include "tst_parserprotocol.moc"
