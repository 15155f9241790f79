#include "textwriter.h"

#include "digits.h"
#include "displaytext.h"
#include "ecma48.h"
#include "outputbuffer.h"
#include "statuscodes.h"
#include "textwidth.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace quenlofar {

namespace {

constexpr int leastColumnWidth = 6;
constexpr int unitColumnWidth = 10; // "1023 bytes"
// Deeper nodes are printed as far right as these: a file can nest deeper than a line is worth.
constexpr quint64 deepestIndentation = 60;

int hexadecimalDigits(quint64 number)
{
    int digits = 1;
    while ((number >>= 4) > 0)
        ++digits;
    return digits;
}

// What is printed in which colour.
constexpr std::string_view plain = ecma48::plain;
constexpr std::string_view placeColour = ecma48::faint;
constexpr std::string_view nodeColour = ecma48::bold;
constexpr std::string_view nameColour = ecma48::cyan;
constexpr std::string_view meaningColour = ecma48::green;
constexpr std::string_view remarkColour = ecma48::yellow;
constexpr std::string_view troubleColour = ecma48::red;

} // namespace

class TextWriter::Private
{
public:
    Private(QIODevice &device, const TextStyle &textStyle) : output(device), style(textStyle) { }

    bool works() const { return isOpen && !output.failed(); }
    void startLine(quint64 offset, quint64 size);
    void startLine();
    void startOpenNode(quint64 offset);
    void indent();
    void printName(QStringView name, std::string_view sequence);
    void printContents(const Field &field);
    void endItem();
    void printHeading();
    void printStart(const DocumentStart &start);
    void printVideoStream(int ordinal, const VideoStream &stream);
    void printOutcome(const RunResult &result);

    // These return the object itself, so that a line reads as it prints.
    Private &raw(std::string_view ascii)
    {
        output.append(ascii);
        return *this;
    }
    Private &number(quint64 value)
    {
        output.appendDecimal(value);
        return *this;
    }
    Private &signedNumber(qint32 value);
    Private &text(QStringView text);
    Private &counted(quint64 count, std::string_view unit);
    Private &column(quint64 value, int width)
    {
        output.appendDecimal(value, width);
        return *this;
    }
    Private &offset(quint64 value);
    Private &offsetColumn(quint64 value);
    Private &sizeColumn(quint64 value);
    Private &colour(std::string_view sequence) { return style.colour ? raw(sequence) : *this; }
    Private &clipped(QStringView whole);
    Private &quotedIfBlank(QStringView whole);

    OutputBuffer output;
    const TextStyle style;
    ItemNotes notes; // of the next item
    int room = 0; // columns that the line has left, where its width is limited
    quint64 depth = 0; // open nodes
    quint64 frames = 0;
    int columnWidth = leastColumnWidth; // of offsets
    int sizeWidth = leastColumnWidth;
    bool isOpen = false;
    bool hasHeading = false;
    bool isFirstDocument = true;
};

TextWriter::TextWriter(QIODevice &output, const TextStyle &style) : d(new Private(output, style)) { }

TextWriter::~TextWriter() = default;

bool TextWriter::beginDocument(const DocumentStart &start)
{
    if (!d->isFirstDocument)
        d->raw("\n");
    d->isFirstDocument = false;
    d->isOpen = true;
    d->hasHeading = false;
    d->depth = d->frames = 0;
    const quint64 largest = quint64(std::max<qint64>(start.fileSize, 0));
    // "0x" stands in front of hexadecimal digits.
    const int offsetDigits = d->style.hexOffsets ? 2 + hexadecimalDigits(largest) : decimalDigits(largest);
    d->columnWidth = std::max(leastColumnWidth, offsetDigits);
    d->sizeWidth =
        d->style.sizes == SizeUnits::Bytes ? std::max(leastColumnWidth, decimalDigits(largest)) : unitColumnWidth;
    d->printStart(start);
    return d->works();
}

bool TextWriter::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    if (d->works()) {
        if (size == sizeFromEnd)
            d->startOpenNode(offset);
        else
            d->startLine(offset, size);
        d->printName(title, nodeColour);
        if (index >= 0)
            d->raw(" [").number(quint64(index)).raw("]");
        d->endItem();
    }
    ++d->depth;
    return d->works();
}

bool TextWriter::addField(const Field &field)
{
    if (!d->works())
        return false;
    d->startLine(field.offset, field.size);
    d->printContents(field);
    d->endItem();
    return d->works();
}

