#pragma once

#include <QKeySequence>
#include <QList>
#include <QObject>
#include <QString>

#include <vector>

class QAction;

namespace quenlofar {

/// The keys of a window's actions: those that they are made with, and those that people have chosen instead, which are
/// kept in the user's settings. No two actions have one key.
class KeyChoice : public QObject
{
    Q_OBJECT

public:
    /// Of `actions`, by their object names, which the settings know them by; they outlive the object. Chosen keys are
    /// set at once. An action whose own key was chosen for another one has none.
    explicit KeyChoice(const QList<QAction *> &actions, QObject *parent = nullptr);

    QList<QAction *> actions() const; ///< in the order in which they were given
    QList<QKeySequence> defaultKeys(const QAction *action) const; ///< that it was made with
    /// Gives an action the key alone; an empty one: none. False, and `*error` says why, where another action has the
    /// key, or one that begins so, or where it is needed to type and to move.
    bool setKey(QAction *action, const QKeySequence &key, QString *error);
    /// Gives an action back the keys that it was made with; false, and `*error` says why, where another one has them.
    bool reset(QAction *action, QString *error);
    void resetAll(); ///< all of them

private:
    struct Entry
    {
        QAction *action;
        QList<QKeySequence> keys; // that it was made with
    };

    const Entry *entryOf(const QAction *action) const;
    bool isFree(const QKeySequence &key, const QAction *action, QString *error) const;

    std::vector<Entry> m_entries;
};

} // namespace quenlofar
