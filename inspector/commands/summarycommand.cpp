#include "commands.h"

#include "batch.h"
#include "checkoutput.h"
#include "exitstatus.h"
#include "interrupt.h"
#include "jsonprinter.h"
#include "judgedsummary.h"
#include "options.h"
#include "packetoutput.h"
#include "programoutput.h"
#include "report.h"
#include "streamoutput.h"
#include "summarytext.h"
#include "textoutput.h"
#include "textstyle.h"

#include <QIODevice>

#include <memory>

namespace quenlofar {

namespace {

void printSpread(JsonPrinter &json, QStringView key, SpreadNumbers *numbers)
{
    if (!numbers->isEmpty())
        printSpread(json, key, numbers->spread());
}

void printFrames(JsonPrinter &json, FileSummary &summary)
{
    json.beginArray();
    for (auto &[ordinal, frames] : summary.frames.streams()) {
        json.beginObject().key(u"stream").number(ordinal).key(u"count").number(frames.count);
        json.key(u"keyFrames").number(frames.keyFrames);
        printSpread(json, u"keySpacing", &frames.keySpacings);
        json.key(u"bytes").number(frames.bytes);
        printSpread(json, u"sizes", &frames.sizes);
        const quint64 bitRate = summary.bitRate(ordinal, frames);
        if (bitRate > 0)
            json.key(u"bitRate").number(bitRate);
        json.endObject();
    }
    json.endArray();
}

void printBytes(JsonPrinter &json, const ByteAccounting &bytes, ByteAccounting::Kind kind)
{
    json.beginObject().key(u"bytes").number(bytes.byteCount(kind)).key(u"ranges").number(bytes.rangeCount(kind));
    json.endObject();
}

void printProblems(JsonPrinter &json, const QVector<KeptProblem> &problems)
{
    json.key(u"problems").beginArray();
    for (const KeptProblem &problem : problems) {
        json.beginObject().key(u"severity").text(severityName(problem.severity));
        json.key(u"offset").number(problem.offset).key(u"size").number(problem.size);
        json.key(u"text").text(problem.text).endObject();
    }
    json.endArray();
}

StrictReader readerOf(const FileTask &task, const Options &options)
{
    return {task.parsers, options.limits, &InterruptWatch::flag(), task.progress};
}

class JsonSummary : public JudgedSummary
{
public:
    JsonSummary(const FileTask &task, const Options &options)
        : JudgedSummary(readerOf(task, options)),
          m_json(task.output, options.pretty ? JsonLayout::Indented : JsonLayout::Line)
    {
    }

protected:
    QString printJudged(FileSummary &summary, const StrictReading &reading) override
    {
        m_json.beginObject().documentStart(summary.start).key(u"rows").beginArray();
        for (const DescriptionRow &row : std::as_const(summary.rows))
            m_json.beginObject().key(u"label").text(row.label).key(u"text").text(row.text).endObject();
        m_json.endArray().key(u"streams");
        printStreams(m_json, summary.streams);
        m_json.key(u"frames");
        printFrames(m_json, summary);
        if (reading.hasPackets) {
            m_json.key(u"packets");
            printPacketStatistics(m_json, reading.packets);
        }
        m_json.key(u"items").number(summary.result.items);
        if (!summary.start.container.isNull()) {
            m_json.key(u"unparsed");
            printBytes(m_json, summary.bytes, ByteAccounting::Kind::Unparsed);
            m_json.key(u"gaps");
            printBytes(m_json, summary.bytes, ByteAccounting::Kind::Gap);
        }
        if (!summary.problems.isEmpty())
            printProblems(m_json, summary.problems);
        constexpr size_t mostCauses = 3;
        printVerdict(m_json, reading.check, mostCauses);
        m_json.outcome(summary.result).endObject();
        m_json.finish();
        return m_json.errorText();
    }

private:
    JsonPrinter m_json;
};

class TextSummary : public JudgedSummary
{
public:
    TextSummary(const FileTask &task, const Options &options, const TextStyle &style)
        : JudgedSummary(readerOf(task, options)), m_output(task.output), m_style(style)
    {
    }

protected:
    QString printJudged(FileSummary &summary, const StrictReading &reading) override
    {
        SummaryText(m_output, m_style).print(summary, reading);
        m_output.flush();
        return m_output.errorText();
    }

private:
    TextOutput m_output;
    const TextStyle m_style;
};

FileReport summariseOne(const FileTask &task, const Options &options, const TextStyle &style)
{
    std::unique_ptr<JudgedSummary> summary;
    if (options.format == Options::Format::Json) {
        summary = std::make_unique<JsonSummary>(task, options);
    } else {
        if (!task.isFirst)
            task.output.write("\n");
        summary = std::make_unique<TextSummary>(task, options, style);
    }
    const RunResult result = summary->outcome(task.run.run(task.file, task.parsers, *summary));
    FileReport report = reportOf(task.file, result, task.programOutput.hasFailed());
    const FileCheck &check = summary->check();
    if (check.verdict != Verdict::Damaged || report.exitStatus >= ExitFileProblem)
        return report;
    // The walk had nothing to say of it.
    report.exitStatus = ExitFileProblem;
    report.trouble = verdictText(check.verdict);
    const std::vector<const JudgedFinding *> causes = check.causes(Severity::Error);
    report.messages.append(QStringLiteral("%1: %2: %3 (%4)")
                               .arg(task.file, report.trouble, causes.front()->message, causes.front()->rule));
    return report;
}

} // namespace

int summarise(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    const TextStyle style = textStyle(options.output, output);
    return lookAtFiles(options, plugins, output,
                       [&](const FileTask &task) { return summariseOne(task, options, style); });
}

} // namespace quenlofar
