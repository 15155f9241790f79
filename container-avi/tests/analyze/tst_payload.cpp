// The readers of payload headers. Expected numbers were taken from the standards' tables by hand.
#include "bitstring.h"
#include "payloaddif.h"
#include "payloadh264.h"
#include "payloadjpeg.h"
#include "payloadmpeg4.h"
#include "payloadmpegaudio.h"
#include "payloadtext.h"

#include <QFile>
#include <QTest>
#include <QtEndian>

using namespace quenlofar;
using namespace payload;

namespace {

quint32 code(const char *bitTexts)
{
    const QByteArray bytes = BitString().text(bitTexts).bytes();
    return BitReader(view(bytes)).exponential();
}
qint32 signedCode(const char *bitTexts)
{
    const QByteArray bytes = BitString().text(bitTexts).bytes();
    return BitReader(view(bytes)).signedExponential();
}

/// The size that a sequence parameter set of profile High with these fields states.
CodedSize highSize(const char *chroma, const char *scaling, const char *pictures)
{
    BitString bits;
    bits.bits(8, 100).bits(16, 0x0028).text("1");
    bits.text(chroma).text("1 1 0").text(scaling); // bit depths of 8, no transform bypass
    bits.text("1 1 1 010 0").text(pictures);
    const QByteArray bytes = bits.bytes();
    return readSequenceSize(view(bytes));
}

QString framesText(const MpegAudioFrames::Found &found)
{
    QStringList texts;
    for (const ByteRange &run : found.zeroRuns)
        texts.append(QStringLiteral("zeros %1+%2").arg(run.offset).arg(run.size));
    for (const MpegAudioFrames::Found::Frame &frame : found.frames)
        texts.append(QStringLiteral("%1:%2").arg(frame.offset).arg(frame.header.bitRate / 1000));
    return texts.join(QLatin1Char(' '));
}

/// All that is found in one chunk, fed in pieces.
QString framesIn(MpegAudioFrames &frames, const QByteArray &chunk, bool goOn, int piece, quint64 offset = 0)
{
    QStringList texts;
    frames.beginChunk(goOn);
    for (int at = 0; at < chunk.size(); at += piece) {
        const QByteArray bytes = chunk.mid(at, piece);
        texts.append(framesText(frames.feed(view(bytes), offset + quint64(at))));
    }
    texts.append(framesText(frames.endChunk()));
    texts.removeAll(QString());
    return texts.join(QLatin1Char(' '));
}

/// The first data chunk of a golden file with this id.
QByteArray goldenChunk(const char *name, const QByteArray &id)
{
    QFile file(QStringLiteral(QUENLOFAR_SAMPLES_DIR "/golden/%1.avi").arg(QLatin1String(name)));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    const auto at = bytes.indexOf(id, bytes.indexOf("movi"));
    return bytes.mid(at + 8, int(qFromLittleEndian<quint32>(bytes.constData() + at + 4)));
}

} // namespace

