#include "kindcolors.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace quenlofar {

namespace {

struct KindTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::KindColors)
};

/// Degrees on the colour circle; -1 for grey.
int hueOf(RegionKind kind)
{
    switch (kind) {
    case RegionKind::Header:
        return 220;
    case RegionKind::Video:
        return 140;
    case RegionKind::Audio:
        return 30;
    case RegionKind::OtherData:
        return 280;
    case RegionKind::Index:
        return 180;
    case RegionKind::Text:
        return 55;
    case RegionKind::Padding:
    case RegionKind::Unknown:
        break;
    }
    return -1;
}

/// From 0, black, to 1, white (WCAG 2.1, "relative luminance").
double luminance(const QColor &color)
{
    constexpr double linearBelow = 0.04045;
    const auto linear = [](double part) {
        return part <= linearBelow ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(double(color.redF())) + 0.7152 * linear(double(color.greenF()))
        + 0.0722 * linear(double(color.blueF()));
}

/// What is shaded besides leaves enough for a text.
constexpr double faintTextContrast = 6;

} // namespace

double contrastRatio(const QColor &one, const QColor &other)
{
    constexpr double least = 0.05;
    const double first = luminance(one) + least;
    const double second = luminance(other) + least;
    return std::max(first, second) / std::min(first, second);
}

QColor mixedColor(const QColor &color, const QColor &ground, int share)
{
    constexpr int whole = 255;
    const auto mix = [share](int a, int b) { return (a * share + b * (whole - share)) / whole; };
    return {mix(color.red(), ground.red()), mix(color.green(), ground.green()), mix(color.blue(), ground.blue())};
}

QColor textColorOn(const QColor &ground, const QPalette &palette)
{
    const QColor own = palette.color(QPalette::Text);
    if (contrastRatio(own, ground) >= textContrast)
        return own;
    const QColor black(Qt::black);
    const QColor white(Qt::white);
    return contrastRatio(black, ground) > contrastRatio(white, ground) ? black : white;
}

QColor quietTextColor(const QPalette &palette)
{
    constexpr int first = 160;
    constexpr int whole = 255;
    constexpr int step = 19;
    const QColor text = palette.color(QPalette::Text);
    const QColor ground = palette.color(QPalette::Base);
    for (int share = first; share < whole; share += step) {
        const QColor quiet = mixedColor(text, ground, share);
        if (contrastRatio(quiet, ground) >= textContrast)
            return quiet;
    }
    return text;
}

QColor selectionColor(const QPalette &palette, QPalette::ColorGroup group)
{
    constexpr int share = 140;
    return mixedColor(palette.color(group, QPalette::Highlight), palette.color(QPalette::Base), share);
}

QColor frameColor(const QPalette &palette)
{
    const QColor highlight = palette.color(QPalette::Highlight);
    const bool isSeen = contrastRatio(highlight, palette.color(QPalette::Base)) >= shapeContrast;
    return isSeen ? highlight : palette.color(QPalette::Text);
}

QColor kindColor(RegionKind kind, const QPalette &palette)
{
    if (kind == RegionKind::Unknown)
        return {};
    constexpr int middle = 128; // of 255
    constexpr int step = 5;
    const QColor ground = palette.color(QPalette::Base);
    const bool isDark = ground.lightness() < middle;
    const int hue = hueOf(kind);
    const int saturation = hue < 0 ? 0 : isDark ? 140 : 170;
    // Of one lightness some hues are seen less well than others.
    int lightness = isDark ? 110 : 150;
    QColor color = QColor::fromHsl(hue < 0 ? 0 : hue, saturation, lightness);
    while (contrastRatio(color, ground) < shapeContrast && lightness > step && lightness < 255 - step) {
        lightness += isDark ? step : -step;
        color = QColor::fromHsl(hue < 0 ? 0 : hue, saturation, lightness);
    }
    return color;
}

QBrush kindBrush(RegionKind kind, const QPalette &palette)
{
    const QColor color = kindColor(kind, palette);
    switch (kind) {
    case RegionKind::Unknown:
        return {palette.color(QPalette::Text), Qt::BDiagPattern};
    case RegionKind::Audio:
        return {color, Qt::HorPattern};
    case RegionKind::OtherData:
        return {color, Qt::CrossPattern};
    case RegionKind::Index:
        return {color, Qt::VerPattern};
    case RegionKind::Padding:
        return {color, Qt::Dense6Pattern};
    case RegionKind::Text:
        return {color, Qt::Dense3Pattern};
    case RegionKind::Header:
        return {color, Qt::Dense2Pattern};
    case RegionKind::Video:
        break;
    }
    return color;
}

QColor faintColor(const QColor &color, const QPalette &palette)
{
    const QColor ground = palette.color(QPalette::Base);
    const QColor text = palette.color(QPalette::Text);
    constexpr int quarter = 64;
    int share = quarter;
    while (share > 1 && contrastRatio(text, mixedColor(color, ground, share)) < faintTextContrast)
        share /= 2;
    return mixedColor(color, ground, share);
}

QString kindText(RegionKind kind)
{
    switch (kind) {
    case RegionKind::Unknown:
        return KindTexts::tr("unknown");
    case RegionKind::Header:
        return KindTexts::tr("header");
    case RegionKind::Video:
        return KindTexts::tr("video");
    case RegionKind::Audio:
        return KindTexts::tr("audio");
    case RegionKind::OtherData:
        return KindTexts::tr("other data");
    case RegionKind::Index:
        return KindTexts::tr("index");
    case RegionKind::Padding:
        return KindTexts::tr("padding");
    case RegionKind::Text:
        break;
    }
    return KindTexts::tr("text");
}

} // namespace quenlofar
