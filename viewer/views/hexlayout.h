#pragma once

#include <QtGlobal>

namespace quenlofar {

/**
 * Which byte stands in which row and where the scroll bar is: files have up to 2^63 bytes, a scroll bar has 31 bits.
 * Where the rows are more than a bar can count, one of its positions stands for many rows; steps and pages still move
 * by rows, because the first row that is shown is kept as it is and the bar only follows it.
 */
struct HexLayout
{
    static constexpr int fewestColumns = 8;
    static constexpr int mostColumns = 64;
    static constexpr int mostPositions = 1 << 30; ///< of a scroll bar

    quint64 size = 0; ///< bytes of the file
    int columns = 16; ///< bytes of a row
    int visibleRows = 1; ///< whole rows that fit into the view; at least one

    /// Rows of the file; at least one.
    quint64 rowCount() const { return size == 0 ? 1 : (size - 1) / quint64(columns) + 1; }
    /// The last row that can be the first one shown.
    quint64 lastTop() const
    {
        const quint64 rows = rowCount();
        return rows > quint64(visibleRows) ? rows - quint64(visibleRows) : 0;
    }
    /// The row of a byte.
    quint64 rowOf(quint64 offset) const { return offset / quint64(columns); }
    /// The largest position of the scroll bar; the smallest is 0.
    int barMaximum() const { return int(lastTop() < quint64(mostPositions) ? lastTop() : quint64(mostPositions)); }
    /// The first row to show where the bar is at `position`.
    quint64 topOf(int position) const
    {
        const quint64 last = lastTop();
        const quint64 maximum = quint64(barMaximum());
        if (maximum == 0 || position <= 0)
            return 0;
        // last * position / maximum, in parts that do not overflow.
        const quint64 at = quint64(position);
        return at >= maximum ? last : last / maximum * at + last % maximum * at / maximum;
    }
    /// Where the bar is when `top` is the first row shown.
    int positionOf(quint64 top) const
    {
        const quint64 last = lastTop();
        constexpr quint64 maximum = mostPositions;
        if (last <= maximum)
            return int(top < last ? top : last);
        if (top >= last)
            return int(maximum);
        const quint64 rowsOfPosition = last / maximum;
        // A first guess that is never too far, and then the last position that shows this row or one before it.
        quint64 low = top / (rowsOfPosition + 1);
        quint64 high = top / rowsOfPosition < maximum ? top / rowsOfPosition : maximum;
        while (low < high) {
            const quint64 middle = low + (high - low + 1) / 2;
            if (topOf(int(middle)) <= top)
                low = middle;
            else
                high = middle - 1;
        }
        return int(low);
    }
};

} // namespace quenlofar
