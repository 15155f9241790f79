#include "itemtext.h"

#include "displaytext.h"
#include "jsonprinter.h"

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

void printItem(JsonPrinter &json, const ElementTree &tree, ElementTree::Item item)
{
    json.beginObject();
    const bool isNode = tree.isNode(item);
    const bool isUnparsed = tree.isUnparsedData(item);
    if (isUnparsed)
        json.key(u"unparsed").boolean(true);
    else
        json.key(isNode ? u"node" : u"field").text(tree.name(item));
    json.key(u"offset").number(tree.offset(item)).key(u"size").number(tree.size(item));
    if (isNode && tree.index(item) >= 0)
        json.key(u"index").signedNumber(tree.index(item));
    if (!isNode && !isUnparsed) {
        json.key(u"value").text(tree.value(item));
        if (const QString meaning = tree.meaning(item); !meaning.isEmpty())
            json.key(u"meaning").text(meaning);
        if (const QString description = tree.description(item); !description.isEmpty())
            json.key(u"description").text(description);
    }
    json.endObject();
}
