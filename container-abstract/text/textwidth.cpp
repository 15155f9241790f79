#include "textwidth.h"

#include "displaytext.h"

#include <QChar>

#include <algorithm>
#include <cwchar>

#include <locale.h>
#ifdef __APPLE__
#include <xlocale.h>
#endif

namespace quenlofar {

namespace {

/// The C library's locale that knows the widths of all of Unicode; null where it has none. Never freed: threads may
/// still measure texts while the program ends.
locale_t unicodeLocale()
{
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

/// Asks the C library for the columns of characters. From the first one that needs it the calling thread has the
/// Unicode locale, and its own again when the object goes; the locale of the program plays no part.
class WidthQuery
{
public:
    WidthQuery() = default;
    ~WidthQuery()
    {
        if (m_callers)
            uselocale(m_callers);
    }
    WidthQuery(const WidthQuery &) = delete;
    WidthQuery &operator=(const WidthQuery &) = delete;

    int columnsOf(char32_t character)
    {
        static_assert(sizeof(wchar_t) == sizeof(char32_t), "wcwidth takes whole code points");
        constexpr char32_t firstBeyondAscii = 0x80;
        if (character < firstBeyondAscii)
            return 1;
        if (!m_callers) {
            const locale_t locale = unicodeLocale();
            if (!locale)
                return 1;
            m_callers = uselocale(locale);
        }
        return std::max(wcwidth(wchar_t(character)), 0); // -1: not printable
    }

private:
    locale_t m_callers = nullptr;
};

} // namespace

TextPiece fittingPiece(QStringView text, int mostColumns, TextForm form)
{
    TextPiece piece;
    WidthQuery query;
    const auto size = int(text.size());
    while (piece.units < size) {
        const QChar unit = text[piece.units];
        const bool isPair = unit.isHighSurrogate() && piece.units + 1 < size && text[piece.units + 1].isLowSurrogate();
        int columns = 0;
        if (form == TextForm::Escaped && needsEscape(unit.unicode()))
            columns = int(CharacterEscape(unit.unicode()).text().size());
        else if (isPair)
            columns = query.columnsOf(QChar::surrogateToUcs4(unit, text[piece.units + 1]));
        else
            columns = unit.isSurrogate() ? 1 : query.columnsOf(unit.unicode()); // a single one is shown as U+FFFD
        if (columns > mostColumns - piece.columns)
            break;
        piece.columns += columns;
        piece.units += isPair ? 2 : 1;
    }
    return piece;
}

} // namespace quenlofar
