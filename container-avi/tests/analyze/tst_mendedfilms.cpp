// What other programs read of mended films: the packets, times and counts of the film before it was damaged.
#include "damagemakers.h"
#include "repairing.h"
#include "smallfilm.h"
#include "wholefiles.h"

#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <iterator>

using namespace quenlofar;

namespace {

/// Films of two writers whose streams both programs can tell.
constexpr const char *films[] = {"ffmpeg-mpeg4-mp3vbr-info-utf8.avi", "gstreamer-mjpeg-mp3.avi"};

/// Damages that lose bytes of packets, or whole packets: they are nowhere.
constexpr const char *losses[] = {
    "cut inside of a chunk",
    "cut between two chunks",
    "cut inside of a chunk's header",
    "10 bytes lost inside of a chunk",
    "30 bytes put in inside of a chunk", // and 30 of its own pushed out of it
    "a sector of zeros over a chunk's header",
    "a sector of rubbish over a chunk's header",
};

/// What a program prints; null where it does not end well.
QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(program, arguments);
    constexpr int patience = 60000; // milliseconds
    if (!process.waitForFinished(patience) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return {};
    return process.readAllStandardOutput();
}

bool isThere(const char *program)
{
    return !QStandardPaths::findExecutable(QLatin1String(program)).isEmpty();
}

/// Each packet of each stream with its time, size and digest.
QByteArray packetsFor(const QString &path)
{
    return outputOf(QStringLiteral("ffmpeg"),
                    {QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-i"), path, QStringLiteral("-map"),
                     QStringLiteral("0"), QStringLiteral("-c"), QStringLiteral("copy"), QStringLiteral("-f"),
                     QStringLiteral("framemd5"), QStringLiteral("-")});
}

/// Duration and frame count of the video.
QByteArray countsFor(const QString &path)
{
    return outputOf(QStringLiteral("mediainfo"),
                    {QStringLiteral("--Output=Video;%Duration% ms, %FrameCount% frames"), path});
}

bool hasFinding(const FileCheck &check, const QString &rule)
{
    return std::any_of(check.findings.begin(), check.findings.end(),
                       [&rule](const JudgedFinding &finding) { return finding.rule == rule; });
}

} // namespace

class TestMendedFilms : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void otherProgramsAgree_data()
    {
        QTest::addColumn<QString>("film");
        QTest::addColumn<QByteArray>("damaged");
        QTest::addColumn<QString>("rule");
        for (const char *const name : films) {
            const QByteArray whole = damage::bytesOf({name, nullptr});
            const damage::File file(whole);
            for (const damage::Damage &damage : damage::allDamages()) {
                const QByteArray damaged = damage.make(file);
                const bool isLoss = std::any_of(std::begin(losses), std::end(losses), [&damage](const char *loss) {
                    return std::strcmp(loss, damage.name) == 0;
                });
                if (!damaged.isEmpty() && damaged != whole && !isLoss)
                    QTest::addRow("%s: %s", name, damage.name)
                        << QString::fromLatin1(name) << damaged << QString::fromLatin1(damage.rule);
            }
        }
    }

    void otherProgramsAgree()
    {
        if (!isThere("ffmpeg"))
            QSKIP("ffmpeg is not there");
        QFETCH(QString, film);
        QFETCH(QByteArray, damaged);
        QFETCH(QString, rule);
        const RepairPlan plan = film::repairPlan(damaged);
        if (plan.isEmpty() || hasFinding(plan.after, rule))
            return; // which tst_avirepair holds against a list
        if (!m_readings.contains(film))
            m_readings[film] = read(damage::bytesOf({film.toLatin1().constData(), nullptr}));
        const Reading mended = read(film::mended(plan, damaged));
        QCOMPARE(mended.packets, m_readings[film].packets);
        QCOMPARE(mended.counts, m_readings[film].counts);
    }

    // What an index still says is not guessed.
    void sizesComeFromTheIndex()
    {
        const QByteArray whole = film::file();
        const quint64 sizeField = film::dataOffset + 32 + 4; // of a chunk of seven bytes
        for (const quint32 size : {0U, 2U, 5U, 20U, 40U, 0x7FFFFFFFU}) {
            const QByteArray damaged = film::replaced(sizeField, build::u32(size));
            QCOMPARE(film::mended(film::repairPlan(damaged), damaged), whole);
        }
    }

    void anIndexGetsItsNameBack()
    {
        const QByteArray whole = film::file();
        QByteArray damaged = whole;
        damaged.replace("idx1", "idy1");
        const RepairPlan plan = film::repairPlan(damaged);
        QCOMPARE(film::mended(plan, damaged), whole);
        QCOMPARE(plan.recipe.steps().front().reason,
                 QStringLiteral("The chunk \"idy1\" behind movi has the entries of idx1, and gets its name"));
        // Bytes that are no such index stay what they are.
        damaged.replace("idy1" + build::u32(128) + "00dc", "idy1" + build::u32(128) + "00db");
        QVERIFY(film::mended(film::repairPlan(damaged), damaged).contains("idy1"));
    }

private:
    /// What the other programs say of a file.
    struct Reading
    {
        QByteArray packets;
        QByteArray counts; ///< empty without MediaInfo
    };

    Reading read(const QByteArray &bytes)
    {
        const QString path = put("film.avi", bytes);
        return {packetsFor(path), isThere("mediainfo") ? countsFor(path) : QByteArray()};
    }
    QString put(const char *name, const QByteArray &bytes)
    {
        QFile file(m_directory.filePath(QLatin1String(name)));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? file.fileName() : QString();
    }

    QTemporaryDir m_directory;
    QMap<QString, Reading> m_readings; // of the films before they were damaged
};

QTEST_APPLESS_MAIN(TestMendedFilms)
#include "tst_mendedfilms.moc"
