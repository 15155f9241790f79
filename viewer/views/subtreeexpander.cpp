#include "subtreeexpander.h"

#include <QTimer>
#include <QTreeView>

namespace quenlofar {

namespace {

constexpr qint64 slice = 10; // milliseconds of work between two events
constexpr qint64 betweenPaints = 100; // milliseconds: painting takes longer than a slice

} // namespace

SubtreeExpander::SubtreeExpander(QTreeView &view, quint64 rows) : QObject(&view), m_view(view), m_mostRows(rows) { }

void SubtreeExpander::start(const QModelIndex &index)
{
    const bool wasRunning = isRunning();
    m_levels.clear();
    m_rows = 0;
    m_isOfRoot = !index.isValid();
    if (!enter(index)) {
        end(m_view.model()->rowCount(index) == 0);
        return;
    }
    m_sinceShown.start();
    if (!wasRunning)
        QTimer::singleShot(0, this, &SubtreeExpander::work);
}

void SubtreeExpander::stop()
{
    if (isRunning())
        end(false);
}

/// Expands a node; false where it has nothing to expand, or too much.
bool SubtreeExpander::enter(const QModelIndex &node)
{
    const int rows = m_view.model()->rowCount(node);
    if (rows == 0 || m_rows + quint64(rows) > m_mostRows)
        return false;
    m_rows += quint64(rows);
    if (node.isValid())
        m_view.expand(node);
    m_levels.push_back({node, 0});
    return true;
}

void SubtreeExpander::end(bool isWhole)
{
    m_levels.clear();
    m_view.viewport()->setUpdatesEnabled(true);
    Q_EMIT finished(m_rows, isWhole);
}

void SubtreeExpander::work()
{
    const QAbstractItemModel &model = *m_view.model();
    QElapsedTimer timer;
    timer.start();
    m_view.viewport()->setUpdatesEnabled(false);
    while (!m_levels.empty()) {
        if (timer.elapsed() >= slice) {
            if (m_sinceShown.elapsed() >= betweenPaints) {
                m_view.viewport()->setUpdatesEnabled(true);
                m_sinceShown.start();
            }
            QTimer::singleShot(0, this, &SubtreeExpander::work);
            return;
        }
        // Between two slices rows may have been put into groups: their nodes are no rows any more.
        const QModelIndex node = m_levels.back().node;
        const bool isGone = !node.isValid() && !(m_isOfRoot && m_levels.size() == 1);
        if (isGone || m_levels.back().row >= model.rowCount(node)) {
            m_levels.pop_back();
            continue;
        }
        const QModelIndex child = model.index(m_levels.back().row++, 0, node);
        if (model.hasChildren(child) && !enter(child)) {
            end(false);
            return;
        }
    }
    end(true);
}

} // namespace quenlofar
