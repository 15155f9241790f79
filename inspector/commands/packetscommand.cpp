#include "commands.h"

#include "batch.h"
#include "exitstatus.h"
#include "fileanalysis.h"
#include "filepath.h"
#include "interrupt.h"
#include "jsonprinter.h"
#include "options.h"
#include "packetfacts.h"
#include "plainlines.h"
#include "programoutput.h"
#include "report.h"
#include "sizetext.h"
#include "statuscodes.h"
#include "textoutput.h"

#include <QIODevice>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

namespace quenlofar {

namespace {

constexpr std::array<PacketSource, 3> packetSources{KnownFromData, KnownFromLegacyIndex, KnownFromPartIndex};

/// The words of a table for the sources of one packet, by its bits, between blanks.
class SourceLists
{
public:
    SourceLists() = default;
    explicit SourceLists(const PacketTable &table)
    {
        for (size_t bits = 0; bits < m_lists.size(); ++bits) {
            for (const PacketSource source : packetSources) {
                if ((bits & source) == 0)
                    continue;
                m_lists[bits] += m_lists[bits].empty() ? "" : " ";
                m_lists[bits] += table.sourceName(source).toString().toStdString();
            }
        }
    }
    const std::string &of(const Packet &packet) const { return m_lists[packet.knownBy & 7U]; }

private:
    std::array<std::string, 8> m_lists;
};

PacketFilter filterOf(const PacketChoice &choice)
{
    PacketFilter filter;
    // No table has a stream of such a number; -1 would stand for all of them.
    if (choice.stream != PacketChoice::everyStream)
        filter.stream = int(std::min<quint64>(choice.stream, PacketTable::streamLimit));
    for (const StreamKind kind : {StreamKind::Other, StreamKind::Video, StreamKind::Audio, StreamKind::Text,
                                  StreamKind::Midi, StreamKind::Mixed}) {
        if (choice.kinds.contains(streamKindText(kind), Qt::CaseInsensitive))
            filter.kinds.push_back(kind);
    }
    filter.keyOnly = choice.keyOnly;
    filter.firstNumber = choice.firstNumber;
    filter.lastNumber = choice.lastNumber;
    filter.firstOffset = choice.firstOffset;
    filter.lastOffset = choice.lastOffset;
    filter.firstSecond = choice.firstSecond;
    filter.lastSecond = choice.lastSecond;
    return filter;
}

/// A packet as it is printed.
struct PacketRow
{
    const Packet &packet;
    quint64 number; ///< within its stream; means nothing for a palette
    bool hasTime; ///< it is known when it begins
    double seconds;
};

/// Prints the packets of one file.
class PacketPrinter
{
public:
    PacketPrinter() = default;
    PacketPrinter(const PacketPrinter &) = delete;
    PacketPrinter &operator=(const PacketPrinter &) = delete;
    virtual ~PacketPrinter() = default;

    virtual void begin(const DocumentStart &start) = 0;
    /// What is printed from now on belongs to `table`, which outlives the printing.
    void beginTable(const PacketTable &table)
    {
        m_table = &table;
        m_sources = SourceLists(table);
    }
    /// False when the output has failed.
    virtual bool print(const PacketRow &row) = 0;
    virtual void end(const RunResult &result) = 0;
    /// Why the output has failed; null before that.
    virtual QString errorText() const = 0;

protected:
    const PacketTable *m_table = nullptr;
    SourceLists m_sources;
};

/// Aligned columns for people.
class PacketText : public PacketPrinter
{
public:
    PacketText(QIODevice &output, const OutputChoice &style) : m_output(output), m_style(style) { }

    void begin(const DocumentStart &start) override
    {
        m_output.heading(start);
        const quint64 end = quint64(std::max<qint64>(start.fileSize, 0));
        m_offsetWidth = std::max(6, int(offsetText(end, m_style.hexOffsets).size()));
        m_sizeWidth = std::max(m_offsetWidth, m_style.sizes == SizeUnits::Bytes ? 0 : 10);
    }
    bool print(const PacketRow &row) override;
    void end(const RunResult &result) override
    {
        if (m_isEmpty)
            m_output.line(QStringLiteral("no packets"));
        m_output.outcome(result);
        m_output.flush();
    }
    QString errorText() const override { return m_output.errorText(); }

private:
    void printLine(const QString &stream, const QString &number, const QString &offset, const QString &size,
                   const QString &seconds, const QString &key, const QString &known)
    {
        const QString gap = QStringLiteral("  ");
        m_output.line(stream.rightJustified(6) + gap + number.rightJustified(8) + gap
                      + offset.rightJustified(m_offsetWidth) + gap + size.rightJustified(m_sizeWidth) + gap
                      + seconds.rightJustified(12) + gap + key.leftJustified(3) + gap + known);
    }

