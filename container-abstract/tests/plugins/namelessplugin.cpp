// A plug-in for a format without a name.
#include "dummyparser.h"
#include "pluginexports.h"

using namespace quenlofar;

QString containerName()
{
    return {};
}

QStringList supportedExtensions()
{
    return {QStringLiteral("dmy")};
}

ContainerAbstract *createParser()
{
    return new DummyParser;
}
