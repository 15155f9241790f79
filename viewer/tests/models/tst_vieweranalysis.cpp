// What the views of packets, plot, findings and overview are made of: conditions, orders, extents, cells and models,
// each against something plain.
#include "errand.h"
#include "fileoverview.h"
#include "findingsmodel.h"
#include "packetmodel.h"
#include "packetpyramid.h"
#include "testsources.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <cmath>
#include <limits>
#include <random>

using namespace quenlofar;

namespace {

Packet packet(quint64 offset, quint32 size, int stream, KeyState key = KeyState::No, quint8 knownBy = KnownFromData)
{
    Packet packet;
    packet.offset = offset;
    packet.size = size;
    packet.stream = quint8(stream);
    packet.key = key;
    packet.knownBy = knownBy;
    return packet;
}

PacketStream streamOf(StreamKind kind, quint32 numerator, quint32 denominator, quint32 bytesPerTick = 0)
{
    PacketStream stream;
    stream.kind = kind;
    stream.isDeclared = true;
    stream.timeBaseNumerator = numerator;
    stream.timeBaseDenominator = denominator;
    stream.bytesPerTick = bytesPerTick;
    return stream;
}

/// Ten pictures a second, and sound of 1000 bytes a second: two pictures, one of them empty, and a piece of sound each
/// 0.2 seconds, and at the end a palette and a picture that is cut.
///
///     index   0     1    2     3     4    5     6     7     8
///     stream  0     0    1     0     0    1     0     0     0
///     offset  100   1108 1116  1324  1532 1540  1748  1760  2000
///     size    1000  0    200   200   0    200   4     100   90
///     key     yes   no   ?     no    no   ?     -     yes   no
void fill(PacketTable *table)
{
    table->setSourceName(KnownFromLegacyIndex, u"list");
    table->setStream(0, streamOf(StreamKind::Video, 1, 10));
    table->setStream(1, streamOf(StreamKind::Audio, 1, 1000, 1));
    const quint8 both = KnownFromData | KnownFromLegacyIndex;
    table->append(packet(100, 1000, 0, KeyState::Yes, both));
    table->append(packet(1108, 0, 0, KeyState::No, both));
    table->append(packet(1116, 200, 1, KeyState::Unknown));
    table->append(packet(1324, 200, 0, KeyState::No, both));
    table->append(packet(1532, 0, 0, KeyState::No));
    table->append(packet(1540, 200, 1, KeyState::Unknown));
    Packet palette = packet(1748, 4, 0, KeyState::No);
    palette.isPalette = true;
    table->append(palette);
    table->append(packet(1760, 100, 0, KeyState::Yes, both));
    Packet cut = packet(2000, 90, 0);
    cut.isCut = true;
    table->append(cut);
    table->finish();
}

/// Any packets of three streams, one of which has no times.
void fillRandomly(PacketTable *table, unsigned seed, int count)
{
    std::mt19937 random(seed);
    table->setStream(0, streamOf(StreamKind::Video, 1, 25));
    table->setStream(1, streamOf(StreamKind::Audio, 1, 8000, 1));
    quint64 offset = 0;
    for (int i = 0; i < count; ++i) {
        offset += random() % 50 + 1;
        const quint32 size = random() % 4 == 0 ? 0 : quint32(random() % 3000);
        Packet each = packet(offset, size, int(random() % 3), KeyState(random() % 3));
        each.isPalette = random() % 20 == 0;
        table->append(each);
        offset += size;
    }
    table->finish();
}

std::vector<quint64> indexesOf(const PacketOrder &order)
{
    std::vector<quint64> indexes;
    for (quint64 row = 0; row < order.size(); ++row)
        indexes.push_back(order.indexAt(row));
    return indexes;
}

QString textOf(const std::vector<quint64> &numbers)
{
    QStringList texts;
    for (const quint64 number : numbers)
        texts.append(QString::number(number));
    return texts.join(QLatin1Char(' '));
}

PacketQuery queryOf(const PacketTable &table, const QString &condition, PacketColumn column = PacketColumn::Offset,
                    bool isDescending = false)
{
    QString error;
    const auto parsed = PacketCondition::parse(condition, PacketCondition::sourceNames(table), &error);
    return {parsed.value_or(PacketCondition()), column, isDescending};
}

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
    void conditions_data();
    void conditions();
    void textsThatAreNoCondition_data();
    void textsThatAreNoCondition();
    void conditionsAreBounded();
    void ordersLikeAPlainOne_data();
    void ordersLikeAPlainOne();
    void ordersThatAreGivenUp();
    void aMillionPackets();
    void textsOfPackets();
    void windowsOfRows();
    void packetModelIsAModel();
    void extentsLikePlainOnes();
    void packetsAtTimes();
    void curves();
    void findingsAsATree();
    void findingsLikePlainOnes();
    void classesOfBytes();
    void cellsOfTheOverview();
    void errands();
};

