// A plug-in without a describer, for a format of its own: "PLAIN", and then a byte for each frame, whose upper bit says
// that it is a key frame and whose other bits are the frame's size; 127 stands for 5 GiB. Two video streams are
// announced, the frames are of the first. A byte 126 makes the parser throw, as a broken plug-in does.
#include "containerabstract.h"

#include <QStringList>

#include <limits>
#include <stdexcept>

#ifdef __clang__
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

using namespace quenlofar;

namespace {

constexpr int signatureSize = 5;
constexpr quint64 largeFrame = quint64(5) << 30;
constexpr unsigned char throwingFrame = 126;

class PlainParser : public ContainerAbstract
{
protected:
    int verifyContainerFormat(const QString &path) override
    {
        const int status = openFile(path);
        if (status != StatusOk)
            return status;
        char signature[signatureSize] = {};
        m_file.read(signature, signatureSize);
        closeFile();
        return QByteArray(signature, signatureSize) == "PLAIN" ? StatusOk : StatusNotRecognised;
    }
    int findBeginOfContainer(qint64 *offset) override
    {
        *offset = 0;
        return StatusOk;
    }
    int parseElement(quint64 *size) override
    {
        *size = quint64(m_levelEnds.first());
        beginElement(0, *size, QStringLiteral("plain"), -1);
        addField(false, 0, 0, signatureSize, QStringLiteral("signature"), QStringLiteral("PLAIN"), {}, {}, -1);
        addStream(25.0, 8, 13);
        addStream(std::numeric_limits<double>::infinity(), quint32(-8), 0);
        reportFrames();
        endElement();
        return StatusOk;
    }
    void prepareParsing() override { }
    void finalizeParsing() override { }

private:
    void addStream(double frameRate, quint32 height, qint32 codec)
    {
        addField(false, 0, 0, 0, QStringLiteral("fccType"), {}, QStringLiteral("Video"), {}, -1);
        VideoStream &stream = *m_videoStreams.last();
        stream.width = 16;
        stream.height = height;
        stream.codecId = codec;
        stream.frameRate = frameRate;
    }
    void reportFrames()
    {
        m_file.seek(signatureSize);
        unsigned char frame = 0;
        for (quint64 number = 0; m_file.read(reinterpret_cast<char *>(&frame), 1) == 1; ++number) {
            if (frame == throwingFrame)
                throw std::runtime_error("a frame too many");
            m_frameOffset = signatureSize + number;
            m_frameSize = (frame & 0x7F) == 0x7F ? largeFrame : frame & 0x7F;
            m_frameIsKey = frame >> 7;
            reportFrame(0, number);
        }
    }
};

} // namespace

extern "C" Q_DECL_EXPORT QString containerName()
{
    return QStringLiteral("Plain");
}

extern "C" Q_DECL_EXPORT QStringList supportedExtensions()
{
    return {QStringLiteral("plain")};
}

extern "C" Q_DECL_EXPORT ContainerAbstract *createParser()
{
    return new PlainParser;
}
