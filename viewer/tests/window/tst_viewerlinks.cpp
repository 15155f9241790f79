// The views of one file together: a place that is set in one is shown by all others, places that point at others, what
// is done with packets, plot and findings, and all of it while threads work or hang.
#include "scriptedanalyzer.h"
#include "shownwindow.h"

#include <QAbstractScrollArea>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QTest>
#include <QTreeView>

#include <random>

using namespace quenlofar;

namespace {

/// A packet of a file, as ffprobe and a hex dump show it.
struct KnownPacket
{
    const char *file;
    const char *path; // of its chunk
    int index; // among all packets
    int number;
    int stream;
    int offset;
    int size;
};

constexpr KnownPacket knownPackets[] = {
    {"sample.avi", "RIFF(AVI )/LIST(movi)/00dc", 2, 0, 0, 10590, 1559},
    {"sample.avi", "RIFF(AVI )/LIST(movi)/00dc[13]", 61, 13, 0, 16530, 1848},
    {"golden/ffmpeg-h264-aac-ac3-audio-first.avi", "RIFF(AVI )/LIST(movi)/01dc", 0, 0, 1, 14228, 1453},
    {"golden/dvgrab-dv-type2.avi", "RIFF(AVI )/LIST(movi)/00dc", -1, 0, 0, 6936, 120000},
    {"golden/mencoder-xvid-mp3cbr.avi", "RIFF(AVI )/LIST(movi)/00dc[7]", -1, 7, 0, 11432, 256},
};

} // namespace

class ViewerLinksTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void everyViewSetsAndShowsPlaces_data();
    void everyViewSetsAndShowsPlaces();
    void placesThatPointElsewhere();
    void entriesRelativeToABase();
    void stepsThroughPackets();
    void packetsOnCondition();
    void packetsAreCopied();
    void findingsAndTheirPlaces();
    void findingsOfAnotherLevel();
    void pluginsWithoutAnalyzer();
    void checksThatDoNotEnd();
    void windowNeverReads();
    void anythingAtAnyTime_data();
    void anythingAtAnyTime();
    void actionsThatCannotBeDone();
};

void ViewerLinksTest::everyViewSetsAndShowsPlaces_data()
{
    QTest::addColumn<int>("known");
    QTest::addColumn<QString>("setter");
    for (int known = 0; known < int(std::size(knownPackets)); ++known) {
        for (const char *const setter : {"structure", "bytes", "packets", "plot", "overview", "goto"}) {
            QTest::addRow("%s %d in %s", setter, knownPackets[known].number, knownPackets[known].file)
                << known << QString::fromLatin1(setter);
        }
    }
}

