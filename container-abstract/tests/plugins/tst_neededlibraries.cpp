#include "neededlibraries.h"

#include "bytesource.h"

#include <QFile>
#include <QtTest>

#include <algorithm>
#include <cstring>

#include <link.h>

namespace {

QByteArray ownProgram()
{
    QFile file(QStringLiteral("/proc/self/exe"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

std::vector<std::string> namesIn(const QByteArray &bytes)
{
    return neededLibraries(*memorySource(bytes));
}

} // namespace

class TestNeededLibraries : public QObject
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
        QVERIFY(!neededLibraries(source).empty());
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

    void brokenFilesAreSurvived()
    {
        // The sanitizers look for what is read where nothing is.
        const QByteArray whole = ownProgram().left(64 * 1024);
        for (int size = 0; size < 2000; ++size)
            namesIn(whole.left(size));
        for (const char byte : {'\x00', '\x7F', '\xFF'}) {
            for (int at = 0; at < 1200; ++at) {
                QByteArray broken = whole;
                broken.replace(at, 4, QByteArray(4, byte));
                namesIn(broken);
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
        QVERIFY(neededLibraries(source).empty());
    }
};

QTEST_APPLESS_MAIN(TestNeededLibraries)
#include "tst_neededlibraries.moc"
