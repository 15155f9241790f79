#include "avibuilder.h"
#include "aviprobe.h"

#include <QTest>

#include <new>

using namespace quenlofar;
using namespace build;

namespace {
bool allocationsFail = false;
}

// The only user of this form is the buffer for extra data, whose allocation is allowed to fail.
void *operator new[](size_t size, const std::nothrow_t &) noexcept
{
    if (allocationsFail)
        return nullptr;
    try {
        return ::operator new[](size);
    } catch (...) {
        return nullptr;
    }
}

class TestAudioFormat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsHeader();
    void formatNames_data();
    void formatNames();
    void sizes_data();
    void sizes();
    void extraData_data();
    void extraData();
    void mpegValuesAreDisplaced();
    void mpegValuesPastTheExtraDataAreZero();
    void everyMemberIsUnsigned();
    void subFormat_data();
    void subFormat();
    void shortReadsAreZeroFilled_data();
    void shortReadsAreZeroFilled();
    void outOfMemory();
    void dispatchReturnsTheStatus();
};

void TestAudioFormat::showsHeader()
{
    AviProbe parser(zeros(30)
                    + WaveFormat(1)
                          .channels(2)
                          .samplesPerSecond(4294967295)
                          .bytesPerSecond(192000)
                          .blockAlign(65535)
                          .bitsPerSample(16));
    QCOMPARE(parser.call(AviProbe::strfAudio, 30, 18), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("wFormatTag 30+2 1 [WAVE_FORMAT_PCM]"),
                 QStringLiteral("nChannels 32+2 2"),
                 QStringLiteral("nSamplesPerSec 34+4 4294967295"),
                 QStringLiteral("nAvgBytesPerSec 38+4 192000"),
                 QStringLiteral("nBlockAlign 42+2 65535"),
                 QStringLiteral("wBitsPerSample 44+2 16"),
                 QStringLiteral("cbSize 46+2 0"),
             }));
    QCOMPARE(parser.m_file.pos(), qint64(30));
}

void TestAudioFormat::formatNames_data()
{
    QTest::addColumn<quint16>("tag");
    QTest::addColumn<QString>("expected");

    QTest::newRow("PCM") << quint16(1) << QStringLiteral("1 [WAVE_FORMAT_PCM]");
    QTest::newRow("MPEG") << quint16(0x50) << QStringLiteral("80 [WAVE_FORMAT_MPEG]");
    QTest::newRow("MPEG layer 3") << quint16(0x55) << QStringLiteral("85 [WAVE_FORMAT_MPEGLAYER3]");
    QTest::newRow("extensible has no name") << quint16(0xFFFE) << QStringLiteral("65534");
    QTest::newRow("others have no name") << quint16(0x2000) << QStringLiteral("8192");
    QTest::newRow("zero has no name") << quint16(0) << QStringLiteral("0");
}

void TestAudioFormat::formatNames()
{
    QFETCH(quint16, tag);
    QFETCH(QString, expected);
    AviProbe parser{WaveFormat(tag)};
    QCOMPARE(parser.call(AviProbe::strfAudio, 18), 0);
    QCOMPARE(parser.lines().at(0), QStringLiteral("wFormatTag 0+2 ") + expected);
}

void TestAudioFormat::sizes_data()
{
    QTest::addColumn<quint32>("size");
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QStringList>("expected"); // after the five members that are always shown

    const QString bits = QStringLiteral("wBitsPerSample 14+2 16");
    const QString noExtra = QStringLiteral("cbSize 16+2 0");
    const QByteArray pcm = WaveFormat(1).bitsPerSample(16);
    QTest::newRow("empty: five members all the same") << 0u << pcm << QStringList{};
    QTest::newRow("14 bytes: five members") << 14u << pcm << QStringList{};
    QTest::newRow("15 bytes: bits per sample, too") << 15u << pcm << QStringList{bits};
    QTest::newRow("16 bytes: nothing left over") << 16u << pcm << QStringList{bits};
    QTest::newRow("17 bytes: no cbSize, its first byte is left over")
        << 17u << pcm << QStringList{bits, QStringLiteral("unparsed 16+1")};
    QTest::newRow("18 bytes: cbSize, nothing left over") << 18u << pcm << QStringList{bits, noExtra};
    QTest::newRow("20 bytes, no extra data: the rest starts at cbSize")
        << 20u << pcm + zeros(2) << QStringList{bits, noExtra, QStringLiteral("unparsed 16+2")};
    QTest::newRow("four bytes after the extra data: the rest starts two bytes early")
        << 28u << QByteArray(WaveFormat(2).bitsPerSample(16).extra(zeros(6))) + zeros(4)
        << QStringList{bits, QStringLiteral("cbSize 16+2 6"), QStringLiteral("extra_format_info 18+6"),
                       QStringLiteral("unparsed 22+4")};
    QTest::newRow("extra data beyond the chunk: nothing left over")
        << 20u << QByteArray(WaveFormat(2).bitsPerSample(16).extra(zeros(6)))
        << QStringList{bits, QStringLiteral("cbSize 16+2 6"), QStringLiteral("extra_format_info 18+6")};
    QTest::newRow("cbSize is not looked at below 18 bytes")
        << 16u << QByteArray(WaveFormat(2).bitsPerSample(16).extra(zeros(6))) << QStringList{bits};
    QTest::newRow("size as large as can be")
        << 4294967295u << pcm << QStringList{bits, noExtra, QStringLiteral("unparsed 16+4294967277")};
}

