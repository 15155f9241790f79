#include "textwidth.h"

#include <QtTest>

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
        row("nothing", {}, 0, 0);
        row("ASCII", QStringLiteral("abc ~"), 5, 5);
        row("other letters", QStringLiteral("\u00E4\u0416\u05D0\u0E01"), 4, 4);
        row("ideographs", QStringLiteral("\u4E00\u9FFF\u6620"), 6, 6);
        row("ideographs of pairs", QStringLiteral("\U00020000\U0002FFFD\U00030000"), 6, 6);
        row("beside ideographs", QStringLiteral("\u4DC0\uA4D0"), 2, 2);
        row("kana, and what is set on it", QStringLiteral("\u3042\u304B\u3099"), 4, 4);
        row("Hangul", QStringLiteral("\uAC00\uD7A3"), 4, 4);
        row("Hangul of parts", QStringLiteral("\u1112\u1161\u11AB"), 2, 2);
        row("fullwidth and halfwidth", QStringLiteral("\uFF01\uFF60\uFF61\uFFE0"), 7, 7);
        row("the wide blank", QStringLiteral("\u3000\u303F"), 3, 3);
        row("emoji", QStringLiteral("\U0001F600\U0001F680\U0001FAFF\u231A"), 8, 8);
        row("narrow pictures", QStringLiteral("\U0001F321\u2603\U0001F3FB"), 4, 4);
        row("marks", QStringLiteral("e\u0301\u0302o\u20DD"), 2, 2);
        row("invisible characters", QStringLiteral("a\u200B\u200D\uFEFFb"), 2, 2);
        row("a soft hyphen", QStringLiteral("\u00AD"), 1, 1);
        row("escapes of two", QStringLiteral("\\\t\n"), 3, 6);
        row("longer escapes", QStringLiteral("\x1b\u202E"), 1, 10);
        row("single surrogates", QString(QChar(0xD83C)) + QChar(0xDF9E) + QChar(0xDF9E) + QChar(0xD83C), 3, 3);
    }
    void widths()
    {
        QFETCH(QString, text);
        QTEST(textWidth(text, TextForm::Plain), "plain");
        QTEST(textWidth(text, TextForm::Escaped), "escaped");
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
