#pragma once

#include "elementpath.h"
#include "filedevice.h"
#include "treefilter.h"

#include <QString>

namespace quenlofar {

/// What is to be printed with each item of a tree.
struct AnnotationChoice
{
    bool paths = false;
    bool bytes = false; ///< the first ones of each leaf
};

/// Notes for each item its path, and for each leaf the bytes that stand there. Bytes that cannot be read are
/// left out; the end of the document then fails.
class TreeAnnotator : public TreeFilter
{
public:
    static constexpr quint64 mostBytes = 16; ///< of a leaf

    TreeAnnotator(TreeWriter &next, const AnnotationChoice &choice) : TreeFilter(next), m_choice(choice) { }

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool endDocument(const RunResult &result) override;
    QString errorText() const override;

private:
    QStringView bytesAt(quint64 offset, quint64 size);

    const AnnotationChoice m_choice;
    ElementPathTracker m_paths;
    FileDevice m_file;
    QString m_trouble; // why bytes could not be read
    QString m_bytes;
};

} // namespace quenlofar
