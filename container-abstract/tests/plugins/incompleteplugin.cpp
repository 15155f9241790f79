// A plug-in that lacks one of the three exports.
#include "pluginexports.h"

using namespace quenlofar;

QString containerName()
{
    return QStringLiteral("Incomplete");
}

QStringList supportedExtensions()
{
    return {};
}
