#pragma once

#include <QtGlobal>

#include <cstddef>

namespace quenlofar {

/// A note of an ELF file that holds a plug-in's version: not an export, and `readelf --notes` shows it too.
template <size_t Size> struct PluginVersionNote
{
    quint32 ownerSize; ///< of the owner's name with its zero byte; what follows is padding
    quint32 versionSize; ///< of the version with its zero byte
    quint32 type; ///< 1
    char owner[12]; ///< "quenlofar"
    char version[Size]; ///< as it is shown, with a zero byte
};

#if defined(__clang__)
// AddressSanitizer would put a gap behind it, and a section of notes has none.
#define QUENLOFAR_NOTE_ATTRIBUTES gnu::used, gnu::section(".note.quenlofar"), clang::no_sanitize("address")
#else
/// How the note is kept in its section; for QUENLOFAR_PLUGIN_VERSION alone.
#define QUENLOFAR_NOTE_ATTRIBUTES gnu::used, gnu::section(".note.quenlofar")
#endif

/// Stands once in a plug-in that tells its version, a literal such as "1.0", at namespace scope.
#define QUENLOFAR_PLUGIN_VERSION(text)                                                                                 \
    [[QUENLOFAR_NOTE_ATTRIBUTES]] alignas(4) static const quenlofar::PluginVersionNote<sizeof(text)> pluginVersionNote \
    {                                                                                                                  \
        sizeof("quenlofar"), sizeof(text), 1, "quenlofar", text                                                        \
    }

} // namespace quenlofar
