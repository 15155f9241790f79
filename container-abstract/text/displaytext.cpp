#include "displaytext.h"

CharacterEscape::CharacterEscape(char16_t unit) : m_text{'\\'}, m_size(2)
{
    switch (unit) {
    case u'\\':
        m_text[1] = '\\';
        return;
    case u'\n':
        m_text[1] = 'n';
        return;
    case u'\r':
        m_text[1] = 'r';
        return;
    case u'\t':
        m_text[1] = 't';
        return;
    default:
        m_text[1] = unit < 0x100 ? 'x' : 'u';
        for (int shift = unit < 0x100 ? 4 : 12; shift >= 0; shift -= 4)
            m_text[m_size++] = "0123456789ABCDEF"[unit >> shift & 0xF];
    }
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
