#include "programoutput.h"

#include "exitstatus.h"
#include "filepath.h"
#include "messages.h"
#include "options.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace {

bool outputWasClosed = false;
constexpr int noSuchCommand = 127; // as shells end

/// The permissions that a new file would get.
mode_t ordinaryMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mode_t(0666) & ~mask;
}

/// The place that a path leads to in the end, whether or not there is something: what replaces a link is not the link.
QByteArray withoutLinks(const QByteArray &path)
{
    namespace fs = std::filesystem;
    constexpr int most = 40; // as the system has it
    fs::path place(path.constData());
    for (int links = 0; links < most; ++links) {
        std::error_code error;
        const fs::path next = fs::read_symlink(place, error);
        if (error)
            break;
        place = place.parent_path() / next;
    }
    return QByteArray::fromStdString(place.string());
}

/// Gives a new file the permissions, and as far as possible the owner, of the one that it will replace.
void takeOver(int descriptor, const struct stat *existing)
{
    if (!existing) {
        ::fchmod(descriptor, ordinaryMode());
        return;
    }
    [[maybe_unused]] const int result = ::fchown(descriptor, existing->st_uid, existing->st_gid);
    ::fchmod(descriptor, existing->st_mode & mode_t(0777));
}

} // namespace

void occupyStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF)
            continue;
        if (descriptor == STDOUT_FILENO)
            outputWasClosed = true;
        // The lowest free number is the one that is missing.
        if (::open("/dev/null", O_RDWR) < 0)
            return;
    }
}

ProgramOutput::ProgramOutput() : m_descriptor(STDOUT_FILENO), m_isTerminal(::isatty(STDOUT_FILENO) == 1)
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

ProgramOutput::~ProgramOutput()
{
    if (!m_temporary.isEmpty())
        ::unlink(m_temporary.constData());
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
    struct stat existing = {};
    const bool exists = ::stat(m_target.constData(), &existing) == 0;
    const bool isTooLong = !exists && errno == ENAMETOOLONG;
    m_isTerminal = false;
    if (isTooLong || (exists && (!S_ISREG(existing.st_mode) || ::access(m_target.constData(), W_OK) != 0))) {
        // A device or a pipe is written to; nothing can be put in its place. A protected file or an impossible name
        // says why it cannot be.
        m_descriptor = ::open(m_target.constData(), O_WRONLY | O_CLOEXEC);
    } else {
        m_target = withoutLinks(m_target);
        // Beside the target, under a name of its own: the target's may be as long as names can be. mkostemp replaces
        // the six X by what makes it unique.
        m_temporary = m_target.left(m_target.lastIndexOf('/') + 1) + ".quenlofar.XXXXXX";
        m_descriptor = ::mkostemp(m_temporary.data(), O_CLOEXEC);
    }
    if (m_descriptor < 0) {
        const int error = errno;
        m_temporary.clear();
        printMessage(QStringLiteral("%1 cannot be written: %2").arg(path, systemErrorText(error)));
        return false;
    }
    if (!m_temporary.isEmpty())
        takeOver(m_descriptor, exists ? &existing : nullptr);
    return true;
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
    if (!hasFailed() && !(isStandardOutput && outputWasClosed) && ::close(m_descriptor) != 0 && errno != EINTR)
        remember(errno);
    else if (hasFailed() && !isStandardOutput)
        ::close(m_descriptor);
    if (m_pager > 0)
        return waitForPager();
    if (isComplete && !m_temporary.isEmpty() && !hasFailed())
        keepFile();
    if (isReaderGone())
        return ExitReaderGone;
    if (!hasFailed())
        return ExitClean;
    const QString place = m_target.isEmpty() ? QStringLiteral("standard output") : pathFromBytes(m_target);
    printMessage(QStringLiteral("%1 cannot be written: %2").arg(place, errorString()));
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
    // Who has read enough leaves the pager early.
    return ExitClean;
}

void ProgramOutput::keepFile()
{
    if (std::rename(m_temporary.constData(), m_target.constData()) == 0)
        m_temporary.clear();
    else
        remember(errno);
}

qint64 ProgramOutput::readData(char *, qint64)
{
    return -1;
}

qint64 ProgramOutput::writeData(const char *data, qint64 size)
{
    if (m_guard.aboutToWrite)
        m_guard.aboutToWrite();
    if (m_descriptor == STDOUT_FILENO && outputWasClosed && !hasFailed()) {
        m_error = EBADF;
        setErrorString(QStringLiteral("it is closed"));
    }
    qint64 written = 0;
    while (!hasFailed() && written < size) {
        const ssize_t count = ::write(m_descriptor, data + written, size_t(size - written));
        if (count >= 0) {
            written += count;
        } else if (errno == EAGAIN) {
            // Somebody shares the descriptor and made it non-blocking.
            pollfd output{m_descriptor, POLLOUT, 0};
            ::poll(&output, 1, -1);
        } else if (errno != EINTR) {
            remember(errno);
        }
    }
    if (m_guard.written)
        m_guard.written(size > 0 && data[size - 1] == '\n');
    return hasFailed() ? -1 : size;
}

void ProgramOutput::remember(int error)
{
    m_error = error;
    setErrorString(systemErrorText(error));
}
