// A complete plug-in that claims another extension than goodplugin.cpp.
#include "dummyparser.h"

#include <QStringList>

#ifdef __clang__
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

extern "C" Q_DECL_EXPORT QString containerName()
{
    return QStringLiteral("Other");
}

extern "C" Q_DECL_EXPORT QStringList supportedExtensions()
{
    return {QStringLiteral("oth")};
}

extern "C" Q_DECL_EXPORT ContainerAbstract *createParser()
{
    return new DummyParser;
}
