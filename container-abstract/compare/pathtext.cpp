#include "pathtext.h"

#include "digits.h"
#include "displaytext.h"
#include "utf8_p.h"

namespace quenlofar {

namespace {

bool isReserved(char16_t unit)
{
    return unit == u'/' || unit == u'[' || unit == u']' || unit == u'%' || isControl(unit);
}

/// Appends the UTF-8 bytes of a character that must not stand in a name.
void appendEscaped(std::u16string *text, char16_t unit)
{
    char bytes[4];
    const char *const end = encodeUtf8(unit, bytes);
    for (const char *at = bytes; at != end; ++at) {
        const auto byte = uchar(*at);
        *text += {u'%', char16_t(upperHexDigit(byte >> 4U)), char16_t(upperHexDigit(byte))};
    }
}

void appendName(std::u16string *text, QStringView name)
{
    const char16_t *const end = name.utf16() + name.size();
    const char16_t *plain = name.utf16();
    for (const char16_t *at = plain; at != end; ++at) {
        if (!isReserved(*at))
            continue;
        text->append(plain, at);
        appendEscaped(text, *at);
        plain = at + 1;
    }
    text->append(plain, end);
}

void appendNumber(std::u16string *text, quint64 number)
{
    const std::string digits = std::to_string(number);
    *text += u'[';
    text->append(digits.begin(), digits.end());
    *text += u']';
}

} // namespace

void PathText::push(QStringView name, quint64 number)
{
    if (!m_ends.empty())
        m_text += u'/';
    appendName(&m_text, name);
    if (number > 0)
        appendNumber(&m_text, number);
    m_ends.push_back(m_text.size());
}

void PathText::truncate(size_t components) noexcept
{
    if (components >= m_ends.size())
        return;
    m_ends.resize(components);
    m_text.resize(components == 0 ? 0 : m_ends.back());
}

QStringView PathText::text() const
{
    return m_ends.empty() ? QStringView() : QStringView(m_text.data(), qsizetype(m_text.size()));
}

} // namespace quenlofar
