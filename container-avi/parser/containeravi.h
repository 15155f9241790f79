#pragma once

#include "chunkids.h"
#include "containerabstract.h"
#include "containeravi_export.h"
#include "lenttext.h"

#include <QHash>
#include <QString>
#include <QVector>

namespace quenlofar {

class AviProbe;
struct ChunkRow;

/**
 * AVIMAINHEADER of Video for Windows without its chunk header: the payload of avih. All members little-endian in the
 * file.
 */
struct MainHeader
{
    quint32 dwMicroSecPerFrame;
    quint32 dwMaxBytesPerSec;
    quint32 dwPaddingGranularity;
    quint32 dwFlags;
    quint32 dwTotalFrames;
    quint32 dwInitialFrames;
    quint32 dwStreams;
    quint32 dwSuggestedBufferSize;
    quint32 dwWidth;
    quint32 dwHeight;
    quint32 dwReserved[4];
};
static_assert(sizeof(MainHeader) == 56, "avih is read straight into this record");

} // namespace quenlofar

/**
 * The parser of AVI files (RIFF forms "AVI " and "AVIX").
 *
 * walker.cpp finds the chunks and descends into lists; chunktable.cpp says which handler shows which chunk; one file
 * per family of handlers, chunks_*.cpp, says what the bytes mean. What a handler learns for a later one is kept in the
 * members below, for the life of the object: it parses one file.
 */
class CONTAINERAVI_EXPORT ContainerAVI : public ContainerAbstract
{
public:
    /// Shows the data of one chunk: absolute offset of its first byte, its size padded to even; a Status. It is called
    /// with the file on the first byte, and a handler that seeks seeks back there.
    using Handler = int (ContainerAVI::*)(quint64 offset, quint32 size);

    /// The registry's record of one chunk id.
    class CONTAINERAVI_EXPORT ElementAVI : public CommonElement
    {
    public:
        ElementAVI();
        ElementAVI(int elementType, Handler elementHandler, const QString &elementName,
                   const QString &elementDescription);
        ElementAVI(const ElementAVI &other);
        ElementAVI &operator=(const ElementAVI &other);
        ~ElementAVI();

        Handler handler; ///< null where the data is not shown
        QString description;
    };

    /// How many bytes of a text or of unknown data a leaf "value" shows.
    static constexpr quint32 shownBytes = 127;

    /// Kinds of elements. The walker only asks whether it is a list.
    enum ElementType { TypeInfoDate = 4, TypeList = 7, TypeChunk = 8, TypeIndex = 9 };

    ContainerAVI();
    ~ContainerAVI() override;

    /// Reads four bytes at the file's position as an id: StatusOk, or StatusEndOfFile with what came.
    int getID(QString *id);
    /// Reads a 32-bit size at the file's position: StatusOk, or StatusEndOfFile.
    int getSize(quint32 *size);

protected:
    int verifyContainerFormat(const QString &path) override;
    int findBeginOfContainer(qint64 *offset) override;
    int parseElement(quint64 *size) override;
    void prepareParsing() override;
    void finalizeParsing() override;

    /// StatusOk when `id` is a known chunk id, else StatusUnknownId. Copies the registry's record to `*entry` when
    /// there is one and `entry` is not null; stream data and stream index chunks have none.
    int searchID(const QString &id, ElementAVI *entry);

    /// The codec id of the first row of `table` (FourCCRow, ended by a row with codec id 0) with this tag, or 0.
    int getCodecID(const void *table, quint32 tag);
    /// The codec id of the first row of `table` (CodecNameRow) with this name, or 0.
    int getCodecID(const void *table, const QString &text);

    // Generic handlers (walker.cpp).
    int parseUnknownObject(quint64 offset, quint32 size);
    int parseListINFO(quint64 offset, quint32 size);
    // File headers (chunks_fileheaders.cpp).
    int parseChunkAVIH(quint64 offset, quint32 size);
    int parseChunkDMLH(quint64 offset, quint32 size);
    int parseChunkVPRP(quint64 offset, quint32 size);
    // Streams (chunks_streams.cpp, chunks_audioformat.cpp).
    int parseChunkSTRH(quint64 offset, quint32 size);
    int parseChunkSTRF(quint64 offset, quint32 size);
    int parseChunkSTRF_video(quint64 offset, quint32 size);
    int parseChunkSTRF_audio(quint64 offset, quint32 size);
    // Indexes (chunks_indexes.cpp).
    int parseChunkIDX1(quint64 offset, quint32 size);
    int parseChunkINDX(quint64 offset, quint32 size);

private:
    friend class quenlofar::AviProbe; // tests look at the parser's state through it
    friend struct quenlofar::ChunkRow; // the chunk table names the handlers

