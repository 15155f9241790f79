#pragma once

#include "aviids.h"

#include <QString>

namespace quenlofar {

/// "movi"; "41 56 49 19" where a character is not printable ASCII.
inline QString idText(quint32 id)
{
    QString text;
    for (int at = 0; at < 4; ++at) {
        if (isPrintable(id))
            text += QLatin1Char(char(idByte(id, at)));
        else
            text += QStringLiteral("%1%2")
                        .arg(at == 0 ? QString() : QStringLiteral(" "))
                        .arg(idByte(id, at), 2, 16, QLatin1Char('0'));
    }
    return text;
}

/// "LIST movi", or "idx1".
inline QString elementText(quint32 id, quint32 form)
{
    return form == 0 ? idText(id) : idText(id) + QLatin1Char(' ') + idText(form);
}

/// "1 frame" or "7 frames" for "frame".
inline QString countText(quint64 count, const char *noun)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(noun), QLatin1String(count == 1 ? "" : "s"));
}
inline QString bytesText(quint64 count)
{
    return countText(count, "byte");
}

} // namespace quenlofar
