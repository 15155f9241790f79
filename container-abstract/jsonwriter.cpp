#include "jsonwriter.h"

#include "framelist.h"
#include "outputbuffer.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

namespace {

/// The output buffer as RapidJSON's writers see a stream.
class JsonOutput : public OutputBuffer
{
public:
    using Ch = char;
    using OutputBuffer::OutputBuffer;
    void Put(char byte) { put(byte); }
    void Flush() { } // the end of the document is when to flush
};

// RapidJSON's "unsafe" is a promise of room made before; here each byte is looked after, since texts may be longer
// than the buffer. Found by argument-dependent lookup.
inline void PutUnsafe(JsonOutput &output, char byte)
{
    output.put(byte);
}

/// Memory of the writer's stack of open objects and arrays; unlike RapidJSON's own allocator it says when it ends.
struct LevelAllocator
{
    static void *Realloc(void *old, size_t, size_t size)
    {
        void *const memory = std::realloc(old, size);
        if (!memory)
            throw std::bad_alloc();
        return memory;
    }
    static void Free(void *memory) { std::free(memory); }
};

using Utf16 = rapidjson::UTF16<char16_t>;
using LineWriter = rapidjson::Writer<JsonOutput, Utf16, rapidjson::UTF8<>, LevelAllocator>;
using IndentedWriter = rapidjson::PrettyWriter<JsonOutput, Utf16, rapidjson::UTF8<>, LevelAllocator>;

} // namespace

// RapidJSON's writers are made to have these steps specialised for a stream: everything between two characters that
// have to be escaped goes to the buffer in one go, and so do the digits of a number.
namespace rapidjson {

template <> inline bool LineWriter::ScanWriteUnescapedString(GenericStringStream<Utf16> &text, size_t length)
{
    const char16_t *const end = text.head_ + length;
    text.src_ =
        os_->appendUntil(text.src_, end, [](char16_t unit) { return unit < 0x20 || unit == u'"' || unit == u'\\'; });
    return text.src_ != end;
}

template <> inline bool LineWriter::WriteUint64(uint64_t number)
{
    os_->commit(internal::u64toa(number, os_->reserve(20)));
    return true;
}

} // namespace rapidjson

