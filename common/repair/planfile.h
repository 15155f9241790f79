#pragma once

#include "jsonlayout.h"
#include "planchange.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

class QIODevice;

namespace quenlofar {

class ByteSource;

/// Writes a plan with its changes and digestOfOldBytes(), as `repair --format json` prints it; null, or why that was
/// not possible.
QString writePlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes,
                  const QByteArray &oldDigest, JsonLayout layout);

/**
 * The recipe of a plan as `repair --format json` prints it, for the file that `original` reads. The plan is not
 * trusted: its sizes, the old bytes of each change and the digest over all that is not copied have to be those of the
 * file. Changes are bytes in place and bytes at the end, or a file that is put together anew, in which each byte of the
 * original is copied or named as one that is left out. Null, and `*error` why, for any other plan or file.
 */
std::optional<Recipe> recipeOfPlan(const QByteArray &plan, ByteSource &original, QString *error);

} // namespace quenlofar
