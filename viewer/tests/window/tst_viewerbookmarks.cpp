// Bookmarks: that they are kept, found again, edited, and the same in all tabs of a file.
#include "bookmarkstore.h"
#include "quickdigest.h"
#include "shownwindow.h"

#include <QAbstractItemModelTester>
#include <QCryptographicHash>
#include <QDir>
#include <QJsonDocument>
#include <QLineEdit>
#include <QSettings>
#include <QTableView>
#include <QTemporaryDir>

using namespace quenlofar;

namespace {

QStringList storedNames()
{
    return QDir(Bookmarks::directory()).entryList(QDir::Files, QDir::Name);
}

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

} // namespace

class ViewerBookmarksTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void bookmarksAreKept();
    void bookmarksOfAMovedFile();
    void bookmarksOfAChangedFile();
    void recordsThatAreNone_data();
    void recordsThatAreNone();
    void damagedRecordsAreKeptAside();
    void bookmarksAreEdited();
    void bookmarksOfAFileInTwoTabs();
    void bookmarksOfNoFile();
    void quickDigests();

private:
    std::unique_ptr<QTemporaryDir> m_home;
};

void ViewerBookmarksTest::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_home->path()));
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_home->path());
}

void ViewerBookmarksTest::bookmarksAreKept()
{
    const QString path = m_home->filePath(utf8("film.avi"));
    QVERIFY(QFile::copy(sample(utf8("sample.avi")), path));
    {
        Shown shown(pluginOptions(), path);
        QVERIFY(shown.waitUntilIdle());
        QVERIFY(shown.perform(utf8("goto"), utf8("0x40")));
        QVERIFY(shown.perform(utf8("add-bookmark")));
        QVERIFY(shown.perform(utf8("select"), utf8("2100+16")));
        QVERIFY(shown.perform(utf8("add-bookmark"), utf8("later")));
        QVERIFY(shown.perform(utf8("select"), utf8("8+4")));
        QVERIFY(shown.perform(utf8("add-bookmark"), utf8("first")));
        QVERIFY(!shown.perform(utf8("add-bookmark"), utf8("twice")));
        QCOMPARE(storedNames().size(), 1);
    }
    Shown shown(pluginOptions(), path);
    QVERIFY(shown.waitUntilIdle());
    const QJsonObject state = shown.state(utf8("bookmarks"));
    QCOMPARE(state[utf8("status")].toString(), utf8("3 bookmarks."));
    const QJsonArray rows = state[utf8("rows")].toArray();
    QCOMPARE(rows.at(0).toArray().at(0).toString(), utf8("first"));
    QCOMPARE(rows.at(0).toArray().at(1).toString(), utf8("0x8"));
    QVERIFY(rows.at(1).toArray().at(0).toString().endsWith(utf8("dwWidth")));
    QCOMPARE(rows.at(2).toArray().at(2).toString(), utf8("16"));
    QVERIFY(shown.perform(utf8("bookmark"), utf8("2")));
    QCOMPARE(shown.page->document().place().range, (ByteRange{2100, 16}));
    QVERIFY(!shown.perform(utf8("bookmark"), utf8("3")));
    // As people do it.
    QVERIFY(shown.perform(utf8("show-bookmarks")));
    QTableView &table = shown.page->bookmarksView().table();
    QCOMPARE(shown.analysis().focusView(), &table);
    shown.page->bookmarksView().setCurrent(0);
    QTest::keyClick(&table, Qt::Key_Return);
    QCOMPARE(shown.page->document().place().range, (ByteRange{8, 4}));
    QTest::keyClick(&table, Qt::Key_Delete);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.page->bookmarks().list().size(), size_t(2));
    // What is exported says the same in the documented form.
    const QString target = m_home->filePath(utf8("marks.json"));
    QVERIFY(shown.perform(utf8("export-bookmarks"), target));
    const QJsonObject exported = QJsonDocument::fromJson(contentsOf(target)).object();
    QCOMPARE(exported[utf8("format")].toString(), utf8("quenlofar bookmarks 1"));
    QCOMPARE(exported[utf8("fileSize")].toInt(), 22956);
    QCOMPARE(exported[utf8("bookmarks")].toArray().at(1).toObject()[utf8("offset")].toInt(), 2100);
    QVERIFY(shown.perform(utf8("delete-bookmark")));
    QVERIFY(shown.perform(utf8("delete-bookmark")));
    QVERIFY(shown.perform(utf8("delete-bookmark"))); // there is none
    QVERIFY(storedNames().isEmpty());
}

