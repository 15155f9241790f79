#include "textencoding.h"

#include <QTest>

#include <iconv.h>

#include <memory>

using namespace quenlofar;

class TestTextEncoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("encoding");
        QTest::addColumn<QString>("expected");

        const auto row = [](const char *name, const char *hex, TextEncoding encoding, QStringView expected) {
            QTest::newRow(name) << QByteArray::fromHex(hex) << int(encoding) << expected.toString();
        };
        row("UTF-8 is guessed", "c3a4", TextEncoding::Guessed, u"\u00E4");
        row("and so is Latin-1", "e4", TextEncoding::Guessed, u"\u00E4");
        row("Latin-1 is never taken for UTF-8", "c3a4", TextEncoding::Latin1, u"\u00C3\u00A4");
        row("Windows has a euro sign", "80e4", TextEncoding::Windows1252, u"\u20AC\u00E4");
        row("and bytes without a character", "81", TextEncoding::Windows1252, u"\uFFFD");
        row("UTF-8", "c3a4e282ac", TextEncoding::Utf8, u"\u00E4\u20AC");
        row("bytes outside UTF-8 are not guessed at", "61e4", TextEncoding::Utf8, u"a\uFFFD");
        row("UTF-16, the lower byte first", "e400ac20", TextEncoding::Utf16LittleEndian, u"\u00E4\u20AC");
        row("UTF-16, the higher byte first", "00e420ac", TextEncoding::Utf16BigEndian, u"\u00E4\u20AC");
        row("half a code unit is dropped", "00e420", TextEncoding::Utf16BigEndian, u"\u00E4");
        row("Mac OS", "808aa5db", TextEncoding::MacRoman, u"\u00C4\u00E4\u2022\u20AC");
        row("DOS", "8484b3e1", TextEncoding::CodePage437, u"\u00E4\u00E4\u2502\u00DF");
        row("ASCII is ASCII", "417e", TextEncoding::MacRoman, u"A~");
        row("zeros at the end are none of the text", "41000000", TextEncoding::MacRoman, u"A");
        row("also those of two bytes", "00410000", TextEncoding::Utf16BigEndian, u"A");
        row("others are points", "410042", TextEncoding::CodePage437, u"A.B");
        row("and so are control characters", "1b7f", TextEncoding::CodePage437, u"..");
        row("of Latin-1 too", "9b", TextEncoding::Latin1, u".");
        row("no bytes, no text", "", TextEncoding::MacRoman, u"");
    }
    void text()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, encoding);
        QFETCH(QString, expected);
        QCOMPARE(decodedText(bytes, TextEncoding(encoding)), expected);
    }

    void theCLibraryAgrees_data()
    {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<QByteArray>("name");

        QTest::newRow("CP437") << int(TextEncoding::CodePage437) << QByteArray("CP437");
        QTest::newRow("Mac OS Roman") << int(TextEncoding::MacRoman) << QByteArray("MACINTOSH");
        QTest::newRow("Windows-1252") << int(TextEncoding::Windows1252) << QByteArray("CP1252");
    }
    void theCLibraryAgrees()
    {
        QFETCH(int, encoding);
        QFETCH(QByteArray, name);
        const iconv_t converter = iconv_open("UTF-16LE", name.constData());
        if (converter == iconv_t(-1)) // NOLINT: that is how iconv says it
            QSKIP("the C library has no such conversion installed");
        for (int code = 0x80; code <= 0xFF; ++code) {
            // The C library's table of Mac OS is older: a Greek letter for the increment, its own place for the apple.
            if (TextEncoding(encoding) == TextEncoding::MacRoman && (code == 0xC6 || code == 0xF0))
                continue;
            char byte = char(code);
            char *from = &byte;
            size_t fromSize = 1;
            char16_t unit = 0;
            char *to = reinterpret_cast<char *>(&unit);
            size_t toSize = sizeof unit;
            if (iconv(converter, &from, &fromSize, &to, &toSize) != 0)
                unit = QChar::ReplacementCharacter; // a byte without a character
            QCOMPARE(decodedText(QByteArray(1, byte), TextEncoding(encoding)), QString(QChar(unit)));
        }
        iconv_close(converter);
    }
};

QTEST_APPLESS_MAIN(TestTextEncoding)
#include "tst_textencoding.moc"
