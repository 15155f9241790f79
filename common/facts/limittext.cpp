#include "limittext.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <utility>

namespace quenlofar {

bool setWorkLimit(QStringView text, RunLimits *limits)
{
    constexpr std::pair<std::string_view, double> units[] = {
        {"B", 1.0},      {"kB", 1e3},     {"MB", 1e6},     {"GB", 1e9},     {"TB", 1e12},
        {"PB", 1e15},    {"EB", 1e18},    {"KiB", 0x1p10}, {"MiB", 0x1p20}, {"GiB", 0x1p30},
        {"TiB", 0x1p40}, {"PiB", 0x1p50}, {"EiB", 0x1p60}};
    constexpr double pastAnyNumber = 0x1p64;
    const QByteArray bytesOfText = text.toUtf8();
    const char *const begin = bytesOfText.constData();
    const char *const end = begin + bytesOfText.size();
    double number = 0;
    const auto [rest, error] = std::from_chars(begin, end, number, std::chars_format::fixed);
    const std::string_view unit(rest, size_t(end - rest));
    const auto *const known =
        std::find_if(std::begin(units), std::end(units), [unit](const auto &row) { return row.first == unit; });
    const double bytes = known == std::end(units) ? 0 : number * known->second;
    const bool isFactor = unit.empty() && number > 0 && number < pastAnyNumber;
    if (error != std::errc() || !(isFactor || (bytes >= 1 && bytes < pastAnyNumber)))
        return false;
    if (isFactor)
        limits->maxWorkFactor = number;
    else
        limits->maxWork = quint64(bytes);
    return true;
}

} // namespace quenlofar
