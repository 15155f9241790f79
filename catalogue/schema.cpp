#include "schema.h"

#include "filepath.h"
#include "filestamp.h"

#include <cerrno>
#include <iterator>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenlofar {

namespace {

// Each step leads from the schema of its place to the next one; a step that was ever in use never changes.
constexpr const char *schemaSteps[] = {
    R"(
CREATE TABLE run (
    id INTEGER PRIMARY KEY,
    since INTEGER NOT NULL,
    started INTEGER NOT NULL,
    finished INTEGER,
    program TEXT NOT NULL,
    rules TEXT NOT NULL,
    level TEXT NOT NULL,
    digest TEXT NOT NULL,
    found INTEGER,
    checked INTEGER
);
CREATE TABLE file (
    id INTEGER PRIMARY KEY,
    path BLOB NOT NULL UNIQUE,
    size INTEGER,
    mtime INTEGER,
    device INTEGER,
    inode INTEGER,
    digest_kind TEXT,
    digest TEXT,
    first_seen INTEGER NOT NULL,
    last_seen INTEGER NOT NULL,
    last_checked INTEGER,
    seen_run INTEGER NOT NULL,
    checked_run INTEGER,
    program TEXT,
    rules TEXT,
    level TEXT,
    status TEXT,
    trouble TEXT,
    verdict TEXT,
    container TEXT,
    writer TEXT,
    errors INTEGER,
    warnings INTEGER,
    notes INTEGER,
    change TEXT,
    changed_run INTEGER,
    moved_from BLOB,
    moved_run INTEGER,
    missing_run INTEGER
);
CREATE INDEX file_inode ON file (inode, device);
CREATE INDEX file_digest ON file (digest) WHERE digest IS NOT NULL;
CREATE TABLE stream (
    file INTEGER NOT NULL REFERENCES file (id) ON DELETE CASCADE,
    number INTEGER NOT NULL,
    kind TEXT NOT NULL,
    name TEXT,
    codec TEXT,
    codec_name TEXT,
    width INTEGER,
    height INTEGER,
    frame_rate REAL,
    sample_rate INTEGER,
    channels INTEGER,
    seconds REAL,
    PRIMARY KEY (file, number)
) WITHOUT ROWID;
CREATE TABLE finding (
    id INTEGER PRIMARY KEY,
    file INTEGER NOT NULL REFERENCES file (id) ON DELETE CASCADE,
    number INTEGER NOT NULL,
    caused_by INTEGER,
    rule TEXT NOT NULL,
    severity TEXT NOT NULL,
    confidence TEXT NOT NULL,
    repair TEXT NOT NULL,
    stream INTEGER,
    count INTEGER NOT NULL,
    offset INTEGER,
    message TEXT NOT NULL,
    first_run INTEGER NOT NULL
);
CREATE INDEX finding_file ON finding (file);
CREATE INDEX finding_first_run ON finding (first_run);
CREATE VIEW damaged AS
    SELECT CAST(file.path AS TEXT) AS path, file.errors, file.warnings,
        (SELECT message FROM finding WHERE finding.file = file.id AND severity = 'error' ORDER BY number LIMIT 1)
            AS message,
        datetime(file.last_checked / 1000000000, 'unixepoch') AS last_checked
    FROM file WHERE verdict = 'damaged' AND missing_run IS NULL ORDER BY file.path;
CREATE VIEW new_findings AS
    SELECT CAST(file.path AS TEXT) AS path, finding.severity, finding.rule, finding.stream, finding.count,
        finding.offset, finding.message
    FROM finding JOIN file ON file.id = finding.file
    WHERE finding.first_run > (SELECT since FROM run ORDER BY id DESC LIMIT 1) AND file.missing_run IS NULL
    ORDER BY file.path, finding.number;
CREATE VIEW changed AS
    SELECT CAST(path AS TEXT) AS path, change, changed_run,
        changed_run > (SELECT since FROM run ORDER BY id DESC LIMIT 1) AS is_new
    FROM file WHERE changed_run IS NOT NULL ORDER BY file.path;
CREATE VIEW missing AS
    SELECT CAST(path AS TEXT) AS path, datetime(last_seen / 1000000000, 'unixepoch') AS last_seen,
        missing_run > (SELECT since FROM run ORDER BY id DESC LIMIT 1) AS is_new
    FROM file WHERE missing_run IS NOT NULL ORDER BY file.path;
CREATE VIEW moved AS
    SELECT CAST(moved_from AS TEXT) AS moved_from, CAST(path AS TEXT) AS path, moved_run,
        moved_run > (SELECT since FROM run ORDER BY id DESC LIMIT 1) AS is_new
    FROM file WHERE moved_run IS NOT NULL ORDER BY file.path;
CREATE VIEW not_checked AS
    SELECT CAST(path AS TEXT) AS path, status, trouble
    FROM file WHERE (checked_run IS NULL OR status = 'unreadable') AND missing_run IS NULL ORDER BY file.path;
)",
};
static_assert(std::size(schemaSteps) == catalogueSchemaVersion, "the last step leads to the current schema");

