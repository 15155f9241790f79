// The plot and the overview: what they show, how they are moved in, what is written of them, and what a screen reader
// says of them.
#include "hexaccessible.h"
#include "kindcolors.h"
#include "placeaccessible.h"
#include "scriptedanalyzer.h"
#include "shownwindow.h"

#include <QAccessible>
#include <QApplication>
#include <QFile>
#include <QImage>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWheelEvent>

#include <cmath>

using namespace quenlofar;

namespace {

/// The contrast of two colours as WCAG 2.1 counts it, from their components from 0 to 255.
double wcagContrast(const QColor &one, const QColor &other)
{
    const auto luminance = [](const QColor &color) {
        const auto linear = [](int component) {
            const double part = component / 255.0;
            return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(color.red()) + 0.7152 * linear(color.green()) + 0.0722 * linear(color.blue());
    };
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return a > b ? a / b : b / a;
}

QColor over(const QColor &color, int alpha, const QColor &ground)
{
    const auto mix = [alpha](int a, int b) { return (a * alpha + b * (255 - alpha)) / 255; };
    return {mix(color.red(), ground.red()), mix(color.green(), ground.green()), mix(color.blue(), ground.blue())};
}

QPalette paletteOf(const char *base, const char *text, const char *highlight, const char *highlighted)
{
    QPalette palette;
    palette.setColor(QPalette::Base, QColor(QString::fromLatin1(base)));
    palette.setColor(QPalette::AlternateBase, QColor(QString::fromLatin1(base)));
    palette.setColor(QPalette::Text, QColor(QString::fromLatin1(text)));
    palette.setColor(QPalette::Highlight, QColor(QString::fromLatin1(highlight)));
    palette.setColor(QPalette::HighlightedText, QColor(QString::fromLatin1(highlighted)));
    return palette;
}

} // namespace

class ViewerPlotTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void overviewLeadsEverywhere();
    void plotZoomsAndMoves();
    void plotOfManyPackets();
    void plotIsExported();
    void whatIsReadAloud();
    void nothingIsNameless();
    void coloursCanBeSeen_data();
    void coloursCanBeSeen();
};

void ViewerPlotTest::initTestCase()
{
    HexAccessible::install();
    PlaceAccessible::install();
}

void ViewerPlotTest::overviewLeadsEverywhere()
{
    Shown shown(pluginOptions(), sample(QStringLiteral("golden/spliced-truncated.avi")));
    QVERIFY(shown.waitUntilIdle());
    OverviewBar &overview = shown.page->overview();
    // The first places of the findings, of 13 572 bytes in 1024 cells.
    const std::vector<int> ticks = overview.ticks();
    for (const quint64 offset : {4U, 44U, 48U, 140U, 4468U, 10058U, 12286U, 13568U})
        QVERIFY(std::find(ticks.begin(), ticks.end(), overview.cells().cellOf(offset)) != ticks.end());
    QCOMPARE(overview.classes().size(), size_t(1024));
    overview.setFocus();
    QTest::keyClick(&overview, Qt::Key_End);
    QCOMPARE(quint64(shown.offset()), overview.cells().begin(1023));
    QTest::keyClick(&overview, Qt::Key_Left);
    QCOMPARE(quint64(shown.offset()), overview.cells().begin(1022));
    QTest::keyClick(&overview, Qt::Key_Home);
    QCOMPARE(shown.offset(), 0);
    QTest::mousePress(&overview, Qt::LeftButton, {}, QPoint(10, 10));
    const QPoint there(overview.width() / 2, 10);
    QMouseEvent drag(QEvent::MouseMove, there, overview.mapToGlobal(there), Qt::NoButton, Qt::LeftButton, {});
    QApplication::sendEvent(&overview, &drag);
    QCOMPARE(quint64(shown.offset()), overview.offsetAt(there.x()));
    QVERIFY(shown.offset() > 6000 && shown.offset() < 7600);
}

