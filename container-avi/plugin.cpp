#include "avidescriber.h"
#include "containeravi.h"
#include "pluginversion.h"

#include <QStringList>

namespace {

/// The file extensions that this parser claims, separated by "|".
constexpr char extensions[] = "avi";

} // namespace

QUENLOFAR_PLUGIN_VERSION(QUENLOFAR_VERSION);

#if defined(__clang__)
// The names have to be unmangled and the results are Qt values: both sides are built by the same C++ compiler.
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

extern "C" {

/// The name of the container format.
CONTAINERAVI_EXPORT QString containerName()
{
    return QStringLiteral("AVI");
}

/// The file extensions that this parser claims, without a dot.
CONTAINERAVI_EXPORT QStringList supportedExtensions()
{
    return QString::fromLatin1(extensions).split(QLatin1Char('|'), Qt::KeepEmptyParts, Qt::CaseSensitive);
}

/// A new parser; the caller owns it and deletes it through its base class.
CONTAINERAVI_EXPORT ContainerAbstract *createParser()
{
    return new ContainerAVI;
}

/// A new describer of what such a parser shows; the caller owns it and deletes it through its base class.
CONTAINERAVI_EXPORT ContainerDescriber *createDescriber()
{
    return new AviDescriber;
}

} // extern "C"
