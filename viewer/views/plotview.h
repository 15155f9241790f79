#pragma once

#include "document.h"
#include "errand.h"
#include "packetpyramid.h"

#include <QWidget>

class QPainter;

namespace quenlofar {

/// What the plot shows, of which part of the packets.
struct PlotSettings
{
    enum class Axis : quint8 { Number, Time };
    /// Bits of curves.
    enum Curve : quint8 { BitRate = 1, Interleave = 2, Lead = 4 };

    Axis axis = Axis::Number;
    int stream = -1; ///< -1: all
    quint8 curves = 0; ///< bits of Curve
    bool isFixedScale = false; ///< the tallest packet of all gives the scale, otherwise that of those in sight
};

/**
 * The size of each packet of a document over its number in its stream or its time. Each packet has a bar of its own
 * where there is room, otherwise each column of pixels shows the smallest and the largest of many. Follows the current
 * place and sets it. Key frames have a cap, empty packets a circle, sound a line with a dot.
 */
class PlotView : public QWidget
{
    Q_OBJECT

public:
    static constexpr double bitRateWindow = 1.0; ///< seconds

    /// Shows `document`, which outlives the view.
    explicit PlotView(Document &document, QWidget *parent = nullptr);

    const PlotSettings &settings() const { return m_settings; } ///< see setSettings
    void setSettings(const PlotSettings &settings); ///< Another axis shows all of it.
    double from() const { return m_from; } ///< of the axis: a number of packets, or seconds
    double to() const { return m_to; } ///< behind what is in sight; see from()
    double end() const; ///< of the axis; 0 where there is nothing to be seen
    /// Shows a part of the axis; it is brought into the bounds, and shows at least two packets or 1/1000 s.
    void setRange(double from, double to);
    void zoom(double factor, double around); ///< Shows `factor` times as much, `around` stays where it is.
    bool isReady() const { return m_pyramid != nullptr; } ///< there are packets, and they can be drawn
    QString statusText() const; ///< what is seen, or why nothing is

    /// What is drawn between two columns of pixels.
    struct Column
    {
        quint64 first = 0; ///< number of the first packet
        quint64 end = 0; ///< behind the last one
        PacketExtent extent;
    };
    /// The columns of a stream for a plot of `width` pixels; only when isReady().
    std::vector<Column> columns(int stream, int width) const;
    quint32 scale() const; ///< bytes of the highest bar that fits
    quint64 packetAt(const QPoint &point) const; ///< the index of the nearest packet; PacketTable::none without any
    QRect plotRect() const; ///< where packets are drawn
    QString cursorText() const; ///< what a screen reader says: packet, stream, time, size, kind
    /// Moves the current place by `steps` packets of its stream.
    void step(qint64 steps);
    /// Writes what is in sight to a file, in another thread: ".png" and ".svg" as a picture, ".csv" as a line for each
    /// packet. False, and `*error` says why, for another ending or without packets.
    bool exportTo(const QString &path, QString *error);
    void paintPlot(QPainter *painter) const; ///< All but the focus, as large as the widget.

    QSize sizeHint() const override;

Q_SIGNALS:
    void cursorMoved(); ///< cursorText() says something else
    void statusChanged(); ///< statusText() says something else

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void build();
    void followPlace();
    bool isShown(int stream) const;
    std::vector<int> shownStreams() const;
    double unitsOf(int stream, quint64 number) const;
    quint64 numberFrom(int stream, double units) const;
    double secondsAt(double units) const;
    int xOf(double units) const;
    void paintStream(QPainter *painter, int stream, quint32 scale) const;
    void paintCurve(QPainter *painter, PlotSettings::Curve curve, int line) const;
    void paintTicks(QPainter *painter) const;
    void paintCursor(QPainter *painter) const;

    Document &m_document;
    PlotSettings m_settings;
    double m_from = 0;
    double m_to = 0;
    std::shared_ptr<const PacketPyramid> m_pyramid;
    Errand m_building;
    Errand m_exporting;
    QString m_message; // what became of the latest export
    QPoint m_dragged; // where the button was pressed
    double m_draggedFrom = 0;
    bool m_isDragging = false;
    bool m_isSetting = false; // the place is being set from here
    bool m_hasFailed = false; // there was no memory for the pyramid
};

} // namespace quenlofar
