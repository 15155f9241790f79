#include "pluginloader.h"

#include "containerabstract.h"
#include "containeranalyzer.h"
#include "describingsink.h"
#include "filepath.h"
#include "testing/memoryrun.h"
#include "testing/recordingsink.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <dlfcn.h>
#include <sys/stat.h>

using namespace quenlofar;

namespace {

const QString goodPlugin = QStringLiteral(QUENLOFAR_GOOD_PLUGIN);
const QString describingPlugin = QStringLiteral(QUENLOFAR_DESCRIBING_PLUGIN);
const QString analyzingPlugin = QStringLiteral(QUENLOFAR_ANALYZING_PLUGIN);
const QString incompletePlugin = QStringLiteral(QUENLOFAR_INCOMPLETE_PLUGIN);
const QString unrelatedPlugin = QStringLiteral(QUENLOFAR_UNRELATED_PLUGIN);

QString pluginFile(const char *name)
{
    return QStringLiteral("libquenlofar-container-%1.so").arg(QLatin1String(name));
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// Less than what is loaded of any library; behind that there may be much debug information.
QByteArray beginOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(5000) : QByteArray();
}

QStringList filesOf(const QVector<ParserFactory> &factories)
{
    QStringList names;
    for (const ParserFactory &factory : factories)
        names.append(factory.file.mid(factory.file.lastIndexOf(QLatin1Char('/')) + 1));
    return names;
}

bool isLoaded(const QString &file)
{
    void *const handle = dlopen(QFile::encodeName(file).constData(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle)
        dlclose(handle);
    return handle != nullptr;
}

} // namespace

class TestPluginLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void loadsAPlugin();
    void aDescriberIsOptional_data();
    void aDescriberIsOptional();
    void anAnalyzerIsOptional();
    void findingsOutliveTheLoader();
    void aVersionIsOptional();
    void takesOnlyFilesNamedLikePlugins_data();
    void takesOnlyFilesNamedLikePlugins();
    void leavesOutWhatCannotBeUsed_data();
    void leavesOutWhatCannotBeUsed();
    void refusesWhatIsLinkedWithAnother_data();
    void refusesWhatIsLinkedWithAnother();
    void codeOfNoPluginNeverRuns();
    void badPluginDoesNotHideOthers();
    void firstOfEqualFileNamesCounts();
    void badPluginDoesNotHideLaterOneOfItsName();
    void directorySearchedTwiceIsWarnedOfOnce();
    void oneLibraryUnderTwoNamesCountsOnce();
    void missingDirectoryIsSilent_data();
    void missingDirectoryIsSilent();
    void directoryThatCannotBeListedIsWarnedOf();
    void directoryNameMayBeAnyBytes();
    void ordersByFileNameAcrossDirectories();
    void claimingParsersComeFirst_data();
    void claimingParsersComeFirst();
    void severalThatClaimAreOrderedByFileName();
    void theVerdictDecidesBetweenSeveralThatClaim_data();
    void theVerdictDecidesBetweenSeveralThatClaim();
    void textsOutliveTheLoader();
    void descriptionsOutliveTheLoader();
    void destructorUnloads();

private:
    QString path(const QString &name) const { return m_directory->filePath(name); }
    void install(const QString &source, const QString &name) { QVERIFY(QFile::copy(source, path(name))); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestPluginLoader::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
}

void TestPluginLoader::cleanup()
{
    m_directory.reset();
}

void TestPluginLoader::loadsAPlugin()
{
    install(goodPlugin, pluginFile("good"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());

    QCOMPARE(loader.warnings(), QStringList());
    QCOMPARE(loader.plugins().size(), 1);
    QCOMPARE(loader.plugins().first().containerName, QStringLiteral("Dummy"));
    QCOMPARE(loader.plugins().first().extensions, QStringList({QStringLiteral("dmy"), QStringLiteral("DuM")}));
    QCOMPARE(loader.plugins().first().file, path(pluginFile("good")));

    const QVector<ParserFactory> factories = loader.parsersFor(QStringLiteral("film.avi"));
    QCOMPARE(factories.size(), 1);
    QCOMPARE(factories.first().containerName, QStringLiteral("Dummy"));
    QCOMPARE(factories.first().name, QStringLiteral("quenlofar-container-good"));
    QVERIFY(factories.first().create() != nullptr);
}

void TestPluginLoader::aDescriberIsOptional_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<bool>("describes");
    QTest::newRow("a plug-in without the export works") << goodPlugin << false;
    QTest::newRow("a plug-in with it has describers too") << describingPlugin << true;
}

void TestPluginLoader::aDescriberIsOptional()
{
    QFETCH(QString, source);
    QFETCH(bool, describes);
    install(source, pluginFile("x"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(loader.warnings(), QStringList());
    const ParserFactory factory = loader.parsersFor({}).value(0);
    QVERIFY(factory.create && factory.create() != nullptr);
    QCOMPARE(bool(factory.createDescriber), describes);
    if (describes)
        QCOMPARE(factory.createDescriber()->rows().first().text, QStringLiteral("Dummies"));
}

void TestPluginLoader::anAnalyzerIsOptional()
{
    install(goodPlugin, pluginFile("a"));
    install(analyzingPlugin, pluginFile("b"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(loader.warnings(), QStringList());
    const QVector<ParserFactory> factories = loader.parsersFor({});
    QCOMPARE(int(factories.size()), 2);
    QVERIFY(!factories[0].createAnalyzer);
    const std::unique_ptr<quenlofar::ContainerAnalyzer> analyzer = factories[1].createAnalyzer();
    QCOMPARE(analyzer->rules().size(), 1);
    QVERIFY(analyzer->rules()[0].name == u"dummy-rule");
    QVERIFY(analyzer->extension(1) == nullptr);
}

void TestPluginLoader::findingsOutliveTheLoader()
{
    install(analyzingPlugin, pluginFile("x"));
    quenlofar::Findings findings;
    {
        PluginLoader loader;
        loader.addDirectory(m_directory->path());
        QVERIFY(loader.parsersFor({}).first().createAnalyzer()->check({}, findings));
    }
    QVERIFY(!isLoaded(path(pluginFile("x"))));
    QCOMPARE(findings.list().size(), size_t(1));
    QCOMPARE(findings.list().front().rule, QStringLiteral("dummy-rule"));
    QCOMPARE(findings.list().front().actual, QStringLiteral("2"));
}

void TestPluginLoader::takesOnlyFilesNamedLikePlugins_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("count");
    QTest::newRow("a plain library name") << "libquenlofar-container-x.so" << 1;
    QTest::newRow("a version behind it") << "libquenlofar-container-x.so.1.2" << 1;
    QTest::newRow("another prefix is passed over") << "libother-container-x.so" << 0;
    QTest::newRow("the prefix has to be at the beginning") << "old-libquenlofar-container-x.so" << 0;
    QTest::newRow("a version without a dot before it") << "libquenlofar-container-x.so1" << 0;
    QTest::newRow("a dot without a version") << "libquenlofar-container-x.so." << 0;
    QTest::newRow("no .so, no plug-in") << "libquenlofar-container-x.txt" << 0;
    QTest::newRow("digits and no ending") << "libquenlofar-container-12345" << 0;
    QTest::newRow("no name") << "libquenlofar-container-.so" << 0;
    QTest::newRow("case counts") << "libQuenlofar-container-x.so" << 0;
    QTest::newRow("a copy that was put aside") << "libquenlofar-container-x.so.bak" << 0;
    QTest::newRow("an editor's copy") << "libquenlofar-container-x.so~" << 0;
    QTest::newRow("the framework's library") << "libquenlofar-container-abstract.so.1" << 0;
    QTest::newRow("a name that only begins like it") << "libquenlofar-container-abstracts.so" << 1;
}

void TestPluginLoader::takesOnlyFilesNamedLikePlugins()
{
    QFETCH(QString, name);
    QFETCH(int, count);
    install(goodPlugin, name);
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.plugins().size()), count);
    QCOMPARE(loader.warnings(), QStringList());
}

void TestPluginLoader::leavesOutWhatCannotBeUsed_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("warningCount");
    QTest::addColumn<QString>("reason");
    QTest::newRow("an export is missing") << "incomplete" << 1 << "it does not export createParser";
    QTest::newRow("all exports are missing") << "unrelated" << 1 << "it does not export containerName";
    QTest::newRow("the exports are no functions") << "variables" << 1 << "it does not export containerName";
    QTest::newRow("the begin of a library") << "begin" << 1 << "its end is missing";
    QTest::newRow("nobody knows which framework") << "unlinked" << 1 << "it is not linked with ";
    QTest::newRow("an export that throws") << "throwing" << 1 << "it fails when it is asked what it knows";
    QTest::newRow("no name") << "nameless" << 1 << "the format that it knows has no name";
    QTest::newRow("a text file is no library") << "text" << 1 << "file too short";
    QTest::newRow("an empty file is no library") << "empty" << 1 << "file too short";
    QTest::newRow("a link to a plug-in is one") << "link" << 0 << "";
    QTest::newRow("a directory is passed over") << "directory" << 0 << "";
    QTest::newRow("a link to nothing is passed over") << "dangling" << 0 << "";
    QTest::newRow("a pipe is passed over, not waited for") << "pipe" << 0 << "";
}

void TestPluginLoader::leavesOutWhatCannotBeUsed()
{
    QFETCH(QString, kind);
    QFETCH(int, warningCount);
    QFETCH(QString, reason);
    const QString file = path(pluginFile("x"));
    if (kind == QLatin1String("incomplete"))
        QVERIFY(QFile::copy(incompletePlugin, file));
    else if (kind == QLatin1String("unrelated"))
        QVERIFY(QFile::copy(unrelatedPlugin, file));
    else if (kind == QLatin1String("variables"))
        QVERIFY(QFile::copy(QStringLiteral(QUENLOFAR_VARIABLE_PLUGIN), file));
    else if (kind == QLatin1String("begin"))
        QVERIFY(writeFile(file, beginOf(goodPlugin)));
    else if (kind == QLatin1String("unlinked"))
        QVERIFY(QFile::copy(QStringLiteral(QUENLOFAR_UNLINKED_PLUGIN), file));
    else if (kind == QLatin1String("throwing"))
        QVERIFY(QFile::copy(QStringLiteral(QUENLOFAR_THROWING_PLUGIN), file));
    else if (kind == QLatin1String("nameless"))
        QVERIFY(QFile::copy(QStringLiteral(QUENLOFAR_NAMELESS_PLUGIN), file));
    else if (kind == QLatin1String("text"))
        QVERIFY(writeFile(file, "This is no library.\n"));
    else if (kind == QLatin1String("empty"))
        QVERIFY(writeFile(file, {}));
    else if (kind == QLatin1String("link"))
        QVERIFY(QFile::link(goodPlugin, file));
    else if (kind == QLatin1String("directory"))
        QVERIFY(QDir().mkdir(file));
    else if (kind == QLatin1String("dangling"))
        QVERIFY(QFile::link(path(QStringLiteral("nothing")), file));
    else
        QCOMPARE(mkfifo(QFile::encodeName(file).constData(), 0600), 0);

    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.plugins().size()), kind == QLatin1String("link") ? 1 : 0);
    QCOMPARE(int(loader.warnings().size()), warningCount);
    if (warningCount > 0) {
        const QString warning = loader.warnings().first();
        QVERIFY2(warning.startsWith(file + QStringLiteral(" cannot be used: ")), qPrintable(warning));
        QVERIFY2(warning.contains(reason), qPrintable(warning));
        QCOMPARE(int(warning.count(file)), 1);
    }
}

