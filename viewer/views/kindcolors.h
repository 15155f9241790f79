#pragma once

#include "regiontable.h"

#include <QBrush>
#include <QColor>
#include <QPalette>

namespace quenlofar {

/// How well one colour can be told from another, from 1 (not at all) to 21: the contrast ratio of WCAG 2.1.
double contrastRatio(const QColor &one, const QColor &other);
/// The contrast that texts need at least.
inline constexpr double textContrast = 4.5;
/// The contrast that lines, bars and areas need at least to what is beside them.
inline constexpr double shapeContrast = 3;
/// `share` of 255 parts of `color` on `ground`; opaque.
QColor mixedColor(const QColor &color, const QColor &ground, int share);
/// The colour of texts on `ground`: that of `palette` where it can be read there, otherwise black or white.
QColor textColorOn(const QColor &ground, const QPalette &palette);
/// The colour of texts that are less important than others; it can be read on the ground of `palette`.
QColor quietTextColor(const QPalette &palette);
/// The ground of what is selected, opaque, in a view that has the focus or has not.
QColor selectionColor(const QPalette &palette, QPalette::ColorGroup group);
/// The colour of the frame around the current place.
QColor frameColor(const QPalette &palette);

/// The colour of a kind of bytes, which can be told from the ground of `palette`, light or dark; none for Unknown.
QColor kindColor(RegionKind kind, const QPalette &palette);
/// The same with a pattern of its own, so that kinds differ where colours cannot be told apart; hatched for Unknown.
QBrush kindBrush(RegionKind kind, const QPalette &palette);
/// A quarter of `color` on the ground of `palette`, less where texts could not be read on that. Opaque: Qt spreads
/// rectangles that are blended over threads, which takes longer than painting small ones.
QColor faintColor(const QColor &color, const QPalette &palette);
/// The kind for people, translated.
QString kindText(RegionKind kind);

} // namespace quenlofar
