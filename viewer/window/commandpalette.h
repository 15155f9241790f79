#pragma once

#include <QDialog>
#include <QPointer>
#include <QString>

#include <optional>
#include <vector>

class QAction;
class QLineEdit;
class QMenuBar;
class QTreeWidget;

namespace quenlofar {

/// A command of a menu.
struct PaletteEntry
{
    QPointer<QAction> action; ///< that does it; null once it has gone
    QString text; ///< the menu and the action, without marks of keys: "File: Open..."
};

/// What can be chosen in the menus of `bar`, and in those below them, in their order.
std::vector<PaletteEntry> paletteEntries(const QMenuBar &bar);
/// How well `text` fits what is typed, in upper or lower case: 0 where a word begins so, 1 where it is a part, 2 where
/// the characters are there in this order; nothing where they are not. What is typed may have blanks.
std::optional<int> paletteRank(const QString &text, const QString &typed);

/// All commands in a list, with their keys. Typing shows those that fit, Return does the current one.
class CommandPalette : public QDialog
{
    Q_OBJECT

public:
    explicit CommandPalette(std::vector<PaletteEntry> entries, QWidget *parent = nullptr);

    QStringList shown() const; ///< the texts of the rows

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void filter(const QString &typed);
    void runCurrent();
    void tellCurrent();

    const std::vector<PaletteEntry> m_entries;
    QLineEdit *m_field;
    QTreeWidget *m_list;
};

} // namespace quenlofar
