#include "mainwindow.h"

#include "analysisactions.h"
#include "filepath.h"
#include "folderview.h"
#include "gotofield.h"
#include "offsetargument.h"
#include "placetext.h"
#include "repairactions.h"

#include <QAction>
#include <QApplication>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QMouseEvent>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QToolBar>
#include <QUrl>

#include <algorithm>

namespace quenlofar {

namespace {

QKeySequence keys(const char *text)
{
    return QKeySequence::fromString(QString::fromLatin1(text));
}

} // namespace

MainWindow::MainWindow(const DocumentOptions &options)
    : m_options(options), m_tabs(new QTabWidget(this)), m_goTo(new GoToField(
                                                            [this]() -> const Document * {
                                                                FilePage *const page = currentPage();
                                                                return page ? &page->document() : nullptr;
                                                            },
                                                            this)),
      m_status(new QLabel(this))
{
    setWindowTitle(tr("Quenlofar"));
    setAcceptDrops(true);
    m_tabs->setObjectName(QStringLiteral("files"));
    m_tabs->setAccessibleName(tr("Open files"));
    m_tabs->tabBar()->setAccessibleName(tr("Open files"));
    m_tabs->setTabsClosable(true);
    m_tabs->setDocumentMode(true);
    m_status->setTextFormat(Qt::PlainText);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long path makes no window wider
    statusBar()->addWidget(m_status, 1);
    setCentralWidget(m_tabs);
    makeMenus();
    connect(m_goTo, &QLineEdit::returnPressed, this, &MainWindow::goToTyped);
    connect(m_tabs, &QTabWidget::tabCloseRequested, this, &MainWindow::closePage);
    connect(m_tabs, &QTabWidget::currentChanged, this, [this] {
        showStatus();
        updateActions();
    });
    qApp->installEventFilter(this);
    updateActions();
    constexpr QSize firstSize(1280, 720);
    resize(firstSize);
}

MainWindow::~MainWindow()
{
    // Pages tell the window of their places; it is not a whole one any more.
    while (m_tabs->count() > 0)
        closePage(0);
}

QAction *MainWindow::addAction(QMenu *menu, const char *name, const QString &text, const QKeySequence &key,
                               void (MainWindow::*slot)())
{
    auto *const action = new QAction(text, this);
    action->setObjectName(QString::fromLatin1(name));
    action->setShortcut(key);
    connect(action, &QAction::triggered, this, slot);
    menu->addAction(action);
    return action;
}

void MainWindow::makeMenus()
{
    menuBar()->setAccessibleName(tr("Menus"));
    QMenu *const file = menuBar()->addMenu(tr("&File"));
    addAction(file, "open", tr("&Open..."), QKeySequence::Open, &MainWindow::openByDialog);
    makeFolderActions(file);
    makeSessionActions(file);
    m_close = addAction(file, "close", tr("&Close"), QKeySequence::Close, &MainWindow::closeCurrent);
    m_stop = addAction(file, "stop", tr("&Stop reading"), keys("Ctrl+."), &MainWindow::stopReading);
    auto *const quit = new QAction(tr("&Quit"), this);
    quit->setObjectName(QStringLiteral("quit"));
    quit->setShortcut(keys("Ctrl+Q"));
    connect(quit, &QAction::triggered, this, &QWidget::close);
    file->addAction(quit);

    makeCopyActions();
    QMenu *const go = menuBar()->addMenu(tr("&Go"));
    addAction(go, "goto", tr("&Go to..."), keys("Ctrl+G"), &MainWindow::focusGoTo);
    m_back = addAction(go, "back", tr("&Back"), keys("Alt+Left"), &MainWindow::goBack);
    m_forward = addAction(go, "forward", tr("&Forward"), keys("Alt+Right"), &MainWindow::goForward);
    addAction(go, "next-view", tr("&Next view"), QKeySequence(Qt::Key_F6), &MainWindow::nextView);
    addAction(go, "previous-view", tr("&Previous view"), keys("Shift+F6"), &MainWindow::previousView);

    QMenu *const view = menuBar()->addMenu(tr("&View"));
    addAction(view, "offsets", tr("&Offsets hexadecimal or decimal"), keys("Ctrl+H"), &MainWindow::toggleOffsets);
    addAction(view, "text", tr("&Text as Latin-1 or UTF-8"), keys("Ctrl+U"), &MainWindow::toggleText);
    addAction(view, "more-columns", tr("&More columns of bytes"), keys("Ctrl+]"), &MainWindow::moreColumns);
    addAction(view, "fewer-columns", tr("&Fewer columns of bytes"), keys("Ctrl+["), &MainWindow::fewerColumns);
    makeFindActions(go);
    makeStructureActions(go, view);
    makeSummaryActions(view);
    makeZoomActions(view);

    m_analysisActions = new AnalysisActions(*this, [this] { return currentPage(); });
    menuBar()->addMenu(m_analysisActions->menu());
    m_repairActions = new RepairActions(
        *this, [this] { return currentPage(); },
        [this](const QString &path, const DocumentOptions &options) { addPage(makePage(path, options)); });
    menuBar()->addMenu(m_repairActions->menu());
    makeBookmarkActions();
    makeCommandActions(m_editMenu);

    QToolBar *const bar = addToolBar(tr("Go"));
    bar->setObjectName(QStringLiteral("goBar"));
    bar->setMovable(false);
    bar->addAction(m_back);
    bar->addAction(m_forward);
    bar->addWidget(m_goTo);
}

FilePage *MainWindow::makePage(const QString &path, const DocumentOptions &options)
{
    auto *const page = new FilePage(path, options);
    page->hexView().setHexStyle(m_style);
    page->structureView().elements().setOffsetsInHex(m_style.offsetsInHex);
    page->analysis().setOffsetsInHex(m_style.offsetsInHex);
    page->bookmarksView().model().setOffsetsInHex(m_style.offsetsInHex);
    connect(&page->document(), &Document::placeChanged, this, [this, page](Move move) { placeChanged(page, move); });
    connect(page, &FilePage::statusChanged, this, &MainWindow::showStatus);
    connect(&page->document(), &Document::becameIdle, this, &MainWindow::updateActions);
    connect(&page->document(), &Document::levelChanged, this, &MainWindow::updateActions);
    attachStructure(page);
    attachCopying(page);
    m_repairActions->attach(*page);
    connect(&page->repairJob(), &RepairJob::planChanged, this, &MainWindow::updateActions);
    connect(&page->repairJob(), &RepairJob::messageChanged, this, &MainWindow::updateActions);
    connect(&page->document(), &Document::opened, this, [this, page] {
        if (page->document().isFolder())
            showFolderInstead(page);
    });
    applyZoom(page);
    return page;
}

void MainWindow::addPage(FilePage *page)
{
    const int tab = m_tabs->addTab(page, page->title());
    m_tabs->setTabToolTip(tab, page->title());
    m_tabs->setCurrentIndex(tab);
    page->setFocus();
    updateActions();
}

FilePage *MainWindow::open(const QString &path, const QString &place)
{
    FilePage *const page = makePage(path, m_options);
    rememberFile(page);
    if (!place.isEmpty()) {
        connect(&page->document(), &Document::opened, this, [this, page, place] {
            QString error;
            const std::optional<PlaceText> parsed = PlaceText::parse(place, &error);
            if (!parsed || !goTo(page->document(), *parsed, &error))
                statusBar()->showMessage(error);
        });
    }
    addPage(page);
    return page;
}

FilePage *MainWindow::currentPage() const
{
    return qobject_cast<FilePage *>(m_tabs->currentWidget());
}

bool MainWindow::isIdle() const
{
    for (int tab = 0; tab < m_tabs->count(); ++tab) {
        auto *const page = qobject_cast<FilePage *>(m_tabs->widget(tab));
        const auto *const folder = qobject_cast<FolderView *>(m_tabs->widget(tab));
        if ((page && !page->isIdle()) || (folder && !folder->isIdle()))
            return false;
    }
    return true;
}

void MainWindow::openByDialog()
{
    const QStringList paths = QFileDialog::getOpenFileNames(this, tr("Open files"));
    for (const QString &path : paths)
        open(path);
}

void MainWindow::closeCurrent()
{
    if (m_tabs->currentIndex() >= 0)
        closePage(m_tabs->currentIndex());
}

void MainWindow::closePage(int tab)
{
    QWidget *const page = m_tabs->widget(tab);
    m_tabs->removeTab(tab);
    page->disconnect(this);
    delete page;
    m_history.remove([](const Visit &visit) { return visit.page.isNull(); });
    updateActions();
}

void MainWindow::focusGoTo()
{
    m_goTo->setFocus(Qt::ShortcutFocusReason);
    m_goTo->selectAll();
}

void MainWindow::goToTyped()
{
    QString error;
    if (perform(QStringLiteral("goto"), m_goTo->text(), &error))
        currentPage()->hexView().setFocus();
    else
        statusBar()->showMessage(error);
}

void MainWindow::goBack()
{
    if (m_history.canGoBack())
        showVisit(m_history.back());
}

void MainWindow::goForward()
{
    if (m_history.canGoForward())
        showVisit(m_history.forward());
}

void MainWindow::showVisit(const Visit &visit)
{
    m_isTravelling = true;
    m_tabs->setCurrentWidget(visit.page);
    if (visit.place.item == GrowingTree::root())
        visit.page->document().setBytes(visit.place.range, Move::Jump);
    else
        visit.page->document().setPlace(visit.place, Move::Jump);
    m_isTravelling = false;
    updateActions();
}

void MainWindow::placeChanged(FilePage *page, Move move)
{
    if (!m_isTravelling)
        m_history.visit({page, page->document().place()}, move);
    statusBar()->clearMessage();
    updateActions();
}

void MainWindow::nextView()
{
    turnFocus(1);
}

void MainWindow::previousView()
{
    turnFocus(-1);
}

void MainWindow::turnFocus(int step)
{
    FilePage *const page = currentPage();
    FolderView *const folder = currentFolder();
    if (!page && !folder)
        return;
    std::vector<QWidget *> views = page ? page->views() : folder->views();
    if (page)
        views.push_back(m_goTo);
    const auto current = std::find_if(views.begin(), views.end(), [](QWidget *view) { return view->hasFocus(); });
    const int count = int(views.size());
    const int place = current == views.end() ? (step > 0 ? count - 1 : 0) : int(current - views.begin());
    views[size_t((place + step + count) % count)]->setFocus(Qt::ShortcutFocusReason);
}

void MainWindow::stopReading()
{
    if (FilePage *const page = currentPage()) {
        page->copyJob().cancel();
        page->repairJob().cancel();
        page->document().stopReading();
    }
    if (FolderView *const folder = currentFolder())
        folder->stop();
}

void MainWindow::setStyleOfPages(const HexStyle &style)
{
    m_style = style;
    for (int tab = 0; tab < m_tabs->count(); ++tab) {
        if (auto *const page = qobject_cast<FilePage *>(m_tabs->widget(tab))) {
            page->hexView().setHexStyle(style);
            page->structureView().elements().setOffsetsInHex(style.offsetsInHex);
            page->analysis().setOffsetsInHex(style.offsetsInHex);
            page->bookmarksView().model().setOffsetsInHex(style.offsetsInHex);
        }
    }
    showStatus();
}

void MainWindow::toggleOffsets()
{
    HexStyle style = m_style;
    style.offsetsInHex = !style.offsetsInHex;
    setStyleOfPages(style);
}

void MainWindow::toggleText()
{
    HexStyle style = m_style;
    style.text = style.text == HexStyle::Text::Latin1 ? HexStyle::Text::Utf8 : HexStyle::Text::Latin1;
    setStyleOfPages(style);
}

void MainWindow::moreColumns()
{
    HexStyle style = m_style;
    style.columns = std::min(style.columns + HexLayout::fewestColumns, HexLayout::mostColumns);
    setStyleOfPages(style);
}

void MainWindow::fewerColumns()
{
    HexStyle style = m_style;
    style.columns = std::max(style.columns - HexLayout::fewestColumns, HexLayout::fewestColumns);
    setStyleOfPages(style);
}

bool MainWindow::perform(const QString &name, const QString &value, QString *error)
{
    FilePage *const page = currentPage();
    const bool isGoTo = name == QLatin1String("goto");
    const bool isSelect = name == QLatin1String("select");
    const bool isColumns = name == QLatin1String("columns");
    if ((isGoTo || isSelect) && !page) {
        *error = tr("No file is open.");
        return false;
    }
    if (isGoTo && !value.isEmpty()) {
        const std::optional<PlaceText> place = PlaceText::parse(value, error);
        return place && goTo(page->document(), *place, error);
    }
    if (isSelect) {
        const std::optional<FileRange> range = FileRange::parse(value);
        const std::optional<quint64> begin =
            range ? range->begin.in(page->document().size()) : std::optional<quint64>();
        if (!begin) {
            *error = tr("\"%1\" is no OFFSET+LENGTH in the file.").arg(value);
            return false;
        }
        page->document().setBytes({*begin, range->size}, Move::Jump);
        return true;
    }
    if (isColumns) {
        HexStyle style = m_style;
        style.columns = value.toInt();
        if (style.columns < HexLayout::fewestColumns || style.columns > HexLayout::mostColumns) {
            *error = tr("There are %1 to %2 columns.").arg(HexLayout::fewestColumns).arg(HexLayout::mostColumns);
            return false;
        }
        setStyleOfPages(style);
        return true;
    }
    if (const std::optional<bool> isDone = m_analysisActions->perform(name, value, error))
        return *isDone;
    if (const std::optional<bool> isDone = m_repairActions->perform(name, value, error))
        return *isDone;
    if (const std::optional<bool> isDone = performOnStructure(name, value, error))
        return *isDone;
    if (const std::optional<bool> isDone = performCopy(name, value, error))
        return *isDone;
    if (const std::optional<bool> isDone = performOnFolder(name, value, error))
        return *isDone;
    if (const std::optional<bool> isDone = performOnBookmarks(name, value, error))
        return *isDone;
    if (const std::optional<bool> isDone = performZoom(name, value, error))
        return *isDone;
    if (const std::optional<bool> isDone = performFind(name, value, error))
        return *isDone;
    if (name == QLatin1String("open")) {
        if (value.isEmpty())
            *error = tr("The action \"open\" needs a file.");
        else
            open(value);
        return !value.isEmpty();
    }
    auto *const action = findChild<QAction *>(name, Qt::FindDirectChildrenOnly);
    if (!action || name.isEmpty()) {
        *error = tr("There is no action \"%1\".").arg(name);
        return false;
    }
    if (!value.isEmpty()) {
        *error = tr("The action \"%1\" takes no value.").arg(name);
        return false;
    }
    action->trigger();
    return true;
}

QJsonObject MainWindow::state() const
{
    QJsonObject state;
    if (FilePage *const page = currentPage())
        state = page->state();
    if (currentFolder())
        state[QStringLiteral("folder")] = folderState();
    const QWidget *const focus = focusWidget();
    state[QStringLiteral("tabs")] = m_tabs->count();
    state[QStringLiteral("tab")] = m_tabs->currentIndex();
    state[QStringLiteral("focus")] = focus ? focus->objectName() : QString();
    state[QStringLiteral("canGoBack")] = m_history.canGoBack();
    state[QStringLiteral("canGoForward")] = m_history.canGoForward();
    state[QStringLiteral("status")] = m_status->text();
    return state;
}

void MainWindow::showStatus()
{
    FilePage *const page = currentPage();
    m_status->setText(page ? page->statusText() : QString());
}

void MainWindow::updateActions()
{
    FilePage *const page = currentPage();
    m_back->setEnabled(m_history.canGoBack());
    m_forward->setEnabled(m_history.canGoForward());
    m_close->setEnabled(m_tabs->count() > 0);
    FolderView *const folder = currentFolder();
    m_exportFolder->setEnabled(folder);
    m_goTo->setEnabled(page);
    m_analysisActions->updateActions();
    m_repairActions->updateActions();
    for (QAction *const action : m_pageActions)
        action->setEnabled(page);
    m_stop->setEnabled((page && (!page->document().isIdle() || page->copyJob().isRunning()))
                       || (folder && !folder->scan().isDone()));
    showStatus();
}

bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonPress) {
        const auto *const widget = qobject_cast<QWidget *>(watched);
        const Qt::MouseButton button = static_cast<QMouseEvent *>(event)->button();
        if (widget && widget->window() == this && (button == Qt::BackButton || button == Qt::ForwardButton)) {
            button == Qt::BackButton ? goBack() : goForward();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent *event)
{
    const QList<QUrl> urls = event->mimeData()->urls();
    for (const QUrl &url : urls) {
        if (url.isLocalFile())
            open(pathFromBytes(QFile::encodeName(url.toLocalFile())));
    }
}

} // namespace quenlofar
