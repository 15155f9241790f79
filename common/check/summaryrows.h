#pragma once

#include "sizetext.h"

#include <QString>
#include <QVector>

namespace quenlofar {

struct FileSummary;
struct StreamPackets;
struct StrictReading;

/// A fact of a summary, fit to be shown.
struct SummaryRow
{
    QString label; ///< indented where it belongs to the row before; may be empty
    QString text;
    bool isTrouble; ///< something is wrong with the file
};

/// What there is to say of one file, row by row, in the order in which it is added.
class SummaryRows
{
public:
    /// Numbers of bytes are shown in `sizes`, offsets hexadecimal or decimal.
    SummaryRows(SizeUnits sizes, bool hexOffsets) : m_sizes(sizes), m_hexOffsets(hexOffsets) { }

    /// Container, size, and what the container's describer says of the whole file.
    void addFile(const FileSummary &summary);
    /// The streams and their packets; frames of an index where nobody lists packets.
    void addStreams(FileSummary &summary, const StrictReading &reading);
    /// Bytes that are not interpreted, and gaps.
    void addBytes(const FileSummary &summary);
    /// What the parser reported.
    void addProblems(const FileSummary &summary);
    /// One more row.
    void add(const QString &label, const QString &text, bool isTrouble = false);

    const QVector<SummaryRow> &rows() const { return m_rows; } ///< so far

private:
    void addFrames(FileSummary &summary, uint videoOrdinal);
    void addPackets(const StreamPackets &packets);
    QString placeText(quint64 offset) const;

    const SizeUnits m_sizes;
    const bool m_hexOffsets;
    QVector<SummaryRow> m_rows;
};

} // namespace quenlofar