void ViewerPlotTest::plotZoomsAndMoves()
{
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("show-plot")));
    PlotView &plot = shown.analysis().plotView();
    QVERIFY(shown.perform(QStringLiteral("plot-stream"), QStringLiteral("0")));
    QCOMPARE(plot.from(), 0.0);
    QCOMPARE(plot.to(), 21.0);
    QCOMPARE(plot.scale(), 1848U);
    QVERIFY(shown.perform(QStringLiteral("plot-range"), QStringLiteral("1...9")));
    QCOMPARE(plot.scale(), 336U); // of the pictures 1 to 8
    QVERIFY(shown.perform(QStringLiteral("plot-scale")));
    QCOMPARE(plot.scale(), 1848U);
    // Two packets are the fewest, and the end is the end.
    plot.setRange(20.5, 20.6);
    QCOMPARE(plot.to(), 21.0);
    QCOMPARE(plot.from(), 19.0);
    plot.setFocus();
    QTest::keyClick(&plot, Qt::Key_0);
    QCOMPARE(plot.from(), 0.0);
    // One column for each packet, then many packets for a column.
    const std::vector<PlotView::Column> wide = plot.columns(0, 21);
    QCOMPARE(wide[13].first, quint64(13));
    QCOMPARE(wide[13].end, quint64(14));
    QCOMPARE(wide[13].extent.largestKey, 1848U);
    QCOMPARE(wide[1].extent.empty, 1U);
    const std::vector<PlotView::Column> narrow = plot.columns(0, 3);
    QCOMPARE(narrow[0].end, quint64(7));
    QCOMPARE(narrow[0].extent.largestKey, 1559U);
    QCOMPARE(narrow[0].extent.largest, 336U);
    QCOMPARE(narrow[0].extent.smallest, 234U);
    // The keyboard moves the place through the stream.
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("#0")));
    QTest::keyClick(&plot, Qt::Key_Right);
    QCOMPARE(shown.offset(), 12294);
    QTest::keyClick(&plot, Qt::Key_Right);
    QCOMPARE(shown.offset(), 12302);
    QTest::keyClick(&plot, Qt::Key_Home);
    QCOMPARE(shown.offset(), 10590);
    QTest::keyClick(&plot, Qt::Key_Plus);
    QCOMPARE(plot.to() - plot.from(), 10.5);
    // Over time: 21 pictures, ten a second.
    QVERIFY(shown.perform(QStringLiteral("plot-axis"), QStringLiteral("time")));
    QVERIFY(qAbs(plot.to() - 2.1) < 1e-9);
    QCOMPARE(plot.columns(0, 21)[5].first, quint64(5));
    for (const char *const curve : {"plot-bit-rate", "plot-interleave", "plot-lead"})
        QVERIFY(shown.perform(QString::fromLatin1(curve)));
    QCOMPARE(int(plot.settings().curves), 7);
    QVERIFY(!plot.grab().toImage().allGray());
    QVERIFY(!shown.perform(QStringLiteral("plot-range"), QStringLiteral("9...1")));
    QVERIFY(!shown.perform(QStringLiteral("plot-stream"), QStringLiteral("2")));
    QVERIFY(!shown.perform(QStringLiteral("plot-axis"), QStringLiteral("size")));
    // The tools show what the actions set.
    QWheelEvent wheel(QPointF(100, 50), QPointF(plot.mapToGlobal(QPoint(100, 50))), {}, {0, 120}, Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    const double before = plot.to() - plot.from();
    QApplication::sendEvent(&plot, &wheel);
    QVERIFY(plot.to() - plot.from() < before);
}

