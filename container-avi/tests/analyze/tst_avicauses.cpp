#include "avirules.h"

#include <QTest>

#include <algorithm>
#include <map>
#include <set>
#include <vector>

using namespace quenlofar;

namespace {

constexpr quint64 fileSize = 1000000;

/// Rules with these names, in the order of their evaluation.
class NamedRules
{
public:
    explicit NamedRules(const QStringList &names) : m_names(names)
    {
        m_rows.reserve(size_t(names.size()));
        for (const QString &name : m_names) {
            m_rows.push_back({name, Severity::Error, Level::Quick, Repair::None, {}, {}, {}, {}, {}});
            m_rules.push_back(&m_rows.back());
        }
    }
    RuleList list() const { return {m_rules.data(), int(m_rules.size())}; }

private:
    QStringList m_names;
    std::vector<Rule> m_rows;
    std::vector<const Rule *> m_rules;
};

/// Whether what `cause` finds explains what `effect` finds.
bool isCaused(const QString &cause, const Occurrence &first, const QString &effect, const Occurrence &second)
{
    const NamedRules rules({cause, effect});
    Findings findings;
    findings.begin(rules.list(), aviCauses(), fileSize);
    findings.beginRule(0);
    findings.add(first);
    findings.beginRule(1);
    findings.add(second);
    return findings.list()[1].causedBy == 1;
}

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

const Occurrence ofFile{{100, 4}, -1, {}};
const Occurrence ofStream{{100, 4}, 1, {}};
const Occurrence ofOtherStream{{200, 4}, 0, {}};
const Occurrence within{{300, 4}, 1, {50000, 10}};
const Occurrence elsewhere{{300, 4}, 1, {90000, 10}};
const Occurrence hole{{50000, 100}, -1, {}};

} // namespace

