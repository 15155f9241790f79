#pragma once

#include "document.h"
#include "elementmodel.h"
#include "subtreeexpander.h"

#include <QTreeView>

namespace quenlofar {

/// The elements and fields of a document as a tree. The current row is the item of the current place.
class StructureView : public QTreeView
{
    Q_OBJECT

public:
    /// Shows `document`, which outlives the view.
    explicit StructureView(Document &document, QWidget *parent = nullptr);

    ElementModel &elements() { return m_model; } ///< what is shown
    /// The item of the current row; the root where there is none or it is a group.
    TreeItem currentItem() const;
    /// The rows that are in sight, from the top.
    std::vector<QModelIndex> rowsInSight() const;
    /// Expands the current row, or everything where there is none, and all that is below; up to
    /// SubtreeExpander::mostRows rows.
    void expandBelow();
    bool isExpanding() const { return m_expander.isRunning(); } ///< expandBelow() goes on

Q_SIGNALS:
    void told(const QString &text); ///< something that people should know about what they asked for

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;

private:
    void followPlace();

    Document &m_document;
    ElementModel m_model;
    SubtreeExpander m_expander;
    bool m_isFollowing = false; // the current row is being set from here
    bool m_isSetting = false; // the place is being set from here
};

} // namespace quenlofar
