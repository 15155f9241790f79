#pragma once

#include "byterange.h"
#include "containerabstract_export.h"
#include "elementsink.h"

#include <functional>
#include <memory>

namespace quenlofar {

/**
 * Tells which bytes of a file the leaves of a walk cover, while it is walked. Nodes do not count, leaves count as far
 * as they lie inside the file.
 *
 * Every byte of the file is of exactly one of the first four kinds, so their counts add up to the file's size; Overlap
 * is counted beside them. Answers are there after endDocument. Takes 9 bytes for each place where the kind changes, up
 * to twice as much again for leaves that come out of order, and a constant. Calls may throw std::bad_alloc; of a walk
 * for which there was no memory no byte is of any kind.
 */
class CONTAINERABSTRACT_EXPORT ByteAccounting : public ElementSink
{
public:
    /// What is known of a byte.
    enum class Kind {
        Interpreted, ///< a leaf says what it means
        Data, ///< payload: covered by a leaf "value" without a value's text, and by no interpreted one
        Unparsed, ///< covered by leaves of unparsed data alone
        Gap, ///< no leaf covers it
        Overlap, ///< more than one leaf covers it
    };

    /// What the answers tell apart.
    enum class Detail {
        EveryKind, ///< everything of Kind
        Covered, ///< data counts as interpreted, and overlaps are not noticed: good files take no memory
    };

    /// Tells apart what `detail` says.
    explicit ByteAccounting(Detail detail = Detail::EveryKind);
    ~ByteAccounting() override;

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;

    quint64 byteCount(Kind kind) const; ///< all bytes of the kind
    quint64 rangeCount(Kind kind) const; ///< as many as visitRanges visits
    /// Calls `visitor` with each range of the kind, merged and ascending, until it returns false; takes no memory.
    /// False when the visitor did.
    bool visitRanges(Kind kind, const std::function<bool(const ByteRange &)> &visitor) const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace quenlofar
