#include "faultysource.h"
#include "recipesource.h"

#include <QTest>

#include <functional>
#include <random>

using namespace quenlofar;

namespace {

const QByteArray alphabet("abcdefghij");

/// "3+2<7" is a copied piece of 2 bytes for place 3 of the new file, "3+2*7" one of new bytes; " #1" names the step.
QString textOf(const std::vector<Recipe::Piece> &pieces)
{
    QStringList texts;
    for (const Recipe::Piece &piece : pieces) {
        QString text = QStringLiteral("%1+%2%3%4")
                           .arg(piece.offset)
                           .arg(piece.size)
                           .arg(QLatin1Char(piece.isNew ? '*' : '<'))
                           .arg(piece.from);
        if (piece.step != Recipe::noStep)
            text += QStringLiteral(" #%1").arg(piece.step);
        texts.append(text);
    }
    return texts.join(QStringLiteral(", "));
}

QString textOf(const std::vector<ByteRange> &ranges)
{
    QStringList texts;
    for (const ByteRange &range : ranges)
        texts.append(QStringLiteral("%1+%2").arg(range.offset).arg(range.size));
    return texts.join(QLatin1Char(' '));
}

/// All bytes of a source, read `piece` at a time.
QByteArray bytesOf(ByteSource &source, int piece)
{
    QByteArray bytes;
    for (;;) {
        QByteArray more(piece, '?');
        const qint64 came = source.readAt(bytes.size(), more.data(), piece);
        if (came <= 0)
            return bytes;
        bytes += more.left(int(came));
    }
}

using Edits = std::function<void(Recipe &)>;

} // namespace

Q_DECLARE_METATYPE(Edits)

