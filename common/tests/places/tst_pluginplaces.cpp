#include "pluginplaces.h"

#include <QTest>

using namespace quenlofar;

class TestPluginPlaces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        qputenv("QUENLOFAR_PLUGIN_PATH", "/listed/one::/listed/two");
        qputenv("XDG_DATA_HOME", "/data");
        for (const char *const name : {"SUDO_UID", "DOAS_USER", "PKEXEC_UID"})
            qunsetenv(name);
    }

    void whoseWordCounts_data()
    {
        QTest::addColumn<bool>("inCaller");
        QTest::addColumn<bool>("inHome");
        QTest::addColumn<QStringList>("expected");
        const QString own = QStringLiteral("/data/quenlofar/" QUENLOFAR_ABI "/plugins");
        const QStringList fromCaller{QStringLiteral("/named"), QStringLiteral("/listed/one"),
                                     QStringLiteral("/listed/two")};
        QTest::newRow("the caller is trusted") << true << true << fromCaller + QStringList(own);
        QTest::newRow("the program runs for another user") << true << false << fromCaller;
        QTest::newRow("the program has rights of its own") << false << false << QStringList();
    }
    void whoseWordCounts()
    {
        QFETCH(bool, inCaller);
        QFETCH(bool, inHome);
        QFETCH(QStringList, expected);
        const QStringList places = pluginPlaces({QStringLiteral("/named")}, {inCaller, inHome});
        QCOMPARE(int(places.size()), int(expected.size()) + 1); // the program's own comes last
        QCOMPARE(places.mid(0, expected.size()), expected);
    }

    void thisProcessHasTheRightsOfItsCaller()
    {
        const PluginPlaceTrust trust = PluginPlaceTrust::ofProcess();
        QVERIFY(trust.inCaller);
        QVERIFY(trust.inHome);
    }

    void aChangeOfUserIsSeen_data()
    {
        QTest::addColumn<QByteArray>("variable");
        QTest::newRow("sudo") << QByteArray("SUDO_UID");
        QTest::newRow("doas") << QByteArray("DOAS_USER");
        QTest::newRow("pkexec") << QByteArray("PKEXEC_UID");
    }
    void aChangeOfUserIsSeen()
    {
        QFETCH(QByteArray, variable);
        qputenv(variable.constData(), "1000");
        const PluginPlaceTrust trust = PluginPlaceTrust::ofProcess();
        QVERIFY(trust.inCaller);
        QVERIFY(!trust.inHome);
    }
};

QTEST_APPLESS_MAIN(TestPluginPlaces)
#include "tst_pluginplaces.moc"
