#include "textencoding.h"

#include "decodetext.h"
#include "displaytext.h"

#include <algorithm>
#include <iterator>

namespace quenlofar {

namespace {

// The characters from 0x80 on, sixteen to a line. U+FFFD stands for a byte that has none.

// Source: the mapping tables of the Unicode Consortium, CP437.TXT, ROMAN.TXT and CP1252.TXT.
// clang-format off
constexpr char16_t codePage437[] =
    u"ÇüéâäàåçêëèïîìÄÅ"
    u"ÉæÆôöòûùÿÖÜ¢£¥₧ƒ"
    u"áíóúñÑªº¿⌐¬½¼¡«»"
    u"░▒▓│┤╡╢╖╕╣║╗╝╜╛┐"
    u"└┴┬├─┼╞╟╚╔╩╦╠═╬╧"
    u"╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀"
    u"αßΓπΣσµτΦΘΩδ∞φε∩"
    u"≡±≥≤⌠⌡÷≈°∙·√ⁿ²■\u00A0";

constexpr char16_t macRoman[] =
    u"ÄÅÇÉÑÖÜáàâäãåçéè"
    u"êëíìîïñóòôöõúùûü"
    u"†°¢£§•¶ß®©™´¨≠ÆØ"
    u"∞±≤≥¥µ∂∑∏π∫ªºΩæø"
    u"¿¡¬√ƒ≈∆«»…\u00A0ÀÃÕŒœ"
    u"–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ"
    u"‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ"
    u"\uF8FFÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";

constexpr char16_t windows1252[] =
    u"€\uFFFD‚ƒ„…†‡ˆ‰Š‹Œ\uFFFDŽ\uFFFD"
    u"\uFFFD‘’“”•–—˜™š›œ\uFFFDžŸ";
// clang-format on
static_assert(std::size(codePage437) == 128 + 1 && std::size(macRoman) == 128 + 1 && std::size(windows1252) == 32 + 1);

/// One character for each byte: ASCII below 0x80, then those of `table`, then Latin-1.
QString singleBytes(const QByteArray &bytes, const char16_t *table, int count)
{
    QString text(bytes.size(), Qt::Uninitialized);
    std::transform(bytes.begin(), bytes.end(), text.begin(), [table, count](char byte) {
        const int code = static_cast<uchar>(byte);
        return QChar(code >= 0x80 && code < 0x80 + count ? table[code - 0x80] : char16_t(code));
    });
    return text;
}

/// Two bytes for each code unit; the last byte of an odd number is dropped.
QString doubleBytes(const QByteArray &bytes, int highByte)
{
    QString text(bytes.size() / 2, Qt::Uninitialized);
    for (int at = 0; at < int(text.size()); ++at) {
        const auto high = static_cast<uchar>(bytes.at(2 * at + highByte));
        const auto low = static_cast<uchar>(bytes.at(2 * at + 1 - highByte));
        text[at] = QChar(char16_t(high << 8 | low));
    }
    return text;
}

QString decode(const QByteArray &bytes, TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::Guessed:
    case TextEncoding::Latin1:
        break;
    case TextEncoding::Utf8:
        return QString::fromUtf8(bytes);
    case TextEncoding::Utf16LittleEndian:
        return doubleBytes(bytes, 1);
    case TextEncoding::Utf16BigEndian:
        return doubleBytes(bytes, 0);
    case TextEncoding::Windows1252:
        return singleBytes(bytes, windows1252, 32);
    case TextEncoding::MacRoman:
        return singleBytes(bytes, macRoman, 128);
    case TextEncoding::CodePage437:
        return singleBytes(bytes, codePage437, 128);
    }
    return QString::fromLatin1(bytes);
}

} // namespace

QString decodedText(const QByteArray &bytes, TextEncoding encoding)
{
    if (encoding == TextEncoding::Guessed)
        return bytesToText(bytes);
    QString text = decode(bytes, encoding);
    while (text.endsWith(QChar(u'\0')))
        text.chop(1);
    for (QChar &character : text) {
        if (isControl(character.unicode()))
            character = QLatin1Char('.');
    }
    return text;
}

} // namespace quenlofar
