#include "columnchoice.h"

#include "elementmodel.h"
#include "viewersettings.h"

#include <QAction>
#include <QCoreApplication>
#include <QHeaderView>
#include <QMenu>
#include <QTreeView>

namespace quenlofar {

namespace {

/// What settings and commands call a column, and what people read.
struct ColumnName
{
    int column;
    const char *name;
    const char *text;
};
constexpr ColumnName columnNames[] = {
    {ElementModel::ValueColumn, "value", QT_TRANSLATE_NOOP("quenlofar::ColumnChoice", "&Value")},
    {ElementModel::MeaningColumn, "meaning", QT_TRANSLATE_NOOP("quenlofar::ColumnChoice", "&Meaning")},
    {ElementModel::OffsetColumn, "offset", QT_TRANSLATE_NOOP("quenlofar::ColumnChoice", "&Offset")},
    {ElementModel::SizeColumn, "size", QT_TRANSLATE_NOOP("quenlofar::ColumnChoice", "&Size")},
};

QString hiddenColumnsKey()
{
    return QStringLiteral("structure/hiddenColumns");
}

} // namespace

ColumnChoice::ColumnChoice(QObject *parent) : QObject(parent)
{
    const QStringList hidden = viewerSettings()->value(hiddenColumnsKey()).toStringList();
    for (const ColumnName &column : columnNames) {
        auto *const action = new QAction(tr(column.text), this);
        action->setCheckable(true);
        action->setChecked(!hidden.contains(QLatin1String(column.name)));
        connect(action, &QAction::toggled, this, [this, number = column.column](bool isShown) {
            QStringList nowHidden;
            for (size_t i = 0; i < m_actions.size(); ++i) {
                if (!m_actions[i]->isChecked())
                    nowHidden.append(QLatin1String(columnNames[i].name));
            }
            viewerSettings()->setValue(hiddenColumnsKey(), nowHidden);
            Q_EMIT changed(number, isShown);
        });
        m_actions.push_back(action);
    }
}

QMenu *ColumnChoice::makeMenu(QWidget *parent)
{
    auto *const menu = new QMenu(tr("&Columns of the structure"), parent);
    for (QAction *const action : m_actions)
        menu->addAction(action);
    return menu;
}

void ColumnChoice::attach(QTreeView *view)
{
    for (size_t i = 0; i < m_actions.size(); ++i)
        view->setColumnHidden(columnNames[i].column, !m_actions[i]->isChecked());
    connect(this, &ColumnChoice::changed, view,
            [view](int column, bool isShown) { view->setColumnHidden(column, !isShown); });
    QHeaderView *const header = view->header();
    header->setContextMenuPolicy(Qt::ActionsContextMenu);
    for (QAction *const action : m_actions)
        header->addAction(action);
}

bool ColumnChoice::setShown(const QString &name, bool isShown)
{
    for (size_t i = 0; i < m_actions.size(); ++i) {
        if (name == QLatin1String(columnNames[i].name)) {
            m_actions[i]->setChecked(isShown);
            return true;
        }
    }
    return false;
}

} // namespace quenlofar
