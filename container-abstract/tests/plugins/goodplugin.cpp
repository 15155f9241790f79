// A complete plug-in. Its texts are literals, which go when it is unloaded.
#include "dummyparser.h"

#include <QStringList>

#ifdef __clang__
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

extern "C" Q_DECL_EXPORT QString containerName()
{
    return QStringLiteral("Dummy");
}

extern "C" Q_DECL_EXPORT QStringList supportedExtensions()
{
    return {QStringLiteral("dmy"), QStringLiteral("DuM")};
}

extern "C" Q_DECL_EXPORT ContainerAbstract *createParser()
{
    return new DummyParser;
}
