#include "programoutput.h"

#include "exitstatus.h"
#include "filepath.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "outputtarget.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace quenlofar {

namespace {

bool wasClosed[3] = {}; // standard input, output, errors
constexpr int noSuchCommand = 127; // as shells end

/// The permissions that a new file would get.
mode_t ordinaryMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mode_t(0666) & ~mask;
}

/// Gives a new file the permissions, and as far as possible the owner, of the one that it will replace.
void takeOver(int descriptor, const std::optional<struct stat> &existing)
{
    if (!existing) {
        ::fchmod(descriptor, ordinaryMode());
        return;
    }
    [[maybe_unused]] const int result = ::fchown(descriptor, existing->st_uid, existing->st_gid);
    ::fchmod(descriptor, existing->st_mode & mode_t(0777));
}

/// A second number for one of our descriptors; -1 and errno if that cannot be written to.
int duplicateForWriting(int descriptor)
{
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags < 0)
        return -1;
    const bool isStandard = descriptor <= STDERR_FILENO;
    if ((flags & O_ACCMODE) == O_RDONLY || (isStandard && wasClosed[descriptor])) {
        errno = EBADF;
        return -1;
    }
    return ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

/// Waits until the pipe at `path` has a reader, if it is one; -1 and errno when that fails or a signal came.
int openDevice(const QByteArray &path)
{
    const BlockingCall call;
    int descriptor;
    do {
        descriptor = ::open(path.constData(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR && !InterruptWatch::wasInterrupted());
    return descriptor;
}

} // namespace

void occupyStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF)
            continue;
        wasClosed[descriptor] = true;
        // The lowest free number is the one that is missing.
        if (::open("/dev/null", O_RDWR) < 0)
            return;
    }
}

ProgramOutput::ProgramOutput() : m_descriptor(STDOUT_FILENO), m_isTerminal(::isatty(STDOUT_FILENO) == 1)
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

bool ProgramOutput::choose(const OutputChoice &choice)
{
    if (!choice.file.isNull())
        return openFile(choice.file);
    return !choice.pager || !m_isTerminal || startPager();
}

bool ProgramOutput::openFile(const QString &path)
{
    m_target = pathToBytes(path);
    m_isTerminal = false;
    m_descriptor = openTarget(m_target);
    if (m_descriptor < 0) {
        const int error = errno;
        if (!InterruptWatch::wasInterrupted())
            printMessage(QStringLiteral("%1 cannot be written: %2").arg(path, systemErrorText(error)));
        return false;
    }
    return true;
}

/// A descriptor to write to, or -1 and errno.
int ProgramOutput::openTarget(const QByteArray &path)
{
    const OutputTarget target = findOutputTarget(path);
    if (target.error != 0) {
        errno = target.error;
        return -1;
    }
    if (target.existing && (S_ISREG(target.existing->st_mode) || S_ISBLK(target.existing->st_mode)))
        m_overwritten = FileIdentity{target.existing->st_dev, target.existing->st_ino};
    if (target.descriptor >= 0)
        return duplicateForWriting(target.descriptor);
    if (!target.isReplaceable()) {
        // A device or a pipe is written to; nothing can be put in its place.
        return openDevice(path);
    }
    m_target = target.path;
    const int descriptor = m_temporary.create(target.path);
    if (descriptor >= 0)
        takeOver(descriptor, target.existing);
    return descriptor;
}

bool ProgramOutput::spares(const QVector<QString> &files) const
{
    if (!m_overwritten)
        return true;
    for (const QString &file : files) {
        struct stat input = {};
        if (::stat(pathToBytes(file).constData(), &input) == 0 && input.st_dev == m_overwritten->device
            && input.st_ino == m_overwritten->number) {
            printMessage(QStringLiteral("%1 is an input: output would destroy it").arg(file));
            return false;
        }
    }
    return true;
}

QString ProgramOutput::replacedFile() const
{
    return m_temporary.exists() && m_overwritten ? pathFromBytes(m_target) : QString();
}

