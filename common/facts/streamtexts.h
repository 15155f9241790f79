#pragma once

#include "containerdescriber.h"
#include "framestatistics.h"
#include "packetstatistics.h"

#include <QString>

namespace quenlofar {

// How streams are shown, wherever they are. What is not known is an empty text.

/// "64 x 48".
QString pictureText(const StreamDescription &stream);
/// At most three decimals, none of them a zero at the end: "25", "23.976".
QString decimalText(double number);
/// "128 kbit/s".
QString bitRateText(quint64 bitsPerSecond);
/// "2.1 s"; from a minute on hours, minutes and seconds: "1:02:03".
QString durationText(double seconds);
/// "every 12 frames", "every 3 to 12 frames, median 10".
QString spacingText(const Spread &spacing);
/// How long a stream lasts, as durationText; "unknown" for sound whose header says 0, as it does until it is filled in.
QString lengthText(const StreamDescription &stream);
/// The codec as the container names it. Blanks alone are in quotes.
QString codeText(const StreamDescription &stream);

/// "2 key frames (every 12 frames)", "key frames unknown: no index".
QString keyFramesText(const StreamPackets &stream);

} // namespace quenlofar
