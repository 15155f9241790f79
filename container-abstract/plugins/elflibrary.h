#pragma once

#include "containerabstract_export.h"

#include <QtGlobal>

#include <string>
#include <string_view>
#include <vector>

namespace quenlofar {

class ByteSource;

/**
 * What the ELF file of a shared library says of itself: known before any of its code runs. An instance knows nothing
 * where the file is no ELF file with addresses and byte order as here, or is broken; the dynamic linker then says what
 * is wrong. Each question reads some kilobytes at most, and no number of the file is believed without a bound.
 */
class CONTAINERABSTRACT_EXPORT ElfLibrary
{
public:
    /// `file` outlives the object.
    explicit ElfLibrary(ByteSource &file);
    ~ElfLibrary();
    ElfLibrary(const ElfLibrary &) = delete;
    ElfLibrary &operator=(const ElfLibrary &) = delete;

    /// False where the dynamic linker will refuse it as well, and can say better why.
    bool isLibrary() const;
    /// Whether a part that is to be loaded stands behind the file's end, as in one that was copied in part. The dynamic
    /// linker would map it all the same, and the program would end with SIGBUS.
    bool isCutOff() const;
    /// The shared libraries that it names as needed (DT_NEEDED), in its order: what would be loaded with it.
    std::vector<std::string> neededLibraries() const;
    /// Whether the library itself exports a function of this name, as the dynamic linker would look it up.
    bool exports(std::string_view function) const;

private:
    struct Segment;
    struct Entry;

    quint64 fileOffset(quint64 address) const;
    quint64 address(qint64 tag) const;
    std::string nameAt(quint64 position) const;
    bool isFunction(quint64 index, std::string_view name) const;
    bool isInGnuTable(quint64 table, std::string_view name) const;
    bool isInTable(quint64 table, std::string_view name) const;

    ByteSource &m_file;
    std::vector<Segment> m_segments;
    std::vector<Entry> m_entries; // of the dynamic section
};

} // namespace quenlofar
