// Folders in the window: a table of files in a tab.
#include "analysisstate.h"
#include "filepath.h"
#include "folderview.h"
#include "mainwindow.h"
#include "pathdialog.h"

#include <QAction>
#include <QJsonArray>
#include <QMenu>
#include <QPointer>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableView>

namespace quenlofar {

void MainWindow::makeFolderActions(QMenu *file)
{
    addAction(file, "open-folder", tr("Open &folder..."), QKeySequence::fromString(QStringLiteral("Ctrl+Shift+O")),
              &MainWindow::openFolderByDialog);
    m_exportFolder =
        addAction(file, "export-folder", tr("&Export table of files..."), {}, &MainWindow::exportFolderByDialog);
}

FolderView *MainWindow::currentFolder() const
{
    return qobject_cast<FolderView *>(m_tabs->currentWidget());
}

FolderView *MainWindow::makeFolder(const QString &path)
{
    auto *const view = new FolderView(path, m_options);
    connect(view, &FolderView::openWanted, this, [this](const QString &file) { open(file); });
    connect(view, &FolderView::statusChanged, this, &MainWindow::updateActions);
    applyZoom(view);
    return view;
}

FolderView *MainWindow::openFolder(const QString &path)
{
    FolderView *const view = makeFolder(path);
    const int tab = m_tabs->addTab(view, view->title());
    m_tabs->setTabToolTip(tab, view->title());
    m_tabs->setCurrentIndex(tab);
    view->setFocus();
    updateActions();
    return view;
}

/// Puts a table of files in the place of `page`, whose file has turned out to be a folder.
void MainWindow::showFolderInstead(FilePage *page)
{
    const int tab = m_tabs->indexOf(page);
    const bool isCurrent = m_tabs->currentIndex() == tab;
    FolderView *const view = makeFolder(page->document().path());
    m_tabs->insertTab(tab, view, view->title());
    m_tabs->setTabToolTip(tab, view->title());
    if (isCurrent)
        m_tabs->setCurrentIndex(tab);
    m_tabs->removeTab(tab + 1);
    if (isCurrent)
        view->setFocus();
    m_history.remove([page](const Visit &visit) { return visit.page == page; });
    page->disconnect(this);
    page->document().disconnect(this);
    page->deleteLater(); // it is telling what it is
    updateActions();
}

void MainWindow::openFolderByDialog()
{
    askForPath(this, tr("Open folder"), {}, [this](const QString &path) { open(path); });
}

void MainWindow::exportFolderByDialog()
{
    FolderView *const folder = currentFolder();
    if (!folder)
        return;
    askForPath(this, tr("Export table of files"), tr("Tables (*.csv *.tsv)"),
               [this, folder = QPointer<FolderView>(folder)](const QString &path) {
                   QString error;
                   if (folder && !folder->exportTo(path, &error))
                       statusBar()->showMessage(error);
               });
}

/// Nothing where the action is none of those that take a value for a folder.
std::optional<bool> MainWindow::performOnFolder(const QString &name, const QString &value, QString *error)
{
    const bool isFilter = name == QLatin1String("filter-files");
    const bool isVerdict = name == QLatin1String("files-of");
    const bool isSort = name == QLatin1String("sort-files");
    const bool isExport = name == QLatin1String("export-folder") && !value.isEmpty();
    const bool isOpen = name == QLatin1String("open-file");
    if (name == QLatin1String("open-folder") && !value.isEmpty()) {
        openFolder(value);
        return true;
    }
    if (!isFilter && !isVerdict && !isSort && !isExport && !isOpen)
        return std::nullopt;
    FolderView *const folder = currentFolder();
    if (!folder) {
        *error = tr("No folder is shown.");
        return false;
    }
    if (isFilter) {
        folder->setNameFilter(value);
        return true;
    }
    if (isExport)
        return folder->exportTo(value, error);
    if (isVerdict) {
        const bool isKnown = folder->setVerdictFilter(value);
        if (!isKnown)
            *error = tr("The verdicts are damaged, warnings, unknown and conforms, or all.");
        return isKnown;
    }
    if (isSort) {
        const bool isDescending = value.startsWith(QLatin1Char('-'));
        const int column = FolderModel::columnOf(isDescending ? value.mid(1) : value);
        if (column < 0)
            *error = tr("Files have no column \"%1\".").arg(value);
        else
            folder->setSorting(FolderColumn(column), isDescending);
        return column >= 0;
    }
    bool isNumber = false;
    const int row = value.toInt(&isNumber);
    if (!isNumber || row < 0 || row >= folder->model().rowCount()) {
        *error = tr("There is no row %1.").arg(value);
        return false;
    }
    folder->table().setCurrentIndex(folder->model().index(row, 0));
    folder->openCurrent();
    return true;
}

QJsonObject MainWindow::folderState() const
{
    FolderView *const folder = currentFolder();
    if (!folder)
        return {};
    QJsonArray problems;
    for (const QString &problem : folder->scan().problems())
        problems.append(problem);
    const QModelIndex current = folder->table().currentIndex();
    return {{QStringLiteral("folder"), QString::fromUtf8(pathForDisplay(folder->scan().folder()))},
            {QStringLiteral("files"), jsonNumber(folder->scan().files().size())},
            {QStringLiteral("shown"), folder->model().rowCount()},
            {QStringLiteral("current"), current.isValid() ? QJsonValue(current.row()) : QJsonValue()},
            {QStringLiteral("status"), folder->statusText()},
            {QStringLiteral("problems"), problems},
            {QStringLiteral("rows"), QJsonArray::fromStringList(folder->rowsInSight())}};
}

} // namespace quenlofar
