#include "elementpath.h"

#include "pathtext.h"
#include "titletable.h"
#include "utf8_p.h"

#include <limits>
#include <vector>

namespace quenlofar {

namespace {

constexpr QStringView unparsedName{u"unparsed"};

/// The value of a hexadecimal digit, or -1.
int hexadecimalValue(char16_t unit)
{
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const int letter = unit | 0x20; // as a small one
    return letter >= u'a' && letter <= u'f' ? letter - u'a' + 10 : -1;
}

class PathParser
{
public:
    explicit PathParser(QStringView text) : m_at(text.utf16()), m_begin(m_at), m_end(m_at + text.size()) { }

    bool parse(ElementPath *path)
    {
        do {
            PathComponent component;
            if (!parseName(&component.name) || !parseNumber(&component.number))
                return false;
            path->append(component);
        } while (skip(u'/'));
        return true;
    }
    const QString &error() const { return m_error; }

private:
    bool isAt(char16_t unit) const { return m_at != m_end && *m_at == unit; }
    bool skip(char16_t unit)
    {
        const bool isThere = isAt(unit);
        m_at += isThere ? 1 : 0;
        return isThere;
    }
    bool fail(const char16_t *at, const QString &what)
    {
        m_error = QStringLiteral("character %1: %2").arg(at - m_begin + 1).arg(what);
        return false;
    }
    bool parseName(QString *name);
    bool parseEscapes(QString *name);
    bool parseNumber(quint64 *number);

    const char16_t *m_at;
    const char16_t *const m_begin;
    const char16_t *const m_end;
    QString m_error;
};

bool PathParser::parseName(QString *name)
{
    while (m_at != m_end && *m_at != u'/' && *m_at != u'[') {
        if (*m_at == u']')
            return fail(m_at, QStringLiteral("\"]\" without \"[\" before it; in a name it is written %5D"));
        if (*m_at != u'%')
            *name += QChar(*m_at++);
        else if (!parseEscapes(name))
            return false;
    }
    return true;
}

/// Reads as many %XX as there are side by side: the bytes of whole characters.
bool PathParser::parseEscapes(QString *name)
{
    const char16_t *const first = m_at;
    QByteArray bytes;
    while (isAt(u'%')) {
        const int high = m_end - m_at > 2 ? hexadecimalValue(m_at[1]) : -1;
        const int low = high >= 0 ? hexadecimalValue(m_at[2]) : -1;
        if (low < 0)
            return fail(m_at, QStringLiteral("\"%\" without two hexadecimal digits; in a name it is written %25"));
        bytes += char(high << 4 | low);
        m_at += 3;
    }
    const char *const end = bytes.constData() + bytes.size();
    for (const char *at = bytes.constData(); at != end;) {
        const Utf8Sequence sequence = decodeUtf8(at, end - at);
        if (sequence.length == 0)
            return fail(first + 3 * (at - bytes.constData()), QStringLiteral("the bytes written %XX are not UTF-8"));
        appendCodePoint(name, sequence.codePoint);
        at += sequence.length;
    }
    return true;
}

/// Reads `[n]`, if it is there, which ends the component.
bool PathParser::parseNumber(quint64 *number)
{
    constexpr quint64 max = std::numeric_limits<quint64>::max();
    const char16_t *const bracket = m_at;
    if (!skip(u'['))
        return true;
    const char16_t *const digits = m_at;
    for (; m_at != m_end && *m_at >= u'0' && *m_at <= u'9'; ++m_at) {
        const quint64 digit = quint64(*m_at) - u'0';
        if (*number > (max - digit) / 10)
            return fail(bracket, QStringLiteral("the number in \"[\" and \"]\" is too large"));
        *number = *number * 10 + digit;
    }
    if (m_at == digits || !skip(u']'))
        return fail(bracket, QStringLiteral("\"[\" without a number and \"]\"; in a name it is written %5B"));
    if (m_at != m_end && *m_at != u'/')
        return fail(m_at, QStringLiteral("only \"/\" or the end of the path may follow \"]\""));
    return true;
}

} // namespace

QStringView pathName(QStringView name)
{
    return name == unparsedDataMarker ? unparsedName : name;
}

QString escapedPathName(QStringView name)
{
    PathText text;
    text.push(name, 0);
    return text.text().toString();
}

bool parseElementPath(QStringView text, ElementPath *path, QString *error)
{
    PathParser parser(text);
    ElementPath parsed;
    if (!parser.parse(&parsed)) {
        *error = parser.error();
        return false;
    }
    *path = parsed;
    return true;
}

QString elementPathText(const ElementPath &path)
{
    PathText text;
    for (const PathComponent &component : path)
        text.push(component.name, component.number);
    return text.text().toString();
}

QString elementPathText(const ElementTree &tree, ElementTree::Item item)
{
    std::vector<ElementTree::Item> way;
    for (; item != tree.root(); item = tree.parent(item))
        way.push_back(item);

    PathText text;
    ElementTree::FieldReader reader(tree);
    ElementTree::FieldReader siblingReader(tree);
    ElementTree::Item parent = tree.root();
    for (auto at = way.rbegin(); at != way.rend(); parent = *at++) {
        const QStringView name = pathName(reader.name(*at));
        quint64 number = 0;
        for (quint32 row = tree.row(*at); row > 0; --row) {
            if (pathName(siblingReader.name(tree.child(parent, row - 1))) == name)
                ++number;
        }
        text.push(name, number);
    }
    return text.text().toString();
}

class ElementPathTracker::Private
{
public:
    struct OpenNode
    {
        quint32 title; ///< in `titles`
        quint32 firstOfChildren; ///< where its children's names begin there
    };
    static constexpr quint32 none = 0xFFFFFFFF;

