#include "recipewriter.h"
#include "repairfiles.h"
#include "undojournal.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/file.h>
#include <sys/stat.h>

#include <unistd.h>

using namespace quenlofar;

namespace {

const QByteArray original = "RIFF....AVI LIST and a film in it";

/// "RIFF" gets a size, "film" becomes "Film", and four bytes are appended.
Recipe changes()
{
    Recipe recipe(quint64(original.size()));
    const quint32 step = recipe.addStep({{QStringLiteral("size-open")}, {}, Repair::Append, QStringLiteral("test")});
    recipe.replace(4, QByteArray("\1\2\3\4", 4), step);
    recipe.replace(23, "F", step);
    recipe.insert(quint64(original.size()), "idx1", step);
    return recipe;
}
const QByteArray changed = QByteArray("RIFF\1\2\3\4") + "AVI LIST and a Film in itidx1";

} // namespace

class TestRecipeWriter : public QObject, private RepairFiles
{
    Q_OBJECT

private Q_SLOTS:
    void init() { make(original); }

    void aCopyHasTheNewBytes()
    {
        QVERIFY(QFile::setPermissions(m_file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
        std::atomic<quint64> written{0};
        WriteOptions options;
        options.written = &written;
        const WriteResult result = writeCopy(changes(), m_file, m_copy, options);
        QVERIFY2(result.isDone(), qPrintable(result.error));
        QCOMPARE(bytesOf(m_copy), changed);
        QCOMPARE(bytesOf(m_file), original);
        struct stat facts = {};
        QCOMPARE(::stat(QFile::encodeName(m_copy).constData(), &facts), 0);
        QCOMPARE(int(facts.st_mode & 0777), 0640);
        QCOMPARE(names(), QStringList({QStringLiteral("film.avi"), QStringLiteral("mended.avi")}));
    }

    void aCopyMovesBytes()
    {
        Recipe recipe(quint64(original.size()));
        const quint32 step = recipe.addStep({});
        recipe.insert(12, "JUNK", step);
        recipe.copy({16, 4}, 0, step);
        const WriteResult result = writeCopy(recipe, m_file, m_copy, {});
        QVERIFY2(result.isDone(), qPrintable(result.error));
        QVERIFY(!result.sharesExtents);
        QCOMPARE(bytesOf(m_copy), QByteArray(" andRIFF....AVI JUNKLIST and a film in it"));
    }

    void holesStayHoles()
    {
        constexpr qint64 size = qint64(1) << 30;
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(size) && file.seek(size - 4));
        QCOMPARE(file.write("last"), qint64(4));
        file.close();
        Recipe recipe{quint64(size)};
        recipe.insert(4, "new", recipe.addStep({}));
        const WriteResult result = writeCopy(recipe, m_file, m_copy, {});
        QVERIFY2(result.isDone(), qPrintable(result.error));
        QFile copy(m_copy);
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.size(), size + 3);
        QCOMPARE(copy.read(11), QByteArray("RIFFnew...."));
        QVERIFY(copy.seek(size - 1));
        QCOMPARE(copy.readAll(), QByteArray("last"));
        struct stat facts = {};
        QCOMPARE(::stat(QFile::encodeName(m_copy).constData(), &facts), 0);
        QVERIFY(facts.st_blocks * 512 < size / 2);
    }

    void anExistingNameIsTakenOnlyByForce()
    {
        put(m_copy, "something else");
        QCOMPARE(writeCopy(changes(), m_file, m_copy, {}).error, m_copy + QStringLiteral(": it exists already"));
        QCOMPARE(bytesOf(m_copy), QByteArray("something else"));
        WriteOptions forced;
        forced.isForced = true;
        QVERIFY(writeCopy(changes(), m_file, m_copy, forced).isDone());
        QCOMPARE(bytesOf(m_copy), changed);
        // The original is never replaced.
        QCOMPARE(writeCopy(changes(), m_file, m_file, forced).error, m_file + QStringLiteral(": it is the original"));
        QCOMPARE(bytesOf(m_file), original);
    }

