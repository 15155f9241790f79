#include "elflibrary.h"

#include "bytesource.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace quenlofar {

struct ElfLibrary::Segment : ElfW(Phdr)
{
};

struct ElfLibrary::Entry : ElfW(Dyn)
{
};

namespace {

using Header = ElfW(Ehdr);
using Symbol = ElfW(Sym);

constexpr size_t mostSegments = 256;
constexpr size_t mostEntries = 1024; // of the dynamic section; usual are thirty
constexpr size_t longestName = 255;
constexpr size_t longestChain = 4096; // symbols whose names share a place in the table; usual are five
constexpr size_t chainStep = 64; // of them are read at a time
constexpr quint64 nowhere = std::numeric_limits<quint64>::max();

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

/// The number at `offset`, or 0 where there is none.
quint32 readWord(ByteSource &file, quint64 offset)
{
    const std::vector<quint32> words = readRecords<quint32>(file, offset, 1);
    return words.empty() ? 0 : words.front();
}

/// `count` numbers of 32 bits behind `offset`, which is in the file; the sum does not wrap, because counts have 34
/// bits.
quint64 behind(quint64 offset, quint64 count)
{
    return offset + count * sizeof(quint32);
}

/// How the table of DT_GNU_HASH spreads names.
quint32 gnuHash(std::string_view name)
{
    quint32 hash = 5381;
    for (const char character : name)
        hash = hash * 33 + static_cast<unsigned char>(character);
    return hash;
}

/// The number of symbols by DT_HASH, as the System V ABI has it.
quint32 sysvHash(std::string_view name)
{
    quint32 hash = 0;
    for (const char character : name) {
        hash = (hash << 4) + static_cast<unsigned char>(character);
        const quint32 upper = hash & 0xF0000000U;
        hash = (hash ^ (upper >> 24)) & ~upper;
    }
    return hash;
}

} // namespace

ElfLibrary::ElfLibrary(ByteSource &file) : m_file(file)
{
    const std::vector<Header> headers = readRecords<Header>(file, 0, 1);
    if (headers.empty())
        return;
    const Header &header = headers.front();
    const bool isOurs = std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ownClass
        && header.e_ident[EI_DATA] == ownByteOrder && header.e_phentsize == sizeof(Segment);
    if (!isOurs)
        return;
    m_segments = readRecords<Segment>(file, header.e_phoff, std::min<size_t>(header.e_phnum, mostSegments));

    const auto dynamic = std::find_if(m_segments.begin(), m_segments.end(),
                                      [](const Segment &segment) { return segment.p_type == PT_DYNAMIC; });
    if (dynamic == m_segments.end())
        return;
    const size_t count = std::min(size_t(dynamic->p_filesz / sizeof(Entry)), mostEntries);
    m_entries = readRecords<Entry>(file, dynamic->p_offset, count);
    m_entries.erase(
        std::find_if(m_entries.begin(), m_entries.end(), [](const Entry &entry) { return entry.d_tag == DT_NULL; }),
        m_entries.end());
}

ElfLibrary::~ElfLibrary() = default;

bool ElfLibrary::isLibrary() const
{
    return !m_segments.empty();
}

bool ElfLibrary::isCutOff() const
{
    const quint64 size = quint64(m_file.size());
    return std::any_of(m_segments.begin(), m_segments.end(), [size](const Segment &segment) {
        return segment.p_type == PT_LOAD && (segment.p_offset > size || segment.p_filesz > size - segment.p_offset);
    });
}

std::vector<std::string> ElfLibrary::neededLibraries() const
{
    std::vector<std::string> names;
    for (const Entry &entry : m_entries) {
        if (entry.d_tag != DT_NEEDED)
            continue;
        std::string name = nameAt(entry.d_un.d_val);
        if (!name.empty())
            names.push_back(std::move(name));
    }
    return names;
}

bool ElfLibrary::exports(std::string_view function) const
{
    // The dynamic linker prefers the newer kind of table, too.
    if (const quint64 table = address(DT_GNU_HASH); table != nowhere)
        return isInGnuTable(fileOffset(table), function);
    const quint64 table = address(DT_HASH);
    return table != nowhere && isInTable(fileOffset(table), function);
}

