#include "elflibrary.h"

#include "bytesource.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <cstring>

#include <link.h>

using namespace quenlofar;

namespace {

QByteArray ownProgram()
{
    QFile file(QStringLiteral("/proc/self/exe"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

std::vector<std::string> namesIn(const QByteArray &bytes)
{
    const std::unique_ptr<ByteSource> source = memorySource(bytes);
    return ElfLibrary(*source).neededLibraries();
}

/// Everything that is asked of a library, for those that are broken.
void askAll(const QByteArray &bytes)
{
    const std::unique_ptr<ByteSource> source = memorySource(bytes);
    const ElfLibrary library(*source);
    library.isCutOff();
    library.neededLibraries();
    library.exports("containerName");
    library.exports("createDescriber");
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestElfLibrary : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesWhatAProgramIsLinkedWith()
    {
        const std::vector<std::string> names = namesIn(ownProgram());
        const std::string qt =
            "libQt" + std::to_string(QT_VERSION_MAJOR) + "Core.so." + std::to_string(QT_VERSION_MAJOR);
        QCOMPARE(std::count(names.begin(), names.end(), qt), std::ptrdiff_t(1));
        QCOMPARE(std::count(names.begin(), names.end(), "libquenlofar-container-abstract.so." QUENLOFAR_ABI),
                 std::ptrdiff_t(1));
    }

    void readsLittle()
    {
        // Counted by a source that is no memory: the program has megabytes with its debug information.
        struct Counting : ByteSource
        {
            QByteArray bytes = ownProgram();
            qint64 count = 0;
            qint64 size() const override { return bytes.size(); }
            qint64 readAt(qint64 position, char *data, qint64 maxSize) override
            {
                const QByteArray part = bytes.mid(int(position), int(maxSize));
                std::copy(part.begin(), part.end(), data);
                count += part.size();
                return part.size();
            }
        } source;
        const ElfLibrary program(source);
        QVERIFY(!program.neededLibraries().empty());
        QVERIFY(!program.exports("containerName"));
        QVERIFY(source.count < 32 * 1024);
    }

    void otherFilesNameNothing_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("no bytes") << QByteArray();
        QTest::newRow("a text") << QByteArray("no library, but a text that is longer than the header of one would be.");
        QTest::newRow("a beginning") << ownProgram().left(10);
        QTest::newRow("a header alone") << ownProgram().left(64);
        QByteArray otherClass = ownProgram();
        otherClass[4] = char(otherClass.at(4) ^ 3);
        QTest::newRow("another width of addresses") << otherClass;
        QByteArray otherOrder = ownProgram();
        otherOrder[5] = char(otherOrder.at(5) ^ 3);
        QTest::newRow("another byte order") << otherOrder;
        QByteArray nothingLoaded = ownProgram();
        ElfW(Ehdr) header;
        std::memcpy(&header, nothingLoaded.constData(), sizeof header);
        for (size_t number = 0; number < header.e_phnum; ++number) {
            char *const place = nothingLoaded.data() + header.e_phoff + number * sizeof(ElfW(Phdr));
            ElfW(Phdr) segment;
            std::memcpy(&segment, place, sizeof segment);
            if (segment.p_type == PT_LOAD)
                segment.p_type = PT_NULL;
            std::memcpy(place, &segment, sizeof segment);
        }
        QTest::newRow("the names are loaded from nowhere") << nothingLoaded;
    }
    void otherFilesNameNothing()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(namesIn(bytes).empty());
    }

    void exportsOfALibrary_data()
    {
        QTest::addColumn<QString>("library");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<bool>("expected");
        const QString good = QStringLiteral(QUENLOFAR_GOOD_PLUGIN);
        const QString oldTable = QStringLiteral(QUENLOFAR_SYSV_PLUGIN);
        QTest::newRow("the first one") << good << QByteArray("containerName") << true;
        QTest::newRow("the second one") << good << QByteArray("supportedExtensions") << true;
        QTest::newRow("the third one") << good << QByteArray("createParser") << true;
        QTest::newRow("the optional one is not there") << good << QByteArray("createDescriber") << false;
        QTest::newRow("the optional one is there")
            << QStringLiteral(QUENLOFAR_DESCRIBING_PLUGIN) << QByteArray("createDescriber") << true;
        QTest::newRow("the beginning of a name is another name") << good << QByteArray("container") << false;
        QTest::newRow("so is a longer one") << good << QByteArray("containerNames") << false;
        QTest::newRow("no name") << good << QByteArray("") << false;
        QTest::newRow("what is only used is not exported") << good << QByteArray("_ZdlPvm") << false;
        QTest::newRow("a variable is no function")
            << QStringLiteral(QUENLOFAR_VARIABLE_PLUGIN) << QByteArray("containerName") << false;
        QTest::newRow("what a needed library exports is not exported")
            << QStringLiteral(QUENLOFAR_FOREIGN_QT_PLUGIN) << QByteArray("foreignFunction") << false;
        QTest::newRow("the older table: there") << oldTable << QByteArray("createParser") << true;
        QTest::newRow("the older table: not there") << oldTable << QByteArray("createDescriber") << false;
    }
    void exportsOfALibrary()
    {
        QFETCH(QString, library);
        QFETCH(QByteArray, function);
        const QByteArray bytes = bytesOf(library);
        const std::unique_ptr<ByteSource> source = memorySource(bytes);
        const ElfLibrary elf(*source);
        QVERIFY(elf.isLibrary());
        QTEST(elf.exports(std::string_view(function.constData(), size_t(function.size()))), "expected");
    }

    void brokenFilesAreSurvived_data()
    {
        QTest::addColumn<QByteArray>("whole");
        QTest::newRow("a program") << ownProgram().left(64 * 1024);
        QTest::newRow("a plug-in") << bytesOf(QStringLiteral(QUENLOFAR_GOOD_PLUGIN)).left(64 * 1024);
        QTest::newRow("one with the older table") << bytesOf(QStringLiteral(QUENLOFAR_SYSV_PLUGIN)).left(64 * 1024);
    }
    void brokenFilesAreSurvived()
    {
        // The sanitizers look for what is read where nothing is.
        QFETCH(QByteArray, whole);
        for (int size = 0; size < 2000; ++size)
            askAll(whole.left(size));
        for (const char byte : {'\x00', '\x7F', '\xFF'}) {
            for (int at = 0; at < 1600; ++at) {
                QByteArray broken = whole;
                broken.replace(at, 4, QByteArray(4, byte));
                askAll(broken);
            }
        }
    }

    void aReadErrorNamesNothing()
    {
        struct Failing : ByteSource
        {
            qint64 size() const override { return 1000; }
            qint64 readAt(qint64, char *, qint64) override { return -1; }
        } source;
        const ElfLibrary library(source);
        QVERIFY(!library.isLibrary());
        QVERIFY(library.neededLibraries().empty());
        QVERIFY(!library.exports("containerName"));
    }
};

QTEST_APPLESS_MAIN(TestElfLibrary)
#include "tst_elflibrary.moc"
