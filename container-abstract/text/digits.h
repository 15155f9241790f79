#pragma once

#include <QtGlobal>

#include <cstddef>

namespace quenlofar {

constexpr char lowerHexDigit(unsigned value)
{
    return "0123456789abcdef"[value & 0xF];
}

constexpr char upperHexDigit(unsigned value)
{
    return "0123456789ABCDEF"[value & 0xF];
}

/// "00", "01" .. "99": two digits per division.
struct DigitPairs
{
    char pair[200];
    constexpr DigitPairs() : pair()
    {
        for (size_t i = 0; i < 100; ++i) {
            pair[2 * i] = char('0' + i / 10);
            pair[2 * i + 1] = char('0' + i % 10);
        }
    }
};
inline constexpr DigitPairs digitPairs;

inline constexpr int mostDecimalDigits = 20; ///< of a number of 64 bits

inline int decimalDigits(quint64 number)
{
    int digits = 1;
    for (quint64 limit = 10; number >= limit; limit *= 10) {
        ++digits;
        if (digits == mostDecimalDigits)
            break; // the next limit does not fit
    }
    return digits;
}

/// Writes `number` in decimal, in characters of 8 or 16 bits; returns where its digits end.
template <typename Character> Character *writeDecimal(quint64 number, Character *begin)
{
    Character *const end = begin + decimalDigits(number);
    Character *at = end;
    while (number >= 100) {
        const quint64 rest = number % 100;
        number /= 100;
        *--at = Character(digitPairs.pair[2 * rest + 1]);
        *--at = Character(digitPairs.pair[2 * rest]);
    }
    if (number >= 10) {
        *--at = Character(digitPairs.pair[2 * number + 1]);
        *--at = Character(digitPairs.pair[2 * number]);
    } else {
        *--at = Character('0' + number);
    }
    return end;
}

} // namespace quenlofar
