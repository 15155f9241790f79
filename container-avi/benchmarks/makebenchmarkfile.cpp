#include "chunkids.h"

#include <QtEndian>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

using namespace quenlofar;

// Makes the files that walks are measured with, each with a second file that says what a run over it has to count. What
// is expected is added up while the file is written, next to the bytes that cause it.

namespace {

constexpr quint32 headerSize = 8; // id and size of a chunk
constexpr quint32 listHeaderSize = 12; // and the form type
constexpr quint32 shownBytes = 127; // of an unknown chunk

constexpr quint64 listItems = 4; // a node, id, size, type
constexpr quint64 chunkItems = 3; // a node, id, size
constexpr quint64 plainChunkItems = chunkItems + 1; // value

/// Random numbers, equal in every run (splitmix64).
class Random
{
public:
    quint64 next()
    {
        quint64 mixed = m_state += 0x9E3779B97F4A7C15;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }
    void fill(std::vector<char> *bytes)
    {
        for (size_t at = 0; at < bytes->size(); at += sizeof(quint64)) {
            const quint64 word = next();
            std::memcpy(bytes->data() + at, &word, std::min(sizeof word, bytes->size() - at));
        }
    }

private:
    quint64 m_state = 0;
};

/// A file being written, and what a run over it will count.
class BenchmarkFile
{
public:
    explicit BenchmarkFile(const std::string &path) : m_out(path, std::ios::binary) { }

    void put(const void *bytes, size_t size) { m_out.write(static_cast<const char *>(bytes), std::streamsize(size)); }
    void put(const std::vector<char> &bytes) { put(bytes.data(), bytes.size()); }
    void put(std::string_view text) { put(text.data(), text.size()); }
    /// Bytes that take no room on the disk where the file system has holes; something has to follow.
    void hole(quint64 size) { m_out.seekp(std::streamoff(size), std::ios::cur); }
    void zeros(size_t count) { put(std::vector<char>(count)); }
    void words(std::initializer_list<quint32> words)
    {
        for (const quint32 word : words) {
            char bytes[sizeof word];
            qToLittleEndian(word, bytes);
            put(bytes, sizeof bytes);
        }
    }
    void chunkHeader(std::string_view id, quint64 size)
    {
        put(id);
        words({quint32(size)});
        bytesRead += headerSize;
    }
    void listHeader(std::string_view id, quint64 size, std::string_view form)
    {
        chunkHeader(id, size);
        put(form);
        items += listItems;
        bytesRead += listHeaderSize - headerSize;
    }
    bool close()
    {
        m_out.close();
        return m_out.good();
    }

