#include "packettable.h"

#include <QTest>

#include <cmath>

using namespace quenlofar;

namespace {

Packet packet(quint64 offset, quint32 size, quint8 stream = 0)
{
    Packet each;
    each.offset = offset;
    each.size = size;
    each.stream = stream;
    return each;
}

PacketStream declared(quint32 numerator, quint32 denominator, quint32 bytesPerTick = 0, qint64 start = 0)
{
    PacketStream stream;
    stream.isDeclared = true;
    stream.timeBaseNumerator = numerator;
    stream.timeBaseDenominator = denominator;
    stream.bytesPerTick = bytesPerTick;
    stream.start = start;
    return stream;
}

/// Two streams as films interleave them, and a palette: 3 video packets, 2 audio packets of 100 and 60 bytes.
void fill(PacketTable &table)
{
    table.setStream(0, declared(1, 25));
    table.setStream(1, declared(1, 1000, 20, 5));
    QVERIFY(table.append(packet(100, 10)));
    QVERIFY(table.append(packet(200, 100, 1)));
    Packet palette = packet(350, 8);
    palette.isPalette = true;
    QVERIFY(table.append(palette));
    QVERIFY(table.append(packet(400, 0)));
    QVERIFY(table.append(packet(500, 60, 1)));
    QVERIFY(table.append(packet(600, 30)));
    table.finish();
}

/// Random numbers, equal in every run (splitmix64).
class Random
{
public:
    quint64 next()
    {
        quint64 mixed = m_state += 0x9E3779B97F4A7C15;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }
    quint32 below(quint32 limit) { return quint32(next() % limit); }

private:
    quint64 m_state = 7;
};

} // namespace

class TestPacketTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sourcesHaveTheNamesOfTheContainer()
    {
        PacketTable table;
        QCOMPARE(table.sourceName(KnownFromData), QStringView(u"data"));
        QCOMPARE(table.sourceName(KnownFromLegacyIndex), QStringView(u"index"));
        QCOMPARE(table.sourceName(KnownFromPartIndex), QStringView(u"part-index"));
        table.setSourceName(KnownFromLegacyIndex, u"idx1");
        table.clear();
        QCOMPARE(table.sourceName(KnownFromLegacyIndex), QStringView(u"idx1"));
        QCOMPARE(table.sourceName(KnownFromData), QStringView(u"data"));
    }

    void anEmptyTableHasNothing()
    {
        PacketTable table;
        table.finish();
        QCOMPARE(table.size(), quint64(0));
        QCOMPARE(table.streamCount(), 0);
        QCOMPARE(table.indexAt(0), PacketTable::none);
        QCOMPARE(table.lowerIndex(0), quint64(0));
        QCOMPARE(table.indexOf(0, 0), PacketTable::none);
        QCOMPARE(table.countBefore(0, 0), quint64(0));
        QCOMPARE(table.duration(0), -1.0);
        QVERIFY(!PacketCursor(table).isValid());
    }

    void numbersCountWithinAStream()
    {
        PacketTable table;
        fill(table);
        const quint64 none = PacketTable::none;
        const quint64 expected[] = {0, 0, none, 1, 1, 2};
        for (quint64 index = 0; index < table.size(); ++index)
            QCOMPARE(table.numberOf(index), expected[index]);
        QCOMPARE(table.indexOf(0, 2), quint64(5));
        QCOMPARE(table.indexOf(1, 1), quint64(4));
        QCOMPARE(table.indexOf(0, 3), none);
        QCOMPARE(table.indexOf(2, 0), none);
        QCOMPARE(table.indexOf(-1, 0), none);
        QCOMPARE(table.countBefore(0, 4), quint64(2));
        QCOMPARE(table.countBefore(1, table.size()), quint64(2));
        QCOMPARE(table.bytesBefore(1, 4), quint64(100));
        QCOMPARE(table.bytesBefore(0, table.size()), quint64(40));
    }

    void offsetsFindPackets()
    {
        PacketTable table;
        fill(table);
        QCOMPARE(table.indexAt(99), PacketTable::none);
        QCOMPARE(table.indexAt(100), quint64(0));
        QCOMPARE(table.indexAt(109), quint64(0));
        QCOMPARE(table.indexAt(110), PacketTable::none);
        QCOMPARE(table.indexAt(400), quint64(3)); // empty, but it begins there
        QCOMPARE(table.indexAt(401), PacketTable::none);
        QCOMPARE(table.lowerIndex(401), quint64(4));
        QCOMPARE(table.lowerIndex(601), table.size());
    }

    void timesComeFromPacketsOrBytes()
    {
        PacketTable table;
        fill(table);
        QCOMPARE(table.secondsOf(0), 0.0);
        QCOMPARE(table.secondsOf(5), 2.0 / 25);
        QCOMPARE(table.secondsOf(1), 0.005); // 5 ticks of start
        QCOMPARE(table.ticksOf(4), 10.0); // and 100 bytes of 20 each
        QCOMPARE(table.secondsOf(4), 0.010);
        QCOMPARE(table.secondsOf(2), -1.0); // a palette
        QCOMPARE(table.duration(0), 3.0 / 25);
        QCOMPARE(table.duration(1), 8.0 / 1000);
    }

    void streamsWithoutHeadersHaveNoTime()
    {
        PacketTable table;
        table.setStream(0, declared(0, 25));
        QVERIFY(table.append(packet(10, 1)));
        QVERIFY(table.append(packet(20, 1, 7)));
        table.finish();
        QCOMPARE(table.streamCount(), 8);
        QVERIFY(!table.stream(7).isDeclared);
        QCOMPARE(table.secondsOf(0), -1.0);
        QCOMPARE(table.secondsOf(1), -1.0);
        QCOMPARE(table.totals(3).count, quint64(0));
    }

    void totalsLeavePalettesOut()
    {
        PacketTable table;
        fill(table);
        const PacketTotals &video = table.totals(0);
        QCOMPARE(video.count, quint64(3));
        QCOMPARE(video.empty, quint64(1));
        QCOMPARE(video.bytes, quint64(40));
        QCOMPARE(video.smallest, 10U);
        QCOMPARE(video.largest, 30U);
        QCOMPARE(video.palettes, quint64(1));
        QCOMPARE(video.keyUnknown, quint64(3));
    }

    void theIndexOfTheWholeFileComesFirst()
    {
        PacketTable table;
        fill(table);
        table.addKnowledge(0, KnownFromPartIndex, KeyState::No);
        QCOMPARE(table.at(0).key, KeyState::No);
        QCOMPARE(table.totals(0).keyUnknown, quint64(2));
        table.addKnowledge(0, KnownFromLegacyIndex, KeyState::Yes);
        QCOMPARE(table.at(0).key, KeyState::Yes);
        QCOMPARE(table.totals(0).keyFrames, quint64(1));
        table.addKnowledge(0, KnownFromPartIndex, KeyState::No);
        QCOMPARE(table.at(0).key, KeyState::Yes);
        QCOMPARE(table.at(0).knownBy, quint8(KnownFromData | KnownFromLegacyIndex | KnownFromPartIndex));
        table.addKnowledge(3, KnownFromLegacyIndex, KeyState::Unknown); // it knows the packet, not the flag
        QCOMPARE(table.at(3).key, KeyState::Unknown);
        QCOMPARE(table.totals(0).keyFrames, quint64(1));
        QCOMPARE(table.totals(0).keyUnknown, quint64(2));
    }

    void streamsThatAreNotThereHaveNoSums()
    {
        PacketTable table;
        fill(table);
        for (const int stream : {-1, 2}) {
            QCOMPARE(table.countBefore(stream, 6), quint64(0));
            QCOMPARE(table.bytesBefore(stream, 6), quint64(0));
            QCOMPARE(table.duration(stream), -1.0);
        }
    }

    void aTableThatIsMovedTakesItsPackets()
    {
        PacketTable table;
        fill(table);
        const PacketTable moved(std::move(table));
        QCOMPARE(moved.size(), quint64(6));
        QCOMPARE(moved.numberOf(4), quint64(1));
        QCOMPARE(moved.totals(1).bytes, quint64(160));
    }

    void streamsAreDeclaredInAnyOrder()
    {
        PacketTable table;
        table.setStream(1, declared(1, 50));
        table.setStream(0, declared(1, 25));
        QVERIFY(table.append(packet(10, 1)));
        QVERIFY(table.append(packet(20, 1, 1)));
        table.finish();
        QCOMPARE(table.streamCount(), 2);
        QCOMPARE(table.duration(0), 1.0 / 25);
        QCOMPARE(table.duration(1), 1.0 / 50);
    }

    void aStreamThatBeginsInALaterBlock()
    {
        PacketTable table;
        // A block holds 65536 packets.
        for (quint64 index = 0; index < 70000; ++index)
            QVERIFY(table.append(packet(8 + 16 * index, 3, index < 69990 ? 0 : 1)));
        table.finish();
        QCOMPARE(table.countBefore(1, 100), quint64(0));
        QCOMPARE(table.bytesBefore(1, 100), quint64(0));
        QCOMPARE(table.countBefore(1, 69995), quint64(5));
        QCOMPARE(table.bytesBefore(1, 69995), quint64(15));
        QCOMPARE(table.countBefore(0, 69995), quint64(69990));
    }

    void onlyAscendingOffsetsAreTaken()
    {
        PacketTable table;
        QVERIFY(table.append(packet(8, 0)));
        QVERIFY(!table.append(packet(8, 0)));
        QVERIFY(!table.append(packet(7, 0)));
        QVERIFY(table.append(packet(PacketTable::offsetLimit - 1, 0)));
        QVERIFY(!table.append(packet(PacketTable::offsetLimit, 0)));
        table.finish();
        QCOMPARE(table.size(), quint64(2));
        QCOMPARE(table.at(1).offset, PacketTable::offsetLimit - 1);
    }

    void flagsAndLargeNumbersAreKept()
    {
        PacketTable table;
        Packet large = packet(quint64(5) << 32, 0xFFFFFFFF, 255);
        large.isCut = true;
        large.key = KeyState::Yes;
        QVERIFY(table.append(large));
        table.finish();
        const Packet kept = table.at(0);
        QCOMPARE(kept.offset, quint64(5) << 32);
        QCOMPARE(kept.size, 0xFFFFFFFFU);
        QCOMPARE(kept.stream, quint8(255));
        QVERIFY(kept.isCut && !kept.isPalette);
        QCOMPARE(kept.key, KeyState::Yes);
        table.clear();
        QVERIFY(table.append(large));
        table.shortenLast(3);
        QVERIFY(!table.at(0).isCut);
        QCOMPARE(table.at(0).size, 3U);
    }

    // More packets than two blocks have, against counters that are as plain as can be.
    void lookUpsAgreeWithCounting()
    {
        Random random;
        PacketTable table;
        for (int stream = 0; stream < 3; ++stream)
            table.setStream(stream, declared(1, 10, stream == 1 ? 4 : 0));
        const quint64 count = 150000;
        quint64 offset = 8;
        std::vector<quint64> numbers;
        std::vector<quint64> bytesBefore;
        quint64 packets[3] = {};
        quint64 bytes[3] = {};
        for (quint64 index = 0; index < count; ++index) {
            // The last stream has packets in the second block alone.
            const quint32 streams = index / 65536 == 1 ? 3 : 2;
            Packet each = packet(offset, random.below(1000), quint8(random.below(streams)));
            each.isPalette = random.below(50) == 0;
            offset += each.size + 8;
            QVERIFY(table.append(each));
            numbers.push_back(each.isPalette ? PacketTable::none : packets[each.stream]);
            bytesBefore.push_back(bytes[each.stream]);
            if (!each.isPalette) {
                ++packets[each.stream];
                bytes[each.stream] += each.size;
            }
        }
        table.finish();
        PacketCursor cursor(table);
        for (quint64 index = 0; index < count; ++index, cursor.next()) {
            const Packet each = table.at(index);
            QCOMPARE(table.numberOf(index), numbers[index]);
            QCOMPARE(table.bytesBefore(each.stream, index), bytesBefore[index]);
            if (!each.isPalette)
                QCOMPARE(table.indexOf(each.stream, numbers[index]), index);
            QCOMPARE(cursor.index(), index);
            QCOMPARE(cursor.number(), numbers[index]);
            QVERIFY(std::abs(cursor.seconds() - table.secondsOf(index)) < 1e-9);
            QCOMPARE(table.indexAt(each.offset), index);
        }
        QVERIFY(!cursor.isValid());
        QCOMPARE(PacketCursor(table, 100000).number(), numbers[100000]);
        for (int stream = 0; stream < 3; ++stream) {
            QCOMPARE(table.totals(stream).count, packets[stream]);
            QCOMPARE(table.totals(stream).bytes, bytes[stream]);
            QCOMPARE(table.countBefore(stream, count), packets[stream]);
        }
    }

    void aPacketTakesAtMostSixteenBytes()
    {
        PacketTable table;
        const quint64 count = 1000000;
        for (quint64 index = 0; index < count; ++index)
            QVERIFY(table.append(packet(8 + 16 * index, 8, quint8(index % 3))));
        table.finish();
        QVERIFY2(table.memory() <= 16 * count, qPrintable(QString::number(table.memory())));
    }
};

QTEST_APPLESS_MAIN(TestPacketTable)
#include "tst_packettable.moc"
