#pragma once

#include "bookmarks.h"
#include "bookmarksmodel.h"

#include <QWidget>

class QLabel;
class QTableView;

namespace quenlofar {

class Document;

/// The bookmarks of a document in a table: Enter goes to one, F2 edits its name or its note, Delete takes it out.
class BookmarksView : public QWidget
{
    Q_OBJECT

public:
    /// Shows the bookmarks of `document`; both outlive the view.
    BookmarksView(Document &document, Bookmarks &bookmarks, QWidget *parent = nullptr);

    QTableView &table() { return *m_table; } ///< where they are shown
    BookmarksModel &model() { return m_model; } ///< what is shown
    void setCurrent(int position); ///< makes a row the current one
    void editCurrent(); ///< begins to edit the name of the current one
    void removeCurrent(); ///< takes out the current one
    bool goTo(int position); ///< false where there is none
    QString statusText() const; ///< how many there are, and what has to be told of them

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void showStatus();

    Document &m_document;
    Bookmarks &m_bookmarks;
    BookmarksModel m_model;
    QTableView *m_table;
    QLabel *m_status;
};

} // namespace quenlofar
