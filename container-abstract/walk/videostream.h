#pragma once

#include <QStringView>
#include <QtGlobal>

namespace quenlofar {

/// A leaf of this name and this meaning is how a parser, of whatever container, announces a video stream to its run.
inline constexpr QStringView videoStreamField{u"fccType"};
/// See videoStreamField.
inline constexpr QStringView videoStreamMeaning{u"Video"};

/// What the host keeps of one video stream. A parser fills it in through ContainerAbstract::m_videoStreams.
struct VideoStream
{
    quint32 width = 0; ///< picture width in pixels, as the 32-bit pattern that the file holds
    quint32 height = 0; ///< picture height in pixels; a top-down bitmap's negative height stays a 32-bit pattern
    quint32 formatCode = 0; ///< pixel format number; 3 is packed 24-bit blue-green-red, 0 is none given
    qint32 codecId = 0; ///< codec number of libavcodec's enumeration as of 2012-2013; 0 is none known
    double frameRate = 0.0; ///< frames per second; infinite or not a number where the file's header says so
};

/// One video frame that a parser reported.
struct Frame
{
    uint stream = 0; ///< ordinal among the video streams, from 0
    quint64 number = 0; ///< running number within the stream, from 0
    quint64 offset = 0; ///< first byte of the frame's data, in bytes from the start of the file
    quint64 size = 0; ///< bytes
    bool key = false; ///< the index marks it as a key frame
};

} // namespace quenlofar