class TestRecipe : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void edits_data()
    {
        QTest::addColumn<Edits>("edit");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("pieces");
        QTest::addColumn<QString>("lost");
        QTest::addColumn<bool>("movesNothing");
        const auto row = [](const char *name, Edits edit, const char *file, const char *pieces, const char *lost,
                            bool movesNothing) {
            QTest::newRow(name) << edit << QByteArray(file) << QString::fromLatin1(pieces) << QString::fromLatin1(lost)
                                << movesNothing;
        };

        row(
            "nothing", [](Recipe &) {}, "abcdefghij", "0+10<0", "", true);
        row(
            "bytes replaced", [](Recipe &recipe) { recipe.replace(3, "XY", 7); }, "abcXYfghij",
            "0+3<0, 3+2*0 #7, 5+5<5", "", true);
        row(
            "all replaced", [](Recipe &recipe) { recipe.replace(0, "0123456789", 0); }, "0123456789", "0+10*0 #0", "",
            true);
        row(
            "bytes at the end", [](Recipe &recipe) { recipe.insert(10, "XY", 1); }, "abcdefghijXY", "0+10<0, 10+2*0 #1",
            "", true);
        row(
            "bytes put in", [](Recipe &recipe) { recipe.insert(4, "X", 1); }, "abcdXefghij", "0+4<0, 4+1*0 #1, 5+6<4",
            "", false);
        row(
            "bytes at the beginning", [](Recipe &recipe) { recipe.insert(0, "X", 1); }, "Xabcdefghij",
            "0+1*0 #1, 1+10<0", "", false);
        row(
            "nothing put in", [](Recipe &recipe) { recipe.insert(4, "", 1); }, "abcdefghij", "0+10<0", "", true);
        row(
            "in the order of the file, whatever came first",
            [](Recipe &recipe) {
                recipe.replace(8, "Z", 2);
                recipe.insert(2, "Y", 1);
                recipe.replace(0, "X", 0);
            },
            "XbYcdefghZj", "0+1*2 #0, 1+1<1, 2+1*1 #1, 3+6<2, 9+1*0 #2, 10+1<9", "", false);
        row(
            "at one place, in the order in which they came, before the byte itself",
            [](Recipe &recipe) {
                recipe.replace(4, "-", 0);
                recipe.insert(4, "X", 1);
                recipe.insert(4, "Y", 2);
            },
            "abcdXY-fghij", "0+4<0, 4+1*1 #1, 5+1*2 #2, 6+1*0 #0, 7+5<5", "", false);
        row(
            "a copy",
            [](Recipe &recipe) {
                recipe.copy({1, 2}, 10, 3);
            },
            "abcdefghijbc", "0+10<0, 10+2<1 #3", "", false);
        row(
            "bytes left out",
            [](Recipe &recipe) {
                recipe.remove({2, 3}, 0);
            },
            "abfghij", "0+2<0, 2+5<5", "2+3", false);
        row(
            "bytes moved to the end",
            [](Recipe &recipe) {
                recipe.remove({0, 4}, 0);
                recipe.copy({0, 4}, 10, 0);
            },
            "efghijabcd", "0+6<4, 6+4<0 #0", "", false);
        row(
            "of the bytes left out some are elsewhere",
            [](Recipe &recipe) {
                recipe.remove({1, 3}, 0);
                recipe.remove({4, 2}, 0);
                recipe.copy({2, 1}, 0, 0);
                recipe.copy({4, 1}, 10, 0);
            },
            "caghije", "0+1<2 #0, 1+1<0, 2+4<6, 6+1<4 #0", "1+1 3+1 5+1", false);
    }

    void edits()
    {
        QFETCH(Edits, edit);
        QFETCH(QByteArray, file);
        Recipe recipe(quint64(alphabet.size()));
        edit(recipe);
        QCOMPARE(recipe.conflict(), QString());
        QTEST(textOf(recipe.pieces()), "pieces");
        QTEST(textOf(recipe.lostBytes()), "lost");
        QTEST(recipe.movesNothing(), "movesNothing");
        QCOMPARE(recipe.newSize(), quint64(file.size()));
        RecipeSource source(recipe, memorySource(alphabet));
        QCOMPARE(source.size(), qint64(file.size()));
        for (const int piece : {1, 3, 100})
            QCOMPARE(bytesOf(source, piece), file);
    }

    void conflicts_data()
    {
        QTest::addColumn<Edits>("edit");
        QTest::addColumn<QString>("conflict");
        const auto row = [](const char *name, Edits edit, const char *conflict) {
            QTest::newRow(name) << edit << QString::fromLatin1(conflict);
        };
        row(
            "replaced twice",
            [](Recipe &recipe) {
                recipe.replace(4, "ABC", 0);
                recipe.replace(6, "D", 0);
            },
            "byte 6 is changed twice");
        row(
            "put into what is removed",
            [](Recipe &recipe) {
                recipe.remove({2, 5}, 0);
                recipe.insert(4, "X", 0);
            },
            "byte 4 is changed twice");
        row(
            "replaced behind the end", [](Recipe &recipe) { recipe.replace(9, "AB", 0); },
            "byte 9 and 2 more from there on are not all in the original");
        row(
            "put in behind the end", [](Recipe &recipe) { recipe.insert(11, "A", 0); },
            "byte 11 and 0 more from there on are not all in the original");
        row(
            "sizes that wrap",
            [](Recipe &recipe) {
                recipe.remove({2, ~quint64(0)}, 0);
            },
            "byte 2 and 18446744073709551615 more from there on are not all in the original");
        row(
            "copied from behind the end",
            [](Recipe &recipe) {
                recipe.copy({8, 3}, 0, 0);
            },
            "3 bytes from byte 8 on are to be copied, which are not all in the original");
    }

    void conflicts()
    {
        QFETCH(Edits, edit);
        Recipe recipe(quint64(alphabet.size()));
        edit(recipe);
        QTEST(recipe.conflict(), "conflict");
    }

    void stepsAreNumbered()
    {
        Recipe recipe(1);
        QCOMPARE(recipe.addStep({{QStringLiteral("frame-count")}, {3}, Repair::Patch, QStringLiteral("because")}), 0U);
        QCOMPARE(recipe.addStep({{QStringLiteral("index-missing")}, {4, 5}, Repair::Append, {}}), 1U);
        QCOMPARE(recipe.steps().size(), size_t(2));
        QCOMPARE(recipe.steps()[1].rules, QStringList(QStringLiteral("index-missing")));
    }

    void randomEditsAgreeWithAByteByByteReading()
    {
        std::mt19937 random(20261122); // the same edits in every run
        for (int round = 0; round < 200; ++round) {
            QByteArray original(int(random() % 300), Qt::Uninitialized);
            for (char &byte : original)
                byte = char(random());
            Recipe recipe(quint64(original.size()));
            // What stands in front of each byte, and what becomes of it.
            std::vector<QByteArray> before(size_t(original.size()) + 1);
            std::vector<QByteArray> becomes;
            for (const char byte : original)
                becomes.emplace_back(1, byte);
            for (int at = 0; at < original.size(); at += 1 + int(random() % 60)) {
                const int size = std::min(int(random() % 8), int(original.size()) - at);
                const QByteArray bytes(size, char(random()));
                switch (random() % 4) {
                case 0:
                    recipe.insert(quint64(at), bytes, 0);
                    before[size_t(at)] += bytes;
                    break;
                case 1:
                    recipe.copy({quint64(at), quint64(size)}, quint64(original.size()), 0);
                    before.back() += original.mid(at, size);
                    break;
                case 2:
                    recipe.remove({quint64(at), quint64(size)}, 0);
                    std::fill_n(becomes.begin() + at, size, QByteArray());
                    at += size;
                    break;
                default:
                    if (size > 0)
                        recipe.replace(quint64(at), bytes, 0);
                    for (int i = 0; i < size; ++i)
                        becomes[size_t(at + i)] = bytes.mid(i, 1);
                    at += size;
                }
            }
            QByteArray expected;
            for (int at = 0; at < original.size(); ++at)
                expected += before[size_t(at)] + becomes[size_t(at)];
            expected += before.back();

            QCOMPARE(recipe.conflict(), QString());
            RecipeSource source(recipe, memorySource(original));
            QCOMPARE(source.size(), qint64(expected.size()));
            QCOMPARE(bytesOf(source, 7), expected);
            for (int i = 0; i < 20 && !expected.isEmpty(); ++i) {
                const auto at = int(random() % unsigned(expected.size()));
                char byte = 0;
                QCOMPARE(source.readAt(at, &byte, 1), qint64(1));
                QCOMPARE(byte, expected.at(at));
            }
        }
    }

    void readingOutsideGivesNothing()
    {
        Recipe recipe(10);
        recipe.insert(10, "XY", 0);
        RecipeSource source(recipe, memorySource(alphabet));
        char byte = '?';
        for (const qint64 position : {qint64(-1), qint64(12), std::numeric_limits<qint64>::max()})
            QCOMPARE(source.readAt(position, &byte, 1), qint64(0));
        RecipeSource empty(Recipe(0), memorySource({}));
        QCOMPARE(empty.size(), qint64(0));
        QCOMPARE(empty.readAt(0, &byte, 1), qint64(0));
    }

    void anErrorOfTheOriginalIsTold()
    {
        SourceState state;
        state.size = 10;
        state.damagedFrom = 4;
        state.damagedTo = 6;
        Recipe recipe(10);
        recipe.replace(2, "XY", 0);
        RecipeSource source(recipe, std::make_unique<FaultySource>(&state));
        char bytes[10];
        QCOMPARE(source.readAt(0, bytes, 10), qint64(4));
        QCOMPARE(QByteArray(bytes + 2, 2), QByteArray("XY"));
        QCOMPARE(source.readAt(4, bytes, 6), qint64(-1));
        QCOMPARE(source.errorText(), QStringLiteral("Input/output error"));
        QCOMPARE(source.readAt(6, bytes, 10), qint64(4));
    }

    void anOriginalThatBecameShorterEndsEarly()
    {
        SourceState state;
        state.size = 10;
        state.end = 5;
        Recipe recipe(10);
        recipe.insert(10, "XY", 0);
        RecipeSource source(recipe, std::make_unique<FaultySource>(&state));
        char bytes[12];
        QCOMPARE(source.readAt(0, bytes, 12), qint64(5));
        QCOMPARE(source.readAt(5, bytes, 7), qint64(0));
        QCOMPARE(source.readAt(10, bytes, 2), qint64(2));
    }

    void bytesAreLeftOutForAReason()
    {
        Recipe recipe(20);
        recipe.addStep({});
        recipe.copy({5, 5}, 0, 0);
        recipe.insert(0, "new", 0);
        recipe.remove({0, 4}, 0, Recipe::Removal::Superseded);
        recipe.remove({4, 12}, 0);
        recipe.remove({16, 4}, 0, Recipe::Removal::AskedFor);
        QVERIFY(recipe.conflict().isNull());
        QCOMPARE(recipe.newSize(), quint64(8));
        const auto text = [](const std::vector<ByteRange> &ranges) {
            QString all;
            for (const ByteRange &range : ranges)
                all += QStringLiteral("%1+%2 ").arg(range.offset).arg(range.size);
            return all;
        };
        QCOMPARE(text(recipe.removed(Recipe::Removal::Superseded)), QStringLiteral("0+4 "));
        QCOMPARE(text(recipe.removed(Recipe::Removal::AskedFor)), QStringLiteral("16+4 "));
        QCOMPARE(text(recipe.lostBytes()), QStringLiteral("4+1 10+6 "));
        QCOMPARE(text(recipe.bytesNotCopied()), QStringLiteral("0+5 10+10 "));
    }

    void holesAreThoseOfCopiedBytes()
    {
        /// Zeros that need not be read.
        class HoleSource final : public ByteSource
        {
        public:
            qint64 size() const override { return qint64(1) << 40; }
            qint64 readAt(qint64, char *data, qint64 maxSize) override
            {
                std::fill_n(data, maxSize, '\0');
                return maxSize;
            }
            qint64 holeEnd(qint64) override { return size(); }
        };
        Recipe recipe(quint64(1) << 40);
        recipe.replace(1000, "XY", 0);
        recipe.insert(quint64(1) << 39, "Z", 0);
        RecipeSource source(recipe, std::make_unique<HoleSource>());
        QCOMPARE(source.holeEnd(0), qint64(1000));
        QCOMPARE(source.holeEnd(1001), qint64(1001));
        QCOMPARE(source.holeEnd(2000), qint64(1) << 39);
        QCOMPARE(source.holeEnd((qint64(1) << 39) + 1), (qint64(1) << 40) + 1);
    }
};

QTEST_APPLESS_MAIN(TestRecipe)
#include "tst_recipe.moc"
