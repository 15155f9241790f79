// Folders as tables of files, files that were opened last, and what a window looked like when it was closed.
#include "folderview.h"
#include "recentfiles.h"
#include "session.h"
#include "shownwindow.h"
#include "viewersettings.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QDir>
#include <QDragEnterEvent>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QMenu>
#include <QMimeData>
#include <QProcess>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QUrl>

#include <unistd.h>

using namespace quenlofar;

namespace {

/// A folder with files, links and folders that cannot be searched.
class Folder
{
public:
    Folder()
    {
        QDir(m_directory.path()).mkpath(utf8("inner/deep"));
        copy("sample.avi", "whole.avi");
        copy("never-closed.avi", "inner/open.avi");
        copy("sample.avi", "inner/deep/Copy, too.AVI");
        write("empty.avi", {});
        write("notes.txt", "no film");
        write("text.avi", "this is no film at all, only its name says so");
    }
    QString path(const char *name = "") const { return m_directory.path() + utf8("/") + utf8(name); }
    void copy(const char *from, const char *to) const { QVERIFY(QFile::copy(sample(utf8(from)), path(to))); }
    void write(const char *name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

private:
    const QTemporaryDir m_directory;
};

/// Bytes that are blocked for ever where they are read by a parser of no plug-in.
DocumentOptions smallOptions()
{
    DocumentOptions options;
    options.parsers = optionsFor(makeFile(100), 3, 20).parsers;
    options.parsers.first().extensions = QStringList{utf8("part")};
    return options;
}

bool waitUntilDone(FolderView &view)
{
    return waitUntil([&view] { return view.isIdle(); });
}

QStringList names(FolderView &view)
{
    QStringList all;
    for (int row = 0; row < view.model().rowCount(); ++row)
        all.append(view.model().file(row).name);
    return all;
}

} // namespace

class ViewerFoldersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void saysWhatTheProgramSays();
    void filteringAndSorting();
    void exports();
    void openingFiles();
    void foldersAreRecognised();
    void linksAndFoldersThatCannotBeSearched();
    void manyFiles();
    void closingWhileFilesAreRead();
    void stops();
    void recentFiles();
    void sessionIsRestored();
    void sessionOfAProgramThatIsKilled();
    void sessionThatMakesNoSense();
    void sessionsAreSwitchedOff();
    void pathsInSettings();

private:
    std::unique_ptr<QTemporaryDir> m_settings;
};

void ViewerFoldersTest::init()
{
    m_settings = std::make_unique<QTemporaryDir>();
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_settings->path()));
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings->path());
}

void ViewerFoldersTest::saysWhatTheProgramSays()
{
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
    QSKIP("ThreadSanitizer does not survive the way in which Qt starts programs.");
#endif
#endif
    const Folder folder;
    FolderView view(folder.path(), pluginOptions());
    QVERIFY(waitUntilDone(view));
    QCOMPARE(view.scan().files().size(), size_t(5)); // notes.txt is of no container
    for (const FolderFile &file : view.scan().files()) {
        QProcess program;
        program.start(utf8(QUENLOFAR_PROGRAM), {utf8("summary"), utf8("--format"), utf8("json"), file.path});
        QVERIFY(program.waitForFinished(patience));
        const QJsonObject json = QJsonDocument::fromJson(program.readAllStandardOutput()).object();
        QVERIFY2(!json.isEmpty(), qPrintable(file.name));
        QVERIFY(file.isRead);
        const FileFacts &facts = file.facts;
        QCOMPARE(facts.container, json[utf8("container")].toString());
        QCOMPARE(double(facts.size), json[utf8("fileSize")].toDouble(-2));
        QCOMPARE(facts.streams, int(json[utf8("streams")].toArray().size()));
        QCOMPARE(verdictText(facts.verdict), json[utf8("verdict")].toString());
        const QJsonObject counts = json[utf8("counts")].toObject();
        QCOMPARE(facts.counts.error, counts[utf8("error")].toInt());
        QCOMPARE(facts.counts.warning, counts[utf8("warning")].toInt());
        QCOMPARE(facts.counts.note, counts[utf8("note")].toInt());
    }
}

