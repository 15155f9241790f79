#pragma once

#include "aviindexbytes.h"
#include "aviparts.h"
#include "repairplanner.h"

#include <atomic>
#include <vector>

namespace quenlofar {

class AviKeyFlags;
class FileDevice;

/// What a rewrite does beyond putting the file together as it should be.
struct AviRewriteChoice
{
    bool interleaves = false; ///< data chunks stand in the order of their times
    bool extendsMp3 = false; ///< formats of MP3 get the fields that they lack
    bool cutsTrailing = false; ///< bytes behind the last RIFF list are left out
    /// RIFF lists are no larger, in bytes, where several data chunks would make them so.
    quint64 segmentLimit = quint64(1) << 30;
};

/**
 * Puts an AVI file together anew: headers first, data chunks with their padding, in RIFF lists of at most 1 GiB, and
 * indexes of all of them. Data and all chunks that are no headers of lists and no indexes are copied; bytes between
 * chunks become the data of a JUNK chunk.
 */
class AviRewrite
{
public:
    /// The file `layout`, whose bytes `file` reads; key flags of all packets are known. All outlive the object.
    AviRewrite(const AviLayout &layout, FileDevice &file, const AviKeyFlags &keys, const AviRewriteChoice &choice)
        : m_layout(layout), m_file(file), m_keys(keys), m_choice(choice)
    {
    }

    /// Where everything goes; empty where the file cannot be put together: too much of it is not understood. `cancel`
    /// may be null.
    FileLayout make(const std::atomic<bool> *cancel);
    /// The number of RIFF lists of the latest make().
    int segments() const { return m_segments; }

private:
    /// A list that is being written.
    struct OpenList
    {
        quint64 offset; // of its id
        int sizeAt; // where its size stands in the new bytes
    };
    /// What is known of a stream while segments are written.
    struct Stream
    {
        QByteArray entries; // of the standard index of this segment
        QByteArray superEntries;
        quint32 chunkId = 0; // of the first packet
        int superAt = -1; // where the data of the super index stands in the new bytes
        quint64 frames = 0; // packets so far
        quint64 bytes = 0; // of these
        quint64 ticks = 0; // that the segments before this one have
    };

    bool isPossible() const;
    bool collect();
    bool collectSegment(size_t number);
    void interleave();
    bool isOpenDml() const;
    quint64 indexedSize(const AviPart &part) const;

    bool writeHeaders();
    void writeMainHeader();
    bool writeStream(const AviPart &list, size_t number);
    bool writeExtended(const AviPart &list);
    void writeSuperIndex(size_t number);
    QByteArray mp3Format(const AviStream &stream) const;
    bool writeSegment(bool isFirst, const std::atomic<bool> *cancel);
    bool writePart(const AviPart &part, bool isFirst);
    bool indexPacket(quint64 packet, quint64 offset, bool isFirst);
    bool writePartIndexes();
    bool finish();

    void add(const QByteArray &bytes);
    void copyRange(const ByteRange &range);
    void copyPart(const AviPart &part);
    void copyParts(const std::vector<AviPart> &parts);
    void addChunk(const char (&id)[5], const QByteArray &data);
    OpenList openList(const char (&id)[5], const char (&form)[5]);
    bool close(const OpenList &list);
    void supersede(const ByteRange &range);
    void supersedeHeader(const AviPart &list);
    const AviElement &elementOf(const AviPart &part) const { return m_layout.elements[part.number]; }

    const AviLayout &m_layout;
    FileDevice &m_file;
    const AviKeyFlags &m_keys;
    const AviRewriteChoice m_choice;

    std::vector<AviPart> m_data; // of all `movi`, in the order in which they are written
    std::vector<AviPart> m_before; // of the first RIFF, before `movi`, without hdrl
    std::vector<AviPart> m_behind; // of the first RIFF, behind it
    std::vector<AviPart> m_last; // of later RIFFs
    AviPart m_headers;
    bool m_isOpenDml = false;

    FileLayout m_result;
    quint64 m_position = 0; // in the new file
    size_t m_next = 0; // in m_data
    int m_segments = 0;
    quint64 m_base = 0; // the form type of the `movi` that is being written
    quint32 m_superRoom = 0; // entries that a super index has room for
    QByteArray m_legacy; // entries of idx1
    std::vector<Stream> m_streams;
    int m_mainHeaderAt = -1; // where the data of avih stands in the new bytes
    int m_extendedHeaderAt = -1; // and that of dmlh
};

} // namespace quenlofar
