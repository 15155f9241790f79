#pragma once

#include "document.h"
#include "findingsmodel.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTreeView;

namespace quenlofar {

/// What is wrong with a document: causes with what they caused below, and beside them what the rule of the current one
/// says. The current row is the finding of the current place; Enter goes to the place of a finding.
class FindingsView : public QWidget
{
    Q_OBJECT

public:
    /// Shows `document`, which outlives the view.
    explicit FindingsView(Document &document, QWidget *parent = nullptr);

    FindingsModel &model() { return m_model; } ///< what is shown
    QTreeView &list() { return *m_list; } ///< where it is shown
    void setFilter(const FindingsFilter &filter); ///< Which findings are shown.
    void setOffsetsInHex(bool isHex); ///< how offsets are shown
    QString statusText() const; ///< the verdict and the counts, or why there are none
    QString explanation() const; ///< what is said of the current finding; empty where there is none
    int currentFinding() const; ///< the id of the current row; 0 for none
    void setCurrentFinding(int id); ///< Makes its row the current one, without going to its place.
    /// Goes to the finding behind the current place, by offset, or to the one before it; of those that are shown.
    void goToNext(bool isForward);

Q_SIGNALS:
    void repairWanted(); ///< people want to know how the file can be mended

private:
    void showCheck();
    void showStatus();
    void showExplanation();
    void followPlace();

    Document &m_document;
    FindingsModel m_model;
    QTreeView *m_list;
    QPlainTextEdit *m_explanation;
    QComboBox *m_level;
    QComboBox *m_least;
    QCheckBox *m_repairable;
    QPushButton *m_repair;
    QLabel *m_status;
};

} // namespace quenlofar
