// How a file can be mended, planned and looked at in the window, and written as the program's command writes it. The
// numbers of samples/never-closed.avi come from a hex dump: a recording that ended before its sizes were written.
#include "scriptedanalyzer.h"
#include "shownwindow.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

using namespace quenlofar;

namespace {

const QString neverClosed = QStringLiteral("never-closed.avi");

/// The sample, planned.
struct Planned : Shown
{
    explicit Planned(const QString &name = neverClosed) : Shown(pluginOptions(), sample(name))
    {
        isPlanned = waitUntilIdle() && perform(QStringLiteral("plan-repair"));
    }
    QJsonObject repair() { return view(QStringLiteral("repair")); }
    QString status() { return repair()[QStringLiteral("status")].toString(); }
    /// The texts of all rows, those below a row behind it.
    QStringList texts()
    {
        QStringList all;
        const QJsonArray rows = repair()[QStringLiteral("rows")].toArray();
        for (const QJsonValue row : rows) {
            all.append(row.toObject()[QStringLiteral("texts")].toArray().first().toString());
            const QJsonArray below = row.toObject()[QStringLiteral("below")].toArray();
            for (const QJsonValue each : below)
                all.append(each.toArray().first().toString());
        }
        return all;
    }
    /// Makes the row that says `text` the current one.
    bool choose(const QString &text)
    {
        QTreeWidget &steps = analysis().repairView().steps();
        const QList<QTreeWidgetItem *> found = steps.findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
        if (found.size() != 1)
            return false;
        steps.setCurrentItem(found.first());
        return true;
    }
    bool isPlanned;
};

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Runs the program; its exit status, or -1.
int run(const QStringList &arguments)
{
    QProcess program;
    program.start(QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/quenlofar"), arguments);
    return program.waitForFinished(patience) && program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1;
}

} // namespace

class ViewerRepairTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void stepsAndWhatTheyClear();
    void oldAndNewBytes();
    void stepsThatAreNotWanted();
    void mendedFileBeforeItExists();
    void copyAsTheCommandWritesIt();
    void planAsTheCommandSavesIt();
    void filesInOrder();
    void planFromTheFindings();
    void actionsBeforeThereIsAPlan();
    void planningThatHangs();
};

void ViewerRepairTest::stepsAndWhatTheyClear()
{
    Planned shown;
    QVERIFY2(shown.isPlanned, qPrintable(shown.error));
    QCOMPARE(shown.status(), QStringLiteral("damaged -> conforms; findings cleared: 5"));
    const QStringList texts = shown.texts();
    QVERIFY(texts.contains(QStringLiteral("The main header counts 0 frames; the first RIFF list has 21")));
    QVERIFY(texts.contains(QStringLiteral("clears: The main header counts 0 frames; the first RIFF list has 21.")));
    QVERIFY(texts.contains(QStringLiteral("LIST(hdrl)/avih/dwTotalFrames")));
    QVERIFY(texts.contains(QStringLiteral("1608 bytes are added"))); // 100 entries of 16 bytes and a header of 8
    QVERIFY(texts.last().startsWith(QStringLiteral("stays: 1 frame without data")));
    QCOMPARE(shown.view(QStringLiteral("repair"))[QStringLiteral("rows")].toArray().size(), 5);
}

void ViewerRepairTest::oldAndNewBytes()
{
    Planned shown;
    QVERIFY(shown.choose(QStringLiteral("LIST(hdrl)/avih/dwTotalFrames")));
    const QStringList lines = shown.repair()[QStringLiteral("bytes")].toString().split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines[1].simplified(), QStringLiteral("48 [00] 00 00 00 | [15] 00 00 00")); // 21 frames
    Q_EMIT shown.analysis().repairView().steps().itemActivated(shown.analysis().repairView().steps().currentItem(), 0);
    QCOMPARE(shown.offset(), 48);
    QCOMPARE(shown.place()[QStringLiteral("size")].toInt(), 4);
    // What is added has no old bytes, and no place in the file.
    QVERIFY(shown.choose(QStringLiteral("1608 bytes are added")));
    const QString bytes = shown.repair()[QStringLiteral("bytes")].toString();
    QVERIFY(bytes.contains(QStringLiteral("| [69][64][78][31][40][06][00][00]"))); // "idx1", 1600
    Q_EMIT shown.analysis().repairView().steps().itemActivated(shown.analysis().repairView().steps().currentItem(), 0);
    QCOMPARE(shown.offset(), 48);
}

