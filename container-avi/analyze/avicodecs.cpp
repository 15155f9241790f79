#include "avicodecs.h"

#include "aviids.h"

#include <algorithm>
#include <iterator>

namespace quenlofar {

namespace {

/// biCompression as writers use it; letters are compared as capitals.
struct CompressionRow
{
    quint32 compression;
    AviCodec codec;
    quint8 bits; // of a pixel of a raw picture whose rows have no padding; 0 otherwise
};

// clang-format off
constexpr CompressionRow compressionRows[] = {
    {0,              AviCodec::RawRgb,      0}, // BI_RGB
    {1,              AviCodec::RunLength,   0}, // BI_RLE8
    {2,              AviCodec::RunLength,   0}, // BI_RLE4
    {3,              AviCodec::RawRgb,      0}, // BI_BITFIELDS
    {fourCC("RGB "), AviCodec::RawRgb,      0},
    {fourCC("RAW "), AviCodec::RawRgb,      0},
    {fourCC("DIB "), AviCodec::RawRgb,      0},
    {fourCC("RLE "), AviCodec::RunLength,   0},
    {fourCC("RLE8"), AviCodec::RunLength,   0},
    {fourCC("MRLE"), AviCodec::RunLength,   0},

    {fourCC("YUY2"), AviCodec::RawYuv,     16},
    {fourCC("YUYV"), AviCodec::RawYuv,     16},
    {fourCC("YUNV"), AviCodec::RawYuv,     16},
    {fourCC("YVYU"), AviCodec::RawYuv,     16},
    {fourCC("UYVY"), AviCodec::RawYuv,     16},
    {fourCC("UYNV"), AviCodec::RawYuv,     16},
    {fourCC("HDYC"), AviCodec::RawYuv,     16},
    {fourCC("V422"), AviCodec::RawYuv,     16},
    {fourCC("I420"), AviCodec::RawYuv,     12},
    {fourCC("IYUV"), AviCodec::RawYuv,     12},
    {fourCC("YV12"), AviCodec::RawYuv,     12},
    {fourCC("NV12"), AviCodec::RawYuv,     12},
    {fourCC("NV21"), AviCodec::RawYuv,     12},
    {fourCC("Y800"), AviCodec::RawYuv,      8},
    {fourCC("Y8  "), AviCodec::RawYuv,      8},
    {fourCC("GREY"), AviCodec::RawYuv,      8},
    {fourCC("YVU9"), AviCodec::RawYuv,      0}, // planes of a quarter of the width: rounding differs
    {fourCC("YUV9"), AviCodec::RawYuv,      0},
    {fourCC("V210"), AviCodec::RawYuv,      0}, // rows are padded to 128 bytes, in most files
    {fourCC("Y41P"), AviCodec::RawYuv,      0},

    {fourCC("HFYU"), AviCodec::IntraOnly,   0},
    {fourCC("FFVH"), AviCodec::IntraOnly,   0},
    {fourCC("LAGS"), AviCodec::IntraOnly,   0},
    {fourCC("MAGY"), AviCodec::IntraOnly,   0},
    {fourCC("ULRG"), AviCodec::IntraOnly,   0},
    {fourCC("ULRA"), AviCodec::IntraOnly,   0},
    {fourCC("ULY0"), AviCodec::IntraOnly,   0},
    {fourCC("ULY2"), AviCodec::IntraOnly,   0},
    {fourCC("ULH0"), AviCodec::IntraOnly,   0},
    {fourCC("ULH2"), AviCodec::IntraOnly,   0},
    {fourCC("LOCO"), AviCodec::IntraOnly,   0},
    {fourCC("CYUV"), AviCodec::IntraOnly,   0},
    {fourCC("MSZH"), AviCodec::IntraOnly,   0},
    {fourCC("ASV1"), AviCodec::IntraOnly,   0},
    {fourCC("ASV2"), AviCodec::IntraOnly,   0},
    {fourCC("LJPG"), AviCodec::IntraOnly,   0},
    {fourCC("MJLS"), AviCodec::IntraOnly,   0},
    {fourCC("MJ2C"), AviCodec::IntraOnly,   0},
    {fourCC("MJP2"), AviCodec::IntraOnly,   0},

    {fourCC("MJPG"), AviCodec::MotionJpeg,  0},
    {fourCC("JPEG"), AviCodec::MotionJpeg,  0},
    {fourCC("DMB1"), AviCodec::MotionJpeg,  0},
    {fourCC("AVRN"), AviCodec::MotionJpeg,  0},

    {fourCC("DVSD"), AviCodec::Dv,          0},
    {fourCC("DV25"), AviCodec::Dv,          0},
    {fourCC("DV50"), AviCodec::Dv,          0},
    {fourCC("DVHD"), AviCodec::Dv,          0},
    {fourCC("DVH1"), AviCodec::Dv,          0},
    {fourCC("CDVC"), AviCodec::Dv,          0},
    {fourCC("CDVH"), AviCodec::Dv,          0},
    {fourCC("CDV5"), AviCodec::Dv,          0},
    {fourCC("DVC "), AviCodec::Dv,          0},
    {fourCC("DVCS"), AviCodec::Dv,          0},
    {fourCC("DVCP"), AviCodec::Dv,          0},

    {fourCC("FMP4"), AviCodec::Mpeg4,       0},
    {fourCC("XVID"), AviCodec::Mpeg4,       0},
    {fourCC("DIVX"), AviCodec::Mpeg4,       0},
    {fourCC("DX50"), AviCodec::Mpeg4,       0},
    {fourCC("MP4V"), AviCodec::Mpeg4,       0},
    {fourCC("MP4S"), AviCodec::Mpeg4,       0},
    {fourCC("M4S2"), AviCodec::Mpeg4,       0},
    {fourCC("XVIX"), AviCodec::Mpeg4,       0},
    {fourCC("RMP4"), AviCodec::Mpeg4,       0},
    {fourCC("3IV2"), AviCodec::Mpeg4,       0},
    {fourCC("3IVX"), AviCodec::Mpeg4,       0},
    {fourCC("BLZ0"), AviCodec::Mpeg4,       0},
    {fourCC("UMP4"), AviCodec::Mpeg4,       0},
    {fourCC("WV1F"), AviCodec::Mpeg4,       0},
    {fourCC("SEDG"), AviCodec::Mpeg4,       0},
    {fourCC("NDIG"), AviCodec::Mpeg4,       0},
    {fourCC("SMP4"), AviCodec::Mpeg4,       0},

    {fourCC("H264"), AviCodec::H264,        0},
    {fourCC("X264"), AviCodec::H264,        0},
    {fourCC("AVC1"), AviCodec::H264,        0},
    {fourCC("DAVC"), AviCodec::H264,        0},
    {fourCC("VSSH"), AviCodec::H264,        0},
    {fourCC("Q264"), AviCodec::H264,        0},

    {fourCC("DXSB"), AviCodec::Subtitle,    0},
    {fourCC("DXSA"), AviCodec::Subtitle,    0},
};

/// Registered format tags (mmreg.h), and those that writers of AVI use.
struct TagRow
{
    quint16 tag;
    AviCodec codec;
    QStringView name;
};
constexpr TagRow tagRows[] = {
    {0x0001, AviCodec::Pcm,     u"PCM"},
    {0x0002, AviCodec::Unknown, u"Microsoft ADPCM"},
    {0x0003, AviCodec::Pcm,     u"floating point PCM"},
    {0x0006, AviCodec::Unknown, u"A-law"},
    {0x0007, AviCodec::Unknown, u"mu-law"},
    {0x0011, AviCodec::Unknown, u"IMA ADPCM"},
    {0x0050, AviCodec::Mp2,     u"MPEG audio, layer 1 or 2"},
    {0x0055, AviCodec::Mp3,     u"MP3"},
    {0x00FF, AviCodec::Aac,     u"AAC"},
    {0x1600, AviCodec::Aac,     u"AAC, ADTS"},
    {0x1602, AviCodec::Aac,     u"AAC, LATM"},
    {0x2000, AviCodec::Ac3,     u"AC-3"},
    {0x2001, AviCodec::Unknown, u"DTS"},
    {0xA106, AviCodec::Aac,     u"AAC"},
};
// clang-format on

constexpr quint32 capitals(quint32 text)
{
    quint32 result = 0;
    for (int at = 0; at < 4; ++at) {
        const quint8 byte = idByte(text, at);
        const bool isSmall = byte >= 'a' && byte <= 'z';
        result |= quint32(isSmall ? byte - 'a' + 'A' : byte) << (8 * at);
    }
    return result;
}

const CompressionRow *compressionRow(const AviStream &stream)
{
    if (stream.format.size < 20) // ends before biCompression
        return nullptr;
    const quint32 wanted = capitals(stream.compression);
    const auto row = std::find_if(std::begin(compressionRows), std::end(compressionRows),
                                  [wanted](const CompressionRow &each) { return each.compression == wanted; });
    return row == std::end(compressionRows) ? nullptr : row;
}

const TagRow *tagRow(quint16 tag)
{
    const auto row =
        std::find_if(std::begin(tagRows), std::end(tagRows), [tag](const TagRow &each) { return each.tag == tag; });
    return row == std::end(tagRows) ? nullptr : row;
}

quint64 heightOf(const AviStream &stream)
{
    return quint64(stream.height < 0 ? -qint64(stream.height) : qint64(stream.height));
}

/// Rows times their number; 0 for what no chunk can hold.
quint64 frameSize(quint64 rowSize, quint64 rows)
{
    constexpr quint64 largestChunk = 0xFFFFFFFF;
    return rowSize == 0 || rows > largestChunk / rowSize ? 0 : rowSize * rows;
}

QString compressionText(const AviStream &stream)
{
    // A number, as of BI_RLE8, is no text.
    if (!isPrintable(stream.compression))
        return QStringLiteral("video format 0x%1").arg(stream.compression, 8, 16, QLatin1Char('0'));
    char bytes[4];
    for (int at = 0; at < 4; ++at)
        bytes[at] = char(idByte(stream.compression, at));
    return QString::fromLatin1(bytes, 4).trimmed();
}

} // namespace

AviCodec codecOf(const AviStream &stream)
{
    if (stream.kind == StreamKind::Mixed)
        return AviCodec::Dv;
    if (stream.kind == StreamKind::Video) {
        const CompressionRow *row = compressionRow(stream);
        return row ? row->codec : AviCodec::Unknown;
    }
    if (stream.kind == StreamKind::Audio) {
        const TagRow *row = tagRow(stream.formatTag);
        return row ? row->codec : AviCodec::Unknown;
    }
    return AviCodec::Unknown;
}

bool isIntraOnly(AviCodec codec)
{
    return codec == AviCodec::RawRgb || codec == AviCodec::RawYuv || codec == AviCodec::IntraOnly
        || codec == AviCodec::MotionJpeg || codec == AviCodec::Dv;
}

quint64 rawRgbFrameSize(const AviStream &stream)
{
    if (codecOf(stream) != AviCodec::RawRgb || stream.width <= 0 || stream.height == 0 || stream.bitCount == 0
        || stream.bitCount > 64)
        return 0;
    // See BITMAPINFOHEADER, biSizeImage.
    return frameSize((quint64(stream.width) * stream.bitCount + 31) / 32 * 4, heightOf(stream));
}

quint64 rawFrameSize(const AviStream &stream)
{
    if (stream.kind != StreamKind::Video)
        return 0;
    if (const quint64 size = rawRgbFrameSize(stream))
        return size;
    const CompressionRow *row = compressionRow(stream);
    // Planes of half the size are rounded up by some writers and down by others.
    if (!row || row->bits == 0 || stream.width <= 0 || stream.width % 2 != 0 || stream.height % 2 != 0)
        return 0;
    return frameSize(quint64(stream.width) * row->bits / 8, heightOf(stream));
}

QString codecText(const AviStream &stream)
{
    if (stream.kind == StreamKind::Mixed)
        return QStringLiteral("DV");
    if (stream.kind == StreamKind::Video)
        return compressionText(stream);
    if (stream.kind != StreamKind::Audio)
        return {};
    const TagRow *row = tagRow(stream.formatTag);
    return row ? row->name.toString()
               : QStringLiteral("audio format 0x%1").arg(stream.formatTag, 4, 16, QLatin1Char('0'));
}

} // namespace quenlofar
