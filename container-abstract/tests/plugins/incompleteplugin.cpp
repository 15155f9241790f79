// A plug-in that lacks one of the three exports.
#include "pluginexports.h"

QString containerName()
{
    return QStringLiteral("Incomplete");
}

QStringList supportedExtensions()
{
    return {};
}
