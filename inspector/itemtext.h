#pragma once

#include "elementtree.h"

#include <QString>

class JsonPrinter;

/// What an item holds, fit to be shown: " = value  (meaning)"; empty for a node, for data and where there is nothing.
QString contentsText(const ElementTree &tree, ElementTree::Item item);

/// Prints an item as documents about files do, without what is inside it.
void printItem(JsonPrinter &json, const ElementTree &tree, ElementTree::Item item);
