#include "pluginexports.h"

#include "avianalyzer.h"
#include "avidescriber.h"
#include "containeravi.h"
#include "pluginversion.h"

using namespace quenlofar;

namespace {

/// The file extensions that this parser claims, separated by "|".
constexpr char extensions[] = "avi";

} // namespace

QUENLOFAR_PLUGIN_VERSION(QUENLOFAR_VERSION);

QString containerName()
{
    return QStringLiteral("AVI");
}

QStringList supportedExtensions()
{
    return QString::fromLatin1(extensions).split(QLatin1Char('|'), Qt::KeepEmptyParts, Qt::CaseSensitive);
}

ContainerAbstract *createParser()
{
    return new ContainerAVI;
}

ContainerDescriber *createDescriber()
{
    return new AviDescriber;
}

quenlofar::ContainerAnalyzer *createAnalyzer()
{
    return new quenlofar::AviAnalyzer;
}
