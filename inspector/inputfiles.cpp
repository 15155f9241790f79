#include "inputfiles.h"

#include "filepath.h"
#include "options.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

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

void readList(const QString &list, InputFiles *found)
{
    std::ifstream file;
    const bool isStandardInput = list == QLatin1String("-");
    if (!isStandardInput)
        file.open(bytesOf(list), std::ios::binary);
    std::istream &input = isStandardInput ? std::cin : file;
    std::string names;
    for (char bytes[1 << 16]; input.read(bytes, sizeof bytes) || input.gcount() > 0;)
        names.append(bytes, size_t(input.gcount()));
    if (input.bad() || (!isStandardInput && !file.is_open())) {
        found->problems.append(QStringLiteral("the list %1 cannot be read").arg(list));
        return;
    }
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
    while (!pending.empty()) {
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
