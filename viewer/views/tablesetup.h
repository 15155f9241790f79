#pragma once

#include <QHeaderView>
#include <QScrollBar>
#include <QTableView>

namespace quenlofar {

/// What all tables of files, packets and bookmarks have in common: whole rows, as high as a line, and names for screen
/// readers: of the table, its rows and its columns.
inline void setUpTable(QTableView &table, const QString &name, const QString &rows, const QString &columns)
{
    table.setAccessibleName(name);
    table.verticalScrollBar()->setAccessibleName(rows);
    table.horizontalScrollBar()->setAccessibleName(columns);
    table.setSelectionBehavior(QAbstractItemView::SelectRows);
    table.setAlternatingRowColors(true);
    table.setWordWrap(false);
    table.setTabKeyNavigation(false); // the tab key goes to the next widget
    table.setCornerButtonEnabled(false);
    table.verticalHeader()->hide();
    table.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table.verticalHeader()->setDefaultSectionSize(table.fontMetrics().height() + 4);
    QHeaderView *const header = table.horizontalHeader();
    header->setAccessibleName(columns);
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
}

} // namespace quenlofar
