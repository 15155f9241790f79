#pragma once

#include <QString>

#include <exception>

namespace quenlofar {

/// What an exception says.
struct ThrownText
{
    bool isForMemory; ///< memory ran out, or a size was asked for that no memory has
    QString text;
};

/// Reads any exception: those of plug-ins need not be of the library's kinds.
ThrownText thrownText(const std::exception_ptr &exception);

} // namespace quenlofar
