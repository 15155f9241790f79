#pragma once

#include "containeranalyzer.h"
#include "containerrun.h"
#include "filecheck.h"
#include "filedevice.h"
#include "pagecache.h"
#include "segmentsink.h"

#include <QString>
#include <QVector>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class QObject;

namespace quenlofar {

class FileAnalysis;
class PluginLoader;

/// How a file is opened and read.
struct DocumentOptions
{
    /// What the parsers come from, those first that claim the file's extension; stays loaded as long as anything of
    /// theirs is in use. Null where `parsers` says which there are.
    std::shared_ptr<const PluginLoader> plugins;
    /// The parsers to try, in this order, where there are no plug-ins.
    QVector<ParserFactory> parsers;
    RunLimits limits; ///< of the walk and of the strict reading
    SegmentPace pace; ///< of publishing what the walk finds
    /// Reads files instead of from the disk; called in several threads, each of which uses what it opened alone.
    SourceOpener opener;
    QString note; ///< what kind of file it is that the opener opens, shown behind the file's name; empty: nothing
};

/// What a strict reading found; the tables do not change any more, and may be read by several threads.
struct StrictTables
{
    std::shared_ptr<const PluginLoader> plugins; ///< outlives the analyzer
    std::unique_ptr<FileAnalysis> analysis; ///< never null
    const PacketTable *packets = nullptr; ///< null where no analyzer takes the file
    const ReferenceTable *references = nullptr; ///< null where no analyzer takes the file, or memory ran out
    const RegionTable *regions = nullptr; ///< null where no analyzer takes the file
    RuleList rules; ///< empty where no analyzer takes the file
    /// Null where no analyzer takes the file. Only what has read the file may have it judged meanwhile.
    const ContainerAnalyzer *analyzer() const;
};

/// The judgement on a file, at the level that was asked for.
struct JudgedFile
{
    FileCheck check; ///< as `check` of the program has it, without paths
    int request = 0; ///< which one it answers, see DocumentWork::judge
};

/// What has become known since the last time; see DocumentWork.
struct DocumentNews
{
    bool isOpened = false; ///< the file was opened for its bytes, or could not be: see size and openError
    qint64 size = -1; ///< bytes of the file
    QString openError; ///< why it could not be opened
    bool isFolder = false; ///< that is why
    std::vector<std::shared_ptr<const TreeSegment>> segments; ///< in their order
    std::vector<Page> pages; ///< those that were asked for
    std::shared_ptr<const StrictTables> tables; ///< once, when the strict reading has ended
    std::shared_ptr<const JudgedFile> judged; ///< the latest
    bool isChanged = false; ///< see `change`
    QString change; ///< what has become of the file on the disk since it was opened; null: it is as it was
};

/**
 * The work on one open file: three threads, which walk it, read it strictly and have it judged, and read pages of it.
 * The document never waits for them: a thread that hangs in a read is left behind, with all that it uses, and ends when
 * it can.
 *
 * News are collected under a lock that is only held to move pointers; a posted event says that there are some.
 */
class DocumentWork : public std::enable_shared_from_this<DocumentWork>
{
public:
    /// For the file `path`; `receiver` gets an event of newsEvent() when there are news.
    DocumentWork(QString path, DocumentOptions options, QObject *receiver);
    ~DocumentWork();
    DocumentWork(const DocumentWork &) = delete;
    DocumentWork &operator=(const DocumentWork &) = delete;

    /// The number of the event.
    static int newsEvent();
    /// Threads of all works that have not ended.
    static int runningThreads();

    /// Runs `part` in a thread that nobody waits for, and that counts as running until it ends.
    static void runDetached(std::function<void()> part);

    void start(); ///< starts the threads; once
    /// Ends everything as soon as possible; no news come any more. Does not wait.
    void abandon();
    void stopReading(); ///< ends walk, strict reading and judging early; pages are read on
    /// Has the file read and judged once more, at `level`, in a thread of its own; the answer names `request`. What was
    /// asked for before is given up. The strict reading itself is followed by the request 0 at the default level.
    void judge(Level level, int request);
    /// Opens the file for a thread of its own; on failure null, with the reason in `*error`.
    std::unique_ptr<ByteSource> open(QString *error) const;
    DocumentNews takeNews(); ///< what came since the last call
    /// Reads these pages next, each once, the first one first; those that were asked for before are not wanted any more
    /// unless they are named again.
    void wantPages(const std::vector<quint64> &numbers);

    const WalkProgress &walkProgress() const { return m_walkProgress; } ///< where the walk is

private:
    class WatchedSource;
    struct FileStamp;

    void walk();
    void readStrictly();
    void judgeAnew(Level level, int request, const std::shared_ptr<std::atomic<bool>> &isCancelled);
    void tellJudged(FileAnalysis &analysis, Level level, int request);
    void readPages();
    Page readPage(ByteSource &source, quint64 number) const;
    QString changeSince(const FileStamp &stamp) const;
    template <typename Change> void tell(Change change);

    const QString m_path;
    const DocumentOptions m_options;
    const QVector<ParserFactory> m_parsers;
    std::atomic<bool> m_cancel{false};
    WalkProgress m_walkProgress;
    WalkProgress m_strictProgress;

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_wake;
    QObject *m_receiver;
    bool m_isTold = false; // an event is on its way
    bool m_isAbandoned = false;
    std::shared_ptr<std::atomic<bool>> m_cancelJudging; // of the latest request; null before there is one
    DocumentNews m_news;
    std::vector<quint64> m_wanted; // the next one last
};

} // namespace quenlofar
