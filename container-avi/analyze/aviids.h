#pragma once

#include "avirecords.h"

#include <QtGlobal>

namespace quenlofar {

/// What the four characters of a chunk id say.
enum class AviIdKind : quint8 {
    None, ///< not printable ASCII
    Printable, ///< no id that is known
    Known, ///< a chunk that AVI files have
    List, ///< RIFF or LIST
    Index, ///< ix00, or 00ix as some write it
    Data, ///< 00dc: data of a stream
};

/// Byte number `at` of an id, from 0.
constexpr quint8 idByte(quint32 id, int at)
{
    return quint8(id >> (8 * at));
}
constexpr bool isDigit(quint8 byte)
{
    return byte >= '0' && byte <= '9';
}
constexpr bool isLetter(quint8 byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_';
}
/// All four characters are printable ASCII.
constexpr bool isPrintable(quint32 id)
{
    for (int at = 0; at < 4; ++at) {
        if (idByte(id, at) < 0x20 || idByte(id, at) > 0x7E)
            return false;
    }
    return true;
}

/// The stream that two digits name, or -1. Writers count in decimal digits; a letter can only be hexadecimal, so it is
/// taken as that. The first one has to be a digit: "data" and "fact" are no data chunks.
constexpr int streamNumber(quint8 first, quint8 second)
{
    if (!isDigit(first))
        return -1;
    if (isDigit(second))
        return 10 * (first - '0') + (second - '0');
    if (second >= 'a' && second <= 'f')
        return 16 * (first - '0') + (second - 'a') + 10;
    return second >= 'A' && second <= 'F' ? 16 * (first - '0') + (second - 'A') + 10 : -1;
}
/// The stream of an id like 00dc; -1 for any other.
constexpr int dataStream(quint32 id)
{
    return isLetter(idByte(id, 2)) && isLetter(idByte(id, 3)) ? streamNumber(idByte(id, 0), idByte(id, 1)) : -1;
}
/// The last two characters of an id; see twoLetters.
constexpr quint16 lettersOfId(quint32 id)
{
    return quint16(id >> 16);
}
/// The stream of an id like ix00 or 00ix; -1 for any other.
constexpr int indexStream(quint32 id)
{
    if (quint16(id) == twoLetters("ix"))
        return streamNumber(idByte(id, 2), idByte(id, 3));
    return lettersOfId(id) == twoLetters("ix") ? streamNumber(idByte(id, 0), idByte(id, 1)) : -1;
}
/// Letters that name the same kind of data: a frame is a frame, compressed or not.
constexpr bool areAlike(quint16 letters, quint16 others)
{
    const auto isFrame = [](quint16 each) { return each == twoLetters("db") || each == twoLetters("dc"); };
    return letters == others || (isFrame(letters) && isFrame(others));
}

/// The ids that may follow one another in an AVI file, besides those of data and indexes.
inline constexpr quint32 knownIds[] = {fourCC("idx1"), fourCC("JUNK"), fourCC("junk"), fourCC("PAD "),
                                       fourCC("avih"), fourCC("strh"), fourCC("strf"), fourCC("strd"),
                                       fourCC("strn"), fourCC("vprp"), fourCC("dmlh"), fourCC("indx")};

inline AviIdKind idKind(quint32 id)
{
    if (dataStream(id) >= 0)
        return lettersOfId(id) == twoLetters("ix") ? AviIdKind::Index : AviIdKind::Data;
    if (id == fourCC("LIST") || id == fourCC("RIFF"))
        return AviIdKind::List;
    if (indexStream(id) >= 0)
        return AviIdKind::Index;
    for (const quint32 known : knownIds) {
        if (id == known)
            return AviIdKind::Known;
    }
    return isPrintable(id) ? AviIdKind::Printable : AviIdKind::None;
}

} // namespace quenlofar
