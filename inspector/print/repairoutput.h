#pragma once

#include "options.h"
#include "repairplan.h"
#include "textwriter.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <vector>

namespace quenlofar {

/// A change of a plan, as it is printed.
struct PlanChange
{
    Recipe::Piece piece; ///< of the new file; copied ones are changes where bytes move
    QByteArray old; ///< the bytes that were there; empty for bytes that are added, and where bytes move
    QString path; ///< of the field or element in the original's tree; empty for none, and where nobody looked it up
};

/// How a plan is printed.
struct RepairStyle
{
    Options::Format format = Options::Format::Text;
    bool pretty = false;
    QByteArray oldDigest; ///< SHA-256 of the bytes of the original that the new file does not copy
    TextStyle text;
};

/// Prints a plan with its changes, which are in the order of the new file; null, or why that was not possible. `done`
/// says what was written; empty where nothing was.
QString printPlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes,
                  const QString &done, const RepairStyle &style);

} // namespace quenlofar
