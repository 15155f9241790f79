#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"
#include "elementtree.h"

#include <QString>
#include <QStringView>
#include <QVector>

#include <memory>

namespace quenlofar {

/**
 * Element paths say where an item stands: `RIFF(AVI )/LIST(hdrl)/LIST(strl)[1]/strf/biWidth`. Components, from the
 * top level down, are node titles and at last a node's title or a leaf's name. `[n]` tells like-named siblings apart,
 * nodes and leaves counted together from 0 in their order; `[0]` is left out. In a name the characters "/", "[", "]",
 * "%" and control characters (U+0000 to U+001F, U+007F to U+009F) are written %XX, one for each byte of their UTF-8.
 * A leaf of unparsed data has the name "unparsed". Names are told apart exactly, unit by unit.
 */
struct PathComponent
{
    QString name; ///< not escaped; may be empty
    quint64 number = 0; ///< among the siblings of that name
};
/// From the top level down; never empty where it stands for an item.
using ElementPath = QVector<PathComponent>;

/// The name by which paths call an item: its own, but for unparsed data.
CONTAINERABSTRACT_EXPORT QStringView pathName(QStringView name);
/// `name` as it is written in a path.
CONTAINERABSTRACT_EXPORT QString escapedPathName(QStringView name);
/**
 * Reads a path as people write it: `[0]` may be given, and %XX for any character. An empty text is one component with
 * an empty name.
 *
 * @return false for a malformed path: `*error` then says in words what is wrong and where; `*path` is not changed
 */
CONTAINERABSTRACT_EXPORT bool parseElementPath(QStringView text, ElementPath *path, QString *error);
/// What parseElementPath reads as `path`; null for no components.
CONTAINERABSTRACT_EXPORT QString elementPathText(const ElementPath &path);
/// The path of an item of a tree; null for the root. Takes time for each sibling before the item and its parents.
CONTAINERABSTRACT_EXPORT QString elementPathText(const ElementTree &tree, ElementTree::Item item);

/**
 * Tells the path of each item of a walk. Keeps the names of the open nodes' children, each once: memory is
 * proportional to them, a name that came before takes none, and every call takes constant time on average.
 *
 * enter(), leaf() and path() may throw std::bad_alloc; the item is then not counted.
 */
class CONTAINERABSTRACT_EXPORT ElementPathTracker
{
public:
    ElementPathTracker();
    ~ElementPathTracker();

    /// A node was opened; it is the current item.
    void enter(QStringView title);
    /// A leaf was added to the innermost open node; it is the current item.
    void leaf(QStringView name);
    /// The innermost open node was closed; the one around it is the current item.
    void leave() noexcept;
    /// Forgets everything.
    void clear() noexcept;

    /// The path of the current item, valid until the next call; null when there is none. Only what differs from the
    /// path that was asked for last is written anew.
    QStringView path();

private:
    class Private;
    std::unique_ptr<Private> d;
};

/// Finds the item of one path while the file is walked. Keeps nothing but the path.
class CONTAINERABSTRACT_EXPORT ElementPathFinder : public ElementSink
{
public:
    /// Looks for the item at `path`.
    explicit ElementPathFinder(const ElementPath &path);
    ~ElementPathFinder() override;

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool setElementSize(quint64 size) override;

    bool found() const { return m_found; } ///< the item is there; the answer is final when isDecided()
    /// True when the rest of the walk cannot change the answer any more.
    bool isDecided() const { return m_decided; }
    bool isNode() const { return m_isNode; } ///< the item that was found is a node, not a leaf
    quint64 offset() const { return m_offset; } ///< of the item that was found, in bytes from the start of the file
    quint64 size() const { return m_size; } ///< of the item that was found, in bytes

private:
    bool looksAtChildren() const;
    bool isOnPath(QStringView name);
    void find(quint64 offset, quint64 size, bool isNode);

    const ElementPath m_path;
    quint64 m_openNodes = 0;
    quint64 m_matchedNodes = 0; // how many of them, from the outermost on, are the path's
    quint64 m_likeNamed = 0; // children of the innermost matched node that have the next component's name
    bool m_decided = false;
    bool m_found = false;
    bool m_isNode = false;
    quint64 m_offset = 0;
    quint64 m_size = 0;
};

} // namespace quenlofar
