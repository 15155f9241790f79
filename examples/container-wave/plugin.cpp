#include "pluginexports.h"

#include "containerwave.h"
#include "waveanalyzer.h"
#include "wavedescriber.h"

using namespace quenlofar;

QString containerName()
{
    return QStringLiteral("WAVE");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("wav"), QStringLiteral("wave"), QStringLiteral("rf64")};
}

ContainerAbstract *createParser()
{
    return new ContainerWave;
}

ContainerDescriber *createDescriber()
{
    return new WaveDescriber;
}

ContainerAnalyzer *createAnalyzer()
{
    return new WaveAnalyzer;
}
