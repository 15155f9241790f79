#include "neededlibraries.h"

#include "bytesource.h"

#include <QtGlobal>

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);
using Entry = ElfW(Dyn);

constexpr size_t mostSegments = 256;
constexpr size_t mostEntries = 1024; // of the dynamic section; usual are thirty
constexpr size_t longestName = 255;

#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
constexpr unsigned char ownByteOrder = ELFDATA2LSB;
#else
constexpr unsigned char ownByteOrder = ELFDATA2MSB;
#endif
constexpr unsigned char ownClass = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;

/// Up to `count` records at `offset`; fewer where the file ends, none where the offset is not in it.
template <typename Record> std::vector<Record> readRecords(ByteSource &file, quint64 offset, size_t count)
{
    if (offset >= quint64(file.size()))
        return {};
    std::vector<Record> records(count);
    const qint64 wanted = qint64(count) * qint64(sizeof(Record));
    const qint64 read = file.readAt(qint64(offset), reinterpret_cast<char *>(records.data()), wanted);
    records.resize(read < 0 ? 0 : size_t(read) / sizeof(Record));
    return records;
}

std::vector<Segment> readSegments(ByteSource &file)
{
    const std::vector<Header> headers = readRecords<Header>(file, 0, 1);
    if (headers.empty())
        return {};
    const Header &header = headers.front();
    const bool isOurs = std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ownClass
        && header.e_ident[EI_DATA] == ownByteOrder && header.e_phentsize == sizeof(Segment);
    if (!isOurs)
        return {};
    return readRecords<Segment>(file, header.e_phoff, std::min<size_t>(header.e_phnum, mostSegments));
}

/// Where in the file the byte stands that is loaded at `address`; the largest number where none is.
quint64 fileOffset(const std::vector<Segment> &segments, quint64 address)
{
    for (const Segment &segment : segments) {
        if (segment.p_type == PT_LOAD && address >= segment.p_vaddr && address - segment.p_vaddr < segment.p_filesz)
            return segment.p_offset + (address - segment.p_vaddr);
    }
    return std::numeric_limits<quint64>::max();
}

/// The text at `offset`, up to its zero byte; empty where it has none soon enough.
std::string readName(ByteSource &file, quint64 offset)
{
    const std::vector<char> characters = readRecords<char>(file, offset, longestName + 1);
    const auto end = std::find(characters.begin(), characters.end(), '\0');
    return end == characters.end() ? std::string() : std::string(characters.begin(), end);
}

} // namespace

bool isCutOff(ByteSource &file)
{
    const quint64 size = quint64(file.size());
    const std::vector<Segment> segments = readSegments(file);
    return std::any_of(segments.begin(), segments.end(), [size](const Segment &segment) {
        return segment.p_type == PT_LOAD && (segment.p_offset > size || segment.p_filesz > size - segment.p_offset);
    });
}

std::vector<std::string> neededLibraries(ByteSource &file)
{
    const std::vector<Segment> segments = readSegments(file);
    const auto dynamic = std::find_if(segments.begin(), segments.end(),
                                      [](const Segment &segment) { return segment.p_type == PT_DYNAMIC; });
    if (dynamic == segments.end())
        return {};
    const size_t count = std::min(size_t(dynamic->p_filesz / sizeof(Entry)), mostEntries);
    std::vector<Entry> entries = readRecords<Entry>(file, dynamic->p_offset, count);
    entries.erase(
        std::find_if(entries.begin(), entries.end(), [](const Entry &entry) { return entry.d_tag == DT_NULL; }),
        entries.end());

    const auto table =
        std::find_if(entries.begin(), entries.end(), [](const Entry &entry) { return entry.d_tag == DT_STRTAB; });
    if (table == entries.end())
        return {};
    std::vector<std::string> names;
    for (const Entry &entry : entries) {
        if (entry.d_tag != DT_NEEDED)
            continue;
        std::string name = readName(file, fileOffset(segments, table->d_un.d_ptr + entry.d_un.d_val));
        if (!name.empty())
            names.push_back(std::move(name));
    }
    return names;
}
