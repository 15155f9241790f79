#include "document.h"

#include "fileanalysis.h"

#include <QEvent>
#include <QTimer>

#include <algorithm>
#include <cstring>
#include <utility>

namespace quenlofar {

Document::Document(const QString &path, const DocumentOptions &options, QObject *parent)
    : QObject(parent), m_path(path), m_work(std::make_shared<DocumentWork>(path, options, this))
{
    m_work->start();
}

Document::~Document()
{
    m_work->abandon();
    // Giving back the memory of many millions of items takes longer than closing a window may, and closing a file on a
    // slow disk does, too.
    struct Rest
    {
        std::shared_ptr<DocumentWork> work;
        std::vector<std::shared_ptr<const TreeSegment>> segments;
        std::shared_ptr<const StrictTables> tables; // goes before the work
    };
    auto rest = std::make_shared<Rest>(Rest{std::move(m_work), m_tree.takeSegments(), std::move(m_tables)});
    DocumentWork::runDetached([rest = std::move(rest)]() mutable { rest.reset(); });
}

const ContainerAnalyzer *Document::analyzer() const
{
    return m_tables ? m_tables->analyzer() : nullptr;
}

bool Document::isRead() const
{
    return m_isOpened && (!m_openError.isNull() || (m_tree.isComplete() && m_tables));
}

int Document::progress() const
{
    if (m_tree.isComplete())
        return 100;
    const qint64 position = m_work->walkProgress().position;
    return m_size == 0 ? 0 : int(std::clamp(double(position) / double(m_size), 0.0, 1.0) * 100);
}

void Document::stopReading()
{
    m_work->stopReading();
}

void Document::customEvent(QEvent *event)
{
    if (event->type() == DocumentWork::newsEvent())
        takeNews();
}

void Document::takeNews()
{
    DocumentNews news = m_work->takeNews();
    if (news.isOpened) {
        m_isOpened = true;
        m_size = quint64(std::max<qint64>(news.size, 0));
        m_openError = news.openError;
        Q_EMIT opened();
        const Place wanted = m_place;
        if (m_isPlaceOfBytes)
            setBytes(wanted.range, Move::Step);
        else if (wanted.item != GrowingTree::root())
            setItem(wanted.item, Move::Step);
    }
    for (std::shared_ptr<const TreeSegment> &segment : news.segments)
        m_tree.append(std::move(segment));
    if (!news.segments.empty()) {
        Q_EMIT treeGrew();
        resolvePlace();
    }
    if (news.tables) {
        m_tables = std::move(news.tables);
        Q_EMIT tablesCame();
    }
    if (!news.pages.empty())
        takePages(&news.pages);
    if (news.isChanged && news.change != m_change) {
        m_change = news.change;
        Q_EMIT changed();
    }
    const bool wasIdle = m_wasIdle;
    m_wasIdle = isIdle();
    if (m_wasIdle && !wasIdle)
        Q_EMIT becameIdle();
}

void Document::takePages(std::vector<Page> *pages)
{
    QString error = m_readError;
    for (Page &page : *pages) {
        m_wanted.erase(std::remove(m_wanted.begin(), m_wanted.end(), page.number), m_wanted.end());
        if (!page.error.isNull())
            error = page.error;
        m_pages.insert(std::move(page));
    }
    Q_EMIT bytesChanged();
    if (error != m_readError) {
        m_readError = error;
        Q_EMIT changed();
    }
}

void Document::bytes(quint64 offset, int count, uchar *bytes, ByteState *states)
{
    int done = 0;
    while (done < count) {
        const quint64 at = offset + quint64(done);
        if (at >= m_size || at < offset) {
            std::fill(states + done, states + count, ByteState::Outside);
            return;
        }
        const quint64 number = at / PageCache::pageSize;
        const int inPage = int(at % PageCache::pageSize);
        const quint64 inFile = std::min<quint64>(m_size - number * PageCache::pageSize, PageCache::pageSize);
        const int stretch = std::min(count - done, int(inFile) - inPage);
        const Page *const page = m_pages.page(number);
        const int known = page ? std::clamp(int(page->bytes.size()) - inPage, 0, stretch) : 0;
        if (known > 0)
            std::memcpy(bytes + done, page->bytes.constData() + inPage, size_t(known));
        std::fill(states + done, states + done + known, ByteState::Known);
        std::fill(states + done + known, states + done + stretch, page ? ByteState::Failed : ByteState::Awaited);
        if (!page && std::find(m_wanted.begin(), m_wanted.end(), number) == m_wanted.end()) {
            m_wanted.push_back(number);
            m_wasIdle = false;
            if (!m_isAsking) {
                m_isAsking = true;
                QTimer::singleShot(0, this, &Document::askForPages);
            }
        }
        done += stretch;
    }
}

void Document::askForPages()
{
    m_isAsking = false;
    // More than what views show is left out, what was looked at longest ago first: the view scrolls by.
    constexpr size_t mostWanted = 16;
    if (m_wanted.size() > mostWanted)
        m_wanted.erase(m_wanted.begin(), m_wanted.end() - mostWanted);
    m_work->wantPages(m_wanted);
}

void Document::setPlace(const Place &place, Move move)
{
    if (place == m_place)
        return;
    m_place = place;
    Q_EMIT placeChanged(move);
}

void Document::setItem(TreeItem item, Move move)
{
    m_isPlaceOfBytes = false;
    ByteRange range = m_tree.range(item);
    if (m_isOpened) {
        range.offset = std::min(range.offset, m_size);
        range.size = std::min(range.size, m_size - range.offset);
    }
    setPlace({range, item}, move);
}

void Document::setBytes(const ByteRange &range, Move move)
{
    m_isPlaceOfBytes = true;
    Place place{range, GrowingTree::root()};
    if (m_isOpened) {
        // The last byte of the file is the last one that there is to be at.
        place.range.offset = std::min(range.offset, m_size > 0 ? m_size - 1 : 0);
        place.range.size = std::min(range.size, m_size - place.range.offset);
        place.item = m_tree.itemAt(place.range.offset);
    }
    setPlace(place, move);
}

/// What the walk found since may cover the bytes of the place.
void Document::resolvePlace()
{
    if (!m_isPlaceOfBytes || !m_isOpened)
        return;
    const TreeItem item = m_tree.itemAt(m_place.range.offset);
    if (item == m_place.item)
        return;
    m_place.item = item;
    Q_EMIT placeResolved();
}

} // namespace quenlofar