void TestAudioFormat::sizes()
{
    QFETCH(quint32, size);
    QFETCH(QByteArray, format);
    QFETCH(QStringList, expected);
    AviProbe parser(format);
    QCOMPARE(parser.call(AviProbe::strfAudio, size), 0);
    QCOMPARE(parser.lines().at(4), QStringLiteral("nBlockAlign 12+2 0"));
    QCOMPARE(parser.lines().mid(5), expected);
    QCOMPARE(parser.m_file.pos(), qint64(0));
}

void TestAudioFormat::extraData_data()
{
    QTest::addColumn<quint16>("tag");
    QTest::addColumn<int>("size");
    QTest::addColumn<QStringList>("expected");

    const auto opaque = [](int size) { return QStringList{QStringLiteral("extra_format_info 18+%1").arg(size)}; };
    const QStringList extensible{
        QStringLiteral("wValidBitsPerSample,wSamplesPerBlock,wReserved 18+2 513"),
        QStringLiteral("dwChannelMask 20+4 100992003"),
        QStringLiteral("SubFormat 24+16 {00000000-0000-0000-0000-000000000000}"),
    };
    QTest::newRow("extensible, 22 bytes: three members") << quint16(0xFFFE) << 22 << extensible;
    QTest::newRow("extensible, more bytes: three members") << quint16(0xFFFE) << 30 << extensible;
    QTest::newRow("extensible, 21 bytes: opaque") << quint16(0xFFFE) << 21 << opaque(21);
    QTest::newRow("extensible, 20 bytes: opaque") << quint16(0xFFFE) << 20 << opaque(20);
    QTest::newRow("MPEG-1, 21 bytes: opaque") << quint16(0x50) << 21 << opaque(21);
    QTest::newRow("MPEG layer 3, 12 bytes: one leaf of its own")
        << quint16(0x55) << 12 << QStringList{QStringLiteral("mp3_extra_format_info 18+12")};
    QTest::newRow("MPEG layer 3, more bytes: one leaf over all of them")
        << quint16(0x55) << 40 << QStringList{QStringLiteral("mp3_extra_format_info 18+40")};
    QTest::newRow("MPEG layer 3, 11 bytes: opaque") << quint16(0x55) << 11 << opaque(11);
    QTest::newRow("MPEG layer 3, 10 bytes: opaque") << quint16(0x55) << 10 << opaque(10);
    QTest::newRow("PCM with extra data: opaque") << quint16(1) << 22 << opaque(22);
    QTest::newRow("another tag: opaque") << quint16(0x11) << 32 << opaque(32);
    QTest::newRow("one byte: opaque") << quint16(0x11) << 1 << opaque(1);
    QTest::newRow("as long as can be") << quint16(0x11) << 65535 << opaque(65535);
}

void TestAudioFormat::extraData()
{
    QFETCH(quint16, tag);
    QFETCH(int, size);
    QFETCH(QStringList, expected);
    QByteArray extra;
    for (int byte = 1; byte <= size; ++byte)
        extra.append(char(byte));
    AviProbe parser(WaveFormat(tag).extra(extra));
    QCOMPARE(parser.call(AviProbe::strfAudio, quint32(18 + size)), 0);
    QCOMPARE(parser.lines().at(6), QStringLiteral("cbSize 16+2 %1").arg(size));
    QCOMPARE(parser.lines().mid(7), expected);
}

