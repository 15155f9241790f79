#include "jsonwriter.h"

#include "framelist.h"
#include "jsonparts_p.h"

namespace {

template <typename Writer> class Document final : public TreeWriter
{
public:
    Document(QIODevice &device, JsonWriter::Frames frames)
        : m_output(device), m_writer(m_output), m_showsFrames(frames == JsonWriter::Frames::Shown)
    {
    }

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    QString errorText() const override;
    void setNotes(const ItemNotes &notes) override { m_notes = notes; }
    bool addOmission(quint64 count) override;

private:
    bool works() const { return m_isOpen && !m_memoryEnded && !m_output.failed(); }
    bool reserveLevels();
    void printVideoStream(const VideoStream &stream);
    void printFrames();
    void printFrame(const Frame &frame);
    void printNotes();
    void closeNode();

    JsonOutput m_output;
    JsonParts<Writer> m_writer;
    FrameList m_frames;
    ItemNotes m_notes;
    const bool m_showsFrames;
    quint64 m_openNodes = 0;
    quint64 m_refusedNodes = 0; // begun while there was no memory for them: open for the caller, not printed
    bool m_isOpen = false;
    bool m_memoryEnded = false;
};

template <typename Writer> bool Document<Writer>::beginDocument(const DocumentStart &start)
{
    m_writer.Reset(m_output);
    m_frames.clear();
    m_openNodes = m_refusedNodes = 0;
    m_memoryEnded = false;
    m_isOpen = !m_output.failed() && reserveLevels();
    if (!m_isOpen)
        return false;
    m_writer.StartObject();
    m_writer.printStart(start);
    m_writer.plainKey("elements");
    m_writer.StartArray();
    return works();
}

template <typename Writer>
bool Document<Writer>::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    if (!works() || !reserveLevels()) {
        ++m_refusedNodes;
        return false;
    }
    ++m_openNodes;
    m_writer.StartObject();
    m_writer.member("node", title);
    m_writer.member("offset", offset);
    m_writer.member("size", size);
    if (index != -1) {
        m_writer.plainKey("index");
        m_writer.Int64(index);
    }
    printNotes();
    m_writer.plainKey("items");
    m_writer.StartArray();
    return works();
}

template <typename Writer> bool Document<Writer>::addField(const Field &field)
{
    if (!works())
        return false;
    m_writer.StartObject();
    if (field.isUnparsedData()) {
        m_writer.plainKey("unparsed");
        m_writer.Bool(true);
    } else {
        m_writer.member("field", field.name);
    }
    m_writer.member("offset", field.offset);
    m_writer.member("size", field.size);
    if (!field.isUnparsedData()) {
        m_writer.member("value", field.value);
        if (!field.meaning.isEmpty())
            m_writer.member("meaning", field.meaning);
        if (!field.description.isEmpty())
            m_writer.member("description", field.description);
    }
    printNotes();
    m_writer.EndObject();
    return works();
}

template <typename Writer> bool Document<Writer>::addOmission(quint64 count)
{
    if (!works())
        return false;
    m_writer.StartObject();
    m_writer.member("omitted", count);
    m_writer.EndObject();
    return works();
}

template <typename Writer> void Document<Writer>::printNotes()
{
    if (!m_notes.path.isEmpty())
        m_writer.member("path", m_notes.path);
    if (!m_notes.bytes.isEmpty())
        m_writer.member("bytes", m_notes.bytes);
    m_notes = {};
}

template <typename Writer> bool Document<Writer>::endElement()
{
    if (m_refusedNodes > 0)
        --m_refusedNodes;
    else if (m_openNodes > 0)
        closeNode();
    return works();
}

template <typename Writer> void Document<Writer>::closeNode()
{
    --m_openNodes;
    m_writer.EndArray();
    m_writer.EndObject();
}

template <typename Writer> bool Document<Writer>::reportFrame(const Frame &frame)
{
    if (!works())
        return false;
    if (!m_showsFrames)
        return true;
    try {
        m_frames.append(frame);
    } catch (const std::bad_alloc &) {
        m_memoryEnded = true;
    }
    return works();
}