void ViewerBookmarksTest::bookmarksOfAMovedFile()
{
    const QString path = m_home->filePath(utf8("old.avi"));
    const QString moved = m_home->filePath(utf8("new.avi"));
    QVERIFY(QFile::copy(sample(utf8("sample.avi")), path));
    {
        Shown shown(pluginOptions(), path);
        QVERIFY(shown.waitUntilIdle() && shown.perform(utf8("add-bookmark"), utf8("here")));
    }
    QVERIFY(QFile::rename(path, moved));
    Shown shown(pluginOptions(), moved);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.page->bookmarks().list().size(), size_t(1));
    QCOMPARE(shown.page->bookmarks().message(), utf8("The bookmarks were made when the file was %1.").arg(path));
    QVERIFY(shown.perform(utf8("goto"), utf8("100")) && shown.perform(utf8("add-bookmark"), utf8("there")));
    QCOMPARE(storedNames().size(), 1); // that of the old name has gone
    QVERIFY(contentsOf(Bookmarks::directory() + utf8("/") + storedNames().first()).contains("/new.avi"));
}

void ViewerBookmarksTest::bookmarksOfAChangedFile()
{
    const QString path = m_home->filePath(utf8("film.avi"));
    QVERIFY(QFile::copy(sample(utf8("sample.avi")), path));
    {
        Shown shown(pluginOptions(), path);
        QVERIFY(shown.waitUntilIdle() && shown.perform(utf8("select"), utf8("22000+100")));
        QVERIFY(shown.perform(utf8("add-bookmark"), utf8("far")));
    }
    const QString before = storedNames().value(0);
    QVERIFY(QFile::remove(path) && QFile::copy(sample(utf8("never-closed.avi")), path));
    Shown shown(pluginOptions(), path);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.page->bookmarks().message(), utf8("The file has changed since its bookmarks were made."));
    QCOMPARE(shown.page->bookmarks().list().size(), size_t(1));
    QVERIFY(!shown.perform(utf8("bookmark"), utf8("0"))); // the file ends before it
    QCOMPARE(storedNames(), QStringList{before}); // nothing was touched by looking
    QVERIFY(shown.perform(utf8("add-bookmark"), utf8("near")));
    QCOMPARE(storedNames().size(), 1);
    QVERIFY(storedNames().first() != before);
}

