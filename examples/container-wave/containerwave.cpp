#include "containerwave.h"

#include <algorithm>
#include <limits>

using namespace quenlofar;

namespace {

constexpr quint64 chunkHeaderSize = 8; // id and size
constexpr quint64 listHeaderSize = 12; // and the form type
constexpr quint32 mostLongSizes = 1000; // that are kept; all are shown

constexpr FieldRow idRows[] = {{u"id", 0, FieldKind::FourCC}};
constexpr FieldRow formRows[] = {{u"type", 0, FieldKind::FourCC}};

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
    InputCursor input = cursor(0, quint64(m_file.size()));
    const StoredRecord headers = input.record(listHeaderSize + chunkHeaderSize);
    const StoredRecord sizes = input.record(28);
    if (headers.read<quint32>(0) != idOf("RF64") || headers.read<quint32>(12) != idOf("ds64") || sizes.size() < 28)
        return;
    m_longSizes = {{idOf("RF64"), sizes.read<quint64>(0)}, {idOf("data"), sizes.read<quint64>(8)}};
    InputCursor table = input.part(quint64(std::min(sizes.read<quint32>(24), mostLongSizes)) * 12);
    while (table.bytesLeft() >= 12) {
        const quint32 id = table.number<quint32>();
        m_longSizes.append({id, table.number<quint64>()});
    }
}

int ContainerWave::findBeginOfContainer(qint64 *offset)
{
    *offset = 0;
    return StatusOk;
}

int ContainerWave::parseElement(quint64 *size)
{
    quint64 next = 0;
    const int status = showElement(cursor(m_position, quint64(m_file.size())), &next);
    *size = next - m_position;
    return status;
}

/// Reads the header of the chunk at the beginning of `place`; false when none is there.
bool ContainerWave::findChunk(const InputCursor &place, Chunk *chunk)
{
    const StoredRecord header(place.peek(chunkHeaderSize));
    const quint32 stored = header.read<quint32>(4);
    chunk->id = header.read<quint32>(0);
    if (header.size() < chunkHeaderSize || !isId(chunk->id))
        return false;

    const auto isOurs = [chunk](const LongSize &each) { return each.id == chunk->id; };
    const auto known = std::find_if(m_longSizes.cbegin(), m_longSizes.cend(), isOurs);
    chunk->size = stored;
    if (stored == sizeStandsInDs64 && known != m_longSizes.cend()) {
        // No file is longer than the largest signed number, and with this bound no sum of sizes wraps.
        chunk->size =
            std::min(known->size, quint64(std::numeric_limits<qint64>::max()) - place.position() - chunkHeaderSize);
        chunk->longSize = QStringLiteral("%1, given by ds64").arg(known->size);
    }

    // Bounded by the file alone: where a list is shorter than a chunk in it, it is rarely the chunk that lies.
    const quint64 fileEnd = quint64(m_file.size());
    chunk->begin = place.position() + chunkHeaderSize;
    chunk->isComplete = chunk->size <= fileEnd - chunk->begin;
    chunk->end = chunk->isComplete ? chunk->begin + chunk->size : fileEnd;
    if (place.position() == 0) // the form is there even where a writer never filled in the size: detection has seen it
        chunk->end = std::max(chunk->end, listHeaderSize);
    // Some writers do not pad; the next id then begins where the zero byte would be.
    chunk->isPadded =
        chunk->isComplete && chunk->size % 2 == 1 && cursor(chunk->end, chunk->end + 1).read(1) == QByteArray(1, '\0');
    return true;
}

/// Shows what stands at the beginning of `place`. `*next` is behind it, at the next element.
int ContainerWave::showElement(InputCursor place, quint64 *next)
{
    Chunk chunk{};
    if (!findChunk(place, &chunk)) {
        *next = place.end();
        addUnparsed(place);
        return StatusOk;
    }

    const quint64 begin = place.position();
    const bool hasForm = isList(chunk.id) && chunk.end - chunk.begin >= 4;
    const StoredRecord header(cursor(begin, begin + (hasForm ? listHeaderSize : chunkHeaderSize)).read(listHeaderSize));
    QString title = header.fourCC(0);
    if (hasForm)
        title += QLatin1Char('(') + header.fourCC(8) + QLatin1Char(')');
    beginElement(begin, chunkHeaderSize + chunk.size + (chunk.isPadded ? 1 : 0), title);
    addRecord(begin, header, idRows);
    addLeaf(begin + 4, 4, u"size", fieldText(header, 4, FieldKind::U32), chunk.longSize);
    if (chunk.end > place.end())
        reportProblem(begin + 4, 4, quenlofar::Severity::Warning, u"the chunk is longer than the list it is in");

    int status = chunk.isComplete ? StatusOk : StatusEndOfFile;
    *next = chunk.end;
    if (hasForm) {
        addRecord(chunk.begin, RecordView(header.bytes().constData() + 8, 4), formRows);
        const int childStatus = showList(chunk, next);
        status = childStatus != StatusOk ? childStatus : status;
    } else {
        showData(chunk.id, cursor(chunk.begin, chunk.end));
    }
    if (chunk.isPadded && *next == chunk.end) {
        addLeaf(*next, 1, u"padding", u"0");
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
    quint64 child = chunk.begin + 4;
    while (child < chunk.end) {
        const int childStatus = showElement(cursor(child, chunk.end), &child);
        status = status != StatusOk ? status : childStatus;
    }
    *next = std::max(child, chunk.end);
    return status;
}
