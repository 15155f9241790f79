#include "inputfiles.h"

#include "filepath.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenlofar {

namespace {

QString textOf(const std::string &bytes)
{
    return pathFromBytes(QByteArray(bytes.data(), int(bytes.size())));
}

std::string bytesOf(const QString &path)
{
    const QByteArray bytes = pathToBytes(path);
    return {bytes.constData(), size_t(bytes.size())};
}

/// Everything that can be read from `descriptor`; nothing when reading fails on the way, errno then says why, or when a
/// signal came.
std::optional<std::string> readAll(int descriptor)
{
    std::string all;
    std::vector<char> bytes(1 << 16);
    const BlockingCall call;
    while (!InterruptWatch::wasInterrupted()) {
        const ssize_t count = ::read(descriptor, bytes.data(), bytes.size());
        if (count == 0)
            return all;
        if (count > 0)
            all.append(bytes.data(), size_t(count));
        else if (errno != EINTR)
            return std::nullopt;
    }
    return std::nullopt;
}

/// A list may be a pipe's, which waits for a writer; -1 when it cannot be opened, or a signal came.
int openList(const QString &list)
{
    const BlockingCall call;
    int descriptor;
    do {
        descriptor = ::open(bytesOf(list).c_str(), O_RDONLY | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR && !InterruptWatch::wasInterrupted());
    return descriptor;
}

void readList(const QString &list, InputFiles *found)
{
    const bool isStandardInput = list == QLatin1String("-");
    const int descriptor = isStandardInput ? STDIN_FILENO : openList(list);
    const std::optional<std::string> bytes = descriptor < 0 ? std::nullopt : readAll(descriptor);
    const int error = errno;
    if (!isStandardInput && descriptor >= 0)
        ::close(descriptor);
    if (!bytes) {
        found->problems.append(QStringLiteral("the list %1 cannot be read: %2").arg(list, systemErrorText(error)));
        return;
    }
    const std::string &names = *bytes;
    const char separator = names.find('\0') != std::string::npos ? '\0' : '\n';
    for (size_t begin = 0; begin < names.size();) {
        const size_t end = std::min(names.find(separator, begin), names.size());
        if (end > begin)
            found->files.append(textOf(names.substr(begin, end - begin)));
        begin = end + 1;
    }
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

/// What a search of directories finds.
struct FoundEntries
{
    std::vector<std::string> directories; // still to be searched
    std::vector<std::string> files;
    std::vector<std::pair<std::string, int>> lostLinks; // and the error numbers
};

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

/// One directory's own entries. Returns an errno, or 0. Not std::filesystem's iterator: it ends the program where there
/// is no memory.
int readDirectory(const std::string &directory, const QStringList &extensions, FoundEntries *found)
{
    const std::unique_ptr<DIR, DirectoryCloser> opened(::opendir(directory.c_str()));
    if (!opened)
        return errno;
    while (!InterruptWatch::wasInterrupted()) {
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
            found->directories.push_back(path);
        else if (kind == EntryKind::File && hasExtension(name, extensions))
            found->files.push_back(path);
        else if (kind == EntryKind::LostLink && hasExtension(name, extensions))
            found->lostLinks.emplace_back(path, linkError);
    }
    return 0;
}

void searchDirectory(const std::string &top, const QStringList &extensions, InputFiles *found)
{
    FoundEntries entries;
    entries.directories = {top};
    while (!entries.directories.empty() && !InterruptWatch::wasInterrupted()) {
        const std::string directory = std::move(entries.directories.back());
        entries.directories.pop_back();
        const int error = readDirectory(directory, extensions, &entries);
        if (error != 0)
            found->problems.append(
                QStringLiteral("%1 cannot be searched: %2").arg(textOf(directory), systemErrorText(error)));
    }
    std::sort(entries.files.begin(), entries.files.end());
    for (const std::string &file : entries.files)
        found->files.append(textOf(file));
    std::sort(entries.lostLinks.begin(), entries.lostLinks.end());
    for (const auto &[link, error] : entries.lostLinks)
        found->problems.append(QStringLiteral("%1 leads nowhere: %2").arg(textOf(link), systemErrorText(error)));
}

} // namespace

InputFiles findInputFiles(const InputChoice &choice, const QStringList &extensions)
{
    InputFiles found;
    found.files = choice.files;
    if (!choice.list.isNull())
        readList(choice.list, &found);
    for (const QString &directory : choice.directories)
        searchDirectory(bytesOf(directory), extensions, &found);
    return found;
}

} // namespace quenlofar
