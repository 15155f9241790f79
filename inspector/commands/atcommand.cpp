#include "commands.h"

#include "displaytext.h"
#include "ecma48.h"
#include "elementpath.h"
#include "elementtree.h"
#include "exitstatus.h"
#include "filedevice.h"
#include "filewalker.h"
#include "hexdump.h"
#include "itemtext.h"
#include "jsonprinter.h"
#include "messages.h"
#include "offsetargument.h"
#include "options.h"
#include "placefinder.h"
#include "programoutput.h"
#include "report.h"
#include "statuscodes.h"
#include "terminal.h"
#include "textoutput.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <memory>
#include <optional>
#include <vector>

namespace quenlofar {

namespace {

using Item = ElementTree::Item;

/// The items from the top level down to `item`; none for the root.
std::vector<Item> chainTo(const ElementTree &tree, Item item)
{
    std::vector<Item> chain;
    for (; item != tree.root(); item = tree.parent(item))
        chain.push_back(item);
    std::reverse(chain.begin(), chain.end());
    return chain;
}

/// One line for `item`, cut off where it is long.
QString itemText(const ElementTree &tree, Item item)
{
    constexpr int mostCharacters = 100;
    if (tree.isUnparsedData(item))
        return QStringLiteral("unparsed");
    QString text = tree.name(item);
    if (tree.isNode(item) && tree.index(item) >= 0)
        text += QStringLiteral(" [%1]").arg(tree.index(item));
    text += contentsText(tree, item);
    if (text.size() <= mostCharacters)
        return displayText(text);
    // Pairs and what is shown in the place of a character stay whole.
    const int kept = mostCharacters - (text.at(mostCharacters - 2).isHighSurrogate() ? 2 : 1);
    return displayText(text.left(kept)) + QChar(0x2026);
}

/// Prints what stands at each place of one file.
class PlacePrinter
{
public:
    /// All outlive the object.
    PlacePrinter(const PlaceFinder &places, FileDevice &file, const FileWalker &walker)
        : m_places(places), m_file(file), m_walker(walker)
    {
    }
    PlacePrinter(const PlacePrinter &) = delete;
    PlacePrinter &operator=(const PlacePrinter &) = delete;
    virtual ~PlacePrinter() = default;

    virtual void begin() = 0;
    /// Prints what stands at `offset`, leaf by leaf, as long as printing goes on.
    virtual void print(quint64 offset) = 0;
    /// Nothing follows; `result` says how everything went.
    virtual void end(const RunResult &result) = 0;

    /// The output still takes what is printed.
    bool goesOn() const { return works() && !m_walker.wasInterrupted(); }

protected:
    /// False after the output has failed.
    virtual bool works() const = 0;

    QByteArray bytesAt(quint64 offset, quint64 size) const
    {
        // Offsets of leaves may be any number; those that are shown here lie in the file.
        return m_file.seek(qint64(offset)) ? m_file.read(qint64(size)) : QByteArray();
    }

    const DocumentStart &document() const { return m_places.tree().document(); }

    const PlaceFinder &m_places;

private:
    FileDevice &m_file;
    const FileWalker &m_walker;
};

class PlaceText : public PlacePrinter
{
public:
    PlaceText(const PlaceFinder &places, FileDevice &file, const FileWalker &walker, QIODevice &output, bool colour)
        : PlacePrinter(places, file, walker), m_output(output), m_colour(colour)
    {
    }

    void begin() override { m_output.heading(document()); }
    void print(quint64 offset) override;
    void end(const RunResult &result) override
    {
        if (!reasonsOf(result).isEmpty())
            m_output.line({});
        m_output.outcome(result);
        m_output.flush();
    }

protected:
    bool works() const override { return m_output.works(); }

private:
    enum class Role { Around, Beside, Sought };

    void printOffset(quint64 offset, const QString &what);
    void printLeaf(quint64 offset, Item leaf, QStringView path);
    void printGap(quint64 offset, const GapPlace &gap);
    void printItems(const ElementTree &tree, const std::vector<Item> &around, const Neighbours &neighbours,
                    std::optional<Item> sought);
    QStringList row(const ElementTree &tree, Item item, size_t depth, Role role) const;
    void printBytes(quint64 offset, const std::optional<ByteRange> &marked);

