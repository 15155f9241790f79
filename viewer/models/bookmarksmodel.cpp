#include "bookmarksmodel.h"

#include "displaytext.h"

namespace quenlofar {

BookmarksModel::BookmarksModel(Bookmarks &bookmarks, QObject *parent)
    : QAbstractTableModel(parent), m_bookmarks(bookmarks), m_rows(int(bookmarks.list().size()))
{
    connect(&bookmarks, &Bookmarks::changed, this, &BookmarksModel::update);
}

void BookmarksModel::update()
{
    if (m_rows == int(m_bookmarks.list().size())) {
        if (m_rows > 0)
            Q_EMIT dataChanged(index(0, 0), index(m_rows - 1, ColumnCount - 1));
        return;
    }
    beginResetModel();
    m_rows = int(m_bookmarks.list().size());
    endResetModel();
}

void BookmarksModel::setOffsetsInHex(bool isHex)
{
    m_offsetsInHex = isHex;
    if (m_rows > 0)
        Q_EMIT dataChanged(index(0, OffsetColumn), index(m_rows - 1, OffsetColumn));
}

int BookmarksModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int BookmarksModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(ColumnCount);
}

QVariant BookmarksModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_bookmarks.list().size()))
        return {};
    const Bookmark &bookmark = m_bookmarks.list()[size_t(index.row())];
    const bool isText = index.column() == NameColumn || index.column() == NoteColumn;
    if (role == Qt::TextAlignmentRole)
        return isText ? QVariant() : QVariant(int(Qt::AlignRight | Qt::AlignVCenter));
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole && role != Qt::EditRole)
        return {};
    if (isText) {
        const QString &text = index.column() == NameColumn ? bookmark.name : bookmark.note;
        return role == Qt::EditRole ? text : displayText(text);
    }
    if (index.column() == SizeColumn)
        return QString::number(bookmark.range.size);
    return m_offsetsInHex ? QStringLiteral("0x") + QString::number(bookmark.range.offset, 16).toUpper()
                          : QString::number(bookmark.range.offset);
}

bool BookmarksModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    const bool isText = index.column() == NameColumn || index.column() == NoteColumn;
    if (role != Qt::EditRole || !index.isValid() || index.row() >= m_rows || !isText)
        return false;
    const Bookmark bookmark = m_bookmarks.list()[size_t(index.row())];
    const QString text = value.toString();
    if (index.column() == NameColumn && text.trimmed().isEmpty())
        return false; // without a name nothing can be found again
    m_bookmarks.change(index.row(), index.column() == NameColumn ? text : bookmark.name,
                       index.column() == NoteColumn ? text : bookmark.note);
    return true;
}

Qt::ItemFlags BookmarksModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    const bool isText = index.column() == NameColumn || index.column() == NoteColumn;
    return index.isValid() && isText ? flags | Qt::ItemIsEditable : flags;
}

QVariant BookmarksModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case NameColumn:
        return tr("Name");
    case OffsetColumn:
        return tr("Offset");
    case SizeColumn:
        return tr("Bytes");
    default:
        return tr("Note");
    }
}

} // namespace quenlofar