    /// A chunk that the walker is about to show.
    struct ChunkStart
    {
        quint64 position; ///< of its id
        quint64 skipped; ///< bytes before it that belong to no chunk
        quenlofar::ChunkId id;
        quint32 size; ///< as stored; only where an unknown chunk was found
        const ElementAVI *entry; ///< null for an unknown, a stream data and a stream index chunk
    };
    /// What an entry of the legacy index says of a chunk.
    struct IndexEntry
    {
        quint32 flags;
        quint32 offset;
        quint32 size;
    };
    enum class Found { KnownChunk, UnknownChunk, TailOfList, EndOfFile };

    bool readId(quenlofar::ChunkId *id);
    bool readSize(quint32 *size);
    Found findChunk(qint64 levelEnd, ChunkStart *chunk);
    Found findId(qint64 levelEnd, ChunkStart *chunk);
    bool findKnown(quenlofar::ChunkId id, ChunkStart *chunk);
    Found searchId(qint64 levelEnd, quint32 id, ChunkStart *chunk);
    Found findKnownIdInside(const ChunkStart &chunk, quint64 *known);
    const QString &idText(quenlofar::ChunkId id);
    const QString &listTitle(quenlofar::ChunkId id, quenlofar::ChunkId form);
    void beginChunk(const ChunkStart &chunk, quint32 shown, const QString *title = nullptr);
    void showUnknownChunk(const ChunkStart &chunk);
    int showKnownChunk(const ChunkStart &chunk, quint64 *size);
    int showPlainChunk(const ChunkStart &chunk, quint32 padded, int readStatus);
    int showList(const ChunkStart &chunk, quint32 padded);
    int beginList(const ChunkStart &chunk, quint32 padded);
    void addSkipped(quint64 start, quint64 skipped);
    int addText(quint64 offset, quint32 size);

    // Parts of the handlers. `offset` is where their own record starts, in bytes from the start of the file.
    int parseExtraFormatData(quint64 offset, quint16 formatTag, quint16 size);
    int reportIndexedFrame(const char *streamDigits, const IndexEntry &entry);
    void addSuperIndexEntry(quint64 offset, const quenlofar::RecordView &entry);
    void addStandardIndexEntry(quint64 offset, const quenlofar::RecordView &entry, quint64 baseOffset);

    /// Adds an unparsed leaf over what the payload of `size` bytes holds after its first `parsed`, if anything.
    void addUnparsedTail(quint64 offset, quint32 size, quint32 parsed);

    // What the handlers leave for one another.
    quenlofar::MainHeader m_mainHeader{};
    QHash<QString, ElementAVI *> m_elements; // owned; filled by the constructor
    quint32 m_streamType; // of the latest stream header, see StreamType
    quint32 m_videoStreamCount;
    double m_timeBase; // rate divided by scale of the latest stream header
    quint64 m_moviOffset; // of the form type of the latest "movi" list: idx1 counts from there
    QVector<quint32> m_videoStreamNumbers; // ordinals among the video streams, one per video stream header

    // Working state without meaning between calls.
    const quenlofar::ChunkIdTable &m_ids = quenlofar::ChunkIdTable::instance();
    const ElementAVI *m_elementsByRow[quenlofar::ChunkIdTable::rowCount] =
        {}; // the records by their row in the chunk table
    quenlofar::LentText m_titleText, m_valueText, m_meaningText;
};

namespace quenlofar {

/// What m_streamType says of a stream. A stream header of another type leaves it as it was.
enum StreamType : quint32 {
    NoStream = 0,
    VideoStreamType = 1,
    AudioStreamType = 2,
    MidiStreamType = 3,
    TextStreamType = 4,
};

} // namespace quenlofar
