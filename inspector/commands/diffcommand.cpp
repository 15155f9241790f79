#include "commands.h"

#include "displaytext.h"
#include "ecma48.h"
#include "elementtree.h"
#include "exitstatus.h"
#include "filewalker.h"
#include "itemtext.h"
#include "jsonprinter.h"
#include "messages.h"
#include "options.h"
#include "programoutput.h"
#include "report.h"
#include "sizetext.h"
#include "statuscodes.h"
#include "terminal.h"
#include "textoutput.h"
#include "treecomparison.h"

#include <array>
#include <exception>
#include <memory>
#include <optional>

namespace quenlofar {

namespace {

struct AspectName
{
    DifferingAspect aspect;
    QStringView name;
};
constexpr std::array<AspectName, 10> aspectNames{{
    {KindDiffers, u"kind"},
    {StreamDiffers, u"stream"},
    {NumberDiffers, u"number"},
    {OffsetDiffers, u"offset"},
    {SizeDiffers, u"size"},
    {KeyDiffers, u"key"},
    {IndexDiffers, u"index"},
    {ValueDiffers, u"value"},
    {MeaningDiffers, u"meaning"},
    {DescriptionDiffers, u"description"},
}};

/// What `aspect` of an item is, in words.
QString aspectText(const ElementTree &tree, ElementTree::Item item, DifferingAspect aspect)
{
    switch (aspect) {
    case KindDiffers:
        return tree.isNode(item) ? QStringLiteral("element") : QStringLiteral("field");
    case SizeDiffers:
        return QString::number(tree.size(item));
    case ValueDiffers:
        return displayText(tree.value(item));
    case MeaningDiffers:
        return displayText(tree.meaning(item));
    case DescriptionDiffers:
        return displayText(tree.description(item));
    case IndexDiffers:
        return QString::number(tree.index(item));
    default:
        return QString::number(tree.offset(item));
    }
}

QString aspectText(const Frame &frame, DifferingAspect aspect)
{
    switch (aspect) {
    case StreamDiffers:
        return QString::number(frame.stream);
    case NumberDiffers:
        return QString::number(frame.number);
    case SizeDiffers:
        return QString::number(frame.size);
    case KeyDiffers:
        return frame.key ? QStringLiteral("yes") : QStringLiteral("no");
    default:
        return QString::number(frame.offset);
    }
}

/// Two trees, and the printer of their differences. Steps return false when nothing more can be printed.
class DifferencePrinter
{
public:
    /// Both outlive the object.
    DifferencePrinter(const ElementTree &first, const ElementTree &second) : m_first(first), m_second(second) { }
    DifferencePrinter(const DifferencePrinter &) = delete;
    DifferencePrinter &operator=(const DifferencePrinter &) = delete;
    virtual ~DifferencePrinter() = default;

    virtual void begin() = 0;
    /// Something about the files as a whole differs.
    virtual void print(QStringView what, const QString &first, const QString &second) = 0;
    virtual bool print(const ItemDifference &difference) = 0;
    virtual bool print(const FrameDifference &difference) = 0;
    virtual void end(bool isSame) = 0;
    /// Ends what was begun when there is no memory to go on. Takes none.
    virtual void endEarly() = 0;
    /// In the place of everything else: the files cannot be compared.
    virtual void printTrouble() = 0;

protected:
    const ElementTree &m_first;
    const ElementTree &m_second;
};

class DifferenceText : public DifferencePrinter
{
public:
    DifferenceText(const ElementTree &first, const ElementTree &second, QIODevice &output, bool colour)
        : DifferencePrinter(first, second), m_output(output), m_colour(colour)
    {
    }

    void begin() override { }
    void print(QStringView what, const QString &first, const QString &second) override
    {
        printChange(what.toString(), displayText(first), displayText(second));
    }
    bool print(const ItemDifference &difference) override;
    bool print(const FrameDifference &difference) override;
    void end(bool isSame) override;
    void endEarly() override { m_output.flush(); }
    void printTrouble() override { }

private:
    static constexpr quint64 mostFrames = 20;

    void printLine(QChar sign, const QString &text);
    void printOne(QChar sign, QStringView path, const ElementTree &tree, ElementTree::Item item);
    void printChange(const QString &what, const QString &first, const QString &second)
    {
        const QString nothing = QStringLiteral("(empty)");
        printLine(QLatin1Char('~'),
                  QStringLiteral("%1: %2 -> %3")
                      .arg(what, first.isEmpty() ? nothing : first, second.isEmpty() ? nothing : second));
    }

