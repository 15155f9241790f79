#include "displaytext.h"

#include "digits.h"

namespace quenlofar {

namespace {

/// The letter that stands for `unit` behind a backslash; 0 where none does.
char letterFor(char16_t unit, EscapeForm form)
{
    switch (unit) {
    case u'\\':
        return '\\';
    case u'\n':
        return 'n';
    case u'\r':
        return 'r';
    case u'\t':
        return 't';
    default:
        break;
    }
    if (form == EscapeForm::Display)
        return 0;
    return unit == u'"' ? '"' : unit == u'\b' ? 'b' : unit == u'\f' ? 'f' : char(0);
}

} // namespace

CharacterEscape::CharacterEscape(char16_t unit, EscapeForm form) : m_text{'\\'}, m_size(2)
{
    m_text[1] = letterFor(unit, form);
    if (m_text[1] != 0)
        return;
    const bool isShort = form == EscapeForm::Display && unit < 0x100;
    m_text[1] = isShort ? 'x' : 'u';
    for (int shift = isShort ? 4 : 12; shift >= 0; shift -= 4)
        m_text[m_size++] = upperHexDigit(unit >> shift);
}

QString displayText(QStringView text)
{
    QString shown;
    shown.reserve(int(text.size()));
    for (const QChar character : text) {
        if (needsEscape(character.unicode())) {
            const CharacterEscape escape(character.unicode());
            shown += QLatin1String(escape.text().data(), int(escape.text().size()));
        } else {
            shown += character;
        }
    }
    return shown;
}

} // namespace quenlofar
