#pragma once

#include "document.h"
#include "valuesmodel.h"

#include <QTableView>

namespace quenlofar {

/// The bytes at the current place of a document as values of all kinds. Enter on a value copies it.
class ValuesView : public QTableView
{
    Q_OBJECT

public:
    /// Shows `document`, which outlives the view.
    explicit ValuesView(Document &document, QWidget *parent = nullptr);

    const ValuesModel &values() const { return m_model; } ///< what is shown

private:
    void showValues();
    void copyCell(const QModelIndex &index) const;

    Document &m_document;
    ValuesModel m_model;
};

} // namespace quenlofar