void ViewerRepairTest::stepsThatAreNotWanted()
{
    Planned shown;
    QVERIFY(shown.perform(QStringLiteral("leave-out"), QStringLiteral("2")));
    QTRY_COMPARE_WITH_TIMEOUT(shown.page->repairJob().except(), QStringList{QStringLiteral("frame-count")}, patience);
    QVERIFY(shown.waitUntilIdle());
    const QStringList texts = shown.texts();
    QVERIFY(!texts.contains(QStringLiteral("LIST(hdrl)/avih/dwTotalFrames")));
    QVERIFY(texts.contains(QStringLiteral("not wanted")));
    QVERIFY(texts.contains(QStringLiteral("stays: The main header counts 0 frames; the first RIFF list has 21.")));
    // It can be ticked again.
    QTreeWidget &steps = shown.analysis().repairView().steps();
    QTreeWidgetItem *const row = steps.findItems(QStringLiteral("not wanted"), Qt::MatchExactly).value(0);
    QVERIFY(row);
    row->setCheckState(0, Qt::Checked);
    QTRY_VERIFY_WITH_TIMEOUT(shown.page->repairJob().except().isEmpty(), patience);
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.texts().contains(QStringLiteral("LIST(hdrl)/avih/dwTotalFrames")));
}

void ViewerRepairTest::mendedFileBeforeItExists()
{
    Planned shown;
    QVERIFY(shown.perform(QStringLiteral("open-mended")));
    QCOMPARE(shown.window.state()[QStringLiteral("tabs")].toInt(), 2);
    QCOMPARE(shown.window.currentPage()->title(), QStringLiteral("never-closed.avi (mended)"));
    QCOMPARE(shown.window.state()[QStringLiteral("size")].toInt(), 22952); // 21343, a byte of padding, the index
    QCOMPARE(shown.view(QStringLiteral("packets"))[QStringLiteral("count")].toInt(), 100);
    QVERIFY(shown.view(QStringLiteral("findings"))[QStringLiteral("status")].toString().startsWith(
        QStringLiteral("conforms. 1 note")));
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("48")));
    QCOMPARE(shown.state(QStringLiteral("structure"))[QStringLiteral("current")].toString(),
             QStringLiteral("RIFF(AVI )/LIST(hdrl)/avih/dwTotalFrames"));
    // What does not exist on the disk is not written from.
    QVERIFY(shown.perform(QStringLiteral("plan-repair")));
    QVERIFY(shown.perform(QStringLiteral("write-copy"), QStringLiteral("somewhere.avi")));
    QCOMPARE(shown.view(QStringLiteral("repair"))[QStringLiteral("status")].toString(),
             QStringLiteral("There is nothing on the disk that could be mended."));
    QVERIFY(!QFile::exists(QStringLiteral("somewhere.avi")));
}

void ViewerRepairTest::copyAsTheCommandWritesIt()
{
    const QTemporaryDir directory;
    const QString ours = directory.filePath(QStringLiteral("ours.avi"));
    const QString theirs = directory.filePath(QStringLiteral("theirs.avi"));
    Planned shown;
    QVERIFY(shown.perform(QStringLiteral("write-copy"), ours));
    QCOMPARE(shown.status(), QStringLiteral("Written: ") + ours);
    QCOMPARE(run({QStringLiteral("repair"), QStringLiteral("-o"), theirs, sample(neverClosed)}), 0);
    const QByteArray bytes = bytesOf(ours);
    QCOMPARE(int(bytes.size()), 22952);
    QCOMPARE(bytes.mid(48, 4), QByteArray("\x15\0\0\0", 4));
    QVERIFY(bytes == bytesOf(theirs));
    // A file that is there is not replaced unasked.
    QVERIFY(shown.perform(QStringLiteral("write-copy"), ours));
    QVERIFY(shown.status().startsWith(QStringLiteral("Not written: ")));
    QVERIFY(bytes == bytesOf(ours));
}

