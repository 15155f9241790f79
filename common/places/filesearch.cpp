#include "filesearch.h"

#include "filepath.h"

#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>

namespace quenlofar {

namespace {

QString textOf(const std::string &bytes)
{
    return pathFromBytes(QByteArray(bytes.data(), int(bytes.size())));
}

bool hasExtension(const std::string &name, const QStringList &extensions)
{
    const size_t dot = name.rfind('.');
    return dot != std::string::npos && dot > 0
        && extensions.contains(textOf(name.substr(dot + 1)), Qt::CaseInsensitive);
}

struct DirectoryCloser
{
    void operator()(DIR *directory) const { ::closedir(directory); }
};

enum class EntryKind { Directory, File, LostLink, Other };

/// A link counts as what it leads to, but not as a directory; errno says why one leads nowhere.
EntryKind kindOf(const dirent &entry, const std::string &path)
{
    if (entry.d_type == DT_DIR)
        return EntryKind::Directory;
    if (entry.d_type == DT_REG)
        return EntryKind::File;
    struct stat found = {};
    if (entry.d_type == DT_UNKNOWN && ::lstat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode))
        return EntryKind::Directory;
    if (::stat(path.c_str(), &found) == 0)
        return S_ISREG(found.st_mode) ? EntryKind::File : EntryKind::Other;
    return entry.d_type == DT_LNK || S_ISLNK(found.st_mode) ? EntryKind::LostLink : EntryKind::Other;
}

/// One directory's own entries; directories in it are appended to `*directories`. Returns an errno, or 0. Not
/// std::filesystem's iterator: it ends the program where there is no memory.
int readDirectory(const std::string &directory, const QStringList &extensions, FileSearchSink *sink,
                  std::vector<std::string> *directories)
{
    const std::unique_ptr<DIR, DirectoryCloser> opened(::opendir(directory.c_str()));
    if (!opened)
        return errno;
    while (!sink->isStopped()) {
        errno = 0;
        const dirent *const entry = ::readdir(opened.get());
        if (!entry)
            return errno;
        const std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        std::string path = directory;
        if (path.back() != '/')
            path += '/';
        path += name;
        const EntryKind kind = kindOf(*entry, path);
        const int linkError = errno;
        if (kind == EntryKind::Directory)
            directories->push_back(path);
        else if (kind == EntryKind::File && hasExtension(name, extensions))
            sink->foundFile(textOf(path));
        else if (kind == EntryKind::LostLink && hasExtension(name, extensions))
            sink->foundLostLink(textOf(path), linkError);
    }
    return 0;
}

} // namespace

void searchFiles(const QString &top, const QStringList &extensions, FileSearchSink *sink)
{
    const QByteArray bytes = pathToBytes(top);
    std::vector<std::string> directories = {std::string(bytes.constData(), size_t(bytes.size()))};
    while (!directories.empty() && !sink->isStopped()) {
        const std::string directory = std::move(directories.back());
        directories.pop_back();
        const int error = readDirectory(directory, extensions, sink, &directories);
        if (error != 0)
            sink->failedDirectory(textOf(directory), error);
    }
}

} // namespace quenlofar
