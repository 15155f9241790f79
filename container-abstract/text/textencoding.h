#pragma once

#include "containerabstract_export.h"

#include <QByteArray>
#include <QString>

namespace quenlofar {

/// How the bytes of a text stand for characters.
enum class TextEncoding : quint8 {
    Guessed, ///< UTF-8 where the bytes are valid, otherwise Latin-1; see bytesToText
    Latin1, ///< ISO 8859-1
    Windows1252, ///< Latin-1 with more characters from 0x80 to 0x9F
    Utf8, ///< U+FFFD for what is not valid
    Utf16LittleEndian, ///< two bytes per code unit, the lower first
    Utf16BigEndian, ///< two bytes per code unit, the higher first
    MacRoman, ///< of Mac OS before version X
    CodePage437, ///< of DOS
};

/// A printable rendering of bytes in `encoding`: zeros at the end are dropped, control characters become ".".
CONTAINERABSTRACT_EXPORT QString decodedText(const QByteArray &bytes, TextEncoding encoding);

} // namespace quenlofar
