#pragma once

#include "containerdescriber.h"

#include <QString>
#include <QVector>

#include <array>
#include <memory>

namespace quenlofar {

/**
 * Describes AVI files by the nodes and leaves that ContainerAVI shows.
 *
 * Every "strl" list is a stream, and so is every "strh" that has none of its own: one that stands outside of such a
 * list or is not the first in it. That keeps its video streams those of the run, one for one. Where a value is given
 * twice the later one counts, as for the parser.
 *
 * Files hold millions of index entries and stream chunks: those are passed over by their node's title.
 */
class AviDescriber final : public ContainerDescriber
{
public:
    /// Of more streams the first ones are kept, and a row says so. Chunk ids name a hundred; a list of streams may be
    /// as short as 12 bytes. A stream takes some 200 bytes, and as many again for each hundred characters of its name.
    static constexpr quint64 mostStreams = 65536;

    AviDescriber();
    ~AviDescriber() override;

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;

    QVector<DescriptionRow> rows() const override;
    QVector<StreamDescription> streams() const override { return m_streams; }

    /// The chunks that are listened to; an index is one so that nothing inside of it is looked at.
    enum class Chunk : quint8 { None, Index, StreamHeader, StreamFormat, StreamName, Info };
    /// The texts of an INFO list that are kept.
    static constexpr int infoCount = 8;

private:
    struct StreamFacts; // what was read of a stream
    /// Successive top-level lists of one form.
    struct SegmentRun
    {
        QString form;
        quint64 count = 0;
    };

    void beginChunk(QStringView title);
    void beginSegment(QStringView title);
    void beginStream();
    void finishStream();
    void readStreamField(const Field &field);
    static StreamDescription described(const StreamFacts &facts, int ordinal);
    static void describeVideo(const StreamFacts &facts, StreamDescription *stream);
    static void describeAudio(const StreamFacts &facts, StreamDescription *stream);
    QString segmentsText() const;

    quint64 m_depth = 0; // open nodes
    Chunk m_chunk = Chunk::None; // the chunk that is open,
    quint64 m_chunkDepth = 0; // its depth,
    int m_infoRow = 0; // and which text of an INFO list it is
    quint64 m_streamListDepth = 0; // of the open "strl" list; 0 when none is

    std::unique_ptr<StreamFacts> m_stream; // the stream that is being read; null between streams
    QVector<StreamDescription> m_streams;
    quint64 m_streamCount = 0; // also of those that are not kept
    quint64 m_videoStreamCount = 0;
    QVector<SegmentRun> m_segments;
    quint64 m_segmentCount = 0;
    std::array<QString, infoCount> m_info;
};

} // namespace quenlofar
