#pragma once

#include "errand.h"
#include "fieldcondition.h"
#include "growingtree.h"

#include <QObject>

#include <optional>
#include <vector>

namespace quenlofar {

class Document;

/**
 * Looks for the items of a document's tree for which conditions hold, in a thread that nobody waits for: segment after
 * segment, also those that come while it looks. Lives in the window's thread. Matches come in the order of the
 * document.
 */
class TreeSearch : public QObject
{
    Q_OBJECT

public:
    /// Matches that are kept; more are only counted.
    static constexpr quint64 mostKept = 1'000'000;

    /// Looks into `document`, which outlives the object.
    explicit TreeSearch(Document &document, QObject *parent = nullptr);

    /// Looks for the items for which `conditions` hold; what was found before is forgotten. Without any it looks for
    /// nothing.
    void start(const ItemConditions &conditions);
    void stop(); ///< looks no further; what was found stays

    bool isActive() const { return m_conditions.areAny(); } ///< conditions were given
    /// The whole tree was looked through, and it does not grow any more; true where nothing is looked for.
    bool isDone() const;
    bool isStopped() const { return m_isStopped; } ///< by stop(): isDone() is true then
    quint64 count() const { return m_count; } ///< matches so far
    const std::vector<TreeItem> &matches() const { return m_matches; } ///< the first of them, at most mostKept
    /// The position in matches() of the first match behind `item`; nothing where there is none so far.
    std::optional<size_t> behind(TreeItem item) const;
    /// The position in matches() of the last match before `item`; nothing where there is none.
    std::optional<size_t> before(TreeItem item) const;
    /// The position in matches() of `item`; nothing where it is none of them.
    std::optional<size_t> positionOf(TreeItem item) const;
    /// Whether the conditions hold for the item, which is looked at anew. Takes time for each node around it.
    bool matches(TreeItem item) const;

Q_SIGNALS:
    void changed(); ///< something else is looked for, or more was found

private:
    class Look;
    struct News;

    void lookOn();
    void take(const News &news);

    Document &m_document;
    ItemConditions m_conditions;
    Errand m_looking;
    bool m_isStopped = false;
    quint32 m_nextSegment = 0; // that no thread looks into yet
    std::vector<TreeItem> m_matches;
    quint64 m_count = 0;
};

} // namespace quenlofar
