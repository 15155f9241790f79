#include "recordings.h"

#include "catalogue.h"
#include "pluginloader.h"
#include "rulecatalogue.h"

namespace quenlofar {

DigestKind digestKindOf(DigestChoice choice)
{
    return choice == DigestChoice::Fast ? DigestKind::Fast
        : choice == DigestChoice::None  ? DigestKind::None
                                        : DigestKind::Sha256;
}

QString programVersion()
{
    return QStringLiteral("quenlofar " QUENLOFAR_VERSION);
}

QString loadedRules(const PluginLoader &plugins)
{
    QStringList names;
    const QVector<PluginInfo> infos = plugins.plugins();
    for (const PluginInfo &plugin : infos)
        names.append(plugin.name + QLatin1Char(' ') + plugin.version);
    return rulesVersion(RuleCatalogue(plugins.parsersFor({})), names);
}

RecordMaker recordMaker(const FileTask &task, DigestKind digest)
{
    return {task.parsers, task.run, digest, InterruptWatch::flag(), task.progress};
}

} // namespace quenlofar
