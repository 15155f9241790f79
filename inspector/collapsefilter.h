#pragma once

#include "storeditem.h"
#include "treefilter.h"

#include <QString>

#include <deque>
#include <optional>
#include <vector>

/**
 * Shows a long run of like siblings as the first, how many were left out, and the last. Siblings are like each other
 * when they have one name; a run goes on as long as only names come that have come before, so that the chunks of
 * several streams, or the fields of many records, make one run. Keeps at most a few siblings per open node.
 */
class CollapseFilter : public TreeFilter
{
public:
    /// So many like siblings behind the first are still shown whole.
    static constexpr size_t shortRun = 8;

    explicit CollapseFilter(TreeWriter &next);

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool endDocument(const RunResult &result) override;
    void setNotes(const ItemNotes &notes) override { m_notes = notes; }

private:
    /// One call that was held back: an item, the number of items left out, or the end of a node.
    struct Event
    {
        std::optional<StoredItem> item;
        quint64 omitted = 0;

        bool writeTo(TreeWriter &writer) const;
    };
    using Recording = std::vector<Event>;

    /// What stands in one open node, or at the top level.
    struct Level
    {
        explicit Level(Recording *where) : target(where) { }

        Recording *target; ///< where it goes: to a sibling that is kept by an outer level, or null for the writer
        std::vector<QString> names; ///< of the run so far
        std::deque<Recording> kept; ///< the latest like siblings, with what is in them
        quint64 omitted = 0; ///< like siblings that are kept no more
    };

    Recording *startItem(QStringView name);
    bool write(Recording *target, Event &&event);
    bool release(Level *level);

    std::deque<Level> m_levels; // a deque: what is kept in a level is pointed to from those inside
    ItemNotes m_notes;
};
