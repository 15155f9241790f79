#include "bookmarkstore.h"

#include "filepath.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>
#include <utility>

#include <sys/stat.h>

namespace quenlofar {

namespace {

constexpr int pathDigits = 16; // of a name, from the path
constexpr int digestDigits = 32; // of a name, from the digest
constexpr qint64 mostRecordBytes = qint64(16) << 20;

struct StoreTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::BookmarkStore)
};

/// The names of members.
struct Members
{
    const QString format = QStringLiteral("format");
    const QString path = QStringLiteral("path");
    const QString fileSize = QStringLiteral("fileSize");
    const QString digest = QStringLiteral("digest");
    const QString bookmarks = QStringLiteral("bookmarks");
    const QString offset = QStringLiteral("offset");
    const QString size = QStringLiteral("size");
    const QString name = QStringLiteral("name");
    const QString note = QStringLiteral("note");
    const QString thisFormat = QStringLiteral("quenlofar bookmarks 1");
};

/// Numbers that JSON readers would round are texts.
QJsonValue valueOf(quint64 number)
{
    constexpr quint64 exact = quint64(1) << 53;
    return number <= exact ? QJsonValue(double(number)) : QJsonValue(QString::number(number));
}

std::optional<quint64> numberOf(const QJsonValue &value)
{
    constexpr double exact = double(quint64(1) << 53);
    if (value.isDouble()) {
        const double number = value.toDouble();
        return number >= 0 && number <= exact && double(quint64(number)) == number
            ? std::optional<quint64>(quint64(number))
            : std::nullopt;
    }
    bool isNumber = false;
    const quint64 number = value.toString().toULongLong(&isNumber);
    return isNumber ? std::optional<quint64>(number) : std::nullopt;
}

std::optional<Bookmark> bookmarkOf(const QJsonValue &value, const Members &members)
{
    constexpr quint64 longest = quint64(1) << 63;
    const QJsonObject object = value.toObject();
    const std::optional<quint64> offset = numberOf(object[members.offset]);
    const std::optional<quint64> size = numberOf(object[members.size]);
    if (!offset || !size || *offset > longest || *size > longest - *offset || !object[members.name].isString())
        return std::nullopt;
    return Bookmark{{*offset, *size},
                    object[members.name].toString().left(Bookmark::mostCharacters),
                    object[members.note].toString().left(Bookmark::mostCharacters)};
}

bool isThere(const QString &path)
{
    struct stat status = {};
    return ::stat(pathToBytes(path).constData(), &status) == 0;
}

} // namespace

QByteArray BookmarkRecord::toJson() const
{
    const Members members;
    QJsonArray list;
    for (const Bookmark &bookmark : bookmarks)
        list.append(QJsonObject{{members.offset, valueOf(bookmark.range.offset)},
                                {members.size, valueOf(bookmark.range.size)},
                                {members.name, bookmark.name},
                                {members.note, bookmark.note}});
    // Names of files need not be texts.
    return QJsonDocument(QJsonObject{{members.format, members.thisFormat},
                                     {members.path, QString::fromLatin1(pathToBytes(path).toPercentEncoding("/ "))},
                                     {members.fileSize, valueOf(fileSize)},
                                     {members.digest, QString::fromLatin1(digest)},
                                     {members.bookmarks, list}})
        .toJson();
}

std::optional<BookmarkRecord> BookmarkRecord::fromJson(const QByteArray &json, QString *error)
{
    const Members members;
    QJsonParseError parsed;
    const QJsonObject object = QJsonDocument::fromJson(json, &parsed).object();
    const auto fail = [error](const QString &text) {
        *error = text;
        return std::nullopt;
    };
    if (parsed.error != QJsonParseError::NoError)
        return fail(parsed.errorString());
    if (object[members.format].toString() != members.thisFormat)
        return fail(StoreTexts::tr("it holds no bookmarks, or those of another version"));
    const std::optional<quint64> size = numberOf(object[members.fileSize]);
    const QJsonValue list = object[members.bookmarks];
    if (!size || !object[members.path].isString() || !object[members.digest].isString() || !list.isArray())
        return fail(StoreTexts::tr("it does not say which file it is about"));
    const QJsonArray bookmarks = list.toArray();
    if (bookmarks.size() > mostBookmarks)
        return fail(StoreTexts::tr("it has more than %1 bookmarks").arg(mostBookmarks));
    BookmarkRecord record;
    record.path = pathFromBytes(QByteArray::fromPercentEncoding(object[members.path].toString().toUtf8()));
    record.fileSize = *size;
    record.digest = object[members.digest].toString().toLatin1();
    for (const QJsonValue each : bookmarks) {
        const std::optional<Bookmark> bookmark = bookmarkOf(each, members);
        if (!bookmark)
            return fail(StoreTexts::tr("one of its bookmarks has no place or no name"));
        record.bookmarks.push_back(*bookmark);
    }
    std::stable_sort(record.bookmarks.begin(), record.bookmarks.end(),
                     [](const Bookmark &a, const Bookmark &b) { return a.range.offset < b.range.offset; });
    return record;
}