void TestPluginLoader::refusesWhatIsLinkedWithAnother_data()
{
    QTest::addColumn<QString>("plugin");
    QTest::addColumn<QString>("reason");
    QTest::newRow("ABI of the framework")
        << QUENLOFAR_FOREIGN_ABI_PLUGIN << "it was built for ABI 999 of the framework, this is ABI " QUENLOFAR_ABI;
    QTest::newRow("major version of Qt")
        << QUENLOFAR_FOREIGN_QT_PLUGIN
        << QStringLiteral("it was built with Qt 9, this framework with Qt %1").arg(QT_VERSION_MAJOR);
}

void TestPluginLoader::refusesWhatIsLinkedWithAnother()
{
    QFETCH(QString, plugin);
    QFETCH(QString, reason);
    install(plugin, pluginFile("foreign"));
    install(goodPlugin, pluginFile("good"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(loader.warnings(),
             QStringList(path(pluginFile("foreign")) + QStringLiteral(" cannot be used: ") + reason));
    QCOMPARE(int(loader.plugins().size()), 1);

    QVERIFY(!qEnvironmentVariableIsSet("QUENLOFAR_FOREIGN_PLUGIN"));
    void *const handle = dlopen(QFile::encodeName(plugin).constData(), RTLD_NOW);
    QVERIFY2(handle, "it could be loaded, which would run its code");
    QVERIFY(qEnvironmentVariableIsSet("QUENLOFAR_FOREIGN_PLUGIN"));
    dlclose(handle);
    qunsetenv("QUENLOFAR_FOREIGN_PLUGIN");
}

void TestPluginLoader::codeOfNoPluginNeverRuns()
{
    install(unrelatedPlugin, pluginFile("x"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.warnings().size()), 1);
    QVERIFY(!qEnvironmentVariableIsSet("QUENLOFAR_UNRELATED_RAN"));

    void *const handle = dlopen(QFile::encodeName(unrelatedPlugin).constData(), RTLD_NOW);
    QVERIFY2(handle, "it could be loaded, which would run its code");
    QVERIFY(qEnvironmentVariableIsSet("QUENLOFAR_UNRELATED_RAN"));
    dlclose(handle);
    qunsetenv("QUENLOFAR_UNRELATED_RAN");
}

void TestPluginLoader::badPluginDoesNotHideOthers()
{
    QVERIFY(writeFile(path(pluginFile("a")), "no library"));
    install(incompletePlugin, pluginFile("b"));
    install(goodPlugin, pluginFile("c"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.plugins().size()), 1);
    QCOMPARE(loader.plugins().first().file, path(pluginFile("c")));
    QCOMPARE(int(loader.warnings().size()), 2);
}

void TestPluginLoader::firstOfEqualFileNamesCounts()
{
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("one")));
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("two")));
    const QString inOne = path(QStringLiteral("one/") + pluginFile("same"));
    const QString inTwo = path(QStringLiteral("two/") + pluginFile("same"));
    QVERIFY(QFile::copy(goodPlugin, inOne));
    QVERIFY(QFile::copy(goodPlugin, inTwo));

    PluginLoader loader;
    loader.addDirectory(path(QStringLiteral("two")));
    loader.addDirectory(path(QStringLiteral("one")));
    QCOMPARE(int(loader.plugins().size()), 1);
    QCOMPARE(loader.plugins().first().file, inTwo);
    QCOMPARE(loader.warnings(), QStringList());
}