void ViewerRepairTest::planAsTheCommandSavesIt()
{
    const QTemporaryDir directory;
    const QString ours = directory.filePath(QStringLiteral("ours.json"));
    const QString theirs = directory.filePath(QStringLiteral("theirs.json"));
    Planned shown;
    QVERIFY(shown.perform(QStringLiteral("save-plan"), ours));
    QCOMPARE(shown.status(), QStringLiteral("Plan saved: ") + ours);
    QCOMPARE(run({QStringLiteral("repair"), QStringLiteral("--save-plan"), theirs, sample(neverClosed)}), 1);
    const QByteArray plan = bytesOf(ours);
    QCOMPARE(QJsonDocument::fromJson(plan).object()[QStringLiteral("steps")].toArray().size(), 4);
    QCOMPARE(plan, bytesOf(theirs));
    QVERIFY(shown.perform(QStringLiteral("save-plan"), ours));
    QVERIFY(shown.status().startsWith(QStringLiteral("Plan not saved: ")));
    QCOMPARE(bytesOf(ours), plan);
}

void ViewerRepairTest::filesInOrder()
{
    Planned shown(QStringLiteral("sample.avi"));
    QVERIFY2(shown.status().endsWith(QStringLiteral("; nothing to repair")), qPrintable(shown.status()));
    QVERIFY(shown.perform(QStringLiteral("open-mended")));
    QCOMPARE(shown.window.state()[QStringLiteral("tabs")].toInt(), 1);
}

void ViewerRepairTest::planFromTheFindings()
{
    Shown shown(pluginOptions(), sample(neverClosed));
    QVERIFY(shown.waitUntilIdle());
    Q_EMIT shown.analysis().findingsView().repairWanted();
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.analysis().currentIndex(), int(AnalysisTabs::RepairTab));
    QVERIFY(shown.page->repairJob().planned());
}

void ViewerRepairTest::actionsBeforeThereIsAPlan()
{
    Shown shown(pluginOptions(), sample(neverClosed));
    for (const char *const action : {"write-copy", "save-plan", "leave-out"}) {
        QVERIFY(!shown.perform(QString::fromLatin1(action), QStringLiteral("1")));
        QCOMPARE(shown.error, QStringLiteral("There is no plan yet."));
    }
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("plan-repair")));
    QVERIFY(!shown.perform(QStringLiteral("leave-out"), QStringLiteral("5")));
    QCOMPARE(shown.error, QStringLiteral("There is no step 5."));
}

void ViewerRepairTest::planningThatHangs()
{
    const auto script = std::make_shared<AnalyzerScript>();
    QElapsedTimer timer;
    {
        Shown shown(optionsWithAnalyzer(makeFile(10'000), script));
        QVERIFY(shown.waitUntilIdle());
        script->blocksCheck = true;
        QVERIFY(shown.window.perform(QStringLiteral("plan-repair"), {}, &shown.error));
        QTRY_COMPARE_WITH_TIMEOUT(int(script->waiting), 1, patience);
        QVERIFY(!shown.window.isIdle());
        QVERIFY(shown.perform(QStringLiteral("stop")));
        QVERIFY(shown.window.isIdle());
        QVERIFY(shown.window.perform(QStringLiteral("plan-repair"), {}, &shown.error));
        timer.start();
    }
    QVERIFY(timer.elapsed() < soon);
}

QTEST_MAIN(ViewerRepairTest)
#include "tst_viewerrepair.moc"