/// Zooming and moving take as long for a million packets as for a thousand; the bounds leave room for sanitizers.
void ViewerPlotTest::plotOfManyPackets()
{
    constexpr int count = 1'000'000;
    const auto script = std::make_shared<AnalyzerScript>();
    script->packets = count;
    Shown shown(optionsWithAnalyzer(makeFile(2000 + qint64(count) * 108), script));
    Effort turn;
    qint64 longestTurn = 0;
    while (!shown.window.isIdle()) {
        turn.start();
        QCoreApplication::processEvents();
        longestTurn = std::max(longestTurn, turn.milliseconds());
    }
    QVERIFY(shown.perform(QStringLiteral("show-plot")));
    PlotView &plot = shown.analysis().plotView();
    QVERIFY(plot.isReady());
    plot.setSettings({PlotSettings::Axis::Time, -1, 7, false});
    qint64 longest = 0;
    Effort frame;
    for (int step = 0; step < 40; ++step) {
        frame.start();
        if (step < 20)
            plot.zoom(0.5, plot.end() / 3);
        else
            plot.setRange(plot.from() + 1.5, plot.to() + 1.5);
        plot.grab();
        longest = std::max(longest, frame.milliseconds());
    }
    qInfo("the longest turn of the window took %lld ms, the longest frame of the plot %lld ms",
          static_cast<long long>(longestTurn), static_cast<long long>(longest));
    QVERIFY(longest < 500);
    plot.setRange(0, plot.end());
    frame.start();
    shown.page->document().setPacket(count - 1, Move::Jump);
    shown.window.grab();
    QVERIFY(frame.milliseconds() < 1000);
    QVERIFY(plot.cursorText().startsWith(QStringLiteral("packet 999999 of stream 0, ")));
}

void ViewerPlotTest::plotIsExported()
{
    const QTemporaryDir directory;
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("show-plot")));
    QVERIFY(shown.perform(QStringLiteral("plot-stream"), QStringLiteral("0")));
    QVERIFY(shown.perform(QStringLiteral("plot-range"), QStringLiteral("0...3")));
    const QString base = directory.filePath(QStringLiteral("plot."));
    for (const char *const ending : {"png", "svg", "csv"})
        QVERIFY2(shown.perform(QStringLiteral("export-plot"), base + QString::fromLatin1(ending)),
                 qPrintable(shown.error));
    QFile csv(base + QStringLiteral("csv"));
    QVERIFY(csv.open(QIODevice::ReadOnly));
    QCOMPARE(csv.readAll(),
             QByteArray("stream,number,seconds,offset,size,key\n"
                        "0,0,0.000000,10590,1559,yes\n"
                        "0,1,0.100000,12294,0,no\n"
                        "0,2,0.200000,12302,336,no\n"));
    const QImage image(base + QStringLiteral("png"));
    QCOMPARE(image.size(), shown.analysis().plotView().size() * 2);
    QVERIFY(!image.allGray());
    QFile svg(base + QStringLiteral("svg"));
    QVERIFY(svg.open(QIODevice::ReadOnly));
    const QByteArray text = svg.readAll();
    QVERIFY(text.startsWith("<?xml"));
    QVERIFY(text.contains("1559 bytes"));
    QVERIFY(!shown.perform(QStringLiteral("export-plot"), base + QStringLiteral("pdf")));
    QVERIFY(shown.perform(QStringLiteral("export-plot"), QStringLiteral("/nowhere/plot.csv")));
    QVERIFY(shown.analysis().plotView().statusText().startsWith(QStringLiteral("/nowhere/plot.csv cannot be written")));
}

void ViewerPlotTest::whatIsReadAloud()
{
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("show-plot")));
    PlotView &plot = shown.analysis().plotView();
    QAccessibleInterface *const chart = QAccessible::queryAccessibleInterface(&plot);
    QCOMPARE(chart->role(), QAccessible::Chart);
    QVERIFY(!chart->text(QAccessible::Name).isEmpty());
    QCOMPARE(chart->text(QAccessible::Value), QStringLiteral("no packet"));
    // Each move is told as soon as there is somebody to be told; a platform without a screen never has anybody.
    QSignalSpy moves(&plot, &PlotView::cursorMoved);
    QVERIFY(shown.perform(QStringLiteral("packet"), QStringLiteral("61")));
    QCOMPARE(moves.size(), 1);
    QCOMPARE(chart->text(QAccessible::Value),
             QStringLiteral("packet 13 of stream 0, video, 0:00:01.300, 1848 bytes, key"));
    QTest::keyClick(&plot, Qt::Key_Right);
    QCOMPARE(moves.size(), 2);
    QCOMPARE(chart->text(QAccessible::Value), QStringLiteral("packet 14 of stream 0, video, 0:00:01.400, 202 bytes"));
    QAccessibleInterface *const bar = QAccessible::queryAccessibleInterface(&shown.page->overview());
    QVERIFY(bar->text(QAccessible::Value).startsWith(QStringLiteral("offset 18522 of 22956, video, ")));
    // A cell of the table.
    QVERIFY(shown.perform(QStringLiteral("show-packets")));
    QAccessibleInterface *const table = QAccessible::queryAccessibleInterface(&shown.analysis().packetsView().table());
    QAccessibleInterface *const cell = table->tableInterface()->cellAt(61, int(PacketColumn::Size));
    QCOMPARE(cell->text(QAccessible::Name), QStringLiteral("1848"));
}

