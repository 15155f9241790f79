#include "copyjob.h"

#include "bytesource.h"
#include "document.h"
#include "filepath.h"
#include "jsonwriter.h"
#include "treereplay.h"

#include <QBuffer>
#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <atomic>
#include <limits>
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

/// The work of one job, in another thread.
class CopyJob::Task
{
public:
    Task(const CopyRequest &request, QString path, SourceOpener opener, QString target)
        : m_request(request), m_path(std::move(path)), m_opener(std::move(opener)), m_target(std::move(target))
    {
    }

    /// `tree` is the structure of the file, where it is asked for.
    void copy(const GrowingTree &tree, const std::atomic<bool> &isCancelled);

    QByteArray result; // these are read when the thread has said that it is over
    qint64 size = 0;
    QString error;
    std::atomic<quint64> done{0}; // bytes of the range

    quint64 wanted() const { return m_request.range.size; }

private:
    bool write(QIODevice *device, const GrowingTree &tree);
    bool writeBytes(QIODevice *device);

    const CopyRequest m_request;
    const QString m_path;
    const SourceOpener m_opener;
    const QString m_target;
};

void CopyJob::Task::copy(const GrowingTree &tree, const std::atomic<bool> &isCancelled)
{
    if (m_target.isEmpty()) {
        QBuffer buffer(&result);
        buffer.open(QIODevice::WriteOnly);
        GuardedDevice device(buffer, mostBytes, isCancelled);
        const bool works = write(&device, tree);
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
    GuardedDevice device(file, std::numeric_limits<qint64>::max(), isCancelled);
    const bool works = write(&device, tree);
    size = device.written();
    if (!works)
        file.cancelWriting();
    if (!file.commit() && works)
        error = file.errorString();
}

/// False where it failed; `error` says why unless nobody wants to know.
bool CopyJob::Task::write(QIODevice *device, const GrowingTree &tree)
{
    bool works = false;
    if (m_request.form == CopyRequest::Form::Json) {
        if (!tree.hasBegun()) {
            error = CopyJob::tr("nothing of the structure is known");
            return false;
        }
        JsonWriter writer(*device, JsonWriter::Layout::Indented, JsonWriter::Frames::LeftOut);
        works = replayItem(tree, m_request.item, &writer);
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

void CopyJob::start(const CopyRequest &request, const QString &target)
{
    cancel();
    m_target = target;
    m_result = {};
    m_size = 0;
    m_error = QString();
    const auto task = std::make_shared<Task>(request, m_document.path(), m_opener, target);
    m_task = task;
    const auto deliver = [this, task](const QString &error) {
        m_result = std::move(task->result);
        m_size = task->size;
        m_error = error;
        Q_EMIT finished();
    };
    // What the tree keeps alive goes in the other thread.
    const bool isOfTree = request.form == CopyRequest::Form::Json;
    m_copying.start(
        [task, deliver, tree = isOfTree ? m_document.tree() : GrowingTree()](const std::atomic<bool> &isCancelled) {
            task->copy(tree, isCancelled);
            return Errand::Delivery([task, deliver] { deliver(task->error); });
        },
        [task, deliver] {
            task->result = {};
            deliver(tr("memory ran out"));
        });
}

void CopyJob::cancel()
{
    m_copying.cancel();
}

int CopyJob::progress() const
{
    if (!isRunning())
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
