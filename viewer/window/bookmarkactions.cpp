// Bookmarks of the file in front.
#include "mainwindow.h"
#include "pathdialog.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QStatusBar>

namespace quenlofar {

void MainWindow::makeBookmarkActions()
{
    const auto keys = [](const char *text) { return QKeySequence::fromString(QString::fromLatin1(text)); };
    QMenu *const menu = menuBar()->addMenu(tr("&Bookmarks"));
    for (QAction *const action :
         {addAction(menu, "add-bookmark", tr("&Add bookmark"), keys("Ctrl+D"), &MainWindow::addBookmark),
          addAction(menu, "show-bookmarks", tr("&Show bookmarks"), keys("Alt+6"), &MainWindow::showBookmarks),
          addAction(menu, "edit-bookmark", tr("&Edit name or note"), {}, &MainWindow::editBookmark),
          addAction(menu, "delete-bookmark", tr("&Delete bookmark"), {}, &MainWindow::deleteBookmark),
          addAction(menu, "export-bookmarks", tr("E&xport bookmarks..."), {}, &MainWindow::exportBookmarksByDialog)})
        m_pageActions.push_back(action);
}

void MainWindow::addBookmark()
{
    if (FilePage *const page = currentPage())
        addBookmarkNamed(*page, QString());
}

/// At the current place; without a name it gets that of the element.
bool MainWindow::addBookmarkNamed(FilePage &page, const QString &name)
{
    const ByteRange range = page.document().place().range;
    int position = page.bookmarks().find(range);
    const bool isNew = position < 0;
    if (isNew) {
        QString called = name.isEmpty() ? page.elementText(range.offset) : name;
        if (called.isEmpty())
            called = tr("offset %1").arg(range.offset);
        position = page.bookmarks().add({range, called, {}});
        statusBar()->showMessage(position < 0 ? tr("There are too many bookmarks.") : tr("Bookmark added."));
    } else {
        statusBar()->showMessage(tr("There is a bookmark here already."));
    }
    if (position >= 0)
        page.bookmarksView().setCurrent(position);
    return isNew && position >= 0;
}

void MainWindow::showBookmarks()
{
    if (FilePage *const page = currentPage()) {
        page->analysis().setCurrentWidget(&page->bookmarksView());
        page->bookmarksView().setFocus(Qt::ShortcutFocusReason);
    }
}

void MainWindow::editBookmark()
{
    if (FilePage *const page = currentPage()) {
        showBookmarks();
        page->bookmarksView().editCurrent();
    }
}

void MainWindow::deleteBookmark()
{
    if (FilePage *const page = currentPage())
        page->bookmarksView().removeCurrent();
}

void MainWindow::exportBookmarksByDialog()
{
    FilePage *const page = currentPage();
    if (!page)
        return;
    askForPath(this, tr("Export bookmarks"), tr("Bookmarks (*.json)"),
               [page = QPointer<FilePage>(page)](const QString &path) {
                   if (page)
                       page->bookmarks().exportTo(path);
               });
}

/// Nothing where the action is none of those that take a value for bookmarks.
std::optional<bool> MainWindow::performOnBookmarks(const QString &name, const QString &value, QString *error)
{
    const bool isAdd = name == QLatin1String("add-bookmark");
    const bool isGo = name == QLatin1String("bookmark");
    const bool isExport = name == QLatin1String("export-bookmarks");
    if (value.isEmpty() || (!isAdd && !isGo && !isExport))
        return std::nullopt;
    FilePage *const page = currentPage();
    if (!page) {
        *error = tr("No file is open.");
        return false;
    }
    if (isExport) {
        page->bookmarks().exportTo(value);
        return true;
    }
    if (isAdd) {
        const bool isAdded = addBookmarkNamed(*page, value);
        if (!isAdded)
            *error = statusBar()->currentMessage();
        return isAdded;
    }
    bool isNumber = false;
    const int position = value.toInt(&isNumber);
    const bool isThere = isNumber && page->bookmarksView().goTo(position);
    if (!isThere)
        *error = tr("There is no bookmark %1 in the file.").arg(value);
    return isThere;
}

} // namespace quenlofar
