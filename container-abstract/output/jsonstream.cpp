#include "jsonstream_p.h"

#include <charconv>
#include <cmath>

namespace quenlofar {

void JsonStream::key(QStringView name)
{
    text(name);
    m_output.append(m_isIndented ? ": " : ":");
    m_place = Place::Value;
}

void JsonStream::text(QStringView value)
{
    putText(start(shortTextRoom), value);
}

void JsonStream::hexDigits(std::string_view bytes)
{
    constexpr size_t pieceSize = 4096;
    constexpr std::string_view digits = "0123456789abcdef";
    char *const quote = start(1);
    *quote = '"';
    m_output.commit(quote + 1);
    for (size_t at = 0; at < bytes.size(); at += pieceSize) {
        const std::string_view piece = bytes.substr(at, pieceSize);
        char *out = m_output.reserve(std::ptrdiff_t(2 * piece.size()));
        for (const char each : piece) {
            *out++ = digits[quint8(each) >> 4];
            *out++ = digits[quint8(each) & 0xF];
        }
        m_output.commit(out);
    }
    m_output.put('"');
}

void JsonStream::signedNumber(qint64 value)
{
    char *out = start(1 + mostDecimalDigits);
    if (value < 0)
        *out++ = '-';
    // Negated as unsigned: the smallest number has no positive counterpart.
    m_output.commit(writeDecimal(value < 0 ? 0 - quint64(value) : quint64(value), out));
}

void JsonStream::real(double value)
{
    if (!std::isfinite(value)) {
        null();
        return;
    }
    constexpr std::ptrdiff_t mostCharacters = 32;
    char *const out = start(mostCharacters);
    m_output.commit(std::to_chars(out, out + mostCharacters, value).ptr);
}

bool JsonStream::finish()
{
    m_output.put('\n');
    restart();
    return m_output.flush();
}

void JsonStream::end(char bracket)
{
    --m_depth;
    if (m_isIndented && m_place != Place::First)
        breakLine();
    m_output.put(bracket);
    m_place = Place::Next;
}

void JsonStream::literal(std::string_view value)
{
    char *const out = start(std::ptrdiff_t(value.size()));
    std::memcpy(out, value.data(), value.size());
    m_output.commit(out + value.size());
}

/// Begins a new line, unless what comes next is the value of a key or the document itself.
void JsonStream::startLine()
{
    if (m_place == Place::Value || m_depth == 0)
        return;
    if (m_place == Place::Next)
        m_output.put(',');
    breakLine();
    m_place = Place::First;
}

void JsonStream::breakLine()
{
    constexpr std::ptrdiff_t indentation = 2;
    m_output.put('\n');
    m_output.fill(' ', indentation * std::ptrdiff_t(m_depth));
}

void JsonStream::putRest(const char16_t *at, const char16_t *end)
{
    while ((at = m_output.appendUntil(at, end, needsEscape<EscapeForm::Json>)) != end)
        m_output.append(CharacterEscape(*at++, EscapeForm::Json).text());
}

} // namespace quenlofar
