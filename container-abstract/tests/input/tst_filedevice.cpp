#include "faultysource.h"
#include "filedevice.h"
#include "filepath.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <clocale>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace quenlofar;

class TestFileDevice : public QObject
{
    Q_OBJECT

    QString writeFile(const char *name, const QByteArray &bytes);

    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase();

    void refusedFiles_data();
    void refusedFiles();
    void aFileWithoutPermissionIsRefused();
    void aNullSourceGivesItsReason();
    void aSourceNeedNotGiveReasons();
    void aFileWithANameThatIsNotUtf8Opens();
    void smallFiles_data();
    void smallFiles();
    void aFileThatShrinksEndsEarly();
    void aFileThatGrowsEndsWhereItEndedAtOpening();
    void anErrorOfTheOperatingSystemIsToldInItsWords();

    void sourcesKeepToTheirSize();

    void aClosedDeviceGivesNothing();
    void openingForgetsThePreviousFile();
    void twoFilesAreNeverOpenAtATime();
    void closingReleasesTheSourceAndKeepsTheError();
    void seekIsAnAssignment();
    void readsAtTheEnd_data();
    void readsAtTheEnd();
    void anArrayIsNoLargerThanWhatTheFileCanGive();
    void positionsNear2To63();
};

void TestFileDevice::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // The expected texts are those of the C locale.
    std::setlocale(LC_ALL, "C");
}

QString TestFileDevice::writeFile(const char *name, const QByteArray &bytes)
{
    QString path = m_dir.filePath(QString::fromLatin1(name));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write a test file");
    return path;
}

void TestFileDevice::refusedFiles_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");

    const QString file = writeFile("plain", "bytes");
    const QString pipe = m_dir.filePath(QStringLiteral("pipe"));
    QVERIFY(::mkfifo(QFile::encodeName(pipe).constData(), 0600) == 0);
    const QString loop = m_dir.filePath(QStringLiteral("loop"));
    QVERIFY(QFile::link(loop, loop));
    const QString toPipe = m_dir.filePath(QStringLiteral("to-pipe"));
    QVERIFY(QFile::link(pipe, toPipe));

    const QString socketPath = m_dir.filePath(QStringLiteral("socket"));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const QByteArray socketName = QFile::encodeName(socketPath);
    QVERIFY(size_t(socketName.size()) < sizeof address.sun_path);
    std::copy(socketName.begin(), socketName.end(), address.sun_path);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    QVERIFY(::bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0);
    ::close(descriptor);

    QTest::newRow("a file that is not there")
        << m_dir.filePath(QStringLiteral("nothing")) << QStringLiteral("No such file or directory");
    QTest::newRow("an empty name") << QString() << QStringLiteral("No such file or directory");
    QTest::newRow("a zero byte does not cut the name")
        << QString(file + QChar(u'\0') + QStringLiteral("x")) << QStringLiteral("the file name holds a zero byte");
    QTest::newRow("a directory") << m_dir.path() << QStringLiteral("is a directory");
    QTest::newRow("a pipe is not waited for") << pipe << QStringLiteral("is not a regular file (a pipe)");
    QTest::newRow("a link to a pipe") << toPipe << QStringLiteral("is not a regular file (a pipe)");
    QTest::newRow("a socket") << socketPath << QStringLiteral("is not a regular file (a socket)");
    QTest::newRow("a device") << QStringLiteral("/dev/zero")
                              << QStringLiteral("is not a regular file (a character device)");
    const QStringList devices = QDir(QStringLiteral("/dev")).entryList(QDir::System, QDir::Name);
    for (const QString &name : devices) {
        const QByteArray path = "/dev/" + name.toLocal8Bit();
        struct stat facts = {};
        if (::stat(path.constData(), &facts) == 0 && S_ISBLK(facts.st_mode) && ::access(path.constData(), R_OK) == 0) {
            QTest::newRow("a disk") << QString::fromLocal8Bit(path)
                                    << QStringLiteral("is not a regular file (a block device)");
            break;
        }
    }
    QTest::newRow("a file used as a directory")
        << QString(file + QStringLiteral("/x")) << QStringLiteral("Not a directory");
    QTest::newRow("links in a circle") << loop << QStringLiteral("Too many levels of symbolic links");
    QTest::newRow("a name that is too long")
        << m_dir.filePath(QString(300, QLatin1Char('n'))) << QStringLiteral("File name too long");
}