void TestPluginLoader::badPluginDoesNotHideLaterOneOfItsName()
{
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("bad")));
    QVERIFY(writeFile(path(QStringLiteral("bad/") + pluginFile("same")), "no library"));
    install(goodPlugin, pluginFile("same"));

    PluginLoader loader;
    loader.addDirectory(path(QStringLiteral("bad")));
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.plugins().size()), 1);
    QCOMPARE(loader.plugins().first().file, path(pluginFile("same")));
    QCOMPARE(int(loader.warnings().size()), 1);
}

void TestPluginLoader::directorySearchedTwiceIsWarnedOfOnce()
{
    QVERIFY(writeFile(path(pluginFile("bad")), "no library"));
    install(goodPlugin, pluginFile("good"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.plugins().size()), 1);
    QCOMPARE(int(loader.warnings().size()), 1);
}

void TestPluginLoader::oneLibraryUnderTwoNamesCountsOnce()
{
    install(goodPlugin, QStringLiteral("libquenlofar-container-x.so.1"));
    QVERIFY(QFile::link(QStringLiteral("libquenlofar-container-x.so.1"), path(pluginFile("x"))));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.plugins().size()), 1);
    QCOMPARE(loader.plugins().first().file, path(pluginFile("x")));
}

void TestPluginLoader::missingDirectoryIsSilent_data()
{
    QTest::addColumn<QString>("directory");
    QTest::newRow("not there") << "/nowhere/at/all";
    QTest::newRow("below a file") << goodPlugin + QStringLiteral("/x");
    QTest::newRow("a file") << goodPlugin;
    QTest::newRow("an empty name") << "";
}

