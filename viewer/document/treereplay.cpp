#include "treereplay.h"

#include <memory>
#include <vector>

namespace quenlofar {

namespace {

/// Problems and frames, which belong to the document.
bool replayRest(const GrowingTree &tree, ElementSink *sink)
{
    bool works = true;
    for (quint32 number = 0; works && number < tree.segmentCount(); ++number) {
        const ElementTree &part = tree.segment(number)->tree;
        for (const ElementTree::Problem &problem : part.problems())
            works = works && sink->reportProblem(problem.problem.lent());
        for (quint64 i = 0; works && i < part.frames().size(); ++i)
            works = sink->reportFrame(part.frames().at(i));
    }
    return works;
}

} // namespace

bool replayItem(const GrowingTree &tree, TreeItem item, ElementSink *sink)
{
    struct OpenNode
    {
        TreeItem node;
        quint32 row;
    };
    std::vector<std::unique_ptr<ElementTree::FieldReader>> readers(tree.segmentCount());
    const auto fieldOf = [&](TreeItem each) {
        const auto number = quint32(each >> 32);
        if (!readers[number])
            readers[number] = std::make_unique<ElementTree::FieldReader>(tree.segment(number)->tree);
        Field field = readers[number]->field(ElementTree::Item(each));
        field.size = tree.size(each); // of a node that several segments have, its latest size
        return field;
    };
    RunResult result;
    std::vector<OpenNode> levels;
    const auto enter = [&](TreeItem each) {
        ++result.items;
        const Field field = fieldOf(each);
        if (!tree.isNode(each))
            return sink->addField(field);
        levels.push_back({each, 0});
        return sink->beginElement(field.offset, field.size, field.name, field.index);
    };
    bool works = sink->beginDocument(tree.document());
    if (item == GrowingTree::root())
        levels.push_back({item, 0});
    else
        works = works && enter(item);
    while (works && !levels.empty()) {
        OpenNode &level = levels.back();
        if (level.row < tree.childCount(level.node)) {
            works = enter(tree.child(level.node, level.row++));
        } else {
            works = level.node == GrowingTree::root() || sink->endElement();
            levels.pop_back();
        }
    }
    if (item == GrowingTree::root()) {
        works = works && replayRest(tree, sink);
        if (tree.isComplete())
            result = tree.result();
    }
    return works && sink->endDocument(result);
}

} // namespace quenlofar
