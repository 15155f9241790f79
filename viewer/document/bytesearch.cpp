#include "bytesearch.h"

#include "bytesource.h"

#include <QCoreApplication>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace quenlofar {

/// What was found since it was last told.
struct ByteSearch::News
{
    std::vector<quint64> places;
    quint64 count = 0;
    quint64 done = 0;
    quint64 fileSize = 0;
    bool isWhole = false;
    QString error;
};

/// Looks through the file, in another thread.
class ByteSearch::Look
{
public:
    using Tell = std::function<void(std::shared_ptr<const News>)>;

    Look(ByteQuery query, const std::atomic<bool> &isCancelled, Tell tell)
        : m_query(std::move(query)), m_isCancelled(isCancelled), m_tell(std::move(tell))
    {
    }

    void look(const QString &path, const SourceOpener &opener);
    std::shared_ptr<const News> takeNews() { return std::make_shared<News>(std::exchange(m_found, {})); }

private:
    using Clock = std::chrono::steady_clock;

    void lookAt(const uchar *bytes, size_t count, quint64 offset, size_t known);
    void tell()
    {
        m_tell(takeNews());
        m_told = Clock::now();
    }

    const ByteQuery m_query;
    const std::atomic<bool> &m_isCancelled;
    const Tell m_tell;
    std::vector<size_t> m_positions; // in the bytes that are being looked at
    News m_found;
    quint64 m_kept = 0;
    int m_toldAtOnce = 0;
    Clock::time_point m_told = Clock::now();
};

/// The first `known` of the bytes were looked at before: places that begin and end in them are known.
void ByteSearch::Look::lookAt(const uchar *bytes, size_t count, quint64 offset, size_t known)
{
    m_positions.clear();
    for (const BytePattern &pattern : m_query.patterns)
        pattern.find(bytes, count, &m_positions);
    if (m_query.patterns.size() > 1) {
        std::sort(m_positions.begin(), m_positions.end());
        m_positions.erase(std::unique(m_positions.begin(), m_positions.end()), m_positions.end());
    }
    for (const size_t position : m_positions) {
        if (position + size_t(m_query.size()) <= known)
            continue;
        ++m_found.count;
        if (m_kept < mostKept) {
            m_found.places.push_back(offset + position);
            ++m_kept;
        }
    }
}

void ByteSearch::Look::look(const QString &path, const SourceOpener &opener)
{
    constexpr std::chrono::milliseconds betweenNews{50};
    constexpr int mostToldAtOnce = 8;
    constexpr size_t piece = size_t(1) << 20; // bytes: small enough to be ended soon, and to stay in the cache
    const std::unique_ptr<ByteSource> source =
        opener ? opener(path, &m_found.error) : openFileSource(path, &m_found.error);
    if (!source)
        return;
    m_found.error = QString();
    const auto size = quint64(std::max<qint64>(source->size(), 0));
    const bool canPassHoles = std::none_of(m_query.patterns.begin(), m_query.patterns.end(),
                                           [](const BytePattern &pattern) { return pattern.canBeZero(); });
    const size_t overlap = size_t(m_query.size()) - 1;
    std::vector<uchar> bytes(piece + overlap);
    size_t kept = 0; // bytes of the piece before, which a place may begin in
    for (quint64 at = 0; at < size && !m_isCancelled;) {
        m_found.done = at;
        m_found.fileSize = size;
        // Before a read, which may take long; at first at once.
        if (Clock::now() - m_told > betweenNews || (m_found.count > 0 && m_toldAtOnce < mostToldAtOnce)) {
            m_toldAtOnce += m_found.count > 0 ? 1 : 0;
            tell();
        }
        if (canPassHoles) {
            const auto end = quint64(source->holeEnd(qint64(at)));
            if (end > at + overlap) {
                // What begins before the hole may end in it, and what ends behind it may begin in it.
                std::fill_n(bytes.begin() + std::ptrdiff_t(kept), overlap, uchar(0));
                lookAt(bytes.data(), kept + overlap, at - kept, kept);
                std::fill_n(bytes.begin(), overlap, uchar(0));
                kept = overlap;
                at = end;
                continue;
            }
        }
        const qint64 came = source->readAt(qint64(at), reinterpret_cast<char *>(bytes.data()) + kept, piece);
        if (came <= 0) {
            m_found.error = came < 0 ? source->errorText() : ByteSearch::tr("the file has become shorter");
            return;
        }
        const size_t count = kept + size_t(came);
        lookAt(bytes.data(), count, at - kept, kept);
        at += quint64(came);
        kept = std::min(overlap, count);
        std::copy(bytes.begin() + std::ptrdiff_t(count - kept), bytes.begin() + std::ptrdiff_t(count), bytes.begin());
    }
    m_found.done = size;
    m_found.fileSize = size;
    m_found.isWhole = !m_isCancelled;
}

ByteSearch::ByteSearch(QString path, SourceOpener opener, QObject *parent)
    : QObject(parent), m_path(std::move(path)), m_opener(std::move(opener))
{
}

void ByteSearch::start(const ByteQuery &query)
{
    clear();
    m_query = query;
    if (isActive()) {
        m_looking.startLong(
            [this, query, path = m_path, opener = m_opener](const std::atomic<bool> &isCancelled,
                                                            const Errand::Tell &tell) {
                Look look(query, isCancelled, [this, &tell](const std::shared_ptr<const News> &news) {
                    tell([this, news] { take(*news); });
                });
                look.look(path, opener);
                return Errand::Delivery([this, news = look.takeNews()] { take(*news); });
            },
            [this] {
                m_error = tr("memory ran out");
                Q_EMIT changed();
            });
    }
    Q_EMIT changed();
}

void ByteSearch::cancel()
{
    if (!isRunning())
        return;
    m_looking.cancel();
    Q_EMIT changed();
}

void ByteSearch::clear()
{
    cancel();
    m_query = {};
    m_places.clear();
    m_count = 0;
    m_done = 0;
    m_fileSize = 0;
    m_isWhole = false;
    m_error = QString();
    Q_EMIT changed();
}

void ByteSearch::take(const News &news)
{
    m_count += news.count;
    m_places.insert(m_places.end(), news.places.begin(), news.places.end());
    m_done = news.done;
    m_fileSize = news.fileSize;
    m_isWhole = news.isWhole;
    m_error = news.error;
    Q_EMIT changed();
}

int ByteSearch::progress() const
{
    if (m_isWhole)
        return 100;
    return m_fileSize == 0 ? 0 : int(double(m_done) / double(m_fileSize) * 100);
}

std::optional<size_t> ByteSearch::behind(quint64 offset) const
{
    const auto found = std::upper_bound(m_places.begin(), m_places.end(), offset);
    return found == m_places.end() ? std::nullopt : std::optional<size_t>(size_t(found - m_places.begin()));
}

std::optional<size_t> ByteSearch::before(quint64 offset) const
{
    const auto found = std::lower_bound(m_places.begin(), m_places.end(), offset);
    return found == m_places.begin() ? std::nullopt : std::optional<size_t>(size_t(found - m_places.begin()) - 1);
}

} // namespace quenlofar