void ViewerLinksTest::everyViewSetsAndShowsPlaces()
{
    QFETCH(int, known);
    QFETCH(QString, setter);
    const KnownPacket &packet = knownPackets[known];
    Shown shown(pluginOptions(), sample(QString::fromLatin1(packet.file)));
    QVERIFY(shown.waitUntilIdle());
    Document &document = shown.page->document();
    const quint64 index = document.packets()->indexOf(packet.stream, quint64(packet.number));
    if (packet.index >= 0)
        QCOMPARE(index, quint64(packet.index));
    const Effort effort;
    if (setter == QLatin1String("structure")) {
        const TreeItem item = document.tree().itemAt(quint64(packet.offset));
        shown.page->structureView().setCurrentIndex(shown.page->structureView().elements().indexOf(item));
    } else if (setter == QLatin1String("bytes")) {
        HexView &view = shown.page->hexView();
        view.setTopRow(view.layoutOfBytes().rowOf(quint64(packet.offset)));
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, view.byteRect(quint64(packet.offset)).center());
    } else if (setter == QLatin1String("packets")) {
        shown.analysis().setCurrentIndex(AnalysisTabs::PacketsTab);
        QTableView &table = shown.analysis().packetsView().table();
        table.setCurrentIndex(table.model()->index(int(index), 0));
    } else if (setter == QLatin1String("plot")) {
        shown.analysis().setCurrentIndex(AnalysisTabs::PlotTab);
        PlotView &plot = shown.analysis().plotView();
        PlotSettings settings;
        settings.stream = packet.stream;
        plot.setSettings(settings);
        plot.setRange(packet.number, packet.number + 2); // it has the left half, unless the range moved
        const double share = (packet.number + 0.5 - plot.from()) / (plot.to() - plot.from());
        const QRect rect = plot.plotRect();
        QTest::mouseClick(&plot, Qt::LeftButton, {},
                          QPoint(rect.left() + int(share * rect.width()), rect.center().y()));
    } else if (setter == QLatin1String("overview")) {
        OverviewBar &overview = shown.page->overview();
        const int x = overview.xOf(quint64(packet.offset + packet.size / 2));
        QTest::mouseClick(&overview, Qt::LeftButton, {}, QPoint(x, overview.height() / 2));
    } else {
        QVERIFY(shown.perform(QStringLiteral("goto"), QString::number(packet.offset)));
    }
    QVERIFY(effort.milliseconds() < 500); // the goal is 50 ms, without sanitizers
    QVERIFY(shown.waitUntilIdle());

    const auto isInPacket = [&packet](int offset) {
        return offset >= packet.offset && offset < packet.offset + packet.size;
    };
    QVERIFY2(isInPacket(shown.offset()), qPrintable(QString::number(shown.offset())));
    QCOMPARE(shown.place()[QStringLiteral("packet")].toInt(-1), int(index));
    const QString chunk = QString::fromLatin1(packet.path) + QLatin1Char('/');
    const QString path = shown.place()[QStringLiteral("path")].toString();
    QVERIFY2(path.startsWith(chunk), qPrintable(path));
    QCOMPARE(shown.state(QStringLiteral("structure"))[QStringLiteral("current")].toString(), path);
    const HexView &bytes = shown.page->hexView();
    QVERIFY(isInPacket(int(bytes.cursor())));
    QVERIFY(!bytes.byteRect(bytes.cursor()).isNull());
    QCOMPARE(shown.view(QStringLiteral("packets"))[QStringLiteral("current")].toInt(-1), int(index));
    const QString cursor = shown.view(QStringLiteral("plot"))[QStringLiteral("cursor")].toString();
    QVERIFY2(cursor.startsWith(QStringLiteral("packet %1 of stream %2, ").arg(packet.number).arg(packet.stream)),
             qPrintable(cursor));
    QVERIFY2(cursor.contains(QStringLiteral(" %1 bytes").arg(packet.size)), qPrintable(cursor));
    const PlotView &plot = shown.analysis().plotView();
    QVERIFY(plot.from() <= packet.number && plot.to() > packet.number);
    const QString overview = shown.state(QStringLiteral("overview"))[QStringLiteral("place")].toString();
    QVERIFY2(overview.startsWith(QStringLiteral("offset %1 of ").arg(shown.offset())), qPrintable(overview));
    QVERIFY2(overview.contains(QStringLiteral(", video, ")), qPrintable(overview));
}

