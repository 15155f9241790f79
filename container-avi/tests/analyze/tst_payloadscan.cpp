// What is looked for in the payload of every codec: runs of zero bytes, and frames that are the same.
#include "bitstring.h"
#include "payloadscan.h"
#include "payloadtext.h"

#include <QTest>

using namespace quenlofar;
using namespace payload;

namespace {

/// The long runs of zero bytes, found one by one.
QString plainRuns(const QByteArray &bytes)
{
    QString text;
    for (int at = 0; at < bytes.size();) {
        int end = at;
        while (end < bytes.size() && bytes.at(end) == 0)
            ++end;
        if (end - at >= 512)
            text += QStringLiteral("%1+%2 ").arg(at).arg(end - at);
        at = end + 1;
    }
    return text;
}

QString runsInPieces(const QByteArray &bytes, int piece)
{
    QString text;
    const auto report = [&text](const ByteRange &run, size_t) {
        text += QStringLiteral("%1+%2 ").arg(run.offset).arg(run.size);
    };
    ZeroRuns runs;
    runs.begin();
    for (int at = 0; at < bytes.size(); at += piece) {
        const QByteArray part = bytes.mid(at, piece);
        runs.feed(view(part), quint64(at), report);
    }
    runs.end(quint64(bytes.size()), report);
    return text;
}

quint64 hashOf(const QByteArray &bytes, int piece)
{
    PayloadHash hash;
    hash.begin();
    for (int at = 0; at < bytes.size(); at += piece) {
        const QByteArray part = bytes.mid(at, piece);
        hash.feed(view(part));
    }
    return hash.value();
}

} // namespace

class TestPayloadScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void zeroRuns_data()
    {
        QTest::addColumn<int>("piece");
        for (const int piece : {1, 7, 8, 255, 256, 511, 512, 513, 1000, 4096, 100000})
            QTest::addRow("pieces of %d", piece) << piece;
    }

    void zeroRuns()
    {
        QFETCH(int, piece);
        for (const int length : {0, 1, 511, 512, 513, 520, 1023, 1024, 3000}) {
            for (const int before : {0, 1, 7, 8, 255, 256, 257, 300, 511, 512}) {
                for (const int behind : {0, 1, 300}) {
                    const QByteArray bytes =
                        payload::filling(before) + QByteArray(length, '\0') + payload::filling(behind);
                    QCOMPARE(runsInPieces(bytes, piece), plainRuns(bytes));
                }
            }
        }
        const QByteArray several = QByteArray(600, '\0') + "a" + QByteArray(511, '\0') + "b" + QByteArray(512, '\0');
        QCOMPARE(runsInPieces(several, piece), QStringLiteral("0+600 1113+512 "));
    }

    void zerosAreCountedAsIfTheyWereRead()
    {
        const QByteArray head = payload::filling(128);
        for (const int count : {1, 63, 64, 65, 1000, 4096}) {
            PayloadHash hash;
            hash.begin();
            hash.feed(view(head));
            hash.feedZeros(quint64(count));
            QCOMPARE(hash.value(), hashOf(head + QByteArray(count, '\0'), 128 + count));

            QString text;
            const auto report = [&text](const ByteRange &run, size_t) {
                text += QStringLiteral("%1+%2 ").arg(run.offset).arg(run.size);
            };
            ZeroRuns runs;
            runs.begin();
            const QByteArray beginning = head + QByteArray(3, '\0');
            runs.feed(view(beginning), 0, report);
            runs.feedZeros(quint64(count));
            const QByteArray end = QByteArray(2, '\0') + 'x';
            runs.feed(view(end), quint64(131 + count), report);
            runs.end(quint64(134 + count), report);
            QCOMPARE(text, plainRuns(beginning + QByteArray(count, '\0') + end));
        }
    }

    void hashes()
    {
        const QByteArray bytes = payload::filling(1000);
        const quint64 whole = hashOf(bytes, 1000);
        QCOMPARE(hashOf(bytes, int(PayloadHash::block)), whole);
        QCOMPARE(hashOf(bytes, 512), whole);
        for (int at = 0; at < bytes.size(); ++at) {
            QByteArray other = bytes;
            other[at] = char(other[at] ^ 1);
            QVERIFY(hashOf(other, 1000) != whole);
        }
        QVERIFY(hashOf(QByteArray(64, '\0'), 64) != hashOf(QByteArray(65, '\0'), 65));
        QVERIFY(hashOf(QByteArray(63, '\0'), 63) != hashOf(QByteArray(64, '\0'), 64));
    }

    // Sizes and kinds of frames are those that ffprobe 5.1.9 says.
};

QTEST_APPLESS_MAIN(TestPayloadScan)
#include "tst_payloadscan.moc"