    void whatCannotBeCopiedIsSaid()
    {
        put(m_file, original + "more");
        QVERIFY(writeCopy(changes(), m_file, m_copy, {}).error.endsWith(QLatin1String("not the file that was read")));
        QVERIFY(!writeCopy(changes(), m_directory->filePath(QStringLiteral("none")), m_copy, {}).error.isNull());
        put(m_file, original);
        QVERIFY(!writeCopy(changes(), m_file, m_directory->filePath(QStringLiteral("none/mended")), {}).error.isNull());
        const std::atomic<bool> cancel{true};
        WriteOptions cancelled;
        cancelled.cancel = &cancel;
        QVERIFY(writeCopy(changes(), m_file, m_copy, cancelled).isCancelled);
        QCOMPARE(names(), QStringList(QStringLiteral("film.avi")));
    }

    void changesInPlaceAreTakenBack()
    {
        timespec times[2] = {{1, 0}, {1'000'000'000, 123'456'789}};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(m_file).constData(), times, 0), 0);
        const WriteResult result = writeInPlace(changes(), m_file, m_journal, {});
        QVERIFY2(result.isDone(), qPrintable(result.error));
        QCOMPARE(bytesOf(m_file), changed);
        struct stat facts = {};
        QCOMPARE(::stat(QFile::encodeName(m_journal).constData(), &facts), 0);
        QCOMPARE(int(facts.st_mode & 0777), 0600);

        const WriteResult back = undo(m_journal, m_file);
        QVERIFY2(back.isDone(), qPrintable(back.error));
        QCOMPARE(bytesOf(m_file), original);
        QCOMPARE(::stat(QFile::encodeName(m_file).constData(), &facts), 0);
        QCOMPARE(qint64(facts.st_mtim.tv_sec), qint64(1'000'000'000));
        QCOMPARE(qint64(facts.st_mtim.tv_nsec), qint64(123'456'789));
        // Again: nothing is left to take back, and nothing is harmed.
        QVERIFY(undo(m_journal, m_file).isDone());
        QCOMPARE(bytesOf(m_file), original);
    }

    /// The journal without its marks, and the file after any number of the writes.
    void interruptedChangesAreTakenBack_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("none") << original;
        QTest::newRow("appended") << original + "idx1";
        QTest::newRow("half appended") << original + "id";
        QByteArray late = original + "idx1";
        late[23] = 'F';
        QTest::newRow("the last patch") << late;
        QByteArray torn = late;
        torn[4] = '\1';
        QTest::newRow("a torn patch") << torn;
        QTest::newRow("all") << changed;
    }

    void interruptedChangesAreTakenBack()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        constexpr int markSize = 32;
        const QByteArray journal = bytesOf(m_journal);
        put(m_journal, journal.left(journal.size() - markSize));
        put(m_file, bytes);
        const WriteResult result = undo(m_journal, m_file);
        QVERIFY2(result.isDone(), qPrintable(result.error));
        QCOMPARE(bytesOf(m_file), original);
    }

    void anotherFileIsLeftAlone()
    {
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        QByteArray other = changed;
        other[5] = 'x';
        const auto isRefused = [this](const QByteArray &bytes) {
            put(m_file, bytes);
            return !undo(m_journal, m_file).isDone() && bytesOf(m_file) == bytes;
        };
        QVERIFY(isRefused(other));
        QVERIFY(isRefused(changed + "and more"));
        QVERIFY(isRefused(original.left(10)));
        QVERIFY(isRefused(QByteArray()));
    }

    void whatCannotBeChangedInPlaceIsSaid()
    {
        const auto errorOf = [this](const QString &path, bool force = false) {
            WriteOptions options;
            options.isForced = force;
            return writeInPlace(changes(), path, m_journal, options).error;
        };
        const QString link = m_directory->filePath(QStringLiteral("link"));
        QVERIFY(QFile::link(m_file, link));
        QVERIFY(errorOf(link).endsWith(QLatin1String("symbolic link")));
        const QString name = m_directory->filePath(QStringLiteral("name"));
        QCOMPARE(::link(QFile::encodeName(m_file).constData(), QFile::encodeName(name).constData()), 0);
        QVERIFY(errorOf(m_file).contains(QLatin1String("several names")));
        QVERIFY(QFile::remove(name));
        QVERIFY(errorOf(m_directory->path()).contains(m_directory->path()));
        QFile locked(m_file);
        QVERIFY(locked.open(QIODevice::ReadOnly));
        QCOMPARE(::flock(locked.handle(), LOCK_EX), 0);
        QVERIFY(errorOf(m_file).endsWith(QLatin1String("locked it")));
        locked.close();
        put(m_journal, "another journal");
        QVERIFY(!errorOf(m_file).isNull());
        QCOMPARE(bytesOf(m_journal), QByteArray("another journal"));
        QVERIFY(QFile::remove(m_journal));
        put(m_file, original + "more");
        QVERIFY(errorOf(m_file).endsWith(QLatin1String("not the file that was read")));
        put(m_file, original);
        Recipe moving(quint64(original.size()));
        moving.insert(4, "new", moving.addStep({}));
        QVERIFY(!writeInPlace(moving, m_file, m_journal, {}).isDone());
        QCOMPARE(bytesOf(m_file), original);
        QVERIFY(!QFile::exists(m_journal));
    }

    void everyPartOfAJournalIsChecked()
    {
        QVERIFY(writeInPlace(changes(), m_file, m_journal, {}).isDone());
        const QByteArray whole = bytesOf(m_journal);
        constexpr int markSize = 32;
        const int body = int(whole.size()) - markSize;
        UndoJournal journal;
        QString error;
        QVERIFY(journal.fromBytes(whole, &error));
        QCOMPARE(int(journal.state), int(UndoJournal::State::Done));
        QCOMPARE(journal.oldSize, quint64(33));
        QCOMPARE(journal.newSize, quint64(37));
        QCOMPARE(journal.ranges.size(), size_t(3));
        QCOMPARE(journal.ranges[0].offset, quint64(4));
        QCOMPARE(journal.ranges[0].oldBytes, QByteArray("...."));
        QCOMPARE(journal.ranges[2].offset, quint64(33));
        QCOMPARE(journal.ranges[2].newBytes, QByteArray("idx1"));
        for (int size = 0; size < body; ++size)
            QVERIFY(!journal.fromBytes(whole.left(size), &error));
        for (int at = 0; at < body; ++at) {
            QByteArray bytes = whole;
            bytes[at] = char(bytes[at] ^ 1);
            QVERIFY(!journal.fromBytes(bytes, &error));
        }
        // A mark that was torn off is none.
        for (int size = body; size < whole.size(); ++size) {
            QVERIFY(journal.fromBytes(whole.left(size), &error));
            QCOMPARE(int(journal.state), int(UndoJournal::State::Begun));
        }
    }

    void journalsThatContradictThemselvesAreRefused()
    {
        UndoJournal good;
        good.oldSize = 10;
        good.newSize = 12;
        good.ranges = {{2, "ab", "cd"}, {10, {}, "xy"}};
        UndoJournal read;
        QString error;
        QVERIFY(read.fromBytes(good.toBytes(), &error));
        const auto isRefused = [&](const std::vector<UndoJournal::Range> &ranges, quint64 newSize = 12) {
            UndoJournal bad = good;
            bad.ranges = ranges;
            bad.newSize = newSize;
            return !read.fromBytes(bad.toBytes(), &error) && error == QLatin1String("the journal contradicts itself");
        };
        QVERIFY(isRefused({{2, "ab", "c"}})); // not as many
        QVERIFY(isRefused({{9, "ab", "cd"}})); // over the old end
        QVERIFY(isRefused({{2, "ab", "cd"}, {3, "ab", "cd"}})); // overlapping
        QVERIFY(isRefused({{4, "ab", "cd"}, {2, "ab", "cd"}})); // not ascending
        QVERIFY(isRefused({{11, {}, "xy"}})); // over the new end
        QVERIFY(isRefused({{2, {}, "xy"}})); // appended inside
        QVERIFY(isRefused({{2, {}, {}}})); // nothing
        QVERIFY(isRefused({}, 9)); // shorter than before
        QVERIFY(isRefused({{~quint64(0), "ab", "cd"}}));
    }
};

QTEST_APPLESS_MAIN(TestRecipeWriter)
#include "tst_recipewriter.moc"
