#include "fieldlayout.h"

#include <QtTest>

using namespace quenlofar;

namespace {

constexpr FieldRow threeRows[] = {{u"a", 4, FieldKind::U16}, {u"b", 6, FieldKind::U8}, {u"c", 7, FieldKind::U64}};
static_assert(tiles(threeRows, 4, 15));
static_assert(!tiles(threeRows, 3, 15), "a gap at the beginning");
static_assert(!tiles(threeRows, 4, 16), "a gap at the end");
static_assert(!tiles(threeRows, 4, 14), "a row beyond the end");

constexpr FieldRow gap[] = {{u"a", 0, FieldKind::U16}, {u"b", 3, FieldKind::U8}};
static_assert(!tiles(gap, 0, 4), "a gap inside");
constexpr FieldRow overlap[] = {{u"a", 0, FieldKind::U32}, {u"b", 3, FieldKind::U8}};
static_assert(!tiles(overlap, 0, 4), "an overlap");
constexpr FieldRow displaced[] = {{u"a", 0, FieldKind::U16, nullptr, {}, 14}};
static_assert(tiles(displaced, 0, 2), "where a value is read from does not matter");

constexpr FieldRow wide[] = {textRow(u"a", 0, 10), textRow(u"b", 10, 3, FieldKind::Hex), {u"c", 13, FieldKind::Guid}};
static_assert(tiles(wide, 0, 29), "texts are as wide as their rows say");

static_assert(FieldRows(wide).width() == 29 && FieldRows(threeRows).width() == 15, "up to the end of the last field");
static_assert(FieldRows().isEmpty() && FieldRows().width() == 0);

constexpr FlagName flags[] = {{0x1, u"ONE"}, {0x2, u"TWO"}, {0xF0, u"HIGH"}};

} // namespace

class TestFieldLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void widths();
    void readsLittleEndian();
    void readsBigEndian();
    void lendsBytes();
    void text_data();
    void text();
    void flagTexts_data();
    void flagTexts();
};

void TestFieldLayout::widths()
{
    QCOMPARE(widthOf(FieldKind::U8), 1);
    QCOMPARE(widthOf(FieldKind::U16), 2);
    QCOMPARE(widthOf(FieldKind::I16), 2);
    QCOMPARE(widthOf(FieldKind::U32), 4);
    QCOMPARE(widthOf(FieldKind::I32), 4);
    QCOMPARE(widthOf(FieldKind::U64), 8);
    QCOMPARE(widthOf(FieldKind::FourCC), 4);
    QCOMPARE(widthOf(FieldKind::Words3), 12);
    QCOMPARE(widthOf(FieldKind::Words4), 16);
    QCOMPARE(widthOf(FieldKind::Guid), 16);
    QCOMPARE(wide[0].width(), 10);
    QCOMPARE(wide[2].width(), 16);
}

void TestFieldLayout::readsLittleEndian()
{
    const char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const RecordView record(bytes, sizeof bytes);
    QCOMPARE(record.size(), size_t(8));
    QCOMPARE(record.read<quint8>(7), quint8(8));
    QCOMPARE(record.read<quint16>(1), quint16(0x0302));
    QCOMPARE(record.read<quint32>(4), 0x08070605u);
    QCOMPARE(record.read<quint64>(0), Q_UINT64_C(0x0807060504030201));
    // Bytes past the end are zero.
    QCOMPARE(record.read<quint32>(6), 0x00000807u);
    QCOMPARE(record.read<quint64>(8), Q_UINT64_C(0));
    QCOMPARE(record.read<quint16>(1000), quint16(0));
}

void TestFieldLayout::readsBigEndian()
{
    const char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const RecordView record(bytes, sizeof bytes, ByteOrder::BigEndian);
    QCOMPARE(record.read<quint16>(1), quint16(0x0203));
    QCOMPARE(record.read<quint32>(4), 0x05060708u);
    QCOMPARE(record.read<quint64>(0), Q_UINT64_C(0x0102030405060708));
    QCOMPARE(record.read<quint32>(6), 0x07080000u);
    QCOMPARE(fieldText(record, 0, FieldKind::I16), QStringLiteral("258"));
    QCOMPARE(fieldText(record, 0, FieldKind::Words3), QStringLiteral("16909060 84281096 0"));
}

void TestFieldLayout::lendsBytes()
{
    const char bytes[] = {1, 2, 3, 4};
    const RecordView record(bytes, sizeof bytes);
    QCOMPARE(record.lentBytes(1, 2), QByteArray("\2\3"));
    QCOMPARE(static_cast<const void *>(record.lentBytes(1, 2).constData()), static_cast<const void *>(bytes + 1));
    QCOMPARE(record.lentBytes(3, 1000), QByteArray("\4"));
    QCOMPARE(record.lentBytes(4, 1), QByteArray());
}

