#pragma once

#include <QByteArray>
#include <QString>

#include <sys/stat.h>

namespace quenlofar {

/// A file descriptor that is closed with the object, and calls that go on where a signal or a limit of the system ended
/// them early. Errors are left in errno.
class PosixFile
{
public:
    PosixFile() = default;
    /// Takes an open descriptor, or -1 for none.
    explicit PosixFile(int descriptor) : m_descriptor(descriptor) { }
    PosixFile(PosixFile &&other) noexcept;
    PosixFile &operator=(PosixFile &&other) noexcept;
    PosixFile(const PosixFile &) = delete;
    PosixFile &operator=(const PosixFile &) = delete;
    ~PosixFile();

    bool isOpen() const { return m_descriptor >= 0; }
    int descriptor() const { return m_descriptor; }
    /// All `size` bytes at `offset`; false on an error, and with errno 0 where the file has fewer.
    bool readAll(quint64 offset, char *data, quint64 size) const;
    bool writeAll(quint64 offset, const char *data, quint64 size) const;
    bool writeAll(quint64 offset, const QByteArray &bytes) const
    {
        return writeAll(offset, bytes.constData(), quint64(bytes.size()));
    }
    /// What is known of the file.
    bool stat(struct stat *facts) const { return ::fstat(m_descriptor, facts) == 0; }
    /// Its bytes and its size are on the disk.
    bool sync() const;
    /// Closes; false where the system says only now that something was not written.
    bool close();

private:
    int m_descriptor = -1;
};

/// Opens a path as QString has it, see pathFromBytes.
PosixFile openPosix(const QString &path, int flags, unsigned mode = 0);
/// The names in the directory of `path` are on the disk. Where the file system cannot do that, nothing is asked of it.
bool syncDirectoryOf(const QString &path);
/// "PATH: what the system says of errno".
QString systemError(const QString &path);
/// The same file, and nobody has written to it meanwhile.
bool isUnchanged(const struct stat &before, const struct stat &after);

} // namespace quenlofar
