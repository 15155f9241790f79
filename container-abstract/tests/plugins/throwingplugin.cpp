// A plug-in that fails when it is asked what it knows.
#include "dummyparser.h"
#include "pluginexports.h"

using namespace quenlofar;

QString containerName()
{
    throw 42;
}

QStringList supportedExtensions()
{
    return {};
}

ContainerAbstract *createParser()
{
    return new DummyParser;
}
