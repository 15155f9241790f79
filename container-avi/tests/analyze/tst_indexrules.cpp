#include "rulesays.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

/// The entries of the small film's idx1; they stand from 450 on, 16 bytes each, the chunks at 326, 344, 358, 374, 388,
/// 408, 422 and 430.
QByteArray entries()
{
    return index().mid(8);
}
/// The index with a number changed: 4 for flags, 8 for the offset, 12 for the size.
QByteArray changed(int entry, int at, quint32 number, QByteArray all = entries())
{
    return all.replace(16 * entry + at, 4, u32(number));
}
QByteArray without(int entry, QByteArray all = entries())
{
    return all.remove(16 * entry, 16);
}
/// The film with these entries.
QByteArray indexed(const QByteArray &entries)
{
    return file(joined(chunks()), chunk("idx1", entries));
}

/// Each size says 8 more, as if headers counted.
QByteArray withHeadersCounted()
{
    QByteArray all = entries();
    const quint32 sizes[] = {18, 14, 15, 14, 20, 14, 8, 12};
    for (int entry = 0; entry < 8; ++entry)
        all = changed(entry, 12, sizes[entry], all);
    return all;
}

/// A list of records behind the chunks, at 442; idx1 begins 32 bytes later than without.
QByteArray withRecords(quint32 flags)
{
    const QByteArray record = list("rec ", {chunk("00dc", payload(2)), chunk("01wb", payload(2))});
    return file(joined(chunks()) + record,
                chunk("idx1", entries() + indexEntry("rec ", flags, 4 + 116, quint32(record.size()) - 8)));
}

/// A second RIFF with one frame, at 618 with nine entries in idx1, and 16 bytes before that with eight.
QByteArray withSecondSegment(const QByteArray &entries)
{
    return indexed(entries) + list("AVIX", {list("movi", {chunk("00dc", payload(4))})}, "RIFF");
}

} // namespace