class TestPayload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bitsAreRead()
    {
        const QByteArray bytes = QByteArray::fromHex("a5c3");
        BitReader reader(view(bytes));
        QCOMPARE(reader.bits(4), 10U);
        QVERIFY(!reader.flag());
        reader.skip(2);
        QCOMPARE(reader.bits(9), 0x1C3U);
        QVERIFY(!reader.isPastEnd());
        QCOMPARE(reader.bits(32), 0U);
        QVERIFY(reader.isPastEnd());
    }

    // Tables 9-2 and 9-3 of ITU-T H.264.
    void exponentialCodes()
    {
        QCOMPARE(code("1"), 0U);
        QCOMPARE(code("010"), 1U);
        QCOMPARE(code("011"), 2U);
        QCOMPARE(code("00100"), 3U);
        QCOMPARE(code("00111"), 6U);
        QCOMPARE(code("0001000"), 7U);
        QCOMPARE(signedCode("1"), 0);
        QCOMPARE(signedCode("010"), 1);
        QCOMPARE(signedCode("011"), -1);
        QCOMPARE(signedCode("00100"), 2);
        QCOMPARE(signedCode("00101"), -2);
        const QByteArray zeros(9, '\0');
        BitReader reader(view(zeros));
        reader.exponential();
        QVERIFY(!reader.isPastEnd()); // 32 zeros and 32 bits more
        reader.exponential();
        QVERIFY(reader.isPastEnd());
    }

    void emulationPreventionIsPassedOver()
    {
        const QByteArray bytes = QByteArray::fromHex("0000030100000300");
        BitReader reader(view(bytes), BitReader::Emulation::Prevention);
        QCOMPARE(reader.bits(24), 1U);
        QCOMPARE(reader.bits(24), 0U);
        QVERIFY(!reader.isPastEnd());
        reader.bits(1);
        QVERIFY(reader.isPastEnd());
    }

    void mpegAudioHeaders_data()
    {
        QTest::addColumn<quint32>("word");
        QTest::addColumn<QString>("header");
        const auto row = [](const char *name, quint32 word, const char *header) {
            QTest::newRow(name) << word << QString::fromLatin1(header);
        };
        row("version 1, layer 3, 128 kbit/s, 44100 Hz", 0xFFFB9040, "1/3/128000/44100/2/417");
        row("padded", 0xFFFB9240, "1/3/128000/44100/2/418");
        row("one channel", 0xFFFB90C0, "1/3/128000/44100/1/417");
        row("320 kbit/s, 32000 Hz", 0xFFFBE840, "1/3/320000/32000/2/1440");
        row("version 2, layer 3, 32 kbit/s, 22050 Hz", 0xFFF340C0, "2/3/32000/22050/1/104");
        row("version 2.5, layer 3, 8 kbit/s, 8000 Hz", 0xFFE318C0, "3/3/8000/8000/1/72");
        row("version 1, layer 2, 192 kbit/s, 48000 Hz", 0xFFFDA440, "1/2/192000/48000/2/576");
        row("version 2, layer 2, 64 kbit/s, 24000 Hz", 0xFFF58440, "2/2/64000/24000/2/384");
        row("version 1, layer 1, 128 kbit/s, 44100 Hz", 0xFFFF4040, "1/1/128000/44100/2/136");
        row("version 2, layer 1, 256 kbit/s, 16000 Hz", 0xFFF7E840, "2/1/256000/16000/2/768");
        row("reserved version", 0xFFEB9040, "");
        row("reserved layer", 0xFFF99040, "");
        row("free bit rate", 0xFFFB0040, "");
        row("forbidden bit rate", 0xFFFBF040, "");
        row("reserved sample rate", 0xFFFB9C40, "");
        row("reserved emphasis", 0xFFFB9042, "");
        row("no sync", 0xFFDB9040, "");
    }

    void mpegAudioHeaders()
    {
        QFETCH(quint32, word);
        MpegAudioHeader header;
        QString text;
        if (readMpegAudioHeader(word, &header))
            text = QStringLiteral("%1/%2/%3/%4/%5/%6")
                       .arg(header.version)
                       .arg(header.layer)
                       .arg(header.bitRate)
                       .arg(header.sampleRate)
                       .arg(header.channels)
                       .arg(header.frameSize);
        QTEST(text, "header");
    }

    void mpegAudioFrames_data()
    {
        QTest::addColumn<int>("piece");
        for (const int piece : {1, 2, 3, 5, 417, 1000, 65536})
            QTest::addRow("pieces of %d", piece) << piece;
    }

    void mpegAudioFrames()
    {
        QFETCH(int, piece);
        const QByteArray three = payload::mp3() + payload::mp3(5) + payload::mp3();
        MpegAudioFrames frames;
        // Frames of 417, 208 and 417 bytes. In a chunk of whole frames the last one ends with it.
        QCOMPARE(framesIn(frames, three, false, piece), QStringLiteral("0:128 417:64 625:128"));
        // A stream goes on: the last one is known when the next chunk begins. That one begins with the last 17 bytes
        // of a frame.
        MpegAudioFrames stream;
        QCOMPARE(framesIn(stream, three + payload::mp3().left(400), true, piece),
                 QStringLiteral("0:128 417:64 625:128"));
        QCOMPARE(framesIn(stream, payload::mp3().mid(400) + payload::mp3() + payload::mp3(), true, piece, 2000),
                 QStringLiteral("1042:128 2017:128"));
        // Other bytes before the first frame, and a header without a second one.
        MpegAudioFrames late;
        QCOMPARE(framesIn(late, payload::filling(50) + three, true, piece), QStringLiteral("50:128 467:64"));
        MpegAudioFrames alone;
        QCOMPARE(framesIn(alone, payload::mp3().left(300), false, piece), QString());
    }

    void zerosInMpegAudio_data() { mpegAudioFrames_data(); }

    void zerosInMpegAudio()
    {
        QFETCH(int, piece);
        // 600 zero bytes from 300 on: over the headers at 417 and 834, found again at 1251.
        QByteArray hole = payload::mp3().repeated(5);
        hole.replace(300, 600, QByteArray(600, '\0'));
        MpegAudioFrames frames;
        QCOMPARE(framesIn(frames, hole, true, piece), QStringLiteral("zeros 300+600 1251:128"));
        // A silent frame of 320 kbit/s has 1000 zero bytes and is followed by the next one.
        const QByteArray silent = QByteArray::fromHex("fffbe040") + QByteArray(1040, '\0');
        MpegAudioFrames silence;
        QCOMPARE(framesIn(silence, silent.repeated(3), true, piece), QStringLiteral("0:320 1044:320"));
        // A chunk of nothing else.
        MpegAudioFrames nothing;
        QCOMPARE(framesIn(nothing, QByteArray(700, '\0'), false, piece), QStringLiteral("zeros 0+700"));
        MpegAudioFrames little;
        QCOMPARE(framesIn(little, QByteArray(511, '\0'), false, piece), QString());
    }

    void mpeg4Headers_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("headers");
        const auto row = [](const char *name, const QByteArray &bytes, const char *headers) {
            QTest::newRow(name) << bytes << QString::fromLatin1(headers);
        };
        using payload::layer;
        using payload::plane;
        row("I-VOP behind its header", layer(720, 576) + plane(0), "layer 720x576 key");
        row("P-VOP", plane(1), "0x0 dependent");
        row("B-VOP", plane(2), "0x0 dependent");
        row("packed: the first one counts", plane(1) + plane(2), "0x0 dependent");
        row("not coded", layer(64, 48) + plane(0, 0, false), "layer 64x48 unknown");
        row("not coded, and nobody knows", plane(0, 0, false), "0x0 key");
        row("no VOP", layer(8, 4) + payload::filling(20), "layer 8x4 unknown");
        row("user data before it", QByteArray::fromHex("000001b2") + "XviD0050" + plane(0), "0x0 key");
        row("bytes without a start code", payload::filling(300), "0x0 unknown");
        row("a start code at the end", payload::filling(30) + QByteArray::fromHex("000001b6"), "0x0 unknown");
        row("a header that ends early", layer(720, 576).left(9), "layer 0x0 unknown");

        // Version 2 with its own aspect ratio, all vbv parameters, 30000 ticks and a fixed rate of 15 bits.
        BitString full;
        full.text("1").bits(8, 17).text("1").bits(4, 2).bits(3, 1);
        full.bits(4, 15).bits(8, 59).bits(8, 54);
        full.text("1 01 0 1").bits(15, 7).text("1").bits(15, 7).text("1").bits(15, 7).text("1");
        full.bits(3, 1).bits(11, 5).text("1").bits(15, 9).text("1");
        full.text("00 1").bits(16, 30000).text("1 1").bits(15, 1001);
        full.text("1").bits(13, 1920).text("1").bits(13, 1080).text("1");
        BitString late; // two seconds later, a time of 15 bits, not coded
        late.text("00 110 1").bits(15, 29999).text("1 0");
        const QByteArray start = QByteArray::fromHex("000001b6");
        const QByteArray header = QByteArray::fromHex("0000012f") + full.bytes();
        row("all optional fields", header + start + BitString().text("00 0 1").bits(15, 0).text("1 1").bytes(),
            "layer 1920x1080 key");
        row("all optional fields, not coded", header + start + late.bytes(), "layer 1920x1080 unknown");
    }

    void mpeg4Headers()
    {
        QFETCH(QByteArray, bytes);
        int timeBits = 0;
        const Mpeg4Headers headers = readMpeg4Headers(view(bytes), &timeBits);
        const QString text = (headers.hasLayer ? QStringLiteral("layer ") : QString()) + sizeText(headers.size)
            + QLatin1Char(' ') + startText(headers.start);
        QTEST(text, "headers");
    }

    void h264Sizes()
    {
        const QByteArray baseline = payload::sequenceSet();
        QCOMPARE(sizeText(readSequenceSize(view(baseline).from(1))), QStringLiteral("64x48"));
        QCOMPARE(sizeText(readSequenceSize(view(baseline).from(1).first(5))), QStringLiteral("0x0"));
        // 120 macroblocks across; 68 rows of them in frames, cropped by 4 times 2 lines.
        const char *const frame = "0000001111000 0000001000100 1 1 1 1 1 1 00101 0 1";
        QCOMPARE(sizeText(highSize("010", "0", frame)), QStringLiteral("1920x1080"));
        // 34 rows of macroblocks in each field, cropped by 2 times 4 lines.
        const char *const fields = "0000001111000 00000100010 0 0 1 1 1 1 1 011 0 1";
        QCOMPARE(sizeText(highSize("010", "0", fields)), QStringLiteral("1920x1080"));
        // Of 4:2:2 a unit of cropping is one line, of 4:4:4 and grey one pixel.
        const char *const cropped = "00100 011 1 1 1 010 1 1 010 0 1"; // 64 by 48, left 1, bottom 1
        QCOMPARE(sizeText(highSize("010", "0", cropped)), QStringLiteral("62x46"));
        QCOMPARE(sizeText(highSize("011", "0", cropped)), QStringLiteral("62x47"));
        QCOMPARE(sizeText(highSize("00100 0", "0", cropped)), QStringLiteral("63x47"));
        QCOMPARE(sizeText(highSize("1", "0", cropped)), QStringLiteral("63x47"));
        // A scaling matrix: the first list ends at once (delta -8 makes the next scale 0), the others are left out.
        QCOMPARE(sizeText(highSize("010", "1 1 000010001 0000000", cropped)), QStringLiteral("62x46"));
        QCOMPARE(sizeText(highSize("00101", "0", cropped)), QStringLiteral("0x0")); // chroma_format_idc 4
    }

    void h264Headers_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("lengthSize");
        QTest::addColumn<QString>("headers");
        const auto row = [](const char *name, const QByteArray &bytes, int lengthSize, const char *headers) {
            QTest::newRow(name) << bytes << lengthSize << QString::fromLatin1(headers);
        };
        using namespace payload;
        const QByteArray set = sequenceSet();
        const QByteArray idr = slice(5, 7);
        row("IDR behind its set", startCodes({set, idr}), 0, "set 64x48 key");
        row("short start codes", QByteArray::fromHex("000001") + set + QByteArray::fromHex("000001") + idr, 0,
            "set 64x48 key");
        row("P slice", startCodes({slice(1, 5)}), 0, "0x0 dependent");
        row("I slice", startCodes({slice(1, 7)}), 0, "0x0 intra");
        row("recovery point", startCodes({recoveryPoint(0), slice(1, 7)}), 0, "0x0 key");
        row("recovery point of a frame later", startCodes({recoveryPoint(1), slice(1, 5)}), 0, "0x0 key later");
        row("two messages in one unit",
            startCodes({QByteArray::fromHex("060502aabb") + recoveryPoint(0).mid(1), slice(1, 7)}), 0, "0x0 key");
        row("another message", startCodes({QByteArray::fromHex("060502aabb80"), slice(1, 5)}), 0, "0x0 dependent");
        row("a slice's partition", startCodes({slice(2, 5)}), 0, "0x0 dependent");
        row("lengths as stated", lengths({set, idr}), 4, "set 64x48 key");
        row("lengths of two bytes", QByteArray::fromHex("002b") + idr + QByteArray::fromHex("0001") + "a", 2,
            "0x0 key");
        row("lengths where nothing states them", lengths({set, idr}), 0, "set 64x48 key");
        row("start codes where lengths are stated", startCodes({set, idr}), 4, "set 64x48 key");
        row("a length that looks like a start code", lengths({set, slice(5, 7, 298)}).mid(4 + set.size()), 4,
            "0x0 key");
        row("a length beyond the end", QByteArray::fromHex("000000ff") + idr, 4, "0x0 unknown");
        row("nothing that fits", filling(300), 0, "0x0 unknown");
        row("no bytes", QByteArray(), 0, "0x0 unknown");
    }

    void h264Headers()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, lengthSize);
        const H264Framing framing{lengthSize, lengthSize != 0};
        const H264Headers headers = readH264Headers(view(bytes), size_t(bytes.size()), framing);
        const QString text = (headers.hasSequence ? QStringLiteral("set ") : QString()) + sizeText(headers.size)
            + QLatin1Char(' ') + startText(headers.start)
            + (headers.recoversAtOnce ? QString() : QStringLiteral(" later"));
        QTEST(text, "headers");
    }

    void h264ChunksMayBeLongerThanWhatIsRead()
    {
        const QByteArray whole = payload::lengths({payload::slice(5, 7, 5000)});
        const H264Headers headers = readH264Headers(view(whole).first(100), size_t(whole.size()), {4, true});
        QCOMPARE(startText(headers.start), QStringLiteral("key"));
    }

    void h264Setup()
    {
        H264Framing framing;
        const QByteArray record = payload::configuration();
        QVERIFY(readH264Setup(view(record), &framing).hasSequence);
        QCOMPARE(framing.lengthSize, 4);
        QVERIFY(framing.isStated);
        const QByteArray units = payload::startCodes({payload::sequenceSet()});
        QCOMPARE(sizeText(readH264Setup(view(units), &framing).size), QStringLiteral("64x48"));
        QVERIFY(!framing.isStated);
        QVERIFY(!readH264Setup(view(record).first(12), &framing).hasSequence);
        QVERIFY(!readH264Setup({}, &framing).hasSequence);
    }

    void jpegHeaders()
    {
        const auto read = [](const QByteArray &bytes) { return readJpegHeaders(view(bytes)); };
        const JpegHeaders plain = read(payload::jpeg(640, 480));
        QVERIFY(plain.hasStart);
        QCOMPARE(sizeText(plain.size), QStringLiteral("640x480"));
        QCOMPARE(plain.flatBytes, quint64(0));
        // 80 by 60 blocks of two bits each, and the last byte of the scan's header.
        const QByteArray tables = payload::flatTable(0) + payload::flatTable(1);
        QCOMPARE(read(payload::jpeg(640, 480, {}, tables)).flatBytes, quint64(80 * 60 * 2 / 8 + 1));
        QCOMPARE(read(payload::jpeg(640, 480, {}, payload::flatTable(0))).flatBytes, quint64(0));
        // Three components, the first one of 2 by 2 blocks: six blocks for each 16 by 16 pixels.
        const QByteArray color =
            QByteArray::fromHex("ffd8ffc00011080030004003012200021101031101") + tables + QByteArray::fromHex("ffda");
        QCOMPARE(sizeText(read(color).size), QStringLiteral("64x48"));
        QCOMPARE(read(color).flatBytes, quint64(4 * 3 * 6 * 2 / 8 + 1));
        const QByteArray filled = QByteArray::fromHex("ffd8ffffffe00004aabb") + payload::jpeg(8, 8).mid(2);
        QCOMPARE(sizeText(read(filled).size), QStringLiteral("8x8"));
        QVERIFY(!read(payload::filling(100)).hasStart);
        QVERIFY(!read(payload::jpeg(640, 480).left(6)).size.isKnown());
        QVERIFY(!read(QByteArray::fromHex("ffd8ffe00001ffc0")).size.isKnown()); // a length below 2
        QVERIFY(!read({}).hasStart);
    }

    void jpegEnds_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isComplete");
        const QByteArray picture = payload::jpeg(8, 8);
        QTest::newRow("EOI") << picture << true;
        QTest::newRow("zero bytes behind it") << picture + QByteArray(20, '\0') << true;
        QTest::newRow("0xFF behind it") << picture + QByteArray(3, '\xFF') << true;
        QTest::newRow("both") << picture + QByteArray::fromHex("ffff0000ff00") << true;
        QTest::newRow("two pictures") << picture + QByteArray::fromHex("0000") + picture << true;
        QTest::newRow("cut off") << picture.chopped(2) << false;
        QTest::newRow("half of EOI") << picture.chopped(1) << false;
        QTest::newRow("other bytes behind it") << picture + "abc" << false;
        QTest::newRow("a byte that is no marker") << picture.chopped(2) + QByteArray::fromHex("12d9") << false;
        QTest::newRow("nothing") << QByteArray() << false;
    }

    void jpegEnds()
    {
        QFETCH(QByteArray, bytes);
        for (const int piece : {1, 2, 3, 7, 1000}) {
            JpegEnd end;
            for (int at = 0; at < bytes.size(); at += piece) {
                const QByteArray part = bytes.mid(at, piece);
                end.feed(view(part));
            }
            QTEST(end.isComplete(), "isComplete");
        }
    }

    void dvSystems()
    {
        const auto system = [](const QByteArray &bytes) { return int(readDvSystem(view(bytes))); };
        QCOMPARE(system(payload::dv(false, 80)), int(DvSystem::Lines525));
        QCOMPARE(system(payload::dv(true, 80)), int(DvSystem::Lines625));
        QCOMPARE(system(QByteArray(80, '\0')), int(DvSystem::Unknown));
        QCOMPARE(system(QByteArray::fromHex("3f07003f00000000")), int(DvSystem::Unknown)); // subcode
        QCOMPARE(system(payload::dv(true, 80).left(5)), int(DvSystem::Unknown));
    }

    void headersOfRealFrames()
    {
        const QByteArray xvid = goldenChunk("mencoder-xvid-mp3cbr", "00dc");
        int timeBits = 0;
        const Mpeg4Headers planes = readMpeg4Headers(view(xvid), &timeBits);
        QCOMPARE(sizeText(planes.size), QStringLiteral("64x48"));
        QCOMPARE(startText(planes.start), QStringLiteral("key"));
        const QByteArray fmp4 = goldenChunk("ffmpeg-mpeg4-mp3vbr-info-utf8", "00dc");
        QCOMPARE(sizeText(readMpeg4Headers(view(fmp4), &timeBits).size), QStringLiteral("64x48"));
        const QByteArray h264 = goldenChunk("ffmpeg-h264-aac-ac3-audio-first", "01dc");
        const H264Headers units = readH264Headers(view(h264), size_t(h264.size()), {});
        QCOMPARE(sizeText(units.size), QStringLiteral("64x48"));
        QCOMPARE(startText(units.start), QStringLiteral("key"));
        const QByteArray jpeg = goldenChunk("yuv2lav-mjpeg", "00db");
        QCOMPARE(sizeText(readJpegHeaders(view(jpeg)).size), QStringLiteral("64x48"));
        const QByteArray dv = goldenChunk("dvgrab-dv-type2", "00dc");
        QCOMPARE(int(readDvSystem(view(dv))), int(DvSystem::Lines525));
        const QByteArray mp3 = goldenChunk("ffmpeg-mpeg4-mp3vbr-info-utf8", "01wb");
        MpegAudioHeader header;
        QVERIFY(mp3.size() > 4 && readMpegAudioHeader(qFromBigEndian<quint32>(mp3.constData()), &header));
        QCOMPARE(header.sampleRate, 22050U);
        QCOMPARE(int(header.channels), 1);
    }

    // Whatever one changed byte, or a missing end, does: nothing is read behind the bytes.
    void damagedHeadersAreSurvived()
    {
        const QByteArray parts[] = {
            payload::layer(720, 576) + payload::plane(0),
            payload::startCodes({payload::sequenceSet(), payload::recoveryPoint(0), payload::slice(5, 7)}),
            payload::lengths({payload::sequenceSet(), payload::slice(5, 7)}),
            payload::configuration(),
            payload::jpeg(64, 48, payload::filling(20), payload::flatTable(0) + payload::flatTable(1)),
            payload::mp3(),
            payload::dv(true, 80),
        };
        for (const QByteArray &whole : parts) {
            for (int at = 0; at < std::min<int>(int(whole.size()), 100); ++at) {
                readAll(whole.left(at));
                for (const char value : {'\0', '\xFF', '\x80', '\x01'}) {
                    QByteArray bytes = whole;
                    bytes[at] = value;
                    readAll(bytes);
                }
            }
        }
    }

private:
    static void readAll(const QByteArray &bytes)
    {
        // A copy of its own, so that a sanitizer sees what is read behind it.
        const std::vector<char> copy(bytes.begin(), bytes.end());
        const PayloadBytes all{copy.data(), copy.size()};
        int timeBits = 0;
        readMpeg4Headers(all, &timeBits);
        QVERIFY(timeBits >= 0 && timeBits <= 16);
        H264Framing framing;
        readH264Setup(all, &framing);
        QVERIFY(framing.lengthSize >= 0 && framing.lengthSize <= 4);
        readH264Headers(all, all.size, framing);
        readH264Headers(all, all.size, {4, true});
        QVERIFY(readJpegHeaders(all).size.width <= 65535);
        readDvSystem(all);
        MpegAudioFrames frames;
        frames.beginChunk(true);
        QVERIFY(frames.feed(all, 0).frames.size() <= copy.size());
    }
};

QTEST_APPLESS_MAIN(TestPayload)
#include "tst_payload.moc"
