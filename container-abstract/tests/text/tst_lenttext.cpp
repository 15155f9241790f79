#include "lenttext.h"

#include <QTest>

#include <limits>

using namespace quenlofar;

class TestLentText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unsignedNumbers_data();
    void unsignedNumbers();
    void signedNumbers_data();
    void signedNumbers();
    void everyNumberOfUpToFiveDigits();
    void bytes_data();
    void bytes();
    void borrowedCharactersAreShared();
    void anEmptyTextIsEmptyAndTheNextOneIsNot();
    void aTextThatIsFilledAgainShowsTheNewCharacters();
    void twoObjectsDoNotShareABuffer();
    void aCopyOfTheCharactersOutlivesTheNextCall();
};

void TestLentText::unsignedNumbers_data()
{
    QTest::addColumn<quint64>("number");
    QTest::addColumn<QString>("text");

    QTest::newRow("zero has one digit") << quint64(0) << QStringLiteral("0");
    QTest::newRow("the last of one digit") << quint64(9) << QStringLiteral("9");
    QTest::newRow("the first of two digits") << quint64(10) << QStringLiteral("10");
    QTest::newRow("the last of two digits") << quint64(99) << QStringLiteral("99");
    QTest::newRow("zeros inside are kept") << quint64(100) << QStringLiteral("100");
    QTest::newRow("a single digit before a pair") << quint64(907) << QStringLiteral("907");
    QTest::newRow("two pairs") << quint64(1009) << QStringLiteral("1009");
    QTest::newRow("the largest of 32 bits") << quint64(4294967295U) << QStringLiteral("4294967295");
    QTest::newRow("the first beyond signed 64 bits")
        << Q_UINT64_C(9223372036854775808) << QStringLiteral("9223372036854775808");
    QTest::newRow("the largest of 64 bits")
        << std::numeric_limits<quint64>::max() << QStringLiteral("18446744073709551615");
}

void TestLentText::unsignedNumbers()
{
    QFETCH(quint64, number);
    QFETCH(QString, text);
    LentText lent;
    QCOMPARE(lent.decimal(number), text);
}

void TestLentText::signedNumbers_data()
{
    QTest::addColumn<qint64>("number");
    QTest::addColumn<QString>("text");

    QTest::newRow("zero has no sign") << qint64(0) << QStringLiteral("0");
    QTest::newRow("a positive number has no sign") << qint64(42) << QStringLiteral("42");
    QTest::newRow("minus one") << qint64(-1) << QStringLiteral("-1");
    QTest::newRow("the smallest of 32 bits") << qint64(-2147483647) - 1 << QStringLiteral("-2147483648");
    QTest::newRow("the largest of 64 bits")
        << std::numeric_limits<qint64>::max() << QStringLiteral("9223372036854775807");
    QTest::newRow("the smallest of 64 bits has no positive counterpart")
        << std::numeric_limits<qint64>::min() << QStringLiteral("-9223372036854775808");
}

void TestLentText::signedNumbers()
{
    QFETCH(qint64, number);
    QFETCH(QString, text);
    LentText lent;
    QCOMPARE(lent.decimal(number), text);
}

void TestLentText::everyNumberOfUpToFiveDigits()
{
    LentText lent;
    for (int number = 0; number < 100000; ++number) {
        if (lent.decimal(quint64(number)) != QString::number(number))
            QCOMPARE(lent.decimal(quint64(number)), QString::number(number));
        if (lent.decimal(qint64(-number)) != QString::number(-number))
            QCOMPARE(lent.decimal(qint64(-number)), QString::number(-number));
    }
}

void TestLentText::bytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    QTest::newRow("four letters of an id") << QByteArray("00dc") << QStringLiteral("00dc");
    QTest::newRow("blanks stay") << QByteArray("PAD ") << QStringLiteral("PAD ");
    QTest::newRow("a zero byte ends the text") << QByteArray("ab\0cd", 5) << QStringLiteral("ab");
    QTest::newRow("nothing before the first zero byte") << QByteArray("\0abc", 4) << QString();
    QTest::newRow("bytes above ASCII are Latin-1")
        << QByteArray("\xE9\xFF\x80\xA0") << QStringLiteral("\u00e9\u00ff\u0080\u00a0");
    QTest::newRow("control characters are not altered") << QByteArray("\x01\n\x7f") << QStringLiteral("\u0001\n\u007f");
    QTest::newRow("no bytes") << QByteArray() << QString();
    QTest::newRow("24 bytes fit") << QByteArray("abcdefghijklmnopqrstuvwx")
                                  << QStringLiteral("abcdefghijklmnopqrstuvwx");
    QTest::newRow("what is beyond 24 bytes is cut")
        << QByteArray("abcdefghijklmnopqrstuvwxyz") << QStringLiteral("abcdefghijklmnopqrstuvwx");
}

void TestLentText::bytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    LentText lent;
    QCOMPARE(lent.latin1(bytes.constData(), int(bytes.size())), text);
}

void TestLentText::borrowedCharactersAreShared()
{
    static constexpr char16_t name[] = u"dwMicroSecPerFrame";
    LentText lent;
    const QString &text = lent.borrow(QStringView(name, 18));
    QCOMPARE(text, QStringLiteral("dwMicroSecPerFrame"));
    QCOMPARE(static_cast<const void *>(text.constData()), static_cast<const void *>(name));
}

void TestLentText::anEmptyTextIsEmptyAndTheNextOneIsNot()
{
    LentText lent;
    QVERIFY(lent.borrow(QStringView()).isEmpty());
    QCOMPARE(lent.decimal(quint64(7)), QStringLiteral("7"));
    QVERIFY(lent.borrow(QStringView(u"")).isEmpty());
    QCOMPARE(lent.latin1("x", 1), QStringLiteral("x"));
}

void TestLentText::aTextThatIsFilledAgainShowsTheNewCharacters()
{
    LentText lent;
    QCOMPARE(lent.decimal(quint64(123456)), QStringLiteral("123456"));
    QCOMPARE(lent.decimal(quint64(7)), QStringLiteral("7"));
    QCOMPARE(lent.latin1("movi", 4), QStringLiteral("movi"));
    QCOMPARE(lent.borrow(u"borrowed"), QStringLiteral("borrowed"));
    QCOMPARE(lent.decimal(qint64(-5)), QStringLiteral("-5"));
}

void TestLentText::twoObjectsDoNotShareABuffer()
{
    LentText first;
    LentText second;
    const QString &one = first.decimal(quint64(1));
    const QString &two = second.decimal(quint64(2));
    QCOMPARE(one, QStringLiteral("1"));
    QCOMPARE(two, QStringLiteral("2"));
}

void TestLentText::aCopyOfTheCharactersOutlivesTheNextCall()
{
    LentText lent;
    const QString &text = lent.latin1("kept", 4);
    const QString copy(text.constData(), text.size());
    lent.latin1("gone", 4);
    QCOMPARE(copy, QStringLiteral("kept"));
}

QTEST_APPLESS_MAIN(TestLentText)
#include "tst_lenttext.moc"