[[noreturn]] void fail(const QString &path, const QString &why)
{
    throw CatalogueError(QStringLiteral("%1: %2").arg(path, why));
}

/// Whether a file is there that is not empty; it then begins as databases of SQLite do.
bool isDatabaseFile(const QString &path)
{
    const QByteArray name = pathToBytes(path);
    struct stat found = {};
    if (::stat(name.constData(), &found) != 0) {
        if (errno == ENOENT)
            return false;
        fail(path, errnoText(errno));
    }
    if (!S_ISREG(found.st_mode))
        fail(path, QStringLiteral("not a regular file"));
    if (found.st_size == 0)
        return false;
    // Closed before SQLite opens the file: closing it later would give up SQLite's locks.
    const int descriptor = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        fail(path, errnoText(errno));
    constexpr std::string_view mark("SQLite format 3", 16); // the zero byte behind it counts
    char begin[mark.size()] = {};
    const ssize_t count = ::read(descriptor, begin, sizeof begin);
    const int error = errno;
    ::close(descriptor);
    if (count < 0)
        fail(path, errnoText(error));
    if (size_t(count) != mark.size() || std::string_view(begin, sizeof begin) != mark)
        fail(path, QStringLiteral("not a database; nothing in it was changed"));
    return true;
}

/// Bytes of the file `name`; -1 where there is none.
qint64 sizeOf(const QByteArray &name)
{
    struct stat found = {};
    return ::stat(name.constData(), &found) == 0 ? qint64(found.st_size) : -1;
}

/// SQLite makes files beside a database, also to read it. Where it cannot, all that is known stands in the database
/// itself, unless the log of a run is left beside it.
std::unique_ptr<Database> openToRead(const QString &path)
{
    const QByteArray name = pathToBytes(path);
    // A run was killed as it made the database: nothing is in it yet, and who only reads cannot tidy up.
    if (sizeOf(name + "-journal") >= 0)
        return std::make_unique<Database>(path, Database::Access::ReadAlone);
    const QByteArray directory = name.left(name.lastIndexOf('/') + 1) + '.';
    const bool hasIndex = sizeOf(name + "-shm") >= 0; // of the log: a run is at work, or was killed just now
    if (hasIndex || ::faccessat(AT_FDCWD, directory.constData(), W_OK, AT_EACCESS) == 0)
        return std::make_unique<Database>(path, Database::Access::Read);
    if (sizeOf(name + "-wal") > 0) {
        fail(
            path,
            QStringLiteral("a run on it was killed, and its log cannot be read where nothing can be written; copy both "
                           "files, or let a run come to its end"));
    }
    return std::make_unique<Database>(path, Database::Access::ReadAlone);
}

CatalogueState stateOf(Database &database, const QString &path)
{
    const qint64 application = database.number("PRAGMA application_id");
    const qint64 version = database.number("PRAGMA user_version");
    if (application == 0 && version == 0 && database.number("SELECT count(*) FROM sqlite_schema") == 0)
        return CatalogueState::None; // made, and not come further
    if (application != catalogueApplicationId)
        fail(path, QStringLiteral("a database of another program; nothing in it was changed"));
    if (version < 1) {
        fail(path,
             QStringLiteral("a catalogue of schema %1, which there never was; nothing in it was changed").arg(version));
    }
    if (version > catalogueSchemaVersion) {
        fail(path,
             QStringLiteral("a catalogue of schema %1, made by a newer version of this program, which knows schemas up "
                            "to %2; nothing in it was changed")
                 .arg(version)
                 .arg(catalogueSchemaVersion));
    }
    return CatalogueState::Ours;
}

} // namespace

CatalogueState catalogueState(const QString &path)
{
    if (!isDatabaseFile(path))
        return CatalogueState::None;
    return stateOf(*openToRead(path), path);
}

std::unique_ptr<Database> openCatalogueToRead(const QString &path)
{
    if (catalogueState(path) == CatalogueState::None)
        fail(path, QStringLiteral("there is no catalogue"));
    return openToRead(path);
}

std::unique_ptr<Database> openCatalogueToWrite(const QString &path)
{
    catalogueState(path);
    auto database = std::make_unique<Database>(path, Database::Access::Create);
    if (database->isReadOnly())
        fail(path, QStringLiteral("cannot be written"));
    // Readers do not wait for the writer, and a commit costs no wait for the disk; what is killed leaves a whole
    // database.
    database->execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON");
    stateOf(*database, path);
    migrate(*database, std::vector<QByteArray>(std::begin(schemaSteps), std::end(schemaSteps)));
    return database;
}

void migrate(Database &database, const std::vector<QByteArray> &steps)
{
    Transaction transaction(database);
    const qint64 present = database.number("PRAGMA user_version");
    const auto last = qint64(steps.size());
    for (qint64 step = present; step < last; ++step)
        database.execute(steps[size_t(step)]);
    if (present < last) {
        database.execute(QByteArray("PRAGMA application_id = ") + QByteArray::number(catalogueApplicationId));
        database.execute(QByteArray("PRAGMA user_version = ") + QByteArray::number(last));
    }
    transaction.commit();
}

} // namespace quenlofar
