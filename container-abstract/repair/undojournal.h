#pragma once

#include "containerabstract_export.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace quenlofar {

/// When a file was last changed, as the file system keeps it.
struct FileTime
{
    qint64 seconds = 0; ///< since 1970
    quint32 nanoseconds = 0; ///< of the second

    /// The same moment.
    bool operator==(const FileTime &other) const
    {
        return seconds == other.seconds && nanoseconds == other.nanoseconds;
    }
};

/**
 * What it takes to give a file its old bytes back. In the file: a magic number, the length of what follows, then sizes,
 * time, ranges with their old and new bytes, all little-endian; a SHA-256 over all of that; then marks of 32 bytes,
 * which are added one by one as the work goes on.
 */
struct CONTAINERABSTRACT_EXPORT UndoJournal
{
    /// Bytes in place, or bytes that were appended.
    struct Range
    {
        quint64 offset = 0; ///< of the first byte
        QByteArray oldBytes; ///< empty for bytes that were appended
        QByteArray newBytes; ///< as many, where they replace any
    };
    /// How far the work is, by the last mark.
    enum class State : quint8 {
        Begun, ///< none: the file has its old bytes, its new ones, or some of both
        Done, ///< it has its new bytes, and `doneTime`
        Undoing, ///< it gets its old bytes back: some of both
    };

    quint64 oldSize = 0; ///< bytes of the file before
    quint64 newSize = 0; ///< and after; not less
    FileTime oldTime; ///< of the file before
    std::vector<Range> ranges; ///< ascending, without overlaps; the last one may be of appended bytes
    State state = State::Begun; ///< how far the work is
    FileTime doneTime; ///< of the file when it was done

    /// Journals are no longer, in bytes: a rebuilt index of a film takes some millions.
    static constexpr quint64 mostBytes = quint64(1) << 30;

    /// The journal without marks.
    QByteArray toBytes() const;
    /// A mark for what follows the journal's bytes.
    static QByteArray mark(State state, const FileTime &time);
    /// What toBytes() and marks say. False, and `*error` why, where that is not so: the bytes may come from anywhere.
    bool fromBytes(const QByteArray &bytes, QString *error);
};

} // namespace quenlofar
