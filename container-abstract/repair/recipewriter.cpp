#include "recipewriter.h"
#include "filepath.h"
#include "posixfile.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/statvfs.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace quenlofar {

namespace {

/// Bytes between two looks at the cancel.
constexpr quint64 chunkBytes = quint64(16) << 20;

/// A file that has no name of its own yet; it goes with the object unless it gets one.
class UnnamedFile
{
public:
    explicit UnnamedFile(const QString &target)
    {
        m_name = pathToBytes(target);
        const auto slash = m_name.lastIndexOf('/');
        m_name = m_name.left(slash + 1) + QByteArrayLiteral(".quenlofar-XXXXXX");
        m_file = PosixFile(::mkostemp(m_name.data(), O_CLOEXEC)); // with 0600
    }
    UnnamedFile(const UnnamedFile &) = delete;
    UnnamedFile &operator=(const UnnamedFile &) = delete;
    ~UnnamedFile()
    {
        if (m_file.isOpen())
            ::unlink(m_name.constData());
    }

    const PosixFile &file() const { return m_file; }
    /// Gives it the name; an existing file of that name is replaced or is an error.
    bool take(const QString &target, bool replaces)
    {
        const QByteArray name = pathToBytes(target);
        if (replaces ? ::rename(m_name.constData(), name.constData()) != 0 : !takeNew(name))
            return false;
        return m_file.close();
    }

private:
    bool takeNew(const QByteArray &name) const
    {
        if (::renameat2(AT_FDCWD, m_name.constData(), AT_FDCWD, name.constData(), RENAME_NOREPLACE) == 0)
            return true;
        if (errno != EINVAL && errno != ENOSYS)
            return false;
        // A file system without that call: a second name is never that of an existing file.
        return ::link(m_name.constData(), name.constData()) == 0 && ::unlink(m_name.constData()) == 0;
    }

    QByteArray m_name;
    PosixFile m_file;
};

/// Copies ranges of one file into another, by whatever the system offers.
class RangeCopy
{
public:
    RangeCopy(const PosixFile &from, const PosixFile &to, const WriteOptions &options)
        : m_from(from), m_to(to), m_options(options)
    {
    }

    /// False on an error, or a cancel. Holes are left out: the new file has them where nothing is written.
    bool copy(quint64 from, quint64 to, quint64 size)
    {
        while (size > 0) {
            if (m_options.cancel && *m_options.cancel)
                return false;
            const off_t data = ::lseek(m_from.descriptor(), off_t(from), SEEK_DATA);
            const bool endsWithHole = data < 0 && errno == ENXIO;
            const quint64 begin = endsWithHole ? from + size : data < 0 ? from : std::min(quint64(data), from + size);
            to += begin - from;
            size -= begin - from;
            from = begin;
            const quint64 count = std::min({size, chunkBytes, bytesToHole(from)});
            if (count > 0 && !copyChunk(from, to, count))
                return false;
            from += count;
            to += count;
            size -= count;
            if (m_options.written)
                *m_options.written = to;
            if (m_options.progress)
                m_options.progress->position = qint64(to);
        }
        return true;
    }

private:
    /// How many bytes of data follow before the next hole; 16 MiB at most are of interest.
    quint64 bytesToHole(quint64 from) const
    {
        const off_t hole = ::lseek(m_from.descriptor(), off_t(from), SEEK_HOLE);
        return hole > off_t(from) ? quint64(hole) - from : chunkBytes;
    }
    bool copyChunk(quint64 from, quint64 to, quint64 size)
    {
        while (m_hasKernelCopy && size > 0) {
            auto fromOffset = off_t(from);
            auto toOffset = off_t(to);
            const ssize_t count =
                ::copy_file_range(m_from.descriptor(), &fromOffset, m_to.descriptor(), &toOffset, size, 0);
            if (count < 0 && errno == EINTR)
                continue;
            if (count == 0 || (count < 0 && (errno == ENOSPC || errno == EIO || errno == EDQUOT || errno == EFBIG))) {
                errno = count == 0 ? 0 : errno;
                return false;
            }
            if (count < 0) {
                m_hasKernelCopy = false; // between these file systems
                break;
            }
            from += quint64(count);
            to += quint64(count);
            size -= quint64(count);
        }
        m_buffer.resize(size_t(std::min(size, quint64(1) << 20)));
        while (size > 0) {
            const quint64 count = std::min(size, quint64(m_buffer.size()));
            if (!m_from.readAll(from, m_buffer.data(), count) || !m_to.writeAll(to, m_buffer.data(), count))
                return false;
            from += count;
            to += count;
            size -= count;
        }
        return true;
    }

