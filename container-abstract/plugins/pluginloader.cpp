#include "pluginloader.h"

#include "bytesource.h"
#include "containerabstract.h"
#include "containeranalyzer.h"
#include "containerdescriber.h"
#include "decodetext.h"
#include "elflibrary.h"
#include "filepath.h"
#include "plugintrust.h"

#include <dirent.h>
#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace quenlofar {

namespace fs = std::filesystem;

namespace {

// What a plug-in exports, with C linkage.
using ContainerNameFunction = QString (*)();
using SupportedExtensionsFunction = QStringList (*)();
using CreateParserFunction = ContainerAbstract *(*)();
using CreateDescriberFunction = ContainerDescriber *(*)(); // optional
using CreateAnalyzerFunction = quenlofar::ContainerAnalyzer *(*)(); // optional

struct LibraryCloser
{
    void operator()(void *handle) const { dlclose(handle); }
};
using Library = std::unique_ptr<void, LibraryCloser>;

struct Plugin
{
    std::string fileName; // the order of plug-ins
    Library library;
    PluginInfo info;
    CreateParserFunction create = nullptr;
    CreateDescriberFunction createDescriber = nullptr; // null where it has none
    CreateAnalyzerFunction createAnalyzer = nullptr; // null where it has none
};

constexpr std::string_view libraryPrefix = "lib";
constexpr std::string_view libraryEnding = ".so";

/// "libquenlofar-container-NAME.so", also with a version behind it; not the framework's own library.
bool isPluginFileName(std::string_view file)
{
    constexpr std::string_view begin = "libquenlofar-container-";
    constexpr std::string_view end = ".so";
    if (file.substr(0, begin.size()) != begin || file.substr(begin.size()).substr(0, 11) == "abstract.so")
        return false;
    const std::string_view name = file.substr(begin.size());
    const size_t versionAt = name.find_last_not_of("0123456789.") + 1;
    if (versionAt <= end.size() || name.substr(versionAt - end.size(), end.size()) != end)
        return false;
    const std::string_view version = name.substr(versionAt);
    return version.empty() || (version.size() > 1 && version[0] == '.');
}

QString textOf(const std::string &bytes)
{
    return pathFromBytes(QByteArray(bytes.data(), int(bytes.size())));
}

/// "quenlofar-container-NAME" of the name of a plug-in's file.
QString libraryName(const std::string &fileName)
{
    // One that is named by its path need not be called as plug-ins are.
    const size_t begin = fileName.compare(0, libraryPrefix.size(), libraryPrefix) == 0 ? libraryPrefix.size() : 0;
    const size_t end = fileName.rfind(libraryEnding);
    return textOf(fileName.substr(begin, end == std::string::npos ? end : end - std::min(begin, end)));
}

/// The dynamic linker's latest complaint, without the file name that it often begins with.
QString linkerError(const std::string &path)
{
    const char *const error = dlerror();
    std::string text = error ? error : "unknown error";
    const std::string prefix = path + ": ";
    if (text.compare(0, prefix.size(), prefix) == 0)
        text.erase(0, prefix.size());
    return textOf(text);
}

/// Of the first name that begins with `prefix` and holds `infix`, what follows the latter; null where there is none.
QString restOfName(const std::vector<std::string> &names, const std::string &prefix, const std::string &infix)
{
    for (const std::string &name : names) {
        const size_t at = name.find(infix);
        if (at != std::string::npos && name.compare(0, prefix.size(), prefix) == 0)
            return textOf(name.substr(at + infix.size()));
    }
    return {};
}

/// The ABI of the framework that a library was linked with; null where it was not.
QString frameworkAbi(const std::vector<std::string> &needed)
{
    return restOfName(needed, "libquenlofar-container-abstract", ".so.");
}

/// Why a plug-in that was linked with these libraries cannot work with this framework; null where it can. Objects of
/// two frameworks, or texts of two Qts, in one program would end in a crash.
QString foreignAbi(const std::vector<std::string> &needed)
{
    const QString abi = frameworkAbi(needed);
    const QString ownAbi = QStringLiteral(QUENLOFAR_ABI);
    if (!abi.isNull() && abi != ownAbi)
        return QStringLiteral("it was built for ABI %1 of the framework, this is ABI %2").arg(abi, ownAbi);
    const QString qt = restOfName(needed, "libQt", "Core.so.");
    const QString ownQt = QString::number(QT_VERSION_MAJOR);
    if (!qt.isNull() && qt != ownQt)
        return QStringLiteral("it was built with Qt %1, this framework with Qt %2").arg(qt, ownQt);
    return {};
}

constexpr const char *neededExports[] = {"containerName", "supportedExtensions", "createParser"};
constexpr const char *describerExport = "createDescriber";

/// A file that remembers why it could not be read.
class RememberingSource final : public ByteSource
{
public:
    explicit RememberingSource(ByteSource &file) : m_file(file) { }

