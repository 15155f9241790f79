#include "codecnames.h"

#include "fourcctable.h"

#include <QStringView>

#include <algorithm>
#include <iterator>

namespace quenlofar {

namespace {

template <typename Number> struct NameRow
{
    Number number;
    QStringView name;
};

/// By the codec numbers of the table of four-character codes; the codecs that people meet.
// clang-format off
constexpr NameRow<qint32> codecNames[] = {
    {  1, u"MPEG-1 video"},
    {  2, u"MPEG-2 video"},
    {  4, u"H.261"},
    {  5, u"H.263"},
    {  8, u"Motion JPEG"},
    { 13, u"MPEG-4 Visual"},
    { 14, u"uncompressed"},
    { 15, u"Microsoft MPEG-4 version 1"},
    { 16, u"Microsoft MPEG-4 version 2"},
    { 17, u"Microsoft MPEG-4 version 3"},
    { 18, u"Windows Media Video 7"},
    { 19, u"Windows Media Video 8"},
    { 21, u"Intel H.263"},
    { 22, u"Sorenson H.263"},
    { 23, u"Sorenson Video 1"},
    { 24, u"Sorenson Video 3"},
    { 25, u"DV"},
    { 26, u"HuffYUV"},
    { 27, u"Creative YUV"},
    { 28, u"H.264"},
    { 29, u"Indeo 3"},
    { 30, u"VP3"},
    { 31, u"Theora"},
    { 32, u"ASUS V1"},
    { 33, u"ASUS V2"},
    { 34, u"FFV1"},
    { 36, u"ATI VCR1"},
    { 43, u"Apple Video"},
    { 44, u"Cinepak"},
    { 46, u"Microsoft RLE"},
    { 47, u"Microsoft Video 1"},
    { 52, u"TrueMotion 1"},
    { 54, u"LCL MSZH"},
    { 55, u"LCL ZLIB"},
    { 57, u"Snow"},
    { 58, u"TechSmith screen capture"},
    { 59, u"IBM UltiMotion"},
    { 61, u"Miro VideoXL"},
    { 62, u"QPEG"},
    { 63, u"PNG"},
    { 69, u"HuffYUV, FFmpeg variant"},
    { 72, u"VC-1"},
    { 73, u"Windows Media Video 9"},
    { 74, u"LOCO"},
    { 78, u"Fraps"},
    { 79, u"TrueMotion 2"},
    { 81, u"CamStudio"},
    { 83, u"Zip Motion Blocks"},
    { 90, u"JPEG 2000"},
    { 91, u"VMware video"},
    { 92, u"VP5"},
    { 93, u"VP6"},
    { 94, u"VP6, Flash variant"},
    {113, u"Indeo 4"},
    {114, u"Indeo 5"},
    {118, u"Dirac"},
    {129, u"uncompressed, 10 bits"},
    {142, u"VP8"},
    {149, u"Lagarith"},
    {155, u"Ut Video"},
};

/// Codes that say more than their codec's number, or that have none. Source: BITMAPINFOHEADER, biCompression, and
/// FourCCs as writers use them.
constexpr NameRow<quint32> codeNames[] = {
    {0x00000000,     u"uncompressed RGB"},
    {0x00000003,     u"uncompressed RGB, with bit masks"},
    {fourCC("DIB "), u"uncompressed RGB"},
    {fourCC("RGB "), u"uncompressed RGB"},
    {fourCC("RAW "), u"uncompressed RGB"},
    {fourCC("DXSB"), u"XSUB subtitles"},
    {fourCC("DXSA"), u"XSUB subtitles"},
    {fourCC("HEVC"), u"HEVC"},
    {fourCC("H265"), u"HEVC"},
    {fourCC("VP90"), u"VP9"},
    {fourCC("AV01"), u"AV1"},
    {fourCC("CFHD"), u"CineForm"},
    {fourCC("MAGY"), u"MagicYUV"},
};

// Source: the registered format tags of mmreg.h.
constexpr NameRow<quint16> formatNames[] = {
    {0x0001, u"PCM"},
    {0x0002, u"Microsoft ADPCM"},
    {0x0003, u"PCM, floating point"},
    {0x0006, u"A-law"},
    {0x0007, u"mu-law"},
    {0x000A, u"Windows Media Audio Voice"},
    {0x0011, u"IMA ADPCM"},
    {0x0022, u"TrueSpeech"},
    {0x0031, u"GSM 6.10"},
    {0x0045, u"G.726 ADPCM"},
    {0x0050, u"MPEG audio, layer 1 or 2"},
    {0x0055, u"MP3"},
    {0x0061, u"Duck DK4 ADPCM"},
    {0x0062, u"Duck DK3 ADPCM"},
    {0x0075, u"Voxware MetaSound"},
    {0x00FF, u"AAC"},
    {0x0160, u"Windows Media Audio 1"},
    {0x0161, u"Windows Media Audio 2"},
    {0x0162, u"Windows Media Audio Professional"},
    {0x0163, u"Windows Media Audio Lossless"},
    {0x0401, u"Indeo Audio"},
    {0x1600, u"AAC, ADTS"},
    {0x1602, u"AAC, LATM"},
    {0x2000, u"AC-3"},
    {0x2001, u"DTS"},
    {0x566F, u"Vorbis"},
    {0xA106, u"AAC"},
    {0xF1AC, u"FLAC"},
    {0xFFFE, u"extensible wave format"}, // what it extends to is a number of 128 bits behind it
};
// clang-format on

template <typename Number, size_t Count> QString nameOf(Number number, const NameRow<Number> (&rows)[Count])
{
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [number](const NameRow<Number> &each) { return each.number == number; });
    return row == std::end(rows) ? QString() : row->name.toString();
}

QString exactCodecName(quint32 tag)
{
    QString name = nameOf(tag, codeNames);
    if (!name.isEmpty())
        return name;
    const auto end = std::end(videoCodecs) - 1; // the row that ends the table
    const auto row =
        std::find_if(std::begin(videoCodecs), end, [tag](const FourCCRow &each) { return each.tag == tag; });
    return row == end ? QString() : nameOf(row->codecId, codecNames);
}

quint32 inCapitals(quint32 tag)
{
    for (int shift = 0; shift < 32; shift += 8) {
        const quint32 byte = tag >> shift & 0xFF;
        if (byte >= 'a' && byte <= 'z')
            tag -= quint32('a' - 'A') << shift;
    }
    return tag;
}

} // namespace

QString videoCodecName(quint32 tag)
{
    QString name = exactCodecName(tag);
    return name.isEmpty() ? exactCodecName(inCapitals(tag)) : name;
}

QString audioFormatName(quint16 tag)
{
    return nameOf(tag, formatNames);
}

} // namespace quenlofar
