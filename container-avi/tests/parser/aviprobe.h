#pragma once

#include "bytesource.h"
#include "containerabstract_p.h"
#include "containeravi.h"
#include "testing/recordingsink.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace quenlofar {

/**
 * An AVI parser over bytes in memory, outside of any run: single handlers can be called, and its state can be looked at
 * and set. Without a run the host's side of it, video stream records and frame counters, is what the test puts there.
 */
class AviProbe : public ContainerAVI
{
public:
    explicit AviProbe(const QByteArray &bytes)
    {
        ContainerAbstractPrivate::of(*this).sink = &m_sink;
        m_file.open(memorySource(bytes));
        m_levelEnds.append(m_file.size());
    }

    static constexpr Handler avih = &ContainerAVI::parseChunkAVIH;
    static constexpr Handler dmlh = &ContainerAVI::parseChunkDMLH;
    static constexpr Handler vprp = &ContainerAVI::parseChunkVPRP;
    static constexpr Handler strh = &ContainerAVI::parseChunkSTRH;
    static constexpr Handler strf = &ContainerAVI::parseChunkSTRF;
    static constexpr Handler strfVideo = &ContainerAVI::parseChunkSTRF_video;
    static constexpr Handler strfAudio = &ContainerAVI::parseChunkSTRF_audio;
    static constexpr Handler idx1 = &ContainerAVI::parseChunkIDX1;
    static constexpr Handler indx = &ContainerAVI::parseChunkINDX;
    static constexpr Handler listInfo = &ContainerAVI::parseListINFO;
    static constexpr Handler unknownObject = &ContainerAVI::parseUnknownObject;

    /// Calls `handler` as the walker does, with the file on the first byte of the data.
    int call(Handler handler, quint64 offset, quint32 size)
    {
        m_file.seek(qint64(offset));
        return (this->*handler)(offset, size);
    }
    /// Calls `handler` for data that begins where the file does.
    int call(Handler handler, quint32 size) { return call(handler, 0, size); }

    /// What came so far; see RecordingSink.
    const QStringList &lines() const { return m_sink.lines; }
    void clearLines() { m_sink.lines.clear(); }
    int openNodes() const { return m_sink.depth(); }

    using ContainerAVI::finalizeParsing;
    using ContainerAVI::findBeginOfContainer;
    using ContainerAVI::getCodecID;
    using ContainerAVI::parseElement;
    using ContainerAVI::prepareParsing;
    using ContainerAVI::searchID;
    using ContainerAVI::verifyContainerFormat;

    using ContainerAbstract::m_file;
    using ContainerAbstract::m_frameIsKey;
    using ContainerAbstract::m_frameOffset;
    using ContainerAbstract::m_frameSize;
    using ContainerAbstract::m_levelEnds;
    using ContainerAbstract::m_position;
    using ContainerAbstract::m_streamFrameCounters;
    using ContainerAbstract::m_videoStreams;

    const MainHeader &mainHeader() const { return m_mainHeader; }
    const QHash<QString, ElementAVI *> &elements() const { return m_elements; }
    quint32 &streamType() { return m_streamType; }
    quint32 &videoStreamCount() { return m_videoStreamCount; }
    double &timeBase() { return m_timeBase; }
    quint64 &moviOffset() { return m_moviOffset; }
    QVector<quint32> &videoStreamNumbers() { return m_videoStreamNumbers; }

private:
    RecordingSink m_sink;
};

} // namespace quenlofar
