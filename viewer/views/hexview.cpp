#include "hexview.h"

#include "displaytext.h"
#include "kindcolors.h"

#include <QApplication>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

#include <algorithm>

namespace quenlofar {

namespace {

constexpr int margin = 4; // pixels left of the offsets
constexpr int rowsOfWheelStep = 3;

QString hexDigits(uchar byte)
{
    constexpr char digits[] = "0123456789ABCDEF";
    return QString(QLatin1Char(digits[byte >> 4])) + QLatin1Char(digits[byte & 0xF]);
}

} // namespace

HexView::HexView(Document &document, QWidget *parent) : QAbstractScrollArea(parent), m_document(document)
{
    setObjectName(QStringLiteral("hexView"));
    setAccessibleName(tr("Bytes"));
    setFocusPolicy(Qt::StrongFocus);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setFocusProxy(this);
    verticalScrollBar()->setAccessibleName(tr("Position in the file"));
    horizontalScrollBar()->setAccessibleName(tr("Columns of bytes"));
    connect(verticalScrollBar(), &QScrollBar::actionTriggered, this, &HexView::followBar);
    connect(&m_document, &Document::opened, this, [this] {
        updateMetrics();
        followPlace();
    });
    connect(&m_document, &Document::bytesChanged, this, [this] {
        viewport()->update();
        Q_EMIT rowsChanged();
    });
    connect(&m_document, &Document::treeGrew, viewport(), QOverload<>::of(&QWidget::update));
    connect(&m_document, &Document::placeResolved, viewport(), QOverload<>::of(&QWidget::update));
    connect(&m_document, &Document::tablesCame, viewport(), QOverload<>::of(&QWidget::update));
    connect(&m_document, &Document::placeChanged, this, &HexView::followPlace);
    updateMetrics();
}

void HexView::setHexStyle(const HexStyle &style)
{
    const quint64 first = m_top * quint64(m_layout.columns);
    m_style = style;
    m_style.columns = std::clamp(style.columns, HexLayout::fewestColumns, HexLayout::mostColumns);
    updateMetrics();
    setTopRow(m_layout.rowOf(first));
    viewport()->update();
    Q_EMIT rowsChanged();
}

QSize HexView::sizeHint() const
{
    constexpr int rows = 24;
    return {contentWidth() + verticalScrollBar()->sizeHint().width() + 2 * frameWidth(), rows * m_rowHeight};
}

int HexView::contentWidth() const
{
    return textLeft() + m_style.columns * m_cell + margin;
}

void HexView::updateMetrics()
{
    const QFontMetrics metrics(font());
    m_cell = std::max(1, metrics.horizontalAdvance(QLatin1Char('0')));
    m_rowHeight = std::max(1, metrics.height());
    m_layout.size = m_document.size();
    m_layout.columns = m_style.columns;
    m_layout.visibleRows = std::max(1, viewport()->height() / m_rowHeight);
    const quint64 last = m_layout.size > 0 ? m_layout.size - 1 : 0;
    m_offsetWidth = margin + m_cell * int(offsetText(last).size());
    updateBar();
}

void HexView::updateBar()
{
    m_isFollowing = true;
    m_top = std::min(m_top, m_layout.lastTop());
    verticalScrollBar()->setRange(0, m_layout.barMaximum());
    verticalScrollBar()->setPageStep(std::min(m_layout.visibleRows, HexLayout::mostPositions));
    verticalScrollBar()->setValue(m_layout.positionOf(m_top));
    horizontalScrollBar()->setRange(0, std::max(0, contentWidth() - viewport()->width()));
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(m_cell);
    m_isFollowing = false;
}

void HexView::setTopRow(quint64 row)
{
    row = std::min(row, m_layout.lastTop());
    if (row == m_top)
        return;
    m_top = row;
    m_isFollowing = true;
    verticalScrollBar()->setValue(m_layout.positionOf(row));
    m_isFollowing = false;
    viewport()->update();
    Q_EMIT rowsChanged();
}

/// A step or a page of the bar is one of rows, however many rows one of its positions stands for.
void HexView::followBar(int action)
{
    const quint64 page = quint64(m_layout.visibleRows);
    switch (action) {
    case QAbstractSlider::SliderSingleStepAdd:
        setTopRow(m_top + 1);
        break;
    case QAbstractSlider::SliderSingleStepSub:
        setTopRow(m_top > 0 ? m_top - 1 : 0);
        break;
    case QAbstractSlider::SliderPageStepAdd:
        setTopRow(m_top + page);
        break;
    case QAbstractSlider::SliderPageStepSub:
        setTopRow(m_top > page ? m_top - page : 0);
        break;
    default:
        return; // the bar is dragged: scrollContentsBy comes
    }
    verticalScrollBar()->setSliderPosition(m_layout.positionOf(m_top));
}

void HexView::scrollContentsBy(int, int)
{
    const int position = verticalScrollBar()->value();
    if (!m_isFollowing && position != m_layout.positionOf(m_top)) {
        m_top = m_layout.topOf(position);
        Q_EMIT rowsChanged();
    }
    viewport()->update();
}

int HexView::rowsInView() const
{
    const quint64 left = m_layout.rowCount() - m_top;
    return int(std::min<quint64>(left, quint64(viewport()->height() / m_rowHeight) + 1));
}

QString HexView::offsetText(quint64 offset) const
{
    const quint64 last = m_layout.size > 0 ? m_layout.size - 1 : 0;
    if (!m_style.offsetsInHex)
        return QString::number(offset).rightJustified(QString::number(last).size(), QLatin1Char(' '));
    const int digits = std::max(8, int(QString::number(last, 16).size()));
    return QString::number(offset, 16).toUpper().rightJustified(digits, QLatin1Char('0'));
}

HexRow HexView::row(quint64 number) const
{
    HexRow row;
    row.offset = number * quint64(m_layout.columns);
    row.offsetText = offsetText(row.offset);
    const quint64 left = m_layout.size > row.offset ? m_layout.size - row.offset : 0;
    const int count = int(std::min<quint64>(left, quint64(m_layout.columns)));
    row.bytes.resize(size_t(count));
    row.states.resize(size_t(count));
    m_document.bytes(row.offset, count, row.bytes.data(), row.states.data());
    for (int i = 0; i < count; ++i) {
        switch (row.states[size_t(i)]) {
        case ByteState::Known:
            row.hex += hexDigits(row.bytes[size_t(i)]);
            break;
        case ByteState::Awaited:
            row.hex += QStringLiteral("..");
            break;
        case ByteState::Failed:
        case ByteState::Outside:
            row.hex += QStringLiteral("--");
            break;
        }
        row.hex += QLatin1Char(' ');
    }
    row.text = textOf(row);
    return row;
}

/// One character for each byte; in UTF-8 the first byte of a character has it, the others have blanks.
QString HexView::textOf(const HexRow &row) const
{
    QString text(int(row.bytes.size()), QLatin1Char(' '));
    for (int i = 0; i < int(row.bytes.size()); ++i) {
        if (row.states[size_t(i)] != ByteState::Known)
            continue;
        const uchar byte = row.bytes[size_t(i)];
        QChar shown = QLatin1Char(char(byte));
        const int extra = byte >= 0xC2 && byte < 0xE0 ? 1 : byte >= 0xE0 && byte < 0xF0 ? 2 : 0;
        if (m_style.text == HexStyle::Text::Utf8 && byte >= 0x80) {
            shown = QLatin1Char('.');
            const size_t last = size_t(i) + size_t(extra);
            if (extra > 0 && last < row.bytes.size() && row.states[last] == ByteState::Known) {
                const QString character =
                    QString::fromUtf8(reinterpret_cast<const char *>(row.bytes.data()) + i, extra + 1);
                if (character.size() == 1 && character.at(0) != QChar::ReplacementCharacter
                    && character.at(0).isPrint()) {
                    text[i] = character.at(0);
                    i += extra;
                    continue;
                }
            }
        }
        const char16_t unit = shown.unicode();
        text[i] = isControl(unit) || unit == 0xAD ? QLatin1Char('.') : shown;
    }
    return text;
}

ByteRange HexView::selection() const
{
    if (m_layout.size == 0)
        return {};
    const quint64 first = std::min(m_anchor, m_cursor);
    return {first, std::max(m_anchor, m_cursor) - first + 1};
}

QString HexView::cursorText() const
{
    if (m_layout.size == 0)
        return tr("no bytes");
    uchar byte = 0;
    ByteState state = ByteState::Outside;
    m_document.bytes(m_cursor, 1, &byte, &state);
    const QString value = state == ByteState::Known ? hexDigits(byte)
        : state == ByteState::Awaited               ? tr("not read yet")
                                                    : tr("cannot be read");
    const ByteSpan span = spansOf(m_document.tree(), {m_cursor, 1}).front();
    const QString name = span.kind == ElementKind::Unparsed || span.item == GrowingTree::root()
        ? elementKindText(span.kind)
        : displayText(m_document.tree().name(span.item));
    return tr("offset %1, value %2, %3").arg(offsetText(m_cursor).trimmed(), value, name);
}

QString HexView::elementsOfRow(quint64 number) const
{
    const quint64 begin = number * quint64(m_layout.columns);
    if (begin >= m_layout.size)
        return {};
    QStringList names;
    const auto spans =
        spansOf(m_document.tree(), {begin, std::min<quint64>(quint64(m_layout.columns), m_layout.size - begin)});
    for (const ByteSpan &span : spans) {
        const bool hasName = span.kind == ElementKind::Field || span.kind == ElementKind::Node;
        names.append(hasName ? displayText(m_document.tree().name(span.item)) : elementKindText(span.kind));
    }
    names.removeDuplicates();
    return names.join(QStringLiteral(", "));
}

QRect HexView::rowRect(quint64 number) const
{
    if (number < m_top || number >= m_top + quint64(rowsInView()))
        return {};
    return {0, int(number - m_top) * m_rowHeight, viewport()->width(), m_rowHeight};
}

QRect HexView::byteRect(quint64 offset) const
{
    const QRect row = rowRect(m_layout.rowOf(offset));
    if (row.isNull())
        return {};
    const int column = int(offset % quint64(m_layout.columns));
    return {hexLeft() + column * 3 * m_cell - horizontalScrollBar()->value(), row.top(), 2 * m_cell, m_rowHeight};
}

quint64 HexView::offsetAt(const QPoint &point) const
{
    const int x = point.x() + horizontalScrollBar()->value();
    const int column = x >= textLeft() ? (x - textLeft()) / m_cell : (x - hexLeft() + m_cell / 2) / (3 * m_cell);
    // Above the view a row less, so that dragging there scrolls.
    const int rowInView = point.y() < 0 ? -1 : point.y() / m_rowHeight;
    const quint64 row = rowInView < 0 ? (m_top > 0 ? m_top - 1 : 0) : m_top + quint64(rowInView);
    const quint64 lastRow = m_layout.rowCount() - 1;
    const quint64 offset =
        std::min(row, lastRow) * quint64(m_layout.columns) + quint64(std::clamp(column, 0, m_layout.columns - 1));
    return m_layout.size == 0 ? 0 : std::min(offset, m_layout.size - 1);
}

void HexView::showRow(quint64 row)
{
    if (row < m_top)
        setTopRow(row);
    else if (row - m_top >= quint64(m_layout.visibleRows))
        setTopRow(row - quint64(m_layout.visibleRows) + 1);
}

void HexView::select(quint64 anchor, quint64 cursor, Move move)
{
    if (m_layout.size == 0)
        return;
    m_anchor = std::min(anchor, m_layout.size - 1);
    m_cursor = std::min(cursor, m_layout.size - 1);
    showRow(m_layout.rowOf(m_cursor));
    m_isSetting = true;
    m_document.setBytes(selection(), move);
    m_isSetting = false;
    viewport()->update();
    Q_EMIT cursorMoved();
}

void HexView::moveCursor(quint64 offset, bool extends)
{
    select(extends ? m_anchor : offset, offset, Move::Step);
}

void HexView::followPlace()
{
    viewport()->update();
    if (m_isSetting)
        return;
    const ByteRange range = m_document.place().range;
    m_anchor = range.size > 0 ? range.end() - 1 : range.offset;
    m_cursor = range.offset;
    const quint64 row = m_layout.rowOf(m_cursor);
    // A place out of sight is shown with some rows before it.
    if (row < m_top || row >= m_top + quint64(m_layout.visibleRows)) {
        const quint64 before = quint64(m_layout.visibleRows / 3);
        setTopRow(row > before ? row - before : 0);
    }
    Q_EMIT cursorMoved();
}

void HexView::keyPressEvent(QKeyEvent *event)
{
    const bool extends = (event->modifiers() & Qt::ShiftModifier) != 0;
    const bool isWhole = (event->modifiers() & Qt::ControlModifier) != 0;
    const quint64 columns = quint64(m_layout.columns);
    const quint64 page = columns * quint64(m_layout.visibleRows);
    const quint64 last = m_layout.size > 0 ? m_layout.size - 1 : 0;
    const auto back = [this](quint64 bytes) { return m_cursor >= bytes ? m_cursor - bytes : m_cursor; };
    const auto forward = [this, last](quint64 bytes) { return last - m_cursor >= bytes ? m_cursor + bytes : m_cursor; };
    if ((event->modifiers() & Qt::AltModifier) != 0) {
        QAbstractScrollArea::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Left:
        moveCursor(back(1), extends);
        break;
    case Qt::Key_Right:
        moveCursor(forward(1), extends);
        break;
    case Qt::Key_Up:
        moveCursor(back(columns), extends);
        break;
    case Qt::Key_Down:
        moveCursor(forward(columns), extends);
        break;
    case Qt::Key_PageUp:
        moveCursor(m_cursor >= page ? m_cursor - page : m_cursor % columns, extends);
        break;
    case Qt::Key_PageDown:
        moveCursor(last - m_cursor >= page ? m_cursor + page : last, extends);
        break;
    case Qt::Key_Home:
        moveCursor(isWhole ? 0 : m_cursor - m_cursor % columns, extends);
        break;
    case Qt::Key_End:
        moveCursor(isWhole ? last : std::min(last, m_cursor - m_cursor % columns + columns - 1), extends);
        break;
    case Qt::Key_A:
        if (isWhole) {
            const quint64 top = m_top;
            select(last, 0, Move::Step);
            setTopRow(top);
            break;
        }
        [[fallthrough]];
    default:
        QAbstractScrollArea::keyPressEvent(event);
    }
}

void HexView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    const quint64 offset = offsetAt(event->pos());
    const bool extends = (event->modifiers() & Qt::ShiftModifier) != 0;
    select(extends ? m_anchor : offset, offset, extends ? Move::Step : Move::Jump);
}

