#include "packettable.h"
#include "referencetable.h"

#include <QTest>

using namespace quenlofar;

namespace {

PacketTable threePackets()
{
    PacketTable table;
    for (const quint64 offset : {quint64(100), quint64(200), quint64(300)}) {
        Packet packet;
        packet.offset = offset;
        packet.size = 50;
        table.append(packet);
    }
    table.finish();
    return table;
}

} // namespace

class TestReferenceTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placesAreThoseOfTheRuns()
    {
        const PacketTable packets = threePackets();
        ReferenceTable table(packets);
        table.beginRun(40, 16); // without an entry
        table.beginRun(50, 8);
        table.addPacket(1);
        table.addRange({1000, 5}, false);
        table.beginRun(400, 16);
        table.addFiller();
        table.addPacket(0);
        table.finish();

        QCOMPARE(table.size(), quint64(4));
        QCOMPARE(table.at(0).place, (ByteRange{50, 8}));
        QCOMPARE(table.at(0).target, (ByteRange{200, 50}));
        QVERIFY(table.at(0).isHit);
        QCOMPARE(table.at(1).place, (ByteRange{58, 8}));
        QCOMPARE(table.at(1).target, (ByteRange{1000, 5}));
        QVERIFY(!table.at(1).isHit);
        QVERIFY(!table.isReference(2));
        QCOMPARE(table.at(3).place, (ByteRange{416, 16}));

        QCOMPARE(table.ordinalAt(49), ReferenceTable::none);
        QCOMPARE(table.ordinalAt(57), quint64(0));
        QCOMPARE(table.ordinalAt(65), quint64(1));
        QCOMPARE(table.ordinalAt(66), ReferenceTable::none);
        QCOMPARE(table.ordinalAt(431), quint64(3));
        QCOMPARE(table.ordinalAt(432), ReferenceTable::none);
    }

    void targetsAreFoundInAnyOrder()
    {
        const PacketTable packets = threePackets();
        ReferenceTable table(packets);
        table.beginRun(500, 16);
        table.addPacket(2);
        table.addFiller();
        table.addPacket(0);
        table.addRange({100, 8}, true);
        table.finish();
        QCOMPARE(table.ordinalsTo({100, 1}), (std::vector<quint64>{2, 3}));
        QCOMPARE(table.ordinalsTo({100, 201}), (std::vector<quint64>{2, 3, 0}));
        QCOMPARE(table.ordinalsTo({100, 201}, 1), (std::vector<quint64>{2}));
        QCOMPARE(table.ordinalsTo({101, 199}), std::vector<quint64>());
    }

    void fillersAreNeverFound()
    {
        const PacketTable packets = threePackets();
        ReferenceTable table(packets);
        table.beginRun(500, 16);
        table.addFiller();
        table.addFiller();
        table.finish();
        QCOMPARE(table.ordinalsTo({0, 1000}), std::vector<quint64>());
    }

    void fillersPointAtNothing()
    {
        const PacketTable packets = threePackets();
        ReferenceTable table(packets);
        table.beginRun(500, 16);
        table.addFiller();
        table.addRange({7, 0}, false);
        table.finish();
        const Reference filler = table.at(0);
        QCOMPARE(filler.place, (ByteRange{500, 16}));
        QCOMPARE(filler.target, (ByteRange{0, 0}));
        QVERIFY(!filler.isHit);
        QCOMPARE(table.at(1).target, (ByteRange{7, 0}));
        QVERIFY(!table.at(1).isHit);
    }

    void ascendingTargetsNeedNoOrderOfTheirOwn()
    {
        const PacketTable packets = threePackets();
        ReferenceTable table(packets);
        table.beginRun(500, 16);
        for (quint64 packet = 0; packet < 3; ++packet)
            table.addPacket(packet);
        table.finish();
        const size_t before = table.memory();
        QCOMPARE(table.ordinalsTo({200, 1}), (std::vector<quint64>{1}));
        QCOMPARE(table.memory(), before);
        table.clear();
        QCOMPARE(table.size(), quint64(0));
        QCOMPARE(table.ordinalAt(500), ReferenceTable::none);
        QCOMPARE(table.ordinalsTo({0, 1000}), std::vector<quint64>());
    }
};

QTEST_APPLESS_MAIN(TestReferenceTable)
#include "tst_referencetable.moc"
