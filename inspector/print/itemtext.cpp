#include "itemtext.h"

#include "displaytext.h"
#include "jsonprinter.h"

namespace quenlofar {

QString contentsText(const ElementTree &tree, ElementTree::Item item)
{
    QString text;
    if (tree.isNode(item) || tree.isUnparsedData(item))
        return text;
    const QString value = tree.value(item);
    const QString meaning = tree.meaning(item);
    if (!value.isEmpty())
        text += QStringLiteral(" = ") + quotedIfBlank(value);
    else if (tree.code(item) == emptyTextCode)
        text += QStringLiteral(" = \"\"");
    if (!meaning.isEmpty())
        text += QStringLiteral("  (") + meaning + QLatin1Char(')');
    return text;
}

PrintableItem::PrintableItem(const ElementTree &tree, ElementTree::Item item)
    : m_isNode(tree.isNode(item)), m_isUnparsed(tree.isUnparsedData(item)), m_offset(tree.offset(item)),
      m_size(tree.size(item)), m_index(tree.index(item)), m_name(tree.name(item)), m_value(tree.value(item)),
      m_meaning(tree.meaning(item)), m_description(tree.description(item))
{
}

void PrintableItem::printTo(JsonPrinter &json) const
{
    json.beginObject();
    if (m_isUnparsed)
        json.key(u"unparsed").boolean(true);
    else
        json.key(m_isNode ? u"node" : u"field").text(m_name);
    json.key(u"offset").number(m_offset).key(u"size").number(m_size);
    if (m_isNode && m_index >= 0)
        json.key(u"index").signedNumber(m_index);
    if (!m_isNode && !m_isUnparsed) {
        json.key(u"value").text(m_value);
        if (!m_meaning.isEmpty())
            json.key(u"meaning").text(m_meaning);
        if (!m_description.isEmpty())
            json.key(u"description").text(m_description);
    }
    json.endObject();
}

} // namespace quenlofar
