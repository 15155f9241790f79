#include "aviwalker.h"

#include "aviids.h"

#include <algorithm>

namespace quenlofar {

namespace {

/// Where the first structures of a damaged file are looked for.
constexpr quint64 beginSearch = 65536;
constexpr size_t mostKinds = 255;
/// Chunks that stand in a `strl` list and nowhere else.
constexpr quint32 streamIds[] = {fourCC("strh"), fourCC("strf"), fourCC("strd"),
                                 fourCC("strn"), fourCC("indx"), fourCC("vprp")};
/// Chunks from one look at the cancel flag to the next.
constexpr quint32 cancelInterval = 4096;
constexpr size_t mostElements = 0xFFFFFFF0;
/// Sizes have 32 bits: what is larger was written modulo this.
constexpr quint64 sizeModulus = quint64(1) << 32;

} // namespace

AviWalker::AviWalker(FileDevice &file, FileDevice &ahead, const std::atomic<bool> *cancel, AviLayout &layout)
    : m_file(file), m_cancel(cancel), m_layout(layout), m_chain(ahead)
{
    m_kinds.fill(-1);
}

void AviWalker::walk()
{
    begin();
    while (m_at < m_layout.fileSize && !m_layout.isCutShort) {
        closeLists();
        if (place() == Place::Movi || place() == Place::Rec)
            walkData();
        if (!m_layout.isCutShort && m_at < m_layout.fileSize)
            step();
    }
    if (!m_layout.isCutShort && m_at > m_layout.fileSize)
        endBehindFile();
    while (m_depth > 0)
        close();
    for (AviDamage &damage : m_layout.damages) {
        // Where lists end was not known before.
        const bool isList = damage.element != AviLayout::none && m_layout.elements[damage.element].isList();
        if (damage.kind == AviDamageKind::ListTooShort || damage.kind == AviDamageKind::ListTooLong
            || damage.kind == AviDamageKind::ListBeyondFile
            || (damage.kind == AviDamageKind::ChunkBeyondParent && isList))
            damage.size = m_layout.elements[damage.element].end - damage.offset;
    }
    std::stable_sort(m_layout.damages.begin(), m_layout.damages.end(),
                     [](const AviDamage &a, const AviDamage &b) { return a.offset < b.offset; });
}

/// The file ends where the padding of its last chunk should be.
void AviWalker::endBehindFile()
{
    m_at = m_layout.fileSize;
    const bool isList = !m_previous.isPacket && m_previous.exists && m_layout.elements[m_previous.element].isList();
    if (!m_previous.exists || isList || m_previous.end != m_at || (m_previous.end - m_previous.offset) % 2 == 0)
        return;
    ++m_layout.paddingMissing;
    if (m_layout.paddingMissing <= AviLayout::mostPaddingMissing)
        addDamage(AviDamageKind::PadMissing, m_at, 0, m_at, m_depth == 0 ? AviLayout::none : top().element,
                  m_previous.isPacket ? quint32(m_layout.packets.size() - 1) : AviLayout::none);
}

/// Where the file does not begin as it should, its first list is looked for, and bytes before it are told.
void AviWalker::begin()
{
    m_layout.readUpTo = m_layout.fileSize;
    AviHeader header;
    if (readHeader(m_file, 0, &header) && header.id == fourCC("RIFF"))
        return;
    const quint64 last = std::min(beginSearch, m_layout.fileSize);
    const AviChain::Hit hit = m_chain.find(0, last, m_layout.fileSize);
    if (m_chain.isStopped())
        return stop();
    m_at = hit.isFound ? hit.at : m_layout.fileSize;
    m_layout.leading = {0, m_at};
    if (hit.isFound && readHeader(m_file, m_at, &header) && header.id != fourCC("RIFF")) {
        // The children of a RIFF whose header is lost.
        m_open[0] = {AviLayout::none, m_layout.fileSize, Place::Riff, true};
        m_depth = 1;
    }
}

void AviWalker::stop()
{
    m_layout.isCutShort = true;
    m_layout.readUpTo = m_at;
}

/// The chunks of a `movi` or `rec ` list, one behind the other, as long as they are packets that fit.
void AviWalker::walkData()
{
    const quint64 listEnd = end();
    bool hasPadding = false;
    for (quint32 count = 0; m_at + 8 <= listEnd; ++count) {
        if (count % cancelInterval == 0 && isCancelled())
            return stop();
        char bytes[9];
        // Padding stands before the next header, so that one read has both.
        const quint32 before = hasPadding ? 1 : 0;
        m_file.seek(qint64(m_at - before));
        if (m_file.read(bytes, 8 + qint64(before)) < 8 + qint64(before))
            return;
        if (hasPadding)
            addPadding(m_at - 1, bytes[0]);
        const RecordView view(bytes + before, 8);
        const quint32 id = view.read<quint32>(0);
        const quint32 size = view.read<quint32>(4);
        const int stream = dataStream(id);
        if (stream < 0 || lettersOfId(id) == twoLetters("ix") || size > listEnd - m_at - 8)
            return;
        if (!addPacket(id, size, size))
            return;
        hasPadding = size % 2 != 0;
        m_at += 8 + quint64(size) + size % 2;
    }
    if (hasPadding && m_at <= listEnd)
        readPadding(m_at - 1);
}

/// `value` stands where padding is expected.
void AviWalker::addPadding(quint64 at, char value)
{
    if (value == 0)
        return;
    m_layout.paddingNotZero.add({at, 1});
    m_lastPadding = at;
}

void AviWalker::readPadding(quint64 at)
{
    char padding = 0;
    m_file.seek(qint64(at));
    if (m_file.read(&padding, 1) == 1)
        addPadding(at, padding);
}

/// Appends a packet at m_at of which the file has `held` bytes; false where the table has no room.
bool AviWalker::addPacket(quint32 id, quint32 size, quint32 held)
{
    Packet packet;
    packet.offset = m_at + 8;
    packet.size = held;
    packet.stream = quint8(dataStream(id));
    packet.isCut = held < size;
    const quint16 letters = lettersOfId(id);
    packet.isPalette = letters == twoLetters("pc");
    if (!m_layout.packets.append(packet)) {
        m_isLimited = true;
        stop();
        return false;
    }

    std::vector<AviChunkKind> &kinds = m_layout.chunkKinds;
    int &kind = m_kinds[packet.stream];
    if (kind < 0 || kinds[size_t(kind)].letters != letters || kinds[size_t(kind)].stream != packet.stream) {
        auto known = std::find_if(kinds.begin(), kinds.end(), [&packet, letters](const AviChunkKind &each) {
            return each.stream == packet.stream && each.letters == letters;
        });
        if (known == kinds.end()) {
            if (kinds.size() < mostKinds - 1)
                kinds.push_back({packet.stream, letters, {}});
            else if (kinds.size() < mostKinds)
                kinds.push_back({0, 0, {}}); // stands for all that find no room
            known = std::prev(kinds.end());
        }
        kind = int(known - kinds.begin());
    }
    kinds[size_t(kind)].chunks.add({m_at, 4});
    m_layout.packetKinds.append(quint8(kind));
    m_previous = m_chunk = {m_at, m_at + 8 + held, AviLayout::none, true, true};
    return true;
}

/// One header that is no packet that fits: a list, another chunk, or no chunk at all.
void AviWalker::step()
{
    closeLists();
    if (m_at >= m_layout.fileSize)
        return;
    if (isCancelled() || m_layout.elements.size() >= mostElements) {
        m_isLimited = m_isLimited || !isCancelled();
        return stop();
    }
    if (m_depth > 0 && end() - m_at < 8)
        return endWithin();
    AviHeader header;
    if (!readHeader(m_file, m_at, &header)) {
        if (m_file.wasInterrupted() || m_file.hasReadError())
            return stop();
        return endTop(); // fewer than eight bytes behind the last list
    }
    const bool isAtTop = m_depth == 0;
    if (isAtTop && header.id != fourCC("RIFF")) {
        if (!goesOnBehind(header))
            endTop();
        return;
    }
    const AviIdKind kind = idKind(header.id);
    if (leavesList(header))
        return leaveList();
    if (goesOnBehind(header))
        return;
    if (kind == AviIdKind::List && (header.id == fourCC("LIST") || isAtTop) && end() - m_at >= 12)
        return enterList(header);
    const quint64 room = end() - m_at - 8;
    const bool isData = place() == Place::Movi || place() == Place::Rec;
    if (kind == AviIdKind::None && !leadsOn(header))
        return recover();
    if (header.size > room) {
        if (kind == AviIdKind::Printable || !takeBeyondEnd(header))
            recover();
        return;
    }
    if (kind == AviIdKind::Printable && (isData || place() == Place::Riff)) {
        // An id that nobody knows is believed where it leads to the next header.
        const quint64 next = m_at + 8 + header.size + header.size % 2;
        if (next + 8 <= end() && !m_chain.isPrintableAt(next, end()) && !m_chain.isHeaderAt(next, end()))
            return recover();
    }
    if (kind == AviIdKind::Data && isData) {
        if (addPacket(header.id, header.size, header.size))
            m_at += 8 + quint64(header.size) + header.size % 2;
        return;
    }
    addChunk(header);
}

/// Whether a header whose id is not even printable is one all the same: its size leads exactly to the next.
bool AviWalker::leadsOn(const AviHeader &header)
{
    if (header.id == 0 || header.size > end() - m_at - 8)
        return false;
    const quint64 next = m_at + 8 + header.size + header.size % 2;
    if (next == end())
        return true;
    // In lists of texts any id may follow.
    return place() == Place::Info ? m_chain.isPrintableAt(next, end()) : m_chain.isHeaderAt(next, end());
}

/// Fewer bytes than a header has, before the end of a list.
void AviWalker::endWithin()
{
    AviHeader header;
    if (!top().isCorrected && readHeader(m_file, m_at, &header) && leavesList(header)
        && m_chain.follow(m_at, m_layout.fileSize).isBelieved())
        return leaveList();
    if (m_chain.follow(m_at, m_layout.fileSize).isBelieved() && !top().isCorrected) {
        extendLists(m_at + 8); // a header stands across the end
        return;
    }
    if (!top().isCorrected)
        addDamage(AviDamageKind::StrayEnd, m_at, end() - m_at, end(), top().element);
    m_at = end();
}

/// The innermost list ends here, before the end that its size states.
void AviWalker::leaveList()
{
    if (!top().isCorrected)
        addDamage(AviDamageKind::ListTooLong, m_layout.elements[top().element].offset, 0, end(), top().element);
    top().isCorrected = true;
    top().end = m_at;
}

/// A chunk that fits and holds no data of a stream.
void AviWalker::addChunk(const AviHeader &header)
{
    const quint64 chunkEnd = m_at + 8 + header.size;
    const quint32 element = addElement(header, chunkEnd);
    m_previous = m_chunk = {m_at, chunkEnd, element, true, false};
    m_at = chunkEnd + header.size % 2;
    if (header.size % 2 != 0 && m_at <= end())
        readPadding(chunkEnd);
}

quint32 AviWalker::addElement(const AviHeader &header, quint64 end)
{
    AviElement element;
    element.offset = m_at;
    element.end = end;
    element.id = header.id;
    element.size = header.size;
    element.form = element.isList() ? header.form : 0;
    element.parent = m_depth == 0 ? AviLayout::none : top().element;
    // The form types of RIFF lists are looked at by rules of their own.
    if (!isPrintable(element.id) || (element.id == fourCC("LIST") && !isPrintable(element.form)))
        m_layout.idsNotAscii.add({m_at, element.header().size});
    m_layout.elements.append(element);
    return quint32(m_layout.elements.size() - 1);
}

AviWalker::Place AviWalker::placeOf(const AviHeader &header)
{
    struct Row
    {
        quint32 form;
        Place place;
    };
    constexpr Row rows[] = {
        {fourCC("hdrl"), Place::Hdrl}, {fourCC("strl"), Place::Strl}, {fourCC("odml"), Place::Odml},
        {fourCC("INFO"), Place::Info}, {fourCC("movi"), Place::Movi}, {fourCC("rec "), Place::Rec},
    };
    if (header.id == fourCC("RIFF"))
        return Place::Riff;
    for (const Row &row : rows) {
        if (row.form == header.form)
            return row.place;
    }
    return Place::Top; // a list that is not entered
}

/// A list: entered where its children are known, passed over otherwise.
void AviWalker::enterList(const AviHeader &header)
{
    const Place inner = placeOf(header);
    const bool isInData = place() == Place::Movi || place() == Place::Rec;
    const quint32 element = addElement(header, m_at + 12);
    const quint64 end = listEnd(header, element, inner);
    if (inner == Place::Riff)
        m_layout.segments.push_back(element);
    else if (inner == Place::Movi && place() == Place::Riff)
        m_layout.moviLists.push_back(element);

    const bool isEntered = inner != Place::Top && m_depth < mostDepth && (!isInData || inner == Place::Rec)
        && (inner != Place::Movi || (m_layout.isWalked && place() == Place::Riff));
    if (!isEntered || end < m_at + 12) {
        m_layout.elements[element].end = std::max(end, m_at + 12);
        m_previous = {m_at, m_layout.elements[element].end, element, true, false};
        m_at = m_previous.end + (end == m_at + 8 + header.size ? header.size % 2 : 0);
        return;
    }
    const bool isCorrected = end != m_at + 8 + header.size;
    m_open[size_t(m_depth)] = {element, end, inner, isCorrected};
    ++m_depth;
    m_at += 12;
    m_previous = {};
}

/// Where a list ends: where its size says, unless that cannot be.
quint64 AviWalker::listEnd(const AviHeader &header, quint32 element, Place inner)
{
    const quint64 parentEnd = end();
    const quint64 stated = m_at + 8 + header.size;
    const bool mayBeOpen = inner == Place::Riff || inner == Place::Movi;
    if (mayBeOpen && AviLayout::hasOpenSize(m_layout.elements[element]))
        return parentEnd;
    if (mayBeOpen && m_layout.fileSize > sizeModulus) {
        const quint64 wrapped = wrappedEnd(stated, header.size % 2, inner);
        if (wrapped != 0)
            return wrapped;
    }
    if (stated <= parentEnd)
        return stated;
    if (parentEnd == m_layout.fileSize) {
        addDamage(AviDamageKind::ListBeyondFile, m_at, parentEnd - m_at, stated, element);
        return parentEnd;
    }
    // Either its size is wrong or that of its parent: what stands behind the one and the other?
    const bool isOverParent = stated <= m_layout.fileSize
        && (stated == m_layout.fileSize || m_chain.isHeaderAt(stated + header.size % 2, m_layout.fileSize)
            || m_chain.isRiffAt(stated + header.size % 2));
    if (isOverParent && !m_chain.isRiffAt(parentEnd + parentEnd % 2)) {
        extendLists(stated);
        return stated;
    }
    addDamage(AviDamageKind::ChunkBeyondParent, m_at, parentEnd - m_at, stated, element);
    return parentEnd;
}

/// Where a RIFF or its `movi` ends whose size had more than 32 bits and was written without these; 0 for any other.
quint64 AviWalker::wrappedEnd(quint64 stated, quint64 padding, Place inner)
{
    const quint64 fileSize = m_layout.fileSize;
    if (inner == Place::Riff) {
        const quint64 behind = fileSize - std::min(stated, fileSize);
        const bool isWrapped = behind >= sizeModulus && behind % sizeModulus <= padding;
        return isWrapped && !m_chain.isRiffAt(stated + padding) ? fileSize : 0;
    }
    if (m_depth == 0 || top().element == AviLayout::none
        || !m_layout.isWrapped(m_layout.elements[top().element], end()))
        return 0;
    // The end under which another chunk follows.
    for (quint64 each = stated; each < end(); each += sizeModulus) {
        if (m_chain.isHeaderAt(each + padding, end()))
            return each;
    }
    return end();
}

void AviWalker::closeLists()
{
    while (m_depth > 0 && m_at >= end())
        close();
}

/// Ends the innermost list at m_at, or where it ends.
void AviWalker::close()
{
    const OpenList closed = top();
    --m_depth;
    const quint64 behind = std::min(m_at, m_layout.fileSize);
    if (closed.element != AviLayout::none) {
        AviElement &element = m_layout.elements[closed.element];
        element.end = std::min(std::max(element.offset + 12, closed.end), std::max(behind, element.offset + 12));
        m_previous = {element.offset, element.end, closed.element, true, false};
        // A list is padded as a chunk is, unless its last chunk's padding was counted for neither.
        if (!closed.isCorrected && element.size % 2 != 0 && m_at == closed.end)
            ++m_at;
    }
}

/// Whether this header cannot be in the innermost list, which then ends before it.
bool AviWalker::leavesList(const AviHeader &header) const
{
    if (header.id == fourCC("RIFF"))
        return m_depth > 0 && isPrintable(header.form);
    const Place inner = place();
    if (header.id == fourCC("idx1"))
        return inner > Place::Riff;
    if (header.id != fourCC("LIST"))
        return false;
    if (header.form == fourCC("movi") || header.form == fourCC("hdrl"))
        return inner > Place::Riff && inner < Place::Movi;
    if (header.form == fourCC("strl") || header.form == fourCC("odml"))
        return inner == Place::Strl || inner == Place::Odml;
    return false;
}

/// Whether data follows this index chunk, at once or behind more index chunks. Otherwise a writer put them behind
/// `movi` on purpose.
bool AviWalker::leadsToData(AviHeader header)
{
    quint64 at = m_at;
    for (int count = 0; count < AviLayout::mostStreams; ++count) {
        at += 8 + quint64(header.size) + header.size % 2;
        if (!readHeader(m_file, at, &header))
            return false;
        const AviIdKind kind = idKind(header.id);
        if (kind != AviIdKind::Index)
            return kind == AviIdKind::Data || (header.id == fourCC("LIST") && header.form == fourCC("rec "));
    }
    return false;
}

/// Whether this header belongs to the list that just ended, whose size was too small. The list is then open again.
bool AviWalker::goesOnBehind(const AviHeader &header)
{
    if (!m_previous.exists || m_previous.isPacket || m_previous.end + 1 < m_at)
        return false;
    const quint32 ended = m_previous.element;
    const AviElement &element = m_layout.elements[ended];
    const AviIdKind kind = idKind(header.id);
    Place inner = Place::Top;
    if (m_depth == 0 && element.id == fourCC("RIFF")) {
        const bool isList = header.id == fourCC("LIST")
            && (header.form == fourCC("movi") || header.form == fourCC("hdrl") || header.form == fourCC("INFO"));
        const bool isData = m_layout.isWalked && (kind == AviIdKind::Data || kind == AviIdKind::Index);
        if (isList || header.id == fourCC("idx1") || isData)
            inner = Place::Riff;
    } else if (place() == Place::Riff && element.form == fourCC("hdrl")) {
        const bool isList =
            header.id == fourCC("LIST") && (header.form == fourCC("strl") || header.form == fourCC("odml"));
        if (isList || header.id == fourCC("avih"))
            inner = Place::Hdrl;
    } else if (place() == Place::Hdrl && element.form == fourCC("strl")) {
        const auto *const last = std::end(streamIds);
        if (std::find(std::begin(streamIds), last, header.id) != last)
            inner = Place::Strl;
    } else if (place() == Place::Riff && element.form == fourCC("movi") && m_layout.isWalked) {
        const bool isRec = header.id == fourCC("LIST") && header.form == fourCC("rec ");
        if (isRec || kind == AviIdKind::Data || (kind == AviIdKind::Index && leadsToData(header)))
            inner = Place::Movi;
    }
    if (inner == Place::Top)
        return false;
    const quint64 parentEnd = end();
    const AviChain::Run run = m_chain.follow(m_at, parentEnd);
    if (!run.isBelieved())
        return false;
    addDamage(AviDamageKind::ListTooShort, element.offset, 0, AviLayout::statedEnd(element), ended);
    m_open[size_t(m_depth)] = {ended, parentEnd, inner, true};
    ++m_depth;
    m_previous = {};
    if (inner == Place::Riff && (kind == AviIdKind::Data || kind == AviIdKind::Index) && !m_layout.moviLists.empty()
        && m_layout.isWalked) {
        // The data goes on as well: `movi`, the RIFF's last child, was cut off with it.
        const quint32 movi = m_layout.moviLists.back();
        if (m_layout.elements[movi].parent == ended) {
            addDamage(AviDamageKind::ListTooShort, m_layout.elements[movi].offset, 0,
                      AviLayout::statedEnd(m_layout.elements[movi]), movi);
            m_open[size_t(m_depth)] = {movi, parentEnd, Place::Movi, true};
            ++m_depth;
        }
    }
    return true;
}

} // namespace quenlofar
