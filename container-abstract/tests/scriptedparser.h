#pragma once

#include "testing/memoryrun.h"

#include <functional>
#include <utility>

namespace quenlofar {

/// A parser whose operations are functions of the test, with the protected operations in the open.
class ScriptedParser : public ContainerAbstract
{
public:
    std::function<int(ScriptedParser &, const QString &)> verify;
    using Parse = std::function<int(ScriptedParser &, quint64 *)>;
    Parse parse;
    std::function<void(ScriptedParser &)> prepare = [](ScriptedParser &) {};
    qint64 begin = 0; ///< what findBeginOfContainer answers
    std::function<void(const char *)> called = [](const char *) {};

    using ContainerAbstract::addData;
    using ContainerAbstract::addField;
    using ContainerAbstract::addRecord;
    using ContainerAbstract::addText;
    using ContainerAbstract::addUnparsed;
    using ContainerAbstract::addWholeFields;
    using ContainerAbstract::beginElement;
    using ContainerAbstract::bytesToText;
    using ContainerAbstract::closeFile;
    using ContainerAbstract::cursor;
    using ContainerAbstract::endElement;
    using ContainerAbstract::m_file;
    using ContainerAbstract::m_frameIsKey;
    using ContainerAbstract::m_frameOffset;
    using ContainerAbstract::m_frameSize;
    using ContainerAbstract::m_levelEnds;
    using ContainerAbstract::m_position;
    using ContainerAbstract::m_streamFrameCounters;
    using ContainerAbstract::m_videoStreams;
    using ContainerAbstract::nameStatus;
    using ContainerAbstract::openFile;
    using ContainerAbstract::reportFrame;
    using ContainerAbstract::reportProblem;
    using ContainerAbstract::setByteOrder;

    void addLeaf(quint64 offset, quint64 size, const QString &name, const QString &value = {},
                 const QString &meaning = {})
    {
        addField(false, offset, 0, size, name, value, meaning, {}, -1);
    }

protected:
    int verifyContainerFormat(const QString &path) override
    {
        called("verifyContainerFormat");
        return verify ? verify(*this, path) : 0;
    }
    int findBeginOfContainer(qint64 *offset) override
    {
        called("findBeginOfContainer");
        *offset = begin;
        return 0;
    }
    int parseElement(quint64 *size) override
    {
        called("parseElement");
        return parse(*this, size);
    }
    void prepareParsing() override
    {
        called("prepareParsing");
        prepare(*this);
    }
    void finalizeParsing() override { called("finalizeParsing"); }
};

/// A factory of scripted parsers.
inline ParserFactory scriptedFactory(const QString &name, std::function<void(ScriptedParser &)> setUp)
{
    return {name, {}, {}, [setUp = std::move(setUp)] {
                auto parser = std::make_unique<ScriptedParser>();
                setUp(*parser);
                return std::unique_ptr<ContainerAbstract>(std::move(parser));
            }};
}

} // namespace quenlofar
