#include "plotview.h"

#include "packetfacts.h"
#include "packetmodel.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace quenlofar {

namespace {

constexpr double zoomStep = 0.5;
constexpr double fewestPackets = 2;
constexpr double shortestSeconds = 0.001;
constexpr int pageParts = 10; // a step of the wheel moves by this part of what is in sight

} // namespace

PlotView::PlotView(Document &document, QWidget *parent)
    : QWidget(parent), m_document(document), m_building(document), m_exporting(document)
{
    setObjectName(QStringLiteral("plot"));
    setAttribute(Qt::WA_OpaquePaintEvent); // nothing has to be painted below
    setAccessibleName(tr("Plot of packet sizes"));
    setFocusPolicy(Qt::StrongFocus);
    constexpr QSize least(200, 100);
    setMinimumSize(least);
    connect(&m_document, &Document::tablesCame, this, &PlotView::build);
    connect(&m_document, &Document::checkCame, this, QOverload<>::of(&QWidget::update));
    connect(&m_document, &Document::placeChanged, this, &PlotView::followPlace);
    connect(&m_document, &Document::placeResolved, this, &PlotView::followPlace);
    connect(&m_building, &Errand::ended, this, &PlotView::statusChanged);
}

QSize PlotView::sizeHint() const
{
    return {800, 220};
}

void PlotView::build()
{
    if (!m_document.packets() || m_document.packets()->size() == 0) {
        Q_EMIT statusChanged();
        return;
    }
    m_building.start(
        [this, tables = m_document.tables()](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
            std::shared_ptr<const PacketPyramid> pyramid = PacketPyramid::make(*tables->packets, isCancelled);
            return [this, pyramid = std::move(pyramid)] {
                m_pyramid = pyramid;
                setRange(0, end());
                followPlace();
            };
        },
        [this] { m_hasFailed = true; });
}

QString PlotView::statusText() const
{
    if (!m_message.isEmpty())
        return m_message;
    if (isReady())
        return {};
    if (!m_document.tables())
        return tr("Packets are being read.");
    if (!m_document.packets())
        return tr("No plug-in knows the packets of this file.");
    if (m_hasFailed)
        return tr("There is not enough memory for the plot.");
    return m_document.packets()->size() == 0 ? tr("The file has no packets.") : tr("The plot is being made.");
}

bool PlotView::isShown(int stream) const
{
    const PacketTable &packets = *m_document.packets();
    return (m_settings.stream < 0 || m_settings.stream == stream) && packets.totals(stream).count > 0
        && (m_settings.axis == PlotSettings::Axis::Number || packets.stream(stream).hasTimeBase());
}

/// The streams in sight; sound comes last: its thin lines are drawn over pictures.
std::vector<int> PlotView::shownStreams() const
{
    std::vector<int> streams;
    if (!m_document.packets())
        return streams;
    for (int stream = 0; stream < m_document.packets()->streamCount(); ++stream) {
        if (isShown(stream))
            streams.push_back(stream);
    }
    std::stable_sort(streams.begin(), streams.end(), [this](int a, int b) {
        return m_document.packets()->stream(a).kind != StreamKind::Audio
            && m_document.packets()->stream(b).kind == StreamKind::Audio;
    });
    return streams;
}

double PlotView::end() const
{
    double end = 0;
    for (const int stream : shownStreams())
        end = std::max(end, unitsOf(stream, m_document.packets()->totals(stream).count));
    return end;
}

/// Where a packet begins on the axis; the number behind the last one stands for the end.
double PlotView::unitsOf(int stream, quint64 number) const
{
    const PacketTable &packets = *m_document.packets();
    if (m_settings.axis == PlotSettings::Axis::Number)
        return double(number);
    const quint64 count = packets.totals(stream).count;
    const quint64 index = packets.indexOf(stream, std::min(number, count - 1));
    if (number < count)
        return packets.secondsOf(index);
    return packets.secondsOf(packets.indexOf(stream, 0)) + packets.duration(stream);
}

/// The first packet that begins at a place of the axis, or behind.
quint64 PlotView::numberFrom(int stream, double units) const
{
    const PacketTable &packets = *m_document.packets();
    const quint64 count = packets.totals(stream).count;
    if (m_settings.axis == PlotSettings::Axis::Time)
        return packetNumberFrom(packets, stream, units);
    return units <= 0 ? 0 : units >= double(count) ? count : quint64(std::ceil(units));
}

