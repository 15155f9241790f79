#include "timetext.h"

#include <cmath>
#include <limits>

namespace quenlofar {

qint64 truncated(double number)
{
    // 2^63 itself is a double, the largest 64-bit number is not: compare with what can be compared exactly.
    constexpr double limit = 9223372036854775808.0;
    if (std::isnan(number))
        return 0;
    if (number >= limit)
        return std::numeric_limits<qint64>::max();
    if (number < -limit)
        return std::numeric_limits<qint64>::min();
    return qint64(number);
}

QString timeText(double units, double rate)
{
    double seconds = units / rate;
    quint32 minutes = 0;
    quint32 hours = 0;
    // Kept: whole seconds and minutes are counted in 32 bits and wrap beyond; times of such length are nonsense
    // anyway, and stay the same on every machine.
    if (quint32(truncated(seconds)) > 59) {
        minutes = quint32(truncated(seconds / 60.0));
        seconds -= double(minutes * 60u);
        if (minutes > 59) {
            hours = minutes / 60;
            minutes %= 60;
        }
    }
    // Kept: the width of five counts the decimals too, so seconds are never padded to two digits. Scripts that read
    // these texts know the shape.
    const QChar zero = QLatin1Char('0');
    return QStringLiteral("%1:%2:%3")
        .arg(quint64(hours), 2, 10, zero)
        .arg(quint64(minutes), 2, 10, zero)
        .arg(seconds, 5, 'f', 3, zero);
}

} // namespace quenlofar
