#pragma once

#include "containerabstract_export.h"
#include "filedevice.h"
#include "recipe.h"

#include <QString>

#include <atomic>

namespace quenlofar {

/// How a mended file is written.
struct WriteOptions
{
    /// A copy replaces a file of its name; a file with several names is changed in place.
    bool isForced = false;
    const std::atomic<bool> *cancel = nullptr; ///< while true, writing ends and leaves nothing; may be null
    std::atomic<quint64> *written = nullptr; ///< follows how far the new file is, in bytes; may be null
    WalkProgress *progress = nullptr; ///< its position follows that as well; may be null
};

/// What became of it.
struct WriteResult
{
    QString error; ///< why nothing was written, in words, with the name of the file concerned; null where all is well
    bool isCancelled = false; ///< nothing was written because the caller asked for that
    bool sharesExtents = false; ///< of a copy: the file system holds what is like in both files once

    /// The file is there, whole.
    bool isDone() const { return error.isNull() && !isCancelled; }
};

/**
 * Writes the file that `recipe` describes as `target`, from the file `original`; both are paths, see pathFromBytes.
 *
 * It is written under a name that cannot be guessed in the directory of `target`, by shared extents, copy_file_range or
 * read and write, whichever works first; holes stay holes. It has the name `target` when its bytes are on the disk,
 * with the permissions of the original. An original that has changed meanwhile, and a target that exists, are errors.
 */
CONTAINERABSTRACT_EXPORT WriteResult writeCopy(const Recipe &recipe, const QString &original, const QString &target,
                                               const WriteOptions &options);

/**
 * Makes the changes of `recipe`, which moves nothing, in the file `path` itself, after the new file `journal` has all
 * that undo() needs. Symbolic links are refused, and files with several names unless that is forced. What is appended
 * comes first, then the changes from the end of the file to its beginning, so that sizes in headers come last.
 */
CONTAINERABSTRACT_EXPORT WriteResult writeInPlace(const Recipe &recipe, const QString &path, const QString &journal,
                                                  const WriteOptions &options);

/**
 * Gives the file `path` the bytes, the size and the time of change back that it had before writeInPlace, also where
 * that or an undo() was interrupted. The journal is not trusted: what it says has to fit its checksum and the file,
 * where every range has to have its old or its new bytes.
 */
CONTAINERABSTRACT_EXPORT WriteResult undo(const QString &journal, const QString &path);

} // namespace quenlofar
