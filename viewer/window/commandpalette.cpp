#include "commandpalette.h"

#include <QAction>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QScrollBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quenlofar {

namespace {

/// The text of a menu or an action without what marks its key; "&&" stands for "&".
QString plainText(const QString &text)
{
    QString plain;
    for (int i = 0; i < int(text.size()); ++i) {
        if (text.at(i) == QLatin1Char('&') && ++i == int(text.size()))
            break;
        plain += text.at(i);
    }
    return plain;
}

} // namespace

std::vector<PaletteEntry> paletteEntries(const QMenuBar &bar)
{
    std::vector<PaletteEntry> entries;
    std::vector<std::pair<QAction *, QString>> left; // with the menus around them, the next one last
    const auto push = [&left](const QList<QAction *> &actions, const QString &menus) {
        for (int i = int(actions.size()) - 1; i >= 0; --i)
            left.emplace_back(actions.at(i), menus);
    };
    push(bar.actions(), {});
    while (!left.empty()) {
        const auto [action, menus] = left.back();
        left.pop_back();
        const QString text = menus + plainText(action->text());
        if (const QMenu *const menu = action->menu())
            push(menu->actions(), text + QStringLiteral(": "));
        else if (!action->isSeparator())
            entries.push_back({action, text});
    }
    return entries;
}

std::optional<int> paletteRank(const QString &text, const QString &typed)
{
    const QString wanted = typed.simplified();
    int at = -1;
    bool isPart = false;
    while ((at = int(text.indexOf(wanted, at + 1, Qt::CaseInsensitive))) >= 0) {
        isPart = true;
        if (at == 0 || !text.at(at - 1).isLetterOrNumber())
            return 0;
        if (wanted.isEmpty())
            break;
    }
    if (isPart)
        return 1;
    int found = 0;
    for (const QChar character : wanted) {
        if (character.isSpace())
            continue;
        found = int(text.indexOf(character, found, Qt::CaseInsensitive)) + 1;
        if (found == 0)
            return std::nullopt;
    }
    return 2;
}

CommandPalette::CommandPalette(std::vector<PaletteEntry> entries, QWidget *parent)
    : QDialog(parent), m_entries(std::move(entries)), m_field(new QLineEdit(this)), m_list(new QTreeWidget(this))
{
    setObjectName(QStringLiteral("commandPalette"));
    setWindowTitle(tr("Commands"));
    m_field->setObjectName(QStringLiteral("commandField"));
    m_field->setAccessibleName(tr("Command"));
    m_field->setPlaceholderText(tr("a part of the command's name"));
    m_field->setClearButtonEnabled(true);
    m_list->setObjectName(QStringLiteral("commandList"));
    m_list->setAccessibleName(tr("Commands"));
    m_list->header()->setAccessibleName(tr("Columns of commands"));
    m_list->verticalScrollBar()->setAccessibleName(tr("Rows of commands"));
    m_list->horizontalScrollBar()->setAccessibleName(tr("Columns of commands"));
    m_list->setHeaderLabels({tr("Command"), tr("Key")});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setAllColumnsShowFocus(true);
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_field);
    layout->addWidget(m_list, 1);
    constexpr QSize size(640, 420);
    resize(size);
    m_list->header()->resizeSection(0, size.width() * 2 / 3);
    m_field->installEventFilter(this);
    m_list->installEventFilter(this);
    connect(m_field, &QLineEdit::textChanged, this, &CommandPalette::filter);
    connect(m_list, &QTreeWidget::itemActivated, this, &CommandPalette::runCurrent);
    connect(m_list, &QTreeWidget::currentItemChanged, this, &CommandPalette::tellCurrent);
    filter({});
    m_field->setFocus();
}

void CommandPalette::filter(const QString &typed)
{
    struct Row
    {
        int rank;
        size_t entry;
    };
    std::vector<Row> rows;
    for (size_t i = 0; i < m_entries.size(); ++i) {
        const std::optional<int> rank = paletteRank(m_entries[i].text, typed);
        if (rank && m_entries[i].action)
            rows.push_back({*rank, i});
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row &a, const Row &b) { return a.rank < b.rank; });
    m_list->clear();
    for (const Row &row : rows) {
        const QAction &action = *m_entries[row.entry].action;
        QString text = m_entries[row.entry].text;
        if (action.isChecked())
            text += tr(" (on)");
        auto *const item = new QTreeWidgetItem(m_list, {text, action.shortcut().toString(QKeySequence::NativeText)});
        item->setData(0, Qt::UserRole, int(row.entry));
        item->setDisabled(!action.isEnabled());
    }
    m_list->setCurrentItem(m_list->topLevelItem(0));
    tellCurrent();
}

/// The field keeps the focus while one types: what is current is said there.
void CommandPalette::tellCurrent()
{
    const QTreeWidgetItem *const item = m_list->currentItem();
    m_field->setAccessibleDescription(item ? item->text(0) + QLatin1Char(' ') + item->text(1) : tr("no command fits"));
}

QStringList CommandPalette::shown() const
{
    QStringList texts;
    for (int i = 0; i < m_list->topLevelItemCount(); ++i)
        texts.append(m_list->topLevelItem(i)->text(0));
    return texts;
}

void CommandPalette::runCurrent()
{
    const QTreeWidgetItem *const item = m_list->currentItem();
    if (!item || item->isDisabled())
        return;
    const QPointer<QAction> action = m_entries[size_t(item->data(0, Qt::UserRole).toInt())].action;
    accept();
    // Once this window has gone, so that the focus is where the command expects it.
    if (action)
        QMetaObject::invokeMethod(action, "trigger", Qt::QueuedConnection);
}

bool CommandPalette::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    auto *const key = static_cast<QKeyEvent *>(event);
    const int code = key->key();
    if (code == Qt::Key_Return || code == Qt::Key_Enter) {
        runCurrent();
        return true;
    }
    const bool moves = code == Qt::Key_Up || code == Qt::Key_Down || code == Qt::Key_PageUp || code == Qt::Key_PageDown;
    if (watched == m_field && moves) {
        m_list->setFocus(Qt::ShortcutFocusReason); // a screen reader reads the rows then
        static_cast<QObject *>(m_list)->event(event);
        return true;
    }
    if (watched == m_list && !moves && !key->text().isEmpty() && key->text().at(0).isPrint()) {
        m_field->setFocus(Qt::ShortcutFocusReason);
        m_field->event(event);
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace quenlofar
