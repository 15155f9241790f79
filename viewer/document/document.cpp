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

quint64 Document::packetAt(quint64 offset) const
{
    if (!packets())
        return PacketTable::none;
    const quint64 index = packets()->indexAt(offset);
    if (index != PacketTable::none || offset >= regions()->fileSize())
        return index;
    const Region region = regions()->at(offset);
    const quint64 next = region.stream < 0 ? packets()->size() : packets()->lowerIndex(region.range.offset);
    const bool isHere = next < packets()->size() && packets()->at(next).offset <= region.range.end();
    return isHere ? next : PacketTable::none;
}

const Rule *Document::rule(QStringView name) const
{
    const int ordinal = m_tables ? m_tables->rules.find(name) : -1;
    return ordinal < 0 ? nullptr : &m_tables->rules[ordinal];
}

void Document::setLevel(Level level)
{
    if (level == m_level)
        return;
    m_level = level;
    m_isJudging = true;
    m_wasIdle = false;
    m_work->judge(level, ++m_request);
    Q_EMIT levelChanged();
}

void Document::errandEnded()
{
    --m_errands;
    tellIfIdle();
}

SourceOpener Document::sourceOpener() const
{
    return [work = m_work](const QString &, QString *error) { return work->open(error); };
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
        m_isFolder = news.isFolder;
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
        resolvePlace();
        Q_EMIT tablesCame();
    }
    if (news.judged && news.judged->request == m_request) {
        m_judged = std::move(news.judged);
        m_isJudging = false;
        resolvePlace(true);
        Q_EMIT checkCame();
    }
    if (!news.pages.empty())
        takePages(&news.pages);
    if (news.isChanged && news.change != m_change) {
        m_change = news.change;
        Q_EMIT changed();
    }
    tellIfIdle();
}

void Document::tellIfIdle()
{
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
    Place now{place.range, place.item};
    resolveTables(&now);
    // Ids are those of one judgement: at another level they are others.
    if (isFindingAt(place.finding, place.range.offset))
        now.finding = place.finding;
    moveTo(now, move);
}

/// Tells nobody where it is the current place.
void Document::moveTo(const Place &place, Move move)
{
    if (place == m_place)
        return;
    m_place = place;
    Q_EMIT placeChanged(move);
}

bool Document::isFindingAt(int id, quint64 offset) const
{
    if (!check() || id < 1 || size_t(id) > check()->findings.size())
        return false;
    const std::vector<ByteRange> &places = check()->findings[size_t(id) - 1].places;
    return std::any_of(places.begin(), places.end(), [offset](const ByteRange &range) {
        return range.offset == offset || (offset > range.offset && offset - range.offset < range.size);
    });
}

void Document::setItem(TreeItem item, Move move)
{
    m_isPlaceOfBytes = false;
    ByteRange range = m_tree.range(item);
    if (m_isOpened) {
        range.offset = std::min(range.offset, m_size);
        range.size = std::min(range.size, m_size - range.offset);
    }
    Place place{range, item};
    resolveTables(&place);
    moveTo(place, move);
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
        resolveTables(&place);
    }
    moveTo(place, move);
}

void Document::setPacket(quint64 index, Move move)
{
    if (!packets() || index >= packets()->size())
        return;
    m_isPlaceOfBytes = true;
    Place place{packets()->at(index).range(), GrowingTree::root()};
    place.item = m_tree.itemAt(place.range.offset);
    resolveTables(&place);
    place.packet = index; // an empty one has no byte that it could be told by
    moveTo(place, move);
}

void Document::setFinding(int id, Move move)
{
    if (!check() || id < 1 || size_t(id) > check()->findings.size())
        return;
    const JudgedFinding &finding = check()->findings[size_t(id) - 1];
    if (finding.places.empty())
        return;
    m_isPlaceOfBytes = true;
    Place place{finding.places.front(), GrowingTree::root()};
    place.range.offset = std::min(place.range.offset, m_size > 0 ? m_size - 1 : 0);
    place.range.size = std::min(place.range.size, m_size - place.range.offset);
    place.item = m_tree.itemAt(place.range.offset);
    resolveTables(&place);
    place.finding = id;
    moveTo(place, move);
}

/// What the tables and the judgement say of the bytes of `place`.
void Document::resolveTables(Place *place) const
{
    const quint64 offset = place->range.offset;
    place->packet = packetAt(offset);
    place->finding = 0;
    if (!check())
        return;
    // The finding that says it of the fewest bytes; there are few findings, because equal ones are counted.
    quint64 fewest = ~quint64(0);
    for (const JudgedFinding &finding : check()->findings) {
        for (const ByteRange &range : finding.places) {
            const bool isHere = range.offset == offset || (offset > range.offset && offset - range.offset < range.size);
            if (isHere && range.size < fewest) {
                fewest = range.size;
                place->finding = finding.id;
            }
        }
    }
}

std::optional<Reference> Document::reference() const
{
    if (!m_tables || !m_tables->references)
        return std::nullopt;
    const ReferenceTable &references = *m_tables->references;
    const quint64 ordinal = references.ordinalAt(m_place.range.offset);
    if (ordinal == ReferenceTable::none || !references.isReference(ordinal))
        return std::nullopt;
    const Reference reference = references.at(ordinal);
    // A list of many entries is inside of none.
    if (m_place.range.size > reference.place.size)
        return std::nullopt;
    return reference;
}

std::vector<Reference> Document::pointers(size_t limit) const
{
    std::vector<Reference> pointers;
    if (!m_tables || !m_tables->references || !packets())
        return pointers;
    ByteRange range = m_place.packet != PacketTable::none ? packets()->at(m_place.packet).range()
        : m_place.item != GrowingTree::root()             ? m_tree.range(m_place.item)
                                                          : m_place.range;
    range.size = std::max<quint64>(range.size, 1);
    for (const quint64 ordinal : m_tables->references->ordinalsTo(range, limit))
        pointers.push_back(m_tables->references->at(ordinal));
    return pointers;
}

/// What came since may cover the bytes of the place, or say more of them.
void Document::resolvePlace(bool isNewCheck)
{
    if (!m_isOpened)
        return;
    Place place = m_place;
    if (m_isPlaceOfBytes)
        place.item = m_tree.itemAt(m_place.range.offset);
    resolveTables(&place);
    // Which of several findings it is was said by whoever went there.
    if (!isNewCheck && m_place.finding != 0)
        place.finding = m_place.finding;
    if (place == m_place)
        return;
    m_place = place;
    Q_EMIT placeResolved();
}

} // namespace quenlofar
