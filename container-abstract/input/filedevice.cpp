#include "filedevice.h"

#include <algorithm>
#include <numeric>

namespace quenlofar {

namespace {

constexpr qint64 kib = 1024;
/// What a jump costs: one page holds the header of any element.
constexpr qint64 smallestFill = 4 * kib;
/// Larger fills gain nothing: this one still stays in the processor's cache.
constexpr qint64 largestFill = 256 * kib;
/// Skips up to this size count as sequential: fetching what is skipped costs no more than the fetch after a jump.
constexpr quint64 sequentialSkip = quint64(smallestFill);
/// Bytes behind the position that survive a sequential fill, because parsers step back a little.
constexpr quint64 keptBehind = 64;
/// How much is read past the window in one go; in between it is looked whether the read has to stop.
constexpr qint64 largestDirectRead = 4 * kib * kib;
/// How much of a hole is looked at to believe it.
constexpr qint64 holeSample = 16;
/// First step of a read into a growing array.
constexpr qint64 firstArrayStep = kib * kib;
/// Qt 5 counts the bytes of an array in an int.
constexpr qint64 largestArray = std::numeric_limits<int>::max() - 1024;
/// The window while reading goes on forwards without a jump.
constexpr quint64 steadyWindow = keptBehind + quint64(largestFill);

bool isZero(const char *bytes, quint64 size)
{
    // Each byte is compared with the next one.
    return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size_t(size - 1)) == 0;
}

} // namespace

FileDevice::FileDevice() = default;
FileDevice::~FileDevice() = default;

int FileDevice::open(const QString &path)
{
    // The file that was open before is closed first, so that two are never open at a time.
    close();
    QString error;
    std::unique_ptr<ByteSource> source = openFileSource(path, &error);
    return open(std::move(source), error);
}

int FileDevice::open(std::unique_ptr<ByteSource> source, const QString &error)
{
    close();
    m_interrupted = false;
    m_trustsHoles = true;
    m_readErrorOffset = -1;
    m_errorText = source ? QString() : error;
    if (!source)
        return StatusCannotOpen;

    m_source = std::move(source);
    m_size = std::max<qint64>(m_source->size(), 0);
    if (const char *memory = m_source->memory()) {
        m_window = memory;
        m_windowSize = quint64(m_size);
    }
    return StatusOk;
}

void FileDevice::close()
{
    dropWindow();
    m_source.reset();
    m_size = 0;
    m_position = 0;
}

QByteArray FileDevice::read(qint64 maxSize)
{
    // In steps that double: the size may come from a header, and the file may have shrunk since it was opened.
    const qint64 wanted = std::min({maxSize, m_size - m_position, largestArray});
    QByteArray bytes;
    while (bytes.size() < wanted) {
        const auto had = bytes.size();
        const qint64 step = std::min(wanted - had, std::max<qint64>(had, firstArrayStep));
        bytes.resize(static_cast<decltype(bytes.size())>(had + step));
        const qint64 came = read(bytes.data() + had, step);
        if (came < step) {
            bytes.resize(static_cast<decltype(bytes.size())>(had + came));
            break;
        }
    }
    return bytes;
}

qint64 FileDevice::passHole(qint64 step, qint64 most, quint64 readsPerByte)
{
    if (!m_mayBeInHole || m_bytesRead > m_readLimit || (m_stop && m_stop->load(std::memory_order_relaxed)))
        return 0;
    m_mayBeInHole = false;
    // While reading goes on forwards, each fill is as large as the last and begins where that ended. Everything but the
    // position and the counts is therefore the same again after this many bytes.
    const qint64 period = std::lcm(step, largestFill);
    const quint64 readable = (m_readLimit - m_bytesRead) / readsPerByte;
    const qint64 room = std::min(holeBehindWindow(), std::max<qint64>(most, 0));
    const qint64 distance = qint64(std::min(quint64(room), readable)) / period * period;
    if (distance == 0 || !moveWindow(distance))
        return 0;
    m_position += distance;
    m_bytesRead += quint64(distance) * readsPerByte;
    if (m_progress)
        m_progress->position.store(m_position, std::memory_order_relaxed);
    return distance;
}

qint64 FileDevice::holeSize()
{
    if (!m_source || !m_trustsHoles)
        return 0;
    const qint64 size = std::min(m_source->holeEnd(m_position), m_size) - m_position;
    if (size <= 0)
        return 0;
    // A source may be wrong, and a file may have shrunk: the last bytes are looked at.
    char sample[holeSample] = {};
    const qint64 count = std::min(size, holeSample);
    const qint64 came = m_source->readAt(m_position + size - count, sample, count);
    m_trustsHoles = came == count && isZero(sample, quint64(count));
    m_bytesFetched += quint64(std::max<qint64>(came, 0));
    return m_trustsHoles ? size : 0;
}

bool FileDevice::passZeros(qint64 count)
{
    if (!m_source || isStopped())
        return false;
    m_position += count;
    m_bytesRead += quint64(count);
    if (m_progress)
        m_progress->position.store(m_position, std::memory_order_relaxed);
    return true;
}

