#include "payloadh264.h"

#include <algorithm>
#include <iterator>

namespace quenlofar {

namespace {

// nal_unit_type of ITU-T H.264.
constexpr quint8 slice = 1;
constexpr quint8 slicePartition = 2; // A, which has the slice's header
constexpr quint8 instantRefresh = 5; // a slice of an IDR picture
constexpr quint8 supplement = 6; // SEI
constexpr quint8 sequenceSet = 7; // SPS

constexpr quint32 recoveryPoint = 6; // of payloadType of SEI
constexpr size_t mostMessages = 64; // of one SEI unit that are looked at
constexpr size_t mostUnits = 256; // of one chunk that are looked at before its first slice
constexpr size_t mostSequenceBytes = 1024;

/// seq_scaling_list, passed over.
void skipScalingList(BitReader &reader, int count)
{
    int last = 8;
    int next = 8;
    for (int at = 0; at < count && next != 0 && !reader.isPastEnd(); ++at) {
        next = int((qint64(last) + reader.signedExponential() + 256) & 0xFF);
        last = next == 0 ? last : next;
    }
}

/// sei_message() one by one: whether one is a recovery point, and how many frames it takes.
bool hasRecoveryPoint(PayloadBytes bytes, quint32 *frames)
{
    using Emulation = BitReader::Emulation;
    BitReader reader(bytes, Emulation::Prevention);
    for (size_t message = 0; message < mostMessages && !reader.isPastEnd(); ++message) {
        quint32 type = 0;
        quint32 size = 0;
        for (quint32 *number : {&type, &size}) {
            quint32 byte = 0;
            do {
                byte = reader.bits(8);
                *number += byte;
            } while (byte == 0xFF && !reader.isPastEnd());
        }
        if (reader.isPastEnd())
            return false;
        if (type == recoveryPoint) {
            *frames = reader.exponential(); // recovery_frame_cnt
            return !reader.isPastEnd();
        }
        reader.skip(int(std::min<quint64>(quint64(size) * 8, 1 << 20)));
    }
    return false;
}

bool isSlice(quint8 type)
{
    return type == slice || type == slicePartition || type == instantRefresh;
}

/// Looks at one unit; false where it was the first slice, and nothing behind it is looked at.
bool readUnit(PayloadBytes unit, H264Headers &headers, bool &recovers)
{
    if (unit.size < 2)
        return true;
    const quint8 type = unit[0] & 0x1F;
    if (type == sequenceSet) {
        headers.hasSequence = true;
        const CodedSize size = readSequenceSize(unit.from(1).first(mostSequenceBytes));
        if (size.isKnown())
            headers.size = size;
    } else if (type == supplement) {
        quint32 frames = 0;
        if (hasRecoveryPoint(unit.from(1), &frames)) {
            recovers = true;
            headers.recoversAtOnce = frames == 0;
        }
    } else if (isSlice(type)) {
        BitReader reader(unit.from(1).first(16), BitReader::Emulation::Prevention);
        reader.exponential(); // first_mb_in_slice
        const quint32 kind = reader.exponential() % 5; // slice_type: P, B, I, SP, SI
        const bool isIntra = !reader.isPastEnd() && (kind == 2 || kind == 4);
        headers.start = type == instantRefresh || recovers ? FrameStart::Key
            : isIntra                                      ? FrameStart::Intra
                                                           : FrameStart::Dependent;
        if (type == instantRefresh)
            headers.recoversAtOnce = true;
        return false;
    }
    return true;
}

/// Units with a length of `lengthSize` bytes before each. `*fits` says whether those up to the first slice stand within
/// the `whole` bytes of the chunk.
H264Headers readByLengths(PayloadBytes bytes, size_t whole, int lengthSize, bool *fits)
{
    H264Headers headers;
    bool recovers = false;
    size_t at = 0;
    const size_t header = size_t(lengthSize);
    *fits = bytes.size > header;
    for (size_t count = 0; count < mostUnits && at < bytes.size; ++count) {
        quint64 length = 0;
        if (bytes.size - at < header + 1) {
            *fits = false;
            break;
        }
        for (size_t byte = 0; byte < header; ++byte)
            length = length << 8 | bytes[at + byte];
        constexpr quint8 forbiddenBit = 0x80; // forbidden_zero_bit
        if (length == 0 || length > whole - at - header || (bytes[at + header] & forbiddenBit) != 0) {
            *fits = false;
            break;
        }
        if (!readUnit(bytes.from(at + header).first(size_t(length)), headers, recovers))
            break;
        at += header + size_t(length);
    }
    return headers;
}

H264Headers readByStartCodes(PayloadBytes bytes)
{
    H264Headers headers;
    bool recovers = false;
    size_t at = behindStartCode(bytes, 0);
    for (size_t count = 0; count < mostUnits && at < bytes.size; ++count) {
        // The end of a slice is of no interest, and may be far.
        const bool isLast = isSlice(bytes[at] & 0x1F);
        const size_t next = isLast ? bytes.size : behindStartCode(bytes, at);
        const size_t end = next < bytes.size ? next - 3 : bytes.size;
        if (!readUnit(bytes.from(at).first(end - at), headers, recovers))
            break;
        at = next;
    }
    return headers;
}

} // namespace

CodedSize readSequenceSize(PayloadBytes bytes)
{
    BitReader reader(bytes, BitReader::Emulation::Prevention);
    const quint32 profile = reader.bits(8);
    reader.skip(8 + 8); // constraint flags, level_idc
    reader.exponential(); // seq_parameter_set_id
    constexpr quint32 withChroma[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    quint32 chroma = 1; // 4:2:0
    bool isSeparate = false;
    if (std::find(std::begin(withChroma), std::end(withChroma), profile) != std::end(withChroma)) {
        chroma = reader.exponential();
        if (chroma > 3)
            return {};
        if (chroma == 3)
            isSeparate = reader.flag();
        reader.exponential(); // bit_depth_luma_minus8
        reader.exponential(); // bit_depth_chroma_minus8
        reader.skip(1); // qpprime_y_zero_transform_bypass_flag
        if (reader.flag()) { // seq_scaling_matrix_present_flag
            const int lists = chroma == 3 ? 12 : 8;
            for (int list = 0; list < lists; ++list) {
                if (reader.flag())
                    skipScalingList(reader, list < 6 ? 16 : 64);
            }
        }
    }
    reader.exponential(); // log2_max_frame_num_minus4
    const quint32 orderType = reader.exponential(); // pic_order_cnt_type
    if (orderType == 0) {
        reader.exponential();
    } else if (orderType == 1) {
        reader.skip(1);
        reader.signedExponential();
        reader.signedExponential();
        const quint32 offsets = std::min<quint32>(reader.exponential(), 255);
        for (quint32 offset = 0; offset < offsets && !reader.isPastEnd(); ++offset)
            reader.signedExponential();
    }
    reader.exponential(); // max_num_ref_frames
    reader.skip(1);
    const quint64 width = (quint64(reader.exponential()) + 1) * 16; // in macroblocks
    const quint64 mapUnits = quint64(reader.exponential()) + 1;
    const quint32 fields = reader.flag() ? 1 : 2; // frame_mbs_only_flag
    if (fields == 2)
        reader.skip(1);
    reader.skip(1); // direct_8x8_inference_flag
    quint64 height = mapUnits * 16 * fields;
    quint64 cropped[4] = {}; // left, right, top, bottom
    if (reader.flag()) {
        for (quint64 &side : cropped)
            side = reader.exponential();
    }
    const bool hasColor = chroma != 0 && !isSeparate;
    const quint64 columns = hasColor && chroma < 3 ? 2 : 1; // CropUnitX
    const quint64 rows = quint64(hasColor && chroma == 1 ? 2 : 1) * fields; // CropUnitY
    const quint64 lessWidth = (cropped[0] + cropped[1]) * columns;
    const quint64 lessHeight = (cropped[2] + cropped[3]) * rows;
    constexpr quint64 largest = 1 << 16; // far above what any level allows
    if (reader.isPastEnd() || width > largest || height > largest || lessWidth >= width || lessHeight >= height)
        return {};
    return {quint32(width - lessWidth), quint32(height - lessHeight)};
}

H264Headers readH264Headers(PayloadBytes bytes, size_t whole, const H264Framing &framing)
{
    const auto begins = [bytes](size_t zeros) {
        if (bytes.size <= zeros || bytes[zeros] != 1)
            return false;
        return std::all_of(bytes.data, bytes.data + zeros, [](char byte) { return byte == 0; });
    };
    const bool hasStartCode = begins(2) || begins(3);
    bool fits = false;
    if (framing.isStated || !hasStartCode) {
        // A length of 1 or of 256 to 511 looks like a start code, so what the format states comes first.
        const H264Headers headers =
            readByLengths(bytes, std::max(whole, bytes.size), framing.isStated ? framing.lengthSize : 4, &fits);
        if (fits || !hasStartCode)
            return fits ? headers : H264Headers();
    }
    return readByStartCodes(bytes);
}

H264Headers readH264Setup(PayloadBytes extra, H264Framing *framing)
{
    // AVCDecoderConfigurationRecord: version 1, profile, compatibility, level, and sizes in the lowest bits of two
    // bytes.
    constexpr size_t recordHeader = 6;
    *framing = {};
    if (extra.size <= recordHeader || extra[0] != 1)
        return readByStartCodes(extra);
    framing->isStated = true;
    framing->lengthSize = (extra[4] & 3) + 1;
    H264Headers headers;
    bool recovers = false;
    size_t at = recordHeader;
    for (int sets = extra[5] & 0x1F; sets > 0 && extra.size - at > 2; --sets) {
        const size_t size = extra.word(at);
        if (size > extra.size - at - 2)
            break;
        readUnit(extra.from(at + 2).first(size), headers, recovers);
        at += 2 + size;
    }
    return headers;
}

} // namespace quenlofar
