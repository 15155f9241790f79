#include "orderedoutput.h"

#include <new>

namespace quenlofar {

class OrderedOutput::Place : public QIODevice
{
public:
    Place(OrderedOutput &order, quint64 ordinal) : m_order(order), m_ordinal(ordinal)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        if (m_order.write(m_ordinal, data, size))
            return size;
        setErrorString(m_order.m_output.errorString());
        return -1;
    }

private:
    OrderedOutput &m_order;
    const quint64 m_ordinal;
};

OrderedOutput::OrderedOutput(QIODevice &output, Reporter reporter) : m_output(output), m_reporter(std::move(reporter))
{
}

std::unique_ptr<QIODevice> OrderedOutput::place(quint64 ordinal)
{
    auto place = std::make_unique<Place>(*this, ordinal);
    const std::lock_guard lock(m_mutex);
    m_waiting.try_emplace(ordinal);
    return place;
}

bool OrderedOutput::write(quint64 ordinal, const char *data, qint64 size)
{
    std::unique_lock lock(m_mutex);
    m_turnChanged.wait(lock, [&] { return ordinal == m_turn || m_kept + size <= m_room || m_failed; });
    if (ordinal != m_turn && !m_failed && keep(ordinal, data, size))
        return true;
    m_turnChanged.wait(lock, [&] { return ordinal == m_turn || m_failed; });
    if (m_failed)
        return false;
    m_failed = m_output.write(data, size) != size;
    if (m_failed)
        m_turnChanged.notify_all();
    return !m_failed;
}

/// False where there is no memory to keep it: the file goes on when it is its turn.
bool OrderedOutput::keep(quint64 ordinal, const char *data, qint64 size) noexcept
{
    try {
        m_waiting.find(ordinal)->second.bytes.append(data, int(size));
    } catch (const std::bad_alloc &) {
        m_room = m_kept / 2; // the walks need some memory too
        return false;
    }
    m_kept += size;
    return true;
}

void OrderedOutput::finish(quint64 ordinal, const FileReport &report) noexcept
{
    std::unique_lock lock(m_mutex);
    if (const auto finished = m_waiting.find(ordinal); finished != m_waiting.end()) {
        finished->second.isFinished = true;
        finished->second.report = report;
    } else {
        m_turnChanged.wait(lock, [&] { return ordinal == m_turn; });
        m_reporter(m_turn++, report);
    }
    for (auto next = m_waiting.begin(); next != m_waiting.end() && next->first == m_turn;) {
        flush(&next->second);
        if (!next->second.isFinished)
            break; // it goes on by itself: what it prints goes straight to the output from here on
        m_reporter(m_turn, next->second.report);
        next = m_waiting.erase(next);
        ++m_turn;
    }
    m_turnChanged.notify_all();
}

void OrderedOutput::flush(Waiting *waiting) noexcept
{
    m_kept -= waiting->bytes.size();
    if (!m_failed && !waiting->bytes.isEmpty())
        m_failed = m_output.write(waiting->bytes) != waiting->bytes.size();
    waiting->bytes = QByteArray();
}

} // namespace quenlofar
