#pragma once

#include "containerdescriber.h"
#include "filecheck.h"
#include "filestamp.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <vector>

namespace quenlofar {

/// What a check of one file found, on its way into a catalogue.
struct FileRecord
{
    QByteArray path; ///< see AbsolutePaths
    FileStamp stamp; ///< from before the file was read: what changes meanwhile differs from it
    QString digestKind; ///< null where there is no digest
    QString digest; ///< in hexadecimal
    QString status; ///< "read", "limited", "not recognised", or "unreadable": then only `trouble` is told besides
    QString trouble; ///< what kept the file from being read or judged to its end; null where nothing did
    QString container; ///< null where nothing has accepted the file
    QString writer; ///< the software that wrote the file, as the file says; null where it does not
    qint64 checked = 0; ///< when the check ended: nanoseconds since 1970, UTC
    QString program; ///< that checked it, with its version
    QString rules; ///< by which it was checked, see rulesVersion
    Level level = Level::Default; ///< of the check
    Verdict verdict = Verdict::Unknown;
    FindingCounts counts;
    QVector<StreamDescription> streams;
    std::vector<JudgedFinding> findings;

    /// Whether nothing was learned of the file.
    bool isUnreadable() const { return status == QLatin1String("unreadable"); }
};

/// Takes what `check` found into `record`: status, container, verdict, findings.
void takeCheck(FileCheck check, FileRecord *record);
/// Takes what a describer said of the file into `record`: streams, and the writer out of `rows`.
void takeDescription(const QVector<DescriptionRow> &rows, const QVector<StreamDescription> &streams,
                     FileRecord *record);

} // namespace quenlofar
