// What the window remembers from run to run: files that were opened, and what it looked like.
#include "displaytext.h"
#include "folderview.h"
#include "mainwindow.h"
#include "recentfiles.h"
#include "session.h"

#include <QAction>
#include <QCloseEvent>
#include <QDir>
#include <QMenu>
#include <QSplitter>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>

#include <algorithm>

namespace quenlofar {

void MainWindow::makeSessionActions(QMenu *file)
{
    m_recent = new RecentFiles(this);
    file->addMenu(m_recent->makeMenu(this));
    connect(m_recent, &RecentFiles::chosen, this, [this](const QString &path) { open(path); });
    auto *const keep = new QAction(tr("&Keep the session"), this);
    keep->setObjectName(QStringLiteral("keep-session"));
    keep->setCheckable(true);
    keep->setChecked(Session::isKept());
    connect(keep, &QAction::toggled, this, [](bool isKept) { Session::setKept(isKept); });
    file->addAction(keep);
}

/// The latest files get this one; where it cannot be opened it is taken out again.
void MainWindow::rememberFile(FilePage *page)
{
    if (!m_isRemembering)
        return;
    const QString path = QDir::current().absoluteFilePath(page->document().path());
    m_recent->add(path);
    connect(&page->document(), &Document::opened, this, [this, page, path] {
        if (page->document().openError().isNull() || page->document().isFolder())
            return;
        m_recent->remove(path);
        statusBar()->showMessage(tr("%1 cannot be opened and was taken out of the recent files.").arg(page->title()));
    });
}

void MainWindow::restoreSession()
{
    m_isKeepingSession = true;
    // A program that is ended from outside has its tabs the next time, too.
    constexpr int quiet = 1000; // milliseconds, so that files opened together are written down once
    auto *const later = new QTimer(this);
    later->setSingleShot(true);
    later->setInterval(quiet);
    connect(m_tabs, &QTabWidget::currentChanged, later, [later] { later->start(); });
    connect(later, &QTimer::timeout, this, [this] {
        if (Session::isKept())
            saveSession();
    });
    if (!Session::isKept())
        return;
    const Session session = Session::load();
    restoreGeometry(session.geometry);
    restoreState(session.bars);
    HexStyle style = m_style;
    style.offsetsInHex = session.offsetsInHex;
    style.text = session.isUtf8 ? HexStyle::Text::Utf8 : HexStyle::Text::Latin1;
    if (session.columns >= HexLayout::fewestColumns && session.columns <= HexLayout::mostColumns)
        style.columns = session.columns;
    setStyleOfPages(style);
    for (const SessionTab &tab : session.tabs) {
        FilePage *const page = open(tab.path);
        if (tab.analysis >= 0 && tab.analysis < page->analysis().count())
            page->analysis().setCurrentIndex(tab.analysis);
        const QList<QSplitter *> splitters = page->findChildren<QSplitter *>();
        for (QSplitter *const splitter : splitters) {
            if (session.splitters.contains(splitter->objectName()))
                splitter->restoreState(session.splitters[splitter->objectName()]);
        }
        connect(&page->document(), &Document::opened, page, [page, place = tab.place] {
            const quint64 size = page->document().size();
            // The file may be another one by now.
            if (place.offset < size)
                page->document().setBytes({place.offset, std::min(place.size, size - place.offset)}, Move::Step);
        });
    }
    if (session.current >= 0 && session.current < m_tabs->count())
        m_tabs->setCurrentIndex(session.current);
}

void MainWindow::saveSession() const
{
    Session session;
    session.geometry = saveGeometry();
    session.bars = saveState();
    session.columns = m_style.columns;
    session.offsetsInHex = m_style.offsetsInHex;
    session.isUtf8 = m_style.text == HexStyle::Text::Utf8;
    session.current = m_tabs->currentIndex();
    const QDir here = QDir::current();
    for (int i = 0; i < m_tabs->count(); ++i) {
        SessionTab tab;
        if (const auto *const folder = qobject_cast<FolderView *>(m_tabs->widget(i))) {
            tab.path = folder->scan().folder();
        } else if (auto *const page = qobject_cast<FilePage *>(m_tabs->widget(i))) {
            tab.path = page->document().path();
            tab.place = page->document().place().range;
            tab.analysis = page->analysis().currentIndex();
            const QList<QSplitter *> splitters = page->findChildren<QSplitter *>();
            for (const QSplitter *const splitter : splitters) {
                if (page == currentPage() || !session.splitters.contains(splitter->objectName()))
                    session.splitters[splitter->objectName()] = splitter->saveState();
            }
        }
        tab.path = here.absoluteFilePath(tab.path);
        session.tabs.push_back(tab);
    }
    session.save();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (m_isKeepingSession && Session::isKept())
        saveSession();
    QMainWindow::closeEvent(event);
}

} // namespace quenlofar