    TextOutput m_output;
    const bool m_colour;
    quint64 m_frames = 0; // that differ
};

void DifferenceText::printLine(QChar sign, const QString &text)
{
    const QString line = QString(sign) + QLatin1Char(' ') + text;
    if (!m_colour) {
        m_output.line(line);
        return;
    }
    m_output.line(ecma48::styled(line,
                                 sign == QLatin1Char('-')       ? ecma48::red
                                     : sign == QLatin1Char('+') ? ecma48::green
                                                                : ecma48::yellow));
}

void DifferenceText::printOne(QChar sign, QStringView path, const ElementTree &tree, ElementTree::Item item)
{
    const QString contents = displayText(contentsText(tree, item));
    const QString size = QStringLiteral("  (%1)").arg(sizeText(tree.size(item), SizeUnits::Bytes));
    printLine(sign, displayText(path) + (contents.isEmpty() ? size : contents));
}

bool DifferenceText::print(const ItemDifference &difference)
{
    if (difference.kind == ItemDifference::OnlyInFirst)
        printOne(QLatin1Char('-'), difference.path, m_first, difference.first);
    if (difference.kind == ItemDifference::OnlyInSecond)
        printOne(QLatin1Char('+'), difference.path, m_second, difference.second);
    for (const auto &[aspect, name] : aspectNames) {
        if ((difference.aspects & aspect) != 0) {
            printChange(displayText(difference.path) + QStringLiteral(": ") + name.toString(),
                        aspectText(m_first, difference.first, aspect), aspectText(m_second, difference.second, aspect));
        }
    }
    return m_output.works();
}

bool DifferenceText::print(const FrameDifference &difference)
{
    if (difference.kind == FrameDifference::Count) {
        printChange(QStringLiteral("frames: number"), QString::number(m_first.frames().size()),
                    QString::number(m_second.frames().size()));
        return m_output.works();
    }
    if (m_frames++ >= mostFrames)
        return true;
    for (const auto &[aspect, name] : aspectNames) {
        if ((difference.aspects & aspect) != 0) {
            printChange(QStringLiteral("frame %1: %2").arg(difference.position).arg(name),
                        aspectText(difference.first, aspect), aspectText(difference.second, aspect));
        }
    }
    return m_output.works();
}

void DifferenceText::end(bool)
{
    if (m_frames > mostFrames)
        printLine(QLatin1Char('~'),
                  QStringLiteral("frames: %1 more differ; --format json lists all").arg(m_frames - mostFrames));
    m_output.flush();
}

class DifferenceJson : public DifferencePrinter
{
public:
    DifferenceJson(const ElementTree &first, const ElementTree &second, QIODevice &output, JsonLayout layout)
        : DifferencePrinter(first, second), m_json(output, layout)
    {
    }

    void begin() override
    {
        printFiles();
        m_json.key(u"differences").beginArray();
    }
    /// Both values stand where the files are described.
    void print(QStringView what, const QString &, const QString &) override
    {
        m_json.beginObject().key(u"kind").text(what).endObject();
    }
    bool print(const ItemDifference &difference) override;
    bool print(const FrameDifference &difference) override;
    void end(bool isSame) override
    {
        m_json.endArray().key(u"same").boolean(isSame).endObject();
        m_json.finish();
    }
    void endEarly() override
    {
        m_json.endArray().key(u"error").beginObject().key(u"kind").text(u"memory").key(u"offset").null();
        m_json.key(u"message").text(u"not enough memory to compare the files").endObject().endObject();
        m_json.finish();
    }
    void printTrouble() override
    {
        printFiles();
        m_json.endObject();
        m_json.finish();
    }

private:
    void printFiles();
    void printFile(const ElementTree &tree);
    void printAspects(quint32 aspects);
    void printFrame(const Frame &frame);

