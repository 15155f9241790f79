#include "rulerows.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

// The main header's data begins at 32.
constexpr quint64 mainHeaderOffset = 32;

QByteArray withField(int at, quint32 value)
{
    return replaced(mainHeaderOffset + quint64(at), u32(value));
}

/// A film whose data and index are all the same but for these.
struct Film
{
    MainHeader header =
        MainHeader().frameTime(40000).flags(0x10).totalFrames(4).streams(2).picture(16, 16).bufferSize(12);
    QByteArray video = VideoFormat().picture(16, 16).bitCount(24).compression("XVID");
    quint32 rate = 25;
    QByteArray data = joined(chunks());
    QByteArray behind = index();

    QByteArray bytes() const
    {
        const QByteArray sound = list(
            "strl",
            {chunk("strh", StreamHeader("auds").scale(1).rate(1000).length(11).sampleSize(2)),
             chunk("strf",
                   WaveFormat(1).channels(1).samplesPerSecond(1000).bytesPerSecond(2000).blockAlign(2).bitsPerSample(
                       16))});
        return list("AVI ",
                    {list("hdrl",
                          {chunk("avih", header),
                           list("strl",
                                {chunk("strh", StreamHeader("vids").handler("XVID").scale(1).rate(rate).length(4)),
                                 chunk("strf", video)}),
                           sound}),
                     list("movi", {data}), behind},
                    "RIFF");
    }
};

template <typename Change> QByteArray changed(Change change)
{
    Film film;
    change(film);
    return film.bytes();
}

/// A second RIFF list with two frames.
QByteArray laterRiff()
{
    return list("AVIX", {list("movi", {chunk("00dc", payload(4)), chunk("00dc", payload(4))})}, "RIFF");
}

} // namespace

class TestMainHeaderRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rules_data()
    {
        addRuleColumns();
        const auto row = addRuleRow;
        const QByteArray whole = Film().bytes();

        row("kept", whole, "avih-size", "");
        row("a longer one", changed([](Film &film) { film.header.resize(60); }), "avih-size",
            "warning [none] 28+4 56 > 60");
        row("without the reserved words", changed([](Film &film) { film.header.resize(40); }), "avih-size",
            "warning [none] 28+4 56 > 40");
        row("too short", changed([](Film &film) { film.header.resize(36); }), "avih-size", "error [none] 28+4 56 > 36");

        row("kept", whole, "stream-count", "");
        row("one too many", withField(24, 3), "stream-count", "error [patch] 56+4 2 > 3");

        row("kept, an empty one counted", whole, "frame-count", "");
        row("kept, an empty one ends the file",
            file(joined({chunk("00dc", payload(4)), chunk("00dc", payload(4)), chunk("00dc", payload(4)),
                         chunk("00dc", QByteArray())}),
                 {}),
            "frame-count", "");
        row("kept by a file of two RIFF lists", whole + laterRiff(), "frame-count", "");
        row("another number", withField(16, 40), "frame-count", "error [patch] 48+4 #0 4 > 40");
        row("one too many", withField(16, 5), "frame-count", "warning [patch] 48+4 #0 4 > 5");
        row("one too few", withField(16, 3), "frame-count", "warning [patch] 48+4 #0 4 > 3");
        row("those of all RIFF lists", withField(16, 6) + laterRiff(), "frame-count", "warning [patch] 48+4 #0 4 > 6");

        row("kept", whole, "frame-duration", "");
        row("kept within one in a thousand", withField(0, 40039), "frame-duration", "");
        row("more than one in a thousand", withField(0, 40041), "frame-duration",
            "warning [patch] 32+4 #0 40000 > 40041");
        row("not set", withField(0, 0), "frame-duration", "warning [patch] 32+4 #0 40000 > 0");
        row("kept within a microsecond", changed([](Film &film) {
                film.rate = 240000;
                film.header.frameTime(5);
            }),
            "frame-duration", "");

        row("kept", whole, "picture-size", "");
        row("kept where the first line is the top one",
            changed([](Film &film) { film.video = VideoFormat().picture(16, -16).bitCount(24); }), "picture-size", "");
        row("another height", withField(36, 18), "picture-size", "warning [patch] 64+8 #0 16x16 > 16x18");
        row("another width", withField(32, 0), "picture-size", "warning [patch] 64+8 #0 16x16 > 0x16");

        row("kept", whole, "index-flag-without-index", "");
        row("no index", changed([](Film &film) { film.behind.clear(); }), "index-flag-without-index",
            "error [patch] 44+4 idx1 or indx, or AVIF_HASINDEX clear > AVIF_HASINDEX and no index < index-missing");

        row("kept", whole, "index-without-flag", "");
        row("flag clear", withField(12, 0), "index-without-flag",
            "warning [patch] 44+4 AVIF_HASINDEX set > AVIF_HASINDEX clear");

        row("kept", whole, "buffer-too-small", "");
        row("one byte less", withField(28, 0).replace(60, 4, u32(11)), "buffer-too-small",
            "warning [patch] 60+4 #0 at least 12 > 11");
        // A list of records that the index knows is read as a whole: two chunks of 10 and 12 bytes with headers.
        const QByteArray records = list("rec ", {chunk("00dc", payload(2)), chunk("01wb", payload(4))});
        row("kept by a list of records without an entry", changed([&records](Film &film) { film.data += records; }),
            "buffer-too-small", "");
        row("an indexed list of records", changed([&records](Film &film) {
                film.data = records;
                film.behind = chunk("idx1", indexEntry("rec ", 1, 4, 26));
            }),
            "buffer-too-small", "warning [patch] 60+4 at least 22 > 12");

        row("kept", whole, "buffer-unset", "");
        row("0", withField(28, 0), "buffer-unset", "note [patch] 60+4 not 0 > 0");

        row("kept", withField(12, 0x110), "interleave-flag", "");
        row("not set", whole, "interleave-flag", "note [patch] 44+4 AVIF_ISINTERLEAVED set > AVIF_ISINTERLEAVED clear");
        row("one stream behind the other", changed([](Film &film) {
                film.header.flags(0x110);
                film.data = chunk("00dc", payload(4)) + chunk("00dc", payload(4)) + chunk("01wb", payload(4));
            }),
            "interleave-flag", "note [patch] 44+4 AVIF_ISINTERLEAVED clear > AVIF_ISINTERLEAVED set");

        const QByteArray backwards = chunk("idx1", indexEntry("00dc", 0x10, 4 + 32, 7) + indexEntry("00dc", 0, 4, 10));
        row("kept", whole, "use-index-flag", "");
        row("kept with the flag", changed([&backwards](Film &film) {
                film.header.flags(0x30);
                film.behind = backwards;
            }),
            "use-index-flag", "");
        row("the index leads back", changed([&backwards](Film &film) { film.behind = backwards; }), "use-index-flag",
            "warning [patch] 44+4 AVIF_MUSTUSEINDEX set > AVIF_MUSTUSEINDEX clear");
        row("an entry that hits nothing says nothing", changed([](Film &film) {
                film.behind = chunk("idx1",
                                    indexEntry("00dc", 0x10, 4, 10) + indexEntry("01wb", 0x10, 4 + 18, 6)
                                        + indexEntry("00dc", 0, 4 + 2, 7) + indexEntry("01wb", 0x10, 4 + 48, 6));
            }),
            "use-index-flag", "");

        row("kept", withField(12, 0x00030930), "flags-unknown", "");
        row("a bit without a meaning", withField(12, 0x10 | 0x80), "flags-unknown",
            "note [none] 44+4 bits of 0x00030930 > 0x00000090");
    }

    void rules() { tryRuleRow(); }

    void rulesNeedWhatTheyAreHeldAgainst_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("rule");
        const auto row = [](const char *name, const QByteArray &bytes, const char *rule) {
            QTest::newRow(name) << bytes << QString::fromLatin1(rule);
        };
        row("a time base", changed([](Film &film) { film.rate = 0; }), "frame-duration");
        row("a video stream", replaced(108, "auds"), "frame-count");
        row("the size of a picture", changed([](Film &film) { film.video.clear(); }), "picture-size");
        row("a size of a buffer", withField(28, 0), "buffer-too-small");
        row("a main header", replaced(24, "JUNK"), "flags-unknown");
        row("fields that are there", changed([](Film &film) { film.header.resize(28); }), "buffer-unset");
    }

    void rulesNeedWhatTheyAreHeldAgainst()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, rule);
        QCOMPARE(int(Verdict(bytes).state(rule)), int(RuleState::NotApplicable));
    }
};

QTEST_APPLESS_MAIN(TestMainHeaderRules)
#include "tst_mainheaderrules.moc"
