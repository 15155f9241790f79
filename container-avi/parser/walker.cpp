#include "containeravi.h"
#include "filescan.h"

#include <algorithm>
#include <limits>

using namespace quenlofar;

namespace {

// Source: AVI RIFF File Reference: a chunk is its id, the size of its data and the data, padded to an even size; a list
// is a chunk with a form type and chunks for data.
constexpr quint32 chunkHeaderSize = 8; // id and size
constexpr quint32 listHeaderSize = 12; // and the form type
constexpr ChunkId moviForm{0x69766F6D};

// Shared, so that a leaf's name costs nothing.
const QString idName = QStringLiteral("id");
const QString sizeName = QStringLiteral("size");
const QString typeName = QStringLiteral("type");
const QString valueName = QStringLiteral("value");

/// Blank, digits, letters and "_": what four bytes have to be made of to be an id at all. 1 or 0, by choices instead of
/// branches, which a compiler turns into operations on many bytes at once.
constexpr quint8 isIdCharacter(quint8 c)
{
    const auto lowerCase = quint8(c | 0x20); // other characters do not become letters
    const quint8 digit = quint8(c - '0') < 10 ? 1 : 0;
    const quint8 letter = quint8(lowerCase - 'a') < 26 ? 1 : 0;
    const quint8 blank = c == ' ' ? 1 : 0;
    const quint8 underscore = c == '_' ? 1 : 0;
    return digit | letter | blank | underscore;
}

bool isWellFormed(ChunkId id)
{
    return (isIdCharacter(quint8(id.byte(0))) & isIdCharacter(quint8(id.byte(1))) & isIdCharacter(quint8(id.byte(2)))
            & isIdCharacter(quint8(id.byte(3))))
        != 0;
}

/// Whether `size` makes four well-formed bytes in front of it the id of a chunk.
bool isSizeOfUnknownChunk(quint32 size, qint64 levelEnd)
{
    // Kept: the size is compared with the place where the list ends, not with the room that is left in it. A size
    // that leads out of the list still has its data searched for known ids.
    return size != 0 && qint64(size) <= levelEnd;
}

/// Steps over bytes at which no chunk begins, as far as they and the bytes behind them are at hand.
class GarbageScan
{
public:
    /// Both outlive the object.
    GarbageScan(const ChunkIdTable &ids, qint64 levelEnd)
        : m_ids(ids), m_levelEnd(levelEnd),
          m_mostSize(quint32(std::clamp<qint64>(levelEnd, 0, std::numeric_limits<quint32>::max())))
    {
    }

    /// Looks at `count` places from `bytes` on, behind the last of which 7 bytes follow: how many were passed.
    quint64 pass(const char *bytes, quint64 count)
    {
        quint64 at = 0;
        for (; count - at >= blockSize; at += blockSize) {
            const quint64 passed = passBlock(bytes + at);
            if (passed < blockSize)
                return at + passed;
        }
        return at;
    }
    /// How many of the places that were passed hold what could be an id, so that a size was looked at as well.
    quint64 wellFormed() const { return m_wellFormed; }

private:
    static constexpr quint64 blockSize = 64;
    static constexpr quint64 groupSize = 8;

    quint64 passBlock(const char *bytes)
    {
        quint8 characters[blockSize + 3];
        for (quint64 i = 0; i < blockSize + 3; ++i)
            characters[i] = isIdCharacter(quint8(bytes[i]));
        quint8 formed[blockSize];
        quint8 sum = 0; // at most blockSize
        for (quint64 i = 0; i < blockSize; ++i) {
            formed[i] = characters[i] & characters[i + 1] & characters[i + 2] & characters[i + 3];
            sum = quint8(sum + formed[i]);
        }
        if (sum == 0)
            return blockSize;
        for (quint64 i = 0; i < blockSize; i += groupSize) {
            if (!canBeginChunk(bytes + i))
                continue;
            for (quint64 j = i; j < i + groupSize; ++j) {
                if (formed[j] != 0 && beginsChunk(bytes + j)) {
                    m_wellFormed += quint64(std::count(formed, formed + j, 1));
                    return j;
                }
            }
        }
        m_wellFormed += sum;
        return blockSize;
    }
    /// False where no chunk begins at any of the places of a group. Without branches, like the id table's search.
    bool canBeginChunk(const char *bytes) const
    {
        unsigned can = 0;
        for (quint64 i = 0; i < groupSize; ++i) {
            const quint32 size = qFromLittleEndian<quint32>(bytes + i + sizeof(quint32));
            can |= unsigned(m_ids.canBeKnown(bytes + i)) | unsigned(size - 1 < m_mostSize);
        }
        return can != 0;
    }
    bool beginsChunk(const char *bytes) const
    {
        return isSizeOfUnknownChunk(qFromLittleEndian<quint32>(bytes + sizeof(quint32)), m_levelEnd)
            || m_ids.find(ChunkId::fromBytes(bytes)) != ChunkIdTable::unknown;
    }

