#pragma once

#include <QString>

namespace quenlofar {

/**
 * The right to write a catalogue for a whole run: held by one process at a time, given back when the process ends,
 * however it ends. It is an advisory lock of the file whose name is the catalogue's with ".lock" behind it; a file of
 * its own, because SQLite's locks of the database would go with it.
 */
class RunLock
{
public:
    /// Of the catalogue `path` (see pathFromBytes). Throws CatalogueError where the lock's file cannot be made.
    explicit RunLock(const QString &path);
    RunLock(const RunLock &) = delete;
    RunLock &operator=(const RunLock &) = delete;
    ~RunLock();

    /// Takes the lock; false where another process has it. Does not wait.
    bool take();

private:
    int m_descriptor;
    QString m_path;
};

} // namespace quenlofar
