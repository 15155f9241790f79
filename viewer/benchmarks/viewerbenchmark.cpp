// Drives the window without a screen and measures how long works take, and how long the window did not answer. Prints
// one line "work=... seconds=... blocked=... busy=... peak=...": the time of the work, or of the slowest of many; the
// longest time that an event had to wait; the longest processor time of one event; the peak of resident memory in
// bytes.
#include "mainwindow.h"
#include "pluginloader.h"
#include "watch.h"

#include <QCoreApplication>
#include <QFile>
#include <QScrollBar>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include <unistd.h>

using namespace quenlofar;

namespace {

constexpr int repetitions = 100;

/// Notes that a widget was painted.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(QWidget *widget) { widget->installEventFilter(this); }
    bool wasPainted = false;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        wasPainted = wasPainted || event->type() == QEvent::Paint;
        return false;
    }
};

quint64 peakMemory()
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = file.readAll();
    const auto at = text.indexOf("VmHWM:");
    return at < 0 ? 0 : QByteArray(text.constData() + at + 6, 20).trimmed().split(' ').first().toULongLong() * 1024;
}

DocumentOptions benchmarkOptions()
{
    auto plugins = std::make_shared<PluginLoader>();
    plugins->addDirectory(QCoreApplication::applicationDirPath() + QLatin1Char('/')
                          + QStringLiteral(QUENLOFAR_PLUGINS_FROM_BENCHMARKS));
    DocumentOptions options;
    options.plugins = plugins;
    return options;
}

/// One window with one file.
class Bench
{
public:
    Bench(TimedApplication &application, QString file)
        : m_application(application), m_file(std::move(file)), m_window(benchmarkOptions())
    {
        constexpr QSize size(1280, 720);
        m_window.resize(size);
        m_window.show();
    }

