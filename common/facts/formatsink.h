#pragma once

#include "elementsink.h"

namespace quenlofar {

/// Sees which parser accepts a file, and no more of it: the walk ends there.
class FormatSink : public ElementSink
{
public:
    bool beginDocument(const DocumentStart &start) override
    {
        m_start = start;
        return false;
    }
    bool beginElement(quint64, quint64, QStringView, qint64) override { return false; }
    bool addField(const Field &) override { return false; }
    bool endElement() override { return false; }
    bool reportFrame(const Frame &) override { return false; }

    /// What was seen.
    const DocumentStart &start() const { return m_start; }

private:
    DocumentStart m_start;
};

} // namespace quenlofar
