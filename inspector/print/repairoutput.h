#pragma once

#include "options.h"
#include "planfile.h"
#include "textwriter.h"

#include <QIODevice>
#include <QString>

#include <vector>

namespace quenlofar {

/// How a plan is printed.
struct RepairStyle
{
    Options::Format format = Options::Format::Text;
    bool pretty = false;
    QByteArray oldDigest; ///< for JSON, see digestOfOldBytes()
    TextStyle text;
};

/// Prints a plan with its changes, which are in the order of the new file; null, or why that was not possible. `done`
/// says what was written; empty where nothing was.
QString printPlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes,
                  const QString &done, const RepairStyle &style);

} // namespace quenlofar
