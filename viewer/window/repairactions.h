#pragma once

#include "documentwork.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

class QAction;
class QKeySequence;
class QMainWindow;
class QMenu;

namespace quenlofar {

class FilePage;

/// What can be done to mend the file of the page in front, as actions of the window.
class RepairActions : public QObject
{
    Q_OBJECT

public:
    /// Opens a file with options of its own in a new page.
    using PageOpener = std::function<void(const QString &path, const DocumentOptions &options)>;

    /// Makes the actions, children of `window`, which outlives the object; `page` says which page is in front, or null.
    RepairActions(QMainWindow &window, std::function<FilePage *()> page, PageOpener open);

    /// The actions in a menu "Repair"; it belongs to the window.
    QMenu *menu() const { return m_menu; }
    void attach(FilePage &page); ///< Does what the buttons of its view ask for.
    /// Does what `name` says that needs a value; nothing where it is none of these, otherwise whether it was done.
    /// Where it was not, `*error` says why.
    std::optional<bool> perform(const QString &name, const QString &value, QString *error);
    void updateActions(); ///< Enables what can be done now.

private:
    void add(const char *name, const QString &text, const char *key, void (RepairActions::*what)(FilePage &));
    void showPlan(FilePage &page);
    void makePlan(FilePage &page);
    void openMended(FilePage &page);
    void writeCopy(FilePage &page);
    void savePlan(FilePage &page);

    QMainWindow &m_window;
    const std::function<FilePage *()> m_page;
    const PageOpener m_open;
    QMenu *m_menu;
    std::vector<QAction *> m_actions;
};

} // namespace quenlofar
