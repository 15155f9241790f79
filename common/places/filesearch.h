#pragma once

#include <QString>
#include <QStringList>

namespace quenlofar {

/// Gets what a search of a directory comes upon, at once and in no order. Paths: see pathFromBytes.
class FileSearchSink
{
public:
    FileSearchSink() = default;
    virtual ~FileSearchSink() = default;
    FileSearchSink(const FileSearchSink &) = delete;
    FileSearchSink &operator=(const FileSearchSink &) = delete;

    /// A file with one of the extensions, or a link to one.
    virtual void foundFile(const QString &path) = 0;
    /// A symbolic link with one of the extensions that leads nowhere; `error` is the errno that says why.
    virtual void foundLostLink(const QString &path, int error) = 0;
    /// A directory that cannot be searched, or not to its end; `error` is an errno.
    virtual void failedDirectory(const QString &path, int error) = 0;
    /// The search is to end; asked for each entry.
    virtual bool isStopped() const = 0;
};

/// Tells `sink` of the files in `top` and all directories below it that have one of `extensions` (without a dot, in
/// upper or lower case). A symbolic link to a directory is not followed, so that no link leads round in a circle.
void searchFiles(const QString &top, const QStringList &extensions, FileSearchSink *sink);

} // namespace quenlofar
