#pragma once

// What the framework's printers of JSON share; they alone include it.

#include "outputbuffer.h"
#include "runresult.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include <QStringView>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

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

/// One of RapidJSON's writers with what they could do but do not offer, and with the parts that documents share.
template <typename Writer> class JsonParts : public Writer
{
public:
    explicit JsonParts(JsonOutput &output) : Writer(output)
    {
        if constexpr (isIndented)
            this->SetIndent(u' ', 2);
    }

    /// Makes room on the stack, so that memory cannot end when something is half printed; may throw std::bad_alloc.
    void reserveLevels(size_t count) { this->level_stack_.template Reserve<typename Writer::Level>(count); }

    /// Key() for a name in ASCII that needs no escaping.
    template <size_t N> void plainKey(const char (&name)[N])
    {
        if constexpr (isIndented)
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
    void text(QStringView text) { this->String(text.isEmpty() ? u"" : text.utf16(), rapidjson::SizeType(text.size())); }
    /// The shortest text that reads back as the same number; null when it is infinite or not a number.
    void real(double number);

    template <size_t N> void member(const char (&name)[N], QStringView value)
    {
        plainKey(name);
        text(value);
    }
    template <size_t N> void member(const char (&name)[N], quint64 number)
    {
        plainKey(name);
        this->Uint64(number);
    }
    template <size_t N> void memberOrNull(const char (&name)[N], qint64 number)
    {
        plainKey(name);
        if (number >= 0)
            this->Uint64(quint64(number));
        else
            this->Null();
    }

    /// The members that every document begins with.
    void printStart(const DocumentStart &start);
    /// "status" and, where they apply, "limit", "cancelled" and "error".
    void printOutcome(const RunResult &result);

private:
    static constexpr bool isIndented = std::is_same_v<Writer, IndentedWriter>;

    void printError(const FileError &error);
};

template <typename Writer> void JsonParts<Writer>::real(double number)
{
    if (!std::isfinite(number)) {
        this->Null();
        return;
    }
    // RapidJSON's own rendering is not always the shortest.
    char digits[32];
    const char *const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    char16_t text[sizeof digits];
    std::copy(static_cast<const char *>(digits), end, text);
    this->RawValue(text, size_t(end - digits), rapidjson::kNumberType);
}

template <typename Writer> void JsonParts<Writer>::printStart(const DocumentStart &start)
{
    member("formatVersion", quint64(1));
    member("file", start.file);
    memberOrNull("fileSize", start.fileSize);
    plainKey("container");
    if (start.container.isNull())
        this->Null();
    else
        text(start.container);
}

template <typename Writer> void JsonParts<Writer>::printOutcome(const RunResult &result)
{
    plainKey("status");
    this->Int(result.status);
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
        plainKey("cancelled");
        this->Bool(true);
    }
    if (result.error.kind != FileError::None)
        printError(result.error);
}

template <typename Writer> void JsonParts<Writer>::printError(const FileError &error)
{
    plainKey("error");
    this->StartObject();
    member("kind",
           error.kind == FileError::Open         ? u"open"
               : error.kind == FileError::Read   ? u"read"
               : error.kind == FileError::Memory ? u"memory"
                                                 : u"parser");
    memberOrNull("offset", error.offset);
    member("message", error.message);
    this->EndObject();
}