/// The time at a place of the axis; over numbers that of the stream that curves are about.
double PlotView::secondsAt(double units) const
{
    if (m_settings.axis == PlotSettings::Axis::Time)
        return units;
    const PacketTable &packets = *m_document.packets();
    const PacketCurves curves(packets);
    const int stream = m_settings.stream >= 0 ? m_settings.stream : curves.video >= 0 ? curves.video : curves.audio;
    if (stream < 0 || stream >= packets.streamCount() || packets.totals(stream).count == 0)
        return -1;
    const quint64 number = quint64(std::max(units, 0.0));
    return number < packets.totals(stream).count ? packets.secondsOf(packets.indexOf(stream, number)) : -1;
}

void PlotView::setSettings(const PlotSettings &settings)
{
    const bool isOtherRange = settings.axis != m_settings.axis || settings.stream != m_settings.stream;
    m_settings = settings;
    if (isOtherRange)
        setRange(0, end());
    update();
    Q_EMIT statusChanged();
}

void PlotView::setRange(double from, double to)
{
    const double whole = end();
    const double least = m_settings.axis == PlotSettings::Axis::Number ? fewestPackets : shortestSeconds;
    const double width = std::clamp(to - from, std::min(least, whole), whole);
    m_from = std::clamp(from, 0.0, whole - width);
    m_to = m_from + width;
    update();
    Q_EMIT statusChanged();
}

void PlotView::zoom(double factor, double around)
{
    const double left = (around - m_from) * factor;
    setRange(around - left, around - left + (m_to - m_from) * factor);
}

std::vector<PlotView::Column> PlotView::columns(int stream, int width) const
{
    std::vector<Column> columns(size_t(std::max(width, 0)));
    const double units = m_to - m_from;
    quint64 first = numberFrom(stream, m_from);
    for (int column = 0; column < width; ++column) {
        Column &each = columns[size_t(column)];
        each.first = first;
        each.end = std::max(first, numberFrom(stream, m_from + units * (column + 1) / width));
        if (each.end > each.first)
            each.extent = m_pyramid->extent(stream, each.first, each.end);
        first = each.end;
    }
    return columns;
}

quint32 PlotView::scale() const
{
    quint32 scale = 1;
    if (!isReady())
        return scale;
    for (const int stream : shownStreams()) {
        const quint32 top = m_settings.isFixedScale
            ? m_document.packets()->totals(stream).largest
            : m_pyramid->extent(stream, numberFrom(stream, m_from), numberFrom(stream, m_to)).top();
        scale = std::max(scale, top);
    }
    return scale;
}

QRect PlotView::plotRect() const
{
    const int line = fontMetrics().height();
    return rect().adjusted(4, 2 * line, -4, -line - 4);
}

int PlotView::xOf(double units) const
{
    const QRect plot = plotRect();
    const double width = std::max(m_to - m_from, std::numeric_limits<double>::min());
    constexpr double farAway = 1e6; // pixels: an int has room for it
    return plot.left() + int(std::clamp((units - m_from) / width * plot.width(), -farAway, farAway));
}

quint64 PlotView::packetAt(const QPoint &point) const
{
    if (!isReady())
        return PacketTable::none;
    const QRect plot = plotRect();
    const PacketTable &packets = *m_document.packets();
    const double units = m_from + (m_to - m_from) * (point.x() - plot.left() + 0.5) / std::max(plot.width(), 1);
    const quint32 most = scale();
    quint64 nearest = PacketTable::none;
    int leastDistance = std::numeric_limits<int>::max();
    for (const int stream : shownStreams()) {
        const quint64 behind = numberFrom(stream, units);
        const quint64 count = packets.totals(stream).count;
        // The packet whose bar is here begins before.
        const quint64 number = behind > 0 && (behind == count || unitsOf(stream, behind) > units) ? behind - 1 : behind;
        const quint64 index = packets.indexOf(stream, std::min(number, count - 1));
        const int top = plot.bottom() - int(double(packets.at(index).size) / most * plot.height());
        const int distance = std::abs(point.y() - top);
        if (distance < leastDistance) {
            leastDistance = distance;
            nearest = index;
        }
    }
    return nearest;
}

QString PlotView::cursorText() const
{
    const quint64 index = m_document.place().packet;
    if (!m_document.packets() || index == PacketTable::none)
        return tr("no packet");
    const PacketFacts facts = packetFacts(*m_document.packets(), index);
    QStringList parts{facts.packet.isPalette ? tr("palette of stream %1").arg(facts.packet.stream)
                                             : tr("packet %1 of stream %2").arg(facts.number).arg(facts.packet.stream)};
    parts.append(streamKindText(facts.kind));
    if (facts.seconds >= 0)
        parts.append(packetTimeText(facts.seconds));
    parts.append(tr("%1 bytes").arg(facts.packet.size));
    if (facts.packet.isEmpty())
        parts.append(tr("empty"));
    else if (facts.packet.key == KeyState::Yes)
        parts.append(tr("key"));
    return parts.join(QStringLiteral(", "));
}

