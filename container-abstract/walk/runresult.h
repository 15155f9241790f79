#pragma once

#include "problem.h"
#include "videostream.h"

#include <QString>
#include <QVector>

namespace quenlofar {

/// What is known of a file before its first element is walked.
struct DocumentStart
{
    QString file; ///< the path as the user gave it
    QString container; ///< the name of the container format; null when no parser accepts the file
    qint64 fileSize = -1; ///< bytes; -1 when the file cannot be opened
    int parser = -1; ///< ordinal, in what ContainerRun::run was given, of the parser that accepts the file; -1 for none
    QString parserName = {}; ///< that parser's ParserFactory::name; null for none
    QString parserVersion = {}; ///< null where its plug-in tells none
};

/// Which of the host's bounds ended a run early.
enum class RunLimit {
    None,
    Items, ///< nodes and leaves
    Depth, ///< open nodes
    Work, ///< bytes read
    Time, ///< seconds
    Structure, ///< what a strict reading keeps of a file: at most an entry for each 8 bytes
};

/// Trouble that is not the file's contents.
struct FileError
{
    /// What failed. Parser: the parser itself, by an exception or an answer that makes no sense (a node left open, an
    /// index below -1, a frame of a stream that was not announced...); no bytes make a sound one do that.
    enum Kind { None, Open, Read, Memory, Parser };
    Kind kind = None; ///< None when there was no trouble
    qint64 offset = -1; ///< byte at which it happened; -1 when there is none to name
    QString message; ///< the operating system's own words, or those of the exception
};

/// Everything that a run knows beyond what it handed to the sink.
struct RunResult
{
    int status = 0; ///< the first non-zero status of the walk, see Status
    QString ownStatusText; ///< what the parser calls the status, where it is one of its own that it has named; or null
    quenlofar::ProblemCounts problems; ///< that the parser reported, those included that no sink was given
    QVector<VideoStream> videoStreams; ///< in the order in which their headers stand in the file
    FileError error; ///< the first trouble with reading the file
    RunLimit limit = RunLimit::None; ///< the bound that ended the run, if one did
    quint64 limitValue = 0; ///< its value: items, open nodes, bytes, seconds or entries
    quint64 stopPosition = 0; ///< where in the file a limit or a cancel ended the run, in bytes
    bool cancelled = false; ///< the run was cut short by ContainerRun::cancel
    QString sinkError; ///< why the sink could not take more; null when it took everything
    quint64 items = 0; ///< nodes and leaves that were added
    quint64 bytesRead = 0; ///< bytes handed to parsers, detection included

    /// True when the whole file was walked and nothing was wrong with it; warnings and notes are nothing wrong.
    bool isClean() const
    {
        return status == 0 && problems.errors == 0 && error.kind == FileError::None && limit == RunLimit::None
            && !cancelled && sinkError.isNull();
    }
};

} // namespace quenlofar
