#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"

#include <QStringView>

namespace quenlofar {

/// What can be printed with an item beside what the walk tells of it. The texts are lent until the item was added.
struct ItemNotes
{
    QStringView path; ///< its element path; empty for none
    QStringView bytes; ///< what stands there, as pairs of hexadecimal digits; empty for none
};

/// A sink that prints elements. What stands between the walk and the printing may add and leave out.
class CONTAINERABSTRACT_EXPORT TreeWriter : public ElementSink
{
public:
    /// `notes` belong to the next node or leaf. The caller calls this before every one: a filter may keep the notes of
    /// an item that it leaves out.
    virtual void setNotes(const ItemNotes &notes) = 0;
    /// Stands for `count` items that were left out here; `count` is at least 1.
    virtual bool addOmission(quint64 count) = 0;
};

} // namespace quenlofar
