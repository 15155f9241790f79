#include "avianalyzer.h"

#include "aviids.h"

#include <algorithm>

namespace quenlofar {

namespace {

constexpr quint32 chunkHeaderSize = 8;

struct KindRow
{
    quint32 id;
    RegionKind kind;
};
constexpr KindRow kindRows[] = {
    {fourCC("avih"), RegionKind::Header},  {fourCC("strh"), RegionKind::Header},  {fourCC("strf"), RegionKind::Header},
    {fourCC("strd"), RegionKind::Header},  {fourCC("strn"), RegionKind::Text},    {fourCC("vprp"), RegionKind::Header},
    {fourCC("dmlh"), RegionKind::Header},  {fourCC("indx"), RegionKind::Index},   {fourCC("idx1"), RegionKind::Index},
    {fourCC("JUNK"), RegionKind::Padding}, {fourCC("junk"), RegionKind::Padding}, {fourCC("PAD "), RegionKind::Padding},
    {fourCC("IDIT"), RegionKind::Text},    {fourCC("ISMP"), RegionKind::Text},
};

RegionKind kindOf(const AviLayout &layout, const AviElement &element)
{
    for (const KindRow &row : kindRows) {
        if (row.id == element.id)
            return row.kind;
    }
    if (indexStream(element.id) >= 0)
        return RegionKind::Index;
    if (dataStream(element.id) >= 0)
        return RegionKind::OtherData;
    const bool isInInfo = element.parent != AviLayout::none && layout.elements[element.parent].form == fourCC("INFO");
    return isInInfo ? RegionKind::Text : RegionKind::Unknown;
}

} // namespace

void fillRegions(const AviLayout &layout, RegionTable &regions)
{
    regions.reset(layout.fileSize, chunkHeaderSize);
    const BlockArray<AviElement> &elements = layout.elements;
    for (quint32 number = 0; number < elements.size(); ++number) {
        const AviElement &element = elements[number];
        const quint64 end = std::min(element.end, layout.fileSize);
        if (element.isList()) {
            const bool isEntered = (number + 1 < elements.size() && elements[number + 1].parent == number)
                || layout.packetsIn(number).first != layout.packetsIn(number).second;
            const quint64 headerEnd = std::min(element.offset + 12, layout.fileSize);
            regions.append({element.offset, headerEnd - element.offset}, RegionKind::Header);
            const bool isData = element.form == fourCC("movi") && !layout.isWalked;
            if (!isEntered && end > headerEnd)
                regions.append({headerEnd, end - headerEnd}, isData ? RegionKind::OtherData : RegionKind::Unknown);
            continue;
        }
        // Padding belongs to the chunk that it follows.
        const quint64 next = number + 1 < elements.size() ? elements[number + 1].offset : layout.fileSize;
        const quint64 padded = std::min({layout.fileSize, next, end + (end - element.offset) % 2});
        regions.append({element.offset, padded - element.offset}, kindOf(layout, element));
    }
}

} // namespace quenlofar
