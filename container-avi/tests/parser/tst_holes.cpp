#include "avibuilder.h"
#include "aviprobe.h"
#include "sparsesource.h"
#include "testing/memoryrun.h"

#include <QTest>

#include <random>

using namespace quenlofar;
using namespace build;

// Holes of sparse files are passed over where bytes are only looked at: what a run says must not differ.

namespace {

constexpr qint64 mib = 1024 * 1024;

/// What a run over `file` says; each line one fact.
QStringList outcomeOf(SparseFile &file, const RunLimits &limits = {})
{
    RecordingSink sink;
    ContainerRun run(limits);
    run.setOpener([&file](const QString &, QString *) { return std::make_unique<SparseSource>(&file); });
    const RunResult result = run.run(QStringLiteral("any"), {factoryOf<ContainerAVI>()}, sink);
    return sink.lines
        + QStringList{
            QStringLiteral("status %1").arg(result.status), QStringLiteral("items %1").arg(result.items),
            QStringLiteral("bytes read %1").arg(result.bytesRead),
            QStringLiteral("limit %1 %2 at %3").arg(int(result.limit)).arg(result.limitValue).arg(result.stopPosition)};
}

SparseFile twinOf(const SparseFile &file)
{
    SparseFile twin = file;
    twin.tellsHoles = false;
    twin.reads = 0;
    return twin;
}

QStringList lines(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list.append(QString::fromLatin1(text));
    return list;
}

/// The begin of an AVI file, up to and without what its list "movi" holds.
QByteArray filmBegin(quint32 listSize)
{
    return QByteArray("RIFF") + u32(listSize + 12) + "AVI LIST" + u32(listSize) + "movi";
}

} // namespace

class TestHoles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void terabytes_data()
    {
        QTest::addColumn<QByteArray>("begin");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("detection") << QByteArray()
                                   << lines({"status 3", "items 0", "bytes read 8796093020160", "limit 0 0 at 0"});
        // A block for detection, the 12 bytes of the list, a word at each byte behind it but the last 8.
        QTest::newRow("resynchronising") << QByteArray(list("AVI ", {}, "RIFF"))
                                         << lines({"RIFF(AVI ) 0+12 {", "  id 0+4 RIFF", "  size 4+4 4",
                                                   "  type 8+4 AVI ", "}", "unparsed 12+8796093022196", "status 0",
                                                   "items 5", "bytes read 35184372094908", "limit 0 0 at 0"});
    }
    void terabytes()
    {
        QFETCH(const QByteArray, begin);
        QFETCH(const QStringList, expected);
        SparseFile file;
        file.size = 8 * mib * mib;
        if (!begin.isEmpty())
            file.islands = {{0, begin}};
        QCOMPARE(outcomeOf(file), expected);
        QVERIFY2(file.reads < 200, QByteArray::number(file.reads));
    }

    void likeWrittenZeros_data()
    {
        QTest::addColumn<unsigned>("seed");
        for (unsigned seed = 0; seed < 12; ++seed)
            QTest::addRow("%u", seed) << seed;
    }
    void likeWrittenZeros()
    {
        QFETCH(const unsigned, seed);
        std::mt19937 random(seed);
        const auto below = [&random](qint64 bound) { return qint64(random() % quint64(bound)); };
        SparseFile file;
        file.size = 3 * mib + below(mib);
        // Garbage of zeros, or an unknown chunk full of them, with ids that are known, unknown or none at any place.
        const auto listSize = quint32(2 * mib + below(2 * mib));
        QByteArray begin = below(4) == 0 ? QByteArray() : filmBegin(listSize);
        if (below(2) == 0)
            begin += QByteArray("abcd") + u32(quint32(mib + below(2 * mib)));
        qint64 place = 0;
        if (!begin.isEmpty())
            file.islands[0] = begin;
        place += begin.size();
        const QByteArray words[] = {"db",
                                    "00dc\4",
                                    "abcd",
                                    "abcd\0\0\1",
                                    "x",
                                    "JUNK\1",
                                    "ix00",
                                    QByteArray(9000, 'z'),
                                    QByteArray(70'000, '\1'),
                                    "riff????avi ",
                                    "RIFF\1\0\0\0AVI "};
        for (int i = 0; i < 3; ++i) {
            place += below(2) == 0 ? below(file.size / 2) : 256 * 1024 * below(6) + below(140);
            const QByteArray &word = words[below(qint64(std::size(words)))];
            if (place + word.size() > file.size)
                break;
            file.islands[place] = word;
            place += word.size();
        }

        SparseFile twin = twinOf(file);
        QCOMPARE(outcomeOf(file), outcomeOf(twin));
        for (int i = 0; i < 8; ++i) {
            RunLimits limits;
            limits.maxWork = quint64(1 + below(below(2) == 0 ? file.size : 8 * file.size));
            QCOMPARE(outcomeOf(file, limits), outcomeOf(twin, limits));
        }
    }

    void shrunkOrWrong()
    {
        SparseFile file;
        file.size = 8 * mib;
        file.islands = {{0, filmBegin(quint32(8 * mib - 20))}};
        for (const qint64 end : {qint64(100), mib, 5 * mib}) {
            file.end = end;
            SparseFile twin = twinOf(file);
            QCOMPARE(outcomeOf(file), outcomeOf(twin));
        }
        file.end = -1;
        file.islands[8 * mib - 100] = "00dc";
        file.lies = true;
        SparseFile twin = twinOf(file);
        twin.lies = false;
        QCOMPARE(outcomeOf(file), outcomeOf(twin));
    }
};

QTEST_APPLESS_MAIN(TestHoles)
#include "tst_holes.moc"
