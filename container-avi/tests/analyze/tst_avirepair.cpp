#include "bitstring.h"
#include "damagemakers.h"
#include "onestream.h"
#include "repairing.h"
#include "smallfilm.h"
#include "wholefiles.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

using namespace quenlofar;

namespace {

/// The data of each stream's packets, in the order of the file.
using Payload = std::map<int, std::vector<QByteArray>>;
Payload payloadOf(const QByteArray &bytes)
{
    AviAnalyzer analyzer;
    const std::unique_ptr<ByteSource> source = memorySource(bytes);
    analyzer.read(*source, {});
    Payload payload;
    for (quint64 index = 0; index < analyzer.packets().size(); ++index) {
        const Packet each = analyzer.packets().at(index);
        payload[each.stream].push_back(bytes.mid(int(each.offset), int(each.size)));
    }
    return payload;
}

/// A damage, in all files or in one.
struct Case
{
    const char *damage;
    const char *file = nullptr;
};

/// What no repair of ours mends, each for its reason.
constexpr Case staying[] = {
    // What was lost is known from nowhere
    {"a chunk of a stream that is not declared"},
    {"an id that is not printable"},
    {"the first id is another"},
    {"the first bytes are lost"},
    {"movi has another name"},
    {"hdrl has another name"},
    {"avih has another name"},
    {"strh has another name"},
    {"strf has another name"},
    {"a stream of no type"},
    {"pictures of no width"},
    {"sound of no channels"},
    {"sound of no samples"},
    {"the second RIFF is missing"},
    // Bytes that are dropped only where that is asked for
    {"rubbish behind the file"},
    {"zeros behind the file"},
    {"a second avih"},
    {"idx1 twice"},
    // A block of MP3 has no usual size, and a tick of a variable rate is in no other field
    {"blocks of no bytes", "ffmpeg-mpeg4-mp3vbr-info-utf8.avi"},
    {"blocks of no bytes", "gstreamer-mjpeg-mp3.avi"},
    {"blocks of no bytes", "mencoder-xvid-mp3cbr.avi"},
    {"blocks of no bytes", "spliced-opendml-avix.avi"},
    {"dwRate of the sound is 0", "ffmpeg-mpeg4-mp3vbr-info-utf8.avi"},
    // What is left of the second part moved behind the end that its list states
    {"512 zero bytes put in between chunks", "film in parts"},
};

/// Damages that are mended by putting the file together anew; in all files, or in one.
constexpr Case moving[] = {
    {"3 bytes put in between chunks"},
    {"a byte of padding is missing"},
    {"avih stands behind something else"},
    // What is left of the second part is cut where no index of it fits
    {"cut inside of a chunk's header", "film in parts"},
    {"the second RIFF is cut", "film in parts"},
};

bool isListed(const Case &each, const char *file, const char *name)
{
    return std::strcmp(each.damage, name) == 0 && (!each.file || std::strcmp(each.file, file) == 0);
}

bool isMoving(const char *file, const char *name)
{
    return std::any_of(std::begin(moving), std::end(moving),
                       [file, name](const Case &each) { return isListed(each, file, name); });
}

bool isStaying(const char *file, const char *name)
{
    return std::any_of(std::begin(staying), std::end(staying),
                       [file, name](const Case &each) { return isListed(each, file, name); });
}

/// Findings of a rule that are mended without being asked for.
int countOf(const FileCheck &check, const QString &rule)
{
    return int(std::count_if(check.findings.begin(), check.findings.end(), [&rule](const JudgedFinding &finding) {
        return finding.rule == rule && (finding.severity != Severity::Note || rule == QLatin1String("idx1-base"));
    }));
}

/// A packet whose size was mended has more bytes than before, or one less, which was padding.
bool isIn(const QByteArray &now, const QByteArray &before)
{
    return now.startsWith(before) || (now.size() % 2 != 0 && now.size() + 1 == before.size() && before.startsWith(now));
}

/// Each stream of `now` has what it has in `before`, in this order, and maybe more in between.
bool hasAll(const Payload &before, const Payload &now)
{
    for (const auto &[stream, packets] : before) {
        const auto found = now.find(stream);
        if (found == now.end())
            return false;
        auto next = found->second.begin();
        for (const QByteArray &packet : packets) {
            next = std::find_if(next, found->second.end(), [&](const QByteArray &each) { return isIn(each, packet); });
            if (next == found->second.end())
                return false;
            ++next;
        }
    }
    return true;
}

/// Bytes at some places of a long file, and zeros between them, which are a hole.
class SparseSource final : public ByteSource
{
public:
    SparseSource(std::map<quint64, QByteArray> pieces, quint64 size) : m_pieces(std::move(pieces)), m_size(size) { }

