#include "summaryjob.h"

#include "displaytext.h"
#include "document.h"
#include "fileanalysis.h"
#include "filepath.h"
#include "filesummary.h"
#include "pluginloader.h"
#include "strictreading.h"
#include "summaryrows.h"
#include "treereplay.h"

#include <algorithm>
#include <mutex>

namespace quenlofar {

namespace {

/// Collects the facts of a tree that is replayed, and makes a text of them.
class SummaryLines : public SummarySink
{
public:
    SummaryLines(const QVector<ParserFactory> &parsers, const StrictReading &reading)
        : SummarySink(parsers), m_reading(reading)
    {
    }
    QString text;

protected:
    QString print(FileSummary &summary) override
    {
        SummaryRows facts(SizeUnits::Bytes, true);
        facts.addFile(summary);
        facts.addStreams(summary, m_reading);
        facts.addBytes(summary);
        facts.addProblems(summary);
        int width = 0;
        for (const SummaryRow &row : facts.rows())
            width = std::max(width, int(row.label.size()));
        text = displayText(QString::fromUtf8(pathForDisplay(summary.start.file))) + QLatin1Char('\n');
        for (const SummaryRow &row : facts.rows())
            text += QStringLiteral("  ") + row.label.leftJustified(width) + QStringLiteral("  ") + row.text
                + QLatin1Char('\n');
        return {};
    }

private:
    const StrictReading &m_reading;
};

} // namespace

/// Makes one summary in a thread of its own.
class SummaryJob::Task
{
public:
    Task(SummaryJob *receiver, const GrowingTree &tree, std::shared_ptr<const StrictTables> tables,
         QVector<ParserFactory> parsers, std::shared_ptr<const PluginLoader> plugins)
        : m_plugins(std::move(plugins)), m_parsers(std::move(parsers)), m_tables(std::move(tables)), m_tree(tree),
          m_receiver(receiver)
    {
    }

    void abandon()
    {
        const std::lock_guard lock(m_mutex);
        m_receiver = nullptr;
    }

    void run()
    {
        QString text;
        try {
            text = makeText();
        } catch (const std::bad_alloc &) {
            text = SummaryJob::tr("Memory ran out.");
        }
        m_tree = GrowingTree(); // what it keeps alive goes in this thread
        const std::lock_guard lock(m_mutex);
        if (m_receiver)
            QMetaObject::invokeMethod(
                m_receiver, [receiver = m_receiver, task = this, text] { receiver->take(task, text); },
                Qt::QueuedConnection);
    }

private:
    QString makeText() const
    {
        if (!m_tree.hasBegun())
            return SummaryJob::tr("Nothing is known of this file.");
        StrictReading reading;
        if (const ContainerAnalyzer *const analyzer = m_tables ? m_tables->analyzer() : nullptr) {
            reading.packets = packetStatistics(analyzer->packets());
            reading.hasPackets = true;
        }
        SummaryLines lines(m_parsers, reading);
        replayItem(m_tree, GrowingTree::root(), &lines);
        return m_tree.isComplete() ? lines.text
                                   : lines.text + SummaryJob::tr("  The file is still being read.") + QLatin1Char('\n');
    }

    const std::shared_ptr<const PluginLoader> m_plugins; // outlives what the parsers make
    const QVector<ParserFactory> m_parsers;
    const std::shared_ptr<const StrictTables> m_tables;
    GrowingTree m_tree; // of the same segments, which never change

    std::mutex m_mutex; // guards what follows
    SummaryJob *m_receiver;
};

SummaryJob::SummaryJob(const Document &document, const DocumentOptions &options, QObject *parent)
    : QObject(parent), m_document(document), m_options(options)
{
}

SummaryJob::~SummaryJob()
{
    if (m_task)
        m_task->abandon();
}

void SummaryJob::start()
{
    if (m_task)
        m_task->abandon();
    const QVector<ParserFactory> parsers =
        m_options.plugins ? m_options.plugins->parsersFor(m_document.path()) : m_options.parsers;
    m_task = std::make_shared<Task>(this, m_document.tree(), m_document.tables(), parsers, m_options.plugins);
    DocumentWork::runDetached([task = m_task] { task->run(); });
}

/// What an earlier task has to say is not wanted any more; it may be gone.
void SummaryJob::take(const Task *task, const QString &text)
{
    if (m_task.get() != task)
        return;
    m_text = text;
    m_task.reset();
    Q_EMIT finished();
}

} // namespace quenlofar
