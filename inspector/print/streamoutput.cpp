#include "streamoutput.h"

#include "jsonprinter.h"

#include <cmath>

namespace quenlofar {

namespace {

void printText(JsonPrinter &json, QStringView key, const QString &text)
{
    if (!text.isEmpty())
        json.key(key).text(text);
}

void printNumber(JsonPrinter &json, QStringView key, quint64 number)
{
    if (number != 0)
        json.key(key).number(number);
}

void printStream(JsonPrinter &json, const StreamDescription &stream)
{
    json.beginObject().key(u"ordinal").signedNumber(stream.ordinal);
    if (stream.videoOrdinal >= 0)
        json.key(u"videoOrdinal").signedNumber(stream.videoOrdinal);
    json.key(u"kind").text(stream.kindText());
    printText(json, u"codecCode", stream.codecCode);
    printText(json, u"codecName", stream.codecName);
    printNumber(json, u"width", stream.width);
    printNumber(json, u"height", stream.height);
    if (stream.frameRate > 0.0 && std::isfinite(stream.frameRate))
        json.key(u"frameRate").real(stream.frameRate);
    printNumber(json, u"sampleRate", stream.sampleRate);
    printNumber(json, u"channels", stream.channels);
    printNumber(json, u"bitsPerSample", stream.bitsPerSample);
    printNumber(json, u"bitRate", stream.bitRate);
    if (stream.seconds() >= 0.0)
        json.key(u"seconds").real(stream.seconds());
    printText(json, u"name", stream.name);
    json.endObject();
}

} // namespace

void printStreams(JsonPrinter &json, const QVector<StreamDescription> &streams)
{
    json.beginArray();
    for (const StreamDescription &stream : streams)
        printStream(json, stream);
    json.endArray();
}

} // namespace quenlofar