/// How many bytes of a hole follow the window, where the window lies in the hole and the position in the window.
qint64 FileDevice::holeBehindWindow() const
{
    const qint64 windowEnd = m_windowBegin + qint64(m_windowSize);
    // Where the window does not begin and end with zeros, the source is not even asked: that is most of any file.
    if (m_position < m_windowBegin || m_position > windowEnd || m_window[0] != 0 || m_window[m_windowSize - 1] != 0)
        return 0;
    return std::max<qint64>(std::min(m_source->holeEnd(m_windowBegin), m_size) - windowEnd, 0);
}

/// Moves the window, which is of the steady size, on by `distance` bytes from zeros to zeros. Where either are none it
/// stays, and the result is false: a source may be wrong, and a file may have shrunk.
bool FileDevice::moveWindow(qint64 distance)
{
    char *const window = m_buffer.get();
    m_trustsHoles = isZero(window, steadyWindow);
    if (!m_trustsHoles)
        return false;
    const qint64 came = m_source->readAt(m_windowBegin + distance, window, qint64(steadyWindow));
    m_trustsHoles = came == qint64(steadyWindow) && isZero(window, steadyWindow);
    if (!m_trustsHoles) {
        std::memset(window, 0, steadyWindow);
        return false;
    }
    m_windowBegin += distance;
    m_bytesFetched += quint64(came);
    return true;
}

qint64 FileDevice::readOutsideWindow(char *data, qint64 maxSize)
{
    if (maxSize <= 0 || isStopped())
        return 0;
    const qint64 wanted = std::min(maxSize, m_size - m_position);
    qint64 came = 0;
    while (came < wanted) {
        const qint64 rest = wanted - came;
        const quint64 at = quint64(m_position) - quint64(m_windowBegin);
        qint64 count = 0;
        if (at < m_windowSize) {
            count = std::min(rest, qint64(m_windowSize - at));
            std::memcpy(data + came, m_window + at, size_t(count));
        } else {
            if (came > 0 && isStopped())
                break;
            chooseFillSize();
            if (rest < m_fillSize) {
                if (!fillWindow(rest))
                    break;
                continue;
            }
            count = std::min(rest, largestDirectRead);
            count = fetch(data + came, count, count);
            if (count == 0)
                break;
            // An empty window that ends here, so that reading on from here counts as sequential.
            m_windowBegin = m_position + count;
            m_windowSize = 0;
            m_mayBeInHole = false;
        }
        came += count;
        m_position += count;
        m_bytesRead += quint64(count);
    }
    return came;
}

void FileDevice::chooseFillSize()
{
    // Unsigned on purpose: a position before the end of the window is a huge distance.
    const quint64 skipped = quint64(m_position) - (quint64(m_windowBegin) + m_windowSize);
    m_fillSize = skipped <= sequentialSkip ? std::clamp(2 * m_fillSize, smallestFill, largestFill) : smallestFill;
}

bool FileDevice::fillWindow(qint64 wanted)
{
    if (!m_buffer)
        m_buffer.reset(new char[keptBehind + size_t(largestFill)]);
    const bool isAdjacent = quint64(m_position) == quint64(m_windowBegin) + m_windowSize;
    const quint64 kept = isAdjacent ? std::min(m_windowSize, keptBehind) : 0;
    std::memmove(m_buffer.get(), m_window + (m_windowSize - kept), kept);

    const qint64 came = fetch(m_buffer.get() + kept, std::min(m_fillSize, m_size - m_position), wanted);
    if (came == 0) {
        dropWindow(); // its first bytes were just written over
        return false;
    }
    m_window = m_buffer.get();
    m_windowBegin = m_position - qint64(kept);
    m_windowSize = kept + quint64(came);
    m_mayBeInHole = m_windowSize == steadyWindow && m_trustsHoles;
    return true;
}

qint64 FileDevice::fetch(char *data, qint64 size, qint64 wanted)
{
    if (m_progress)
        m_progress->isReading.store(true, std::memory_order_relaxed);
    qint64 count = m_source->readAt(m_position, data, size);
    if (count < 0 && wanted < size) {
        // What was to be read ahead may be damaged where what is wanted is not.
        m_fillSize = 0;
        count = m_source->readAt(m_position, data, wanted);
    }
    if (m_progress)
        m_progress->isReading.store(false, std::memory_order_relaxed);
    if (count < 0) {
        rememberReadError(m_position);
        return 0;
    }
    m_bytesFetched += quint64(count);
    if (m_progress)
        m_progress->position.store(m_position, std::memory_order_relaxed);
    return count;
}

void FileDevice::dropWindow()
{
    m_window = "";
    m_windowBegin = 0;
    m_windowSize = 0;
    m_fillSize = 0;
    m_mayBeInHole = false;
}

bool FileDevice::isStopped()
{
    using Clock = std::chrono::steady_clock;
    const bool isLate = m_deadline != Clock::time_point::max() && Clock::now() >= m_deadline;
    if (m_bytesRead <= m_readLimit && !(m_stop && m_stop->load(std::memory_order_relaxed)) && !isLate)
        return false;
    m_interrupted = true;
    return true;
}

void FileDevice::rememberReadError(qint64 offset)
{
    if (hasReadError())
        return;
    m_readErrorOffset = offset;
    m_errorText = m_source->errorText();
}

} // namespace quenlofar
