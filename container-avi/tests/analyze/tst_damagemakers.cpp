#include "avirules.h"
#include "damagemakers.h"
#include "finding.h"
#include "openfilm.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace quenlofar;

namespace {

/// Files of five writers, which have nothing above a note but what `true` says, and built ones.
struct Whole
{
    const char *name;
    QByteArray (*built)(); ///< null for a file of the golden ones
};
constexpr Whole wholes[] = {
    {"ffmpeg-mpeg4-mp3vbr-info-utf8.avi", nullptr},
    {"ffmpeg-raw-bgr24-i420.avi", nullptr},
    {"gstreamer-mjpeg-mp3.avi", nullptr},
    {"mencoder-dx50-pcm16-info-latin1.avi", nullptr},
    {"mencoder-xvid-mp3cbr.avi", nullptr},
    {"dvgrab-dv-type2.avi", nullptr},
    {"yuv2lav-mjpeg.avi", nullptr},
    {"spliced-opendml-avix.avi", nullptr},
    {"small film", [] { return film::file(); }},
    {"film in parts", [] { return film::OpenFilm().bytes(); }},
};

QByteArray bytesOf(const Whole &whole)
{
    if (whole.built)
        return whole.built();
    QFile file(
        QDir(QStringLiteral(QUENLOFAR_SAMPLES_DIR)).filePath(QLatin1String("golden/") + QLatin1String(whole.name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

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
        std::vector<damage::Damage> all = damage::structureDamages();
        for (const std::vector<damage::Damage> &more : {damage::headerDamages(), damage::indexDamages()})
            all.insert(all.end(), more.begin(), more.end());
        QVERIFY(all.size() >= 60);
        std::vector<int> uses(all.size());
        for (const Whole &whole : wholes) {
            const QByteArray bytes = bytesOf(whole);
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
