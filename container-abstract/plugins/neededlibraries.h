#pragma once

#include "containerabstract_export.h"

#include <string>
#include <vector>

class ByteSource;

/**
 * The shared libraries that an ELF file names as needed (DT_NEEDED), in its order: what the dynamic linker would load
 * with it, known before any of its code runs. Empty where `file` is no ELF file with addresses and byte order as here,
 * or is broken; the dynamic linker then says what is wrong. Reads some kilobytes at most, and believes no number
 * without a bound.
 */
CONTAINERABSTRACT_EXPORT std::vector<std::string> neededLibraries(ByteSource &file);

/// Whether a part of the ELF file that is to be loaded stands behind the file's end, as in one that was copied in part.
/// The dynamic linker would map it all the same, and the program would end with SIGBUS.
CONTAINERABSTRACT_EXPORT bool isCutOff(ByteSource &file);
