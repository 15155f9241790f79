#pragma once

#include "database.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

namespace quenlofar {

/// The number of the schema that this program writes, kept as SQLite's user_version.
constexpr int catalogueSchemaVersion = 1;
/// What marks a database as a catalogue, kept as SQLite's application_id: "Qlfr".
constexpr int catalogueApplicationId = 0x516C6672;

/// What stands at a path.
enum class CatalogueState {
    None, ///< nothing, or an empty file
    Ours, ///< a catalogue of this schema, or an older one
};

/// Looks at the file `path` without changing it. Throws CatalogueError where it cannot be read, or holds something
/// else: no database, one of another program, or a catalogue of a newer schema.
CatalogueState catalogueState(const QString &path);
/// Opens the catalogue `path` for reading, also where nothing can be written beside it. Throws CatalogueError as
/// catalogueState does, where there is none, and where a run was killed whose log nobody can read there.
std::unique_ptr<Database> openCatalogueToRead(const QString &path);
/// Opens the catalogue `path` for writing; makes it, or brings it to the current schema, in one transaction. Throws
/// CatalogueError as catalogueState does, and where it cannot be written.
std::unique_ptr<Database> openCatalogueToWrite(const QString &path);

/// Brings `database` from the schema that its user_version says to the one behind the last of `steps`, in one
/// transaction: `steps[n]`, statements of SQL, leads from schema n to n + 1, and 0 is an empty database. Throws
/// CatalogueError where a step fails; the database is then what it was.
void migrate(Database &database, const std::vector<QByteArray> &steps);

} // namespace quenlofar
