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
 * Ideographs, emoji and all else that is wide or fullwidth by Unicode Standard Annex #11 take two columns, marks and
 * invisible characters none. Terminals disagree about sequences of emoji that are joined into one: these count as many.
 */
CONTAINERABSTRACT_EXPORT TextPiece fittingPiece(QStringView text, int mostColumns, TextForm form);

/// Columns of a terminal that the whole `text` takes.
inline int textWidth(QStringView text, TextForm form)
{
    return fittingPiece(text, std::numeric_limits<int>::max(), form).columns;
}

} // namespace quenlofar
