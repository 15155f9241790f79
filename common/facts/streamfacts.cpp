#include "streamfacts.h"

#include "describingsink.h"
#include "runresult.h"

#include <cmath>
#include <cstdlib>

namespace quenlofar {

namespace {

StreamDescription described(const VideoStream &known, int ordinal)
{
    StreamDescription stream;
    stream.ordinal = ordinal;
    stream.videoOrdinal = ordinal;
    stream.kind = StreamDescription::Kind::Video;
    if (known.codecId != 0)
        stream.codecName = QStringLiteral("codec %1").arg(known.codecId);
    stream.width = known.width;
    stream.height = quint32(std::abs(qint64(qint32(known.height))));
    stream.frameRate = std::isfinite(known.frameRate) && known.frameRate > 0.0 ? known.frameRate : 0.0;
    return stream;
}

} // namespace

QVector<StreamDescription> streamsOf(const DescribingSink &describer, const RunResult &result)
{
    QVector<StreamDescription> streams = describer.streams();
    if (streams.isEmpty()) {
        for (const VideoStream &known : result.videoStreams)
            streams.append(described(known, int(streams.size())));
    }
    return streams;
}

} // namespace quenlofar