void ViewerFoldersTest::filteringAndSorting()
{
    const Folder folder;
    FolderView view(folder.path(), pluginOptions());
    const QAbstractItemModelTester tester(&view.model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    QVERIFY(waitUntilDone(view));
    const QStringList all{utf8("empty.avi"), utf8("inner/deep/Copy, too.AVI"), utf8("inner/open.avi"), utf8("text.avi"),
                          utf8("whole.avi")};
    QCOMPARE(names(view), all);
    view.setNameFilter(utf8("OPEN"));
    QVERIFY(waitUntilDone(view));
    QCOMPARE(names(view), QStringList{utf8("inner/open.avi")});
    QCOMPARE(view.statusText(), utf8("1 of 5 files"));
    view.setNameFilter(utf8("inner/*"));
    QVERIFY(waitUntilDone(view));
    QCOMPARE(names(view), (QStringList{all[1], all[2]}));
    view.setNameFilter({});
    QVERIFY(view.setVerdictFilter(utf8("conforms")));
    QVERIFY(waitUntilDone(view));
    QCOMPARE(names(view), (QStringList{all[1], all[4]}));
    QVERIFY(!view.setVerdictFilter(utf8("splendid")));
    QVERIFY(view.setVerdictFilter(utf8("damaged")));
    QVERIFY(waitUntilDone(view));
    QVERIFY(names(view).contains(all[2]) && !names(view).contains(all[4]));
    QVERIFY(view.setVerdictFilter(utf8("all")));
    // The sizes by stat: 22956 twice, 21343, 45 and 0; equal ones stand by name.
    view.setSorting(FolderColumn::Size, true);
    QVERIFY(waitUntilDone(view));
    QCOMPARE(names(view), (QStringList{all[1], all[4], all[2], all[3], all[0]}));
    QCOMPARE(view.model().index(0, int(FolderColumn::Size)).data().toString(), utf8("22956"));
    view.setSorting(FolderColumn::Errors, true);
    QVERIFY(waitUntilDone(view));
    QCOMPARE(names(view).first(), all[2]);
    // The file that is current stays so.
    view.table().setCurrentIndex(view.model().index(0, 0));
    view.setSorting(FolderColumn::Name, true);
    QVERIFY(waitUntilDone(view));
    QCOMPARE(names(view).first(), all[4]);
    QCOMPARE(view.model().file(view.table().currentIndex().row()).name, all[2]);
}

void ViewerFoldersTest::exports()
{
    const Folder folder;
    folder.copy("sample.avi", "=1+1.avi");
    FolderView view(folder.path(), pluginOptions());
    QVERIFY(waitUntilDone(view));
    view.setNameFilter(utf8("1.avi"));
    QVERIFY(waitUntilDone(view));
    QString error;
    QVERIFY(!view.exportTo(folder.path("table.odt"), &error));
    QCOMPARE(error, utf8("The table can be exported to .csv and .tsv."));
    const auto exported = [&](const char *name) {
        const bool isBegun = view.exportTo(folder.path(name), &error) && waitUntilDone(view);
        QFile file(folder.path(name));
        return isBegun && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QCOMPARE(exported("table.tsv"),
             QByteArray("Name\tContainer\tSize\tStreams\tVerdict\tErrors\tWarnings\tNotes\tTrouble\n"
                        "=1+1.avi\tAVI\t22956\t2\tconforms\t0\t0\t1\t\n"));
    QVERIFY(exported("table.csv").endsWith("\n'=1+1.avi,AVI,22956,2,conforms,0,0,1,\n"));
    view.setNameFilter(utf8("copy"));
    QVERIFY(waitUntilDone(view));
    QVERIFY(exported("other.csv").contains("\n\"inner/deep/Copy, too.AVI\",AVI,"));
    QVERIFY(view.exportTo(utf8("/proc/nowhere/table.csv"), &error));
    QVERIFY(waitUntilDone(view));
    QVERIFY2(view.statusText().contains(utf8("/proc/nowhere/table.csv cannot be written: ")),
             qPrintable(view.statusText()));
}

void ViewerFoldersTest::openingFiles()
{
    const Folder folder;
    Shown shown(pluginOptions(), sample(utf8("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY2(shown.perform(utf8("open-folder"), folder.path()), qPrintable(shown.error));
    QJsonObject state = shown.state(utf8("folder"));
    QCOMPARE(state[utf8("files")].toInt(), 5);
    QCOMPARE(state[utf8("rows")].toArray().at(4).toString(), utf8("whole.avi\tAVI\t22956\t2\tconforms\t0\t0\t1\t"));
    QVERIFY(!shown.perform(utf8("sort-files"), utf8("beauty")));
    QVERIFY(shown.perform(utf8("sort-files"), utf8("-errors")));
    QVERIFY(shown.perform(utf8("files-of"), utf8("damaged")));
    QVERIFY(shown.perform(utf8("filter-files"), utf8("open")));
    QCOMPARE(shown.state(utf8("folder"))[utf8("shown")].toInt(), 1);
    QVERIFY(!shown.perform(utf8("open-file"), utf8("1")));
    QVERIFY(shown.perform(utf8("open-file"), utf8("0")));
    QVERIFY(shown.window.currentPage());
    QCOMPARE(shown.window.currentPage()->document().path(), folder.path("inner/open.avi"));
    QVERIFY(!shown.perform(utf8("filter-files"), utf8("open")));
    QCOMPARE(shown.error, utf8("No folder is shown."));
    // As people do it.
    auto *const tabs = shown.window.findChild<QTabWidget *>(utf8("files"));
    tabs->setCurrentIndex(1);
    FolderView *const view = shown.window.currentFolder();
    QVERIFY(view);
    view->table().setCurrentIndex(view->model().index(0, 0));
    QTest::keyClick(&view->table(), Qt::Key_Return);
    QCOMPARE(tabs->count(), 4);
    QVERIFY(shown.waitUntilIdle());
    tabs->setCurrentIndex(1);
    const auto focus = [&shown] { return shown.window.state()[utf8("focus")].toString(); };
    view->table().setFocus();
    for (const char *const name : {"folderFilter", "folderVerdict", "folderTable"}) {
        QVERIFY(shown.perform(utf8("next-view")));
        QCOMPARE(focus(), utf8(name));
    }
    QVERIFY(shown.perform(utf8("close")));
    QCOMPARE(tabs->count(), 3);
}

void ViewerFoldersTest::foldersAreRecognised()
{
    const Folder folder;
    Shown shown(pluginOptions(), folder.path());
    QVERIFY(shown.waitUntilIdle());
    QTRY_VERIFY_WITH_TIMEOUT(shown.window.currentFolder(), patience);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.window.state()[utf8("tabs")].toInt(), 1);
    QCOMPARE(shown.state(utf8("folder"))[utf8("files")].toInt(), 5);
    // Dropped beside a file.
    QMimeData dropped;
    dropped.setUrls({QUrl::fromLocalFile(sample(utf8("sample.avi"))), QUrl::fromLocalFile(folder.path("inner"))});
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&shown.window, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&shown.window, &drop);
    QTRY_VERIFY_WITH_TIMEOUT(shown.window.currentFolder(), patience);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.window.state()[utf8("tabs")].toInt(), 3);
    QCOMPARE(shown.state(utf8("folder"))[utf8("files")].toInt(), 2);
}

void ViewerFoldersTest::linksAndFoldersThatCannotBeSearched()
{
    const Folder folder;
    QVERIFY(QFile::link(folder.path(), folder.path("inner/round"))); // leads back to the folder
    QVERIFY(QFile::link(folder.path("nowhere"), folder.path("lost.avi")));
    QVERIFY(QFile::link(folder.path("whole.avi"), folder.path("link.avi")));
    QDir(folder.path()).mkpath(utf8("closed"));
    QFile::setPermissions(folder.path("closed"), {});
    FolderView view(folder.path(), pluginOptions());
    QVERIFY(waitUntilDone(view));
    QFile::setPermissions(folder.path("closed"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCOMPARE(view.scan().files().size(), size_t(6));
    QVERIFY(names(view).contains(utf8("link.avi")));
    const QStringList problems = view.scan().problems();
    QCOMPARE(problems.filter(utf8("/lost.avi leads nowhere: No such file or directory")).size(), 1);
    if (::geteuid() != 0) // who may read everything
        QCOMPARE(problems.filter(utf8("/closed cannot be searched: Permission denied")).size(), 1);
    QVERIFY(view.statusText().startsWith(utf8("6 files; ")));

    FolderView gone(folder.path("gone"), pluginOptions());
    QVERIFY(waitUntilDone(gone));
    QCOMPARE(gone.scan().problems(),
             QStringList{folder.path("gone") + utf8(" cannot be searched: No such file or directory")});
}

void ViewerFoldersTest::manyFiles()
{
    constexpr int many = 20'000;
    const QTemporaryDir directory;
    // One file with many names is quick to make.
    QFile file(directory.filePath(utf8("first")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(100, 'x')) == 100);
    file.close();
    for (int number = 0; number < many; ++number) {
        const QString name = directory.filePath(QString::number(number) + utf8(".part"));
        QCOMPARE(::link(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(name).constData()), 0);
    }
    FolderView view(directory.path(), smallOptions());
    view.resize(800, 400);
    view.show();
    QElapsedTimer timer;
    qint64 longest = 0;
    size_t largest = 0;
    size_t before = 0;
    connect(&view.scan(), &FolderScan::changed, &view, [&] {
        largest = std::max(largest, view.scan().files().size() - before);
        before = view.scan().files().size();
    });
    timer.start();
    while (!view.isIdle() && timer.elapsed() < patience) {
        Effort turn;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        longest = std::max(longest, turn.milliseconds());
    }
    QCOMPARE(view.model().rowCount(), many);
    QCOMPARE(view.scan().readCount(), size_t(many));
    QVERIFY(largest <= FolderScan::mostAtOnce);
    QVERIFY2(longest < 500, qPrintable(QString::number(longest)));
}

void ViewerFoldersTest::closingWhileFilesAreRead()
{
    const QTemporaryDir directory;
    for (int number = 0; number < 2000; ++number)
        QVERIFY(QFile::link(sample(utf8("sample.avi")), directory.filePath(QString::number(number) + utf8(".avi"))));
    auto view = std::make_unique<FolderView>(directory.path(), pluginOptions());
    QTRY_VERIFY_WITH_TIMEOUT(view->scan().readCount() > 10, patience);
    QVERIFY(!view->scan().isDone());
    QElapsedTimer timer;
    timer.start();
    view.reset();
    QVERIFY(timer.elapsed() < soon);
    QVERIFY(haveThreadsEnded());
}

void ViewerFoldersTest::stops()
{
    const QTemporaryDir directory;
    for (int number = 0; number < 2000; ++number)
        QVERIFY(QFile::link(sample(utf8("sample.avi")), directory.filePath(QString::number(number) + utf8(".avi"))));
    Shown shown(pluginOptions(), directory.path());
    QTRY_VERIFY_WITH_TIMEOUT(shown.window.currentFolder() && shown.window.currentFolder()->scan().readCount() > 10,
                             patience);
    QVERIFY(shown.window.perform(utf8("stop"), {}, &shown.error));
    QVERIFY(shown.waitUntilIdle());
    const FolderView &view = *shown.window.currentFolder();
    QVERIFY(view.scan().readCount() < 2000);
    QVERIFY2(view.statusText().contains(utf8("stopped, ")), qPrintable(view.statusText()));
}

void ViewerFoldersTest::recentFiles()
{
    const Folder folder;
    {
        MainWindow quiet(pluginOptions());
        quiet.open(folder.path("whole.avi"));
    }
    QVERIFY(RecentFiles().paths().isEmpty()); // nobody asked for it
    MainWindow window(pluginOptions());
    window.rememberFiles();
    window.open(folder.path("whole.avi"));
    window.open(folder.path("inner/open.avi"));
    window.open(folder.path("whole.avi"));
    QCOMPARE(RecentFiles().paths(), (QStringList{folder.path("whole.avi"), folder.path("inner/open.avi")}));
    const auto *const menu = window.findChild<QMenu *>(utf8("recentFiles"));
    QCOMPARE(menu->actions().at(1)->text(), folder.path("inner/open.avi"));
    QVERIFY(QFile::remove(folder.path("inner/open.avi")));
    menu->actions().at(1)->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(RecentFiles().paths(), QStringList{folder.path("whole.avi")}, patience);
    QTRY_VERIFY_WITH_TIMEOUT(window.isIdle(), patience);
    window.open(folder.path());
    QTRY_VERIFY_WITH_TIMEOUT(window.currentFolder() && window.isIdle(), patience);
    QCOMPARE(RecentFiles().paths().first(), folder.path());
    for (int number = 0; number < 2 * RecentFiles::most; ++number)
        RecentFiles().add(utf8("/a/") + QString::number(number));
    QCOMPARE(RecentFiles().paths().size(), RecentFiles::most);
    RecentFiles().clear();
    QVERIFY(RecentFiles().paths().isEmpty());
}

void ViewerFoldersTest::sessionIsRestored()
{
    const Folder folder;
    {
        MainWindow window(pluginOptions());
        window.restoreSession(); // nothing, so far
        window.show();
        window.resize(1000, 700);
        QCOMPARE(window.state()[utf8("tabs")].toInt(), 0);
        window.open(folder.path("whole.avi"), utf8("0x40"));
        window.open(folder.path());
        window.open(folder.path("inner/open.avi"), utf8("100"));
        QTRY_VERIFY_WITH_TIMEOUT(window.isIdle(), patience);
        QString error;
        QVERIFY(window.perform(utf8("select"), utf8("100+30"), &error));
        QVERIFY(window.perform(utf8("show-findings"), {}, &error));
        QVERIFY(window.perform(utf8("columns"), utf8("24"), &error));
        QVERIFY(window.perform(utf8("offsets"), {}, &error));
        QVERIFY(window.close());
    }
    MainWindow window(pluginOptions());
    window.restoreSession();
    window.show();
    QTRY_VERIFY_WITH_TIMEOUT(window.isIdle(), patience);
    QCOMPARE(window.size(), QSize(1000, 700));
    const QJsonObject state = window.state();
    QCOMPARE(state[utf8("tabs")].toInt(), 3);
    QCOMPARE(state[utf8("tab")].toInt(), 2);
    QCOMPARE(state[utf8("file")].toString(), folder.path("inner/open.avi"));
    QCOMPARE(state[utf8("bytes")].toObject()[utf8("columns")].toInt(), 24);
    QCOMPARE(state[utf8("analysis")].toObject()[utf8("front")].toInt(), int(AnalysisTabs::FindingsTab));
    QCOMPARE(window.currentPage()->document().place().range, (ByteRange{100, 30}));
    QVERIFY(!window.currentPage()->hexView().style().offsetsInHex);
    auto *const tabs = window.findChild<QTabWidget *>(utf8("files"));
    tabs->setCurrentIndex(0);
    QCOMPARE(window.currentPage()->document().place().range.offset, quint64(0x40));
    tabs->setCurrentIndex(1);
    QVERIFY(window.currentFolder());
    // The file is a shorter one the next time, and the folder has gone.
    QVERIFY(window.close());
    folder.write("inner/open.avi", QByteArray(110, 'x'));
    QVERIFY(QFile::remove(folder.path("whole.avi")));
    MainWindow later(pluginOptions());
    later.restoreSession();
    QTRY_VERIFY_WITH_TIMEOUT(later.isIdle(), patience);
    QCOMPARE(later.state()[utf8("tabs")].toInt(), 3);
    later.findChild<QTabWidget *>(utf8("files"))->setCurrentIndex(2);
    QCOMPARE(later.currentPage()->document().place().range, (ByteRange{100, 10}));
}

void ViewerFoldersTest::sessionOfAProgramThatIsKilled()
{
    const Folder folder;
    Session().save();
    MainWindow window(pluginOptions());
    window.restoreSession();
    window.open(folder.path("whole.avi"));
    window.open(folder.path("inner/open.avi"));
    QString error;
    QTRY_COMPARE_WITH_TIMEOUT(Session::load().tabs.size(), size_t(2), patience); // which is not closed here
    QVERIFY(window.perform(utf8("close"), {}, &error));
    QTRY_COMPARE_WITH_TIMEOUT(Session::load().tabs.size(), size_t(1), patience);
    Session::setKept(false);
    QVERIFY(window.perform(utf8("close"), {}, &error));
    QTest::qWait(1500);
    QCOMPARE(Session::load().tabs.size(), size_t(1));
    Session::setKept(true);
    QVERIFY(window.close());
}

void ViewerFoldersTest::sessionThatMakesNoSense()
{
    const auto settings = viewerSettings();
    settings->beginGroup(utf8("session"));
    settings->setValue(utf8("geometry"), QByteArray("nonsense"));
    settings->setValue(utf8("bars"), 17);
    settings->setValue(utf8("columns"), utf8("many"));
    settings->setValue(utf8("current"), 1'000'000);
    settings->beginWriteArray(utf8("tabs"));
    for (int tab = 0; tab < 100; ++tab) {
        settings->setArrayIndex(tab);
        settings->setValue(utf8("path"), tab == 0 ? QString() : utf8("/nowhere%zz/\u0001%ff"));
        settings->setValue(utf8("offset"), utf8("-1"));
        settings->setValue(utf8("analysis"), -5);
    }
    settings->endArray();
    settings->endGroup();
    settings->sync();
    MainWindow window(pluginOptions());
    window.restoreSession();
    window.show();
    QTRY_VERIFY_WITH_TIMEOUT(window.isIdle(), patience);
    QCOMPARE(window.state()[utf8("tabs")].toInt(), Session::mostTabs - 1);
    QVERIFY(window.width() > 100);
}

void ViewerFoldersTest::sessionsAreSwitchedOff()
{
    const Folder folder;
    QVERIFY(Session::isKept());
    {
        MainWindow window(pluginOptions());
        window.restoreSession();
        window.findChild<QAction *>(utf8("keep-session"))->setChecked(false);
        window.open(folder.path("whole.avi"));
        QTRY_VERIFY_WITH_TIMEOUT(window.isIdle(), patience);
        window.close();
    }
    QVERIFY(!Session::isKept());
    QVERIFY(Session::load().tabs.empty());
    Session::setKept(true);
    {
        // A window that was opened with files is no session's.
        MainWindow window(pluginOptions());
        window.open(folder.path("whole.avi"));
        QTRY_VERIFY_WITH_TIMEOUT(window.isIdle(), patience);
        window.close();
    }
    QVERIFY(Session::load().tabs.empty());
}

void ViewerFoldersTest::pathsInSettings()
{
    for (const QByteArray &bytes :
         {QByteArray("/a b/c.avi"), QByteArray("/\xff\xfe/%41,\n.avi"), QByteArray("/\xc3\xa4")})
        QCOMPARE(pathToBytes(pathOfSetting(settingOfPath(pathFromBytes(bytes)))), bytes);
}

QTEST_MAIN(ViewerFoldersTest)
#include "tst_viewerfolders.moc"
