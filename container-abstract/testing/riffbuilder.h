#pragma once

#include <QByteArray>
#include <QtEndian>

#include <initializer_list>

namespace quenlofar {

/// Builds the bytes of RIFF files, and of others that are made of chunks and records, for tests. Everything converts to
/// QByteArray, so parts nest and join with "+".
namespace build {

/// `number` in little-endian order; its type says how many bytes.
template <typename Number> QByteArray le(Number number)
{
    QByteArray bytes(int(sizeof number), '\0');
    qToLittleEndian<Number>(number, bytes.data());
    return bytes;
}
/// One byte.
inline QByteArray u8(quint8 number)
{
    return le(number);
}
/// Two bytes, the lowest first.
inline QByteArray u16(quint16 number)
{
    return le(number);
}
/// Four bytes, the lowest first.
inline QByteArray u32(quint32 number)
{
    return le(number);
}
/// Eight bytes, the lowest first.
inline QByteArray u64(quint64 number)
{
    return le(number);
}
/// `number` in big-endian order; its type says how many bytes.
template <typename Number> QByteArray be(Number number)
{
    QByteArray bytes(int(sizeof number), '\0');
    qToBigEndian<Number>(number, bytes.data());
    return bytes;
}
/// `count` zero bytes.
inline QByteArray zeros(int count)
{
    return QByteArray(count, '\0');
}

/// A chunk or list. Its data is followed by a zero byte where it is odd, whatever size is declared.
class Chunk
{
public:
    /// `id` has four characters; the declared size is that of `data` until declaredSize() says another.
    Chunk(const char *id, const QByteArray &data) : m_id(id, 4), m_data(data), m_size(quint32(data.size())) { }

    /// Writes `size` where the number of data bytes belongs.
    Chunk &declaredSize(quint32 size)
    {
        m_size = size;
        return *this;
    }
    /// Header, data and padding, as they stand in a file.
    QByteArray bytes() const { return m_id + u32(m_size) + m_data + zeros(int(m_data.size() % 2)); }
    /// The bytes, so that a chunk can be the data of another.
    operator QByteArray() const { return bytes(); }

private:
    QByteArray m_id;
    QByteArray m_data;
    quint32 m_size;
};
/// One behind the other.
inline QByteArray operator+(const Chunk &left, const Chunk &right)
{
    return left.bytes() + right.bytes();
}
/// One behind the other.
inline QByteArray operator+(const QByteArray &left, const Chunk &right)
{
    return left + right.bytes();
}
/// One behind the other.
inline QByteArray operator+(const Chunk &left, const QByteArray &right)
{
    return left.bytes() + right;
}

/// A chunk of four characters `id` and its data.
inline Chunk chunk(const char *id, const QByteArray &data)
{
    return Chunk(id, data);
}

/// A list of form type `form`; `id` is "LIST" or "RIFF".
inline Chunk list(const char *form, std::initializer_list<QByteArray> children, const char *id = "LIST")
{
    QByteArray data(form, 4);
    for (const QByteArray &child : children)
        data += child;
    return Chunk(id, data);
}

/// The bytes of a fixed record. `Derived` names what stands where; all that is not set is zero.
template <typename Derived> class Record
{
public:
    /// `size` zero bytes.
    explicit Record(int size) : m_bytes(zeros(size)) { }

    /// The record as it stands in a file.
    const QByteArray &bytes() const { return m_bytes; }
    /// The bytes, so that a record can be the data of a chunk.
    operator QByteArray() const { return m_bytes; }

    /// Overwrites the bytes from `at` on; makes the record longer where they do not fit.
    Derived &put(int at, const QByteArray &bytes)
    {
        if (m_bytes.size() < at + bytes.size())
            m_bytes.append(zeros(at + int(bytes.size()) - int(m_bytes.size())));
        m_bytes.replace(at, int(bytes.size()), bytes);
        return static_cast<Derived &>(*this);
    }
    /// Cuts the record off after `size` bytes, or fills it with zeros up to there.
    Derived &resize(int size)
    {
        m_bytes = m_bytes.leftJustified(size, '\0', true);
        return static_cast<Derived &>(*this);
    }

private:
    QByteArray m_bytes;
};

} // namespace build

} // namespace quenlofar
