#include "commands.h"

#include "batch.h"
#include "describingsink.h"
#include "displaytext.h"
#include "filesummary.h"
#include "jsonprinter.h"
#include "messages.h"
#include "options.h"
#include "streamfacts.h"
#include "streamoutput.h"
#include "textoutput.h"

#include <QIODevice>
#include <QLocale>

#include <memory>

namespace quenlofar {

namespace {

/// A sink that has the file described, and prints its streams at the end.
class StreamSink : public DescribingSink
{
public:
    StreamSink(const FileContext &context, bool isQuiet) : DescribingSink(context.parsers), m_isQuiet(isQuiet) { }

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
        return print(m_start, streamsOf(*this, result), result) && isDescribed;
    }
    QString errorText() const override
    {
        const QString error = outputError();
        return error.isNull() ? DescribingSink::errorText() : error;
    }

protected:
    virtual bool print(const DocumentStart &start, const QVector<StreamDescription> &streams,
                       const RunResult &result) = 0;
    virtual QString outputError() const = 0;

private:
    const bool m_isQuiet;
    DocumentStart m_start;
};

QString numberText(quint64 number)
{
    return number == 0 ? QString() : QString::number(number);
}

/// Aligned columns for people.
class StreamTable : public StreamSink
{
public:
    StreamTable(QIODevice &output, const FileContext &context, bool isQuiet)
        : StreamSink(context, isQuiet), m_output(output)
    {
    }

protected:
    bool print(const DocumentStart &start, const QVector<StreamDescription> &streams, const RunResult &result) override
    {
        m_output.heading(start);
        if (streams.isEmpty()) {
            m_output.line(QStringLiteral("no streams"));
        } else {
            QVector<QStringList> rows = {{QStringLiteral("stream"), QStringLiteral("kind"), QStringLiteral("code"),
                                          QStringLiteral("picture"), QStringLiteral("frames/s"),
                                          QStringLiteral("samples/s"), QStringLiteral("channels"),
                                          QStringLiteral("bits"), QStringLiteral("bit rate"), QStringLiteral("length"),
                                          QStringLiteral("codec"), QStringLiteral("name")}};
            for (const StreamDescription &stream : streams)
                rows.append(cells(stream));
            const QVector<int> numberColumns = {0, 3, 4, 5, 6, 7, 8, 9};
            const QStringList lines = tableLines(rows, numberColumns);
            for (const QString &line : lines)
                m_output.line(line);
        }
        m_output.outcome(result);
        return m_output.flush();
    }
    QString outputError() const override { return m_output.errorText(); }

private:
    static QStringList cells(const StreamDescription &stream)
    {
        return {QString::number(stream.ordinal),
                stream.kindText(),
                displayText(codeText(stream)),
                pictureText(stream),
                stream.frameRate > 0.0 ? decimalText(stream.frameRate) : QString(),
                numberText(stream.sampleRate),
                numberText(stream.channels),
                numberText(stream.bitsPerSample),
                bitRateText(stream.bitRate),
                lengthText(stream),
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
        : StreamSink(context, options.quiet), m_output(output), m_isFirst(context.isFirst),
          m_namesFile(context.isOneOfMany), m_texts(options.csvTexts)
    {
    }

protected:
    bool print(const DocumentStart &start, const QVector<StreamDescription> &streams, const RunResult &) override
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
    StreamJson(QIODevice &output, const FileContext &context, bool isQuiet, JsonLayout layout)
        : StreamSink(context, isQuiet), m_json(output, layout)
    {
    }

protected:
    bool print(const DocumentStart &start, const QVector<StreamDescription> &streams, const RunResult &result) override
    {
        m_json.beginObject().documentStart(start).key(u"streams");
        printStreams(m_json, streams);
        m_json.outcome(result).endObject();
        return m_json.finish();
    }
    QString outputError() const override { return m_json.errorText(); }

private:
    JsonPrinter m_json;
};

} // namespace

int listStreams(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return walkFiles(options, plugins, output,
                     [&options](QIODevice &place, const FileContext &context) -> std::unique_ptr<ElementSink> {
                         if (options.format == Options::Format::Csv)
                             return std::make_unique<StreamCsv>(place, context, options);
                         if (options.format == Options::Format::Json)
                             return std::make_unique<StreamJson>(place, context, options.quiet,
                                                                 options.pretty ? JsonLayout::Indented
                                                                                : JsonLayout::Line);
                         if (!context.isFirst)
                             place.write("\n");
                         return std::make_unique<StreamTable>(place, context, options.quiet);
                     });
}

} // namespace quenlofar