    const ChunkIdTable &m_ids;
    const qint64 m_levelEnd;
    const quint32 m_mostSize; // of an unknown chunk; the least one is 1
    quint64 m_wellFormed = 0;
};

/// Moves `file` on from `position` over bytes of its window at which no chunk begins, and counts what reading them
/// word by word would: how many bytes it moved.
quint64 passGarbage(FileScan &file, quint64 position, qint64 levelEnd, const ChunkIdTable &ids)
{
    constexpr quint64 bytesLookedAt = 8; // id and size
    const std::string_view bytes = file.ahead(position);
    if (bytes.size() < bytesLookedAt || qint64(position) >= levelEnd)
        return 0;
    GarbageScan scan(ids, levelEnd);
    const quint64 places = std::min(quint64(bytes.size()) - (bytesLookedAt - 1), quint64(levelEnd) - position);
    const quint64 passed = scan.pass(bytes.data(), places);
    file.accountFor(sizeof(quint32) * (passed + scan.wellFormed()), position + passed);
    return passed;
}

/// A list's end on the stack of ends, for as long as one of its children is parsed.
class LevelScope
{
public:
    LevelScope(QVector<qint64> &ends, quint64 end) : m_ends(ends) { m_ends.append(qint64(end)); }
    ~LevelScope() { m_ends.removeLast(); }
    Q_DISABLE_COPY(LevelScope)

private:
    QVector<qint64> &m_ends;
};

} // namespace

int ContainerAVI::parseElement(quint64 *size)
{
    const quint64 start = m_position;
    *size = 0;
    ChunkStart chunk{};
    int status = StatusOk;
    // No chunk header fits into the last 8 bytes of the enclosing list.
    switch (findChunk(m_levelEnds.last() - qint64(chunkHeaderSize), &chunk)) {
    case Found::EndOfFile:
        return StatusEndOfFile;
    case Found::TailOfList:
        // Kept: the leaf claims 8 bytes even where fewer remain; the walk goes on behind what it claims.
        *size = chunk.skipped + chunkHeaderSize;
        addUnparsed(start, *size);
        break;
    case Found::UnknownChunk:
        // Kept: the size of an unknown chunk is not padded, unlike that of a known one: nothing says that its writer
        // pads, and the next chunk is found again either way.
        *size = quint64(chunk.size) + chunk.skipped + chunkHeaderSize;
        addSkipped(start, chunk.skipped);
        showUnknownChunk(chunk);
        break;
    case Found::KnownChunk:
        addSkipped(start, chunk.skipped);
        status = showKnownChunk(chunk, size);
        break;
    }
    m_file.seek(qint64(start));
    m_position = start;
    return status;
}

bool ContainerAVI::readId(ChunkId *id)
{
    char bytes[4] = {};
    const bool complete = m_file.read(bytes, sizeof bytes) == qint64(sizeof bytes);
    *id = ChunkId::fromBytes(bytes);
    return complete;
}

bool ContainerAVI::readSize(quint32 *size)
{
    char bytes[4] = {};
    const bool complete = m_file.read(bytes, sizeof bytes) == qint64(sizeof bytes);
    *size = qFromLittleEndian<quint32>(bytes);
    return complete;
}

/// Looks for the next chunk at m_position and behind it.
ContainerAVI::Found ContainerAVI::findChunk(qint64 levelEnd, ChunkStart *chunk)
{
    const quint64 start = m_position;
    chunk->position = start;
    Found found = findId(levelEnd, chunk);
    while (found == Found::UnknownChunk) {
        quint64 known = 0;
        found = findKnownIdInside(*chunk, &known);
        if (found != Found::KnownChunk)
            break;
        // Kept: one byte before the known id, and without a seek: the next id is read behind the known one, usually is
        // its size, fails the test and makes the walk step onto the known id.
        chunk->position = known - 1;
        found = findId(levelEnd, chunk);
    }
    chunk->skipped = chunk->position - start;
    return found;
}

