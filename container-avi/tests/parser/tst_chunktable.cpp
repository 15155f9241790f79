#include "aviprobe.h"
#include "chunktable.h"

#include <QSet>
#include <QTest>

using namespace quenlofar;

using Entry = ContainerAVI::ElementAVI;

class TestChunkTable : public QObject
{
    Q_OBJECT

    AviProbe m_probe{QByteArray()};

private Q_SLOTS:
    void everyRow_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("name");
        const auto row = [](const char *id, int type, const char *name = "") {
            QTest::newRow(id) << type << QString::fromLatin1(name);
        };
        row("RIFF", 7);
        row("LIST", 7);
        row("JUNK", 8);
        row("PAD ", 8);
        row("avih", 8, "Main header");
        row("strh", 8, "Header of stream");
        row("strf", 8, "Format of stream");
        row("strd", 8, "Additional header data of stream");
        row("strn", 8, "Name of stream");
        row("vprp", 8, "Properties of Video");
        row("dmlh", 8, "Extended main header");
        row("indx", 9);
        row("idx1", 9);
        row("IARL", 8);
        row("IART", 8, "Artists");
        row("ICMS", 8);
        row("ICMT", 8, "Comments");
        row("ICOP", 8, "Copyright");
        row("ICRD", 4, "Creation date");
        row("ICRP", 8);
        row("IDIM", 8);
        row("IDIT", 8);
        row("IDPI", 8);
        row("IENG", 8);
        row("IGNR", 8, "Genre");
        row("IKEY", 8);
        row("ILGT", 8);
        row("IMED", 8);
        row("INAM", 8, "Title");
        row("IPLT", 8);
        row("IPRD", 8);
        row("ISBJ", 8, "Description");
        row("ISFT", 8, "Creating software");
        row("ISHP", 8);
        row("ISMP", 8);
        row("ISRC", 8);
        row("ISRF", 8);
        row("ITCH", 8);
    }
    void everyRow()
    {
        QFETCH(int, type);
        QFETCH(QString, name);
        Entry entry;
        QCOMPARE(m_probe.searchID(QString::fromLatin1(QTest::currentDataTag()), &entry), int(StatusOk));
        QCOMPARE(entry.type, type);
        QCOMPARE(entry.name, name);
        QVERIFY(entry.description.isEmpty());
    }

    void handlers()
    {
        const auto handlerOf = [&](const char *id) {
            return m_probe.elements().value(QString::fromLatin1(id))->handler;
        };
        QVERIFY(handlerOf("RIFF") == nullptr);
        QVERIFY(handlerOf("LIST") == nullptr);
        for (const char *id : {"JUNK", "PAD ", "strd", "strn"})
            QVERIFY(handlerOf(id) == AviProbe::unknownObject);
        QVERIFY(handlerOf("avih") == AviProbe::avih);
        QVERIFY(handlerOf("strh") == AviProbe::strh);
        QVERIFY(handlerOf("strf") == AviProbe::strf);
        QVERIFY(handlerOf("vprp") == AviProbe::vprp);
        QVERIFY(handlerOf("dmlh") == AviProbe::dmlh);
        QVERIFY(handlerOf("indx") == AviProbe::indx);
        QVERIFY(handlerOf("idx1") == AviProbe::idx1);
        int shown = 0;
        for (auto it = m_probe.elements().begin(); it != m_probe.elements().end(); ++it) {
            if (!it.key().startsWith(QLatin1Char('I')) || it.key() == QLatin1String("IDX1"))
                continue;
            // Kept: a tag of an INFO list is shown if and only if it has a name.
            QVERIFY(it.value()->name.isEmpty() == (it.value()->handler == nullptr));
            QVERIFY(it.value()->handler == nullptr || it.value()->handler == AviProbe::listInfo);
            shown += it.value()->handler != nullptr;
        }
        QCOMPARE(shown, 8);
    }

    void theRegistryHoldsEveryRowOnce()
    {
        QCOMPARE(m_probe.elements().size(), 38);
        QSet<QString> ids;
        for (const ChunkRow &row : ChunkRow::rows)
            ids.insert(QString::fromLatin1(row.id));
        QCOMPARE(ids.size(), 38);
    }

    void unknownIds_data()
    {
        QTest::addColumn<QString>("id");
        QTest::newRow("the match is case-sensitive: AVIH") << QStringLiteral("AVIH");
        QTest::newRow("the match is case-sensitive: Junk") << QStringLiteral("Junk");
        QTest::newRow("a trailing blank is part of the id") << QStringLiteral("PAD");
        QTest::newRow("movi is a form type") << QStringLiteral("movi");
        QTest::newRow("INFO is a form type") << QStringLiteral("INFO");
        QTest::newRow("zz is no stream number") << QStringLiteral("zzdc");
        QTest::newRow("stream numbers of index chunks are decimal: 0aix") << QStringLiteral("0aix");
        QTest::newRow("stream numbers of index chunks are decimal: ix0a") << QStringLiteral("ix0a");
        QTest::newRow("nothing") << QString();
        QTest::newRow("DV type 1 frames") << QStringLiteral("00__");
    }
    void unknownIds()
    {
        QFETCH(QString, id);
        Entry entry(3, nullptr, QStringLiteral("as it was"), QStringLiteral("too"));
        QCOMPARE(m_probe.searchID(id, &entry), int(StatusUnknownId));
        QCOMPARE(entry.type, 3);
        QCOMPARE(entry.name, QStringLiteral("as it was"));
        QCOMPARE(entry.description, QStringLiteral("too"));
    }

    void streamChunksLeaveTheRecordAsItWas_data()
    {
        QTest::addColumn<QString>("id");
        for (const char *id : {"00dc", "01wb", "0adb", "FFpc", "ix00", "ix10", "00ix", "99ix", "dc", " 1dc", "+1wb"})
            QTest::newRow(id) << QString::fromLatin1(id);
    }
    void streamChunksLeaveTheRecordAsItWas()
    {
        QFETCH(QString, id);
        Entry entry(3, nullptr, QStringLiteral("as it was"), {});
        QCOMPARE(m_probe.searchID(id, &entry), int(StatusOk));
        QCOMPARE(entry.type, 3);
        QCOMPARE(entry.name, QStringLiteral("as it was"));
    }

    void aLookupCopiesTheRecord()
    {
        Entry entry;
        QCOMPARE(m_probe.searchID(QStringLiteral("avih"), &entry), int(StatusOk));
        entry.name = QStringLiteral("changed");
        QCOMPARE(m_probe.elements().value(QStringLiteral("avih"))->name, QStringLiteral("Main header"));
        QCOMPARE(m_probe.searchID(QStringLiteral("avih"), nullptr), int(StatusOk));
    }

    void entriesCopyAndAssign()
    {
        const Entry nothing;
        QCOMPARE(nothing.type, 0);
        QVERIFY(nothing.name.isEmpty());
        QVERIFY(nothing.handler == nullptr);
        QVERIFY(nothing.description.isEmpty());
        const Entry entry(4, AviProbe::avih, QStringLiteral("name"), QStringLiteral("description"));
        const Entry copy(entry);
        Entry assigned;
        QCOMPARE(&(assigned = copy), &assigned);
        QCOMPARE(assigned.type, 4);
        QVERIFY(assigned.handler == AviProbe::avih);
        QCOMPARE(assigned.name, QStringLiteral("name"));
        QCOMPARE(assigned.description, QStringLiteral("description"));
    }
};

QTEST_APPLESS_MAIN(TestChunkTable)
#include "tst_chunktable.moc"
