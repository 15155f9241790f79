#include "options.h"

#include "commandline.h"

#include <new>

namespace quenlofar {

namespace {

/// Notices whether memory was missing while it lives: CLI11 puts texts together in streams, which swallow exceptions,
/// and a text would be cut short.
class MemoryWatch
{
public:
    MemoryWatch() : m_before(std::set_new_handler(remember)) { s_wasShort = false; }
    MemoryWatch(const MemoryWatch &) = delete;
    MemoryWatch &operator=(const MemoryWatch &) = delete;
    ~MemoryWatch() { std::set_new_handler(m_before); }

    bool wasShort() const { return s_wasShort; }

private:
    [[noreturn]] static void remember()
    {
        s_wasShort = true;
        throw std::bad_alloc();
    }

    static inline bool s_wasShort = false;
    const std::new_handler m_before;
};

} // namespace

Options parseOptions(int argc, const char *const *argv)
{
    const MemoryWatch memory;
    Options options;
    Arguments arguments(argc, argv);
    CommandLine commandLine(arguments, options);
    commandLine.define(arguments.supplyCommand(commandLine.commands(), "summary"));
    try {
        commandLine.parse();
    } catch (const CLI::CallForHelp &) {
        options.information = QByteArray::fromStdString(commandLine.help());
    } catch (const CLI::CallForVersion &version) {
        options.information = QByteArray(version.what()) + '\n';
    } catch (const CLI::ParseError &error) {
        options.usageError = arguments.text(error.what());
    }
    if (memory.wasShort())
        throw std::bad_alloc();
    return options;
}

} // namespace quenlofar
