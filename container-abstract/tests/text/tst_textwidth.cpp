#include "textwidth.h"

#include <QTest>

#include <locale.h>

using namespace quenlofar;

class TestTextWidth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void widths_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("plain");
        QTest::addColumn<int>("escaped");
        const auto row = [](const char *rule, const QString &text, int plain, int escaped) {
            QTest::newRow(rule) << text << plain << escaped;
        };
        // Characters about which no two C libraries differ.
        row("nothing", {}, 0, 0);
        row("ASCII", QStringLiteral("abc ~"), 5, 5);
        row("other letters", QStringLiteral("\u00E4\u00DF\u0416\u03A9\u05D0\u0E01"), 6, 6);
        row("ideographs", QStringLiteral("\u4E00\u6620\u50CF"), 6, 6);
        row("ideographs of pairs", QStringLiteral("\U00020000\U0002A6D6"), 4, 4);
        row("kana", QStringLiteral("\u3042\u30AB"), 4, 4);
        row("Hangul", QStringLiteral("\uAC00\uD7A3"), 4, 4);
        row("fullwidth and halfwidth", QStringLiteral("\uFF01\uFF21\uFF71"), 5, 5);
        row("the wide blank", QStringLiteral("\u3000"), 2, 2);
        row("emoji", QStringLiteral("\U0001F600\U0001F680"), 4, 4);
        row("narrow pictures", QStringLiteral("\u2603\u2500"), 2, 2);
        row("marks", QStringLiteral("e\u0301\u0302o\u20DD"), 2, 2);
        row("an invisible character", QStringLiteral("a\u200Bb"), 2, 2);
        row("not printable", QStringLiteral("a\u0085b"), 2, 6);
        row("escapes of two", QStringLiteral("\\\t\n"), 3, 6);
        row("an escape of four", QStringLiteral("\x1b"), 1, 4);
        row("an escape of six", QStringLiteral("\u4E00\u202E"), 2, 8);
        row("single surrogates", QString(QChar(0xD83C)) + QChar(0xDF9E) + QChar(0xDF9E) + QChar(0xD83C), 3, 3);
    }
    void widths()
    {
        QFETCH(QString, text);
        QTEST(textWidth(text, TextForm::Plain), "plain");
        QTEST(textWidth(text, TextForm::Escaped), "escaped");
    }
    void theLocaleOfTheProgramPlaysNoPart()
    {
        for (const char *name : {"C", "C.UTF-8"}) {
            QVERIFY(setlocale(LC_ALL, name));
            QCOMPARE(textWidth(u"\u6620\u00E4e\u0301", TextForm::Plain), 4);
            QCOMPARE(QByteArray(setlocale(LC_ALL, nullptr)), QByteArray(name));
        }
        setlocale(LC_ALL, "C");
    }
    void theLocaleOfTheThreadComesBack()
    {
        const locale_t own = newlocale(LC_ALL_MASK, "C", nullptr);
        QVERIFY(own);
        const locale_t before = uselocale(own);
        const int columns = textWidth(u"\u6620\u00E4e\u0301", TextForm::Plain);
        const int clipped = fittingPiece(u"\u6620\u6620", 3, TextForm::Plain).columns;
        const locale_t after = uselocale(before);
        freelocale(own);
        QVERIFY(after == own);
        QCOMPARE(columns, 4);
        QCOMPARE(clipped, 2);
    }

    void pieces_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("most");
        QTest::addColumn<int>("units");
        QTest::addColumn<int>("columns");
        const auto row = [](const char *rule, const QString &text, int most, int units, int columns) {
            QTest::newRow(rule) << text << most << units << columns;
        };
        row("all", QStringLiteral("abc"), 3, 3, 3);
        row("a part", QStringLiteral("abc"), 2, 2, 2);
        row("none", QStringLiteral("abc"), 0, 0, 0);
        row("half a wide character", QStringLiteral("a\u6620b"), 2, 1, 1);
        row("half a pair", QStringLiteral("\U0001F600\U0001F600"), 3, 2, 2);
        row("a part of an escape", QStringLiteral("\x1b\x1b"), 7, 1, 4);
        row("a mark behind the last column", QStringLiteral("ae\u0301b"), 2, 3, 2);
    }
    void pieces()
    {
        QFETCH(QString, text);
        QFETCH(int, most);
        const TextPiece piece = fittingPiece(text, most, TextForm::Escaped);
        QTEST(piece.units, "units");
        QTEST(piece.columns, "columns");
    }
};

QTEST_APPLESS_MAIN(TestTextWidth)

#include "tst_textwidth.moc"