void TestAudioFormat::mpegValuesAreDisplaced()
{
    // 36 bytes hold all displaced values: two bytes, four, and so on, after the first 14.
    const QByteArray extra =
        zeros(14) + u16(2) + u32(192000) + u16(1) + u16(3) + u16(65535) + u16(28) + u32(4294967295) + u32(90000);
    AviProbe parser(WaveFormat(0x50).extra(extra));
    QCOMPARE(parser.call(AviProbe::strfAudio, 18 + 36), 0);
    QCOMPARE(parser.lines().mid(7),
             (QStringList{
                 QStringLiteral("fwHeadLayer 18+2 2"),
                 QStringLiteral("dwHeadBitrate 20+4 192000"),
                 QStringLiteral("fwHeadMode 24+2 1"),
                 QStringLiteral("fwHeadModeExt 26+2 3"),
                 QStringLiteral("wHeadEmphasis 28+2 65535"),
                 QStringLiteral("fwHeadFlags 30+2 28"),
                 QStringLiteral("dwPTSLow 32+4 4294967295"),
                 QStringLiteral("dwPTSHigh 36+4 90000"),
             }));
}

void TestAudioFormat::mpegValuesPastTheExtraDataAreZero()
{
    // The usual 22 bytes: what follows them in the file is not theirs.
    AviProbe parser(WaveFormat(0x50).extra(QByteArray(14, '\xEE') + u16(2) + u32(3) + u16(4)) + QByteArray(40, '\xEE'));
    QCOMPARE(parser.call(AviProbe::strfAudio, 40), 0);
    QCOMPARE(parser.lines().at(0), QStringLiteral("wFormatTag 0+2 80 [WAVE_FORMAT_MPEG]"));
    QCOMPARE(parser.lines().mid(7),
             (QStringList{
                 QStringLiteral("fwHeadLayer 18+2 2"),
                 QStringLiteral("dwHeadBitrate 20+4 3"),
                 QStringLiteral("fwHeadMode 24+2 4"),
                 QStringLiteral("fwHeadModeExt 26+2 0"),
                 QStringLiteral("wHeadEmphasis 28+2 0"),
                 QStringLiteral("fwHeadFlags 30+2 0"),
                 QStringLiteral("dwPTSLow 32+4 0"),
                 QStringLiteral("dwPTSHigh 36+4 0"),
             }));
}

void TestAudioFormat::everyMemberIsUnsigned()
{
    AviProbe header(QByteArray(16, '\xFF'));
    QCOMPARE(header.call(AviProbe::strfAudio, 16), 0);
    QCOMPARE(header.lines(),
             (QStringList{
                 QStringLiteral("wFormatTag 0+2 65535"),
                 QStringLiteral("nChannels 2+2 65535"),
                 QStringLiteral("nSamplesPerSec 4+4 4294967295"),
                 QStringLiteral("nAvgBytesPerSec 8+4 4294967295"),
                 QStringLiteral("nBlockAlign 12+2 65535"),
                 QStringLiteral("wBitsPerSample 14+2 65535"),
             }));
    AviProbe mpeg(WaveFormat(0x50).extra(QByteArray(36, '\xFF')));
    QCOMPARE(mpeg.call(AviProbe::strfAudio, 54), 0);
    QCOMPARE(mpeg.lines().mid(7),
             (QStringList{
                 QStringLiteral("fwHeadLayer 18+2 65535"),
                 QStringLiteral("dwHeadBitrate 20+4 4294967295"),
                 QStringLiteral("fwHeadMode 24+2 65535"),
                 QStringLiteral("fwHeadModeExt 26+2 65535"),
                 QStringLiteral("wHeadEmphasis 28+2 65535"),
                 QStringLiteral("fwHeadFlags 30+2 65535"),
                 QStringLiteral("dwPTSLow 32+4 4294967295"),
                 QStringLiteral("dwPTSHigh 36+4 4294967295"),
             }));
    AviProbe extensible(WaveFormat(0xFFFE).extra(QByteArray(22, '\xFF')));
    QCOMPARE(extensible.call(AviProbe::strfAudio, 40), 0);
    QCOMPARE(extensible.lines().at(7), QStringLiteral("wValidBitsPerSample,wSamplesPerBlock,wReserved 18+2 65535"));
    QCOMPARE(extensible.lines().at(8), QStringLiteral("dwChannelMask 20+4 4294967295"));
}

