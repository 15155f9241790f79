#pragma once

#include "containerrun.h"
#include "crashreport.h"
#include "filedevice.h"

#include <QIODevice>
#include <QString>

#include <atomic>
#include <chrono>
#include <mutex>

namespace quenlofar {

/**
 * What one thread is doing with its file, for the watchdog. Walking, unless it waits for its output to be taken. The
 * thread itself writes; any other may ask.
 */
class WalkRecord
{
public:
    using Clock = std::chrono::steady_clock;

    struct Names
    {
        quint64 walk = 0; ///< counted up with each file; 0 while there is none
        QString file; ///< as it was given
        QString plugin; ///< the file of the plug-in that is at work; null before the first is asked
        Clock::time_point begin; ///< of the file
    };

    WalkRecord() = default;
    WalkRecord(const WalkRecord &) = delete;
    WalkRecord &operator=(const WalkRecord &) = delete;

    /// From now on `file` is walked by this thread.
    void begin(const QString &file);
    /// `parsers`, which write down that they, or their analyzers, are at work when they are made. The record outlives
    /// their use.
    QVector<ParserFactory> noted(QVector<ParserFactory> parsers);
    void end();

    /// What the run that this thread owns is to report to.
    WalkProgress *progress() { return &m_progress; }

    Names names() const;
    /// Changes whenever the walk comes forward.
    std::pair<qint64, quint64> place() const { return {m_progress.position, m_writes}; }
    bool isReading() const { return m_progress.isReading; } ///< the operating system has not given the bytes yet
    bool isWriting() const { return m_writes % 2 == 1; } ///< output waits for its reader, or for its turn

private:
    friend class WatchedOutput;

    void setPlugin(const QString &plugin);

    WalkProgress m_progress;
    std::atomic<quint64> m_writes{0}; // begins and ends of them
    mutable std::mutex m_mutex;
    Names m_names;
    quint64 m_walks = 0;
    CrashPlace m_crashPlace{&m_progress.position};
};

/// Marks the thread as one that walks, for as long as the object lives.
class WalkNote
{
public:
    WalkNote(WalkRecord &record, const QString &file) : m_record(record) { m_record.begin(file); }
    WalkNote(const WalkNote &) = delete;
    WalkNote &operator=(const WalkNote &) = delete;
    ~WalkNote() { m_record.end(); }

private:
    WalkRecord &m_record;
};

/// Hands on what is written, and notes in a record that it waits while it does.
class WatchedOutput : public QIODevice
{
public:
    /// Both outlive the object.
    WatchedOutput(QIODevice &next, WalkRecord &record);
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override;

private:
    QIODevice &m_next;
    WalkRecord &m_record;
};

} // namespace quenlofar