    void start(Clock::time_point begun)
    {
        open();
        PaintWatch painted(m_page->hexView().viewport());
        waitFor([&] { return painted.wasPainted && m_page->document().tree().itemCount() > 0; });
        m_seconds = secondsSince(begun);
        waitFor([&] { return m_page->document().isRead(); });
    }
    void ready()
    {
        const Clock::time_point begin = Clock::now();
        open();
        waitFor([&] { return m_page->document().isRead() && !m_page->document().isJudging(); });
        m_seconds = secondsSince(begin);
    }
    /// The place is set in the bytes: structure, bytes, packets and overview show another one.
    void place()
    {
        openWhole();
        std::mt19937_64 random(1); // NOLINT(cert-msc51-cpp): the same places in every run
        PaintWatch structure(m_page->structureView().viewport());
        PaintWatch bytes(m_page->hexView().viewport());
        PaintWatch packets(m_page->analysis().packetsView().table().viewport());
        PaintWatch overview(&m_page->overview());
        const quint64 count = m_page->document().packets()->size();
        slowestOf([&](int) {
            structure.wasPainted = bytes.wasPainted = packets.wasPainted = overview.wasPainted = false;
            m_page->document().setPacket(random() % count, Move::Jump);
            waitFor(
                [&] { return structure.wasPainted && bytes.wasPainted && packets.wasPainted && overview.wasPainted; });
        });
    }
    /// All packets are held against a condition and sorted.
    void sort()
    {
        openWhole();
        waitFor([&] { return m_page->document().isIdle(); });
        const Clock::time_point begin = Clock::now();
        QString error;
        if (!m_window.perform(QStringLiteral("filter-packets"), QStringLiteral("size>0 && offset>100"), &error))
            fail("the condition is none");
        m_page->analysis().packetsView().setSorting(PacketColumn::Size, true);
        waitFor([&] { return m_page->document().isIdle(); });
        m_seconds = secondsSince(begin);
    }
    /// Frames of the plot with all curves, while it is zoomed into and moved.
    void plot()
    {
        openWhole();
        waitFor([&] { return m_page->document().isIdle(); });
        m_page->analysis().setCurrentIndex(AnalysisTabs::PlotTab);
        PlotView &view = m_page->analysis().plotView();
        view.setSettings({PlotSettings::Axis::Time, -1,
                          PlotSettings::BitRate | PlotSettings::Interleave | PlotSettings::Lead, false});
        PaintWatch painted(&view);
        waitUntilQuiet();
        constexpr double closer = 0.9;
        slowestOf([&](int i) {
            painted.wasPainted = false;
            if (i < repetitions / 2)
                view.zoom(closer, view.end() / 3);
            else
                view.setRange(view.from() + 1, view.to() + 1);
            waitFor([&] { return painted.wasPainted; });
        });
    }
    /// The node with the most children is expanded.
    void expand()
    {
        openWhole();
        StructureView &view = m_page->structureView();
        const QModelIndex index = view.elements().indexOf(widest());
        view.scrollTo(index);
        PaintWatch painted(view.viewport());
        waitUntilQuiet();
        painted.wasPainted = false;
        const Clock::time_point begin = Clock::now();
        view.expand(index);
        waitFor([&] { return painted.wasPainted; });
        m_seconds = secondsSince(begin);
    }
    /// Frames of the structure that is scrolled, with a group of a thousand and what is in it.
    void scroll()
    {
        openWhole();
        StructureView &view = m_page->structureView();
        const QModelIndex index = view.elements().indexOf(widest());
        view.expand(index);
        for (int group = 0; group < 20; ++group)
            view.expand(view.elements().index(group, 0, index));
        PaintWatch painted(view.viewport());
        waitUntilQuiet();
        slowestOf([&](int i) {
            painted.wasPainted = false;
            view.verticalScrollBar()->setValue(
                int(qint64(view.verticalScrollBar()->maximum()) * (i + 1) / repetitions));
            waitFor([&] { return painted.wasPainted; });
        });
    }
    /// Frames of the bytes that are scrolled.
    void bytes()
    {
        openWhole();
        HexView &view = m_page->hexView();
        PaintWatch painted(view.viewport());
        waitUntilQuiet();
        slowestOf([&](int i) {
            painted.wasPainted = false;
            view.setTopRow(view.layoutOfBytes().lastTop() / repetitions * quint64(i + 1));
            waitFor([&] { return painted.wasPainted; });
        });
    }
    /// Every item is looked at for a condition.
    void filter()
    {
        openWhole();
        const Clock::time_point begin = Clock::now();
        m_page->filterBar().setText(QStringLiteral("size>=1000000000000"));
        waitFor([&] { return m_page->filterBar().search().isDone(); });
        m_seconds = secondsSince(begin);
    }
    /// Bytes that are nowhere are looked for in the whole file.
    void find()
    {
        open();
        waitFor([&] { return m_page->document().isRead(); });
        waitUntilQuiet();
        const Clock::time_point begin = Clock::now();
        QString error;
        if (!m_page->findBar().find(QStringLiteral("bytes"), QStringLiteral("93 4D ?? 71 0F"), &error))
            fail("the bytes are not looked for");
        waitFor([&] { return !m_page->findBar().isRunning(); });
        if (!m_page->findBar().isWhole())
            fail("the search ended early");
        m_seconds = secondsSince(begin);
    }
    /// Everything is expanded, up to the bound.
    void below()
    {
        openWhole();
        m_page->structureView().selectionModel()->clear();
        const Clock::time_point begin = Clock::now();
        m_page->structureView().expandBelow();
        waitFor([&] { return !m_page->structureView().isExpanding(); });
        m_seconds = secondsSince(begin);
    }
    /// The path of the last of very many children is told, and found again.
    void path()
    {
        openWhole();
        const GrowingTree &tree = m_page->document().tree();
        const TreeItem node = widest();
        const TreeItem last = tree.child(node, tree.childCount(node) - 1);
        slowestOf([&](int) {
            QString error;
            m_page->document().setBytes({0, 1}, Move::Jump);
            if (!m_window.perform(QStringLiteral("goto"), tree.path(last), &error)
                || m_page->document().place().item != last)
                fail("the path leads elsewhere");
        });
    }
    /// The file is closed while it is being read.
    void close()
    {
        open();
        waitFor([&] { return m_page->document().tree().itemCount() > 1000; });
        const Clock::time_point begin = Clock::now();
        QString error;
        m_window.perform(QStringLiteral("close"), {}, &error);
        m_seconds = secondsSince(begin);
    }

