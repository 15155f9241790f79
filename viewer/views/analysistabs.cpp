#include "analysistabs.h"

#include "packetfacts.h"

#include <QAction>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QTabBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace quenlofar {

AnalysisTabs::AnalysisTabs(Document &document, RepairJob &repair, QWidget *parent)
    : QTabWidget(parent), m_document(document), m_packets(new PacketsView(document)), m_plot(new PlotView(document)),
      m_findings(new FindingsView(document)), m_values(new ValuesView(document)),
      m_repair(new RepairView(document, repair)), m_axis(new QComboBox), m_stream(new QComboBox),
      m_curves(new QToolButton), m_scale(new QToolButton)
{
    setObjectName(QStringLiteral("analysis"));
    setAccessibleName(tr("Packets, plot, findings, values and repair"));
    tabBar()->setAccessibleName(accessibleName());
    setDocumentMode(true);
    addTab(m_packets, tr("Packets"));
    addTab(makePlotPage(), tr("Plot"));
    addTab(m_findings, tr("Findings"));
    addTab(m_values, tr("Values"));
    addTab(m_repair, tr("Repair"));
    connect(m_findings, &FindingsView::repairWanted, this, [this, &repair] {
        setCurrentIndex(RepairTab);
        repair.plan(repair.except());
    });
    connect(&m_document, &Document::tablesCame, this, &AnalysisTabs::showStreams);
    const auto showCounts = [this] {
        const FileCheck *const check = m_document.check();
        const QString counts = check ? countsText(check->counts) : QString();
        setTabText(FindingsTab, counts.isNull() ? tr("Findings") : tr("Findings: %1").arg(counts));
    };
    connect(&m_document, &Document::checkCame, this, showCounts);
}

QWidget *AnalysisTabs::makePlotPage()
{
    m_axis->setObjectName(QStringLiteral("plotAxis"));
    m_axis->setAccessibleName(tr("Axis of the plot"));
    m_axis->addItems({tr("Over number"), tr("Over time")}); // in the order of PlotSettings::Axis
    m_stream->setObjectName(QStringLiteral("plotStream"));
    m_stream->setAccessibleName(tr("Stream of the plot"));
    m_stream->addItem(tr("All streams"));
    m_curves->setText(tr("Curves"));
    m_curves->setAccessibleName(m_curves->text());
    m_curves->setPopupMode(QToolButton::InstantPopup);
    auto *const menu = new QMenu(m_curves);
    const std::pair<PlotSettings::Curve, QString> curves[] = {
        {PlotSettings::BitRate, tr("Bit rate")},
        {PlotSettings::Interleave, tr("Distance of sound and pictures in the file")},
        {PlotSettings::Lead, tr("Sound before pictures, in seconds")}};
    for (const auto &[curve, text] : curves) {
        QAction *const action = menu->addAction(text);
        action->setCheckable(true);
        connect(action, &QAction::toggled, this, [this, bit = curve](bool isOn) {
            PlotSettings settings = m_plot->settings();
            settings.curves = quint8(isOn ? settings.curves | bit : settings.curves & ~bit);
            m_plot->setSettings(settings);
        });
    }
    m_curves->setMenu(menu);
    m_scale->setText(tr("Fixed scale"));
    m_scale->setAccessibleName(m_scale->text());
    m_scale->setCheckable(true);
    auto *const status = new QLabel;
    status->setTextFormat(Qt::PlainText);
    status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long text makes no window wider

    auto *const bar = new QHBoxLayout;
    for (QWidget *const widget : std::initializer_list<QWidget *>{m_axis, m_stream, m_curves, m_scale})
        bar->addWidget(widget);
    bar->addWidget(status, 1);
    auto *const page = new QWidget;
    auto *const layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(m_plot, 1);
    page->setFocusProxy(m_plot);

    connect(m_axis, QOverload<int>::of(&QComboBox::activated), this, [this](int axis) {
        PlotSettings settings = m_plot->settings();
        settings.axis = PlotSettings::Axis(axis);
        m_plot->setSettings(settings);
    });
    connect(m_stream, QOverload<int>::of(&QComboBox::activated), this, [this](int row) {
        PlotSettings settings = m_plot->settings();
        settings.stream = row - 1;
        m_plot->setSettings(settings);
    });
    connect(m_scale, &QToolButton::clicked, this, [this](bool isFixed) {
        PlotSettings settings = m_plot->settings();
        settings.isFixedScale = isFixed;
        m_plot->setSettings(settings);
    });
    connect(m_plot, &PlotView::statusChanged, this, [this, status] {
        status->setText(m_plot->statusText());
        showPlotSettings();
    });
    return page;
}

/// The settings may have been changed by an action.
void AnalysisTabs::showPlotSettings()
{
    const PlotSettings &settings = m_plot->settings();
    m_axis->setCurrentIndex(int(settings.axis));
    m_stream->setCurrentIndex(settings.stream + 1);
    m_scale->setChecked(settings.isFixedScale);
    const QList<QAction *> curves = m_curves->menu()->actions();
    for (int i = 0; i < int(curves.size()); ++i) {
        const QSignalBlocker blocker(curves.at(i));
        curves.at(i)->setChecked((settings.curves & 1 << i) != 0);
    }
}

void AnalysisTabs::showStreams()
{
    const PacketTable *const packets = m_document.packets();
    for (int stream = 0; packets && stream < packets->streamCount(); ++stream)
        m_stream->addItem(tr("Stream %1, %2").arg(stream).arg(streamKindText(packets->stream(stream).kind)));
}

void AnalysisTabs::setOffsetsInHex(bool isHex)
{
    m_packets->model().setOffsetsInHex(isHex);
    m_findings->setOffsetsInHex(isHex);
}

QWidget *AnalysisTabs::focusView() const
{
    switch (currentIndex()) {
    case PacketsTab:
        return m_packets->focusProxy();
    case PlotTab:
        return m_plot;
    case FindingsTab:
        return m_findings->focusProxy();
    case RepairTab:
        return m_repair->focusProxy();
    case ValuesTab:
        return m_values;
    default: // of others
        return currentWidget()->focusProxy() ? currentWidget()->focusProxy() : currentWidget();
    }
}

} // namespace quenlofar
