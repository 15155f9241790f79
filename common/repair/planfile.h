#pragma once

#include "recipe.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace quenlofar {

class ByteSource;

/**
 * The recipe of a plan as `repair --format json` prints it, for the file that `original` reads. The plan is not
 * trusted: its sizes, the old bytes of each change and the digest over all that is not copied have to be those of the
 * file. Changes are bytes in place and bytes at the end, or a file that is put together anew, in which each byte of the
 * original is copied or named as one that is left out. Null, and `*error` why, for any other plan or file.
 */
std::optional<Recipe> recipeOfPlan(const QByteArray &plan, ByteSource &original, QString *error);

} // namespace quenlofar