void ViewerBookmarksTest::recordsThatAreNone_data()
{
    QTest::addColumn<QByteArray>("json");
    const auto record = [](const char *members) {
        return QByteArray(R"({"format":"quenlofar bookmarks 1","path":"/a","digest":"00","fileSize":5,)") + members
            + '}';
    };
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("cut") << record(R"("bookmarks":[])").chopped(3);
    QTest::newRow("no object") << QByteArray("[1]");
    QTest::newRow("another format") << QByteArray(R"({"format":"recipes","bookmarks":[]})");
    QTest::newRow("no bookmarks") << record(R"("x":1)");
    QTest::newRow("bookmarks that are none") << record(R"("bookmarks":7)");
    QTest::newRow("a bookmark that is none") << record(R"("bookmarks":[7])");
    QTest::newRow("no name") << record(R"("bookmarks":[{"offset":1,"size":1}])");
    QTest::newRow("a negative offset") << record(R"("bookmarks":[{"offset":-1,"size":1,"name":"x"}])");
    QTest::newRow("half an offset") << record(R"("bookmarks":[{"offset":1.5,"size":1,"name":"x"}])");
    QTest::newRow("behind every file") << record(
        R"("bookmarks":[{"offset":"9223372036854775808","size":1,"name":"x"}])");
    QTest::newRow("more bytes than there are")
        << record(R"("bookmarks":[{"offset":1,"size":"18446744073709551615","name":"x"}])");
    QByteArray many = R"("bookmarks":[)";
    for (int i = 0; i <= BookmarkRecord::mostBookmarks; ++i)
        many += R"({"offset":1,"size":1,"name":"x"},)";
    QTest::newRow("too many") << record((many.chopped(1) + ']').constData());
    QTest::newRow("one in the other") << QByteArray(100'000, '[');
}

void ViewerBookmarksTest::recordsThatAreNone()
{
    QFETCH(QByteArray, json);
    QString error;
    QVERIFY(!BookmarkRecord::fromJson(json, &error));
    QVERIFY(!error.isEmpty());
}

void ViewerBookmarksTest::damagedRecordsAreKeptAside()
{
    const QString path = m_home->filePath(utf8("film.avi"));
    QVERIFY(QFile::copy(sample(utf8("sample.avi")), path));
    {
        Shown shown(pluginOptions(), path);
        QVERIFY(shown.waitUntilIdle() && shown.perform(utf8("add-bookmark"), utf8("lost")));
    }
    const QString name = storedNames().value(0);
    const QString stored = Bookmarks::directory() + utf8("/") + name;
    for (const int number : {1, 2}) {
        write(stored, QByteArray("torn ") + char('0' + number));
        Shown shown(pluginOptions(), path);
        QVERIFY(shown.waitUntilIdle());
        const QString aside = stored + utf8(".damaged-%1").arg(number);
        QVERIFY2(shown.page->bookmarks().message().startsWith(utf8("The bookmarks in %1 cannot be read: ").arg(aside)),
                 qPrintable(shown.page->bookmarks().message()));
        QVERIFY(shown.page->bookmarks().list().empty());
        QCOMPARE(contentsOf(aside), QByteArray("torn ") + char('0' + number));
        QVERIFY(shown.perform(utf8("add-bookmark"), utf8("new")));
        QVERIFY(contentsOf(stored).contains("\"new\""));
    }
    // Where nothing can be written that is said.
    QVERIFY(QFile::remove(stored));
    qputenv("XDG_DATA_HOME", "/proc/nowhere");
    Shown shown(pluginOptions(), path);
    QVERIFY(shown.waitUntilIdle() && shown.perform(utf8("add-bookmark"), utf8("nowhere")));
    QVERIFY2(shown.page->bookmarks().message().startsWith(utf8("The bookmarks cannot be kept: ")),
             qPrintable(shown.page->bookmarks().message()));
}

void ViewerBookmarksTest::bookmarksAreEdited()
{
    Shown shown(pluginOptions(), sample(utf8("sample.avi")));
    QVERIFY(shown.waitUntilIdle() && shown.perform(utf8("add-bookmark"), utf8("name")));
    BookmarksModel &model = shown.page->bookmarksView().model();
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QVERIFY(!model.setData(model.index(0, BookmarksModel::NameColumn), utf8("  ")));
    QVERIFY(!model.setData(model.index(0, BookmarksModel::OffsetColumn), utf8("7")));
    QVERIFY(model.setData(model.index(0, BookmarksModel::NoteColumn), utf8("two\nlines")));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.page->bookmarks().list().front().note, utf8("two\nlines"));
    QVERIFY(shown.perform(utf8("goto"), utf8("5")) && shown.perform(utf8("add-bookmark"), utf8("second")));
    QVERIFY(shown.perform(utf8("edit-bookmark")));
    auto *const editor = shown.page->bookmarksView().table().findChild<QLineEdit *>();
    QVERIFY(editor);
    editor->setText(utf8("renamed"));
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(shown.page->bookmarks().list()[1].name, utf8("renamed"), patience);
    QVERIFY(shown.page->bookmarks().add({{9, 1}, QString(Bookmark::mostCharacters * 2, QLatin1Char('x')), {}}) == 2);
    QCOMPARE(shown.page->bookmarks().list()[2].name.size(), Bookmark::mostCharacters);
    QVERIFY(shown.waitUntilIdle());
}

/// What one tab adds, changes and removes, the other shows; the disk has it once.
void ViewerBookmarksTest::bookmarksOfAFileInTwoTabs()
{
    const QString path = m_home->filePath(utf8("film.avi"));
    QVERIFY(QFile::copy(sample(utf8("sample.avi")), path));
    Shown shown(pluginOptions(), path);
    QVERIFY(shown.waitUntilIdle() && shown.perform(utf8("add-bookmark"), utf8("before")));
    FilePage *const other = shown.window.open(path);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(other->bookmarks().list().size(), size_t(1));
    BookmarksModel &model = other->bookmarksView().model();
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    shown.page->bookmarks().add({{100, 4}, utf8("one"), {}});
    QCOMPARE(model.rowCount(), 2);
    other->bookmarks().add({{200, 4}, utf8("other"), {}});
    QCOMPARE(shown.page->bookmarks().list().size(), size_t(3));
    QCOMPARE(shown.page->bookmarks().list()[2].name, utf8("other"));
    shown.page->bookmarks().change(2, utf8("another"), utf8("note"));
    QCOMPARE(other->bookmarks().list()[2].note, utf8("note"));
    other->bookmarks().remove(1);
    QCOMPARE(shown.page->bookmarks().list().size(), size_t(2));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(storedNames().size(), 1);
    const QByteArray stored = contentsOf(Bookmarks::directory() + utf8("/") + storedNames().first());
    QVERIFY(stored.contains("\"before\"") && stored.contains("\"another\"") && !stored.contains("\"one\""));
    // One that is opened now knows them before the disk does, and one that is closed is told nothing any more.
    shown.page->bookmarks().add({{300, 4}, utf8("late"), {}});
    FilePage *const third = shown.window.open(path);
    shown.page->bookmarks().add({{400, 4}, utf8("later"), {}});
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(third->bookmarks().list().size(), size_t(4));
    QVERIFY(shown.perform(utf8("close")));
    shown.page->bookmarks().remove(3);
    QCOMPARE(other->bookmarks().list().size(), size_t(3));
    QVERIFY(shown.waitUntilIdle());
}

void ViewerBookmarksTest::bookmarksOfNoFile()
{
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle() && shown.perform(utf8("add-bookmark"), utf8("for now")));
    QCOMPARE(shown.page->bookmarks().list().size(), size_t(1));
    QVERIFY(storedNames().isEmpty());
}

