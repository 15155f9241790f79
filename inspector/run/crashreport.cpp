#include "crashreport.h"

#include "filepath.h"
#include "temporaryfile.h"

#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <new>
#include <string_view>

namespace quenlofar {

namespace {

struct CrashSignal
{
    int number;
    std::string_view name;
};
constexpr std::array<CrashSignal, 7> crashSignals{{
    {SIGSEGV, "SIGSEGV"},
    {SIGBUS, "SIGBUS"},
    {SIGFPE, "SIGFPE"},
    {SIGILL, "SIGILL"},
    {SIGABRT, "SIGABRT"},
    {SIGTRAP, "SIGTRAP"},
    {SIGSYS, "SIGSYS"},
}};

thread_local const CrashPlace *present = nullptr;
static_assert(std::atomic<qint64>::is_always_lock_free, "a signal handler may not wait for a lock");

/// Not needed where sanitizers report crashes.
[[maybe_unused]] size_t stackSize()
{
    constexpr size_t own = size_t(32) * 1024; // of the handler; what the system saves of the processor comes on top
    return own + std::max<size_t>(getauxval(AT_MINSIGSTKSZ), size_t(MINSIGSTKSZ));
}

/// A line that is put together without any allocation; what does not fit is cut off.
class Line
{
public:
    Line &operator<<(std::string_view text)
    {
        const size_t count = std::min(text.size(), m_text.size() - m_size);
        std::copy_n(text.begin(), count, m_text.begin() + m_size);
        m_size += count;
        return *this;
    }
    Line &operator<<(qint64 number)
    {
        std::array<char, 24> digits;
        const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
        return error == std::errc() ? *this << std::string_view(digits.data(), size_t(end - digits.data())) : *this;
    }
    void print() const
    {
        // Where it cannot be written there is nobody to see it.
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, m_text.data(), m_size);
    }

private:
    std::array<char, 9000> m_text; // not initialised: a line has two names of files
    size_t m_size = 0;
};

} // namespace

void CrashPlace::setFile(const QString &file)
{
    set(&m_file, file);
    m_plugin[0] = '\0';
}

void CrashPlace::setPlugin(const QString &plugin)
{
    set(&m_plugin, plugin);
}

void CrashPlace::set(Text *text, const QString &from)
{
    QString shown = from;
    for (QChar &character : shown) {
        if (character.category() == QChar::Other_Control)
            character = QLatin1Char('?');
    }
    const QByteArray bytes = pathForDisplay(shown);
    const size_t size = std::min(size_t(bytes.size()), text->size() - 1);
    std::memcpy(text->data(), bytes.constData(), size);
    (*text)[size] = '\0';
}

/// What is called here is safe in a signal handler: write, unlink, signal, raise, pause.
void CrashReport::print(int number)
{
    const int savedErrno = errno;
    const auto row = std::find_if(crashSignals.begin(), crashSignals.end(),
                                  [number](const CrashSignal &signal) { return signal.number == number; });
    Line line;
    line << "quenlofar: ";
    if (present)
        line << present->m_file.data() << ": ";
    line << "the program crashed (" << row->name << ")";
    if (present && present->m_plugin[0] != '\0')
        line << " with " << present->m_plugin.data() << " at work, at byte " << present->m_position->load();
    line << "\n";
    line.print();
    TemporaryFile::removeInHandler();
    errno = savedErrno;
}

extern "C" void handleCrash(int number)
{
    // Threads that work on files of one kind may crash at the same moment. The first one reports; the others wait until
    // its signal ends the program, because theirs would end it before the report is written.
    static std::atomic_flag isReported = ATOMIC_FLAG_INIT;
    if (isReported.test_and_set()) {
        for (;;)
            pause();
    }
    CrashReport::print(number);
    // Strikes when the handler ends. What crashed would do so again; what only sent the signal would not.
    std::signal(number, SIG_DFL);
    std::raise(number);
}

void CrashReport::install()
{
#ifndef QUENLOFAR_SANITIZED
    static const CrashStack stack;
    struct sigaction action = {};
    action.sa_handler = handleCrash;
    action.sa_flags = SA_ONSTACK;
    // A crash inside the handler ends the program at once: that is what the system does with a blocked signal.
    sigemptyset(&action.sa_mask);
    for (const CrashSignal &signal : crashSignals)
        sigaddset(&action.sa_mask, signal.number);
    for (const CrashSignal &signal : crashSignals) {
        struct sigaction inherited = {};
        sigaction(signal.number, nullptr, &inherited);
        if (inherited.sa_handler == SIG_DFL)
            sigaction(signal.number, &action, nullptr);
    }
#endif
}

void CrashReport::setPlace(const CrashPlace *place)
{
    present = place;
}

CrashStack::CrashStack()
{
#ifndef QUENLOFAR_SANITIZED
    stack_t existing = {};
    if (sigaltstack(nullptr, &existing) != 0 || (existing.ss_flags & SS_DISABLE) == 0)
        return;
    m_memory.reset(new (std::nothrow) char[stackSize()]);
    if (!m_memory)
        return; // a crash is then told by the system alone
    stack_t stack = {};
    stack.ss_sp = m_memory.get();
    stack.ss_size = stackSize();
    if (sigaltstack(&stack, nullptr) != 0)
        m_memory.reset();
#endif
}

CrashStack::~CrashStack()
{
    if (!m_memory)
        return;
    stack_t none = {};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
}

} // namespace quenlofar
