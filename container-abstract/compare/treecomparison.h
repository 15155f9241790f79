#pragma once

#include "containerabstract_export.h"
#include "elementtree.h"
#include "videostream.h"

#include <QStringView>

#include <functional>

namespace quenlofar {

/// In what two things that stand for each other differ; sets of these are or-ed.
enum DifferingAspect : quint32 {
    KindDiffers = 0x1, ///< a node and a leaf
    SizeDiffers = 0x2,
    ValueDiffers = 0x4,
    MeaningDiffers = 0x8,
    DescriptionDiffers = 0x10,
    IndexDiffers = 0x20,
    OffsetDiffers = 0x40,
    StreamDiffers = 0x80, ///< this and those below: of frames
    NumberDiffers = 0x100,
    KeyDiffers = 0x200,
};

/// An item that only one of two trees has, or that differs.
struct ItemDifference
{
    /// Which of the trees have the item.
    enum Kind { OnlyInFirst, OnlyInSecond, Changed };

    Kind kind; ///< Changed: both trees have it
    quint32 aspects; ///< DifferingAspects of a changed item, else 0
    QStringView path; ///< see elementpath.h; lent for the call
    ElementTree::Item first; ///< in the first tree; its root when only the second has the item
    ElementTree::Item second; ///< in the second tree; its root when only the first has the item
};

/// What differs in the frame lists of two trees.
struct FrameDifference
{
    /// What is said about.
    enum Kind {
        Count, ///< the lists are of different length; `position` is that of the first frame which only one has
        Changed, ///< a frame that both lists have
    };

    Kind kind; ///< of what is said
    quint32 aspects; ///< DifferingAspects of a changed frame, else 0
    quint64 position; ///< in the lists
    Frame first; ///< of a changed frame
    Frame second; ///< the frame of the second tree
};

/// What counts as a difference beside what always does.
struct ComparisonOptions
{
    bool compareOffsets = false; ///< offsets are taken for a difference too
};

/**
 * Compares the items of two trees. Those of one path stand for each other; what is compared are their kind, size,
 * value, meaning, description and index. An item that only one tree has, or that is a node in one and a leaf in the
 * other, is reported once: what is inside it is not.
 *
 * Differences come in the document order of the first tree. An item that only the second has comes right before the
 * next of its siblings there that both have, or last among the siblings.
 *
 * Takes time proportional to the items, on average, and memory for the siblings of open nodes where the trees are not
 * in step. May throw std::bad_alloc.
 *
 * @return false when `visitor` did, which ends the comparison
 */
CONTAINERABSTRACT_EXPORT bool compareItems(const ElementTree &first, const ElementTree &second,
                                           const ComparisonOptions &options,
                                           const std::function<bool(const ItemDifference &)> &visitor);

/// Compares the frames of two trees, those at one position of the lists with each other: stream, number, size and key.
/// A difference of the number of frames is reported first. False when `visitor` returned it, which ends the comparison.
CONTAINERABSTRACT_EXPORT bool compareFrames(const ElementTree &first, const ElementTree &second,
                                            const ComparisonOptions &options,
                                            const std::function<bool(const FrameDifference &)> &visitor);

} // namespace quenlofar
