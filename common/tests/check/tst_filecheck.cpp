// Verdicts, what filters and decisions do to findings, and where findings stand in the tree.
#include "filecheck.h"
#include "findingpaths.h"

#include <QDir>
#include <QTemporaryFile>
#include <QTest>

#include <vector>

using namespace quenlofar;

namespace {

constexpr Rule rows[] = {
    {u"top", {Severity::Error, Severity::Warning}, Level::Quick, Repair::None, {}, {}, {}, {}, {}},
    {u"middle", {Severity::Error, Severity::Warning, Severity::Note}, Level::Quick, Repair::None, {}, {}, {}, {}, {}},
    {u"low", {Severity::Error, Severity::Warning, Severity::Note}, Level::Quick, Repair::None, {}, {}, {}, {}, {}},
};
constexpr const Rule *rules[] = {&rows[0], &rows[1], &rows[2]};
constexpr QStringView tops[] = {u"top"};
constexpr QStringView middles[] = {u"middle"};
constexpr QStringView lows[] = {u"low"};
constexpr CauseRow causeRows[] = {{tops, middles, CauseScope::File}, {middles, lows, CauseScope::File}};

/// What an analyzer is to find.
struct Script
{
    std::vector<std::pair<int, Severity>> findings; ///< ordinal of the rule
    AnalysisResult result;
    Recognition recognition = Recognition::Yes;
    bool sawAll = true;
};

class ScriptedAnalyzer : public ContainerAnalyzer
{
public:
    explicit ScriptedAnalyzer(const Script &script)
        : m_script(script), m_references(m_packets), m_regions(m_packets) { }

    Recognition recognises(ByteSource &source) override
    {
        char byte = 0;
        return source.readAt(0, &byte, 1) == 1 ? m_script.recognition : Recognition::No;
    }
    AnalysisResult read(ByteSource &source, const AnalysisOptions &) override
    {
        char byte = 0;
        source.readAt(0, &byte, 1);
        return m_script.result;
    }
    const PacketTable &packets() const override { return m_packets; }
    const ReferenceTable &references() const override { return m_references; }
    const RegionTable &regions() const override { return m_regions; }
    RuleList rules() const override { return {::rules, 3}; }
    bool check(const CheckOptions &, Findings &findings) override
    {
        findings.begin(rules(), causeRows, 100);
        for (int ordinal = 0; ordinal < 3; ++ordinal) {
            findings.beginRule(ordinal);
            int stream = 0;
            for (const auto &[rule, severity] : m_script.findings) {
                if (rule == ordinal)
                    findings.add(ByteRange{3, 1}, stream++).severity(severity).expected(1).actual(2);
            }
        }
        return m_script.sawAll;
    }

private:
    const Script m_script;
    PacketTable m_packets;
    ReferenceTable m_references;
    RegionTable m_regions;
};

QVector<ParserFactory> parsersOf(const Script &script, const QStringList &extensions = {})
{
    ParserFactory parser;
    parser.containerName = QStringLiteral("Scripted");
    parser.extensions = extensions;
    parser.createAnalyzer = [script] { return std::make_unique<ScriptedAnalyzer>(script); };
    return {parser};
}

/// "top middle<1 low<2!": names, what explains them, and a mark for what does not count.
QString shortList(const FileCheck &check)
{
    QStringList texts;
    for (const JudgedFinding &finding : check.findings) {
        texts.append(finding.rule + (finding.causedBy > 0 ? QStringLiteral("<%1").arg(finding.causedBy) : QString())
                     + (finding.suppressed.isEmpty() ? QString() : QStringLiteral("!")));
    }
    return texts.join(QLatin1Char(' '));
}

} // namespace

class TestFileCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_file.open());
        m_file.write("0123456789");
        m_file.close();
    }

    void verdicts_data()
    {
        QTest::addColumn<QVector<int>>("severities");
        QTest::addColumn<QString>("verdict");
        QTest::addColumn<QString>("counts");
        const int error = int(Severity::Error);
        const int warning = int(Severity::Warning);
        const int note = int(Severity::Note);
        QTest::newRow("nothing") << QVector<int>{} << "conforms" << QString();
        QTest::newRow("notes alone") << QVector<int>{note, note} << "conforms"
                                     << "2 notes";
        QTest::newRow("a warning") << QVector<int>{note, warning} << "warnings"
                                   << "1 warning, 1 note";
        QTest::newRow("an error, wherever it stands") << QVector<int>{note, warning, error} << "damaged"
                                                      << "1 error, 1 warning, 1 note";
    }
    void verdicts()
    {
        QFETCH(QVector<int>, severities);
        Script script;
        for (const int severity : severities)
            script.findings.emplace_back(2, Severity(severity));
        const FileCheck check = judged(script);
        QTEST(verdictText(check.verdict), "verdict");
        QTEST(countsText(check.counts), "counts");
    }

    void whatWasNotSeenIsUnknown()
    {
        Script script;
        script.result.isLimited = true;
        FileCheck check = judged(script);
        QCOMPARE(check.verdict, Verdict::Unknown);
        QCOMPARE(check.result.limit, RunLimit::Structure);
        // But what was seen is damaged all the same.
        script.findings = {{0, Severity::Error}};
        QCOMPARE(judged(script).verdict, Verdict::Damaged);
        script = Script();
        script.sawAll = false;
        check = judged(script);
        QCOMPARE(check.verdict, Verdict::Unknown);
        QCOMPARE(check.result.error.kind, FileError::Memory);
    }

    void filters_data()
    {
        QTest::addColumn<QStringList>("only");
        QTest::addColumn<QStringList>("except");
        QTest::addColumn<QString>("expected");
        QTest::newRow("none") << QStringList{} << QStringList{} << "top middle<1 low<2";
        QTest::newRow("without the middle: what is below moves up")
            << QStringList{} << QStringList{QStringLiteral("middle")} << "top low<1";
        QTest::newRow("without the top") << QStringList{} << QStringList{QStringLiteral("top")} << "middle low<1";
        QTest::newRow("the lowest alone") << QStringList{QStringLiteral("low")} << QStringList{} << "low";
    }
    void filters()
    {
        QFETCH(QStringList, only);
        QFETCH(QStringList, except);
        Script script;
        script.findings = {{0, Severity::Error}, {1, Severity::Error}, {2, Severity::Error}};
        CheckSettings settings;
        settings.only = only;
        settings.except = except;
        QTEST(shortList(judged(script, settings)), "expected");
    }

    void decisions()
    {
        QString error;
        CheckSettings settings;
        settings.policy = *Policy::parse(R"({"rules":[{"rule":"top","severity":"off","reason":"known"},
                                                      {"rule":"low","severity":"error","reason":"strict"}]})",
                                         &error);
        Script script;
        script.findings = {{0, Severity::Error}, {1, Severity::Warning}, {2, Severity::Note}};
        const FileCheck check = judged(script, settings);
        QCOMPARE(shortList(check), QStringLiteral("top! middle<1 low<2"));
        QCOMPARE(check.counts.error, 1);
        QCOMPARE(check.counts.suppressed, 1);
        QCOMPARE(check.findings[2].severityReason, QStringLiteral("strict"));
        QCOMPARE(check.ruleCount(RuleState::SwitchedOff), 1);
        QCOMPARE(check.ruleCount(RuleState::Failed), 2);
    }

    void theWorstCauseComesFirst()
    {
        // The first top is a warning; below the second, a warning too, stands an error.
        Script script;
        script.findings = {{1, Severity::Warning}, {0, Severity::Warning}, {2, Severity::Note}};
        FileCheck check = judged(script);
        QCOMPARE(shortList(check), QStringLiteral("top middle<1 low<2"));
        QCOMPARE(check.causes(Severity::Warning).size(), size_t(1));
        QCOMPARE(check.causes(Severity::Error).size(), size_t(0));
        check.findings[2].severity = Severity::Error;
        check.findings[1].causedBy = 0; // a top of its own now, with the error below it
        const std::vector<const JudgedFinding *> causes = check.causes(Severity::Warning);
        QCOMPARE(causes.size(), size_t(2));
        QCOMPARE(causes[0]->rule, QStringLiteral("middle"));
        QCOMPARE(causes[1]->rule, QStringLiteral("top"));
    }

    void aFileThatCannotBeReadIsNotJustUnknown()
    {
        class FailingSource final : public ByteSource
        {
        public:
            qint64 size() const override { return 100; }
            qint64 readAt(qint64, char *, qint64) override { return -1; }
            QString errorText() const override { return QStringLiteral("the disk is old"); }
        };
        FileAnalysis analysis({}, nullptr, nullptr);
        analysis.setOpener([](const QString &, QString *) { return std::make_unique<FailingSource>(); });
        analysis.read(m_file.fileName(), parsersOf({}), Level::Default);
        QVERIFY(!analysis.analyzer());
        QCOMPARE(analysis.result().status, int(StatusReadError));
        QCOMPARE(analysis.result().error.message, QStringLiteral("the disk is old"));
    }

    void partsCountWhereTheExtensionIsClaimed()
    {
        Script script;
        script.recognition = Recognition::Parts;
        FileAnalysis analysis({}, nullptr, nullptr);
        analysis.read(m_file.fileName(), parsersOf(script), Level::Default);
        QVERIFY(!analysis.analyzer());
        const QString suffix = m_file.fileName().section(QLatin1Char('.'), -1);
        analysis.read(m_file.fileName(), parsersOf(script, {suffix.toUpper()}), Level::Default);
        QVERIFY(analysis.analyzer());
        QCOMPARE(analysis.start().container, QStringLiteral("Scripted"));
        // One that knows the whole file comes before one that knows parts of it.
        QVector<ParserFactory> parsers = parsersOf(script, {suffix});
        parsers += parsersOf({});
        parsers.last().containerName = QStringLiteral("Other");
        analysis.read(m_file.fileName(), parsers, Level::Default);
        QCOMPARE(analysis.start().container, QStringLiteral("Other"));
    }

    void paths()
    {
        // A root of 100 bytes with a field of four, a list of 20 that claims 8, and a field in it.
        PlacePaths paths({{0, 4}, {1, 1}, {10, 12}, {12, 1}, {60, 1}, {200, 1}, {2, 4}});
        QVERIFY(paths.beginElement(0, 100, u"root", -1));
        addField(paths, 0, 4, u"head");
        paths.beginElement(10, 8, u"list", -1);
        addField(paths, 12, 1, u"inner");
        paths.endElement();
        paths.beginElement(10, 8, u"list", -1);
        paths.endElement();
        paths.endElement();
        QCOMPARE(paths.path(0), QStringLiteral("root/head"));
        QCOMPARE(paths.path(1), QStringLiteral("root/head"));
        QCOMPARE(paths.path(2), QStringLiteral("root/list")); // begins there, though it is shorter than the place
        QCOMPARE(paths.path(3), QStringLiteral("root/list/inner"));
        QCOMPARE(paths.path(4), QStringLiteral("root")); // a gap
        QCOMPARE(paths.path(5), QString()); // outside
        QCOMPARE(paths.path(6), QStringLiteral("root")); // no field holds all of it
    }

    void pathsEndTheWalkEarly()
    {
        PlacePaths paths({{0, 4}});
        QVERIFY(paths.beginElement(0, 100, u"root", -1));
        QVERIFY(!addField(paths, 0, 4, u"head"));
    }

private:
    FileCheck judged(const Script &script, const CheckSettings &settings = {})
    {
        FileAnalysis analysis({}, nullptr, nullptr);
        analysis.read(m_file.fileName(), parsersOf(script), Level::Default);
        return judge(analysis, settings);
    }
    static bool addField(PlacePaths &paths, quint64 offset, quint64 size, QStringView name)
    {
        return paths.addField({false, 0, offset, size, -1, name, u"1", {}, {}});
    }

    QTemporaryFile m_file{QDir::tempPath() + QStringLiteral("/quenlofar-XXXXXX.scr")};
};

QTEST_GUILESS_MAIN(TestFileCheck)
#include "tst_filecheck.moc"
