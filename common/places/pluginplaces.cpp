#include "pluginplaces.h"

#include "filepath.h"

#include <filesystem>
#include <system_error>

#include <sys/auxv.h>

namespace {

/// The directory of the running program; empty where the system does not tell.
QByteArray programDirectory()
{
    std::error_code error;
    std::string program = std::filesystem::read_symlink("/proc/self/exe", error).string();
    if (error) // no /proc, as in a bare root: then it is what was given to exec
        program = std::filesystem::canonical(reinterpret_cast<const char *>(getauxval(AT_EXECFN)), error).string();
    const size_t slash = program.rfind('/');
    return slash == std::string::npos ? QByteArray() : QByteArray(program.data(), int(slash));
}

} // namespace

QStringList pluginPlaces(const QString &named)
{
    QStringList places;
    if (!named.isNull())
        places.append(named);
    const QList<QByteArray> fromEnvironment = qgetenv("QUENLOFAR_PLUGIN_PATH").split(':');
    for (const QByteArray &directory : fromEnvironment) {
        if (!directory.isEmpty())
            places.append(pathFromBytes(directory));
    }
    const QByteArray here = programDirectory();
    if (!here.isEmpty()) {
        for (const char *const relative : {QUENLOFAR_INSTALLED_PLUGINS, QUENLOFAR_BUILT_PLUGINS})
            places.append(pathFromBytes(QByteArray(here).append('/').append(relative)));
    }
    return places;
}
