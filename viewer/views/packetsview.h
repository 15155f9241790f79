#pragma once

#include "document.h"
#include "errand.h"
#include "packetmodel.h"

#include <QTableView>
#include <QWidget>

class QLabel;
class QLineEdit;
class QToolButton;

namespace quenlofar {

/// What next() looks for.
enum class PacketStep { KeyFrame, EmptyFrame };

/// The packets of a document as a table, with a condition for those that are shown. The current row is the packet of
/// the current place. Filtering, sorting and looking for a packet happen in another thread.
class PacketsView : public QWidget
{
    Q_OBJECT

public:
    static constexpr int mostCopied = 64 << 20; ///< bytes of text that are copied at once

    /// Shows `document`, which outlives the view.
    explicit PacketsView(Document &document, QWidget *parent = nullptr);

    PacketModel &model() { return m_model; } ///< what is shown
    QTableView &table() { return *m_table; } ///< where it is shown
    QLineEdit &filterField() { return *m_field; } ///< where the condition is typed
    /// Shows only packets that meet the condition; false, and `*error` says why, where `text` is none.
    bool setFilter(const QString &text, QString *error);
    const QString &filter() const { return m_filter; } ///< the condition, as it was typed
    /// Sorts by a column; by offset, ascending, is the order of the file.
    void setSorting(PacketColumn column, bool isDescending);
    PacketColumn sortColumn() const { return m_query.column; } ///< see setSorting
    bool isDescending() const { return m_query.isDescending; } ///< see setSorting
    QString statusText() const; ///< how many are shown, of how many, or why none are
    /// Goes to the next packet of a kind behind the current place, or to the one before it. In the stream of the
    /// place's packet, or where there is none in the first stream with pictures.
    void goToNext(PacketStep step, bool isForward);
    /// Puts the selected rows with the columns that are not hidden onto the clipboard, a line each, with a line of
    /// names: between tabs, or as CSV. Ends before the text gets longer than mostCopied. Made in another thread.
    void copySelected(bool isCsv);
    /// Rows in sight, from the top, as texts of all columns.
    std::vector<QStringList> rowsInSight() const;

Q_SIGNALS:
    void statusChanged(); ///< statusText() says something else

private:
    class Table;

    void runQuery();
    void showStatus();
    void followPlace();
    void showRow(quint64 row, bool isCurrent);
    void setFromRow(const QModelIndex &current);
    void showColumnMenu(const QPoint &position);

    Document &m_document;
    PacketModel m_model;
    QTableView *m_table;
    QLineEdit *m_field;
    QLabel *m_status;
    QToolButton *m_before;
    QToolButton *m_behind;
    Errand m_ordering;
    Errand m_looking;
    Errand m_copying;
    QString m_filter;
    PacketQuery m_query;
    QString m_error; // of the latest condition that was typed
    bool m_isFollowing = false; // the current row is being set from here
    bool m_isSetting = false; // the place is being set from here
    bool m_hasFailed = false; // there was no memory for the order
};

} // namespace quenlofar
