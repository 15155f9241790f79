#pragma once

#include <QObject>

#include <vector>

class QAction;
class QHeaderView;
class QMenu;
class QTreeView;

namespace quenlofar {

/// Which columns of the structure are shown, in all files; kept in the user's settings from run to run.
class ColumnChoice : public QObject
{
    Q_OBJECT

public:
    /// As it was chosen last.
    explicit ColumnChoice(QObject *parent = nullptr);

    /// The columns in a menu, to be switched on and off; the first one is always shown.
    QMenu *makeMenu(QWidget *parent);
    /// From now on `view`, which shows an ElementModel, shows the chosen columns; the menu comes on its header, too.
    void attach(QTreeView *view);
    /// Shows or hides the column that settings call `name`: "value", "meaning", "offset", "size". False where there is
    /// no such column.
    bool setShown(const QString &name, bool isShown);

Q_SIGNALS:
    void changed(int column, bool isShown); ///< a column is shown or not from now on

private:
    std::vector<QAction *> m_actions; // of the columns from the second on
};

} // namespace quenlofar