void ViewerPlotTest::nothingIsNameless()
{
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    for (const char *const tab : {"show-packets", "show-plot", "show-findings"}) {
        QVERIFY(shown.perform(QString::fromLatin1(tab)));
        const QList<QWidget *> widgets = shown.analysis().findChildren<QWidget *>();
        int focusable = 0;
        for (QWidget *const widget : widgets) {
            if (widget->focusPolicy() == Qt::NoFocus || !widget->isVisibleTo(&shown.window))
                continue;
            ++focusable;
            QVERIFY2(!QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name).isEmpty(),
                     qPrintable(QLatin1String(widget->metaObject()->className()) + widget->objectName()));
        }
        QVERIFY(focusable >= 2);
    }
}

void ViewerPlotTest::coloursCanBeSeen_data()
{
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("light") << paletteOf("#ffffff", "#000000", "#308cc6", "#ffffff");
    QTest::newRow("soft light") << paletteOf("#fcfcfc", "#232629", "#3daee9", "#ffffff");
    QTest::newRow("dark") << paletteOf("#232323", "#ffffff", "#2a82da", "#000000");
    QTest::newRow("soft dark") << paletteOf("#1b1e20", "#fcfcfc", "#3daee9", "#fcfcfc");
    QTest::newRow("high contrast, black") << paletteOf("#000000", "#ffffff", "#1aebff", "#000000");
    QTest::newRow("high contrast, yellow") << paletteOf("#000000", "#ffff00", "#ffff00", "#000000");
    QTest::newRow("high contrast, white") << paletteOf("#ffffff", "#000000", "#37006e", "#ffffff");
}

void ViewerPlotTest::coloursCanBeSeen()
{
    QFETCH(QPalette, palette);
    constexpr double ofTexts = 4.5;
    constexpr double ofShapes = 3;
    const QColor base = palette.color(QPalette::Base);
    const QColor text = palette.color(QPalette::Text);
    const QColor highlight = palette.color(QPalette::Highlight);
    for (const RegionKind kind : {RegionKind::Header, RegionKind::Video, RegionKind::Audio, RegionKind::OtherData,
                                  RegionKind::Index, RegionKind::Padding, RegionKind::Text}) {
        const QColor color = kindColor(kind, palette);
        QVERIFY2(wcagContrast(color, base) >= ofShapes, qPrintable(color.name()));
        // Bytes stand on a faint colour, below one of two shades of fields.
        const QColor ground = faintColor(color, palette);
        for (const int alpha : {0, 28, 56}) {
            const QColor shaded = over(highlight, alpha, ground);
            QVERIFY2(wcagContrast(text, shaded) >= ofTexts, qPrintable(shaded.name()));
        }
        // Patterns tell kinds apart where colours do not.
        QVERIFY(kind == RegionKind::Video || kindBrush(kind, palette).style() != Qt::SolidPattern);
    }
    QVERIFY(wcagContrast(frameColor(palette), base) >= ofShapes);
    QVERIFY(wcagContrast(quietTextColor(palette), base) >= ofTexts);
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        const QColor selected = selectionColor(palette, group);
        QVERIFY2(wcagContrast(textColorOn(selected, palette), selected) >= ofTexts, qPrintable(selected.name()));
    }
    QVERIFY(std::abs(contrastRatio(Qt::black, Qt::white) - 21) < 0.01);
}

QTEST_MAIN(ViewerPlotTest)
#include "tst_viewerplot.moc"
