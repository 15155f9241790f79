#include "analysisactions.h"

#include "analysistabs.h"
#include "filepage.h"

#include <QAction>
#include <QFileDialog>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QStatusBar>

#include <array>

namespace quenlofar {

namespace {

constexpr size_t mostPointers = 16;

QKeySequence keys(const char *text)
{
    return QKeySequence::fromString(QString::fromLatin1(text));
}

/// Brings a view to the front and gives it the focus.
void showTab(FilePage &page, AnalysisTabs::Tab tab)
{
    page.analysis().setCurrentIndex(tab);
    page.analysis().focusView()->setFocus(Qt::ShortcutFocusReason);
}

void toggleCurve(FilePage &page, PlotSettings::Curve curve)
{
    PlotSettings settings = page.analysis().plotView().settings();
    settings.curves ^= curve;
    page.analysis().plotView().setSettings(settings);
}

/// "A...B", both numbers; false for any other text.
bool parseRange(const QString &value, double *from, double *to)
{
    const int dots = int(value.indexOf(QStringLiteral("...")));
    if (dots < 0)
        return false;
    bool isFrom = false;
    bool isTo = false;
    *from = value.left(dots).toDouble(&isFrom);
    *to = value.mid(dots + 3).toDouble(&isTo);
    return isFrom && isTo && *from >= 0 && *to > *from;
}

} // namespace

AnalysisActions::AnalysisActions(QMainWindow &window, std::function<FilePage *()> page)
    : QObject(&window), m_window(window), m_page(std::move(page)), m_menu(new QMenu(tr("&Analysis"), &window))
{
    makeActions();
}

void AnalysisActions::add(const char *name, const QString &text, const QKeySequence &key,
                          std::function<void(FilePage &)> what)
{
    auto *const action = new QAction(text, &m_window);
    action->setObjectName(QString::fromLatin1(name));
    action->setShortcut(key);
    connect(action, &QAction::triggered, this, [this, what = std::move(what)] {
        if (FilePage *const page = m_page())
            what(*page);
    });
    m_menu->addAction(action);
    m_actions.push_back(action);
}

void AnalysisActions::makeActions()
{
    add("show-packets", tr("&Packets"), keys("Alt+1"), [](FilePage &page) { showTab(page, AnalysisTabs::PacketsTab); });
    add("show-plot", tr("P&lot"), keys("Alt+2"), [](FilePage &page) { showTab(page, AnalysisTabs::PlotTab); });
    add("show-findings", tr("&Findings"), keys("Alt+3"),
        [](FilePage &page) { showTab(page, AnalysisTabs::FindingsTab); });
    add("show-overview", tr("&Overview"), keys("Alt+4"),
        [](FilePage &page) { page.overview().setFocus(Qt::ShortcutFocusReason); });
    add("show-values", tr("&Values at the cursor"), keys("Alt+5"),
        [](FilePage &page) { showTab(page, AnalysisTabs::ValuesTab); });
    m_menu->addSeparator();
    add("follow", tr("Fo&llow what points elsewhere"), keys("Ctrl+J"), [this](FilePage &page) {
        if (!page.follow())
            m_window.statusBar()->showMessage(tr("Nothing here points elsewhere."));
    });
    add("pointers", tr("&Who points here"), keys("Ctrl+Shift+J"), [this](FilePage &page) { showPointers(page); });
    m_menu->addSeparator();
    const auto step = [](PacketStep what, bool isForward) {
        return [what, isForward](FilePage &page) { page.analysis().packetsView().goToNext(what, isForward); };
    };
    add("next-key", tr("Next &key frame"), keys("F7"), step(PacketStep::KeyFrame, true));
    add("previous-key", tr("Previous key frame"), keys("Shift+F7"), step(PacketStep::KeyFrame, false));
    add("next-finding", tr("&Next finding"), keys("F8"),
        [](FilePage &page) { page.analysis().findingsView().goToNext(true); });
    add("previous-finding", tr("Previous finding"), keys("Shift+F8"),
        [](FilePage &page) { page.analysis().findingsView().goToNext(false); });
    add("next-empty", tr("Next &empty frame"), keys("F9"), step(PacketStep::EmptyFrame, true));
    add("previous-empty", tr("Previous empty frame"), keys("Shift+F9"), step(PacketStep::EmptyFrame, false));
    m_menu->addSeparator();
    add("filter-packets", tr("&Condition for packets"), keys("Ctrl+Shift+K"), [](FilePage &page) {
        page.analysis().setCurrentIndex(AnalysisTabs::PacketsTab);
        page.analysis().packetsView().filterField().setFocus(Qt::ShortcutFocusReason);
    });
    add("copy-packets", tr("Cop&y packets"), keys("Ctrl+Shift+T"),
        [](FilePage &page) { page.analysis().packetsView().copySelected(false); });
    add("copy-packets-csv", tr("Copy packets as CS&V"), keys("Ctrl+Shift+V"),
        [](FilePage &page) { page.analysis().packetsView().copySelected(true); });
    m_menu->addSeparator();
    add("plot-axis", tr("Plot over number or &time"), keys("Ctrl+Shift+X"), [](FilePage &page) {
        PlotSettings settings = page.analysis().plotView().settings();
        const bool isTime = settings.axis == PlotSettings::Axis::Time;
        settings.axis = isTime ? PlotSettings::Axis::Number : PlotSettings::Axis::Time;
        page.analysis().plotView().setSettings(settings);
    });
    add("plot-scale", tr("Fixed or automatic &scale of the plot"), keys("Ctrl+Shift+Y"), [](FilePage &page) {
        PlotSettings settings = page.analysis().plotView().settings();
        settings.isFixedScale = !settings.isFixedScale;
        page.analysis().plotView().setSettings(settings);
    });
    add("plot-bit-rate", tr("Curve of the &bit rate"), keys("Ctrl+Shift+B"),
        [](FilePage &page) { toggleCurve(page, PlotSettings::BitRate); });
    add("plot-interleave", tr("Curve of the &distance of sound and pictures"), keys("Ctrl+Shift+D"),
        [](FilePage &page) { toggleCurve(page, PlotSettings::Interleave); });
    add("plot-lead", tr("Curve of so&und before pictures"), keys("Ctrl+Shift+L"),
        [](FilePage &page) { toggleCurve(page, PlotSettings::Lead); });
    add("export-plot", tr("E&xport the plot..."), keys("Ctrl+Shift+E"), [this](FilePage &page) { exportPlot(page); });
}

void AnalysisActions::updateActions()
{
    for (QAction *const action : m_actions)
        action->setEnabled(m_page() != nullptr);
}

void AnalysisActions::showPointers(FilePage &page)
{
    const std::vector<Reference> pointers = page.document().pointers(mostPointers);
    if (pointers.empty()) {
        m_window.statusBar()->showMessage(tr("Nothing points here."));
        return;
    }
    if (pointers.size() == 1) {
        page.document().setBytes(pointers.front().place, Move::Jump);
        return;
    }
    auto *const menu = new QMenu(&page);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setAccessibleName(tr("Who points here"));
    for (const Reference &pointer : pointers) {
        const QString name = page.elementText(pointer.place.offset);
        QAction *const action = menu->addAction(tr("%1 at %2").arg(name).arg(pointer.place.offset));
        connect(action, &QAction::triggered, &page,
                [&page, place = pointer.place] { page.document().setBytes(place, Move::Jump); });
    }
    menu->popup(page.mapToGlobal(page.rect().center()));
}

void AnalysisActions::exportPlot(FilePage &page)
{
    const QString path = QFileDialog::getSaveFileName(&m_window, tr("Export the plot"), QString(),
                                                      tr("Pictures and tables (*.png *.svg *.csv)"));
    QString error;
    if (!path.isEmpty() && !page.analysis().plotView().exportTo(path, &error))
        m_window.statusBar()->showMessage(error);
}

std::optional<bool> AnalysisActions::perform(const QString &name, const QString &value, QString *error)
{
    static constexpr std::array<const char *, 8> withValue{"filter-packets", "sort-packets", "pointers",    "finding",
                                                           "check-level",    "findings-of",  "export-plot", "packet"};
    bool isKnown = name.startsWith(QLatin1String("plot-")) && !value.isEmpty();
    for (const char *const each : withValue)
        isKnown = isKnown || (name == QLatin1String(each) && !value.isEmpty());
    // No condition is a condition, too.
    isKnown = isKnown || name == QLatin1String("all-packets");
    if (!isKnown)
        return std::nullopt;
    FilePage *const page = m_page();
    if (!page) {
        *error = tr("No file is open.");
        return false;
    }
    return performOn(*page, name, value, error);
}

bool AnalysisActions::performOn(FilePage &page, const QString &name, const QString &value, QString *error)
{
    Document &document = page.document();
    AnalysisTabs &analysis = page.analysis();
    bool isNumber = false;
    const quint64 number = value.toULongLong(&isNumber);
    if (name == QLatin1String("all-packets"))
        return analysis.packetsView().setFilter(QString(), error);
    if (name == QLatin1String("filter-packets"))
        return analysis.packetsView().setFilter(value, error);
    if (name == QLatin1String("sort-packets")) {
        const bool isDescending = value.startsWith(QLatin1Char('-'));
        const int column = PacketModel::columnOf(isDescending ? value.mid(1) : value);
        if (column < 0)
            *error = tr("Packets have no column \"%1\".").arg(value);
        else
            analysis.packetsView().setSorting(PacketColumn(column), isDescending);
        return column >= 0;
    }
    if (name == QLatin1String("packet") || name == QLatin1String("finding")) {
        const bool isPacket = name == QLatin1String("packet");
        const quint64 count = isPacket ? (document.packets() ? document.packets()->size() : 0)
                                       : (document.check() ? document.check()->findings.size() : 0);
        if (!isNumber || number >= count + (isPacket ? 0 : 1) || (!isPacket && number == 0)) {
            *error = isPacket ? tr("There is no packet %1.").arg(value) : tr("There is no finding %1.").arg(value);
            return false;
        }
        if (isPacket)
            document.setPacket(number, Move::Jump);
        else
            document.setFinding(int(number), Move::Jump);
        return true;
    }
    if (name == QLatin1String("pointers")) {
        const std::vector<Reference> pointers = document.pointers(mostPointers);
        if (!isNumber || number >= pointers.size()) {
            *error = tr("Fewer entries point here.");
            return false;
        }
        document.setBytes(pointers[size_t(number)].place, Move::Jump);
        return true;
    }
    if (name == QLatin1String("check-level")) {
        Level level = Level::Default;
        if (!levelFromText(value, &level)) {
            *error = tr("The levels are quick, default and deep.");
            return false;
        }
        document.setLevel(level);
        return true;
    }
    if (name == QLatin1String("findings-of")) {
        FindingsFilter filter;
        filter.isRepairable = value == QLatin1String("repair");
        if (!filter.isRepairable && !severityFromText(value, &filter.least)) {
            *error = tr("Findings are shown from note, warning or error on, or those with a repair.");
            return false;
        }
        analysis.findingsView().setFilter(filter);
        return true;
    }
    if (name == QLatin1String("export-plot"))
        return analysis.plotView().exportTo(value, error);
    return setPlot(page, name, value, error);
}

bool AnalysisActions::setPlot(FilePage &page, const QString &name, const QString &value, QString *error)
{
    PlotView &plot = page.analysis().plotView();
    PlotSettings settings = plot.settings();
    if (name == QLatin1String("plot-range")) {
        double from = 0;
        double to = 0;
        const bool isRange = parseRange(value, &from, &to);
        if (isRange)
            plot.setRange(from, to);
        else
            *error = tr("\"%1\" is no range, such as 100...200.").arg(value);
        return isRange;
    }
    if (name == QLatin1String("plot-axis")) {
        const bool isTime = value == QLatin1String("time");
        if (!isTime && value != QLatin1String("number")) {
            *error = tr("The plot is over number or time.");
            return false;
        }
        settings.axis = isTime ? PlotSettings::Axis::Time : PlotSettings::Axis::Number;
        plot.setSettings(settings);
        return true;
    }
    if (name == QLatin1String("plot-stream")) {
        bool isNumber = false;
        const int stream = value.toInt(&isNumber);
        const PacketTable *const packets = page.document().packets();
        const bool isAll = value == QLatin1String("all");
        if (!isAll && (!isNumber || !packets || stream < 0 || stream >= packets->streamCount())) {
            *error = tr("There is no stream %1.").arg(value);
            return false;
        }
        settings.stream = isAll ? -1 : stream;
        plot.setSettings(settings);
        return true;
    }
    *error = tr("The action \"%1\" takes no value.").arg(name);
    return false;
}

} // namespace quenlofar
