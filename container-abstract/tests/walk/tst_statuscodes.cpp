#include "statuscodes.h"

#include <QTest>

using namespace quenlofar;

class TestStatusCodes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbersArePartOfTheOutput_data();
    void numbersArePartOfTheOutput();
};

void TestStatusCodes::numbersArePartOfTheOutput_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("text");

    // clang-format off
    QTest::newRow("success is 0")            << int(StatusOk)            << 0 << QStringLiteral("walked to the end");
    QTest::newRow("cannot open is 1")        << int(StatusCannotOpen)    << 1 << QStringLiteral("the file cannot be opened");
    QTest::newRow("read error is 2")         << int(StatusReadError)     << 2 << QStringLiteral("reading the file failed");
    QTest::newRow("not recognised is 3")     << int(StatusNotRecognised) << 3 << QStringLiteral("no parser recognises the file");
    QTest::newRow("unknown stream is 4")     << int(StatusUnknownStream) << 4
        << QStringLiteral("an index names a video stream that no header announces");
    QTest::newRow("end of file is 5")        << int(StatusEndOfFile)     << 5 << QStringLiteral("the file ends inside an element");
    QTest::newRow("unknown id is 7")         << int(StatusUnknownId)     << 7 << QStringLiteral("unknown element id");
    QTest::newRow("out of memory is 9")      << int(StatusOutOfMemory)   << 9
        << QStringLiteral("not enough memory for a buffer whose size the file asks for");
    QTest::newRow("a gap is told by number") << 6                        << 6 << QStringLiteral("status 6");
    QTest::newRow("a parser's own status")   << 1000                     << 1000 << QStringLiteral("status 1000");
    QTest::newRow("a negative status")       << -1                       << -1 << QStringLiteral("status -1");
    // clang-format on
}

void TestStatusCodes::numbersArePartOfTheOutput()
{
    QFETCH(int, status);
    QFETCH(int, number);
    QFETCH(QString, text);
    QCOMPARE(status, number);
    QCOMPARE(statusText(status), text);
}

QTEST_APPLESS_MAIN(TestStatusCodes)
#include "tst_statuscodes.moc"
