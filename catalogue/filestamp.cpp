#include "filestamp.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace quenlofar {

namespace {

constexpr qint64 inSecond = 1000000000; // in a second

struct Freer
{
    void operator()(char *text) const { std::free(text); }
};

} // namespace

std::optional<FileStamp> stampOf(const QByteArray &path, int *error)
{
    struct stat found = {};
    if (::stat(path.constData(), &found) != 0) {
        *error = errno;
        return std::nullopt;
    }
    FileStamp stamp;
    stamp.size = qint64(found.st_size);
    stamp.mtime = qint64(found.st_mtim.tv_sec) * inSecond + qint64(found.st_mtim.tv_nsec);
    stamp.device = qint64(found.st_dev);
    stamp.inode = qint64(found.st_ino);
    return stamp;
}

bool isGone(const QByteArray &path)
{
    struct stat found = {};
    return ::stat(path.constData(), &found) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

QString errnoText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

qint64 currentTime()
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return qint64(now.tv_sec) * inSecond + qint64(now.tv_nsec);
}

QByteArray AbsolutePaths::of(const QByteArray &path)
{
    const auto slash = path.lastIndexOf('/');
    const QByteArray directory = slash < 0 ? QByteArray(".") : path.left(slash + 1);
    auto known = m_directories.find(directory);
    if (known == m_directories.end()) {
        const std::unique_ptr<char, Freer> resolved(::realpath(directory.constData(), nullptr));
        // A directory that cannot be looked up holds nothing that could be opened: any name that stays will do.
        QByteArray whole = resolved ? QByteArray(resolved.get()) : directory;
        if (!whole.endsWith('/'))
            whole += '/';
        known = m_directories.insert(directory, whole);
    }
    return *known + path.mid(slash + 1);
}

} // namespace quenlofar
