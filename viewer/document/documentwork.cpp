#include "documentwork.h"

#include "bytesource.h"
#include "fileanalysis.h"
#include "filepath.h"
#include "pluginloader.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>
#include <new>
#include <thread>

#include <sys/stat.h>

namespace quenlofar {

namespace {

std::atomic<int> threadCount{0};

constexpr std::chrono::milliseconds timeBetweenLooks{1000}; // at the file's name, size and time

/// Texts for people, translated.
struct DocumentWorkTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::DocumentWork)
};

} // namespace

const ContainerAnalyzer *StrictTables::analyzer() const
{
    return analysis->analyzer();
}

/// Tells the sink of a walk before each read, which may take long.
class DocumentWork::WatchedSource : public ByteSource
{
public:
    WatchedSource(std::unique_ptr<ByteSource> source, SegmentSink *sink) : m_source(std::move(source)), m_sink(sink) { }

    qint64 size() const override { return m_source->size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        m_sink->publishBeforeWaiting();
        return m_source->readAt(position, data, maxSize);
    }
    QString errorText() const override { return m_source->errorText(); }
    qint64 holeEnd(qint64 position) override { return m_source->holeEnd(position); }

private:
    const std::unique_ptr<ByteSource> m_source;
    SegmentSink *const m_sink;
};

/// What tells a file on the disk from another one, and from what it becomes later.
struct DocumentWork::FileStamp
{
    bool exists = false;
    struct stat status = {};

    static FileStamp of(const QString &path)
    {
        FileStamp stamp;
        stamp.exists = ::stat(pathToBytes(path).constData(), &stamp.status) == 0;
        return stamp;
    }
};

DocumentWork::DocumentWork(QString path, DocumentOptions options, QObject *receiver)
    : m_path(std::move(path)), m_options(std::move(options)),
      m_parsers(m_options.plugins ? m_options.plugins->parsersFor(m_path) : m_options.parsers), m_receiver(receiver)
{
}

DocumentWork::~DocumentWork() = default;

int DocumentWork::newsEvent()
{
    static const int type = QEvent::registerEventType();
    return type;
}

int DocumentWork::runningThreads()
{
    return threadCount;
}

void DocumentWork::runDetached(std::function<void()> part)
{
    ++threadCount;
    std::thread([part = std::move(part)]() mutable {
        try {
            part();
        } catch (const std::bad_alloc &) {
            // What the thread has told so far is there; there is no memory to say more.
        }
        part = nullptr; // what it owns goes while the thread still counts
        --threadCount;
    }).detach();
}

void DocumentWork::start()
{
    // Each thread owns the work as well: what it uses is there until it ends, also when the document has gone.
    runDetached([self = shared_from_this()] { self->readPages(); });
    runDetached([self = shared_from_this()] { self->walk(); });
    runDetached([self = shared_from_this()] { self->readStrictly(); });
}

void DocumentWork::abandon()
{
    m_cancel = true;
    {
        const std::lock_guard lock(m_mutex);
        m_isAbandoned = true;
        m_receiver = nullptr;
        if (m_cancelJudging)
            *m_cancelJudging = true;
    }
    m_wake.notify_all();
}

void DocumentWork::stopReading()
{
    m_cancel = true;
    const std::lock_guard lock(m_mutex);
    if (m_cancelJudging)
        *m_cancelJudging = true;
}

void DocumentWork::judge(Level level, int request)
{
    auto isCancelled = std::make_shared<std::atomic<bool>>(false);
    {
        const std::lock_guard lock(m_mutex);
        if (m_cancelJudging)
            *m_cancelJudging = true;
        m_cancelJudging = isCancelled;
    }
    runDetached(
        [self = shared_from_this(), level, request, isCancelled] { self->judgeAnew(level, request, isCancelled); });
}

DocumentNews DocumentWork::takeNews()
{
    DocumentNews news;
    const std::lock_guard lock(m_mutex);
    std::swap(news, m_news);
    m_isTold = false;
    return news;
}

void DocumentWork::wantPages(const std::vector<quint64> &numbers)
{
    {
        const std::lock_guard lock(m_mutex);
        m_wanted.assign(numbers.rbegin(), numbers.rend());
    }
    m_wake.notify_all();
}

/// Changes the news and says so, unless nobody listens any more.
template <typename Change> void DocumentWork::tell(Change change)
{
    const std::lock_guard lock(m_mutex);
    if (m_isAbandoned)
        return;
    change(m_news);
    if (!m_isTold) {
        QCoreApplication::postEvent(m_receiver, new QEvent(QEvent::Type(newsEvent())));
        m_isTold = true;
    }
}

std::unique_ptr<ByteSource> DocumentWork::open(QString *error) const
{
    return m_options.opener ? m_options.opener(m_path, error) : openFileSource(m_path, error);
}

void DocumentWork::walk()
{
    SegmentSink sink(
        [this](std::shared_ptr<const TreeSegment> segment) {
            tell([&segment](DocumentNews &news) { news.segments.push_back(std::move(segment)); });
        },
        m_options.pace);
    ContainerRun run(m_options.limits);
    run.shareCancelFlag(m_cancel);
    run.setProgress(&m_walkProgress);
    run.setOpener([this, &sink](const QString &, QString *error) -> std::unique_ptr<ByteSource> {
        std::unique_ptr<ByteSource> source = open(error);
        if (!source)
            return nullptr;
        return std::make_unique<WatchedSource>(std::move(source), &sink);
    });
    run.run(m_path, m_parsers, sink);
}