void ViewerAnalysisTest::conditions_data()
{
    QTest::addColumn<QString>("condition");
    QTest::addColumn<QString>("expected");
    const auto add = [](const char *condition, const char *expected) {
        QTest::newRow(condition) << QString::fromLatin1(condition) << QString::fromLatin1(expected);
    };
    add("", "0 1 2 3 4 5 6 7 8");
    add("  ", "0 1 2 3 4 5 6 7 8");
    add("size>100", "0 2 3 5");
    add("size >= 100", "0 2 3 5 7");
    add("size==0x64", "7");
    add("size>=1k", "0");
    add("size>=1Ki", "");
    add("size<0.1", "");
    add("stream==1", "2 5");
    add("stream!=0", "2 5");
    add("kind==audio", "2 5");
    add("kind!=Audio", "0 1 3 4 6 7 8");
    add("key", "0 7");
    add("!key", "1 2 3 4 5 6 8");
    add("!!key", "0 7");
    add("empty", "1 4");
    add("cut", "8");
    add("palette", "6");
    add("known==list", "0 1 3 7");
    add("known!=list", "2 4 5 6 8");
    add("known==data", "0 1 2 3 4 5 6 7 8");
    add("number==0", "0 2");
    add("number!=0", "1 3 4 5 7 8"); // a palette has none
    add("offset>=0x6CC && offset<2000", "6 7");
    add("gap==8", "0 1 2 3 4 5 6");
    add("gap>8", "7");
    add("time>=0.2", "3 4 5 7 8");
    add("time==0:00.2", "3 5");
    add("size>100 && !key && stream==0", "3");
    add("key || empty && stream==1", "0 7");
    add("(key || empty) && stream==0", "0 1 4 7");
    add("!(key || empty)", "2 3 5 6 8");
    add("!key && !empty && !palette", "2 3 5 8");
    add("stream==1||key||cut", "0 2 5 7 8");
}

void ViewerAnalysisTest::conditions()
{
    QFETCH(QString, condition);
    QFETCH(QString, expected);
    PacketTable table;
    fill(&table);
    QString error;
    const auto parsed = PacketCondition::parse(condition, PacketCondition::sourceNames(table), &error);
    if (condition == QLatin1String("size<0.1")) {
        QVERIFY(!parsed); // bytes have no parts
        return;
    }
    QVERIFY2(parsed, qPrintable(error));
    const std::atomic<bool> isCancelled{false};
    const auto order = PacketOrder::make(table, {*parsed}, isCancelled);
    QCOMPARE(textOf(indexesOf(*order)), expected);
}

