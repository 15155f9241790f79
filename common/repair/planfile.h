#pragma once

#include "recipe.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace quenlofar {

class ByteSource;

/**
 * The recipe of a plan as `repair --format json` prints it, for the file that `original` reads. The plan is not
 * trusted: its sizes, the old bytes of each change and the digest over all of them have to be those of the file, and
 * changes are bytes in place and bytes at the end alone. Null, and `*error` why, for any other plan or file.
 */
std::optional<Recipe> recipeOfPlan(const QByteArray &plan, ByteSource &original, QString *error);

} // namespace quenlofar
