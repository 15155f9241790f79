#include "walkrecord.h"

#include "containerabstract.h"
#include "containeranalyzer.h"

namespace quenlofar {

void WalkRecord::begin(const QString &file)
{
    {
        const std::lock_guard lock(m_mutex);
        m_names = {++m_walks, file, QString(), Clock::now()};
        m_progress.position = 0;
    }
    m_crashPlace.setFile(file);
    CrashReport::setPlace(&m_crashPlace);
}

void WalkRecord::setPlugin(const QString &plugin)
{
    m_crashPlace.setPlugin(plugin);
    const std::lock_guard lock(m_mutex);
    m_names.plugin = plugin;
}

QVector<ParserFactory> WalkRecord::noted(QVector<ParserFactory> parsers)
{
    for (ParserFactory &parser : parsers) {
        parser.create = [this, create = std::move(parser.create), plugin = parser.file] {
            setPlugin(plugin);
            return create();
        };
        if (parser.createAnalyzer) {
            parser.createAnalyzer = [this, create = std::move(parser.createAnalyzer), plugin = parser.file] {
                setPlugin(plugin);
                return create();
            };
        }
    }
    return parsers;
}

void WalkRecord::end()
{
    CrashReport::setPlace(nullptr);
    const std::lock_guard lock(m_mutex);
    m_names = Names();
    m_progress.position = 0;
}

WalkRecord::Names WalkRecord::names() const
{
    const std::lock_guard lock(m_mutex);
    return m_names;
}

WatchedOutput::WatchedOutput(QIODevice &next, WalkRecord &record) : m_next(next), m_record(record)
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

qint64 WatchedOutput::writeData(const char *data, qint64 size)
{
    ++m_record.m_writes;
    const qint64 written = m_next.write(data, size);
    ++m_record.m_writes;
    if (written != size)
        setErrorString(m_next.errorString());
    return written;
}

} // namespace quenlofar
