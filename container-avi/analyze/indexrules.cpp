#include "indexrules.h"

#include "aviids.h"
#include "filedevice.h"

#include <algorithm>

namespace quenlofar {

namespace {

/// Codecs each of whose frames can be decoded alone, by biCompression: raw pictures, Motion JPEG, DV, lossless codecs
/// without prediction between frames, and run-length codecs, whose frames readers show without a key frame too.
constexpr quint32 framesAlone[] = {
    0,
    1,
    2,
    3, // BI_RGB, BI_RLE8, BI_RLE4, BI_BITFIELDS
    fourCC("DIB "),
    fourCC("RGB "),
    fourCC("RAW "),
    fourCC("YUY2"),
    fourCC("YUYV"),
    fourCC("YVYU"),
    fourCC("UYVY"),
    fourCC("HDYC"),
    fourCC("YV12"),
    fourCC("YV16"),
    fourCC("I420"),
    fourCC("IYUV"),
    fourCC("NV12"),
    fourCC("Y800"),
    fourCC("Y8  "),
    fourCC("Y42B"),
    fourCC("Y41P"),
    fourCC("v210"),
    fourCC("v410"),
    fourCC("r210"),
    fourCC("cyuv"),
    fourCC("CLJR"),
    fourCC("MRLE"),
    fourCC("mrle"),
    fourCC("RLE "),
    fourCC("rle8"),
    fourCC("AASC"),
    fourCC("MJPG"),
    fourCC("mjpg"),
    fourCC("AVRn"),
    fourCC("AVDJ"),
    fourCC("ADJV"),
    fourCC("dmb1"),
    fourCC("jpeg"),
    fourCC("JPEG"),
    fourCC("LJPG"),
    fourCC("MJLS"),
    fourCC("MJ2C"),
    fourCC("mjp2"),
    fourCC("MPNG"),
    fourCC("dvsd"),
    fourCC("DVSD"),
    fourCC("dvhd"),
    fourCC("dvsl"),
    fourCC("dv25"),
    fourCC("dv50"),
    fourCC("dvc "),
    fourCC("dvcp"),
    fourCC("dvh1"),
    fourCC("CDVC"),
    fourCC("CDV5"),
    fourCC("HFYU"),
    fourCC("FFVH"),
    fourCC("FFV1"),
    fourCC("LAGS"),
    fourCC("MSZH"),
    fourCC("ZLIB"),
    fourCC("ULRG"),
    fourCC("ULRA"),
    fourCC("ULY0"),
    fourCC("ULY2"),
    fourCC("ULY4"),
    fourCC("ULH0"),
    fourCC("ULH2"),
    fourCC("ULH4"),
    fourCC("VBLE"),
    fourCC("MAGY"),
    fourCC("CFHD"),
    fourCC("AVdn"),
    fourCC("apch"),
    fourCC("apcn"),
    fourCC("apcs"),
    fourCC("apco"),
    fourCC("ap4h"),
};

} // namespace

QString packetText(const AviLayout &file, quint64 packet)
{
    const Packet chunk = file.packets.at(packet);
    const quint16 letters = file.lettersOf(packet);
    return QStringLiteral("chunk %1%2%3 at offset %4")
        .arg(chunk.stream, 2, 10, QLatin1Char('0'))
        .arg(QLatin1Char(letters == 0 ? '?' : char(letters)))
        .arg(QLatin1Char(letters == 0 ? '?' : char(letters >> 8)))
        .arg(chunk.offset - 8);
}

QString targetText(const AviContext &context, quint64 target, bool isData)
{
    const AviLayout &file = context.file;
    if (target >= file.fileSize)
        return QStringLiteral("offset %1, behind the end of the file").arg(target);
    const quint64 data = isData ? target : target + 8;
    const quint64 packet = file.packets.indexAt(data);
    if (packet != PacketTable::none && file.packets.at(packet).offset == data)
        return packetText(file, packet);
    return QStringLiteral("no chunk at offset %1").arg(target);
}

bool hasFramesAlone(quint32 compression)
{
    return std::find(std::begin(framesAlone), std::end(framesAlone), compression) != std::end(framesAlone);
}

void MissingChunks::add(quint64 index, const Packet &packet)
{
    Count &count = m_counts[packet.stream];
    // The first ones are told with their places in any case.
    const bool isKept = m_indexes.size() < mostKept && (count.kept < Finding::mostPlaces || !m_file.damages.empty());
    if (isKept) {
        m_indexes.push_back(quint32(index));
        ++count.kept;
    } else if (count.count == count.kept) {
        count.firstNotKept = quint32(index);
    }
    ++count.count;
}

} // namespace quenlofar
