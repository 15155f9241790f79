#pragma once

#include <QByteArray>

namespace quenlofar {

/// Bits one behind the other, the highest of each byte first: what a standard's syntax table says, line by line.
class BitString
{
public:
    /// The lowest `count` bits of `value`.
    BitString &bits(int count, quint32 value)
    {
        for (int bit = count - 1; bit >= 0; --bit) {
            if (m_count % 8 == 0)
                m_bytes.append('\0');
            const int shift = 7 - m_count % 8;
            m_bytes[int(m_bytes.size()) - 1] = char(quint8(m_bytes.back()) | quint8((value >> bit & 1) << shift));
            ++m_count;
        }
        return *this;
    }
    /// Bits as a text of '0' and '1'; other characters are passed over.
    BitString &text(const char *bitTexts)
    {
        for (; *bitTexts != '\0'; ++bitTexts) {
            if (*bitTexts == '0' || *bitTexts == '1')
                bits(1, *bitTexts == '1' ? 1 : 0);
        }
        return *this;
    }
    /// The bytes; the last one is filled with zero bits.
    QByteArray bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
    int m_count = 0;
};

/// Payload of codecs, for tests: their headers, and behind them bytes that are no header.
namespace payload {

/// `size` bytes that have no zero byte, no 0xFF and no 1.
inline QByteArray filling(int size)
{
    QByteArray bytes(size, '\0');
    for (int at = 0; at < size; ++at)
        bytes[at] = char(0x20 + at % 0x50);
    return bytes;
}

/// The header of a rectangular video object layer of MPEG-4 Visual, 25 ticks per second.
inline QByteArray layer(quint32 width, quint32 height)
{
    BitString bits;
    bits.text("0").bits(8, 1); // random_accessible_vol, video_object_type_indication
    bits.text("0").bits(4, 1); // is_object_layer_identifier, aspect_ratio_info
    bits.text("0 00 1"); // vol_control_parameters, video_object_layer_shape, marker
    bits.bits(16, 25).text("1 0 1"); // vop_time_increment_resolution, marker, fixed_vop_rate, marker
    bits.bits(13, width).text("1").bits(13, height).text("1");
    return QByteArray::fromHex("00000120") + bits.bytes();
}
/// A video object plane of that layer: coding type 0 for I, 1 for P, 2 for B. One that is not coded ends with its
/// header.
inline QByteArray plane(int type, int size = 40, bool isCoded = true)
{
    // modulo_time_base of no second, marker, vop_time_increment of five bits, marker, vop_coded.
    BitString bits;
    bits.bits(2, quint32(type)).text("0 1").bits(5, 3).text("1").text(isCoded ? "1" : "0").text("11111");
    return QByteArray::fromHex("000001b6") + bits.bytes() + filling(isCoded ? size - 1 : 0);
}

/// A sequence parameter set of H.264 of the Baseline profile, 64 by 48 pixels.
inline QByteArray sequenceSet()
{
    BitString bits;
    bits.bits(8, 66).bits(8, 0).bits(8, 30); // profile_idc, constraint flags, level_idc
    bits.text("1"); // seq_parameter_set_id 0
    bits.text("1 1 1"); // log2_max_frame_num_minus4 0, pic_order_cnt_type 0, log2_max_pic_order_cnt_lsb_minus4 0
    bits.text("010 0"); // max_num_ref_frames 1, gaps_in_frame_num_value_allowed_flag
    bits.text("00100 011"); // pic_width_in_mbs_minus1 3, pic_height_in_map_units_minus1 2
    bits.text("1 1 0 0 1"); // frame_mbs_only, direct_8x8_inference, frame_cropping, vui, rbsp_stop_one_bit
    return QByteArray(1, '\x67') + bits.bytes();
}
/// A slice: nal_unit_type 5 for IDR, 1 for another; slice_type 7 for I, 5 for P.
inline QByteArray slice(int unit, int kind, int size = 40)
{
    // first_mb_in_slice 0, then slice_type 5 or 7 as Exp-Golomb codes.
    BitString bits;
    bits.text("1").text(kind == 7 ? "0001000" : "00110");
    return QByteArray(1, char(0x60 | unit)) + bits.bytes() + filling(size);
}
/// A message of supplemental enhancement information: a recovery point after `frames` frames, 0 or 1.
inline QByteArray recoveryPoint(int frames)
{
    // payloadType 6, payloadSize 1, recovery_frame_cnt, exact_match_flag, broken_link_flag, changing_slice_group_idc
    return QByteArray::fromHex("060601")
        + (frames == 0 ? BitString().text("1 1 0 00 1") : BitString().text("010 1 0 00 1")).bytes()
        + QByteArray::fromHex("80");
}
/// Units behind start codes.
inline QByteArray startCodes(std::initializer_list<QByteArray> units)
{
    QByteArray bytes;
    for (const QByteArray &unit : units)
        bytes += QByteArray::fromHex("00000001") + unit;
    return bytes;
}
/// Units behind lengths of four bytes.
inline QByteArray lengths(std::initializer_list<QByteArray> units)
{
    QByteArray bytes;
    for (const QByteArray &unit : units)
        bytes += QByteArray::fromHex("0000") + char(unit.size() >> 8) + char(unit.size() & 0xFF) + unit;
    return bytes;
}
/// The decoder configuration record (avcC) with a sequence parameter set and no picture parameter set.
inline QByteArray configuration()
{
    const QByteArray set = sequenceSet();
    return QByteArray::fromHex("0142001effe1") + '\0' + char(set.size()) + set + '\0';
}

/// A JPEG picture of one component with these Huffman tables (segments), and `scan` behind the header of its scan.
inline QByteArray jpeg(int width, int height, const QByteArray &scan = filling(60), const QByteArray &tables = {})
{
    const QByteArray frame = QByteArray::fromHex("ffc0000b08") + char(height >> 8) + char(height & 0xFF)
        + char(width >> 8) + char(width & 0xFF) + QByteArray::fromHex("01011100");
    return QByteArray::fromHex("ffd8") + frame + tables + QByteArray::fromHex("ffda0008010100003f00") + scan
        + QByteArray::fromHex("ffd9");
}
/// A Huffman table of one code, of one bit, for the value 0: class 0 is DC, 1 is AC.
inline QByteArray flatTable(int kind)
{
    return QByteArray::fromHex("ffc40014") + char(kind << 4) + '\x01' + QByteArray(15, '\0') + '\0';
}

/// A frame of MP3 of version 1: 128 kbit/s and 44100 Hz (417 bytes) for the index 9, 64 kbit/s (208 bytes) for 5.
inline QByteArray mp3(int bitRateIndex = 9, bool isMono = false)
{
    const int size = bitRateIndex == 9 ? 417 : 208;
    return QByteArray::fromHex("fffb") + char(bitRateIndex << 4) + char(isMono ? 0xC0 : 0x40) + filling(size - 4);
}

/// A DV frame's first block; the rest is other bytes.
inline QByteArray dv(bool is625, int size)
{
    return QByteArray::fromHex(is625 ? "1f0700bf" : "1f07003f") + filling(size - 4);
}

} // namespace payload

} // namespace quenlofar
