#include "finding.h"

#include <QTest>

using namespace quenlofar;

namespace {

constexpr Rule hole{u"hole", Severity::Error, Level::Quick, Repair::Patch, {}, {}, {}, {}, {}};
constexpr Rule clock{u"clock", Severity::Error, Level::Quick, Repair::Patch, {}, {}, {}, {}, {}};
constexpr Rule miss{
    u"miss", {Severity::Error, Severity::Warning, Severity::Note}, Level::Default, Repair::Append, {}, {}, {}, {}, {}};
constexpr Rule length{u"length", {Severity::Error, Severity::Warning}, Level::Default, Repair::Patch, {}, {}, {}, {},
                      {}};
constexpr const Rule *ruleRows[] = {&hole, &clock, &miss, &length};
enum Ordinal { Hole, Clock, Miss, Length };

constexpr QStringView holes[] = {u"hole"};
constexpr QStringView counts[] = {u"miss", u"length"};
constexpr QStringView clocks[] = {u"clock"};
constexpr QStringView lengths[] = {u"length"};
constexpr CauseRow causes[] = {
    {holes, counts, CauseScope::Concerned},
    {clocks, lengths, CauseScope::Stream},
};
constexpr CauseRow wholeFileCauses[] = {{clocks, counts, CauseScope::File}};

const RuleList rules(ruleRows, 4);

/// "1 hole; 2 miss < 1 x3"
QString shortList(const Findings &findings)
{
    QStringList texts;
    for (const Finding &finding : findings.list()) {
        QString text = QStringLiteral("%1 %2").arg(finding.id).arg(finding.rule);
        if (finding.causedBy != 0)
            text += QStringLiteral(" < %1").arg(finding.causedBy);
        if (finding.count > 1)
            text += QStringLiteral(" x%1").arg(finding.count);
        texts.append(text);
    }
    return texts.join(QStringLiteral("; "));
}

} // namespace