void TestFileDevice::refusedFiles()
{
    QFETCH(QString, path);
    QFETCH(QString, reason);
    FileDevice device;
    QCOMPARE(device.open(path), int(StatusCannotOpen));
    QCOMPARE(device.errorText(), reason);
    QVERIFY(!device.isOpen());
    QVERIFY(!device.hasReadError());
    QCOMPARE(device.readErrorOffset(), qint64(-1));
    QCOMPARE(device.size(), qint64(0));
    QCOMPARE(device.read(10), QByteArray());
}

void TestFileDevice::aFileWithoutPermissionIsRefused()
{
    const QString path = writeFile("secret", "bytes");
    QVERIFY(QFile::setPermissions(path, QFileDevice::Permissions()));
    // Root has every permission: it becomes the user nobody for a moment, which may look at the file but not open it.
    QVERIFY(::chmod(QFile::encodeName(m_dir.path()).constData(), 0711) == 0);
    const bool isRoot = ::geteuid() == 0;
    if (isRoot && ::seteuid(65534) != 0)
        QSKIP("root cannot become another user here");
    FileDevice device;
    const int status = device.open(path);
    if (isRoot)
        QVERIFY(::seteuid(0) == 0);
    QCOMPARE(status, int(StatusCannotOpen));
    QCOMPARE(device.errorText(), QStringLiteral("Permission denied"));
}

void TestFileDevice::aNullSourceGivesItsReason()
{
    FileDevice device;
    QCOMPARE(device.open(nullptr, QStringLiteral("it rains")), int(StatusCannotOpen));
    QCOMPARE(device.errorText(), QStringLiteral("it rains"));
    QVERIFY(!device.hasReadError());
}

void TestFileDevice::aSourceNeedNotGiveReasons()
{
    class SilentSource : public ByteSource
    {
    public:
        qint64 size() const override { return 100; }
        qint64 readAt(qint64, char *, qint64) override { return -1; }
    };
    FileDevice device;
    QCOMPARE(device.open(std::make_unique<SilentSource>()), int(StatusOk));
    QCOMPARE(readBytes(&device, 10), QByteArray());
    QCOMPARE(device.readErrorOffset(), qint64(0));
    QVERIFY(device.errorText().isNull());
}

void TestFileDevice::aFileWithANameThatIsNotUtf8Opens()
{
    const QByteArray name = QFile::encodeName(m_dir.path()) + "/caf\xE9\xFF.avi";
    const int descriptor = ::open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        QSKIP("this file system wants names in UTF-8");
    QVERIFY(::write(descriptor, "RIFF", 4) == 4);
    ::close(descriptor);

    FileDevice device;
    QCOMPARE(device.open(pathFromBytes(name)), int(StatusOk));
    QCOMPARE(device.read(10), QByteArray("RIFF"));
    // QTemporaryDir could not remove it.
    QVERIFY(::unlink(name.constData()) == 0);
}

void TestFileDevice::smallFiles_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("one byte") << QByteArray("R");
    QTest::newRow("11 bytes: one less than a list header") << QByteArray("RIFF\x04\0\0\0AVI", 11);
    QTest::newRow("one fetch exactly") << bytesAt(0, 4 * kib);
    QTest::newRow("one fetch and a byte") << bytesAt(0, 4 * kib + 1);
}

void TestFileDevice::smallFiles()
{
    QFETCH(QByteArray, bytes);
    FileDevice device;
    QCOMPARE(device.open(writeFile("small", bytes)), int(StatusOk));
    QVERIFY(device.isOpen());
    QCOMPARE(device.size(), qint64(bytes.size()));
    QCOMPARE(device.pos(), qint64(0));
    QCOMPARE(readBytes(&device, 8 * kib), bytes);
    QCOMPARE(device.pos(), qint64(bytes.size()));
    QCOMPARE(readBytes(&device, 1), QByteArray());
    QVERIFY(!device.hasReadError());
    QCOMPARE(device.errorText(), QString());
}

