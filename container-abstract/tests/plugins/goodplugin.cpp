// A complete plug-in. Its texts are literals, which go when it is unloaded.
#include "dummyparser.h"
#include "pluginexports.h"

using namespace quenlofar;

QString containerName()
{
    return QStringLiteral("Dummy");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("dmy"), QStringLiteral("DuM")};
}

ContainerAbstract *createParser()
{
    return new DummyParser;
}
