#pragma once

#include <QByteArray>

namespace quenlofar {

/**
 * A file under a name of its own until it is complete. It goes with the object, and with the program when a signal
 * ends that at once. One object with a file at a time.
 */
class TemporaryFile
{
public:
    TemporaryFile() = default;
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    /// Removes the file if it was not kept.
    ~TemporaryFile() { remove(); }

    /// Makes an empty file in the directory of `target` that its owner alone may read. Returns its descriptor, which
    /// belongs to the caller, or -1 and errno.
    int create(const QByteArray &target);
    bool exists() const { return m_exists; }
    /// Gives the file the name `target` in the place of what has that now; false and errno when that fails.
    bool keepAs(const QByteArray &target);
    void remove();

    /// Removes the file of whichever object has one. For signal handlers; the program has to end after that.
    static void removeInHandler();

private:
    bool m_exists = false;
};

} // namespace quenlofar
