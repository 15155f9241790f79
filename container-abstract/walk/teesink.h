#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"

/**
 * Hands every call to two sinks, the first one first, so that both see one walk; for more, a tee goes into a tee.
 * A call is taken when both took it. The sinks are borrowed and have to outlive the tee.
 */
class CONTAINERABSTRACT_EXPORT TeeSink : public ElementSink
{
public:
    /// Neither is owned.
    TeeSink(ElementSink &first, ElementSink &second);
    ~TeeSink() override;

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    /// That of the sink that was the first to fail.
    QString errorText() const override;

private:
    bool both(bool firstTook, bool secondTook);

    ElementSink &m_first;
    ElementSink &m_second;
    const ElementSink *m_failed = nullptr; // the first to fail
};
