#include "standardoutput.h"

#include "exitstatus.h"
#include "messages.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace {

bool outputWasClosed = false;

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

StandardOutput::StandardOutput()
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

bool StandardOutput::isReaderGone() const
{
    return m_error == EPIPE;
}

int StandardOutput::print(const QByteArray &text)
{
    write(text);
    return finish();
}

int StandardOutput::finish()
{
    if (!hasFailed() && !outputWasClosed && ::close(STDOUT_FILENO) != 0 && errno != EINTR)
        remember(errno);
    if (isReaderGone())
        return ExitReaderGone;
    if (!hasFailed())
        return ExitClean;
    printMessage(QStringLiteral("standard output cannot be written: %1").arg(errorString()));
    return ExitFailure;
}

qint64 StandardOutput::readData(char *, qint64)
{
    return -1;
}

qint64 StandardOutput::writeData(const char *data, qint64 size)
{
    if (outputWasClosed && !hasFailed()) {
        m_error = EBADF;
        setErrorString(QStringLiteral("it is closed"));
    }
    qint64 written = 0;
    while (!hasFailed() && written < size) {
        const ssize_t count = ::write(STDOUT_FILENO, data + written, size_t(size - written));
        if (count >= 0) {
            written += count;
        } else if (errno == EAGAIN) {
            // Somebody shares the descriptor and made it non-blocking.
            pollfd output{STDOUT_FILENO, POLLOUT, 0};
            ::poll(&output, 1, -1);
        } else if (errno != EINTR) {
            remember(errno);
        }
    }
    return hasFailed() ? -1 : size;
}

void StandardOutput::remember(int error)
{
    m_error = error;
    setErrorString(systemErrorText(error));
}
