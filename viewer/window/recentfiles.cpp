#include "recentfiles.h"

#include "displaytext.h"
#include "viewersettings.h"

#include <QAction>
#include <QMenu>

namespace quenlofar {

namespace {

QString recentKey()
{
    return QStringLiteral("files/recent");
}

} // namespace

RecentFiles::RecentFiles(QObject *parent) : QObject(parent) { }

QMenu *RecentFiles::makeMenu(QWidget *parent)
{
    m_menu = new QMenu(tr("&Recent files"), parent);
    m_menu->setObjectName(QStringLiteral("recentFiles"));
    // Another window may have opened some.
    connect(m_menu, &QMenu::aboutToShow, this, &RecentFiles::fillMenu);
    fillMenu();
    return m_menu;
}

QStringList RecentFiles::paths() const
{
    const QStringList kept = viewerSettings()->value(recentKey()).toStringList().mid(0, most);
    QStringList paths;
    for (const QString &each : kept)
        paths.append(pathOfSetting(each));
    return paths;
}

void RecentFiles::keep(const QStringList &paths)
{
    QStringList kept;
    for (const QString &path : paths)
        kept.append(settingOfPath(path));
    viewerSettings()->setValue(recentKey(), kept);
    fillMenu();
}

void RecentFiles::add(const QString &path)
{
    QStringList all = paths();
    all.removeAll(path);
    all.prepend(path);
    keep(all.mid(0, most));
}

void RecentFiles::remove(const QString &path)
{
    QStringList all = paths();
    if (all.removeAll(path) > 0)
        keep(all);
}

void RecentFiles::clear()
{
    keep({});
}

void RecentFiles::fillMenu()
{
    if (!m_menu)
        return;
    m_menu->clear();
    const QStringList all = paths();
    for (const QString &path : all) {
        QString shown = displayText(QString::fromUtf8(pathForDisplay(path)));
        QAction *const action = m_menu->addAction(shown.replace(QLatin1Char('&'), QLatin1String("&&")));
        connect(action, &QAction::triggered, this, [this, path] { Q_EMIT chosen(path); });
    }
    m_menu->addSeparator();
    QAction *const forget = m_menu->addAction(tr("&Forget these files"));
    forget->setEnabled(!all.isEmpty());
    connect(forget, &QAction::triggered, this, &RecentFiles::clear);
}

} // namespace quenlofar
