#include "containerwave.h"

#include <algorithm>
#include <limits>

using namespace quenlofar;

namespace {

constexpr quint64 chunkHeaderSize = 8; // id and size
constexpr quint64 listHeaderSize = 12; // and the form type
constexpr quint32 sizeStandsInDs64 = 0xFFFFFFFF;
constexpr quint32 mostLongSizes = 1000; // that are kept; all are shown

constexpr FieldRow idRows[] = {{u"id", 0, FieldKind::FourCC}};
constexpr FieldRow formRows[] = {{u"type", 0, FieldKind::FourCC}};

/// Ids consist of ASCII characters from the blank on. Anything else says that no chunk begins here.
bool isId(quint32 word)
{
    for (int shift = 0; shift < 32; shift += 8) {
        const quint32 byte = word >> shift & 0xFF;
        if (byte < 0x20 || byte > 0x7E)
            return false;
    }
    return true;
}

bool isList(quint32 id)
{
    return id == idOf("RIFF") || id == idOf("RF64") || id == idOf("LIST");
}

} // namespace

int ContainerWave::verifyContainerFormat(const QString &path)
{
    if (const int status = openFile(path); status != StatusOk)
        return status;
    char bytes[listHeaderSize] = {};
    m_file.read(bytes, sizeof bytes);
    closeFile();
    const RecordView header(bytes, sizeof bytes);
    const quint32 id = header.read<quint32>(0);
    const bool isWave = (id == idOf("RIFF") || id == idOf("RF64")) && header.read<quint32>(8) == idOf("WAVE");
    return isWave ? StatusOk : StatusNotRecognised;
}

/// Reads ahead what ds64 says: the size of the RF64 chunk itself stands there too.
void ContainerWave::prepareParsing()
{
    constexpr quint64 begin = listHeaderSize + chunkHeaderSize;
    const QByteArray headers = read(0, begin);
    const QByteArray bytes = read(begin, 28);
    const RecordView sizes(bytes);
    if (RecordView(headers).read<quint32>(0) != idOf("RF64") || RecordView(headers).read<quint32>(12) != idOf("ds64")
        || sizes.size() < 28)
        return;
    m_longSizes = {{idOf("RF64"), sizes.read<quint64>(0)}, {idOf("data"), sizes.read<quint64>(8)}};
    const quint32 count = std::min(sizes.read<quint32>(24), mostLongSizes);
    const QByteArray table = read(begin + 28, quint64(count) * 12);
    for (size_t at = 0; at + 12 <= size_t(table.size()); at += 12)
        m_longSizes.append({RecordView(table).read<quint32>(at), RecordView(table).read<quint64>(at + 4)});
}

int ContainerWave::findBeginOfContainer(qint64 *offset)
{
    *offset = 0;
    return StatusOk;
}

int ContainerWave::parseElement(quint64 *size)
{
    quint64 next = 0;
    const int status = showElement({m_position, quint64(m_file.size())}, &next);
    *size = next - m_position;
    return status;
}

QByteArray ContainerWave::read(quint64 position, quint64 count)
{
    m_file.seek(qint64(position));
    return m_file.read(qint64(count));
}

/// Reads the header of the chunk at the beginning of `place`; false when none is there.
bool ContainerWave::findChunk(const Range &place, Chunk *chunk)
{
    if (place.size() < chunkHeaderSize)
        return false;
    const QByteArray bytes = read(place.begin, chunkHeaderSize);
    const quint32 stored = RecordView(bytes).read<quint32>(4);
    chunk->id = RecordView(bytes).read<quint32>(0);
    if (!isId(chunk->id))
        return false;

    const auto isOurs = [chunk](const LongSize &each) { return each.id == chunk->id; };
    const auto known = std::find_if(m_longSizes.cbegin(), m_longSizes.cend(), isOurs);
    chunk->size = stored;
    if (stored == sizeStandsInDs64 && known != m_longSizes.cend()) {
        // No file is longer than the largest signed number, and with this bound no sum of sizes wraps.
        chunk->size =
            std::min(known->size, quint64(std::numeric_limits<qint64>::max()) - place.begin - chunkHeaderSize);
        chunk->longSize = QStringLiteral("%1, given by ds64").arg(known->size);
    }

    // Bounded by the file alone: where a list is shorter than a chunk in it, it is rarely the chunk that lies.
    const quint64 fileEnd = quint64(m_file.size());
    const quint64 begin = place.begin + chunkHeaderSize;
    chunk->isComplete = chunk->size <= fileEnd - begin;
    chunk->data = {begin, chunk->isComplete ? begin + chunk->size : fileEnd};
    if (place.begin == 0) // the form is there even where a writer never filled in the size: detection has seen it
        chunk->data.end = std::max(chunk->data.end, listHeaderSize);
    // Some writers do not pad; the next id then begins where the zero byte would be.
    chunk->isPadded = chunk->isComplete && chunk->size % 2 == 1 && read(chunk->data.end, 1) == QByteArray(1, '\0');
    return true;
}

/// Shows what stands at the beginning of `place`. `*next` is behind it, at the next element.
int ContainerWave::showElement(const Range &place, quint64 *next)
{
    Chunk chunk{};
    if (!findChunk(place, &chunk)) {
        addUnparsed(place.begin, place.size());
        *next = place.end;
        return StatusOk;
    }

    const bool hasForm = isList(chunk.id) && chunk.data.size() >= 4;
    const QByteArray header = read(place.begin, hasForm ? listHeaderSize : chunkHeaderSize);
    QString title = RecordView(header).fourCC(0);
    if (hasForm)
        title += QLatin1Char('(') + RecordView(header).fourCC(8) + QLatin1Char(')');
    beginElement(place.begin, chunkHeaderSize + chunk.size + (chunk.isPadded ? 1 : 0), title, -1);
    addRecord(place.begin, RecordView(header), idRows);
    addLeaf(place.begin + 4, 4, QStringLiteral("size"), fieldText(RecordView(header), 4, FieldKind::U32),
            chunk.longSize);

    int status = chunk.isComplete ? StatusOk : StatusEndOfFile;
    *next = chunk.data.end;
    if (hasForm) {
        addRecord(chunk.data.begin, RecordView(header.constData() + 8, 4), formRows);
        const int childStatus = showList(chunk, next);
        status = childStatus != StatusOk ? childStatus : status;
    } else {
        showData(chunk.id, chunk.data);
    }
    if (chunk.isPadded && *next == chunk.data.end) {
        addLeaf(*next, 1, QStringLiteral("padding"), QStringLiteral("0"));
        ++*next;
    }
    endElement();
    return status;
}

/// Shows the children of a list: the first status that is not zero. `*next` is moved on where the last one is longer
/// than its list.
int ContainerWave::showList(const Chunk &chunk, quint64 *next)
{
    int status = StatusOk;
    quint64 child = chunk.data.begin + 4;
    while (child < chunk.data.end) {
        const int childStatus = showElement({child, chunk.data.end}, &child);
        status = status != StatusOk ? status : childStatus;
    }
    *next = std::max(child, chunk.data.end);
    return status;
}