    /// Counts one more item among the children of the innermost open node.
    quint32 count(QStringView name);
    void push(quint32 title) { text.push(titles.title(title), counts[title] - 1); }

    TitleTable titles; // of the children of open nodes, the level being the depth
    std::vector<quint64> counts; // by title: how many have come
    std::vector<OpenNode> open;
    quint32 currentLeaf = none; // in `titles`
    PathText text; // of open nodes from the outermost on, perhaps not yet of all; then of the current leaf
};

ElementPathTracker::ElementPathTracker() : d(new Private) { }

ElementPathTracker::~ElementPathTracker() = default;

void ElementPathTracker::enter(QStringView title)
{
    d->open.reserve(d->open.size() < d->open.capacity() ? 0 : 2 * d->open.size() + 1);
    const quint32 number = d->count(title);
    d->open.push_back({number, d->titles.size()});
    d->currentLeaf = Private::none;
}

void ElementPathTracker::leaf(QStringView name)
{
    d->currentLeaf = d->count(name);
}

void ElementPathTracker::leave() noexcept
{
    if (d->open.empty())
        return;
    const quint32 titles = d->open.back().firstOfChildren;
    d->titles.truncate(titles);
    d->counts.resize(titles);
    d->open.pop_back();
    d->text.truncate(d->open.size());
    d->currentLeaf = Private::none;
}

void ElementPathTracker::clear() noexcept
{
    d->titles.truncate(0);
    d->counts.clear();
    d->open.clear();
    d->text.truncate(0);
    d->currentLeaf = Private::none;
}

QStringView ElementPathTracker::path()
{
    while (d->text.components() < d->open.size())
        d->push(d->open[d->text.components()].title);
    if (d->currentLeaf != Private::none && d->text.components() == d->open.size())
        d->push(d->currentLeaf);
    return d->text.text();
}

quint32 ElementPathTracker::Private::count(QStringView name)
{
    const quint32 title = titles.intern(quint32(open.size()), pathName(name));
    if (counts.size() < titles.size())
        counts.resize(titles.size());
    ++counts[title];
    // The text of the leaf before goes.
    text.truncate(open.size());
    return title;
}

ElementPathFinder::ElementPathFinder(const ElementPath &path) : m_path(path) { }

ElementPathFinder::~ElementPathFinder() = default;

bool ElementPathFinder::beginDocument(const DocumentStart &)
{
    m_openNodes = m_matchedNodes = m_likeNamed = m_offset = m_size = 0;
    m_found = m_isNode = false;
    m_decided = m_path.isEmpty();
    return true;
}

bool ElementPathFinder::beginElement(quint64 offset, quint64 size, QStringView title, qint64)
{
    if (looksAtChildren() && isOnPath(title)) {
        ++m_matchedNodes;
        m_likeNamed = 0;
        if (m_matchedNodes == quint64(m_path.size()))
            find(offset, size, true);
    }
    ++m_openNodes;
    return true;
}

bool ElementPathFinder::addField(const Field &field)
{
    if (!looksAtChildren() || !isOnPath(field.name))
        return true;
    // Nothing stands inside a leaf, and no other item has its path.
    m_decided = true;
    if (m_matchedNodes + 1 == quint64(m_path.size()))
        find(field.offset, field.size, false);
    return true;
}

bool ElementPathFinder::endElement()
{
    if (m_openNodes == 0)
        return true;
    // No other node has the path of the one that ends here.
    if (m_openNodes == m_matchedNodes)
        m_decided = true;
    --m_openNodes;
    return true;
}

bool ElementPathFinder::reportFrame(const Frame &)
{
    return true;
}

bool ElementPathFinder::setElementSize(quint64 size)
{
    if (m_found && m_isNode && m_size == sizeFromEnd && m_openNodes == m_matchedNodes) {
        m_size = size;
        m_decided = true;
    }
    return true;
}

/// Whether the items that come now are children of the innermost matched node, and one of them may be the path's next
/// component. A node that was found may still be open, waiting for its size: no component is left for its children.
bool ElementPathFinder::looksAtChildren() const
{
    return m_openNodes == m_matchedNodes && !m_decided && !m_found;
}

/// Whether a child of the innermost matched node is the path's next component.
bool ElementPathFinder::isOnPath(QStringView name)
{
    const PathComponent &component = m_path[int(m_matchedNodes)];
    return pathName(name) == QStringView(component.name) && m_likeNamed++ == component.number;
}

void ElementPathFinder::find(quint64 offset, quint64 size, bool isNode)
{
    m_found = true;
    m_decided = size != sizeFromEnd; // otherwise the node's end decides
    m_isNode = isNode;
    m_offset = offset;
    m_size = size;
}

} // namespace quenlofar
