#include "textwriter.h"

#include "outputbuffer.h"
#include "statuscodes.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

constexpr int leastColumnWidth = 6;
// Deeper nodes are printed as far right as these: a file can nest deeper than a line is worth.
constexpr quint64 deepestIndentation = 60;

/// True for what must not reach a terminal or would mislead a reader: control characters, line separators and marks
/// that turn the direction of writing. The backslash begins their replacements.
bool needsEscape(char16_t unit)
{
    if (unit < 0x7F)
        return unit < 0x20 || unit == u'\\';
    return unit <= 0x9F || unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x2028 && unit <= 0x202E)
        || (unit >= 0x2066 && unit <= 0x2069);
}

int digitsOf(quint64 number)
{
    int digits = 1;
    for (; number >= 10; number /= 10)
        ++digits;
    return digits;
}

} // namespace

class TextWriter::Private
{
public:
    explicit Private(QIODevice &device) : output(device) { }

    bool works() const { return isOpen && !output.failed(); }
    void startLine(quint64 offset, quint64 size);
    void startLine();
    void indent() { output.fill(' ', std::ptrdiff_t(2 + 2 * std::min(depth, deepestIndentation))); }
    void printHeading();
    void printStart(const DocumentStart &start);
    void printVideoStream(int ordinal, const VideoStream &stream);
    void printOutcome(const RunResult &result);

    // These return the object itself, so that a line reads as it prints.
    Private &raw(std::string_view ascii);
    Private &number(quint64 value);
    Private &text(QStringView text);
    Private &counted(quint64 count, std::string_view unit);
    Private &column(quint64 value);

    OutputBuffer output;
    quint64 depth = 0; // open nodes
    quint64 frames = 0;
    int columnWidth = leastColumnWidth;
    bool isOpen = false;
    bool hasHeading = false;
    bool isFirstDocument = true;
};

TextWriter::TextWriter(QIODevice &output) : d(new Private(output)) { }

TextWriter::~TextWriter() = default;

bool TextWriter::beginDocument(const DocumentStart &start)
{
    if (!d->isFirstDocument)
        d->raw("\n");
    d->isFirstDocument = false;
    d->isOpen = true;
    d->hasHeading = false;
    d->depth = d->frames = 0;
    d->columnWidth = std::max(leastColumnWidth, digitsOf(quint64(std::max<qint64>(start.fileSize, 0))));
    d->printStart(start);
    return d->works();
}

bool TextWriter::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    if (d->works()) {
        d->startLine(offset, size);
        d->text(title);
        if (index >= 0)
            d->raw(" [").number(quint64(index)).raw("]");
        d->raw("\n");
    }
    ++d->depth;
    return d->works();
}

bool TextWriter::addField(const Field &field)
{
    if (!d->works())
        return false;
    d->startLine(field.offset, field.size);
    if (field.isUnparsedData()) {
        d->counted(field.size, "byte").raw(" that no parser interprets\n");
        return d->works();
    }
    d->text(field.name);
    if (!field.value.isEmpty())
        d->raw(" = ").text(field.value);
    else if (field.meaning.isEmpty() && field.size > 0)
        d->raw("  (").counted(field.size, "byte").raw(" of data)");
    else if (field.meaning.isEmpty())
        d->raw("  (empty)");
    if (!field.meaning.isEmpty())
        d->raw("  (").text(field.meaning).raw(")");
    if (!field.description.isEmpty())
        d->raw("  ").text(field.description);
    d->raw("\n");
    return d->works();
}

bool TextWriter::endElement()
{
    if (d->depth > 0)
        --d->depth;
    return d->works();
}

bool TextWriter::reportFrame(const Frame &frame)
{
    if (!d->works())
        return false;
    ++d->frames;
    d->startLine();
    d->raw("frame ").number(frame.number).raw(" of video stream ").number(frame.stream).raw(": ");
    d->counted(frame.size, "byte").raw(" at ").number(frame.offset).raw(frame.key ? ", key frame\n" : "\n");
    return d->works();
}

bool TextWriter::endDocument(const RunResult &result)
{
    if (!d->works())
        return false;
    if (d->hasHeading)
        d->raw("\n");
    for (int i = 0; i < int(result.videoStreams.size()); ++i)
        d->printVideoStream(i, result.videoStreams[i]);
    if (d->frames > 0 || !result.videoStreams.isEmpty())
        d->counted(d->frames, "video frame").raw(" reported\n");
    d->printOutcome(result);
    d->output.flush();
    d->isOpen = false;
    return !d->output.failed();
}

QString TextWriter::errorText() const
{
    return d->output.errorText();
}

