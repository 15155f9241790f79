// How a catalogue of an older schema is brought to a newer one: all of it, or nothing.
#include "database.h"
#include "schema.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>
#include <vector>

using namespace quenlofar;

namespace {

/// Columns of the table of files that are called `name`: 0 or 1.
qint64 columns(Database &database, const QByteArray &name)
{
    return database.number("SELECT count(*) FROM pragma_table_info('file') WHERE name = '" + name + "'");
}

} // namespace

class MigrationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void stepsThatAreDoneAreNotRepeated();
    void aStepThatFailsTakesAllBack();
    void nothingIsLeftToDo();
    void anEmptyDatabaseGoesAllTheWay();

private:
    /// A catalogue of the present schema, with a file in it.
    std::unique_ptr<Database> catalogue();

    std::optional<QTemporaryDir> m_directory;
};

void MigrationTest::init()
{
    m_directory.emplace();
}

void MigrationTest::cleanup()
{
    m_directory.reset();
}

std::unique_ptr<Database> MigrationTest::catalogue()
{
    std::unique_ptr<Database> database = openCatalogueToWrite(m_directory->filePath(QStringLiteral("catalogue")));
    database->execute("INSERT INTO file (path, size, first_seen, last_seen, seen_run) "
                      "VALUES (CAST('/archive/a.avi' AS BLOB), 4711, 1, 2, 3)");
    return database;
}

void MigrationTest::stepsThatAreDoneAreNotRepeated()
{
    const std::unique_ptr<Database> database = catalogue();
    QCOMPARE(database->number("PRAGMA user_version"), qint64(1));
    migrate(*database,
            {"this is no SQL", "ALTER TABLE file ADD COLUMN colour TEXT; UPDATE file SET colour = 'red'",
             "UPDATE file SET colour = colour || ' and blue'"});
    QCOMPARE(database->number("PRAGMA user_version"), qint64(3));
    QCOMPARE(database->number("PRAGMA application_id"), qint64(0x516C6672));
    Statement file = database->prepare("SELECT path, size, colour FROM file");
    QVERIFY(file.next());
    QCOMPARE(file.bytes(0), QByteArray("/archive/a.avi"));
    QCOMPARE(file.number(1), qint64(4711));
    QCOMPARE(file.text(2), QStringLiteral("red and blue"));
    QVERIFY(!file.next());
}

void MigrationTest::aStepThatFailsTakesAllBack()
{
    const std::unique_ptr<Database> database = catalogue();
    bool hasFailed = false;
    try {
        migrate(*database,
                {"this is no SQL", "ALTER TABLE file ADD COLUMN colour TEXT; DELETE FROM file",
                 "UPDATE nowhere SET size = 1"});
    } catch (const CatalogueError &) {
        hasFailed = true;
    }
    QVERIFY(hasFailed);
    QCOMPARE(database->number("PRAGMA user_version"), qint64(1));
    QCOMPARE(columns(*database, "colour"), qint64(0));
    QCOMPARE(database->number("SELECT size FROM file"), qint64(4711));
    database->execute("UPDATE file SET size = 4712"); // the database can be used on
    QCOMPARE(database->number("SELECT size FROM file"), qint64(4712));
}

void MigrationTest::nothingIsLeftToDo()
{
    const std::unique_ptr<Database> database = catalogue();
    const qint64 cookie = database->number("PRAGMA schema_version");
    migrate(*database, {"this is no SQL"});
    QCOMPARE(database->number("PRAGMA user_version"), qint64(1));
    QCOMPARE(database->number("PRAGMA schema_version"), cookie);
}

void MigrationTest::anEmptyDatabaseGoesAllTheWay()
{
    Database database(m_directory->filePath(QStringLiteral("empty")), Database::Access::Create);
    migrate(database, {"CREATE TABLE file (size INTEGER)", "ALTER TABLE file ADD COLUMN colour TEXT"});
    QCOMPARE(database.number("PRAGMA user_version"), qint64(2));
    QCOMPARE(database.number("PRAGMA application_id"), qint64(0x516C6672));
    QCOMPARE(columns(database, "size") + columns(database, "colour"), qint64(2));
}

QTEST_GUILESS_MAIN(MigrationTest)
#include "tst_migration.moc"
