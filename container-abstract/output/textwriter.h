#pragma once

#include "containerabstract_export.h"
#include "sizetext.h"
#include "treewriter.h"

#include <QString>

#include <memory>

class QIODevice;

namespace quenlofar {

/// How TextWriter prints.
struct TextStyle
{
    bool colour = false; ///< with the colours of ECMA-48 terminals
    bool hexOffsets = false; ///< offsets in hexadecimal
    SizeUnits sizes = SizeUnits::Bytes; ///< of sizes in sentences and columns
    bool showsFrames = true; ///< a line for each reported frame; they are counted at the end in any case
    int width = 0; ///< columns per line from which on long values are cut off; 0 is no limit
};

/**
 * Prints an indented outline for people while the file is walked, in constant memory. Control characters and unpaired
 * surrogates never reach the output: a terminal is not steered by what a file holds.
 */
class CONTAINERABSTRACT_EXPORT TextWriter : public TreeWriter
{
public:
    /// `output` is open for writing and outlives the writer; it is not owned.
    explicit TextWriter(QIODevice &output, const TextStyle &style = {});
    ~TextWriter() override;

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
