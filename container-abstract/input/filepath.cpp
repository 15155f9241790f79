#include "filepath.h"

#include "utf8_p.h"

#include <QChar>

namespace quenlofar {

namespace {

/// Byte 0x80 is U+DC80, byte 0xFF is U+DCFF.
constexpr char16_t escapeBase = 0xDC00;

constexpr bool isEscapedByte(char16_t unit)
{
    return unit >= escapeBase + 0x80 && unit <= escapeBase + 0xFF;
}

/// UTF-8 of `path`, in which escaped bytes are the bytes themselves or U+FFFD; other lone surrogates are U+FFFD.
QByteArray encode(const QString &path, bool restoreBytes)
{
    constexpr int mostBytesPerUnit = 3; // a pair takes four
    QByteArray bytes(mostBytesPerUnit * path.size(), Qt::Uninitialized);
    char *out = bytes.data();
    const QChar *const end = path.constData() + path.size();
    for (const QChar *at = path.constData(); at < end; ++at) {
        if (at->isHighSurrogate() && end - at > 1 && at[1].isLowSurrogate()) {
            out = encodeUtf8(QChar::surrogateToUcs4(at[0], at[1]), out);
            ++at;
        } else if (restoreBytes && isEscapedByte(at->unicode())) {
            *out++ = static_cast<char>(static_cast<uchar>(at->unicode() - escapeBase));
        } else {
            out = encodeUtf8(at->isSurrogate() ? replacementCharacter : at->unicode(), out);
        }
    }
    bytes.resize(static_cast<decltype(bytes.size())>(out - bytes.constData()));
    return bytes;
}

} // namespace

QString pathFromBytes(const QByteArray &bytes)
{
    QString path;
    path.reserve(bytes.size());
    const char *const end = bytes.constData() + bytes.size();
    for (const char *at = bytes.constData(); at < end;) {
        const Utf8Sequence sequence = decodeUtf8(at, end - at);
        if (sequence.length == 0) {
            path += QChar(static_cast<char16_t>(escapeBase + static_cast<uchar>(*at)));
            ++at;
            continue;
        }
        appendCodePoint(&path, sequence.codePoint);
        at += sequence.length;
    }
    return path;
}

QByteArray pathToBytes(const QString &path)
{
    return encode(path, true);
}

QByteArray pathForDisplay(const QString &path)
{
    return encode(path, false);
}

} // namespace quenlofar