void TestAudioFormat::subFormat_data()
{
    QTest::addColumn<QByteArray>("bytes"); // from extra offset 6 on
    QTest::addColumn<QString>("expected");

    const QString null = QStringLiteral("{00000000-0000-0000-0000-000000000000}");
    const QString some = QStringLiteral("{01234567-89ab-cdef-0123-456789abcdef}");
    QTest::newRow("binary, PCM: the null UUID") << QByteArray::fromHex("0100000000001000800000aa00389b71") << null;
    QTest::newRow("binary, float: the null UUID") << QByteArray::fromHex("0300000000001000800000aa00389b71") << null;
    QTest::newRow("binary without a zero byte: the null UUID")
        << QByteArray::fromHex("ffeeddccbbaa998877665544332211f1") << null;
    QTest::newRow("text with braces, up to the last extra byte")
        << QByteArray("{01234567-89ab-cdef-0123-456789abcdef}") << some;
    QTest::newRow("text without braces, in capitals") << QByteArray("01234567-89AB-CDEF-0123-456789ABCDEF") << some;
    QTest::newRow("a zero byte ends the text")
        << QByteArray("{01234567-89ab-cdef-0123-456789abcdef}\0garbage", 46) << some;
    QTest::newRow("a zero byte inside the text") << QByteArray("{01234567-89ab\0cdef-0123-456789abcdef}", 38) << null;
    QTest::newRow("text cut off by the end of the extra data") << QByteArray("{01234567-89ab-cdef-0123") << null;
}

void TestAudioFormat::subFormat()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, expected);
    // What follows the extra data would complete the text that is cut off.
    AviProbe parser(WaveFormat(0xFFFE).extra(zeros(6) + bytes) + "-456789abcdef}");
    QCOMPARE(parser.call(AviProbe::strfAudio, quint32(18 + 6 + bytes.size())), 0);
    QCOMPARE(int(parser.lines().size()), 10);
    QCOMPARE(parser.lines().at(9), QStringLiteral("SubFormat 24+16 ") + expected);
}

void TestAudioFormat::shortReadsAreZeroFilled_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("expected"); // from the sixth line on

    QTest::newRow("in the header") << QByteArray(WaveFormat(0x55).bitsPerSample(0x0110).extra(zeros(12))).left(15)
                                   << QStringList{QStringLiteral("wBitsPerSample 14+2 16"),
                                                  QStringLiteral("cbSize 16+2 0"), QStringLiteral("unparsed 16+22")};
    QTest::newRow("in the extra data") << QByteArray(WaveFormat(0xFFFE).extra(QByteArray(22, '\x01'))).left(21)
                                       << QStringList{
                                              QStringLiteral("wBitsPerSample 14+2 0"), QStringLiteral("cbSize 16+2 22"),
                                              QStringLiteral("wValidBitsPerSample,wSamplesPerBlock,wReserved 18+2 257"),
                                              QStringLiteral("dwChannelMask 20+4 1"),
                                              QStringLiteral("SubFormat 24+16 {00000000-0000-0000-0000-000000000000}")};
    QTest::newRow("before the extra data")
        << QByteArray(WaveFormat(0x50).extraSize(22))
        << QStringList{QStringLiteral("wBitsPerSample 14+2 0"), QStringLiteral("cbSize 16+2 22"),
                       QStringLiteral("fwHeadLayer 18+2 0"),    QStringLiteral("dwHeadBitrate 20+4 0"),
                       QStringLiteral("fwHeadMode 24+2 0"),     QStringLiteral("fwHeadModeExt 26+2 0"),
                       QStringLiteral("wHeadEmphasis 28+2 0"),  QStringLiteral("fwHeadFlags 30+2 0"),
                       QStringLiteral("dwPTSLow 32+4 0"),       QStringLiteral("dwPTSHigh 36+4 0")};
}

void TestAudioFormat::shortReadsAreZeroFilled()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, expected);
    AviProbe parser(bytes);
    QCOMPARE(parser.call(AviProbe::strfAudio, 40), 0);
    QCOMPARE(parser.lines().mid(5), expected);
}

void TestAudioFormat::outOfMemory()
{
    AviProbe parser(WaveFormat(1).extra(zeros(10)) + zeros(4));
    allocationsFail = true;
    const int status = parser.call(AviProbe::strfAudio, 32);
    allocationsFail = false;
    QCOMPARE(status, 9);
    // What was shown stays; nothing is left over, and the file is not moved back.
    QCOMPARE(int(parser.lines().size()), 7);
    QCOMPARE(parser.lines().last(), QStringLiteral("cbSize 16+2 10"));
    QCOMPARE(parser.m_file.pos(), qint64(18));
}

void TestAudioFormat::dispatchReturnsTheStatus()
{
    AviProbe parser(WaveFormat(1).extra(zeros(10)));
    parser.streamType() = AudioStreamType;
    QCOMPARE(parser.call(AviProbe::strf, 28), 0);
    allocationsFail = true;
    const int status = parser.call(AviProbe::strf, 28);
    allocationsFail = false;
    QCOMPARE(status, 9);
}

QTEST_APPLESS_MAIN(TestAudioFormat)
#include "tst_audioformat.moc"
