#pragma once

#include <QObject>
#include <QStringList>

class QMenu;

namespace quenlofar {

/// The files and folders that were opened last, kept in the user's settings; several windows share them.
class RecentFiles : public QObject
{
    Q_OBJECT

public:
    static constexpr int most = 12; ///< that are kept

    explicit RecentFiles(QObject *parent = nullptr);

    QMenu *makeMenu(QWidget *parent); ///< to choose one of them; once
    QStringList paths() const; ///< the latest first, see pathFromBytes
    void add(const QString &path); ///< puts it before the others; an absolute path
    void remove(const QString &path); ///< forgets it
    void clear(); ///< forgets all

Q_SIGNALS:
    void chosen(const QString &path); ///< one of the menu

private:
    void keep(const QStringList &paths);
    void fillMenu();

    QMenu *m_menu = nullptr;
};

} // namespace quenlofar
