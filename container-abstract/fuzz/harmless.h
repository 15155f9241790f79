#pragma once

#include <QChar>
#include <QString>

namespace quenlofar {

/// Judged by Qt's tables of Unicode: neither a control character but line feeds, nor one that ends lines or turns the
/// direction of writing.
inline bool isHarmless(const QString &text)
{
    for (const QChar character : text) {
        switch (character.category()) {
        case QChar::Other_Control:
            if (character != QLatin1Char('\n'))
                return false;
            break;
        case QChar::Separator_Line:
        case QChar::Separator_Paragraph:
            return false;
        case QChar::Other_Format:
            // Characters that have a direction are marks of direction, but for the Syriac abbreviation mark, which is
            // seen.
            if (character.direction() != QChar::DirBN && character.direction() != QChar::DirAN
                && character.direction() != QChar::DirON && character != QChar(0x70F))
                return false;
            break;
        default:
            break;
        }
    }
    return true;
}

} // namespace quenlofar