void TestPluginLoader::missingDirectoryIsSilent()
{
    QFETCH(QString, directory);
    PluginLoader loader;
    loader.addDirectory(directory);
    QCOMPARE(int(loader.plugins().size()), 0);
    QCOMPARE(loader.warnings(), QStringList());
}

void TestPluginLoader::directoryThatCannotBeListedIsWarnedOf()
{
    const QString circle = path(QStringLiteral("circle"));
    QVERIFY(QFile::link(circle, circle));
    PluginLoader loader;
    loader.addDirectory(circle);
    QCOMPARE(loader.warnings(),
             QStringList{circle + QStringLiteral(" cannot be used: Too many levels of symbolic links")});
}

void TestPluginLoader::directoryNameMayBeAnyBytes()
{
    const QByteArray bytes = QFile::encodeName(m_directory->path()) + "/\xff-plugins";
    QCOMPARE(mkdir(bytes.constData(), 0700), 0);
    // Made elsewhere and moved in by its bytes: Qt's file classes cannot spell this name.
    install(goodPlugin, QStringLiteral("moved"));
    const QByteArray source = QFile::encodeName(path(QStringLiteral("moved")));
    const QByteArray target = bytes + "/libquenlofar-container-x.so";
    QCOMPARE(rename(source.constData(), target.constData()), 0);

    {
        PluginLoader loader;
        loader.addDirectory(pathFromBytes(bytes));
        QCOMPARE(int(loader.plugins().size()), 1);
        QCOMPARE(pathToBytes(loader.plugins().first().file), target);
    }
    QCOMPARE(unlink(target.constData()), 0);
    QCOMPARE(rmdir(bytes.constData()), 0);
}

