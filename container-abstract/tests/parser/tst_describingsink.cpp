#include "containerabstract.h"
#include "describingsink.h"
#include "scriptedparser.h"
#include "testing/recordingsink.h"

#include <QTest>

#include <limits>
#include <new>
#include <stdexcept>

using namespace quenlofar;

namespace {

/// Passes what it sees on to a sink of the test, and names the container.
class NamedDescriber : public ContainerDescriber
{
public:
    NamedDescriber(const QString &name, RecordingSink &seen) : m_name(name), m_seen(seen) { }

    bool beginDocument(const DocumentStart &start) override { return m_seen.beginDocument(start); }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        return m_seen.beginElement(offset, size, title, index);
    }
    bool addField(const Field &field) override { return m_seen.addField(field); }
    bool endElement() override { return m_seen.endElement(); }
    bool setElementSize(quint64 size) override { return m_seen.setElementSize(size); }
    bool reportProblem(const ReportedProblem &problem) override { return m_seen.reportProblem(problem); }
    bool reportFrame(const Frame &frame) override { return m_seen.reportFrame(frame); }
    bool endDocument(const RunResult &result) override { return m_seen.endDocument(result); }
    QString errorText() const override { return m_seen.errorText(); }
    QVector<DescriptionRow> rows() const override { return {{QStringLiteral("describer"), m_name}}; }
    QVector<StreamDescription> streams() const override
    {
        StreamDescription stream;
        stream.ordinal = 5;
        stream.name = m_name;
        stream.codecCode = QStringLiteral("CODE");
        stream.codecName = QStringLiteral("a codec");
        return {stream};
    }

private:
    QString m_name;
    RecordingSink &m_seen;
};

/// A describer that leaves everything that it may leave to its base classes.
class SilentDescriber : public ContainerDescriber
{
public:
    bool beginElement(quint64, quint64, QStringView, qint64) override { return true; }
    bool addField(const Field &) override { return true; }
    bool endElement() override { return true; }
    bool reportFrame(const Frame &) override { return true; }
};

/// A describer that fails at one place.
class ThrowingDescriber : public SilentDescriber
{
public:
    enum Place { Leaf, Rows, NoException, NoReason, Making };

    explicit ThrowingDescriber(Place place) : m_place(place)
    {
        if (place == Making)
            throw std::runtime_error("boom");
    }
    bool addField(const Field &) override
    {
        if (m_place == Leaf)
            throw std::runtime_error("boom");
        if (m_place == NoException)
            throw 42;
        return m_place != NoReason;
    }
    QVector<DescriptionRow> rows() const override
    {
        if (m_place == Rows)
            throw std::runtime_error("boom");
        return {};
    }

private:
    Place m_place;
};

enum class Call {
    BeginDocument,
    BeginElement,
    AddField,
    EndElement,
    SetElementSize,
    ReportProblem,
    ReportFrame,
    EndDocument
};
constexpr Call allCalls[] = {Call::BeginDocument,  Call::BeginElement,  Call::AddField,    Call::EndElement,
                             Call::SetElementSize, Call::ReportProblem, Call::ReportFrame, Call::EndDocument};
enum class Failure { Refuses, Throws, ThrowsNumber, NoMemory };

/// A describer that fails in one of its calls.
class FailingDescriber : public ContainerDescriber
{
public:
    FailingDescriber(Call call, Failure failure) : m_call(call), m_failure(failure) { }

    bool beginDocument(const DocumentStart &) override { return called(Call::BeginDocument); }
    bool beginElement(quint64, quint64, QStringView, qint64) override { return called(Call::BeginElement); }
    bool addField(const Field &) override { return called(Call::AddField); }
    bool endElement() override { return called(Call::EndElement); }
    bool setElementSize(quint64) override { return called(Call::SetElementSize); }
    bool reportProblem(const ReportedProblem &) override { return called(Call::ReportProblem); }
    bool reportFrame(const Frame &) override { return called(Call::ReportFrame); }
    bool endDocument(const RunResult &) override { return called(Call::EndDocument); }

private:
    bool called(Call call) const
    {
        if (call != m_call)
            return true;
        switch (m_failure) {
        case Failure::Throws:
            throw std::runtime_error("boom");
        case Failure::ThrowsNumber:
            throw 42;
        case Failure::NoMemory:
            throw std::bad_alloc();
        case Failure::Refuses:
            break;
        }
        return false;
    }

