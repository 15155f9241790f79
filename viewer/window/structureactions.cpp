// What the window does with the structure of its files: looking for items, expanding, columns, and reading again with
// higher limits.
#include "mainwindow.h"

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QStatusBar>
#include <QTabWidget>

namespace quenlofar {

void MainWindow::makeStructureActions(QMenu *go, QMenu *view)
{
    const auto keys = [](const char *text) { return QKeySequence::fromString(QString::fromLatin1(text)); };
    go->addSeparator();
    for (QAction *const action :
         {addAction(go, "filter", tr("&Find elements and fields..."), keys("Ctrl+Shift+F"), &MainWindow::focusFilter),
          addAction(go, "next-match", tr("Next &match"), QKeySequence(Qt::Key_F4), &MainWindow::nextMatch),
          addAction(go, "previous-match", tr("Previous m&atch"), keys("Shift+F4"), &MainWindow::previousMatch)})
        m_pageActions.push_back(action);
    view->addSeparator();
    m_pageActions.push_back(
        addAction(view, "expand", tr("&Expand everything below"), keys("Ctrl+E"), &MainWindow::expandBelow));
    m_pageActions.push_back(addAction(view, "raise-limit", tr("&Raise the limit and read again"), keys("Ctrl+Shift+R"),
                                      &MainWindow::raiseLimit));
    view->addMenu(m_columns.makeMenu(this));
}

/// Lets the page's structure look as chosen, and say what it has to say.
void MainWindow::attachStructure(FilePage *page)
{
    m_columns.attach(&page->structureView());
    connect(&page->structureView(), &StructureView::told, this,
            [this](const QString &text) { statusBar()->showMessage(text); });
    connect(page, &FilePage::raiseWanted, this, [this, page] { readAgain(page); });
}

/// Puts a page in the place of `page` that reads the file with the limit raised that ended its reading.
void MainWindow::readAgain(FilePage *page)
{
    const std::optional<DocumentOptions> options = page->raisedOptions();
    if (!options) {
        statusBar()->showMessage(tr("No limit ended the reading of this file."));
        return;
    }
    FilePage *const again = makePage(page->document().path(), *options);
    // The items of the new tree are others.
    m_history.change([page, again](Visit &visit) {
        if (visit.page == page)
            visit = {again, {visit.place.range, GrowingTree::root()}};
    });
    again->document().setBytes(page->document().place().range, Move::Step);
    again->filterBar().setText(page->filterBar().text());
    const int tab = m_tabs->indexOf(page);
    m_tabs->insertTab(tab, again, again->title());
    m_tabs->setTabToolTip(tab, again->title());
    m_tabs->setCurrentIndex(tab);
    again->setFocus();
    // The button that was pressed belongs to the page: it goes when the press is over.
    m_tabs->removeTab(tab + 1);
    page->disconnect(this);
    page->document().disconnect(this);
    page->document().stopReading();
    page->deleteLater();
    updateActions();
}

void MainWindow::focusFilter()
{
    if (FilePage *const page = currentPage()) {
        page->filterBar().field()->setFocus(Qt::ShortcutFocusReason);
        page->filterBar().field()->selectAll();
    }
}

void MainWindow::nextMatch()
{
    if (FilePage *const page = currentPage())
        page->filterBar().nextMatch();
}

void MainWindow::previousMatch()
{
    if (FilePage *const page = currentPage())
        page->filterBar().previousMatch();
}

void MainWindow::expandBelow()
{
    if (FilePage *const page = currentPage())
        page->structureView().expandBelow();
}

void MainWindow::raiseLimit()
{
    if (FilePage *const page = currentPage())
        readAgain(page);
}

/// Nothing where the action is none of those that take a value for the structure.
std::optional<bool> MainWindow::performOnStructure(const QString &name, const QString &value, QString *error)
{
    const bool isShown = name == QLatin1String("show-column");
    if (isShown || name == QLatin1String("hide-column")) {
        if (m_columns.setShown(value, isShown))
            return true;
        *error = tr("There is no column \"%1\" to show or hide.").arg(value);
        return false;
    }
    if (name != QLatin1String("filter") || value.isEmpty())
        return std::nullopt;
    FilePage *const page = currentPage();
    if (!page) {
        *error = tr("No file is open.");
        return false;
    }
    if (!ItemConditions::parse(value, error))
        return false;
    page->filterBar().setText(value);
    return true;
}

} // namespace quenlofar
