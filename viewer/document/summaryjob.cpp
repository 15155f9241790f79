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

/// Of the tree and the tables as far as they are known.
QString summaryText(const GrowingTree &tree, const StrictTables *tables, const QVector<ParserFactory> &parsers)
{
    if (!tree.hasBegun())
        return SummaryJob::tr("Nothing is known of this file.");
    StrictReading reading;
    if (const ContainerAnalyzer *const analyzer = tables ? tables->analyzer() : nullptr) {
        reading.packets = packetStatistics(analyzer->packets());
        reading.hasPackets = true;
    }
    SummaryLines lines(parsers, reading);
    replayItem(tree, GrowingTree::root(), &lines);
    return tree.isComplete() ? lines.text
                             : lines.text + SummaryJob::tr("  The file is still being read.") + QLatin1Char('\n');
}

} // namespace

SummaryJob::SummaryJob(const Document &document, const DocumentOptions &options, QObject *parent)
    : QObject(parent), m_document(document), m_options(options)
{
}

void SummaryJob::start()
{
    const auto deliver = [this](const QString &text) {
        m_text = text;
        Q_EMIT finished();
    };
    const QVector<ParserFactory> parsers =
        m_options.plugins ? m_options.plugins->parsersFor(m_document.path()) : m_options.parsers;
    // The plug-ins outlive what the parsers make, and what the tree keeps alive goes in the other thread.
    m_making.start(
        [deliver, plugins = m_options.plugins, parsers, tables = m_document.tables(),
         tree = m_document.tree()](const std::atomic<bool> &) {
            return Errand::Delivery([deliver, text = summaryText(tree, tables.get(), parsers)] { deliver(text); });
        },
        [deliver] { deliver(tr("Memory ran out.")); });
}

} // namespace quenlofar