void TestFileDevice::aFileThatShrinksEndsEarly()
{
    const QString path = writeFile("shrinking", bytesAt(0, 100 * kib));
    FileDevice device;
    QCOMPARE(device.open(path), int(StatusOk));
    QCOMPARE(readBytes(&device, 10), bytesAt(0, 10));
    QVERIFY(QFile::resize(path, 20000));

    QVERIFY(device.seek(19990));
    QCOMPARE(readBytes(&device, 100), bytesAt(19990, 10));
    QCOMPARE(device.pos(), qint64(20000));
    QCOMPARE(readBytes(&device, 4), QByteArray());
    QVERIFY(device.seek(50 * kib));
    QCOMPARE(readBytes(&device, 40 * kib), QByteArray());
    QVERIFY(device.seek(10));
    QCOMPARE(device.read(furthest), bytesAt(10, 19990));
    QCOMPARE(device.size(), 100 * kib);
    QVERIFY(!device.hasReadError());
}

void TestFileDevice::aFileThatGrowsEndsWhereItEndedAtOpening()
{
    const QString path = writeFile("growing", bytesAt(0, 10000));
    FileDevice device;
    QCOMPARE(device.open(path), int(StatusOk));
    QFile file(path);
    QVERIFY(file.open(QIODevice::Append));
    QCOMPARE(file.write(QByteArray(5000, 'x')), qint64(5000));
    file.close();

    QVERIFY(device.seek(9990));
    QCOMPARE(readBytes(&device, 100), bytesAt(9990, 10));
    QCOMPARE(readBytes(&device, 100), QByteArray());
    QVERIFY(device.seek(12000));
    QCOMPARE(readBytes(&device, 100), QByteArray());
    QCOMPARE(device.size(), qint64(10000));
}

void TestFileDevice::anErrorOfTheOperatingSystemIsToldInItsWords()
{
    const QString path = writeFile("replaced", bytesAt(0, 100 * kib));
    FileDevice device;
    QCOMPARE(device.open(path), int(StatusOk));
    QCOMPARE(readBytes(&device, 10), bytesAt(0, 10));

    // Behind the device's back its descriptor comes to stand for a directory, which cannot be read.
    const QByteArray wanted = QFileInfo(path).canonicalFilePath().toLocal8Bit();
    bool isReplaced = false;
    for (int descriptor = 3; descriptor < 256 && !isReplaced; ++descriptor) {
        char target[4096] = {};
        const QByteArray link = "/proc/self/fd/" + QByteArray::number(descriptor);
        if (::readlink(link.constData(), target, sizeof target - 1) > 0 && wanted == target) {
            const int directory = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            isReplaced = ::dup2(directory, descriptor) == descriptor;
            ::close(directory);
        }
    }
    if (!isReplaced)
        QSKIP("needs /proc/self/fd");

    QVERIFY(device.seek(50000));
    QCOMPARE(readBytes(&device, 10), QByteArray());
    QCOMPARE(device.readErrorOffset(), qint64(50000));
    QCOMPARE(device.errorText(), QStringLiteral("Is a directory"));
}

void TestFileDevice::sourcesKeepToTheirSize()
{
    const QString path = writeFile("source", bytesAt(0, 100));
    QString error;
    const std::unique_ptr<ByteSource> file = openFileSource(path, &error);
    QVERIFY(file);
    QVERIFY(error.isNull());
    QFile grown(path);
    QVERIFY(grown.open(QIODevice::Append));
    QCOMPARE(grown.write("more"), qint64(4));
    grown.close();
    const std::unique_ptr<ByteSource> memory = memorySource(bytesAt(0, 100));
    QVERIFY(!file->memory());
    QCOMPARE(QByteArray(memory->memory(), 100), bytesAt(0, 100));
    for (ByteSource *source : {file.get(), memory.get()}) {
        char buffer[20] = {};
        QCOMPARE(source->size(), qint64(100));
        QCOMPARE(source->readAt(90, buffer, 20), qint64(10));
        QCOMPARE(QByteArray(buffer, 11), QByteArray(bytesAt(90, 10) + '\0'));
        QCOMPARE(source->readAt(100, buffer, 20), qint64(0));
        QCOMPARE(source->readAt(furthest, buffer, 20), qint64(0));
        QCOMPARE(source->readAt(-1, buffer, 20), qint64(0));
        QCOMPARE(source->readAt(0, buffer, -1), qint64(0));
        QCOMPARE(source->readAt(5, buffer, 20), qint64(20));
        QCOMPARE(QByteArray(buffer, 20), bytesAt(5, 20));
    }
}

