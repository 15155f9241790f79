#include "outputtarget.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <memory>

namespace quenlofar {

namespace {

constexpr int mostLinks = 40; // as the system has it

class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) { }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    int number() const { return m_number; }

private:
    const int m_number;
};

/// "dir/" of "dir/name"; "./" of "name".
QByteArray directoryOf(const QByteArray &path)
{
    const auto slash = path.lastIndexOf('/');
    return slash < 0 ? QByteArray("./") : path.left(slash + 1);
}

QByteArray nameIn(const QByteArray &path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

/// The number of ours that `path` names as a link of /proc/self/fd; -1 for any other path.
int ownDescriptor(const QByteArray &path)
{
    const QByteArray name = nameIn(path);
    const char *const end = name.constData() + name.size();
    int number = -1;
    const auto [stop, error] = std::from_chars(name.constData(), end, number);
    if (name.isEmpty() || error != std::errc() || stop != end || number < 0)
        return -1;
    const auto resolved = [](const QByteArray &directory) {
        const std::unique_ptr<char, decltype(&std::free)> real(::realpath(directory.constData(), nullptr), &std::free);
        return QByteArray(real.get());
    };
    const QByteArray directory = resolved(directoryOf(path));
    const bool isOurs = !directory.isEmpty()
        && (directory == resolved("/proc/self/fd") || directory == resolved("/proc/thread-self/fd"));
    return isOurs ? number : -1;
}

/// True for a link that may have been laid as a trap: one of another user, in a directory where everybody may put
/// something. As fs.protected_symlinks has it.
bool isForeign(const struct stat &link, const QByteArray &path)
{
    struct stat directory = {};
    if (::stat(directoryOf(path).constData(), &directory) != 0)
        return false; // the link was there: following it says what is wrong
    return (directory.st_mode & S_ISVTX) != 0 && (directory.st_mode & S_IWOTH) != 0 && link.st_uid != ::geteuid()
        && link.st_uid != directory.st_uid;
}

/// Makes `path` what the link at `path` says. Returns an errno, or 0: then `*isLink` tells whether there was a link.
int followLink(QByteArray *path, bool *isLink)
{
    *isLink = false;
    // What is looked at and what is read is one link, whatever is put in its place meanwhile.
    const Descriptor place(::open(path->constData(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (place.number() < 0)
        return errno == ENOENT ? 0 : errno; // where a link leads to nothing, a file can be made
    struct stat found = {};
    if (::fstat(place.number(), &found) != 0)
        return errno;
    if (!S_ISLNK(found.st_mode))
        return 0;
    if (isForeign(found, *path))
        return EACCES;
    char text[PATH_MAX];
    const ssize_t size = ::readlinkat(place.number(), "", text, sizeof text);
    if (size < 0)
        return errno;
    const QByteArray next(text, int(size));
    *path = next.startsWith('/') ? next : (path->contains('/') ? directoryOf(*path) : QByteArray()) + next;
    *isLink = true;
    return 0;
}

bool isSameFile(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

} // namespace

OutputTarget findOutputTarget(const QByteArray &path)
{
    OutputTarget target;
    target.path = path;
    struct stat existing = {};
    if (::stat(path.constData(), &existing) == 0)
        target.existing = existing;
    else if (errno != ENOENT)
        target.error = errno;

    bool isLink = true;
    for (int links = 0; isLink && target.error == 0; ++links) {
        target.descriptor = ownDescriptor(target.path);
        if (target.descriptor >= 0)
            return target;
        target.error = links < mostLinks ? followLink(&target.path, &isLink) : ELOOP;
    }
    if (target.error != 0 || !target.isReplaceable() || !target.existing)
        return target;
    // A link of /proc to a deleted file leads nowhere by its text.
    if (::stat(target.path.constData(), &existing) != 0 || !isSameFile(existing, *target.existing)) {
        target.error = ENOENT;
        return target;
    }
    // May it be written to? O_CREAT as a shell does it: with that the system protects files of others in /tmp.
    const Descriptor file(::open(target.path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, mode_t(0666)));
    if (file.number() < 0)
        target.error = errno;
    return target;
}

} // namespace quenlofar
