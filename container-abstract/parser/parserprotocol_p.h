#pragma once

#include "runresult.h"
#include "videostream.h"

#include <QtGlobal>

namespace quenlofar {

/**
 * What a run asks of a parser's answers, whatever the file says, and the first rule that a parser broke. All checks
 * stand here. An answer that makes no sense is put right before a sink sees it, so that sinks may rely on it.
 */
class ParserProtocol
{
public:
    /// No item and no frame ends behind this byte: no file can.
    static constexpr quint64 lastEnd = quint64(1) << 63;

    /// Where an item is, and its ordinal among repeated records.
    struct Place
    {
        quint64 offset;
        quint64 size;
        qint64 index;
    };

    /// An item that ends behind the end of the file makes sense: files are cut off. False for the largest index, too,
    /// which putRight leaves as it is.
    static bool makesSense(quint64 offset, quint64 size, qint64 index)
    {
        // One branch per item: without a top bit in offset and size their sum does not wrap, and an index of -1 becomes
        // 0.
        return qint64(offset | size | (offset + size) | (quint64(index) + 1)) >= 0;
    }
    /// A place that makes sense, for one that does not. `position` is where the parser was reading, here and below.
    Place putRight(const Place &place, qint64 position) noexcept;
    /// False when the frame has to be dropped; one that ends too far away is put right.
    bool takesFrame(Frame *frame, quint64 streams, qint64 position) noexcept;
    /// False when the walk cannot begin at `begin`.
    bool takesBegin(qint64 begin, qint64 fileSize) noexcept;
    /// A call of one of the parser's operations has returned with `openNodes` nodes open.
    void callReturned(quint64 openNodes, qint64 position) noexcept;
    /// The parser ended a node when none was open.
    void nodeEndedUnbegun(qint64 position) noexcept;
    /// Detection has returned; the parser added `items` items while it lasted.
    void detected(quint64 items, qint64 position) noexcept;

    /// What the parser did first; nothing when it kept to the rules.
    FileError trouble() const;

private:
    enum class Breach { None, BeginsOutside, EndsTooFar, Index, NodeLeftOpen, NodeNotBegun, UnknownStream, TooEarly };

    void note(Breach breach, qint64 position, qint64 number = 0) noexcept;

    Breach m_breach = Breach::None;
    qint64 m_position = 0;
    qint64 m_number = 0;
};

} // namespace quenlofar