    quint64 items = 0;
    quint64 bytesRead = 0;
    quint64 frames = 0;

private:
    std::ofstream m_out;
};

constexpr quint32 mainHeaderSize = 56;
constexpr quint32 streamHeaderSize = 56;
constexpr quint32 videoFormatSize = 40;
constexpr quint32 streamListSize = 4 + headerSize + streamHeaderSize + headerSize + videoFormatSize;
constexpr quint32 headerListSize = 4 + headerSize + mainHeaderSize + headerSize + streamListSize;

/// The RIFF header of an AVI file with `rest` bytes behind its headers, and the headers of one video stream.
void putHeaders(BenchmarkFile &file, quint64 rest, quint32 frames)
{
    constexpr quint64 scannedBlock = 6144; // which detection reads to find the RIFF header
    const quint64 fileSize = listHeaderSize + headerSize + headerListSize + rest;
    file.bytesRead += std::min(fileSize, scannedBlock);
    file.listHeader("RIFF", fileSize - headerSize, "AVI ");
    file.listHeader("LIST", headerListSize, "hdrl");
    file.chunkHeader("avih", mainHeaderSize);
    file.words({40000, 0, 0, 0x10, frames, 0, 1, 0, 16, 16, 0, 0, 0, 0});
    file.items += chunkItems + 11;
    file.bytesRead += mainHeaderSize;
    file.listHeader("LIST", streamListSize, "strl");
    file.chunkHeader("strh", streamHeaderSize);
    file.put("vidsXVID");
    file.words({0, 0, 0, 1, 25, 0, frames, 0, 0xFFFFFFFF, 0, 0, 0x00100010});
    file.items += chunkItems + 13 + 5; // with the rectangle's node
    file.bytesRead += streamHeaderSize;
    file.chunkHeader("strf", videoFormatSize);
    file.words({videoFormatSize, 16, 16, 0x00180001, 0x44495658, 768, 0, 0, 0, 0});
    file.items += chunkItems + 11;
    file.bytesRead += videoFormatSize;
}

/// Frames of eight bytes and an idx1 that lists them all.
void makeFrames(BenchmarkFile &file, quint64 count)
{
    constexpr quint32 frameSize = 8;
    constexpr quint32 stride = headerSize + frameSize;
    constexpr quint32 entrySize = 16;
    constexpr quint32 keyFrameFlag = 0x10;
    putHeaders(file, listHeaderSize + stride * count + headerSize + entrySize * count, quint32(count));
    file.listHeader("LIST", 4 + stride * count, "movi");
    for (quint64 i = 0; i < count; ++i) {
        file.chunkHeader("00dc", frameSize);
        file.zeros(frameSize);
        file.items += plainChunkItems;
    }
    file.chunkHeader("idx1", entrySize * count);
    file.items += chunkItems;
    for (quint64 i = 0; i < count; ++i) {
        file.put("00dc");
        file.words({keyFrameFlag, quint32(4 + stride * i), frameSize});
        file.items += 5; // a node and four words
        file.bytesRead += entrySize;
        ++file.frames;
    }
}

/// SIZE bytes and a little more: frames of four million bytes that are holes, in as many RIFF lists as OpenDML wants.
void makeSparse(BenchmarkFile &file, quint64 size)
{
    constexpr quint64 frameSize = 4'000'000;
    constexpr quint64 framesOfList = 240;
    constexpr quint64 stride = headerSize + frameSize;
    const quint64 count = std::max<quint64>(size / frameSize, 1);
    const auto putMovie = [&file](quint64 frames) {
        file.listHeader("LIST", 4 + stride * frames, "movi");
        for (quint64 i = 0; i < frames; ++i) {
            file.chunkHeader("00dc", frameSize);
            file.hole(frameSize - 1);
            file.zeros(1);
            file.items += plainChunkItems;
        }
    };
    const quint64 first = std::min(count, framesOfList);
    putHeaders(file, listHeaderSize + stride * first, quint32(count));
    putMovie(first);
    for (quint64 done = first; done < count; done += framesOfList) {
        const quint64 frames = std::min(count - done, framesOfList);
        file.listHeader("RIFF", 4 + listHeaderSize + stride * frames, "AVIX");
        putMovie(frames);
    }
}

/// True for what is a known id with any Qt: Qt 5 takes two Latin-1 control and space characters in front of a number
/// for white space, Qt 6 does not. One file serves both.
bool isKnownId(const char *bytes)
{
    char blanked[4];
    std::transform(bytes, bytes + sizeof blanked, blanked,
                   [](char byte) { return byte == '\x85' || byte == '\xA0' ? ' ' : byte; });
    const ChunkIdTable &ids = ChunkIdTable::instance();
    return ids.find(ChunkId::fromBytes(bytes)) != ChunkIdTable::unknown
        || ids.find(ChunkId::fromBytes(blanked)) != ChunkIdTable::unknown;
}

/// Changes bytes until no four of them are a known id. `next` gives a byte of the kind that the others are.
void breakKnownIds(std::vector<char> *bytes, const std::function<char()> &next)
{
    for (size_t at = 0; at + 4 <= bytes->size();) {
        if (!isKnownId(bytes->data() + at)) {
            ++at;
            continue;
        }
        // The third byte takes part in every id, also in those that a zero byte ends after two. It may make a new id
        // of the bytes before it.
        (*bytes)[at + 2] = next();
        at -= std::min<size_t>(at, 2);
    }
}

std::vector<char> randomBytes(Random &random, size_t size)
{
    std::vector<char> bytes(size);
    random.fill(&bytes);
    return bytes;
}

std::vector<char> randomBytesWithoutKnownIds(Random &random, size_t size)
{
    std::vector<char> bytes = randomBytes(random, size);
    breakKnownIds(&bytes, [&random] { return char(random.next()); });
    return bytes;
}

std::vector<char> lettersWithoutKnownIds(Random &random, size_t size)
{
    constexpr std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ abcdefghijklmnopqrstuvwxyz ";
    const auto next = [&random, characters] { return characters[random.next() % characters.size()]; };
    std::vector<char> bytes(size);
    for (char &byte : bytes)
        byte = next();
    breakKnownIds(&bytes, next);
    return bytes;
}

bool isIdCharacter(char character)
{
    return character == ' ' || character == '_' || (character >= '0' && character <= '9')
        || (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

/// No four bytes are made of the characters of ids, whatever follows the last one.
std::vector<char> randomBytesWithoutIds(Random &random, size_t size)
{
    std::vector<char> bytes = randomBytes(random, size);
    size_t run = 0;
    for (char &byte : bytes) {
        run = isIdCharacter(byte) ? run + 1 : 0;
        if (run == 4) {
            byte = '\0';
            run = 0;
        }
    }
    bytes.back() = '\0';
    return bytes;
}

/// A chunk whose id is not known and whose data holds no known id: every four bytes of it are looked at.
void putUnknownChunk(BenchmarkFile &file, std::string_view id, const std::vector<char> &data)
{
    file.chunkHeader(id, data.size());
    file.put(data);
    file.items += plainChunkItems;
    file.bytesRead += 4 * (data.size() - 3) + shownBytes;
}

/// Every frame a chunk "00__" of 120 000 bytes, as DV type 1 captures have it, without an index.
void makeDigitalVideo(BenchmarkFile &file, quint64 size)
{
    constexpr quint32 frameSize = 120'000;
    const quint64 count = size / frameSize;
    const quint64 data = (headerSize + frameSize) * count;
    putHeaders(file, listHeaderSize + data, quint32(count));
    file.listHeader("LIST", 4 + data, "movi");
    Random random;
    for (quint64 i = 0; i < count; ++i)
        putUnknownChunk(file, "00__", randomBytesWithoutKnownIds(random, frameSize));
}

/// A movi list of one frame: what the walk has to find behind what was measured.
constexpr quint32 shortMovieSize = listHeaderSize + headerSize + 8;
void putShortMovie(BenchmarkFile &file)
{
    file.listHeader("LIST", shortMovieSize - headerSize, "movi");
    file.chunkHeader("00dc", 8);
    file.zeros(8);
    file.items += plainChunkItems;
}

void makeUnknownChunk(BenchmarkFile &file, const std::vector<char> &data)
{
    putHeaders(file, headerSize + data.size() + shortMovieSize, 1);
    putUnknownChunk(file, "vedt", data);
    putShortMovie(file);
}

/// Left-over bytes between the headers and the movi list. `readTwice` of them are read as an id and as a size.
void makeGarbage(BenchmarkFile &file, const std::vector<char> &garbage, size_t readTwice = 0)
{
    putHeaders(file, garbage.size() + shortMovieSize, 1);
    file.put(garbage);
    file.items += 1;
    file.bytesRead += 4 * (garbage.size() + readTwice);
    putShortMovie(file);
}

void makeGarbageOfLetters(BenchmarkFile &file, size_t size)
{
    Random random;
    std::vector<char> garbage = lettersWithoutKnownIds(random, size);
    // Read as a size, four letters lead out of the file. So does this byte with those around it, and it is in no id, so
    // that the list's id behind it is found by itself.
    garbage.back() = '\xFF';
    makeGarbage(file, garbage, garbage.size() - 4);
}

/// Blocks of a file that is none of ours: detection reads them all.
void makeNoRiff(BenchmarkFile &file, quint64 size, const std::function<void(std::vector<char> *)> &fill)
{
    constexpr size_t pieceSize = 1024 * 1024;
    constexpr quint64 blockSize = 6144;
    std::vector<char> piece(pieceSize);
    for (quint64 left = size; left > 0; left -= piece.size()) {
        piece.resize(size_t(std::min<quint64>(left, pieceSize)));
        fill(&piece);
        file.put(piece);
    }
    file.bytesRead += size / blockSize * blockSize;
}

/// Random bytes without the four letters that begin a RIFF file, in either case.
void fillWithoutRiff(Random &random, std::vector<char> *piece)
{
    random.fill(piece);
    for (char &byte : *piece) {
        if (byte == 'F' || byte == 'f')
            byte = 'E';
    }
}

struct Kind
{
    const char *name;
    const char *description;
    std::function<void(BenchmarkFile &, quint64 size)> make;
};

Random fixedRandom()
{
    return {};
}

const Kind kinds[] = {
    {"frames", "SIZE frames of 8 bytes and their idx1", makeFrames},
    {"sparse", "SIZE bytes of frames that are holes, in RIFF lists of a gigabyte", makeSparse},
    {"dv", "SIZE bytes in chunks 00__ of 120000 random bytes without a known id", makeDigitalVideo},
    {"unknown-random", "an unknown chunk of SIZE random bytes without a known id",
     [](BenchmarkFile &file, quint64 size) {
         Random random = fixedRandom();
         makeUnknownChunk(file, randomBytesWithoutKnownIds(random, size));
     }},
    {"unknown-zero", "an unknown chunk of SIZE zero bytes",
     [](BenchmarkFile &file, quint64 size) { makeUnknownChunk(file, std::vector<char>(size)); }},
    {"unknown-letters", "an unknown chunk of SIZE letters and blanks without a known id",
     [](BenchmarkFile &file, quint64 size) {
         Random random = fixedRandom();
         makeUnknownChunk(file, lettersWithoutKnownIds(random, size));
     }},
    {"garbage-random", "SIZE random bytes without an id between chunks",
     [](BenchmarkFile &file, quint64 size) {
         Random random = fixedRandom();
         makeGarbage(file, randomBytesWithoutIds(random, size));
     }},
    {"garbage-zero", "SIZE zero bytes between chunks",
     [](BenchmarkFile &file, quint64 size) { makeGarbage(file, std::vector<char>(size)); }},
    {"garbage-letters", "SIZE letters and blanks without a known id between chunks", makeGarbageOfLetters},
    {"no-riff-random", "SIZE random bytes without a RIFF header",
     [](BenchmarkFile &file, quint64 size) {
         Random random = fixedRandom();
         makeNoRiff(file, size, [&random](std::vector<char> *piece) { fillWithoutRiff(random, piece); });
     }},
    {"no-riff-zero", "SIZE zero bytes",
     [](BenchmarkFile &file, quint64 size) { makeNoRiff(file, size, [](std::vector<char> *) {}); }},
};

int usage()
{
    std::fprintf(stderr,
                 "usage: make-benchmark-file KIND SIZE FILE\n\n"
                 "Writes FILE, and FILE.expected: items, bytes and frames of a run over it.\n\n");
    for (const Kind &kind : kinds)
        std::fprintf(stderr, "  %-16s %s\n", kind.name, kind.description);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4)
        return usage();
    const auto *const kind = std::find_if(std::begin(kinds), std::end(kinds),
                                          [argv](const Kind &each) { return std::strcmp(each.name, argv[1]) == 0; });
    const quint64 size = std::strtoull(argv[2], nullptr, 10);
    if (kind == std::end(kinds) || size == 0)
        return usage();

    // Under another name until it is complete: what has its name is used again.
    const std::string path = argv[3];
    const std::string unfinished = path + ".unfinished";
    BenchmarkFile file(unfinished);
    kind->make(file, size);
    std::ofstream expected(path + ".expected");
    expected << file.items << ' ' << file.bytesRead << ' ' << file.frames << '\n';
    expected.close();
    if (!file.close() || !expected.good() || std::rename(unfinished.c_str(), path.c_str()) != 0) {
        std::perror(argv[3]);
        return 1;
    }
    return 0;
}
