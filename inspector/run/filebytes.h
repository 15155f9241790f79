#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace quenlofar {

/// All bytes of a file that an option names, at most `mostBytes`; null, and `*error` why, where they cannot be had.
std::optional<QByteArray> bytesOfFile(const QString &path, quint64 mostBytes, QString *error);

} // namespace quenlofar
