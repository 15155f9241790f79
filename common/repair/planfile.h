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

/// Writes a plan with its changes, as `repair --format json` prints it; null, or why that was not possible.
QString writePlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes, JsonLayout layout);

/**
 * The recipe of a plan as `repair --format json` prints it, for the file that `original` reads. The plan is not
 * trusted: its sizes, the old bytes of each change and the digest over all of them have to be those of the file, and
 * changes are bytes in place and bytes at the end alone. Null, and `*error` why, for any other plan or file.
 */
std::optional<Recipe> recipeOfPlan(const QByteArray &plan, ByteSource &original, QString *error);

} // namespace quenlofar
