#pragma once

#include "bytekinds.h"
#include "document.h"
#include "hexlayout.h"

#include <QAbstractScrollArea>
#include <QString>

#include <vector>

class QPainter;

namespace quenlofar {

/// How the bytes are shown.
struct HexStyle
{
    /// How the text column reads bytes.
    enum class Text { Latin1, Utf8 };

    int columns = 16; ///< HexLayout::fewestColumns to mostColumns
    bool offsetsInHex = true; ///< otherwise decimal
    Text text = Text::Latin1; ///< of the text column
};

/// A row of bytes as it is shown and read aloud.
struct HexRow
{
    quint64 offset = 0; ///< of the first byte
    QString offsetText; ///< as it is shown
    std::vector<uchar> bytes; ///< as many as the row has
    std::vector<ByteState> states; ///< of them
    QString hex; ///< two characters and a blank for each; ".." awaited, "--" failed
    QString text; ///< one character for each byte
};

/**
 * The bytes of a document: offsets, values and characters, of any file up to 2^63 bytes. Follows the current place and
 * sets it: the byte under the cursor, or what is selected. Shows what each byte belongs to by its ground: a faint
 * colour for what kind the strict reading says it is of, two shades in turn for fields, hatching for unparsed bytes and
 * gaps; the element of the place has a frame.
 */
class HexView : public QAbstractScrollArea
{
    Q_OBJECT

public:
    /// Shows `document`, which outlives the view.
    explicit HexView(Document &document, QWidget *parent = nullptr);

    const HexStyle &style() const { return m_style; } ///< see setHexStyle
    void setHexStyle(const HexStyle &style); ///< the number of columns is brought into its bounds
    const HexLayout &layoutOfBytes() const { return m_layout; } ///< of the file in the view as it is
    quint64 topRow() const { return m_top; } ///< the first row that is shown
    void setTopRow(quint64 row); ///< brought into its bounds
    int rowsInView() const; ///< rows that are shown, at least in part
    HexRow row(quint64 number) const; ///< of the file, as it is shown now; asks for the bytes where they are missing
    quint64 cursor() const { return m_cursor; } ///< the byte that keys move from
    ByteRange selection() const; ///< at least the byte under the cursor, in a file that has bytes
    /// "offset, value, element" of the byte under the cursor.
    QString cursorText() const;
    /// The names of the elements of a row, in order, each once.
    QString elementsOfRow(quint64 number) const;
    /// Where a row is in the viewport; empty where it is not shown.
    QRect rowRect(quint64 number) const;
    /// The byte at a point of the viewport, or the nearest one.
    quint64 offsetAt(const QPoint &point) const;
    /// Where the value of a byte is in the viewport; empty where it is not shown.
    QRect byteRect(quint64 offset) const;

    QSize sizeHint() const override;

Q_SIGNALS:
    void cursorMoved(); ///< cursor() or selection() is another one
    void rowsChanged(); ///< other rows are shown, or their bytes came

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void changeEvent(QEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    void updateMetrics();
    void updateBar();
    void followBar(int action);
    void followPlace();
    void moveCursor(quint64 offset, bool extends);
    void select(quint64 anchor, quint64 cursor, Move move);
    void showRow(quint64 row);
    int contentWidth() const;
    int hexLeft() const { return m_offsetWidth + m_cell; }
    int textLeft() const { return hexLeft() + m_style.columns * 3 * m_cell + m_cell; }
    QString offsetText(quint64 offset) const;
    QString textOf(const HexRow &row) const;
    void paintGround(QPainter *painter, const HexRow &row, int top, const std::vector<ByteSpan> &spans) const;
    void paintHatching(QPainter *painter, const HexRow &row, int top, const std::vector<ByteSpan> &spans) const;
    void paintFrame(QPainter *painter, const HexRow &row, int top, const ByteRange &range) const;
    void paintRegions(QPainter *painter, const HexRow &row, int top) const;
    void fillBytes(QPainter *painter, int top, int first, int count, const QBrush &ground) const;
    void paintSelection(QPainter *painter, const HexRow &row, int top) const;

    Document &m_document;
    HexStyle m_style;
    HexLayout m_layout;
    quint64 m_top = 0;
    quint64 m_cursor = 0;
    quint64 m_anchor = 0; // the other end of the selection
    int m_cell = 8; // width of a character in pixels
    int m_rowHeight = 16;
    int m_offsetWidth = 0;
    int m_wheelRest = 0; // turns of the wheel that make no row yet
    bool m_isSetting = false; // the place is being set from here
    bool m_isFollowing = false; // the bar is being set from here
};

} // namespace quenlofar
