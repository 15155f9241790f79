#include "catalogue.h"

#include "rulecatalogue.h"
#include "severity.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <tuple>

namespace quenlofar {

namespace {

constexpr int notesInTransaction = 500;
constexpr std::optional<qint64> nothing; // NULL

/// A real number that is known, or NULL; SQLite turns the text into a number where the column is one of those.
QString realText(double number, bool isKnown)
{
    return isKnown ? QString::number(number, 'g', 15) : QString();
}

std::optional<qint64> positive(quint32 number)
{
    return number > 0 ? std::optional<qint64>(number) : std::nullopt;
}

QString textOrNull(const QString &text)
{
    return text.isEmpty() ? QString() : text;
}

Level levelOf(const QString &text)
{
    Level level = Level::Quick;
    levelFromText(text, &level);
    return level;
}

} // namespace

QString rulesVersion(const RuleCatalogue &rules, const QStringList &plugins)
{
    // FNV-1a: it only has to be another one when a rule is.
    quint64 hash = 0xCBF29CE484222325U;
    const auto add = [&hash](QStringView text) {
        for (const QChar character : text) {
            hash ^= character.unicode();
            hash *= 0x100000001B3U;
        }
    };
    for (const RuleCatalogue::Entry &entry : rules.entries()) {
        add(entry.container);
        add(entry.rule->name);
        add(levelText(entry.rule->level));
        add(severityName(entry.rule->severities.highest()));
        add(entry.rule->title);
    }
    return QStringLiteral("%1, rules %2")
        .arg(plugins.join(QStringLiteral(", ")), QString::number(hash >> 32, 16).rightJustified(8, QLatin1Char('0')));
}

/// A row of the table of files, as far as a run asks for it.
struct CatalogueRun::KnownFile
{
    qint64 id = 0;
    FileStamp stamp;
    QString digestKind;
    QString digest;
    qint64 lastChecked = 0;
    qint64 seenRun = 0;
    bool isChecked = false;
    QString rules;
    QString level;
    QString status;
    QByteArray path;
};

struct CatalogueRun::Statements
{
    explicit Statements(Database &database)
        : byPath(database.prepare(columns + " WHERE path = ?")),
          byInode(database.prepare(columns + " WHERE inode = ? AND device = ?")),
          byDigest(database.prepare(columns + " WHERE digest = ? AND size = ? AND id <> ?")),
          below(
              database.prepare("SELECT id, path FROM file WHERE path > ? AND path < ? AND seen_run < ? AND missing_run "
                               "IS NULL")),
          insertFile(database.prepare("INSERT INTO file (path, size, mtime, device, inode, first_seen, last_seen, "
                                      "seen_run) VALUES (?, ?, ?, ?, ?, ?, ?, ?)")),
          setSeen(database.prepare("UPDATE file SET last_seen = ?, seen_run = ?, missing_run = NULL WHERE id = ?")),
          setMissing(database.prepare("UPDATE file SET missing_run = ? WHERE id = ? AND missing_run IS NULL")),
          setMoved(database.prepare("UPDATE file SET moved_from = path, path = ?, moved_run = ?, missing_run = NULL, "
                                    "device = ?, last_seen = ?, seen_run = ? WHERE id = ?")),
          setTrouble(database.prepare("UPDATE file SET status = ?, trouble = ? WHERE id = ?")),
          setChange(database.prepare("UPDATE file SET change = ?, changed_run = ? WHERE id = ?")),
          setChecked(database.prepare("UPDATE file SET size = ?, mtime = ?, device = ?, inode = ?, digest_kind = ?, "
                                      "digest = ?, last_checked = ?, "
                                      "checked_run = ?, program = ?, rules = ?, level = ?, status = ?, trouble = ?, "
                                      "verdict = ?, container = ?, "
                                      "writer = ?, errors = ?, warnings = ?, notes = ? WHERE id = ?")),
          deleteFile(database.prepare("DELETE FROM file WHERE id = ?")),
          deleteStreams(database.prepare("DELETE FROM stream WHERE file = ?")),
          insertStream(database.prepare("INSERT INTO stream VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
          oldFindings(database.prepare("SELECT rule, severity, stream, first_run FROM finding WHERE file = ?")),
          deleteFindings(database.prepare("DELETE FROM finding WHERE file = ?")),
          insertFinding(
              database.prepare("INSERT INTO finding (file, number, caused_by, rule, severity, confidence, "
                               "repair, stream, count, offset, message, first_run) VALUES (?, ?, ?, ?, ?, ?, ?, "
                               "?, ?, ?, ?, ?)")),
          setCounts(database.prepare("UPDATE run SET finished = ?, found = ?, checked = ? WHERE id = ?"))
    {
    }

    static KnownFile row(const Statement &from)
    {
        KnownFile file;
        file.id = from.number(0);
        file.stamp.size = from.isNull(1) ? -1 : from.number(1);
        file.stamp.mtime = from.number(2);
        file.stamp.device = from.number(3);
        file.stamp.inode = from.number(4);
        file.digestKind = from.text(5);
        file.digest = from.text(6);
        file.lastChecked = from.number(7);
        file.seenRun = from.number(8);
        file.isChecked = !from.isNull(9);
        file.rules = from.text(10);
        file.level = from.text(11);
        file.status = from.text(12);
        file.path = from.bytes(13);
        return file;
    }

    static inline const QByteArray columns = "SELECT id, size, mtime, device, inode, digest_kind, digest, "
                                             "last_checked, seen_run, checked_run, rules, level, "
                                             "status, path FROM file";

    Statement byPath, byInode, byDigest, below, insertFile, setSeen, setMissing, setMoved, setTrouble, setChange,
        setChecked, deleteFile, deleteStreams, insertStream, oldFindings, deleteFindings, insertFinding, setCounts;
};

CatalogueRun::CatalogueRun(Database &database, const RunSettings &settings)
    : m_database(database), m_settings(settings), m_statements(std::make_unique<Statements>(database)),
      m_now(currentTime())
{
    begin();
    m_since = m_database.number("SELECT max(id) FROM run WHERE finished IS NOT NULL");
    m_database.prepare("INSERT INTO run (since, started, program, rules, level, digest) VALUES (?, ?, ?, ?, ?, ?)")
        .run(m_since, m_now, settings.program, settings.rules, levelText(settings.level),
             digestKindText(settings.digest));
    m_run = m_database.lastId();
    commit();
}

CatalogueRun::~CatalogueRun() = default;

void CatalogueRun::begin()
{
    if (!m_transaction)
        m_transaction.emplace(m_database);
}

void CatalogueRun::commit()
{
    if (m_transaction)
        m_transaction->commit();
    m_transaction.reset();
    m_notes = 0;
}

void CatalogueRun::countNote()
{
    if (++m_notes >= notesInTransaction)
        commit();
}

std::optional<CatalogueRun::KnownFile> CatalogueRun::known(const QByteArray &path)
{
    Statement &statement = m_statements->byPath;
    statement.query(path);
    if (!statement.next())
        return std::nullopt;
    KnownFile file = Statements::row(statement);
    statement.reset();
    return file;
}

/// The file that has this stamp and is gone from its place. A second name of a file that is still there is no move.
std::optional<CatalogueRun::KnownFile> CatalogueRun::movedByInode(const FileStamp &stamp)
{
    Statement &statement = m_statements->byInode;
    statement.query(stamp.inode, stamp.device);
    while (statement.next()) {
        KnownFile file = Statements::row(statement);
        if (file.seenRun < m_run && file.stamp.isLike(stamp) && isGone(file.path)) {
            statement.reset();
            return file;
        }
    }
    return std::nullopt;
}

std::optional<CatalogueRun::KnownFile> CatalogueRun::movedByDigest(const FileRecord &record, qint64 newId)
{
    if (record.digest.isNull())
        return std::nullopt;
    Statement &statement = m_statements->byDigest;
    statement.query(record.digest, record.stamp.size, newId);
    while (statement.next()) {
        KnownFile file = Statements::row(statement);
        if (file.seenRun < m_run && file.digestKind == record.digestKind && isGone(file.path)) {
            statement.reset();
            return file;
        }
    }
    return std::nullopt;
}

CheckDepth CatalogueRun::depthOf(const KnownFile &file) const
{
    return {std::max(m_settings.level, levelOf(file.level)),
            m_settings.digest != DigestKind::None ? m_settings.digest : digestKindFromText(file.digestKind)};
}

bool CatalogueRun::isToBeChecked(const KnownFile &file, const FileStamp &stamp) const
{
    if (!file.isChecked || file.status == QLatin1String("unreadable") || !file.stamp.isLike(stamp)
        || file.rules != m_settings.rules || levelOf(file.level) < m_settings.level)
        return true;
    if (m_settings.digest != DigestKind::None && file.digestKind != digestKindText(m_settings.digest))
        return true;
    // Of a check in the future, as the clock says, nobody knows how old it is.
    return m_settings.recheckAge && (m_now - file.lastChecked >= *m_settings.recheckAge || file.lastChecked > m_now);
}

std::optional<CheckDepth> CatalogueRun::noteFound(const QByteArray &path)
{
    const CheckDepth ofNew = {m_settings.level, m_settings.digest};
    int error = 0;
    const std::optional<FileStamp> stamp = stampOf(path, &error);
    std::optional<KnownFile> file = known(path);
    if (file && file->seenRun == m_run)
        return std::nullopt; // named twice
    begin();
    if (!stamp && (error == ENOENT || error == ENOTDIR)) {
        if (!file)
            return ofNew; // whoever opens it says that nothing is there
        m_statements->setMissing.run(m_run, file->id);
        countNote();
        return std::nullopt;
    }
    ++m_found;
    if (!stamp) {
        if (file)
            m_statements->setSeen.run(m_now, m_run, file->id);
        else
            m_statements->insertFile.run(path, nothing, nothing, nothing, nothing, m_now, m_now, m_run);
        countNote();
        return file ? depthOf(*file) : ofNew;
    }
    if (file) {
        m_statements->setSeen.run(m_now, m_run, file->id);
    } else if ((file = movedByInode(*stamp))) {
        m_statements->setMoved.run(path, m_run, stamp->device, m_now, m_run, file->id);
    } else {
        m_statements->insertFile.run(path, stamp->size, stamp->mtime, stamp->device, stamp->inode, m_now, m_now, m_run);
    }
    countNote();
    if (!file)
        return ofNew;
    return isToBeChecked(*file, *stamp) ? std::optional<CheckDepth>(depthOf(*file)) : std::nullopt;
}

bool CatalogueRun::isKnown(Database &database, const FileRecord &record)
{
    Statement statement = database.prepare("SELECT last_checked, status FROM file WHERE path = ?");
    statement.query(record.path);
    if (!statement.next())
        return false;
    if (record.isUnreadable())
        return statement.text(1) == record.status;
    return !statement.isNull(0) && statement.number(0) >= record.checked;
}

void CatalogueRun::import(const FileRecord &record)
{
    const std::optional<KnownFile> file = known(record.path);
    const std::optional<qint64> size = record.stamp.size >= 0 ? std::optional<qint64>(record.stamp.size) : std::nullopt;
    begin();
    if (file)
        m_statements->setSeen.run(m_now, m_run, file->id);
    else
        m_statements->insertFile.run(record.path, size, record.stamp.mtime, record.stamp.device, record.stamp.inode,
                                     m_now, m_now, m_run);
    ++m_found;
    store(record);
}

/// How a file that was checked before has changed; null where it has not, as far as anybody can say.
QString CatalogueRun::changeOf(const KnownFile &file, const FileRecord &record) const
{
    if (!file.isChecked)
        return {};
    const bool isComparable = !record.digest.isNull() && file.digestKind == record.digestKind;
    if (isComparable && file.digest == record.digest)
        return {};
    if (file.stamp.size != record.stamp.size)
        return QStringLiteral("size");
    if (file.stamp.mtime != record.stamp.mtime)
        return QStringLiteral("time");
    return isComparable ? QStringLiteral("content") : QString();
}

void CatalogueRun::store(const FileRecord &record)
{
    std::optional<KnownFile> file = known(record.path);
    if (!file)
        return; // never found: there is nothing at the path
    begin();
    if (record.isUnreadable()) {
        m_statements->setTrouble.run(record.status, record.trouble, file->id);
        countNote();
        return;
    }
    if (!file->isChecked) {
        if (const std::optional<KnownFile> moved = movedByDigest(record, file->id)) {
            m_statements->deleteFile.run(file->id);
            m_statements->setMoved.run(record.path, m_run, record.stamp.device, m_now, m_run, moved->id);
            file = moved;
        }
    }
    // The digest of a file that seems unchanged stays to compare with where a check on another machine made none.
    const bool keepsDigest = record.digest.isNull() && file->isChecked && file->stamp.isLike(record.stamp);
    const QString change = changeOf(*file, record);
    if (!change.isNull())
        m_statements->setChange.run(change, m_run, file->id);
    m_statements->setChecked.run(record.stamp.size, record.stamp.mtime, record.stamp.device, record.stamp.inode,
                                 keepsDigest ? file->digestKind : record.digestKind,
                                 keepsDigest ? file->digest : record.digest, record.checked, m_run, record.program,
                                 record.rules, levelText(record.level), record.status, record.trouble,
                                 verdictText(record.verdict), record.container, textOrNull(record.writer),
                                 record.counts.error, record.counts.warning, record.counts.note, file->id);
    storeStreams(file->id, record);
    storeFindings(file->id, record);
    ++m_checked;
    countNote();
}

void CatalogueRun::storeStreams(qint64 file, const FileRecord &record)
{
    m_statements->deleteStreams.run(file);
    for (const StreamDescription &stream : record.streams) {
        m_statements->insertStream.run(file, stream.ordinal, stream.kindText(), textOrNull(stream.name),
                                       textOrNull(stream.codecCode), textOrNull(stream.codecName),
                                       positive(stream.width), positive(stream.height),
                                       realText(stream.frameRate, stream.frameRate > 0.0), positive(stream.sampleRate),
                                       positive(stream.channels), realText(stream.seconds(), stream.seconds() >= 0.0));
    }
}

/// A finding is as old as the first one of its rule, severity and stream in the file.
void CatalogueRun::storeFindings(qint64 file, const FileRecord &record)
{
    std::map<std::tuple<QString, QString, qint64>, qint64> firstRuns;
    Statement &old = m_statements->oldFindings;
    old.query(file);
    while (old.next())
        firstRuns[{old.text(0), old.text(1), old.isNull(2) ? -1 : old.number(2)}] = old.number(3);
    m_statements->deleteFindings.run(file);
    for (const JudgedFinding &finding : record.findings) {
        const QString severity = severityName(finding.severity).toString();
        const auto known = firstRuns.find({finding.rule, severity, finding.stream});
        m_statements->insertFinding.run(
            file, finding.id, finding.causedBy > 0 ? std::optional<qint64>(finding.causedBy) : std::nullopt,
            finding.rule, severity, confidenceText(finding.confidence), repairText(finding.repair),
            finding.stream >= 0 ? std::optional<qint64>(finding.stream) : std::nullopt, qint64(finding.count),
            finding.places.empty() ? std::nullopt : std::optional<qint64>(qint64(finding.places.front().offset)),
            finding.message, known == firstRuns.end() ? m_run : known->second);
    }
}

void CatalogueRun::noteMissing(const QByteArray &top)
{
    const QByteArray directory = top.endsWith('/') ? top : top + '/';
    QByteArray behind = directory;
    behind[behind.size() - 1] = '/' + 1; // sorts behind all that begins with the directory
    std::vector<qint64> gone;
    Statement &below = m_statements->below;
    below.query(directory, behind, m_run);
    while (below.next()) {
        if (isGone(below.bytes(1)))
            gone.push_back(below.number(0));
    }
    begin();
    for (const qint64 id : gone)
        m_statements->setMissing.run(m_run, id);
    commit();
}

void CatalogueRun::finish()
{
    begin();
    m_statements->setCounts.run(currentTime(), m_found, m_checked, m_run);
    commit();
}

CatalogueNews CatalogueRun::news()
{
    const QByteArray since = QByteArray::number(m_since);
    CatalogueNews news;
    news.errors =
        m_database.number("SELECT count(*) FROM finding JOIN file ON file.id = finding.file WHERE first_run > " + since
                          + " AND severity = 'error' AND missing_run IS NULL");
    news.missing = m_database.number("SELECT count(*) FROM file WHERE missing_run > " + since);
    news.rotten = m_database.number("SELECT count(*) FROM file WHERE changed_run > " + since
                                    + " AND change = 'content' AND missing_run IS NULL");
    return news;
}

} // namespace quenlofar
