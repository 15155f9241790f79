// Headers of payload that encoders hardly ever write, and those that are cut off or too long. Expected numbers were
// taken from the standards' tables by hand.
#include "bitstring.h"
#include "payloadh264.h"
#include "payloadjpeg.h"
#include "payloadmpeg4.h"
#include "payloadtext.h"

#include <QTest>

using namespace quenlofar;
using namespace payload;

namespace {

/// A video object layer of 25 ticks and this shape; version 2 where `extension` has any bits.
QByteArray shapedLayer(const char *shape, const char *extension)
{
    const bool isSecond = *extension != '\0';
    BitString bits;
    bits.text("0").bits(8, 1).text("1").bits(4, isSecond ? 2 : 1).bits(3, 1).bits(4, 1).text("0");
    bits.text(shape).text(extension).text("1").bits(16, 25).text("1 0 1");
    return QByteArray::fromHex("00000120") + bits.bytes();
}

/// What is behind the picture order of a set of the Baseline profile: 64 by 48 pixels, not cropped.
const char *const plainPictures = "010 0 00100 011 1 1 0 0 1";

/// The size that a set of the Baseline profile with this order and these pictures states.
QString baselineSize(const char *order, const char *pictures)
{
    BitString bits;
    bits.bits(8, 66).bits(16, 30).text("1 1").text(order).text(pictures);
    const QByteArray bytes = bits.bytes();
    return sizeText(readSequenceSize(view(bytes)));
}

/// The size that a set of profile High 4:4:4 with these fields states, cropped by 1 at the left and at the bottom.
QString fullColorSize(const char *separate, const char *scaling)
{
    BitString bits;
    bits.bits(8, 244).bits(16, 0x0028).text("1 00100").text(separate).text("1 1 0").text(scaling);
    bits.text("1 1 1 010 0 00100 011 1 1 1 010 1 1 010 0 1");
    const QByteArray bytes = bits.bytes();
    return sizeText(readSequenceSize(view(bytes)));
}

/// A unit of supplemental information of these messages.
QByteArray supplement(const QByteArray &messages)
{
    return QByteArray(1, '\x06') + messages;
}

/// A slice of this slice_type, an Exp-Golomb code, that is no IDR picture.
QByteArray sliceOf(const char *kind)
{
    return QByteArray(1, '\x61') + BitString().text("1").text(kind).bytes() + payload::filling(20);
}

} // namespace

class TestRareHeaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mpeg4_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("headers");
        const auto row = [](const char *name, const QByteArray &bytes, const char *headers) {
            QTest::newRow(name) << bytes << QString::fromLatin1(headers);
        };
        using payload::plane;
        const QByteArray user = QByteArray::fromHex("000001b2") + "u";
        const QByteArray start = QByteArray::fromHex("000001b6");
        const QByteArray fine = QByteArray::fromHex("00000120") + BitString().text("0").bits(8, 0x12).bytes();
        // Without the layer nobody knows how long the time is, so vop_coded is not looked at.
        row("fine granularity has another syntax", fine + plane(0, 0, false), "layer 0x0 key");
        // Five bits of time: whether the frame is coded is read where it stands.
        row("a shape of grey values", shapedLayer("11", "0010") + plane(0), "layer 0x0 key");
        row("a shape of grey values, not coded", shapedLayer("11", "0010") + plane(0, 0, false), "layer 0x0 unknown");
        row("a shape of grey values in version 1", shapedLayer("11", "") + plane(0), "layer 0x0 key");
        row("a shape of grey values in version 1, not coded", shapedLayer("11", "") + plane(0, 0, false),
            "layer 0x0 unknown");
        row("a binary shape", shapedLayer("01", "") + plane(1), "layer 0x0 dependent");

        BitString late; // 250 seconds after the frame before, coded
        late.text("00");
        for (int second = 0; second < 250; ++second)
            late.text("1");
        late.text("0 1").bits(5, 3).text("1 1");
        row("four minutes later", payload::layer(8, 4) + start + late.bytes(), "layer 8x4 key");
        row("years later", payload::layer(8, 4) + start + QByteArray(1, '\x3F') + QByteArray(100, '\xFF'),
            "layer 8x4 unknown");
        row("a plane without bits", payload::layer(8, 4) + start, "layer 8x4 unknown");
        row("much before the plane", user.repeated(250) + plane(0), "0x0 key");
        row("more than anybody writes before the plane", user.repeated(300) + plane(0), "0x0 unknown");
    }
    void mpeg4()
    {
        QFETCH(QByteArray, bytes);
        int timeBits = 0;
        const Mpeg4Headers headers = readMpeg4Headers(view(bytes), &timeBits);
        const QString text = (headers.hasLayer ? QStringLiteral("layer ") : QString()) + sizeText(headers.size)
            + QLatin1Char(' ') + startText(headers.start);
        QTEST(text, "headers");
    }

    void h264Orders()
    {
        QCOMPARE(baselineSize("1 1", plainPictures), QStringLiteral("64x48"));
        // pic_order_cnt_type 1: a flag, two offsets (0 and 1), and two offsets of frames (1 and -1).
        QCOMPARE(baselineSize("010 0 1 010 011 010 011", plainPictures), QStringLiteral("64x48"));
        QCOMPARE(baselineSize("010 0 1 010 1", plainPictures), QStringLiteral("64x48")); // of no frames
        QCOMPARE(baselineSize("010 0 1 010 011 010", ""), QStringLiteral("0x0")); // which ends in them
        QCOMPARE(baselineSize("011", plainPictures), QStringLiteral("64x48"));
    }

    void h264SizesThatCannotBe()
    {
        // 2048 macroblocks across (ue 2047: 11 zeros, then 2048) are 32768 pixels; 4097 of them are 65552.
        QCOMPARE(baselineSize("011", "010 0 00000000000100000000000 011 1 1 0 0 1"), QStringLiteral("32768x48"));
        QCOMPARE(baselineSize("011", "010 0 0000000000001000000000001 011 1 1 0 0 1"), QStringLiteral("0x0"));
        QCOMPARE(baselineSize("011", "010 0 00100 0000000000001000000000001 1 1 0 0 1"), QStringLiteral("0x0"));
        // Cropped by 31 times 2 pixels (ue 31: 5 zeros, then 32) two are left, by 32 times none.
        QCOMPARE(baselineSize("011", "010 0 00100 011 1 1 1 1 00000100000 1 1 0 1"), QStringLiteral("2x48"));
        QCOMPARE(baselineSize("011", "010 0 00100 011 1 1 1 1 00000100001 1 1 0 1"), QStringLiteral("0x0"));
        // 23 times 2 lines, and 24.
        QCOMPARE(baselineSize("011", "010 0 00100 011 1 1 1 1 1 1 000011000 0 1"), QStringLiteral("64x2"));
        QCOMPARE(baselineSize("011", "010 0 00100 011 1 1 1 1 1 1 000011001 0 1"), QStringLiteral("0x0"));
    }

    void h264FullColor()
    {
        QCOMPARE(fullColorSize("0", "0"), QStringLiteral("63x47"));
        QCOMPARE(fullColorSize("1", "0"), QStringLiteral("63x47"));
        // Twelve lists, none of them there; and one of 64 differences that are 0.
        QCOMPARE(fullColorSize("0", "1 000000000000"), QStringLiteral("63x47"));
        const QByteArray list = "1 000000 1" + QByteArray(64, '1') + "00000";
        QCOMPARE(fullColorSize("0", list.constData()), QStringLiteral("63x47"));
        const QByteArray small = "1 1" + QByteArray(16, '1') + "00000000000";
        QCOMPARE(fullColorSize("0", small.constData()), QStringLiteral("63x47"));
    }

    void h264_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("lengthSize");
        QTest::addColumn<QString>("headers");
        const auto row = [](const char *name, const QByteArray &bytes, int lengthSize, const char *headers) {
            QTest::newRow(name) << bytes << lengthSize << QString::fromLatin1(headers);
        };
        using namespace payload;
        const QByteArray idr = slice(5, 7);
        const QByteArray intra = slice(1, 7);
        // slice_type 1, 3, 4 and 9: B, SP, SI, and SI of which all slices of the picture are.
        row("B slice", startCodes({sliceOf("010")}), 0, "dependent");
        row("SP slice", startCodes({sliceOf("00100")}), 0, "dependent");
        row("SI slice", startCodes({sliceOf("00101")}), 0, "intra");
        row("SI slices", startCodes({sliceOf("0001010")}), 0, "intra");
        row("a slice that ends early", startCodes({QByteArray::fromHex("6100")}), 0, "dependent");

        const QByteArray recovery = recoveryPoint(0).mid(1);
        const QByteArray other = QByteArray::fromHex("0500"); // a message without bytes
        row("some messages before", startCodes({supplement(other.repeated(60) + recovery), intra}), 0, "key");
        row("too many messages before", startCodes({supplement(other.repeated(64) + recovery), intra}), 0, "intra");
        // A type of 255 and 6, which is another one, and a size of 255 and 1.
        row("numbers above 255",
            startCodes({supplement(QByteArray::fromHex("ff06ff01") + filling(256) + recovery), intra}), 0, "key");
        row("a type that does not end", startCodes({supplement(QByteArray::fromHex("ffff")), intra}), 0, "intra");
        row("a recovery point that ends early", startCodes({supplement(QByteArray::fromHex("0601")), intra}), 0,
            "intra");
        row("a message longer than its unit", startCodes({supplement(QByteArray::fromHex("0540aa")), intra}), 0,
            "intra");

        const QByteArray delimiter = QByteArray::fromHex("09f0");
        row("a unit of one byte", startCodes({QByteArray::fromHex("09"), idr}), 0, "key");
        row("many units before", QByteArray(startCodes({delimiter})).repeated(200) + startCodes({idr}), 0, "key");
        row("too many units before", QByteArray(startCodes({delimiter})).repeated(256) + startCodes({idr}), 0,
            "unknown");
        row("many lengths before", QByteArray(lengths({delimiter})).repeated(200) + lengths({idr}), 4, "key");
        row("too many lengths before", QByteArray(lengths({delimiter})).repeated(256) + lengths({idr}), 4, "unknown");
        row("a length of 0", zerosAnd(lengths({idr})), 4, "unknown");
        row("a forbidden bit", lengths({QByteArray(1, '\xE5') + idr.mid(1)}), 4, "unknown");
        row("bytes behind that are no unit", lengths({delimiter}) + "abc", 4, "unknown");
        row("fewer bytes than a length has", QByteArray("abc"), 4, "unknown");
    }
    void h264()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, lengthSize);
        const H264Framing framing{lengthSize, lengthSize != 0};
        QTEST(startText(readH264Headers(view(bytes), size_t(bytes.size()), framing).start), "headers");
    }

    void h264Records()
    {
        const auto read = [](const QByteArray &bytes) {
            H264Framing framing;
            const H264Headers headers = readH264Setup(view(bytes), &framing);
            return QStringLiteral("%1 %2").arg(framing.lengthSize).arg(sizeText(headers.size));
        };
        const QByteArray set = payload::sequenceSet();
        const QByteArray counted = QByteArray(1, '\0') + char(set.size()) + set;
        const QByteArray ids = QByteArray(1, '\0') + '\x02' + QByteArray::fromHex("09f0");
        // lengthSizeMinusOne 1, two sets, of which the second has the size.
        QCOMPARE(read(QByteArray::fromHex("0142001efde2") + ids + counted), QStringLiteral("2 64x48"));
        QCOMPARE(read(QByteArray::fromHex("0142001efde2") + ids), QStringLiteral("2 0x0")); // the second is not there
        QCOMPARE(read(QByteArray::fromHex("0142001efde1") + QByteArray::fromHex("00ff") + set),
                 QStringLiteral("2 0x0")); // longer than the record
        QCOMPARE(read(QByteArray::fromHex("0142001efde0") + counted), QStringLiteral("2 0x0")); // none
    }

    void jpeg()
    {
        const auto size = [](const QByteArray &bytes) { return sizeText(readJpegHeaders(view(bytes)).size); };
        const QByteArray picture = payload::jpeg(8, 16).mid(2);
        const QByteArray start = QByteArray::fromHex("ffd8");
        // TEM and a restart marker stand without a length.
        QCOMPARE(size(start + QByteArray::fromHex("ff01ffd0") + picture), QStringLiteral("8x16"));
        QCOMPARE(size(start + QByteArray::fromHex("ffd9") + picture), QStringLiteral("0x0"));
        QCOMPARE(size(start + QByteArray::fromHex("00d9") + picture), QStringLiteral("0x0"));
        // The first header of a frame counts; what is not a segment of a frame or of tables is passed over.
        const QByteArray other = payload::jpeg(64, 48).mid(2, 13);
        QCOMPARE(size(start + other + picture), QStringLiteral("64x48"));
        QCOMPARE(size(start + QByteArray::fromHex("ffe00004aabbffdb0003cc") + picture), QStringLiteral("8x16"));
        QCOMPARE(size(start + QByteArray::fromHex("ffc00004aabb")), QStringLiteral("0x0")); // too short
    }

private:
    static QByteArray zerosAnd(const QByteArray &bytes) { return QByteArray(4, '\0') + '\x09' + bytes; }
};

QTEST_APPLESS_MAIN(TestRareHeaders)
#include "tst_rareheaders.moc"
