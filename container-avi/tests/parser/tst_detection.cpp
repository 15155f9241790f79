#include "avibuilder.h"
#include "aviprobe.h"

#include <QTest>

using namespace quenlofar;
using namespace build;

namespace {

constexpr int blockSize = 6144;

/// A RIFF header of `form` at `position` of a file of `size` bytes.
QByteArray fileWithHeader(int size, int position, const QByteArray &form, const QByteArray &id = "RIFF")
{
    QByteArray file(size, 'x');
    return file.replace(position, 12, id + u32(1000) + form);
}

/// Counts how much of the file is read.
class CountingSource : public ByteSource
{
public:
    CountingSource(const QByteArray &bytes, qint64 *lastByte) : m_bytes(bytes), m_lastByte(lastByte) { }
    qint64 size() const override { return m_bytes.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        const qint64 count = qBound(qint64(0), qint64(m_bytes.size()) - position, maxSize);
        memcpy(data, m_bytes.constData() + position, size_t(count));
        *m_lastByte = std::max(*m_lastByte, position + count);
        return count;
    }

private:
    QByteArray m_bytes;
    qint64 *m_lastByte;
};

} // namespace

class TestDetection : public QObject
{
    Q_OBJECT

    static int verify(const QByteArray &file)
    {
        AviProbe probe{QByteArray()};
        ContainerAbstractPrivate::of(probe).opener = [file](const QString &, QString *) { return memorySource(file); };
        const int status = probe.verifyContainerFormat(QStringLiteral("any"));
        [&] { QVERIFY2(!probe.m_file.isOpen(), "the file is left open"); }();
        return status;
    }

private Q_SLOTS:
    void format_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("status");
        const int yes = StatusOk;
        const int no = StatusNotRecognised;
        QTest::newRow("an empty file is not") << QByteArray() << no;
        QTest::newRow("11 bytes are not") << QByteArray("RIFF....AVI") << no;
        QTest::newRow("a bare header of 12 bytes has no scan positions") << fileWithHeader(12, 0, "AVI ") << no;
        QTest::newRow("155 bytes have no scan positions") << fileWithHeader(155, 0, "AVI ") << no;
        QTest::newRow("156 bytes have one") << fileWithHeader(156, 0, "AVI ") << yes;
        QTest::newRow("156 bytes have only one") << fileWithHeader(156, 1, "AVI ") << no;
        QTest::newRow("form AVIX") << fileWithHeader(200, 0, "AVIX") << yes;
        QTest::newRow("lower case is accepted") << fileWithHeader(200, 0, "avix", "riff") << yes;
        QTest::newRow("form \"avi \" in mixed case") << fileWithHeader(200, 0, "aVi ", "RifF") << yes;
        QTest::newRow("form AVI without the blank") << fileWithHeader(200, 0, "AVIY") << no;
        QTest::newRow("form WAVE") << fileWithHeader(200, 0, "WAVE") << no;
        QTest::newRow("the first RIFF header decides, though an AVI one follows")
            << fileWithHeader(blockSize, 0, "WAVE").replace(100, 12, "RIFF....AVI ") << no;
        QTest::newRow("the first RIFF header decides, though another form follows")
            << fileWithHeader(blockSize, 50, "AVI ").replace(100, 12, "RIFF....WAVE") << yes;
        QTest::newRow("found at byte 499 of a block") << fileWithHeader(blockSize, 499, "AVI ") << yes;
        QTest::newRow("not found at byte 500") << fileWithHeader(blockSize, 500, "AVI ") << no;
        QTest::newRow("not found at the end of the first block") << fileWithHeader(blockSize * 2, 6132, "AVI ") << no;
        QTest::newRow("found at the start of the second block") << fileWithHeader(blockSize * 2, 6144, "AVI ") << yes;
        QTest::newRow("found at byte 499 of the second block") << fileWithHeader(blockSize * 2, 6643, "AVI ") << yes;
        QTest::newRow("not found at byte 500 of the second block") << fileWithHeader(blockSize * 2, 6644, "AVI ") << no;
        QTest::newRow("a second block that is not whole is not read")
            << fileWithHeader(blockSize * 2 - 1, 6144, "AVI ") << no;
        QTest::newRow("the second of two whole blocks is read, the rest is not")
            << fileWithHeader(blockSize * 2 + 600, 6144 * 2, "AVI ") << no;
        QTest::newRow("a file below one block is scanned to its own twelfth")
            << fileWithHeader(1200, 87, "AVI ") << yes;
        QTest::newRow("and not beyond") << fileWithHeader(1200, 88, "AVI ") << no;
        QTest::newRow("a form of bytes that upper-case to more characters") << fileWithHeader(200, 0, "AV\xDF ") << no;
        QTest::newRow("a size of bytes that upper-case to more characters")
            << fileWithHeader(200, 0, "AVI ").replace(4, 4, "\xDF\xDF\xDF\xDF") << yes;
    }
    void format()
    {
        QFETCH(QByteArray, file);
        QFETCH(int, status);
        QCOMPARE(verify(file), status);
    }

    void theTailBehindTheLastWholeBlockIsNeverRead()
    {
        qint64 lastByte = 0;
        AviProbe probe{QByteArray()};
        ContainerAbstractPrivate::of(probe).opener = [&](const QString &, QString *) {
            return std::make_unique<CountingSource>(QByteArray(blockSize * 10 + 6143, 'x'), &lastByte);
        };
        QCOMPARE(probe.verifyContainerFormat({}), int(StatusNotRecognised));
        QCOMPARE(probe.m_file.bytesRead(), quint64(blockSize * 10));
    }

    void aFileThatShrinksIsNot()
    {
        class Shrunk : public ByteSource
        {
            qint64 size() const override { return blockSize * 2; }
            qint64 readAt(qint64, char *, qint64) override { return 0; }
        };
        AviProbe probe{QByteArray()};
        ContainerAbstractPrivate::of(probe).opener = [](const QString &, QString *) {
            return std::make_unique<Shrunk>();
        };
        QCOMPARE(probe.verifyContainerFormat({}), int(StatusNotRecognised));
        QVERIFY(!probe.m_file.isOpen());
    }

    void aFailureToOpenIsPassedOn()
    {
        AviProbe probe{QByteArray()};
        QCOMPARE(probe.verifyContainerFormat(QStringLiteral("/nowhere/clip.avi")), int(StatusCannotOpen));
    }
};

QTEST_APPLESS_MAIN(TestDetection)
#include "tst_detection.moc"
