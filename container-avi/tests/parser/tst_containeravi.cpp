#include "avibuilder.h"
#include "aviprobe.h"

#include <QTest>

using namespace quenlofar;
using namespace build;

class TestContainerAVI : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initialState()
    {
        AviProbe probe{QByteArray()};
        QCOMPARE(probe.streamType(), quint32(0));
        QCOMPARE(probe.videoStreamCount(), quint32(0));
        QCOMPARE(probe.timeBase(), 1.0);
        QCOMPARE(probe.moviOffset(), quint64(0));
        QVERIFY(probe.videoStreamNumbers().isEmpty());
        QCOMPARE(probe.elements().size(), 38);
        QCOMPARE(probe.mainHeader().dwMicroSecPerFrame, quint32(0));
        QCOMPARE(probe.mainHeader().dwReserved[3], quint32(0));
    }

    void addsNoMetaObjectOfItsOwn()
    {
        const AviProbe probe{QByteArray()};
        QCOMPARE(QByteArray(probe.metaObject()->className()), QByteArray("ContainerAbstract"));
    }

    void parsingBeginsAtTheFirstByte()
    {
        AviProbe probe{QByteArray()};
        probe.prepareParsing();
        qint64 begin = 99;
        QCOMPARE(probe.findBeginOfContainer(&begin), 0);
        QCOMPARE(begin, qint64(0));
        probe.finalizeParsing();
        QVERIFY(probe.lines().isEmpty());
    }

    void getID_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("status");
        QTest::newRow("four bytes") << QByteArray("avihXX") << QStringLiteral("avih") << 0;
        QTest::newRow("Latin-1") << QByteArray("\xE9vih") << QStringLiteral("\u00E9vih") << 0;
        QTest::newRow("ends at the first zero byte") << QByteArray("a\0ih", 4) << QStringLiteral("a") << 0;
        QTest::newRow("three bytes came") << QByteArray("avi") << QStringLiteral("avi") << 5;
        QTest::newRow("no byte came") << QByteArray() << QString() << 5;
    }
    void getID()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, id);
        QFETCH(int, status);
        AviProbe probe(file);
        QString read = QStringLiteral("before");
        QCOMPARE(probe.getID(&read), status);
        QCOMPARE(read, id);
    }

    void getSize_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<quint32>("size");
        QTest::addColumn<int>("status");
        QTest::newRow("little-endian") << QByteArray("\x04\x03\x02\x01", 4) << quint32(0x01020304) << 0;
        QTest::newRow("all bits") << QByteArray("\xFF\xFF\xFF\xFF") << quint32(0xFFFFFFFF) << 0;
        QTest::newRow("three bytes are kept") << QByteArray("\x04\x03\x02", 3) << quint32(0x00020304) << 5;
        QTest::newRow("two bytes are kept") << QByteArray("\x04\x03", 2) << quint32(0x00000304) << 5;
        QTest::newRow("one byte is kept") << QByteArray("\x04", 1) << quint32(0x00000004) << 5;
        QTest::newRow("no byte came") << QByteArray() << quint32(0) << 5;
    }
    void getSize()
    {
        QFETCH(QByteArray, file);
        QFETCH(quint32, size);
        QFETCH(int, status);
        AviProbe probe(file);
        quint32 read = 77;
        QCOMPARE(probe.getSize(&read), status);
        QCOMPARE(read, size);
    }

    void stateAfterVideoAudioVideo()
    {
        const QByteArray file = chunk("strh", StreamHeader("vids").scale(1).rate(25))
            + chunk("strh", StreamHeader("auds").scale(1).rate(8000))
            + chunk("strh", StreamHeader("vids").scale(1001).rate(30000));
        AviProbe probe(file);
        while (probe.m_position < quint64(file.size())) {
            quint64 size = 0;
            QCOMPARE(probe.parseElement(&size), 0);
            probe.m_position += size;
            probe.m_file.seek(qint64(probe.m_position));
        }
        QCOMPARE(probe.videoStreamNumbers(), (QVector<quint32>{0, 1}));
        QCOMPARE(probe.videoStreamCount(), quint32(2));
        QCOMPARE(probe.streamType(), quint32(1));
        QCOMPARE(probe.timeBase(), 30000.0 / 1001.0);
    }
};

QTEST_APPLESS_MAIN(TestContainerAVI)
#include "tst_containeravi.moc"
