#pragma once

#include "storeditem.h"
#include "treefilter.h"

#include <QString>

#include <deque>
#include <optional>
#include <vector>

namespace quenlofar {

/**
 * Shows a long run of like siblings as the first, how many were left out, and the last. Siblings are like each other
 * when they have one name; a run goes on as long as only names come that have come before, so that the chunks of
 * several streams, or the fields of many records, make one run.
 *
 * Keeps at most a few siblings per open node, and mostKept bytes in all: a sibling with so much inside that it would
 * take more is shown, and with it what is kept before it. Omissions stay exact.
 */
class CollapseFilter : public TreeFilter
{
public:
    /// The number of like siblings behind the first that are still shown whole.
    static constexpr size_t shortRun = 8;
    /// Bytes that everything that is kept takes at most, about: some thousand items.
    static constexpr size_t mostKept = 1 << 20;

    explicit CollapseFilter(TreeWriter &next);

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool setElementSize(quint64 size) override;
    bool reportProblem(const ReportedProblem &problem) override;
    bool endDocument(const RunResult &result) override;
    void setNotes(const ItemNotes &notes) override { m_notes = notes; }

private:
    /// One call that was held back: an item, the number of items left out, a problem, the size or the end of a node.
    struct Event
    {
        std::optional<StoredItem> item;
        quint64 omitted = 0;
        std::optional<KeptProblem> problem = {};
        std::optional<quint64> nodeSize = {};

        bool writeTo(TreeWriter &writer) const;
        size_t bytes() const
        {
            return sizeof *this + (item ? item->textBytes() : 0)
                + (problem ? size_t(problem->text.size()) * sizeof(QChar) : 0);
        }
    };
    /// A sibling that is kept, with what is in it.
    struct Recording
    {
        std::vector<Event> events;
        size_t bytes = 0; ///< that they take
    };

    /// What stands in one open node, or at the top level.
    struct Level
    {
        explicit Level(Recording *where) : target(where) { }

        Recording *target; ///< where it goes: to a sibling that is kept by an outer level, or null for the writer
        std::vector<QString> names; ///< of the run so far
        std::deque<Recording> kept; ///< the latest like siblings; the last one may still be open
        quint64 omitted = 0; ///< like siblings that are kept no more
    };

    Recording *startItem(QStringView name);
    bool write(Recording *target, Event &&event);
    void record(Recording *target, Event &&event);
    bool release(Level *level);
    bool releaseMuch();
    void forget(const Recording &recording) { m_keptBytes -= recording.bytes; }

    std::deque<Level> m_levels; // a deque: what is kept in a level is pointed to from those inside
    size_t m_keptBytes = 0; // in all levels
    ItemNotes m_notes;
};

} // namespace quenlofar
