#include "teesink.h"
#include "testing/recordingsink.h"

#include <QTest>

#include <utility>

namespace {

/// Takes everything or nothing, and has a name of its own to fail with.
class FailingSink : public RecordingSink
{
public:
    explicit FailingSink(const QString &name) : m_name(name) { }
    bool beginDocument(const DocumentStart &start) override
    {
        return RecordingSink::beginDocument(start) && !failsAtDocuments;
    }
    bool endDocument(const RunResult &outcome) override
    {
        return RecordingSink::endDocument(outcome) && !failsAtDocuments;
    }
    QString errorText() const override { return m_name; }

    bool failsAtDocuments = false;

private:
    QString m_name;
};

/// All six calls; what they returned.
QVector<bool> callAll(ElementSink &sink)
{
    const Field field{false, 0, 1, 2, -1, u"leaf", u"value", {}, {}};
    return {sink.beginDocument({QStringLiteral("clip"), QStringLiteral("TEST"), 8}),
            sink.beginElement(0, 8, QStringLiteral("node"), 3),
            sink.addField(field),
            sink.reportFrame({1, 2, 3, 4, true}),
            sink.endElement(),
            sink.endDocument({})};
}

} // namespace

class TestTeeSink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bothSinksSeeEverything()
    {
        RecordingSink first;
        RecordingSink second;
        TeeSink tee(first, second);
        QCOMPARE(callAll(tee), QVector<bool>(6, true));
        QVERIFY(tee.errorText().isNull());
        for (const RecordingSink *sink : {&first, &second}) {
            QCOMPARE(sink->lines,
                     (QStringList{QStringLiteral("node 0+8 #3 {"), QStringLiteral("  leaf 1+2 value"),
                                  QStringLiteral("  frame 1/2 3+4 key"), QStringLiteral("}")}));
            QCOMPARE(sink->document.fileSize, qint64(8));
            QCOMPARE(sink->documentsBegun, 1);
            QCOMPARE(sink->documentsEnded, 1);
        }
    }

    void takesWhatBothTake_data()
    {
        QTest::addColumn<int>("firstFailsAt");
        QTest::addColumn<int>("secondFailsAt");
        QTest::addColumn<QVector<bool>>("taken");
        QTest::addColumn<QString>("error");
        const QVector<bool> fromTheLeaf{true, true, false, false, false, true};
        QTest::newRow("the first fails") << 2 << 0 << fromTheLeaf << "first";
        QTest::newRow("the second fails") << 0 << 2 << fromTheLeaf << "second";
        QTest::newRow("both fail at one call") << 2 << 2 << fromTheLeaf << "first";
        QTest::newRow("the one that fails first is named") << 3 << 2 << fromTheLeaf << "second";
        QTest::newRow("at a node") << 1 << 0 << QVector<bool>{true, false, false, false, false, true} << "first";
        QTest::newRow("at a frame") << 0 << 3 << QVector<bool>{true, true, true, false, false, true} << "second";
        QTest::newRow("at a node's end") << 4 << 0 << QVector<bool>{true, true, true, true, false, true} << "first";
    }
    void takesWhatBothTake()
    {
        QFETCH(int, firstFailsAt);
        QFETCH(int, secondFailsAt);
        QFETCH(QVector<bool>, taken);
        QFETCH(QString, error);
        FailingSink first(QStringLiteral("first"));
        FailingSink second(QStringLiteral("second"));
        first.failAt = firstFailsAt;
        second.failAt = secondFailsAt;
        TeeSink tee(first, second);
        QCOMPARE(callAll(tee), taken);
        QCOMPARE(tee.errorText(), error);
        // The call counts all the same, for both.
        for (const RecordingSink *sink : {&first, &second}) {
            QCOMPARE(sink->calls, 4);
            QCOMPARE(sink->depth(), 0);
            QCOMPARE(sink->documentsEnded, 1);
        }
    }

    void theNextDocumentFailsForItself()
    {
        FailingSink first(QStringLiteral("first"));
        FailingSink second(QStringLiteral("second"));
        TeeSink tee(first, second);
        first.failsAtDocuments = true;
        callAll(tee);
        std::swap(first.failsAtDocuments, second.failsAtDocuments);
        callAll(tee);
        QCOMPARE(tee.errorText(), QStringLiteral("second"));
        second.failsAtDocuments = false;
        callAll(tee);
        QVERIFY(tee.errorText().isNull());
    }

    void documentsFailToo_data()
    {
        QTest::addColumn<bool>("isFirst");
        QTest::newRow("the first") << true;
        QTest::newRow("the second") << false;
    }
    void documentsFailToo()
    {
        QFETCH(bool, isFirst);
        FailingSink first(QStringLiteral("first"));
        FailingSink second(QStringLiteral("second"));
        (isFirst ? first : second).failsAtDocuments = true;
        TeeSink tee(first, second);
        QCOMPARE(callAll(tee), (QVector<bool>{false, true, true, true, true, false}));
        QCOMPARE(tee.errorText(), isFirst ? QStringLiteral("first") : QStringLiteral("second"));
        QCOMPARE(first.documentsEnded + second.documentsEnded, 2);
    }
};

QTEST_APPLESS_MAIN(TestTeeSink)
#include "tst_teesink.moc"
