#pragma once

#include "containerabstract_export.h"
#include "finding.h"
#include "recipe.h"

#include <QByteArray>

#include <vector>

namespace quenlofar {

/// What one step changes in a file: bytes where others stand, and bytes behind the last one.
struct StepChanges
{
    /// Bytes that replace as many.
    struct Patch
    {
        quint64 offset = 0; ///< of the first one, in the file
        QByteArray bytes; ///< all of them inside of the file
    };

    RecipeStep step; ///< without the ids of findings
    std::vector<Patch> patches; ///< in any order, without overlaps
    QByteArray appended; ///< what follows the file's last byte

    /// Nothing changes.
    bool isEmpty() const { return patches.empty() && appended.isEmpty(); }
};

/**
 * Says how to mend what takes more than the mends of findings: an index that has to be made. An analyzer gives it as
 * the extension `number`, and keeps it. It is about what the analyzer read last, which it may read again.
 */
class CONTAINERABSTRACT_EXPORT RepairPlanner
{
public:
    /// Of ContainerAnalyzer::extension.
    static constexpr int number = 1;

    RepairPlanner() = default;
    RepairPlanner(const RepairPlanner &) = delete;
    RepairPlanner &operator=(const RepairPlanner &) = delete;
    virtual ~RepairPlanner();

    /// Whether the notes of this rule are mended like warnings. Of other notes none is unless it is asked for by name.
    virtual bool mendsNotesOf(const QString &rule) const = 0;
    /// Whether plan() has something for findings of this rule, in some files.
    virtual bool plansFor(const QString &rule) const = 0;
    /// Whether packets are no longer there once findings of this rule are mended, because that is what was wrong.
    virtual bool hidesPackets(const QString &rule) const = 0;
    /// Whether these findings say that the file was never closed, so that something may still write to it.
    virtual bool saysOpen(const std::vector<Finding> &findings) const = 0;
    /// Steps for `findings`, some of those of the latest check; of several at most one appends bytes. Empty where
    /// nothing can be said, or reading was cancelled or failed. May throw std::bad_alloc.
    virtual std::vector<StepChanges> plan(const std::vector<Finding> &findings) = 0;
};

} // namespace quenlofar
