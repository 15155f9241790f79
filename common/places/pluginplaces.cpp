#include "pluginplaces.h"

#include "filepath.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <sys/auxv.h>

namespace quenlofar {

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

/// Where the user keeps plug-ins; empty where the environment does not tell. A relative path is none, because it would
/// be another one in each directory.
QByteArray ownDirectory()
{
    QByteArray data = qgetenv("XDG_DATA_HOME");
    if (!data.startsWith('/')) {
        const QByteArray home = qgetenv("HOME");
        data = home.startsWith('/') ? home + "/.local/share" : QByteArray();
    }
    return data.isEmpty() ? QByteArray() : data + "/quenlofar/" QUENLOFAR_ABI "/plugins";
}

} // namespace

PluginPlaceTrust PluginPlaceTrust::ofProcess()
{
    const bool isPrivileged = getauxval(AT_SECURE) != 0;
    // Where sudo keeps HOME, it names the home of the user that called sudo.
    constexpr const char *changesOfUser[] = {"SUDO_UID", "DOAS_USER", "PKEXEC_UID"};
    const bool isForAnother =
        std::any_of(std::begin(changesOfUser), std::end(changesOfUser), qEnvironmentVariableIsSet);
    return {!isPrivileged, !isPrivileged && !isForAnother};
}

QStringList pluginPlaces(const QStringList &named, const PluginPlaceTrust &trust)
{
    QStringList places;
    if (trust.inCaller) {
        places += named;
        const QList<QByteArray> fromEnvironment = qgetenv("QUENLOFAR_PLUGIN_PATH").split(':');
        for (const QByteArray &directory : fromEnvironment) {
            if (!directory.isEmpty())
                places.append(pathFromBytes(directory));
        }
    }
    if (trust.inHome) {
        const QByteArray own = ownDirectory();
        if (!own.isEmpty())
            places.append(pathFromBytes(own));
    }
    const QByteArray here = programDirectory();
    if (!here.isEmpty()) {
        // No link is left in the program's path, so ".." may be taken away by looking at it alone.
        const std::filesystem::path place = std::filesystem::path(here.toStdString()) / QUENLOFAR_PLUGINS_FROM_PROGRAM;
        places.append(pathFromBytes(QByteArray::fromStdString(place.lexically_normal().string())));
    }
    return places;
}

} // namespace quenlofar