void DocumentWork::readStrictly()
{
    auto tables = std::make_shared<StrictTables>();
    tables->plugins = m_options.plugins;
    tables->analysis = std::make_unique<FileAnalysis>(m_options.limits, &m_cancel, &m_strictProgress);
    tables->analysis->setOpener([this](const QString &, QString *error) { return open(error); });
    try {
        tables->analysis->read(m_path, m_parsers, Level::Default);
        if (const ContainerAnalyzer *const analyzer = tables->analyzer()) {
            tables->packets = &analyzer->packets();
            tables->regions = &analyzer->regions();
            tables->rules = analyzer->rules();
            // The first look-up sorts; those in the window's thread are then quick, and change nothing.
            analyzer->references().ordinalsTo({0, 1}, 1);
            tables->references = &analyzer->references();
        }
    } catch (const std::bad_alloc &) {
        // Without tables, unless it was only the order of references that there was no memory for.
        if (!tables->packets)
            tables->analysis = std::make_unique<FileAnalysis>(m_options.limits, &m_cancel, &m_strictProgress);
    }
    FileAnalysis &analysis = *tables->analysis;
    // The thread keeps the tables as well: the window may be gone before the judgement is made.
    tell([&tables](DocumentNews &news) { news.tables = tables; });
    tellJudged(analysis, Level::Default, 0);
}

void DocumentWork::judgeAnew(Level level, int request, const std::shared_ptr<std::atomic<bool>> &isCancelled)
{
    FileAnalysis analysis(m_options.limits, isCancelled.get(), nullptr);
    analysis.setOpener([this](const QString &, QString *error) { return open(error); });
    try {
        analysis.read(m_path, m_parsers, level);
    } catch (const std::bad_alloc &) {
        // tellJudged() says it: there is no analyzer then, or an empty one.
    }
    tellJudged(analysis, level, request);
}

/// Has what `analysis` has read judged as `check` of the program would, and says so.
void DocumentWork::tellJudged(FileAnalysis &analysis, Level level, int request)
{
    auto judged = std::make_shared<JudgedFile>();
    judged->request = request;
    try {
        CheckSettings settings;
        settings.level = level;
        judged->check = quenlofar::judge(analysis, settings);
    } catch (const std::bad_alloc &) {
        judged->check = FileCheck();
        judged->check.result.error = {FileError::Memory, -1,
                                      DocumentWorkTexts::tr("not enough memory to judge the file")};
    }
    judged->check.level = level;
    tell([&judged](DocumentNews &news) {
        if (!news.judged || news.judged->request < judged->request)
            news.judged = std::move(judged);
    });
}

Page DocumentWork::readPage(ByteSource &source, quint64 number) const
{
    Page page;
    page.number = number;
    const qint64 begin = qint64(number) * PageCache::pageSize;
    const qint64 wanted = std::clamp<qint64>(source.size() - begin, 0, PageCache::pageSize);
    page.bytes.resize(int(wanted));
    qint64 came = 0;
    while (came < wanted) {
        const qint64 more = source.readAt(begin + came, page.bytes.data() + came, wanted - came);
        if (more <= 0) {
            page.error = more < 0 ? source.errorText() : DocumentWorkTexts::tr("the file has become shorter");
            break;
        }
        came += more;
    }
    page.bytes.resize(int(came));
    return page;
}

QString DocumentWork::changeSince(const FileStamp &stamp) const
{
    if (!stamp.exists)
        return {};
    const FileStamp now = FileStamp::of(m_path);
    if (!now.exists)
        return DocumentWorkTexts::tr("The file has been deleted.");
    if (now.status.st_ino != stamp.status.st_ino || now.status.st_dev != stamp.status.st_dev)
        return DocumentWorkTexts::tr("Another file stands in the place of this one.");
    if (now.status.st_size < stamp.status.st_size)
        return DocumentWorkTexts::tr("The file has become shorter since it was opened.");
    if (now.status.st_size > stamp.status.st_size)
        return DocumentWorkTexts::tr("The file has become longer since it was opened.");
    if (now.status.st_mtim.tv_sec != stamp.status.st_mtim.tv_sec
        || now.status.st_mtim.tv_nsec != stamp.status.st_mtim.tv_nsec)
        return DocumentWorkTexts::tr("The file has been written to since it was opened.");
    return {};
}

void DocumentWork::readPages()
{
    QString error;
    const std::unique_ptr<ByteSource> source = open(&error);
    const FileStamp found = source ? FileStamp() : FileStamp::of(m_path);
    tell([&](DocumentNews &news) {
        news.isOpened = true;
        news.size = source ? source->size() : -1;
        news.openError = error;
        news.isFolder = found.exists && S_ISDIR(found.status.st_mode);
    });
    if (!source)
        return;
    // What an opener of the options opens has no name on the disk.
    const FileStamp stamp = m_options.opener ? FileStamp() : FileStamp::of(m_path);
    QString change;
    std::unique_lock lock(m_mutex);
    while (!m_isAbandoned) {
        if (m_wanted.empty()) {
            m_wake.wait_for(lock, timeBetweenLooks);
            if (!m_wanted.empty() || m_isAbandoned)
                continue;
            lock.unlock();
            const QString changeNow = changeSince(stamp);
            if (changeNow != change) {
                change = changeNow;
                tell([&change](DocumentNews &news) {
                    news.isChanged = true;
                    news.change = change;
                });
            }
            lock.lock();
            continue;
        }
        const quint64 number = m_wanted.back();
        m_wanted.pop_back();
        lock.unlock();
        Page page = readPage(*source, number);
        tell([&page](DocumentNews &news) { news.pages.push_back(std::move(page)); });
        lock.lock();
    }
    lock.unlock();
}

} // namespace quenlofar
