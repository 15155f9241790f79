#pragma once

#include "payloadbits.h"

#include <QByteArray>
#include <QString>

namespace quenlofar {

/// What readers of payload take and say, for the tests' tables.
namespace payload {

/// The bytes, which it does not own.
inline PayloadBytes view(const QByteArray &bytes)
{
    return {bytes.constData(), size_t(bytes.size())};
}

/// "64x48"
inline QString sizeText(const CodedSize &size)
{
    return QStringLiteral("%1x%2").arg(size.width).arg(size.height);
}

/// "unknown", "dependent", "intra" or "key"
inline QString startText(FrameStart start)
{
    static const char *const names[] = {"unknown", "dependent", "intra", "key"};
    return QLatin1String(names[size_t(start)]);
}

} // namespace payload
} // namespace quenlofar
