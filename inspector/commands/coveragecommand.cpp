#include "commands.h"

#include "batch.h"
#include "byteaccounting.h"
#include "jsonprinter.h"
#include "options.h"
#include "report.h"
#include "textoutput.h"

#include <QIODevice>

#include <array>
#include <memory>

namespace quenlofar {

namespace {

using Kind = ByteAccounting::Kind;

struct KindName
{
    Kind kind;
    QStringView name;
};
constexpr std::array<KindName, 5> kinds{{
    {Kind::Interpreted, u"interpreted"},
    {Kind::Data, u"data"},
    {Kind::Unparsed, u"unparsed"},
    {Kind::Gap, u"gaps"},
    {Kind::Overlap, u"overlaps"},
}};

/// "12.35 %"; what is not nothing never looks like it, and what is not everything neither.
QString shareText(quint64 part, quint64 whole)
{
    if (part == 0 || whole == 0)
        return QStringLiteral("0 %");
    if (part == whole)
        return QStringLiteral("100 %");
    constexpr double least = 0.01;
    constexpr double most = 99.99;
    const double share = 100.0 * double(part) / double(whole);
    if (share < least)
        return QStringLiteral("< 0.01 %");
    return share > most ? QStringLiteral("> 99.99 %") : QString::number(share, 'f', 2) + QStringLiteral(" %");
}

/// Prints once the whole file was accounted for.
class CoverageSink : public ByteAccounting
{
public:
    bool beginDocument(const DocumentStart &start) override
    {
        m_start = start;
        return ByteAccounting::beginDocument(start);
    }
    bool endDocument(const RunResult &result) override
    {
        ByteAccounting::endDocument(result);
        return print(m_start, result);
    }

protected:
    virtual bool print(const DocumentStart &start, const RunResult &outcome) = 0;

private:
    DocumentStart m_start;
};

class CoverageTable : public CoverageSink
{
public:
    CoverageTable(QIODevice &output, const Options &options) : m_output(output), m_style(options.output) { }

    QString errorText() const override { return m_output.errorText(); }

protected:
    bool print(const DocumentStart &start, const RunResult &outcome) override
    {
        m_output.heading(start);
        if (start.fileSize >= 0) {
            printKinds(quint64(start.fileSize));
            for (const KindName &kind : kinds) {
                if (kind.kind != Kind::Interpreted && kind.kind != Kind::Data && rangeCount(kind.kind) > 0)
                    printRanges(kind);
            }
            if (!reasonsOf(outcome).isEmpty())
                m_output.line({});
        }
        m_output.outcome(outcome);
        return m_output.flush();
    }

private:
    QString size(quint64 bytes) const
    {
        return m_style.sizes == SizeUnits::Bytes ? QString::number(bytes) : sizeText(bytes, m_style.sizes);
    }
    void printKinds(quint64 fileSize);
    void printRanges(const KindName &kind);

    TextOutput m_output;
    const OutputChoice m_style;
};

void CoverageTable::printKinds(quint64 fileSize)
{
    QVector<QStringList> rows{{QString(),
                               m_style.sizes == SizeUnits::Bytes ? QStringLiteral("bytes") : QStringLiteral("size"),
                               QStringLiteral("share"), QStringLiteral("ranges")}};
    for (const auto &[kind, name] : kinds) {
        const quint64 bytes = byteCount(kind);
        rows.append({name.toString(), size(bytes), shareText(bytes, fileSize), QString::number(rangeCount(kind))});
    }
    m_output.line({});
    const QStringList lines = tableLines(rows, {1, 2, 3});
    for (const QString &line : lines)
        m_output.line(line);
}

void CoverageTable::printRanges(const KindName &kind)
{
    constexpr int mostRanges = 20;
    QVector<QStringList> rows{{QStringLiteral("offset"), QStringLiteral("size")}};
    visitRanges(kind.kind, [&](const ByteRange &range) {
        rows.append({offsetText(range.offset, m_style.hexOffsets), size(range.size)});
        return rows.size() <= mostRanges;
    });
    m_output.line({});
    m_output.line(kind.name.toString() + QLatin1Char(':'));
    const QStringList lines = tableLines(rows, {0, 1});
    for (const QString &line : lines)
        m_output.line(QStringLiteral("  ") + line);
    const quint64 more = rangeCount(kind.kind) - quint64(rows.size() - 1);
    if (more > 0)
        m_output.line(QStringLiteral("  ... %1 more; --format json lists all").arg(more));
}

class CoverageJson : public CoverageSink
{
public:
    CoverageJson(QIODevice &output, const Options &options)
        : m_json(output, options.pretty ? JsonLayout::Indented : JsonLayout::Line)
    {
    }

    QString errorText() const override { return m_json.errorText(); }

protected:
    bool print(const DocumentStart &start, const RunResult &outcome) override
    {
        m_json.beginObject().documentStart(start);
        for (const auto &[kind, name] : kinds) {
            m_json.key(name).beginObject().key(u"bytes").number(byteCount(kind)).key(u"ranges").beginArray();
            visitRanges(kind, [this](const ByteRange &range) {
                m_json.beginArray().number(range.offset).number(range.size).endArray();
                return m_json.errorText().isNull();
            });
            m_json.endArray().endObject();
        }
        m_json.outcome(outcome).endObject();
        return m_json.finish();
    }

private:
    JsonPrinter m_json;
};

} // namespace

int accountForBytes(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return walkFiles(options, plugins, output,
                     [&options](QIODevice &place, const FileContext &context) -> std::unique_ptr<ElementSink> {
                         if (options.format == Options::Format::Json)
                             return std::make_unique<CoverageJson>(place, options);
                         if (!context.isFirst)
                             place.write("\n");
                         return std::make_unique<CoverageTable>(place, options);
                     });
}

} // namespace quenlofar
