#include "offsetargument.h"

#include <QByteArray>
#include <QLatin1String>
#include <QString>

#include <charconv>

namespace quenlofar {

namespace {

/// Digits alone, or hexadecimal ones behind "0x"; nothing for text that is not a 64-bit number.
std::optional<quint64> parseNumber(QStringView text)
{
    const bool isHex = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    const QByteArray digits = text.mid(isHex ? 2 : 0).toUtf8();
    quint64 number = 0;
    const char *const end = digits.constData() + digits.size();
    const auto [stop, error] = std::from_chars(digits.constData(), end, number, isHex ? 16 : 10);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

} // namespace

std::optional<FileOffset> FileOffset::parse(QStringView text)
{
    const QLatin1String fromEnd("end-");
    const bool isFromEnd = text.startsWith(fromEnd);
    const std::optional<quint64> distance = parseNumber(isFromEnd ? text.mid(fromEnd.size()) : text);
    if (!distance)
        return std::nullopt;
    return FileOffset{*distance, isFromEnd};
}

std::optional<quint64> FileOffset::in(quint64 fileSize) const
{
    if (!isFromEnd)
        return distance;
    if (distance > fileSize)
        return std::nullopt;
    return fileSize - distance;
}

std::optional<FileRange> FileRange::parse(QStringView text)
{
    const auto plus = text.indexOf(QLatin1Char('+'));
    if (plus < 0)
        return std::nullopt;
    const std::optional<FileOffset> begin = FileOffset::parse(text.left(plus));
    const std::optional<quint64> size = parseNumber(text.mid(plus + 1));
    if (!begin || !size)
        return std::nullopt;
    return FileRange{*begin, *size};
}

} // namespace quenlofar
