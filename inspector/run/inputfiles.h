#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace quenlofar {

struct InputChoice;

/// The files that were asked for, in the order of the command line; what was found in a directory is sorted.
struct InputFiles
{
    QVector<QString> files; ///< see pathFromBytes
    QStringList problems; ///< what could not be searched or read, one sentence each
};

/// Reads the list and searches the directories of `choice`; files in directories need one of `extensions` (without a
/// dot, in upper or lower case). A symbolic link to a directory is not followed; one with such an extension that leads
/// nowhere is a problem. A signal ends the search; what was found by then says nothing.
InputFiles findInputFiles(const InputChoice &choice, const QStringList &extensions);

} // namespace quenlofar
