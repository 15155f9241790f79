#include "commands.h"

#include "batch.h"
#include "describingsink.h"
#include "displaytext.h"
#include "filesummary.h"
#include "interrupt.h"
#include "jsonprinter.h"
#include "messages.h"
#include "options.h"
#include "packetoutput.h"
#include "programoutput.h"
#include "report.h"
#include "streamfacts.h"
#include "streamoutput.h"
#include "strictreading.h"
#include "textoutput.h"

#include <QIODevice>
#include <QLocale>

#include <memory>

namespace quenlofar {

namespace {

/// A sink that has the file described, reads its packets at the end, and prints its streams then.
class StreamSink : public DescribingSink
{
public:
    StreamSink(const FileContext &context, const Options &options)
        : DescribingSink(context.parsers), m_isQuiet(options.quiet),
          m_showsPackets(options.format != Options::Format::Csv), m_reader{context.parsers, options.limits,
                                                                           &InterruptWatch::flag(), context.progress}
    {
    }

    bool beginDocument(const DocumentStart &start) override
    {
        m_start = start;
        return DescribingSink::beginDocument(start);
    }
    bool endDocument(const RunResult &result) override
    {
        const bool isDescribed = DescribingSink::endDocument(result);
        const QString leftOut = leftOutText(rows());
        if (!leftOut.isEmpty() && !m_isQuiet)
            printMessage(QStringLiteral("%1: streams: %2").arg(m_start.file, leftOut));
        if (m_showsPackets)
            m_reading = readStrictly(m_start, m_reader, false);
        return print(m_start, streamsOf(*this, result), m_reading, outcome(result)) && isDescribed;
    }
    /// How everything went, of which `walk` was the first part; once it is printed.
    RunResult outcome(const RunResult &walk) const { return m_reading.outcome(walk); }
    QString errorText() const override
    {
        const QString error = outputError();
        return error.isNull() ? DescribingSink::errorText() : error;
    }

protected:
    virtual bool print(const DocumentStart &start, const QVector<StreamDescription> &streams,
                       const StrictReading &reading, const RunResult &result) = 0;
    virtual QString outputError() const = 0;

private:
    const bool m_isQuiet;
    const bool m_showsPackets; // the columns of comma-separated values are what headers say
    const StrictReader m_reader;
    DocumentStart m_start;
    StrictReading m_reading;
};

QString numberText(quint64 number)
{
    return number == 0 ? QString() : QString::number(number);
}

/// Aligned columns for people.
class StreamTable : public StreamSink
{
public:
    StreamTable(QIODevice &output, const FileContext &context, const Options &options)
        : StreamSink(context, options), m_output(output)
    {
    }

protected:
    bool print(const DocumentStart &start, const QVector<StreamDescription> &streams, const StrictReading &reading,
               const RunResult &result) override
    {
        m_output.heading(start);
        if (streams.isEmpty()) {
            m_output.line(QStringLiteral("no streams"));
        } else {
            QVector<QStringList> rows = {
                {QStringLiteral("stream"), QStringLiteral("kind"), QStringLiteral("code"), QStringLiteral("picture"),
                 QStringLiteral("frames/s"), QStringLiteral("samples/s"), QStringLiteral("channels"),
                 QStringLiteral("bits"), QStringLiteral("bit rate"), QStringLiteral("length"),
                 QStringLiteral("packets"), QStringLiteral("keys"), QStringLiteral("codec"), QStringLiteral("name")}};
            for (const StreamDescription &stream : streams)
                rows.append(cells(stream, reading.stream(stream.ordinal)));
            const QVector<int> numberColumns = {0, 3, 4, 5, 6, 7, 8, 9, 10, 11};
            const QStringList lines = tableLines(rows, numberColumns);
            for (const QString &line : lines)
                m_output.line(line);
        }
        for (const StreamPackets &packets : reading.packets) {
            if (packets.hasFrames() && packets.areKeysUnknown())
                m_output.line(QStringLiteral("stream %1: %2").arg(packets.stream).arg(keyFramesText(packets)));
        }
        m_output.outcome(result);
        return m_output.flush();
    }
    QString outputError() const override { return m_output.errorText(); }

private:
    /// What the packets say comes before what the headers say; `packets` may be null.
    static QStringList cells(const StreamDescription &stream, const StreamPackets *packets)
    {
        const bool isKnown = packets && packets->totals.count > 0;
        const bool hasTime = isKnown && packets->seconds >= 0.0;
        return {QString::number(stream.ordinal),
                stream.kindText(),
                displayText(codeText(stream)),
                pictureText(stream),
                stream.frameRate > 0.0 ? decimalText(stream.frameRate) : QString(),
                numberText(stream.sampleRate),
                numberText(stream.channels),
                numberText(stream.bitsPerSample),
                bitRateText(isKnown && packets->bitRate > 0 ? packets->bitRate : stream.bitRate),
                hasTime ? durationText(packets->seconds) : lengthText(stream),
                packets ? QString::number(packets->totals.count) : QString(),
                !isKnown                        ? QString()
                    : packets->areKeysUnknown() ? QStringLiteral("?")
                                                : QString::number(packets->totals.keyFrames),
                displayText(stream.codecName),
                displayText(stream.name)};
    }

