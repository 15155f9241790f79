#pragma once

#include "jsonwriter.h"

#include <QBuffer>
#include <QByteArray>

#include <functional>

namespace quenlofar {

using Calls = std::function<void(ElementSink &)>;

inline const DocumentStart someFile{QStringLiteral("a.avi"), QStringLiteral("AVI"), 100};

/// A leaf without flag, code and index.
inline Field leaf(quint64 offset, quint64 size, QStringView name, QStringView value, QStringView meaning = {},
                  QStringView description = {})
{
    return {false, 0, offset, size, -1, name, value, meaning, description};
}

inline QByteArray printed(const Calls &calls, JsonWriter::Layout layout = JsonWriter::Layout::Line)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    JsonWriter writer(buffer, layout);
    calls(writer);
    return buffer.data();
}

/// What a document about someFile consists of around its elements.
inline QByteArray around(const QByteArray &elements,
                         const QByteArray &rest = R"("status":0,"videoStreams":[],"frames":[])")
{
    return R"({"formatVersion":1,"file":"a.avi","fileSize":100,"container":"AVI","elements":[)" + elements + "]," + rest
        + "}\n";
}

/// The document about someFile with these calls inside.
inline QByteArray printedInside(const Calls &calls)
{
    return printed([&calls](ElementSink &sink) {
        sink.beginDocument(someFile);
        calls(sink);
        sink.endDocument({});
    });
}

/// A document in which everything occurs.
inline void fillDocument(ElementSink &sink)
{
    sink.beginDocument({QStringLiteral("film.avi"), QStringLiteral("AVI"), 5000000000});
    sink.beginElement(0, 400, u"RIFF AVI", -1);
    sink.addField(leaf(0, 4, u"id", u"RIFF"));
    sink.addField(leaf(12, 4, u"dwFlags", u"272", u"AVIF_HASINDEX | AVIF_ISINTERLEAVED", u"how to play it"));
    sink.beginElement(100, 16, u"idx1_entry", 0);
    sink.reportFrame({0, 0, 2056, 1000, true});
    sink.endElement();
    sink.reportFrame({1, 7, 4294967296, 4294967297, false});
    sink.endElement();
    sink.addField(leaf(400, 20, unparsedDataMarker, {}));
    RunResult result;
    result.status = 5;
    result.videoStreams = {{320, 4294967056, 3, 28, 29.97}};
    sink.endDocument(result);
}

} // namespace quenlofar