class TestFindings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rulesRunPassOrFail()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Hole);
        findings.beginRule(Miss);
        findings.add(ByteRange{10, 4});
        QCOMPARE(findings.ruleStates(),
                 (std::vector<RuleState>{RuleState::Passed, RuleState::NotApplicable, RuleState::Failed,
                                         RuleState::NotApplicable}));
        QVERIFY(findings.has(u"miss"));
        QVERIFY(!findings.has(u"miss", 0));
        QVERIFY(!findings.has(u"hole"));
    }

    void aFindingHasWhatTheRuleSays()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Miss);
        FindingDraft draft = findings.add(ByteRange{10, 4}, 2);
        QVERIFY(draft.isNew());
        draft.expected(7).actual(quint64(5000000000)).message(QStringLiteral("%1 of these."));
        const Finding &finding = findings.list().front();
        QCOMPARE(finding.id, 1);
        QCOMPARE(finding.rule, QStringLiteral("miss"));
        QCOMPARE(finding.severity, Severity::Error);
        QCOMPARE(finding.confidence, Confidence::Certain);
        QCOMPARE(finding.repair, Repair::Append);
        QCOMPARE(finding.stream, 2);
        QCOMPARE(finding.count, quint64(1));
        QCOMPARE(finding.places, (std::vector<ByteRange>{{10, 4}}));
        QCOMPARE(finding.expected, QStringLiteral("7"));
        QCOMPARE(finding.actual, QStringLiteral("5000000000"));
        QCOMPARE(finding.message, QStringLiteral("1 of these."));
    }

    void likeFindingsAreCounted()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Miss);
        for (int i = 0; i < 5; ++i) {
            FindingDraft draft = findings.add(ByteRange{quint64(10 * i), 4});
            QCOMPARE(draft.isNew(), i == 0);
            draft.severity(i == 1 ? Severity::Warning : Severity::Note)
                .confidence(i == 2 ? Confidence::Likely : Confidence::Certain)
                .expected(i)
                .message(QStringLiteral("%1 times"));
        }
        findings.add(ByteRange{70, 4}, 1);
        QCOMPARE(shortList(findings), QStringLiteral("1 miss x5; 2 miss"));
        const Finding &finding = findings.list().front();
        QCOMPARE(finding.places, (std::vector<ByteRange>{{0, 4}, {10, 4}, {20, 4}}));
        QCOMPARE(finding.severity, Severity::Warning);
        QCOMPARE(finding.confidence, Confidence::Likely);
        QCOMPARE(finding.expected, QStringLiteral("0"));
        QCOMPARE(finding.message, QStringLiteral("5 times"));
        findings.add(ByteRange{80, 4}).andMore(10, {{90, 1}}); // an error, as the rule says by itself
        QCOMPARE(findings.list().front().count, quint64(16));
        QCOMPARE(findings.list().front().severity, Severity::Error);
        QCOMPARE(findings.list().front().message, QStringLiteral("16 times"));
    }

    void countedAtOnce()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Length);
        findings.add(ByteRange{1, 1}).andMore(9, {{2, 1}, {3, 1}, {4, 1}}).severity(Severity::Warning);
        QCOMPARE(findings.list().front().count, quint64(10));
        QCOMPARE(findings.list().front().places, (std::vector<ByteRange>{{1, 1}, {2, 1}, {3, 1}}));
        QCOMPARE(findings.list().front().severity, Severity::Warning);
    }

    void causesAreWhereTheFindingIs()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Hole);
        findings.add(ByteRange{100, 50});
        findings.add(ByteRange{300, 50}).explains({700, 10});
        findings.beginRule(Miss);
        findings.add(Occurrence{{900, 16}, 0, {140, 20}}); // points into the first hole
        findings.add(Occurrence{{916, 16}, 0, {150, 20}}); // behind it
        findings.add(Occurrence{{932, 16}, 0, {709, 1}});
        findings.add(Occurrence{{948, 16}, 0, {349, 1}});
        QCOMPARE(shortList(findings), QStringLiteral("1 hole x2; 2 miss < 1 x3; 3 miss"));
    }

    void causesWithoutARangeGoByStream()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Hole);
        findings.add(ByteRange{100, 50}, 1);
        findings.beginRule(Clock);
        findings.add(ByteRange{20, 4}, 0);
        findings.beginRule(Length);
        findings.add(ByteRange{30, 4}, 0);
        findings.add(ByteRange{40, 4}, 1);
        findings.add(ByteRange{50, 4}, 2);
        findings.add(ByteRange{60, 4}); // of the whole file
        QCOMPARE(shortList(findings),
                 QStringLiteral("1 hole; 2 clock; 3 length < 2; 4 length < 1; 5 length; 6 length < 1"));
    }

    void aHoleMayExplainEveryStream()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Hole);
        findings.add(ByteRange{100, 50}, 1).explainsAllStreams();
        findings.beginRule(Length);
        findings.add(ByteRange{50, 4}, 2);
        QCOMPARE(shortList(findings), QStringLiteral("1 hole; 2 length < 1"));
    }

    void aCauseMayExplainTheWholeFile()
    {
        Findings findings;
        findings.begin(rules, wholeFileCauses, 1000);
        findings.beginRule(Clock);
        findings.add(ByteRange{20, 4}, 0);
        findings.beginRule(Length);
        findings.add(ByteRange{30, 4}, 1);
        findings.add(Occurrence{{40, 4}, 2, {500, 10}});
        QCOMPARE(shortList(findings), QStringLiteral("1 clock; 2 length < 1; 3 length < 1"));
    }

    void mendsAreInsideTheFileAndAsWideAsTheirPlace()
    {
        Findings findings;
        findings.begin(rules, causes, 100);
        findings.beginRule(Hole);
        FindingDraft draft = findings.add(ByteRange{90, 4});
        draft.mend({96, 4}, 4, 7).mend({97, 4}, 4, 8).mend({10, 4}, 2, 9).mend({12, 2}, 2, 0x8000, 0x8000);
        const std::vector<Mend> &mends = findings.list().front().mends;
        QCOMPARE(mends.size(), size_t(2));
        QCOMPARE(mends[0].offset, quint64(96));
        QCOMPARE(mends[0].bytes, quint64(7));
        QCOMPARE(int(mends[0].width), 4);
        QCOMPARE(mends[1].offset, quint64(12));
        QCOMPARE(mends[1].mask, quint64(0x8000));
        for (int more = 0; more < 70000; ++more)
            draft.mend({20, 4}, 4, 1);
        QCOMPARE(findings.list().front().mends.size(), Finding::mostMends);
    }

    void whatIsCountedWithTheFirstKeepsItsWords()
    {
        Findings findings;
        findings.begin(rules, causes, 100);
        findings.beginRule(Miss);
        findings.add(ByteRange{1, 1}).expected(quint64(1)).actual(qint64(-2)).repair(Repair::Patch);
        findings.add(ByteRange{2, 1})
            .expected(quint64(3))
            .expected(qint64(3))
            .expected(QStringLiteral("3"))
            .actual(quint64(4))
            .actual(qint64(4))
            .actual(QStringLiteral("4"))
            .repair(Repair::Rewrite);
        const Finding &finding = findings.list().front();
        QCOMPARE(finding.count, quint64(2));
        QCOMPARE(finding.expected, QStringLiteral("1"));
        QCOMPARE(finding.actual, QStringLiteral("-2"));
        QCOMPARE(finding.repair, Repair::Patch);
    }

    void theFirstCauseCounts()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Clock);
        findings.add(ByteRange{20, 4}, 0);
        findings.beginRule(Hole);
        findings.add(ByteRange{100, 50});
        findings.beginRule(Length);
        findings.add(ByteRange{30, 4}, 0);
        QCOMPARE(shortList(findings), QStringLiteral("1 clock; 2 hole; 3 length < 1"));
    }

    void rangesInAnyOrderExplain()
    {
        Findings findings;
        findings.begin(rules, causes, 1000);
        findings.beginRule(Hole);
        for (const quint64 offset : {500U, 100U, 120U, 110U, 300U})
            findings.add(ByteRange{offset, 20});
        findings.beginRule(Miss);
        for (quint64 offset = 0; offset < 600; offset += 10)
            findings.add(Occurrence{{900, 16}, -1, {offset, 5}});
        // 100 to 140 are four places, 300 and 500 two each.
        QCOMPARE(shortList(findings), QStringLiteral("1 hole x5; 2 miss x52; 3 miss < 1 x8"));
    }

    void placesAreInsideTheFile()
    {
        Findings findings;
        findings.begin(rules, causes, 100);
        findings.beginRule(Miss);
        findings.add(ByteRange{90, 20});
        findings.add(ByteRange{200, 20});
        QCOMPARE(findings.list().front().places, (std::vector<ByteRange>{{90, 10}, {99, 1}}));
        findings.begin(rules, causes, 0);
        findings.beginRule(Miss);
        findings.add(ByteRange{200, 20});
        QCOMPARE(findings.list().front().places, (std::vector<ByteRange>{{0, 0}}));
    }

    void whatWasNotCheckedIsToldOnce()
    {
        Findings findings;
        findings.begin(rules, causes, 100);
        findings.notChecked(QStringLiteral("payload"));
        findings.notChecked(QStringLiteral("payload"));
        QCOMPARE(findings.notChecked(), QStringList{QStringLiteral("payload")});
        findings.begin(rules, causes, 100);
        QCOMPARE(findings.notChecked(), QStringList());
    }

    void theListCanBeTaken()
    {
        Findings findings;
        findings.begin(rules, causes, 100);
        findings.beginRule(Miss);
        findings.add(ByteRange{1, 1});
        QCOMPARE(findings.takeList().size(), size_t(1));
        QVERIFY(findings.list().empty());
    }

    void textsStandForTheEnumerations()
    {
        QCOMPARE(levelText(Level::Deep), QStringLiteral("deep"));
        QCOMPARE(repairText(Repair::Rewrite), QStringLiteral("rewrite"));
        QCOMPARE(confidenceText(Confidence::Likely), QStringLiteral("likely"));
        Severity severity = Severity::Note;
        QVERIFY(severityFromText(u"warning", &severity));
        QCOMPARE(severity, Severity::Warning);
        QVERIFY(!severityFromText(u"Warning", &severity));
        Level level = Level::Deep;
        QVERIFY(levelFromText(u"quick", &level));
        QCOMPARE(level, Level::Quick);
        QVERIFY(!levelFromText(u"", &level));
        QCOMPARE(miss.severities.highest(), Severity::Error);
        QVERIFY(!length.severities.contains(Severity::Note));
        QCOMPARE(rules.find(u"length"), int(Length));
        QCOMPARE(rules.find(u"none"), -1);
    }
};

QTEST_APPLESS_MAIN(TestFindings)
#include "tst_findings.moc"
