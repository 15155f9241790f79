#pragma once

#include "containerabstract_export.h"
#include "jsonlayout.h"
#include "treewriter.h"

#include <QString>

#include <memory>

class QIODevice;

namespace quenlofar {

/**
 * Prints one JSON document per run, followed by a line feed, while the file is walked. docs/json-output.md describes
 * the document. Memory: one output buffer, and 12 bytes per reported frame, because frames are printed last. One object
 * can print many documents, one after the other.
 */
class CONTAINERABSTRACT_EXPORT JsonWriter : public TreeWriter
{
public:
    using Layout = JsonLayout; ///< on one line or indented
    /// Whether a document lists the reported frames.
    enum class Frames { Shown, LeftOut };

    /// `output` is open for writing and outlives the writer; it is not owned.
    explicit JsonWriter(QIODevice &output, Layout layout = Layout::Line, Frames frames = Frames::Shown);
    ~JsonWriter() override;

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    bool setElementSize(quint64 size) override;
    bool reportProblem(const quenlofar::ReportedProblem &problem) override;
    QString errorText() const override;
    void setNotes(const ItemNotes &notes) override;
    bool addOmission(quint64 count) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace quenlofar
