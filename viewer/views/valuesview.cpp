#include "valuesview.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>

#include <array>

namespace quenlofar {

ValuesView::ValuesView(Document &document, QWidget *parent) : QTableView(parent), m_document(document)
{
    setObjectName(QStringLiteral("values"));
    setAccessibleName(tr("Values at the cursor"));
    setModel(&m_model);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setTabKeyNavigation(false); // the tab key goes to the next widget
    verticalHeader()->hide();
    horizontalHeader()->setStretchLastSection(true);
    constexpr int nameWidth = 220;
    constexpr int valueWidth = 320;
    setColumnWidth(ValuesModel::NameColumn, nameWidth);
    setColumnWidth(ValuesModel::LittleColumn, valueWidth);
    auto *const copy = new QAction(tr("Copy value"), this);
    addAction(copy);
    setContextMenuPolicy(Qt::ActionsContextMenu);
    connect(copy, &QAction::triggered, this, [this] { copyCell(currentIndex()); });
    connect(this, &QTableView::activated, this, &ValuesView::copyCell);
    connect(&m_document, &Document::placeChanged, this, &ValuesView::showValues);
    connect(&m_document, &Document::opened, this, &ValuesView::showValues);
    connect(&m_document, &Document::bytesChanged, this, &ValuesView::showValues);
    showValues();
}

void ValuesView::showValues()
{
    const quint64 offset = m_document.place().range.offset;
    std::array<uchar, size_t(mostValueBytes)> bytes = {};
    std::array<ByteState, size_t(mostValueBytes)> states = {};
    m_document.bytes(offset, mostValueBytes, bytes.data(), states.data());
    // Up to the first byte that is not there.
    QByteArray known;
    for (size_t at = 0; at < bytes.size() && states[at] == ByteState::Known; ++at)
        known.append(char(bytes[at]));
    m_model.setBytes(known);
}

void ValuesView::copyCell(const QModelIndex &index) const
{
    if (index.isValid())
        QApplication::clipboard()->setText(index.data().toString());
}

} // namespace quenlofar