void TestFileDevice::aClosedDeviceGivesNothing()
{
    FileDevice device;
    char buffer[4] = {'a', 'b', 'c', 'd'};
    QCOMPARE(device.read(buffer, 4), qint64(0));
    QCOMPARE(device.read(buffer, 0), qint64(0));
    QCOMPARE(device.read(4), QByteArray());
    QVERIFY(device.seek(5));
    QCOMPARE(device.read(buffer, 4), qint64(0));
    QCOMPARE(QByteArray(buffer, 4), QByteArray("abcd"));
    device.close();
    QVERIFY(!device.isOpen());
    QVERIFY(!device.wasInterrupted());
}

void TestFileDevice::openingForgetsThePreviousFile()
{
    SourceState first;
    first.size = 100 * kib;
    first.damagedFrom = 50;
    SourceState third;
    third.size = 10;
    FileDevice device;
    openFaulty(&device, &first);
    QCOMPARE(readBytes(&device, 100), bytesAt(0, 50));
    QVERIFY(device.hasReadError());
    QCOMPARE(device.bytesRead(), quint64(50));

    QCOMPARE(device.open(memorySource("abcdef"), QStringLiteral("no reason at all")), int(StatusOk));
    QVERIFY(!first.isOpen);
    QCOMPARE(device.size(), qint64(6));
    QCOMPARE(device.pos(), qint64(0));
    QVERIFY(!device.hasReadError());
    QCOMPARE(device.readErrorOffset(), qint64(-1));
    QCOMPARE(device.errorText(), QString());
    QCOMPARE(readBytes(&device, 100), QByteArray("abcdef"));
    QCOMPARE(device.bytesRead(), quint64(56)); // counted on: the host bounds all of a parser's reading

    openFaulty(&device, &third);
    QCOMPARE(readBytes(&device, 100), bytesAt(0, 10));
}

void TestFileDevice::twoFilesAreNeverOpenAtATime()
{
    const QString path = writeFile("one of two", "bytes");
    FileDevice device;
    QCOMPARE(device.open(path), int(StatusOk));
    // No further file can be opened now.
    rlimit usual = {};
    QVERIFY(::getrlimit(RLIMIT_NOFILE, &usual) == 0);
    const int free = ::dup(0);
    QVERIFY(free >= 0 && ::close(free) == 0);
    const rlimit none = {rlim_t(free), usual.rlim_max};
    QVERIFY(::setrlimit(RLIMIT_NOFILE, &none) == 0);
    FileDevice other;
    const int statusOfOther = other.open(path);
    const int status = device.open(path);
    QVERIFY(::setrlimit(RLIMIT_NOFILE, &usual) == 0);
    QCOMPARE(statusOfOther, int(StatusCannotOpen));
    QCOMPARE(other.errorText(), QStringLiteral("Too many open files"));
    QCOMPARE(status, int(StatusOk));
}

void TestFileDevice::closingReleasesTheSourceAndKeepsTheError()
{
    SourceState state;
    state.size = 100;
    state.damagedFrom = 0;
    FileDevice device;
    openFaulty(&device, &state);
    QCOMPARE(readBytes(&device, 4), QByteArray());
    device.close();
    QVERIFY(!state.isOpen);
    QVERIFY(!device.isOpen());
    QCOMPARE(device.size(), qint64(0));
    QCOMPARE(device.readErrorOffset(), qint64(0));
    QCOMPARE(device.errorText(), QStringLiteral("Input/output error"));
    QCOMPARE(readBytes(&device, 4), QByteArray());
}

void TestFileDevice::seekIsAnAssignment()
{
    SourceState state;
    state.size = 100 * kib;
    FileDevice device;
    openFaulty(&device, &state);
    QVERIFY(device.seek(70 * kib));
    QVERIFY(device.seek(furthest));
    QCOMPARE(device.pos(), furthest);
    QVERIFY(device.seek(0));
    QVERIFY(device.seek(12));
    QVERIFY(!device.seek(-1));
    QVERIFY(!device.seek(std::numeric_limits<qint64>::min()));
    QCOMPARE(device.pos(), qint64(12));
    QVERIFY(state.fetches.empty());
}