    qint64 size() const override { return qint64(m_size); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const qint64 count = std::clamp<qint64>(size() - position, 0, maxSize);
        std::memset(data, 0, size_t(count));
        for (const auto &[offset, bytes] : m_pieces) {
            const qint64 begin = std::max(position, qint64(offset));
            const qint64 end = std::min(position + count, qint64(offset) + bytes.size());
            if (begin < end)
                std::memcpy(data + (begin - position), bytes.constData() + (begin - qint64(offset)),
                            size_t(end - begin));
        }
        return count;
    }
    qint64 holeEnd(qint64 position) override
    {
        for (const auto &[offset, bytes] : m_pieces) {
            if (position < qint64(offset) + bytes.size())
                return std::max(position, qint64(offset));
        }
        return size();
    }

private:
    const std::map<quint64, QByteArray> m_pieces;
    const quint64 m_size;
};

/// Settings for a film in memory, beside another.
RepairSettings settingsFor(const QByteArray &bytes, const QByteArray &like = QByteArray())
{
    RepairSettings settings;
    settings.opener = [bytes, like](const QString &path, QString *) {
        return memorySource(path == QLatin1String("like.avi") ? like : bytes);
    };
    return settings;
}

QStringList rulesOf(const std::vector<JudgedFinding> &findings)
{
    QStringList rules;
    for (const JudgedFinding &finding : findings)
        rules.append(finding.rule);
    return rules;
}

/// A film of 100 frames and as much sound; the sound stands behind all frames.
QByteArray filmWithSoundBehind()
{
    using namespace build;
    QByteArray data;
    QByteArray index;
    quint32 at = 4;
    const auto add = [&](const char *id, int size) {
        index += indexEntry(id, 0x10, at, quint32(size));
        data += chunk(id, film::payload(size));
        at += quint32(8 + size);
    };
    for (int frame = 0; frame < 100; ++frame)
        add("00dc", 10);
    for (int second = 0; second < 4; ++second)
        add("01wb", 2000);
    const QByteArray headers = list(
        "hdrl",
        {chunk("avih", MainHeader().frameTime(40000).flags(0x10).totalFrames(100).streams(2).picture(16, 16)),
         list("strl",
              {chunk("strh", StreamHeader("vids").handler("MJPG").scale(1).rate(25).length(100)),
               chunk("strf", VideoFormat().picture(16, 16).bitCount(24).compression("MJPG"))}),
         list("strl",
              {chunk("strh", StreamHeader("auds").scale(1).rate(1000).length(4000).sampleSize(2)),
               chunk("strf",
                     WaveFormat(1).channels(1).samplesPerSecond(1000).bytesPerSecond(2000).blockAlign(2).bitsPerSample(
                         16))})});
    return list("AVI ", {headers, list("movi", {data}), chunk("idx1", index)}, "RIFF");
}

} // namespace

