#include "folderscan.h"

#include "filepath.h"
#include "filesearch.h"
#include "pluginloader.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace quenlofar {

namespace {

QEvent::Type folderNewsEvent()
{
    static const int type = QEvent::registerEventType();
    return QEvent::Type(type);
}

QString shownPath(const QString &path)
{
    return QString::fromUtf8(pathForDisplay(path));
}

QString errorText(int error)
{
    return QString::fromStdString(std::generic_category().message(error));
}

} // namespace

/// What the threads share; the last one of them, or the scan, lets it go.
class FolderScan::Work : public FileSearchSink
{
public:
    /// What came since it was last asked for, and whether more is there already.
    struct News
    {
        std::vector<QString> paths;
        std::vector<std::pair<size_t, FileFacts>> facts; // of files by their places in all paths
        QStringList problems;
        quint64 problemCount = 0;
        bool isListed = false; // and all paths are told
    };

    Work(QObject *receiver, const DocumentOptions &options)
        : m_plugins(options.plugins), m_parsers(options.parsers), m_limits(options.limits), m_receiver(receiver)
    {
        if (m_plugins) {
            const QVector<PluginInfo> plugins = m_plugins->plugins();
            for (const PluginInfo &plugin : plugins)
                m_extensions += plugin.extensions;
        }
        for (const ParserFactory &parser : m_parsers)
            m_extensions += parser.extensions;
    }

    void list(const QString &folder)
    {
        searchFiles(folder, m_extensions, this);
        const std::lock_guard lock(m_mutex);
        m_isListed = true;
        m_wake.notify_all();
        tell();
    }
    void read();
    void abandon()
    {
        m_isCancelled = true;
        const std::lock_guard lock(m_mutex);
        m_receiver = nullptr;
        m_wake.notify_all();
    }
    News takeNews();

    void foundFile(const QString &path) override
    {
        const std::lock_guard lock(m_mutex);
        m_paths.push_back(path);
        m_isFull = m_paths.size() == mostFiles;
        m_wake.notify_one();
        tell();
    }
    void foundLostLink(const QString &path, int error) override
    {
        addProblem(FolderScan::tr("%1 leads nowhere: %2").arg(shownPath(path), errorText(error)));
    }
    void failedDirectory(const QString &path, int error) override
    {
        addProblem(FolderScan::tr("%1 cannot be searched: %2").arg(shownPath(path), errorText(error)));
    }
    bool isStopped() const override { return m_isCancelled || m_isFull; }

private:
    void addProblem(const QString &text)
    {
        const std::lock_guard lock(m_mutex);
        ++m_problemCount;
        if (m_problemCount <= quint64(mostProblems))
            m_problems.append(text);
        tell();
    }
    /// With the lock.
    void tell()
    {
        if (m_receiver && !std::exchange(m_isTold, true))
            QCoreApplication::postEvent(m_receiver, new QEvent(folderNewsEvent()));
    }

    const std::shared_ptr<const PluginLoader> m_plugins; // outlives what the parsers make
    const QVector<ParserFactory> m_parsers;
    const RunLimits m_limits;
    QStringList m_extensions;
    std::atomic<bool> m_isCancelled{false};
    std::atomic<bool> m_isFull{false};

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_wake;
    QObject *m_receiver;
    bool m_isTold = false; // an event is on its way
    std::vector<QString> m_paths; // all
    size_t m_nextToRead = 0;
    size_t m_nextToTell = 0;
    bool m_isListed = false;
    std::deque<std::pair<size_t, FileFacts>> m_facts;
    QStringList m_problems;
    quint64 m_problemCount = 0;
};

/// Reads files until there are no more.
void FolderScan::Work::read()
{
    std::unique_lock lock(m_mutex);
    while (true) {
        m_wake.wait(lock, [this] { return m_isCancelled || m_nextToRead < m_paths.size() || m_isListed; });
        if (m_isCancelled || m_nextToRead == m_paths.size())
            return;
        const size_t number = m_nextToRead++;
        const QString path = m_paths[number];
        lock.unlock();
        FileFacts facts =
            readFileFacts(path, m_plugins ? m_plugins->parsersFor(path) : m_parsers, m_limits, m_isCancelled);
        lock.lock();
        if (m_isCancelled)
            return; // they say nothing
        m_facts.emplace_back(number, std::move(facts));
        tell();
    }
}

FolderScan::Work::News FolderScan::Work::takeNews()
{
    News news;
    const std::lock_guard lock(m_mutex);
    const size_t end = std::min(m_paths.size(), m_nextToTell + mostAtOnce);
    news.paths.assign(m_paths.begin() + std::ptrdiff_t(m_nextToTell), m_paths.begin() + std::ptrdiff_t(end));
    m_nextToTell = end;
    while (!m_facts.empty() && news.facts.size() < mostAtOnce && m_facts.front().first < m_nextToTell) {
        news.facts.push_back(std::move(m_facts.front()));
        m_facts.pop_front();
    }
    news.problems = std::exchange(m_problems, {});
    news.problemCount = m_problemCount;
    news.isListed = m_isListed && m_nextToTell == m_paths.size();
    m_isTold = false;
    if (m_nextToTell < m_paths.size() || !m_facts.empty())
        tell();
    return news;
}

FolderScan::FolderScan(const QString &folder, const DocumentOptions &options, QObject *parent)
    : QObject(parent), m_folder(folder), m_work(std::make_shared<Work>(this, options))
{
    DocumentWork::runDetached([work = m_work, folder] { work->list(folder); });
    const int threads = std::clamp(int(std::thread::hardware_concurrency()), 1, mostThreads);
    for (int i = 0; i < threads; ++i)
        DocumentWork::runDetached([work = m_work] { work->read(); });
}

FolderScan::~FolderScan()
{
    m_work->abandon();
}

void FolderScan::stop()
{
    if (isDone())
        return;
    m_work->abandon();
    m_isStopped = true;
    Q_EMIT changed();
}

void FolderScan::customEvent(QEvent *event)
{
    if (event->type() != folderNewsEvent() || m_isStopped)
        return;
    Work::News news = m_work->takeNews();
    const int prefix = int(m_folder.size()) + (m_folder.endsWith(QLatin1Char('/')) ? 0 : 1);
    for (QString &path : news.paths) {
        FolderFile file;
        file.name = path.mid(prefix);
        file.path = std::move(path);
        m_files.push_back(std::move(file));
    }
    for (auto &[number, facts] : news.facts) {
        m_files[number].isRead = true;
        m_files[number].facts = std::move(facts);
        ++m_readCount;
    }
    m_problems += news.problems;
    m_problemCount = news.problemCount;
    m_isListed = news.isListed;
    Q_EMIT changed();
}

} // namespace quenlofar
