#pragma once

#include "packetstatistics.h"

#include <QString>

namespace quenlofar {

class JsonPrinter;

/// "2 key frames (every 12 frames)", "key frames unknown: no index".
QString keyFramesText(const StreamPackets &stream);
/// Prints what is known of the packets of each stream as the value of a key.
void printPacketStatistics(JsonPrinter &json, const std::vector<StreamPackets> &streams);
/// Prints a spread as the member `key`.
void printSpread(JsonPrinter &json, QStringView key, const Spread &spread);

} // namespace quenlofar
