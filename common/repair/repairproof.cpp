#include "repairproof.h"

#include "bytesource.h"
#include "fileanalysis.h"
#include "recipe.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace quenlofar {

namespace {

/// Compares ranges of two files piece by piece.
class RangeComparison
{
public:
    RangeComparison(ByteSource &first, ByteSource &second)
        : m_first(first), m_second(second), m_firstBytes(pieceSize), m_secondBytes(pieceSize)
    {
    }

    /// Whether the bytes are the same; false too where they cannot be read, see hasFailed().
    bool areSame(quint64 first, quint64 second, quint64 size)
    {
        while (size > 0) {
            const auto count = qint64(std::min<quint64>(size, pieceSize));
            m_hasFailed = m_hasFailed || m_first.readAt(qint64(first), m_firstBytes.data(), count) != count
                || m_second.readAt(qint64(second), m_secondBytes.data(), count) != count;
            if (m_hasFailed || !std::equal(m_firstBytes.begin(), m_firstBytes.begin() + count, m_secondBytes.begin()))
                return false;
            first += quint64(count);
            second += quint64(count);
            size -= quint64(count);
        }
        return true;
    }
    bool hasFailed() const { return m_hasFailed; }

private:
    static constexpr size_t pieceSize = size_t(1) << 20;

    ByteSource &m_first;
    ByteSource &m_second;
    std::vector<char> m_firstBytes;
    std::vector<char> m_secondBytes;
    bool m_hasFailed = false;
};

/// The index of the next packet of `stream` from `index` on; the table's size where there is none.
quint64 nextOf(const PacketTable &table, int stream, quint64 index)
{
    while (index < table.size() && table.at(index).stream != stream)
        ++index;
    return index;
}

/// Whether a packet may be the one of the original: its size may have been mended. Then it is longer, or shorter by a
/// byte of padding.
bool mayBe(const Packet &old, const Packet &now)
{
    return now.size >= old.size || (now.size % 2 != 0 && now.size + 1 == old.size);
}

} // namespace

RepairProof proveRepair(const Recipe &recipe, const QString &original, const SourceOpener &mended,
                        const QVector<ParserFactory> &parsers, const RunLimits &limits, const std::atomic<bool> *cancel)
{
    RepairProof proof;
    const auto objecting = [&proof](const QString &text) {
        proof.objection = text;
        return proof;
    };
    if (!recipe.lostBytes().empty())
        return objecting(QStringLiteral("bytes of the original are neither in the new file nor replaced"));
    FileAnalysis before(limits, cancel, nullptr);
    before.read(original, parsers, Level::Default);
    FileAnalysis after(limits, cancel, nullptr);
    after.setOpener(mended);
    after.read(original, parsers, Level::Default);
    QString error;
    const std::unique_ptr<ByteSource> first = openFileSource(original, &error);
    const std::unique_ptr<ByteSource> second = mended(original, &error);
    if (!before.analyzer() || !after.analyzer() || !before.result().isClean() || !after.result().isClean() || !first
        || !second)
        return objecting(QStringLiteral("the files could not be read again"));
    const PacketTable &old = before.analyzer()->packets();
    const PacketTable &now = after.analyzer()->packets();
    RangeComparison comparison(*first, *second);
    std::vector<quint64> places(PacketTable::streamLimit, 0); // behind the packet that was found last, by stream
    for (quint64 index = 0; index < old.size(); ++index) {
        if (cancel && *cancel)
            return objecting(QStringLiteral("it was cancelled"));
        const Packet packet = old.at(index);
        quint64 &place = places[packet.stream];
        for (place = nextOf(now, packet.stream, place); place < now.size();
             place = nextOf(now, packet.stream, place + 1)) {
            const Packet other = now.at(place);
            if (mayBe(packet, other)
                && comparison.areSame(packet.offset, other.offset, std::min(packet.size, other.size)))
                break;
        }
        if (comparison.hasFailed())
            return objecting(QStringLiteral("the files could not be read again"));
        if (place == now.size())
            return objecting(QStringLiteral("the packet at offset %1 is not in the new file").arg(packet.offset));
        ++place;
        ++proof.packets;
        proof.bytes += packet.size;
    }
    return proof;
}

} // namespace quenlofar
