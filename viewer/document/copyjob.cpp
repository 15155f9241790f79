#include "copyjob.h"

#include "bytesource.h"
#include "document.h"
#include "documentwork.h"
#include "filepath.h"
#include "jsonwriter.h"
#include "treereplay.h"

#include <QBuffer>
#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <atomic>
#include <limits>
#include <mutex>
#include <utility>

namespace quenlofar {

namespace {

constexpr int bytesOfHexLine = 16;
constexpr int bytesOfArrayLine = 12;
/// Bytes that are read at once: whole lines of each form, and whole groups of base64.
constexpr qint64 piece = qint64(48) * 20'000;

/// Counts what is written, and fails where there is too much of it or nobody wants it any more.
class GuardedDevice : public QIODevice
{
public:
    /// `next` and `isCancelled` outlive the object; at most `most` bytes.
    GuardedDevice(QIODevice &next, qint64 most, const std::atomic<bool> &isCancelled)
        : m_next(next), m_most(most), m_isCancelled(isCancelled)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return true; }
    qint64 written() const { return m_written; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        if (m_isCancelled)
            return -1;
        if (size > m_most - m_written) {
            setErrorString(CopyJob::tr("more than %1 MiB are not copied: export them to a file").arg(m_most >> 20));
            return -1;
        }
        const qint64 taken = m_next.write(data, size);
        if (taken < 0)
            setErrorString(m_next.errorString());
        else
            m_written += taken;
        return taken;
    }

private:
    QIODevice &m_next;
    const qint64 m_most;
    const std::atomic<bool> &m_isCancelled;
    qint64 m_written = 0;
};

void appendHex(QByteArray *text, uchar byte)
{
    constexpr char digits[] = "0123456789ABCDEF";
    text->append(digits[byte >> 4]);
    text->append(digits[byte & 0xF]);
}

QByteArray hexLines(quint64 offset, const QByteArray &bytes)
{
    constexpr int offsetDigits = 8;
    QByteArray text;
    text.reserve(bytes.size() * 5);
    for (int at = 0; at < int(bytes.size()); at += bytesOfHexLine) {
        text += QByteArray::number(offset + quint64(at), 16).toUpper().rightJustified(offsetDigits, '0');
        text += ' ';
        const int end = std::min(at + bytesOfHexLine, int(bytes.size()));
        for (int i = at; i < at + bytesOfHexLine; ++i) {
            text += i == at + bytesOfHexLine / 2 ? "  " : " ";
            if (i < end)
                appendHex(&text, uchar(bytes[i]));
            else
                text += "  ";
        }
        text += "  ";
        for (int i = at; i < end; ++i)
            text += bytes[i] >= ' ' && bytes[i] <= '~' ? bytes[i] : '.';
        text += '\n';
    }
    return text;
}

QByteArray arrayLines(const QByteArray &bytes)
{
    QByteArray text;
    text.reserve(bytes.size() * 7);
    for (int i = 0; i < int(bytes.size()); ++i) {
        text += i % bytesOfArrayLine == 0 ? "    0x" : " 0x";
        appendHex(&text, uchar(bytes[i]));
        text += ',';
        if (i % bytesOfArrayLine == bytesOfArrayLine - 1 || i + 1 == int(bytes.size()))
            text += '\n';
    }
    return text;
}

} // namespace

/// The work of one job, in a thread of its own.
class CopyJob::Task
{
public:
    Task(CopyJob *receiver, CopyRequest request, QString path, SourceOpener opener, QString target,
         const GrowingTree &tree)
        : m_request(std::move(request)), m_path(std::move(path)), m_opener(std::move(opener)),
          m_target(std::move(target)), m_tree(tree), m_receiver(receiver)
    {
    }

    void abandon()
    {
        m_isCancelled = true;
        const std::lock_guard lock(m_mutex);
        m_receiver = nullptr;
    }

    void run()
    {
        try {
            copy();
        } catch (const std::bad_alloc &) {
            error = CopyJob::tr("memory ran out");
            result = {};
        }
        m_tree = GrowingTree(); // what it keeps alive goes in this thread
        const std::lock_guard lock(m_mutex);
        if (m_receiver)
            QMetaObject::invokeMethod(
                m_receiver, [receiver = m_receiver, task = this] { receiver->take(task); }, Qt::QueuedConnection);
    }

    QByteArray result; // these are read when the thread has said that it is over
    qint64 size = 0;
    QString error;
    std::atomic<quint64> done{0}; // bytes of the range

    quint64 wanted() const { return m_request.range.size; }

private:
    void copy();
    bool write(QIODevice *device);
    bool writeBytes(QIODevice *device);