    JsonPrinter m_json;
};

void DifferenceJson::printFiles()
{
    m_json.beginObject().key(u"formatVersion").number(1).key(u"first");
    printFile(m_first);
    m_json.key(u"second");
    printFile(m_second);
}

void DifferenceJson::printFile(const ElementTree &tree)
{
    m_json.beginObject().fileStart(tree.document()).outcome(tree.result()).endObject();
}

void DifferenceJson::printAspects(quint32 aspects)
{
    m_json.key(u"differs").beginArray();
    for (const auto &[aspect, name] : aspectNames) {
        if ((aspects & aspect) != 0)
            m_json.text(name);
    }
    m_json.endArray();
}

bool DifferenceJson::print(const ItemDifference &difference)
{
    const bool isInFirst = difference.kind != ItemDifference::OnlyInSecond;
    const bool isInSecond = difference.kind != ItemDifference::OnlyInFirst;
    std::optional<PrintableItem> first;
    std::optional<PrintableItem> second;
    if (isInFirst)
        first.emplace(m_first, difference.first);
    if (isInSecond)
        second.emplace(m_second, difference.second);
    m_json.beginObject().key(u"kind");
    m_json.text(!isInSecond ? u"onlyInFirst" : !isInFirst ? u"onlyInSecond" : u"changed");
    m_json.key(u"path").text(difference.path);
    if (isInFirst && isInSecond)
        printAspects(difference.aspects);
    if (first)
        first->printTo(m_json.key(u"first"));
    if (second)
        second->printTo(m_json.key(u"second"));
    m_json.endObject();
    return m_json.errorText().isNull();
}

bool DifferenceJson::print(const FrameDifference &difference)
{
    m_json.beginObject().key(u"kind");
    if (difference.kind == FrameDifference::Count) {
        m_json.text(u"frameCount").key(u"first").number(m_first.frames().size());
        m_json.key(u"second").number(m_second.frames().size());
    } else {
        m_json.text(u"changedFrame").key(u"position").number(difference.position);
        printAspects(difference.aspects);
        m_json.key(u"first");
        printFrame(difference.first);
        m_json.key(u"second");
        printFrame(difference.second);
    }
    m_json.endObject();
    return m_json.errorText().isNull();
}

void DifferenceJson::printFrame(const Frame &frame)
{
    m_json.beginObject().key(u"stream").number(frame.stream).key(u"number").number(frame.number);
    m_json.key(u"offset").number(frame.offset).key(u"size").number(frame.size);
    m_json.key(u"key").boolean(frame.key).endObject();
}

class DiffCommand
{
public:
    DiffCommand(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
        : m_options(options), m_walker(options, plugins), m_output(output)
    {
    }

    int run() { return m_walker.finish(m_output, show()); }

private:
    int show();
    /// False when the file cannot be compared; says why.
    bool read(const QString &file, ElementTree *tree);
    bool isSame(DifferencePrinter &printer);
    std::unique_ptr<DifferencePrinter> makePrinter();

    const Options &m_options;
    FileWalker m_walker;
    ProgramOutput &m_output;
    ElementTree m_first;
    ElementTree m_second;
};

int DiffCommand::show()
{
    const bool isFirstRead = read(m_options.input.files[0], &m_first);
    if (m_walker.wasInterrupted())
        return ExitFailure;
    const bool isSecondRead = read(m_options.input.files[1], &m_second);
    const std::unique_ptr<DifferencePrinter> printer = makePrinter();
    if (!isFirstRead || !isSecondRead) {
        printer->printTrouble();
        return ExitFailure;
    }
    printer->begin();
    bool same = false;
    try {
        same = isSame(*printer);
    } catch (const std::exception &) {
        printer->endEarly();
        printOutOfMemory();
        return ExitFailure;
    }
    printer->end(same);
    return same ? ExitClean : ExitFileProblem;
}

bool DiffCommand::read(const QString &file, ElementTree *tree)
{
    const RunResult result = m_walker.walk(file, *tree);
    // What is merely damaged is still compared.
    const bool isComplete = result.error.kind == FileError::None && result.status != StatusNotRecognised
        && result.limit == RunLimit::None && !result.cancelled && result.sinkError.isNull();
    FileReport report = reportOf(file, result, false);
    if (!isComplete)
        report.exitStatus = ExitFailure;
    m_walker.tell(report);
    return isComplete;
}

bool DiffCommand::isSame(DifferencePrinter &printer)
{
    bool same = true;
    const auto report = [&](const auto &difference) {
        same = false;
        return printer.print(difference) && !m_walker.wasInterrupted();
    };
    const auto reportWhole = [&](QStringView what, const QString &first, const QString &second) {
        if (first == second)
            return;
        same = false;
        printer.print(what, first, second);
    };
    reportWhole(u"container", m_first.document().container, m_second.document().container);
    const ComparisonOptions options{m_options.compareOffsets};
    const bool goesOn = compareItems(m_first, m_second, options, report);
    if (goesOn && compareFrames(m_first, m_second, options, report)) {
        reportWhole(u"status", QString::number(m_first.result().status), QString::number(m_second.result().status));
    }
    return same;
}

std::unique_ptr<DifferencePrinter> DiffCommand::makePrinter()
{
    if (m_options.format == Options::Format::Json) {
        return std::make_unique<DifferenceJson>(m_first, m_second, m_output,
                                                m_options.pretty ? JsonLayout::Indented : JsonLayout::Line);
    }
    return std::make_unique<DifferenceText>(m_first, m_second, m_output,
                                            wantsColour(m_options.output, m_output.isTerminal()));
}

} // namespace

int compareFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return DiffCommand(options, plugins, output).run();
}

} // namespace quenlofar
