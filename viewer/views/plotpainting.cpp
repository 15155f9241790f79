// How the plot is drawn, and what is written of it.
#include "kindcolors.h"
#include "packetmodel.h"
#include "plotview.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QPolygonF>
#include <QSaveFile>
#include <QSvgGenerator>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace quenlofar {

namespace {

constexpr int widthForShapes = 4; // pixels of a bar: from here on it has a shape
constexpr double pictureScale = 2; // of PNG files to the widget

RegionKind kindOf(StreamKind kind)
{
    return kind == StreamKind::Video || kind == StreamKind::Mixed ? RegionKind::Video
        : kind == StreamKind::Audio                               ? RegionKind::Audio
                                                                  : RegionKind::OtherData;
}

/// What a line of packets in sight says, as CSV.
void appendLines(QByteArray *csv, const PacketTable &packets, int stream, quint64 first, quint64 end)
{
    for (quint64 number = first; number < end; ++number) {
        const quint64 index = packets.indexOf(stream, number);
        const Packet packet = packets.at(index);
        const double seconds = packets.secondsOf(index);
        *csv += QByteArray::number(stream) + ',' + QByteArray::number(number) + ','
            + (seconds < 0 ? QByteArray() : QByteArray::number(seconds, 'f', 6)) + ','
            + QByteArray::number(packet.offset) + ',' + QByteArray::number(packet.size) + ','
            + (packet.key == KeyState::Yes      ? "yes"
                   : packet.key == KeyState::No ? "no"
                                                : "")
            + '\n';
    }
}

} // namespace

void PlotView::paintStream(QPainter *painter, int stream, quint32 scale) const
{
    const QRect plot = plotRect();
    const StreamKind kind = m_document.packets()->stream(stream).kind;
    const bool isSound = kind == StreamKind::Audio;
    const QColor color = kindColor(kindOf(kind), palette());
    const QColor keyColor = palette().color(QPalette::Text);
    const QColor faint = faintColor(color, palette());
    const auto yOf = [&](quint32 size) { return plot.bottom() - int(double(size) / scale * plot.height()); };
    const std::vector<Column> all = columns(stream, plot.width());
    for (int column = 0; column < int(all.size()); ++column) {
        const Column &each = all[size_t(column)];
        if (each.end == each.first)
            continue;
        const int x = plot.left() + column;
        const PacketExtent &extent = each.extent;
        if (each.end - each.first == 1) {
            // A packet of its own: as wide as there is room up to the next one.
            const int right = std::max(x + 1, xOf(unitsOf(stream, each.end)));
            const int width = std::max(1, right - x - (right - x > 2 ? 1 : 0));
            const int top = yOf(extent.top());
            const bool hasShape = width >= widthForShapes;
            painter->setPen(color);
            if (extent.empty > 0) {
                painter->setPen(keyColor);
                painter->setBrush(Qt::NoBrush);
                if (hasShape)
                    painter->drawEllipse(QPoint(x + width / 2, plot.bottom() - 3), 3, 3);
                else
                    painter->drawLine(x, plot.bottom() - 2, x, plot.bottom());
            } else if (isSound && hasShape) {
                painter->drawLine(x + width / 2, top, x + width / 2, plot.bottom());
                painter->setBrush(color);
                painter->drawEllipse(QPoint(x + width / 2, top), 2, 2);
            } else {
                painter->fillRect(x, top, width, plot.bottom() - top + 1, color);
            }
            if (extent.largestKey > 0 && !isSound) {
                painter->fillRect(x, top, width, 2, keyColor);
                if (hasShape) {
                    painter->setBrush(keyColor);
                    painter->setPen(keyColor);
                    const int middle = x + width / 2;
                    painter->drawPolygon(
                        QPolygon({QPoint(middle - 3, top - 2), QPoint(middle + 3, top - 2), QPoint(middle, top - 7)}));
                }
            }
            continue;
        }
        // Many packets: from the smallest to the largest, faint below.
        const quint32 smallest = std::min(extent.smallest, extent.top());
        if (!isSound)
            painter->fillRect(x, yOf(smallest), 1, plot.bottom() - yOf(smallest) + 1, faint);
        painter->fillRect(x, yOf(extent.top()), 1, yOf(smallest) - yOf(extent.top()) + 1, color);
        if (extent.largestKey > 0 && !isSound)
            painter->fillRect(x, yOf(extent.largestKey), 1, 2, keyColor);
        if (extent.empty > 0)
            painter->fillRect(x, plot.bottom() - 1, 1, 2, keyColor);
    }
}

