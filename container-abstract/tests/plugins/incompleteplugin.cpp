// A plug-in that lacks one of the three exports.
#include <QString>
#include <QStringList>

#ifdef __clang__
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

extern "C" Q_DECL_EXPORT QString containerName()
{
    return QStringLiteral("Incomplete");
}

extern "C" Q_DECL_EXPORT QStringList supportedExtensions()
{
    return {};
}
