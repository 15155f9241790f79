#pragma once

#include "containerrun.h"
#include "elementpath.h"
#include "elementsink.h"
#include "filecheck.h"

#include <QString>
#include <QVector>

#include <memory>
#include <vector>

namespace quenlofar {

/**
 * Looks up what stands at some places of a file while it is walked: the innermost item that holds all of the place, the
 * first of several; a leaf, or the node around it. A node that begins where the place does is as good, and where there
 * is neither, the first leaf that holds its first byte. It ends the walk as soon as nothing can change any more.
 * Damaged files nest strangely: an item behind the end of the node that was found is not looked at.
 */
class PlacePaths : public ElementSink
{
public:
    /// For `places`, in whatever order.
    explicit PlacePaths(std::vector<ByteRange> places);
    ~PlacePaths() override;

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &) override { return m_undecided > 0; }

    /// The path of the item at the place number `ordinal`; empty where there is none.
    const QString &path(size_t ordinal) const { return m_paths[ordinal]; }

private:
    struct Sought
    {
        ByteRange place;
        size_t ordinal; // of the path
        quint64 depth = 0; // of the node that was found; 0 before that
        bool isDecided = false;
    };

    size_t firstFrom(quint64 offset) const;

    std::vector<Sought> m_sought; // by offset
    std::vector<QString> m_paths;
    size_t m_undecided;
    quint64 m_depth = 0;
    quint64 m_deepestFound = 0; // of the nodes that were found and are open
    ElementPathTracker m_tracker;
};

/// Looks up the path of each finding of `check` that has none, in one walk over the file; in none without findings.
void lookUpPaths(FileCheck *check, const QVector<ParserFactory> &parsers, ContainerRun &run);

} // namespace quenlofar
