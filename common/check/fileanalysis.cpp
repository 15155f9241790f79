#include "fileanalysis.h"

#include "finding.h"
#include "formatsink.h"
#include "statuscodes.h"

#include <algorithm>
#include <exception>
#include <new>

namespace quenlofar {

namespace {

bool claims(const ParserFactory &parser, const QString &path)
{
    const auto dot = path.lastIndexOf(QLatin1Char('.'));
    return dot >= 0 && parser.extensions.contains(path.mid(dot + 1), Qt::CaseInsensitive);
}

/// Runs a part of an analyzer of a plug-in; an exception that leaves it is the analyzer's failure.
template <typename Part> FileError guarded(Part part)
{
    try {
        part();
        return {};
    } catch (const std::bad_alloc &) {
        return {FileError::Memory, -1, QStringLiteral("not enough memory for the structure of the file")};
    } catch (const std::exception &exception) {
        return {FileError::Parser, -1, QString::fromLocal8Bit(exception.what())};
    } catch (...) {
        return {FileError::Parser, -1, QStringLiteral("an exception that says nothing")};
    }
}

} // namespace

void FileAnalysis::read(const QString &path, const QVector<ParserFactory> &parsers, Level level)
{
    m_analyzer.reset();
    m_start = DocumentStart{path, {}, -1};
    m_result = RunResult();
    QString error;
    std::unique_ptr<ByteSource> source = m_opener ? m_opener(path, &error) : openFileSource(path, &error);
    if (!source) {
        m_result.status = StatusCannotOpen;
        m_result.error = {FileError::Open, -1, error};
        return;
    }
    m_start.fileSize = source->size();
    m_source = std::make_unique<BoundedSource>(std::move(source), m_limits);
    m_analyzer = analyzerFor(path, parsers);
    if (!m_analyzer)
        return keepTrouble({}); // it may not have been recognised because it cannot be read
    AnalysisOptions options;
    options.level = level;
    options.cancel = m_cancel;
    options.progress = m_progress;
    AnalysisResult came;
    const FileError failure = guarded([&] { came = m_analyzer->read(*m_source, options); });
    if (failure.kind != FileError::None)
        came.error = failure;
    keepTrouble(came);
}

std::unique_ptr<ContainerAnalyzer> FileAnalysis::analyzerFor(const QString &path, const QVector<ParserFactory> &parsers)
{
    std::unique_ptr<ContainerAnalyzer> ofParts;
    int ordinalOfParts = -1;
    int ordinal = -1;
    for (const ParserFactory &parser : parsers) {
        ++ordinal;
        if (!parser.createAnalyzer)
            continue;
        std::unique_ptr<ContainerAnalyzer> analyzer = parser.createAnalyzer();
        Recognition recognition = Recognition::No;
        if (analyzer)
            guarded([&] { recognition = analyzer->recognises(*m_source); });
        if (recognition == Recognition::Yes) {
            ofParts = std::move(analyzer);
            ordinalOfParts = ordinal;
            break;
        }
        if (recognition == Recognition::Parts && !ofParts && claims(parser, path)) {
            ofParts = std::move(analyzer);
            ordinalOfParts = ordinal;
        }
    }
    if (ofParts) {
        const ParserFactory &parser = parsers.at(ordinalOfParts);
        m_start.container = parser.containerName;
        m_start.parser = ordinalOfParts;
        m_start.parserName = parser.name.isNull() ? parser.containerName : parser.name;
        m_start.parserVersion = parser.version;
    }
    return ofParts;
}

void FileAnalysis::identify(const QString &path, const QVector<ParserFactory> &parsers, ContainerRun &run)
{
    FormatSink format;
    m_result = run.run(path, parsers, format);
    m_result.sinkError = QString(); // it ended the walk on purpose
    m_start = format.start();
}

/// Says what kept the file from being read, or judged, to its end.
void FileAnalysis::keepTrouble(const AnalysisResult &came)
{
    m_result.bytesRead = m_source->bytesRead();
    m_result.stopPosition = m_progress ? quint64(std::max<qint64>(m_progress->position, 0)) : 0;
    if (m_source->limit() != RunLimit::None) {
        // To the analyzer the limit looks like an error.
        m_result.limit = m_source->limit();
        m_result.limitValue = m_source->limitValue();
        return;
    }
    m_result.cancelled = came.isCancelled;
    m_result.error = came.error;
    if (came.error.kind == FileError::None && m_source->errorOffset() >= 0)
        m_result.error = {FileError::Read, m_source->errorOffset(), m_source->errorText()};
    if (m_result.error.kind == FileError::Read)
        m_result.status = StatusReadError;
    if (came.isLimited && m_result.error.kind == FileError::None) {
        m_result.limit = RunLimit::Structure;
        m_result.limitValue = std::max<quint64>(1, quint64(m_start.fileSize) / 8);
    }
}

bool FileAnalysis::check(const CheckOptions &options, Findings &findings)
{
    bool isWhole = false;
    const FileError failure = guarded([&] { isWhole = m_analyzer->check(options, findings); });
    if (isWhole && failure.kind == FileError::None)
        return true;
    if (!m_result.isClean())
        return false;
    AnalysisResult came;
    came.isCancelled = m_cancel && *m_cancel;
    came.error = failure;
    if (!came.isCancelled && failure.kind == FileError::None && m_source->errorOffset() < 0)
        came.error = {FileError::Memory, -1, QStringLiteral("not enough memory to judge the file")};
    keepTrouble(came);
    return false;
}

} // namespace quenlofar
