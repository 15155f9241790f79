#include "containerabstract.h"
#include "containerrun.h"
#include "describingsink.h"
#include "elementtree.h"
#include "pluginloader.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QTest>

#include <dlfcn.h>

#include <memory>

using namespace quenlofar;

namespace {

const QString pluginDirectory =
    QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath() + QStringLiteral("/" QUENLOFAR_PLUGINS_FROM_TESTS);
const QString pluginFile = pluginDirectory + QStringLiteral("/libquenlofar-container-avi.so");
const QString sample = QStringLiteral(QUENLOFAR_SAMPLES_DIR "/golden/ffmpeg-mpeg4-mp3vbr-info-utf8.avi");

/// The plug-in by itself, closed at the end of the scope.
struct Library
{
    void *handle = dlopen(pluginFile.toUtf8().constData(), RTLD_NOW | RTLD_LOCAL);
    Library() = default;
    ~Library() { dlclose(handle); }
    Q_DISABLE_COPY(Library)

    template <typename Function> Function resolve(const char *name) const
    {
        return reinterpret_cast<Function>(dlsym(handle, name));
    }
};

} // namespace

class TestPlugin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersItsThreeQuestions()
    {
        const Library library;
        QVERIFY2(library.handle, dlerror());
        QCOMPARE(library.resolve<QString (*)()>("containerName")(), QStringLiteral("AVI"));
        QCOMPARE(library.resolve<QStringList (*)()>("supportedExtensions")(), QStringList{QStringLiteral("avi")});
        const std::unique_ptr<ContainerAbstract> parser(library.resolve<ContainerAbstract *(*)()>("createParser")());
        QVERIFY(parser != nullptr);
    }

    void exportsItsFunctionsAndItsClassAlone()
    {
        QProcess nm;
        nm.start(QStringLiteral("nm"),
                 {QStringLiteral("-D"), QStringLiteral("-C"), QStringLiteral("--defined-only"), pluginFile});
        QVERIFY(nm.waitForFinished());
        QCOMPARE(nm.exitCode(), 0);
        QSet<QString> functions;
        const QStringList lines = QString::fromUtf8(nm.readAllStandardOutput()).split(QLatin1Char('\n'));
        for (const QString &line : lines) {
            // "0000000000001234 T ContainerAVI::getID(QString*)"
            const QString kind = line.mid(17, 1);
            const QString symbol = line.mid(19);
            if (kind != QLatin1String("T"))
                continue;
            if (!symbol.startsWith(QLatin1String("ContainerAVI::")))
                functions.insert(symbol);
        }
        functions.remove(QStringLiteral("_init"));
        functions.remove(QStringLiteral("_fini"));
        QCOMPARE(functions,
                 (QSet<QString>{QStringLiteral("containerName"), QStringLiteral("supportedExtensions"),
                                QStringLiteral("createParser"), QStringLiteral("createDescriber"),
                                QStringLiteral("createAnalyzer")}));
        const QString all = lines.join(QLatin1Char('\n'));
        for (const char *operation :
             {"getID(QString*)", "getSize(unsigned int*)", "parseChunkAVIH(", "parseChunkDMLH(", "parseChunkVPRP(",
              "parseChunkSTRH(", "parseChunkSTRF(", "parseChunkSTRF_video(", "parseChunkSTRF_audio(", "parseChunkIDX1(",
              "parseChunkINDX(", "parseListINFO(", "parseUnknownObject(", "searchID(",
              "getCodecID(void const*, unsigned int)", "getCodecID(void const*, QString const&)", "parseElement(",
              "verifyContainerFormat(", "ElementAVI::ElementAVI("})
            QVERIFY2(all.contains(QStringLiteral("ContainerAVI::") + QLatin1String(operation)), operation);
    }

    void describesAFile()
    {
        PluginLoader loader;
        loader.addDirectory(pluginDirectory);
        const QVector<ParserFactory> parsers = loader.parsersFor(sample);
        DescribingSink sink(parsers);
        ContainerRun run;
        QVERIFY(run.run(sample, parsers, sink).isClean());
        QCOMPARE(int(sink.streams().size()), 2);
        QCOMPARE(sink.rows().value(0).label, QStringLiteral("segments"));
    }

    void aTreeOutlivesThePlugin()
    {
        ElementTree tree;
        {
            PluginLoader loader;
            loader.addDirectory(pluginDirectory);
            QVERIFY(loader.warnings().isEmpty());
            QCOMPARE(loader.plugins().size(), 1);
            ContainerRun run;
            QCOMPARE(run.run(sample, loader.parsersFor(sample), tree).status, 0);
        }
        // The literals of the library are gone with it.
        QVERIFY(dlopen(pluginFile.toUtf8().constData(), RTLD_NOW | RTLD_NOLOAD) == nullptr);

        QCOMPARE(tree.document().container, QStringLiteral("AVI"));
        const ElementTree::Item riff = tree.child(tree.root(), 0);
        QCOMPARE(tree.name(riff), QStringLiteral("RIFF(AVI )"));
        QCOMPARE(tree.name(tree.child(riff, 0)), QStringLiteral("id"));
        const ElementTree::Item avih = tree.child(tree.child(riff, 3), 3);
        QCOMPARE(tree.name(avih), QStringLiteral("avih"));
        QCOMPARE(tree.name(tree.child(avih, 2)), QStringLiteral("dwMicroSecPerFrame"));
        QCOMPARE(tree.value(tree.child(avih, 2)), QStringLiteral("100000"));
        QCOMPARE(tree.meaning(tree.child(avih, 2)), QStringLiteral("10 frames/second"));
        QCOMPARE(tree.frames().size(), quint64(20));
    }
};

QTEST_APPLESS_MAIN(TestPlugin)
#include "tst_plugin.moc"