void PlotView::paintCurve(QPainter *painter, PlotSettings::Curve curve, int line) const
{
    const QRect plot = plotRect();
    const PacketTable &packets = *m_document.packets();
    const PacketCurves curves(packets);
    const std::vector<int> streams = shownStreams();
    std::vector<double> values(size_t(std::max(plot.width(), 0)), std::numeric_limits<double>::quiet_NaN());
    double least = 0;
    double most = 0;
    for (size_t column = 0; column < values.size(); ++column) {
        const double seconds = secondsAt(m_from + (m_to - m_from) * double(column) / plot.width());
        if (seconds < 0)
            continue;
        double value = -1;
        if (curve == PlotSettings::Lead) {
            value = curves.lead(seconds);
        } else if (curve == PlotSettings::Interleave) {
            value = curves.interleave(seconds);
        } else {
            for (const int stream : streams) {
                const double rate = curves.bitRate(stream, seconds, bitRateWindow);
                value = rate < 0 ? value : std::max(value, 0.0) + rate;
            }
        }
        if (std::isnan(value) || (value < 0 && curve != PlotSettings::Lead))
            continue;
        values[column] = value;
        least = std::min(least, value);
        most = std::max(most, value);
    }
    const Qt::PenStyle style = curve == PlotSettings::BitRate ? Qt::SolidLine
        : curve == PlotSettings::Interleave                   ? Qt::DashLine
                                                              : Qt::DotLine;
    painter->setPen(QPen(palette().color(QPalette::Text), 1, style));
    const double span = std::max(most - least, 1e-9);
    QPolygonF part;
    for (size_t column = 0; column <= values.size(); ++column) {
        if (column == values.size() || std::isnan(values[column])) {
            painter->drawPolyline(part);
            part.clear();
            continue;
        }
        part.append(
            QPointF(plot.left() + double(column), plot.bottom() - (values[column] - least) / span * plot.height()));
    }
    const QString name = curve == PlotSettings::BitRate
        ? tr("bit rate, solid: up to %1 kbit/s").arg(most / 1000, 0, 'f', 1)
        : curve == PlotSettings::Interleave
        ? tr("distance of sound and pictures in the file, dashed: up to %1 bytes").arg(most, 0, 'f', 0)
        : tr("sound before pictures, dotted: %1 to %2 s").arg(least, 0, 'f', 3).arg(most, 0, 'f', 3);
    const int height = fontMetrics().height();
    // Bars may stand behind it.
    painter->setBackground(palette().color(QPalette::Base));
    painter->setBackgroundMode(Qt::OpaqueMode);
    painter->drawText(QRect(plot.left(), plot.top() + line * height, plot.width(), height), Qt::AlignRight, name);
    painter->setBackgroundMode(Qt::TransparentMode);
}

/// Findings that are about a packet, as small triangles above it.
void PlotView::paintTicks(QPainter *painter) const
{
    if (!m_document.check())
        return;
    const QRect plot = plotRect();
    const PacketTable &packets = *m_document.packets();
    painter->setPen(palette().color(QPalette::Text));
    painter->setBrush(palette().color(QPalette::Text));
    for (const JudgedFinding &finding : m_document.check()->findings) {
        for (const ByteRange &place : finding.places) {
            const quint64 index = m_document.packetAt(place.offset);
            if (index == PacketTable::none || packets.at(index).isPalette || !isShown(packets.at(index).stream))
                continue;
            const double units = unitsOf(packets.at(index).stream, packets.numberOf(index));
            if (units < m_from || units > m_to)
                continue;
            const int x = xOf(units);
            painter->drawPolygon(
                QPolygon({QPoint(x - 3, plot.top() - 7), QPoint(x + 3, plot.top() - 7), QPoint(x, plot.top() - 1)}));
        }
    }
}

void PlotView::paintCursor(QPainter *painter) const
{
    const quint64 index = m_document.place().packet;
    const PacketTable &packets = *m_document.packets();
    if (index == PacketTable::none || packets.at(index).isPalette || !isShown(packets.at(index).stream))
        return;
    const QRect plot = plotRect();
    const quint64 number = packets.numberOf(index);
    const int left = xOf(unitsOf(packets.at(index).stream, number));
    const int right = std::max(left + 1, xOf(unitsOf(packets.at(index).stream, number + 1)));
    if (right < plot.left() || left > plot.right())
        return;
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(frameColor(palette()), 2));
    painter->drawRect(QRect(left, plot.top(), right - left, plot.height()));
}

