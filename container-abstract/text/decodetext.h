#pragma once

#include "containerabstract_export.h"

#include <QByteArray>
#include <QString>

namespace quenlofar {

/**
 * A printable rendering of raw bytes: trailing zero bytes are dropped; valid UTF-8 is shown as such (a leading
 * byte-order mark left out), also when a limit cut its last character; anything else is Latin-1; control characters
 * become ".". The rules stand in docs/json-output.md.
 */
CONTAINERABSTRACT_EXPORT QString bytesToText(const QByteArray &bytes);

/// The characters of `text` in memory of their own: a literal of a plug-in goes when the plug-in is unloaded. Null
/// stays null.
CONTAINERABSTRACT_EXPORT QString ownCopy(const QString &text);

} // namespace quenlofar
