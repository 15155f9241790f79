#include "sizetext.h"

namespace quenlofar {

QString sizeText(quint64 bytes, SizeUnits units)
{
    const quint64 base = units == SizeUnits::Iec ? 1024 : 1000;
    if (units == SizeUnits::Bytes || bytes < base)
        return QStringLiteral("%1 %2").arg(bytes).arg(bytes == 1 ? QStringLiteral("byte") : QStringLiteral("bytes"));

    static constexpr const char *siNames[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
    static constexpr const char *iecNames[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double amount = double(bytes) / double(base);
    int power = 0;
    // What would be rounded to a fourth digit in front of the point belongs to the next unit.
    const double next = double(base) - 0.5;
    for (; amount >= next && power < 5; ++power)
        amount /= double(base);
    const int decimals = amount < 9.995 ? 2 : amount < 99.95 ? 1 : 0;
    return QStringLiteral("%1 %2")
        .arg(amount, 0, 'f', decimals)
        .arg(QLatin1String(units == SizeUnits::Iec ? iecNames[power] : siNames[power]));
}

} // namespace quenlofar