void PlotView::paintPlot(QPainter *painter) const
{
    painter->fillRect(rect(), palette().color(QPalette::Base));
    painter->setFont(font());
    painter->setPen(palette().color(QPalette::Text));
    const QRect plot = plotRect();
    if (!isReady()) {
        painter->drawText(rect(), Qt::AlignCenter, statusText());
        return;
    }
    const int line = fontMetrics().height();
    const quint32 most = scale();
    const bool isTime = m_settings.axis == PlotSettings::Axis::Time;
    const auto axisText = [isTime](double units) {
        return isTime ? packetTimeText(units) : QString::number(quint64(units));
    };
    painter->drawText(QRect(plot.left(), 0, plot.width(), line), Qt::AlignLeft, tr("%1 bytes").arg(most));
    painter->drawText(QRect(plot.left(), 0, plot.width(), line), Qt::AlignRight, cursorText());
    const QRect below(plot.left(), plot.bottom() + 4, plot.width(), line);
    painter->drawText(below, Qt::AlignLeft, axisText(m_from));
    painter->drawText(below, Qt::AlignHCenter, isTime ? tr("time") : tr("number in the stream"));
    painter->drawText(below, Qt::AlignRight, axisText(m_to));
    painter->drawLine(plot.left(), plot.bottom() + 1, plot.right(), plot.bottom() + 1);
    painter->save();
    painter->setClipRect(plot.adjusted(0, -8, 0, 2));
    for (const int stream : shownStreams())
        paintStream(painter, stream, most);
    int text = 0;
    for (const PlotSettings::Curve curve : {PlotSettings::BitRate, PlotSettings::Interleave, PlotSettings::Lead}) {
        if ((m_settings.curves & curve) != 0)
            paintCurve(painter, curve, text++);
    }
    paintTicks(painter);
    paintCursor(painter);
    painter->restore();
}

void PlotView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    paintPlot(&painter);
    if (hasFocus()) {
        painter.setPen(QPen(palette().color(QPalette::Text), 1, Qt::DotLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

bool PlotView::exportTo(const QString &path, QString *error)
{
    const QString ending = path.mid(path.lastIndexOf(QLatin1Char('.')) + 1).toLower();
    if (!isReady()) {
        *error = tr("There is nothing to be exported.");
        return false;
    }
    struct Part
    {
        int stream;
        quint64 first;
        quint64 end;
    };
    std::vector<Part> parts;
    QImage image;
    QByteArray svg;
    if (ending == QLatin1String("png")) {
        image = QImage(size() * pictureScale, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(pictureScale);
        QPainter painter(&image);
        paintPlot(&painter);
    } else if (ending == QLatin1String("svg")) {
        QBuffer buffer(&svg);
        QSvgGenerator generator;
        generator.setOutputDevice(&buffer);
        generator.setSize(size());
        generator.setViewBox(rect());
        generator.setTitle(accessibleName());
        QPainter painter(&generator);
        paintPlot(&painter);
    } else if (ending == QLatin1String("csv")) {
        for (const int stream : shownStreams())
            parts.push_back({stream, numberFrom(stream, m_from), numberFrom(stream, m_to)});
    } else {
        *error = tr("The plot can be exported to .png, .svg and .csv.");
        return false;
    }
    // A disk may be slow: another thread writes.
    m_exporting.start([this, path, image, svg, parts,
                       tables = m_document.tables()](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
        QSaveFile file(path);
        bool isWritten = file.open(QIODevice::WriteOnly);
        if (isWritten && !image.isNull())
            isWritten = image.save(&file, "PNG");
        if (isWritten && !svg.isEmpty())
            isWritten = file.write(svg) == svg.size();
        if (isWritten && !parts.empty())
            isWritten = file.write("stream,number,seconds,offset,size,key\n") > 0;
        constexpr quint64 linesAtOnce = 4096;
        for (const Part &part : parts) {
            for (quint64 at = part.first; at < part.end && isWritten && !isCancelled; at += linesAtOnce) {
                QByteArray lines;
                appendLines(&lines, *tables->packets, part.stream, at, std::min(at + linesAtOnce, part.end));
                isWritten = file.write(lines) == lines.size();
            }
        }
        if (isCancelled)
            return {}; // what is not committed leaves no file
        isWritten = isWritten && file.commit();
        return [this, message = isWritten ? QString() : tr("%1 cannot be written: %2").arg(path, file.errorString())] {
            m_message = message;
            Q_EMIT statusChanged();
        };
    });
    return true;
}

} // namespace quenlofar
