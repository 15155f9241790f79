#pragma once

#include "containerabstract_export.h"
#include "fieldlayout.h"

#include <QByteArray>
#include <QtGlobal>

namespace quenlofar {

class FileDevice;

/// The bytes of a record together with how they are read. It owns them; copies share them.
class StoredRecord : public RecordView
{
public:
    /// A record of no bytes.
    StoredRecord() : RecordView(nullptr, 0) { }
    /// A record of these bytes.
    explicit StoredRecord(const QByteArray &bytes, ByteOrder order = ByteOrder::LittleEndian)
        : RecordView(bytes, order), m_bytes(bytes)
    {
    }

    /// The bytes themselves.
    const QByteArray &bytes() const { return m_bytes; }

private:
    QByteArray m_bytes; // what the view looks at: sharing never moves it
};

/**
 * A stretch of the input that is read from its beginning to its end. What is read is taken off, nothing is read beyond
 * the end of the stretch or of the file, and sums of offsets and sizes never wrap, whatever the file says. Numbers are
 * read in one byte order. A cursor is cheap to copy; the device outlives it.
 */
class CONTAINERABSTRACT_EXPORT InputCursor
{
public:
    /// The bytes from `begin` up to `end` of `file`, of which those that the file has count.
    InputCursor(FileDevice &file, quint64 begin, quint64 end, ByteOrder order = ByteOrder::LittleEndian);

    /// Where the next byte is, from the start of the file.
    quint64 position() const { return m_position; }
    /// Behind the last byte, from the start of the file.
    quint64 end() const { return m_end; }
    /// Bytes that are left.
    quint64 bytesLeft() const { return m_end - m_position; }
    /// No byte is left.
    bool atEnd() const { return m_position == m_end; }
    /// Which byte of a number comes first.
    ByteOrder byteOrder() const { return m_order; }

    /// Takes off `count` bytes, fewer where fewer are left, and says how many.
    quint64 skip(quint64 count);
    /// Takes off `count` bytes, fewer where fewer are left. A count that the file gives needs a bound first.
    QByteArray read(quint64 count);
    /// Looks at `count` bytes, and leaves them where they are.
    QByteArray peek(quint64 count) const;
    /// Takes off a record of `size` bytes; those that are missing read as zero, and its size() says so.
    StoredRecord record(quint64 size) { return StoredRecord(read(size), m_order); }
    /// Takes off a number; bytes that are missing read as zero.
    template <typename Number> Number number() { return record(sizeof(Number)).template read<Number>(0); }
    /// The next `size` bytes, fewer where fewer are left, as a stretch of their own; they are taken off this one.
    InputCursor part(quint64 size);

private:
    FileDevice *m_file;
    quint64 m_position;
    quint64 m_end;
    ByteOrder m_order;
};

} // namespace quenlofar
