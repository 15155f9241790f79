#pragma once

#include "containerabstract_export.h"

#include <QString>

namespace quenlofar {

struct RunResult;

/**
 * How an operation of a parser or of the framework ended. Parsers return these as plain `int`, because a parser may
 * have statuses of its own; zero is success everywhere. The numbers are part of the JSON output and never change.
 */
enum Status : int {
    StatusOk = 0, ///< read to its end
    StatusCannotOpen = 1, ///< the file is not there, not readable, or not a regular file
    StatusReadError = 2, ///< the operating system failed to read bytes that are inside the file
    StatusNotRecognised = 3, ///< the file is not of the parser's container format
    StatusUnknownStream = 4, ///< an index entry names a video stream that no header announced
    StatusEndOfFile = 5, ///< the file ends inside the element
    StatusUnknownId = 7, ///< the element's id is not known; used inside a parser only
    StatusOutOfMemory = 9, ///< a buffer whose size the file asks for could not be allocated
};

/// Parsers that have statuses of their own begin with this number.
inline constexpr int firstOwnStatus = 100;

/// One sentence in words for `status`, without a full stop; a status without a row of its own is given by its number.
CONTAINERABSTRACT_EXPORT QString statusText(int status);
/// The words for the status of a run, in the words of the parser where it has some.
CONTAINERABSTRACT_EXPORT QString statusText(const RunResult &result);

} // namespace quenlofar
