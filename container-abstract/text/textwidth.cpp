#include "textwidth.h"

#include "displaytext.h"

#include <QChar>

#include <algorithm>
#include <iterator>

namespace quenlofar {

namespace {

struct CharacterRange
{
    char32_t first;
    char32_t last;
};

// What is wide (W) or fullwidth (F) in EastAsianWidth.txt of Unicode 15; what is not assigned in between counts too.
constexpr CharacterRange wideCharacters[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x23F0, 0x23F0},
    {0x23F3, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267F, 0x267F},
    {0x2693, 0x2693},   {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
    {0x26CE, 0x26CE},   {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},
    {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x274E, 0x274E},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
    {0x27B0, 0x27B0},   {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},
    {0x2E80, 0x303E},   {0x3040, 0x3247},   {0x3250, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE1F},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x16FE0, 0x1B2FF}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E},
    {0x1F191, 0x1F19A}, {0x1F200, 0x1F320}, {0x1F32D, 0x1F335}, {0x1F337, 0x1F37C}, {0x1F37E, 0x1F393},
    {0x1F3A0, 0x1F3CA}, {0x1F3CF, 0x1F3D3}, {0x1F3E0, 0x1F3F0}, {0x1F3F4, 0x1F3F4}, {0x1F3F8, 0x1F43E},
    {0x1F440, 0x1F440}, {0x1F442, 0x1F4FC}, {0x1F4FF, 0x1F53D}, {0x1F54B, 0x1F54E}, {0x1F550, 0x1F567},
    {0x1F57A, 0x1F57A}, {0x1F595, 0x1F596}, {0x1F5A4, 0x1F5A4}, {0x1F5FB, 0x1F64F}, {0x1F680, 0x1F6C5},
    {0x1F6CC, 0x1F6CC}, {0x1F6D0, 0x1F6D2}, {0x1F6D5, 0x1F6DF}, {0x1F6EB, 0x1F6EF}, {0x1F6F4, 0x1F6FF},
    {0x1F7E0, 0x1F7FF}, {0x1F90C, 0x1F93A}, {0x1F93C, 0x1F945}, {0x1F947, 0x1F9FF}, {0x1FA70, 0x1FAFF},
    {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD},
};

bool takesNoColumn(char32_t character)
{
    constexpr char32_t softHyphen = 0xAD; // shown as a hyphen
    constexpr CharacterRange joinedJamo = {0x1160, 0x11FF}; // drawn into the syllable that a wide one begins
    if (character >= joinedJamo.first && character <= joinedJamo.last)
        return true;
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
        return true;
    case QChar::Other_Format:
        return character != softHyphen;
    default:
        return false;
    }
}

int columnsOf(char32_t character)
{
    constexpr char32_t firstMark = 0x300;
    if (character < firstMark)
        return 1;
    if (takesNoColumn(character))
        return 0;
    const auto range = std::lower_bound(std::begin(wideCharacters), std::end(wideCharacters), character,
                                        [](const CharacterRange &each, char32_t value) { return each.last < value; });
    return range != std::end(wideCharacters) && character >= range->first ? 2 : 1;
}

} // namespace

TextPiece fittingPiece(QStringView text, int mostColumns, TextForm form)
{
    TextPiece piece;
    const auto size = int(text.size());
    while (piece.units < size) {
        const QChar unit = text[piece.units];
        const bool isPair = unit.isHighSurrogate() && piece.units + 1 < size && text[piece.units + 1].isLowSurrogate();
        int columns = 0;
        if (form == TextForm::Escaped && needsEscape(unit.unicode()))
            columns = int(CharacterEscape(unit.unicode()).text().size());
        else if (isPair)
            columns = columnsOf(QChar::surrogateToUcs4(unit, text[piece.units + 1]));
        else
            columns = unit.isSurrogate() ? 1 : columnsOf(unit.unicode()); // a single one is shown as U+FFFD
        if (columns > mostColumns - piece.columns)
            break;
        piece.columns += columns;
        piece.units += isPair ? 2 : 1;
    }
    return piece;
}

} // namespace quenlofar
