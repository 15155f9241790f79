#include "kindcolors.h"

#include <QCoreApplication>

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

} // namespace

QColor kindColor(RegionKind kind, const QPalette &palette)
{
    if (kind == RegionKind::Unknown)
        return {};
    constexpr int middle = 128; // of 255
    const bool isDark = palette.color(QPalette::Base).lightness() < middle;
    const int hue = hueOf(kind);
    const int saturation = hue < 0 ? 0 : isDark ? 140 : 170;
    return QColor::fromHsl(hue < 0 ? 0 : hue, saturation, isDark ? 110 : 150);
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
    constexpr int parts = 4;
    const QColor ground = palette.color(QPalette::Base);
    const auto mix = [](int a, int b) { return (a + (parts - 1) * b) / parts; };
    return {mix(color.red(), ground.red()), mix(color.green(), ground.green()), mix(color.blue(), ground.blue())};
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