void ViewerLinksTest::placesThatPointElsewhere()
{
    // In samples/sample.avi the data of idx1 begin at 21356, 16 bytes for each chunk; the third chunk is the first
    // picture, at 10590.
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("21396"))); // dwOffset of the third entry
    const QJsonObject target = shown.place()[QStringLiteral("target")].toObject();
    QCOMPARE(target[QStringLiteral("offset")].toInt(), 10590);
    QCOMPARE(target[QStringLiteral("size")].toInt(), 1559);
    QVERIFY(shown.page->statusText().endsWith(QStringLiteral("points at 10590")));
    QTest::keyClick(&shown.page->structureView(), Qt::Key_Return);
    QCOMPARE(shown.page->document().place().range, (ByteRange{10590, 1559}));
    QVERIFY(shown.page->statusText().endsWith(QStringLiteral("an index entry points here")));
    // One pointer alone: the action goes there at once.
    QVERIFY(shown.perform(QStringLiteral("pointers")));
    QCOMPARE(shown.page->document().place().range, (ByteRange{21388, 16}));
    QVERIFY(shown.perform(QStringLiteral("follow")));
    QCOMPARE(shown.offset(), 10590);
    // From the chunk's header, too, and back by the history.
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("10582")));
    const QJsonArray pointers = shown.place()[QStringLiteral("pointers")].toArray();
    QCOMPARE(pointers.size(), 1);
    QCOMPARE(pointers.at(0).toObject()[QStringLiteral("offset")].toInt(), 21388);
    QVERIFY(shown.perform(QStringLiteral("pointers"), QStringLiteral("0")));
    QCOMPARE(shown.offset(), 21388);
    QVERIFY(shown.perform(QStringLiteral("back")));
    QCOMPARE(shown.offset(), 10582);
    // Where nothing points anywhere.
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("0x40")));
    QVERIFY(shown.perform(QStringLiteral("follow")));
    QCOMPARE(shown.offset(), 0x40);
    QVERIFY(!shown.perform(QStringLiteral("pointers"), QStringLiteral("0")));
}

void ViewerLinksTest::entriesRelativeToABase()
{
    // The index of the pictures stands in the header at 288: entries of 8 bytes from 320 on, counted from the byte
    // 1386; the fourth one says 6328 with 10 bytes. So does ffprobe.
    Shown shown(pluginOptions(), sample(QStringLiteral("golden/spliced-opendml-std-index.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("344")));
    QVERIFY(shown.perform(QStringLiteral("follow")));
    QCOMPARE(shown.offset(), 6328);
    QVERIFY(shown.perform(QStringLiteral("pointers"), QStringLiteral("0")));
    QCOMPARE(shown.offset(), 344);
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("714"))); // the second entry of the sound
    QVERIFY(shown.perform(QStringLiteral("follow")));
    QCOMPARE(shown.offset(), 1510);
}

void ViewerLinksTest::stepsThroughPackets()
{
    // ffprobe: key frames at 10590 and 16530; the chunk at 12294 is empty.
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("next-key")));
    QCOMPARE(shown.offset(), 10590);
    QVERIFY(shown.perform(QStringLiteral("next-key")));
    QCOMPARE(shown.offset(), 16530);
    QVERIFY(shown.perform(QStringLiteral("next-key")));
    QCOMPARE(shown.offset(), 16530);
    QVERIFY(shown.perform(QStringLiteral("previous-key")));
    QCOMPARE(shown.offset(), 10590);
    QVERIFY(shown.perform(QStringLiteral("next-empty")));
    QCOMPARE(shown.offset(), 12294);
    QCOMPARE(shown.place()[QStringLiteral("packet")].toInt(), 7);
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("end-1")));
    QVERIFY(shown.perform(QStringLiteral("previous-empty")));
    QCOMPARE(shown.offset(), 12294);
}

