// Walks the golden files with the parser in this process; the program's own tests walk them once more as users do.
#include "bytesource.h"
#include "containeravi.h"
#include "containerrun.h"
#include "elementtree.h"
#include "jsonwriter.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace quenlofar;

namespace {

const QString goldenDirectory = QStringLiteral(QUENLOFAR_SAMPLES_DIR "/golden");

QVector<ParserFactory> aviParser()
{
    return {{QStringLiteral("AVI"), {QStringLiteral("avi")}, {}, [] {
                 return std::unique_ptr<ContainerAbstract>(new ContainerAVI);
             }}};
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray documentOf(const QString &path, const SourceOpener &opener = {})
{
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    JsonWriter writer(output);
    ContainerRun run;
    run.setOpener(opener);
    run.run(path, aviParser(), writer);
    return output.data();
}

/// How two documents differ, as a path into them; empty when all that `expected` says is so.
QString difference(const QJsonValue &actual, const QJsonValue &expected, const QString &where)
{
    if (expected.isObject()) {
        const QJsonObject object = expected.toObject();
        for (auto it = object.begin(); it != object.end(); ++it) {
            const QString below =
                difference(actual.toObject().value(it.key()), it.value(), where + QLatin1Char('/') + it.key());
            if (!below.isEmpty())
                return below;
        }
        return {};
    }
    if (expected.isArray()) {
        const QJsonArray array = expected.toArray();
        if (actual.toArray().size() != array.size())
            return where + QStringLiteral(": %1 elements").arg(actual.toArray().size());
        for (int i = 0; i < array.size(); ++i) {
            const QString below = difference(actual.toArray().at(i), array.at(i), where + QStringLiteral("/%1").arg(i));
            if (!below.isEmpty())
                return below;
        }
        return {};
    }
    return actual == expected ? QString() : where;
}

} // namespace

class TestGoldens : public QObject
{
    Q_OBJECT

    static void everyGolden()
    {
        QTest::addColumn<QString>("path");
        const QStringList files = QDir(goldenDirectory).entryList({QStringLiteral("*.avi")});
        QVERIFY(files.size() >= 22);
        for (const QString &file : files)
            QTest::newRow(file.toUtf8()) << goldenDirectory + QLatin1Char('/') + file;
    }

private Q_SLOTS:
    void document_data() { everyGolden(); }
    void document()
    {
        QFETCH(QString, path);
        QJsonObject expected =
            QJsonDocument::fromJson(readAll(QString(path).replace(QLatin1String(".avi"), QLatin1String(".json"))))
                .object();
        QVERIFY(!expected.isEmpty());
        expected.remove(QStringLiteral("file"));
        QJsonParseError error;
        const QJsonDocument actual = QJsonDocument::fromJson(documentOf(path), &error);
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
        QCOMPARE(difference(actual.object(), expected, {}), QString());
    }

    void readFromMemoryIsTheSame_data() { everyGolden(); }
    void readFromMemoryIsTheSame()
    {
        QFETCH(QString, path);
        const QByteArray bytes = readAll(path);
        QCOMPARE(documentOf(path, [bytes](const QString &, QString *) { return memorySource(bytes); }),
                 documentOf(path));
    }

    void aTreePrintsTheSame_data() { everyGolden(); }
    void aTreePrintsTheSame()
    {
        QFETCH(QString, path);
        ElementTree tree;
        ContainerRun run;
        run.run(path, aviParser(), tree);
        QBuffer output;
        output.open(QIODevice::WriteOnly);
        JsonWriter writer(output);
        QVERIFY(tree.replay(writer));
        QCOMPARE(output.data(), documentOf(path));
    }
};

QTEST_APPLESS_MAIN(TestGoldens)
#include "tst_goldens.moc"
