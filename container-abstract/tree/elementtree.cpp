#include "elementtree.h"

#include "decodetext.h"
#include "elementtree_p.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr ElementTree::Item rootItem = 0;

} // namespace

ElementTree::ElementTree(quint64 maxBytes) : d(new Private(maxBytes)) { }

ElementTree::~ElementTree() = default;

bool ElementTree::beginDocument(const DocumentStart &start)
{
    if (d->itemCount > 0 || !d->frames.isEmpty() || d->finished)
        d = std::make_unique<Private>(d->maxBytes);
    d->document = {ownCopy(start.file), ownCopy(start.container),  start.fileSize,
                   start.parser,        ownCopy(start.parserName), ownCopy(start.parserVersion)};
    return true;
}

bool ElementTree::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    const bool isTaken = d->add(ItemKind::Node, {false, 0, offset, size, index, title, {}, {}, {}});
    if (isTaken)
        d->openLastItem();
    return isTaken;
}

bool ElementTree::addField(const Field &field)
{
    return d->add(ItemKind::EmptyValue, field);
}

bool ElementTree::endElement()
{
    if (d->openNodes > 0)
        d->closeNode();
    return true;
}

bool ElementTree::reportFrame(const Frame &frame)
{
    if (d->finished)
        return false;
    d->frames.append(frame);
    return true;
}

bool ElementTree::endDocument(const RunResult &result)
{
    if (!d->finished)
        d->finish();
    d->result = result;
    return true;
}

bool ElementTree::setElementSize(quint64 size)
{
    if (d->openNodes > 0)
        d->setOpenSize(size);
    return true;
}

bool ElementTree::reportProblem(const quenlofar::ReportedProblem &problem)
{
    if (d->finished)
        return false;
    d->keepProblem(problem);
    return true;
}

const DocumentStart &ElementTree::document() const
{
    return d->document;
}

const RunResult &ElementTree::result() const
{
    return d->result;
}

const FrameList &ElementTree::frames() const
{
    return d->frames;
}

const std::vector<ElementTree::Problem> &ElementTree::problems() const
{
    return d->problems;
}

ElementTree::Item ElementTree::root() const
{
    return rootItem;
}

ElementTree::Item ElementTree::parent(Item item) const
{
    return item == rootItem ? rootItem : d->parentOf(item);
}

quint32 ElementTree::row(Item item) const
{
    return item == rootItem ? 0 : d->rowOf(item);
}

quint32 ElementTree::childCount(Item item) const
{
    return d->childrenOf(d->record(item)).count;
}

ElementTree::Item ElementTree::child(Item item, quint32 row) const
{
    return d->childrenOf(d->record(item)).at(row);
}

ElementTree::Item ElementTree::itemAt(quint64 offset) const
{
    // Level by level, since of siblings that overlap each may lead further down.
    std::vector<Item> level = {rootItem};
    std::vector<Item> below;
    for (;;) {
        for (const Item item : level)
            d->appendCovering(item, offset, &below);
        if (below.empty())
            return level.front();
        level.swap(below);
        below.clear();
    }
}

quint64 ElementTree::itemCount() const
{
    return d->finished ? d->itemCount : 0;
}

bool ElementTree::isNode(Item item) const
{
    return d->record(item).isNode();
}

bool ElementTree::isUnparsedData(Item item) const
{
    Private::TextBuffer buffer;
    const ItemRecord record = d->record(item);
    return !record.isNode() && d->nameOf(record, &buffer) == unparsedDataMarker;
}

quint64 ElementTree::offset(Item item) const
{
    return d->placeOf(item, d->record(item));
}

quint64 ElementTree::size(Item item) const
{
    return item == rootItem ? quint64(std::max<qint64>(d->document.fileSize, 0)) : d->sizeOf(d->record(item));
}

qint64 ElementTree::index(Item item) const
{
    return d->indexOf(item, d->record(item));
}

QString ElementTree::name(Item item) const
{
    Private::TextBuffer buffer;
    return d->nameOf(d->record(item), &buffer).toString();
}

QString ElementTree::value(Item item) const
{
    Private::TextBuffer buffer;
    return d->valueOf(d->record(item), &buffer).toString();
}

QString ElementTree::meaning(Item item) const
{
    Private::TextBuffer buffer;
    return d->meaningOf(d->record(item), &buffer).toString();
}

QString ElementTree::description(Item item) const
{
    Private::TextBuffer buffer;
    return d->descriptionOf(d->record(item), &buffer).toString();
}

bool ElementTree::flag(Item item) const
{
    return d->flagOf(d->record(item));
}

