#include "bytesource.h"
#include "patchset.h"
#include "recipesource.h"
#include "repairplanner.h"

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

    void aFileIsPutTogetherAnew()
    {
        const QByteArray original = "0123456789";
        PatchSet patches(10);
        const std::vector<RecipeStep> steps(4);
        QVERIFY(patches.replace(2, "ab", 0, *memorySource(original)));
        patches.append("tail", 1);
        FileLayout layout; // 01ab456789tail
        layout.copy({10, 4});
        layout.add("<");
        layout.add(">");
        layout.copy({0, 3});
        layout.copy({3, 3});
        layout.superseded.push_back({6, 1});
        layout.dropped.push_back({7, 2});
        QVERIFY(patches.rearrange(layout, 2));
        QCOMPARE(result(patches, steps, original), QByteArray("tail<>01ab45"));
        QVERIFY(patches.replace(5, "+45*1", 3, *memorySource("tail<>01ab45")));
        QCOMPARE(result(patches, steps, original), QByteArray("tail<+45*145"));
        const Recipe recipe = patches.recipe(steps);
        QVERIFY(!recipe.movesNothing());
        // Byte 9 is in no piece, and nobody has said why.
        QCOMPARE(recipe.lostBytes().size(), size_t(1));
        QCOMPARE(recipe.lostBytes()[0].offset, quint64(9));
        QCOMPARE(recipe.lostBytes()[0].size, quint64(1));
        QCOMPARE(recipe.removed(Recipe::Removal::AskedFor)[0].offset, quint64(7));
        layout.copy({12, 1});
        QVERIFY(!patches.rearrange(layout, 2));
        QCOMPARE(result(patches, steps, original), QByteArray("tail<+45*145"));
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
