#include "decodetext.h"
#include "utf8_p.h"

#include <QTest>

#include <string_view>

using namespace quenlofar;

class TestDecodeText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bytesAsText_data();
    void bytesAsText();
    void everySingleByte();
    void borrowedBytesAreNotAltered();
    void noBytesAreNoCharacter();
};

namespace {

/// Literal bytes, zero bytes included, without the terminator.
template <size_t N> QByteArray raw(const char (&bytes)[N])
{
    return QByteArray(bytes, int(N) - 1);
}

/// Unit by unit: QString::fromUtf16 would obey a byte-order mark.
QString utf16(std::u16string_view text)
{
    return QString(reinterpret_cast<const QChar *>(text.data()), int(text.size()));
}

} // namespace

void TestDecodeText::bytesAsText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    QTest::newRow("no bytes: an empty text") << QByteArray() << QString();
    QTest::newRow("ASCII is shown as it stands") << raw("Lavf60.16.100") << utf16(u"Lavf60.16.100");
    QTest::newRow("blanks at both ends stay") << raw(" a ") << utf16(u" a ");

    QTest::newRow("trailing zero bytes are dropped") << raw("title\0\0\0") << utf16(u"title");
    QTest::newRow("zero bytes alone: an empty text") << raw("\0\0\0\0") << QString();
    QTest::newRow("zero bytes inside are dots") << raw("\0a\0\0b\0") << utf16(u".a..b");

    QTest::newRow("control characters are dots") << raw("a\tb\r\nc\x1F\x7F") << utf16(u"a.b..c..");
    QTest::newRow("the first printable character is no dot") << raw("\x1F\x20\x7E\x7F") << utf16(u". ~.");
    QTest::newRow("C1 control characters in UTF-8 are dots") << raw("\xC2\x80\xC2\x9F\xC2\xA0") << utf16(u"..\u00A0");
    QTest::newRow("C1 control characters in Latin-1 are dots") << raw("\x80\x9F\xA0") << utf16(u"..\u00A0");

    QTest::newRow("UTF-8 of two bytes") << raw("\xC3\xA9t\xC3\xA9") << utf16(u"\u00E9t\u00E9");
    QTest::newRow("UTF-8 of three bytes") << raw("\xE2\x82\xAC") << utf16(u"\u20AC");
    QTest::newRow("UTF-8 of four bytes is a surrogate pair") << raw("\xF0\x9F\x8E\xAC") << utf16(u"\U0001F3AC");
    QTest::newRow("the first and the last code point of each length")
        << raw("\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF")
        << utf16(u"\u07FF\u0800\uFFFF\U00010000\U0010FFFF");
    QTest::newRow("the code points around the surrogates") << raw("\xED\x9F\xBF\xEE\x80\x80") << utf16(u"\uD7FF\uE000");

    QTest::newRow("a leading byte-order mark is left out") << raw("\xEF\xBB\xBFtext") << utf16(u"text");
    QTest::newRow("a byte-order mark alone: an empty text") << raw("\xEF\xBB\xBF") << QString();
    QTest::newRow("only the first byte-order mark is left out")
        << raw("\xEF\xBB\xBF\xEF\xBB\xBFx") << utf16(u"\uFEFFx");
    QTest::newRow("a byte-order mark inside stays") << raw("x\xEF\xBB\xBFy") << utf16(u"x\uFEFFy");
    QTest::newRow("a byte-order mark before what is not UTF-8 is Latin-1")
        << raw("\xEF\xBB\xBF\xE9!") << utf16(u"\u00EF\u00BB\u00BF\u00E9!");

    QTest::newRow("U+FFFD in the bytes: Latin-1") << raw("a\xEF\xBF\xBD") << utf16(u"a\u00EF\u00BF\u00BD");
    QTest::newRow("U+FFFE and U+FFFC are text") << raw("\xEF\xBF\xBE\xEF\xBF\xBC") << utf16(u"\uFFFE\uFFFC");

    QTest::newRow("Latin-1") << raw("Fr\xE9"
                                    "d\xE9ric")
                             << utf16(u"Fr\u00E9d\u00E9ric");
    QTest::newRow("one wrong byte makes all of it Latin-1") << raw("\xC3\xA9\xFF.") << utf16(u"\u00C3\u00A9\u00FF.");
    QTest::newRow("overlong forms of two bytes: Latin-1")
        << raw("\xC1\xBF\xC0\xAF") << utf16(u"\u00C1\u00BF\u00C0\u00AF");
    QTest::newRow("overlong form of three bytes: Latin-1") << raw("\xE0\x9F\xBFx") << utf16(u"\u00E0.\u00BFx");
    QTest::newRow("overlong form of four bytes: Latin-1") << raw("\xF0\x8F\xBF\xBFx") << utf16(u"\u00F0.\u00BF\u00BFx");
    QTest::newRow("surrogates: Latin-1") << raw("\xED\xA0\xBD\xED\xB8\x80x")
                                         << utf16(u"\u00ED\u00A0\u00BD\u00ED\u00B8.x");
    QTest::newRow("above U+10FFFF: Latin-1") << raw("\xF4\x90\x80\x80x") << utf16(u"\u00F4...x");
    QTest::newRow("lead bytes that no sequence has: Latin-1")
        << raw("\xC3\xA9\xF5\xBF\xBF\xBF") << utf16(u"\u00C3\u00A9\u00F5\u00BF\u00BF\u00BF");
    QTest::newRow("a continuation byte without a lead byte: Latin-1") << raw("a\xBFz") << utf16(u"a\u00BFz");
    QTest::newRow("a sequence that is cut off inside: Latin-1")
        << raw("\xC3\xA9\xE2\x82z") << utf16(u"\u00C3\u00A9\u00E2.z");

    QTest::newRow("cut off at the end after UTF-8: left out, of two bytes") << raw("\xC3\xA9\xC3") << utf16(u"\u00E9");
    QTest::newRow("cut off at the end after UTF-8: left out, of three bytes, one came")
        << raw("\xC3\xA9\xE2") << utf16(u"\u00E9");
    QTest::newRow("cut off at the end after UTF-8: left out, of three bytes, two came")
        << raw("\xC3\xA9 \xE2\x82") << utf16(u"\u00E9 ");
    QTest::newRow("cut off at the end after UTF-8: left out, of four bytes, one came")
        << raw("\xC3\xA9\xF0") << utf16(u"\u00E9");
    QTest::newRow("cut off at the end after UTF-8: left out, of four bytes, three came")
        << raw("\xC3\xA9\xF0\x9F\x8E") << utf16(u"\u00E9");
    QTest::newRow("cut off after U+0080, the first character beyond ASCII") << raw("\xC2\x80\xC3") << utf16(u".");
    QTest::newRow("complete at the end, but overlong: Latin-1")
        << raw("\xC3\xA9\xE0\x80\x81") << utf16(u"\u00C3\u00A9\u00E0..");
    QTest::newRow("cut off: the first and the last lead byte, left out")
        << raw("\xC3\xA9\xF4\x8F\xBF") << utf16(u"\u00E9");
    QTest::newRow("cut off: any continuation byte may follow the lead byte")
        << raw("\xC3\xA9\xE0\x80") << utf16(u"\u00E9");
    QTest::newRow("cut off after ASCII alone: Latin-1") << raw("caf\xE9") << utf16(u"caf\u00E9");
    QTest::newRow("cut off with nothing before it: Latin-1") << raw("\xE2\x82") << utf16(u"\u00E2.");
    QTest::newRow("cut off after a byte-order mark: left out") << raw("\xEF\xBB\xBF"
                                                                      "caf\xC3")
                                                               << utf16(u"caf");
    QTest::newRow("cut off right after a byte-order mark: left out") << raw("\xEF\xBB\xBF\xC3") << QString();
    QTest::newRow("cut off after what is not valid: Latin-1")
        << raw("\xC3\xA9\xFF\xC3") << utf16(u"\u00C3\u00A9\u00FF\u00C3");
    QTest::newRow("cut off after U+FFFD: Latin-1") << raw("\xEF\xBF\xBD\xC3") << utf16(u"\u00EF\u00BF\u00BD\u00C3");
    QTest::newRow("no lead byte at the end is no cut-off: C1") << raw("\xC3\xA9\xC1") << utf16(u"\u00C3\u00A9\u00C1");
    QTest::newRow("no lead byte at the end is no cut-off: F5") << raw("\xC3\xA9\xF5") << utf16(u"\u00C3\u00A9\u00F5");
    QTest::newRow("a lone continuation byte at the end: Latin-1")
        << raw("\xC3\xA9\xBF") << utf16(u"\u00C3\u00A9\u00BF");
    QTest::newRow("trailing zero bytes go before the cut is looked for") << raw("\xC3\xA9\xC3\0\0") << utf16(u"\u00E9");
    QTest::newRow("zero bytes inside keep a sequence from being cut off")
        << raw("\xC3\xA9\xC3\0z") << utf16(u"\u00C3\u00A9\u00C3.z");
}

