#pragma once

#include "digits.h"
#include "utf8_p.h"

#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

class QIODevice;

namespace quenlofar {

/**
 * A fixed buffer in front of a device. The first failure of the device is remembered with its reason; from then on
 * bytes are taken and dropped, so that a writer need not look after every byte.
 */
class OutputBuffer
{
public:
    static constexpr std::ptrdiff_t capacity = 1 << 16; ///< bytes

    /// `device` is open for writing and outlives the buffer.
    explicit OutputBuffer(QIODevice &device);
    OutputBuffer(const OutputBuffer &) = delete;
    OutputBuffer &operator=(const OutputBuffer &) = delete;

    /// Where the next `size` bytes may be written, at most `capacity`; commit() says where they end.
    char *reserve(std::ptrdiff_t size)
    {
        if (Q_UNLIKELY(m_bytes + capacity - m_at < size))
            drain();
        return m_at;
    }
    void commit(char *end) { m_at = end; }

    void put(char byte)
    {
        *reserve(1) = byte;
        ++m_at;
    }
    void append(std::string_view bytes)
    {
        if (Q_UNLIKELY(std::ptrdiff_t(bytes.size()) > m_bytes + capacity - m_at)) {
            appendPieces(bytes);
            return;
        }
        std::memcpy(m_at, bytes.data(), bytes.size());
        m_at += bytes.size();
    }
    /// Appends `count` times the same byte; nothing where that is negative.
    void fill(char byte, std::ptrdiff_t count);
    /// Appends a number in decimal, to the right in `width` columns, at most `capacity` - 20, or in more where it needs
    /// them.
    void appendDecimal(quint64 number, std::ptrdiff_t width = 0)
    {
        char *digits = reserve(width + mostDecimalDigits);
        for (std::ptrdiff_t used = decimalDigits(number); used < width; ++used)
            *digits++ = ' ';
        commit(writeDecimal(number, digits));
    }

    /**
     * Appends UTF-16 text as UTF-8, up to `end` or to the first unit for which `stopsAt(unit)` holds; returns where it
     * stopped. Unpaired surrogates become U+FFFD.
     */
    template <typename StopsAt>
    const char16_t *appendUntil(const char16_t *at, const char16_t *end, const StopsAt &stopsAt);

    /// Hands everything to the device, and what a file device buffers itself to the system; false when that failed.
    bool flush();
    bool failed() const { return m_failed; }
    /// Why writing failed, in words for the user; null before that.
    const QString &errorText() const { return m_errorText; }

private:
    void appendPieces(std::string_view bytes);
    void drain();
    void fail(const QString &reason);

    QIODevice &m_device;
    QString m_errorText;
    bool m_failed = false;
    char *m_at = m_bytes;
    char m_bytes[capacity];
};

template <typename StopsAt>
const char16_t *OutputBuffer::appendUntil(const char16_t *at, const char16_t *end, const StopsAt &stopsAt)
{
    constexpr std::ptrdiff_t pieceSize = 4096;
    while (at != end) {
        const char16_t *const pieceEnd = at + std::min(end - at, pieceSize);
        // Three bytes per unit at most; a pair needs four, and its second half may lie behind the piece.
        char *out = reserve(3 * pieceSize + 1);
        while (at < pieceEnd) {
            const char16_t unit = *at;
            if (Q_UNLIKELY(stopsAt(unit))) {
                commit(out);
                return at;
            }
            ++at;
            if (Q_LIKELY(unit < 0x80)) {
                *out++ = static_cast<char>(unit);
            } else if ((unit & 0xF800) != 0xD800) {
                out = encodeUtf8(unit, out);
            } else if (unit < 0xDC00 && at != end && (*at & 0xFC00) == 0xDC00) {
                out = encodeUtf8(0x10000 + ((char32_t(unit) & 0x3FF) << 10) + (char32_t(*at) & 0x3FF), out);
                ++at;
            } else {
                out = encodeUtf8(replacementCharacter, out);
            }
        }
        commit(out);
    }
    return at;
}

} // namespace quenlofar