void TextWriter::Private::printStart(const DocumentStart &start)
{
    text(start.file).raw(": ");
    if (start.fileSize < 0) {
        raw("not opened\n");
        return;
    }
    if (start.container.isNull())
        raw("unknown container format");
    else
        text(start.container);
    raw(", ").counted(quint64(start.fileSize), "byte").raw("\n");
}

void TextWriter::Private::startLine(quint64 offset, quint64 size)
{
    printHeading();
    column(offset).raw("  ").column(size);
    indent();
}

/// A line that has nothing to say in the columns.
void TextWriter::Private::startLine()
{
    printHeading();
    output.fill(' ', 2 * columnWidth + 2);
    indent();
}

void TextWriter::Private::printHeading()
{
    if (hasHeading)
        return;
    hasHeading = true;
    constexpr std::string_view offsetTitle = "offset";
    constexpr std::string_view sizeTitle = "size";
    raw("\n");
    output.fill(' ', columnWidth - std::ptrdiff_t(offsetTitle.size()));
    raw(offsetTitle);
    output.fill(' ', 2 + columnWidth - std::ptrdiff_t(sizeTitle.size()));
    raw(sizeTitle).raw("\n");
}

void TextWriter::Private::printVideoStream(int ordinal, const VideoStream &stream)
{
    // A negative height says that the picture is stored from its top line down.
    const bool isTopDown = stream.height >= 0x80000000U;
    raw("video stream ").number(quint64(ordinal)).raw(": ").number(stream.width).raw(" x ");
    number(isTopDown ? 0U - stream.height : stream.height).raw(isTopDown ? " top-down, " : ", ");
    if (std::isfinite(stream.frameRate)) {
        char digits[32];
        const char *const end = std::to_chars(digits, digits + sizeof digits, stream.frameRate).ptr;
        raw({digits, size_t(end - digits)}).raw(" frames/second, ");
    } else {
        raw("unknown frame rate, ");
    }
    if (stream.codecId != 0)
        raw("codec ").number(stream.codecId);
    else
        raw("unknown codec");
    if (stream.formatCode != 0)
        raw(", pixel format ").number(stream.formatCode);
    raw("\n");
}

void TextWriter::Private::printOutcome(const RunResult &result)
{
    raw("status ").raw(result.status < 0 ? "-" : "").number(quint64(std::abs(qint64(result.status))));
    raw(": ").text(statusText(result.status)).raw("\n");
    if (result.limit != RunLimit::None) {
        raw("stopped at byte ").number(result.stopPosition).raw(" by the limit of ");
        counted(result.limitValue,
                result.limit == RunLimit::Items       ? "item"
                    : result.limit == RunLimit::Depth ? "nested node"
                                                      : "byte");
        raw(result.limit == RunLimit::Work ? " to be read\n" : "\n");
    }
    if (result.cancelled)
        raw("cancelled at byte ").number(result.stopPosition).raw("\n");
    if (result.error.kind != FileError::None) {
        raw(result.error.kind == FileError::Open       ? "opening failed"
                : result.error.kind == FileError::Read ? "reading failed"
                                                       : "memory ended");
        if (result.error.offset >= 0)
            raw(" at byte ").number(quint64(result.error.offset));
        raw(": ").text(result.error.message).raw("\n");
    }
}

TextWriter::Private &TextWriter::Private::raw(std::string_view ascii)
{
    output.append(ascii);
    return *this;
}

TextWriter::Private &TextWriter::Private::number(quint64 value)
{
    constexpr int mostDigits = 20;
    char *const begin = output.reserve(mostDigits);
    output.commit(std::to_chars(begin, begin + mostDigits, value).ptr);
    return *this;
}

TextWriter::Private &TextWriter::Private::column(quint64 value)
{
    output.fill(' ', columnWidth - digitsOf(value));
    return number(value);
}

/// "1 byte", "2 bytes".
TextWriter::Private &TextWriter::Private::counted(quint64 count, std::string_view unit)
{
    return number(count).raw(" ").raw(unit).raw(count == 1 ? "" : "s");
}

TextWriter::Private &TextWriter::Private::text(QStringView text)
{
    const char16_t *at = text.utf16();
    const char16_t *const end = at + text.size();
    while ((at = output.appendUntil(at, end, needsEscape)) != end) {
        const char16_t unit = *at++;
        switch (unit) {
        case u'\\':
            raw("\\\\");
            break;
        case u'\n':
            raw("\\n");
            break;
        case u'\r':
            raw("\\r");
            break;
        case u'\t':
            raw("\\t");
            break;
        default:
            raw(unit < 0x100 ? "\\x" : "\\u");
            for (int shift = unit < 0x100 ? 4 : 12; shift >= 0; shift -= 4)
                output.put("0123456789ABCDEF"[unit >> shift & 0xF]);
        }
    }
    return *this;
}
