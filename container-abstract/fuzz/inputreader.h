#pragma once

#include <QByteArray>
#include <QString>
#include <QtEndian>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quenlofar {

/// Takes numbers and texts off the front of a fuzzer's input, one after the other; zeros once it has ended.
class InputReader
{
public:
    InputReader(const std::uint8_t *data, std::size_t size) : m_at(reinterpret_cast<const char *>(data)), m_left(size)
    {
    }

    bool atEnd() const { return m_left == 0; }

    template <typename Number> Number take()
    {
        char bytes[sizeof(Number)] = {};
        const std::size_t count = std::min(sizeof bytes, m_left);
        if (count > 0)
            std::memcpy(bytes, m_at, count);
        skip(count);
        return qFromLittleEndian<Number>(bytes);
    }
    /// Any bits: infinities and numbers that are none among them.
    double takeDouble()
    {
        const quint64 bits = take<quint64>();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        return number;
    }
    /// One to nine bytes: small numbers need few.
    quint64 takeNumber()
    {
        switch (take<quint8>() % 4) {
        case 0:
            return take<quint8>();
        case 1:
            return take<quint16>();
        case 2:
            return take<quint32>();
        default:
            return take<quint64>();
        }
    }
    /// Up to 125 characters or, now and then, many thousands. Any 16-bit units: unpaired surrogates among them.
    QString takeText()
    {
        const quint8 kind = take<quint8>();
        const bool isWide = (kind & 1) != 0;
        int length = kind >> 1;
        int repeats = 1;
        if (length > 125) {
            // Longer than any buffer on the way; 31 and 33 make pairs fall across the pieces.
            length = kind & 2 ? 31 : 33;
            repeats = 1100;
        }
        QString text;
        for (int i = 0; i < length && !atEnd(); ++i)
            text += QChar(isWide ? take<quint16>() : quint16(take<quint8>()));
        return text.repeated(repeats);
    }
    /// What is left, in place: valid as long as the input.
    QByteArray takeRest()
    {
        const QByteArray rest = m_left == 0 ? QByteArray("") : QByteArray::fromRawData(m_at, int(m_left));
        skip(m_left);
        return rest;
    }

private:
    void skip(std::size_t count)
    {
        m_at += count;
        m_left -= count;
    }

    const char *m_at;
    std::size_t m_left;
};

} // namespace quenlofar