class TestIndexRules : public QObject
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
        const char *rule = "index-missing";
        row(rule, "there is one", file(), "");
        row(rule, "there is none", file(joined(chunks()), {}), "warning - x1 @314+12 idx1 or indx|no index");
        row(rule, "an empty film needs none", file({}, {}), "");

        rule = "idx1-size";
        row(rule, "whole entries", file(), "");
        row(rule, "a few zeros behind", indexed(entries() + zeros(5)),
            "note - x1 @446+4 a multiple of 16, such as 128|133");
        row(rule, "many zeros behind", indexed(entries() + zeros(12)),
            "warning - x1 @446+4 a multiple of 16, such as 128|140");
        row(rule, "other bytes behind", indexed(entries() + payload(6)),
            "warning - x1 @446+4 a multiple of 16, such as 128|134");
        row(rule, "the header counted, at the end of the file", replaced(446, u32(136)),
            "note - x1 @446+4 a multiple of 16, such as 128|136");

        rule = "idx1-base";
        row(rule, "the form type of movi", file(), "");
        row(rule, "the start of the file", file(joined(chunks()), index(326)),
            "note - x1 @458+4 offsets from the form type of movi, at 322|offsets from 0");
        row(rule, "the first chunk", file(joined(chunks()), index(0)),
            "warning - x1 @458+4 offsets from the form type of movi, at 322|offsets from 326");
        row(rule, "the header of movi", file(joined(chunks()), index(12)),
            "warning - x1 @458+4 offsets from the form type of movi, at 322|offsets from 314");
        row(rule, "some other place", file(joined(chunks()), index(100)),
            "error - x1 @458+4 offsets from the form type of movi, at 322|offsets from 226");
        row(rule, "an index without movi", list("AVI ", {headers(), index()}, "RIFF"), "");

        rule = "idx1-base-unknown";
        row(rule, "a base is there", file(), "");
        row(rule, "the index of another film", indexed(indexEntry("00dc", 0, 4, 99) + indexEntry("00dc", 0, 40, 98)),
            "error - x1 @442+8 offsets that lead to the chunks they name|1 of 2 entries do, from the best base");
        row(rule, "sizes that are wrong throughout do not hide the base", indexed(withHeadersCounted()), "");

        rule = "idx1-no-such-chunk";
        row(rule, "all hit", file(), "");
        row(rule, "one byte beside", indexed(changed(2, 8, 37)),
            "error 0 x1 @490+4 a chunk 00dc at offset 359|no chunk at offset 359");
        row(rule, "another stream", indexed(changed(2, 8, 22)),
            "error 0 x1 @490+4 a chunk 00dc at offset 344|chunk 01wb at offset 344");
        row(rule, "behind the file", indexed(changed(2, 8, 0xFFFFFFF0)),
            "error 0 x1 @490+4 a chunk 00dc at offset 4294967602|offset 4294967602, behind the end of the file");
        row(rule, "compressed or not is alike", indexed(entries().replace(0, 4, "00db")), "");
        row(rule, "filler is exempt, wherever it leads", indexed(indexEntry("7Fxx", 0, 5, 0) + entries()), "");
        row(rule, "filler with a size is none", indexed(entries() + indexEntry("7Fxx", 0, 5, 1)),
            "error 127 x1 @586+4 a chunk 7Fxx at offset 327|no chunk at offset 327");

        rule = "idx1-chunk-size";
        row(rule, "all agree", file(), "");
        row(rule, "one byte more", indexed(changed(4, 12, 13)), "error 0 x1 @526+4 12|13");
        row(rule, "padding counted", indexed(changed(2, 12, 8)), "error 0 x1 @494+4 7|8");
        row(rule, "headers counted throughout", indexed(withHeadersCounted()),
            "error 0 x4 @462+4 10|18; error 1 x4 @478+4 6|14");
        row(rule, "a list of records of another size", withRecords(1).replace(610 + 12, 4, u32(99)),
            "error - x1 @622+4 24|99");
        row(rule, "a list of records without its form type", withRecords(1).replace(610 + 12, 4, u32(20)), "");

        rule = "idx1-chunk-not-indexed";
        row(rule, "all are there", file(), "");
        row(rule, "one is not", indexed(without(4)), "warning 0 x1 @388+8 an entry in idx1|none");
        row(rule, "two are not", indexed(without(2, without(4))), "error 0 x2 @358+8 an entry in idx1|none");
        row(rule, "one of each stream is not", indexed(without(3, without(4))),
            "warning 1 x1 @374+8 an entry in idx1|none; warning 0 x1 @388+8 an entry in idx1|none");
        row(rule, "an index without entries", indexed({}),
            "error 0 x4 @326+8 an entry in idx1|none; error 1 x4 @344+8 an entry in idx1|none");
        row(rule, "those of an indexed list of records are there", withRecords(1), "");
        row(rule, "those of later RIFF lists need no entry", withSecondSegment(entries()), "");

        rule = "idx1-duplicate";
        row(rule, "each once", file(), "");
        row(rule, "the first once more", indexed(entries() + indexEntry("00dc", 0x10, 4, 10)),
            "error 0 x1 @578+16 one entry for the chunk 00dc at offset 326|another one");

        rule = "idx1-order";
        row(rule, "that of the file", file(), "");
        row(rule, "the two first exchanged", indexed(entries().mid(16, 16) + entries().left(16) + entries().mid(32)),
            "note - x1 @474+4 a chunk behind that of the entry before|a chunk before it");
        row(rule, "an entry that misses does not count", indexed(changed(2, 8, 0xFFFFFFF0)), "");
        row(rule, "a duplicate does not count", indexed(entries() + indexEntry("00dc", 0x10, 4, 10)), "");

        rule = "idx1-no-key-frame";
        row(rule, "there is one", file(), "");
        row(rule, "there is none", indexed(changed(0, 4, 0)),
            "error 0 x1 @454+4 at least one entry with AVIIF_KEYFRAME|none of 3 entries");
        row(rule, "there is none in Motion JPEG", indexed(changed(0, 4, 0)).replace("XVID", "MJPG"),
            "warning 0 x1 @454+4 at least one entry with AVIIF_KEYFRAME|none of 3 entries");

        rule = "idx1-first-not-key";
        row(rule, "it is", file(), "");
        row(rule, "the second is", indexed(changed(0, 4, 0, changed(2, 4, 0x10))),
            "warning 0 x1 @454+4 AVIIF_KEYFRAME|no key frame");
        row(rule, "none is, which is told already", indexed(changed(0, 4, 0)), "");
        row(rule, "empty ones at the beginning do not count",
            file(joined({chunk("00dc", QByteArray()), chunk("00dc", payload(6))}),
                 chunk("idx1", indexEntry("00dc", 0, 4, 0) + indexEntry("00dc", 0x10, 12, 6))),
            "");

        rule = "idx1-list-flag";
        row(rule, "it is set", withRecords(1), "");
        row(rule, "it is not", withRecords(0), "warning - x1 @614+4 AVIIF_LIST|no list");

        rule = "idx1-empty-key-frame";
        row(rule, "it is none", file(), "");
        row(rule, "it is one", indexed(changed(6, 4, 0x10)), "note 0 x1 @550+4 no key frame|AVIIF_KEYFRAME");

        rule = "idx1-audio-not-key";
        row(rule, "they are", file(), "");
        row(rule, "two are not", indexed(changed(1, 4, 0, changed(3, 4, 0))),
            "note 1 x2 @470+4 AVIIF_KEYFRAME|no key frame");

        rule = "idx1-beyond-first-riff";
        row(rule, "only the first one's", withSecondSegment(entries()), "");
        row(rule, "one of the second", withSecondSegment(entries() + indexEntry("00dc", 0, 296, 4)),
            "warning 0 x1 @586+4 a chunk before offset 594|chunk 00dc at offset 618");
    }

    void rulesSay()
    {
        QFETCH(QString, rule);
        QFETCH(QByteArray, bytes);
        QTEST(ruleSays(bytes, rule), "says");
    }

    void aStrangeBaseIsSeenAtLevelQuick()
    {
        QCOMPARE(ruleSays(file(joined(chunks()), index(100)), QStringLiteral("idx1-base"), Level::Quick),
                 QStringLiteral("error - x1 @458+4 offsets from the form type of movi, at 322|offsets from 226"));
        QCOMPARE(ruleSays(file(joined(chunks()), index(100)), QStringLiteral("idx1-base-unknown"), Level::Quick),
                 QString());
    }

    void noEntryIsForgotten()
    {
        // More than are kept one by one.
        constexpr int count = 70000;
        QByteArray data;
        QByteArray all;
        for (int number = 0; number < count; ++number) {
            data += chunk("00dc", payload(2)).bytes();
            all += indexEntry("00dc", 0x10, quint32(4 + 10 * number), 3);
        }
        const QByteArray bytes = file(data, chunk("idx1", all));
        // idx1 stands behind 700 000 bytes of chunks: its first entry at 326 + 700 000 + 8.
        QCOMPARE(ruleSays(bytes, QStringLiteral("idx1-chunk-size")), QStringLiteral("error 0 x70000 @700346+4 2|3"));
        const Reading reading(bytes);
        QCOMPARE(reading.layout().irregularEntries.size(), AviLayout::mostIrregularEntries);
    }
};

QTEST_APPLESS_MAIN(TestIndexRules)
#include "tst_indexrules.moc"
