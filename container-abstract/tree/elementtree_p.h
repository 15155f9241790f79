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
    Latin1Value, ///< one to four characters, one byte each, the last one not zero
    TextValue, ///< position of a text at the side
    ShortEmptyValue, ///< from here on the same kinds of values in a short record
    ShortDecimalValue,
    ShortLatin1Value,
    ShortTextValue,
};

/**
 * An item is a record of two words, from the low end:
 *   first    label 14 bits, kind 4 bits, offset 46 bits
 *   second   size 32 bits, content 32 bits
 * What does not fit is kept whole at the side: the record of such a wide item has its position in place of the size.
 *
 * The children of a node stand side by side, behind one marked word, the header. From the low end it holds their number
 * (31 bits), whether each begins at or behind the end of the one before (1 bit) and the node's own position (32 bits).
 * The content of a node is the position of that header, 0 without children.
 *
 * Where all children of a node are leaves near its begin, their records are short, one word each, from the low end:
 *   label 14 bits, kind 4 bits, distance from the node's offset 10 bits, size 4 bits, content 32 bits
 * A short leaf without a value has its size for content. Most items of a file are leaves of small records.
 */
struct ItemRecord
{
    static constexpr quint32 wordCount = 2;
    static constexpr int kindShift = LabelTable::numberBits;
    static constexpr int offsetShift = kindShift + 4;
    static constexpr quint64 maxOffset = ~quint64(0) >> offsetShift;

    static constexpr int sizeShift = offsetShift + 10; // of a short record
    static constexpr quint64 maxDistance = (1 << 10) - 1;
    static constexpr quint64 maxShortSize = (1 << 4) - 1;
    static constexpr quint32 toShortKind = quint32(ItemKind::ShortEmptyValue) - quint32(ItemKind::EmptyValue);

    quint64 first;
    quint64 second;

    static ItemRecord make(ItemKind kind, quint32 label, quint64 offset, quint64 size, quint32 content)
    {
        return {label | quint64(kind) << kindShift | offset << offsetShift, size | quint64(content) << 32};
    }
    static ItemKind kindIn(quint64 word) { return ItemKind(word >> kindShift & 0xF); }
    /// Whether `word` is a short record; otherwise it is the first word of a long one.
    static bool isShort(quint64 word) { return kindIn(word) >= ItemKind::ShortEmptyValue; }
    /// The long form of a short record; its offset is the distance from that of the node.
    static ItemRecord fromShort(quint64 word)
    {
        const ItemKind kind = ItemKind(quint32(kindIn(word)) - toShortKind);
        const quint64 offset = word >> offsetShift & maxDistance;
        const quint32 content = quint32(word >> 32);
        if (kind == ItemKind::EmptyValue)
            return make(kind, quint32(word) & (LabelTable::full - 1), offset, content, 0);
        return make(kind, quint32(word) & (LabelTable::full - 1), offset, word >> sizeShift & maxShortSize, content);
    }
    /// Whether the record can be short in a node that begins at `nodeOffset`.
    bool canBeShort(quint64 nodeOffset) const
    {
        // Offsets before the node's wrap around and are too far, too. Without a branch for each question: the answer is
        // yes for most records.
        const quint64 isTooFar = (offset() - nodeOffset) & ~maxDistance;
        const quint64 isTooLarge = kind() == ItemKind::EmptyValue ? 0 : size() & ~maxShortSize;
        return (isTooFar | isTooLarge | quint64(kind() < ItemKind::EmptyValue)) == 0;
    }
    quint64 toShort(quint64 nodeOffset) const
    {
        constexpr quint64 kindAndLabel = (quint64(1) << offsetShift) - 1;
        const quint64 common =
            (first & kindAndLabel) + (quint64(toShortKind) << kindShift) + ((offset() - nodeOffset) << offsetShift);
        const quint64 sizeAndContent = quint64(size()) << sizeShift | quint64(content()) << 32;
        return common | (kind() == ItemKind::EmptyValue ? second << 32 : sizeAndContent);
    }
    ItemKind kind() const { return kindIn(first); }
    bool isNode() const { return kind() <= ItemKind::WideNode; }
    bool isWide() const { return kind() == ItemKind::WideNode || kind() == ItemKind::WideLeaf; }
    quint32 label() const { return quint32(first) & (LabelTable::full - 1); }
    quint64 offset() const { return first >> offsetShift; }
    quint32 size() const { return quint32(second); }
    quint32 widePosition() const { return quint32(second); }
    quint32 content() const { return quint32(second >> 32); }
};

static_assert(ItemRecord::sizeShift + 4 == 32);
static_assert(quint32(ItemKind::ShortTextValue) == quint32(ItemKind::TextValue) + ItemRecord::toShortKind);
static_assert(quint32(ItemKind::ShortTextValue) <= 0xF);

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

    /// The children of a node: `count` records of `width` words from `first` on.
    struct Children
    {
        Item first = 0;
        quint32 count = 0;
        quint32 width = ItemRecord::wordCount;
        bool inOrder = true; ///< each begins at or behind the end of the one before
        Item at(quint32 row) const { return first + row * width; }
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
    /// Of a short leaf with the distance from its node for an offset: placeOf() tells where it is.
    ItemRecord record(Item item) const;
    quint64 placeOf(Item item, const ItemRecord &of) const;
    quint32 headerOf(Item item) const { return items.markedBefore(item); }
    Item parentOf(Item item) const { return quint32(items[headerOf(item)] >> 32); }
    quint32 rowOf(Item item) const;
    /// The children of `record`, which are of a node.
    Children childrenOf(const ItemRecord &record) const;
    void appendCovering(Item node, quint64 byte, std::vector<Item> *found) const;
    Field fieldOf(Item item, const ItemRecord &of, FieldBuffers *buffers) const;
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
    std::vector<size_t> unplaced; // positions in `problems` of those without an item yet; inner nodes last
    quint64 itemCount = 0;
    quint64 openNodes = 0;
    quint32 rootChildren = 0;
    bool finished = false;

private:
    static constexpr quint32 inOrderBit = 1U << 31; // of a header
    static constexpr quint32 countMask = inOrderBit - 1;

    /// What children of a node have in common.
    struct ChildrenTraits
    {
        bool inOrder;
        bool canBeShort;
    };

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
    void moveLongChildren(quint32 first, quint32 header) noexcept;
    void moveShortChildren(quint32 first, quint32 header, quint64 nodeOffset) noexcept;
    bool moveFewShortChildren(quint32 first, quint32 header, quint64 nodeOffset, bool *inOrder) noexcept;
    ChildrenTraits traitsOf(quint32 first, quint64 nodeOffset) const;
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