    qint64 size() const override { return m_file.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const qint64 count = m_file.readAt(position, data, maxSize);
        if (count < 0)
            m_error = m_file.errorText();
        return count;
    }
    QString errorText() const override { return m_error; }

private:
    ByteSource &m_file;
    QString m_error;
};

/// Why a library cannot be used, as far as it says so itself. Null where nothing speaks against it, or where the
/// dynamic linker knows better what is wrong.
QString unfitnessOf(const ElfLibrary &library, bool *isDescribing)
{
    if (!library.isLibrary())
        return {};
    if (library.isCutOff())
        return QStringLiteral("its end is missing");
    const std::vector<std::string> needed = library.neededLibraries();
    if (QString reason = foreignAbi(needed); !reason.isNull())
        return reason;
    for (const char *const name : neededExports) {
        if (!library.exports(name))
            return QStringLiteral("it does not export %1").arg(QLatin1String(name));
    }
    if (frameworkAbi(needed).isNull())
        return QStringLiteral("it is not linked with libquenlofar-container-abstract: its ABI is unknown");
    *isDescribing = library.exports(describerExport);
    return {};
}

/// Why the library at `path` cannot be used, as far as its file says: before any of its code has run.
QString unfitness(const std::string &path, bool *isDescribing)
{
    QString openError;
    const std::unique_ptr<ByteSource> file = openFileSource(textOf(path), &openError);
    if (!file)
        return openError;
    RememberingSource source(*file);
    QString reason = unfitnessOf(ElfLibrary(source), isDescribing);
    // What was not read is not known to be missing.
    return source.errorText().isEmpty() ? reason : QStringLiteral("it cannot be read: ") + source.errorText();
}

template <typename Function> Function lookUp(void *library, const char *name)
{
    return reinterpret_cast<Function>(dlsym(library, name));
}

/// Where a library's segments are, and the version that was found in its notes: the library's own characters.
struct VersionSearch
{
    ElfW(Addr) base;
    std::string_view version;
};

/// The version among `notes`, see pluginversion.h; empty when none of them is one.
std::string_view versionAmong(std::string_view notes) noexcept
{
    constexpr std::string_view owner("quenlofar", sizeof "quenlofar"); // with its zero byte
    constexpr auto padded = [](size_t size) { return (size + 3) / 4 * 4; };
    ElfW(Nhdr) header = {};
    while (notes.size() >= sizeof header) {
        std::memcpy(&header, notes.data(), sizeof header);
        notes.remove_prefix(sizeof header);
        const std::string_view name = notes.substr(0, header.n_namesz);
        notes.remove_prefix(std::min(padded(header.n_namesz), notes.size()));
        if (name == owner && header.n_type == 1) {
            const std::string_view version = notes.substr(0, header.n_descsz);
            return version.substr(0, version.find('\0'));
        }
        notes.remove_prefix(std::min(padded(header.n_descsz), notes.size()));
    }
    return {};
}

/// Called by the dynamic linker for each loaded library; not zero ends that. The linker holds a lock meanwhile, so
/// nothing may throw.
int searchVersion(dl_phdr_info *library, size_t, void *data) noexcept
{
    auto *const search = static_cast<VersionSearch *>(data);
    if (library->dlpi_addr != search->base)
        return 0;
    for (int i = 0; i < library->dlpi_phnum && search->version.empty(); ++i) {
        const ElfW(Phdr) &segment = library->dlpi_phdr[i];
        if (segment.p_type == PT_NOTE)
            search->version =
                versionAmong({reinterpret_cast<const char *>(search->base + segment.p_vaddr), segment.p_memsz});
    }
    return 1;
}

struct DirectoryCloser
{
    void operator()(DIR *directory) const { ::closedir(directory); }
};

/// The names of the files in `directory` that are called as plug-ins are. Returns an errno, or 0. Not std::filesystem's
/// iterator: it ends the program where there is no memory.
int readPluginNames(const std::string &directory, std::vector<std::string> *names)
{
    const std::unique_ptr<DIR, DirectoryCloser> opened(::opendir(directory.c_str()));
    if (!opened)
        return errno;
    for (;;) {
        errno = 0;
        const dirent *const entry = ::readdir(opened.get());
        if (!entry)
            return errno;
        struct stat found = {};
        const std::string name = entry->d_name;
        if (!isPluginFileName(name))
            continue;
        std::string path = directory;
        path.append(1, '/').append(name);
        if (::stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode))
            names->push_back(name);
    }
}