void ViewerAnalysisTest::textsThatAreNoCondition_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");
    const auto add = [](const char *text, const char *error) {
        QTest::newRow(text) << QString::fromLatin1(text) << QString::fromLatin1(error);
    };
    add("size>", "A number is expected, at character 6.");
    add("size>ten", "A number is expected, at character 6.");
    add("size>99999999999999999999", "A number is expected, at character 6.");
    add("size>99999999999999999G", "A number is expected, at character 6.");
    add("size=1", "One of ==, !=, <, <=, >, >= is expected, at character 5.");
    add("key &&", "Something is missing at the end, at character 7.");
    add("key empty", "&& or || is expected, at character 5.");
    add("key & empty", "&& or || is expected, at character 5.");
    add("(key", "A parenthesis is not closed, at character 1.");
    add("key)", "A parenthesis was not opened, at character 4.");
    add("kind<audio", "Names can be compared by == and != only, at character 5.");
    add("kind==film", "One of video, audio, subtitles, MIDI, mixed, other is expected, at character 7.");
    add("known==nobody", "One of data, list, part-index is expected, at character 8.");
    add("time>-1", "A time is expected, such as 2.5 or 1:02.5, at character 6.");
    add("length>1",
        "One of number, stream, size, offset, time, gap, kind, known, key, empty, cut, palette is expected, "
        "at character 1.");
    add("()",
        "One of number, stream, size, offset, time, gap, kind, known, key, empty, cut, palette is expected, "
        "at character 2.");
}

void ViewerAnalysisTest::textsThatAreNoCondition()
{
    QFETCH(QString, text);
    QFETCH(QString, error);
    PacketTable table;
    fill(&table);
    QString said;
    QVERIFY(!PacketCondition::parse(text, PacketCondition::sourceNames(table), &said));
    QCOMPARE(said, error);
}

void ViewerAnalysisTest::conditionsAreBounded()
{
    QString error;
    const QString deepest = QString(PacketCondition::mostOpen, QLatin1Char('(')) + QStringLiteral("key")
        + QString(PacketCondition::mostOpen, QLatin1Char(')'));
    QVERIFY2(PacketCondition::parse(deepest, {}, &error), qPrintable(error));
    QVERIFY(!PacketCondition::parse(QLatin1Char('(') + deepest + QLatin1Char(')'), {}, &error));
    QVERIFY2(error.startsWith(QStringLiteral("Too much is nested")), qPrintable(error));
    QStringList terms;
    for (int i = 0; i < PacketCondition::mostTerms; ++i)
        terms.append(QStringLiteral("key"));
    QVERIFY(PacketCondition::parse(terms.join(QStringLiteral("&&")), {}, &error));
    terms.append(QStringLiteral("key"));
    QVERIFY(!PacketCondition::parse(terms.join(QStringLiteral("||")), {}, &error));
    QVERIFY2(error.startsWith(QStringLiteral("There are too many terms")), qPrintable(error));
    // A long chain of the loosest and the tightest operators does not pile up.
    QVERIFY(PacketCondition::parse(QStringLiteral("key||key&&key||key&&key||!key"), {}, &error));
}

void ViewerAnalysisTest::ordersLikeAPlainOne_data()
{
    QTest::addColumn<int>("seed");
    QTest::addColumn<int>("column");
    QTest::addColumn<bool>("isDescending");
    for (int column = 0; column < PacketModel::columns; ++column) {
        QTest::addRow("column %d", column) << column + 1 << column << false;
        QTest::addRow("column %d, descending", column) << column + 100 << column << true;
    }
}

void ViewerAnalysisTest::ordersLikeAPlainOne()
{
    QFETCH(int, seed);
    QFETCH(int, column);
    QFETCH(bool, isDescending);
    PacketTable table;
    fillRandomly(&table, unsigned(seed), 3000);
    // What is known of each packet, by walking over all of them.
    struct Plain
    {
        quint64 index;
        double key;
    };
    std::vector<Plain> plain;
    for (PacketCursor cursor(table); cursor.isValid(); cursor.next()) {
        const Packet &each = cursor.packet();
        const bool isWanted = each.size > 500 || (each.key == KeyState::Yes && each.stream == 2);
        const quint64 next =
            cursor.index() + 1 < table.size() ? table.at(cursor.index() + 1).offset : each.range().end();
        const double keys[] = {cursor.number() == PacketTable::none ? 1e18 : double(cursor.number()),
                               double(each.stream),
                               double(table.stream(each.stream).kind),
                               cursor.seconds(),
                               double(each.offset),
                               double(each.size),
                               double(each.key),
                               double(each.knownBy),
                               double(next - each.range().end())};
        if (isWanted)
            plain.push_back({cursor.index(), keys[column]});
    }
    std::stable_sort(plain.begin(), plain.end(), [isDescending](const Plain &a, const Plain &b) {
        return isDescending ? a.key > b.key : a.key < b.key;
    });
    const std::atomic<bool> isCancelled{false};
    const auto order = PacketOrder::make(
        table, queryOf(table, QStringLiteral("size>500 || key && stream==2"), PacketColumn(column), isDescending),
        isCancelled);
    QCOMPARE(order->size(), quint64(plain.size()));
    QVERIFY(order->size() > 100 && order->size() < 3000);
    for (size_t row = 0; row < plain.size(); ++row) {
        QCOMPARE(order->indexAt(row), plain[row].index);
        QCOMPARE(order->rowOf(plain[row].index), quint64(row));
    }
    for (quint64 index = 0; index < table.size(); ++index) {
        const bool isThere =
            std::any_of(plain.begin(), plain.end(), [index](const Plain &each) { return each.index == index; });
        QCOMPARE(order->rowOf(index) != PacketTable::none, isThere);
    }
}

