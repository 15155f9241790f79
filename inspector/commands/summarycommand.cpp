#include "commands.h"

#include "batch.h"
#include "filesummary.h"
#include "jsonprinter.h"
#include "options.h"
#include "streamoutput.h"
#include "summarytext.h"
#include "textoutput.h"
#include "textstyle.h"

#include <QIODevice>

#include <memory>

namespace quenlofar {

namespace {

/// Prints a spread as the value of a key.
void printSpread(JsonPrinter &json, QStringView key, SpreadNumbers *numbers)
{
    if (numbers->isEmpty())
        return;
    const Spread spread = numbers->spread();
    json.key(key).beginObject().key(u"least").number(spread.least).key(u"median").number(spread.median);
    json.key(u"greatest").number(spread.greatest).endObject();
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

void printProblems(JsonPrinter &json, const QVector<quenlofar::KeptProblem> &problems)
{
    json.key(u"problems").beginArray();
    for (const quenlofar::KeptProblem &problem : problems) {
        json.beginObject().key(u"severity").text(severityName(problem.severity));
        json.key(u"offset").number(problem.offset).key(u"size").number(problem.size);
        json.key(u"text").text(problem.text).endObject();
    }
    json.endArray();
}

class JsonSummary : public SummarySink
{
public:
    JsonSummary(QIODevice &output, const FileContext &context, JsonLayout layout)
        : SummarySink(context.parsers), m_json(output, layout)
    {
    }

protected:
    QString print(FileSummary &summary) override
    {
        m_json.beginObject().documentStart(summary.start).key(u"rows").beginArray();
        for (const DescriptionRow &row : std::as_const(summary.rows))
            m_json.beginObject().key(u"label").text(row.label).key(u"text").text(row.text).endObject();
        m_json.endArray().key(u"streams");
        printStreams(m_json, summary.streams);
        m_json.key(u"frames");
        printFrames(m_json, summary);
        m_json.key(u"items").number(summary.result.items);
        if (!summary.start.container.isNull()) {
            m_json.key(u"unparsed");
            printBytes(m_json, summary.bytes, ByteAccounting::Kind::Unparsed);
            m_json.key(u"gaps");
            printBytes(m_json, summary.bytes, ByteAccounting::Kind::Gap);
        }
        if (!summary.problems.isEmpty())
            printProblems(m_json, summary.problems);
        m_json.outcome(summary.result).endObject();
        m_json.finish();
        return m_json.errorText();
    }

private:
    JsonPrinter m_json;
};

class TextSummary : public SummarySink
{
public:
    TextSummary(QIODevice &output, const FileContext &context, const TextStyle &style)
        : SummarySink(context.parsers), m_output(output), m_style(style)
    {
    }

protected:
    QString print(FileSummary &summary) override
    {
        SummaryText(m_output, m_style).print(summary);
        m_output.flush();
        return m_output.errorText();
    }

private:
    TextOutput m_output;
    const TextStyle m_style;
};

} // namespace

int summarise(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    const TextStyle style = textStyle(options.output, output);
    return walkFiles(options, plugins, output,
                     [&](QIODevice &place, const FileContext &context) -> std::unique_ptr<ElementSink> {
                         if (options.format == Options::Format::Json)
                             return std::make_unique<JsonSummary>(
                                 place, context, options.pretty ? JsonLayout::Indented : JsonLayout::Line);
                         if (!context.isFirst)
                             place.write("\n");
                         return std::make_unique<TextSummary>(place, context, style);
                     });
}

} // namespace quenlofar
