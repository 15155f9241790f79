#pragma once

#include <QByteArray>
#include <QStringView>

namespace quenlofar {

/// Whether `text` matches `pattern`, a UTF-8 text in which * stands for any characters, ? for any one and [...] for one
/// of a set, in upper or lower case. The program's locale has to be one of UTF-8.
bool matchesWildcards(const QByteArray &pattern, QStringView text);

} // namespace quenlofar
