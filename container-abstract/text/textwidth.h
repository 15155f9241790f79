#pragma once

#include "containerabstract_export.h"

#include <QStringView>

#include <limits>

namespace quenlofar {

/// How the characters of a text are shown.
enum class TextForm {
    Plain, ///< as they are
    Escaped, ///< as displayText shows them
};

/// A part of a text.
struct TextPiece
{
    int units = 0; ///< of UTF-16
    int columns = 0; ///< of a terminal
};

/**
 * The longest beginning of `text` that takes no more than `mostColumns` columns of a terminal, which is not less than
 * 0. It ends between characters: surrogate pairs and escapes stay whole, and marks stay with what they are set on.
 *
 * The width of a character is what the C library's `wcwidth` tells in the locale C.UTF-8, whatever the locale of the
 * program is: as a rule two columns for ideographs, kana, Hangul and emoji, none for marks and invisible characters.
 * What the library calls unprintable takes none; ASCII characters take one each. Where the C library has no locale
 * C.UTF-8, every character takes one. Terminals disagree about sequences of emoji that are joined into one: these count
 * as many. No error is reported; the thread's locale is unchanged afterwards.
 */
CONTAINERABSTRACT_EXPORT TextPiece fittingPiece(QStringView text, int mostColumns, TextForm form);

/// Columns of a terminal that the whole `text` takes.
inline int textWidth(QStringView text, TextForm form)
{
    return fittingPiece(text, std::numeric_limits<int>::max(), form).columns;
}

} // namespace quenlofar
