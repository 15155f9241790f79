#include "inputfiles.h"

#include "filepath.h"
#include "filesearch.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
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

/// Keeps what a search of a directory finds.
class FoundEntries : public FileSearchSink
{
public:
    std::vector<QByteArray> files; // bytes: names are sorted as the disk has them
    std::vector<std::pair<QByteArray, int>> lostLinks; // and the error numbers
    QStringList problems;

    void foundFile(const QString &path) override { files.push_back(pathToBytes(path)); }
    void foundLostLink(const QString &path, int error) override { lostLinks.emplace_back(pathToBytes(path), error); }
    void failedDirectory(const QString &path, int error) override
    {
        problems.append(QStringLiteral("%1 cannot be searched: %2").arg(path, systemErrorText(error)));
    }
    bool isStopped() const override { return InterruptWatch::wasInterrupted(); }
};

void searchDirectory(const QString &top, const QStringList &extensions, InputFiles *found)
{
    FoundEntries entries;
    searchFiles(top, extensions, &entries);
    found->problems += entries.problems;
    std::sort(entries.files.begin(), entries.files.end());
    for (const QByteArray &file : entries.files)
        found->files.append(pathFromBytes(file));
    std::sort(entries.lostLinks.begin(), entries.lostLinks.end());
    for (const auto &[link, error] : entries.lostLinks)
        found->problems.append(QStringLiteral("%1 leads nowhere: %2").arg(pathFromBytes(link), systemErrorText(error)));
}

} // namespace

InputFiles findInputFiles(const InputChoice &choice, const QStringList &extensions)
{
    InputFiles found;
    found.files = choice.files;
    if (!choice.list.isNull())
        readList(choice.list, &found);
    for (const QString &directory : choice.directories)
        searchDirectory(directory, extensions, &found);
    return found;
}

} // namespace quenlofar
