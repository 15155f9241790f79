#include "fieldmeanings.h"

#include <QDate>
#include <QTime>

namespace quenlofar {

QString dateText(qint64 units, const Epoch &epoch)
{
    constexpr qint64 secondsPerDay = 86400;
    constexpr qint64 dayOf1970 = 2440588; // as Julian days count
    if (units == 0)
        return {};
    // Rounded down, before 1970 too.
    const qint64 whole = units / epoch.unitsPerSecond - (units % epoch.unitsPerSecond < 0 ? 1 : 0);
    constexpr qint64 mostSeconds = 400'000'000'000; // beyond the year 9999; no sum wraps below
    if (whole > mostSeconds || whole < -mostSeconds)
        return {};
    const qint64 seconds = whole - epoch.secondsBefore1970;
    const qint64 day = seconds / secondsPerDay - (seconds % secondsPerDay < 0 ? 1 : 0);
    const QDate date = QDate::fromJulianDay(dayOf1970 + day);
    if (date.year() < 1 || date.year() > 9999)
        return {};
    const QTime time = QTime::fromMSecsSinceStartOfDay(int((seconds - day * secondsPerDay) * 1000));
    return date.toString(Qt::ISODate) + QLatin1Char('T') + time.toString(Qt::ISODate) + QLatin1Char('Z');
}

} // namespace quenlofar
