#pragma once

#include "documentwork.h"
#include "growingtree.h"
#include "pagecache.h"
#include "place.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace quenlofar {

/**
 * One open file, for the thread of the window: what is known of it so far, and the current place in it, which every
 * view may set and every other follows. Reads nothing itself and never waits: DocumentWork does that, and what it finds
 * arrives between two events. All objects of the viewer that know a document live in this thread.
 */
class Document : public QObject
{
    Q_OBJECT

public:
    /// Opens the file `path` and begins to read it.
    Document(const QString &path, const DocumentOptions &options, QObject *parent = nullptr);
    /// Does not wait for what is still being read.
    ~Document() override;

    const QString &path() const { return m_path; } ///< as it was given, see pathFromBytes
    bool isOpened() const { return m_isOpened; } ///< size() and openError() say what they will say
    quint64 size() const { return m_size; } ///< bytes when the file was opened; 0 before
    const QString &openError() const { return m_openError; } ///< why it could not be opened; null where it could
    bool isFolder() const { return m_isFolder; } ///< it could not be opened because it is one
    const QString &change() const { return m_change; } ///< what became of the file on the disk; null: nothing
    /// Why bytes that were looked at could not be read, the latest; null where all could.
    const QString &readError() const { return m_readError; }

    const GrowingTree &tree() const { return m_tree; } ///< as far as it is known
    /// What the strict reading found; null before it has ended, and where nobody can read the file so.
    const ContainerAnalyzer *analyzer() const;
    /// What the strict reading found, to be shared with other threads; null before it has ended.
    const std::shared_ptr<const StrictTables> &tables() const { return m_tables; }
    const PacketTable *packets() const { return m_tables ? m_tables->packets : nullptr; } ///< null as analyzer()
    const RegionTable *regions() const { return m_tables ? m_tables->regions : nullptr; } ///< null as analyzer()
    /// The packet whose data, header or padding holds the byte at `offset`; PacketTable::none where there is none.
    quint64 packetAt(quint64 offset) const;
    /// The judgement on the file at the latest level whose judgement has come; null before the first one.
    const FileCheck *check() const { return m_judged ? &m_judged->check : nullptr; }
    /// The rule of this name; null where none is known. Its texts are lent as long as the document.
    const Rule *rule(QStringView name) const;
    Level level() const { return m_level; } ///< that is asked for
    void setLevel(Level level); ///< has the file judged at another level
    bool isJudging() const { return m_isJudging; } ///< the judgement at level() has not come
    /// Walk and strict reading have ended, or the file could not be opened.
    bool isRead() const;
    /// No work that was asked for goes on.
    bool isIdle() const { return isRead() && m_wanted.empty() && m_errands == 0 && !isJudgingOpenFile(); }
    void errandBegan() { ++m_errands; } ///< work for a view goes on, see Errand
    void errandEnded(); ///< it has ended
    /// Opens the file once more, for work outside of the window's thread: what it answers may be called there alone.
    SourceOpener sourceOpener() const;
    int progress() const; ///< of the walk, in percent
    void stopReading(); ///< ends walk and strict reading early

    /**
     * What is known of the `count` bytes from `offset` on: their states, and where they are Known the bytes. Those that
     * were not read yet will be, from the next event on, unless nobody asks for them again until then: a view asks for
     * what it shows whenever bytesChanged() comes.
     */
    void bytes(quint64 offset, int count, uchar *bytes, ByteState *states);

    const Place &place() const { return m_place; } ///< the current one
    /// Goes back to `place`, which was the current one before: what is known of its bytes by now is told, and of
    /// several findings that are here it is the same one again.
    void setPlace(const Place &place, Move move);
    /// Goes to an item: its bytes are the range.
    void setItem(TreeItem item, Move move);
    /// Goes to bytes: they belong to the deepest item that covers the first one.
    void setBytes(const ByteRange &range, Move move);
    /// Goes to the data of the packet number `index` of packets(); nothing happens where there is none.
    void setPacket(quint64 index, Move move);
    /// Goes to the first place of the finding `id` of check(); nothing happens where there is none.
    void setFinding(int id, Move move);
    /// What the current place points at, where it is inside of an entry of an index.
    std::optional<Reference> reference() const;
    /// The entries of indexes that point at the data of the packet of the place, or else into its item or bytes; at
    /// most `limit`.
    std::vector<Reference> pointers(size_t limit) const;

Q_SIGNALS:
    void opened(); ///< isOpened() has become true
    void treeGrew(); ///< tree() has new items, or is complete
    void tablesCame(); ///< the strict reading has ended
    void checkCame(); ///< check() is another one
    void levelChanged(); ///< level() is another one
    void bytesChanged(); ///< pages came
    void changed(); ///< change() or readError() says something else
    void placeChanged(quenlofar::Move move); ///< place() is another one
    /// What the place belongs to became known: it is the same bytes.
    void placeResolved();
    void becameIdle(); ///< isIdle() has become true

protected:
    void customEvent(QEvent *event) override;

private:
    void takeNews();
    void takePages(std::vector<Page> *pages);
    void askForPages();
    void resolvePlace(bool isNewCheck = false);
    void resolveTables(Place *place) const;
    bool isFindingAt(int id, quint64 offset) const;
    void moveTo(const Place &place, Move move);
    void tellIfIdle();
    bool isJudgingOpenFile() const { return m_isJudging && m_openError.isNull(); }

    const QString m_path;
    std::shared_ptr<DocumentWork> m_work;
    bool m_isOpened = false;
    quint64 m_size = 0;
    QString m_openError;
    bool m_isFolder = false;
    QString m_change;
    QString m_readError;
    GrowingTree m_tree;
    std::shared_ptr<const StrictTables> m_tables;
    std::shared_ptr<const JudgedFile> m_judged;
    Level m_level = Level::Default;
    int m_request = 0; // the latest judgement that was asked for
    bool m_isJudging = true;
    int m_errands = 0;
    PageCache m_pages;
    std::vector<quint64> m_wanted; // pages that were looked at and have not come
    bool m_isAsking = false; // m_wanted will be handed on with the next event
    bool m_wasIdle = false;
    Place m_place;
    bool m_isPlaceOfBytes = false; // its item follows from its bytes
};

} // namespace quenlofar
