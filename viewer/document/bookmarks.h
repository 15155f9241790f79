#pragma once

#include "bookmarkstore.h"
#include "containerrun.h"
#include "errand.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

namespace quenlofar {

class Document;

/**
 * The bookmarks of a document, kept in the user's data directory from run to run. They are found again when the file
 * has another name, and when it has other bytes. A file that is open several times has one list: what one document
 * changes is changed in all. Lives in the window's thread; the disk is read and written in others.
 */
class Bookmarks : public QObject
{
    Q_OBJECT

public:
    /// Of `document`, which outlives the object. What an opener opens has no place on the disk: its bookmarks are kept
    /// nowhere.
    Bookmarks(Document &document, const SourceOpener &opener, QObject *parent = nullptr);
    ~Bookmarks() override;

    static QString directory(); ///< where they are kept

    const std::vector<Bookmark> &list() const { return m_list; } ///< by their places
    const QString &message() const { return m_message; } ///< what people have to be told; may be empty
    bool isBusy() const
    {
        return m_loading.isRunning() || m_saving.isRunning() || m_exporting.isRunning();
    } ///< the disk is being read or written
    /// The position of one with this range; -1 where there is none.
    int find(const ByteRange &range) const;
    /// Adds one and returns its position; -1 where there are too many.
    int add(const Bookmark &bookmark);
    void change(int position, const QString &name, const QString &note); ///< of one that is there
    void remove(int position); ///< of one that is there
    BookmarkRecord record() const; ///< all of them, and of which file they are
    void exportTo(const QString &path); ///< writes them to a file as JSON; message() then says how it went

Q_SIGNALS:
    void changed(); ///< list() or message() says something else

private:
    void load();
    void take(const BookmarkStore::Found &found, const QByteArray &digest);
    void save();
    void tellOthers();

    class Shared;

    Document &m_document;
    const QString m_path; // absolute
    Errand m_loading;
    Errand m_saving;
    Errand m_exporting;
    std::vector<Bookmark> m_list;
    QString m_message;
    QByteArray m_digest; // null: it is not known, and nothing is kept
    QString m_former; // name of the record that they come from
    const std::shared_ptr<Shared> m_shared; // with the threads that write, and other documents of the same file
};

} // namespace quenlofar
