#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"

#include <QString>

#include <memory>

class QIODevice;

/**
 * Prints an indented outline for people while the file is walked, in constant memory. Control characters and unpaired
 * surrogates never reach the output: a terminal is not steered by what a file holds.
 */
class CONTAINERABSTRACT_EXPORT TextWriter : public ElementSink
{
public:
    /// `output` is open for writing and outlives the writer; it is not owned.
    explicit TextWriter(QIODevice &output);
    ~TextWriter() override;

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    QString errorText() const override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};
