#pragma once

#include <QString>

#include <array>
#include <atomic>
#include <memory>

namespace quenlofar {

/// What is to be said of a thread when it crashes: kept where a signal handler may read it.
class CrashPlace
{
public:
    /// `position` is how far the walk is, in bytes from the start of the file; it outlives the object.
    explicit CrashPlace(const std::atomic<qint64> *position) : m_position(position) { }

    /// Both are made fit to be shown, and cut off where they are longer than names of files can be.
    void setFile(const QString &file);
    void setPlugin(const QString &plugin);

private:
    friend class CrashReport;

    using Text = std::array<char, 4096>; // with a zero byte
    static void set(Text *text, const QString &from);

    Text m_file{};
    Text m_plugin{};
    const std::atomic<qint64> *m_position;
};

/**
 * Says which file and which plug-in it was when the program crashes: parsers come from other authors. The signal then
 * does what it would have done, so that the program's status and core dump are those of the crash. Nothing is done
 * where the program is built with sanitizers, which report crashes themselves, or where something else handles such
 * signals.
 */
class CrashReport
{
public:
    /// Once, in the main thread: crashes of all threads are reported from now on.
    static void install();
    /// What the calling thread works at from now on; null for nothing. It outlives that work.
    static void setPlace(const CrashPlace *place);
    /// Prints what there is to say about signal `number`. For its handler.
    static void print(int number);
};

/**
 * Gives the thread that makes it a second stack for signal handlers while it lives, so that the overflow of its stack
 * can be reported. In the thread of CrashReport::install there is one already.
 */
class CrashStack
{
public:
    CrashStack();
    CrashStack(const CrashStack &) = delete;
    CrashStack &operator=(const CrashStack &) = delete;
    ~CrashStack();

private:
    std::unique_ptr<char[]> m_memory; // null where the thread has one
};

} // namespace quenlofar