    TextOutput m_output;
    const OutputChoice m_style;
    int m_offsetWidth = 0;
    int m_sizeWidth = 0;
    bool m_isEmpty = true;
};

bool PacketText::print(const PacketRow &row)
{
    if (m_isEmpty)
        printLine(QStringLiteral("stream"), QStringLiteral("number"), QStringLiteral("offset"), QStringLiteral("size"),
                  QStringLiteral("seconds"), QStringLiteral("key"), QStringLiteral("known by"));
    m_isEmpty = false;
    const Packet &packet = row.packet;
    QString known = QString::fromStdString(m_sources.of(packet));
    if (packet.isPalette)
        known += QStringLiteral(", palette");
    else if (packet.isEmpty())
        known += QStringLiteral(", empty");
    if (packet.isCut)
        known += QStringLiteral(", cut");
    const QString key = packet.isPalette  ? QString()
        : packet.key == KeyState::Yes     ? QStringLiteral("key")
        : packet.key == KeyState::Unknown ? QStringLiteral("?")
                                          : QString();
    printLine(QString::number(packet.stream), packet.isPalette ? QString() : QString::number(row.number),
              offsetText(packet.offset, m_style.hexOffsets),
              m_style.sizes == SizeUnits::Bytes ? QString::number(packet.size) : sizeText(packet.size, m_style.sizes),
              row.hasTime ? QString::number(row.seconds, 'f', 6) : QString(), key, known);
    return m_output.works();
}

/// Comma-separated values; of many files the first column names the file.
class PacketCsv : public PacketPrinter
{
public:
    PacketCsv(const FileTask &task, CsvTexts texts) : m_output(task.output), m_task(task), m_texts(texts) { }

    void begin(const DocumentStart &start) override
    {
        if (m_task.isFirst)
            m_output << (m_task.isOneOfMany ? "file," : "")
                     << "stream,number,offset,size,key,empty,cut,kind,seconds,knownBy\n";
        if (m_task.isOneOfMany)
            m_file = pathForDisplay(csvText(start.file, m_texts)).toStdString() + ',';
    }
    bool print(const PacketRow &row) override
    {
        const Packet &packet = row.packet;
        m_output << m_file << quint64(packet.stream) << ',';
        if (!packet.isPalette)
            m_output << row.number;
        m_output << ',' << packet.offset << ',' << quint64(packet.size) << ',';
        if (packet.key != KeyState::Unknown)
            m_output << (packet.key == KeyState::Yes ? '1' : '0');
        m_output << (packet.isEmpty() ? ",1," : ",0,") << (packet.isCut ? "1," : "0,")
                 << (packet.isPalette ? "palette," : "data,");
        if (row.hasTime)
            m_output << row.seconds;
        m_output << ',' << m_sources.of(packet) << '\n';
        return m_output.works();
    }
    void end(const RunResult &) override { m_output.flush(); }
    QString errorText() const override { return m_output.errorText(); }

private:
    PlainLines m_output;
    const FileTask &m_task;
    const CsvTexts m_texts;
    std::string m_file;
};

class PacketJson : public PacketPrinter
{
public:
    PacketJson(QIODevice &output, JsonLayout layout) : m_json(output, layout) { }

