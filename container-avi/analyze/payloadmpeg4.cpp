#include "payloadmpeg4.h"

#include <cstring>

namespace quenlofar {

namespace {

// Start codes and values of ISO/IEC 14496-2, by the names it gives them.
constexpr quint8 firstLayerCode = 0x20; // video_object_layer_start_code
constexpr quint8 lastLayerCode = 0x2F;
constexpr quint8 planeCode = 0xB6; // vop_start_code
constexpr quint32 extendedAspect = 15; // extended_PAR
constexpr quint32 rectangular = 0;
constexpr quint32 grayscale = 3;
constexpr quint32 fineGranularity = 0x12; // of video_object_type_indication: another syntax follows

/// Bits of a number below `resolution`.
int bitsBelow(quint32 resolution)
{
    int bits = 1;
    while (bits < 16 && (quint32(1) << bits) < resolution)
        ++bits;
    return bits;
}

/// VideoObjectLayer(), up to the size of the pictures. `*timeBits` stays as it was where the header ends early.
CodedSize readLayer(PayloadBytes bytes, int *timeBits)
{
    BitReader reader(bytes);
    reader.skip(1); // random_accessible_vol
    if (reader.bits(8) == fineGranularity)
        return {};
    quint32 version = 1;
    if (reader.flag()) { // is_object_layer_identifier
        version = reader.bits(4);
        reader.skip(3); // video_object_layer_priority
    }
    if (reader.bits(4) == extendedAspect)
        reader.skip(8 + 8); // par_width, par_height
    if (reader.flag()) { // vol_control_parameters
        reader.skip(2 + 1); // chroma_format, low_delay
        if (reader.flag()) // vbv_parameters: 79 bits with their markers
            reader.skip(15 + 1 + 15 + 1 + 15 + 1 + 3 + 11 + 1 + 15 + 1);
    }
    const quint32 shape = reader.bits(2);
    if (shape == grayscale && version != 1)
        reader.skip(4); // video_object_layer_shape_extension
    reader.skip(1);
    const quint32 resolution = reader.bits(16); // vop_time_increment_resolution
    reader.skip(1);
    if (!reader.isPastEnd())
        *timeBits = bitsBelow(resolution);
    if (reader.flag()) // fixed_vop_rate
        reader.skip(bitsBelow(resolution));
    if (shape != rectangular)
        return {};
    CodedSize size;
    reader.skip(1);
    size.width = reader.bits(13);
    reader.skip(1);
    size.height = reader.bits(13);
    return reader.isPastEnd() ? CodedSize() : size;
}

/// VideoObjectPlane(), up to vop_coded.
FrameStart readPlane(PayloadBytes bytes, int timeBits)
{
    constexpr quint32 intra = 0; // vop_coding_type: I, P, B, S
    constexpr int mostSeconds = 256; // ones of modulo_time_base, which in a film are hardly ever more than one
    BitReader reader(bytes);
    const FrameStart start = reader.bits(2) == intra ? FrameStart::Key : FrameStart::Dependent;
    if (reader.isPastEnd())
        return FrameStart::Unknown;
    if (timeBits == 0)
        return start;
    for (int seconds = 0; reader.flag(); ++seconds) {
        if (seconds > mostSeconds)
            return FrameStart::Unknown;
    }
    reader.skip(1 + timeBits + 1); // vop_time_increment between two markers
    return reader.flag() ? start : FrameStart::Unknown; // vop_coded
}

} // namespace

size_t behindStartCode(PayloadBytes bytes, size_t from)
{
    size_t at = from + 2; // of the 01
    while (at < bytes.size) {
        const auto *found = static_cast<const char *>(std::memchr(bytes.data + at, 1, bytes.size - at));
        if (!found)
            break;
        at = size_t(found - bytes.data) + 1;
        if (found[-1] == 0 && found[-2] == 0)
            return at;
    }
    return bytes.size;
}

Mpeg4Headers readMpeg4Headers(PayloadBytes bytes, int *timeBits)
{
    constexpr int mostCodes = 256; // before the first VOP; encoders write fewer than ten
    Mpeg4Headers headers;
    size_t at = behindStartCode(bytes, 0);
    for (int code = 0; code < mostCodes && at < bytes.size; ++code, at = behindStartCode(bytes, at)) {
        const quint8 kind = bytes[at];
        if (kind >= firstLayerCode && kind <= lastLayerCode) {
            headers.hasLayer = true;
            const CodedSize size = readLayer(bytes.from(at + 1), timeBits);
            if (size.isKnown())
                headers.size = size;
        } else if (kind == planeCode) {
            headers.start = readPlane(bytes.from(at + 1), *timeBits);
            break;
        }
    }
    return headers;
}

} // namespace quenlofar