uchar ElementTree::code(Item item) const
{
    return d->codeOf(d->record(item));
}

bool ElementTree::replay(ElementSink &sink) const
{
    Private::FieldBuffers buffers;
    bool taken = sink.beginDocument(d->document);
    Item node = rootItem;
    Private::Children children = d->childrenOf(d->record(node));
    quint32 row = 0;
    const auto replayProblems = [&] {
        if (Q_LIKELY(d->problems.empty()))
            return;
        const auto [first, last] = std::equal_range(d->problems.begin(), d->problems.end(), Problem{node, {}},
                                                    [](const Problem &a, const Problem &b) { return a.item < b.item; });
        for (auto problem = first; problem != last && taken; ++problem)
            taken = sink.reportProblem(problem->problem.lent());
    };
    // No recursion: from the last child the way goes on through the node's own row.
    for (;;) {
        if (taken && row < children.count) {
            const Item item = children.at(row);
            const ItemRecord record = d->record(item);
            const Field field = d->fieldOf(item, record, &buffers);
            if (record.isNode()) {
                taken = sink.beginElement(field.offset, field.size, field.name, field.index);
                node = item;
                children = d->childrenOf(record);
                row = 0;
            } else {
                taken = sink.addField(field);
                ++row;
            }
        } else if (node != rootItem) {
            replayProblems();
            taken = sink.endElement() && taken;
            row = d->rowOf(node) + 1;
            node = d->parentOf(node);
            children = d->childrenOf(d->record(node));
        } else {
            break;
        }
    }
    for (quint64 i = 0; taken && i < d->frames.size(); ++i)
        taken = sink.reportFrame(d->frames.at(i));
    replayProblems();
    return sink.endDocument(d->result) && taken;
}

struct ElementTree::FieldReader::Buffers : ElementTree::Private::FieldBuffers
{
};

ElementTree::FieldReader::FieldReader(const ElementTree &tree) : m_tree(tree), m_buffers(new Buffers) { }

ElementTree::FieldReader::~FieldReader() = default;

Field ElementTree::FieldReader::field(Item item)
{
    return m_tree.d->fieldOf(item, m_tree.d->record(item), m_buffers.get());
}

QStringView ElementTree::FieldReader::name(Item item)
{
    return m_tree.d->nameOf(m_tree.d->record(item), &m_buffers->name);
}

ItemRecord ElementTree::Private::record(Item item) const
{
    if (item == rootItem)
        return ItemRecord::make(ItemKind::Node, 0, 0, 0, rootChildren);
    const quint64 word = items[item];
    if (ItemRecord::isShort(word))
        return ItemRecord::fromShort(word);
    return {word, items[item + 1]};
}

/// Bytes from the start of the file.
quint64 ElementTree::Private::placeOf(Item item, const ItemRecord &of) const
{
    const bool isShort = item != rootItem && ItemRecord::isShort(items[item]);
    return isShort ? of.offset() + offsetOf(record(parentOf(item))) : offsetOf(of); // the record of a node is long
}

ElementTree::Private::Children ElementTree::Private::childrenOf(const ItemRecord &record) const
{
    const quint32 header = record.isNode() ? record.content() : 0;
    if (header == 0)
        return {};
    const quint32 low = quint32(items[header]);
    const Item first = header + 1;
    return {first, low & countMask, ItemRecord::isShort(items[first]) ? 1 : ItemRecord::wordCount,
            (low & inOrderBit) != 0};
}

quint32 ElementTree::Private::rowOf(Item item) const
{
    const quint32 distance = item - headerOf(item) - 1;
    return ItemRecord::isShort(items[item]) ? distance : distance / ItemRecord::wordCount;
}

/// Appends the children of `node` that cover `byte`. Of those in order one can, and is looked for by halves; others are
/// looked at one by one.
void ElementTree::Private::appendCovering(Item node, quint64 byte, std::vector<Item> *found) const
{
    const Children children = childrenOf(record(node));
    quint32 begin = 0;
    quint32 end = children.count;
    if (children.inOrder) {
        // The last one that begins at or before the byte: where several begin at one place, all but the last are empty.
        quint32 notBehind = 0;
        while (notBehind < end) {
            const quint32 middle = notBehind + (end - notBehind) / 2;
            if (placeOf(children.at(middle), record(children.at(middle))) <= byte)
                notBehind = middle + 1;
            else
                end = middle;
        }
        begin = end == 0 ? 0 : end - 1;
    }
    for (quint32 row = begin; row < end; ++row) {
        const ItemRecord child = record(children.at(row));
        const quint64 offset = placeOf(children.at(row), child);
        if (offset <= byte && byte - offset < sizeOf(child))
            found->push_back(children.at(row));
    }
}

