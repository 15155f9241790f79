#include "bookmarks.h"

#include "bytesource.h"
#include "document.h"
#include "filepath.h"
#include "quickdigest.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <utility>

namespace quenlofar {

/// What all documents of one path have in common. Threads write one after the other, and what is not the latest list of
/// these bytes any more not at all.
class Bookmarks::Shared
{
public:
    std::vector<Bookmarks *> all; // in the window's thread only
    std::mutex writing;

    /// The number of a list that is going to be written; the bytes of the file are those of `digest`.
    quint64 begin(const QByteArray &digest)
    {
        const std::lock_guard lock(m_numbers);
        return ++m_latest[digest];
    }
    bool isLatest(const QByteArray &digest, quint64 number)
    {
        const std::lock_guard lock(m_numbers);
        return m_latest[digest] == number;
    }

    /// That of a path; lives as long as somebody has it.
    static std::shared_ptr<Shared> of(const QString &path)
    {
        static std::map<QString, std::weak_ptr<Shared>> known;
        std::shared_ptr<Shared> shared = known[path].lock();
        if (!shared)
            known[path] = shared = std::make_shared<Shared>();
        return shared;
    }

private:
    std::mutex m_numbers;
    std::map<QByteArray, quint64> m_latest;
};

Bookmarks::Bookmarks(Document &document, const SourceOpener &opener, QObject *parent)
    : QObject(parent), m_document(document), m_path(QDir::current().absoluteFilePath(document.path())),
      m_loading(document), m_saving(document), m_exporting(document),
      m_shared(opener ? std::make_shared<Shared>() : Shared::of(m_path))
{
    m_shared->all.push_back(this);
    if (!opener)
        connect(&document, &Document::opened, this, &Bookmarks::load);
}

Bookmarks::~Bookmarks()
{
    auto &all = m_shared->all;
    all.erase(std::find(all.begin(), all.end(), this));
}

QString Bookmarks::directory()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/bookmarks");
}

void Bookmarks::load()
{
    if (!m_document.openError().isNull())
        return;
    m_loading.start([this, open = m_document.sourceOpener(), path = m_path,
                     store = directory()](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
        QString error;
        const std::unique_ptr<ByteSource> source = open(path, &error);
        const QByteArray digest = source ? quickDigest(*source, isCancelled, &error) : QByteArray();
        if (digest.isNull()) {
            return [this, error] {
                m_message = tr("Bookmarks are not kept: the file cannot be read: %1.").arg(error);
                Q_EMIT changed();
            };
        }
        return [this, found = BookmarkStore(store).find(path, digest), digest] { take(found, digest); };
    });
}

void Bookmarks::take(const BookmarkStore::Found &found, const QByteArray &digest)
{
    m_digest = digest;
    m_former = found.name;
    QStringList messages = found.problems;
    if (found.isMoved)
        messages.append(tr("The bookmarks were made when the file was %1.")
                            .arg(QString::fromUtf8(pathForDisplay(found.record.path))));
    if (found.isChanged)
        messages.append(tr("The file has changed since its bookmarks were made."));
    m_message = messages.join(QLatin1Char(' '));
    // Another document may know better than the disk, and some may have been added meanwhile.
    const auto other = std::find_if(m_shared->all.begin(), m_shared->all.end(), [this](const Bookmarks *each) {
        return each != this && each->m_digest == m_digest;
    });
    const std::vector<Bookmark> added =
        std::exchange(m_list, other == m_shared->all.end() ? found.record.bookmarks : (*other)->m_list);
    for (const Bookmark &each : added)
        add(each);
    Q_EMIT changed();
}

void Bookmarks::tellOthers()
{
    for (Bookmarks *const other : m_shared->all) {
        if (other == this || other->m_digest != m_digest)
            continue;
        other->m_list = m_list;
        Q_EMIT other->changed();
    }
}

/// In a thread that ends what it has begun, also when the window goes.
void Bookmarks::save()
{
    if (m_digest.isNull())
        return;
    tellOthers();
    const quint64 number = m_shared->begin(m_digest);
    m_saving.start([this, record = record(), former = m_former, store = directory(), shared = m_shared,
                    number](const std::atomic<bool> &) -> Errand::Delivery {
        const std::lock_guard lock(shared->writing);
        if (!shared->isLatest(record.digest, number))
            return {};
        const QString error = BookmarkStore(store).save(record, former);
        if (error.isNull())
            return {};
        return [this, error] {
            m_message = tr("The bookmarks cannot be kept: %1.").arg(error);
            Q_EMIT changed();
        };
    });
}

int Bookmarks::find(const ByteRange &range) const
{
    const auto found =
        std::find_if(m_list.begin(), m_list.end(), [&range](const Bookmark &each) { return each.range == range; });
    return found == m_list.end() ? -1 : int(found - m_list.begin());
}

int Bookmarks::add(const Bookmark &bookmark)
{
    if (m_list.size() >= size_t(BookmarkRecord::mostBookmarks))
        return -1;
    const auto place =
        std::upper_bound(m_list.begin(), m_list.end(), bookmark, [](const Bookmark &wanted, const Bookmark &each) {
            return wanted.range.offset < each.range.offset;
        });
    Bookmark added = bookmark;
    added.name.truncate(Bookmark::mostCharacters);
    added.note.truncate(Bookmark::mostCharacters);
    const int position = int(place - m_list.begin());
    m_list.insert(place, std::move(added));
    save();
    Q_EMIT changed();
    return position;
}

void Bookmarks::change(int position, const QString &name, const QString &note)
{
    Bookmark &bookmark = m_list[size_t(position)];
    bookmark.name = name.left(Bookmark::mostCharacters);
    bookmark.note = note.left(Bookmark::mostCharacters);
    save();
    Q_EMIT changed();
}

void Bookmarks::remove(int position)
{
    m_list.erase(m_list.begin() + position);
    save();
    Q_EMIT changed();
}

BookmarkRecord Bookmarks::record() const
{
    return {m_path, m_document.size(), m_digest, m_list};
}

void Bookmarks::exportTo(const QString &path)
{
    m_exporting.start([this, path, json = record().toJson()](const std::atomic<bool> &) -> Errand::Delivery {
        const QString shown = QString::fromUtf8(pathForDisplay(path));
        QSaveFile file(QFile::decodeName(pathToBytes(path)));
        const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(json) == json.size() && file.commit();
        return [this,
                message = isWritten ? tr("Written to %1.").arg(shown)
                                    : tr("%1 cannot be written: %2.").arg(shown, file.errorString())] {
            m_message = message;
            Q_EMIT changed();
        };
    });
}

} // namespace quenlofar
