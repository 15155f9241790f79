#include "timetext.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace quenlofar;

class TestTimeText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void truncates_data();
    void truncates();
    void text_data();
    void text();
};

void TestTimeText::truncates_data()
{
    QTest::addColumn<double>("number");
    QTest::addColumn<qint64>("expected");

    const qint64 largest = Q_INT64_C(9223372036854775807);
    const qint64 smallest = -largest - 1;
    QTest::newRow("towards zero") << 59.9999 << Q_INT64_C(59);
    QTest::newRow("towards zero, negative") << -1.9 << Q_INT64_C(-1);
    QTest::newRow("beyond 32 bits") << 4294967296.5 << Q_INT64_C(4294967296);
    QTest::newRow("largest double below 2^63") << 9223372036854774784.0 << Q_INT64_C(9223372036854774784);
    QTest::newRow("2^63 saturates") << 9223372036854775808.0 << largest;
    QTest::newRow("-2^63 fits") << -9223372036854775808.0 << smallest;
    QTest::newRow("below -2^63 saturates") << -9223372036854777856.0 << smallest;
    QTest::newRow("huge") << 1e300 << largest;
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << largest;
    QTest::newRow("minus infinite") << -std::numeric_limits<double>::infinity() << smallest;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << Q_INT64_C(0);
}

void TestTimeText::truncates()
{
    QFETCH(double, number);
    QFETCH(qint64, expected);
    QCOMPARE(truncated(number), expected);
}

void TestTimeText::text_data()
{
    QTest::addColumn<double>("units");
    QTest::addColumn<double>("rate");
    QTest::addColumn<QString>("expected");

    const double infinite = std::numeric_limits<double>::infinity();
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("nothing") << 0.0 << 25.0 << QStringLiteral("00:00:0.000");
    QTest::newRow("seconds above ten") << 15.25 << 1.0 << QStringLiteral("00:00:15.250");
    QTest::newRow("seconds have three decimals") << 12.345 << 1.0 << QStringLiteral("00:00:12.345");
    QTest::newRow("seconds below ten are not padded") << 65.25 << 1.0 << QStringLiteral("00:01:5.250");
    QTest::newRow("the same with half a second") << 65.5 << 1.0 << QStringLiteral("00:01:5.500");
    QTest::newRow("an hour and more") << 3725.5 << 1.0 << QStringLiteral("01:02:5.500");
    QTest::newRow("units are divided by the rate") << 90000.0 << 25.0 << QStringLiteral("01:00:0.000");
    QTest::newRow("1800 frames at 30000/1001") << 1800.0 << 30000.0 / 1001.0 << QStringLiteral("00:01:0.060");
    QTest::newRow("just below a minute rounds up to 60") << 59.9999 << 1.0 << QStringLiteral("00:00:60.000");
    QTest::newRow("a minute") << 60.0 << 1.0 << QStringLiteral("00:01:0.000");
    QTest::newRow("just below an hour") << 3599.0 << 1.0 << QStringLiteral("00:59:59.000");
    QTest::newRow("hours have no limit") << 360000.0 << 1.0 << QStringLiteral("100:00:0.000");
    // 4294967295 = 1193046 h 28 min 15 s
    QTest::newRow("2^32 - 1 seconds") << 4294967295.0 << 1.0 << QStringLiteral("1193046:28:15.000");
    // The low 32 bits are 50, so nothing is taken off.
    QTest::newRow("2^32 + 50 seconds wrap to below a minute")
        << 4294967346.0 << 1.0 << QStringLiteral("00:00:4294967346.000");
    QTest::newRow("2^32 + 59 seconds wrap to just below a minute")
        << 4294967355.0 << 1.0 << QStringLiteral("00:00:4294967355.000");
    // The low 32 bits are 100: 71582789 minutes. In 32 bits these are 4294967340 - 2^32 = 44 seconds.
    QTest::newRow("2^32 + 100 seconds: the product wraps")
        << 4294967396.0 << 1.0 << QStringLiteral("1193046:29:4294967352.000");
    QTest::newRow("infinite") << 1.0 << 0.0 << QStringLiteral("71582788:15:00inf");
    QTest::newRow("infinite rate") << 1.0 << infinite << QStringLiteral("00:00:0.000");
    QTest::newRow("not a number") << 0.0 << 0.0 << QStringLiteral("00:00:00nan");
    QTest::newRow("rate that is not a number") << 1.0 << notANumber << QStringLiteral("00:00:00nan");
    // Beyond 2^63 the seconds saturate: 0xFFFFFFFF, above 59. Their sixtieth, 2^58 exactly, does not: its low 32 bits
    // are 0.
    QTest::newRow("60 * 2^58 seconds: saturated")
        << std::ldexp(60.0, 58) << 1.0 << QStringLiteral("00:00:17293822569102704640.000");
    // The longest that a stream header can say, 4294967295 squared, as a double. A sixtieth of it is
    // 307445734418660288, the low 32 bits of which are 1002159040; times 60 they are 256, which gets lost in the
    // double.
    QTest::newRow("the longest time") << 18446744065119617024.0 << 1.0
                                      << QStringLiteral("16702650:40:18446744065119617024.000");
}

void TestTimeText::text()
{
    QFETCH(double, units);
    QFETCH(double, rate);
    QFETCH(QString, expected);
    QCOMPARE(timeText(units, rate), expected);
}

QTEST_APPLESS_MAIN(TestTimeText)
#include "tst_timetext.moc"
