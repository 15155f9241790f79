#pragma once

#include "temporaryfile.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QVector>

#include <atomic>
#include <functional>
#include <optional>

#include <sys/types.h>

namespace quenlofar {

class BlockingCall;
struct OutputChoice;

/**
 * Puts the null device in the place of each of the three standard descriptors that is closed, so that no file of ours
 * gets its number. Called before anything is opened. A standard output that was closed is remembered: writing to it
 * is an error.
 */
void occupyStandardDescriptors();

/// What is called around each write; both or none are set.
struct OutputGuard
{
    std::function<void()> aboutToWrite;
    std::function<void(bool isLineEnded)> written;
};

/**
 * Where the program's output goes: standard output, a pager in front of it, or a file that appears under its name when
 * it is complete. Unbuffered. The first error is remembered; every later write fails too.
 */
class ProgramOutput : public QIODevice
{
public:
    ProgramOutput();
    ~ProgramOutput() override = default;

    /// Chooses another place than standard output; says on standard error why that is not possible.
    bool choose(const OutputChoice &choice);
    /// False, and a message, when that place is one of `files`, which the output would destroy. Links and other names
    /// of a file count.
    bool spares(const QVector<QString> &files) const;
    /// The file that is there and will be replaced; null when there is none.
    QString replacedFile() const;

    bool isSequential() const override { return true; }
    /// A terminal shows it as it comes.
    bool isTerminal() const { return m_isTerminal; }
    /// A pager has the terminal for itself.
    bool hasPager() const { return m_pager > 0; }
    bool hasFailed() const { return m_error != 0; }
    /// Nobody reads the output any more: a reason to end in silence.
    bool isReaderGone() const;
    /// From now on other writers to the terminal are told of its lines.
    void setGuard(OutputGuard guard) { m_guard = std::move(guard); }

    /// Writes `text`, says on standard error why that is not possible, and returns the exit status.
    int print(const QByteArray &text);
    /// The exit status that the output so far calls for; says why on standard error. Closes the descriptor, because
    /// some file systems report a full disk no earlier. A file gets its name now, if `isComplete`.
    int finish(bool isComplete = true);

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    /// A file by its number, whatever it is called.
    struct FileIdentity
    {
        dev_t device;
        ino_t number;
    };

    bool openFile(const QString &path);
    int openTarget(const QByteArray &path);
    void waitForRoom();
    void giveUpIfHopeless(const BlockingCall &call);
    bool startPager();
    int waitForPager();
    void remember(int error);
    void keepFile();

    int m_descriptor;
    bool m_isTerminal;
    std::atomic<int> m_error{0}; // the first errno; asked for by several threads
    bool m_isReaderAsleep = false; // a signal came, and nobody took what is left
    QByteArray m_target; // of a file; empty otherwise
    TemporaryFile m_temporary; // what becomes the target when it is complete
    std::optional<FileIdentity> m_overwritten; // what the output goes to or will replace, if that is a file
    pid_t m_pager = 0;
    OutputGuard m_guard;
};

} // namespace quenlofar
