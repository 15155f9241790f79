#pragma once

#include "containerabstract_export.h"
#include "containerrun.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>

namespace quenlofar {

/// A parser plug-in that was found and answers.
struct PluginInfo
{
    QString containerName; ///< "AVI"
    QStringList extensions; ///< without a dot
    QString file; ///< its path, see pathFromBytes
    QString name; ///< the file's own, "quenlofar-container-avi"
    QString version; ///< null where the plug-in does not tell it, see pluginversion.h
};

/**
 * Finds and loads parser plug-ins: shared libraries whose file name begins with "libquenlofar-container-" and that
 * export containerName, supportedExtensions and createParser. Exports createDescriber and createAnalyzer are optional.
 *
 * Directories are searched in the order in which they are added; of equal file names the first that can be used
 * counts. A plug-in that cannot be loaded is left out and said in warnings(). So is one that lacks an export or was
 * built for another ABI of the framework or another major version of Qt, and, where the effective user is root, one
 * that others could change (plugintrust.h): of these no code ever runs. Libraries are unloaded when the loader goes:
 * parsers, describers and analyzers that it created have to be gone before.
 */
class CONTAINERABSTRACT_EXPORT PluginLoader
{
public:
    PluginLoader();
    ~PluginLoader();
    PluginLoader(const PluginLoader &) = delete;
    PluginLoader &operator=(const PluginLoader &) = delete;

    /// Loads every plug-in of `directory` (see pathFromBytes). One that is not there is passed over in silence.
    void addDirectory(const QString &directory);

    /// Loads the plug-in `file` (see pathFromBytes), whatever its name is; false where it cannot be used, and a warning
    /// then says why.
    bool addFile(const QString &file);

    /// The loaded plug-ins, by file name.
    QVector<PluginInfo> plugins() const;
    /// What was found but could not be used, one sentence each.
    QStringList warnings() const;
    /// The parsers to try for `path`: those that claim its extension first, then all others, each by file name.
    QVector<ParserFactory> parsersFor(const QString &path) const;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace quenlofar
