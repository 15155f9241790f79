// Pieces of the new file: what is copied, headers that are made anew, lists with their sizes.
#include "avirewrite.h"

#include "aviids.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr quint32 hasIndexFlag = 0x00000010; // AVIF_HASINDEX
constexpr int flagsOffset = 12; // dwFlags of AVIMAINHEADER
constexpr int extendedHeaderSize = 248; // dmlh: dwTotalFrames and 61 reserved words

// MPEGLAYER3WAVEFORMAT
constexpr quint16 mp3Tag = 0x55; // WAVE_FORMAT_MPEGLAYER3
constexpr int waveFormatSize = 16; // up to wBitsPerSample
constexpr int mp3FormatSize = 30;
constexpr quint16 mp3ExtraSize = 12; // MPEGLAYER3_WFX_EXTRA_BYTES
constexpr quint16 mp3Id = 1; // MPEGLAYER3_ID_MPEG
constexpr quint32 mp3Padding = 0; // MPEGLAYER3_FLAG_PADDING_ISO: as the bit rate asks for it
constexpr quint32 leastMpeg1Rate = 32000; // samples per second; below, frames have half as many

} // namespace

void AviRewrite::add(const QByteArray &bytes)
{
    m_result.add(bytes);
    m_position += quint64(bytes.size());
}

void AviRewrite::copyRange(const ByteRange &range)
{
    m_result.copy(range);
    m_position += range.size;
}

/// Copies a chunk or list with the padding that is due; foreign bytes as the data of a JUNK chunk.
void AviRewrite::copyPart(const AviPart &part)
{
    const bool isForeign = part.kind == AviPart::Kind::Foreign;
    if (isForeign)
        add(QByteArrayLiteral("JUNK") + numberBytes(quint32(part.size)));
    copyRange(part.range());
    if (part.lacksPadding || (isForeign && part.size % 2 != 0))
        add(QByteArray(1, '\0'));
}

void AviRewrite::copyParts(const std::vector<AviPart> &parts)
{
    for (const AviPart &part : parts)
        copyPart(part);
}

void AviRewrite::addChunk(const char (&id)[5], const QByteArray &data)
{
    add(QByteArray(id, 4) + numberBytes(quint32(data.size())) + data + QByteArray(int(data.size() % 2), '\0'));
}

AviRewrite::OpenList AviRewrite::openList(const char (&id)[5], const char (&form)[5])
{
    const quint64 offset = m_position;
    add(QByteArray(id, 4));
    const int sizeAt = int(m_result.newBytes.size());
    add(numberBytes(quint32(0)) + QByteArray(form, 4));
    return {offset, sizeAt};
}

/// Writes the size of a list that ends here. False where 32 bits cannot tell it.
bool AviRewrite::close(const OpenList &list)
{
    const quint64 size = m_position - list.offset - 8;
    m_result.newBytes.replace(list.sizeAt, 4, numberBytes(quint32(size)));
    return size <= 0xFFFFFFFF;
}

void AviRewrite::supersede(const ByteRange &range)
{
    if (range.size > 0)
        m_result.superseded.push_back(range);
}

/// Of a list whose content goes its own way.
void AviRewrite::supersedeHeader(const AviPart &list)
{
    const quint64 end = std::max(elementOf(list).end, list.offset);
    supersede({list.offset, std::min<quint64>(12, list.size)});
    supersede({end, list.offset + list.size - std::min(end, list.offset + list.size)});
}

bool AviRewrite::writeHeaders()
{
    const OpenList headers = openList("LIST", "hdrl");
    supersedeHeader(m_headers);
    writeMainHeader();
    size_t stream = 0;
    AviParts parts(m_layout, m_headers.number);
    for (AviPart part; parts.next(&part);) {
        const bool isElement = part.kind == AviPart::Kind::Element;
        const bool isList = isElement && elementOf(part).id == fourCC("LIST");
        if (part.kind == AviPart::Kind::Packet)
            return false;
        if (isElement && part.number == m_layout.mainHeader.element) {
            supersede(part.range());
        } else if (isList && elementOf(part).form == fourCC("strl") && stream < m_layout.streams.size()) {
            if (!writeStream(part, stream++))
                return false;
        } else if (isList && m_layout.extendedHeader.exists()
                   && m_layout.elements[m_layout.extendedHeader.element].parent == part.number) {
            if (!writeExtended(part))
                return false;
        } else {
            copyPart(part);
        }
    }
    if (m_isOpenDml && !m_layout.extendedHeader.exists()) {
        const OpenList odml = openList("LIST", "odml");
        m_extendedHeaderAt = int(m_result.newBytes.size()) + 8;
        addChunk("dmlh", QByteArray(extendedHeaderSize, '\0'));
        close(odml);
    }
    return close(headers);
}