template <typename Writer> bool Document<Writer>::endDocument(const RunResult &result)
{
    if (!m_isOpen)
        return false;
    while (m_openNodes > 0)
        closeNode();
    m_writer.EndArray();
    RunResult outcome = result;
    if (m_memoryEnded && outcome.error.kind == FileError::None)
        outcome.error = {FileError::Memory, -1, errorText()};
    m_writer.printOutcome(outcome);

    m_writer.plainKey("videoStreams");
    m_writer.StartArray();
    for (const VideoStream &stream : result.videoStreams)
        printVideoStream(stream);
    m_writer.EndArray();

    if (m_showsFrames)
        printFrames();
    m_writer.EndObject();
    m_output.put('\n');
    m_output.flush();
    const bool complete = works();
    m_isOpen = false;
    m_frames.clear();
    return complete;
}

template <typename Writer> void Document<Writer>::printFrames()
{
    m_writer.plainKey("frames");
    m_writer.StartArray();
    for (quint64 i = 0; i < m_frames.size() && !m_output.failed(); ++i)
        printFrame(m_frames.at(i));
    m_writer.EndArray();
}

template <typename Writer> QString Document<Writer>::errorText() const
{
    if (m_output.failed())
        return m_output.errorText();
    return m_memoryEnded ? QStringLiteral("not enough memory to print the document") : QString();
}

/// Room for a node and for what may stand in it.
template <typename Writer> bool Document<Writer>::reserveLevels()
{
    constexpr size_t levelsOfNode = 2;
    constexpr size_t levelsOfContents = 2;
    try {
        m_writer.reserveLevels(levelsOfNode + levelsOfContents);
    } catch (const std::bad_alloc &) {
        m_memoryEnded = true;
    }
    return !m_memoryEnded;
}

template <typename Writer> void Document<Writer>::printVideoStream(const VideoStream &stream)
{
    m_writer.StartObject();
    m_writer.member("width", stream.width);
    m_writer.member("height", stream.height);
    m_writer.member("formatCode", stream.formatCode);
    m_writer.member("codecId", stream.codecId);
    m_writer.plainKey("frameRate");
    m_writer.real(stream.frameRate);
    m_writer.EndObject();
}

template <typename Writer> void Document<Writer>::printFrame(const Frame &frame)
{
    m_writer.StartObject();
    m_writer.member("stream", frame.stream);
    m_writer.member("number", frame.number);
    m_writer.member("offset", frame.offset);
    m_writer.member("size", frame.size);
    m_writer.plainKey("key");
    m_writer.Bool(frame.key);
    m_writer.EndObject();
}

std::unique_ptr<TreeWriter> makeDocument(QIODevice &output, JsonWriter::Layout layout, JsonWriter::Frames frames)
{
    if (layout == JsonWriter::Layout::Indented)
        return std::make_unique<Document<IndentedWriter>>(output, frames);
    return std::make_unique<Document<LineWriter>>(output, frames);
}

} // namespace

class JsonWriter::Private
{
public:
    std::unique_ptr<TreeWriter> document;
};

JsonWriter::JsonWriter(QIODevice &output, Layout layout, Frames frames)
    : d(new Private{makeDocument(output, layout, frames)})
{
}

JsonWriter::~JsonWriter() = default;

bool JsonWriter::beginDocument(const DocumentStart &start)
{
    return d->document->beginDocument(start);
}

bool JsonWriter::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    return d->document->beginElement(offset, size, title, index);
}

bool JsonWriter::addField(const Field &field)
{
    return d->document->addField(field);
}

bool JsonWriter::endElement()
{
    return d->document->endElement();
}

bool JsonWriter::reportFrame(const Frame &frame)
{
    return d->document->reportFrame(frame);
}

bool JsonWriter::endDocument(const RunResult &result)
{
    return d->document->endDocument(result);
}

QString JsonWriter::errorText() const
{
    return d->document->errorText();
}

void JsonWriter::setNotes(const ItemNotes &notes)
{
    d->document->setNotes(notes);
}

bool JsonWriter::addOmission(quint64 count)
{
    return d->document->addOmission(count);
}