void ViewerLinksTest::packetsOnCondition()
{
    // A hex dump of samples/sample.avi has 100 chunks, 21 of them pictures; 14 pictures have more than 235 bytes, the
    // largest are those of 1848, 1559 and 336 bytes.
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    const auto packets = [&shown] { return shown.view(QStringLiteral("packets")); };
    QCOMPARE(packets()[QStringLiteral("count")].toInt(), 100);
    QVERIFY(shown.perform(QStringLiteral("packet"), QStringLiteral("61")));
    QVERIFY(shown.perform(QStringLiteral("filter-packets"), QStringLiteral("stream==0 && size>235")));
    QCOMPARE(packets()[QStringLiteral("status")].toString(), QStringLiteral("14 of 100 packets"));
    QCOMPARE(packets()[QStringLiteral("current")].toInt(), 61); // it is still the current one
    QVERIFY(shown.perform(QStringLiteral("sort-packets"), QStringLiteral("-size")));
    const QJsonArray rows = packets()[QStringLiteral("rows")].toArray();
    QVERIFY(rows.size() >= 3);
    const QStringList sizes{rows.at(0).toArray().at(5).toString(), rows.at(1).toArray().at(5).toString(),
                            rows.at(2).toArray().at(5).toString()};
    QCOMPARE(sizes, (QStringList{QStringLiteral("1848"), QStringLiteral("1559"), QStringLiteral("336")}));
    QCOMPARE(packets()[QStringLiteral("current")].toInt(), 61);
    // What is no condition leaves everything as it is.
    QVERIFY(!shown.perform(QStringLiteral("filter-packets"), QStringLiteral("size>>1")));
    QCOMPARE(shown.error, QStringLiteral("A number is expected, at character 6."));
    QCOMPARE(packets()[QStringLiteral("count")].toInt(), 14);
    // A packet that is not shown is no current one; the others show it.
    QVERIFY(shown.perform(QStringLiteral("packet"), QStringLiteral("0")));
    QVERIFY(packets()[QStringLiteral("current")].isNull());
    QCOMPARE(shown.offset(), 10078);
    // As people type it.
    QLineEdit &field = shown.analysis().packetsView().filterField();
    field.setText(QStringLiteral("known==idx1 && empty"));
    QTest::keyClick(&field, Qt::Key_Return);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(packets()[QStringLiteral("count")].toInt(), 1);
    field.setText(QStringLiteral("nonsense"));
    QTest::keyClick(&field, Qt::Key_Return);
    QVERIFY(packets()[QStringLiteral("status")].toString().endsWith(QStringLiteral("at character 1.")));
    field.clear();
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(packets()[QStringLiteral("count")].toInt(), 100);
    QVERIFY(!shown.perform(QStringLiteral("sort-packets"), QStringLiteral("colour")));
}

