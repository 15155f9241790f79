// Looking for bytes in the files of the window, and for names and values in their structure.
#include "mainwindow.h"

#include <QAction>
#include <QMenu>

namespace quenlofar {

void MainWindow::makeFindActions(QMenu *go)
{
    const auto keys = [](const char *text) { return QKeySequence::fromString(QString::fromLatin1(text)); };
    go->addSeparator();
    for (QAction *const action :
         {addAction(go, "find", tr("&Find..."), keys("Ctrl+F"), &MainWindow::openFind),
          addAction(go, "next-place", tr("Next &place"), QKeySequence(Qt::Key_F3), &MainWindow::nextPlace),
          addAction(go, "previous-place", tr("Previous p&lace"), keys("Shift+F3"), &MainWindow::previousPlace)})
        m_pageActions.push_back(action);
}

void MainWindow::openFind()
{
    if (FilePage *const page = currentPage())
        page->findBar().open();
}

void MainWindow::nextPlace()
{
    if (FilePage *const page = currentPage())
        page->findBar().nextPlace();
}

void MainWindow::previousPlace()
{
    if (FilePage *const page = currentPage())
        page->findBar().previousPlace();
}

/// "find=KIND:TEXT"; nothing where the action is another one.
std::optional<bool> MainWindow::performFind(const QString &name, const QString &value, QString *error)
{
    if (name != QLatin1String("find") || value.isEmpty())
        return std::nullopt;
    FilePage *const page = currentPage();
    const int colon = int(value.indexOf(QLatin1Char(':')));
    if (!page)
        *error = tr("No file is open.");
    else if (colon < 0)
        *error =
            tr("\"%1\" does not say as what the text is to be read: bytes:, text:, fourcc:, number:, name: or value:.")
                .arg(value);
    else
        return page->findBar().find(value.left(colon), value.mid(colon + 1), error);
    return false;
}

} // namespace quenlofar
