#pragma once

#include <QAccessibleWidget>

namespace quenlofar {

/// The plot and the overview for screen readers: widgets whose value says what is at the current place, and is told
/// whenever that is another one.
class PlaceAccessible : public QAccessibleWidget
{
public:
    /// For `widget`, which is a PlotView or an OverviewBar.
    explicit PlaceAccessible(QWidget *widget);

    /// Makes the accessible interfaces known to Qt; once.
    static void install();

    QString text(QAccessible::Text text) const override;
};

} // namespace quenlofar
