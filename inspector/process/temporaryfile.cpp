#include "temporaryfile.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace quenlofar {

namespace {

// Where a signal handler finds it. A longer name opens no file.
char presentName[PATH_MAX];
std::atomic<bool> isPresent{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait for a lock");

/// Keeps signals from this thread while it lives: a file is made and known, or neither.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &m_before);
    }
    SignalsBlocked(const SignalsBlocked &) = delete;
    SignalsBlocked &operator=(const SignalsBlocked &) = delete;
    ~SignalsBlocked()
    {
        const int savedErrno = errno;
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = savedErrno;
    }

private:
    sigset_t m_before;
};

} // namespace

int TemporaryFile::create(const QByteArray &target)
{
    // Not made from the target's name, which may be as long as names can be. mkostemp replaces the six X by what makes
    // the name unique.
    const QByteArray name = target.left(target.lastIndexOf('/') + 1) + ".quenlofar.XXXXXX";
    if (size_t(name.size()) >= sizeof presentName) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const SignalsBlocked blocked; // this is the only thread so far that takes any
    std::memcpy(presentName, name.constData(), size_t(name.size()) + 1);
    const int descriptor = ::mkostemp(presentName, O_CLOEXEC);
    m_exists = descriptor >= 0;
    isPresent = m_exists;
    return descriptor;
}

bool TemporaryFile::keepAs(const QByteArray &target)
{
    if (std::rename(presentName, target.constData()) != 0)
        return false;
    isPresent = false;
    m_exists = false;
    return true;
}

void TemporaryFile::remove()
{
    if (!m_exists)
        return;
    ::unlink(presentName);
    isPresent = false;
    m_exists = false;
}

void TemporaryFile::removeInHandler()
{
    if (isPresent)
        ::unlink(presentName);
}

} // namespace quenlofar
