#include "aviprobe.h"
#include "chunkids.h"
#include "chunktable.h"

#include <QTest>

#include <random>

using namespace quenlofar;

namespace {

/// What searchID says of the text of an id: the truth that the table of raw words has to agree with.
bool isKnown(AviProbe &probe, ChunkId id)
{
    return probe.searchID(id.text(), nullptr) == StatusOk;
}

quint32 word(unsigned b0, unsigned b1, unsigned b2, unsigned b3)
{
    return b0 | b1 << 8 | b2 << 16 | b3 << 24;
}

} // namespace

class TestChunkIds : public QObject
{
    Q_OBJECT

    AviProbe m_probe{QByteArray()};
    const ChunkIdTable &m_table = ChunkIdTable::instance();
    qint64 m_compared = 0;

    bool agrees(quint32 bytes)
    {
        ++m_compared;
        return (m_table.find(ChunkId(bytes)) != ChunkIdTable::unknown) == isKnown(m_probe, ChunkId(bytes));
    }
    static QByteArray shown(quint32 bytes) { return "word 0x" + QByteArray::number(bytes, 16); }

private Q_SLOTS:
    void textEndsAtTheFirstZeroByte()
    {
        QCOMPARE(ChunkId(word('a', 'b', 'c', 'd')).text(), QStringLiteral("abcd"));
        QCOMPARE(ChunkId(word('a', 'b', 0, 'd')).text(), QStringLiteral("ab"));
        QCOMPARE(ChunkId(0).text(), QString());
        QCOMPARE(ChunkId(word(0xE9, ' ', 0xFF, '_')).text(), QStringLiteral("\u00E9 \u00FF_"));
    }

    void rowsAreFoundInTheirPlaces()
    {
        for (int row = 0; row < ChunkIdTable::rowCount; ++row)
            QCOMPARE(m_table.find(ChunkId::fromBytes(ChunkRow::rows[row].id)), row);
    }

    void streamChunksHaveNoRow()
    {
        for (const char *id : {"00dc", "01wb", "ix00", "00ix", "0adb", "FFpc"})
            QCOMPARE(m_table.find(ChunkId::fromBytes(id)), int(ChunkIdTable::streamChunk));
    }

    void agreesWithSearchIDForAllStreamDigits()
    {
        for (unsigned first = 0; first < 256; ++first) {
            for (unsigned second = 0; second < 256; ++second) {
                for (const char *type : {"db", "dc", "pc", "wb", "ix", "xx"}) {
                    const auto a = static_cast<unsigned char>(type[0]);
                    const auto b = static_cast<unsigned char>(type[1]);
                    QVERIFY2(agrees(word(first, second, a, b)), shown(word(first, second, a, b)));
                    QVERIFY2(agrees(word(a, b, first, second)), shown(word(a, b, first, second)));
                    // Where the text ends early the pairs overlap.
                    QVERIFY2(agrees(word(first, a, b, 0)), shown(word(first, a, b, 0)));
                    QVERIFY2(agrees(word(first, second, a, 0)), shown(word(first, second, a, 0)));
                }
                QVERIFY2(agrees(word(first, second, 0, 0)), shown(word(first, second, 0, 0)));
                QVERIFY2(agrees(word(first, second, 0, 'c')), shown(word(first, second, 0, 'c')));
                QVERIFY2(agrees(word(first, 0, second, 'c')), shown(word(first, 0, second, 'c')));
                QVERIFY2(agrees(word(0, first, second, 'c')), shown(word(0, first, second, 'c')));
            }
        }
        QVERIFY(m_compared > 1'000'000);
    }

    void agreesWithSearchIDForNeighboursOfRows()
    {
        for (const ChunkRow &row : ChunkRow::rows) {
            const quint32 id = ChunkId::fromBytes(row.id).word();
            for (int place = 0; place < 32; place += 8) {
                for (quint32 byte = 0; byte < 256; ++byte) {
                    const quint32 neighbour = (id & ~(0xFFu << place)) | byte << place;
                    QVERIFY2(agrees(neighbour), shown(neighbour));
                }
            }
        }
    }

    void agreesWithSearchIDForRandomWords()
    {
        std::mt19937 random(20120907);
        // Bytes of which ids are made come up far more often than in arbitrary data.
        static constexpr char likely[] = "0123456789abcdefdbcpwixRIFFLISTavihstrhIND \0+-";
        for (int i = 0; i < 1'000'000; ++i) {
            const auto any = quint32(random());
            QVERIFY2(agrees(any), shown(any));
            const auto pick = [&] { return quint32(static_cast<unsigned char>(likely[random() % sizeof likely])); };
            const quint32 made = word(pick(), pick(), pick(), pick());
            QVERIFY2(agrees(made), shown(made));
        }
    }
};

QTEST_APPLESS_MAIN(TestChunkIds)
#include "tst_chunkids.moc"