void HexView::mouseMoveEvent(QMouseEvent *event)
{
    if ((event->buttons() & Qt::LeftButton) != 0)
        select(m_anchor, offsetAt(event->pos()), Move::Step);
}

void HexView::wheelEvent(QWheelEvent *event)
{
    constexpr int unitsOfStep = 120; // QWheelEvent: eighths of a degree, 15 degrees a step
    m_wheelRest += event->angleDelta().y() * rowsOfWheelStep;
    const int rows = m_wheelRest / unitsOfStep;
    m_wheelRest -= rows * unitsOfStep;
    if (rows > 0)
        setTopRow(m_top > quint64(rows) ? m_top - quint64(rows) : 0);
    else if (rows < 0)
        setTopRow(m_top + quint64(-rows));
    event->accept();
}

void HexView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateMetrics();
    Q_EMIT rowsChanged();
}

void HexView::changeEvent(QEvent *event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        updateMetrics();
}

/// Of `count` bytes of a row from the column `first` on, values and characters.
void HexView::fillBytes(QPainter *painter, int top, int first, int count, const QBrush &ground) const
{
    painter->fillRect(hexLeft() + first * 3 * m_cell, top, count * 3 * m_cell - m_cell, m_rowHeight, ground);
    painter->fillRect(textLeft() + first * m_cell, top, count * m_cell, m_rowHeight, ground);
}