void TestFieldLayout::text_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("at");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("width");

    const auto row = [](const char *name, const char *hex, int at, FieldKind kind, const QString &expected,
                        int width = 0) {
        QTest::newRow(name) << QByteArray::fromHex(hex) << at << int(kind) << expected << width;
    };
    row("8 bits are unsigned", "ff", 0, FieldKind::U8, QStringLiteral("255"));
    row("16 bits, unsigned", "ffff", 0, FieldKind::U16, QStringLiteral("65535"));
    row("16 bits, signed", "feff", 0, FieldKind::I16, QStringLiteral("-2"));
    row("16 bits, signed and positive", "ff7f", 0, FieldKind::I16, QStringLiteral("32767"));
    row("32 bits, unsigned", "ffffffff", 0, FieldKind::U32, QStringLiteral("4294967295"));
    row("32 bits, signed", "00000080", 0, FieldKind::I32, QStringLiteral("-2147483648"));
    row("64 bits, unsigned", "ffffffffffffffff", 0, FieldKind::U64, QStringLiteral("18446744073709551615"));
    row("read at a distance", "000a00", 1, FieldKind::U16, QStringLiteral("10"));
    row("read partly past the end: zeros", "ff", 0, FieldKind::U32, QStringLiteral("255"));
    row("four characters", "58564944", 0, FieldKind::FourCC, QStringLiteral("XVID"));
    row("a zero byte ends four characters", "58005644", 0, FieldKind::FourCC, QStringLiteral("X"));
    row("four zero bytes are no text", "00000000", 0, FieldKind::FourCC, QString());
    row("characters past the end: none", "5856", 0, FieldKind::FourCC, QStringLiteral("XV"));
    row("characters all past the end: none", "5856", 2, FieldKind::FourCC, QString());
    row("four characters are Latin-1", "e9ff807f", 0, FieldKind::FourCC,
        QString::fromUtf16(u"\u00e9\u00ff\u0080\u007f"));
    row("three words", "010000000200000003000000", 0, FieldKind::Words3, QStringLiteral("1 2 3"));
    row("four words", "01000000ffffffff0300000004000000", 0, FieldKind::Words4, QStringLiteral("1 4294967295 3 4"));
    row("a GUID: three little-endian numbers, then bytes", "0100000000001000800000aa00389b71", 0, FieldKind::Guid,
        QStringLiteral("{00000001-0000-0010-8000-00aa00389b71}"));
    row("a GUID that is cut off: zeros", "ff01020304", 0, FieldKind::Guid,
        QStringLiteral("{030201ff-0004-0000-0000-000000000000}"));
    row("a text is as long as its row says", "78414243440000", 1, FieldKind::Text, QStringLiteral("ABC"), 3);
    row("a text ends with its record", "7841", 1, FieldKind::Text, QStringLiteral("A"), 100);
    row("a text's zeros at the end are none of it", "41420000", 0, FieldKind::Text, QStringLiteral("AB"), 4);
    row("hexadecimal digits", "0001ff00", 1, FieldKind::Hex, QStringLiteral("01 ff 00"), 3);
    row("hexadecimal, all zero: digits too", "00000000", 0, FieldKind::Hex, QStringLiteral("00 00 00 00"), 4);
    row("hexadecimal digits end with the record", "0102", 1, FieldKind::Hex, QStringLiteral("02"), 4);
    row("no bytes, no digits", "0102", 2, FieldKind::Hex, QString(), 4);
    row("a text of zeros is empty", "00000000", 0, FieldKind::Text, QString(), 4);
}

void TestFieldLayout::text()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, at);
    QFETCH(int, kind);
    QFETCH(QString, expected);
    QFETCH(int, width);
    const RecordView record(bytes.constData(), size_t(bytes.size()));
    QCOMPARE(fieldText(record, size_t(at), FieldKind(kind), width), expected);
}

void TestFieldLayout::flagTexts_data()
{
    QTest::addColumn<quint32>("value");
    QTest::addColumn<QString>("expected");

    QTest::newRow("none") << 0u << QString();
    QTest::newRow("only a bit without a name") << 0x100u << QString();
    QTest::newRow("one: no separator") << 0x2u << QStringLiteral("TWO");
    QTest::newRow("table order") << 0x3u << QStringLiteral("ONE, TWO");
    QTest::newRow("any bit of a group") << 0x41u << QStringLiteral("ONE, HIGH");
    QTest::newRow("all") << 0xFFFFFFFFu << QStringLiteral("ONE, TWO, HIGH");
}

void TestFieldLayout::flagTexts()
{
    QFETCH(quint32, value);
    QFETCH(QString, expected);
    QCOMPARE(flagNames(value, flags, u", "), expected);
}

QTEST_APPLESS_MAIN(TestFieldLayout)
#include "tst_fieldlayout.moc"
