#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace quenlofar {

/// What bytes are when they are read as a value of one kind.
struct ByteValue
{
    QString name; ///< the kind, for people
    QString little; ///< with the lowest byte first; empty where there are too few bytes
    QString big; ///< with the highest byte first
};

/// Bytes that the largest kind takes.
constexpr int mostValueBytes = 16;

/**
 * The first of `bytes` as integers, floating-point numbers, flags, times, characters and a GUID: always the same kinds
 * in the same order. Of characters and single bytes there is one order only; both texts are the same.
 */
std::vector<ByteValue> valuesOf(const QByteArray &bytes);

} // namespace quenlofar