    const PosixFile &m_from;
    const PosixFile &m_to;
    const WriteOptions &m_options;
    bool m_hasKernelCopy = true;
    std::vector<char> m_buffer;
};

bool hasRoom(const PosixFile &file, quint64 size)
{
    struct statvfs facts = {};
    return ::fstatvfs(file.descriptor(), &facts) != 0 || quint64(facts.f_bavail) * facts.f_frsize >= size;
}

/// Writes all pieces. False on an error, or a cancel.
bool writePieces(const Recipe &recipe, const PosixFile &from, const PosixFile &to, bool hasCopied,
                 const WriteOptions &options)
{
    RangeCopy copy(from, to, options);
    for (const Recipe::Piece &piece : recipe.pieces()) {
        const char *const bytes = recipe.newBytes().constData() + piece.from;
        if (piece.isNew ? !to.writeAll(piece.offset, bytes, piece.size)
                        : !hasCopied && !copy.copy(piece.from, piece.offset, piece.size))
            return false;
    }
    return true;
}

} // namespace

WriteResult writeCopy(const Recipe &recipe, const QString &original, const QString &target, const WriteOptions &options)
{
    const auto failed = [&options](const QString &path) {
        const bool isCancelled = options.cancel && *options.cancel;
        return WriteResult{isCancelled ? QString() : systemError(path), isCancelled, false};
    };
    const PosixFile from = openPosix(original, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat before = {};
    if (!from.isOpen() || !from.stat(&before))
        return failed(original);
    if (!S_ISREG(before.st_mode) || quint64(before.st_size) != recipe.originalSize())
        return {original + QStringLiteral(": it is not the file that was read"), false, false};
    struct stat existing = {};
    const QByteArray name = pathToBytes(target);
    const bool exists = ::lstat(name.constData(), &existing) == 0;
    if (exists && !options.isForced)
        return {target + QStringLiteral(": it exists already"), false, false};
    if (exists && ::stat(name.constData(), &existing) == 0 && existing.st_dev == before.st_dev
        && existing.st_ino == before.st_ino)
        return {target + QStringLiteral(": it is the original"), false, false};

    UnnamedFile to(target);
    if (!to.file().isOpen())
        return failed(target);
    // Extents of both files are the same ones where nothing moves.
    const bool isShared = recipe.movesNothing() && ::ioctl(to.file().descriptor(), FICLONE, from.descriptor()) == 0;
    if (!isShared && !hasRoom(to.file(), quint64(before.st_blocks) * 512)) {
        errno = ENOSPC;
        return failed(target);
    }
    struct stat after = {};
    if (!writePieces(recipe, from, to.file(), isShared, options)
        || ::ftruncate(to.file().descriptor(), off_t(recipe.newSize())) != 0 || !to.file().sync())
        return failed(target);
    if (!from.stat(&after) || !isUnchanged(before, after))
        return {original + QStringLiteral(": it changed while it was copied"), false, false};
    constexpr mode_t permissions = 0777;
    if (::fchmod(to.file().descriptor(), before.st_mode & permissions) != 0)
        return failed(target);
    if (options.cancel && *options.cancel)
        return failed(target);
    if (!to.take(target, options.isForced) || !syncDirectoryOf(target))
        return failed(target);
    return {{}, false, isShared};
}

} // namespace quenlofar
