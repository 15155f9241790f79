#pragma once

#include "boundedsource.h"
#include "containeranalyzer.h"
#include "containerrun.h"
#include "filedevice.h"
#include "runresult.h"

#include <QString>
#include <QVector>

#include <atomic>
#include <memory>

namespace quenlofar {

/// Reads one file strictly, with the analyzer that recognises it: for its packets, and to have it judged.
class FileAnalysis
{
public:
    /// `limits` bound bytes read and time. `cancel` ends the work while it is true, `progress` follows it; both may be
    /// null and outlive the object.
    FileAnalysis(const RunLimits &limits, const std::atomic<bool> *cancel, WalkProgress *progress)
        : m_limits(limits), m_cancel(cancel), m_progress(progress)
    {
    }
    FileAnalysis(const FileAnalysis &) = delete;
    FileAnalysis &operator=(const FileAnalysis &) = delete;

    /// Reads files through `opener` instead of from the disk.
    void setOpener(SourceOpener opener) { m_opener = std::move(opener); }

    /**
     * Opens `path` and asks the analyzers of `parsers`, in this order; the first that recognises the file reads it for
     * `level`. One that recognises parts alone reads it where its plug-in claims the extension, and no other one takes
     * the file. result() says how it went. Throws nothing but std::bad_alloc.
     */
    void read(const QString &path, const QVector<ParserFactory> &parsers, Level level);
    /// Where no analyzer takes the file: which of `parsers` accepts it, by a run that ends there.
    void identify(const QString &path, const QVector<ParserFactory> &parsers, ContainerRun &run);

    /// What has read the file; null where no analyzer takes it, or it cannot be opened. Gone with the object.
    ContainerAnalyzer *analyzer() const { return m_analyzer.get(); }
    /// What documents say of the file: null container where nothing has accepted it.
    const DocumentStart &start() const { return m_start; }
    /// How reading went: a status, an error, a limit, a cancel.
    const RunResult &result() const { return m_result; }
    /// Has the file judged into `findings`; only with an analyzer. False, and result() says why, where not all could be
    /// looked at.
    bool check(const CheckOptions &options, Findings &findings);

private:
    std::unique_ptr<ContainerAnalyzer> analyzerFor(const QString &path, const QVector<ParserFactory> &parsers);
    void keepTrouble(const AnalysisResult &came);

    const RunLimits m_limits;
    const std::atomic<bool> *const m_cancel;
    WalkProgress *const m_progress;
    SourceOpener m_opener;
    DocumentStart m_start;
    RunResult m_result;
    std::unique_ptr<BoundedSource> m_source; // outlives the analyzer
    std::unique_ptr<ContainerAnalyzer> m_analyzer;
};

} // namespace quenlofar
