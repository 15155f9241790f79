#pragma once

#include <QtGlobal>

/// Four characters as they are compared: the first one in the lowest byte.
constexpr quint32 idOf(const char (&text)[5])
{
    return quint32(quint8(text[0])) | quint32(quint8(text[1])) << 8 | quint32(quint8(text[2])) << 16
        | quint32(quint8(text[3])) << 24;
}

/// Ids consist of ASCII characters from the blank on. Anything else says that no chunk begins here.
constexpr bool isId(quint32 word)
{
    for (int shift = 0; shift < 32; shift += 8) {
        const quint32 byte = word >> shift & 0xFF;
        if (byte < 0x20 || byte > 0x7E)
            return false;
    }
    return true;
}

/// Stands in an RF64 file for a size that is in ds64; in others a writer that does not know the size leaves it there.
constexpr quint32 sizeStandsInDs64 = 0xFFFFFFFF;
/// The format tag of a header that an extension goes on with.
constexpr quint16 extensibleFormat = 0xFFFE;
