#pragma once

#include "growingtree.h"

namespace quenlofar {

/**
 * Hands the item with everything in it to `sink` as a document of its own; for the root the whole document, with its
 * frames, problems and result, as far as they are known. False when the sink failed. Something has to be known of the
 * document. `tree` is only read: a copy that shares its segments may be replayed in any thread.
 */
bool replayItem(const GrowingTree &tree, TreeItem item, ElementSink *sink);

} // namespace quenlofar