void TestPluginLoader::ordersByFileNameAcrossDirectories()
{
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("late")));
    install(goodPlugin, pluginFile("c"));
    install(goodPlugin, pluginFile("a"));
    QVERIFY(QFile::copy(goodPlugin, path(QStringLiteral("late/") + pluginFile("b"))));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    loader.addDirectory(path(QStringLiteral("late")));
    QCOMPARE(filesOf(loader.parsersFor({})), QStringList({pluginFile("a"), pluginFile("b"), pluginFile("c")}));
}

void TestPluginLoader::claimingParsersComeFirst_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("claimed");
    QTest::newRow("the extension") << "film.dmy" << true;
    QTest::newRow("case does not count in the file name") << "film.DMY" << true;
    QTest::newRow("nor in the plug-in") << "film.dum" << true;
    QTest::newRow("only the last extension") << "film.dmy.bak" << false;
    QTest::newRow("another extension") << "film.avi" << false;
    QTest::newRow("no extension") << "dmy" << false;
    QTest::newRow("a dot in a directory is none") << "/some.dmy/film" << false;
    QTest::newRow("an empty extension") << "film." << false;
}

void TestPluginLoader::claimingParsersComeFirst()
{
    QFETCH(QString, file);
    QFETCH(bool, claimed);
    // The other plug-in claims nothing that these rows ask for and comes first by name.
    QVERIFY(QFile::copy(QStringLiteral(QUENLOFAR_OTHER_PLUGIN), path(pluginFile("a"))));
    install(goodPlugin, pluginFile("b"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    const QStringList expected =
        claimed ? QStringList({pluginFile("b"), pluginFile("a")}) : QStringList({pluginFile("a"), pluginFile("b")});
    QCOMPARE(filesOf(loader.parsersFor(file)), expected);
}

void TestPluginLoader::aVersionIsOptional()
{
    install(describingPlugin, pluginFile("a"));
    install(goodPlugin, QStringLiteral("libquenlofar-container-b.so.1.2"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(int(loader.plugins().size()), 2);
    QCOMPARE(loader.plugins()[0].version, QStringLiteral("1.20-beta"));
    QVERIFY(loader.plugins()[1].version.isNull());
    QCOMPARE(loader.plugins()[1].name, QStringLiteral("quenlofar-container-b"));
    QCOMPARE(loader.parsersFor({})[0].version, QStringLiteral("1.20-beta"));
    QVERIFY(loader.parsersFor({})[1].version.isNull());
}

void TestPluginLoader::severalThatClaimAreOrderedByFileName()
{
    install(goodPlugin, pluginFile("c"));
    install(QStringLiteral(QUENLOFAR_OTHER_PLUGIN), pluginFile("a"));
    install(goodPlugin, pluginFile("b"));
    install(goodPlugin, pluginFile("b2"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    QCOMPARE(filesOf(loader.parsersFor(QStringLiteral("film.dmy"))),
             QStringList({pluginFile("b"), pluginFile("b2"), pluginFile("c"), pluginFile("a")}));
}

void TestPluginLoader::theVerdictDecidesBetweenSeveralThatClaim_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("container");
    // B is in the file that comes first by name.
    QTest::newRow("the one that is asked first") << QByteArray("B") << "B";
    QTest::newRow("the one that is asked second") << QByteArray("A") << "A";
    QTest::newRow("both: the first that says so") << QByteArray("*") << "B";
    QTest::newRow("none") << QByteArray("C") << "";
}

void TestPluginLoader::theVerdictDecidesBetweenSeveralThatClaim()
{
    QFETCH(QByteArray, file);
    install(QStringLiteral(QUENLOFAR_LETTER_A_PLUGIN), pluginFile("y"));
    install(QStringLiteral(QUENLOFAR_LETTER_B_PLUGIN), pluginFile("x"));
    PluginLoader loader;
    loader.addDirectory(m_directory->path());
    ContainerRun run;
    run.setOpener(memoryOpener(file));
    RecordingSink sink;
    const QVector<ParserFactory> parsers = loader.parsersFor(QStringLiteral("a.txt"));
    QCOMPARE(filesOf(parsers), QStringList({pluginFile("x"), pluginFile("y")}));
    run.run(QStringLiteral("a.txt"), parsers, sink);
    QTEST(sink.document.container, "container");
}

void TestPluginLoader::textsOutliveTheLoader()
{
    install(goodPlugin, pluginFile("good"));
    PluginInfo info;
    ParserFactory factory;
    {
        PluginLoader loader;
        loader.addDirectory(m_directory->path());
        QCOMPARE(int(loader.plugins().size()), 1);
        info = loader.plugins().first();
        factory = loader.parsersFor({}).first();
    }
    QCOMPARE(info.containerName, QStringLiteral("Dummy"));
    QCOMPARE(info.extensions.join(QLatin1Char(' ')), QStringLiteral("dmy DuM"));
    QCOMPARE(factory.containerName, QStringLiteral("Dummy"));
}

void TestPluginLoader::descriptionsOutliveTheLoader()
{
    install(describingPlugin, pluginFile("x"));
    QVector<DescriptionRow> rows;
    QVector<StreamDescription> streams;
    {
        PluginLoader loader;
        loader.addDirectory(m_directory->path());
        DescribingSink sink(loader.parsersFor({}));
        QVERIFY(sink.beginDocument({{}, {}, -1, 0}));
        QVERIFY(sink.endDocument({}));
        rows = sink.rows();
        streams = sink.streams();
    }
    QVERIFY(!isLoaded(path(pluginFile("x"))));
    QCOMPARE(int(rows.size()), 1);
    QCOMPARE(rows.first().label, QStringLiteral("title"));
    QCOMPARE(rows.first().text, QStringLiteral("Dummies"));
    QCOMPARE(int(streams.size()), 1);
    QCOMPARE(streams.first().name, QStringLiteral("English"));
    QCOMPARE(streams.first().codecCode, QStringLiteral("DUMY"));
    QCOMPARE(streams.first().codecName, QStringLiteral("Dummy codec"));
}

void TestPluginLoader::destructorUnloads()
{
    install(goodPlugin, pluginFile("good"));
    {
        PluginLoader loader;
        loader.addDirectory(m_directory->path());
        QVERIFY(isLoaded(path(pluginFile("good"))));
    }
    QVERIFY(!isLoaded(path(pluginFile("good"))));
}

QTEST_APPLESS_MAIN(TestPluginLoader)
#include "tst_pluginloader.moc"