/// The colours of the kinds of bytes, where the strict reading knows them.
void HexView::paintRegions(QPainter *painter, const HexRow &row, int top) const
{
    const RegionTable *const regions = m_document.regions();
    if (!regions)
        return;
    const quint64 end = std::min<quint64>(row.offset + row.bytes.size(), regions->fileSize());
    for (quint64 at = row.offset; at < end;) {
        const Region region = regions->at(at);
        const quint64 to = std::min(region.range.end(), end);
        if (region.kind != RegionKind::Unknown)
            fillBytes(painter, top, int(at - row.offset), int(to - at),
                      faintColor(kindColor(region.kind, palette()), palette()));
        at = to;
    }
}

void HexView::paintGround(QPainter *painter, const HexRow &row, int top, const std::vector<ByteSpan> &spans) const
{
    const quint64 end = row.offset + row.bytes.size();
    for (const ByteSpan &span : spans) {
        const quint64 from = std::max(span.range.offset, row.offset);
        const quint64 to = std::min(span.range.end(), end);
        if (from >= to)
            continue;
        QBrush ground(Qt::NoBrush);
        QColor shade = palette().color(QPalette::Highlight);
        switch (span.kind) {
        case ElementKind::NotYet:
        case ElementKind::Gap:
        case ElementKind::Unparsed:
            continue;
        case ElementKind::Node:
            ground = palette().brush(QPalette::AlternateBase);
            break;
        case ElementKind::Field:
            // Neighbours differ, whatever rows are in sight.
            shade.setAlpha(m_document.tree().row(span.item) % 2 == 0 ? 28 : 56);
            ground = QBrush(shade);
            break;
        }
        const int first = int(from - row.offset);
        const int count = int(to - from);
        fillBytes(painter, top, first, count, ground);
    }
}

