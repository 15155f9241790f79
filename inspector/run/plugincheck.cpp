#include "plugincheck.h"

#include "byteaccounting.h"
#include "bytesource.h"
#include "describingsink.h"
#include "jsonwriter.h"
#include "statuscodes.h"

#include <QCryptographicHash>
#include <QIODevice>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <limits>
#include <set>
#include <stdexcept>

namespace quenlofar {

namespace {

constexpr unsigned mostSeconds = 10; // of one walk

/// A source with a change.
class DamagedSource : public ByteSource
{
public:
    DamagedSource(std::unique_ptr<ByteSource> source, const FileDamage &damage)
        : m_source(std::move(source)), m_damage(damage)
    {
    }

    qint64 size() const override
    {
        const qint64 whole = m_source->size();
        return m_damage.kind == FileDamage::Kind::Cut ? std::min(whole, qint64(m_damage.position)) : whole;
    }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const qint64 count =
            m_source->readAt(position, data, std::max<qint64>(0, std::min(maxSize, size() - position)));
        const qint64 at = qint64(m_damage.position) - position;
        if (m_damage.kind == FileDamage::Kind::Flip && at >= 0 && at < count)
            data[at] = char(m_damage.value);
        return count;
    }
    QString errorText() const override { return m_source->errorText(); }

private:
    const std::unique_ptr<ByteSource> m_source;
    const FileDamage m_damage;
};

/// Takes bytes and keeps their hash.
class HashDevice : public QIODevice
{
public:
    HashDevice() { open(QIODevice::WriteOnly); }
    QByteArray result() const { return m_hash.result(); }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        m_hash.addData(QByteArray::fromRawData(data, int(size)));
        return size;
    }

private:
    QCryptographicHash m_hash{QCryptographicHash::Sha1};
};

/// Sees one walk: prints it into a hash, accounts for its bytes, describes it, and looks at the places of its items.
class Observer : public ElementSink
{
public:
    explicit Observer(const QVector<ParserFactory> &parsers) : m_writer(m_hash), m_describer(parsers) { }

    QByteArray hash() const { return m_hash.result(); }
    const ByteAccounting &bytes() const { return m_bytes; }
    QString describerError() const { return m_describer.errorText(); }
    /// The first item that reaches beyond the file; null for none.
    const QString &beyondFile() const { return m_beyondFile; }
    /// The first item that reaches out of its node; null for none.
    const QString &beyondNode() const { return m_beyondNode; }

    bool beginDocument(const DocumentStart &start) override
    {
        m_fileSize = quint64(std::max<qint64>(start.fileSize, 0));
        m_bytes.beginDocument(start);
        m_describer.beginDocument(start);
        return m_writer.beginDocument(start);
    }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        if (size != sizeFromEnd)
            look(offset, size, title, false);
        m_nodes.push_back({offset, size == sizeFromEnd ? std::numeric_limits<quint64>::max() - offset : size});
        m_describer.beginElement(offset, size, title, index);
        return m_writer.beginElement(offset, size, title, index);
    }
    bool addField(const Field &field) override
    {
        look(field.offset, field.size, field.isUnparsedData() ? QStringView(u"unparsed") : field.name, true);
        m_bytes.addField(field);
        m_describer.addField(field);
        return m_writer.addField(field);
    }
    bool endElement() override
    {
        m_nodes.pop_back();
        m_describer.endElement();
        return m_writer.endElement();
    }
    bool reportFrame(const Frame &frame) override
    {
        m_describer.reportFrame(frame);
        return m_writer.reportFrame(frame);
    }
    bool setElementSize(quint64 size) override
    {
        m_describer.setElementSize(size);
        return m_writer.setElementSize(size);
    }
    bool reportProblem(const ReportedProblem &problem) override
    {
        m_describer.reportProblem(problem);
        return m_writer.reportProblem(problem);
    }
    bool endDocument(const RunResult &result) override
    {
        m_bytes.endDocument(result);
        m_describer.endDocument(result);
        return m_writer.endDocument(result);
    }
    QString errorText() const override { return m_writer.errorText(); }

