#include "bytesource.h"

#include "filepath.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenlofar {

ByteSource::~ByteSource() = default;

QString ByteSource::errorText() const
{
    return {};
}

const char *ByteSource::memory() const
{
    return nullptr;
}

qint64 ByteSource::holeEnd(qint64 position)
{
    return position;
}

namespace {

static_assert(sizeof(off_t) == sizeof(qint64), "files above 2 GiB need a 64-bit off_t");

QString systemErrorText(int error)
{
    return QString::fromLocal8Bit(std::generic_category().message(error).c_str());
}

/// Why a file of this mode is refused; null for a regular file.
QString refusal(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return {};
    case S_IFDIR:
        return QStringLiteral("is a directory");
    case S_IFIFO:
        return QStringLiteral("is not a regular file (a pipe)");
    case S_IFSOCK:
        return QStringLiteral("is not a regular file (a socket)");
    case S_IFCHR:
        return QStringLiteral("is not a regular file (a character device)");
    case S_IFBLK:
        return QStringLiteral("is not a regular file (a block device)");
    default:
        return QStringLiteral("is not a regular file");
    }
}

class FileSource final : public ByteSource
{
public:
    explicit FileSource(int descriptor) : m_descriptor(descriptor) { }
    ~FileSource() override { ::close(m_descriptor); }

    /// Asks for size and kind of what was opened; null, or why it cannot be read.
    QString examine()
    {
        struct stat status;
        if (::fstat(m_descriptor, &status) != 0)
            return systemErrorText(errno);
        m_size = status.st_size;
        return refusal(status.st_mode);
    }

    qint64 size() const override { return m_size; }

    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        // The end stays where it was when the file was opened, even if the file grows.
        const qint64 wanted = position < 0 ? 0 : std::min(maxSize, m_size - position);
        qint64 came = 0;
        while (came < wanted) {
            const ssize_t count = ::pread(m_descriptor, data + came, size_t(wanted - came), position + came);
            if (count == 0)
                break;
            if (count > 0) {
                came += count;
            } else if (errno != EINTR) {
                // Bytes before the error are good; the next read gets the error.
                if (came > 0)
                    break;
                m_error = errno;
                return -1;
            }
        }
        return came;
    }

    QString errorText() const override { return systemErrorText(m_error); }

    qint64 holeEnd(qint64 position) override
    {
        if (position < 0 || position >= m_size)
            return position;
        // A file system without holes says that there is data right here, or refuses.
        const off_t data = ::lseek(m_descriptor, position, SEEK_DATA);
        if (data >= 0)
            return std::clamp<qint64>(data, position, m_size);
        // No data up to the end; which is where the file ends by now, in case it has shrunk.
        struct stat status;
        if (errno != ENXIO || ::fstat(m_descriptor, &status) != 0)
            return position;
        return std::max(position, std::min<qint64>(status.st_size, m_size));
    }

private:
    const int m_descriptor;
    qint64 m_size = 0;
    int m_error = 0;
};

class MemorySource final : public ByteSource
{
public:
    explicit MemorySource(const QByteArray &bytes) : m_bytes(bytes) { }

    qint64 size() const override { return m_bytes.size(); }

    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const qint64 count = position < 0 ? 0 : std::min(maxSize, size() - position);
        if (count <= 0)
            return 0;
        std::memcpy(data, m_bytes.constData() + position, size_t(count));
        return count;
    }

    const char *memory() const override { return m_bytes.constData(); }

private:
    const QByteArray m_bytes;
};

} // namespace

std::unique_ptr<ByteSource> openFileSource(const QString &path, QString *error)
{
    const QByteArray name = pathToBytes(path);
    if (name.contains('\0')) {
        *error = QStringLiteral("the file name holds a zero byte");
        return nullptr;
    }

    // Looked at before it is opened, because opening alone makes some devices act (a tape rewinds), and once more
    // afterwards, because the name may stand for something else by then.
    struct stat status;
    if (::stat(name.constData(), &status) != 0) {
        *error = systemErrorText(errno);
        return nullptr;
    }
    *error = refusal(status.st_mode);
    if (!error->isNull())
        return nullptr;

    int descriptor = -1;
    do {
        // O_NONBLOCK: a pipe that took the file's place is refused below, not waited for.
        descriptor = ::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        *error = systemErrorText(errno);
        return nullptr;
    }
    auto source = std::make_unique<FileSource>(descriptor);
    *error = source->examine();
    if (!error->isNull())
        return nullptr;
    return source;
}

std::unique_ptr<ByteSource> memorySource(const QByteArray &bytes)
{
    return std::make_unique<MemorySource>(bytes);
}

} // namespace quenlofar
