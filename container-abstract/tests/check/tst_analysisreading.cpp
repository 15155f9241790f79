#include "containeranalyzer.h"

#include "faultysource.h"
#include "filedevice.h"

#include <QTest>

using namespace quenlofar;

class TestAnalysisReading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theSourceStaysItsOwners()
    {
        const std::unique_ptr<ByteSource> source = memorySource("0123456789");
        for (int time = 0; time < 2; ++time) {
            FileDevice file;
            openForAnalysis(file, *source, {});
            file.seek(4);
            QCOMPARE(file.read(3), QByteArray("456"));
            const AnalysisResult result = analysisResult(file);
            QVERIFY(result.isComplete());
            QCOMPARE(result.bytesRead, quint64(3));
        }
        QCOMPARE(source->size(), qint64(10));
    }

    void anErrorIsTold()
    {
        SourceState state;
        state.size = 100000;
        state.damagedFrom = 50000;
        state.damagedTo = 60000;
        state.allOrNothing = true;
        FaultySource source(&state);
        FileDevice file;
        openForAnalysis(file, source, {});
        file.seek(55000);
        QCOMPARE(file.read(4), QByteArray());
        const AnalysisResult result = analysisResult(file);
        QVERIFY(!result.isComplete());
        QCOMPARE(int(result.error.kind), int(FileError::Read));
        QCOMPARE(result.error.offset, qint64(55000));
        QCOMPARE(result.error.message, QStringLiteral("Input/output error"));
    }

    void cancelAndProgressAreThoseOfTheOptions()
    {
        std::atomic<bool> cancel{false};
        WalkProgress progress;
        AnalysisOptions options;
        options.cancel = &cancel;
        options.progress = &progress;
        SourceState state;
        state.size = 10000000;
        FaultySource source(&state);
        FileDevice file;
        openForAnalysis(file, source, options);
        file.seek(5000000);
        QCOMPARE(file.read(4), bytesAt(5000000, 4));
        QVERIFY(progress.position.load() >= 5000000);
        QVERIFY(!analysisResult(file).isCancelled);
        cancel = true;
        file.seek(0);
        QCOMPARE(file.read(4), QByteArray());
        QVERIFY(analysisResult(file).isCancelled);
        QVERIFY(!analysisResult(file).isComplete());
    }
};

QTEST_APPLESS_MAIN(TestAnalysisReading)
#include "tst_analysisreading.moc"
