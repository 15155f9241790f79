#include "plugintrust.h"

#include "filepath.h"

#include <QByteArray>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <vector>

#include <grp.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace quenlofar {

namespace fs = std::filesystem;

namespace {

constexpr uid_t root = 0;
constexpr gid_t groupRoot = 0;

QString textOf(const std::string &bytes)
{
    return pathFromBytes(QByteArray(bytes.data(), int(bytes.size())));
}

/// The user to whom the running program belongs; root where the system does not tell.
uid_t ownerOfProgram()
{
    struct stat program = {};
    if (::stat("/proc/self/exe", &program) == 0)
        return program.st_uid;
    const auto *const name = reinterpret_cast<const char *>(getauxval(AT_EXECFN)); // no /proc, as in a bare root
    return name && ::stat(name, &program) == 0 ? program.st_uid : root;
}

/// On Debian staff looks after /usr/local; its number differs elsewhere.
bool isStaff(gid_t group)
{
    std::vector<char> texts(1024);
    struct group entry = {};
    struct group *found = nullptr;
    while (::getgrgid_r(group, &entry, texts.data(), texts.size(), &found) == ERANGE
           && texts.size() < size_t(1024) * 1024)
        texts.resize(2 * texts.size()); // it names all members
    return found && std::string(found->gr_name) == "staff";
}

/// With an access list the bits of the group say what all users and groups of that list may do at most.
bool hasAccessList(const std::string &path)
{
    return ::lgetxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

/// Why others than root and `owner` can change what is at `path`, where no link is; null where they cannot.
QString objectionTo(const std::string &path, uid_t owner)
{
    struct stat found = {};
    if (::lstat(path.c_str(), &found) != 0)
        return QStringLiteral("nothing is known of %1").arg(textOf(path));
    if (found.st_uid != root && found.st_uid != owner)
        return QStringLiteral("%1 belongs to the user %2").arg(textOf(path)).arg(found.st_uid);
    if (S_ISDIR(found.st_mode) && (found.st_mode & S_ISVTX) != 0)
        return {};
    if ((found.st_mode & S_IWOTH) != 0)
        return QStringLiteral("everybody may write to %1").arg(textOf(path));
    if ((found.st_mode & S_IWGRP) == 0)
        return {};
    if (hasAccessList(path))
        return QStringLiteral("an access list lets others write to %1").arg(textOf(path));
    if (found.st_gid != groupRoot && !isStaff(found.st_gid))
        return QStringLiteral("the group %2 may write to %1").arg(textOf(path)).arg(found.st_gid);
    return {};
}

} // namespace

PluginTrust trustInPlugin(const std::string &file)
{
    if (::geteuid() != root)
        return {file, {}};
    std::error_code error;
    const fs::path resolved = fs::canonical(file, error);
    if (error)
        return {file, textOf(error.message())};
    const uid_t owner = ownerOfProgram();
    for (fs::path place = resolved;; place = place.parent_path()) {
        if (const QString objection = objectionTo(place.string(), owner); !objection.isNull()) {
            return {resolved.string(),
                    QStringLiteral("root runs no code that others can change, and %1").arg(objection)};
        }
        if (place == place.root_path())
            return {resolved.string(), {}};
    }
}

} // namespace quenlofar
