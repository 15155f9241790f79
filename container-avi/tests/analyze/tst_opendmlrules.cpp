#include "openfilm.h"
#include "rulesays.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

/// The film of two RIFF lists; see OpenFilm for what stands where.
QByteArray film2()
{
    return OpenFilm().bytes();
}
/// That of one, with idx1.
QByteArray film1()
{
    OpenFilm film;
    film.hasSecondSegment = false;
    film.hasLegacyIndex = true;
    return film.bytes();
}
/// The film of two RIFF lists with other bytes at a place.
QByteArray put(int at, const QByteArray &bytes, QByteArray film = film2())
{
    return film.replace(at, int(bytes.size()), bytes);
}
QByteArray without(bool OpenFilm::*part, OpenFilm film = {})
{
    film.*part = false;
    return film.bytes();
}
QByteArray withTotalFrames(quint32 frames, bool hasSecondSegment = true)
{
    OpenFilm film;
    film.totalFrames = frames;
    film.hasSecondSegment = hasSecondSegment;
    return film.bytes();
}
QByteArray withProperties(const QByteArray &data)
{
    OpenFilm film;
    film.properties = data;
    return film.bytes();
}
QByteArray ofOneSegment()
{
    OpenFilm film;
    film.hasSecondSegment = false;
    return film.bytes();
}

/// The small film with an index of fields at 442, of the first frame, whose entry stands at 474.
QByteArray withFields(quint16 longsPerEntry, quint8 subType, quint32 secondField)
{
    const QByteArray index = IndexHeader(1, longsPerEntry, 1).subType(subType).chunkId("00dc").baseOffset(326).bytes()
        + u32(8) + u32(10) + u32(secondField);
    return file(joined(chunks()) + chunk("ix00", index));
}

/// The small film with a standard index of the first frame at 442: behind `movi` or in it.
QByteArray withIndexBehindMovi()
{
    const QByteArray index = IndexHeader(1, 2, 1).chunkId("00dc").baseOffset(326).bytes() + u32(8) + u32(10);
    return file(joined(chunks()), chunk("ix00", index) + film::index());
}

/// idx1 of one entry, and four that say nothing.
QByteArray withDummyIndex()
{
    QByteArray bytes = film1();
    for (int entry = 1; entry < 5; ++entry)
        bytes = put(632 + 16 * entry, indexEntry("7Fxx", 0, 0, 0), bytes);
    return bytes;
}

/// The first RIFF list of the two, with headers that count no more than it has.
QByteArray withShortCounts()
{
    return put(462, u32(3), put(140, u32(3), put(328, u32(8)))).left(656);
}

} // namespace

class TestOpenDmlRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rulesSay_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("says");
        const auto row = [](const char *rule, const char *name, const QByteArray &bytes, const char *says) {
            QTest::addRow("%s: %s", rule, name) << QString::fromLatin1(rule) << bytes << QString::fromLatin1(says);
        };
        const char *rule = "total-frame-count";
        row(rule, "all frames", film2(), "");
        row(rule, "too few in several lists", withTotalFrames(4), "error - x1 @462+4 5|4");
        row(rule, "too many", withTotalFrames(6), "warning - x1 @462+4 5|6");
        row(rule, "too few in one list", withTotalFrames(2, false), "warning - x1 @430+4 3|2");
        row(rule, "MP3 counted too", put(360, u16(0x55), withTotalFrames(9)), "note - x1 @462+4 5|9");
        row(rule, "PCM counted too", withTotalFrames(9), "warning - x1 @462+4 5|9");

        rule = "dmlh-missing";
        row(rule, "it is there", film2(), "");
        row(rule, "it is not", without(&OpenFilm::hasExtendedHeader), "error - x1 @12+12 dmlh|no dmlh");
        row(rule, "one list needs none", file(), "");
        row(rule, "another film behind needs none", file() + file(), "");

        rule = "vprp-size";
        const VideoProperties properties = VideoProperties().frame(16, 16).fields(1).fieldInfo(1);
        row(rule, "one field", withProperties(properties), "");
        row(rule, "two fields stated", withProperties(put(32, u32(2), properties)), "warning 0 x1 @216+4 100|68");
        row(rule, "too short", withProperties(zeros(20)), "warning 0 x1 @216+4 36|20");
        row(rule, "half the height", withProperties(put(28, u32(8), properties)), "warning 0 x1 @244+8 16 x 16|16 x 8");
        row(rule, "the first line on top", put(180, le(qint32(-16)), withProperties(properties)), "");

        rule = "super-entry-width";
        row(rule, "four words", film2(), "");
        row(rule, "two words", put(220, u16(2)), "error 0 x1 @220+2 4|2");

        rule = "std-entry-width";
        row(rule, "two words", film2(), "");
        row(rule, "four words", put(560, u16(4)), "error 0 x1 @560+2 2|4");
        row(rule, "three words with fields", withFields(3, 1, 12), "");
        row(rule, "two words with fields", withFields(2, 1, 12), "error 0 x1 @450+2 3|2");
        row(rule, "fields, and a sub-type without", withFields(3, 0, 12), "");

        rule = "index-type";
        row(rule, "0 and 1", film2(), "");
        row(rule, "7", put(563, u8(7)), "error 0 x1 @563+1 0, 1, 2, 3 or 128|7");
        row(rule, "timed", put(563, u8(2)), "");
        row(rule, "sub-type 9", put(562, u8(9)), "error 0 x1 @562+1 0 or 1|9");
        row(rule, "fields, and a sub-type without", withFields(3, 0, 12), "error 0 x1 @452+1 1|0");

        rule = "index-entry-count";
        row(rule, "they fit", film2(), "");
        row(rule, "a standard index", put(564, u32(4)), "error 0 x1 @564+4 at most 3|4");
        row(rule, "a super index", put(224, u32(3)), "error 0 x1 @224+4 at most 2|3");
        row(rule, "room for more", put(564, u32(2)), "");

        rule = "super-no-such-index";
        row(rule, "all are there", film2(), "");
        row(rule, "two bytes beside", put(260, u64(742)),
            "error 0 x1 @260+8 an index chunk at offset 742|no chunk at offset 742");
        row(rule, "a chunk that is no index", put(260, u64(680)),
            "error 0 x1 @260+8 an index chunk at offset 680|chunk 00dc at offset 680");
        row(rule, "a list that is missing is told elsewhere", film2().left(656), "");
        row(rule, "behind the file, and nothing is missing", withShortCounts(),
            "error 0 x1 @260+8 an index chunk at offset 740|offset 740, behind the end of the file; "
            "error 1 x1 @426+8 an index chunk at offset 788|offset 788, behind the end of the file");
        row(rule, "in the part of a list that was cut off", film2().left(700),
            "error 0 x1 @260+8 an index chunk at offset 740|offset 740, behind the end of the file; "
            "error 1 x1 @426+8 an index chunk at offset 788|offset 788, behind the end of the file");

        rule = "super-entry-size";
        row(rule, "with headers", film2(), "");
        row(rule, "without", put(268, u32(40)), "warning 0 x1 @268+4 48|40");
        row(rule, "neither", put(268, u32(50)), "error 0 x1 @268+4 48|50");

        rule = "std-no-such-chunk";
        row(rule, "all hit", film2(), "");
        row(rule, "one byte beside", put(592, u32(39)),
            "error 0 x1 @592+8 the data of a chunk of stream 0 at offset 513|no chunk at offset 513");
        row(rule, "another stream", put(592, u32(24)),
            "error 0 x1 @592+8 the data of a chunk of stream 0 at offset 498|chunk 01wb at offset 490");
        row(rule, "headers instead of data", put(572, u64(466)),
            "error 0 x3 @584+8 the data of a chunk of stream 0 at offset 478|the header of the chunk 00dc at offset "
            "478");
        row(rule, "compressed or not is alike", put(568, "00db"), "");
        row(rule, "a wrong chunk id is told elsewhere", put(568, "01dc"), "");
        row(rule, "a base behind the file is told elsewhere", put(572, u64(836)), "");

        rule = "std-base-beyond-file";
        row(rule, "inside", film2(), "");
        row(rule, "behind the last byte", put(572, u64(836)), "error 0 x1 @572+8 an offset below 836|836");
        row(rule, "as far as numbers go", put(572, u64(~quint64(0))),
            "error 0 x1 @572+8 an offset below 836|18446744073709551615");

        rule = "std-chunk-size";
        row(rule, "all agree", film2(), "");
        row(rule, "one byte more", put(596, u32(0x80000007)), "error 0 x1 @596+4 6|7");
        row(rule, "the bit for key frames does not count", put(596, u32(6)), "");

        rule = "index-stream-differs";
        row(rule, "all agree", film2(), "");
        row(rule, "dwChunkId", put(568, "01dc"), "error 0 x1 @568+4 a chunk id of stream 0|01dc");
        row(rule, "dwChunkId of the super index", put(228, "01dc"), "error 0 x1 @228+4 a chunk id of stream 0|01dc");
        row(rule, "the id of the index", put(552, "ix01"), "error 0 x1 @552+4 an index of stream 0|ix01");

        rule = "super-duration";
        row(rule, "all agree", film2(), "");
        row(rule, "a tick more", put(256, u32(4)), "warning 0 x1 @256+4 3|4");
        row(rule, "more than that", put(256, u32(9)), "error 0 x1 @256+4 3|9");
        row(rule, "bytes of sound instead of ticks", put(422, u32(16)), "error 1 x1 @422+4 8|16");
        row(rule, "what an index forgot counts", put(564, u32(2)), "");

        rule = "index-chunk-id";
        row(rule, "ix00", film2(), "");
        row(rule, "00ix", put(552, "00ix"), "note 0 x1 @552+4 ix00|00ix");

        rule = "odml-chunk-not-indexed";
        row(rule, "all are", film2(), "");
        row(rule, "an entry less", put(564, u32(2)), "error 0 x1 @536+8 an entry in a standard index|none");
        row(rule, "no entries in the second list", put(752, u32(0)),
            "error 0 x2 @680+8 an entry in a standard index|none");
        row(rule, "an index that no super entry names", put(224, u32(1)),
            "error 0 x2 @740+8 an entry of the super index for ix00|none");
        row(rule, "palettes need none", put(536, "00pc", put(564, u32(2))), "");
        row(rule, "an index that cannot be read is told elsewhere", put(563, u8(7)), "");

        rule = "avix-without-indx";
        row(rule, "both have one", film2(), "");
        row(rule, "the sound has none", without(&OpenFilm::hasAudioIndex), "error 1 x1 @276+12 indx|no indx");
        row(rule, "one list needs none", file(), "");

        rule = "indexes-differ";
        row(rule, "they agree", film1(), "");
        row(rule, "a key frame", put(668, u32(0x10), film1()),
            "warning 0 x1 @664+16 a key frame, as idx1 says|no key frame, as the OpenDML index says");
        row(rule, "sound is not compared", put(652, u32(0), film1()), "");

        rule = "idx1-chunk-not-indexed";
        row(rule, "a dummy idx1", withDummyIndex(),
            "warning 1 x2 @458+8 an entry in idx1|none; warning 0 x2 @472+8 an entry in idx1|none");

        rule = "std-span";
        row(rule, "one list each", film2(), "");
        row(rule, "a chunk of the second list", put(600, u32(214) + u32(10)),
            "error 0 x1 @552+8 chunks of one RIFF list|chunks from offset 478 to 680");

        rule = "ix-outside-movi";
        row(rule, "inside", film2(), "");
        row(rule, "behind", withIndexBehindMovi(), "warning 0 x1 @442+8 in movi at offset 314|outside of movi");
        row(rule, "in another movi", put(572, u64(676)),
            "warning 0 x1 @552+8 in movi at offset 668|in movi at offset 466");

        rule = "field-offset";
        row(rule, "inside, from the base", withFields(3, 1, 12), "");
        row(rule, "inside, from the data", withFields(3, 1, 2), "");
        row(rule, "behind the chunk", withFields(3, 1, 18),
            "error 0 x1 @482+4 a place in the chunk 00dc at offset 326|a place outside of it");

        rule = "segment-missing";
        row(rule, "all are there", film2(), "");
        row(rule, "the second is not", film2().left(656),
            "error - x2 @260+8 an index chunk at offset 740|the file ends at offset 656");
        row(rule, "no header counts it", withShortCounts(), "");
        row(rule, "it is cut and not missing", film2().left(700), "");
    }

    void rulesSay()
    {
        QFETCH(QString, rule);
        QFETCH(QByteArray, bytes);
        QTEST(ruleSays(bytes, rule), "says");
    }

    void goodFilmsHaveNothingAboveANote()
    {
        for (const QByteArray &bytes : {film1(), film2(), ofOneSegment(), file()}) {
            Reading reading(bytes);
            Findings findings;
            QVERIFY(reading.analyzer.check({}, findings));
            for (const Finding &finding : findings.list())
                QVERIFY2(finding.severity == Severity::Note, qPrintable(finding.rule));
        }
    }
};

QTEST_APPLESS_MAIN(TestOpenDmlRules)
#include "tst_opendmlrules.moc"
