#pragma once

#include "damagemakers.h"
#include "openfilm.h"

#include <QDir>
#include <QFile>

namespace quenlofar {
namespace damage {

/// Files of five writers, which have nothing above a note but what `true` says, and built ones.
struct Whole
{
    const char *name;
    QByteArray (*built)(); ///< null for a file of the golden ones
};
inline constexpr Whole wholes[] = {
    {"ffmpeg-mpeg4-mp3vbr-info-utf8.avi", nullptr},
    {"ffmpeg-raw-bgr24-i420.avi", nullptr},
    {"gstreamer-mjpeg-mp3.avi", nullptr},
    {"mencoder-dx50-pcm16-info-latin1.avi", nullptr},
    {"mencoder-xvid-mp3cbr.avi", nullptr},
    {"dvgrab-dv-type2.avi", nullptr},
    {"yuv2lav-mjpeg.avi", nullptr},
    {"spliced-opendml-avix.avi", nullptr},
    {"small film", [] { return film::file(); }},
    {"film in parts", [] { return film::OpenFilm().bytes(); }},
};

inline QByteArray bytesOf(const Whole &whole)
{
    if (whole.built)
        return whole.built();
    QFile file(
        QDir(QStringLiteral(QUENLOFAR_SAMPLES_DIR)).filePath(QLatin1String("golden/") + QLatin1String(whole.name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Damages of all kinds.
inline std::vector<Damage> allDamages()
{
    std::vector<Damage> all = structureDamages();
    for (const std::vector<Damage> &more : {headerDamages(), indexDamages()})
        all.insert(all.end(), more.begin(), more.end());
    return all;
}

} // namespace damage
} // namespace quenlofar
