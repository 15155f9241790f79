#include "decodetext.h"

#include "displaytext.h"
#include "utf8_p.h"

#include <QChar>

namespace quenlofar {

namespace {

constexpr char32_t byteOrderMark = 0xFEFF;

/// True when the bytes are a lead byte and continuation bytes, but fewer than the lead byte announces.
bool isCutOffSequence(const char *at, const char *end)
{
    if (utf8AnnouncedLength(static_cast<uchar>(*at)) <= end - at)
        return false;
    while (++at < end) {
        if (!isUtf8Continuation(static_cast<uchar>(*at)))
            return false;
    }
    return true;
}

/// Sets `*text` to the bytes as UTF-8; false when they have to be taken as Latin-1.
bool decodeText(const char *begin, const char *end, QString *text)
{
    bool holdsNonAscii = false;
    text->reserve(static_cast<decltype(text->size())>(end - begin));
    for (const char *at = begin; at < end;) {
        const Utf8Sequence sequence = decodeUtf8(at, end - at);
        // One accented letter at the end of ASCII looks like a cut-off sequence: only earlier UTF-8 makes it one.
        if (sequence.length == 0)
            return holdsNonAscii && isCutOffSequence(at, end);
        // U+FFFD says that the text was spoilt before it was written; its bytes tell more.
        if (sequence.codePoint == replacementCharacter)
            return false;
        holdsNonAscii |= sequence.codePoint >= 0x80;
        if (at != begin || sequence.codePoint != byteOrderMark)
            appendCodePoint(text, sequence.codePoint);
        at += sequence.length;
    }
    return true;
}

} // namespace

QString bytesToText(const QByteArray &bytes)
{
    auto size = bytes.size();
    while (size > 0 && bytes.at(size - 1) == '\0')
        --size;

    QString text;
    if (!decodeText(bytes.constData(), bytes.constData() + size, &text))
        text = QString::fromLatin1(bytes.constData(), size);
    for (QChar &character : text) {
        if (isControl(character.unicode()))
            character = QLatin1Char('.');
    }
    return text;
}

QString ownCopy(const QString &text)
{
    return text.isNull() ? QString() : QString(text.constData(), text.size());
}

} // namespace quenlofar
