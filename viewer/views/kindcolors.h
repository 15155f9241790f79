#pragma once

#include "regiontable.h"

#include <QBrush>
#include <QColor>
#include <QPalette>

namespace quenlofar {

/// The colour of a kind of bytes on the ground of `palette`, light or dark; none for Unknown.
QColor kindColor(RegionKind kind, const QPalette &palette);
/// The same with a pattern of its own, so that kinds differ where colours cannot be told apart; hatched for Unknown.
QBrush kindBrush(RegionKind kind, const QPalette &palette);
/// A quarter of `color` on the ground of `palette`. Opaque: Qt spreads rectangles that are blended over threads, which
/// takes longer than painting small ones.
QColor faintColor(const QColor &color, const QPalette &palette);
/// The kind for people, translated.
QString kindText(RegionKind kind);

} // namespace quenlofar
