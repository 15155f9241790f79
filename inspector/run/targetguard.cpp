#include "targetguard.h"

#include "bytesource.h"
#include "containerrun.h"
#include "formatsink.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "programoutput.h"

namespace quenlofar {

namespace {

/// The list of files, if one is named.
QVector<QString> listsOf(const InputChoice &input)
{
    if (input.list.isNull())
        return {};
    return {input.list == QLatin1String("-") ? QStringLiteral("/dev/stdin") : input.list};
}

/// The begin of a file: no parser looks for its format through gigabytes of an earlier output.
std::unique_ptr<ByteSource> openBegin(const QString &path, QString *error)
{
    constexpr int enough = 65536; // bytes
    const std::unique_ptr<ByteSource> file = openFileSource(path, error);
    if (!file)
        return nullptr;
    QByteArray bytes(enough, '\0');
    const qint64 count = file->readAt(0, bytes.data(), bytes.size());
    bytes.truncate(int(std::max<qint64>(count, 0)));
    return memorySource(bytes);
}

} // namespace

bool isTargetSafe(const Options &options, const PluginLoader &plugins, const ProgramOutput &output)
{
    if (!output.spares(options.input.files) || !output.spares(listsOf(options.input)))
        return false;
    const QString replaced = output.replacedFile();
    // The bytes of a film may well be a film.
    if (replaced.isNull() || options.command == Options::Command::Bytes)
        return true;
    ContainerRun run;
    run.setOpener(openBegin);
    FormatSink format;
    run.run(replaced, plugins.parsersFor(replaced), format);
    if (format.start().container.isNull())
        return true;
    printMessage(
        QStringLiteral("%1 is a media file (%2): output would destroy it").arg(replaced, format.start().container));
    return false;
}

} // namespace quenlofar