Field ElementTree::Private::fieldOf(Item item, const ItemRecord &of, FieldBuffers *buffers) const
{
    return {flagOf(of),
            codeOf(of),
            placeOf(item, of),
            sizeOf(of),
            indexOf(item, of),
            nameOf(of, &buffers->name),
            valueOf(of, &buffers->value),
            meaningOf(of, &buffers->meaning),
            descriptionOf(of, &buffers->description)};
}

QStringView ElementTree::Private::nameOf(const ItemRecord &record, TextBuffer *buffer) const
{
    const quint64 position = record.isWide() ? quint32(wideWord(record, WideNameAndValue)) : 0;
    return position != 0 ? textAt(position, buffer) : QStringView(labelOf(record).name);
}

QStringView ElementTree::Private::valueOf(const ItemRecord &record, TextBuffer *buffer) const
{
    const quint32 content = record.content();
    char16_t *const begin = buffer->characters;
    char16_t *const end = std::end(buffer->characters);
    switch (record.kind()) {
    case ItemKind::Node:
    case ItemKind::WideNode:
    case ItemKind::EmptyValue:
    case ItemKind::ShortEmptyValue: // record() made these long
    case ItemKind::ShortDecimalValue:
    case ItemKind::ShortLatin1Value:
    case ItemKind::ShortTextValue:
        break;
    case ItemKind::WideLeaf:
        return textAt(wideWord(record, WideNameAndValue) >> 32, buffer);
    case ItemKind::TextValue:
        return textAt(content, buffer);
    case ItemKind::DecimalValue: {
        char16_t *digit = end;
        quint32 rest = content;
        do {
            *--digit = char16_t(u'0' + rest % 10);
            rest /= 10;
        } while (rest != 0);
        return {digit, end - digit};
    }
    case ItemKind::Latin1Value: {
        char16_t *at = begin;
        for (quint32 rest = content; rest != 0; rest >>= 8)
            *at++ = char16_t(rest & 0xFF);
        return {begin, at - begin};
    }
    }
    return {};
}

QStringView ElementTree::Private::meaningOf(const ItemRecord &record, TextBuffer *buffer) const
{
    return record.isWide() ? textAt(quint32(wideWord(record, WideMeaningAndDescription)), buffer)
                           : QStringView(labelOf(record).meaning);
}

QStringView ElementTree::Private::descriptionOf(const ItemRecord &record, TextBuffer *buffer) const
{
    return record.isWide() ? textAt(wideWord(record, WideMeaningAndDescription) >> 32, buffer)
                           : QStringView(labelOf(record).description);
}

quint64 ElementTree::Private::offsetOf(const ItemRecord &record) const
{
    return record.isWide() ? wideWord(record, WideOffset) : record.offset();
}

quint64 ElementTree::Private::sizeOf(const ItemRecord &record) const
{
    return record.isWide() ? wideWord(record, WideSize) : record.size();
}

qint64 ElementTree::Private::indexOf(Item item, const ItemRecord &record) const
{
    if (record.isWide())
        return qint64(wideWord(record, WideIndex));
    const Label &label = labelOf(record);
    return label.hasIndex ? qint64(rowOf(item) - label.rowMinusIndex) : -1;
}

bool ElementTree::Private::flagOf(const ItemRecord &record) const
{
    return record.isWide() ? wideWord(record, WideFlagAndCode) >> 32 != 0 : labelOf(record).flag;
}

uchar ElementTree::Private::codeOf(const ItemRecord &record) const
{
    return record.isWide() ? uchar(wideWord(record, WideFlagAndCode)) : labelOf(record).code;
}

/// The text that keepText() put at `position`.
QStringView ElementTree::Private::textAt(quint64 position, TextBuffer *buffer) const
{
    if (position == 0)
        return {};
    quint32 at = quint32(position);
    quint64 word = side[at];
    const int bits = word & 1 ? 16 : 8;
    const char16_t mask = word & 1 ? 0xFFFF : 0xFF;
    const quint32 length = quint32(word) >> 1;
    buffer->text.resize(int(length));
    char16_t *out = reinterpret_cast<char16_t *>(buffer->text.data());
    int used = 32;
    for (quint32 i = 0; i < length; ++i) {
        if (used == 64) {
            word = side[++at];
            used = 0;
        }
        *out++ = char16_t(word >> used) & mask;
        used += bits;
    }
    return buffer->text;
}

} // namespace quenlofar