void ViewerAnalysisTest::ordersThatAreGivenUp()
{
    PacketTable table;
    fillRandomly(&table, 3, 1000);
    const std::atomic<bool> isCancelled{true};
    QVERIFY(!PacketOrder::make(table, queryOf(table, QStringLiteral("key")), isCancelled));
    QVERIFY(!PacketOrder::make(table, queryOf(table, {}, PacketColumn::Size), isCancelled));
    QVERIFY(!PacketPyramid::make(table, isCancelled));
}

/// Figures are in the benchmark; this bound is for what grows faster than the number of packets.
void ViewerAnalysisTest::aMillionPackets()
{
    PacketTable table;
    fillRandomly(&table, 7, 1'000'000);
    const std::atomic<bool> isCancelled{false};
    QElapsedTimer timer;
    for (const PacketColumn column : {PacketColumn::Size, PacketColumn::Time, PacketColumn::Number}) {
        timer.start();
        const auto order = PacketOrder::make(table, queryOf(table, QStringLiteral("size>10"), column), isCancelled);
        qInfo("1 000 000 packets filtered and sorted in %lld ms", static_cast<long long>(timer.elapsed()));
        QVERIFY(order->size() > 700'000);
        QVERIFY(timer.elapsed() < 5000);
    }
    timer.start();
    const auto pyramid = PacketPyramid::make(table, isCancelled);
    constexpr int columns = 2000;
    quint64 all = 0;
    for (int column = 0; column < columns; ++column) {
        const quint64 count = table.totals(0).count;
        const PacketExtent extent =
            pyramid->extent(0, count * quint64(column) / columns, count * quint64(column + 1) / columns);
        all += extent.empty;
    }
    QCOMPARE(all, table.totals(0).empty);
    QVERIFY(timer.elapsed() < 2000);
    // The millionth row is found as quickly as the first one.
    auto tables = std::make_shared<StrictTables>();
    tables->packets = &table;
    PacketModel model;
    model.setPackets(tables);
    QCOMPARE(model.rowCount(), 1'000'000);
    timer.start();
    for (int row = 999'900; row < 1'000'000; ++row)
        QCOMPARE(model.index(row, int(PacketColumn::Offset)).data().toString(),
                 QString::number(table.at(quint64(row)).offset));
    QVERIFY(timer.elapsed() < 500);
}

void ViewerAnalysisTest::textsOfPackets()
{
    PacketTable table;
    fill(&table);
    auto tables = std::make_shared<StrictTables>();
    tables->packets = &table;
    PacketModel model;
    model.setPackets(tables);
    const auto textsOf = [&model](int row) {
        QStringList texts;
        for (int column = 0; column < PacketModel::columns; ++column)
            texts.append(model.index(row, column).data().toString());
        return texts.join(QLatin1Char('|'));
    };
    QCOMPARE(textsOf(0), QStringLiteral("0|0|video|0:00:00.000|100|1000|key|data, list|8"));
    QCOMPARE(textsOf(5), QStringLiteral("1|1|audio|0:00:00.200|1540|200|unknown|data|8"));
    QCOMPARE(textsOf(6), QStringLiteral("\u2013|0|palette|\u2013|1748|4|no|data|8"));
    QCOMPARE(textsOf(8), QStringLiteral("5|0|video|0:00:00.500|2000|90, cut|no|data|0"));
    model.setOffsetsInHex(true);
    QCOMPARE(model.index(5, int(PacketColumn::Offset)).data().toString(), QStringLiteral("0x604"));
    QCOMPARE(model.headerData(int(PacketColumn::KnownBy), Qt::Horizontal).toString(), QStringLiteral("Known by"));
    QCOMPARE(PacketModel::columnOf(QStringLiteral("gap")), int(PacketColumn::Gap));
    QCOMPARE(PacketModel::columnOf(QStringLiteral("length")), -1);
    QCOMPARE(packetTimeText(3723.0625), QStringLiteral("1:02:03.063"));
}

void ViewerAnalysisTest::windowsOfRows()
{
    PacketTable table;
    fill(&table);
    auto tables = std::make_shared<StrictTables>();
    tables->packets = &table;
    PacketModel model;
    model.setPackets(tables, std::make_shared<const PacketOrder>(PacketModel::mostRows));
    QCOMPARE(model.windowCount(), 1);
    QCOMPARE(model.rowCount(), 50'000'000);
    QCOMPARE(model.windowText(), QString());
    model.setPackets(tables, std::make_shared<const PacketOrder>(quint64(128'000'000)));
    QCOMPARE(model.windowCount(), 13);
    QCOMPARE(model.rowCount(), 10'000'000);
    model.setWindow(12);
    QCOMPARE(model.rowCount(), 8'000'000);
    QCOMPARE(model.packetOf(7), quint64(120'000'007));
    QCOMPARE(model.windowText().remove(QChar(0x202F)), QStringLiteral("Rows 120000000 to 127999999 of 128000000"));
    model.setWindow(13);
    QCOMPARE(model.window(), 12);
}

void ViewerAnalysisTest::packetModelIsAModel()
{
    PacketTable table;
    fill(&table);
    PacketModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QCOMPARE(model.rowCount(), 0);
    auto tables = std::make_shared<StrictTables>();
    model.setPackets(tables); // no analyzer takes the file
    QCOMPARE(model.rowCount(), 0);
    tables = std::make_shared<StrictTables>();
    tables->packets = &table;
    model.setPackets(tables);
    QCOMPARE(model.rowCount(), 9);
    const std::atomic<bool> isCancelled{false};
    model.setPackets(
        tables, PacketOrder::make(table, queryOf(table, QStringLiteral("key"), PacketColumn::Size, true), isCancelled));
    QCOMPARE(model.rowCount(), 2);
    QCOMPARE(model.packetOf(0), quint64(0));
    QCOMPARE(model.rowOf(7), quint64(1));
    QCOMPARE(model.rowOf(3), PacketTable::none);
    model.setOffsetsInHex(true);
    model.setPackets(nullptr);
    QCOMPARE(model.rowCount(), 0);
}

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
    QTRY_VERIFY(document.isIdle());
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
        QTRY_COMPARE(ended.size(), 1);
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
        QTRY_VERIFY(*isBegun);
        errand.start([&said](const std::atomic<bool> &) { return [&said] { said.append(QStringLiteral("second")); }; });
        QTRY_VERIFY(!errand.isRunning());
        QCOMPARE(said, (QStringList{QStringLiteral("done"), QStringLiteral("second")}));
        errand.start([](const std::atomic<bool> &) -> Errand::Delivery { throw std::bad_alloc(); },
                     [&said] { said.append(QStringLiteral("failed")); });
        QTRY_VERIFY(!errand.isRunning());
        QCOMPARE(said.last(), QStringLiteral("failed"));
        errand.start(work);
    }
    QTest::qWait(20);
    QCOMPARE(said.size(), 3);
    QVERIFY(document.isIdle());
}

QTEST_MAIN(ViewerAnalysisTest)
#include "tst_vieweranalysis.moc"
