#include "runlock.h"

#include "database.h"
#include "filepath.h"
#include "filestamp.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace quenlofar {

RunLock::RunLock(const QString &path) : m_path(path + QStringLiteral(".lock"))
{
    constexpr mode_t mode = 0666; // the user's mask takes away
    m_descriptor = ::open(pathToBytes(m_path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, mode);
    if (m_descriptor < 0)
        throw CatalogueError(QStringLiteral("%1: %2").arg(m_path, errnoText(errno)));
}

RunLock::~RunLock()
{
    ::close(m_descriptor);
}

bool RunLock::take()
{
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0)
        return true;
    if (errno == EWOULDBLOCK || errno == EINTR)
        return false;
    throw CatalogueError(QStringLiteral("%1: %2").arg(m_path, errnoText(errno)));
}

} // namespace quenlofar