QString versionOf(void *library)
{
    link_map *map = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, static_cast<void *>(&map)) != 0)
        return {};
    VersionSearch search{map->l_addr, {}};
    dl_iterate_phdr(searchVersion, &search);
    return search.version.empty() ? QString() : textOf(std::string(search.version));
}

} // namespace

class PluginLoader::Private
{
public:
    void search(const std::string &directory);
    bool load(const std::string &path, const std::string &fileName);
    void warn(const std::string &path, const QString &reason);

    std::vector<Plugin> plugins; // by file name
    std::set<std::string> loadedNames; // file names
    QStringList warnings;
};

PluginLoader::PluginLoader() : d(std::make_unique<Private>()) { }

PluginLoader::~PluginLoader() = default;

void PluginLoader::addDirectory(const QString &directory)
{
    const QByteArray bytes = pathToBytes(directory);
    d->search(std::string(bytes.constData(), size_t(bytes.size())));
}

bool PluginLoader::addFile(const QString &file)
{
    const QByteArray bytes = pathToBytes(file);
    // A name without a directory is looked for in the system's own places otherwise.
    const fs::path path = fs::absolute(fs::path(std::string(bytes.constData(), size_t(bytes.size()))));
    return d->load(path.string(), path.filename().string());
}

void PluginLoader::Private::search(const std::string &directory)
{
    std::vector<std::string> names;
    const int error = readPluginNames(directory, &names);
    if (error != 0 && error != ENOENT && error != ENOTDIR)
        warn(directory, textOf(std::generic_category().message(error)));

    std::sort(names.begin(), names.end());
    for (const std::string &name : names) {
        if (loadedNames.count(name) == 0 && load((fs::path(directory) / name).string(), name))
            loadedNames.insert(name);
    }
}

