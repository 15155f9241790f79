#include "fieldlayout.h"

#include <QTest>

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
    void readsNumbersOfAnyWidth();
    void storedNumbers_data();
    void storedNumbers();
    void textRowsHaveAnEncoding();
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
    QCOMPARE(widthOf(FieldKind::I8), 1);
    QCOMPARE(widthOf(FieldKind::U24), 3);
    QCOMPARE(widthOf(FieldKind::F32), 4);
    QCOMPARE(widthOf(FieldKind::I64), 8);
    QCOMPARE(widthOf(FieldKind::F64), 8);
    QCOMPARE(widthOf(FieldKind::F80), 10);
    QCOMPARE(widthOf(FieldKind::Text), 0);
    QCOMPARE(widthOf(FieldKind::Hex), 0);
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
    QCOMPARE(fieldText(record, 0, FieldKind::U24), QStringLiteral("66051"));
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
    row("8 bits, signed", "80", 0, FieldKind::I8, QStringLiteral("-128"));
    row("24 bits, unsigned", "010203ff", 0, FieldKind::U24, QStringLiteral("197121"));
    row("24 bits, the largest", "ffffff", 0, FieldKind::U24, QStringLiteral("16777215"));
    row("64 bits, signed", "0000000000000080", 0, FieldKind::I64, QStringLiteral("-9223372036854775808"));
    row("a float is as short as it can be", "cdcccc3d", 0, FieldKind::F32, QStringLiteral("0.1"));
    row("a float without a fraction", "0000c8c2", 0, FieldKind::F32, QStringLiteral("-100"));
    row("an infinite float", "0000807f", 0, FieldKind::F32, QStringLiteral("inf"));
    row("a double is as short as it can be", "9a9999999999b93f", 0, FieldKind::F64, QStringLiteral("0.1"));
    row("a double of seventeen digits", "182d4454fb210940", 0, FieldKind::F64, QStringLiteral("3.141592653589793"));
    row("a double that is no number", "000000000000f87f", 0, FieldKind::F64, QStringLiteral("nan"));
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

    // As AIFF files hold sample rates; the document of the format gives the bytes of 44100 in an example.
    const auto extended = [](const char *name, const char *hex, const QString &expected) {
        QByteArray bytes = QByteArray::fromHex(hex);
        QTest::newRow(name) << bytes << 0 << int(FieldKind::F80) << expected << -1;
        std::reverse(bytes.begin(), bytes.end());
        QTest::newRow(qPrintable(QString::fromLatin1(name) + QStringLiteral(", little-endian")))
            << bytes << 0 << int(FieldKind::F80) << expected << 0;
    };
    extended("80 bits: 44100", "400eac44000000000000", QStringLiteral("44100"));
    extended("80 bits: -1.5", "bfffc000000000000000", QStringLiteral("-1.5"));
    extended("80 bits: zero", "00000000000000000000", QStringLiteral("0"));
    extended("80 bits: infinite", "ffff8000000000000000", QStringLiteral("-inf"));
    extended("80 bits: no number", "7fffc000000000000000", QStringLiteral("nan"));
    // 2^16383, the largest power of two of the format: 2^63 times 2^16320.
    extended("80 bits: larger than any double", "7ffe8000000000000000", QStringLiteral("0x8000000000000000p16320"));
    extended("80 bits: smaller than any double", "80018000000000000000", QStringLiteral("-0x8000000000000000p-16445"));
}

void TestFieldLayout::text()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, at);
    QFETCH(int, kind);
    QFETCH(QString, expected);
    QFETCH(int, width);
    // A width of -1 says that the bytes are big-endian.
    const ByteOrder order = width < 0 ? ByteOrder::BigEndian : ByteOrder::LittleEndian;
    const RecordView record(bytes.constData(), size_t(bytes.size()), order);
    QCOMPARE(fieldText(record, size_t(at), FieldKind(kind), width), expected);
}

void TestFieldLayout::readsNumbersOfAnyWidth()
{
    const char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const RecordView little(bytes, sizeof bytes);
    const RecordView big(bytes, sizeof bytes, ByteOrder::BigEndian);
    QCOMPARE(little.readUnsigned(0, 3), Q_UINT64_C(0x030201));
    QCOMPARE(big.readUnsigned(0, 3), Q_UINT64_C(0x010203));
    QCOMPARE(little.readUnsigned(1, 5), Q_UINT64_C(0x0605040302));
    QCOMPARE(big.readUnsigned(0, 8), Q_UINT64_C(0x0102030405060708));
    // Bytes past the end are zero.
    QCOMPARE(little.readUnsigned(7, 3), Q_UINT64_C(8));
    QCOMPARE(big.readUnsigned(7, 3), Q_UINT64_C(0x080000));
    QCOMPARE(big.byteOrder(), ByteOrder::BigEndian);
}

void TestFieldLayout::storedNumbers_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("8 bits") << int(FieldKind::U8) << qint64(0xFE);
    QTest::newRow("8 bits, signed") << int(FieldKind::I8) << qint64(-2);
    QTest::newRow("16 bits") << int(FieldKind::U16) << qint64(0xFFFE);
    QTest::newRow("16 bits, signed") << int(FieldKind::I16) << qint64(-2);
    QTest::newRow("24 bits") << int(FieldKind::U24) << qint64(0xFFFFFE);
    QTest::newRow("32 bits") << int(FieldKind::U32) << qint64(0xFFFFFFFE);
    QTest::newRow("32 bits, signed") << int(FieldKind::I32) << qint64(-2);
    QTest::newRow("64 bits, signed") << int(FieldKind::I64) << qint64(-2);
    QTest::newRow("not an integer") << int(FieldKind::F32) << qint64(0);
}

void TestFieldLayout::storedNumbers()
{
    QFETCH(int, kind);
    QFETCH(qint64, expected);
    const QByteArray bytes = QByteArray::fromHex("00feffffffffffffff");
    QCOMPARE(qint64(storedNumber(RecordView(bytes), {u"n", 1, FieldKind(kind)})), expected);
    QCOMPARE(qint64(storedNumber(RecordView(bytes), {u"n", 0, FieldKind(kind), nullptr, {}, 1})), expected);
}

void TestFieldLayout::textRowsHaveAnEncoding()
{
    constexpr FieldRow row = textRow(u"name", 2, 3, TextEncoding::MacRoman);
    static_assert(row.width() == 3 && row.kind == FieldKind::Text);
    QCOMPARE(fieldText(RecordView("..\x80\x8A.", 5), 2, row.kind, row.width(), row.encoding),
             QString::fromUtf16(u"\u00C4\u00E4."));
}

QTEST_APPLESS_MAIN(TestFieldLayout)
#include "tst_fieldlayout.moc"
