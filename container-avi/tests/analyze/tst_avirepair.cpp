#include "damagemakers.h"
#include "repairing.h"
#include "wholefiles.h"

#include <QCryptographicHash>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

using namespace quenlofar;

namespace {

/// Sizes and digests of the data of each stream's packets, in the order of the file.
using Payload = std::map<int, std::vector<std::pair<quint32, QByteArray>>>;
Payload payloadOf(const QByteArray &bytes)
{
    AviAnalyzer analyzer;
    const std::unique_ptr<ByteSource> source = memorySource(bytes);
    analyzer.read(*source, {});
    Payload payload;
    for (quint64 index = 0; index < analyzer.packets().size(); ++index) {
        const Packet packet = analyzer.packets().at(index);
        payload[packet.stream].push_back(
            {packet.size,
             QCryptographicHash::hash(bytes.mid(int(packet.offset), int(packet.size)), QCryptographicHash::Sha256)});
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

/// Each stream of `now` has what it has in `before`, in this order, and maybe more in between.
bool hasAll(const Payload &before, const Payload &now)
{
    for (const auto &[stream, packets] : before) {
        const auto found = now.find(stream);
        if (found == now.end())
            return false;
        auto next = found->second.begin();
        for (const auto &packet : packets) {
            next = std::find(next, found->second.end(), packet);
            if (next == found->second.end())
                return false;
            ++next;
        }
    }
    return true;
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
