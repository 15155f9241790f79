// What the views of plot, findings and overview are made of: extents, cells and models, each against something plain.
#include "errand.h"
#include "fileoverview.h"
#include "findingsmodel.h"
#include "packetpyramid.h"
#include "packettables.h"
#include "testsources.h"
#include "valuesmodel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <cmath>
#include <limits>
#include <random>

using namespace quenlofar;

namespace {

JudgedFinding finding(int id, int causedBy, Severity severity, Repair repair = Repair::None)
{
    JudgedFinding finding;
    finding.id = id;
    finding.causedBy = causedBy;
    finding.severity = severity;
    finding.repair = repair;
    finding.count = quint64(id);
    finding.rule = QStringLiteral("rule-%1").arg(id);
    finding.message = QStringLiteral("Finding %1.").arg(id);
    finding.places = {{quint64(id) * 16, 4}};
    return finding;
}

/// The rows of a model as "id(children)".
QString shape(const FindingsModel &model, const QModelIndex &parent = {})
{
    QString text;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        text += (row > 0 ? QStringLiteral(" ") : QString()) + QString::number(model.idOf(index));
        if (model.rowCount(index) > 0)
            text += QLatin1Char('(') + shape(model, index) + QLatin1Char(')');
    }
    return text;
}

} // namespace

class ViewerAnalysisTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void extentsLikePlainOnes();
    void packetsAtTimes();
    void curves();
    void valuesOfBytes();
    void valuesAreAModel();
    void findingsAsATree();
    void findingsLikePlainOnes();
    void classesOfBytes();
    void cellsOfTheOverview();
    void errands();
};