void TextWriter::Private::printContents(const Field &field)
{
    if (field.isUnparsedData()) {
        if (!notes.path.isEmpty())
            printName({}, nameColour);
        colour(remarkColour).raw(notes.path.isEmpty() ? "" : "  ").counted(field.size, "byte");
        raw(" that no parser interprets").colour(plain);
        return;
    }
    printName(field.name, nameColour);
    if (!field.value.isEmpty())
        raw(" = ").quotedIfBlank(field.value);
    else if (field.isEmptyText())
        raw(" = \"\"");
    else if (field.meaning.isEmpty() && field.size > 0)
        raw("  (").counted(field.size, "byte").raw(" of data)");
    else if (field.meaning.isEmpty())
        raw("  (empty)");
    if (!field.meaning.isEmpty())
        raw("  ").colour(meaningColour).raw("(").clipped(field.meaning).raw(")").colour(plain);
    if (!field.description.isEmpty())
        raw("  ").clipped(field.description);
}

bool TextWriter::addOmission(quint64 count)
{
    if (!d->works())
        return false;
    d->startLine();
    d->colour(remarkColour).raw("... ").number(count).raw(" more like these").colour(plain).raw("\n");
    return d->works();
}

void TextWriter::setNotes(const ItemNotes &notes)
{
    d->notes = notes;
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
    if (!d->style.showsFrames)
        return true;
    d->startLine();
    d->raw("frame ").number(frame.number).raw(" of video stream ").number(frame.stream).raw(": ");
    d->counted(frame.size, "byte").raw(" at ").offset(frame.offset).raw(frame.key ? ", key frame\n" : "\n");
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

bool TextWriter::setElementSize(quint64 size)
{
    if (!d->works())
        return false;
    // Stands where the node's own line does.
    --d->depth;
    d->printHeading();
    d->output.fill(' ', d->columnWidth + 2);
    d->colour(placeColour).sizeColumn(size).colour(plain);
    d->indent();
    ++d->depth;
    d->colour(remarkColour).raw("(end)").colour(plain).raw("\n");
    return d->works();
}

bool TextWriter::reportProblem(const quenlofar::ReportedProblem &problem)
{
    if (!d->works())
        return false;
    d->startLine(problem.offset, problem.size);
    d->colour(problem.severity == quenlofar::Severity::Error ? troubleColour : remarkColour);
    d->text(severityName(problem.severity)).raw(": ").clipped(problem.text).colour(plain).raw("\n");
    return d->works();
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
    colour(placeColour).offsetColumn(offset).raw("  ").sizeColumn(size).colour(plain);
    indent();
}

/// The line of a node whose size comes at its end.
void TextWriter::Private::startOpenNode(quint64 offset)
{
    constexpr std::string_view notYet = "...";
    printHeading();
    colour(placeColour).offsetColumn(offset).raw("  ");
    output.fill(' ', sizeWidth - std::ptrdiff_t(notYet.size()));
    raw(notYet).colour(plain);
    indent();
}

/// A line that has nothing to say in the columns.
void TextWriter::Private::startLine()
{
    printHeading();
    output.fill(' ', columnWidth + 2 + sizeWidth);
    indent();
}

/// A path says where an item stands; otherwise indentation does.
void TextWriter::Private::indent()
{
    const auto width = std::ptrdiff_t(2 + (notes.path.isEmpty() ? 2 * std::min(depth, deepestIndentation) : 0));
    output.fill(' ', width);
    // The bytes, where they are wanted, are what a line ends with.
    const int reserved = notes.bytes.isEmpty() ? 0 : textWidth(notes.bytes, TextForm::Escaped) + 4;
    room = style.width - (columnWidth + 2 + sizeWidth + int(width) + reserved);
}

void TextWriter::Private::printName(QStringView name, std::string_view sequence)
{
    const QStringView shown = notes.path.isEmpty() ? name : notes.path;
    const bool isBlank = isAllBlanks(shown);
    colour(sequence).raw(isBlank ? "\"" : "").text(shown).raw(isBlank ? "\"" : "").colour(plain);
    if (style.width > 0)
        room -= textWidth(shown, TextForm::Escaped) + (isBlank ? 2 : 0);
}

void TextWriter::Private::endItem()
{
    if (!notes.bytes.isEmpty())
        raw("  ").colour(placeColour).raw("[").text(notes.bytes).raw("]").colour(plain);
    raw("\n");
    notes = {};
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
    output.fill(' ', 2 + sizeWidth - std::ptrdiff_t(sizeTitle.size()));
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
        raw("codec ").signedNumber(stream.codecId);
    else
        raw("unknown codec");
    if (stream.formatCode != 0)
        raw(", pixel format ").number(stream.formatCode);
    raw("\n");
}

void TextWriter::Private::printOutcome(const RunResult &result)
{
    if (result.problems.total() > 0)
        text(result.problems.text()).raw("\n");
    // "walked to the end" is said only where nothing came in the way. A walk looks for no problems.
    if (result.isClean()) {
        raw("status ").number(StatusOk).raw(": ").text(statusText(StatusOk)).raw("\n");
        return;
    }
    // Each line by itself: a line that is filtered out of the text takes its colour along.
    const auto begin = [this]() -> Private & { return colour(troubleColour); };
    const auto end = [this] { colour(plain).raw("\n"); };
    if (result.status != StatusOk) {
        begin().raw("status ").signedNumber(result.status).raw(": ").text(statusText(result));
        end();
    }
    if (result.limit != RunLimit::None) {
        begin().raw("stopped at byte ").number(result.stopPosition).raw(" by the limit of ");
        counted(result.limitValue,
                result.limit == RunLimit::Items           ? "item"
                    : result.limit == RunLimit::Depth     ? "nested node"
                    : result.limit == RunLimit::Time      ? "second"
                    : result.limit == RunLimit::Structure ? "structure entry"
                                                          : "byte");
        raw(result.limit == RunLimit::Work ? " to be read" : "");
        end();
    }
    if (result.cancelled) {
        begin().raw("cancelled at byte ").number(result.stopPosition);
        end();
    }
    if (result.error.kind != FileError::None) {
        begin().raw(result.error.kind == FileError::Open         ? "opening failed"
                        : result.error.kind == FileError::Read   ? "reading failed"
                        : result.error.kind == FileError::Memory ? "memory ran out"
                                                                 : "the parser failed");
        if (result.error.offset >= 0)
            raw(" at byte ").number(quint64(result.error.offset));
        raw(": ").text(result.error.message);
        end();
    }
    if (!result.sinkError.isNull()) {
        begin().raw("not printed to its end: ").text(result.sinkError);
        end();
    }
}

TextWriter::Private &TextWriter::Private::quotedIfBlank(QStringView whole)
{
    if (!isAllBlanks(whole))
        return clipped(whole);
    room -= 2;
    return raw("\"").clipped(whole).raw("\"");
}

TextWriter::Private &TextWriter::Private::signedNumber(qint32 value)
{
    return raw(value < 0 ? "-" : "").number(quint64(std::abs(qint64(value))));
}

TextWriter::Private &TextWriter::Private::offset(quint64 value)
{
    if (!style.hexOffsets)
        return number(value);
    constexpr int mostDigits = 16;
    raw("0x");
    char *const begin = output.reserve(mostDigits);
    output.commit(std::to_chars(begin, begin + mostDigits, value, 16).ptr);
    return *this;
}

TextWriter::Private &TextWriter::Private::offsetColumn(quint64 value)
{
    if (!style.hexOffsets)
        return column(value, columnWidth);
    output.fill(' ', columnWidth - 2 - hexadecimalDigits(value));
    return offset(value);
}

TextWriter::Private &TextWriter::Private::sizeColumn(quint64 value)
{
    if (style.sizes == SizeUnits::Bytes)
        return column(value, sizeWidth);
    const QString size = sizeText(value, style.sizes);
    output.fill(' ', sizeWidth - size.size());
    return text(size);
}

/// As much of `text` as the line has room for, but never so little that it says nothing.
TextWriter::Private &TextWriter::Private::clipped(QStringView whole)
{
    constexpr int leastShown = 16;
    if (style.width == 0)
        return text(whole);
    const int most = std::max(room - 4, leastShown);
    const TextPiece shown = fittingPiece(whole, most, TextForm::Escaped);
    room -= shown.columns + 4;
    if (shown.units == whole.size())
        return text(whole);
    return text(whole.left(fittingPiece(whole, most - 1, TextForm::Escaped).units)).raw("\xE2\x80\xA6");
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
    while ((at = output.appendUntil(at, end, needsEscape<EscapeForm::Display>)) != end)
        raw(CharacterEscape(*at++).text());
    return *this;
}

} // namespace quenlofar
