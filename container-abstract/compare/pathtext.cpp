#include "pathtext.h"

namespace {

bool isControl(char16_t unit)
{
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F);
}

bool needsEscape(char16_t unit)
{
    return unit == u'/' || unit == u'[' || unit == u']' || unit == u'%' || isControl(unit);
}

void appendByte(std::u16string *text, unsigned byte)
{
    constexpr char16_t digits[] = u"0123456789ABCDEF";
    *text += {u'%', digits[byte >> 4], digits[byte & 0xF]};
}

/// Appends the UTF-8 bytes of a character that needs to be escaped: one or two.
void appendEscaped(std::u16string *text, char16_t unit)
{
    if (unit >= 0x80)
        appendByte(text, 0xC0U | unit >> 6);
    appendByte(text, unit < 0x80 ? unit : 0x80U | (unit & 0x3FU));
}

void appendName(std::u16string *text, QStringView name)
{
    const char16_t *const end = name.utf16() + name.size();
    const char16_t *plain = name.utf16();
    for (const char16_t *at = plain; at != end; ++at) {
        if (!needsEscape(*at))
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
    const size_t end = m_text.size();
    try {
        if (!m_ends.empty())
            m_text += u'/';
        appendName(&m_text, name);
        if (number > 0)
            appendNumber(&m_text, number);
        m_ends.push_back(m_text.size());
    } catch (...) {
        m_text.resize(end);
        throw;
    }
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