void PlotView::step(qint64 steps)
{
    if (!isReady())
        return;
    const PacketTable &packets = *m_document.packets();
    const std::vector<int> streams = shownStreams();
    if (streams.empty())
        return;
    const quint64 here = m_document.place().packet;
    int stream = streams.front();
    quint64 number = 0;
    if (here != PacketTable::none && isShown(packets.at(here).stream) && !packets.at(here).isPalette) {
        stream = packets.at(here).stream;
        number = packets.numberOf(here);
    } else {
        // From a place between packets the first one behind it is taken.
        number = packets.countBefore(stream, packets.lowerIndex(m_document.place().range.offset));
        steps = steps > 0 ? steps - 1 : steps;
    }
    const quint64 last = packets.totals(stream).count - 1;
    number = std::min(number, last);
    const quint64 far = quint64(steps < 0 ? -steps : steps);
    number = steps < 0 ? number - std::min(number, far) : number + std::min(last - number, far);
    m_document.setPacket(packets.indexOf(stream, number), Move::Step);
}

void PlotView::followPlace()
{
    Q_EMIT cursorMoved();
    update();
    const quint64 index = m_document.place().packet;
    if (m_isSetting || !isReady() || index == PacketTable::none)
        return;
    const PacketTable &packets = *m_document.packets();
    const int stream = packets.at(index).stream;
    const quint64 number = packets.numberOf(index);
    if (!isShown(stream) || number == PacketTable::none)
        return;
    const double units = unitsOf(stream, number);
    if (units < m_from || units >= m_to) {
        const double width = m_to - m_from;
        setRange(units - width / 2, units + width / 2);
    }
}

void PlotView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_dragged = event->pos();
    m_draggedFrom = m_from;
    m_isDragging = false;
}

void PlotView::mouseMoveEvent(QMouseEvent *event)
{
    constexpr int leastDrag = 4; // pixels
    if ((event->buttons() & Qt::LeftButton) == 0)
        return;
    const int way = event->pos().x() - m_dragged.x();
    m_isDragging = m_isDragging || std::abs(way) >= leastDrag;
    if (!m_isDragging)
        return;
    const double width = m_to - m_from;
    const double from = m_draggedFrom - width * way / std::max(plotRect().width(), 1);
    setRange(from, from + width);
}

void PlotView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || m_isDragging)
        return;
    const quint64 index = packetAt(event->pos());
    if (index == PacketTable::none)
        return;
    m_isSetting = true;
    m_document.setPacket(index, Move::Jump);
    m_isSetting = false;
}

void PlotView::wheelEvent(QWheelEvent *event)
{
    const QPoint turn = event->angleDelta();
    const bool isSideways = (event->modifiers() & Qt::ShiftModifier) != 0 || turn.y() == 0;
    const int way = turn.y() != 0 ? turn.y() : turn.x();
    const double width = m_to - m_from;
    if (isSideways) {
        const double from = m_from + (way < 0 ? width : -width) / pageParts;
        setRange(from, from + width);
    } else if (way != 0) {
        const double share = (event->position().x() - plotRect().left()) / std::max(plotRect().width(), 1);
        zoom(way > 0 ? zoomStep : 1 / zoomStep, m_from + width * std::clamp(share, 0.0, 1.0));
    }
    event->accept();
}

void PlotView::keyPressEvent(QKeyEvent *event)
{
    if ((event->modifiers() & (Qt::AltModifier | Qt::ControlModifier)) != 0 || !isReady()) {
        QWidget::keyPressEvent(event);
        return;
    }
    constexpr qint64 packetsOfPage = 100;
    constexpr qint64 all = std::numeric_limits<qint32>::max();
    const quint64 here = m_document.place().packet;
    double around = (m_from + m_to) / 2;
    if (here != PacketTable::none && isShown(m_document.packets()->at(here).stream)
        && !m_document.packets()->at(here).isPalette)
        around = unitsOf(m_document.packets()->at(here).stream, m_document.packets()->numberOf(here));
    switch (event->key()) {
    case Qt::Key_Left:
        step(-1);
        break;
    case Qt::Key_Right:
        step(1);
        break;
    case Qt::Key_PageUp:
        step(-packetsOfPage);
        break;
    case Qt::Key_PageDown:
        step(packetsOfPage);
        break;
    case Qt::Key_Home:
        step(-all);
        break;
    case Qt::Key_End:
        step(all);
        break;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        zoom(zoomStep, std::clamp(around, m_from, m_to));
        break;
    case Qt::Key_Minus:
        zoom(1 / zoomStep, std::clamp(around, m_from, m_to));
        break;
    case Qt::Key_0:
        setRange(0, end());
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

} // namespace quenlofar
