#pragma once

#include "containerrun.h"

#include <QString>
#include <QVector>

#include <atomic>

namespace quenlofar {

class Recipe;

/// What was proved of a mended file, by reading all data of both.
struct RepairProof
{
    QString objection; ///< what is not as it should be, or could not be read; null where all is well
    quint64 packets = 0; ///< that were compared
    quint64 bytes = 0; ///< of their data
};

/**
 * Whether the mended file has, in each stream, the packets of the file `original` with the same bytes and in the same
 * order, and every byte of the original is in it or replaced. `mended` opens the mended file; others may stand between
 * its packets. `cancel` may be null.
 */
RepairProof proveRepair(const Recipe &recipe, const QString &original, const SourceOpener &mended,
                        const QVector<ParserFactory> &parsers, const RunLimits &limits,
                        const std::atomic<bool> *cancel);

} // namespace quenlofar
