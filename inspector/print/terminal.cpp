#include "terminal.h"

#include "options.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace quenlofar {

int terminalWidth()
{
    constexpr int usualWidth = 80;
    bool isNumber = false;
    const int fromEnvironment = qEnvironmentVariableIntValue("COLUMNS", &isNumber);
    if (isNumber && fromEnvironment > 0)
        return fromEnvironment;
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        winsize size = {};
        if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
            return size.ws_col;
    }
    return usualWidth;
}

bool wantsColour(const OutputChoice &choice, bool isTerminal)
{
    if (choice.color != When::Auto)
        return choice.color == When::Always;
    // https://no-color.org: set and not empty.
    return isTerminal && qgetenv("NO_COLOR").isEmpty() && qgetenv("TERM") != "dumb";
}

} // namespace quenlofar
