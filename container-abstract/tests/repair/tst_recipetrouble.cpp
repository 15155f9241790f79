#include "recipewriter.h"
#include "repairfiles.h"
#include "undojournal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <memory>

using namespace quenlofar;

namespace {

/// Writes of this process end at `bytes` in every file, as on a disk that is full from there on.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(qint64 bytes)
    {
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {rlim_t(bytes), m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    using Handler = void (*)(int);
    Handler m_handler = SIG_DFL;
    rlimit m_before = {};
};

/// 8000 bytes of which two ranges change, and an index that is appended.
const QByteArray original = QByteArray(100, 'a') + QByteArray(7800, 'b') + QByteArray(100, 'c');
const QByteArray changed = "RIFF" + QByteArray(96, 'a') + QByteArray(7800, 'b') + QByteArray(96, 'c') + "LIST" + "idx1";

Recipe changes()
{
    Recipe recipe(quint64(original.size()));
    const quint32 step = recipe.addStep({});
    recipe.replace(0, "RIFF", step);
    recipe.replace(7996, "LIST", step);
    recipe.insert(8000, "idx1", step);
    return recipe;
}

constexpr int markSize = 32; // of a journal

quint64 deviceOf(const QString &path)
{
    struct stat facts = {};
    return ::stat(QFile::encodeName(path).constData(), &facts) == 0 ? quint64(facts.st_dev) : 0;
}

} // namespace

/// What becomes of files where the system does not do what it is asked to.
class TestRecipeTrouble : public QObject, private RepairFiles
{
    Q_OBJECT

private Q_SLOTS:
    void init() { make(original); }

    void aCopyOnAnotherFileSystem()
    {
        const QTemporaryDir other(QStringLiteral("/dev/shm/quenlofar-test-XXXXXX"));
        if (!other.isValid() || deviceOf(other.path()) == deviceOf(m_file))
            QSKIP("there is no other file system");
        const QString copy = other.filePath(QStringLiteral("mended.avi"));
        const WriteResult there = writeCopy(changes(), m_file, copy, {});
        QVERIFY2(there.isDone(), qPrintable(there.error));
        QVERIFY(!there.sharesExtents);
        QCOMPARE(bytesOf(copy), changed);
        const WriteResult back = writeCopy(Recipe(quint64(changed.size())), copy, m_copy, {});
        QVERIFY2(back.isDone(), qPrintable(back.error));
        QCOMPARE(bytesOf(m_copy), changed);
    }

