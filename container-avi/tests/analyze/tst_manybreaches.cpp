#include "rulerows.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

QByteArray data()
{
    return joined(chunks());
}

QByteArray riff(std::initializer_list<QByteArray> children)
{
    return list("AVI ", children, "RIFF");
}

/// A chunk of seven bytes without the byte of padding that is due.
QByteArray unpadded()
{
    return chunk("00dc", payload(7)).bytes().chopped(1);
}

/// A chunk of three bytes, behind which a byte of padding stands that is not 0.
QByteArray badlyPadded()
{
    return chunk("JUNK", payload(3)).bytes().chopped(1) + "x";
}

/// More breaches than are kept one by one, which are 65536 of all kinds.
constexpr int many = 70000;

/// `count` frames of two bytes; each takes 10 bytes of the file.
QByteArray frames(int count)
{
    return QByteArray(chunk("00dc", payload(2))).repeated(count);
}
/// Entries of idx1 for them, from the first on, which stands `first` behind the base.
QByteArray entries(int count, quint32 first = 4)
{
    QByteArray all;
    all.reserve(16 * count);
    for (int number = 0; number < count; ++number)
        all += indexEntry("00dc", 0x10, first + 10 * quint32(number), 2);
    return all;
}

/// A film of `many` frames and one standard index: movi at 260, its first chunk at 272, ix00 at 700272, the entries of
/// which begin at 700304. idx1, if it has any bytes, stands behind that or before movi, which moves everything.
QByteArray openFilm(quint32 sizeAndKey, quint32 beside = 0, const QByteArray &legacyBehind = {},
                    const QByteArray &legacyBefore = {})
{
    const quint64 moved = quint64(legacyBefore.size());
    QByteArray standard = IndexHeader(1, 2, many).chunkId("00dc").baseOffset(268 + moved);
    for (quint32 number = 0; number < many; ++number)
        standard += u32(12 + 10 * number + beside) + u32(sizeAndKey);
    const QByteArray super = IndexHeader(0, 4, 1).chunkId("00dc").bytes()
        + superIndexEntry(700272 + moved, quint32(standard.size()) + 8, many);
    return riff(
        {list("hdrl",
              {chunk("avih", MainHeader().frameTime(40000).flags(0x10).totalFrames(many).streams(1).picture(16, 16)),
               list("strl",
                    {chunk("strh", StreamHeader("vids").handler("XVID").scale(1).rate(25).length(many)),
                     chunk("strf", VideoFormat().picture(16, 16).bitCount(24).compression("XVID")),
                     chunk("indx", super)})}),
         legacyBefore, list("movi", {frames(many), chunk("ix00", standard)}), legacyBehind});
}

} // namespace