void TestDecodeText::bytesAsText()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    QCOMPARE(bytesToText(bytes), text);
}

void TestDecodeText::everySingleByte()
{
    for (int byte = 1; byte < 256; ++byte) {
        const bool isControl = byte < 32 || (byte >= 127 && byte < 160);
        const QString expected(isControl ? QLatin1Char('.') : QLatin1Char(char(byte)));
        QCOMPARE(bytesToText(QByteArray(1, char(byte))), expected);
    }
    QCOMPARE(bytesToText(QByteArray(1, '\0')), QString());
}

void TestDecodeText::borrowedBytesAreNotAltered()
{
    const char bytes[] = {'a', '\n', '\0', '\0'};
    const QByteArray borrowed = QByteArray::fromRawData(bytes, 3);
    QCOMPARE(bytesToText(borrowed), QStringLiteral("a."));
    QCOMPARE(bytes[1], '\n');

    // What stands behind the bytes is not looked at.
    const QByteArray accents("\xC3\xA9\xC3\xA9");
    QCOMPARE(bytesToText(QByteArray::fromRawData(accents.constData(), 1)), utf16(u"\u00C3"));
    QCOMPARE(bytesToText(QByteArray::fromRawData(accents.constData(), 3)), utf16(u"\u00E9"));
    QCOMPARE(bytesToText(QByteArray::fromRawData(accents.constData() + 1, 1)), utf16(u"\u00A9"));
    const QByteArray accentAndMore("\xC3\xA9\xA9");
    QCOMPARE(bytesToText(QByteArray::fromRawData(accentAndMore.constData(), 2)), utf16(u"\u00E9"));
}

void TestDecodeText::noBytesAreNoCharacter()
{
    QCOMPARE(decodeUtf8("a", 0).length, 0);
    QCOMPARE(decodeUtf8("a", 1).length, 1);
    QCOMPARE(decodeUtf8("\xC3\xA9", 1).length, 0);
    QCOMPARE(decodeUtf8("\xC3\xA9", 2).length, 2);
}

QTEST_APPLESS_MAIN(TestDecodeText)
#include "tst_decodetext.moc"
