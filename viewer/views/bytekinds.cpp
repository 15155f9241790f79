#include "bytekinds.h"

#include <QCoreApplication>

#include <algorithm>

namespace quenlofar {

namespace {

/// Where the first child of `node` begins that begins behind `offset`; `limit` where none does before that.
quint64 nextChild(const GrowingTree &tree, TreeItem node, quint64 offset, quint64 limit)
{
    constexpr quint32 fewChildren = 64;
    const quint32 count = tree.childCount(node);
    quint64 next = limit;
    if (count <= fewChildren) {
        for (quint32 row = 0; row < count; ++row) {
            const quint64 begin = tree.offset(tree.child(node, row));
            if (begin > offset)
                next = std::min(next, begin);
        }
        return next;
    }
    // Long rows of children are records one behind the other.
    quint32 low = 0;
    quint32 high = count;
    while (low < high) {
        const quint32 middle = low + (high - low) / 2;
        if (tree.offset(tree.child(node, middle)) > offset)
            high = middle;
        else
            low = middle + 1;
    }
    return low < count ? std::min(next, tree.offset(tree.child(node, low))) : next;
}

} // namespace

std::vector<ByteSpan> spansOf(const GrowingTree &tree, const ByteRange &range)
{
    std::vector<ByteSpan> spans;
    quint64 at = range.offset;
    const quint64 end = range.end();
    while (at < end) {
        ByteSpan span;
        span.item = tree.itemAt(at);
        const bool isGap = span.item == GrowingTree::root();
        if (isGap)
            span.kind = tree.isComplete() ? ElementKind::Gap : ElementKind::NotYet;
        else if (tree.isNode(span.item))
            span.kind = ElementKind::Node;
        else
            span.kind = tree.isUnparsedData(span.item) ? ElementKind::Unparsed : ElementKind::Field;
        const quint64 itemEnd = isGap ? end : std::min(end, tree.range(span.item).end());
        // A leaf belongs to itself up to its end, a node up to its next child.
        const quint64 spanEnd = tree.isNode(span.item) ? nextChild(tree, span.item, at, itemEnd) : itemEnd;
        span.range = {at, spanEnd - at};
        at = spanEnd;
        if (!spans.empty() && spans.back().item == span.item && spans.back().kind == span.kind)
            spans.back().range.size += span.range.size;
        else
            spans.push_back(span);
    }
    return spans;
}

QString elementKindText(ElementKind kind)
{
    const char *text = "";
    switch (kind) {
    case ElementKind::NotYet:
        text = QT_TRANSLATE_NOOP("quenlofar::ElementKind", "not read yet");
        break;
    case ElementKind::Gap:
        text = QT_TRANSLATE_NOOP("quenlofar::ElementKind", "gap");
        break;
    case ElementKind::Node:
        text = QT_TRANSLATE_NOOP("quenlofar::ElementKind", "data");
        break;
    case ElementKind::Field:
        text = QT_TRANSLATE_NOOP("quenlofar::ElementKind", "field");
        break;
    case ElementKind::Unparsed:
        text = QT_TRANSLATE_NOOP("quenlofar::ElementKind", "unparsed data");
        break;
    }
    return QCoreApplication::translate("quenlofar::ElementKind", text);
}

} // namespace quenlofar
