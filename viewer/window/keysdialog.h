#pragma once

#include <QDialog>

class QAction;
class QKeySequenceEdit;
class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

namespace quenlofar {

class KeyChoice;

/// Shows the keys of all actions and changes them, at once.
class KeysDialog : public QDialog
{
    Q_OBJECT

public:
    /// For the keys of `choice`, which outlives the dialog.
    explicit KeysDialog(KeyChoice &choice, QWidget *parent = nullptr);

private:
    QAction *current() const;
    void fill();
    void showCurrent();
    void assign();
    void resetCurrent();
    void resetAll();

    KeyChoice &m_choice;
    QTreeWidget *m_list;
    QKeySequenceEdit *m_key;
    QLabel *m_message;
};

} // namespace quenlofar
