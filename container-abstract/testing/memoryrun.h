#pragma once

#include "bytesource.h"
#include "containerabstract.h"
#include "containerdescriber.h"
#include "containerrun.h"

#include <QByteArray>

#include <memory>

namespace quenlofar {

/// Lets a run read `bytes`, whatever the path says.
inline SourceOpener memoryOpener(const QByteArray &bytes)
{
    return [bytes](const QString &, QString *) { return memorySource(bytes); };
}

/// A factory of parsers of one class, as a plug-in would give it.
template <typename Parser> ParserFactory factoryOf(const QString &containerName = QStringLiteral("TEST"))
{
    return {containerName, {}, {}, [] { return std::unique_ptr<ContainerAbstract>(new Parser); }};
}
/// Runs with describers of another container.
template <typename Parser, typename Describer>
ParserFactory factoryOf(const QString &containerName = QStringLiteral("TEST"))
{
    ParserFactory factory = factoryOf<Parser>(containerName);
    factory.createDescriber = [] { return std::unique_ptr<ContainerDescriber>(new Describer); };
    return factory;
}

/// Walks a file of these bytes with the one parser of `factory`, from detection to the end.
inline RunResult runOverMemory(const QByteArray &bytes, const ParserFactory &factory, ElementSink &sink,
                               const RunLimits &limits = {})
{
    ContainerRun run(limits);
    run.setOpener(memoryOpener(bytes));
    return run.run(QStringLiteral("file in memory"), {factory}, sink);
}

} // namespace quenlofar