namespace {

template <typename Writer> class Document final : public ElementSink
{
public:
    explicit Document(QIODevice &device) : m_output(device), m_writer(m_output)
    {
        if constexpr (std::is_same_v<Writer, IndentedWriter>)
            m_writer.SetIndent(u' ', 2);
    }

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    QString errorText() const override;

private:
    /// What RapidJSON's writers could do but do not offer.
    class OpenWriter : public Writer
    {
    public:
        using Writer::Writer;
        /// Makes room on the stack, so that memory cannot end when something is half printed.
        void reserveLevels(size_t count) { this->level_stack_.template Reserve<typename Writer::Level>(count); }
        /// Key() for a name in ASCII that needs no escaping.
        template <size_t N> void plainKey(const char (&name)[N])
        {
            if constexpr (std::is_same_v<Writer, IndentedWriter>)
                this->PrettyPrefix(rapidjson::kStringType);
            else
                this->Prefix(rapidjson::kStringType);
            char *out = this->os_->reserve(N + 1);
            *out++ = '"';
            std::memcpy(out, name, N - 1);
            out += N - 1;
            *out++ = '"';
            this->os_->commit(out);
        }
    };

    bool works() const { return m_isOpen && !m_memoryEnded && !m_output.failed(); }
    bool reserveLevels();
    void printOutcome(const RunResult &result);
    void printError(const FileError &error);
    void printVideoStream(const VideoStream &stream);
    void printFrame(const Frame &frame);
    void closeNode();

    template <size_t N> void key(const char (&name)[N]) { m_writer.plainKey(name); }
    template <size_t N> void member(const char (&name)[N], QStringView text)
    {
        key(name);
        m_writer.String(text.isEmpty() ? u"" : text.utf16(), rapidjson::SizeType(text.size()));
    }
    template <size_t N> void member(const char (&name)[N], quint64 number)
    {
        key(name);
        m_writer.Uint64(number);
    }
    template <size_t N> void memberOrNull(const char (&name)[N], qint64 number)
    {
        key(name);
        if (number >= 0)
            m_writer.Uint64(quint64(number));
        else
            m_writer.Null();
    }

    JsonOutput m_output;
    OpenWriter m_writer;
    FrameList m_frames;
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
    member("formatVersion", quint64(1));
    member("file", start.file);
    memberOrNull("fileSize", start.fileSize);
    if (start.container.isNull()) {
        key("container");
        m_writer.Null();
    } else {
        member("container", start.container);
    }
    key("elements");
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
    member("node", title);
    member("offset", offset);
    member("size", size);
    if (index != -1) {
        key("index");
        m_writer.Int64(index);
    }
    key("items");
    m_writer.StartArray();
    return works();
}

template <typename Writer> bool Document<Writer>::addField(const Field &field)
{
    if (!works())
        return false;
    m_writer.StartObject();
    if (field.isUnparsedData()) {
        key("unparsed");
        m_writer.Bool(true);
    } else {
        member("field", field.name);
    }
    member("offset", field.offset);
    member("size", field.size);
    if (!field.isUnparsedData()) {
        member("value", field.value);
        if (!field.meaning.isEmpty())
            member("meaning", field.meaning);
        if (!field.description.isEmpty())
            member("description", field.description);
    }
    m_writer.EndObject();
    return works();
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
    printOutcome(result);

    key("videoStreams");
    m_writer.StartArray();
    for (const VideoStream &stream : result.videoStreams)
        printVideoStream(stream);
    m_writer.EndArray();

    key("frames");
    m_writer.StartArray();
    for (quint64 i = 0; i < m_frames.size() && !m_output.failed(); ++i)
        printFrame(m_frames.at(i));
    m_writer.EndArray();

    m_writer.EndObject();
    m_output.put('\n');
    m_output.flush();
    const bool complete = works();
    m_isOpen = false;
    m_frames.clear();
    return complete;
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

template <typename Writer> void Document<Writer>::printOutcome(const RunResult &result)
{
    key("status");
    m_writer.Int(result.status);
    switch (result.limit) {
    case RunLimit::None:
        break;
    case RunLimit::Items:
        member("limit", u"items");
        break;
    case RunLimit::Depth:
        member("limit", u"depth");
        break;
    case RunLimit::Work:
        member("limit", u"work");
        break;
    }
    if (result.cancelled) {
        key("cancelled");
        m_writer.Bool(true);
    }
    if (result.error.kind != FileError::None)
        printError(result.error);
    else if (m_memoryEnded)
        printError({FileError::Memory, -1, errorText()});
}

template <typename Writer> void Document<Writer>::printError(const FileError &error)
{
    key("error");
    m_writer.StartObject();
    member("kind", error.kind == FileError::Open ? u"open" : error.kind == FileError::Read ? u"read" : u"memory");
    memberOrNull("offset", error.offset);
    member("message", error.message);
    m_writer.EndObject();
}

template <typename Writer> void Document<Writer>::printVideoStream(const VideoStream &stream)
{
    m_writer.StartObject();
    member("width", stream.width);
    member("height", stream.height);
    member("formatCode", stream.formatCode);
    member("codecId", stream.codecId);
    key("frameRate");
    if (std::isfinite(stream.frameRate)) {
        // RapidJSON's own rendering is not always the shortest.
        char digits[32];
        const char *const end = std::to_chars(digits, digits + sizeof digits, stream.frameRate).ptr;
        char16_t text[sizeof digits];
        std::copy(static_cast<const char *>(digits), end, text);
        m_writer.RawValue(text, size_t(end - digits), rapidjson::kNumberType);
    } else {
        m_writer.Null();
    }
    m_writer.EndObject();
}

template <typename Writer> void Document<Writer>::printFrame(const Frame &frame)
{
    m_writer.StartObject();
    member("stream", frame.stream);
    member("number", frame.number);
    member("offset", frame.offset);
    member("size", frame.size);
    key("key");
    m_writer.Bool(frame.key);
    m_writer.EndObject();
}

std::unique_ptr<ElementSink> makeDocument(QIODevice &output, JsonWriter::Layout layout)
{
    if (layout == JsonWriter::Layout::Indented)
        return std::make_unique<Document<IndentedWriter>>(output);
    return std::make_unique<Document<LineWriter>>(output);
}

} // namespace

class JsonWriter::Private
{
public:
    std::unique_ptr<ElementSink> document;
};

JsonWriter::JsonWriter(QIODevice &output, Layout layout) : d(new Private{makeDocument(output, layout)}) { }

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
