#include "placeaccessible.h"

#include "overviewbar.h"
#include "plotview.h"

namespace quenlofar {

namespace {

QString valueOf(QObject *object)
{
    if (const auto *const plot = qobject_cast<PlotView *>(object))
        return plot->cursorText();
    const auto *const overview = qobject_cast<OverviewBar *>(object);
    return overview ? overview->placeText() : QString();
}

void tell(QWidget *widget)
{
    if (!QAccessible::isActive())
        return;
    QAccessibleValueChangeEvent changed(widget, valueOf(widget));
    QAccessible::updateAccessibility(&changed);
}

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    if (className != QLatin1String("quenlofar::PlotView") && className != QLatin1String("quenlofar::OverviewBar"))
        return nullptr;
    auto *const widget = qobject_cast<QWidget *>(object);
    return widget ? new PlaceAccessible(widget) : nullptr;
}

} // namespace

PlaceAccessible::PlaceAccessible(QWidget *widget)
    : QAccessibleWidget(widget, qobject_cast<PlotView *>(widget) ? QAccessible::Chart : QAccessible::Indicator)
{
    // The interface goes with the widget, so nothing need be disconnected.
    if (auto *const plot = qobject_cast<PlotView *>(widget))
        QObject::connect(plot, &PlotView::cursorMoved, plot, [plot] { tell(plot); });
    if (auto *const overview = qobject_cast<OverviewBar *>(widget))
        QObject::connect(overview, &OverviewBar::placeTextChanged, overview, [overview] { tell(overview); });
}

void PlaceAccessible::install()
{
    QAccessible::installFactory(makeInterface);
}

QString PlaceAccessible::text(QAccessible::Text text) const
{
    return text == QAccessible::Value ? valueOf(object()) : QAccessibleWidget::text(text);
}

} // namespace quenlofar
