#include "avichain.h"

#include "aviids.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace quenlofar {

namespace {

constexpr quint64 leastProbes = 65536;
constexpr quint64 bytesPerProbe = 32;
constexpr quint64 mostProbesOfAll = quint64(16) << 20;
/// Bytes that a search reads at a time, and how many of these it looks at again with the next.
constexpr size_t pieceSize = 65536;
constexpr size_t overlap = 3;

/// Whether a header may begin with these bytes: a quick look that almost all places fail.
inline bool mayBegin(const char *bytes)
{
    const quint8 first = quint8(bytes[0]);
    if (isDigit(first))
        return streamNumber(first, quint8(bytes[1])) >= 0 && isLetter(quint8(bytes[2])) && isLetter(quint8(bytes[3]));
    switch (first) {
    case 'R':
    case 'L':
    case 'J':
    case 'P':
    case 'i':
    case 'j':
    case 's':
    case 'a':
    case 'v':
    case 'd':
        return idKind(RecordView(bytes, 4).read<quint32>(0)) > AviIdKind::Printable;
    default:
        return false;
    }
}

} // namespace

AviChain::AviChain(FileDevice &file)
    : m_file(file), m_mostProbes(std::min(leastProbes + quint64(file.size()) / bytesPerProbe, mostProbesOfAll))
{
}

bool AviChain::isPlausible(const AviHeader &header, quint64 at, quint64 end) const
{
    const AviIdKind kind = idKind(header.id);
    if (kind <= AviIdKind::Printable)
        return false;
    if (header.id == fourCC("RIFF"))
        return isPrintable(header.form);
    return end - at >= 8 && header.size <= end - at - 8;
}

bool AviChain::isHeaderAt(quint64 at, quint64 end)
{
    AviHeader header;
    ++m_probes;
    return at < end && readHeader(m_file, at, &header) && isPlausible(header, at, end);
}

bool AviChain::isRiffAt(quint64 at)
{
    AviHeader header;
    ++m_probes;
    return readHeader(m_file, at, &header) && header.id == fourCC("RIFF") && isPrintable(header.form);
}

bool AviChain::isPrintableAt(quint64 at, quint64 end)
{
    AviHeader header;
    ++m_probes;
    return end > at && end - at >= 8 && readHeader(m_file, at, &header) && isPrintable(header.id)
        && header.size <= end - at - 8;
}

AviChain::Run AviChain::follow(quint64 at, quint64 end, quint64 least)
{
    Run run;
    run.at = at;
    bool mayLackPadding = false;
    while (!isStopped()) {
        if (run.at + 8 > end) {
            run.reachesEnd = run.at <= end + 1; // the last one's padding may be missing
            return run;
        }
        AviHeader header;
        ++m_probes;
        if (!readHeader(m_file, run.at, &header))
            return run;
        if (!isPlausible(header, run.at, end)) {
            if (mayLackPadding) {
                --run.at; // a writer that leaves it out does so everywhere
                mayLackPadding = false;
                continue;
            }
            // A file that was cut ends inside of a chunk.
            const bool isCut =
                run.headers + 1 >= enough && end == quint64(m_file.size()) && idKind(header.id) == AviIdKind::Data;
            run.reachesEnd = isCut;
            return run;
        }
        ++run.headers;
        const bool endsChain = header.id == fourCC("RIFF") || header.id == fourCC("idx1");
        const bool isEntered =
            header.id == fourCC("LIST") && (header.form == fourCC("rec ") || header.form == fourCC("movi"));
        run.at += isEntered ? 12 : 8 + quint64(header.size) + header.size % 2;
        mayLackPadding = !isEntered && header.size % 2 != 0;
        if (endsChain) {
            run.reachesEnd = true;
            return run;
        }
        if (run.headers >= most || (run.headers >= enough && run.at > least))
            return run;
    }
    return run;
}

/// Counts on while all bytes so far were 0.
void AviChain::countZeros(const char *bytes, quint64 count, Hit *hit, bool *isZero)
{
    if (!*isZero)
        return;
    const char *const other = std::find_if(bytes, bytes + count, [](char byte) { return byte != 0; });
    hit->zeros += quint64(other - bytes);
    *isZero = other == bytes + count;
}

template <typename Accepts> AviChain::Hit AviChain::search(quint64 begin, quint64 last, Accepts accepts)
{
    Hit hit;
    std::vector<char> piece(pieceSize);
    bool isZero = true;
    quint64 at = begin;
    size_t kept = 0; // bytes of the piece that came with the one before: the device is read forwards
    while (at < last && !isStopped()) {
        m_file.seek(qint64(at + kept));
        // Nothing begins with a zero byte, so what is known to hold nothing else is not looked at.
        const bool mayPass = std::all_of(piece.data(), piece.data() + kept, [](char byte) { return byte == 0; });
        const quint64 passed =
            mayPass && at + kept < last ? quint64(m_file.passHole(1, qint64(last - at - kept), 1)) : 0;
        if (passed > 0) {
            hit.zeros += isZero ? passed : 0;
            at += passed;
            continue;
        }
        const size_t came = kept + size_t(m_file.read(piece.data() + kept, qint64(pieceSize - kept)));
        if (came <= overlap)
            break;
        const size_t places = size_t(std::min<quint64>(came - overlap, last - at));
        for (size_t i = 0; i < places; ++i) {
            if (mayBegin(piece.data() + i) && accepts(at + i, &hit)) {
                hit.isFound = true;
                hit.at = at + i;
                countZeros(piece.data(), i, &hit, &isZero);
                return hit;
            }
        }
        countZeros(piece.data(), places, &hit, &isZero);
        at += places;
        kept = came - places;
        std::memmove(piece.data(), piece.data() + places, kept);
    }
    // The last bytes, too few for a header, are looked at for being zero alone.
    char rest[8] = {};
    m_file.seek(qint64(at));
    const qint64 came = at < last ? m_file.read(rest, qint64(std::min<quint64>(last - at, sizeof rest))) : 0;
    countZeros(rest, quint64(std::max<qint64>(came, 0)), &hit, &isZero);
    return hit;
}

AviChain::Hit AviChain::find(quint64 begin, quint64 last, quint64 end, quint64 least, bool isInIndex)
{
    return search(begin, last, [this, end, least, isInIndex](quint64 at, Hit *hit) {
        hit->run = follow(at, end, least);
        if (isInIndex && hit->run.headers < enough && !isRiffAt(at))
            return false;
        return hit->run.isBelieved() && (hit->run.at > least || hit->run.headers >= most);
    });
}

AviChain::Hit AviChain::findRiff(quint64 begin, quint64 last)
{
    return search(begin, last, [this](quint64 at, Hit *hit) {
        AviHeader header;
        ++m_probes;
        hit->run.headers = 1;
        return readHeader(m_file, at, &header) && header.id == fourCC("RIFF")
            && (header.form == fourCC("AVIX") || header.form == fourCC("AVI "));
    });
}

} // namespace quenlofar
