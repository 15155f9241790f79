// Commands as such: all of them in a palette, and their keys.
#include "commandpalette.h"
#include "keychoice.h"
#include "keysdialog.h"
#include "mainwindow.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

namespace quenlofar {

/// Once all other actions are made.
void MainWindow::makeCommandActions(QMenu *edit)
{
    edit->addSeparator();
    addAction(edit, "commands", tr("All co&mmands..."), QKeySequence::fromString(QStringLiteral("Ctrl+Shift+P")),
              &MainWindow::showCommands);
    addAction(edit, "keys", tr("&Keys..."), {}, &MainWindow::showKeys);
    QList<QAction *> actions;
    const QList<QAction *> all = findChildren<QAction *>(QString(), Qt::FindDirectChildrenOnly);
    for (QAction *const action : all) {
        if (!action->objectName().isEmpty())
            actions.append(action);
    }
    m_keys = new KeyChoice(actions, this);
}

void MainWindow::showCommands()
{
    auto *const palette = new CommandPalette(paletteEntries(*menuBar()), this);
    palette->setAttribute(Qt::WA_DeleteOnClose);
    palette->open();
}

void MainWindow::showKeys()
{
    auto *const dialog = new KeysDialog(*m_keys, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

} // namespace quenlofar
