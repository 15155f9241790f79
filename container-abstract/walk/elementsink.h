#pragma once

#include "containerabstract_export.h"
#include "problem.h"
#include "runresult.h"
#include "videostream.h"

#include <QString>
#include <QStringView>

/// The name of a leaf that covers bytes which no parser interprets. It is a mark, never shown to people.
inline constexpr QStringView unparsedDataMarker{u"d771bd4e-a2e6-46e3-ad1c-1aafa1b60c87"};

namespace quenlofar {

/// Field::code of a leaf whose value is a text that is there but has no character, such as a name of zero bytes alone:
/// it is shown as "", not as data. The host gives it to rows of the kind FieldKind::Text.
inline constexpr uchar emptyTextCode = 1;

/// The size of a node that is not known before its end; ElementSink::setElementSize tells it there.
inline constexpr quint64 sizeFromEnd = ~quint64(0);

/// One leaf on its way from a parser to a sink. The texts are lent for the call.
struct Field
{
    bool flag; ///< host-defined; parsers pass false so far
    uchar code; ///< 0, or emptyTextCode
    quint64 offset; ///< first byte, from the start of the file
    quint64 size; ///< width in bytes; 0 is legal
    qint64 index; ///< ordinal among repeated records, or -1
    QStringView name; ///< the label; unparsedDataMarker for bytes that nobody interprets
    QStringView value; ///< the raw value as text
    QStringView meaning; ///< what the value stands for; empty when there is nothing to add
    QStringView description; ///< a longer explanation; usually empty

    /// It covers bytes that nobody interprets.
    bool isUnparsedData() const { return name == unparsedDataMarker; }
    /// Its value is a text without a character.
    bool isEmptyText() const { return code == emptyTextCode && value.isEmpty(); }
};

/**
 * Where a walk's nodes, leaves and frames go. Everything downstream of a parser implements it.
 *
 * Calls come in this order: beginDocument; any number of beginElement, addField, endElement (strictly nested) and
 * reportFrame; endDocument. Leaves may come with no node open: they stand at the top level. Behind the items of a node
 * come its problems, by reportProblem, and then, where the node began with the size sizeFromEnd, setElementSize; then
 * it ends. The problems of the top level come right before endDocument.
 *
 * Offset and size of nodes, leaves and frames add up to at most 2^63, and an index is -1 or more, whatever the file
 * says and the parser does.
 *
 * Every text is lent for the call and may live in a plug-in that is unloaded later: a sink that keeps a text copies
 * its characters.
 *
 * A sink returns true when it took the call. False says that it can take no more (the disk is full): the run then ends
 * soon. The call counts all the same, so endElement still comes once for every beginElement, and then endDocument.
 *
 * A sink may throw, as a rule std::bad_alloc; nothing between it and the run catches that. It is then asked for one
 * thing more: endDocument, which ends the nodes that are open by itself and whose result says what happened. Where
 * endDocument itself throws, it is called once more.
 */
class CONTAINERABSTRACT_EXPORT ElementSink
{
public:
    ElementSink() = default;
    ElementSink(const ElementSink &) = delete;
    ElementSink &operator=(const ElementSink &) = delete;
    virtual ~ElementSink();

    /// The file is open, or could not be opened, or no parser accepts it; `start` says which.
    virtual bool beginDocument(const DocumentStart &start);
    /// Opens a node inside the innermost open one. `size` may be sizeFromEnd; `index` is its ordinal among like
    /// siblings, or -1.
    virtual bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) = 0;
    /// Adds a leaf to the innermost open node.
    virtual bool addField(const Field &field) = 0;
    /// Closes the innermost open node.
    virtual bool endElement() = 0;
    /// A video frame that an index lists. It belongs to the document, not to the open node.
    virtual bool reportFrame(const Frame &frame) = 0;
    /// The walk is over; `result` is complete but for a failure of this very call.
    virtual bool endDocument(const RunResult &result);

    /// The size in bytes of the innermost open node, which began without one and ends next.
    virtual bool setElementSize(quint64 size);
    /// A problem in the innermost open node, or at the top level when none is open.
    virtual bool reportProblem(const quenlofar::ReportedProblem &problem);

    /// Why a call returned false, in words for the user; null before that.
    virtual QString errorText() const;
};

} // namespace quenlofar
