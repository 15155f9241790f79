#include "displaytext.h"
#include "sizetext.h"

#include <QTest>

#include <limits>

using namespace quenlofar;

class TestSizeText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sizes_data();
    void sizes();
    void displayedTexts_data();
    void displayedTexts();
};

void TestSizeText::sizes_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QString>("plain");
    QTest::addColumn<QString>("si");
    QTest::addColumn<QString>("iec");

    const auto row = [](const char *rule, quint64 bytes, const char *plain, const char *si, const char *iec) {
        QTest::newRow(rule) << bytes << QString::fromLatin1(plain) << QString::fromLatin1(si)
                            << QString::fromLatin1(iec);
    };
    row("nothing", 0, "0 bytes", "0 bytes", "0 bytes");
    row("one", 1, "1 byte", "1 byte", "1 byte");
    row("below every prefix", 999, "999 bytes", "999 bytes", "999 bytes");
    row("between the first prefixes", 1000, "1000 bytes", "1.00 kB", "1000 bytes");
    row("the first power of 1024", 1024, "1024 bytes", "1.02 kB", "1.00 KiB");
    row("three digits, two decimals", 9990, "9990 bytes", "9.99 kB", "9.76 KiB");
    row("rounded up to four digits: one decimal less", 9996, "9996 bytes", "10.0 kB", "9.76 KiB");
    row("one decimal", 22956, "22956 bytes", "23.0 kB", "22.4 KiB");
    row("no decimals", 123456, "123456 bytes", "123 kB", "121 KiB");
    row("rounded up to the next unit", 999500, "999500 bytes", "1.00 MB", "976 KiB");
    row("just not rounded up", 999499, "999499 bytes", "999 kB", "976 KiB");
    row("gigabytes", 3100000000, "3100000000 bytes", "3.10 GB", "2.89 GiB");
    row("the most there is", std::numeric_limits<quint64>::max(), "18446744073709551615 bytes", "18.4 EB", "16.0 EiB");
}

void TestSizeText::sizes()
{
    QFETCH(quint64, bytes);
    QTEST(sizeText(bytes, SizeUnits::Bytes), "plain");
    QTEST(sizeText(bytes, SizeUnits::Si), "si");
    QTEST(sizeText(bytes, SizeUnits::Iec), "iec");
}

void TestSizeText::displayedTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");

    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("letters stay") << QStringLiteral(u"film \u00E9 \u4E2D") << QStringLiteral(u"film \u00E9 \u4E2D");
    QTest::newRow("short escapes") << QStringLiteral("a\\b\n\r\t") << QStringLiteral("a\\\\b\\n\\r\\t");
    QTest::newRow("control characters") << QStringLiteral(u"\u0001\u001B\u007F\u009F")
                                        << QStringLiteral("\\x01\\x1B\\x7F\\x9F");
    QTest::newRow("direction marks") << QStringLiteral(u"\u202Eabc\u2066") << QStringLiteral("\\u202Eabc\\u2066");
}

void TestSizeText::displayedTexts()
{
    QFETCH(QString, text);
    QTEST(displayText(text), "shown");
}

QTEST_APPLESS_MAIN(TestSizeText)
#include "tst_sizetext.moc"
