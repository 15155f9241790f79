// The element tree under any sequence of calls: what it replays is what it was told, and its items know each other.
#include "callscript.h"
#include "elementtree.h"
#include "fuzztarget.h"
#include "jsonwriter.h"
#include "outputs.h"
#include "require.h"

#include <stdexcept>
#include <vector>

using namespace quenlofar;

namespace {

constexpr size_t mostCalls = 300;
/// Enough to fill the table of labels and a few of the tree's chunks. Takes long, so few inputs may make this number.
constexpr size_t mostCallsOfLongScript = 24'000;
constexpr quint16 longScriptMask = 0x7F;

/// The calls as a tree replays them: nodes that were left open are ended, and frames come last.
std::vector<SinkCall> inReplayOrder(const std::vector<SinkCall> &calls)
{
    std::vector<SinkCall> ordered;
    std::vector<SinkCall> frames;
    quint64 open = 0;
    for (const SinkCall &call : calls) {
        if (call.kind == SinkCall::Begin)
            ++open;
        if (call.kind == SinkCall::End)
            --open;
        (call.kind == SinkCall::ReportFrame ? frames : ordered).push_back(call);
    }
    ordered.insert(ordered.end(), open, SinkCall());
    ordered.insert(ordered.end(), frames.begin(), frames.end());
    return ordered;
}

void checkItem(const ElementTree &tree, ElementTree::Item item, const SinkCall &call)
{
    require(tree.isNode(item) == (call.kind == SinkCall::Begin), "an item is a node or a leaf");
    require(tree.offset(item) == call.offset && tree.size(item) == call.size, "an item has its place");
    require(tree.index(item) == call.index, "an item has its index");
    require(tree.name(item) == call.name, "an item has its name");
    require(tree.value(item) == call.value, "an item has its value");
    require(tree.meaning(item) == call.meaning, "an item has its meaning");
    require(tree.description(item) == call.description, "an item has its description");
    require(tree.flag(item) == call.flag && tree.code(item) == call.code, "an item has its flag and code");
    require(tree.isUnparsedData(item) == (call.kind == SinkCall::Leaf && call.name == unparsedDataMarker),
            "an item knows whether it is unparsed data");
}

/// Goes through the tree by its handles, beside the calls that made it.
void checkHandles(const ElementTree &tree, const std::vector<SinkCall> &ordered)
{
    struct Level
    {
        ElementTree::Item node;
        quint32 next;
    };
    std::vector<Level> levels{{tree.root(), 0}};
    require(tree.parent(tree.root()) == tree.root(), "the root is its own parent");
    quint64 items = 0;
    for (const SinkCall &call : ordered) {
        Level &level = levels.back();
        if (call.kind == SinkCall::ReportFrame)
            break;
        if (call.kind == SinkCall::End) {
            require(level.next == tree.childCount(level.node), "a node has no other children");
            levels.pop_back();
            continue;
        }
        require(level.next < tree.childCount(level.node), "a node has all of its children");
        const ElementTree::Item item = tree.child(level.node, level.next);
        require(tree.parent(item) == level.node, "a child knows its parent");
        require(tree.row(item) == level.next, "a child knows its row");
        checkItem(tree, item, call);
        ++level.next;
        ++items;
        if (call.kind == SinkCall::Begin)
            levels.push_back({item, 0});
        else
            require(tree.childCount(item) == 0, "a leaf has no children");
    }
    require(levels.size() == 1 && levels.back().next == tree.childCount(tree.root()), "the root has no other children");
    require(tree.itemCount() == items, "all items are counted");
}

void checkTree(const ElementTree &tree, const std::vector<SinkCall> &ordered)
{
    checkHandles(tree, ordered);
    CallLog log;
    require(tree.replay(log), "a replay succeeds where its sink does");
    require(log.calls == ordered, "a replay says what the tree was told");
}

void tryUnbounded(const CallScript &script)
{
    ElementTree tree;
    const std::vector<SinkCall> ordered = inReplayOrder(script.calls);
    require(script.play(tree), "an unbounded tree takes everything");
    checkTree(tree, ordered);

    BoundedOutput direct;
    JsonWriter directWriter(direct);
    BoundedOutput replayed;
    JsonWriter replayWriter(replayed);
    require(script.play(directWriter) && tree.replay(replayWriter), "a writer takes what its output takes");
    require(direct.bytes() == replayed.bytes(), "a document is printed alike from a tree and while it is walked");

    require(script.play(tree), "a tree can be filled again");
    checkTree(tree, ordered);
}

/// False when the tree is full, or takes no more for another reason.
template <typename Call> bool takes(Call call)
{
    try {
        return call();
    } catch (const std::length_error &) {
        return false;
    }
}

/// A bounded tree keeps what it took. The first call that it does not take is the last one but for the document's end.
void tryBounded(const CallScript &script, quint64 maxBytes)
{
    ElementTree tree(maxBytes);
    std::vector<SinkCall> kept;
    if (!takes([&] { return tree.beginDocument(script.document); }))
        return;
    for (const SinkCall &call : script.calls) {
        if (!takes([&] { return call.play(tree); }))
            break;
        kept.push_back(call);
    }
    tree.endDocument(script.result);
    checkTree(tree, inReplayOrder(kept));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    InputReader input(data, size);
    const quint16 bound = input.take<quint16>();
    const quint64 maxBytes = quint64(bound) * 64;
    const CallScript script(input, (bound & longScriptMask) == 0 ? mostCallsOfLongScript : mostCalls);
    tryUnbounded(script);
    tryBounded(script, maxBytes);
    return 0;
}
