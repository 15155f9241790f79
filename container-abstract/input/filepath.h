#pragma once

#include "containerabstract_export.h"

#include <QByteArray>
#include <QString>

namespace quenlofar {

/**
 * File names are bytes on disk and texts in the program. Bytes that are not valid UTF-8 become lone surrogates
 * U+DC80..U+DCFF (byte 0x80..0xFF), one each, so that every name survives the way there and back; this is the
 * convention of Python's surrogateescape.
 */
CONTAINERABSTRACT_EXPORT QString pathFromBytes(const QByteArray &bytes);
/// The bytes of a path made by pathFromBytes, or of any ordinary text.
CONTAINERABSTRACT_EXPORT QByteArray pathToBytes(const QString &path);
/// `path` as it may be shown: valid UTF-8 in which each unpaired surrogate is U+FFFD.
CONTAINERABSTRACT_EXPORT QByteArray pathForDisplay(const QString &path);

} // namespace quenlofar
