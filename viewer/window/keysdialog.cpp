#include "keysdialog.h"

#include "keychoice.h"

#include <QAction>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace quenlofar {

KeysDialog::KeysDialog(KeyChoice &choice, QWidget *parent)
    : QDialog(parent), m_choice(choice), m_list(new QTreeWidget(this)), m_key(new QKeySequenceEdit(this)),
      m_message(new QLabel(this))
{
    setObjectName(QStringLiteral("keysDialog"));
    setWindowTitle(tr("Keys"));
    m_list->setObjectName(QStringLiteral("keysList"));
    m_list->setAccessibleName(tr("Commands and their keys"));
    m_list->header()->setAccessibleName(tr("Columns of commands"));
    m_list->verticalScrollBar()->setAccessibleName(tr("Rows of commands"));
    m_list->horizontalScrollBar()->setAccessibleName(tr("Columns of commands"));
    m_list->setHeaderLabels({tr("Command"), tr("Key"), tr("Changed")});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setAllColumnsShowFocus(true);
    m_key->setObjectName(QStringLiteral("keyField"));
    m_key->setAccessibleName(tr("New key"));
    if (auto *const field = m_key->findChild<QLineEdit *>())
        field->setAccessibleName(m_key->accessibleName());
    m_message->setObjectName(QStringLiteral("keysMessage"));
    m_message->setTextFormat(Qt::PlainText);
    m_message->setWordWrap(true);
    auto *const row = new QHBoxLayout;
    row->addWidget(m_key, 1);
    const auto addButton = [&](const char *name, const QString &text, void (KeysDialog::*slot)()) {
        auto *const button = new QPushButton(text, this);
        button->setObjectName(QString::fromLatin1(name));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, slot);
        row->addWidget(button);
    };
    addButton("assignKey", tr("&Assign"), &KeysDialog::assign);
    addButton("resetKey", tr("&Reset"), &KeysDialog::resetCurrent);
    addButton("resetKeys", tr("Reset a&ll"), &KeysDialog::resetAll);
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addLayout(row);
    layout->addWidget(m_message);
    constexpr QSize size(640, 480);
    resize(size);
    m_list->header()->resizeSection(0, size.width() / 2);
    connect(m_list, &QTreeWidget::currentItemChanged, this, &KeysDialog::showCurrent);
    fill();
}

QAction *KeysDialog::current() const
{
    const int row = m_list->indexOfTopLevelItem(m_list->currentItem());
    return row < 0 ? nullptr : m_choice.actions().at(row);
}

void KeysDialog::fill()
{
    const int row = std::max(0, m_list->indexOfTopLevelItem(m_list->currentItem()));
    m_list->clear();
    const QList<QAction *> actions = m_choice.actions();
    for (const QAction *const action : actions) {
        QString text = action->text();
        const bool isChanged = action->shortcuts() != m_choice.defaultKeys(action);
        new QTreeWidgetItem(m_list,
                            {text.remove(QLatin1Char('&')),
                             QKeySequence::listToString(action->shortcuts(), QKeySequence::NativeText),
                             isChanged ? tr("yes") : QString()});
    }
    m_list->setCurrentItem(m_list->topLevelItem(row));
}

void KeysDialog::showCurrent()
{
    const QAction *const action = current();
    m_key->setKeySequence(action ? action->shortcut() : QKeySequence());
    m_message->clear();
}

void KeysDialog::assign()
{
    QString error;
    QAction *const action = current();
    if (action && m_choice.setKey(action, m_key->keySequence(), &error))
        fill();
    m_message->setText(error);
}

void KeysDialog::resetCurrent()
{
    QString error;
    QAction *const action = current();
    if (action && m_choice.reset(action, &error))
        fill();
    m_message->setText(error);
}

void KeysDialog::resetAll()
{
    m_choice.resetAll();
    fill();
}

} // namespace quenlofar
