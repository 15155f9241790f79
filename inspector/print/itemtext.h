#pragma once

#include "elementtree.h"

#include <QString>

class JsonPrinter;

/// What an item holds: " = value  (meaning)"; empty for a node, for data and where there is nothing. Comes from the
/// file: displayText makes it fit to be shown.
QString contentsText(const ElementTree &tree, ElementTree::Item item);

/// Prints an item as documents about files do, without what is inside it.
void printItem(JsonPrinter &json, const ElementTree &tree, ElementTree::Item item);
