#include "waverules.h"

#include <algorithm>
#include <iterator>

using namespace quenlofar;

namespace {

constexpr ByteRange outerHeader{0, 12};

// What a rule asks for before it is held against a file.

bool isWhole(const WaveLayout &file)
{
    return file.isWhole;
}

bool hasStatedEnd(const WaveLayout &file)
{
    return file.isWhole && !file.isOpen && file.fileSize >= outerHeader.size;
}

bool hasFormatChunk(const WaveLayout &file)
{
    return file.find(idOf("fmt ")) != nullptr;
}

bool hasFormat(const WaveLayout &file)
{
    return file.hasFormat();
}

bool isLinear(const WaveLayout &file)
{
    return file.hasFormat() && file.isLinear();
}

bool hasBlocks(const WaveLayout &file)
{
    return file.hasFormat() && file.blockSize() != 0 && file.find(idOf("data"));
}

bool isExtensible(const WaveLayout &file)
{
    return file.hasFormat() && file.isExtensible();
}

bool isLong(const WaveLayout &file)
{
    return file.isLong();
}

bool hasLongSizes(const WaveLayout &file)
{
    return file.longSizes.size() > 0;
}

// What a rule is. The places are those of the fields that say something wrong.

void checkOuterHeader(const WaveLayout &file, Findings &findings)
{
    if ((file.id == idOf("RIFF") || file.id == idOf("RF64")) && file.form == idOf("WAVE"))
        return;
    findings.add(outerHeader)
        .expected(QStringLiteral("RIFF or RF64, and WAVE"))
        .actual(QStringLiteral("0x%1, and 0x%2")
                    .arg(file.id, 8, 16, QLatin1Char('0'))
                    .arg(file.form, 8, 16, QLatin1Char('0')))
        .message(QStringLiteral("The file does not begin as a WAVE file does."));
}

void checkSizesFilledIn(const WaveLayout &file, Findings &findings)
{
    const auto add = [&findings](const ByteRange &place, quint64 there, quint64 stated) {
        findings.add(place)
            .expected(there)
            .actual(QStringLiteral("%1, left open").arg(stated))
            .message(QStringLiteral("%1 of the sizes of file and sound were never filled in."));
    };
    if (file.isOpen && file.fileSize >= outerHeader.size)
        add(file.sizeField, file.fileSize - 8, file.statedSize);
    for (const WaveChunk &chunk : file.chunks) {
        if (chunk.isOpen)
            add(chunk.sizeField, chunk.end - chunk.begin(), chunk.size);
    }
}

void checkFileCut(const WaveLayout &file, Findings &findings)
{
    // Where only the last padding is missing, that is a matter of its own.
    const bool isOdd = !file.chunks.empty() && file.chunks.back().size % 2 == 1 && !file.chunks.back().isPadded;
    if (file.statedEnd <= file.fileSize + (isOdd ? 1 : 0))
        return;
    const quint64 missing = file.statedEnd - file.fileSize;
    // Where every chunk is whole, others may be missing, or the size may be wrong.
    const bool isCut = file.chainEnd != file.fileSize || (!file.chunks.empty() && file.chunks.back().isCut());
    findings.add(Occurrence{file.sizeField, -1, {file.fileSize, missing}})
        .confidence(isCut ? Confidence::Certain : Confidence::Likely)
        .expected(file.fileSize - 8)
        .actual(file.statedSize)
        .message(QStringLiteral("The last %1 bytes of the file are missing.").arg(missing));
}

void checkOuterSize(const WaveLayout &file, Findings &findings)
{
    if (file.chunks.empty() || file.chunks.back().end <= file.statedEnd)
        return;
    findings.add(file.sizeField)
        .expected(file.chainEnd - 8)
        .actual(file.statedSize)
        .message(QStringLiteral("The size of the file ends before its last chunk does."));
}

void checkChain(const WaveLayout &file, Findings &findings)
{
    const quint64 end = std::min(file.statedEnd, file.fileSize);
    if (file.chainEnd >= end)
        return;
    const ByteRange range{file.chainEnd, end - file.chainEnd};
    findings.add(range)
        .expected(QStringLiteral("a chunk"))
        .actual(QStringLiteral("%1 bytes that are none").arg(range.size))
        .message(QStringLiteral("No chunk begins where one should, so what follows cannot be found."));
}

void checkChunkCut(const WaveLayout &file, Findings &findings)
{
    for (const WaveChunk &chunk : file.chunks) {
        if (!chunk.isCut())
            continue;
        const quint64 there = chunk.end - chunk.begin();
        const int stream = chunk.id == idOf("data") ? 0 : -1;
        findings.add(Occurrence{chunk.sizeField, stream, {chunk.end, chunk.size - there}})
            .expected(there)
            .actual(chunk.size)
            .message(QStringLiteral("A chunk has %1 bytes more than the file.").arg(chunk.size - there));
    }
}

void checkPadding(const WaveLayout &file, Findings &findings)
{
    for (const WaveChunk &chunk : file.chunks) {
        if (chunk.size % 2 == 0 || chunk.isPadded || chunk.isOpen || chunk.isCut())
            continue;
        const bool isLast = chunk.end == file.fileSize;
        findings.add(chunk.header())
            .severity(isLast ? Severity::Warning : Severity::Error)
            .expected(QStringLiteral("a byte of padding"))
            .actual(isLast ? QStringLiteral("the end of the file") : QStringLiteral("the next chunk"))
            .message(QStringLiteral("%1 chunks of an odd size are not padded."));
    }
}

void checkTrailing(const WaveLayout &file, Findings &findings)
{
    // The outer list is a chunk too: padded where its size is odd.
    const quint64 end = std::max(file.statedEnd + file.statedEnd % 2, file.chainEnd);
    if (end >= file.fileSize)
        return;
    findings.add(ByteRange{end, file.fileSize - end})
        .expected(0)
        .actual(file.fileSize - end)
        .message(QStringLiteral("Behind the end of the file that its size tells, there is more."));
}

void checkDuplicates(const WaveLayout &file, Findings &findings)
{
    constexpr quint32 ids[] = {idOf("fmt "), idOf("fact"), idOf("data"), idOf("ds64")};
    bool isSeen[std::size(ids)] = {};
    for (const WaveChunk &chunk : file.chunks) {
        const size_t number = size_t(std::find(std::begin(ids), std::end(ids), chunk.id) - std::begin(ids));
        if (number == std::size(ids))
            continue;
        if (isSeen[number])
            findings.add(chunk.header())
                .expected(QStringLiteral("one such chunk"))
                .actual(QStringLiteral("another one"))
                .message(QStringLiteral("%1 chunks stand there again that may stand there once."));
        isSeen[number] = true;
    }
}

void checkNeeded(const WaveLayout &file, Findings &findings)
{
    for (const char *name : {"fmt ", "data"}) {
        if (!file.find(RecordView(name, 4).read<quint32>(0)))
            findings.add(outerHeader, 0)
                .expected(QStringLiteral("a chunk \"%1\"").arg(QLatin1String(name)))
                .actual(QStringLiteral("none"))
                .message(QStringLiteral("%1 of the two chunks that make sound are missing."));
    }
}

void checkFormatSize(const WaveLayout &file, Findings &findings)
{
    const WaveChunk &chunk = *file.find(idOf("fmt "));
    if (!file.hasFormat())
        findings.add(chunk.header(), 0)
            .expected(QStringLiteral("16 bytes or more"))
            .actual(QStringLiteral("%1 bytes").arg(file.format.size()))
            .message(QStringLiteral("The format is shorter than the shortest one."));
}

void checkFormatPlace(const WaveLayout &file, Findings &findings)
{
    const WaveChunk &format = *file.find(idOf("fmt "));
    const WaveChunk *data = file.find(idOf("data"));
    if (data && data->offset < format.offset)
        findings.add(format.header(), 0)
            .expected(QStringLiteral("before offset %1").arg(data->offset))
            .actual(QStringLiteral("at offset %1").arg(format.offset))
            .message(QStringLiteral("The format stands behind the sound that it is about."));
}

void checkFormatZero(const WaveLayout &file, Findings &findings)
{
    const struct
    {
        quint64 number;
        ByteRange place;
    } fields[] = {{file.channels(), file.formatField(2, 2)},
                  {file.sampleRate(), file.formatField(4, 4)},
                  {file.blockSize(), file.formatField(12, 2)},
                  {file.isLinear() ? file.bits() : 1U, file.formatField(14, 2)}};
    for (const auto &field : fields) {
        if (field.number == 0)
            findings.add(field.place, 0)
                .expected(QStringLiteral("1 or more"))
                .actual(0)
                .message(QStringLiteral("%1 numbers of the format are 0 that cannot be."));
    }
}

void checkBlockSize(const WaveLayout &file, Findings &findings)
{
    const quint64 expected = quint64(file.channels()) * ((file.bits() + 7U) / 8U);
    if (file.blockSize() != expected)
        findings.add(file.formatField(12, 2), 0)
            .expected(expected)
            .actual(file.blockSize())
            .message(QStringLiteral("A block is not as long as one sample of each channel."));
}

void checkByteRate(const WaveLayout &file, Findings &findings)
{
    const quint64 expected = quint64(file.sampleRate()) * file.blockSize();
    if (file.byteRate() != expected)
        findings.add(file.formatField(8, 4), 0)
            .expected(expected)
            .actual(file.byteRate())
            .message(QStringLiteral("The byte rate is not the block size times the blocks a second."));
}

void checkBlocks(const WaveLayout &file, Findings &findings)
{
    const WaveChunk &data = *file.find(idOf("data"));
    const quint64 bytes = data.end - data.begin();
    const quint64 rest = bytes % file.blockSize();
    if (rest != 0)
        findings.add(data.sizeField, 0)
            .expected(bytes - rest)
            .actual(bytes)
            .message(QStringLiteral("The sound ends inside of a block."));
}

int speakersOf(quint32 mask)
{
    int count = 0;
    for (; mask != 0; mask &= mask - 1)
        ++count;
    return count;
}

void checkExtension(const WaveLayout &file, Findings &findings)
{
    constexpr quint64 extensionSize = 22;
    const quint64 stated = file.format.read<quint16>(16);
    const quint64 there = file.format.size() > 18 ? file.format.size() - 18 : 0;
    if (std::min(stated, there) < extensionSize) {
        findings.add(file.formatField(16, 2), 0)
            .expected(QStringLiteral("%1 bytes").arg(extensionSize))
            .actual(QStringLiteral("%1 bytes").arg(std::min(stated, there)))
            .message(QStringLiteral("The extension that says what the format is, is missing or cut."));
        return;
    }
    const quint16 validBits = file.format.read<quint16>(18);
    if (validBits > file.bits())
        findings.add(file.formatField(18, 2), 0)
            .expected(QStringLiteral("at most %1").arg(file.bits()))
            .actual(validBits)
            .message(QStringLiteral("More bits of a sample are valid than it has."));
    const int speakers = speakersOf(file.format.read<quint32>(20));
    if (speakers > file.channels())
        findings.add(file.formatField(20, 4), 0)
            .severity(Severity::Warning)
            .expected(QStringLiteral("at most %1 speakers").arg(file.channels()))
            .actual(QStringLiteral("%1 speakers").arg(speakers))
            .message(QStringLiteral("The sound goes to more speakers than it has channels."));
}

void checkLongSizesThere(const WaveLayout &file, Findings &findings)
{
    if (file.longSizes.size() == 0)
        findings.add(outerHeader)
            .expected(QStringLiteral("ds64 as the first chunk"))
            .actual(QStringLiteral("none"))
            .message(QStringLiteral("An RF64 file has its sizes in ds64, which is not there."));
}

void checkLongSizes(const WaveLayout &file, Findings &findings)
{
    constexpr quint64 begin = 20; // of what ds64 holds: it is the first chunk
    constexpr quint64 fixedSize = 28;
    const WaveChunk &chunk = file.chunks.front();
    const quint64 needed = fixedSize + 12 * quint64(file.longSizes.read<quint32>(24));
    if (chunk.size < needed) {
        findings.add(chunk.sizeField)
            .expected(QStringLiteral("%1 bytes or more").arg(needed))
            .actual(QStringLiteral("%1 bytes").arg(chunk.size))
            .message(QStringLiteral("ds64 is too short for what it holds."));
        return;
    }
    const WaveChunk *data = file.find(idOf("data"));
    const quint64 samples = file.longSizes.read<quint64>(16);
    if (!data || data->isOpen || samples == 0 || !hasBlocks(file) || !file.isLinear())
        return; // 0 is "not known"
    if (data->size / file.blockSize() != samples)
        findings.add(ByteRange{begin + 16, 8})
            .severity(Severity::Warning)
            .expected(data->size / file.blockSize())
            .actual(samples)
            .message(QStringLiteral("ds64 counts other samples than the sound has."));
}

constexpr QStringView riff = u"Multimedia Programming Interface 1.0 (IBM and Microsoft, 1991)";
constexpr QStringView waveFormat = u"WAVEFORMATEX";
constexpr QStringView rf64 = u"EBU Tech 3306";

// clang-format off
constexpr WaveRule rows[] = {
    {{u"outer-header", Severity::Error, Level::Quick, Repair::Patch,
      u"The file begins with RIFF or RF64, a size, and WAVE",
      u"These words say what the file is. Readers that look at them take it for something else.",
      u"all readers", u"Put the words back; they are always the same.", riff},
     isWhole, checkOuterHeader},
    {{u"size-never-filled-in", Severity::Error, Level::Quick, Repair::Patch,
      u"The sizes of the file and of its sound are filled in",
      u"They are known at the end of a recording. One that crashed, or went into a pipe, leaves 0 or 0xFFFFFFFF there. "
      u"Strict readers then find no sound, or sound that never ends.",
      u"editors, players that show a length", u"Write the sizes that the file has.", riff},
     isWhole, checkSizesFilledIn},
    {{u"file-cut", Severity::Error, Level::Quick, Repair::Patch,
      u"The file is as long as its size says",
      u"Bytes at the end are missing: a copy or a download that was not finished, or a disk that was full.",
      u"whoever needs the end", u"Look for a whole copy. Without one the sizes can be made to fit what is left.", riff},
     hasStatedEnd, checkFileCut},
    {{u"outer-size-short", Severity::Error, Level::Quick, Repair::Patch,
      u"The size of the file reaches to the end of its last chunk",
      u"Something was added, and the size stayed. Readers that go by it do not see what is behind.",
      u"strict readers", u"Write the size that the chunks have.", riff},
     hasStatedEnd, checkOuterSize},
    {{u"broken-chain", Severity::Error, Level::Quick, Repair::None,
      u"A chunk begins where the one before ends",
      u"A size is wrong, or bytes were lost or overwritten. Chunks behind that place are out of reach.",
      u"all readers", u"Look for an undamaged copy, or for the next chunk by hand.", riff},
     isWhole, checkChain},
    {{u"chunk-cut", Severity::Error, Level::Quick, Repair::Patch,
      u"The data of every chunk ends inside the file",
      u"The file ends in the middle of a chunk, or the chunk's size is wrong.",
      u"strict readers, which refuse the file", u"Look for a whole copy, or write the size that is left.", riff},
     nullptr, checkChunkCut},
    {{u"odd-not-padded", {Severity::Error, Severity::Warning}, Level::Quick, Repair::Rewrite,
      u"A byte of padding follows a chunk of an odd size",
      u"Readers pass over that byte, and miss the next chunk where it is not there. At the end of the file few care.",
      u"strict readers", u"Write the file anew with the padding.", riff},
     nullptr, checkPadding},
    {{u"trailing-data", Severity::Warning, Level::Quick, Repair::None,
      u"The file ends where its size says",
      u"What follows is no part of the sound: a tag, or the rest of an older and longer file.",
      u"programs that append to the file", u"Look at it, and cut it off if nobody needs it.", riff},
     hasStatedEnd, checkTrailing},
    {{u"chunk-repeated", Severity::Error, Level::Quick, Repair::None,
      u"fmt, fact, data and ds64 are there once",
      u"Readers take the first one, or the last; the sound depends on which.",
      u"all readers", u"Find out which one is right.", riff},
     nullptr, checkDuplicates},
    {{u"chunk-missing", Severity::Error, Level::Quick, Repair::None,
      u"There are a fmt and a data chunk",
      u"Without the one nobody knows what the bytes mean; without the other there is no sound.",
      u"all readers", u"Look for a whole copy. The format of a like file may do.", riff},
     isWhole, checkNeeded},
    {{u"format-too-short", Severity::Error, Level::Quick, Repair::None,
      u"fmt has 16 bytes or more",
      u"The first 16 bytes hold the numbers that every format has.",
      u"all readers", u"Take the format of a like file.", waveFormat},
     hasFormatChunk, checkFormatSize},
    {{u"format-after-data", Severity::Error, Level::Quick, Repair::Rewrite,
      u"fmt stands before data",
      u"Who reads the file as it comes, over a network, has to know the format first.",
      u"players of streams", u"Write the file anew in the right order.", riff},
     hasFormatChunk, checkFormatPlace},
    {{u"format-zero", Severity::Error, Level::Quick, Repair::Patch,
      u"Channels, samples per second, bytes per block and, in uncompressed sound, bits per sample are not 0",
      u"Nothing can be played of that, and programs divide by them.",
      u"all readers", u"Take the numbers of a like file.", waveFormat},
     hasFormat, checkFormatZero},
    {{u"block-size", Severity::Error, Level::Quick, Repair::Patch,
      u"A block of uncompressed sound is one sample of each channel",
      u"Readers take channels apart by it. With a wrong one they play noise.",
      u"players, editors", u"Write channels times the bytes of a sample.", waveFormat},
     isLinear, checkBlockSize},
    {{u"byte-rate", Severity::Warning, Level::Quick, Repair::Patch,
      u"The byte rate of uncompressed sound is samples per second times bytes per block",
      u"Many programs tell the length of the sound by it.",
      u"programs that show a length", u"Write the product.", waveFormat},
     isLinear, checkByteRate},
    {{u"sound-in-blocks", Severity::Warning, Level::Quick, Repair::Patch,
      u"The sound consists of whole blocks",
      u"The last block is cut. Some readers play a click there.",
      u"editors", u"Shorten the size by the rest.", waveFormat},
     hasBlocks, checkBlocks},
    {{u"extension", {Severity::Error, Severity::Warning}, Level::Quick, Repair::None,
      u"An extensible format has its extension, which fits the format",
      u"Only the extension says what the sound is, and which speaker each channel is for.",
      u"players of more than two channels", u"Take the extension of a like file.", u"WAVEFORMATEXTENSIBLE"},
     isExtensible, checkExtension},
    {{u"long-sizes-missing", Severity::Error, Level::Quick, Repair::None,
      u"The first chunk of an RF64 file is ds64",
      u"The sizes of 64 bits stand there; those of 32 bits say nothing.",
      u"all readers", u"Sizes below 4 GB can be written where RIFF files have them.", rf64},
     isLong, checkLongSizesThere},
    {{u"long-sizes", {Severity::Error, Severity::Warning}, Level::Quick, Repair::None,
      u"ds64 is long enough, and counts the samples that there are",
      u"Readers of long files believe it.",
      u"readers of RF64", u"Write the numbers that the sound has.", rf64},
     hasLongSizes, checkLongSizes},
};

// Where the file ends early, or does not say how far it goes, nothing at its end can be as it should.
constexpr QStringView lostEnd[] = {u"size-never-filled-in", u"file-cut", u"long-sizes-missing"};
constexpr QStringView atTheEnd[] = {u"broken-chain", u"chunk-cut", u"chunk-missing", u"format-too-short", u"extension", u"sound-in-blocks"};
constexpr QStringView lostPlace[] = {u"broken-chain"};
constexpr QStringView lostChunks[] = {u"chunk-missing"};
constexpr QStringView lostSound[] = {u"chunk-cut"};
constexpr QStringView restOfSound[] = {u"sound-in-blocks"};
constexpr QStringView wrongBlocks[] = {u"format-zero", u"block-size"};
constexpr QStringView madeOfBlocks[] = {u"block-size", u"byte-rate", u"sound-in-blocks", u"long-sizes"};

constexpr CauseRow causes[] = {
    {lostEnd,     atTheEnd,     CauseScope::File},
    {lostPlace,   lostChunks,   CauseScope::File},
    {lostSound,   restOfSound,  CauseScope::Stream},
    {wrongBlocks, madeOfBlocks, CauseScope::File},
};
// clang-format on

constexpr int ruleCount = int(std::size(rows));

struct AllRules
{
    AllRules()
    {
        for (int ordinal = 0; ordinal < ruleCount; ++ordinal)
            rules[ordinal] = &rows[ordinal].rule;
    }
    const Rule *rules[ruleCount];
};

} // namespace

RuleList waveRules()
{
    static const AllRules all;
    return {all.rules, ruleCount};
}

const WaveRule &waveRule(int ordinal)
{
    return rows[ordinal];
}

CauseRows waveCauses()
{
    return causes;
}
