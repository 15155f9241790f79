#include "jsonwriter.h"

#include "framelist.h"
#include "jsonmembers_p.h"

namespace quenlofar {

class JsonWriter::Private
{
public:
    Private(QIODevice &device, JsonLayout layout, Frames which)
        : json(device, layout), showsFrames(which == Frames::Shown)
    {
    }

    bool works() const { return isOpen && !json.failed(); }
    void closeNode();
    void closeItems();
    void printNotes();
    void printVideoStream(const VideoStream &stream);
    void printFrame(const Frame &frame);

    JsonStream json;
    FrameList frames;
    ItemNotes notes; // of the next item
    const bool showsFrames;
    quint64 openNodes = 0;
    quint64 refusedNodes = 0; // begun when nothing could be printed any more: open for the caller alone
    bool isOpen = false;
    // The innermost open node, or the top level, takes no more items: its array of them is closed, and perhaps that of
    // its problems is open.
    bool itemsClosed = false;
    bool problemsOpen = false;
};

JsonWriter::JsonWriter(QIODevice &output, Layout layout, Frames frames) : d(new Private(output, layout, frames)) { }

JsonWriter::~JsonWriter() = default;

bool JsonWriter::beginDocument(const DocumentStart &start)
{
    d->json.restart();
    d->frames.clear();
    d->openNodes = d->refusedNodes = 0;
    d->itemsClosed = d->problemsOpen = false;
    d->isOpen = !d->json.failed();
    if (!d->isOpen)
        return false;
    d->json.beginObject();
    printStart(d->json, start);
    d->json.key("elements");
    d->json.beginArray();
    return d->works();
}

bool JsonWriter::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    if (!d->works()) {
        ++d->refusedNodes;
        return false;
    }
    ++d->openNodes;
    JsonStream &json = d->json;
    json.beginObject();
    json.member("node", title);
    json.member("offset", offset);
    if (size != sizeFromEnd)
        json.member("size", size);
    if (index != -1) {
        json.key("index");
        json.signedNumber(index);
    }
    d->printNotes();
    json.key("items");
    json.beginArray();
    return d->works();
}

bool JsonWriter::addField(const Field &field)
{
    if (!d->works())
        return false;
    JsonStream &json = d->json;
    const bool isUnparsed = field.isUnparsedData();
    json.beginObject();
    if (isUnparsed) {
        json.key("unparsed");
        json.boolean(true);
    } else {
        json.member("field", field.name);
    }
    json.member("offset", field.offset);
    json.member("size", field.size);
    if (!isUnparsed) {
        json.member("value", field.value);
        if (!field.meaning.isEmpty())
            json.member("meaning", field.meaning);
        if (!field.description.isEmpty())
            json.member("description", field.description);
    }
    d->printNotes();
    json.endObject();
    return d->works();
}

bool JsonWriter::addOmission(quint64 count)
{
    if (!d->works())
        return false;
    d->json.beginObject();
    d->json.member("omitted", count);
    d->json.endObject();
    return d->works();
}

bool JsonWriter::endElement()
{
    if (d->refusedNodes > 0)
        --d->refusedNodes;
    else if (d->openNodes > 0)
        d->closeNode();
    return d->works();
}

bool JsonWriter::reportFrame(const Frame &frame)
{
    if (!d->works())
        return false;
    if (!d->showsFrames)
        return true;
    d->frames.append(frame);
    return true;
}

bool JsonWriter::endDocument(const RunResult &result)
{
    if (!d->isOpen)
        return false;
    JsonStream &json = d->json;
    while (d->openNodes > 0)
        d->closeNode();
    d->closeItems();
    printOutcome(json, result);

    json.key("videoStreams");
    json.beginArray();
    for (const VideoStream &stream : result.videoStreams)
        d->printVideoStream(stream);
    json.endArray();

    if (d->showsFrames) {
        json.key("frames");
        json.beginArray();
        for (quint64 i = 0; i < d->frames.size() && !json.failed(); ++i)
            d->printFrame(d->frames.at(i));
        json.endArray();
    }
    json.endObject();
    json.finish();
    const bool isComplete = d->works();
    d->isOpen = false;
    d->frames.clear();
    return isComplete;
}

bool JsonWriter::setElementSize(quint64 size)
{
    if (!d->isOpen || d->refusedNodes > 0)
        return false;
    d->closeItems();
    d->json.member("size", size);
    return d->works();
}

bool JsonWriter::reportProblem(const quenlofar::ReportedProblem &problem)
{
    if (!d->works())
        return false;
    JsonStream &json = d->json;
    if (!d->problemsOpen) {
        d->closeItems();
        json.key("problems");
        json.beginArray();
        d->problemsOpen = true;
    }
    json.beginObject();
    json.member("severity", severityName(problem.severity));
    json.member("offset", problem.offset);
    json.member("size", problem.size);
    json.member("text", problem.text);
    json.endObject();
    return d->works();
}

QString JsonWriter::errorText() const
{
    return d->json.errorText();
}

void JsonWriter::setNotes(const ItemNotes &notes)
{
    d->notes = notes;
}

void JsonWriter::Private::closeNode()
{
    --openNodes;
    closeItems();
    json.endObject();
    itemsClosed = false;
}

/// Ends what is open of the arrays of items and of problems.
void JsonWriter::Private::closeItems()
{
    if (!itemsClosed || problemsOpen)
        json.endArray();
    itemsClosed = true;
    problemsOpen = false;
}

void JsonWriter::Private::printNotes()
{
    if (!notes.path.isEmpty())
        json.member("path", notes.path);
    if (!notes.bytes.isEmpty())
        json.member("bytes", notes.bytes);
    notes = {};
}

void JsonWriter::Private::printVideoStream(const VideoStream &stream)
{
    json.beginObject();
    json.member("width", stream.width);
    json.member("height", stream.height);
    json.member("formatCode", stream.formatCode);
    json.key("codecId");
    json.signedNumber(stream.codecId);
    json.key("frameRate");
    json.real(stream.frameRate);
    json.endObject();
}

void JsonWriter::Private::printFrame(const Frame &frame)
{
    json.beginObject();
    json.member("stream", frame.stream);
    json.member("number", frame.number);
    json.member("offset", frame.offset);
    json.member("size", frame.size);
    json.key("key");
    json.boolean(frame.key);
    json.endObject();
}

} // namespace quenlofar
