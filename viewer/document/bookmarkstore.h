#pragma once

#include "byterange.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

namespace quenlofar {

/// Bytes of a file that people want to come back to.
struct Bookmark
{
    static constexpr int mostCharacters = 10'000; ///< of a name, and of a note

    ByteRange range; ///< where it is
    QString name; ///< in a line
    QString note; ///< may have several lines

    bool operator==(const Bookmark &other) const
    {
        return range == other.range && name == other.name && note == other.note;
    }
};

/// The bookmarks of one file, and which file that is.
struct BookmarkRecord
{
    static constexpr int mostBookmarks = 10'000; ///< of a file

    QString path; ///< absolute, see pathFromBytes
    quint64 fileSize = 0; ///< bytes
    QByteArray digest; ///< see quickDigest
    std::vector<Bookmark> bookmarks; ///< by their places

    QByteArray toJson() const; ///< as it is kept and exported, see docs/viewer.md
    /// Nothing where `json` is no record, with `*error` saying why.
    static std::optional<BookmarkRecord> fromJson(const QByteArray &json, QString *error);
};

/**
 * Bookmarks in a directory, a file for each record: its name tells path and digest of what the bookmarks are of. Reads
 * and writes the disk, so it is for threads that may wait.
 */
class BookmarkStore
{
public:
    /// What is known of a file.
    struct Found
    {
        BookmarkRecord record; ///< without bookmarks where nothing is known
        QString name; ///< of the record's file; null where nothing is known
        bool isMoved = false; ///< the bookmarks were made when the file had the record's path
        bool isChanged = false; ///< the bookmarks were made when the file had other bytes
        QStringList problems; ///< records that cannot be read, a sentence for each
    };

    /// `directory` need not be there yet.
    explicit BookmarkStore(QString directory) : m_directory(std::move(directory)) { }

    /// The record of the file with this path and digest; otherwise one with the digest, otherwise the latest one with
    /// the path. What looks like one of them and cannot be read is renamed, so that nobody writes over it.
    Found find(const QString &path, const QByteArray &digest) const;
    /// Writes the record, whole or not at all, or removes it where it has no bookmarks. `former` is the name of the
    /// record that it goes back to, which goes as well where it is of this path or of one that is not there any more.
    /// Null, or why it cannot be written.
    QString save(const BookmarkRecord &record, const QString &former) const;

    static QString nameOf(const QString &path, const QByteArray &digest); ///< of a record's file

private:
    std::optional<BookmarkRecord> read(const QString &name, QStringList *problems) const;

    const QString m_directory;
};

} // namespace quenlofar
