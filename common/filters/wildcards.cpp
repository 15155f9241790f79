#include "wildcards.h"

#include <fnmatch.h>

namespace quenlofar {

bool matchesWildcards(const QByteArray &pattern, QStringView text)
{
    return ::fnmatch(pattern.constData(), text.toUtf8().constData(), FNM_CASEFOLD) == 0;
}

} // namespace quenlofar
