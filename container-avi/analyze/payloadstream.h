#pragma once

#include "avicodecs.h"
#include "avilayout.h"
#include "payloadscan.h"

#include <QString>

#include <algorithm>
#include <array>
#include <memory>

namespace quenlofar {

/// What the payload of a stream is held against; each is a rule.
enum class PayloadCheck : quint8 {
    Mp3ChunkStart,
    Mp3Header,
    Mp3BitRate,
    KeyFlag,
    ZeroHole,
    DvSystem,
    JpegMarkers,
    CodedSize,
    CodedStart,
    Duplicates,
};
constexpr size_t payloadCheckCount = 10;

/// What of a stream breaks one rule.
struct PayloadHits
{
    AviTally places;
    ByteRange packet; ///< data of the first packet concerned
    QString expected; ///< at the first place
    QString actual; ///< at the first place
};

/// Whether the payload of the stream is held against the rule.
bool isPayloadChecked(PayloadCheck check, const AviLayout &layout, const AviStream &stream);

/**
 * Holds the payload of one stream against all rules that read it. Packets come one by one in the order of the file,
 * each in one or more pieces; nothing of them is kept but numbers.
 */
class PayloadStream
{
public:
    /// A reader for the stream number `number`; null where no rule reads its payload. `layout` outlives it.
    static std::unique_ptr<PayloadStream> create(const AviLayout &layout, int number);

    PayloadStream(const PayloadStream &) = delete;
    PayloadStream &operator=(const PayloadStream &) = delete;
    virtual ~PayloadStream();

    /// The next packet that is not empty and no palette; the one after it has `sizeOfNext` bytes, 0 where that is not
    /// known. Only packets of one size can be the same, so that others need not be summed up.
    void begin(const Packet &packet, quint32 sizeOfNext);
    /// Its next piece, at `offset` in the file. The first one has all of a packet or many KiB; pieces but the last one
    /// are multiples of PayloadHash::block bytes.
    void feed(PayloadBytes bytes, quint64 offset);
    /// As feed() of a piece of `count` zero bytes, which is not the first one of its packet.
    void feedZeros(quint64 count, quint64 offset);
    /// The packet is complete.
    void end();
    /// The palette changes: the next frame is another one, even where its bytes are the same.
    void changePalette() { m_previousSize = 0; }
    /// There are no more packets.
    void finish();

    const PayloadHits &hits(PayloadCheck check) const { return m_hits[size_t(check)]; }

protected:
    PayloadStream(const AviLayout &layout, int number);

    /// The first piece of a packet.
    virtual void readFirst(PayloadBytes bytes) { Q_UNUSED(bytes) }
    /// Any piece, also the first one.
    virtual void readPiece(PayloadBytes bytes, quint64 offset)
    {
        Q_UNUSED(bytes)
        Q_UNUSED(offset)
    }
    /// A piece of zero bytes, which is not the first one; as readPiece() by default.
    virtual void readZeros(quint64 count, quint64 offset);
    virtual void readEnd() { }
    virtual void readFinish() { }

    const AviStream &stream() const { return m_stream; }
    const Packet &packet() const { return m_packet; }
    bool checks(PayloadCheck check) const { return m_checks[size_t(check)]; }
    /// True for the first one: its texts are still to be said.
    bool hit(PayloadCheck check, const ByteRange &place);
    /// Counts one that broke `check`; the first one's texts are kept.
    void hit(PayloadCheck check, const ByteRange &place, const QString &expected, const QString &actual);
    /// Where all of `checked` frames broke the rule, which was told as what the headers say and what the frames say:
    /// wrong is what the headers claim at `claim`.
    void blame(PayloadCheck check, quint64 checked, const ByteRange &claim);
    /// Looks for runs of zero bytes; `mayBeZero(run, at)` excuses one that begins `at` bytes from the start of the
    /// piece.
    template <typename MayBeZero> void findZeros(PayloadBytes bytes, quint64 offset, const MayBeZero &mayBeZero)
    {
        m_zeros.feed(bytes, offset, [this, &mayBeZero](const ByteRange &run, size_t at) {
            if (!mayBeZero(run, at))
                addZeroHole(run);
        });
    }
    /// These zeros come next.
    void countZeros(quint64 count) { m_zeros.feedZeros(count); }
    template <typename MayBeZero> void endZeros(const MayBeZero &mayBeZero)
    {
        m_zeros.end(m_packet.range().end(), [this, &mayBeZero](const ByteRange &run, size_t at) {
            if (!mayBeZero(run, at))
                addZeroHole(run);
        });
    }
    /// Zero bytes at the end of the piece that findZeros() took last.
    size_t zerosAtEnd(PayloadBytes bytes) const { return size_t(std::min<quint64>(m_zeros.open(), bytes.size)); }
    void addZeroHole(const ByteRange &run);
    /// The payload states a size of pictures.
    void addCodedSize(const CodedSize &size, bool mayBeField);
    /// A frame stated a size.
    bool hasCodedSize() const { return m_sized > 0; }
    /// What the payload says of the frame, and whether that has to be so.
    void setStart(FrameStart start, bool isCertain = true);

private:
    void checkKeyFlag();
    void checkDuplicate();
    ByteRange legacyEntry() const;

    const AviLayout &m_layout;
    const AviStream &m_stream;
    const int m_number;
    const AviCodec m_codec;
    std::array<bool, payloadCheckCount> m_checks = {};
    std::array<PayloadHits, payloadCheckCount> m_hits;

    Packet m_packet; // that is being read
    bool m_isFirstPiece = true;
    FrameStart m_start = FrameStart::Unknown;
    bool m_isStartCertain = true;
    ZeroRuns m_zeros;
    quint64 m_sized = 0; // frames that state a size

    PayloadHash m_hash;
    bool m_isHashed = false; // the packet that is being read
    quint32 m_previousSize = 0; // of the frame before; 0 without one
    quint64 m_previousHash = 0;
    quint64 m_run = 0; // like frames up to the latest
    quint64 m_longestRun = 0;
};

} // namespace quenlofar
