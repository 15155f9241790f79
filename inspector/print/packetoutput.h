#pragma once

#include "packetstatistics.h"
#include "streamtexts.h"

#include <QStringView>

namespace quenlofar {

class JsonPrinter;

/// Prints what is known of the packets of each stream as the value of a key.
void printPacketStatistics(JsonPrinter &json, const std::vector<StreamPackets> &streams);
/// Prints a spread as the member `key`.
void printSpread(JsonPrinter &json, QStringView key, const Spread &spread);

} // namespace quenlofar
