#include "messages.h"

#include "displaytext.h"
#include "filepath.h"
#include "interrupt.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace quenlofar {

void printMessage(const QString &text)
{
    // A file name must not steer the terminal or break the line.
    const QByteArray bytes = "quenlofar: " + pathForDisplay(displayText(text)) + '\n';
    const BlockingCall call;
    for (qint64 written = 0; written < bytes.size();) {
        const ssize_t count = ::write(STDERR_FILENO, bytes.constData() + written, size_t(bytes.size() - written));
        if (count < 0 && (errno != EINTR || call.isHopeless()))
            return; // there is nowhere left to complain
        written += count > 0 ? count : 0;
    }
}

void printOutOfMemory() noexcept
{
    constexpr std::string_view message = "quenlofar: not enough memory\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, message.data(), message.size());
}

QString systemErrorText(int errorNumber)
{
    return QString::fromStdString(std::generic_category().message(errorNumber));
}

} // namespace quenlofar
