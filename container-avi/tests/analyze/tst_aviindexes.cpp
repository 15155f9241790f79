#include "smallfilm.h"

#include "aviids.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

/// "K_??": what is known of the key flags of a stream's packets.
QString keysText(const AviLayout &layout, int stream)
{
    QString text;
    for (quint64 index = 0; index < layout.packets.size(); ++index) {
        const Packet packet = layout.packets.at(index);
        if (packet.stream == stream)
            text += QLatin1Char("?_K"[int(packet.key)]);
    }
    return text;
}

/// "2: no-chunk size": the irregular entries by their ordinals.
QString irregularText(const AviLayout &layout)
{
    static const char *const names[] = {"no-chunk",  "size", "duplicate", "behind",
                                        "list-flag", "key",  "stream",    "second-field"};
    QStringList texts;
    for (const AviIrregularEntry &entry : layout.irregularEntries) {
        QString text = QStringLiteral("%1:").arg(entry.entry);
        for (int bit = 0; bit < 8; ++bit) {
            if ((entry.what >> bit & 1) != 0)
                text += QLatin1Char(' ') + QLatin1String(names[bit]);
        }
        texts.append(text);
    }
    return texts.join(QStringLiteral(", "));
}

/// A file with one video stream, its `indx`, four frames of 4, 6, 8 and 10 bytes and `ix00` behind them. Frames stand
/// at 0, 12, 26 and 42 from the first one, which is at 296; `ix00` at 296 + 60.
struct OpenDml
{
    static constexpr quint64 firstFrame = 296;
    static constexpr quint64 indexOffset = firstFrame + 60;

    QByteArray indexEntries =
        u32(8) + u32(4) + u32(20) + u32(0x80000006) + u32(34) + u32(0x80000008) + u32(50) + u32(0x8000000A);
    quint16 longsPerEntry = 2;
    quint8 subType = 0;
    quint32 entries = 4;
    QByteArray chunkId = "00dc";
    quint64 base = firstFrame;
    quint64 superOffset = indexOffset;
    QByteArray behind;

    QByteArray bytes() const
    {
        const QByteArray super = IndexHeader(0, 4, 1).chunkId("00dc").bytes() + superIndexEntry(superOffset, 64, 4);
        const QByteArray headers = list("hdrl",
                                        {chunk("avih", MainHeader().frameTime(40000).streams(1)),
                                         list("strl",
                                              {chunk("strh", StreamHeader("vids").scale(1).rate(25).length(4)),
                                               chunk("strf", VideoFormat().picture(16, 16)), chunk("indx", super)}),
                                         list("odml", {chunk("dmlh", u32(4))})});
        const QByteArray index =
            IndexHeader(1, longsPerEntry, entries).subType(subType).chunkId(chunkId).baseOffset(base) + indexEntries;
        return list("AVI ",
                    {headers,
                     list("movi",
                          {chunk("00dc", payload(4)), chunk("00dc", payload(6)), chunk("00dc", payload(8)),
                           chunk("00dc", payload(10)), chunk("ix00", index)}),
                     behind},
                    "RIFF");
    }
};

} // namespace