class TestAviRepair : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void damagesAreMended_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("rule");
        QTest::addColumn<bool>("stays");
        QTest::addColumn<bool>("moves");
        for (const damage::Whole &whole : damage::wholes) {
            const QByteArray bytes = damage::bytesOf(whole);
            if (bytes.isEmpty())
                continue; // which tst_damagemakers says
            const damage::File file(bytes);
            for (const damage::Damage &damage : damage::allDamages()) {
                const QByteArray damaged = damage.make(file);
                if (!damaged.isEmpty() && damaged != bytes)
                    QTest::addRow("%s: %s", whole.name, damage.name)
                        << damaged << QString::fromLatin1(damage.rule) << isStaying(whole.name, damage.name)
                        << isMoving(whole.name, damage.name);
            }
        }
    }

    void damagesAreMended()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, rule);
        QFETCH(bool, stays);
        QFETCH(bool, moves);
        const RepairPlan plan = film::repairPlan(bytes);
        QVERIFY(plan.recipe.conflict().isNull());
        QVERIFY(plan.recipe.lostBytes().empty());
        QCOMPARE(!plan.recipe.movesNothing(), moves);
        const QByteArray after = film::mended(plan, bytes);
        QCOMPARE(quint64(after.size()), plan.recipe.newSize());
        QVERIFY(plan.after.verdict <= plan.before.verdict);
        QVERIFY(plan.after.counts.error <= plan.before.counts.error);
        QVERIFY(hasAll(payloadOf(bytes), payloadOf(after)));
        // Once is enough.
        QVERIFY(film::repairPlan(after).isEmpty());
        if (countOf(plan.before, rule) > 0)
            QCOMPARE(countOf(plan.after, rule) > 0, stays);
    }

    void moreThan4GiBInOneRiffList_data()
    {
        QTest::addColumn<bool>("isClosed");
        QTest::addColumn<QString>("rule");
        QTest::newRow("sizes that wrapped") << true << QStringLiteral("size-wrapped");
        QTest::newRow("sizes that were never written") << false << QStringLiteral("size-open");
    }

    void moreThan4GiBInOneRiffList()
    {
        QFETCH(bool, isClosed);
        QFETCH(QString, rule);
        // Twelve frames of 400 MB each.
        constexpr quint64 frameSize = 400000000;
        constexpr quint32 frames = 12;
        const QByteArray headers = film::headers();
        const quint64 movi = 12 + quint64(headers.size());
        std::map<quint64, QByteArray> pieces;
        for (quint32 frame = 0; frame < frames; ++frame)
            pieces[movi + 12 + frame * (frameSize + 8)] = "00dc" + build::u32(quint32(frameSize));
        const quint64 size = movi + 12 + frames * (frameSize + 8);
        pieces[0] = "RIFF" + build::u32(isClosed ? quint32(size - 8) : 0) + "AVI " + headers + "LIST"
            + build::u32(isClosed ? quint32(size - movi - 8) : 0) + "movi";
        RepairSettings settings;
        settings.level = Level::Default;
        settings.opener = [&](const QString &, QString *) { return std::make_unique<SparseSource>(pieces, size); };
        const RepairPlan plan = film::repairPlan(settings);
        QVERIFY(rulesOf(plan.before.findings).contains(rule));
        QCOMPARE(plan.after.counts.error, 0);
        QVERIFY(plan.recipe.lostBytes().empty());
        // What is copied takes no memory.
        QVERIFY(plan.recipe.newBytes().size() < 10000);

        RecipeSource source(plan.recipe, std::make_unique<SparseSource>(pieces, size));
        AviAnalyzer analyzer;
        QVERIFY(analyzer.read(source, {}).isComplete());
        const AviLayout &layout = analyzer.layout();
        // Two of them are in 1 GiB.
        QCOMPARE(layout.segments.size(), size_t(6));
        for (const quint32 segment : layout.segments)
            QVERIFY(layout.elements[segment].range().size <= quint64(1) << 30);
        QCOMPARE(analyzer.packets().totals(0).count, quint64(frames));
        QCOMPARE(analyzer.packets().totals(0).bytes, frames * frameSize);
        QCOMPARE(layout.superEntries.size(), size_t(6));
        for (const AviSuperEntry &entry : layout.superEntries)
            QCOMPARE(entry.duration, quint32(2));
        QCOMPARE(layout.extendedHeader.u32(0), frames);
        QCOMPARE(layout.mainHeader.u32(16), quint32(2));
        QCOMPARE(layout.indexes[layout.legacyIndexes.front()].entryCount, quint32(2));
    }

    void soundComesToItsPictures()
    {
        const QByteArray bytes = filmWithSoundBehind();
        RepairSettings settings = settingsFor(bytes);
        settings.level = Level::Default;
        QVERIFY(film::repairPlan(settings).isEmpty());
        settings.rewrites = true;
        const RepairPlan plan = film::repairPlan(settings);
        QCOMPARE(countOf(plan.before, QStringLiteral("interleave-distance")), 1);
        QCOMPARE(countOf(plan.after, QStringLiteral("interleave-distance")), 0);
        const QByteArray after = film::mended(plan, bytes);
        QVERIFY(hasAll(payloadOf(bytes), payloadOf(after)));
        QCOMPARE(after.size(), bytes.size());
        // A second of sound stands with the frames that begin in it: at 0, 1, 2 and 3 s.
        film::Reading reading(after);
        QStringList places;
        for (quint64 index = 0; index < reading.layout().packets.size(); ++index) {
            if (reading.layout().packets.at(index).stream == 1)
                places.append(QString::number(index));
        }
        QCOMPARE(places.join(QLatin1Char(' ')), QStringLiteral("1 27 53 79"));
    }

    void formatsOfMp3GetTheirFields()
    {
        using namespace build;
        const QByteArray format =
            WaveFormat(0x55).channels(2).samplesPerSecond(44100).bytesPerSecond(16000).blockAlign(1);
        const QByteArray headers =
            list("hdrl",
                 {chunk("avih", MainHeader().frameTime(40000).flags(0x10).streams(1)),
                  list("strl",
                       {chunk("strh", StreamHeader("auds").scale(1).rate(16000).length(10).sampleSize(1)),
                        chunk("strf", format)})});
        const QByteArray bytes = list(
            "AVI ",
            {headers, list("movi", {chunk("00wb", film::payload(10))}), chunk("idx1", indexEntry("00wb", 16, 4, 10))},
            "RIFF");
        RepairSettings settings = settingsFor(bytes);
        settings.rewrites = true;
        settings.level = Level::Default;
        const QByteArray after = film::mended(film::repairPlan(settings), bytes);
        const int place = int(after.indexOf("strf"));
        // cbSize 12, wID 1, fdwFlags 0, nBlockSize 417, nFramesPerBlock 1, nCodecDelay 0
        QCOMPARE(after.mid(place, 38).toHex(),
                 QByteArray("737472661e000000550002"
                            "0044ac0000803e000001000000"
                            "0c00010000000000a10101000000"));
        QCOMPARE(after.size(), bytes.size() + 12);
    }

    void headersComeFromALikeFile()
    {
        const QByteArray whole = film::file();
        QByteArray bytes = whole;
        bytes.remove(12, film::headers().size());
        bytes.replace(4, 4, build::u32(quint32(bytes.size() - 8)));
        QVERIFY(film::repairPlan(settingsFor(bytes, whole)).isEmpty());
        RepairSettings settings = settingsFor(bytes, whole);
        settings.like = QStringLiteral("like.avi");
        QCOMPARE(film::mended(film::repairPlan(settings), bytes), whole);
        // Sound where pictures should be; one stream too few; no film
        QByteArray other = whole;
        other.replace("vids", "auds");
        QByteArray shorter = whole;
        shorter.replace(int(shorter.lastIndexOf("strl")), 4, "junk");
        for (const QByteArray &wrong : {other, shorter, QByteArray("text"), bytes}) {
            settings = settingsFor(bytes, wrong);
            settings.like = QStringLiteral("like.avi");
            QVERIFY(film::repairPlan(settings).isEmpty());
        }
    }

    void headersThatTheDataContradictsAreRefused()
    {
        const QByteArray whole = damage::bytesOf({"gstreamer-mjpeg-mp3.avi", nullptr});
        const damage::File file(whole);
        const damage::Piece &headers = *file.find("hdrl");
        QByteArray bytes = whole;
        bytes.remove(headers.offset, headers.next() - headers.offset);
        bytes.replace(4, 4, build::u32(quint32(bytes.size() - 8)));
        RepairSettings settings = settingsFor(bytes, whole);
        settings.like = QStringLiteral("like.avi");
        QVERIFY(!film::repairPlan(settings).isEmpty());
        // The pictures have another size.
        const int width = file.ofStream("vids", "strf")->data() + 4;
        settings = settingsFor(bytes, file.withNumber(width, 2 * file.number(width)));
        settings.like = QStringLiteral("like.avi");
        const RepairPlan plan = film::repairPlan(settings);
        QVERIFY(plan.isEmpty());
        QCOMPARE(plan.omitted.size(), size_t(1));
        QCOMPARE(plan.omitted[0].reason, QStringLiteral("the data contradicts it: coded-picture-size"));
    }

    void trailingBytesAreCutWhenAskedFor()
    {
        const QByteArray whole = film::file();
        for (const QByteArray &trailing : {QByteArray("rubbish"), QByteArray(1000, '\0')}) {
            RepairSettings settings = settingsFor(whole + trailing);
            QVERIFY(film::repairPlan(settings).isEmpty());
            settings.cutsTrailing = true;
            const RepairPlan plan = film::repairPlan(settings);
            QCOMPARE(film::mended(plan, whole + trailing), whole);
            QVERIFY(plan.recipe.lostBytes().empty());
            const std::vector<ByteRange> dropped = plan.recipe.removed(Recipe::Removal::AskedFor);
            QCOMPARE(dropped.size(), size_t(1));
            QCOMPARE(dropped[0].offset, quint64(whole.size()));
            QCOMPARE(dropped[0].size, quint64(trailing.size()));
            settings = settingsFor(whole);
            settings.cutsTrailing = true;
            QVERIFY(film::repairPlan(settings).isEmpty());
        }
    }

    void theLastPartGetsItsIndexes()
    {
        const QByteArray whole = film::OpenFilm().bytes();
        QByteArray bytes = whole.left(740);
        bytes.replace(660, 4, build::u32(740 - 656 - 8));
        bytes.replace(672, 4, build::u32(740 - 668 - 8));
        const RepairPlan plan = film::repairPlan(bytes);
        QVERIFY(plan.recipe.movesNothing());
        QByteArray expected = whole;
        expected[779] = char(0x80); // nothing says any more that the first frame of this part is a key frame
        QCOMPARE(film::mended(plan, bytes).toHex(), expected.toHex());
    }

    void paddingBecomesASuperIndex()
    {
        const QByteArray whole = film::OpenFilm().bytes();
        QByteArray bytes = whole;
        bytes.replace(378, 4, "JUNK");
        bytes.replace(386, 56, QByteArray(56, '\0'));
        const RepairPlan plan = film::repairPlan(bytes);
        QVERIFY(plan.recipe.movesNothing());
        QCOMPARE(film::mended(plan, bytes).toHex(), whole.toHex());
    }

    void whatHasNoRoomIsPutTogetherAnew()
    {
        film::OpenFilm film;
        film.hasExtendedHeader = false;
        film.hasAudioIndex = false;
        const QByteArray bytes = film.bytes();
        const RepairPlan plan = film::repairPlan(bytes);
        QVERIFY(!plan.recipe.movesNothing());
        QCOMPARE(plan.after.counts.error, 0);
        const QByteArray after = film::mended(plan, bytes);
        QVERIFY(hasAll(payloadOf(bytes), payloadOf(after)));
        const film::Reading reading(after);
        // Small as it is, one RIFF list holds it.
        QCOMPARE(reading.layout().segments.size(), size_t(1));
        QCOMPARE(reading.layout().extendedHeader.u32(0), quint32(5));
        QCOMPARE(reading.layout().superEntries.size(), size_t(2));
        QCOMPARE(reading.layout().superEntries[0].duration, quint32(5));
        QCOMPARE(reading.layout().superEntries[1].duration, quint32(16));
        QCOMPARE(reading.layout().indexes[reading.layout().legacyIndexes.front()].entryCount, quint32(9));
    }

    void listsOfRecordsStayTogether()
    {
        using namespace build;
        const QByteArray record =
            list("rec ",
                 {chunk("00dc", film::payload(10)), chunk("01wb", film::payload(6)), chunk("00dc", film::payload(7))});
        QByteArray data = record + chunk("00dc", film::payload(7)).bytes();
        data.chop(1); // its padding
        data += record;
        const QByteArray bytes = list("AVI ", {film::headers(), list("movi", {data})}, "RIFF");
        const RepairPlan plan = film::repairPlan(bytes);
        QVERIFY(!plan.recipe.movesNothing());
        QCOMPARE(countOf(plan.after, QStringLiteral("pad-missing")), 0);
        const QByteArray after = film::mended(plan, bytes);
        QVERIFY(hasAll(payloadOf(bytes), payloadOf(after)));
        QCOMPARE(after.count(record), 2);
        const int index = int(after.indexOf("idx1"));
        // Seven chunks, at 16, 34, 48, 64, 92, 110 and 124 from the form type of movi.
        QCOMPARE(after.mid(index + 8, 16), indexEntry("00dc", 0x10, 16, 10));
        QCOMPARE(after.mid(index + 8 + 3 * 16, 16), indexEntry("00dc", 0, 64, 7));
        QCOMPARE(after.mid(index + 8 + 6 * 16, 16), indexEntry("00dc", 0, 124, 7));
    }

    void headersComeBeforeData()
    {
        using build::list;
        const QByteArray data = list("movi", {film::joined(film::chunks())});
        const QByteArray bytes = list("AVI ", {data, film::headers(), film::index()}, "RIFF");
        const RepairPlan plan = film::repairPlan(bytes);
        QVERIFY(rulesOf(plan.before.findings).contains(QStringLiteral("list-order")));
        QCOMPARE(film::mended(plan, bytes), film::file());
        // And data before its index.
        const QByteArray other = list("AVI ", {film::headers(), film::index(), data}, "RIFF");
        QCOMPARE(film::mended(film::repairPlan(other), other), film::file());
    }

    void indexesComeIntoTheirLists()
    {
        film::OpenFilm film;
        film.hasSecondSegment = false;
        QByteArray bytes = film.bytes();
        bytes.replace(438, 4, build::u32(520 - 434 - 8));
        RepairSettings settings = settingsFor(bytes);
        QVERIFY(film::repairPlan(settings).isEmpty());
        settings.rewrites = true;
        const RepairPlan plan = film::repairPlan(settings);
        QCOMPARE(countOf(plan.before, QStringLiteral("ix-outside-movi")), 2); // one for each stream
        QCOMPARE(countOf(plan.after, QStringLiteral("ix-outside-movi")), 0);
        QVERIFY(hasAll(payloadOf(bytes), payloadOf(film::mended(plan, bytes))));
    }

    void randomDamagesGetNoWorse()
    {
        QRandomGenerator random(20261122);
        const QByteArray films[] = {film::file(), film::OpenFilm().bytes(), filmWithSoundBehind()};
        for (int round = 0; round < 900; ++round) {
            QByteArray bytes = films[round % 3];
            for (int count = random.bounded(1, 4); count > 0; --count) {
                const int at = random.bounded(int(bytes.size()));
                const int size = random.bounded(1, 9);
                const QByteArray other(size, char(random.bounded(256)));
                switch (random.bounded(4)) {
                case 0:
                    bytes.insert(at, other);
                    break;
                case 1:
                    bytes.remove(at, size);
                    break;
                case 2:
                    bytes.replace(at, size, other.left(std::min(size, int(bytes.size()) - at)));
                    break;
                default:
                    bytes.truncate(std::max(at, 400));
                    break;
                }
            }
            RepairSettings settings = settingsFor(bytes);
            settings.rewrites = round % 2 == 0;
            const RepairPlan plan = film::repairPlan(settings);
            QVERIFY(plan.recipe.conflict().isNull());
            QVERIFY(plan.recipe.lostBytes().empty());
            QVERIFY(plan.after.verdict <= plan.before.verdict);
            const QByteArray after = film::mended(plan, bytes);
            QVERIFY2(hasAll(payloadOf(bytes), payloadOf(after)), QByteArray::number(round).constData());
            settings = settingsFor(after);
            settings.rewrites = round % 2 == 0;
            QVERIFY2(film::repairPlan(settings).isEmpty(), QByteArray::number(round).constData());
        }
    }

    // Before and after; each step is tried without.
    void dataIsReadTwice()
    {
        QByteArray data;
        for (int frame = 0; frame < 20; ++frame)
            data += build::chunk("00dc", quenlofar::payload::layer(64, 48) + quenlofar::payload::plane(0, 200'000));
        const QByteArray bytes = one::file(one::streamList(build::StreamHeader("vids").scale(1).rate(25).length(3),
                                                           build::VideoFormat().picture(64, 48).compression("XVID")),
                                           {data});
        quint64 read = 0;
        RepairSettings settings;
        settings.opener = [&](const QString &, QString *) {
            return std::make_unique<film::CountingSource>(bytes, &read);
        };
        const RepairPlan plan = film::repairPlan(settings);
        QVERIFY(plan.recipe.steps().size() >= 2); // an index, and the length
        QCOMPARE(int(plan.after.verdict), int(Verdict::Conforms));
        QVERIFY2(read < quint64(bytes.size()) * 5 / 2, QByteArray::number(read).constData());
    }

    void whatIsInOrderStaysAsItIs()
    {
        for (const damage::Whole &whole : damage::wholes) {
            const QByteArray bytes = damage::bytesOf(whole);
            const RepairPlan plan = film::repairPlan(bytes);
            const bool hasReason =
                std::any_of(plan.before.findings.begin(), plan.before.findings.end(), [](const JudgedFinding &finding) {
                    return finding.severity != Severity::Note || finding.rule == QLatin1String("idx1-base");
                });
            QVERIFY2(hasReason || plan.isEmpty(), whole.name);
            QVERIFY2(hasReason || film::mended(plan, bytes) == bytes, whole.name);
        }
    }
};

QTEST_APPLESS_MAIN(TestAviRepair)
#include "tst_avirepair.moc"
