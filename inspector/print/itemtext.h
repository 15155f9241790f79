#pragma once

#include "elementtree.h"

#include <QString>

namespace quenlofar {

class JsonPrinter;

/// What an item holds: " = value  (meaning)"; empty for a node, for data and where there is nothing. Comes from the
/// file: displayText makes it fit to be shown.
QString contentsText(const ElementTree &tree, ElementTree::Item item);

/// An item as documents about files show it, without what is inside it. Reading one may throw std::bad_alloc, printing
/// it does not: a document is not left in the middle of an item.
class PrintableItem
{
public:
    PrintableItem(const ElementTree &tree, ElementTree::Item item);
    void printTo(JsonPrinter &json) const;

private:
    bool m_isNode;
    bool m_isUnparsed;
    quint64 m_offset;
    quint64 m_size;
    qint64 m_index;
    QString m_name;
    QString m_value;
    QString m_meaning;
    QString m_description;
};

} // namespace quenlofar