/// Over the selection: what nobody interprets is to be seen there as well.
void HexView::paintHatching(QPainter *painter, const HexRow &row, int top, const std::vector<ByteSpan> &spans) const
{
    const quint64 end = row.offset + row.bytes.size();
    QColor line = palette().color(QPalette::Text);
    line.setAlpha(70);
    for (const ByteSpan &span : spans) {
        const quint64 from = std::max(span.range.offset, row.offset);
        const quint64 to = std::min(span.range.end(), end);
        if (from >= to || (span.kind != ElementKind::Gap && span.kind != ElementKind::Unparsed))
            continue;
        const QBrush hatching(line, span.kind == ElementKind::Gap ? Qt::DiagCrossPattern : Qt::BDiagPattern);
        fillBytes(painter, top, int(from - row.offset), int(to - from), hatching);
    }
}

void HexView::paintSelection(QPainter *painter, const HexRow &row, int top) const
{
    const ByteRange marked = selection();
    const quint64 from = std::max(marked.offset, row.offset);
    const quint64 to = std::min<quint64>(marked.end(), row.offset + row.bytes.size());
    if (from >= to)
        return;
    const QColor color = selectionColor(palette(), hasFocus() ? QPalette::Active : QPalette::Inactive);
    const int first = int(from - row.offset);
    const int count = int(to - from);
    fillBytes(painter, top, first, count, color);
    if (m_cursor >= from && m_cursor < to) {
        const int column = int(m_cursor - row.offset);
        painter->setPen(palette().color(QPalette::Text));
        painter->drawLine(hexLeft() + column * 3 * m_cell, top + m_rowHeight - 1, hexLeft() + (column * 3 + 2) * m_cell,
                          top + m_rowHeight - 1);
    }
}

