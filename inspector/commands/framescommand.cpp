#include "commands.h"

#include "batch.h"
#include "digits.h"
#include "jsonprinter.h"
#include "options.h"
#include "textoutput.h"

#include <QIODevice>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

namespace quenlofar {

namespace {

/// A sink that looks at frames alone, and prints those that were asked for.
class FrameSink : public ElementSink
{
public:
    explicit FrameSink(const FrameChoice &choice) : m_choice(choice) { }

    bool beginElement(quint64, quint64, QStringView, qint64) override { return true; }
    bool addField(const Field &) override { return true; }
    bool endElement() override { return true; }
    bool reportFrame(const Frame &frame) override
    {
        const bool isWanted = (m_choice.stream == FrameChoice::everyStream || frame.stream == m_choice.stream)
            && frame.number >= m_choice.first && frame.number <= m_choice.last && (frame.key || !m_choice.keyOnly);
        return !isWanted || print(frame);
    }

protected:
    virtual bool print(const Frame &frame) = 0;

private:
    const FrameChoice m_choice;
};

/// Aligned columns for people.
class FrameTable : public FrameSink
{
public:
    FrameTable(QIODevice &output, const Options &options)
        : FrameSink(options.frames), m_output(output), m_style(options.output)
    {
    }

    bool beginDocument(const DocumentStart &start) override
    {
        m_output.heading(start);
        const quint64 end = quint64(std::max<qint64>(start.fileSize, 0));
        m_offsetWidth = std::max(6, int(offsetText(end, m_style.hexOffsets).size()));
        m_sizeWidth = std::max(m_offsetWidth, m_style.sizes == SizeUnits::Bytes ? 0 : 10);
        return m_output.works();
    }
    bool endDocument(const RunResult &result) override
    {
        if (m_isEmpty)
            m_output.line(QStringLiteral("no frames"));
        m_output.outcome(result);
        return m_output.flush();
    }
    QString errorText() const override { return m_output.errorText(); }

protected:
    bool print(const Frame &frame) override
    {
        if (m_isEmpty) {
            addCell("stream", streamWidth);
            addCell("number", numberWidth);
            addCell("offset", m_offsetWidth);
            addCell("size", m_sizeWidth);
            addCell("key", 0);
            printLine();
        }
        m_isEmpty = false;
        addCell(frame.stream, streamWidth);
        addCell(frame.number, numberWidth);
        if (m_style.hexOffsets)
            addCell(offsetText(frame.offset, true).toStdString(), m_offsetWidth);
        else
            addCell(frame.offset, m_offsetWidth);
        if (m_style.sizes == SizeUnits::Bytes)
            addCell(frame.size, m_sizeWidth);
        else
            addCell(sizeText(frame.size, m_style.sizes).toStdString(), m_sizeWidth);
        if (frame.key)
            addCell("key", 0);
        printLine();
        return m_output.works();
    }

private:
    static constexpr int streamWidth = 6;
    static constexpr int numberWidth = 8;

    /// A cell of a million lines takes no memory of its own: digits go straight into the line.
    void addCell(quint64 number, int width)
    {
        char digits[mostDecimalDigits];
        addCell({digits, size_t(writeDecimal(number, digits) - digits)}, width);
    }
    void addCell(std::string_view text, int width)
    {
        // Numbers of damaged files may be wider than their columns.
        if (!m_line.empty())
            m_line += "  ";
        m_line.append(size_t(std::max(0, width - int(text.size()))), ' ');
        m_line += text;
    }
    void printLine()
    {
        m_output.asciiLine(m_line);
        m_line.clear();
    }

    TextOutput m_output;
    const OutputChoice m_style;
    int m_offsetWidth = 0;
    int m_sizeWidth = 0;
    bool m_isEmpty = true;
    std::string m_line;
};

/// Comma-separated values; of many files the first column names the file.
class FrameCsv : public FrameSink
{
public:
    FrameCsv(QIODevice &output, const Options &options, const FileContext &context)
        : FrameSink(options.frames), m_output(output), m_isFirst(context.isFirst), m_namesFile(context.isOneOfMany),
          m_texts(options.csvTexts)
    {
    }

    bool beginDocument(const DocumentStart &start) override
    {
        if (m_isFirst)
            m_output.line((m_namesFile ? QStringLiteral("file,") : QString())
                          + QStringLiteral("stream,number,offset,size,key"));
        if (m_namesFile)
            m_file = csvText(start.file, m_texts) + QLatin1Char(',');
        return m_output.works();
    }
    bool endDocument(const RunResult &) override { return m_output.flush(); }
    QString errorText() const override { return m_output.errorText(); }

protected:
    bool print(const Frame &frame) override
    {
        m_output.line(m_file
                      + QStringLiteral("%1,%2,%3,%4,%5")
                            .arg(frame.stream)
                            .arg(frame.number)
                            .arg(frame.offset)
                            .arg(frame.size)
                            .arg(frame.key ? 1 : 0));
        return m_output.works();
    }

private:
    TextOutput m_output;
    const bool m_isFirst;
    const bool m_namesFile;
    const CsvTexts m_texts;
    QString m_file;
};

class FrameJson : public FrameSink
{
public:
    FrameJson(QIODevice &output, const Options &options)
        : FrameSink(options.frames), m_json(output, options.pretty ? JsonLayout::Indented : JsonLayout::Line)
    {
    }

    bool beginDocument(const DocumentStart &start) override
    {
        m_json.beginObject().documentStart(start).key(u"frames").beginArray();
        return true;
    }
    bool endDocument(const RunResult &result) override
    {
        m_json.endArray().outcome(result).endObject();
        return m_json.finish();
    }
    QString errorText() const override { return m_json.errorText(); }

protected:
    bool print(const Frame &frame) override
    {
        m_json.beginObject().key(u"stream").number(frame.stream).key(u"number").number(frame.number);
        m_json.key(u"offset").number(frame.offset).key(u"size").number(frame.size);
        m_json.key(u"key").boolean(frame.key).endObject();
        return m_json.errorText().isNull();
    }

private:
    JsonPrinter m_json;
};

} // namespace

int listFrames(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return walkFiles(options, plugins, output,
                     [&options](QIODevice &place, const FileContext &context) -> std::unique_ptr<ElementSink> {
                         if (options.format == Options::Format::Csv)
                             return std::make_unique<FrameCsv>(place, options, context);
                         if (options.format == Options::Format::Json)
                             return std::make_unique<FrameJson>(place, options);
                         if (!context.isFirst)
                             place.write("\n");
                         return std::make_unique<FrameTable>(place, options);
                     });
}

} // namespace quenlofar