void TestFileDevice::readsAtTheEnd_data()
{
    QTest::addColumn<qint64>("position");
    QTest::addColumn<qint64>("maxSize");
    QTest::addColumn<qint64>("count");
    const qint64 lowest = std::numeric_limits<qint64>::min();

    QTest::newRow("all but the last byte") << qint64(0) << qint64(9) << qint64(9);
    QTest::newRow("all") << qint64(0) << qint64(10) << qint64(10);
    QTest::newRow("more than all") << qint64(0) << qint64(11) << qint64(10);
    QTest::newRow("as much as there may be") << qint64(3) << furthest << qint64(7);
    QTest::newRow("across the end") << qint64(8) << qint64(4) << qint64(2);
    QTest::newRow("at the end") << qint64(10) << qint64(1) << qint64(0);
    QTest::newRow("past the end") << qint64(11) << qint64(1) << qint64(0);
    QTest::newRow("as far past the end as there is") << furthest << furthest << qint64(0);
    QTest::newRow("nothing is asked for") << qint64(4) << qint64(0) << qint64(0);
    QTest::newRow("nothing is asked for past the end") << qint64(400) << qint64(0) << qint64(0);
    QTest::newRow("less than nothing") << qint64(4) << qint64(-1) << qint64(0);
    QTest::newRow("the least") << qint64(4) << lowest << qint64(0);
}

void TestFileDevice::readsAtTheEnd()
{
    QFETCH(qint64, position);
    QFETCH(qint64, maxSize);
    QFETCH(qint64, count);
    SourceState state;
    state.size = 10;
    FileDevice devices[2];
    openFaulty(&devices[0], &state);
    QCOMPARE(devices[1].open(memorySource(bytesAt(0, 10))), int(StatusOk));
    for (FileDevice &device : devices) {
        for (int round = 0; round < 2; ++round) { // before and after there is a window
            char buffer[10] = {};
            QVERIFY(device.seek(position));
            QCOMPARE(device.read(buffer, maxSize), count);
            QCOMPARE(QByteArray(buffer, int(count)), bytesAt(position, count));
            QCOMPARE(device.pos(), position + count);
            QVERIFY(device.seek(position));
            QCOMPARE(device.read(maxSize), bytesAt(position, count));
            QVERIFY(device.seek(0));
            QCOMPARE(readBytes(&device, 10), bytesAt(0, 10));
        }
    }
}

void TestFileDevice::anArrayIsNoLargerThanWhatTheFileCanGive()
{
    SourceState state;
    state.size = furthest;
    state.end = 3 * kib * kib + 5;
    FileDevice device;
    openFaulty(&device, &state);
    // The source claims 2^63 - 1 bytes: an array of that size would be the end of the program.
    const QByteArray bytes = device.read(furthest);
    QCOMPARE(bytes, bytesAt(0, 3 * kib * kib + 5));
    QVERIFY(bytes.capacity() <= 8 * kib * kib);
    QVERIFY(device.seek(0));
    QCOMPARE(device.read(4000000000), bytesAt(0, 3 * kib * kib + 5));
    QVERIFY(device.seek(kib));
    QCOMPARE(device.read(2 * kib * kib), bytesAt(kib, 2 * kib * kib));

    QCOMPARE(device.open(memorySource("abcdef")), int(StatusOk));
    QVERIFY(device.read(4000000000).capacity() < kib);
}

void TestFileDevice::positionsNear2To63()
{
    SourceState state;
    state.size = furthest;
    FileDevice device;
    openFaulty(&device, &state);
    QVERIFY(device.seek(furthest - 10));
    QCOMPARE(readBytes(&device, 4), bytesAt(furthest - 10, 4));
    QCOMPARE(readBytes(&device, 100), bytesAt(furthest - 6, 6));
    QCOMPARE(device.pos(), furthest);
    QCOMPARE(readBytes(&device, 1), QByteArray());
    QVERIFY(device.seek(furthest - 2));
    QCOMPARE(device.read(furthest), bytesAt(furthest - 2, 2));
    QVERIFY(device.seek(furthest - 20 * kib));
    QCOMPARE(readBytes(&device, 30 * kib), bytesAt(furthest - 20 * kib, 20 * kib));
    for (const Fetch &fetch : state.fetches)
        QVERIFY(fetch.size <= furthest - fetch.position);
}

QTEST_GUILESS_MAIN(TestFileDevice)
#include "tst_filedevice.moc"
