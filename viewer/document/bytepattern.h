#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace quenlofar {

/// Bytes to look for, some of which may be anything in part.
class BytePattern
{
public:
    /// More bytes are not looked for.
    static constexpr int mostBytes = 4096;

    /// `bytes` as they are; at least one, at most mostBytes.
    static BytePattern exactly(const QByteArray &bytes);
    /// Hexadecimal digits, two for each byte, with or without blanks between bytes: "00 dc ?? 4?", where "?" stands for
    /// any digit. Nothing for any other text, or where no digit is told; `*error` then says what is wrong.
    static std::optional<BytePattern> parse(const QString &text, QString *error);

    int size() const { return int(m_values.size()); } ///< bytes
    bool canBeZero() const { return m_canBeZero; } ///< zero bytes match
    /// Appends to `*found` where in the `count` bytes from `bytes` on the pattern begins, in order: positions below
    /// `count` - size() + 1. Overlapping places are all found.
    void find(const uchar *bytes, size_t count, std::vector<size_t> *found) const;

private:
    void choose();
    bool matchesAt(const uchar *bytes) const;

    std::vector<uchar> m_values;
    std::vector<uchar> m_masks; // bits that count
    size_t m_first = 0; // the two bytes that tell most: they are looked for
    size_t m_second = 0;
    bool m_canBeZero = false;
};

/// What people look for in the bytes of a file, in one of these forms.
struct ByteQuery
{
    /// How the text is to be read.
    enum class Kind {
        Bytes, ///< hexadecimal, see BytePattern::parse
        Text, ///< its UTF-8
        FourCC, ///< four characters, Latin-1
        Number, ///< decimal or 0x: 1, 2, 4 or 8 bytes, the fewest that it needs, in either byte order
    };

    std::vector<BytePattern> patterns; ///< any of them; all of one size

    /// Nothing where the text cannot be read so; `*error` then says why, in words for people.
    static std::optional<ByteQuery> parse(Kind kind, const QString &text, QString *error);
    int size() const { return patterns.empty() ? 0 : patterns.front().size(); } ///< bytes of a place that is found
};

} // namespace quenlofar