    TextOutput m_output;
    const bool m_colour;
};

void PlaceText::print(quint64 offset)
{
    const std::vector<Item> leaves = m_places.leavesAt(offset);
    PlaceFinder::PathWalk paths(m_places);
    for (auto leaf = leaves.begin(); leaf != leaves.end() && goesOn(); ++leaf)
        printLeaf(offset, *leaf, paths.pathOf(*leaf));
    if (!leaves.empty())
        return;
    if (const std::unique_ptr<GapPlace> gap = m_places.gapAt(offset))
        printGap(offset, *gap);
}

void PlaceText::printOffset(quint64 offset, const QString &what)
{
    m_output.line({});
    m_output.line(QStringLiteral("offset %1 (%2): %3").arg(offset).arg(offsetText(offset, true), what));
    m_output.line({});
}

void PlaceText::printLeaf(quint64 offset, Item leaf, QStringView path)
{
    const ElementTree &tree = m_places.tree();
    const ByteRange range{tree.offset(leaf), tree.size(leaf)};
    printOffset(
        offset,
        QStringLiteral("byte %1 of %2 in %3").arg(offset - range.offset).arg(range.size).arg(displayText(path)));
    printItems(tree, chainTo(tree, tree.parent(leaf)), siblingsOf(tree, leaf), leaf);
    printBytes(offset, range);
}

void PlaceText::printGap(quint64 offset, const GapPlace &gap)
{
    const QString node = gap.innermost == gap.tree.root()
        ? QStringLiteral("no element at all")
        : QStringLiteral("no field; the innermost element is ") + displayText(gap.path);
    printOffset(offset, node);
    printItems(gap.tree, chainTo(gap.tree, gap.innermost), gap.neighbours, std::nullopt);
    printBytes(offset, std::nullopt);
}

void PlaceText::printItems(const ElementTree &tree, const std::vector<Item> &around, const Neighbours &neighbours,
                           std::optional<Item> sought)
{
    const auto depthOf = [&tree](Item item) { return chainTo(tree, tree.parent(item)).size(); };
    QVector<QStringList> rows{{QStringLiteral("offset"), QStringLiteral("size")}};
    size_t depth = 0;
    for (const Item item : around)
        rows.append(row(tree, item, depth++, Role::Around));
    if (neighbours.previous)
        rows.append(row(tree, *neighbours.previous, depthOf(*neighbours.previous), Role::Beside));
    if (sought)
        rows.append(row(tree, *sought, depth, Role::Sought));
    if (neighbours.next)
        rows.append(row(tree, *neighbours.next, depthOf(*neighbours.next), Role::Beside));
    if (rows.size() == 1)
        return;
    const QStringList lines = tableLines(rows, {0, 1});
    for (const QString &line : lines)
        m_output.line(QStringLiteral("  ") + line);
    m_output.line({});
}

QStringList PlaceText::row(const ElementTree &tree, Item item, size_t depth, Role role) const
{
    constexpr size_t deepestIndentation = 60;
    QString text = QString(int(2 * std::min(depth, deepestIndentation)), QLatin1Char(' ')) + itemText(tree, item);
    text.prepend(role == Role::Sought ? QStringLiteral("> ") : QStringLiteral("  "));
    if (m_colour && role != Role::Around)
        text = ecma48::styled(text, role == Role::Sought ? ecma48::bold : ecma48::faint);
    return {QString::number(tree.offset(item)), QString::number(tree.size(item)), text};
}

/// The bytes of the leaf around the byte, and some on both sides of the leaf.
void PlaceText::printBytes(quint64 offset, const std::optional<ByteRange> &marked)
{
    constexpr quint64 mostAround = 2 * HexDump::bytesPerLine;
    constexpr quint64 mostOutside = 8;
    constexpr quint64 line = HexDump::bytesPerLine;
    const auto fileSize = quint64(document().fileSize);
    const quint64 before = marked ? std::min(mostAround, offset - marked->offset + mostOutside) : mostOutside;
    const quint64 after =
        marked ? std::min(mostAround, marked->size - (offset - marked->offset) + mostOutside) : mostOutside;
    const quint64 begin = (offset - std::min(before, offset)) / line * line;
    const quint64 end = std::min((offset + std::min(after, fileSize - offset) + line - 1) / line * line, fileSize);

    HexDump dump(fileSize);
    if (marked)
        dump.setMarked(*marked, m_colour);
    const QByteArray bytes = bytesAt(begin, end - begin);
    for (quint64 at = 0; at < quint64(bytes.size()); at += line) {
        m_output.line(QStringLiteral("  ") + dump.line(begin + at, bytes.mid(int(at), int(line))));
        if ((begin + at) / line == offset / line) {
            const int column = 2 + dump.column(int(offset % line));
            m_output.line(QString(column, QLatin1Char(' ')) + QStringLiteral("^^"));
        }
    }
}

class PlaceJson : public PlacePrinter
{
public:
    PlaceJson(const PlaceFinder &places, FileDevice &file, const FileWalker &walker, QIODevice &output,
              JsonLayout layout)
        : PlacePrinter(places, file, walker), m_json(output, layout)
    {
    }

