#pragma once

#include <QtGlobal>

#include <cstddef>
#include <cstring>

namespace quenlofar {

/// Bytes of payload, which it does not own.
struct PayloadBytes
{
    const char *data = nullptr;
    size_t size = 0;

    /// The byte number `at`, which has to be there.
    quint8 operator[](size_t at) const { return quint8(data[at]); }
    /// What follows the first `count` bytes; nothing where there are no more.
    PayloadBytes from(size_t count) const
    {
        return count < size ? PayloadBytes{data + count, size - count} : PayloadBytes{};
    }
    /// The first `count` bytes, or all.
    PayloadBytes first(size_t count) const { return {data, count < size ? count : size}; }
    /// The big-endian number of two bytes, which have to be there.
    quint16 word(size_t at) const { return quint16((*this)[at] << 8 | (*this)[at + 1]); }
};

/// Whether the 64 bytes at `bytes` are zero: for loops over long runs of them.
inline bool isZero64(const char *bytes)
{
    quint64 numbers[8] = {};
    std::memcpy(numbers, bytes, sizeof numbers);
    quint64 ones = 0;
    for (const quint64 number : numbers)
        ones |= number;
    return ones == 0;
}

/// Reads numbers of any count of bits, the highest bit first. Past the end it reads zeros and says so.
class BitReader
{
public:
    /// Whether 00 00 03 stands for 00 00, as in the NAL units of H.264.
    enum class Emulation : quint8 { None, Prevention };

    explicit BitReader(PayloadBytes bytes, Emulation emulation = Emulation::None)
        : m_bytes(bytes), m_emulation(emulation)
    {
    }

    /// The next `count` bits, at most 32.
    quint32 bits(int count)
    {
        quint32 value = 0;
        for (; count > 0; --count)
            value = value << 1 | bit();
        return value;
    }
    /// The next bit is 1.
    bool flag() { return bit() != 0; }
    void skip(int count)
    {
        for (; count > 0 && !m_isPastEnd; --count)
            bit();
    }
    /// An Exp-Golomb code without a sign, ue(v) of H.264; at most 32 leading zeros.
    quint32 exponential()
    {
        int zeros = 0;
        while (zeros < 32 && !m_isPastEnd && bit() == 0)
            ++zeros;
        return zeros == 0 ? 0 : quint32((quint64(1) << zeros) - 1 + bits(zeros));
    }
    /// An Exp-Golomb code with a sign, se(v) of H.264.
    qint32 signedExponential()
    {
        const quint32 code = exponential();
        return code % 2 != 0 ? qint32(code / 2 + 1) : -qint32(code / 2);
    }
    /// More bits were asked for than there are.
    bool isPastEnd() const { return m_isPastEnd; }

private:
    quint32 bit()
    {
        if (m_left == 0) {
            nextByte();
            if (m_isPastEnd)
                return 0;
        }
        --m_left;
        return quint32(m_byte >> m_left) & 1U;
    }
    void nextByte()
    {
        if (m_emulation == Emulation::Prevention && m_zeros >= 2 && m_at < m_bytes.size && m_bytes[m_at] == 3) {
            ++m_at;
            m_zeros = 0;
        }
        if (m_at >= m_bytes.size) {
            m_isPastEnd = true;
            return;
        }
        m_byte = m_bytes[m_at++];
        m_zeros = m_byte == 0 ? m_zeros + 1 : 0;
        m_left = 8;
    }

    const PayloadBytes m_bytes;
    const Emulation m_emulation;
    size_t m_at = 0; // of the next byte
    int m_zeros = 0; // bytes of 0 before it
    quint8 m_byte = 0;
    int m_left = 0; // bits of m_byte that were not read
    bool m_isPastEnd = false;
};

/// A size of pictures that payload states; 0 by 0 where it does not.
struct CodedSize
{
    quint32 width = 0;
    quint32 height = 0;

    bool isKnown() const { return width != 0 && height != 0; }
};

/// What a frame's payload says of itself.
enum class FrameStart : quint8 {
    Unknown, ///< no header that says it
    Dependent, ///< it needs other frames
    Intra, ///< it needs no others, but does not promise that those behind it need none before it
    Key, ///< decoding can begin here
};

/// The place behind the next 00 00 01 that begins at `from` or behind; bytes.size where there is none.
size_t behindStartCode(PayloadBytes bytes, size_t from);

} // namespace quenlofar
