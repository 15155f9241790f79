#pragma once

#include <QString>

#include <atomic>

namespace quenlofar {

struct WalkProgress;

/// What is kept of a file's bytes, to know them again.
enum class DigestKind {
    None,
    Fast, ///< XXH3 with 128 bits: finds accidents, proves nothing against intent
    Sha256,
};

/// "none", "fast" or "sha256".
QString digestKindText(DigestKind kind);
/// The kind whose text is `text`; None where there is none.
DigestKind digestKindFromText(const QString &text);

/**
 * The digest of all bytes of the file `path` (see pathFromBytes), in lower-case hexadecimal. Null, and `*error` says
 * why, where it cannot be read; null without an error where `cancel` is true or `kind` is None. `progress`, which may
 * be null, follows the reading. May be called by several threads at once. Throws std::bad_alloc.
 */
QString fileDigest(const QString &path, DigestKind kind, const std::atomic<bool> &cancel, WalkProgress *progress,
                   QString *error);

} // namespace quenlofar
