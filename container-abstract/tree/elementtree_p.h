#pragma once

#include "elementtree.h"
#include "labeltable.h"
#include "wordstore.h"

namespace quenlofar {

/// What an item of a tree is and, of a leaf, how its value is kept in the content of its record.
enum class ItemKind : quint32 {
    Node,
    WideNode,
    WideLeaf,
    EmptyValue,
    DecimalValue, ///< a number below 2^32, its digits as they are printed
    Latin1Value1, ///< one to four characters, one byte each
    Latin1Value2,
    Latin1Value3,
    Latin1Value4,
    TextValue, ///< position of a text at the side
};

/**
 * An item is a record of two words, from the low end:
 *   first    label 14 bits, kind 4 bits, offset 46 bits
 *   second   size 32 bits, content 32 bits
 * What does not fit is kept whole at the side: the record of such a wide item has its position in place of the size.
 *
 * The children of a node stand side by side, behind one marked word, the header, that holds their number (low half)
 * and the node's own position (high half). The content of a node is the position of that header, 0 without children.
 */
struct ItemRecord
{
    static constexpr quint32 wordCount = 2;
    static constexpr int kindShift = LabelTable::numberBits;
    static constexpr int offsetShift = kindShift + 4;
    static constexpr quint64 maxOffset = ~quint64(0) >> offsetShift;

    quint64 first;
    quint64 second;

    static ItemRecord make(ItemKind kind, quint32 label, quint64 offset, quint64 size, quint32 content)
    {
        return {label | quint64(kind) << kindShift | offset << offsetShift, size | quint64(content) << 32};
    }
    ItemKind kind() const { return ItemKind(first >> kindShift & 0xF); }
    bool isNode() const { return kind() <= ItemKind::WideNode; }
    bool isWide() const { return kind() == ItemKind::WideNode || kind() == ItemKind::WideLeaf; }
    quint32 label() const { return quint32(first) & (LabelTable::full - 1); }
    quint64 offset() const { return first >> offsetShift; }
    quint32 size() const { return quint32(second); }
    quint32 widePosition() const { return quint32(second); }
    quint32 content() const { return quint32(second >> 32); }
};

/// The words of a wide item at the side. Texts are positions, 0 for an empty one; the first of two is the low half.
enum WideWord : quint32 {
    WideOffset,
    WideSize,
    WideIndex,
    WideFlagAndCode,
    WideNameAndValue,
    WideMeaningAndDescription,
    WideWordCount
};

class ElementTree::Private
{
public:
    /// Room for a text that is made for the reader.
    struct TextBuffer
    {
        char16_t characters[10]; // the digits of a 32-bit number
        QString text;
    };
    struct FieldBuffers
    {
        TextBuffer name, value, meaning, description;
    };

    explicit Private(quint64 bound);

    // Building, in elementtreebuilder.cpp.
    bool add(ItemKind kind, const Field &field);
    void openLastItem() noexcept;
    void setOpenSize(quint64 size) noexcept;
    void keepProblem(const quenlofar::ReportedProblem &problem);
    void closeNode() noexcept;
    void finish() noexcept;

    // Reading.
    ItemRecord record(Item item) const;
    quint32 headerOf(Item item) const { return items.markedBefore(item); }
    Item parentOf(Item item) const { return quint32(items[headerOf(item)] >> 32); }
    quint32 rowOf(Item item) const { return (item - headerOf(item) - 1) / ItemRecord::wordCount; }
    quint32 childCount(const ItemRecord &record) const;
    Field fieldOf(Item item, FieldBuffers *buffers) const;
    QStringView nameOf(const ItemRecord &record, TextBuffer *buffer) const;
    QStringView valueOf(const ItemRecord &record, TextBuffer *buffer) const;
    QStringView meaningOf(const ItemRecord &record, TextBuffer *buffer) const;
    QStringView descriptionOf(const ItemRecord &record, TextBuffer *buffer) const;
    quint64 offsetOf(const ItemRecord &record) const;
    quint64 sizeOf(const ItemRecord &record) const;
    qint64 indexOf(Item item, const ItemRecord &record) const;
    bool flagOf(const ItemRecord &record) const;
    uchar codeOf(const ItemRecord &record) const;

    quint64 maxBytes;
    DocumentStart document;
    RunResult result;
    FrameList frames;
    std::vector<Problem> problems; // of nodes whose place is not known yet: where they stand in `pending`
    std::vector<size_t> unplaced; // those, by their positions in `problems`; inner nodes last
    quint64 itemCount = 0;
    quint64 openNodes = 0;
    quint32 rootChildren = 0;
    bool finished = false;

private:
    /// Makes sure that one more item, `sideWords` at the side, and then the end of every open node find memory.
    void provideFor(quint64 sideWords)
    {
        // Moving children into place needs two chunks before it gives one back and may leave one more half empty,
        // the ends of the stores the same; each open node will have a header.
        constexpr quint64 toEndNodes = 8;
        quint64 needed = toEndNodes + openNodes / WordChunk::wordCount;
        if (sideWords > 0)
            needed += sideWords / WordChunk::wordCount + 2;
        if (Q_UNLIKELY(pool.free() < needed))
            provide(needed);
    }
    void provide(quint64 chunks);
    void push(const ItemRecord &record) noexcept
    {
        const quint32 position = pending.size();
        pending.resize(position + ItemRecord::wordCount);
        // Records never lie across two chunks here.
        quint64 *const words = pending.write(position);
        words[0] = record.first;
        words[1] = record.second;
    }
    ItemRecord pendingRecord(quint32 position) const { return {pending[position], pending[position + 1]}; }
    ItemRecord packLeaf(const Field &field, quint32 label);
    ItemRecord makeWide(ItemKind kind, const Field &field);
    quint32 keepText(QStringView text);
    quint32 moveChildren(quint32 first) noexcept;
    void placeProblems(quint32 first, quint32 header) noexcept;
    quint64 wideWord(const ItemRecord &record, WideWord word) const { return side[record.widePosition() + word]; }
    const Label &labelOf(const ItemRecord &record) const { return labels[record.label()]; }
    QStringView textAt(quint64 position, TextBuffer *buffer) const;

    ChunkPool pool;
    WordStore items{pool}; // word 0 stands for the root and is not used
    WordStore pending{pool}; // records of items whose parent is still open
    WordStore side{pool}; // texts and wide items; word 0 is not used
    LabelTable labels; // number 0 is the root's
    // Where the children of the innermost open node begin in `pending`, right behind its own record. While a node is
    // open, its record's content is what this is for its parent.
    quint32 firstChild = 0;
};

} // namespace quenlofar
