// A complete plug-in that claims another extension than goodplugin.cpp.
#include "dummyparser.h"
#include "pluginexports.h"

using namespace quenlofar;

QString containerName()
{
    return QStringLiteral("Other");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("oth")};
}

ContainerAbstract *createParser()
{
    return new DummyParser;
}