/// Lines around the bytes of `range` in this row: above and below only where the rows beside it have none of them.
void HexView::paintFrame(QPainter *painter, const HexRow &row, int top, const ByteRange &range) const
{
    const quint64 columns = quint64(m_layout.columns);
    const quint64 from = std::max(range.offset, row.offset);
    const quint64 to = std::min<quint64>(range.end(), row.offset + row.bytes.size());
    if (from >= to)
        return;
    painter->setPen(QPen(palette().color(QPalette::Text), 1));
    const int bottom = top + m_rowHeight - 1;
    const auto isIn = [&range](quint64 offset) { return offset >= range.offset && offset - range.offset < range.size; };
    for (quint64 offset = from; offset < to; ++offset) {
        const int left = hexLeft() + int(offset - row.offset) * 3 * m_cell - m_cell / 2;
        const int right = left + 3 * m_cell;
        if (offset < columns || !isIn(offset - columns))
            painter->drawLine(left, top, right, top);
        if (!isIn(offset + columns))
            painter->drawLine(left, bottom, right, bottom);
        if (offset == range.offset || offset == row.offset)
            painter->drawLine(left, top, left, bottom);
        if (offset + 1 == range.end() || offset + 1 == row.offset + columns)
            painter->drawLine(right, top, right, bottom);
    }
}