private:
    struct Node
    {
        quint64 offset;
        quint64 size;
    };

    void look(quint64 offset, quint64 size, QStringView name, bool isLeaf)
    {
        const auto reachesOut = [offset, size](quint64 begin, quint64 length) {
            return offset < begin || offset - begin > length || size > length - (offset - begin);
        };
        const auto text = [&] {
            return QStringLiteral("%1 at %2 with %3 bytes").arg(name.toString()).arg(offset).arg(size);
        };
        if (isLeaf && m_beyondFile.isNull() && reachesOut(0, m_fileSize))
            m_beyondFile = text();
        if (!m_nodes.empty() && m_beyondNode.isNull() && reachesOut(m_nodes.back().offset, m_nodes.back().size))
            m_beyondNode = text();
    }

    HashDevice m_hash;
    JsonWriter m_writer;
    ByteAccounting m_bytes;
    DescribingSink m_describer;
    std::vector<Node> m_nodes;
    quint64 m_fileSize = 0;
    QString m_beyondFile;
    QString m_beyondNode;
};

/// One thing that is wrong in one case; the kind tells like things together.
struct Complaint
{
    Severity severity;
    const char *kind;
    QString text;
};

QString rangesText(const ByteAccounting &bytes, ByteAccounting::Kind kind, const QString &what)
{
    quint64 first = 0;
    bytes.visitRanges(kind, [&first](const ByteRange &range) {
        first = range.offset;
        return false;
    });
    return QStringLiteral("%1 bytes are %2, the first at %3").arg(bytes.byteCount(kind)).arg(what).arg(first);
}

RunResult walk(const QString &path, const ParserFactory &factory, const FileDamage &damage, Observer &observer)
{
    ContainerRun run;
    run.setOpener([damage](const QString &name, QString *error) -> std::unique_ptr<ByteSource> {
        std::unique_ptr<ByteSource> source = openFileSource(name, error);
        return source ? std::make_unique<DamagedSource>(std::move(source), damage) : nullptr;
    });
    return run.run(path, {factory}, observer);
}

std::vector<Complaint> complaintsAbout(const QString &path, const ParserFactory &factory, const FileDamage &damage)
{
    std::vector<Complaint> complaints;
    const auto complain = [&complaints](Severity severity, const char *kind, const QString &text) {
        complaints.push_back({severity, kind, text});
    };
    const bool isWhole = damage.kind == FileDamage::Kind::None;
    Observer observer({factory});
    const RunResult result = walk(path, factory, damage, observer);
    if (result.error.kind == FileError::Parser)
        complain(Severity::Error, "exception", QStringLiteral("the parser fails: %1").arg(result.error.message));
    else if (result.error.kind != FileError::None)
        complain(Severity::Error, "error", result.error.message);
    if (!observer.describerError().isNull())
        complain(Severity::Error, "describer", observer.describerError());
    if (result.limit != RunLimit::None) {
        const QString what = result.limit == RunLimit::Work ? QStringLiteral("it reads too much")
            : result.limit == RunLimit::Items               ? QStringLiteral("it adds too many items")
            : result.limit == RunLimit::Time                ? QStringLiteral("it takes too long")
                                                            : QStringLiteral("its nodes nest too deeply");
        complain(isWhole || result.limit == RunLimit::Work ? Severity::Error : Severity::Warning, "limit",
                 QStringLiteral("%1: the host stops it at byte %2").arg(what).arg(result.stopPosition));
    }
    Observer again({factory});
    walk(path, factory, damage, again);
    if (observer.hash() != again.hash())
        complain(Severity::Error, "determinism", QStringLiteral("two walks show different things"));

    // A damaged file need not be recognised any more.
    if (result.status == StatusNotRecognised) {
        if (isWhole)
            complain(Severity::Error, "recognised", QStringLiteral("the plug-in does not recognise it"));
        return complaints;
    }
    const Severity severity = isWhole ? Severity::Error : Severity::Warning;
    if (observer.bytes().byteCount(ByteAccounting::Kind::Gap) > 0 && result.limit == RunLimit::None) {
        complain(severity, "gap",
                 rangesText(observer.bytes(), ByteAccounting::Kind::Gap, QStringLiteral("in no leaf")));
    }
    if (observer.bytes().byteCount(ByteAccounting::Kind::Overlap) > 0) {
        complain(severity, "overlap",
                 rangesText(observer.bytes(), ByteAccounting::Kind::Overlap, QStringLiteral("in several leaves")));
    }
    if (!observer.beyondFile().isNull()) {
        complain(severity, "file",
                 QStringLiteral("a leaf reaches beyond the end of the file: ") + observer.beyondFile());
    }
    if (isWhole && !observer.beyondNode().isNull())
        complain(Severity::Warning, "node", QStringLiteral("it reaches out of its node: ") + observer.beyondNode());
    return complaints;
}