/// Looks for the id of a chunk at `chunk->position` and behind it, byte by byte; an unknown one needs a size too. The
/// first id is read where the file stands.
ContainerAVI::Found ContainerAVI::findId(qint64 levelEnd, ChunkStart *chunk)
{
    if (qint64(chunk->position) >= levelEnd)
        return Found::TailOfList;
    quint32 id = 0;
    if (!FileScan(m_file).read(&id))
        return Found::EndOfFile;
    if (Q_LIKELY(isWellFormed(ChunkId(id)) && findKnown(ChunkId(id), chunk)))
        return Found::KnownChunk;
    return searchId(levelEnd, id, chunk);
}

/// Takes a known id; false for another one.
bool ContainerAVI::findKnown(ChunkId id, ChunkStart *chunk)
{
    const int row = m_ids.find(id);
    if (row == ChunkIdTable::unknown)
        return false;
    chunk->id = id;
    chunk->entry = row == ChunkIdTable::streamChunk ? nullptr : m_elementsByRow[row];
    return true;
}

/// Goes on from `id`, which was read at the chunk's position and is not known, byte by byte.
ContainerAVI::Found ContainerAVI::searchId(qint64 levelEnd, quint32 id, ChunkStart *chunk)
{
    FileScan file(m_file);
    for (quint64 position = chunk->position;;) {
        if (isWellFormed(ChunkId(id))) {
            if (findKnown(ChunkId(id), chunk))
                return Found::KnownChunk;
            chunk->id = ChunkId(id);
            if (!file.readAt(position + 4, &chunk->size))
                return Found::EndOfFile;
            if (isSizeOfUnknownChunk(chunk->size, levelEnd))
                return Found::UnknownChunk;
        }
        file.seek(qint64(++position));
        // What is not at hand, a word that reaches out of the window for one, is read below.
        position += quint64(file.passHole(qint64(quint64(levelEnd) - position))); // a corrupt position wraps
        position += passGarbage(file, position, levelEnd, m_ids);
        chunk->position = position;
        if (qint64(position) >= levelEnd)
            return Found::TailOfList;
        if (!file.read(&id))
            return Found::EndOfFile;
    }
}

/// Asks of every four bytes inside an unknown chunk's data whether they are a known id: KnownChunk and where the first
/// one is, UnknownChunk when there is none, EndOfFile when the data is not all there.
ContainerAVI::Found ContainerAVI::findKnownIdInside(const ChunkStart &chunk, quint64 *known)
{
    FileScan file(m_file);
    const ChunkIdTable &ids = m_ids;
    const quint64 end = chunk.position + chunk.size + 5; // behind the last place where four bytes are data
    for (quint64 at = chunk.position + chunkHeaderSize; at < end;) {
        const std::string_view bytes = file.ahead(at);
        if (bytes.size() < sizeof(quint32)) {
            quint32 id = 0;
            if (!file.readAt(at, &id))
                return Found::EndOfFile;
            if (ids.find(ChunkId(id)) != ChunkIdTable::unknown) {
                *known = at;
                return Found::KnownChunk;
            }
            ++at;
            at += quint64(file.passHole(qint64(end - at)));
            continue;
        }
        const quint64 places = std::min(quint64(bytes.size()) - (sizeof(quint32) - 1), end - at);
        const quint64 unknown = ids.findFirst(bytes.data(), places);
        const quint64 looked = std::min(unknown + 1, places);
        // The file stands behind the last word that was looked at.
        file.accountFor(sizeof(quint32) * looked, at + looked + 3);
        if (unknown < places) {
            *known = at + unknown;
            return Found::KnownChunk;
        }
        at += places;
    }
    return Found::UnknownChunk;
}

/// The leaf over what was skipped in front of a chunk, if anything was.
void ContainerAVI::addSkipped(quint64 start, quint64 skipped)
{
    if (skipped > 0)
        addUnparsed(start, skipped);
}

/// The id as text; lent until the next text is made.
const QString &ContainerAVI::idText(ChunkId id)
{
    char bytes[4];
    qToLittleEndian(id.word(), bytes);
    return m_valueText.latin1(bytes, sizeof bytes);
}

/// "LIST(hdrl)"; lent until the next text is made.
const QString &ContainerAVI::listTitle(ChunkId id, ChunkId form)
{
    char title[4 + 1 + 4 + 1];
    char *end = title;
    qToLittleEndian(id.word(), end);
    end += 4;
    *end++ = '(';
    for (int i = 0; i < 4 && form.byte(i) != 0; ++i)
        *end++ = char(form.byte(i));
    *end++ = ')';
    return m_titleText.latin1(title, int(end - title));
}