void ViewerAnalysisTest::extentsLikePlainOnes()
{
    for (const unsigned seed : {1U, 2U, 3U}) {
        PacketTable table;
        fillRandomly(&table, seed, seed == 1 ? 40 : 20'000);
        const std::atomic<bool> isCancelled{false};
        const auto pyramid = PacketPyramid::make(table, isCancelled);
        std::mt19937 random(seed);
        for (int i = 0; i < 200; ++i) {
            const int stream = int(random() % 3);
            const quint64 count = table.totals(stream).count;
            const quint64 first = random() % (count + 1);
            const quint64 end = i % 10 == 0 ? count + 5 : first + random() % (count - first + 1);
            PacketExtent plain;
            for (quint64 number = first; number < std::min(end, count); ++number)
                plain.add(table.at(table.indexOf(stream, number)));
            const PacketExtent extent = pyramid->extent(stream, first, end);
            QCOMPARE(extent.smallest, plain.smallest);
            QCOMPARE(extent.largest, plain.largest);
            QCOMPARE(extent.largestKey, plain.largestKey);
            QCOMPARE(extent.empty, plain.empty);
        }
    }
}

void ViewerAnalysisTest::packetsAtTimes()
{
    PacketTable table;
    fillRandomly(&table, 5, 2000);
    for (const int stream : {0, 1}) {
        for (int i = -2; i < 400; ++i) {
            const double seconds = i * 0.037;
            quint64 plain = 0;
            while (plain < table.totals(stream).count && table.secondsOf(table.indexOf(stream, plain)) < seconds)
                ++plain;
            QCOMPARE(packetNumberFrom(table, stream, seconds), plain);
        }
    }
    QCOMPARE(packetNumberFrom(table, 2, 1.0), quint64(0));
}

void ViewerAnalysisTest::curves()
{
    PacketTable table;
    fill(&table);
    const PacketCurves curves(table);
    QCOMPARE(curves.video, 0);
    QCOMPARE(curves.audio, 1);
    // Between 0 and 0.2 seconds: the pictures 0 (1000 bytes) and 1 (empty); 1000 bytes in 0.2 s are 40 000 bits a
    // second.
    QCOMPARE(curves.bitRate(0, 0.1, 0.2), 40'000.0);
    QCOMPARE(curves.bitRate(1, 0.1, 0.2), 8'000.0);
    // The picture of 0.2 seconds is at 1324, the sound of that time at 1540.
    QCOMPARE(curves.interleave(0.2), 216.0);
    QCOMPARE(curves.interleave(0.3), -1.0); // there is no sound any more
    // Before the picture of 0.2 seconds stands sound of 0.2 seconds; before the first one none; before that of 0.4
    // seconds sound of 0.4 seconds.
    QCOMPARE(curves.lead(0), 0.0);
    QVERIFY(std::abs(curves.lead(0.2)) < 1e-9);
    QVERIFY(std::abs(curves.lead(0.1) - -0.1) < 1e-9);
    QVERIFY(std::isnan(curves.lead(10)));
}

void ViewerAnalysisTest::valuesOfBytes()
{
    const auto texts = [](const QByteArray &bytes) {
        QStringList all;
        for (const ByteValue &value : valuesOf(bytes))
            all.append(value.little + QLatin1Char('|') + value.big);
        return all;
    };
    // The expected numbers are those of Python's struct module.
    QCOMPARE(
        texts("RIFF0123456789ab"),
        QStringList(
            {QStringLiteral("82|82"), QStringLiteral("82|82"), QStringLiteral("18770|21065"),
             QStringLiteral("18770|21065"), QStringLiteral("1179011410|1380533830"),
             QStringLiteral("1179011410|1380533830"), QStringLiteral("3689065128177060178|5929347651680154163"),
             QStringLiteral("3689065128177060178|5929347651680154163"), QStringLiteral("12690.3301|2.16116855e+11"),
             QStringLiteral("4.4222649593096978e-62|2.5139200719550791e+88"), QStringLiteral("1, 4, 6|1, 4, 6"),
             QStringLiteral("1, 4, 6, 8, 11, 14|0, 3, 6, 9, 12, 14"),
             QStringLiteral("1, 4, 6, 8, 11, 14, 17, 18, 22, 25, 26, 30|1, 2, 6, 9, 10, 14, 16, 19, 22, 25, 28, 30"),
             QStringLiteral("2007-05-12T23:10:10Z|2013-09-30T09:37:10Z"), QStringLiteral("RIFF|RIFF"),
             QStringLiteral("46464952-3130-3332-3435-363738396162|52494646-3031-3233-3435-363738396162")}));
    QCOMPARE(texts(QByteArray(8, '\xFF')).mid(0, 8),
             QStringList({QStringLiteral("255|255"), QStringLiteral("-1|-1"), QStringLiteral("65535|65535"),
                          QStringLiteral("-1|-1"), QStringLiteral("4294967295|4294967295"), QStringLiteral("-1|-1"),
                          QStringLiteral("18446744073709551615|18446744073709551615"), QStringLiteral("-1|-1")}));
    // Of too few bytes some kinds say nothing.
    QCOMPARE(
        texts(QByteArray(3, '\0')),
        QStringList({QStringLiteral("0|0"), QStringLiteral("0|0"), QStringLiteral("0|0"), QStringLiteral("0|0"),
                     QStringLiteral("|"), QStringLiteral("|"), QStringLiteral("|"), QStringLiteral("|"),
                     QStringLiteral("|"), QStringLiteral("|"), QStringLiteral("none|none"), QStringLiteral("none|none"),
                     QStringLiteral("|"), QStringLiteral("|"), QStringLiteral("|"), QStringLiteral("|")}));
    QCOMPARE(texts({}).join(QString()), QString(16, QLatin1Char('|')));
}

void ViewerAnalysisTest::valuesAreAModel()
{
    ValuesModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy changes(&model, &ValuesModel::dataChanged);
    model.setBytes("\1\2");
    QCOMPARE(changes.size(), 1);
    QCOMPARE(model.rowCount(), 16);
    QCOMPARE(model.index(2, ValuesModel::LittleColumn).data().toString(), QStringLiteral("513"));
    QCOMPARE(model.index(2, ValuesModel::BigColumn).data().toString(), QStringLiteral("258"));
}

void ViewerAnalysisTest::findingsAsATree()
{
    FindingsModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    FileCheck check;
    check.findings = {finding(1, 0, Severity::Warning), finding(2, 1, Severity::Error, Repair::Patch),
                      finding(3, 0, Severity::Note), finding(4, 2, Severity::Note, Repair::Rewrite),
                      finding(5, 1, Severity::Note)};
    model.setCheck(&check);
    QCOMPARE(shape(model), QStringLiteral("1(2(4) 5) 3"));
    QCOMPARE(model.indexOf(4).parent(), model.indexOf(2));
    QCOMPARE(model.indexOf(5).row(), 1);
    QCOMPARE(model.indexOf(2, FindingsModel::OffsetColumn).data().toString(), QStringLiteral("32"));
    QCOMPARE(model.indexOf(2, FindingsModel::RepairColumn).data().toString(), QStringLiteral("patch"));
    QCOMPARE(model.indexOf(2, FindingsModel::SeverityColumn).data().toString(), QStringLiteral("error"));
    // Errors alone, with what explains them.
    model.setFilter({Severity::Error, false});
    QCOMPARE(shape(model), QStringLiteral("1(2)"));
    model.setFilter({Severity::Note, true});
    QCOMPARE(shape(model), QStringLiteral("1(2(4))"));
    QCOMPARE(model.shownCount(), 3);
    QVERIFY(!model.indexOf(3).isValid());
    model.setOffsetsInHex(true);
    QCOMPARE(model.indexOf(2, FindingsModel::OffsetColumn).data().toString(), QStringLiteral("0x20"));
    model.setCheck(nullptr);
    QCOMPARE(model.rowCount(), 0);
}

void ViewerAnalysisTest::findingsLikePlainOnes()
{
    std::mt19937 random(11);
    for (int round = 0; round < 30; ++round) {
        FileCheck check;
        const int count = int(random() % 40);
        for (int id = 1; id <= count; ++id)
            check.findings.push_back(finding(id, int(random() % unsigned(id)), Severity(random() % 3),
                                             random() % 2 == 0 ? Repair::None : Repair::Append));
        FindingsModel model;
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setCheck(&check);
        const FindingsFilter filter{Severity(random() % 3), random() % 2 == 0};
        model.setFilter(filter);
        // A finding is shown if it is wanted, or something that it explains in however many steps.
        int shown = 0;
        for (const JudgedFinding &each : check.findings) {
            bool isShown = false;
            for (const JudgedFinding &below : check.findings) {
                int above = below.id;
                while (above != 0 && above != each.id)
                    above = check.findings[size_t(above) - 1].causedBy;
                isShown = isShown
                    || (above == each.id && below.severity >= filter.least
                        && (!filter.isRepairable || below.repair != Repair::None));
            }
            shown += isShown ? 1 : 0;
            QCOMPARE(model.indexOf(each.id).isValid(), isShown);
            if (isShown)
                QCOMPARE(model.idOf(model.indexOf(each.id).parent()), each.causedBy);
        }
        QCOMPARE(model.shownCount(), shown);
    }
}

void ViewerAnalysisTest::classesOfBytes()
{
    const auto classOf = [](const QByteArray &bytes) {
        return byteClassOf(reinterpret_cast<const uchar *>(bytes.constData()), int(bytes.size()));
    };
    QCOMPARE(classOf({}), ByteClass::NotLooked);
    QCOMPARE(classOf(QByteArray(4096, '\0')), ByteClass::Zero);
    QCOMPARE(classOf(QByteArray(4000, '\0') + QByteArray(96, 'x')), ByteClass::Zero);
    QCOMPARE(classOf("All of this can be read, by people.\r\n"), ByteClass::Text);
    QByteArray dense;
    std::mt19937 random(1);
    for (int i = 0; i < 4096; ++i)
        dense.append(char(random()));
    QCOMPARE(classOf(dense), ByteClass::Dense);
    QCOMPARE(classOf(QByteArray("\x00\x01\x02\x80", 4).repeated(1024)), ByteClass::Other);
}

void ViewerAnalysisTest::cellsOfTheOverview()
{
    OverviewCells cells{10};
    QCOMPARE(cells.count(), 10);
    QCOMPARE(cells.cellOf(7), 7);
    cells.fileSize = quint64(1) << 62;
    QCOMPARE(cells.count(), 1024);
    QCOMPARE(cells.begin(1024), cells.fileSize);
    QCOMPARE(cells.begin(1), quint64(1) << 52);
    QCOMPARE(cells.cellOf((quint64(1) << 52) - 1), 0);
    QCOMPARE(cells.cellOf(cells.fileSize + 5), 1023);

    PacketTable packets;
    packets.setStream(0, streamOf(StreamKind::Video, 1, 10));
    packets.append(packet(508, 500, 0));
    packets.finish();
    RegionTable regions(packets);
    regions.reset(2000, 8);
    regions.append({0, 500}, RegionKind::Header);
    regions.append({1100, 400}, RegionKind::Index);
    cells.fileSize = 2000; // 1024 cells of one or two bytes
    const std::atomic<bool> isCancelled{false};
    const std::vector<RegionKind> kinds = cells.kinds(regions, isCancelled);
    QCOMPARE(kinds[size_t(cells.cellOf(100))], RegionKind::Header);
    QCOMPARE(kinds[size_t(cells.cellOf(800))], RegionKind::Video);
    QCOMPARE(kinds[size_t(cells.cellOf(1050))], RegionKind::Unknown);
    QCOMPARE(kinds[size_t(cells.cellOf(1200))], RegionKind::Index);
    QCOMPARE(kinds[size_t(cells.cellOf(1900))], RegionKind::Unknown);

    const auto file = makeFile(2'000'000);
    file->head = QByteArray(100'000, '\0');
    MadeUpSource source(file);
    cells.fileSize = 2'000'000;
    const std::vector<ByteClass> classes = cells.classes(source, isCancelled);
    QCOMPARE(classes[0], ByteClass::Zero);
    QCOMPARE(classes[size_t(cells.cellOf(50'000))], ByteClass::Zero);
    QCOMPARE(classes[1023], ByteClass::Dense); // 0 to 250, again and again
    file->failsFrom = 1'000'000;
    QCOMPARE(cells.classes(source, isCancelled)[1000], ByteClass::NotLooked);
}

void ViewerAnalysisTest::errands()
{
    const auto file = makeFile(1000);
    Document document(QStringLiteral("a file"), optionsFor(file, 3, 20));
    QTRY_VERIFY_WITH_TIMEOUT(document.isIdle(), patience);
    QStringList said;
    {
        Errand errand(document);
        QSignalSpy ended(&errand, &Errand::ended);
        errand.start([&said](const std::atomic<bool> &) -> Errand::Delivery {
            const bool isElsewhere = QThread::currentThread() != QCoreApplication::instance()->thread();
            return [&said, isElsewhere] {
                said.append(isElsewhere && QThread::currentThread() == QCoreApplication::instance()->thread()
                                ? QStringLiteral("done")
                                : QStringLiteral("in the wrong thread"));
            };
        });
        QVERIFY(errand.isRunning());
        QVERIFY(!document.isIdle());
        QTRY_COMPARE_WITH_TIMEOUT(ended.size(), 1, patience);
        QCOMPARE(said, QStringList(QStringLiteral("done")));
        QVERIFY(document.isIdle());

        // What is given up ends early and says nothing.
        const auto isBegun = std::make_shared<std::atomic<bool>>(false);
        const auto work = [&said, isBegun](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
            *isBegun = true;
            while (!isCancelled)
                QThread::msleep(1);
            return [&said] { said.append(QStringLiteral("too late")); };
        };
        errand.start(work);
        QTRY_VERIFY_WITH_TIMEOUT(*isBegun, patience);
        errand.start([&said](const std::atomic<bool> &) { return [&said] { said.append(QStringLiteral("second")); }; });
        QTRY_VERIFY_WITH_TIMEOUT(!errand.isRunning(), patience);
        QCOMPARE(said, (QStringList{QStringLiteral("done"), QStringLiteral("second")}));
        errand.start([](const std::atomic<bool> &) -> Errand::Delivery { throw std::bad_alloc(); },
                     [&said] { said.append(QStringLiteral("failed")); });
        QTRY_VERIFY_WITH_TIMEOUT(!errand.isRunning(), patience);
        QCOMPARE(said.last(), QStringLiteral("failed"));
        errand.start(work);
    }
    QTest::qWait(20);
    QCOMPARE(said.size(), 3);
    QVERIFY(document.isIdle());
}

QTEST_MAIN(ViewerAnalysisTest)
#include "tst_vieweranalysis.moc"
