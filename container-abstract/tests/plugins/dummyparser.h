#pragma once

#include "containerabstract.h"

namespace quenlofar {

/// A parser that recognises nothing.
class DummyParser : public ContainerAbstract
{
protected:
    int verifyContainerFormat(const QString &) override { return StatusNotRecognised; }
    int findBeginOfContainer(qint64 *offset) override
    {
        *offset = 0;
        return StatusOk;
    }
    int parseElement(quint64 *size) override
    {
        *size = 0;
        return StatusOk;
    }
    void prepareParsing() override { }
    void finalizeParsing() override { }
};

} // namespace quenlofar