    void begin() override { m_json.beginObject().documentStart(document()).key(u"places").beginArray(); }
    void print(quint64 offset) override;
    void end(const RunResult &result) override
    {
        if (m_isInPlace)
            endPlace();
        m_json.endArray().outcome(result).endObject();
        m_json.finish();
    }

protected:
    bool works() const override { return m_json.errorText().isNull(); }

private:
    /// What is said of an item. Reading it may throw std::bad_alloc, printing it does not.
    struct ItemPlace
    {
        bool isRoot;
        QString path;
        std::vector<PrintableItem> components;
        std::optional<PrintableItem> previous;
        std::optional<PrintableItem> next;
    };

    static ItemPlace read(const ElementTree &tree, Item item, QStringView path, const Neighbours &neighbours);
    void printMembers(const ItemPlace &item);
    void endPlace();

    JsonPrinter m_json;
    bool m_isInPlace = false; // among its leaves
};

void PlaceJson::print(quint64 offset)
{
    const ElementTree &tree = m_places.tree();
    const std::vector<Item> leaves = m_places.leavesAt(offset);
    std::optional<ItemPlace> innermost;
    if (leaves.empty()) {
        const std::unique_ptr<GapPlace> gap = m_places.gapAt(offset);
        if (!gap)
            return;
        innermost = read(gap->tree, gap->innermost, gap->path, gap->neighbours);
    }
    PlaceFinder::PathWalk paths(m_places);
    m_json.beginObject().key(u"offset").number(offset).key(u"leaves").beginArray();
    m_isInPlace = true;
    for (auto leaf = leaves.begin(); leaf != leaves.end() && goesOn(); ++leaf) {
        constexpr quint64 mostBytes = 64;
        const quint64 size = tree.size(*leaf);
        const ItemPlace item = read(tree, *leaf, paths.pathOf(*leaf), siblingsOf(tree, *leaf));
        const QString bytes = QString::fromLatin1(bytesAt(tree.offset(*leaf), std::min(size, mostBytes)).toHex(' '));
        m_json.beginObject();
        printMembers(item);
        m_json.key(u"bytes").text(bytes);
        if (size > mostBytes)
            m_json.key(u"truncated").boolean(true);
        m_json.endObject();
    }
    if (innermost) {
        m_json.endArray().key(u"innermost").beginObject();
        printMembers(*innermost);
        m_json.endObject().endObject();
        m_isInPlace = false;
    } else {
        endPlace();
    }
}

void PlaceJson::endPlace()
{
    m_json.endArray().endObject();
    m_isInPlace = false;
}

PlaceJson::ItemPlace PlaceJson::read(const ElementTree &tree, Item item, QStringView path, const Neighbours &neighbours)
{
    ItemPlace place{item == tree.root(), path.toString(), {}, {}, {}};
    for (const Item component : chainTo(tree, item))
        place.components.emplace_back(tree, component);
    if (neighbours.previous)
        place.previous.emplace(tree, *neighbours.previous);
    if (neighbours.next)
        place.next.emplace(tree, *neighbours.next);
    return place;
}

void PlaceJson::printMembers(const ItemPlace &item)
{
    if (!item.isRoot)
        m_json.key(u"path").text(item.path);
    m_json.key(u"components").beginArray();
    for (const PrintableItem &component : item.components)
        component.printTo(m_json);
    m_json.endArray();
    if (item.previous)
        item.previous->printTo(m_json.key(u"previous"));
    if (item.next)
        item.next->printTo(m_json.key(u"next"));
}

class AtCommand
{
public:
    AtCommand(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
        : m_options(options), m_fileName(options.input.files.first()), m_walker(options, plugins), m_output(output)
    {
    }

    int run() { return parseOffsets() ? m_walker.finish(m_output, show()) : ExitFailure; }

private:
    /// False, and a message, when one is not understood.
    bool parseOffsets();
    int show();
    RunResult walk(PlaceFinder::Pace pace);
    /// The places that lie in the file; about others there is a message.
    std::vector<quint64> offsetsInFile(int *exitStatus) const;
    std::unique_ptr<PlacePrinter> makePrinter();
    /// Cancels `result`, that of the walk, when printing is cut short.
    void print(const std::vector<quint64> &offsets, RunResult *result);

    const Options &m_options;
    const QString m_fileName;
    FileWalker m_walker;
    ProgramOutput &m_output;
    std::vector<FileOffset> m_offsets;
    std::optional<PlaceFinder> m_places;
    FileDevice m_file;
};

bool AtCommand::parseOffsets()
{
    for (const QString &place : m_options.places) {
        const std::optional<FileOffset> offset = FileOffset::parse(place);
        if (!offset) {
            printMessage(QStringLiteral("\"%1\" is no offset such as 1000, 0x3E8 or end-100").arg(place));
            printMessage(QStringLiteral("try: quenlofar at --help"));
            return false;
        }
        m_offsets.push_back(*offset);
    }
    return true;
}

RunResult AtCommand::walk(PlaceFinder::Pace pace)
{
    m_places.emplace(m_offsets, pace);
    return m_walker.walk(m_fileName, *m_places);
}

int AtCommand::show()
{
    RunResult result = walk(PlaceFinder::Pace::Quick);
    if (!m_places->isComplete() && !m_walker.wasInterrupted())
        result = walk(PlaceFinder::Pace::Thorough);
    const bool isOpen = m_places->tree().document().fileSize >= 0;
    int exitStatus = ExitClean;
    if (isOpen && m_file.open(m_fileName) != StatusOk) {
        printMessage(QStringLiteral("%1: cannot be opened again: %2").arg(m_fileName, m_file.errorText()));
        exitStatus = ExitFailure;
    }
    print(isOpen ? offsetsInFile(&exitStatus) : std::vector<quint64>(), &result);
    FileReport report = reportOf(m_fileName, result, m_output.hasFailed());
    // If the walk could not read the file either, that was said.
    if (m_file.hasReadError() && result.error.kind == FileError::None) {
        report.exitStatus = ExitFailure;
        report.messages.append(QStringLiteral("%1: reading failed at byte %2: %3")
                                   .arg(m_fileName, QString::number(m_file.readErrorOffset()), m_file.errorText()));
    }
    return std::max(exitStatus, m_walker.tell(report));
}

void AtCommand::print(const std::vector<quint64> &offsets, RunResult *result)
{
    const std::unique_ptr<PlacePrinter> printer = makePrinter();
    printer->begin();
    auto offset = offsets.begin();
    try {
        while (offset != offsets.end() && printer->goesOn())
            printer->print(*offset++);
    } catch (const std::exception &) {
        result->error = {FileError::Memory, -1, QStringLiteral("not enough memory to show what is there")};
    }
    if (m_walker.wasInterrupted() && !result->cancelled) {
        result->cancelled = true;
        if (result->limit == RunLimit::None && offset != offsets.begin())
            result->stopPosition = *std::prev(offset);
    }
    printer->end(*result);
}

std::vector<quint64> AtCommand::offsetsInFile(int *exitStatus) const
{
    const auto fileSize = quint64(m_places->tree().document().fileSize);
    std::vector<quint64> offsets;
    for (size_t i = 0; i < m_offsets.size(); ++i) {
        const std::optional<quint64> offset = m_offsets[i].in(fileSize);
        if (offset && *offset < fileSize) {
            offsets.push_back(*offset);
            continue;
        }
        printMessage(QStringLiteral("%1: offset %2 lies outside of the file, which has %3")
                         .arg(m_fileName, m_options.places[int(i)], sizeText(fileSize, SizeUnits::Bytes)));
        *exitStatus = ExitFailure;
    }
    return offsets;
}

std::unique_ptr<PlacePrinter> AtCommand::makePrinter()
{
    if (m_options.format == Options::Format::Json) {
        return std::make_unique<PlaceJson>(*m_places, m_file, m_walker, m_output,
                                           m_options.pretty ? JsonLayout::Indented : JsonLayout::Line);
    }
    return std::make_unique<PlaceText>(*m_places, m_file, m_walker, m_output,
                                       wantsColour(m_options.output, m_output.isTerminal()));
}

} // namespace

int showPlaces(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return AtCommand(options, plugins, output).run();
}

} // namespace quenlofar
