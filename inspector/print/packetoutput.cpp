#include "packetoutput.h"

#include "jsonprinter.h"
#include "packetfacts.h"
#include "streamoutput.h"

namespace quenlofar {

void printSpread(JsonPrinter &json, QStringView key, const Spread &spread)
{
    json.key(key).beginObject().key(u"least").number(spread.least).key(u"median").number(spread.median);
    json.key(u"greatest").number(spread.greatest).endObject();
}

void printPacketStatistics(JsonPrinter &json, const std::vector<StreamPackets> &streams)
{
    json.beginArray();
    for (const StreamPackets &stream : streams) {
        const PacketTotals &totals = stream.totals;
        json.beginObject().key(u"stream").number(quint64(stream.stream));
        json.key(u"kind").text(streamKindText(stream.kind));
        json.key(u"count").number(totals.count).key(u"empty").number(totals.empty);
        if (!stream.areKeysUnknown())
            json.key(u"keyFrames").number(totals.keyFrames);
        if (totals.keyUnknown > 0)
            json.key(u"keyUnknown").number(totals.keyUnknown);
        json.key(u"bytes").number(totals.bytes);
        if (stream.sizes)
            printSpread(json, u"sizes", *stream.sizes);
        if (stream.keySpacing)
            printSpread(json, u"keySpacing", *stream.keySpacing);
        if (stream.bitRate > 0)
            json.key(u"bitRate").number(stream.bitRate);
        if (stream.seconds >= 0.0)
            json.key(u"seconds").real(stream.seconds);
        json.endObject();
    }
    json.endArray();
}

} // namespace quenlofar
