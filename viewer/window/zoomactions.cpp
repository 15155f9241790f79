// How large the texts of the views are.
#include "folderview.h"
#include "mainwindow.h"
#include "viewersettings.h"

#include <QAction>
#include <QApplication>
#include <QFontDatabase>
#include <QFontInfo>
#include <QHeaderView>
#include <QMenu>
#include <QTabWidget>
#include <QTableView>

#include <algorithm>

namespace quenlofar {

namespace {

constexpr int normalZoom = 100; // percent
constexpr int leastZoom = 50;
constexpr int mostZoom = 400;
constexpr int zoomStep = 10;

QString zoomKey()
{
    return QStringLiteral("window/zoom");
}

QFont scaled(QFont font, int percent)
{
    font.setPointSizeF(std::max(1.0, QFontInfo(font).pointSizeF() * percent / normalZoom));
    return font;
}

} // namespace

void MainWindow::makeZoomActions(QMenu *view)
{
    const auto keys = [](const char *text) { return QKeySequence::fromString(QString::fromLatin1(text)); };
    QAction *const in = addAction(view, "zoom-in", tr("&Larger texts"), {}, &MainWindow::zoomIn);
    in->setShortcuts({keys("Ctrl++"), keys("Ctrl+=")}); // the plus is above the equals sign on many keyboards
    addAction(view, "zoom-out", tr("&Smaller texts"), keys("Ctrl+-"), &MainWindow::zoomOut);
    addAction(view, "zoom-normal", tr("Texts of &normal size"), keys("Ctrl+0"), &MainWindow::zoomNormal);
    m_zoom = std::clamp(viewerSettings()->value(zoomKey(), normalZoom).toInt(), leastZoom, mostZoom);
}

/// The texts of a tab in the size that was chosen.
void MainWindow::applyZoom(QWidget *tab)
{
    // A font that says nothing follows that of the system.
    const bool isNormal = m_zoom == normalZoom;
    tab->setFont(isNormal ? QFont() : scaled(QApplication::font(), m_zoom));
    if (auto *const page = qobject_cast<FilePage *>(tab))
        page->hexView().setFont(scaled(QFontDatabase::systemFont(QFontDatabase::FixedFont), m_zoom));
    constexpr int aroundText = 4; // pixels
    const QList<QTableView *> tables = tab->findChildren<QTableView *>();
    for (QTableView *const table : tables) {
        QHeaderView *const rows = table->verticalHeader();
        if (!isNormal || rows->sectionResizeMode(0) == QHeaderView::Fixed)
            rows->setDefaultSectionSize(table->fontMetrics().height() + aroundText);
        else
            rows->resetDefaultSectionSize();
    }
}

bool MainWindow::setZoom(int percent)
{
    if (percent < leastZoom || percent > mostZoom)
        return false;
    m_zoom = percent;
    viewerSettings()->setValue(zoomKey(), percent);
    for (int tab = 0; tab < m_tabs->count(); ++tab)
        applyZoom(m_tabs->widget(tab));
    return true;
}

void MainWindow::zoomIn()
{
    setZoom(std::min(m_zoom + zoomStep, mostZoom));
}

void MainWindow::zoomOut()
{
    setZoom(std::max(m_zoom - zoomStep, leastZoom));
}

void MainWindow::zoomNormal()
{
    setZoom(normalZoom);
}

/// "zoom=PERCENT"; nothing where the action is another one.
std::optional<bool> MainWindow::performZoom(const QString &name, const QString &value, QString *error)
{
    if (name != QLatin1String("zoom"))
        return std::nullopt;
    if (setZoom(value.toInt()))
        return true;
    *error = tr("Texts have %1 to %2 percent of their normal size.").arg(leastZoom).arg(mostZoom);
    return false;
}

} // namespace quenlofar
