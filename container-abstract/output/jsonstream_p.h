#pragma once

// What the framework prints JSON through; its printers alone include it.

#include "digits.h"
#include "displaytext.h"
#include "jsonlayout.h"
#include "outputbuffer.h"

#include <QStringView>

#include <cstring>

namespace quenlofar {

/**
 * Prints JSON into a buffer in front of a device: knows of commas, line breaks and escapes, not of what belongs where.
 * An object's member is a key and then its value. It allocates nothing, however deep objects and arrays nest.
 */
class JsonStream
{
public:
    /// `device` is open for writing and outlives the stream.
    JsonStream(QIODevice &device, JsonLayout layout)
        : m_output(device), m_isIndented(layout == JsonLayout::Indented) { }

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    void beginArray() { begin('['); }
    void endArray() { end(']'); }

    void key(QStringView name);
    /// A literal in ASCII, in which nothing has to be escaped.
    template <size_t Size> void key(const char (&name)[Size]) { m_output.commit(putKey(start(keyRoom(Size)), name)); }
    void text(QStringView value);
    /// A text of two hexadecimal digits a byte, however many there are.
    void hexDigits(std::string_view bytes);
    void number(quint64 value) { m_output.commit(writeDecimal(value, start(mostDecimalDigits))); }
    void signedNumber(qint64 value);
    /// The shortest text that reads back as the same number; null when it is infinite or not a number.
    void real(double value);
    void boolean(bool value) { literal(value ? "true" : "false"); }
    void null() { literal("null"); }

    // A key and its value in one go.
    template <size_t Size> void member(const char (&name)[Size], quint64 value)
    {
        char *const digits = putKey(start(keyRoom(Size) + mostDecimalDigits), name);
        m_output.commit(writeDecimal(value, digits));
        m_place = Place::Next;
    }
    template <size_t Size> void member(const char (&name)[Size], QStringView value)
    {
        char *const quote = putKey(start(keyRoom(Size) + shortTextRoom), name);
        putText(quote, value);
    }

    /// Ends a document with a line feed and hands everything to the device; false when that failed, now or before.
    bool finish();
    /// Forgets what is open.
    void restart()
    {
        m_depth = 0;
        m_place = Place::First;
    }
    bool failed() const { return m_output.failed(); }
    /// Why writing failed, in words for the user; null before that.
    const QString &errorText() const { return m_output.errorText(); }

private:
    /// What comes next: the first in its array or object, one behind another, or the value of a key.
    enum class Place : quint8 { First, Next, Value };

    static constexpr std::ptrdiff_t shortText = 64; // units of UTF-16
    static constexpr std::ptrdiff_t shortTextRoom = shortText + 2;
    /// Bytes of a key whose literal has `size` with its zero byte: quotes, colon and blank.
    static constexpr std::ptrdiff_t keyRoom(size_t size) { return std::ptrdiff_t(size) + 3; }

    void begin(char bracket)
    {
        char *const out = start(1);
        *out = bracket;
        m_output.commit(out + 1);
        ++m_depth;
        m_place = Place::First;
    }
    void end(char bracket);
    void literal(std::string_view value);

    /// Where a key or a value of at most `size` bytes goes, behind what belongs in front of it.
    char *start(std::ptrdiff_t size)
    {
        if (Q_UNLIKELY(m_isIndented))
            startLine();
        char *out = m_output.reserve(size + 1);
        if (m_place == Place::Next)
            *out++ = ',';
        m_place = Place::Next;
        return out;
    }
    void startLine();
    void breakLine();
    /// Writes a key at `out`, where there is room; returns where its value goes.
    template <size_t Size> char *putKey(char *out, const char (&name)[Size])
    {
        *out++ = '"';
        std::memcpy(out, name, Size - 1);
        out += Size - 1;
        *out++ = '"';
        *out++ = ':';
        if (Q_UNLIKELY(m_isIndented))
            *out++ = ' ';
        m_place = Place::Value;
        return out;
    }
    /// Writes a text in quotes at `out`, where there is room for a short one.
    void putText(char *out, QStringView text)
    {
        const char16_t *at = text.utf16();
        const char16_t *const end = at + text.size();
        *out++ = '"';
        if (Q_LIKELY(text.size() <= shortText)) {
            while (at != end && *at < 0x7F && !needsEscape<EscapeForm::Json>(*at))
                *out++ = char(*at++);
        }
        m_output.commit(out);
        if (Q_UNLIKELY(at != end))
            putRest(at, end);
        m_output.put('"');
        m_place = Place::Next;
    }
    void putRest(const char16_t *at, const char16_t *end);

    OutputBuffer m_output;
    const bool m_isIndented;
    Place m_place = Place::First;
    quint64 m_depth = 0; // open objects and arrays
};

} // namespace quenlofar
