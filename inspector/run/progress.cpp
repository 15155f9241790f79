#include "progress.h"

#include "ecma48.h"
#include "interrupt.h"
#include "terminal.h"
#include "walkrecord.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>

namespace quenlofar {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 500ms;
constexpr auto interval = 100ms;

/// `text` takes the place of what the line holds.
void writeLine(const QByteArray &text)
{
    const QByteArray bytes = QByteArray(ecma48::eraseLine.data(), int(ecma48::eraseLine.size())) + text;
    const BlockingCall call; // a terminal that was stopped does not keep the program
    // Where this cannot be written there is nobody to see it.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, bytes.constData(), size_t(bytes.size()));
}

QString timeText(double seconds)
{
    const qint64 whole = std::llround(std::min(seconds, 359999.0));
    if (whole < 60)
        return QStringLiteral("%1 s").arg(whole);
    const QChar zero = QLatin1Char('0');
    if (whole < 3600)
        return QStringLiteral("%1:%2 min").arg(whole / 60).arg(whole % 60, 2, 10, zero);
    return QStringLiteral("%1:%2 h").arg(whole / 3600).arg(whole / 60 % 60, 2, 10, zero);
}

} // namespace

ProgressMeter::ProgressMeter(const std::deque<WalkRecord> &workers, quint64 totalBytes, quint64 files, SizeUnits units)
    : m_workers(workers), m_totalBytes(totalBytes), m_files(files),
      m_units(units == SizeUnits::Bytes ? SizeUnits::Si : units), m_begin(std::chrono::steady_clock::now())
{
    m_thread = std::thread([this] { work(); });
}

ProgressMeter::~ProgressMeter()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isOver = true;
        erase();
    }
    m_wakeUp.notify_all();
    m_thread.join();
}

void ProgressMeter::fileDone(quint64 size)
{
    m_doneBytes += size;
    ++m_doneFiles;
}

void ProgressMeter::hide()
{
    const std::lock_guard lock(m_mutex);
    m_isHeld = true;
    erase();
}

void ProgressMeter::mayShow(bool isLineEnded)
{
    const std::lock_guard lock(m_mutex);
    m_isHeld = !isLineEnded;
}

void ProgressMeter::work()
{
    std::unique_lock lock(m_mutex);
    m_wakeUp.wait_for(lock, patience, [this] { return m_isOver; });
    while (!m_isOver) {
        try {
            if (!m_isHeld)
                show();
        } catch (const std::bad_alloc &) {
            return; // the work itself may still come to its end
        }
        m_wakeUp.wait_for(lock, interval, [this] { return m_isOver; });
    }
}

void ProgressMeter::show()
{
    writeLine(line().left(terminalWidth() - 1).toUtf8());
    m_isShown = true;
}

void ProgressMeter::erase()
{
    if (m_isShown)
        writeLine({});
    m_isShown = false;
}

QString ProgressMeter::line()
{
    quint64 bytes = m_doneBytes;
    for (const WalkRecord &worker : m_workers)
        bytes += quint64(std::max<qint64>(worker.place().first, 0));
    bytes = std::min(bytes, m_totalBytes);
    // Where a file is gone over once more, read again or written, its pace is that of this pass.
    if (bytes < m_latestBytes) {
        m_begin = std::chrono::steady_clock::now();
        m_beginBytes = bytes;
    }
    m_latestBytes = bytes;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_begin).count();
    const double rate = seconds > 0 ? double(bytes - m_beginBytes) / seconds : 0;
    const int percent = m_totalBytes == 0 ? 0 : int(100.0 * double(bytes) / double(m_totalBytes));

    QString text =
        QStringLiteral("%1 %  %2 of %3  %4/s")
            .arg(percent, 3)
            .arg(sizeText(bytes, m_units), sizeText(m_totalBytes, m_units), sizeText(quint64(rate), m_units));
    if (rate > 0)
        text += QStringLiteral("  %1 left").arg(timeText(double(m_totalBytes - bytes) / rate));
    if (m_files > 1)
        text += QStringLiteral("  file %1 of %2").arg(std::min(m_doneFiles + 1, m_files)).arg(m_files);
    return text;
}

} // namespace quenlofar
