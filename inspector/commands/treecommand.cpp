#include "commands.h"

#include "batch.h"
#include "collapsefilter.h"
#include "exitstatus.h"
#include "filteredtree.h"
#include "jsonwriter.h"
#include "matchfilter.h"
#include "messages.h"
#include "options.h"
#include "programoutput.h"
#include "terminal.h"
#include "textstyle.h"
#include "textwriter.h"
#include "treeannotator.h"

#include <QIODevice>

#include <memory>
#include <vector>

namespace quenlofar {

namespace {

class TreeCommand
{
public:
    TreeCommand(const Options &options, const ProgramOutput &output) : m_options(options), m_output(output) { }

    /// False, and a message, when a condition is not understood.
    bool parseConditions();
    std::unique_ptr<ElementSink> makeSink(QIODevice &output, const FileContext &context) const;

private:
    bool isText() const { return m_options.format == Options::Format::Text; }
    bool collapses() const;
    /// Not everything is shown: then lines about frames would stand between things that have nothing to do with them.
    bool isPartial() const;
    std::unique_ptr<TreeWriter> makeWriter(QIODevice &output) const;

    const Options &m_options;
    const ProgramOutput &m_output;
    std::vector<FieldCondition> m_conditions;
};

bool TreeCommand::parseConditions()
{
    for (const QString &text : m_options.tree.where) {
        const std::optional<FieldCondition> condition = FieldCondition::parse(text);
        if (!condition) {
            printMessage(
                QStringLiteral("--where: \"%1\" is no condition such as NAME=VALUE or NAME>=NUMBER").arg(text));
            printMessage(QStringLiteral("try: quenlofar tree --help"));
            return false;
        }
        m_conditions.push_back(*condition);
    }
    return true;
}

bool TreeCommand::collapses() const
{
    const When when = m_options.tree.collapse;
    return when == When::Always || (when == When::Auto && isText() && m_output.isTerminal());
}

bool TreeCommand::isPartial() const
{
    const TreeChoice &tree = m_options.tree;
    return tree.depth != TreeChoice().depth || !tree.only.isEmpty() || !tree.where.isEmpty() || collapses();
}

std::unique_ptr<TreeWriter> TreeCommand::makeWriter(QIODevice &output) const
{
    const bool showsFrames = m_options.tree.frames;
    if (!isText()) {
        return std::make_unique<JsonWriter>(output, m_options.pretty ? JsonLayout::Indented : JsonLayout::Line,
                                            showsFrames ? JsonWriter::Frames::Shown : JsonWriter::Frames::LeftOut);
    }
    TextStyle style = textStyle(m_options.output, m_output);
    style.showsFrames = showsFrames && !isPartial();
    return std::make_unique<TextWriter>(output, style);
}

std::unique_ptr<ElementSink> TreeCommand::makeSink(QIODevice &output, const FileContext &context) const
{
    if (isText() && !context.isFirst)
        output.write("\n");
    const TreeChoice &tree = m_options.tree;
    const bool isFiltered = tree.paths || tree.bytes || tree.depth != TreeChoice().depth || !tree.only.isEmpty()
        || !m_conditions.empty() || collapses();
    if (!isFiltered)
        return makeWriter(output);
    auto filtered = std::make_unique<FilteredTree>(makeWriter(output));
    if (collapses())
        filtered->add<CollapseFilter>();
    if (!tree.only.isEmpty() || !m_conditions.empty())
        filtered->add<MatchFilter>(tree.only, m_conditions);
    if (tree.depth != TreeChoice().depth)
        filtered->add<DepthFilter>(tree.depth);
    // First in the chain: what is left out counts for paths too.
    if (tree.paths || tree.bytes)
        filtered->add<TreeAnnotator>(AnnotationChoice{tree.paths, tree.bytes});
    return filtered;
}

} // namespace

int showTrees(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    TreeCommand command(options, output);
    if (!command.parseConditions())
        return ExitFailure;
    return walkFiles(options, plugins, output, [&command](QIODevice &place, const FileContext &context) {
        return command.makeSink(place, context);
    });
}

} // namespace quenlofar