/// False where it cannot be used; a warning then says why.
bool PluginLoader::Private::load(const std::string &path, const std::string &fileName)
{
    Plugin plugin;
    plugin.fileName = fileName;
    const PluginTrust trust = trustInPlugin(path);
    if (!trust.objection.isNull()) {
        warn(path, trust.objection);
        return false;
    }
    bool isDescribing = false;
    if (const QString reason = unfitness(trust.path, &isDescribing); !reason.isNull()) {
        warn(path, reason);
        return false;
    }
    // Everything is resolved now: a missing symbol shows here, not in the middle of a file.
    plugin.library.reset(dlopen(trust.path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!plugin.library) {
        warn(path, linkerError(trust.path));
        return false;
    }

    // One library under several names ("....so" beside "....so.1") gives one handle.
    for (const Plugin &other : plugins) {
        if (other.library == plugin.library)
            return true;
    }

    const auto name = lookUp<ContainerNameFunction>(plugin.library.get(), neededExports[0]);
    const auto extensions = lookUp<SupportedExtensionsFunction>(plugin.library.get(), neededExports[1]);
    plugin.create = lookUp<CreateParserFunction>(plugin.library.get(), neededExports[2]);
    if (!name || !extensions || !plugin.create) {
        warn(path, QStringLiteral("its exports are not found"));
        return false;
    }
    if (isDescribing)
        plugin.createDescriber = lookUp<CreateDescriberFunction>(plugin.library.get(), describerExport);
    plugin.createAnalyzer = lookUp<CreateAnalyzerFunction>(plugin.library.get(), "createAnalyzer");

    try {
        plugin.info.containerName = ownCopy(name());
        const QStringList lentExtensions = extensions();
        for (const QString &extension : lentExtensions)
            plugin.info.extensions.append(ownCopy(extension));
    } catch (...) { // a plug-in may throw anything
        warn(path, QStringLiteral("it fails when it is asked what it knows"));
        return false;
    }
    if (plugin.info.containerName.isEmpty()) {
        warn(path, QStringLiteral("the format that it knows has no name"));
        return false;
    }
    plugin.info.file = textOf(path);
    plugin.info.name = libraryName(fileName);
    plugin.info.version = versionOf(plugin.library.get());

    const auto behind = std::upper_bound(plugins.begin(), plugins.end(), plugin.fileName,
                                         [](const std::string &a, const Plugin &b) { return a < b.fileName; });
    plugins.insert(behind, std::move(plugin));
    return true;
}

void PluginLoader::Private::warn(const std::string &path, const QString &reason)
{
    const QString warning = QStringLiteral("%1 cannot be used: %2").arg(textOf(path), reason);
    if (!warnings.contains(warning)) // a directory may be searched twice
        warnings.append(warning);
}

QVector<PluginInfo> PluginLoader::plugins() const
{
    QVector<PluginInfo> result;
    for (const Plugin &plugin : d->plugins)
        result.append(plugin.info);
    return result;
}

QStringList PluginLoader::warnings() const
{
    return d->warnings;
}

QVector<ParserFactory> PluginLoader::parsersFor(const QString &path) const
{
    const QString fileName = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    const auto dot = fileName.lastIndexOf(QLatin1Char('.'));
    const QString extension = dot < 0 ? QString() : fileName.mid(dot + 1);

    QVector<ParserFactory> claiming;
    QVector<ParserFactory> others;
    for (const Plugin &plugin : d->plugins) {
        const CreateParserFunction create = plugin.create;
        ParserFactory factory{plugin.info.containerName, plugin.info.extensions, plugin.info.file,
                              [create] { return std::unique_ptr<ContainerAbstract>(create()); }};
        if (const CreateDescriberFunction describe = plugin.createDescriber)
            factory.createDescriber = [describe] { return std::unique_ptr<ContainerDescriber>(describe()); };
        factory.name = plugin.info.name;
        factory.version = plugin.info.version;
        if (const CreateAnalyzerFunction analyze = plugin.createAnalyzer)
            factory.createAnalyzer = [analyze] { return std::unique_ptr<quenlofar::ContainerAnalyzer>(analyze()); };
        const bool claims = dot >= 0 && plugin.info.extensions.contains(extension, Qt::CaseInsensitive);
        (claims ? claiming : others).append(factory);
    }
    return claiming + others;
}

} // namespace quenlofar