void AviRewrite::writeMainHeader()
{
    QByteArray bytes = m_layout.mainHeader.bytes;
    bytes.replace(flagsOffset, 4, numberBytes(m_layout.mainHeader.u32(flagsOffset) | hasIndexFlag));
    m_mainHeaderAt = int(m_result.newBytes.size()) + 8;
    addChunk("avih", bytes);
}

bool AviRewrite::writeStream(const AviPart &list, size_t number)
{
    const AviStream &stream = m_layout.streams[number];
    const OpenList opened = openList("LIST", "strl");
    supersedeHeader(list);
    AviParts parts(m_layout, list.number);
    for (AviPart part; parts.next(&part);) {
        if (part.kind == AviPart::Kind::Packet)
            return false;
        if (part.kind == AviPart::Kind::Element && elementOf(part).id == fourCC("indx")) {
            supersede(part.range());
            writeSuperIndex(number);
            continue;
        }
        const bool isFormat = part.kind == AviPart::Kind::Element && part.number == stream.format.element;
        const QByteArray format = isFormat && m_choice.extendsMp3 ? mp3Format(stream) : QByteArray();
        if (format.isEmpty()) {
            copyPart(part);
        } else {
            supersede(part.range());
            addChunk("strf", format);
        }
    }
    writeSuperIndex(number);
    return close(opened);
}

/// LIST odml with the dmlh in it.
bool AviRewrite::writeExtended(const AviPart &list)
{
    const OpenList odml = openList("LIST", "odml");
    supersedeHeader(list);
    AviParts parts(m_layout, list.number);
    for (AviPart part; parts.next(&part);) {
        if (part.kind == AviPart::Kind::Packet)
            return false;
        if (part.kind == AviPart::Kind::Element && part.number == m_layout.extendedHeader.element) {
            supersede(part.range());
            m_extendedHeaderAt = int(m_result.newBytes.size()) + 8;
            QByteArray bytes = m_layout.extendedHeader.bytes;
            addChunk("dmlh", bytes + QByteArray(std::max(0, 4 - int(bytes.size())), '\0'));
        } else {
            copyPart(part);
        }
    }
    return close(odml);
}

/// Room for the super index of a stream, unless there is one already.
void AviRewrite::writeSuperIndex(size_t number)
{
    if (!m_isOpenDml || m_streams[number].superAt >= 0)
        return;
    m_streams[number].superAt = int(m_result.newBytes.size()) + 8;
    addChunk("indx", QByteArray(int(openDmlHeaderSize + m_superRoom * superEntrySize), '\0'));
}

/// MPEGLAYER3WAVEFORMAT from the WAVEFORMATEX of a stream; empty for another format, and where that is whole.
QByteArray AviRewrite::mp3Format(const AviStream &stream) const
{
    const QByteArray &old = stream.format.bytes;
    if (stream.kind != StreamKind::Audio || stream.formatTag != mp3Tag || old.size() < waveFormatSize
        || old.size() >= mp3FormatSize || stream.sampleRate == 0)
        return {};
    QByteArray format = old.left(waveFormatSize);
    appendNumber(&format, mp3ExtraSize);
    appendNumber(&format, mp3Id);
    appendNumber(&format, mp3Padding);
    // 144 x bit rate / sample rate; frames of the lower rates have half as many samples.
    const quint64 samplesPerByte = stream.sampleRate >= leastMpeg1Rate ? 1152 : 576;
    appendNumber(&format, quint16(samplesPerByte * stream.byteRate / stream.sampleRate)); // nBlockSize
    appendNumber(&format, quint16(1)); // nFramesPerBlock
    appendNumber(&format, quint16(0)); // nCodecDelay, which nobody knows
    return format;
}

} // namespace quenlofar