    void namesWithoutADirectory()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_directory->path()));
        const WriteResult result = writeCopy(changes(), QStringLiteral("film.avi"), QStringLiteral("mended.avi"), {});
        QVERIFY(QDir::setCurrent(before));
        QVERIFY2(result.isDone(), qPrintable(result.error));
        QCOMPARE(bytesOf(m_copy), changed);
    }

    void howFarACopyIsCanBeFollowed()
    {
        Recipe recipe(quint64(original.size()));
        recipe.insert(4, "new", recipe.addStep({}));
        std::atomic<quint64> written{0};
        WalkProgress progress;
        WriteOptions options;
        options.written = &written;
        options.progress = &progress;
        QVERIFY(writeCopy(recipe, m_file, m_copy, options).isDone());
        QCOMPARE(written.load(), quint64(8003));
        QCOMPARE(progress.position.load(), qint64(8003));
    }

    /// Where it ends: in bytes that are copied, or in new ones.
    void aCopyThatDoesNotFitLeavesNothing_data()
    {
        QTest::addColumn<int>("room");
        QTest::newRow("nothing") << 0;
        QTest::newRow("in new bytes") << 2;
        QTest::newRow("in copied bytes") << 5000;
        QTest::newRow("in what is appended") << 8002;
    }
    void aCopyThatDoesNotFitLeavesNothing()
    {
        QFETCH(int, room);
        WriteResult result;
        {
            const FileSizeLimit limit(room);
            result = writeCopy(changes(), m_file, m_copy, {});
        }
        QCOMPARE(result.error, m_copy + QStringLiteral(": File too large"));
        QVERIFY(!result.isDone());
        QCOMPARE(names(), QStringList(QStringLiteral("film.avi")));
        QCOMPARE(bytesOf(m_file), original);
    }

    void aDirectoryIsNotReplaced()
    {
        QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("mended.avi")));
        WriteOptions forced;
        forced.isForced = true;
        const WriteResult result = writeCopy(changes(), m_file, m_copy, forced);
        QCOMPARE(result.error, m_copy + QStringLiteral(": Is a directory"));
        QVERIFY(QFileInfo(m_copy).isDir());
        QCOMPARE(names(), QStringList(QStringLiteral("film.avi")));
    }

    void withoutRoomForTheJournalNothingChanges()
    {
        WriteResult result;
        {
            const FileSizeLimit limit(60);
            result = writeInPlace(changes(), m_file, m_journal, {});
        }
        QCOMPARE(result.error, m_journal + QStringLiteral(": File too large"));
        QCOMPARE(bytesOf(m_file), original);
        QVERIFY(!QFile::exists(m_journal));
    }

    /// Appended bytes come first, then changes from the end to the beginning.
    void changesThatDoNotFitAreTakenBack()
    {
        WriteResult result;
        {
            const FileSizeLimit limit(8002);
            result = writeInPlace(changes(), m_file, m_journal, {});
        }
        QCOMPARE(result.error, m_file + QStringLiteral(": File too large"));
        QCOMPARE(bytesOf(m_file), original);
        QVERIFY(!QFile::exists(m_journal));
    }

    void whereTakingBackFailsTheJournalStays()
    {
        // Neither the change at 7996 nor its old bytes can be written.
        Recipe recipe(quint64(original.size()));
        recipe.replace(7996, "LIST", recipe.addStep({}));
        WriteResult result;
        {
            const FileSizeLimit limit(4096);
            result = writeInPlace(recipe, m_file, m_journal, {});
        }
        QCOMPARE(result.error, m_file + QStringLiteral(": File too large; the old bytes are in ") + m_journal);
        QVERIFY(QFile::exists(m_journal));
        QVERIFY(undo(m_journal, m_file).isDone());
        QCOMPARE(bytesOf(m_file), original);
    }

    /// The file of 40 bytes is changed, and nothing says so but the journal without the mark, or with a part of it.
    void aMarkThatCannotBeWritten_data()
    {
        QTest::addColumn<int>("room");
        QTest::newRow("none of it") << 0;
        QTest::newRow("a part") << 10;
    }
    void aMarkThatCannotBeWritten()
    {
        QFETCH(int, room);
        const QByteArray small(40, 'x');
        put(m_file, small);
        Recipe recipe(40);
        recipe.replace(8, "abcd", recipe.addStep({}));
        QVERIFY(writeInPlace(recipe, m_file, m_journal, {}).isDone());
        const int size = int(bytesOf(m_journal).size()) - markSize;
        QVERIFY(undo(m_journal, m_file).isDone());
        QVERIFY(QFile::remove(m_journal));

        WriteResult result;
        {
            const FileSizeLimit limit(size + room);
            result = writeInPlace(recipe, m_file, m_journal, {});
        }
        QCOMPARE(result.error, m_journal + QStringLiteral(": File too large"));
        QCOMPARE(bytesOf(m_file), "xxxxxxxxabcd" + QByteArray(28, 'x'));
        QCOMPARE(int(bytesOf(m_journal).size()), size + room);
        QVERIFY(undo(m_journal, m_file).isDone());
        QCOMPARE(bytesOf(m_file), small);
    }

    void undoingThatCannotBeMarkedDoesNotBegin()
    {
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        WriteResult result;
        {
            const FileSizeLimit limit(bytesOf(m_journal).size());
            result = undo(m_journal, m_file);
        }
        QCOMPARE(result.error, m_journal + QStringLiteral(": File too large"));
        QCOMPARE(bytesOf(m_file), changed);
    }

    void undoingThatFailsCanBeDoneAgain()
    {
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        WriteResult result;
        {
            const FileSizeLimit limit(4096);
            result = undo(m_journal, m_file);
        }
        QCOMPARE(result.error, m_file + QStringLiteral(": File too large"));
        QVERIFY(undo(m_journal, m_file).isDone());
        QCOMPARE(bytesOf(m_file), original);
    }

    void severalNamesChangeByForce()
    {
        const QString name = m_directory->filePath(QStringLiteral("name"));
        QCOMPARE(::link(QFile::encodeName(m_file).constData(), QFile::encodeName(name).constData()), 0);
        WriteOptions forced;
        forced.isForced = true;
        QVERIFY(writeInPlace(changes(), m_file, m_journal, forced).isDone());
        QCOMPARE(bytesOf(name), changed);
    }

    void aCancelBeforeTheJournalLeavesNothing()
    {
        const std::atomic<bool> cancel{true};
        WriteOptions options;
        options.cancel = &cancel;
        const WriteResult result = writeInPlace(changes(), m_file, m_journal, options);
        QVERIFY(result.isCancelled);
        QVERIFY(result.error.isNull());
        QCOMPARE(bytesOf(m_file), original);
        QVERIFY(!QFile::exists(m_journal));
    }

    /// A power failure tears one write at most.
    void twoTornRangesAreAnotherFile()
    {
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        const QByteArray journal = bytesOf(m_journal);
        const auto undone = [&](const QByteArray &bytes) {
            put(m_journal, journal.left(journal.size() - markSize));
            put(m_file, bytes);
            return undo(m_journal, m_file).error;
        };
        QByteArray torn = changed;
        torn[0] = 'a';
        QCOMPARE(undone(torn), QString());
        QCOMPARE(bytesOf(m_file), original);
        torn[7999] = 'c';
        const QString refusal =
            m_file + QStringLiteral(": it is not the file that the journal is about, or it has changed");
        QCOMPARE(undone(torn), refusal);
        QCOMPARE(bytesOf(m_file), torn);
        // Neither the old byte nor the new one.
        QByteArray other = changed;
        other[1] = 'z';
        QCOMPARE(undone(other), refusal);
        QCOMPARE(bytesOf(m_file), other);
    }

    void aFileThatWasWrittenToSinceIsLeftAlone()
    {
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        // The bytes are those that the journal knows; the time is not.
        const timespec times[2] = {{1, 0}, {2, 0}};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(m_file).constData(), times, 0), 0);
        QVERIFY(undo(m_journal, m_file).error.endsWith(QLatin1String("or it has changed")));
        QCOMPARE(bytesOf(m_file), changed);
    }

    void whatIsNoJournal()
    {
        const QString none = m_directory->filePath(QStringLiteral("none"));
        QCOMPARE(undo(none, m_file).error, none + QStringLiteral(": No such file or directory"));
        QCOMPARE(undo(m_directory->path(), m_file).error, m_directory->path() + QStringLiteral(": Is a directory"));
        const QString pipe = m_directory->filePath(QStringLiteral("pipe"));
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QCOMPARE(undo(pipe, m_file).error, pipe + QStringLiteral(": it is no journal of a repair"));
        QFile large(m_journal);
        QVERIFY(large.open(QIODevice::WriteOnly) && large.resize((qint64(1) << 30) + 1)); // a hole
        large.close();
        QCOMPARE(undo(m_journal, m_file).error, m_journal + QStringLiteral(": it is no journal of a repair"));
    }

    void whatIsNoFileToChange()
    {
        const QString pipe = m_directory->filePath(QStringLiteral("pipe"));
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QCOMPARE(writeInPlace(changes(), pipe, m_journal, {}).error, pipe + QStringLiteral(": it is no regular file"));
        QVERIFY(!QFile::exists(m_journal));
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        const QString none = m_directory->filePath(QStringLiteral("none"));
        QCOMPARE(undo(m_journal, none).error, none + QStringLiteral(": No such file or directory"));
        QCOMPARE(writeCopy(changes(), pipe, m_copy, {}).error,
                 pipe + QStringLiteral(": it is not the file that was read"));
    }

    void marksOfAJournalAreChecked()
    {
        UndoJournal good;
        good.oldSize = 10;
        good.newSize = 10;
        good.ranges = {{2, "ab", "cd"}};
        const QByteArray bytes = good.toBytes();
        const QByteArray done = UndoJournal::mark(UndoJournal::State::Done, {5, 6});
        const QByteArray undoing = UndoJournal::mark(UndoJournal::State::Undoing, {7, 8});
        UndoJournal journal;
        QString error;
        QVERIFY(journal.fromBytes(bytes + done + undoing, &error));
        QCOMPARE(int(journal.state), int(UndoJournal::State::Undoing));
        QVERIFY((journal.doneTime == FileTime{5, 6}));
        QVERIFY(!(journal.doneTime == FileTime{5, 7}));
        QVERIFY(!(journal.doneTime == FileTime{4, 6}));
        QByteArray torn = done;
        torn[3] = 1;
        QVERIFY(journal.fromBytes(bytes + torn, &error)); // the last one
        QCOMPARE(int(journal.state), int(UndoJournal::State::Begun));
        QVERIFY(!journal.fromBytes(bytes + torn + undoing, &error));
        QCOMPARE(error, QStringLiteral("the marks of the journal are not whole"));
        QVERIFY(!journal.fromBytes(bytes + UndoJournal::mark(UndoJournal::State(7), {}), &error));
        QCOMPARE(error, QStringLiteral("the marks of the journal are not whole"));
    }

    void numbersOfAJournalAreChecked()
    {
        UndoJournal good;
        good.oldSize = 10;
        good.newSize = 10;
        UndoJournal read;
        QString error;
        QVERIFY(read.fromBytes(good.toBytes(), &error));
        UndoJournal late = good;
        late.oldTime.nanoseconds = 1'000'000'000;
        QVERIFY(!read.fromBytes(late.toBytes(), &error));
        QCOMPARE(error, QStringLiteral("the journal contradicts itself"));
        UndoJournal large = good;
        large.newSize = quint64(1) << 63;
        QVERIFY(!read.fromBytes(large.toBytes(), &error));
        QCOMPARE(error, QStringLiteral("the journal contradicts itself"));
    }
};

QTEST_APPLESS_MAIN(TestRecipeTrouble)
#include "tst_recipetrouble.moc"
