#pragma once

#include <QString>

namespace quenlofar {

/// `number` without its fraction, for every double: not-a-number gives 0, what is too large in either direction gives
/// the nearest 64-bit number.
qint64 truncated(double number);

/**
 * The time that `units` take at `rate` units per second, as "hours:minutes:seconds" with three decimals.
 *
 * Hours and minutes have at least two digits; seconds below ten are not padded ("00:01:5.250"), and may round up to
 * "60.000". A rate of 0 gives "inf" or "nan" for the seconds.
 */
QString timeText(double units, double rate);

} // namespace quenlofar
