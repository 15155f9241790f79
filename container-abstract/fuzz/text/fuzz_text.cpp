// Texts made of a file's bytes, and file names there and back.
#include "decodetext.h"
#include "displaytext.h"
#include "filepath.h"
#include "fuzztarget.h"
#include "harmless.h"
#include "require.h"

#include <QByteArray>
#include <QString>

using namespace quenlofar;

namespace {

bool isPairedUtf16(const QString &text)
{
    for (int i = 0; i < int(text.size()); ++i) {
        if (text.at(i).isLowSurrogate())
            return false;
        if (text.at(i).isHighSurrogate() && (++i == int(text.size()) || !text.at(i).isLowSurrogate()))
            return false;
    }
    return true;
}

bool holdsControls(const QString &text)
{
    for (const QChar character : text) {
        if (character.category() == QChar::Other_Control)
            return true;
    }
    return false;
}

/// Qt replaces what is not UTF-8, so only what is survives the way there and back. It drops a byte-order mark at the
/// beginning; none can stand behind the "x".
bool isUtf8(const QByteArray &bytes)
{
    const QByteArray marked = "x" + bytes;
    return QString::fromUtf8(marked.constData(), marked.size()).toUtf8() == marked;
}

bool isPrintableAscii(const QByteArray &bytes)
{
    for (const char byte : bytes) {
        if (byte < 0x20 || byte > 0x7E)
            return false;
    }
    return true;
}

void tryText(const QByteArray &bytes)
{
    const QString text = bytesToText(bytes);
    require(text.size() <= bytes.size(), "a text has no more units than the data has bytes");
    require(isPairedUtf16(text), "a text is valid UTF-16");
    require(!holdsControls(text), "a text holds no control character");
    require(text == bytesToText(QByteArray(bytes.constData(), bytes.size())), "equal bytes give equal texts");
    if (isPrintableAscii(bytes))
        require(text == QString::fromLatin1(bytes), "printable ASCII is shown as it is");
    QByteArray padded = bytes;
    padded.append(3, '\0');
    require(text == bytesToText(padded), "zero bytes at the end change nothing");
}

void tryPath(const QByteArray &bytes)
{
    const QString path = pathFromBytes(bytes);
    require(path.size() <= bytes.size(), "a path has no more units than its name has bytes");
    require(pathToBytes(path) == bytes, "every file name survives the way there and back");
    require(isUtf8(pathForDisplay(path)), "a path to show is valid UTF-8");
    require(!isUtf8(bytes) || pathForDisplay(path) == bytes, "a name in UTF-8 is shown as it is");
}

/// Any units as a path: nothing to compare with, except that it can be shown.
void tryUnits(const QByteArray &bytes)
{
    QString path;
    for (int i = 0; i + 1 < int(bytes.size()); i += 2)
        path += QChar(quint16(uchar(bytes.at(i)) | uchar(bytes.at(i + 1)) << 8));
    require(isUtf8(pathForDisplay(path)), "a path of any units can be shown");
    pathToBytes(path);
    const QString shown = displayText(path);
    require(isHarmless(shown) && !shown.contains(QLatin1Char('\n')), "what is shown steers no terminal");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes =
        size == 0 ? QByteArray("") : QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    tryText(bytes);
    tryPath(bytes);
    tryUnits(bytes);
    return 0;
}
