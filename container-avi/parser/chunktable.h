#pragma once

#include "chunkids.h"
#include "containeravi.h"

#include <QStringView>

namespace quenlofar {

/// One chunk id that the parser knows by name. To support a further chunk, add a row and, where it needs one, a
/// handler.
struct ChunkRow
{
    char id[5]; // four characters; a trailing blank counts
    int type; // ContainerAVI::ElementType
    ContainerAVI::Handler handler; // null: the data is one leaf without a value, and is not read
    QStringView name;

    static const ChunkRow rows[ChunkIdTable::rowCount];
};

} // namespace quenlofar
