#pragma once

#include "byterange.h"
#include "containerrun.h"
#include "errand.h"
#include "growingtree.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>

namespace quenlofar {

class Document;

/// Bytes of a file, or items of its structure, in a form that other programs take.
struct CopyRequest
{
    /// What comes out.
    enum class Form {
        HexDump, ///< offsets, bytes and characters, 16 bytes in a line
        CArray, ///< an array for C and C++
        Base64, ///< in one line
        Raw, ///< the bytes as they are
        Json, ///< the item with everything in it, as `quenlofar tree --format json` writes a document
    };
    Form form = Form::HexDump; ///< see Form
    ByteRange range; ///< the bytes, but for Json
    TreeItem item = GrowingTree::root(); ///< for Json; the root stands for the whole document
};

/**
 * Copies a part of a document to memory or to a file, in a thread that nobody waits for. Lives in the window's thread.
 * A file appears when it is complete.
 */
class CopyJob : public QObject
{
    Q_OBJECT

public:
    /// More bytes do not go to memory, and from there to a clipboard: 64 MiB.
    static constexpr qint64 mostBytes = qint64(64) << 20;

    /// Of `document`, which outlives the object and is read through `opener`, or from the disk where there is none.
    CopyJob(const Document &document, SourceOpener opener, QObject *parent = nullptr);

    /// Copies to the file `target`, or to memory where it is empty; ends what is being copied.
    void start(const CopyRequest &request, const QString &target);
    void cancel(); ///< ends it; finished() does not come, and no file is left

    bool isRunning() const { return m_copying.isRunning(); } ///< it goes on
    int progress() const; ///< of the bytes, in percent
    const QString &target() const { return m_target; } ///< of the latest; empty for memory
    const QByteArray &result() const { return m_result; } ///< what was copied to memory
    qint64 size() const { return m_size; } ///< bytes that were written
    const QString &error() const { return m_error; } ///< why it failed; null where it did not

Q_SIGNALS:
    void finished(); ///< it is over: see error(), result() and size()

private:
    class Task;

    const Document &m_document;
    const SourceOpener m_opener;
    Errand m_copying;
    std::shared_ptr<const Task> m_task; // the latest
    QString m_target;
    QByteArray m_result;
    qint64 m_size = 0;
    QString m_error;
};

/// `text` as one word of a shell's command line.
QString shellWord(const QString &text);

} // namespace quenlofar
