#pragma once

#include "filecheck.h"
#include "recipe.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <vector>

namespace quenlofar {

/// What is to be mended.
struct RepairSettings
{
    Level level = Level::Deep; ///< how much is read to judge, before and after
    QStringList only; ///< names of rules, also of those whose findings are notes; empty: errors and warnings
    QStringList except; ///< names of rules
    bool rewrites = false; ///< bytes may move for warnings and notes too, not for errors alone
    bool cutsTrailing = false; ///< bytes behind the last element of the file are dropped
    QString like; ///< a healthy file of the same writer, from which lost headers may come; null for none
    SourceOpener opener; ///< opens the file, several times, and `like`; empty: from the disk
};

/// Something that was thought of and is not done.
struct OmittedStep
{
    RecipeStep step; ///< what it would have been, without findings
    QString reason; ///< a sentence for people, without a full stop
};

/// How a file can be mended, and what that helps. Its texts are copies: plug-ins may go.
struct RepairPlan
{
    FileCheck before; ///< the file as it is
    FileCheck after; ///< as it would be; `before` where there is no step
    Recipe recipe; ///< the mended file; its steps name the findings of `before` that each was made for
    std::vector<OmittedStep> omitted;
    std::vector<int> cleared; ///< ids of the findings of `before` that are gone

    bool isOpen = false; ///< by what was found, the file was never closed: something may still write to it
    QString error; ///< why `like` could not be read; null where all is well

    /// Nothing is to be done.
    bool isEmpty() const { return recipe.steps().empty(); }
};

/// Whether something may still write to the file at `path`, which `plan` is for: it was never closed and has changed
/// within the last minute.
bool mayStillBeWritten(const RepairPlan &plan, const QString &path);

/**
 * What it would help to change the file at `path` by `recipe`, which is for it: the file as it is and as it would be,
 * read and judged. The arguments are those of planRepair.
 */
RepairPlan judgeRecipe(const QString &path, const Recipe &recipe, const QVector<ParserFactory> &parsers,
                       const RepairSettings &settings, const RunLimits &limits, const std::atomic<bool> *cancel,
                       WalkProgress *progress);

/**
 * Plans how to mend the file at `path`. It is read and judged, changed in thought, read and judged again, until nothing
 * more can be done; a step is kept when it clears a finding that it was made for and brings none that is as bad. The
 * file is only read. `limits` hold for each reading; `cancel` ends the work, `progress` follows it; both may be null.
 * Throws nothing but std::bad_alloc.
 */
RepairPlan planRepair(const QString &path, const QVector<ParserFactory> &parsers, const RepairSettings &settings,
                      const RunLimits &limits, const std::atomic<bool> *cancel, WalkProgress *progress);

} // namespace quenlofar
