#include "elementsink.h"

namespace quenlofar {

ElementSink::~ElementSink() = default;

bool ElementSink::beginDocument(const DocumentStart &)
{
    return true;
}

bool ElementSink::endDocument(const RunResult &)
{
    return true;
}

bool ElementSink::setElementSize(quint64)
{
    return true;
}

bool ElementSink::reportProblem(const quenlofar::ReportedProblem &)
{
    return true;
}

QString ElementSink::errorText() const
{
    return {};
}

} // namespace quenlofar