void ViewerBookmarksTest::quickDigests()
{
    const std::atomic<bool> isCancelled{false};
    QString error;
    const auto digestOf = [&](qint64 size, const QByteArray &head = {}) {
        const auto file = makeFile(size);
        file->head = head;
        MadeUpSource source(file);
        return quickDigest(source, isCancelled, &error);
    };
    // Small files: SHA-256 of the size in decimal digits and all bytes.
    QByteArray bytes;
    for (int i = 0; i < 1000; ++i)
        bytes.append(char(i % 251));
    QCOMPARE(digestOf(1000), QCryptographicHash::hash("1000" + bytes, QCryptographicHash::Sha256).toHex());
    QCOMPARE(digestOf(0), QCryptographicHash::hash("0", QCryptographicHash::Sha256).toHex());
    const QByteArray large = digestOf(qint64(1) << 62);
    QCOMPARE(large.size(), 64);
    QVERIFY(large != digestOf((qint64(1) << 62) - 1));
    QVERIFY(large != digestOf(qint64(1) << 62, QByteArray(65'536, 'x')));
    const auto failing = makeFile(1000);
    failing->failsFrom = 0;
    MadeUpSource source(failing);
    QVERIFY(quickDigest(source, isCancelled, &error).isNull());
    QCOMPARE(error, utf8("the disk is on fire"));
}

QTEST_MAIN(ViewerBookmarksTest)
#include "tst_viewerbookmarks.moc"
