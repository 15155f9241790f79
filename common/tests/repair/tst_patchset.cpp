#include "bytesource.h"
#include "patchset.h"
#include "recipesource.h"

#include <QRandomGenerator>
#include <QTest>

using namespace quenlofar;

namespace {

QByteArray result(const PatchSet &patches, const std::vector<RecipeStep> &steps, const QByteArray &original)
{
    const Recipe recipe = patches.recipe(steps);
    if (!recipe.conflict().isNull())
        return "conflict";
    RecipeSource source(recipe, memorySource(original));
    QByteArray bytes(int(source.size()), '\0');
    return source.readAt(0, bytes.data(), bytes.size()) == bytes.size() ? bytes : QByteArray("cannot be read");
}

} // namespace

class TestPatchSet : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void laterChangesWin()
    {
        const QByteArray original = "0123456789";
        PatchSet patches(10);
        std::vector<RecipeStep> steps(3);
        QVERIFY(patches.replace(2, "abcd", 0, *memorySource(original)));
        QVERIFY(patches.replace(4, "XY", 1, *memorySource("01abcd6789")));
        patches.append("tail", 1);
        QVERIFY(patches.replace(9, "!T", 2, *memorySource("01abXY6789tail")));
        QCOMPARE(result(patches, steps, original), QByteArray("01abXY678!Tail"));
        QCOMPARE(patches.size(), quint64(14));
    }

    void aFieldBelongsToTheStepThatChangesItFirst()
    {
        PatchSet patches(8);
        std::vector<RecipeStep> steps(2);
        QVERIFY(patches.replace(0, "size", 0, *memorySource("abcdefgh")));
        QVERIFY(patches.replace(0, "SIZE", 1, *memorySource("sizeefgh")));
        const std::vector<Recipe::Piece> pieces = patches.recipe(steps).pieces();
        QCOMPARE(pieces.size(), size_t(2));
        QCOMPARE(pieces[0].step, quint32(0));
        QCOMPARE(result(patches, steps, "abcdefgh"), QByteArray("SIZEefgh"));
    }

    void whatIsThereAlreadyIsNoChange()
    {
        PatchSet patches(40);
        const QByteArray original(40, '.');
        QByteArray wanted = original;
        wanted[3] = 'a';
        wanted[5] = 'b';
        wanted[30] = 'c';
        QVERIFY(patches.replace(0, wanted, 0, *memorySource(original)));
        const std::vector<Recipe::Piece> pieces = patches.recipe(std::vector<RecipeStep>(1)).pieces();
        // ... a.b ... c ...: what stands close together is one change.
        QCOMPARE(pieces.size(), size_t(5));
        QCOMPARE(pieces[1].offset, quint64(3));
        QCOMPARE(pieces[1].size, quint64(3));
        QCOMPARE(pieces[3].offset, quint64(30));
        QVERIFY(!patches.replace(38, "xyz", 0, *memorySource(original)));
    }

    void randomChangesAreThoseOfAnArray()
    {
        QRandomGenerator random(20261122);
        for (int round = 0; round < 200; ++round) {
            const QByteArray original(64, '.');
            QByteArray bytes = original;
            PatchSet patches(64);
            const std::vector<RecipeStep> steps(40);
            for (quint32 step = 0; step < 40; ++step) {
                const QByteArray change(random.bounded(1, 20), char('a' + random.bounded(26)));
                if (random.bounded(8) == 0) {
                    patches.append(change, step);
                    bytes += change;
                    continue;
                }
                const int at = random.bounded(int(bytes.size()) - int(change.size()) + 1);
                QVERIFY(patches.replace(quint64(at), change, step, *memorySource(bytes)));
                bytes.replace(at, change.size(), change);
            }
            QCOMPARE(result(patches, steps, original), bytes);
        }
    }
};

QTEST_APPLESS_MAIN(TestPatchSet)
#include "tst_patchset.moc"