/// What the process that runs the plug-in shares with this one.
struct SharedState
{
    size_t current; ///< the case that it is at
};

class SharedMemory
{
public:
    SharedMemory()
        : m_state(::mmap(nullptr, sizeof(SharedState), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (m_state == MAP_FAILED) // NOLINT: that is how it is spelled
            throw std::runtime_error("there is no memory to share");
    }
    SharedMemory(const SharedMemory &) = delete;
    SharedMemory &operator=(const SharedMemory &) = delete;
    ~SharedMemory() { ::munmap(m_state, sizeof(SharedState)); }

    SharedState *operator->() const { return static_cast<SharedState *>(m_state); }

private:
    void *const m_state;
};

void writeAll(int descriptor, const QByteArray &bytes)
{
    for (qint64 written = 0; written < bytes.size();) {
        const ssize_t count = ::write(descriptor, bytes.constData() + written, size_t(bytes.size() - written));
        if (count < 0)
            return;
        written += count;
    }
}

QByteArray bytesFrom(int descriptor)
{
    QByteArray bytes;
    char buffer[4096];
    for (ssize_t count = 0; (count = ::read(descriptor, buffer, sizeof buffer)) > 0;)
        bytes.append(buffer, int(count));
    return bytes;
}

/// Collects what was found, one of a kind.
class PluginFindings
{
public:
    explicit PluginFindings(const std::vector<FileDamage> &damages) : m_damages(damages) { }

    void add(size_t number, Severity severity, const QByteArray &kind, const QString &text)
    {
        // The file as it is speaks for itself; damages are told together.
        const bool isWhole = m_damages[number].kind == FileDamage::Kind::None;
        const QByteArray key = kind + (isWhole ? "" : " damaged");
        const auto known = std::find(m_kinds.begin(), m_kinds.end(), key);
        if (known != m_kinds.end()) {
            ++m_findings[size_t(known - m_kinds.begin())].cases;
            return;
        }
        m_kinds.push_back(key);
        m_findings.push_back({severity, text, m_damages[number], 1});
    }
    /// Lines as the child writes them: number, severity, kind and text, separated by tabs.
    void addLines(const QByteArray &lines)
    {
        for (const QByteArray &line : lines.split('\n')) {
            const QList<QByteArray> parts = line.split('\t');
            if (parts.size() == 4)
                add(size_t(parts[0].toULongLong()), Severity(parts[1].toInt()), parts[2],
                    QString::fromUtf8(QByteArray::fromHex(parts[3])));
        }
    }
    const std::vector<PluginFinding> &all() const { return m_findings; }

private:
    const std::vector<FileDamage> &m_damages;
    std::vector<QByteArray> m_kinds;
    std::vector<PluginFinding> m_findings;
};

/// Runs the cases from `first` on in a process of its own; how it ended.
int runCases(const QString &path, const ParserFactory &factory, const std::vector<FileDamage> &damages, size_t first,
             const SharedMemory &shared, PluginFindings *findings)
{
    int ends[2];
    if (::pipe(ends) != 0)
        throw std::runtime_error("there is no pipe");
    const pid_t child = ::fork();
    if (child < 0)
        throw std::runtime_error("there is no other process");
    if (child == 0) {
        ::close(ends[0]);
        // A crash is told by the other process, and so is a walk without end.
        for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGALRM})
            std::signal(number, SIG_DFL);
        constexpr rlimit none{0, 0};
        ::setrlimit(RLIMIT_CORE, &none); // no core file for each case
        for (size_t number = first; number < damages.size(); ++number) {
            shared->current = number;
            ::alarm(mostSeconds);
            for (const Complaint &complaint : complaintsAbout(path, factory, damages[number])) {
                writeAll(ends[1],
                         QByteArray::number(quint64(number)) + '\t' + QByteArray::number(int(complaint.severity)) + '\t'
                             + complaint.kind + '\t' + complaint.text.toUtf8().toHex() + '\n');
            }
        }
        ::_exit(0); // nothing of the parent's is ended twice
    }
    ::close(ends[1]);
    findings->addLines(bytesFrom(ends[0]));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

} // namespace