void ViewerLinksTest::packetsAreCopied()
{
    Shown shown(pluginOptions(), sample(QStringLiteral("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(QStringLiteral("offsets"))); // decimal
    QTableView &table = shown.analysis().packetsView().table();
    table.setColumnHidden(int(PacketColumn::Time), true);
    table.setColumnHidden(int(PacketColumn::Gap), true);
    table.selectRow(2);
    table.selectionModel()->select(QItemSelection(table.model()->index(7, 0), table.model()->index(7, 8)),
                                   QItemSelectionModel::Select);
    QVERIFY(shown.perform(QStringLiteral("copy-packets-csv")));
    QCOMPARE(QApplication::clipboard()->text(),
             QStringLiteral("Number,Stream,Kind,Offset,Size,Key,Known by\n"
                            "0,0,video,10590,1559,key,\"movi, idx1\"\n"
                            "1,0,video,12294,0,no,\"movi, idx1\"\n"));
    QVERIFY(shown.perform(QStringLiteral("copy-packets")));
    QCOMPARE(QApplication::clipboard()->text().split(QLatin1Char('\n')).at(2),
             QStringLiteral("1\t0\tvideo\t12294\t0\tno\tmovi, idx1"));
}

void ViewerLinksTest::findingsAndTheirPlaces()
{
    // As `quenlofar check --format json` has them.
    Shown shown(pluginOptions(), sample(QStringLiteral("golden/spliced-truncated.avi")));
    QVERIFY(shown.waitUntilIdle());
    const auto findings = [&shown] { return shown.view(QStringLiteral("findings")); };
    QVERIFY(findings()[QStringLiteral("status")].toString().startsWith(
        QStringLiteral("damaged. 6 errors, 1 warning, 1 note")));
    const auto rules = [&findings] {
        QStringList names;
        const QJsonArray shownOnes = findings()[QStringLiteral("shown")].toArray();
        for (const QJsonValue &each : shownOnes)
            names.append(each.toObject()[QStringLiteral("rule")].toString() + QLatin1Char(' ')
                         + QString::number(each.toObject()[QStringLiteral("causedBy")].toInt()));
        return names.join(QStringLiteral(", "));
    };
    QCOMPARE(rules(),
             QStringLiteral("riff-beyond-file 0, last-chunk-cut 1, index-missing 1, frame-count 1, "
                            "index-flag-without-index 1, stream-length 1, stream-length 1, empty-frames 0"));
    FindingsView &view = shown.analysis().findingsView();
    QVERIFY(shown.perform(QStringLiteral("show-findings")));
    view.setCurrentFinding(4);
    QVERIFY(view.explanation().contains(QStringLiteral("Rule: frame-count: ")));
    QVERIFY(view.explanation().contains(QStringLiteral("Caused by: ")));
    QCOMPARE(shown.offset(), 0);
    QTest::keyClick(&view.list(), Qt::Key_Return);
    QCOMPARE(shown.page->document().place().range, (ByteRange{48, 4}));
    QCOMPARE(shown.state(QStringLiteral("structure"))[QStringLiteral("current")].toString(),
             QStringLiteral("RIFF(AVI )/LIST(hdrl)/avih/dwTotalFrames"));
    // The byte leads to the finding as well, and so do the steps.
    QVERIFY(shown.perform(QStringLiteral("goto"), QStringLiteral("141")));
    QCOMPARE(findings()[QStringLiteral("current")].toInt(), 6);
    QVERIFY(shown.perform(QStringLiteral("next-finding")));
    QCOMPARE(shown.offset(), 4468);
    QVERIFY(shown.perform(QStringLiteral("previous-finding")));
    QCOMPARE(shown.offset(), 140);
    QVERIFY(shown.perform(QStringLiteral("finding"), QStringLiteral("2")));
    QCOMPARE(shown.offset(), 13568);
    // Its packet is cut, so it is the last one.
    QCOMPARE(shown.place()[QStringLiteral("packet")].toInt(), int(shown.page->document().packets()->size()) - 1);

    QVERIFY(shown.perform(QStringLiteral("findings-of"), QStringLiteral("warning")));
    QVERIFY(!rules().contains(QStringLiteral("empty-frames")));
    QVERIFY(findings()[QStringLiteral("status")].toString().contains(QStringLiteral("7 of 8 findings shown")));
    QVERIFY(shown.perform(QStringLiteral("findings-of"), QStringLiteral("repair")));
    QCOMPARE(findings()[QStringLiteral("shown")].toArray().size(), 7);
    QVERIFY(!shown.perform(QStringLiteral("findings-of"), QStringLiteral("all")));
}

void ViewerLinksTest::findingsOfAnotherLevel()
{
    const auto script = std::make_shared<AnalyzerScript>();
    Shown shown(optionsWithAnalyzer(makeFile(10'000), script));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(int(script->level), int(Level::Default));
    QCOMPARE(shown.view(QStringLiteral("findings"))[QStringLiteral("shown")].toArray().size(), 1);
    QVERIFY(shown.perform(QStringLiteral("check-level"), QStringLiteral("deep")));
    QCOMPARE(int(script->level), int(Level::Deep));
    QCOMPARE(int(script->checks), 2);
    QCOMPARE(shown.view(QStringLiteral("findings"))[QStringLiteral("shown")].toArray().size(), 2);
    QVERIFY(shown.perform(QStringLiteral("next-finding")));
    QCOMPARE(shown.offset(), 20);
    QVERIFY(shown.perform(QStringLiteral("next-finding")));
    QCOMPARE(shown.offset(), 1108);
    QVERIFY(shown.perform(QStringLiteral("check-level"), QStringLiteral("quick")));
    QCOMPARE(shown.view(QStringLiteral("findings"))[QStringLiteral("shown")].toArray().size(), 1);
    QCOMPARE(shown.place()[QStringLiteral("finding")].toInt(), 0);
    // Back where the first one is, forward where the deep level had another one.
    QVERIFY(shown.perform(QStringLiteral("back")));
    QCOMPARE(shown.place()[QStringLiteral("finding")].toInt(), 1);
    QVERIFY(shown.perform(QStringLiteral("forward")));
    QCOMPARE(shown.offset(), 1108);
    QCOMPARE(shown.place()[QStringLiteral("finding")].toInt(), 0);
    QCOMPARE(shown.place()[QStringLiteral("packet")].toInt(), 1);
    QVERIFY(!shown.perform(QStringLiteral("check-level"), QStringLiteral("deepest")));
}

void ViewerLinksTest::pluginsWithoutAnalyzer()
{
    Shown shown(optionsFor(makeFile(10'000), 10, 108));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.view(QStringLiteral("packets"))[QStringLiteral("status")].toString(),
             QStringLiteral("No plug-in knows the packets of this file."));
    QCOMPARE(shown.view(QStringLiteral("plot"))[QStringLiteral("status")].toString(),
             QStringLiteral("No plug-in knows the packets of this file."));
    QCOMPARE(shown.view(QStringLiteral("findings"))[QStringLiteral("status")].toString(),
             QStringLiteral("No plug-in has rules for this file."));
    // The overview is made from the tree.
    QVERIFY(!shown.page->overview().kinds().empty());
    for (const char *const action : {"follow", "pointers", "next-key", "next-finding", "next-empty", "copy-packets"})
        QVERIFY(shown.perform(QString::fromLatin1(action)));
    QVERIFY(!shown.perform(QStringLiteral("packet"), QStringLiteral("0")));
    QVERIFY(!shown.perform(QStringLiteral("finding"), QStringLiteral("1")));
    QVERIFY(!shown.perform(QStringLiteral("export-plot"), QStringLiteral("plot.csv")));
    PlotView &plot = shown.analysis().plotView();
    QVERIFY(shown.perform(QStringLiteral("show-plot")));
    QTest::keyClick(&plot, Qt::Key_Right);
    QTest::keyClick(&plot, Qt::Key_Plus);
    QTest::mouseClick(&plot, Qt::LeftButton);
    plot.grab();
    QCOMPARE(shown.offset(), 0);
}

void ViewerLinksTest::checksThatDoNotEnd()
{
    const auto script = std::make_shared<AnalyzerScript>();
    script->blocksCheck = true;
    QElapsedTimer timer;
    {
        Shown shown(optionsWithAnalyzer(makeFile(10'000), script));
        // Packets are there while the file is still being judged.
        QTRY_COMPARE_WITH_TIMEOUT(int(script->waiting), 1, patience);
        QTRY_COMPARE_WITH_TIMEOUT(shown.view(QStringLiteral("packets"))[QStringLiteral("count")].toInt(), 10, patience);
        QVERIFY(!shown.window.isIdle());
        QCOMPARE(shown.view(QStringLiteral("findings"))[QStringLiteral("status")].toString(),
                 QStringLiteral("The file is being checked."));
        timer.start();
        QVERIFY(shown.window.perform(QStringLiteral("packet"), QStringLiteral("4"), &shown.error));
        QCOMPARE(shown.offset(), 1432);
        shown.window.grab();
        QVERIFY(timer.elapsed() < soon);
        // The next level takes the place of the first.
        QVERIFY(shown.window.perform(QStringLiteral("check-level"), QStringLiteral("deep"), &shown.error));
        QTRY_COMPARE_WITH_TIMEOUT(int(script->checks), 2, patience);
        timer.start();
    }
    QVERIFY(timer.elapsed() < soon);
    QVERIFY(haveThreadsEnded());
    {
        Shown shown(optionsWithAnalyzer(makeFile(10'000), script));
        QTRY_COMPARE_WITH_TIMEOUT(int(script->waiting), 1, patience);
        QTRY_VERIFY_WITH_TIMEOUT(shown.page->document().isRead(), patience);
        QVERIFY(shown.perform(QStringLiteral("stop")));
        QVERIFY(shown.view(QStringLiteral("findings"))[QStringLiteral("status")].toString().contains(
            QStringLiteral("the check was stopped")));
    }
}

void ViewerLinksTest::windowNeverReads()
{
    const auto file = makeFile(1'000'000);
    const auto script = std::make_shared<AnalyzerScript>();
    {
        Shown shown(optionsWithAnalyzer(file, script));
        QVERIFY(shown.waitUntilIdle());
        for (const char *const action : {"next-key", "next-empty", "next-finding", "show-plot", "show-findings"})
            QVERIFY(shown.perform(QString::fromLatin1(action)));
        QVERIFY(shown.perform(QStringLiteral("check-level"), QStringLiteral("deep")));
        QVERIFY(shown.perform(QStringLiteral("filter-packets"), QStringLiteral("key")));
        QCOMPARE(shown.view(QStringLiteral("packets"))[QStringLiteral("count")].toInt(), 3);
        QVERIFY(!shown.page->overview().classes().empty());
        shown.window.grab();
    }
    QVERIFY(haveThreadsEnded());
    QVERIFY(!file->usedInWindow);
}

void ViewerLinksTest::anythingAtAnyTime_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("damages");
    for (const char *const file : {"sample.avi", "golden/spliced-truncated.avi", "golden/spliced-garbage.avi",
                                   "golden/spliced-opendml-avix.avi", "golden/ffmpeg-raw-pal8-palchange-yuy2.avi"}) {
        for (const int damages : {0, 40})
            QTest::addRow("%s, %d bytes changed", file, damages) << QString::fromLatin1(file) << damages;
    }
}

/// A seeded user who waits for nothing. QUENLOFAR_EVENTS says how long, in what is done.
void ViewerLinksTest::anythingAtAnyTime()
{
    QFETCH(QString, file);
    QFETCH(int, damages);
    QFile original(sample(file));
    QVERIFY(original.open(QIODevice::ReadOnly));
    const auto made = makeFile(original.size());
    made->head = original.readAll();
    std::mt19937 random(unsigned(made->head.size() + damages));
    // Most of what can be damaged stands in headers and in the index.
    for (int i = 0; i < damages; ++i) {
        const int size = int(made->head.size());
        const int at = i % 2 == 0 ? int(random() % 3000) : size - 1 - int(random() % 2000);
        made->head[at % size] = char(random());
    }
    DocumentOptions options = pluginOptions();
    options.opener = [made](const QString &, QString *) { return std::make_unique<MadeUpSource>(made); };
    {
        Shown shown(options, QStringLiteral("made up.avi"));
        const QList<QAction *> actions = shown.window.findChildren<QAction *>(QString(), Qt::FindDirectChildrenOnly);
        // Those that open and close files, or ask people for one and wait.
        const QStringList left{QStringLiteral("open"),         QStringLiteral("close"),
                               QStringLiteral("quit"),         QStringLiteral("raise-limit"),
                               QStringLiteral("export-bytes"), QStringLiteral("export-json"),
                               QStringLiteral("export-plot"),  QStringLiteral("export-bookmarks"),
                               QStringLiteral("commands"),     QStringLiteral("keys"),
                               QStringLiteral("open-folder"),  QStringLiteral("export-folder"),
                               QStringLiteral("write-copy"),   QStringLiteral("save-plan")};
        const std::vector<std::pair<QString, QString>> withValues = {
            {QStringLiteral("filter-packets"), QStringLiteral("size>20 && !key || empty")},
            {QStringLiteral("all-packets"), {}},
            {QStringLiteral("sort-packets"), QStringLiteral("-size")},
            {QStringLiteral("sort-packets"), QStringLiteral("time")},
            {QStringLiteral("check-level"), QStringLiteral("deep")},
            {QStringLiteral("check-level"), QStringLiteral("quick")},
            {QStringLiteral("findings-of"), QStringLiteral("repair")},
            {QStringLiteral("findings-of"), QStringLiteral("note")},
            {QStringLiteral("plot-stream"), QStringLiteral("0")},
            {QStringLiteral("plot-stream"), QStringLiteral("all")},
            {QStringLiteral("plot-range"), QStringLiteral("1.5...7")},
            {QStringLiteral("packet"), QStringLiteral("5")},
            {QStringLiteral("finding"), QStringLiteral("1")},
            {QStringLiteral("pointers"), QStringLiteral("0")}};
        constexpr Qt::Key keys[] = {Qt::Key_Left,   Qt::Key_Right,    Qt::Key_Up,    Qt::Key_Down,
                                    Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_Home,  Qt::Key_End,
                                    Qt::Key_Return, Qt::Key_Plus,     Qt::Key_Minus, Qt::Key_0};
        constexpr int usualEvents = 300;
        bool isNumber = false;
        const int wanted = qEnvironmentVariableIntValue("QUENLOFAR_EVENTS", &isNumber);
        const int events = isNumber ? wanted : usualEvents;
        for (int event = 0; event < events; ++event) {
            const std::vector<QWidget *> views = shown.page->views();
            QWidget *const view = views[random() % views.size()];
            switch (random() % 5) {
            case 0: {
                const QAction *const action = actions.at(int(random() % unsigned(actions.size())));
                if (!action->objectName().isEmpty() && !left.contains(action->objectName()))
                    shown.window.perform(action->objectName(), {}, &shown.error);
                break;
            }
            case 1: {
                const auto &[name, value] = withValues[random() % withValues.size()];
                shown.window.perform(name, value, &shown.error);
                break;
            }
            case 2:
                QTest::keyClick(view, keys[random() % std::size(keys)]);
                break;
            case 3: {
                auto *const area = qobject_cast<QAbstractScrollArea *>(view);
                QWidget *const target = area ? area->viewport() : view;
                QTest::mouseClick(target, Qt::LeftButton, {},
                                  QPoint(int(random() % 600), int(random() % unsigned(std::max(target->height(), 1)))));
                break;
            }
            default:
                QCoreApplication::processEvents();
            }
            if (QWidget *const menu = QApplication::activePopupWidget())
                menu->close();
            // Whatever is shown, all views agree on where they are.
            const Place &place = shown.page->document().place();
            QVERIFY(place.range.offset <= quint64(made->size));
            const PacketTable *const packets = shown.page->document().packets();
            QVERIFY(place.packet == PacketTable::none || (packets && place.packet < packets->size()));
        }
        shown.window.grab();
        QVERIFY(!shown.window.state().isEmpty());
    }
    QVERIFY(haveThreadsEnded());
    QVERIFY(!made->usedInWindow);
}

void ViewerLinksTest::actionsThatCannotBeDone()
{
    MainWindow window({});
    QString error;
    for (const char *const name : {"filter-packets", "check-level", "plot-range", "pointers"}) {
        QVERIFY(!window.perform(QString::fromLatin1(name), QStringLiteral("1"), &error));
        QCOMPARE(error, QStringLiteral("No file is open."));
    }
    QVERIFY(!window.perform(QStringLiteral("show-plot"), QStringLiteral("1"), &error));
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(!shown.perform(QStringLiteral("plot-scale"), QStringLiteral("1")));
    QCOMPARE(shown.error, QStringLiteral("The action \"plot-scale\" takes no value."));
}

QTEST_MAIN(ViewerLinksTest)
#include "tst_viewerlinks.moc"
