#pragma once

#include <QStringView>

namespace quenlofar {

/// How bad a problem of a file is; what is worse is greater.
enum class Severity : quint8 {
    Note, ///< legal and unusual: worth knowing
    Warning, ///< readers cope, but practice says otherwise, or the file promises something false
    Error, ///< data is lost, unreachable or shown wrongly by some reader, or a plain must of the format is broken
};

/// "note", "warning" or "error".
constexpr QStringView severityName(Severity severity)
{
    return severity == Severity::Error  ? QStringView(u"error")
        : severity == Severity::Warning ? QStringView(u"warning")
                                        : QStringView(u"note");
}

} // namespace quenlofar
