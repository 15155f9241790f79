// Files in which all is well have no finding above a note. QUENLOFAR_SEED tries one seed alone.
#include "judging.h"
#include "randomfilm.h"

#include <QTest>

#include <set>

using namespace quenlofar;

namespace {

constexpr quint32 seedCount = 250;

/// What is found above a note; empty where all is well.
QString complaints(const film::Verdict &verdict)
{
    QStringList texts;
    for (const Finding &finding : verdict.findings()) {
        if (finding.severity > Severity::Note)
            texts.append(QStringLiteral("%1 of stream %2 at %3: %4 > %5")
                             .arg(finding.rule)
                             .arg(finding.stream)
                             .arg(finding.places.front().offset)
                             .arg(finding.expected, finding.actual));
    }
    return texts.join(QStringLiteral("; "));
}

} // namespace

class TestValidFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingAboveANote()
    {
        bool isGiven = false;
        const quint32 given = quint32(qEnvironmentVariableIntValue("QUENLOFAR_SEED", &isGiven));
        CheckOptions options;
        options.level = Level::Deep;
        for (quint32 seed = isGiven ? given : 0; seed < (isGiven ? given + 1 : seedCount); ++seed) {
            const film::RandomFilm made(seed);
            const film::Verdict verdict(made.bytes(), options);
            const QByteArray what = QStringLiteral("seed %1: %2: ").arg(seed).arg(made.text()).toUtf8();
            QVERIFY2(verdict.isComplete, what.constData());
            QVERIFY2(complaints(verdict).isEmpty(), (what + complaints(verdict).toUtf8()).constData());
            QVERIFY2(verdict.problem().isEmpty(), (what + verdict.problem().toUtf8()).constData());
            // Nothing is passed over, and the indexes have every chunk.
            QVERIFY2(verdict.layout().damages.empty() && verdict.layout().packets.size() > 0, what.constData());
            for (quint64 index = 0; index < verdict.layout().packets.size(); ++index)
                QVERIFY2((verdict.layout().packets.at(index).knownBy & ~KnownFromData) != 0, what.constData());
        }
    }

    // The files are different enough for the property to say something.
    void filesAreOfManyKinds()
    {
        std::set<QString> words;
        for (quint32 seed = 0; seed < seedCount; ++seed) {
            for (const QString &word : film::RandomFilm(seed).text().split(QLatin1Char(' ')))
                words.insert(word.section(QLatin1Char('@'), 0, 0));
        }
        for (const char *word :
             {"idx1", "idx1-from-file", "OpenDML", "OpenDML+idx1", "index-in-strl", "1-segments", "2-segments",
              "3-segments", "rec", "raw", "MJPG", "XVID", "HFYU", "PCM", "MP3", "MP3-bytes", "text"})
            QVERIFY2(words.count(QString::fromLatin1(word)) == 1, word);
    }
};

QTEST_APPLESS_MAIN(TestValidFiles)
#include "tst_validfiles.moc"
