// The JSON writer under any sequence of calls: what it prints parses again and says the same.
#include "callscript.h"
#include "fuzztarget.h"
#include "harmless.h"
#include "jsontext.h"
#include "jsonwriter.h"
#include "outputs.h"
#include "require.h"

#include <cmath>
#include <vector>

using namespace quenlofar;

namespace {

/// Enough to fill the output buffer.
constexpr size_t mostCalls = 300;

/// `text` with U+FFFD for every surrogate without its other half: UTF-8 cannot say those.
QString withoutLoneSurrogates(const QString &text)
{
    QString clean = text;
    for (int i = 0; i < int(clean.size()); ++i) {
        const bool isPair =
            clean.at(i).isHighSurrogate() && i + 1 < int(clean.size()) && clean.at(i + 1).isLowSurrogate();
        if (isPair)
            ++i;
        else if (clean.at(i).isSurrogate())
            clean[i] = QChar(0xFFFD);
    }
    return clean;
}

bool says(const JsonValue &value, const QString &text)
{
    return value.IsString()
        && QStringView(value.GetString(), qsizetype(value.GetStringLength())) == withoutLoneSurrogates(text);
}

bool says(const JsonValue &value, quint64 number)
{
    return value.IsUint64() && value.GetUint64() == number;
}

bool saysOrNull(const JsonValue &value, qint64 number)
{
    return number < 0 ? value.IsNull() : says(value, quint64(number));
}

bool saysIfAny(const JsonValue &object, const char16_t *name, const QString &text)
{
    return text.isEmpty() ? !object.HasMember(name) : says(jsonMember(object, name), text);
}

void checkNode(const JsonValue &node, const SinkCall &begin)
{
    require(says(jsonMember(node, u"node"), begin.name), "a node has its title");
    require(says(jsonMember(node, u"offset"), begin.offset), "a node has its offset");
    if (begin.size == sizeFromEnd) // which the script's ends never tell
        require(!node.HasMember(u"size"), "a size that nobody tells is left out");
    else
        require(says(jsonMember(node, u"size"), begin.size), "a node has its size");
    if (begin.index == -1)
        require(!node.HasMember(u"index"), "only a node of a series has an index");
    else
        require(jsonMember(node, u"index").GetInt64() == begin.index, "a node has its index");
}

void checkLeaf(const JsonValue &leaf, const SinkCall &call)
{
    require(says(jsonMember(leaf, u"offset"), call.offset), "a leaf has its offset");
    require(says(jsonMember(leaf, u"size"), call.size), "a leaf has its size");
    if (call.name == unparsedDataMarker) {
        require(jsonMember(leaf, u"unparsed").IsTrue(), "unparsed bytes are called so");
        require(!leaf.HasMember(u"field"), "the marker of unparsed bytes is not printed");
        return;
    }
    require(says(jsonMember(leaf, u"field"), call.name), "a leaf has its name");
    require(says(jsonMember(leaf, u"value"), call.value), "a leaf has its value");
    require(saysIfAny(leaf, u"meaning", call.meaning), "a leaf has its meaning, if any");
    require(saysIfAny(leaf, u"description", call.description), "a leaf has its description, if any");
}

/// One node whose items are being looked through.
struct Level
{
    const JsonValue *items;
    rapidjson::SizeType next;
};

const JsonValue &nextItem(Level *level)
{
    require(level->items->IsArray() && level->next < level->items->Size(), "a node holds all of its items");
    return (*level->items)[level->next++];
}

void checkElements(const JsonValue &document, const CallScript &script)
{
    std::vector<Level> levels{{&jsonMember(document, u"elements"), 0}};
    for (const SinkCall &call : script.calls) {
        switch (call.kind) {
        case SinkCall::Begin: {
            const JsonValue &node = nextItem(&levels.back());
            checkNode(node, call);
            levels.push_back({&jsonMember(node, u"items"), 0});
            break;
        }
        case SinkCall::Leaf:
            checkLeaf(nextItem(&levels.back()), call);
            break;
        case SinkCall::End:
            require(levels.back().next == levels.back().items->Size(), "a node holds nothing but its items");
            levels.pop_back();
            break;
        case SinkCall::ReportFrame:
            break;
        }
    }
    for (const Level &level : levels)
        require(level.next == level.items->Size(), "a node that was left open holds nothing but its items");
}

void checkFrames(const JsonValue &document, const CallScript &script)
{
    Level frames{&jsonMember(document, u"frames"), 0};
    for (const SinkCall &call : script.calls) {
        if (call.kind != SinkCall::ReportFrame)
            continue;
        const JsonValue &frame = nextItem(&frames);
        require(says(jsonMember(frame, u"stream"), call.frame.stream), "a frame has its stream");
        require(says(jsonMember(frame, u"number"), call.frame.number), "a frame has its number");
        require(says(jsonMember(frame, u"offset"), call.frame.offset), "a frame has its offset");
        require(says(jsonMember(frame, u"size"), call.frame.size), "a frame has its size");
        require(jsonMember(frame, u"key").GetBool() == call.frame.key, "a frame is a key frame or not");
    }
    require(frames.next == frames.items->Size(), "there are no other frames");
}

void checkDocument(const QByteArray &json, const CallScript &script)
{
    JsonDocument document;
    parseJson(json, &document);
    require(says(jsonMember(document, u"file"), script.document.file), "the document names its file");
    require(saysOrNull(jsonMember(document, u"fileSize"), script.document.fileSize), "the file has its size");
    const JsonValue &container = jsonMember(document, u"container");
    require(script.document.container.isNull() ? container.IsNull() : says(container, script.document.container),
            "the document names its format");
    require(jsonMember(document, u"status").GetInt() == script.result.status, "the document has its status");
    require(document.HasMember(u"limit") == (script.result.limit != RunLimit::None), "a limit is told");
    require(document.HasMember(u"cancelled") == script.result.cancelled, "a cancelled run is told");
    if (script.result.error.kind == FileError::None) {
        require(!document.HasMember(u"error"), "no error is made up");
    } else {
        const JsonValue &error = jsonMember(document, u"error");
        require(says(jsonMember(error, u"message"), script.result.error.message), "an error has its message");
        require(saysOrNull(jsonMember(error, u"offset"), script.result.error.offset), "an error has its place");
    }
    const JsonValue &streams = jsonMember(document, u"videoStreams");
    require(int(streams.Size()) == int(script.result.videoStreams.size()), "all video streams are told");
    for (rapidjson::SizeType i = 0; i < streams.Size(); ++i) {
        const VideoStream &stream = script.result.videoStreams.at(int(i));
        require(says(jsonMember(streams[i], u"width"), stream.width), "a video stream has its width");
        const JsonValue &rate = jsonMember(streams[i], u"frameRate");
        const bool isSame =
            std::isfinite(stream.frameRate) ? rate.IsNumber() && rate.GetDouble() == stream.frameRate : rate.IsNull();
        require(isSame, "a frame rate survives being printed; one that is no number is null");
    }
    checkElements(document, script);
    checkFrames(document, script);
}

/// A disk that gets full: it holds the beginning of the document, and the writer says so.
void tryFullDisk(const CallScript &script, JsonWriter::Layout layout, const QByteArray &whole, quint64 room)
{
    BoundedOutput output(qint64(room % quint64(whole.size())));
    JsonWriter writer(output, layout);
    require(!script.play(writer), "a writer whose output is full says so");
    require(!writer.errorText().isEmpty(), "a writer whose output is full says why");
    require(whole.startsWith(output.bytes()), "what came before the disk was full is right");
}

void tryLayout(const CallScript &script, JsonWriter::Layout layout, quint64 room)
{
    BoundedOutput output;
    JsonWriter writer(output, layout);
    require(script.play(writer), "a writer takes what its output takes");
    require(writer.errorText().isNull(), "there is no error text without an error");
    const QByteArray whole = output.bytes();
    checkDocument(whole, script);
    require(isHarmless(QString::fromUtf8(whole)), "nothing in a document steers a terminal");
    tryFullDisk(script, layout, whole, room);

    require(script.play(writer), "a writer prints one document after the other");
    require(output.bytes() == whole + whole, "every document is printed alike");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    InputReader input(data, size);
    const quint64 room = input.take<quint32>();
    const CallScript script(input, mostCalls);
    tryLayout(script, JsonWriter::Layout::Line, room);
    tryLayout(script, JsonWriter::Layout::Indented, room);
    return 0;
}