    const Call m_call;
    const Failure m_failure;
};

bool make(Call call, ElementSink &sink)
{
    switch (call) {
    case Call::BeginDocument:
        return sink.beginDocument({QStringLiteral("clip"), QStringLiteral("A"), 4, 0});
    case Call::BeginElement:
        return sink.beginElement(0, 4, u"node", -1);
    case Call::AddField:
        return sink.addField({false, 0, 0, 4, -1, u"name", u"value", {}, {}});
    case Call::EndElement:
        return sink.endElement();
    case Call::SetElementSize:
        return sink.setElementSize(4);
    case Call::ReportProblem:
        return sink.reportProblem({0, 1, Severity::Note, u"odd"});
    case Call::ReportFrame:
        return sink.reportFrame({});
    case Call::EndDocument:
        break;
    }
    return sink.endDocument({});
}

/// A parser that accepts files that begin with its name; one node, one leaf, one frame.
ParserFactory parserOf(char letter)
{
    return scriptedFactory(QString(QLatin1Char(letter)), [letter](ScriptedParser &parser) {
        parser.verify = [letter](ScriptedParser &self, const QString &given) {
            char first = 0;
            const int status = self.openFile(given);
            self.m_file.read(&first, 1);
            self.closeFile();
            return status == StatusOk && first != letter ? int(StatusNotRecognised) : status;
        };
        parser.parse = [](ScriptedParser &self, quint64 *size) {
            *size = 4;
            self.beginElement(0, 4, QStringLiteral("node"), -1);
            self.addLeaf(1, 2, QStringLiteral("fccType"), QStringLiteral("value"), QStringLiteral("Video"));
            self.reportFrame(0, 7);
            self.endElement();
            return 0;
        };
    });
}

RunResult walk(const QByteArray &bytes, const QVector<ParserFactory> &parsers, ElementSink &sink)
{
    ContainerRun run;
    run.setOpener(memoryOpener(bytes));
    return run.run(QStringLiteral("clip"), parsers, sink);
}

} // namespace

class TestDescribingSink : public QObject
{
    Q_OBJECT

    /// A and C have describers, B has none, D's does not come.
    QVector<ParserFactory> parsers()
    {
        QVector<ParserFactory> all{parserOf('A'), parserOf('B'), parserOf('C'), parserOf('D')};
        for (const int described : {0, 2}) {
            const QString name = all[described].containerName;
            all[described].createDescriber = [this, name] { return std::make_unique<NamedDescriber>(name, m_seen); };
        }
        all[3].createDescriber = [] { return std::unique_ptr<ContainerDescriber>(); };
        return all;
    }