    const CopyRequest m_request;
    const QString m_path;
    const SourceOpener m_opener;
    const QString m_target;
    GrowingTree m_tree; // of the same segments, which never change
    std::atomic<bool> m_isCancelled{false};

    std::mutex m_mutex; // guards what follows
    CopyJob *m_receiver;
};

void CopyJob::Task::copy()
{
    if (m_target.isEmpty()) {
        QBuffer buffer(&result);
        buffer.open(QIODevice::WriteOnly);
        GuardedDevice device(buffer, mostBytes, m_isCancelled);
        const bool works = write(&device);
        size = device.written();
        if (!works)
            result = {};
        return;
    }
    QSaveFile file(QFile::decodeName(pathToBytes(m_target)));
    if (!file.open(QIODevice::WriteOnly)) {
        error = file.errorString();
        return;
    }
    GuardedDevice device(file, std::numeric_limits<qint64>::max(), m_isCancelled);
    const bool works = write(&device);
    size = device.written();
    if (!works)
        file.cancelWriting();
    if (!file.commit() && works)
        error = file.errorString();
}

/// False where it failed; `error` says why unless nobody wants to know.
bool CopyJob::Task::write(QIODevice *device)
{
    bool works = false;
    if (m_request.form == CopyRequest::Form::Json) {
        if (!m_tree.hasBegun()) {
            error = CopyJob::tr("nothing of the structure is known");
            return false;
        }
        JsonWriter writer(*device, JsonWriter::Layout::Indented, JsonWriter::Frames::LeftOut);
        works = replayItem(m_tree, m_request.item, &writer);
    } else {
        works = writeBytes(device);
    }
    if (!works && error.isNull())
        error = device->errorString();
    return works;
}

bool CopyJob::Task::writeBytes(QIODevice *device)
{
    using Form = CopyRequest::Form;
    const std::unique_ptr<ByteSource> source = m_opener ? m_opener(m_path, &error) : openFileSource(m_path, &error);
    if (!source)
        return false;
    error = QString();
    const ByteRange &range = m_request.range;
    if (m_request.form == Form::CArray
        && device->write("const unsigned char data[" + QByteArray::number(range.size) + "] = {\n") < 0)
        return false;
    while (done < range.size) {
        const auto wanted = qint64(std::min<quint64>(range.size - done, piece));
        QByteArray bytes(int(wanted), Qt::Uninitialized);
        qint64 came = 0;
        while (came < wanted) {
            const qint64 more = source->readAt(qint64(range.offset + done) + came, bytes.data() + came, wanted - came);
            if (more <= 0) {
                error = more < 0 ? source->errorText() : CopyJob::tr("the file has become shorter");
                return false;
            }
            came += more;
        }
        const QByteArray text = m_request.form == Form::HexDump ? hexLines(range.offset + done, bytes)
            : m_request.form == Form::CArray                    ? arrayLines(bytes)
            : m_request.form == Form::Base64                    ? bytes.toBase64()
                                                                : bytes;
        if (device->write(text) != qint64(text.size()))
            return false;
        done += quint64(wanted);
    }
    return m_request.form != Form::CArray || device->write("};\n") >= 0;
}

CopyJob::CopyJob(const Document &document, SourceOpener opener, QObject *parent)
    : QObject(parent), m_document(document), m_opener(std::move(opener))
{
}

CopyJob::~CopyJob()
{
    cancel();
}

void CopyJob::start(const CopyRequest &request, const QString &target)
{
    cancel();
    m_target = target;
    m_result = {};
    m_size = 0;
    m_error = QString();
    const bool isOfTree = request.form == CopyRequest::Form::Json;
    m_task = std::make_shared<Task>(this, request, m_document.path(), m_opener, target,
                                    isOfTree ? m_document.tree() : GrowingTree());
    DocumentWork::runDetached([task = m_task] { task->run(); });
}

void CopyJob::cancel()
{
    if (m_task)
        m_task->abandon();
    m_task.reset();
}

/// What an earlier task has to say is not wanted any more; it may be gone.
void CopyJob::take(const Task *task)
{
    if (m_task.get() != task)
        return;
    m_result = std::move(m_task->result);
    m_size = m_task->size;
    m_error = m_task->error;
    m_task.reset();
    Q_EMIT finished();
}

int CopyJob::progress() const
{
    if (!m_task)
        return 100;
    const quint64 wanted = m_task->wanted();
    return wanted == 0 ? 0 : int(double(m_task->done) / double(wanted) * 100);
}

QString shellWord(const QString &text)
{
    const bool isPlain = !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar character) {
        return character.isLetterOrNumber() || QStringView(u"/._-+=:,@").contains(character);
    });
    if (isPlain)
        return text;
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

} // namespace quenlofar
