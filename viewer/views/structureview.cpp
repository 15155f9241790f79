#include "structureview.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>

namespace quenlofar {

namespace {

/// Measures its texts once: the view asks for its height whenever a row is expanded.
class MeasuredHeader : public QHeaderView
{
public:
    explicit MeasuredHeader(QWidget *parent) : QHeaderView(Qt::Horizontal, parent)
    {
        setSectionsMovable(true);
        setStretchLastSection(true);
        setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    }
    QSize sizeHint() const override
    {
        if (!m_hint.isValid())
            m_hint = QHeaderView::sizeHint();
        return m_hint;
    }

protected:
    void changeEvent(QEvent *event) override
    {
        m_hint = QSize();
        QHeaderView::changeEvent(event);
    }

private:
    mutable QSize m_hint;
};

} // namespace

StructureView::StructureView(Document &document, QWidget *parent)
    : QTreeView(parent), m_document(document), m_model(document.tree()), m_expander(*this)
{
    setObjectName(QStringLiteral("structureView"));
    setAccessibleName(tr("Structure"));
    verticalScrollBar()->setAccessibleName(tr("Rows of the structure"));
    horizontalScrollBar()->setAccessibleName(tr("Columns of the structure"));
    setUniformRowHeights(true); // otherwise each row is asked for its height
    setAlternatingRowColors(true);
    setHeader(new MeasuredHeader(this));
    setModel(&m_model);
    header()->setAccessibleName(tr("Columns of the structure"));
    const int character = fontMetrics().averageCharWidth();
    constexpr int charactersOfColumns[] = {30, 16, 24, 14};
    for (int column = 0; column < int(std::size(charactersOfColumns)); ++column)
        setColumnWidth(column, character * charactersOfColumns[column]);
    connect(&m_document, &Document::treeGrew, this, [this] {
        const bool wasEmpty = m_model.rowCount() == 0;
        // Rows that are put into groups are gone for a moment. Qt then makes another one the current one: nobody has
        // gone there.
        const QModelIndex current = currentIndex();
        m_isFollowing = true;
        m_model.grow();
        m_isFollowing = false;
        // The outermost level alone says little: most files have one element there.
        if (wasEmpty && m_model.rowCount() > 0)
            expand(m_model.index(0, 0));
        if (wasEmpty || currentIndex() != current)
            followPlace();
    });
    connect(&m_expander, &SubtreeExpander::finished, this, [this](quint64 rows, bool isWhole) {
        Q_EMIT told(isWhole ? tr("%1 rows are expanded.").arg(rows)
                            : tr("Expanding ended at %1 rows: no more than %2 are expanded at once.")
                                  .arg(rows)
                                  .arg(SubtreeExpander::mostRows));
    });
    connect(&m_document, &Document::placeChanged, this, &StructureView::followPlace);
    connect(&m_document, &Document::placeResolved, this, &StructureView::followPlace);
}

TreeItem StructureView::currentItem() const
{
    const QModelIndex current = currentIndex();
    return m_model.isGroup(current) ? GrowingTree::root() : m_model.itemOf(current);
}

std::vector<QModelIndex> StructureView::rowsInSight() const
{
    std::vector<QModelIndex> rows;
    for (QModelIndex index = indexAt(QPoint(0, 0)); index.isValid(); index = indexBelow(index)) {
        if (visualRect(index).top() >= viewport()->height())
            break;
        rows.push_back(index);
    }
    return rows;
}

void StructureView::expandBelow()
{
    m_expander.start(currentIndex().sibling(currentIndex().row(), ElementModel::NameColumn));
}

void StructureView::keyPressEvent(QKeyEvent *event)
{
    // Qt would expand a million rows at once.
    if (event->key() == Qt::Key_Asterisk)
        expandBelow();
    else if (event->key() == Qt::Key_Escape && m_expander.isRunning())
        m_expander.stop();
    else
        QTreeView::keyPressEvent(event);
}

void StructureView::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTreeView::currentChanged(current, previous);
    if (m_isFollowing || !current.isValid() || m_model.isGroup(current))
        return;
    m_isSetting = true;
    m_document.setItem(m_model.itemOf(current), Move::Jump);
    m_isSetting = false;
}

void StructureView::focusInEvent(QFocusEvent *event)
{
    // Qt makes the first row the current one where there is none: nobody has gone there.
    m_isFollowing = true;
    QTreeView::focusInEvent(event);
    m_isFollowing = false;
}

void StructureView::followPlace()
{
    if (m_isSetting)
        return;
    const QModelIndex index = m_model.indexOf(m_document.place().item);
    m_isFollowing = true;
    if (index.isValid()) {
        setCurrentIndex(index);
        scrollTo(index);
    } else {
        selectionModel()->clear();
    }
    m_isFollowing = false;
}

} // namespace quenlofar
