#include "containeravi.h"

#include <array>
#include <cstring>
#include <memory>

using namespace quenlofar;

namespace {

// Source: AVI RIFF File Reference for "AVI "; OpenDML AVI File Format Extensions 1.02 for "AVIX".
constexpr qint64 riffHeaderSize = 12; // "RIFF", size, form type
constexpr qint64 blockSize = 6144;

char toUpperAscii(char character)
{
    return character >= 'a' && character <= 'z' ? char(character - 'a' + 'A') : character;
}

/// Compares ASCII letters without regard to case. Upper-casing all of Latin-1 would not make other bytes equal.
bool isFourCC(const char *bytes, const char (&upperCase)[5])
{
    return toUpperAscii(bytes[0]) == upperCase[0] && toUpperAscii(bytes[1]) == upperCase[1]
        && toUpperAscii(bytes[2]) == upperCase[2] && toUpperAscii(bytes[3]) == upperCase[3];
}

/// The first RIFF header that starts in the scanned part of a block, or null.
const char *findRiff(const char *block, qint64 size)
{
    // Kept: only the first twelfth of a block is scanned, and a file below 156 bytes not at all. An AVI file begins
    // with its header, or shortly behind something that was put before it; a wider scan would take any file that
    // holds an AVI file somewhere for one.
    const qint64 positions = size / riffHeaderSize - riffHeaderSize;
    for (qint64 i = 0; i < positions; ++i) {
        if (isFourCC(block + i, "RIFF"))
            return block + i;
    }
    return nullptr;
}

} // namespace

int ContainerAVI::verifyContainerFormat(const QString &path)
{
    if (const int status = openFile(path); status != StatusOk)
        return status;

    struct Closer
    {
        ContainerAVI *parser;
        ~Closer() { parser->closeFile(); }
    } const closer{this};

    const qint64 fileSize = m_file.size();
    m_file.seek(0);
    if (fileSize < riffHeaderSize)
        return StatusNotRecognised;

    const qint64 size = std::min(fileSize, blockSize);
    const auto block = std::make_unique<char[]>(size_t(size));
    // Kept: what follows the last whole block is not looked at.
    for (qint64 left = fileSize / size; left > 0;) {
        if (m_file.read(block.get(), size) != size)
            return StatusNotRecognised;
        // Kept: the first RIFF header decides, also when it is of another form and an AVI one would follow.
        if (const char *riff = findRiff(block.get(), size))
            return isFourCC(riff + 8, "AVI ") || isFourCC(riff + 8, "AVIX") ? StatusOk : StatusNotRecognised;
        --left;
        left -= m_file.passHole(size, left * size, 1) / size;
    }
    return StatusNotRecognised;
}

int ContainerAVI::findBeginOfContainer(qint64 *offset)
{
    *offset = 0;
    return StatusOk;
}

void ContainerAVI::prepareParsing() { }

void ContainerAVI::finalizeParsing() { }
