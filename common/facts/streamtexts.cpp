#include "streamtexts.h"

#include "displaytext.h"

#include <cmath>

namespace quenlofar {

QString pictureText(const StreamDescription &stream)
{
    if (stream.width == 0 && stream.height == 0)
        return {};
    return QStringLiteral("%1 x %2").arg(stream.width).arg(stream.height);
}

QString decimalText(double number)
{
    QString text = QString::number(number, 'f', 3);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

QString bitRateText(quint64 bitsPerSecond)
{
    if (bitsPerSecond == 0)
        return {};
    if (bitsPerSecond < 1000)
        return QStringLiteral("%1 bit/s").arg(bitsPerSecond);
    const double thousands = double(bitsPerSecond) / 1000.0;
    if (thousands < 10000.0)
        return QStringLiteral("%1 kbit/s").arg(thousands, 0, 'f', thousands < 100.0 ? 1 : 0);
    return QStringLiteral("%1 Mbit/s").arg(thousands / 1000.0, 0, 'f', 1);
}

QString durationText(double seconds)
{
    constexpr double minute = 60.0;
    constexpr double most = 1e9; // what is more is no clock time
    if (seconds < 0.0)
        return {};
    if (seconds < minute || seconds > most)
        return decimalText(seconds) + QStringLiteral(" s");
    const qint64 whole = std::llround(seconds);
    const QChar zero = QLatin1Char('0');
    return QStringLiteral("%1:%2:%3").arg(whole / 3600).arg(whole / 60 % 60, 2, 10, zero).arg(whole % 60, 2, 10, zero);
}

QString spacingText(const Spread &spacing)
{
    if (spacing.least == spacing.greatest) {
        return spacing.least == 1 ? QStringLiteral("every frame")
                                  : QStringLiteral("every %1 frames").arg(spacing.least);
    }
    return QStringLiteral("every %1 to %2 frames, median %3")
        .arg(spacing.least)
        .arg(spacing.greatest)
        .arg(spacing.median);
}

QString lengthText(const StreamDescription &stream)
{
    if (stream.kind == StreamDescription::Kind::Audio && stream.length == 0)
        return QStringLiteral("unknown");
    return durationText(stream.seconds());
}

QString codeText(const StreamDescription &stream)
{
    return quotedIfBlank(stream.codecCode);
}

QString keyFramesText(const StreamPackets &stream)
{
    if (stream.areKeysUnknown())
        return QStringLiteral("key frames unknown: no index");
    const quint64 keys = stream.totals.keyFrames;
    QString text = keys == 0 ? QStringLiteral("no key frame")
        : keys == 1          ? QStringLiteral("1 key frame")
                             : QStringLiteral("%1 key frames").arg(keys);
    if (stream.keySpacing)
        text += QStringLiteral(" (%1)").arg(spacingText(*stream.keySpacing));
    if (stream.totals.keyUnknown > 0)
        text += QStringLiteral(", %1 unknown: in no index").arg(stream.totals.keyUnknown);
    return text;
}

} // namespace quenlofar