/// Breaches of one rule that have one stream and one cause are one finding, with a count, however many there are.
class TestManyBreaches : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void severalOfOneRule_data()
    {
        addRuleColumns();
        const auto row = addRuleRow;
        const QByteArray whole = file();
        const QByteArray movi = list("movi", {data()});
        const QByteArray avih = chunk("avih", MainHeader().frameTime(40000).totalFrames(4).streams(0));

        row("two", file(data() + unpadded() + unpadded() + chunk("01wb", payload(4)), {}), "pad-missing",
            "error [rewrite] 457+0 x2 a byte of padding > none");
        row("three", file(data() + unpadded() + unpadded() + unpadded() + chunk("01wb", payload(4)), {}), "pad-missing",
            "error [rewrite] 457+0 x3 a byte of padding > none");
        row("two", file(data(), index() + badlyPadded() + badlyPadded()), "pad-not-zero",
            "note [patch] 589+1 x2 0 > another value");
        row("four", file(data(), index() + badlyPadded().repeated(4)), "pad-not-zero",
            "note [patch] 589+1 x4 0 > another value");
        row("two chunks of a stream",
            file(data() + data() + data(), {}).replace(330, 4, u32(30)).replace(562, 4, u32(30)),
            "chunk-swallows-others", "error [patch] 330+4 x2 #0 10 > 30");
        row("two", file(data() + list("INFO", {chunk("ISFT", "me")}) + list("abcd", {chunk("ISFT", "me")}), {}),
            "list-in-movi", "error [none] 442+12 x2 LIST rec  > LIST INFO");
        row("the headers and the data", replaced(16, u32(68)).replace(318, 4, u32(66)), "child-beyond-parent",
            "error [patch] 16+4 x2 294 > 68");
        row("two chunks of a stream",
            replaced(434, u32(60))
                + list("AVIX", {list("movi", {chunk("01wb", payload(4)).declaredSize(60)}), chunk("JUNK", zeros(100))},
                       "RIFF"),
            "child-beyond-parent", "error [patch] 434+4 x2 #1 4 > 60");
        row("two that are left over", riff({headers(), movi, movi, movi, index()}), "movi-stale",
            "error [patch] 442+12 x2 one LIST movi, which the index knows > another one at offset 442");
        row("none in two lists", riff({headers()}) + list("AVIX", {chunk("JUNK", zeros(4))}, "RIFF"), "movi-count",
            "error [none] 0+12 x2 1 > 0");
        row("three", riff({list("hdrl", {avih, avih, avih}), movi}), "duplicate-chunk",
            "error [none] 88+8 x2 avih once > 3 times");
        row("two", whole + list("AVIY", {movi}, "RIFF") + list("AVI ", {movi}, "RIFF"), "riff-later-form",
            "error [patch] 586+4 x2 AVIX > AVIY");
        row("in two lists", file(data() + payload(3)) + list("AVIX", {list("movi", {data() + payload(3)})}, "RIFF"),
            "list-stray-end", "warning [none] 442+3 x2 none > 3 bytes");
    }
    void severalOfOneRule() { tryRuleRow(); }

    void moreThanAreKept_data()
    {
        addRuleColumns();
        const auto row = addRuleRow;
        // idx1 stands behind 10 bytes for each chunk.
        row("all entries twice", file(frames(many), chunk("idx1", entries(many) + entries(many))), "idx1-duplicate",
            "error [append] 1820334+16 x70000 #0 one entry for the chunk 00dc at offset 326 > another one");
        QByteArray lost;
        for (int number = 0; number < many; ++number)
            lost += indexEntry("00dc", 0x10, 0xFFFFFFF0, 2);
        // In a file with damage, here three bytes that are no chunk, half of the entries are enough to find the base.
        row("half of all entries", file(frames(many) + payload(3), chunk("idx1", entries(many) + lost)),
            "idx1-no-such-chunk",
            "error [append] 1820346+4 x70000 #0 a chunk 00dc at offset 4294967602 > offset 4294967602, behind the end "
            "of the file");
        // The second list begins at 450 + 16 * 70008, its first chunk 24 bytes behind that.
        row("of a second list",
            file(data(), chunk("idx1", index().mid(8) + entries(many, 1120280)))
                + list("AVIX", {list("movi", {frames(many)})}, "RIFF"),
            "idx1-beyond-first-riff",
            "warning [append] 586+4 x70000 #0 a chunk before offset 1120578 > chunk 00dc at offset 1120602");
        QByteArray records;
        QByteArray unflagged;
        for (int number = 0; number < many; ++number) {
            records += list("rec ", {frames(1)});
            unflagged += indexEntry("rec ", 0, 4 + 22 * quint32(number), 14)
                + indexEntry("00dc", 0x10, 4 + 22 * quint32(number) + 12, 2);
        }
        row("lists of records", file(records, chunk("idx1", unflagged)), "idx1-list-flag",
            "warning [patch] 1540338+4 x70000 AVIIF_LIST > no list");

        row("beside", openFilm(2, 1), "std-no-such-chunk",
            "error [append] 700304+8 x70000 #0 the data of a chunk of stream 0 at offset 281 > no chunk at offset 281");
        row("a wrong size", openFilm(3), "std-chunk-size", "error [patch] 700308+4 x70000 #0 2 > 3");
        // The later one of the two indexes is told: idx1 at 1260304, or ix00, for which idx1 makes 1120008 bytes of
        // room.
        const QByteArray keys = chunk("idx1", entries(many));
        row("idx1 behind", openFilm(0x80000002, 0, keys), "indexes-differ",
            "warning [append] 1260312+16 x70000 #0 a key frame, as idx1 says > no key frame, as the OpenDML index "
            "says");
        row("idx1 before", openFilm(0x80000002, 0, {}, keys), "indexes-differ",
            "warning [append] 1820312+8 x70000 #0 a key frame, as idx1 says > no key frame, as the OpenDML index says");
    }
    void moreThanAreKept() { tryRuleRow(); }

    /// Devices write whole sectors: where zeros begin and end says whose they are.
    void sectorsAreNamed_data()
    {
        QTest::addColumn<int>("begin");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("words");
        QTest::newRow("4096") << 4096 << 4096 << QStringLiteral("whole sectors of 4096 bytes");
        QTest::newRow("2048") << 2048 << 4096 << QStringLiteral("whole sectors of 2048 bytes");
        QTest::newRow("512") << 512 << 512 << QStringLiteral("whole sectors of 512 bytes");
        QTest::newRow("the end alone") << 500 << 1548 << QStringLiteral("up to the end of a sector of 2048 bytes");
        QTest::newRow("neither") << 500 << 1000 << QStringLiteral("not on bounds of sectors");
    }
    void sectorsAreNamed()
    {
        QFETCH(int, begin);
        QFETCH(int, count);
        QFETCH(QString, words);
        // The chunk before ends where the zeros begin.
        const QByteArray before = chunk("00dc", payload(begin - int(dataOffset) - 8));
        const Verdict verdict(file(before + zeros(count) + data(), {}));
        QStringList messages;
        for (const Finding &finding : verdict.findings()) {
            if (finding.rule == QLatin1String("zero-bytes"))
                messages.append(finding.message);
        }
        QCOMPARE(messages,
                 QStringList(QStringLiteral("Between chunks stand %1 bytes that are no chunk, at 1 place; of the first "
                                            "ones %1 are 0, %2.")
                                 .arg(count)
                                 .arg(words)));
    }
};

QTEST_APPLESS_MAIN(TestManyBreaches)
#include "tst_manybreaches.moc"
