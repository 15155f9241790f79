#pragma once

#include "document.h"
#include "repairjob.h"

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace quenlofar {

/**
 * How a document can be mended: the steps of a plan, each to be ticked, with the findings that it clears and its
 * changes below; what was left out, and which findings stay. Beside them stand the old and the new bytes of the current
 * change. A tick is a rule's, as `--except` of the program's `repair` is: without it the plan is made anew.
 */
class RepairView : public QWidget
{
    Q_OBJECT

public:
    /// Shows the plan of `job`, which is that of `document`; both outlive the view.
    RepairView(Document &document, RepairJob &job, QWidget *parent = nullptr);

    QTreeWidget &steps() { return *m_steps; } ///< what the plan does, leaves out and leaves
    QString statusText() const; ///< what the plan comes to, or why there is none
    QString bytesText() const; ///< old and new bytes of the current change; empty where no change is current
    /// The plan without steps for the rules of the step number `step` of the plan, from 0.
    void leaveOut(int step);

Q_SIGNALS:
    void mendedWanted(); ///< people want to look at the mended file
    void copyWanted(); ///< people want it written
    void savingWanted(); ///< people want the plan saved

private:
    void showPlan();
    void showStatus();
    void showStep(const PlannedRepair &planned, quint32 number);
    void showUnwanted(const QString &rule);
    void itemChanged(QTreeWidgetItem *item);
    const PlanChange *currentChange() const;

    Document &m_document;
    RepairJob &m_job;
    QTreeWidget *m_steps;
    QPlainTextEdit *m_bytes;
    QLabel *m_status;
    QPushButton *m_plan;
    QPushButton *m_mended;
    QPushButton *m_copy;
    QPushButton *m_save;
};

} // namespace quenlofar
