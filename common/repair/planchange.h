#pragma once

#include "containerrun.h"
#include "repairplan.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <vector>

namespace quenlofar {

/// A change of a plan, with the bytes that it replaces.
struct PlanChange
{
    Recipe::Piece piece; ///< of the new file; copied ones are changes where bytes move
    QByteArray old; ///< the bytes that were there; empty for bytes that are added, and where bytes move
    QString path; ///< of the field or element in the original's tree; empty for none, and where nobody looked it up
};

/// The new bytes of a change.
QByteArray newBytes(const RepairPlan &plan, const PlanChange &change);

/**
 * The changes of the plan for the file at `path`, in the order of the new file, with the bytes that stand there. The
 * names in the tree are looked up with `run`, which reads through `opener` as well, and a null function reads from the
 * disk; they are left out where there are more than a thousand changes, and where bytes move. Throws nothing but
 * std::bad_alloc.
 */
std::vector<PlanChange> changesOf(const RepairPlan &plan, const QString &path, const QVector<ParserFactory> &parsers,
                                  const SourceOpener &opener, ContainerRun &run);

/// SHA-256 of the bytes of the original, which `original` reads, that the new file does not copy; empty where they
/// cannot be read.
QByteArray digestOfOldBytes(const Recipe &recipe, ByteSource &original);

} // namespace quenlofar