QString BookmarkStore::nameOf(const QString &path, const QByteArray &digest)
{
    const QByteArray ofPath = QCryptographicHash::hash(pathToBytes(path), QCryptographicHash::Sha256).toHex();
    return QString::fromLatin1(ofPath.left(pathDigits) + '-' + digest.left(digestDigits) + ".json");
}

/// Nothing where it cannot be read, and `*problems` gets a sentence.
std::optional<BookmarkRecord> BookmarkStore::read(const QString &name, QStringList *problems) const
{
    const QString path = QDir(m_directory).filePath(name);
    QFile file(path);
    QString error;
    bool isDamaged = true;
    if (!file.open(QIODevice::ReadOnly)) {
        error = file.errorString();
        isDamaged = false;
    } else if (file.size() > mostRecordBytes) {
        error = StoreTexts::tr("it is too large");
    } else if (std::optional<BookmarkRecord> record = BookmarkRecord::fromJson(file.readAll(), &error)) {
        return record;
    }
    file.close();
    QString kept = path;
    // QFile::rename does not write over a file.
    for (int number = 1; isDamaged && kept == path && number <= 100; ++number) {
        const QString aside = QStringLiteral("%1.damaged-%2").arg(path).arg(number);
        if (QFile::rename(path, aside))
            kept = aside;
    }
    problems->append(StoreTexts::tr("The bookmarks in %1 cannot be read: %2. They were left there.").arg(kept, error));
    return std::nullopt;
}

BookmarkStore::Found BookmarkStore::find(const QString &path, const QByteArray &digest) const
{
    Found found;
    const QString exact = nameOf(path, digest);
    const QString ofPath = exact.left(pathDigits + 1);
    const QString ofDigest = exact.mid(pathDigits);
    QStringList names = QDir(m_directory).entryList({QStringLiteral("*.json")}, QDir::Files, QDir::Time);
    // The latest first; those of both before those of the digest before those of the path.
    const auto rank = [&](const QString &name) {
        return name == exact ? 0 : name.endsWith(ofDigest) ? 1 : name.startsWith(ofPath) ? 2 : 3;
    };
    std::stable_sort(names.begin(), names.end(),
                     [&rank](const QString &a, const QString &b) { return rank(a) < rank(b); });
    for (const QString &name : std::as_const(names)) {
        if (rank(name) == 3)
            break;
        std::optional<BookmarkRecord> record = read(name, &found.problems);
        if (!record)
            continue;
        found.isChanged = record->digest != digest;
        found.isMoved = !found.isChanged && record->path != path;
        if (found.isChanged && record->path != path)
            continue; // only its name looks like one
        found.record = std::move(*record);
        found.name = name;
        return found;
    }
    found.isChanged = false;
    return found;
}

QString BookmarkStore::save(const BookmarkRecord &record, const QString &former) const
{
    const QDir directory(m_directory);
    const QString name = nameOf(record.path, record.digest);
    const auto removeFormer = [&] {
        if (former.isEmpty() || former == name)
            return;
        QStringList problems;
        const std::optional<BookmarkRecord> old = read(former, &problems);
        // A copy elsewhere keeps its bookmarks.
        if (old && (old->path == record.path || !isThere(old->path)))
            QFile::remove(directory.filePath(former));
    };
    if (record.bookmarks.empty()) {
        QFile file(directory.filePath(name));
        if (file.exists() && !file.remove())
            return file.errorString();
        removeFormer();
        return {};
    }
    if (!directory.mkpath(QStringLiteral(".")))
        return StoreTexts::tr("%1 cannot be made").arg(m_directory);
    QSaveFile file(directory.filePath(name));
    const QByteArray json = record.toJson();
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size() || !file.commit())
        return file.errorString();
    removeFormer();
    return {};
}

} // namespace quenlofar
