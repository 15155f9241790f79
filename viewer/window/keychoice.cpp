#include "keychoice.h"

#include "viewersettings.h"

#include <QAction>

#include <algorithm>

namespace quenlofar {

namespace {

QString settingOf(const QAction *action)
{
    return QStringLiteral("keys/") + action->objectName();
}

/// One of them would be taken for the other, or for its begin.
bool collide(const QKeySequence &one, const QKeySequence &other)
{
    return !one.isEmpty() && !other.isEmpty()
        && (one.matches(other) != QKeySequence::NoMatch || other.matches(one) != QKeySequence::NoMatch);
}

/// Keys that fields and lists take themselves.
bool isForTyping(const QKeySequence &key)
{
    const QStringList reserved{QStringLiteral("Ctrl+A"), QStringLiteral("Ctrl+V"), QStringLiteral("Ctrl+X"),
                               QStringLiteral("Ctrl+Z")};
    const QString first = key.toString(QKeySequence::PortableText).section(QStringLiteral(", "), 0, 0);
    if (reserved.contains(first))
        return true;
    const bool hasModifier = first.contains(QLatin1String("Ctrl+")) || first.contains(QLatin1String("Alt+"))
        || first.contains(QLatin1String("Meta+"));
    QString name = first;
    name.remove(QLatin1String("Shift+"));
    const bool isFunctionKey = name.size() > 1 && name.at(0) == QLatin1Char('F') && name.at(1).isDigit();
    return !hasModifier && !isFunctionKey;
}

} // namespace

KeyChoice::KeyChoice(const QList<QAction *> &actions, QObject *parent) : QObject(parent)
{
    const std::unique_ptr<QSettings> settings = viewerSettings();
    QList<QKeySequence> chosen;
    std::vector<QAction *> unchanged;
    for (QAction *const action : actions) {
        m_entries.push_back({action, action->shortcuts()});
        const QVariant kept = settings->value(settingOf(action));
        if (!kept.isValid()) {
            unchanged.push_back(action);
            continue;
        }
        const QKeySequence key = QKeySequence::fromString(kept.toString(), QKeySequence::PortableText);
        const bool isTaken =
            std::any_of(chosen.begin(), chosen.end(), [&key](const QKeySequence &each) { return collide(each, key); });
        if (isTaken || (!key.isEmpty() && isForTyping(key))) {
            unchanged.push_back(action);
            continue;
        }
        chosen.append(key);
        action->setShortcut(key);
    }
    for (QAction *const action : unchanged) {
        QList<QKeySequence> left = action->shortcuts();
        left.erase(std::remove_if(left.begin(), left.end(),
                                  [&chosen](const QKeySequence &key) {
                                      return std::any_of(
                                          chosen.begin(), chosen.end(),
                                          [&key](const QKeySequence &each) { return collide(each, key); });
                                  }),
                   left.end());
        action->setShortcuts(left);
    }
}

QList<QAction *> KeyChoice::actions() const
{
    QList<QAction *> actions;
    for (const Entry &entry : m_entries)
        actions.append(entry.action);
    return actions;
}

const KeyChoice::Entry *KeyChoice::entryOf(const QAction *action) const
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [action](const Entry &entry) { return entry.action == action; });
    return found == m_entries.end() ? nullptr : &*found;
}

QList<QKeySequence> KeyChoice::defaultKeys(const QAction *action) const
{
    const Entry *const entry = entryOf(action);
    return entry ? entry->keys : QList<QKeySequence>();
}

bool KeyChoice::isFree(const QKeySequence &key, const QAction *action, QString *error) const
{
    for (const Entry &entry : m_entries) {
        if (entry.action == action)
            continue;
        const QList<QKeySequence> keys = entry.action->shortcuts();
        for (const QKeySequence &other : keys) {
            if (!collide(key, other))
                continue;
            QString text = entry.action->text();
            *error = tr("%1 is the key of \"%2\".")
                         .arg(other.toString(QKeySequence::NativeText), text.remove(QLatin1Char('&')));
            return false;
        }
    }
    return true;
}

bool KeyChoice::setKey(QAction *action, const QKeySequence &key, QString *error)
{
    if (!entryOf(action)) {
        *error = tr("This action has no key to choose.");
        return false;
    }
    if (!key.isEmpty() && isForTyping(key)) {
        *error = tr("%1 is needed to type and to move: take one with Ctrl or Alt, or a function key.")
                     .arg(key.toString(QKeySequence::NativeText));
        return false;
    }
    if (!isFree(key, action, error))
        return false;
    action->setShortcut(key);
    viewerSettings()->setValue(settingOf(action), key.toString(QKeySequence::PortableText));
    return true;
}

bool KeyChoice::reset(QAction *action, QString *error)
{
    const QList<QKeySequence> keys = defaultKeys(action);
    for (const QKeySequence &key : keys) {
        if (!isFree(key, action, error))
            return false;
    }
    action->setShortcuts(keys);
    viewerSettings()->remove(settingOf(action));
    return true;
}

void KeyChoice::resetAll()
{
    const std::unique_ptr<QSettings> settings = viewerSettings();
    for (const Entry &entry : m_entries) {
        entry.action->setShortcuts(entry.keys);
        settings->remove(settingOf(entry.action));
    }
}

} // namespace quenlofar
