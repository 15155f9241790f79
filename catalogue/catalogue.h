#pragma once

#include "database.h"
#include "digest.h"
#include "filerecord.h"
#include "filestamp.h"
#include "rule.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace quenlofar {

class RuleCatalogue;

/// How a run checks files.
struct RunSettings
{
    Level level = Level::Default;
    DigestKind digest = DigestKind::None;
    std::optional<qint64> recheckAge; ///< nanoseconds after which a file is read again although it seems unchanged
    QString program; ///< its name and version
    QString rules; ///< what the rules are called, see rulesVersion: with other rules files are checked again
};

/// A name for the rules of all plug-ins: it changes with the version of a plug-in that has rules, and with a rule.
QString rulesVersion(const RuleCatalogue &rules, const QStringList &plugins);

/// How a file has to be checked.
struct CheckDepth
{
    Level level = Level::Default;
    DigestKind digest = DigestKind::None;
};

/// What is new since the last run that was finished.
struct CatalogueNews
{
    qint64 errors = 0; ///< findings of that severity
    qint64 missing = 0; ///< files
    qint64 rotten = 0; ///< files whose bytes changed while their size and time did not

    /// Whether something new is wrong.
    bool isBad() const { return errors + missing + rotten > 0; }
};

/**
 * One run over a catalogue that was opened for writing: which of the files that are there have to be looked at, what
 * was found in them, and what is gone. Used from one thread at a time. Every operation throws CatalogueError where the
 * database fails; what was committed stays.
 */
class CatalogueRun
{
public:
    /// Begins a run. `database` outlives the object.
    CatalogueRun(Database &database, const RunSettings &settings);
    CatalogueRun(const CatalogueRun &) = delete;
    CatalogueRun &operator=(const CatalogueRun &) = delete;
    ~CatalogueRun();

    /// Notes that the file `path` (see AbsolutePaths) was found; the answer is not empty where it has to be looked at:
    /// it is new, was changed, was checked by other rules, less deeply or without the digest, its check is too old, or
    /// it could not be read. What was checked deeply, or has a digest, is to be checked so again, whatever the settings
    /// are: otherwise what is known of it would be lost. A file that is gone is noted as missing. Each file is answered
    /// once.
    std::optional<CheckDepth> noteFound(const QByteArray &path);
    /// Whether `database` has this check of the file already, or a later one.
    static bool isKnown(Database &database, const FileRecord &record);
    /// Notes a file that another machine has found, and what its check has found there.
    void import(const FileRecord &record);
    /// Notes what a check has found.
    void store(const FileRecord &record);
    /// What was noted is kept now; otherwise with every five hundredth file.
    void commit();
    /// Looks for files that are catalogued below the directory `top` (see AbsolutePaths) and were not found: notes
    /// those that are gone.
    void noteMissing(const QByteArray &top);
    /// Ends the run: what it found is no longer new for the next one.
    void finish();

    /// What is new, this run and those before it that were not finished included.
    CatalogueNews news();

private:
    struct Statements;
    struct KnownFile;

    std::optional<KnownFile> known(const QByteArray &path);
    std::optional<KnownFile> movedByInode(const FileStamp &stamp);
    std::optional<KnownFile> movedByDigest(const FileRecord &record, qint64 newId);
    CheckDepth depthOf(const KnownFile &file) const;
    bool isToBeChecked(const KnownFile &file, const FileStamp &stamp) const;
    QString changeOf(const KnownFile &file, const FileRecord &record) const;
    void storeStreams(qint64 file, const FileRecord &record);
    void storeFindings(qint64 file, const FileRecord &record);
    void begin();
    void countNote();

    Database &m_database;
    const RunSettings m_settings;
    std::unique_ptr<Statements> m_statements;
    std::optional<Transaction> m_transaction;
    qint64 m_run = 0;
    qint64 m_since = 0;
    qint64 m_now = 0;
    qint64 m_found = 0;
    qint64 m_checked = 0;
    int m_notes = 0; // of the open transaction
};

} // namespace quenlofar
