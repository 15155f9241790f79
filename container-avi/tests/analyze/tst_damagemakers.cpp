#include "avirules.h"
#include "damagemakers.h"
#include "finding.h"
#include "wholefiles.h"

#include <QTest>

using namespace quenlofar;

namespace {

/// What is found, as "rule" or "rule:2" for a stream; those without a cause.
struct Found
{
    explicit Found(const QByteArray &bytes)
    {
        AviAnalyzer analyzer;
        const std::unique_ptr<ByteSource> source = memorySource(bytes);
        analyzer.read(*source, {});
        Findings findings;
        analyzer.check({}, findings);
        for (const Finding &finding : findings.list()) {
            const QString name =
                finding.stream < 0 ? finding.rule : QStringLiteral("%1:%2").arg(finding.rule).arg(finding.stream);
            all.append(name);
            if (finding.causedBy != 0)
                continue;
            rules.append(finding.rule);
            if (finding.severity > Severity::Note)
                top.append(name);
        }
    }

    QStringList all; ///< names of all findings
    QStringList rules; ///< of those without a cause
    QStringList top; ///< names of those without a cause, above a note
};

} // namespace

class TestDamageMakers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void damagesAreFound_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QStringList>("known");
        const std::vector<damage::Damage> all = damage::allDamages();
        QVERIFY(all.size() >= 60);
        std::vector<int> uses(all.size());
        for (const damage::Whole &whole : damage::wholes) {
            const QByteArray bytes = damage::bytesOf(whole);
            if (bytes.isEmpty()) {
                qInfo("%s is not there: its damages are not tried", whole.name);
                continue;
            }
            const damage::File file(bytes);
            // What is wrong with the whole file, truly, is no effect of the damage.
            const QStringList known = Found(bytes).all;
            for (size_t number = 0; number < all.size(); ++number) {
                const QByteArray damaged = all[number].make(file);
                if (damaged.isEmpty() || damaged == bytes)
                    continue;
                ++uses[number];
                QTest::addRow("%s: %s", whole.name, all[number].name)
                    << damaged << QString::fromLatin1(all[number].rule) << known;
            }
        }
        for (size_t number = 0; number < all.size(); ++number)
            QVERIFY2(uses[number] > 0, all[number].name);
    }

    void damagesAreFound()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, rule);
        QFETCH(QStringList, known);
        const Found found(bytes);
        QVERIFY2(found.rules.contains(rule), qPrintable(found.all.join(QLatin1Char(' '))));
        QStringList top = found.top;
        for (const QString &name : known)
            top.removeAll(name);
        QVERIFY2(top.size() <= 3, qPrintable(top.join(QLatin1Char(' '))));
    }
};

QTEST_APPLESS_MAIN(TestDamageMakers)
#include "tst_damagemakers.moc"