    RecordingSink m_seen;

private Q_SLOTS:
    void describesByTheParserThatAcceptsTheFile_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("describer");
        QTest::newRow("the first parser") << QByteArray("Axyz") << "A";
        QTest::newRow("a parser without a describer") << QByteArray("Bxyz") << "";
        QTest::newRow("a later parser") << QByteArray("Cxyz") << "C";
        QTest::newRow("a describer that is not made") << QByteArray("Dxyz") << "";
        QTest::newRow("a file that nobody accepts") << QByteArray("xxyz") << "";
    }
    void describesByTheParserThatAcceptsTheFile()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, describer);
        DescribingSink sink(parsers());
        QVERIFY(walk(file, parsers(), sink).sinkError.isNull());
        QCOMPARE(int(sink.rows().size()), describer.isEmpty() ? 0 : 1);
        QCOMPARE(int(sink.streams().size()), describer.isEmpty() ? 0 : 1);
        QVERIFY(sink.errorText().isNull());
        if (describer.isEmpty())
            return;
        QCOMPARE(sink.rows().first().label, QStringLiteral("describer"));
        QCOMPARE(sink.rows().first().text, describer);
        const StreamDescription stream = sink.streams().first();
        QCOMPARE(stream.ordinal, 5);
        QCOMPARE(stream.name, describer);
        QCOMPARE(stream.codecCode, QStringLiteral("CODE"));
        QCOMPARE(stream.codecName, QStringLiteral("a codec"));
    }

    void aDescriberSeesTheWholeWalk()
    {
        RecordingSink direct;
        walk("Axyz", parsers(), direct);
        m_seen.lines.clear();
        m_seen.documentsBegun = m_seen.documentsEnded = 0;
        DescribingSink sink(parsers());
        walk("Axyz", parsers(), sink);
        QCOMPARE(m_seen.lines, direct.lines);
        QCOMPARE(int(direct.lines.size()), 4);
        QCOMPARE(m_seen.documentsBegun, 1);
        QCOMPARE(m_seen.documentsEnded, 1);
        QCOMPARE(m_seen.document.fileSize, qint64(4));
        QCOMPARE(m_seen.result.items, quint64(2));
    }

    void aDescriberSeesProblemsAndSizesThatComeLast()
    {
        QVector<ParserFactory> one{scriptedFactory(QStringLiteral("A"), [](ScriptedParser &parser) {
            parser.parse = [](ScriptedParser &self, quint64 *size) {
                self.beginElement(0, sizeFromEnd, u"outer");
                self.reportProblem(0, 1, Severity::Note, u"odd");
                self.endElement(4);
                *size = 4;
                return 0;
            };
        })};
        one[0].createDescriber = [this] { return std::make_unique<NamedDescriber>(QStringLiteral("A"), m_seen); };
        RecordingSink direct;
        walk("Axyz", one, direct);
        m_seen.lines.clear();
        DescribingSink sink(one);
        walk("Axyz", one, sink);
        QCOMPARE(m_seen.lines, direct.lines);
        QVERIFY(direct.lines.contains(QStringLiteral("  size 4")));
    }

    void theNextDocumentHasADescriberOfItsOwn()
    {
        DescribingSink sink(parsers());
        walk("Axyz", parsers(), sink);
        QCOMPARE(sink.rows().first().text, QStringLiteral("A"));
        walk("Cxyz", parsers(), sink);
        QCOMPARE(sink.rows().first().text, QStringLiteral("C"));
        walk("nobody's", parsers(), sink);
        QVERIFY(sink.rows().isEmpty());
        QVERIFY(sink.streams().isEmpty());
    }

    void anOrdinalOfOtherParsersIsNoParser_data()
    {
        QTest::addColumn<int>("ordinal");
        QTest::newRow("none") << -1;
        QTest::newRow("one behind the last") << 4;
        QTest::newRow("the least") << std::numeric_limits<int>::min();
    }
    void anOrdinalOfOtherParsersIsNoParser()
    {
        QFETCH(int, ordinal);
        DescribingSink sink(parsers());
        QVERIFY(sink.beginDocument({QStringLiteral("clip"), QStringLiteral("A"), 4, ordinal}));
        QVERIFY(sink.endDocument({}));
        QVERIFY(sink.rows().isEmpty());
    }

    void aDescriberThatFailsEndsTheRun()
    {
        m_seen.calls = 0;
        m_seen.failAt = 2;
        DescribingSink sink(parsers());
        QCOMPARE(walk("Axyz", parsers(), sink).sinkError, QStringLiteral("the describer failed: the sink is full"));
        QCOMPARE(m_seen.depth(), 0);
        m_seen.failAt = 0;
    }

    void aDescriberThatThrowsHasFailed_data()
    {
        QTest::addColumn<int>("thrower");
        QTest::addColumn<QString>("reason");
        const QString boom = QStringLiteral("the describer failed: boom");
        QTest::newRow("a leaf") << int(ThrowingDescriber::Leaf) << boom;
        QTest::newRow("rows") << int(ThrowingDescriber::Rows) << boom;
        QTest::newRow("no exception") << int(ThrowingDescriber::NoException)
                                      << QStringLiteral(
                                             "the describer failed: it threw something other than std::exception");
        QTest::newRow("no reason") << int(ThrowingDescriber::NoReason) << QStringLiteral("the describer failed");
        QTest::newRow("being made") << int(ThrowingDescriber::Making) << boom;
    }
    void aDescriberThatThrowsHasFailed()
    {
        QFETCH(int, thrower);
        QVector<ParserFactory> all{parserOf('A')};
        all[0].createDescriber = [thrower] {
            return std::make_unique<ThrowingDescriber>(ThrowingDescriber::Place(thrower));
        };
        DescribingSink sink(all);
        QTEST(walk("Axyz", all, sink).sinkError, "reason");
        QVERIFY(sink.rows().isEmpty());
        all[0].createDescriber = nullptr;
        DescribingSink next(all);
        QVERIFY(walk("Axyz", all, next).sinkError.isNull());
    }

    void everyCallMayFail_data()
    {
        QTest::addColumn<int>("failure");
        QTest::addColumn<QString>("reason");
        QTest::newRow("false") << int(Failure::Refuses) << QStringLiteral("the describer failed");
        QTest::newRow("an exception") << int(Failure::Throws) << QStringLiteral("the describer failed: boom");
        QTest::newRow("a number") << int(Failure::ThrowsNumber)
                                  << QStringLiteral(
                                         "the describer failed: it threw something other than std::exception");
    }
    void everyCallMayFail()
    {
        QFETCH(int, failure);
        QFETCH(QString, reason);
        for (const Call failing : allCalls) {
            QVector<ParserFactory> all{parserOf('A')};
            all[0].createDescriber = [failing, failure] {
                return std::make_unique<FailingDescriber>(failing, Failure(failure));
            };
            DescribingSink sink(all);
            for (const Call call : allCalls) {
                const bool isTaken = make(call, sink);
                if (call == failing) {
                    QVERIFY(!isTaken);
                    QCOMPARE(sink.errorText(), reason);
                    break;
                }
                QVERIFY(isTaken);
                QVERIFY(sink.errorText().isNull());
            }
            // One that has thrown is asked no more; the first reason stays.
            if (Failure(failure) != Failure::Refuses && failing != Call::EndDocument) {
                for (const Call call : allCalls) {
                    if (call != Call::BeginDocument)
                        QVERIFY(!make(call, sink));
                }
                QCOMPARE(sink.errorText(), reason);
            }
            QVERIFY(sink.rows().isEmpty());
        }
    }

    void memoryThatRunsOutIsNotItsFault()
    {
        for (const Call failing : allCalls) {
            QVector<ParserFactory> all{parserOf('A')};
            all[0].createDescriber = [failing] {
                return std::make_unique<FailingDescriber>(failing, Failure::NoMemory);
            };
            DescribingSink sink(all);
            bool isThrown = false;
            for (const Call call : allCalls) {
                try {
                    QVERIFY(make(call, sink));
                } catch (const std::bad_alloc &) {
                    QCOMPARE(int(call), int(failing));
                    isThrown = true;
                    break;
                }
            }
            QVERIFY(isThrown);
            QVERIFY(sink.errorText().isNull());
            // Of such a walk the describer has nothing to say, and is not asked.
            RunResult result;
            result.error.kind = FileError::Memory;
            QVERIFY(sink.endDocument(result));
            QVERIFY(sink.rows().isEmpty());
        }
    }

    void aWalkWithoutADescriberTakesEverything()
    {
        DescribingSink sink({parserOf('A')});
        for (const Call call : allCalls)
            QVERIFY(make(call, sink));
        QVERIFY(sink.errorText().isNull());
    }

    void ordinalsOfADescriberMakeSense()
    {
        class Nonsense : public SilentDescriber
        {
        public:
            QVector<DescriptionRow> rows() const override
            {
                return {{QString(), QStringLiteral("no label")}, {QStringLiteral("label"), QString()}};
            }
            QVector<StreamDescription> streams() const override
            {
                using Kind = StreamDescription::Kind;
                QVector<StreamDescription> streams(4);
                streams[0].ordinal = -1;
                streams[0].kind = Kind::Video;
                streams[1].ordinal = -5;
                streams[1].kind = Kind::Audio;
                streams[1].videoOrdinal = 3;
                streams[2].ordinal = 9;
                streams[2].kind = Kind::Video;
                streams[2].videoOrdinal = -7;
                streams[3].ordinal = 10;
                streams[3].kind = Kind(77);
                streams[3].videoOrdinal = 0;
                return streams;
            }
        };
        QVector<ParserFactory> all{parserOf('A')};
        all[0].createDescriber = [] { return std::make_unique<Nonsense>(); };
        DescribingSink sink(all);
        QVERIFY(walk("Axyz", all, sink).sinkError.isNull());
        QCOMPARE(int(sink.rows().size()), 1);
        QCOMPARE(sink.rows().first().label, QStringLiteral("label"));
        QVector<int> ordinals;
        const QVector<StreamDescription> streams = sink.streams();
        for (const StreamDescription &stream : streams)
            ordinals << stream.ordinal << stream.videoOrdinal;
        QCOMPARE(ordinals, (QVector<int>{0, 0, 1, -1, 9, 1, 10, -1}));
    }

    void aDescriberMayHaveNothingToSay()
    {
        const SilentDescriber describer;
        QVERIFY(describer.rows().isEmpty());
        QVERIFY(describer.streams().isEmpty());
    }

    void secondsFollowFromLengthAndTimeBase_data()
    {
        QTest::addColumn<qint64>("length");
        QTest::addColumn<quint32>("numerator");
        QTest::addColumn<quint32>("denominator");
        QTest::addColumn<double>("seconds");
        QTest::newRow("25 frames a second") << qint64(250) << 1U << 25U << 10.0;
        QTest::newRow("30000/1001 frames a second") << qint64(30000) << 1001U << 30000U << 1001.0;
        QTest::newRow("an empty stream") << qint64(0) << 1U << 25U << 0.0;
        QTest::newRow("no length") << qint64(-1) << 1U << 25U << -1.0;
        QTest::newRow("no numerator") << qint64(250) << 0U << 25U << -1.0;
        QTest::newRow("no denominator") << qint64(250) << 1U << 0U << -1.0;
        QTest::newRow("the longest in the longest units")
            << qint64(0xFFFFFFFF) << 0xFFFFFFFFU << 1U << 4294967295.0 * 4294967295.0;
    }
    void secondsFollowFromLengthAndTimeBase()
    {
        QFETCH(qint64, length);
        QFETCH(quint32, numerator);
        QFETCH(quint32, denominator);
        QFETCH(double, seconds);
        StreamDescription stream;
        stream.length = length;
        stream.timeBaseNumerator = numerator;
        stream.timeBaseDenominator = denominator;
        QCOMPARE(stream.seconds(), seconds);
    }

    void everyKindHasAText()
    {
        using Kind = StreamDescription::Kind;
        QStringList texts;
        for (const Kind kind : {Kind::Video, Kind::Audio, Kind::Text, Kind::Midi, Kind::Other}) {
            StreamDescription stream;
            stream.kind = kind;
            texts.append(stream.kindText());
        }
        QCOMPARE(texts.join(QLatin1Char(' ')), QStringLiteral("video audio subtitles MIDI other"));
        QCOMPARE(StreamDescription().kindText(), QStringLiteral("other"));
    }
};

QTEST_APPLESS_MAIN(TestDescribingSink)
#include "tst_describingsink.moc"
