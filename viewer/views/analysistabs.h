#pragma once

#include "findingsview.h"
#include "packetsview.h"
#include "plotview.h"
#include "repairview.h"
#include "valuesview.h"

#include <QTabWidget>

class QComboBox;
class QToolButton;

namespace quenlofar {

/// What the strict reading of a document tells, and the values at the cursor, one view at a time.
class AnalysisTabs : public QTabWidget
{
    Q_OBJECT

public:
    enum Tab { PacketsTab, PlotTab, FindingsTab, ValuesTab, RepairTab };

    /// Shows `document` and what `repair` plans for it, which outlive the views.
    AnalysisTabs(Document &document, RepairJob &repair, QWidget *parent = nullptr);

    PacketsView &packetsView() { return *m_packets; } ///< the first tab
    PlotView &plotView() { return *m_plot; } ///< the second tab
    FindingsView &findingsView() { return *m_findings; } ///< the third tab
    ValuesView &valuesView() { return *m_values; } ///< the fourth tab
    RepairView &repairView() { return *m_repair; } ///< the fifth tab
    void setOffsetsInHex(bool isHex); ///< how offsets are shown in tables
    QWidget *focusView() const; ///< what gets the focus of the tab in front

private:
    QWidget *makePlotPage();
    void showPlotSettings();
    void showStreams();

    Document &m_document;
    PacketsView *m_packets;
    PlotView *m_plot;
    FindingsView *m_findings;
    ValuesView *m_values;
    RepairView *m_repair;
    QComboBox *m_axis;
    QComboBox *m_stream;
    QToolButton *m_curves;
    QToolButton *m_scale;
};

} // namespace quenlofar
