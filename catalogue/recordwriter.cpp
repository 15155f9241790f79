#include "recordwriter.h"

#include <chrono>
#include <exception>
#include <utility>

namespace quenlofar {

namespace {

constexpr size_t mostRecords = 256; // on their way
constexpr auto commitInterval = std::chrono::seconds(2); // what a slow run may lose when it is killed

} // namespace

RecordWriter::RecordWriter(CatalogueRun &run, std::function<void()> failed)
    : m_run(run), m_failed(std::move(failed)), m_thread([this] { work(); })
{
}

RecordWriter::~RecordWriter()
{
    finish();
}

void RecordWriter::add(FileRecord record)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_hasRoom.wait(lock, [this] { return m_records.size() < mostRecords || !m_error.isNull(); });
    if (!m_error.isNull())
        return;
    m_records.push_back(std::move(record));
    lock.unlock();
    m_hasRecords.notify_one();
}

QString RecordWriter::finish()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
    }
    m_hasRecords.notify_one();
    if (m_thread.joinable())
        m_thread.join();
    return m_error;
}

void RecordWriter::work() noexcept
{
    QString error;
    try {
        storeAll();
        return;
    } catch (const CatalogueError &failure) {
        error = failure.text();
    } catch (const std::exception &) {
        error = QStringLiteral("not enough memory to store what was found");
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_error = error;
        m_records.clear();
    }
    m_hasRoom.notify_all();
    m_failed();
}

void RecordWriter::storeAll()
{
    auto lastCommit = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        m_hasRecords.wait_for(lock, commitInterval, [this] { return !m_records.empty() || m_isEnding; });
        std::deque<FileRecord> records;
        records.swap(m_records);
        const bool isLast = m_isEnding && records.empty();
        lock.unlock();
        m_hasRoom.notify_all();
        for (const FileRecord &record : records)
            m_run.store(record);
        const auto now = std::chrono::steady_clock::now();
        if (isLast || now - lastCommit >= commitInterval) {
            m_run.commit();
            lastCommit = now;
        }
        if (isLast)
            return;
        lock.lock();
    }
}

} // namespace quenlofar
