#include "containeravi.h"

#include "timetext.h"

using namespace quenlofar;

namespace {

/// Bytes of an idx1 entry, and what is read of an indx entry whatever its own size.
constexpr int entrySize = 16;

// idx1: an entry shows four words. Indexes hold millions of entries, so nothing is allocated and no text is made twice.

// Source: AVIOLDINDEX of the AVI RIFF File Reference; AVIIF_COMPUSE of vfw.h.
constexpr quint32 listFlag = 0x00000001;
constexpr quint32 keyFrameFlag = 0x00000010;
constexpr quint32 noTimeFlag = 0x00000100;
constexpr quint32 compressorFlags = 0x0FFF0000;

// Kept: the names run together, unlike those of the main header's flags. Every name starts with "AVIIF_", so they can
// still be told apart.
const QString indexFlagTexts[] = {
    {},
    QStringLiteral("AVIIF_LIST"),
    QStringLiteral("AVIIF_KEYFRAME"),
    QStringLiteral("AVIIF_LISTAVIIF_KEYFRAME"),
    QStringLiteral("AVIIF_NOTIME"),
    QStringLiteral("AVIIF_LISTAVIIF_NOTIME"),
    QStringLiteral("AVIIF_KEYFRAMEAVIIF_NOTIME"),
    QStringLiteral("AVIIF_LISTAVIIF_KEYFRAMEAVIIF_NOTIME"),
    QStringLiteral("AVIIF_COMPUSE"),
    QStringLiteral("AVIIF_LISTAVIIF_COMPUSE"),
    QStringLiteral("AVIIF_KEYFRAMEAVIIF_COMPUSE"),
    QStringLiteral("AVIIF_LISTAVIIF_KEYFRAMEAVIIF_COMPUSE"),
    QStringLiteral("AVIIF_NOTIMEAVIIF_COMPUSE"),
    QStringLiteral("AVIIF_LISTAVIIF_NOTIMEAVIIF_COMPUSE"),
    QStringLiteral("AVIIF_KEYFRAMEAVIIF_NOTIMEAVIIF_COMPUSE"),
    QStringLiteral("AVIIF_LISTAVIIF_KEYFRAMEAVIIF_NOTIMEAVIIF_COMPUSE"),
};

/// A key frame is named for video chunks only: every chunk of other streams can be started at.
const QString &indexFlagsText(quint32 flags, bool isVideo)
{
    const unsigned list = (flags & listFlag) != 0 ? 1 : 0;
    const unsigned keyFrame = isVideo && (flags & keyFrameFlag) != 0 ? 2 : 0;
    const unsigned noTime = (flags & noTimeFlag) != 0 ? 4 : 0;
    const unsigned compressor = (flags & compressorFlags) != 0 ? 8 : 0;
    return indexFlagTexts[list | keyFrame | noTime | compressor];
}

/// True for the id of a video chunk: its last two characters, of at most four, are "db" or "dc". A zero byte ends the
/// id early, so "dc" alone is one too.
bool isVideoChunk(const char *id)
{
    const size_t length = qstrnlen(id, 4);
    return length >= 2 && id[length - 2] == 'd' && (id[length - 1] == 'b' || id[length - 1] == 'c');
}

/// The value of a hexadecimal digit, or -1.
int hexDigit(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

/// The two characters at `digits` as QString::toInt reads them in base 16 (signs and white space count); false when
/// they are no number.
bool readStreamNumber(const char *digits, int *number)
{
    const int high = hexDigit(digits[0]);
    const int low = hexDigit(digits[1]);
    if (Q_LIKELY(high >= 0 && low >= 0)) {
        *number = 16 * high + low;
        return true;
    }
    bool isNumber = false;
    *number = QString::fromLatin1(digits, 2).toInt(&isNumber, 16);
    return isNumber;
}

// indx: a header, and entries of the two kinds that its bIndexType tells apart.

enum IndexType : quint8 { SuperIndex = 0, StandardIndex = 1 };

// clang-format off
// Source: AVISUPERINDEX and AVISTDINDEX of the AVI RIFF File Reference, which have the first five members in common.
constexpr int indexHeaderSize = 24;
constexpr FieldRow indexHeaderRows[] = {
    {u"wLongsPerEntry", 0, FieldKind::U16},
    {u"bIndexSubType",  2, FieldKind::U8},
    {u"bIndexType",     3, FieldKind::U8},
    {u"nEntriesInUse",  4, FieldKind::U32},
    {u"dwChunkId",      8, FieldKind::FourCC},
};
constexpr FieldRow superIndexRows[] = {
    {u"dwReserved",    12, FieldKind::Words3},
};
constexpr FieldRow otherIndexRows[] = {
    {u"qwBaseOffset",  12, FieldKind::U64},
    {u"dwReserved3",   20, FieldKind::U32},
};
static_assert(tiles(indexHeaderRows, 0, 12) && tiles(superIndexRows, 12, indexHeaderSize)
              && tiles(otherIndexRows, 12, indexHeaderSize), "indx: the rows leave a gap or overlap");
// clang-format on

} // namespace

// Source: AVIOLDINDEX of the AVI RIFF File Reference.
int ContainerAVI::parseChunkIDX1(quint64 offset, quint32 size)
{
    const QString title = QStringLiteral("idx1_entry");
    const QString idName = QStringLiteral("chunk_id");
    const QString flagsName = QStringLiteral("Flags");
    const QString offsetName = QStringLiteral("Offset");
    const QString sizeName = QStringLiteral("Size");
    const QString none;

    int status = StatusOk;
    const quint32 entries = size / entrySize;
    quint64 position = offset;
    quint32 rest = size;
    char bytes[entrySize] = {}; // past the end of the file an entry shows what the last read left
    for (quint32 number = 0; number < entries && status == StatusOk; ++number) {
        m_file.seek(qint64(position));
        m_file.read(bytes, sizeof bytes);
        const IndexEntry entry{qFromLittleEndian<quint32>(bytes + 4), qFromLittleEndian<quint32>(bytes + 8),
                               qFromLittleEndian<quint32>(bytes + 12)};
        const bool isVideo = isVideoChunk(bytes);

        beginElement(position, entrySize, title, number);
        addLeaf(position, 4, idName, m_valueText.latin1(bytes, 4), none, none);
        addLeaf(position + 4, 4, flagsName, m_valueText.decimal(quint64(entry.flags)),
                indexFlagsText(entry.flags, isVideo), none);
        addLeaf(position + 8, 4, offsetName, m_valueText.decimal(quint64(entry.offset)), none, none);
        addLeaf(position + 12, 4, sizeName, m_valueText.decimal(quint64(entry.size)), none, none);
        endElement();
        position += entrySize;
        rest -= entrySize;

        if (isVideo && entry.size != 0)
            status = reportIndexedFrame(bytes, entry);
    }
    if (rest > 0)
        addUnparsed(position, rest);
    m_file.seek(qint64(offset));
    return status;
}

int ContainerAVI::reportIndexedFrame(const char *streamDigits, const IndexEntry &entry)
{
    int number = 0;
    if (!readStreamNumber(streamDigits, &number))
        return StatusUnknownStream;
    // Kept: the number is looked up among the video streams' ordinals, not among all streams. Frames of a video stream
    // that follows an audio stream are therefore refused, rather than counted for a stream that they may not belong to.
    const auto stream = m_videoStreamNumbers.indexOf(quint32(number));
    if (stream < 0)
        return StatusUnknownStream;

    m_frameSize = entry.size;
    m_frameOffset = m_moviOffset + entry.offset + 8;
    m_frameIsKey = int(entry.flags & keyFrameFlag);
    // A host that counts nothing gets every frame as number 0.
    quint64 notCounted = 0;
    quint64 &counter = stream < m_streamFrameCounters.size() ? m_streamFrameCounters[stream] : notCounted;
    reportFrame(uint(stream), counter);
    ++counter;
    return StatusOk;
}

// Source: AVISUPERINDEX and AVISTDINDEX; OpenDML AVI File Format Extensions 1.02, 3.0 Frame and Field Indexing.
int ContainerAVI::parseChunkINDX(quint64 offset, quint32 size)
{
    char bytes[indexHeaderSize] = {};
    m_file.read(bytes, sizeof bytes);
    const RecordView header(bytes, sizeof bytes);
    const quint8 type = header.read<quint8>(3);
    addRecord(offset, header, indexHeaderRows);
    if (type == SuperIndex)
        addRecord(offset, header, superIndexRows);
    else
        addRecord(offset, header, otherIndexRows);

    const QString title = QStringLiteral("index_entry");
    const quint32 entries = header.read<quint32>(4);
    const quint64 stride = quint64(header.read<quint16>(0)) * 4; // 0 is obeyed too: all entries at one place
    const quint64 end = offset + size;
    quint64 position = offset + indexHeaderSize;
    for (quint32 number = 0; number < entries && position < end; ++number, position += stride) {
        if (type != SuperIndex && type != StandardIndex) {
            // Kept: what such an index holds is shown here and once more below; the second leaf is the one that every
            // index with a rest has, the first says that there were entries.
            addUnparsed(position, end - position);
            break;
        }
        char entryBytes[entrySize] = {};
        const RecordView entry(entryBytes, sizeof entryBytes);
        m_file.seek(qint64(position));
        m_file.read(entryBytes, sizeof entryBytes);
        beginElement(position, stride, title, number);
        if (type == SuperIndex)
            addSuperIndexEntry(position, entry);
        else
            addStandardIndexEntry(position, entry, header.read<quint64>(12));
        endElement();
    }
    if (position < end)
        addUnparsed(position, end - position);
    m_file.seek(qint64(offset));
    return StatusOk;
}

// Source: AVISUPERINDEX, its entries.
void ContainerAVI::addSuperIndexEntry(quint64 offset, const RecordView &entry)
{
    const quint32 duration = entry.read<quint32>(12);
    addLeaf(offset, 8, QStringLiteral("qwOffset"), m_valueText.decimal(entry.read<quint64>(0)));
    addLeaf(offset + 8, 4, QStringLiteral("dwSize"), m_valueText.decimal(quint64(entry.read<quint32>(8))));
    addLeaf(offset + 12, 4, QStringLiteral("dwDuration"), m_valueText.decimal(quint64(duration)),
            timeText(duration, m_timeBase));
}

// Source: AVISTDINDEX_ENTRY: dwOffset, then dwSize with the key frame's bit, 32 bits each.
void ContainerAVI::addStandardIndexEntry(quint64 offset, const RecordView &entry, quint64 baseOffset)
{
    // Kept: the entry is read as a 64-bit offset and a 32-bit size, although its leaves stand where two 32-bit words
    // do.
    const quint64 chunkOffset = entry.read<quint64>(0);
    addLeaf(offset, 4, QStringLiteral("dwOffset"), m_valueText.decimal(chunkOffset),
            m_meaningText.decimal(chunkOffset + baseOffset));

    const quint32 chunkSize = entry.read<quint32>(8);
    const bool isKeyFrame = chunkSize <= 0x7FFFFFFF;
    const QString bytes = QString::number(chunkSize & 0x7FFFFFFF);
    addLeaf(offset + 4, 4, QStringLiteral("dwSize"), m_valueText.decimal(quint64(chunkSize)),
            isKeyFrame ? bytes + QStringLiteral(" (Key frame)") : bytes);
}
