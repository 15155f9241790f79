#pragma once

#include <QByteArray>

#include <sys/stat.h>

#include <optional>

namespace quenlofar {

/// What a name that output is to go to stands for.
struct OutputTarget
{
    int error = 0; ///< the errno for which nothing can be written there; then the rest says nothing
    int descriptor = -1; ///< one of ours that is open already (/dev/stdout, /dev/fd/3); not negative if it is that
    QByteArray path; ///< where the links lead to
    std::optional<struct stat> existing; ///< what is there

    /// A file, new or not, that can be replaced as a whole.
    bool isReplaceable() const { return descriptor < 0 && (!existing || S_ISREG(existing->st_mode)); }
};

/**
 * Follows the symbolic links of `path`. Where the system refuses to write, so does this: loops of links, what may not
 * be searched, another user's file in a directory like /tmp. Another user's link in such a directory is refused
 * even where the system is not set to do so: between two looks at it, it may have become another one.
 */
OutputTarget findOutputTarget(const QByteArray &path);

} // namespace quenlofar
