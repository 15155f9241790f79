// What the view of packets is made of: conditions, orders and a model, each against something plain.
#include "packetmodel.h"
#include "packetpyramid.h"
#include "packettables.h"
#include "testsources.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <cmath>
#include <limits>
#include <random>

using namespace quenlofar;

namespace {

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

} // namespace

class ViewerPacketsTest : public QObject
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
};

void ViewerPacketsTest::conditions_data()
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

void ViewerPacketsTest::conditions()
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

void ViewerPacketsTest::textsThatAreNoCondition_data()
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

void ViewerPacketsTest::textsThatAreNoCondition()
{
    QFETCH(QString, text);
    QFETCH(QString, error);
    PacketTable table;
    fill(&table);
    QString said;
    QVERIFY(!PacketCondition::parse(text, PacketCondition::sourceNames(table), &said));
    QCOMPARE(said, error);
}

void ViewerPacketsTest::conditionsAreBounded()
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

void ViewerPacketsTest::ordersLikeAPlainOne_data()
{
    QTest::addColumn<int>("seed");
    QTest::addColumn<int>("column");
    QTest::addColumn<bool>("isDescending");
    for (int column = 0; column < PacketModel::columns; ++column) {
        QTest::addRow("column %d", column) << column + 1 << column << false;
        QTest::addRow("column %d, descending", column) << column + 100 << column << true;
    }
}

void ViewerPacketsTest::ordersLikeAPlainOne()
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

void ViewerPacketsTest::ordersThatAreGivenUp()
{
    PacketTable table;
    fillRandomly(&table, 3, 1000);
    const std::atomic<bool> isCancelled{true};
    QVERIFY(!PacketOrder::make(table, queryOf(table, QStringLiteral("key")), isCancelled));
    QVERIFY(!PacketOrder::make(table, queryOf(table, {}, PacketColumn::Size), isCancelled));
    QVERIFY(!PacketPyramid::make(table, isCancelled));
}

/// Figures are in the benchmark; this bound is for what grows faster than the number of packets.
void ViewerPacketsTest::aMillionPackets()
{
    PacketTable table;
    fillRandomly(&table, 7, 1'000'000);
    const std::atomic<bool> isCancelled{false};
    Effort effort;
    for (const PacketColumn column : {PacketColumn::Size, PacketColumn::Time, PacketColumn::Number}) {
        effort.start();
        const auto order = PacketOrder::make(table, queryOf(table, QStringLiteral("size>10"), column), isCancelled);
        qInfo("1 000 000 packets filtered and sorted in %lld ms", static_cast<long long>(effort.milliseconds()));
        QVERIFY(order->size() > 700'000);
        QVERIFY(effort.milliseconds() < 5000);
    }
    effort.start();
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
    QVERIFY(effort.milliseconds() < 2000);
    // The millionth row is found as quickly as the first one.
    auto tables = std::make_shared<StrictTables>();
    tables->packets = &table;
    PacketModel model;
    model.setPackets(tables);
    QCOMPARE(model.rowCount(), 1'000'000);
    effort.start();
    for (int row = 999'900; row < 1'000'000; ++row)
        QCOMPARE(model.index(row, int(PacketColumn::Offset)).data().toString(),
                 QString::number(table.at(quint64(row)).offset));
    QVERIFY(effort.milliseconds() < 500);
}

void ViewerPacketsTest::textsOfPackets()
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

void ViewerPacketsTest::windowsOfRows()
{
    PacketTable table;
    fill(&table);
    auto tables = std::make_shared<StrictTables>();
    tables->packets = &table;
    PacketModel model;
    model.setPackets(tables, std::make_shared<const PacketOrder>(PacketModel::mostRows));
    QCOMPARE(model.windowCount(), 1);
    QCOMPARE(model.rowCount(), 2'000'000); // the first portion
    model.fetchRow(5'000'000);
    QCOMPARE(model.rowCount(), 5'000'001);
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 50'000'000, patience);
    model.fetchRow(60'000'000);
    QCOMPARE(model.rowCount(), 50'000'000);
    QCOMPARE(model.windowText(), QString());
    model.setPackets(tables, std::make_shared<const PacketOrder>(quint64(128'000'000)));
    QCOMPARE(model.windowCount(), 13);
    QCOMPARE(model.rowsOfCurrentWindow(), 10'000'000);
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 10'000'000, patience);
    model.setWindow(12);
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 8'000'000, patience);
    QCOMPARE(model.packetOf(7), quint64(120'000'007));
    QCOMPARE(model.windowText().remove(QChar(0x202F)), QStringLiteral("Rows 120000000 to 127999999 of 128000000"));
    model.setWindow(13);
    QCOMPARE(model.window(), 12);
}

void ViewerPacketsTest::packetModelIsAModel()
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

QTEST_MAIN(ViewerPacketsTest)
#include "tst_viewerpackets.moc"
