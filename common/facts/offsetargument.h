#pragma once

#include <QStringView>

#include <optional>

namespace quenlofar {

/// An offset as people type it: from the start of a file, or back from its end.
struct FileOffset
{
    quint64 distance = 0; ///< bytes
    bool isFromEnd = false;

    /// "1000", "0x3E8" or "end-100"; nothing for any other text.
    static std::optional<FileOffset> parse(QStringView text);
    /// Bytes from the start of a file of `fileSize` bytes, maybe behind its end; nothing when it is before its start.
    std::optional<quint64> in(quint64 fileSize) const;
};

/// A range as people type it.
struct FileRange
{
    FileOffset begin;
    quint64 size = 0; ///< bytes

    /// "OFFSET+LENGTH", the length in decimal or hexadecimal; nothing for any other text.
    static std::optional<FileRange> parse(QStringView text);
};

} // namespace quenlofar
