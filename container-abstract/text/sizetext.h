#pragma once

#include "containerabstract_export.h"

#include <QString>
#include <QtGlobal>

namespace quenlofar {

/// How a number of bytes is shown to people: as it is, in powers of 1000 (kB, MB) or of 1024 (KiB, MiB).
enum class SizeUnits { Bytes, Si, Iec };

/// "1 byte", "1234567 bytes", "1.23 MB", "1.18 MiB": three significant digits where there is a prefix, rounded to
/// nearest. The same in every locale.
CONTAINERABSTRACT_EXPORT QString sizeText(quint64 bytes, SizeUnits units);

} // namespace quenlofar
