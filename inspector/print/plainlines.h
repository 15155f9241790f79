#pragma once

#include "digits.h"

#include <QIODevice>
#include <QString>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace quenlofar {

/// Lines of ASCII and UTF-8 on their way to a device, for tables of millions of rows: nothing is allocated for one. The
/// first failure is remembered; what comes then is dropped.
class PlainLines
{
public:
    /// `device` is open for writing and outlives the object.
    explicit PlainLines(QIODevice &device) : m_device(device) { }
    PlainLines(const PlainLines &) = delete;
    PlainLines &operator=(const PlainLines &) = delete;

    PlainLines &operator<<(std::string_view text)
    {
        if (Q_UNLIKELY(text.size() > room())) {
            flush();
            if (text.size() > m_bytes.size()) {
                write(text.data(), text.size());
                return *this;
            }
        }
        m_end = std::copy(text.begin(), text.end(), m_end);
        return *this;
    }
    PlainLines &operator<<(char character)
    {
        reserve(1);
        *m_end++ = character;
        return *this;
    }
    PlainLines &operator<<(quint64 number)
    {
        reserve(size_t(mostDecimalDigits));
        m_end = writeDecimal(number, m_end);
        return *this;
    }
    /// The shortest text that reads back as the same number; `number` is finite.
    PlainLines &operator<<(double number)
    {
        constexpr size_t mostCharacters = 32;
        reserve(mostCharacters);
        m_end = std::to_chars(m_end, m_end + mostCharacters, number).ptr;
        return *this;
    }

    /// Hands everything to the device; false when that failed, now or before.
    bool flush()
    {
        write(m_bytes.data(), size_t(m_end - m_bytes.data()));
        m_end = m_bytes.data();
        return works();
    }
    bool works() const { return m_errorText.isNull(); }
    /// Why writing failed; null before that.
    const QString &errorText() const { return m_errorText; }

private:
    size_t room() const { return size_t(m_bytes.data() + m_bytes.size() - m_end); }
    void reserve(size_t size)
    {
        if (Q_UNLIKELY(room() < size))
            flush();
    }
    void write(const char *data, size_t size)
    {
        if (works() && size > 0 && m_device.write(data, qint64(size)) != qint64(size))
            m_errorText = m_device.errorString();
    }

    QIODevice &m_device;
    QString m_errorText;
    std::array<char, 1 << 16> m_bytes; // not initialised
    char *m_end = m_bytes.data();
};

} // namespace quenlofar
