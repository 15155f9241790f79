#pragma once

#include "bytesource.h"
#include "document.h"
#include "scriptedrun.h"
#include "waiting.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>

namespace quenlofar {

/// What the sources of one made-up file share; sources may outlive the test that made it.
struct MadeUpFile
{
    qint64 size = 0; ///< bytes; the byte at `offset` is offset % 251
    QByteArray head = {}; ///< what stands at the begin instead
    qint64 failsFrom = -1; ///< reads that begin here or behind fail; -1: none does
    std::atomic<qint64> endsAt{-1}; ///< reads come back empty from here on; -1: the file is as long as it was
    std::atomic<qint64> blocksFrom{-1}; ///< reads that begin here or behind wait for release(); -1: none does
    std::atomic<bool> usedInWindow{false}; ///< something was opened, read or closed in the window's thread
    std::atomic<int> waiting{0}; ///< reads that wait

    std::mutex mutex;
    std::condition_variable wake;
    bool isReleased = false;

    void release()
    {
        const std::lock_guard lock(mutex);
        isReleased = true;
        wake.notify_all();
    }
    void note()
    {
        if (QThread::currentThread() == QCoreApplication::instance()->thread())
            usedInWindow = true;
    }
};

/// A source over a made-up file.
class MadeUpSource : public ByteSource
{
public:
    explicit MadeUpSource(std::shared_ptr<MadeUpFile> file) : m_file(std::move(file)) { m_file->note(); }
    ~MadeUpSource() override { m_file->note(); }

    qint64 size() const override { return m_file->size; }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        m_file->note();
        if (m_file->blocksFrom >= 0 && position >= m_file->blocksFrom) {
            std::unique_lock lock(m_file->mutex);
            ++m_file->waiting;
            m_file->wake.wait(lock, [this] { return m_file->isReleased; });
            --m_file->waiting;
        }
        if (m_file->failsFrom >= 0 && position >= m_file->failsFrom)
            return -1;
        const qint64 end = m_file->endsAt >= 0 ? qint64(m_file->endsAt) : m_file->size;
        const qint64 count = std::clamp<qint64>(end - position, 0, maxSize);
        for (qint64 i = 0; i < count; ++i)
            data[i] = char((position + i) % 251);
        const qint64 headLeft = std::clamp<qint64>(m_file->head.size() - position, 0, count);
        if (headLeft > 0)
            std::memcpy(data, m_file->head.constData() + position, size_t(headLeft));
        return count;
    }
    QString errorText() const override { return QStringLiteral("the disk is on fire"); }

private:
    const std::shared_ptr<MadeUpFile> m_file;
};

/// Reads `file`, with a parser that has a leaf "head" over the first 16 bytes and then nodes "part" of `step` bytes,
/// each with one leaf "bytes" over its first 4 bytes, `parts` of them. Each part is read.
inline DocumentOptions optionsFor(std::shared_ptr<MadeUpFile> file, int parts, quint64 step)
{
    DocumentOptions options;
    options.opener = [file](const QString &, QString *) { return std::make_unique<MadeUpSource>(file); };
    options.parsers = {scriptedFactory(QStringLiteral("TEST"), [parts, step](ScriptedParser &parser) {
        parser.parse = [parts, step](ScriptedParser &self, quint64 *size) {
            if (self.m_position == 0) {
                self.addLeaf(0, 16, QStringLiteral("head"), QStringLiteral("made up"));
                *size = 16;
                return 0;
            }
            const quint64 number = (self.m_position - 16) / step;
            if (number >= quint64(parts)) {
                *size = quint64(self.m_file.size()) - self.m_position; // the rest is a gap
                return 0;
            }
            char bytes[4] = {};
            self.m_file.seek(qint64(self.m_position));
            self.m_file.read(bytes, sizeof bytes);
            self.beginElement(self.m_position, step, QStringLiteral("part"), -1);
            self.addLeaf(self.m_position, 4, QStringLiteral("bytes"), QString::number(uchar(bytes[0])));
            self.endElement();
            *size = step;
            return 0;
        };
    })};
    return options;
}

/// A made-up file of `size` bytes.
inline std::shared_ptr<MadeUpFile> makeFile(qint64 size)
{
    auto file = std::make_shared<MadeUpFile>();
    file->size = size;
    return file;
}

/// A pace that counts items and never looks at the clock: those of the first segment, and the most of any segment.
inline SegmentPace paceOf(quint64 first, quint64 most)
{
    SegmentPace pace;
    pace.firstItems = first;
    pace.mostItems = most;
    pace.first = pace.longest = std::chrono::hours(1);
    return pace;
}

/// Every thread that a test started has ended.
inline bool haveThreadsEnded()
{
    return waitUntil([] { return DocumentWork::runningThreads() == 0; });
}

} // namespace quenlofar
