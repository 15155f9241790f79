#pragma once

#include <QString>
#include <QStringList>

class ContainerAbstract;

namespace quenlofar {
class ContainerAnalyzer;
class ContainerDescriber;
} // namespace quenlofar

#if defined(__clang__)
// The names have to be unmangled and some results are Qt values: both sides are built by the same C++ compiler. Not
// undone at the end of this header, because the definitions need it too.
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

/// What a plug-in exports. One source file of it includes this header and defines the first three, and of the others
/// the ones that it has. They do not throw.
extern "C" {

/// The name of the container format for users: "AVI".
Q_DECL_EXPORT QString containerName();
/// The file extensions that the parser claims, without a dot: they say which parser is asked first; none is left out.
Q_DECL_EXPORT QStringList supportedExtensions();
/// A new parser, which the caller owns.
Q_DECL_EXPORT ContainerAbstract *createParser();
/// A new describer of what such a parser shows, which the caller owns. Optional.
Q_DECL_EXPORT quenlofar::ContainerDescriber *createDescriber();
/// A new analyzer, which judges files of the format and which the caller owns. Optional.
Q_DECL_EXPORT quenlofar::ContainerAnalyzer *createAnalyzer();

} // extern "C"
