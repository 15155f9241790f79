#pragma once

#include "byterange.h"
#include "containerabstract_export.h"
#include "finding.h"
#include "recipe.h"

#include <QByteArray>

#include <vector>

namespace quenlofar {

class ByteSource;

/// A file put together anew, from stretches of one that is there and from new bytes.
struct CONTAINERABSTRACT_EXPORT FileLayout
{
    /// A stretch of the new file.
    struct Piece
    {
        quint64 from; ///< of copied bytes: their offset in the file; of new ones: in newBytes
        quint64 size; ///< bytes, never 0
        bool isNew; ///< the bytes stand in newBytes
    };

    std::vector<Piece> pieces; ///< side by side, in the order of the new file
    QByteArray newBytes; ///< of all new pieces
    std::vector<ByteRange> superseded; ///< bytes of the file, not copied, whose meaning new ones have
    std::vector<ByteRange> dropped; ///< bytes of the file, not copied, because a wish names them

    bool isEmpty() const { return pieces.empty(); } ///< there is no new file
    /// The next stretch is copied. One that follows the last one in the file makes that longer.
    void copy(const ByteRange &range);
    /// The next stretch is new; returns where it begins in newBytes.
    int add(const QByteArray &bytes);
};

/// What a repair may do beyond what moves and drops nothing.
struct RepairWishes
{
    bool rewrites = false; ///< bytes move for warnings and notes too; for errors they may in any case
    bool cutsTrailing = false; ///< bytes behind the last element of the file are dropped
    ByteSource *like = nullptr; ///< a healthy file of the same writer, from which headers may come; may be null
};

/// What one step changes in a file: bytes where others stand and bytes behind the last one, or all of it.
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
    FileLayout layout; ///< where it is not empty, the file becomes this, and the other members are empty
    QStringList contradictedBy; ///< rules whose findings, where the step brings some, say that it guessed wrong

    /// Nothing changes.
    bool isEmpty() const { return patches.empty() && appended.isEmpty() && layout.isEmpty(); }
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
    virtual bool mendsNotesOf(const QString &rule, const RepairWishes &wishes) const = 0;
    /// Whether plan() has something for findings like this one, in some files.
    virtual bool plansFor(const Finding &finding, const RepairWishes &wishes) const = 0;
    /// Whether packets are no longer there once findings of this rule are mended, because that is what was wrong.
    virtual bool hidesPackets(const QString &rule) const = 0;
    /// Whether these findings say that the file was never closed, so that something may still write to it.
    virtual bool saysOpen(const std::vector<Finding> &findings) const = 0;
    /// Steps for `findings`, some of those of the latest check; of several at most one appends bytes, and one that puts
    /// the file together anew comes alone. Empty where nothing can be said, or reading was cancelled or failed. May
    /// throw std::bad_alloc.
    virtual std::vector<StepChanges> plan(const std::vector<Finding> &findings, const RepairWishes &wishes) = 0;
};

} // namespace quenlofar
