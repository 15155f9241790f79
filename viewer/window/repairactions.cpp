#include "repairactions.h"

#include "filepage.h"
#include "filepath.h"

#include <QAction>
#include <QFile>
#include <QFileDialog>
#include <QMainWindow>
#include <QMenu>
#include <QStatusBar>

#include <algorithm>

namespace quenlofar {

RepairActions::RepairActions(QMainWindow &window, std::function<FilePage *()> page, PageOpener open)
    : QObject(&window), m_window(window), m_page(std::move(page)), m_open(std::move(open)),
      m_menu(new QMenu(tr("&Repair"), &window))
{
    add("show-repair", tr("&Show the plan"), "Alt+7", &RepairActions::showPlan);
    add("plan-repair", tr("&Make a plan"), "Ctrl+R", &RepairActions::makePlan);
    add("open-mended", tr("&Look at the mended file"), "Ctrl+Alt+R", &RepairActions::openMended);
    add("write-copy", tr("&Write a copy..."), "Ctrl+Alt+W", &RepairActions::writeCopy);
    add("save-plan", tr("S&ave the plan..."), "Ctrl+Alt+P", &RepairActions::savePlan);
}

void RepairActions::add(const char *name, const QString &text, const char *key, void (RepairActions::*what)(FilePage &))
{
    auto *const action = new QAction(text, &m_window);
    action->setObjectName(QString::fromLatin1(name));
    action->setShortcut(QKeySequence::fromString(QString::fromLatin1(key)));
    connect(action, &QAction::triggered, this, [this, what] {
        if (FilePage *const page = m_page())
            (this->*what)(*page);
    });
    m_menu->addAction(action);
    m_actions.push_back(action);
}

void RepairActions::attach(FilePage &page)
{
    RepairView &view = page.analysis().repairView();
    connect(&view, &RepairView::mendedWanted, this, [this, &page] { openMended(page); });
    connect(&view, &RepairView::copyWanted, this, [this, &page] { writeCopy(page); });
    connect(&view, &RepairView::savingWanted, this, [this, &page] { savePlan(page); });
}

void RepairActions::updateActions()
{
    for (QAction *const action : m_actions)
        action->setEnabled(m_page() != nullptr);
}

void RepairActions::showPlan(FilePage &page)
{
    page.analysis().setCurrentIndex(AnalysisTabs::RepairTab);
    page.analysis().focusView()->setFocus(Qt::ShortcutFocusReason);
}

void RepairActions::makePlan(FilePage &page)
{
    showPlan(page);
    page.repairJob().plan(page.repairJob().except());
}

void RepairActions::openMended(FilePage &page)
{
    const std::optional<DocumentOptions> options = page.repairJob().mendedOptions();
    if (options)
        m_open(page.document().path(), *options);
    else
        m_window.statusBar()->showMessage(tr("There is no plan that mends anything."));
}

void RepairActions::writeCopy(FilePage &page)
{
    // Asked by the dialog: whoever chooses a file that exists is asked there.
    const QString target = QFileDialog::getSaveFileName(&m_window, tr("Write a mended copy"));
    if (!target.isEmpty())
        page.repairJob().write(pathFromBytes(QFile::encodeName(target)), QFile::exists(target));
}

void RepairActions::savePlan(FilePage &page)
{
    const QString target = QFileDialog::getSaveFileName(&m_window, tr("Save the plan"), QString(), tr("Plans (*.json)"),
                                                        nullptr, QFileDialog::DontConfirmOverwrite);
    if (!target.isEmpty())
        page.repairJob().savePlan(pathFromBytes(QFile::encodeName(target)));
}

/// "write-copy=FILE", "save-plan=FILE" and "leave-out=STEP", from 1.
std::optional<bool> RepairActions::perform(const QString &name, const QString &value, QString *error)
{
    const bool isCopy = name == QLatin1String("write-copy");
    const bool isPlan = name == QLatin1String("save-plan");
    if (value.isEmpty() || !(isCopy || isPlan || name == QLatin1String("leave-out")))
        return std::nullopt;
    FilePage *const page = m_page();
    if (!page) {
        *error = tr("No file is open.");
        return false;
    }
    const std::shared_ptr<const PlannedRepair> &planned = page->repairJob().planned();
    if (!planned) {
        *error = tr("There is no plan yet.");
        return false;
    }
    if (isCopy) {
        page->repairJob().write(value, false);
    } else if (isPlan) {
        page->repairJob().savePlan(value);
    } else {
        const int step = value.toInt();
        if (step < 1 || size_t(step) > planned->plan.recipe.steps().size()) {
            *error = tr("There is no step %1.").arg(value);
            return false;
        }
        page->analysis().repairView().leaveOut(step - 1);
    }
    return true;
}

} // namespace quenlofar