    void report(const char *work) const
    {
        std::printf("work=%s seconds=%.6f blocked=%.6f busy=%.6f peak=%llu\n", work, m_seconds, m_watch.longest(),
                    m_application.busiest(), static_cast<unsigned long long>(peakMemory()));
    }

private:
    [[noreturn]] static void fail(const char *what)
    {
        std::fprintf(stderr, "viewer-benchmark: %s\n", what);
        std::_Exit(1);
    }
    template <typename Holds> void waitFor(Holds holds)
    {
        const Clock::time_point begin = Clock::now();
        constexpr double longest = 300;
        while (!holds()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); // the watch sends one every millisecond
            if (secondsSince(begin) > longest)
                fail("nothing happens");
        }
    }
    void waitUntilQuiet()
    {
        const Clock::time_point begin = Clock::now();
        constexpr double quiet = 0.2;
        waitFor([begin] { return secondsSince(begin) > quiet; });
        reset();
    }
    void reset()
    {
        m_watch.reset();
        m_application.reset();
    }
    void open() { m_page = m_window.open(m_file); }
    void openWhole()
    {
        open();
        waitFor([&] { return m_page->document().isRead(); });
        if (m_page->document().tree().itemCount() == 0)
            fail("the file has no structure");
        waitUntilQuiet();
    }
    template <typename Work> void slowestOf(Work work)
    {
        for (int i = 0; i < repetitions; ++i) {
            const Clock::time_point begin = Clock::now();
            work(i);
            m_seconds = std::max(m_seconds, secondsSince(begin));
        }
    }
    /// Of the nodes on the two outermost levels that with the most children.
    TreeItem widest() const
    {
        const GrowingTree &tree = m_page->document().tree();
        TreeItem found = tree.child(GrowingTree::root(), 0);
        const auto consider = [&](TreeItem item) {
            if (tree.childCount(item) > tree.childCount(found))
                found = item;
        };
        constexpr quint32 most = 1000;
        for (quint32 row = 0; row < std::min(most, tree.childCount(GrowingTree::root())); ++row) {
            const TreeItem outer = tree.child(GrowingTree::root(), row);
            consider(outer);
            for (quint32 inner = 0; inner < std::min(most, tree.childCount(outer)); ++inner)
                consider(tree.child(outer, inner));
        }
        return found;
    }

    TimedApplication &m_application;
    const QString m_file;
    MainWindow m_window;
    FilePage *m_page = nullptr;
    Watch m_watch;
    double m_seconds = 0;
};

struct Work
{
    const char *name;
    void (Bench::*measure)();
};
const Work works[] = {{"ready", &Bench::ready},   {"place", &Bench::place}, {"expand", &Bench::expand},
                      {"scroll", &Bench::scroll}, {"bytes", &Bench::bytes}, {"filter", &Bench::filter},
                      {"below", &Bench::below},   {"find", &Bench::find},   {"path", &Bench::path},
                      {"sort", &Bench::sort},     {"plot", &Bench::plot},   {"close", &Bench::close}};

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3 || argc > 4) {
        std::fprintf(
            stderr,
            "usage: viewer-benchmark start|ready|place|expand|scroll|bytes|filter|find|below|path|sort|plot|close "
            "FILE\n");
        return 2;
    }
    const bool isStart = std::strcmp(argv[1], "start") == 0;
    if (isStart && argc == 3) {
        // The process begins anew, and with it all that comes before main().
        const std::string now = std::to_string(Clock::now().time_since_epoch().count());
        execl("/proc/self/exe", argv[0], argv[1], argv[2], now.c_str(), static_cast<char *>(nullptr));
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}); // about what has no screen
    int status = 2;
    {
        TimedApplication application(argc, argv);
        Bench bench(application, QFile::decodeName(argv[2]));
        if (isStart) {
            bench.start(Clock::time_point(Clock::duration(std::stoll(argv[3]))));
            status = 0;
        }
        for (const Work &work : works) {
            if (std::strcmp(work.name, argv[1]) == 0) {
                (bench.*work.measure)();
                status = 0;
            }
        }
        bench.report(argv[1]);
        std::fflush(stdout);
    }
    std::_Exit(status); // memory is given back by threads that nobody waits for
}
