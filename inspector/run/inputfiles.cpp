#include "inputfiles.h"

#include "filepath.h"
#include "interrupt.h"
#include "options.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

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

/// Everything that can be read from `descriptor`; nothing when reading fails on the way, or a signal came.
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
    if (!isStandardInput && descriptor >= 0)
        ::close(descriptor);
    if (!bytes) {
        found->problems.append(QStringLiteral("the list %1 cannot be read").arg(list));
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

bool hasExtension(const fs::path &path, const QStringList &extensions)
{
    const std::string dotted = path.extension().string();
    return !dotted.empty() && extensions.contains(textOf(dotted.substr(1)), Qt::CaseInsensitive);
}

void searchDirectory(const fs::path &top, const QStringList &extensions, InputFiles *found)
{
    std::vector<fs::path> pending = {top};
    std::vector<std::string> files;
    while (!pending.empty() && !InterruptWatch::wasInterrupted()) {
        const fs::path directory = std::move(pending.back());
        pending.pop_back();
        std::error_code error;
        for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
            std::error_code unknownKind;
            if (entry->is_directory(unknownKind) && !entry->is_symlink(unknownKind))
                pending.push_back(entry->path());
            else if (entry->is_regular_file(unknownKind) && hasExtension(entry->path(), extensions))
                files.push_back(entry->path().string());
        }
        if (error)
            found->problems.append(
                QStringLiteral("%1 cannot be searched: %2").arg(textOf(directory.string()), textOf(error.message())));
    }
    std::sort(files.begin(), files.end());
    for (const std::string &file : files)
        found->files.append(textOf(file));
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
