#include "filepath.h"

#include <QTest>

#include <random>
#include <string_view>

using namespace quenlofar;

class TestFilePath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thereAndBack_data();
    void thereAndBack();
    void textsOfOtherOrigin_data();
    void textsOfOtherOrigin();
    void anyBytesSurvive();
    void nothingBehindTheEndIsLookedAt();
};

namespace {

QString utf16(std::u16string_view units)
{
    return QString(reinterpret_cast<const QChar *>(units.data()), int(units.size()));
}

/// A lone surrogate cannot be written in a literal.
QString unit(char16_t value)
{
    return QString(QChar(value));
}

} // namespace

void TestFilePath::thereAndBack_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("display");

    const QByteArray replaced("\xEF\xBF\xBD");

    QTest::newRow("nothing") << QByteArray() << QString() << QByteArray();
    QTest::newRow("ASCII is itself") << QByteArray("/tmp/a b.avi") << utf16(u"/tmp/a b.avi")
                                     << QByteArray("/tmp/a b.avi");
    QTest::newRow("UTF-8 of two, three and four bytes")
        << QByteArray("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC") << utf16(u"\u00E9\u20AC\U0001F3AC")
        << QByteArray("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC");
    QTest::newRow("a byte-order mark stays")
        << QByteArray("\xEF\xBB\xBFx") << utf16(u"\uFEFFx") << QByteArray("\xEF\xBB\xBFx");
    QTest::newRow("U+FFFD in the name stays") << QByteArray("\xEF\xBF\xBD") << utf16(u"\uFFFD") << replaced;
    QTest::newRow("a zero byte stays, for the one who opens to refuse")
        << QByteArray("a\0b", 3) << QString(utf16(std::u16string_view(u"a\0b", 3))) << QByteArray("a\0b", 3);
    QTest::newRow("a Latin-1 byte is one lone surrogate")
        << QByteArray("caf\xE9.avi") << QString(utf16(u"caf") + unit(0xDCE9) + utf16(u".avi"))
        << QByteArray("caf" + replaced + ".avi");
    QTest::newRow("the first and the last escaped byte")
        << QByteArray("\x80\xFF") << QString(unit(0xDC80) + unit(0xDCFF)) << QByteArray(replaced + replaced);
    QTest::newRow("a cut-off sequence is escaped byte by byte")
        << QByteArray("\xE2\x82") << QString(unit(0xDCE2) + unit(0xDC82)) << QByteArray(replaced + replaced);
    QTest::newRow("a wrong byte inside a sequence does not swallow what follows")
        << QByteArray("\xE2\x82z") << QString(unit(0xDCE2) + unit(0xDC82) + utf16(u"z"))
        << QByteArray(replaced + replaced + "z");
    QTest::newRow("overlong forms are escaped")
        << QByteArray("\xC0\xAF") << QString(unit(0xDCC0) + unit(0xDCAF)) << QByteArray(replaced + replaced);
    QTest::newRow("an encoded surrogate is three escaped bytes")
        << QByteArray("\xED\xB2\x80") << QString(unit(0xDCED) + unit(0xDCB2) + unit(0xDC80))
        << QByteArray(replaced + replaced + replaced);
    QTest::newRow("an escaped byte after a surrogate pair does not join it")
        << QByteArray("\xF0\x9F\x8E\xAC\xFF") << QString(utf16(u"\U0001F3AC") + unit(0xDCFF))
        << QByteArray("\xF0\x9F\x8E\xAC" + replaced);
}

void TestFilePath::thereAndBack()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, path);
    QFETCH(QByteArray, display);
    QCOMPARE(pathFromBytes(bytes), path);
    QCOMPARE(pathToBytes(path), bytes);
    QCOMPARE(pathForDisplay(path), display);
}

void TestFilePath::textsOfOtherOrigin_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("display");

    const QByteArray replaced("\xEF\xBF\xBD");

    QTest::newRow("a lone high surrogate stands for no byte") << unit(0xD83C) << replaced << replaced;
    QTest::newRow("a high surrogate before a letter")
        << QString(unit(0xD83C) + utf16(u"x")) << QByteArray(replaced + "x") << QByteArray(replaced + "x");
    QTest::newRow("low surrogates that stand for no byte")
        << QString(unit(0xDC7F) + unit(0xDD00)) << QByteArray(replaced + replaced) << QByteArray(replaced + replaced);
    QTest::newRow("a pair whose second half looks like an escaped byte is a pair")
        << QString(unit(0xD83C) + unit(0xDC80)) << QByteArray("\xF0\x9F\x82\x80") << QByteArray("\xF0\x9F\x82\x80");
    QTest::newRow("the largest code point")
        << utf16(u"\U0010FFFF") << QByteArray("\xF4\x8F\xBF\xBF") << QByteArray("\xF4\x8F\xBF\xBF");
    QTest::newRow("the limits of the lengths")
        << utf16(u"\u007F\u0080\u07FF\u0800\uFFFF\U00010000")
        << QByteArray("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80")
        << QByteArray("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80");
}

void TestFilePath::textsOfOtherOrigin()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, display);
    QCOMPARE(pathToBytes(path), bytes);
    QCOMPARE(pathForDisplay(path), display);
}

void TestFilePath::anyBytesSurvive()
{
    std::mt19937 random(20240229);
    // Bytes that begin, continue and break sequences, more often than chance would have them.
    const QByteArray telling("\x7F\x80\xA0\xBF\xC2\xDC\xE0\xED\xEF\xF0\xF4\xFF/a\xBB\xBD");
    for (int round = 0; round < 50000; ++round) {
        QByteArray bytes;
        for (auto rest = random() % 12; rest > 0; --rest) {
            const auto draw = random();
            bytes.append(draw % 3 == 0 ? char(uchar(draw >> 8)) : telling.at(int((draw >> 8) % 16)));
        }
        if (pathToBytes(pathFromBytes(bytes)) != bytes)
            QFAIL(bytes.toHex().constData());
    }
}

void TestFilePath::nothingBehindTheEndIsLookedAt()
{
    const QByteArray accent("\xC3\xA9");
    QCOMPARE(pathFromBytes(QByteArray::fromRawData(accent.constData(), 1)), unit(0xDCC3));
    const QString pair = utf16(u"\U0001F3AC");
    QCOMPARE(pathToBytes(QString::fromRawData(pair.constData(), 1)), QByteArray("\xEF\xBF\xBD"));
}

QTEST_APPLESS_MAIN(TestFilePath)
#include "tst_filepath.moc"
