#include "pluginloader.h"
#include "testing/memoryrun.h"
#include "testing/recordingsink.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace quenlofar;

/// plainplugin.cpp names nothing but the parser interface; that it compiles is half of the test.
class TestParserInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aParserNeedsNoNameOfTheNamespace()
    {
        QTemporaryDir directory;
        QVERIFY(QFile::copy(QStringLiteral(QUENLOFAR_PLAIN_PLUGIN),
                            directory.filePath(QStringLiteral("libquenlofar-container-plain.so"))));
        PluginLoader loader;
        loader.addDirectory(directory.path());
        QCOMPARE(loader.warnings(), QStringList());
        const QVector<ParserFactory> parsers = loader.parsersFor(QStringLiteral("file.pln"));
        QCOMPARE(parsers.size(), 1);

        RecordingSink sink;
        const RunResult result = runOverMemory("PLAIN", parsers.first(), sink);
        QCOMPARE(result.status, int(StatusOk));
        QCOMPARE(parsers.first().containerName, QStringLiteral("Plain"));
        QCOMPARE(sink.lines,
                 (QStringList{QStringLiteral("record 0+5 {"), QStringLiteral("  id 0+2 PL"),
                              QStringLiteral("  unparsed 2+3"), QStringLiteral("}")}));
    }
};

QTEST_GUILESS_MAIN(TestParserInterface)

#include "tst_parserinterface.moc"
