#include "smallfilm.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

/// All chunks, where nothing is wrong with them.
const char allChunks[] = "0+10 18+6 32+7 48+6 62+12 82+6 96+0 104+4";
/// A chunk that ends where the next one begins: nobody knows whether its last byte was padding.
const char paddingTaken[] = "0+10 18+6 32+8 48+6 62+12 82+6 96+0 104+4";
constexpr quint64 riffSizeField = 4;
constexpr quint64 moviSizeField = moviOffset + 4;
constexpr quint32 moviSize = 4 + 116;
constexpr quint32 riffSize = 578 - 8;

/// The data chunks with `bytes` before the chunk number `at`.
QByteArray withBefore(size_t at, const QByteArray &bytes)
{
    std::vector<QByteArray> parts = chunks();
    parts.insert(parts.begin() + std::ptrdiff_t(at), bytes);
    return joined(parts);
}

/// The data chunks with another one instead of the chunk number `at`.
QByteArray withOther(size_t at, const QByteArray &bytes)
{
    std::vector<QByteArray> parts = chunks();
    parts[at] = bytes;
    return joined(parts);
}

QByteArray sizeAt(quint64 chunk, quint32 size)
{
    return replaced(dataOffset + chunk + 4, u32(size));
}

} // namespace

class TestAviDamage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theReadingGoesOn_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("packets");
        QTest::addColumn<QString>("damages");
        const auto row = [](const char *name, const QByteArray &bytes, const char *packets, const char *damages) {
            QTest::newRow(name) << bytes << QString::fromLatin1(packets) << QString::fromLatin1(damages);
        };
        const QByteArray whole = file();
        row("nothing is wrong", whole, allChunks, "");

        // Bytes that are no chunk
        row("foreign bytes between chunks", file(withBefore(2, payload(5))),
            "0+10 18+6 37+7 53+6 67+12 87+6 101+0 109+4", "foreign 32+5");
        row("foreign bytes before the first chunk", file(withBefore(0, payload(3))),
            "3+10 21+6 35+7 51+6 65+12 85+6 99+0 107+4", "foreign 0+3");
        row("foreign bytes behind the last chunk", file(joined(chunks()) + payload(20)), allChunks, "foreign 116+20");
        row("zero bytes between chunks", file(withBefore(3, zeros(16))), "0+10 18+6 32+7 64+6 78+12 98+6 112+0 120+4",
            "zeros 48+16");
        row("an overwritten header and the data of its chunk", replaced(dataOffset + 48, payload(14)),
            "0+10 18+6 32+7 62+12 82+6 96+0 104+4", "foreign 48+14");
        row("bytes put in, sizes as before: the lists go on", inserted(dataOffset + 32, payload(6)),
            "0+10 18+6 38+7 54+6 68+12 88+6 102+0 110+4", "too-short -326+584, too-short -12+134, foreign 32+6");
        row("one to seven bytes before the end of a list", file(joined(chunks()) + payload(3)), allChunks,
            "stray 116+3");

        // Sizes of chunks
        row("a chunk that swallows the next ones", sizeAt(32, 40), paddingTaken, "swallows 32+16");
        row("a chunk that swallows all of the file", sizeAt(32, 0x7FFFFFFF), paddingTaken, "swallows 32+16");
        row("a chunk that swallows its successor exactly is not noticed", sizeAt(32, 8 + 14),
            "0+10 18+6 32+22 62+12 82+6 96+0 104+4", "");
        row("a chunk that is larger than it says", sizeAt(62, 4), "0+10 18+6 32+7 48+6 62+4 82+6 96+0 104+4",
            "foreign 74+8");
        row("the last chunk swallows the index", sizeAt(104, 60), allChunks, "beyond-parent 104+12");
        row("bytes lost inside of a chunk, sizes corrected",
            file(withOther(4, chunk("00dc", payload(8)).declaredSize(12))), "0+10 18+6 32+7 48+6 62+8 78+6 92+0 100+4",
            "swallows 62+16");
        row("padding that is missing", file(withOther(2, chunk("00dc", payload(7)).bytes().chopped(1))),
            "0+10 18+6 32+7 47+6 61+12 81+6 95+0 103+4", "padding 47+0");

        // Sizes of lists
        row("movi ends between chunks", replaced(moviSizeField, u32(4 + 62)), allChunks, "too-short -12+128");
        row("movi ends inside of a chunk", replaced(moviSizeField, u32(4 + 70)), allChunks, "too-short -12+128");
        row("movi ends inside of a header", replaced(moviSizeField, u32(4 + 65)), allChunks, "too-short -12+128");
        row("movi takes the index in", replaced(moviSizeField, u32(moviSize + 8 + 128)), allChunks, "too-long -12+128");
        row("movi leads behind RIFF and file", replaced(moviSizeField, u32(moviSize + 1000)), allChunks,
            "beyond-file -12+128");
        row("RIFF ends before the index", replaced(riffSizeField, u32(riffSize - 136)), allChunks,
            "too-short -326+578");
        row("RIFF ends inside of movi", replaced(riffSizeField, u32(400)), allChunks, "too-short -326+578");
        row("RIFF leads behind the file", replaced(riffSizeField, u32(riffSize + 100)), allChunks,
            "beyond-file -326+578");
        row("sizes that were never written", replaced(riffSizeField, u32(0)).replace(int(moviSizeField), 4, u32(0)),
            allChunks, "");
        row("sizes that are all ones",
            replaced(riffSizeField, u32(0xFFFFFFFF)).replace(int(moviSizeField), 4, u32(0xFFFFFFFF)), allChunks, "");

        // The end of the file
        row("cut inside of a chunk", whole.left(int(dataOffset) + 62 + 8 + 5), "0+10 18+6 32+7 48+6 62+5!",
            "beyond-file -326+401, beyond-file -12+87, cut 62+13");
        row("cut between chunks", whole.left(int(dataOffset) + 62), "0+10 18+6 32+7 48+6",
            "beyond-file -326+388, beyond-file -12+74");
        row("cut inside of a header", whole.left(int(dataOffset) + 66), "0+10 18+6 32+7 48+6",
            "beyond-file -326+392, beyond-file -12+78");
        row("bytes behind the RIFF", whole + payload(10), allChunks, "");
        row("bytes between two RIFFs",
            whole + payload(10) + list("AVIX", {list("movi", {chunk("00dc", payload(4))})}, "RIFF"),
            "0+10 18+6 32+7 48+6 62+12 82+6 96+0 104+4 286+4", "foreign 252+10");

        // The beginning of the file
        row("the RIFF's header is lost", replaced(0, zeros(12)), allChunks, "");
        row("bytes before the RIFF", payload(7) + whole, "7+10 25+6 39+7 55+6 69+12 89+6 103+0 111+4", "");

        // Other chunks
        row("chunks of unknown ids lead on", file(withBefore(2, chunk("abcd", payload(4)))),
            "0+10 18+6 44+7 60+6 74+12 94+6 108+0 116+4", "");
        row("JUNK and lists of records",
            file(withBefore(2, chunk("JUNK", payload(3)))
                 + list("rec ", {chunk("00dc", payload(2)), chunk("01wb", payload(2))})),
            "0+10 18+6 44+7 60+6 74+12 94+6 108+0 116+4 140+2 150+2", "");
        row("a list of records that is too short",
            file(joined(chunks())
                 + list("rec ", {chunk("00dc", payload(2)), chunk("01wb", payload(2))}).declaredSize(14 + 8)),
            "0+10 18+6 32+7 48+6 62+12 82+6 96+0 104+4 128+2 138+2", "too-short 116+32");
    }

    void theReadingGoesOn()
    {
        QFETCH(QByteArray, bytes);
        const Reading reading(bytes);
        QVERIFY(reading.result.isComplete());
        QTEST(packetsText(reading.layout()), "packets");
        QTEST(damagesText(reading.layout()), "damages");
        QCOMPARE(regionsProblem(reading.analyzer.regions()), QString());
    }

    void bytesAroundTheRiffsAreKnown()
    {
        const Reading trailing(file() + zeros(5) + payload(2));
        QCOMPARE(trailing.layout().trailing, (ByteRange{578, 7}));
        QCOMPARE(trailing.layout().trailingZeros, quint64(5));
        const Reading leading(payload(7) + file());
        QCOMPARE(leading.layout().leading, (ByteRange{0, 7}));
        const Reading lost(replaced(0, zeros(12)));
        QCOMPARE(lost.layout().leading, (ByteRange{0, 12}));
        QVERIFY(lost.layout().segments.empty());
        QCOMPARE(lost.layout().streams.size(), size_t(2));
        const Reading nothing(payload(50));
        QCOMPARE(nothing.layout().leading, (ByteRange{0, 50}));
        QCOMPARE(nothing.layout().elements.size(), size_t(0));
    }

    void paddingIsLookedAt()
    {
        const QByteArray bytes = replaced(dataOffset + 47, "x");
        const Reading reading(bytes);
        QCOMPARE(reading.layout().paddingNotZero.count, quint64(1));
        QCOMPARE(reading.layout().paddingNotZero.places[0], (ByteRange{dataOffset + 47, 1}));
    }

    void quickReadingStaysOutOfTheData()
    {
        const Reading reading(file(), Level::Quick);
        QCOMPARE(reading.layout().packets.size(), quint64(0));
        QCOMPARE(reading.layout().legacyIndexes.size(), size_t(1));
        QCOMPARE(reading.layout().legacyFacts.base, AviIndexBase::Movi);
        QCOMPARE(reading.layout().streams.size(), size_t(2));
        QCOMPARE(regionsProblem(reading.analyzer.regions()), QString());
    }

    void elementsAreFound()
    {
        const Reading reading(file());
        const AviLayout &layout = reading.layout();
        const quint32 riff = layout.segments.front();
        const quint32 headerList = layout.child(riff, fourCC("LIST"), fourCC("hdrl"));
        QCOMPARE(layout.elements[headerList].offset, quint64(12));
        QCOMPARE(layout.children(headerList, fourCC("LIST"), fourCC("strl")).size(), size_t(2));
        QCOMPARE(layout.children(AviLayout::none, fourCC("RIFF")).size(), size_t(1));
        QCOMPARE(layout.child(riff, fourCC("avih")), AviLayout::none);
        const quint32 movi = layout.moviLists.front();
        QCOMPARE(layout.elements[movi].offset, moviOffset);
        QCOMPARE(layout.elements[layout.nextSibling(movi)].id, fourCC("idx1"));
        QCOMPARE(layout.nextSibling(riff), AviLayout::none);
        QCOMPARE(layout.elementAt(dataOffset + 20), movi);
        QCOMPARE(layout.elementAt(30), layout.mainHeader.element);
        QCOMPARE(layout.elementAt(578), AviLayout::none);
        QCOMPARE(layout.segmentAt(577), quint32(0));
        QCOMPARE(layout.segmentAt(578), AviLayout::none);
        QCOMPARE(layout.packetsIn(movi), (std::pair<quint64, quint64>(0, 8)));
        QCOMPARE(layout.chunkRange(2), (ByteRange{dataOffset + 32, 16}));
        QCOMPARE(layout.mainHeader.field(24, 4), (ByteRange{32 + 24, 4}));
    }

    // Whatever one changed byte, or a missing end, does: packets and regions stay inside of the file, in order.
    void everyChangedByteIsSurvived()
    {
        const QByteArray whole = file();
        for (int at = 0; at < whole.size(); ++at) {
            for (const char value : {'\0', '\xFF', 'R', '\x08'}) {
                QByteArray bytes = whole;
                bytes[at] = value;
                verifySound(bytes);
            }
            verifySound(whole.left(at));
        }
    }

    void itCanBeCancelled()
    {
        const std::unique_ptr<ByteSource> source = memorySource(file());
        AviAnalyzer analyzer;
        std::atomic<bool> cancel{true};
        AnalysisOptions options;
        options.cancel = &cancel;
        const AnalysisResult result = analyzer.read(*source, options);
        QVERIFY(result.isCancelled);
        QVERIFY(analyzer.layout().isCutShort);
        Findings findings;
        QVERIFY(!analyzer.check({}, findings));
        cancel = false;
        QVERIFY(analyzer.read(*source, options).isComplete());
        QCOMPARE(analyzer.packets().size(), quint64(8));
    }

    void recognition_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("recognition");
        const auto row = [](const char *name, const QByteArray &bytes, Recognition recognition) {
            QTest::newRow(name) << bytes << int(recognition);
        };
        row("an AVI file", file(), Recognition::Yes);
        row("twelve bytes", file().left(12), Recognition::Yes);
        row("another last character of the form", replaced(8, "AVI\x19"), Recognition::Yes);
        row("AVIX first", replaced(8, "AVIX"), Recognition::Yes);
        row("another form", replaced(8, "WAVE").left(200), Recognition::Parts);
        row("a RIFF of another kind", list("WAVE", {chunk("fmt ", zeros(16))}, "RIFF"), Recognition::No);
        row("the RIFF's header is lost", file().mid(12), Recognition::Parts);
        row("data alone, far in", payload(60000) + file().mid(int(moviOffset)), Recognition::Parts);
        row("too far in", payload(65600) + file().mid(int(moviOffset)), Recognition::No);
        row("no bytes", QByteArray(), Recognition::No);
    }

    void recognition()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, recognition);
        const std::unique_ptr<ByteSource> source = memorySource(bytes);
        QCOMPARE(int(AviAnalyzer().recognises(*source)), recognition);
    }

private:
    static void verifySound(const QByteArray &bytes)
    {
        Reading reading(bytes);
        const AviLayout &layout = reading.layout();
        QCOMPARE(regionsProblem(reading.analyzer.regions()), QString());
        QVERIFY(layout.elements.size() + layout.packets.size() <= size_t(bytes.size()) / 8 + 1);
        for (quint64 index = 0; index < layout.packets.size(); ++index)
            QVERIFY(layout.packets.at(index).range().end() <= quint64(bytes.size()));
        for (quint32 number = 1; number < layout.elements.size(); ++number)
            QVERIFY(layout.elements[number].offset > layout.elements[number - 1].offset);
        Findings findings;
        QVERIFY(reading.analyzer.check({}, findings));
        for (const Finding &finding : findings.list()) {
            for (const ByteRange &place : finding.places)
                QVERIFY(place.end() <= quint64(bytes.size()));
            QVERIFY(finding.expected != finding.actual);
        }
    }
};

QTEST_APPLESS_MAIN(TestAviDamage)
#include "tst_avidamage.moc"
