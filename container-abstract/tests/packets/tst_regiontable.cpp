#include "packettable.h"
#include "regiontable.h"

#include <QTest>

using namespace quenlofar;

namespace {

/// All regions of a file, "0+12 header, 12+5 video 0".
QString allOf(const RegionTable &table)
{
    QStringList texts;
    for (quint64 at = 0; at < table.fileSize();) {
        const Region region = table.at(at);
        if (region.range.offset != at || region.range.size == 0)
            return QStringLiteral("%1 is no region at %2").arg(region.range.offset).arg(at);
        QString text = QStringLiteral("%1+%2 %3").arg(at).arg(region.range.size).arg(regionKindText(region.kind));
        if (region.stream >= 0)
            text += QStringLiteral(" %1").arg(region.stream);
        texts.append(text);
        at = region.range.end();
    }
    return texts.join(QStringLiteral(", "));
}

} // namespace

class TestRegionTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyByteHasARegion()
    {
        PacketTable packets;
        PacketStream video;
        video.kind = StreamKind::Video;
        packets.setStream(0, video);
        Packet packet;
        packet.offset = 28;
        packet.size = 3; // and a byte of padding
        packets.append(packet);
        packet.offset = 50;
        packet.size = 5; // the file ends where its padding would be
        packet.stream = 1;
        packets.append(packet);
        packets.finish();

        RegionTable table(packets);
        table.reset(55, 8);
        table.append({0, 12}, RegionKind::Header);
        table.append({12, 0}, RegionKind::Index);
        table.append({12, 4}, RegionKind::Header);
        table.append({34, 6}, RegionKind::Index);
        QCOMPARE(allOf(table),
                 QStringLiteral("0+16 header, 16+4 unknown, 20+12 video 0, 32+2 unknown, 34+6 index, "
                                "40+2 unknown, 42+13 other data 1"));
        QCOMPARE(table.at(15).range, (ByteRange{0, 16}));
        QCOMPARE(table.at(33).range, (ByteRange{32, 2}));
    }

    void withoutPacketsTheRestIsUnknown()
    {
        PacketTable packets;
        packets.finish();
        RegionTable table(packets);
        table.reset(10, 8);
        QCOMPARE(allOf(table), QStringLiteral("0+10 unknown"));
        table.append({4, 6}, RegionKind::Text);
        QCOMPARE(allOf(table), QStringLiteral("0+4 unknown, 4+6 text"));
        table.reset(0, 8);
        QCOMPARE(allOf(table), QString());
    }

    void packetsNeedNoRoom()
    {
        PacketTable packets;
        Packet packet;
        packet.size = 8;
        for (packet.offset = 8; packet.offset < 1600; packet.offset += 16)
            packets.append(packet);
        packets.finish();
        RegionTable table(packets);
        table.reset(1600, 8);
        QCOMPARE(table.memory(), size_t(0));
        QCOMPARE(allOf(table).count(QLatin1Char(',')), 99); // one region for each packet
        // What is appended takes an offset and a size of eight bytes each, and a kind.
        table.append({0, 4}, RegionKind::Header);
        QVERIFY(table.memory() >= 17);
    }
};

QTEST_APPLESS_MAIN(TestRegionTable)
#include "tst_regiontable.moc"
