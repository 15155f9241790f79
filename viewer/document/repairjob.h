#pragma once

#include "documentwork.h"
#include "errand.h"
#include "planchange.h"
#include "repairplan.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace quenlofar {

class Document;

/// How a document can be mended, as it does not change any more.
struct PlannedRepair
{
    RepairPlan plan; ///< as `repair` of the program makes it
    std::vector<PlanChange> changes; ///< of the plan, in the order of the new file
    QByteArray oldDigest; ///< see digestOfOldBytes()
};

/**
 * Plans how to mend a document, and writes what was planned, in threads that nobody waits for. Lives in the window's
 * thread. Plans and files are those that `repair` of the program makes.
 */
class RepairJob : public QObject
{
    Q_OBJECT

public:
    /// Of `document`, which outlives the object and was opened with `options`.
    RepairJob(Document &document, DocumentOptions options, QObject *parent = nullptr);

    /// Makes a plan without steps for the rules `except`, as `--except` of the program does; gives up what went on.
    void plan(const QStringList &except);
    /// Writes the mended file as `target`, which must not exist unless `isForced`. Needs plan().
    void write(const QString &target, bool isForced);
    /// Writes the plan as `target`, which must not exist. Needs plan().
    void savePlan(const QString &target);
    void cancel(); ///< gives up what goes on; a file that is not whole does not stay

    bool isPlanning() const { return m_planning.isRunning(); } ///< a plan is being made
    bool isWriting() const { return m_writing.isRunning(); } ///< a file is being written
    int progress() const; ///< of the file that is being written, in percent
    const std::shared_ptr<const PlannedRepair> &planned() const { return m_planned; } ///< the latest; null: none yet
    const QStringList &except() const { return m_except; } ///< rules that it makes no steps for
    const QString &message() const { return m_message; } ///< what became of the latest that was asked for
    /// How the mended file is opened as if it existed; nothing where there is no plan, or nothing to mend.
    std::optional<DocumentOptions> mendedOptions() const;

Q_SIGNALS:
    void planChanged(); ///< planned() is another one, or isPlanning() is
    void messageChanged(); ///< message() is another one, or isWriting() is

private:
    QVector<ParserFactory> parsers() const;
    void say(const QString &message);

    Document &m_document;
    const DocumentOptions m_options;
    Errand m_planning;
    Errand m_writing;
    QStringList m_except;
    std::shared_ptr<const PlannedRepair> m_planned;
    std::shared_ptr<std::atomic<quint64>> m_written; // bytes, of the latest file
    QString m_message;
};

} // namespace quenlofar
