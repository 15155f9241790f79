#include "posixfile.h"

#include "filepath.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace quenlofar {

namespace {

/// What one call writes or reads at most: the kernel takes a little less than 2 GiB.
constexpr quint64 mostAtOnce = quint64(1) << 30;

} // namespace

PosixFile::PosixFile(PosixFile &&other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) { }

PosixFile &PosixFile::operator=(PosixFile &&other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

PosixFile::~PosixFile()
{
    close();
}

bool PosixFile::readAll(quint64 offset, char *data, quint64 size) const
{
    while (size > 0) {
        const ssize_t came = ::pread(m_descriptor, data, std::min(size, mostAtOnce), off_t(offset));
        if (came < 0 && errno == EINTR)
            continue;
        if (came <= 0) {
            errno = came == 0 ? 0 : errno;
            return false;
        }
        offset += quint64(came);
        data += came;
        size -= quint64(came);
    }
    return true;
}

bool PosixFile::writeAll(quint64 offset, const char *data, quint64 size) const
{
    while (size > 0) {
        const ssize_t gone = ::pwrite(m_descriptor, data, std::min(size, mostAtOnce), off_t(offset));
        if (gone < 0 && errno == EINTR)
            continue;
        if (gone <= 0) {
            errno = gone == 0 ? ENOSPC : errno;
            return false;
        }
        offset += quint64(gone);
        data += gone;
        size -= quint64(gone);
    }
    return true;
}

bool PosixFile::sync() const
{
    int result = 0;
    do {
        result = ::fsync(m_descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool PosixFile::close()
{
    const int descriptor = std::exchange(m_descriptor, -1);
    return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
}

PosixFile openPosix(const QString &path, int flags, unsigned mode)
{
    int descriptor = -1;
    do {
        descriptor = ::open(pathToBytes(path).constData(), flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return PosixFile(descriptor);
}

bool syncDirectoryOf(const QString &path)
{
    const auto slash = path.lastIndexOf(QLatin1Char('/'));
    const QString directory = slash < 0 ? QStringLiteral(".") : slash == 0 ? QStringLiteral("/") : path.left(slash);
    const PosixFile file = openPosix(directory, O_RDONLY | O_DIRECTORY);
    return file.isOpen() && (file.sync() || errno == EINVAL || errno == ENOTSUP);
}

QString systemError(const QString &path)
{
    const int error = errno;
    return path + QStringLiteral(": ")
        + (error == 0 ? QStringLiteral("it became shorter") : QString::fromLocal8Bit(std::strerror(error)));
}

bool isUnchanged(const struct stat &before, const struct stat &after)
{
    return before.st_dev == after.st_dev && before.st_ino == after.st_ino && before.st_size == after.st_size
        && before.st_mtim.tv_sec == after.st_mtim.tv_sec && before.st_mtim.tv_nsec == after.st_mtim.tv_nsec;
}

} // namespace quenlofar
