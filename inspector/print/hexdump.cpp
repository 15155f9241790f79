#include "hexdump.h"

#include "ecma48.h"

#include <algorithm>

namespace quenlofar {

HexDump::HexDump(quint64 end) : m_digits(std::max(8, int(QString::number(end, 16).size()))) { }

void HexDump::setMarked(const ByteRange &range, bool colour)
{
    m_marked = range;
    m_colour = colour;
}

QString HexDump::line(quint64 offset, const QByteArray &bytes) const
{
    QString line = QString::number(offset, 16).rightJustified(m_digits, QLatin1Char('0')) + QStringLiteral("  ");
    QString ascii;
    for (int i = 0; i < int(bytes.size()); ++i) {
        const auto byte = uchar(bytes[i]);
        const quint64 at = offset + quint64(i);
        line += separatorBefore(at, i == 0);
        line += styled(at, QString::number(byte, 16).rightJustified(2, QLatin1Char('0')));
        ascii += styled(at, QString(QLatin1Char(byte >= 0x20 && byte < 0x7F ? char(byte) : '.')));
    }
    const quint64 end = offset + quint64(bytes.size());
    line += m_marked && m_marked->end() == end ? QLatin1Char(']') : QLatin1Char(' ');
    line += QString(3 * (int(bytesPerLine) - int(bytes.size())) + 1, QLatin1Char(' '));
    return line + QLatin1Char('|') + ascii + QLatin1Char('|');
}

QString HexDump::styled(quint64 offset, const QString &text) const
{
    const bool isMarked = !m_marked || (offset >= m_marked->offset && offset < m_marked->end());
    return isMarked || !m_colour ? text : ecma48::styled(text, ecma48::faint);
}

/// The end of a marked range is shown behind its last byte: at the end of that byte's line.
QLatin1Char HexDump::separatorBefore(quint64 offset, bool isFirst) const
{
    if (m_marked && offset == m_marked->offset)
        return QLatin1Char('[');
    return QLatin1Char(m_marked && offset == m_marked->end() && !isFirst ? ']' : ' ');
}

} // namespace quenlofar