/// Opens the node of a chunk or list and adds its header's leaves. `shown` is the size to show; without a title of its
/// own the node is called by its id.
void ContainerAVI::beginChunk(const ChunkStart &chunk, quint32 shown, const QString *title)
{
    const QString &id = idText(chunk.id);
    // The sum is meant to wrap: a size is a 32-bit number, the header's 8 bytes included.
    beginElement(chunk.position, shown + chunkHeaderSize, title ? *title : id, -1);
    addLeaf(chunk.position, 4, idName, id);
    addLeaf(chunk.position + 4, 4, sizeName, m_valueText.decimal(quint64(shown)));
}

void ContainerAVI::showUnknownChunk(const ChunkStart &chunk)
{
    beginChunk(chunk, chunk.size);
    m_file.seek(qint64(chunk.position + chunkHeaderSize));
    parseUnknownObject(chunk.position + chunkHeaderSize, chunk.size); // data that is not there is not shown
    endElement();
}

int ContainerAVI::showKnownChunk(const ChunkStart &chunk, quint64 *size)
{
    quint32 stored = 0;
    m_file.seek(qint64(chunk.position + 4));
    const bool hasSize = readSize(&stored);
    if (!hasSize)
        stored = 0; // part of a size says nothing
    const int readStatus = hasSize ? StatusOk : StatusEndOfFile;
    const quint32 padded = stored + (stored & 1); // 0xFFFFFFFF becomes 0
    *size = quint64(padded) + chunk.skipped + chunkHeaderSize;
    if (chunk.entry && chunk.entry->type == TypeList)
        return showList(chunk, padded);
    return showPlainChunk(chunk, padded, readStatus);
}

int ContainerAVI::showPlainChunk(const ChunkStart &chunk, quint32 padded, int readStatus)
{
    const quint64 data = chunk.position + chunkHeaderSize;
    int status = readStatus;
    beginChunk(chunk, padded);
    if (chunk.entry && chunk.entry->handler) {
        m_file.seek(qint64(data));
        status = (this->*chunk.entry->handler)(data, padded);
    } else {
        addLeaf(data, padded, valueName, {});
    }
    endElement();
    return status;
}

int ContainerAVI::showList(const ChunkStart &chunk, quint32 padded)
{
    const quint64 end = chunk.position + chunkHeaderSize + padded;
    quint64 child = chunk.position + listHeaderSize;
    int status = beginList(chunk, padded);
    // The list's status is that of its last child, or of its form type when it has none.
    for (quint64 childSize = 0; child < end; child += childSize) {
        const LevelScope level(m_levelEnds, end);
        m_position = child;
        m_file.seek(qint64(child));
        status = parseElement(&childSize);
        if (childSize == 0)
            break; // the file ended here: no progress is possible
    }
    endElement();
    return status;
}

/// Opens a list's node: StatusOk, or StatusEndOfFile when its form type is cut off, which is then shown as empty.
int ContainerAVI::beginList(const ChunkStart &chunk, quint32 padded)
{
    ChunkId form;
    m_file.seek(qint64(chunk.position + chunkHeaderSize));
    const bool complete = readId(&form);
    if (!complete)
        form = ChunkId();
    beginChunk(chunk, padded, &listTitle(chunk.id, form));
    addLeaf(chunk.position + chunkHeaderSize, 4, typeName, idText(form));
    if (form == moviForm)
        m_moviOffset = chunk.position + chunkHeaderSize;
    return complete ? StatusOk : StatusEndOfFile;
}

// Source: AVI RIFF File Reference: JUNK is filler; strn, strd and PAD have no structure that it tells.
int ContainerAVI::parseUnknownObject(quint64 offset, quint32 size)
{
    return addText(offset, size);
}

// Source: the RIFF publication of IBM and Microsoft (1991), the INFO list: texts that end in a zero byte.
int ContainerAVI::parseListINFO(quint64 offset, quint32 size)
{
    return addText(offset, size);
}

/// One leaf "value" over the whole data, which shows its first bytes. Nothing, where there is nothing to show.
int ContainerAVI::addText(quint64 offset, quint32 size)
{
    const quint32 shown = std::min(size, shownBytes);
    const QByteArray bytes = m_file.read(qint64(shown));
    // Kept: no data counts as data that ended too early.
    if (bytes.isEmpty() || bytes.size() != int(shown))
        return StatusEndOfFile;
    addLeaf(offset, size, valueName, bytesToText(bytes));
    return StatusOk;
}
