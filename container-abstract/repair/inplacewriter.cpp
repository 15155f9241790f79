#include "filepath.h"
#include "posixfile.h"
#include "recipewriter.h"
#include "undojournal.h"

#include <sys/file.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quenlofar {

namespace {

FileTime timeOf(const struct stat &facts)
{
    return {qint64(facts.st_mtim.tv_sec), quint32(facts.st_mtim.tv_nsec)};
}

WriteResult failure(const QString &text)
{
    return {text, false, false};
}

/// Opens the file that is to be changed, alone; an error where that cannot be.
PosixFile openTarget(const QString &path, struct stat *facts, QString *error)
{
    PosixFile file = openPosix(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (!file.isOpen()) {
        *error = errno == ELOOP ? path + QStringLiteral(": it is a symbolic link") : systemError(path);
        return {};
    }
    if (::flock(file.descriptor(), LOCK_EX | LOCK_NB) != 0) {
        *error = path + QStringLiteral(": another program has locked it");
        return {};
    }
    if (!file.stat(facts)) {
        *error = systemError(path);
        return {};
    }
    if (!S_ISREG(facts->st_mode)) {
        *error = path + QStringLiteral(": it is no regular file");
        return {};
    }
    return file;
}

/// What the recipe changes, with the bytes that stand there; false where they cannot be read.
bool fillJournal(const Recipe &recipe, const PosixFile &file, UndoJournal *journal)
{
    journal->oldSize = recipe.originalSize();
    journal->newSize = recipe.newSize();
    for (const Recipe::Piece &piece : recipe.pieces()) {
        if (!piece.isNew)
            continue;
        UndoJournal::Range range;
        range.offset = piece.offset;
        range.newBytes = recipe.newBytes().mid(int(piece.from), int(piece.size));
        if (piece.offset < recipe.originalSize()) {
            range.oldBytes.resize(int(piece.size));
            if (!file.readAll(piece.offset, range.oldBytes.data(), piece.size))
                return false;
        }
        journal->ranges.push_back(std::move(range));
    }
    return true;
}

/// Writes a new file with the journal, which is on the disk then; nothing is left of it on an error.
PosixFile writeJournal(const UndoJournal &journal, const QString &path, QString *error)
{
    constexpr unsigned ownerOnly = 0600;
    PosixFile file = openPosix(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, ownerOnly);
    if (!file.isOpen()) {
        *error = systemError(path);
        return {};
    }
    if (file.writeAll(0, journal.toBytes()) && file.sync() && syncDirectoryOf(path))
        return file;
    *error = systemError(path);
    ::unlink(pathToBytes(path).constData());
    return {};
}

/// Adds a mark behind what the journal has; false where it is not on the disk.
bool addMark(const PosixFile &journal, UndoJournal::State state, const FileTime &time)
{
    struct stat facts = {};
    if (!journal.stat(&facts))
        return false;
    return journal.writeAll(quint64(facts.st_size), UndoJournal::mark(state, time)) && journal.sync();
}

/// Appended bytes first, then changes from the end to the beginning.
bool makeChanges(const UndoJournal &journal, const PosixFile &file)
{
    for (const UndoJournal::Range &range : journal.ranges) {
        if (range.oldBytes.isEmpty() && !file.writeAll(range.offset, range.newBytes))
            return false;
    }
    if (!file.sync())
        return false;
    for (auto range = journal.ranges.rbegin(); range != journal.ranges.rend(); ++range) {
        if (!range->oldBytes.isEmpty() && !file.writeAll(range->offset, range->newBytes))
            return false;
    }
    return file.sync();
}

/// Whether the file can be one that the journal is about, as far as the work went.
bool isConcerned(const UndoJournal &journal, const PosixFile &file, const struct stat &facts)
{
    const auto size = quint64(facts.st_size);
    if (size < journal.oldSize || size > journal.newSize)
        return false;
    const bool isDone = journal.state == UndoJournal::State::Done;
    if (isDone && (size != journal.newSize || !(timeOf(facts) == journal.doneTime)))
        return false;
    int torn = 0; // ranges with some bytes of both
    QByteArray now;
    for (const UndoJournal::Range &range : journal.ranges) {
        if (range.oldBytes.isEmpty() && !isDone)
            continue; // what was appended is cut off, whatever it is
        now.resize(range.newBytes.size());
        if (!file.readAll(range.offset, now.data(), quint64(now.size())))
            return false;
        if (now == range.newBytes || (!isDone && now == range.oldBytes))
            continue;
        bool isBoth = !isDone;
        for (int at = 0; at < int(now.size()) && isBoth; ++at)
            isBoth = now[at] == range.newBytes[at] || now[at] == range.oldBytes[at];
        if (!isBoth || ++torn > 1)
            return false;
    }
    return true;
}

bool takeBack(const UndoJournal &journal, const PosixFile &file)
{
    for (const UndoJournal::Range &range : journal.ranges) {
        if (!range.oldBytes.isEmpty() && !file.writeAll(range.offset, range.oldBytes))
            return false;
    }
    if (!file.sync() || ::ftruncate(file.descriptor(), off_t(journal.oldSize)) != 0)
        return false;
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = time_t(journal.oldTime.seconds);
    times[1].tv_nsec = long(journal.oldTime.nanoseconds);
    return ::futimens(file.descriptor(), times) == 0 && file.sync();
}

/// " (pad-missing, list-order)": the rules of steps that move bytes.
QString movingRules(const Recipe &recipe)
{
    QStringList rules;
    for (const RecipeStep &step : recipe.steps()) {
        if (step.repair == Repair::Rewrite)
            rules += step.rules;
    }
    return rules.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(rules.join(QStringLiteral(", ")));
}

} // namespace

WriteResult writeInPlace(const Recipe &recipe, const QString &path, const QString &journalPath,
                         const WriteOptions &options)
{
    if (!recipe.movesNothing())
        return failure(path + QStringLiteral(": bytes have to move, which takes a copy") + movingRules(recipe));
    QString error;
    struct stat before = {};
    const PosixFile file = openTarget(path, &before, &error);
    if (!file.isOpen())
        return failure(error);
    if (before.st_nlink > 1 && !options.isForced)
        return failure(path + QStringLiteral(": it has several names (hard links), which all would change"));
    if (quint64(before.st_size) != recipe.originalSize())
        return failure(path + QStringLiteral(": it is not the file that was read"));
    UndoJournal journal;
    journal.oldTime = timeOf(before);
    if (!fillJournal(recipe, file, &journal))
        return failure(systemError(path));
    if (options.cancel && *options.cancel)
        return {{}, true, false};
    const PosixFile undoFile = writeJournal(journal, journalPath, &error);
    if (!undoFile.isOpen())
        return failure(error);
    struct stat now = {};
    if (!file.stat(&now) || !isUnchanged(before, now)) {
        ::unlink(pathToBytes(journalPath).constData());
        return failure(path + QStringLiteral(": it changed while its old bytes were kept"));
    }
    if (!makeChanges(journal, file)) {
        error = systemError(path);
        // What was written is taken back; where that fails too, the journal has it.
        const bool isTakenBack = takeBack(journal, file);
        if (isTakenBack)
            ::unlink(pathToBytes(journalPath).constData());
        return failure(isTakenBack ? error : error + QStringLiteral("; the old bytes are in ") + journalPath);
    }
    if (!file.stat(&now) || !addMark(undoFile, UndoJournal::State::Done, timeOf(now)))
        return failure(systemError(journalPath));
    return {};
}

WriteResult undo(const QString &journalPath, const QString &path)
{
    const PosixFile undoFile = openPosix(journalPath, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    struct stat facts = {};
    if (!undoFile.isOpen() || !undoFile.stat(&facts))
        return failure(systemError(journalPath));
    if (!S_ISREG(facts.st_mode) || quint64(facts.st_size) > UndoJournal::mostBytes)
        return failure(journalPath + QStringLiteral(": it is no journal of a repair"));
    QByteArray bytes(int(facts.st_size), '\0');
    if (!undoFile.readAll(0, bytes.data(), quint64(bytes.size())))
        return failure(systemError(journalPath));
    UndoJournal journal;
    QString error;
    if (!journal.fromBytes(bytes, &error))
        return failure(journalPath + QStringLiteral(": ") + error);
    const PosixFile file = openTarget(path, &facts, &error);
    if (!file.isOpen())
        return failure(error);
    if (!isConcerned(journal, file, facts))
        return failure(path + QStringLiteral(": it is not the file that the journal is about, or it has changed"));
    // From now on the file may have some bytes of both.
    if (!addMark(undoFile, UndoJournal::State::Undoing, timeOf(facts)))
        return failure(systemError(journalPath));
    if (!takeBack(journal, file))
        return failure(systemError(path));
    return {};
}

} // namespace quenlofar