class TestAviIndexes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theBaseIsTold_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("base");
        QTest::addColumn<qint64>("offset");
        const auto row = [](const char *name, const QByteArray &bytes, AviIndexBase base, qint64 offset) {
            QTest::newRow(name) << bytes << int(base) << offset;
        };
        row("the form type of movi", file(), AviIndexBase::Movi, 322);
        row("the first chunk", file(joined(chunks()), index(0)), AviIndexBase::FirstChunk, 326);
        row("the header of the list", file(joined(chunks()), index(12)), AviIndexBase::MoviHeader, 314);
        row("the beginning of the file", file(joined(chunks()), index(326)), AviIndexBase::File, 0);
        row("somewhere else", file(joined(chunks()), index(100)), AviIndexBase::Other, 226);
        row("no entries", file(joined(chunks()), chunk("idx1", QByteArray())), AviIndexBase::Empty, 0);
        row("entries of another file",
            file(joined(chunks()), chunk("idx1", indexEntry("00dc", 0, 4, 99) + indexEntry("00dc", 0, 40, 98))),
            AviIndexBase::Unknown, 0);
    }

    void theBaseIsTold()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, base);
        QFETCH(qint64, offset);
        const Reading reading(bytes);
        QCOMPARE(int(reading.layout().legacyFacts.base), base);
        QCOMPARE(reading.layout().legacyFacts.baseOffset, offset);
        QCOMPARE(irregularText(reading.layout()), QString());
        const Reading quick(bytes, Level::Quick);
        if (base != int(AviIndexBase::Other)) // which takes a walk
            QCOMPARE(int(quick.layout().legacyFacts.base), base);
    }

    void keyFlagsComeFromTheIndex()
    {
        const Reading reading(file());
        QCOMPARE(keysText(reading.layout(), 0), QStringLiteral("K___"));
        QCOMPARE(keysText(reading.layout(), 1), QStringLiteral("KKKK"));
        QCOMPARE(reading.layout().packets.totals(0).keyFrames, quint64(1));
        const AviLegacyStream &video = reading.layout().legacyFacts.streams[0];
        QCOMPARE(video.entries, quint64(4));
        QCOMPARE(video.hits, quint64(4));
        QCOMPARE(video.keys, quint64(1));
        QVERIFY(video.firstIsKey);
        QCOMPARE(video.notKeys.count, quint64(3));
        QCOMPARE(video.notKeys.places[0], (ByteRange{450 + 2 * 16, 16}));
        QCOMPARE(video.frames, quint64(3)); // one is empty
        const Reading without(file(joined(chunks()), {}));
        QCOMPARE(keysText(without.layout(), 0), QStringLiteral("????"));
        QCOMPARE(without.layout().packets.totals(0).keyUnknown, quint64(4));
        QCOMPARE(without.layout().packets.at(0).knownBy, quint8(KnownFromData));
    }

    void timesComeFromTheHeaders()
    {
        const Reading reading(file());
        const PacketTable &packets = reading.layout().packets;
        QCOMPARE(packets.secondsOf(2), 1.0 / 25);
        QCOMPARE(packets.secondsOf(5), 6.0 / 1000); // 12 bytes of 2 each before it
        QCOMPARE(packets.duration(0), 4.0 / 25);
        QCOMPARE(packets.duration(1), 11.0 / 1000);
    }

    void irregularEntriesAreKept_data()
    {
        QTest::addColumn<QByteArray>("entries");
        QTest::addColumn<QString>("irregular");
        const QByteArray good = index().mid(8);
        const auto row = [&good](const char *name, const QByteArray &entries, const char *irregular) {
            QTest::newRow(name) << good + entries << QString::fromLatin1(irregular);
        };
        row("nothing is wrong", {}, "");
        row("no chunk stands there", indexEntry("00dc", 0, 5, 10), "8: no-chunk");
        row("behind the file", indexEntry("00dc", 0, 0xFFFFFFF0, 10), "8: no-chunk");
        row("a chunk of another stream", indexEntry("00dc", 0, 22, 6), "8: no-chunk stream");
        row("a chunk of another kind", indexEntry("00wb", 0, 4, 10), "8: no-chunk");
        row("compressed or not is alike", indexEntry("00db", 0x10, 4, 10), "8: duplicate");
        row("another size, once more", indexEntry("00dc", 0x10, 4, 11), "8: size duplicate");
        row("filler is exempt", indexEntry("7Fxx", 0, 5, 0), "");
        row("filler with a size is none", indexEntry("7Fxx", 0, 5, 1), "8: no-chunk");
        row("a list that is none", indexEntry("rec ", 1, 4, 10), "8: no-chunk");
    }

    void irregularEntriesAreKept()
    {
        QFETCH(QByteArray, entries);
        const Reading reading(file(joined(chunks()), chunk("idx1", entries)));
        QCOMPARE(int(reading.layout().legacyFacts.base), int(AviIndexBase::Movi));
        QTEST(irregularText(reading.layout()), "irregular");
    }

    void packetsInListsOfRecordsAreKnown()
    {
        const QByteArray record = list("rec ", {chunk("00dc", payload(2)), chunk("01wb", payload(2))});
        const QByteArray good = index().mid(8);
        for (const quint32 flags : {1U, 0U}) {
            const QByteArray bytes =
                file(joined(chunks()) + record,
                     chunk("idx1", good + indexEntry("rec ", flags, 4 + 116, quint32(record.size()) - 8)));
            const Reading reading(bytes);
            QCOMPARE(irregularText(reading.layout()), flags == 1 ? QString() : QStringLiteral("8: list-flag"));
            QCOMPARE(reading.layout().packets.at(9).knownBy, quint8(KnownFromData | KnownFromLegacyIndex));
            QCOMPARE(reading.layout().packets.at(9).key, KeyState::Unknown);
            QCOMPARE(reading.layout().legacyFacts.recLists, quint64(1));
        }
    }

    void aRestIsSeen()
    {
        const Reading zero(file(joined(chunks()), chunk("idx1", index().mid(8) + zeros(5))));
        QCOMPARE(zero.layout().legacyFacts.restBytes, 5U);
        QVERIFY(zero.layout().legacyFacts.restIsZero);
        const Reading other(file(joined(chunks()), chunk("idx1", index().mid(8) + payload(6))));
        QCOMPARE(other.layout().legacyFacts.restBytes, 6U);
        QVERIFY(!other.layout().legacyFacts.restIsZero);
    }

    void theOrderIsSeen()
    {
        const QByteArray entries = indexEntry("01wb", 0x10, 22, 6) + indexEntry("00dc", 0x10, 4, 10);
        const Reading reading(file(joined(chunks()), chunk("idx1", entries)));
        QCOMPARE(reading.layout().legacyFacts.outOfOrder, quint64(1));
        QCOMPARE(reading.layout().legacyFacts.outOfOrderPlaces[0], (ByteRange{450 + 16, 16}));
    }

    void referencesLeadBothWays()
    {
        const Reading reading(file());
        const ReferenceTable &references = reading.analyzer.references();
        QCOMPARE(references.size(), quint64(8));
        const quint64 ordinal = references.ordinalAt(450 + 16 * 4 + 3);
        QCOMPARE(ordinal, quint64(4));
        QCOMPARE(references.at(ordinal).target, (ByteRange{dataOffset + 62 + 8, 12}));
        QCOMPARE(references.ordinalsTo({dataOffset + 62, 12}), (std::vector<quint64>{4}));
    }

    void standardIndexesAreRead()
    {
        const Reading reading(OpenDml().bytes());
        const AviLayout &layout = reading.layout();
        QCOMPARE(layout.indexes.size(), size_t(2));
        const AviIndex &super = layout.indexes[0];
        QCOMPARE(int(super.kind), int(AviIndexKind::Super));
        QCOMPARE(super.stream, 0);
        QCOMPARE(layout.superEntries.size(), size_t(1));
        QCOMPARE(layout.superEntries[0].index, 1U);
        QCOMPARE(layout.superEntries[0].duration, 4U);
        const AviIndex &standard = layout.indexes[1];
        QCOMPARE(int(standard.kind), int(AviIndexKind::Standard));
        QCOMPARE(standard.offset, OpenDml::indexOffset);
        QCOMPARE(standard.superEntry, 0U);
        QCOMPARE(standard.hits, 4U);
        QCOMPARE(standard.hitBytes, quint64(28));
        QCOMPARE(standard.lowest, OpenDml::firstFrame + 8);
        QCOMPARE(standard.highest, OpenDml::firstFrame + 50);
        QCOMPARE(keysText(layout, 0), QStringLiteral("K___"));
        QCOMPARE(irregularText(layout), QString());
        QCOMPARE(layout.packets.at(3).knownBy, quint8(KnownFromData | KnownFromPartIndex));
        QVERIFY(layout.extendedHeader.exists());
        QCOMPARE(layout.streams[0].superIndex, 0U);
        // The super index's entry points at ix00, those of ix00 at frames.
        QCOMPARE(layout.references.size(), quint64(5));
        QVERIFY(layout.references.at(0).isHit);
        QCOMPARE(layout.references.at(0).target, (ByteRange{OpenDml::indexOffset, 64}));
        QCOMPARE(layout.references.ordinalsTo({OpenDml::firstFrame, 9}), (std::vector<quint64>{1}));
    }

    void standardIndexesAreSeenAtLevelQuick()
    {
        const Reading reading(OpenDml().bytes(), Level::Quick);
        const AviLayout &layout = reading.layout();
        QCOMPARE(layout.superEntries[0].index, 1U);
        QCOMPARE(layout.indexes[1].offset, OpenDml::indexOffset);
        QCOMPARE(layout.indexes[1].element, AviLayout::none);
        QCOMPARE(layout.indexes[1].entriesInUse, 4U);
    }

    void irregularStandardIndexes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("irregular");
        const auto row = [](const char *name, const std::function<void(OpenDml &)> &change, const char *irregular) {
            OpenDml file;
            change(file);
            QTest::newRow(name) << file.bytes() << QString::fromLatin1(irregular);
        };
        row(
            "a base that is wrong", [](OpenDml &file) { file.base += 2; },
            "0: no-chunk, 1: no-chunk, 2: no-chunk, 3: no-chunk");
        row(
            "a base behind all files", [](OpenDml &file) { file.base = ~quint64(0); },
            "0: no-chunk, 1: no-chunk, 2: no-chunk, 3: no-chunk");
        row(
            "another stream, against the chunk's id and the super index", [](OpenDml &file) { file.chunkId = "01dc"; },
            "");
        row(
            "another stream, and no super index that says otherwise",
            [](OpenDml &file) {
                file.chunkId = "01dc";
                file.superOffset += 2;
            },
            "0: no-chunk stream, 1: no-chunk stream, 2: no-chunk stream, 3: no-chunk stream");
        row(
            "letters that mean as much", [](OpenDml &file) { file.chunkId = "00db"; }, "");
        row(
            "a size that differs", [](OpenDml &file) { file.indexEntries[4] = 5; }, "0: size");
        row(
            "a frame twice", [](OpenDml &file) { file.indexEntries.replace(8, 8, u32(8) + u32(4)); }, "1: duplicate");
        row(
            "more entries than fit", [](OpenDml &file) { file.entries = 1000; }, "");
        row(
            "idx1 that says otherwise of key frames",
            [](OpenDml &file) { file.behind = chunk("idx1", indexEntry("00dc", 0, 4, 4)); }, "0: key");
        row(
            "second fields inside of the chunk, from the base",
            [](OpenDml &file) {
                file.longsPerEntry = 3;
                file.subType = 1;
                file.entries = 1;
                file.indexEntries = u32(8) + u32(4) + u32(10);
            },
            "");
        row(
            "second fields inside of the chunk, from its data",
            [](OpenDml &file) {
                file.longsPerEntry = 3;
                file.subType = 1;
                file.entries = 1;
                file.indexEntries = u32(8) + u32(4) + u32(2);
            },
            "");
        row(
            "second fields outside",
            [](OpenDml &file) {
                file.longsPerEntry = 3;
                file.subType = 1;
                file.entries = 1;
                file.indexEntries = u32(8) + u32(4) + u32(12);
            },
            "0: second-field");
    }

    void irregularStandardIndexes()
    {
        QFETCH(QByteArray, bytes);
        const Reading reading(bytes);
        QTEST(irregularText(reading.layout()), "irregular");
    }

    void superEntriesMayPointAtNothing()
    {
        OpenDml file;
        file.superOffset += 2;
        const Reading reading(file.bytes());
        QCOMPARE(reading.layout().superEntries[0].index, AviLayout::none);
        QCOMPARE(reading.layout().indexes[1].superEntry, AviLayout::none);
        QVERIFY(!reading.layout().references.at(0).isHit);
    }

    void idsAreTold()
    {
        QCOMPARE(dataStream(fourCC("00dc")), 0);
        QCOMPARE(dataStream(fourCC("12wb")), 12);
        QCOMPARE(dataStream(fourCC("0adc")), 10);
        QCOMPARE(dataStream(fourCC("1FDC")), 31);
        QCOMPARE(dataStream(fourCC("00__")), 0);
        QCOMPARE(dataStream(fourCC("data")), -1);
        QCOMPARE(dataStream(fourCC("0000")), -1);
        QCOMPARE(indexStream(fourCC("ix07")), 7);
        QCOMPARE(indexStream(fourCC("07ix")), 7);
        QCOMPARE(indexStream(fourCC("indx")), -1);
        QCOMPARE(idKind(fourCC("00ix")), AviIdKind::Index);
        QCOMPARE(idKind(fourCC("JUNK")), AviIdKind::Known);
        QCOMPARE(idKind(fourCC("abcd")), AviIdKind::Printable);
        QCOMPARE(idKind(0x00636430), AviIdKind::None);
    }
};

QTEST_APPLESS_MAIN(TestAviIndexes)
#include "tst_aviindexes.moc"