    TextOutput m_output;
};

/// Comma-separated values; of many files the first column names the file.
class StreamCsv : public StreamSink
{
public:
    StreamCsv(QIODevice &output, const FileContext &context, const Options &options)
        : StreamSink(context, options), m_output(output), m_isFirst(context.isFirst), m_namesFile(context.isOneOfMany),
          m_texts(options.csvTexts)
    {
    }

protected:
    bool print(const DocumentStart &start, const QVector<StreamDescription> &streams, const StrictReading &,
               const RunResult &) override
    {
        if (m_isFirst)
            m_output.line((m_namesFile ? QStringLiteral("file,") : QString())
                          + QStringLiteral("ordinal,kind,codecCode,codecName,width,height,frameRate,sampleRate,"
                                           "channels,bitsPerSample,bitRate,seconds,name"));
        for (const StreamDescription &stream : streams) {
            const QString line = values(stream).join(QLatin1Char(','));
            m_output.line(m_namesFile ? csvText(start.file, m_texts) + QLatin1Char(',') + line : line);
        }
        return m_output.flush();
    }
    QString outputError() const override { return m_output.errorText(); }

private:
    static QString exactText(double number) { return QString::number(number, 'g', QLocale::FloatingPointShortest); }

    QStringList values(const StreamDescription &stream) const
    {
        return {QString::number(stream.ordinal),
                stream.kindText(),
                csvText(stream.codecCode, m_texts),
                csvText(stream.codecName, m_texts),
                numberText(stream.width),
                numberText(stream.height),
                stream.frameRate > 0.0 ? exactText(stream.frameRate) : QString(),
                numberText(stream.sampleRate),
                numberText(stream.channels),
                numberText(stream.bitsPerSample),
                numberText(stream.bitRate),
                stream.seconds() >= 0.0 ? exactText(stream.seconds()) : QString(),
                csvText(stream.name, m_texts)};
    }

    TextOutput m_output;
    const bool m_isFirst;
    const bool m_namesFile;
    const CsvTexts m_texts;
};

class StreamJson : public StreamSink
{
public:
    StreamJson(QIODevice &output, const FileContext &context, const Options &options)
        : StreamSink(context, options), m_json(output, options.pretty ? JsonLayout::Indented : JsonLayout::Line)
    {
    }

protected:
    bool print(const DocumentStart &start, const QVector<StreamDescription> &streams, const StrictReading &reading,
               const RunResult &result) override
    {
        m_json.beginObject().documentStart(start).key(u"streams");
        printStreams(m_json, streams);
        if (reading.hasPackets) {
            m_json.key(u"packets");
            printPacketStatistics(m_json, reading.packets);
        }
        m_json.outcome(result).endObject();
        return m_json.finish();
    }
    QString outputError() const override { return m_json.errorText(); }

private:
    JsonPrinter m_json;
};

std::unique_ptr<StreamSink> makeSink(const FileTask &task, const Options &options)
{
    const FileContext context{task.parsers, task.isFirst, task.isOneOfMany, task.progress};
    if (options.format == Options::Format::Csv)
        return std::make_unique<StreamCsv>(task.output, context, options);
    if (options.format == Options::Format::Json)
        return std::make_unique<StreamJson>(task.output, context, options);
    if (!context.isFirst)
        task.output.write("\n");
    return std::make_unique<StreamTable>(task.output, context, options);
}

} // namespace

int listStreams(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return lookAtFiles(options, plugins, output, [&options](const FileTask &task) {
        const std::unique_ptr<StreamSink> sink = makeSink(task, options);
        const RunResult result = sink->outcome(task.run.run(task.file, task.parsers, *sink));
        return reportOf(task.file, result, task.programOutput.hasFailed());
    });
}

} // namespace quenlofar
