#include "orderedoutput.h"

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
    return std::make_unique<Place>(*this, ordinal);
}

bool OrderedOutput::write(quint64 ordinal, const char *data, qint64 size)
{
    std::unique_lock lock(m_mutex);
    m_turnChanged.wait(lock, [&] { return ordinal == m_turn || m_kept + size <= room || m_failed; });
    if (m_failed)
        return false;
    if (ordinal != m_turn) {
        m_waiting[ordinal].bytes.append(data, int(size));
        m_kept += size;
        return true;
    }
    m_failed = m_output.write(data, size) != size;
    if (m_failed)
        m_turnChanged.notify_all();
    return !m_failed;
}

void OrderedOutput::finish(quint64 ordinal, const FileReport &report)
{
    const std::lock_guard lock(m_mutex);
    Waiting &finished = m_waiting[ordinal];
    finished.isFinished = true;
    finished.report = report;
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

void OrderedOutput::abandon()
{
    const std::lock_guard lock(m_mutex);
    m_failed = true;
    m_turnChanged.notify_all();
}

void OrderedOutput::flush(Waiting *waiting)
{
    m_kept -= waiting->bytes.size();
    if (!m_failed && !waiting->bytes.isEmpty())
        m_failed = m_output.write(waiting->bytes) != waiting->bytes.size();
    waiting->bytes = QByteArray();
}