class TestAviCauses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rows_data()
    {
        QTest::addColumn<QString>("causes");
        QTest::addColumn<QString>("effects");
        QTest::addColumn<int>("scope");
        const auto row = [](const char *name, const char *causes, const char *effects, CauseScope scope) {
            QTest::newRow(name) << QString::fromLatin1(causes) << QString::fromLatin1(effects) << int(scope);
        };
        row("bytes that are missing or cannot be read explain counts, lengths, indexes, durations and interleaving",
            "riff-beyond-file size-open last-chunk-cut segment-missing foreign-bytes zero-bytes chunk-swallows-others "
            "pad-missing movi-stale undeclared-stream child-beyond-parent riff-too-short",
            "frame-count total-frame-count stream-length stream-empty durations-differ interleave-distance "
            "interleave-flag super-duration idx1-size idx1-base idx1-base-unknown idx1-no-such-chunk idx1-chunk-size "
            "idx1-chunk-not-indexed idx1-duplicate idx1-order idx1-no-key-frame idx1-first-not-key "
            "super-no-such-index super-entry-size std-no-such-chunk std-base-beyond-file std-chunk-size "
            "odml-chunk-not-indexed indexes-differ std-span field-offset index-entry-count avix-without-indx",
            CauseScope::Concerned);
        row("so does data that no reader finds, or finds elsewhere",
            "riff-missing size-wrapped hdrl-missing movi-count fourcc-not-ascii chunk-kind list-in-movi "
            "riff-later-form",
            "frame-count stream-length stream-empty durations-differ idx1-no-such-chunk std-no-such-chunk",
            CauseScope::Concerned);
        row("data that is incomplete has no end", "last-chunk-cut foreign-bytes zero-bytes chunk-swallows-others",
            "jpeg-markers mp3-chunk-start zero-hole coded-start", CauseScope::Concerned);
        row("a file that ends early has no index", "riff-beyond-file size-open last-chunk-cut segment-missing",
            "index-missing index-flag-without-index", CauseScope::File);
        row("nor what stands behind its end", "riff-beyond-file size-open",
            "last-chunk-cut pad-missing child-beyond-parent hdrl-missing movi-count", CauseScope::Concerned);
        row("an index that is missing was promised", "index-missing", "index-flag-without-index", CauseScope::File);
        row("bytes that were put in make lists too short", "foreign-bytes zero-bytes",
            "riff-too-short child-beyond-parent", CauseScope::Concerned);
        row("and with a RIFF list what is in it", "riff-too-short", "child-beyond-parent", CauseScope::Concerned);
        row("sizes that wrapped are those of large lists", "size-wrapped",
            "riff-over-2gib riff-too-short child-beyond-parent trailing-bytes", CauseScope::File);
        row("without their headers chunks are strange", "hdrl-missing stream-count",
            "undeclared-stream chunk-kind index-stream-differs odml-chunk-not-indexed", CauseScope::Concerned);
        row("where headers stood is something else", "riff-beyond-file foreign-bytes zero-bytes child-beyond-parent",
            "hdrl-missing stream-count strh-missing strf-missing movi-count", CauseScope::Concerned);
        row("without the header list its other headers are missing", "hdrl-missing", "dmlh-missing avix-without-indx",
            CauseScope::File);
        row("a second file brings its own headers", "riff-later-form", "riff-later-content dmlh-missing",
            CauseScope::Concerned);
        row("a list that is left over is one too many", "movi-stale", "movi-count", CauseScope::Concerned);
        row("without a time base nothing has a time", "time-base-zero sample-size block-align-zero",
            "stream-length byte-rate frame-duration durations-differ", CauseScope::Stream);
        row("other numbers are held against the size of a block", "pcm-block-align",
            "sample-size pcm-byte-rate pcm-chunk-align", CauseScope::Stream);
        row("with a wrong base no entry of idx1 can be judged", "idx1-base idx1-base-unknown",
            "idx1-no-such-chunk idx1-chunk-size idx1-chunk-not-indexed idx1-duplicate idx1-order idx1-no-key-frame "
            "idx1-first-not-key idx1-list-flag idx1-key-flag-differs idx1-empty-key-frame idx1-audio-not-key "
            "idx1-beyond-first-riff",
            CauseScope::Concerned);
        row("an entry that points elsewhere leaves its chunk out", "idx1-no-such-chunk idx1-duplicate",
            "idx1-chunk-not-indexed idx1-no-key-frame idx1-first-not-key", CauseScope::Stream);
        row("and is out of order", "idx1-no-such-chunk idx1-duplicate", "idx1-order use-index-flag indexes-differ",
            CauseScope::File);
        row("a chunk whose id was damaged is not found", "unknown-chunk", "idx1-no-such-chunk std-no-such-chunk",
            CauseScope::Concerned);
        row("and is missing in the stream of which an index has it", "unknown-chunk",
            "frame-count total-frame-count stream-length stream-empty durations-differ super-duration",
            CauseScope::Stream);
        row("standard indexes that cannot be used", "std-base-beyond-file std-no-such-chunk super-no-such-index",
            "odml-chunk-not-indexed super-duration", CauseScope::Stream);
    }

    void rows()
    {
        QFETCH(QString, causes);
        QFETCH(QString, effects);
        QFETCH(int, scope);
        for (const QString &cause : causes.split(QLatin1Char(' '))) {
            for (const QString &effect : effects.split(QLatin1Char(' '))) {
                if (cause == effect)
                    continue;
                const QByteArray pair = (cause + QStringLiteral(" -> ") + effect).toUtf8();
                QVERIFY2(isCaused(cause, ofStream, effect, ofStream), pair.constData());
                QVERIFY2(!isCaused(effect, ofStream, cause, ofStream), pair.constData());
                if (CauseScope(scope) != CauseScope::Concerned)
                    QCOMPARE(isCaused(cause, ofStream, effect, ofOtherStream), CauseScope(scope) == CauseScope::File);
                if (CauseScope(scope) != CauseScope::Concerned)
                    continue;
                // What it is about decides; without a range, the stream.
                QVERIFY2(isCaused(cause, hole, effect, within), pair.constData());
                QVERIFY2(isCaused(cause, ofFile, effect, ofStream), pair.constData());
            }
        }
    }

    void rangesAndStreamsDecide()
    {
        const auto caused = [](const char *cause, const Occurrence &first, const char *effect,
                               const Occurrence &second) {
            return isCaused(QString::fromLatin1(cause), first, QString::fromLatin1(effect), second);
        };
        QVERIFY(caused("foreign-bytes", hole, "idx1-no-such-chunk", within));
        QVERIFY(!caused("foreign-bytes", hole, "idx1-no-such-chunk", elsewhere));
        QVERIFY(caused("last-chunk-cut", ofStream, "stream-length", ofStream));
        QVERIFY(!caused("last-chunk-cut", ofStream, "stream-length", ofOtherStream));
        QVERIFY(caused("last-chunk-cut", ofStream, "frame-count", ofFile));
        QVERIFY(!caused("unknown-chunk", ofFile, "frame-count", ofStream)); // no index has it as data
    }

    // What explains much must not explain everything.
    void thingsThatStandOnTheirOwn_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::addColumn<QString>("effect");
        const auto row = [](const char *cause, const char *effect) {
            QTest::newRow(qPrintable(QString::fromLatin1(cause) + QStringLiteral(" -> ") + QString::fromLatin1(effect)))
                << QString::fromLatin1(cause) << QString::fromLatin1(effect);
        };
        row("foreign-bytes", "index-missing");
        row("zero-bytes", "index-missing");
        row("chunk-swallows-others", "index-flag-without-index");
        row("riff-beyond-file", "riff-form-unusual");
        row("size-open", "picture-size");
        row("size-open", "frame-duration");
        row("foreign-bytes", "pcm-byte-rate");
        row("idx1-base", "stream-length");
        row("idx1-no-such-chunk", "frame-count");
        row("unknown-chunk", "idx1-chunk-size");
        row("unknown-chunk", "idx1-base");
        row("time-base-zero", "frame-count");
        row("trailing-bytes", "frame-count");
        row("buffer-too-small", "stream-buffer-too-small");
        row("frame-count", "stream-length");
        row("avih-size", "stream-count");
    }

    void thingsThatStandOnTheirOwn()
    {
        QFETCH(QString, cause);
        QFETCH(QString, effect);
        QVERIFY(!isCaused(cause, ofStream, effect, ofStream));
        QVERIFY(!isCaused(cause, ofFile, effect, ofFile));
    }

    void theEarliestCauseWins()
    {
        const NamedRules rules(words("riff-beyond-file foreign-bytes idx1-base idx1-no-such-chunk"));
        Findings findings;
        findings.begin(rules.list(), aviCauses(), fileSize);
        for (int rule = 0; rule < 4; ++rule) {
            findings.beginRule(rule);
            findings.add(ofFile);
        }
        std::vector<int> causes;
        for (const Finding &finding : findings.list())
            causes.push_back(finding.causedBy);
        QCOMPARE(causes, (std::vector<int>{0, 0, 1, 1}));
    }

    void noCauseExplainsItself()
    {
        std::map<QString, std::set<QString>> effects;
        for (const CauseRow &row : aviCauses()) {
            for (const QStringView cause : row.causes) {
                for (const QStringView effect : row.effects) {
                    if (cause != effect) // side by side in a row, which Findings passes over
                        effects[cause.toString()].insert(effect.toString());
                }
            }
        }
        for (const auto &[start, first] : effects) {
            std::set<QString> reached = first;
            std::vector<QString> open(first.begin(), first.end());
            while (!open.empty()) {
                const QString name = open.back();
                open.pop_back();
                for (const QString &next : effects[name]) {
                    if (reached.insert(next).second)
                        open.push_back(next);
                }
            }
            QVERIFY2(reached.count(start) == 0, qPrintable(start));
        }
    }

    // A name without a rule explains nothing, and nobody would notice.
    void everyNameIsThatOfARule()
    {
        const RuleList rules = aviRules();
        for (const CauseRow &row : aviCauses()) {
            for (const RuleNames &names : {row.causes, row.effects}) {
                for (const QStringView name : names) {
                    QVERIFY2(rules.find(name) >= 0, qPrintable(name.toString()));
                }
            }
        }
    }

    // A cause that is evaluated later than what it should explain explains nothing either.
    void causesAreEvaluatedBeforeTheirEffects()
    {
        const RuleList rules = aviRules();
        const auto position = [&rules](QStringView name) {
            const int ordinal = rules.find(name);
            return std::make_pair(int(aviRule(ordinal).stage), ordinal);
        };
        std::set<QString> late;
        for (const CauseRow &row : aviCauses()) {
            for (const QStringView cause : row.causes) {
                for (const QStringView effect : row.effects) {
                    if (cause != effect && position(cause) > position(effect))
                        late.insert(cause.toString() + QStringLiteral(" -> ") + effect.toString());
                }
            }
        }
        QVERIFY2(late.empty(), qPrintable(QStringList(late.begin(), late.end()).join(QStringLiteral(", "))));
    }
};

QTEST_APPLESS_MAIN(TestAviCauses)
#include "tst_avicauses.moc"
