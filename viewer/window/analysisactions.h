#pragma once

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

/// What can be done with packets, plot and findings of the page in front, as actions of the window.
class AnalysisActions : public QObject
{
    Q_OBJECT

public:
    /// Makes the actions, children of `window`, which outlives the object; `page` says which page is in front, or null.
    AnalysisActions(QMainWindow &window, std::function<FilePage *()> page);

    /// The actions in a menu "Analysis"; it belongs to the window.
    QMenu *menu() const { return m_menu; }
    /// Does what `name` says that needs a value; nothing where it is none of these, otherwise whether it was done.
    /// Where it was not, `*error` says why.
    std::optional<bool> perform(const QString &name, const QString &value, QString *error);
    void updateActions(); ///< Enables what can be done now.

private:
    void add(const char *name, const QString &text, const QKeySequence &key, std::function<void(FilePage &)> what);
    void makeActions();
    bool performOn(FilePage &page, const QString &name, const QString &value, QString *error);
    bool setPlot(FilePage &page, const QString &name, const QString &value, QString *error);
    void showPointers(FilePage &page);
    void exportPlot(FilePage &page);

    QMainWindow &m_window;
    const std::function<FilePage *()> m_page;
    QMenu *m_menu;
    std::vector<QAction *> m_actions;
};

} // namespace quenlofar
