#pragma once

#include "byterange.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace quenlofar {

/// Bytes of a file as lines for people: where they stand, in hexadecimal, and as ASCII.
class HexDump
{
public:
    static constexpr quint64 bytesPerLine = 16;

    /// For places up to `end`.
    explicit HexDump(quint64 end);
    /// Brackets show where `range` begins and ends; in colour the bytes around it are faint.
    void setMarked(const ByteRange &range, bool colour);

    /// The line of `bytes`, at most bytesPerLine, that stand at `offset`.
    QString line(quint64 offset, const QByteArray &bytes) const;
    /// At which character of a line byte `ordinal` of it stands; it takes two.
    int column(int ordinal) const { return m_digits + 3 + 3 * ordinal; }

private:
    QString styled(quint64 offset, const QString &text) const;
    QLatin1Char separatorBefore(quint64 offset, bool isFirst) const;

    int m_digits;
    std::optional<ByteRange> m_marked;
    bool m_colour = false;
};

} // namespace quenlofar
