#pragma once

#include "growingtree.h"

#include <QStringList>

namespace quenlofar {

/**
 * Paths that begin with `text`, one component longer than its last "/": those of the node in front of it. Of like-named
 * items the first, and others once their number is being typed. At most `most`; the first names where there are more.
 * Takes as long as GrowingTree::childNames.
 */
QStringList pathCompletions(const GrowingTree &tree, const QString &text, int most);

} // namespace quenlofar