/// Where in the file the byte stands that is loaded at `address`; nowhere where none is.
quint64 ElfLibrary::fileOffset(quint64 address) const
{
    for (const Segment &segment : m_segments) {
        if (segment.p_type == PT_LOAD && address >= segment.p_vaddr && address - segment.p_vaddr < segment.p_filesz)
            return segment.p_offset + (address - segment.p_vaddr);
    }
    return nowhere;
}

/// What the dynamic section says under `tag`; nowhere where it does not.
quint64 ElfLibrary::address(qint64 tag) const
{
    const auto found =
        std::find_if(m_entries.begin(), m_entries.end(), [tag](const Entry &entry) { return entry.d_tag == tag; });
    return found == m_entries.end() ? nowhere : quint64(found->d_un.d_ptr);
}

/// The text at `position` of the table of names, up to its zero byte; empty where it has none soon enough.
std::string ElfLibrary::nameAt(quint64 position) const
{
    const quint64 table = address(DT_STRTAB);
    if (table == nowhere)
        return {};
    const std::vector<char> characters = readRecords<char>(m_file, fileOffset(table + position), longestName + 1);
    const auto end = std::find(characters.begin(), characters.end(), '\0');
    return end == characters.end() ? std::string() : std::string(characters.begin(), end);
}

/// Whether symbol `index` is a function of this library that others see under this name.
bool ElfLibrary::isFunction(quint64 index, std::string_view name) const
{
    const quint64 table = address(DT_SYMTAB);
    if (table == nowhere)
        return false;
    const std::vector<Symbol> symbols = readRecords<Symbol>(m_file, fileOffset(table + index * sizeof(Symbol)), 1);
    if (symbols.empty() || symbols.front().st_shndx == SHN_UNDEF)
        return false;
    // Class and width of the fields differ with the width of addresses, these two bytes do not.
    const int kind = ELF64_ST_TYPE(symbols.front().st_info);
    const int seen = ELF64_ST_VISIBILITY(symbols.front().st_other);
    return (kind == STT_FUNC || kind == STT_GNU_IFUNC) && (seen == STV_DEFAULT || seen == STV_PROTECTED)
        && nameAt(symbols.front().st_name) == name;
}

/// The table: numbers of buckets, first symbol, words of a filter, its shift; the filter, the buckets, the chains.
bool ElfLibrary::isInGnuTable(quint64 table, std::string_view name) const
{
    const std::vector<quint32> header = readRecords<quint32>(m_file, table, 4);
    if (header.size() < 4 || header[0] == 0)
        return false;
    const quint64 buckets = behind(table, 4 + quint64(header[2]) * (sizeof(ElfW(Addr)) / sizeof(quint32)));
    const quint64 chains = behind(buckets, header[0]);
    const quint32 firstSymbol = header[1];
    const quint32 hash = gnuHash(name);
    const quint64 first = readWord(m_file, behind(buckets, hash % header[0]));
    if (first < firstSymbol)
        return false;
    for (quint64 passed = 0; passed < longestChain; passed += chainStep) {
        const std::vector<quint32> chain =
            readRecords<quint32>(m_file, behind(chains, first - firstSymbol + passed), chainStep);
        for (size_t at = 0; at < chain.size(); ++at) {
            // The lowest bit says that the chain ends here.
            if ((chain[at] | 1) == (hash | 1) && isFunction(first + passed + at, name))
                return true;
            if ((chain[at] & 1) != 0)
                return false;
        }
        if (chain.size() < chainStep)
            return false;
    }
    return false;
}

/// The table: numbers of buckets and of chain entries, the buckets, for each symbol the next one of its chain.
bool ElfLibrary::isInTable(quint64 table, std::string_view name) const
{
    const quint32 bucketCount = readWord(m_file, table);
    if (bucketCount == 0)
        return false;
    quint64 symbol = readWord(m_file, behind(table, 2 + quint64(sysvHash(name) % bucketCount)));
    for (size_t passed = 0; symbol != STN_UNDEF && passed < longestChain; ++passed) {
        if (isFunction(symbol, name))
            return true;
        symbol = readWord(m_file, behind(table, 2 + quint64(bucketCount) + symbol));
    }
    return false;
}

} // namespace quenlofar
