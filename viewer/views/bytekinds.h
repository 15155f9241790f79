#pragma once

#include "growingtree.h"

#include <vector>

namespace quenlofar {

/// What the tree says of some bytes.
enum class ElementKind : quint8 {
    NotYet, ///< the walk has not come that far
    Gap, ///< no element covers them
    Node, ///< of a node, but of none of its children: what it holds is not shown as fields
    Field,
    Unparsed, ///< a leaf over bytes that nobody interprets
};

/// Bytes side by side that belong to one item, all of one kind.
struct ByteSpan
{
    ByteRange range; ///< at least one byte
    TreeItem item = GrowingTree::root(); ///< the deepest one that covers them; the root for a gap
    ElementKind kind = ElementKind::Gap; ///< what the item is
};

/// What the bytes of `range` belong to: spans in order that cover it. Takes time for each span, and logarithmic time in
/// the number of items.
std::vector<ByteSpan> spansOf(const GrowingTree &tree, const ByteRange &range);

/// The name of a kind for people.
QString elementKindText(ElementKind kind);

} // namespace quenlofar
