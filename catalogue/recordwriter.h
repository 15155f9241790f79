#pragma once

#include "catalogue.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace quenlofar {

/// Stores records from many threads in one of its own, the only one that uses the run meanwhile.
class RecordWriter
{
public:
    /// Begins to store into `run`. `failed` is called, by the writing thread, once nothing more can be stored. Both
    /// outlive the object.
    RecordWriter(CatalogueRun &run, std::function<void()> failed);
    RecordWriter(const RecordWriter &) = delete;
    RecordWriter &operator=(const RecordWriter &) = delete;
    ~RecordWriter();

    /// Takes a record; waits where too many are on their way. After a failure records are dropped.
    void add(FileRecord record);
    /// Waits until everything is stored and committed. Null, or why that was not possible.
    QString finish();

private:
    void work() noexcept;
    void storeAll();

    CatalogueRun &m_run;
    const std::function<void()> m_failed;
    std::mutex m_mutex;
    std::condition_variable m_hasRecords;
    std::condition_variable m_hasRoom;
    std::deque<FileRecord> m_records;
    bool m_isEnding = false;
    QString m_error; // null while everything works
    std::thread m_thread;
};

} // namespace quenlofar