    void begin(const DocumentStart &start) override
    {
        m_json.beginObject().documentStart(start).key(u"packets").beginArray();
    }
    bool print(const PacketRow &row) override
    {
        const Packet &packet = row.packet;
        m_json.beginObject().key(u"stream").number(packet.stream);
        if (!packet.isPalette)
            m_json.key(u"number").number(row.number);
        m_json.key(u"offset").number(packet.offset).key(u"size").number(packet.size);
        if (packet.key != KeyState::Unknown)
            m_json.key(u"key").boolean(packet.key == KeyState::Yes);
        if (packet.isEmpty())
            m_json.key(u"empty").boolean(true);
        if (packet.isCut)
            m_json.key(u"cut").boolean(true);
        if (packet.isPalette)
            m_json.key(u"kind").text(u"palette");
        if (row.hasTime)
            m_json.key(u"seconds").real(row.seconds);
        m_json.key(u"knownBy").beginArray();
        for (const PacketSource source : packetSources) {
            if ((packet.knownBy & source) != 0)
                m_json.text(m_table->sourceName(source));
        }
        m_json.endArray().endObject();
        return m_json.errorText().isNull();
    }
    void end(const RunResult &result) override
    {
        m_json.endArray().outcome(result).endObject();
        m_json.finish();
    }
    QString errorText() const override { return m_json.errorText(); }

private:
    JsonPrinter m_json;
};

std::unique_ptr<PacketPrinter> makePrinter(const Options &options, const FileTask &task)
{
    if (options.format == Options::Format::Csv)
        return std::make_unique<PacketCsv>(task, options.csvTexts);
    if (options.format == Options::Format::Json)
        return std::make_unique<PacketJson>(task.output, options.pretty ? JsonLayout::Indented : JsonLayout::Line);
    if (!task.isFirst)
        task.output.write("\n");
    return std::make_unique<PacketText>(task.output, options.output);
}

/// Prints what is wanted of `table`; says in `*result` what kept it from doing so to the end.
void printPackets(const PacketTable &table, const PacketFilter &filter, PacketPrinter &printer, RunResult *result)
{
    constexpr quint64 step = 4096; // between looks at the flag
    printer.beginTable(table);
    for (PacketCursor cursor(table, table.lowerIndex(filter.firstOffset)); cursor.isValid(); cursor.next()) {
        const Packet &packet = cursor.packet();
        if (packet.offset > filter.lastOffset)
            return;
        if (cursor.index() % step == 0 && InterruptWatch::flag()) {
            result->cancelled = true;
            result->stopPosition = packet.offset;
            return;
        }
        if (!filter.accepts(table, cursor))
            continue;
        const PacketStream &facts = table.stream(packet.stream);
        const bool hasTime = !packet.isPalette && facts.isDeclared && facts.hasTimeBase();
        if (!printer.print({packet, packet.isPalette ? 0 : cursor.number(), hasTime, hasTime ? cursor.seconds() : 0.0}))
            return;
    }
}

FileReport listPacketsOf(const FileTask &task, const Options &options)
{
    const std::unique_ptr<PacketPrinter> printer = makePrinter(options, task);
    FileAnalysis analysis(options.limits, &InterruptWatch::flag(), task.progress);
    analysis.read(task.file, task.parsers, Level::Default);
    if (!analysis.analyzer() && analysis.start().fileSize >= 0)
        analysis.identify(task.file, task.parsers, task.run);
    RunResult result = analysis.result();
    bool isUnread = false; // the container is known, but nobody can list its packets
    printer->begin(analysis.start());
    if (const ContainerAnalyzer *const analyzer = analysis.analyzer()) {
        const PacketTable &table = analyzer->packets();
        // The data of the last one, if of any, ends where the file does.
        if (result.status == StatusOk && table.size() > 0 && table.at(table.size() - 1).isCut)
            result.status = StatusEndOfFile;
        printPackets(table, filterOf(options.packets), *printer, &result);
    } else {
        isUnread = !analysis.start().container.isNull();
    }
    printer->end(result);
    result.sinkError = printer->errorText();
    FileReport report = reportOf(task.file, result, task.programOutput.hasFailed());
    if (isUnread && report.exitStatus < ExitFileProblem) {
        report.exitStatus = ExitFileProblem;
        report.messages.append(
            QStringLiteral("%1: the plug-in for %2 lists no packets").arg(task.file, analysis.start().container));
        report.trouble = QStringLiteral("no packets can be listed");
    }
    return report;
}

} // namespace

int listPackets(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return lookAtFiles(options, plugins, output,
                       [&options](const FileTask &task) { return listPacketsOf(task, options); });
}

} // namespace quenlofar