QString FileDamage::text() const
{
    switch (kind) {
    case Kind::Cut:
        return QStringLiteral("cut to %1 bytes").arg(position);
    case Kind::Flip:
        return QStringLiteral("byte %1 set to 0x%2").arg(position).arg(value, 2, 16, QLatin1Char('0'));
    case Kind::None:
        break;
    }
    return QStringLiteral("as it is");
}

std::vector<FileDamage> damagesFor(quint64 fileSize, double walkSeconds, double seconds)
{
    constexpr uchar values[] = {0x00, 0x7F, 0xFF};
    constexpr quint64 mostPlaces = 1024;
    constexpr double walksPerPlace = 2.0 * (1.0 + double(std::size(values)));
    const double affordable = seconds / (walksPerPlace * std::max(walkSeconds, 1e-6));
    const quint64 places = std::min({fileSize, mostPlaces, quint64(std::clamp(affordable, 16.0, 1e6))});
    // Headers are where it matters most: the first half of the places lies side by side, the others are spread.
    const quint64 half = places / 2;
    const double step = places > half ? double(fileSize - half) / double(places - half) : 0.0;
    std::set<quint64> positions;
    for (quint64 i = 0; i < places; ++i)
        positions.insert(i < half ? i : half + quint64(double(i - half) * step));
    std::vector<FileDamage> damages;
    damages.reserve(positions.size() * (1 + std::size(values)));
    for (const quint64 position : positions)
        damages.push_back({FileDamage::Kind::Cut, position, 0});
    for (const quint64 position : positions) {
        for (const uchar value : values)
            damages.push_back({FileDamage::Kind::Flip, position, value});
    }
    return damages;
}

PluginReport checkPluginWith(const QString &path, const ParserFactory &factory)
{
    PluginReport report;
    const SharedMemory shared;
    std::vector<FileDamage> damages{{}};
    PluginFindings findings(damages);

    const auto tryFrom = [&](size_t first) {
        while (first < damages.size()) {
            const int status = runCases(path, factory, damages, first, shared, &findings);
            if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
                return;
            const size_t number = shared->current;
            if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) {
                findings.add(number, Severity::Error, "time",
                             QStringLiteral("it has not come to an end after %1 seconds").arg(mostSeconds));
            } else {
                const char *const name = WIFSIGNALED(status) ? ::strsignal(WTERMSIG(status)) : "it ended the program";
                findings.add(number, Severity::Error, "crash",
                             QStringLiteral("the plug-in crashes: %1").arg(QString::fromLocal8Bit(name)));
            }
            first = number + 1;
        }
    };
    tryFrom(0);
    report.cases = 1;
    const bool survives = findings.all().empty()
        || std::none_of(findings.all().begin(), findings.all().end(), [](const PluginFinding &finding) {
                              return finding.text.startsWith(QLatin1String("the plug-in crashes"))
                                  || finding.text.startsWith(QLatin1String("it has not come"));
                          });
    if (survives) {
        const auto begin = std::chrono::steady_clock::now();
        Observer observer({factory});
        const RunResult result = walk(path, factory, {}, observer);
        report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        report.items = result.items;
        QString error;
        const std::unique_ptr<ByteSource> source = openFileSource(path, &error);
        const quint64 fileSize = source ? quint64(source->size()) : 0;
        report.timesRead = fileSize == 0 ? 0.0 : double(result.bytesRead) / double(fileSize);
        if (result.status != StatusNotRecognised) {
            const std::vector<FileDamage> more = damagesFor(fileSize, report.seconds);
            damages.insert(damages.end(), more.begin(), more.end());
            tryFrom(1);
            report.cases = damages.size();
        }
    }
    report.findings = findings.all();
    return report;
}

} // namespace quenlofar