void HexView::paintEvent(QPaintEvent *)
{
    QPainter painter(viewport());
    painter.setFont(font());
    painter.translate(-horizontalScrollBar()->value(), 0);
    const int rows = rowsInView();
    const quint64 begin = m_top * quint64(m_layout.columns);
    if (begin >= m_layout.size)
        return;
    const quint64 shown = std::min<quint64>(quint64(rows) * quint64(m_layout.columns), m_layout.size - begin);
    const std::vector<ByteSpan> spans = spansOf(m_document.tree(), {begin, shown});
    const TreeItem item = m_document.place().item;
    const ByteRange framed = item == GrowingTree::root() ? m_document.place().range : m_document.tree().range(item);
    const QColor color = palette().color(QPalette::Text);
    const QColor faint = quietTextColor(palette());
    const ByteRange selected = selection();
    const QColor selectedColor =
        textColorOn(selectionColor(palette(), hasFocus() ? QPalette::Active : QPalette::Inactive), palette());
    const auto colorOf = [&](quint64 offset) {
        return offset >= selected.offset && offset < selected.end() ? selectedColor : color;
    };
    const int ascent = QFontMetrics(font()).ascent();
    for (int i = 0; i < rows; ++i) {
        const HexRow each = row(m_top + quint64(i));
        const int top = i * m_rowHeight;
        paintRegions(&painter, each, top);
        paintGround(&painter, each, top, spans);
        paintSelection(&painter, each, top);
        paintHatching(&painter, each, top, spans);
        painter.setPen(faint);
        painter.drawText(margin, top + ascent, each.offsetText);
        // Each pair by itself: a font's advance need not be a whole number of pixels.
        for (int byte = 0; byte < int(each.bytes.size()); ++byte) {
            const int character = byte * 3;
            painter.setPen(colorOf(each.offset + quint64(byte)));
            painter.drawText(hexLeft() + character * m_cell, top + ascent, each.hex.mid(character, 2));
        }
        for (int byte = 0; byte < int(each.text.size()); ++byte) {
            if (each.text.at(byte) == QLatin1Char(' '))
                continue;
            painter.setPen(colorOf(each.offset + quint64(byte)));
            painter.drawText(textLeft() + byte * m_cell, top + ascent, QString(each.text.at(byte)));
        }
        paintFrame(&painter, each, top, framed);
    }
}

} // namespace quenlofar
