#pragma once

#include <QString>
#include <QtGlobal>

namespace quenlofar {

/// One well-formed UTF-8 sequence; a length of 0 means that there is none.
struct Utf8Sequence
{
    int length = 0; ///< bytes, 1 to 4
    char32_t codePoint = 0;
};

/// The number of bytes that the lead byte `lead` announces; 0 for a byte that leads no sequence.
constexpr int utf8AnnouncedLength(uchar lead)
{
    return lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

constexpr bool isUtf8Continuation(uchar byte)
{
    return (byte & 0xC0) == 0x80;
}

/**
 * Decodes the sequence that begins at `at`, of which `available` bytes are there. Strict (RFC 3629): no overlong forms,
 * no surrogates, nothing above U+10FFFF. QString::fromUtf8 will not do: it swallows byte-order marks and replaces
 * what is wrong without saying where.
 */
inline Utf8Sequence decodeUtf8(const char *at, qint64 available)
{
    constexpr char32_t smallestOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    if (available < 1)
        return {};
    const uchar lead = static_cast<uchar>(*at);
    const int length = utf8AnnouncedLength(lead);
    if (length == 0 || length > available)
        return {};
    if (length == 1)
        return {1, lead};

    char32_t codePoint = lead & (0x7Fu >> length);
    for (int i = 1; i < length; ++i) {
        const uchar byte = static_cast<uchar>(at[i]);
        if (!isUtf8Continuation(byte))
            return {};
        codePoint = (codePoint << 6) | (byte & 0x3Fu);
    }
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (codePoint < smallestOfLength[length] || isSurrogate || codePoint > 0x10FFFF)
        return {};
    return {length, codePoint};
}

/// The character that is shown in the place of what is none.
inline constexpr char32_t replacementCharacter = 0xFFFD;

/// Writes `codePoint`, which is no surrogate, as one to four bytes; returns where they end.
inline char *encodeUtf8(char32_t codePoint, char *out)
{
    const auto tail = [codePoint](int shift) { return char(0x80 | ((codePoint >> shift) & 0x3F)); };
    if (codePoint < 0x80) {
        *out++ = char(codePoint);
        return out;
    }
    if (codePoint < 0x800) {
        *out++ = char(0xC0 | (codePoint >> 6));
    } else {
        if (codePoint < 0x10000) {
            *out++ = char(0xE0 | (codePoint >> 12));
        } else {
            *out++ = char(0xF0 | (codePoint >> 18));
            *out++ = tail(12);
        }
        *out++ = tail(6);
    }
    *out++ = tail(0);
    return out;
}

/// Appends `codePoint` as one or two units of UTF-16.
inline void appendCodePoint(QString *text, char32_t codePoint)
{
    if (QChar::requiresSurrogates(codePoint)) {
        *text += QChar(QChar::highSurrogate(codePoint));
        *text += QChar(QChar::lowSurrogate(codePoint));
    } else {
        *text += QChar(char16_t(codePoint));
    }
}

} // namespace quenlofar
