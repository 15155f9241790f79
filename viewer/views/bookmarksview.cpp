#include "bookmarksview.h"

#include "document.h"
#include "tablesetup.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollBar>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace quenlofar {

BookmarksView::BookmarksView(Document &document, Bookmarks &bookmarks, QWidget *parent)
    : QWidget(parent), m_document(document), m_bookmarks(bookmarks), m_model(bookmarks), m_table(new QTableView(this)),
      m_status(new QLabel(this))
{
    m_table->setObjectName(QStringLiteral("bookmarks"));
    setUpTable(*m_table, tr("Bookmarks"), tr("Rows of bookmarks"), tr("Columns of bookmarks"));
    m_table->setModel(&m_model);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::EditKeyPressed);
    QHeaderView *const header = m_table->horizontalHeader();
    constexpr int charactersOfName = 40;
    header->resizeSection(BookmarksModel::NameColumn, fontMetrics().averageCharWidth() * charactersOfName);
    m_status->setObjectName(QStringLiteral("bookmarksStatus"));
    m_status->setTextFormat(Qt::PlainText);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long text makes no window wider
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_status);
    setFocusProxy(m_table);
    connect(m_table, &QTableView::activated, this, [this](const QModelIndex &index) { goTo(index.row()); });
    connect(&m_bookmarks, &Bookmarks::changed, this, &BookmarksView::showStatus);
    showStatus();
}

void BookmarksView::setCurrent(int position)
{
    m_table->setCurrentIndex(m_model.index(position, BookmarksModel::NameColumn));
}

void BookmarksView::editCurrent()
{
    const QModelIndex current = m_table->currentIndex();
    if (current.isValid())
        m_table->edit(current.sibling(current.row(),
                                      current.column() == BookmarksModel::NoteColumn
                                          ? int(BookmarksModel::NoteColumn)
                                          : int(BookmarksModel::NameColumn)));
}

void BookmarksView::removeCurrent()
{
    const QModelIndex current = m_table->currentIndex();
    if (!current.isValid())
        return;
    const int row = current.row();
    m_bookmarks.remove(row);
    if (m_model.rowCount() > 0)
        setCurrent(std::min(row, m_model.rowCount() - 1));
}

bool BookmarksView::goTo(int position)
{
    if (position < 0 || position >= m_model.rowCount())
        return false;
    const ByteRange range = m_bookmarks.list()[size_t(position)].range;
    const quint64 size = m_document.size();
    // The file may be a shorter one now.
    if (range.offset < size)
        m_document.setBytes({range.offset, std::min(range.size, size - range.offset)}, Move::Jump);
    return range.offset < size;
}

QString BookmarksView::statusText() const
{
    const int count = int(m_bookmarks.list().size());
    const QString counted = count == 0 ? tr("No bookmarks.")
        : count == 1                   ? tr("1 bookmark.")
                                       : tr("%1 bookmarks.").arg(count);
    return m_bookmarks.message().isEmpty() ? counted : counted + QLatin1Char(' ') + m_bookmarks.message();
}

void BookmarksView::showStatus()
{
    m_status->setText(statusText());
    m_status->setToolTip(m_status->text());
}

/// Keys that the table does not take itself come here.
void BookmarksView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Delete)
        removeCurrent();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quenlofar
