#pragma once

#include <QIODevice>

/**
 * Puts the null device in the place of each of the three standard descriptors that is closed, so that no file of ours
 * gets its number. Called before anything is opened. A standard output that was closed is remembered: writing to it
 * is an error.
 */
void occupyStandardDescriptors();

/// Standard output, unbuffered. The first error is remembered; every later write fails too.
class StandardOutput : public QIODevice
{
public:
    StandardOutput();

    bool isSequential() const override { return true; }
    bool hasFailed() const { return m_error != 0; }
    /// Nobody reads the output any more: a reason to end in silence.
    bool isReaderGone() const;

    /// Writes `text`, says on standard error why that is not possible, and returns the exit status.
    int print(const QByteArray &text);
    /// The exit status that the output so far calls for; says why on standard error. Closes the descriptor, because
    /// some file systems report a full disk no earlier.
    int finish();

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    void remember(int error);

    int m_error = 0; // the first errno
};
