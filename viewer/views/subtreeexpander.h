#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPersistentModelIndex>

#include <vector>

class QTreeView;

namespace quenlofar {

/**
 * Expands everything below an item of a tree view, a few milliseconds at a time, so that the window stays usable; from
 * the outside to the inside and from above, because a view takes long to lay out rows in front of many others.
 */
class SubtreeExpander : public QObject
{
    Q_OBJECT

public:
    /// No more rows are brought into sight at once: views become slow, and nobody looks at so many.
    static constexpr quint64 mostRows = 1'000'000;

    /// For `view`, which outlives the object.
    explicit SubtreeExpander(QTreeView &view, quint64 rows = mostRows);

    /// Expands `index`, or the whole tree where it is invalid, and everything below; ends what is being expanded.
    void start(const QModelIndex &index);
    void stop(); ///< what is expanded stays so
    bool isRunning() const { return !m_levels.empty(); } ///< there is more to expand

Q_SIGNALS:
    /// It is over: `rows` are below the item, or more where `isWhole` is false.
    void finished(quint64 rows, bool isWhole);

private:
    struct Level
    {
        QPersistentModelIndex node;
        int row;
    };

    void work();
    bool enter(const QModelIndex &node);
    void end(bool isWhole);

    QTreeView &m_view;
    const quint64 m_mostRows;
    std::vector<Level> m_levels; // nodes whose children are being looked at, one inside the other
    bool m_isOfRoot = false; // the outermost of them is the invalid index
    quint64 m_rows = 0;
    QElapsedTimer m_sinceShown; // the view is not painted for each slice
};

} // namespace quenlofar
