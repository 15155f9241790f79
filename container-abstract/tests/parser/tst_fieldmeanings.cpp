#include "fieldmeanings.h"

#include <QTest>

#include <limits>

using namespace quenlofar;

namespace {

constexpr FlagName flags[] = {{0x1, u"ONE"}, {0x2, u"TWO"}, {0xF0, u"HIGH"}};
constexpr ValueName kinds[] = {{-1, u"none"}, {0, u"mono"}, {1, u"stereo"}, {1, u"never reached"}};
// The last 44 bits of the first eight bytes behind a FLAC file's frame sizes are laid out like this.
constexpr BitField bits[] = {{44, 20, u"rate"}, {41, 3, u"channels", kinds}, {36, 5, u"bits"}, {0, 36, u"samples"}};
constexpr BitField whole[] = {{0, 64, u"all"}};

constexpr FieldRow rows[] = {
    {u"flags", 0, FieldKind::U16, flagsMeaning<flags>},
    {u"kind", 2, FieldKind::I8, valueMeaning<kinds>},
    {u"packed", 3, FieldKind::U64, bitsMeaning<bits>},
    {u"made", 11, FieldKind::U32, dateMeaning<macEpoch>},
};
static_assert(tiles(rows, 0, 15));

} // namespace

class TestFieldMeanings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void flagTexts_data()
    {
        QTest::addColumn<quint32>("value");
        QTest::addColumn<QString>("expected");

        QTest::newRow("none") << 0u << QString();
        QTest::newRow("only a bit without a name") << 0x100u << QString();
        QTest::newRow("one: no separator") << 0x2u << QStringLiteral("TWO");
        QTest::newRow("table order") << 0x3u << QStringLiteral("ONE, TWO");
        QTest::newRow("any bit of a group") << 0x41u << QStringLiteral("ONE, HIGH");
        QTest::newRow("all") << 0xFFFFFFFFu << QStringLiteral("ONE, TWO, HIGH");
    }
    void flagTexts()
    {
        QFETCH(quint32, value);
        QFETCH(QString, expected);
        QCOMPARE(flagNames(value, flags, u", "), expected);
    }

    void valueNames_data()
    {
        QTest::addColumn<qint64>("value");
        QTest::addColumn<QString>("expected");

        QTest::newRow("the first row counts") << qint64(1) << QStringLiteral("stereo");
        QTest::newRow("zero is a value") << qint64(0) << QStringLiteral("mono");
        QTest::newRow("so is a negative one") << qint64(-1) << QStringLiteral("none");
        QTest::newRow("a value without a name") << qint64(2) << QString();
    }
    void valueNames()
    {
        QFETCH(qint64, value);
        QFETCH(QString, expected);
        QCOMPARE(nameOfValue(value, kinds), expected);
    }
    void aTableWithoutRowsHasNoNames() { QVERIFY(ValueNames().nameOf(0).isEmpty()); }

    void bitFields()
    {
        // 44100 in 20 bits, 1 in 3, 15 in 5, 5292000 in 36.
        QCOMPARE(bitFieldsText(Q_UINT64_C(0x0AC442F00050BFE0), bits, u", "),
                 QStringLiteral("rate 44100, channels 1 (stereo), bits 15, samples 5292000"));
        QCOMPARE(bitFieldsText(~Q_UINT64_C(0), whole, u", "), QStringLiteral("all 18446744073709551615"));
        QCOMPARE(bitsOf(0xF0, {4, 3, u""}), Q_UINT64_C(7));
    }

    void dates_data()
    {
        QTest::addColumn<qint64>("units");
        QTest::addColumn<qint64>("before1970");
        QTest::addColumn<qint64>("perSecond");
        QTest::addColumn<QString>("expected");

        const auto row = [](const char *name, qint64 units, const Epoch &epoch, const char *expected) {
            QTest::newRow(name) << units << epoch.secondsBefore1970 << epoch.unitsPerSecond
                                << QString::fromLatin1(expected);
        };
        row("seconds since 1970", 1600000000, unixEpoch, "2020-09-13T12:26:40Z");
        row("the first second", 1, unixEpoch, "1970-01-01T00:00:01Z");
        row("before 1970", -1, unixEpoch, "1969-12-31T23:59:59Z");
        row("zero is no date", 0, unixEpoch, "");
        row("beyond 2038", 4294967295, unixEpoch, "2106-02-07T06:28:15Z");
        row("the last date of four digits", 253402300799, unixEpoch, "9999-12-31T23:59:59Z");
        row("and no later one", 253402300800, unixEpoch, "");
        row("the first second of the year 1", -62135596800, unixEpoch, "0001-01-01T00:00:00Z");
        row("and none before it", -62135596801, unixEpoch, "");
        row("no number is too large", std::numeric_limits<qint64>::max(), unixEpoch, "");
        row("nor too small", std::numeric_limits<qint64>::min(), macEpoch, "");
        // The first second of the year 2000 in each count, as their documents give it.
        row("seconds since 1904", 3029529600, macEpoch, "2000-01-01T00:00:00Z");
        row("1904 itself", 1, macEpoch, "1904-01-01T00:00:01Z");
        row("100 ns since 1601", 125911584000000000, windowsEpoch, "2000-01-01T00:00:00Z");
        row("fractions are rounded down", 125911584009999999, windowsEpoch, "2000-01-01T00:00:00Z");
    }
    void dates()
    {
        QFETCH(qint64, units);
        QFETCH(qint64, before1970);
        QFETCH(qint64, perSecond);
        QFETCH(QString, expected);
        QCOMPARE(dateText(units, {before1970, perSecond}), expected);
    }

    void tablesBecomeMeaningsOfRows()
    {
        const QByteArray bytes = QByteArray::fromHex("0003ff0ac442f00050bfe0b492f400");
        const RecordView record(bytes, ByteOrder::BigEndian);
        QStringList meanings;
        for (const FieldRow &row : rows)
            meanings.append(row.meaning(record, row));
        QCOMPARE(meanings,
                 (QStringList{QStringLiteral("ONE | TWO"), QStringLiteral("none"),
                              QStringLiteral("rate 44100 | channels 1 (stereo) | bits 15 | samples 5292000"),
                              QStringLiteral("2000-01-01T00:00:00Z")}));
    }
};

QTEST_APPLESS_MAIN(TestFieldMeanings)
#include "tst_fieldmeanings.moc"