bool ProgramOutput::startPager()
{
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
        printMessage(QStringLiteral("no pager: ") + systemErrorText(errno));
        return false;
    }
    // less shows colours, ends by itself where one screen is enough, and leaves the text there.
    ::setenv("LESS", "FRX", 0);
    const QByteArray named = qgetenv("PAGER");
    const QByteArray command = named.isEmpty() ? QByteArray("less") : named;
    m_pager = ::fork();
    if (m_pager == 0) {
        std::signal(SIGPIPE, SIG_DFL); // what is ignored would stay so in the pager, too
        std::signal(SIGXFSZ, SIG_DFL);
        ::dup2(pipeEnds[0], STDIN_FILENO);
        ::execl("/bin/sh", "sh", "-c", command.constData(), static_cast<char *>(nullptr));
        ::_exit(noSuchCommand);
    }
    ::close(pipeEnds[0]);
    if (m_pager < 0) {
        printMessage(QStringLiteral("no pager: ") + systemErrorText(errno));
        ::close(pipeEnds[1]);
        return false;
    }
    m_descriptor = pipeEnds[1];
    return true;
}

bool ProgramOutput::isReaderGone() const
{
    return m_error == EPIPE;
}

int ProgramOutput::print(const QByteArray &text)
{
    write(text);
    return finish();
}

int ProgramOutput::finish(bool isComplete)
{
    const bool isStandardOutput = m_descriptor == STDOUT_FILENO;
    if (!hasFailed() && !(isStandardOutput && wasClosed[STDOUT_FILENO]) && ::close(m_descriptor) != 0 && errno != EINTR)
        remember(errno);
    else if (hasFailed() && !isStandardOutput)
        ::close(m_descriptor);
    if (m_pager > 0)
        return waitForPager();
    if (isComplete && m_temporary.exists() && !hasFailed() && !m_temporary.keepAs(m_target))
        remember(errno);
    if (isReaderGone())
        return ExitReaderGone;
    if (!hasFailed())
        return ExitClean;
    const QString place = m_target.isEmpty() ? QStringLiteral("standard output") : pathFromBytes(m_target);
    printMessage(QStringLiteral("%1 cannot be written: %2").arg(place, errorString()));
    if (m_isReaderAsleep)
        InterruptWatch::end(); // not in good order
    return ExitFailure;
}

int ProgramOutput::waitForPager()
{
    int ending = 0;
    while (::waitpid(m_pager, &ending, 0) < 0 && errno == EINTR) { }
    if (WIFEXITED(ending) && WEXITSTATUS(ending) == noSuchCommand) {
        printMessage(QStringLiteral("the pager cannot be run; PAGER names another"));
        return ExitFailure;
    }
    // The user may leave the pager early.
    return ExitClean;
}

qint64 ProgramOutput::readData(char *, qint64)
{
    return -1;
}

qint64 ProgramOutput::writeData(const char *data, qint64 size)
{
    if (m_guard.aboutToWrite)
        m_guard.aboutToWrite();
    if (m_descriptor == STDOUT_FILENO && wasClosed[STDOUT_FILENO] && !hasFailed()) {
        m_error = EBADF;
        setErrorString(QStringLiteral("it is closed"));
    }
    BlockingCall call;
    qint64 written = 0;
    while (!hasFailed() && written < size) {
        const ssize_t count = ::write(m_descriptor, data + written, size_t(size - written));
        if (count >= 0) {
            written += count;
            call.progressed();
        } else if (errno == EAGAIN) {
            waitForRoom();
            giveUpIfHopeless(call);
        } else if (errno == EINTR) {
            giveUpIfHopeless(call);
        } else {
            remember(errno);
        }
    }
    if (m_guard.written)
        m_guard.written(size > 0 && data[size - 1] == '\n');
    return hasFailed() ? -1 : size;
}

/// For a descriptor that another process shares and made non-blocking. A signal ends it, too.
void ProgramOutput::waitForRoom()
{
    pollfd output{m_descriptor, POLLOUT, 0};
    ::poll(&output, 1, -1);
}

void ProgramOutput::giveUpIfHopeless(const BlockingCall &call)
{
    if (!call.isHopeless())
        return;
    m_isReaderAsleep = true;
    m_error = EINTR;
    setErrorString(QStringLiteral("nobody takes it; what was written is incomplete"));
}

void ProgramOutput::remember(int error)
{
    m_error = error;
    setErrorString(systemErrorText(error));
}

} // namespace quenlofar
