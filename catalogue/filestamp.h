#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <optional>

namespace quenlofar {

/// What the file system says of a file, by which a later run knows whether it is the one that was checked.
struct FileStamp
{
    qint64 size = -1; ///< bytes; -1 where it is not known
    qint64 mtime = 0; ///< when the bytes were changed last: nanoseconds since 1970, UTC
    qint64 device = 0; ///< of the file system
    qint64 inode = 0; ///< in the file system

    /// Whether size, time and inode are equal. Devices get other numbers when the machine is started anew.
    bool isLike(const FileStamp &other) const
    {
        return size == other.size && mtime == other.mtime && inode == other.inode;
    }
};

/// The stamp of what stands at `path`, links followed. Nothing, and an errno in `*error`, where nothing can be said.
std::optional<FileStamp> stampOf(const QByteArray &path, int *error);
/// Whether the system says that nothing stands at `path`, which is more than that it cannot be seen.
bool isGone(const QByteArray &path);
/// The system's words for an errno.
QString errnoText(int error);
/// Nanoseconds since 1970, UTC.
qint64 currentTime();

/// Makes paths that do not depend on where the program was started, each directory looked up once.
class AbsolutePaths
{
public:
    /// `path` from the root, with the symbolic links of its directory resolved, its own name as it is.
    QByteArray of(const QByteArray &path);

private:
    QHash<QByteArray, QByteArray> m_directories; // with a slash at the end
};

} // namespace quenlofar
