#include "rulerows.h"
#include "sparsesource.h"

#include <QTest>

using namespace quenlofar;
using namespace build;
using namespace film;

namespace {

constexpr quint64 riffSizeField = 4;
constexpr quint64 hdrlSizeField = 16;
constexpr quint64 firstStrlSizeField = 92;
constexpr quint64 moviSizeField = moviOffset + 4;

/// The data chunks with `bytes` before the chunk number `at`.
QByteArray withBefore(size_t at, const QByteArray &bytes)
{
    std::vector<QByteArray> parts = chunks();
    parts.insert(parts.begin() + std::ptrdiff_t(at), bytes);
    return joined(parts);
}

QByteArray data()
{
    return joined(chunks());
}

/// A later RIFF list with one frame and `behind` behind its movi.
QByteArray laterRiff(const char *form = "AVIX", const QByteArray &behind = {})
{
    return list(form, {list("movi", {chunk("00dc", payload(4))}), behind}, "RIFF");
}

QByteArray riff(std::initializer_list<QByteArray> children)
{
    return list("AVI ", children, "RIFF");
}

/// The header of a list or chunk, and the form type.
QByteArray header(const char *id, quint32 size, const char *form = nullptr)
{
    return QByteArray(id, 4) + u32(size) + (form ? QByteArray(form, 4) : QByteArray());
}

/// A file on a disk of which nothing can be read from `end` on.
class FailingSource : public ByteSource
{
public:
    FailingSource(std::unique_ptr<ByteSource> source, qint64 end) : m_source(std::move(source)), m_end(end) { }
    qint64 size() const override { return m_source->size(); }
    qint64 readAt(qint64 position, char *bytes, qint64 maxSize) override
    {
        return position >= m_end ? -1 : m_source->readAt(position, bytes, std::min(maxSize, m_end - position));
    }
    QString errorText() const override { return QStringLiteral("the disk fails"); }

private:
    const std::unique_ptr<ByteSource> m_source;
    const qint64 m_end;
};

/// A file of one RIFF list whose movi has `count` frames of `frameSize` bytes, zeros that take no room.
SparseFile largeFile(quint64 frameSize, quint64 count, const QByteArray &behind)
{
    const quint64 moviSize = 4 + count * (8 + frameSize);
    const quint64 riffSize = 4 + quint64(headers().size()) + 8 + moviSize + quint64(behind.size());
    SparseFile file;
    file.size = qint64(8 + riffSize);
    file.islands[0] = header("RIFF", quint32(riffSize), "AVI ") + headers() + header("LIST", quint32(moviSize), "movi");
    for (quint64 frame = 0; frame < count; ++frame)
        file.islands[qint64(dataOffset + frame * (8 + frameSize))] = header("00dc", quint32(frameSize));
    file.islands[qint64(dataOffset + count * (8 + frameSize))] = behind;
    return file;
}

} // namespace

class TestStructureRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rules_data()
    {
        addRuleColumns();
        const auto row = addRuleRow;
        const QByteArray whole = file();

        row("kept", whole, "riff-missing", "");
        row("bytes before it", payload(7) + whole, "riff-missing",
            "error [none] 0+12 RIFF, size, AVI  > RIFF at offset 7");
        row("overwritten", replaced(0, zeros(12)), "riff-missing", "error [none] 0+12 RIFF, size, AVI  > no RIFF list");
        row("shorter than that", whole.left(10), "riff-missing", "error [none] 0+10 RIFF, size, AVI  > 10 bytes");

        row("kept", whole, "riff-form-unusual", "");
        row("a camera's variant", replaced(8, "AVI\x19"), "riff-form-unusual", "note [patch] 8+4 AVI  > 41 56 49 19");
        row("AVIX first", replaced(8, "AVIX"), "riff-form-unusual", "error [patch] 8+4 AVI  > AVIX");

        row("kept", whole + laterRiff(), "riff-later-form", "");
        row("another form", whole + laterRiff("AVI "), "riff-later-form", "error [patch] 586+4 AVIX > AVI ");
        row("a file of its own", whole + whole, "riff-later-form", "error [none] 586+4 AVIX > AVI ");

        row("kept", whole + laterRiff("AVIX", chunk("JUNK", zeros(4))), "riff-later-content", "");
        row("an index", whole + laterRiff("AVIX", index()), "riff-later-content",
            "warning [none] 614+8 LIST movi, JUNK > idx1");
        row("headers", whole + laterRiff("AVIX", headers()), "riff-later-content",
            "warning [none] 614+12 LIST movi, JUNK > LIST hdrl");

        row("kept", whole, "size-open", "");
        row("never written", replaced(riffSizeField, u32(0)).replace(int(moviSizeField), 4, u32(0)), "size-open",
            "error [patch] 4+4 x2 570 > 0");
        row("all ones in movi", replaced(moviSizeField, u32(0xFFFFFFFF)), "size-open",
            "error [patch] 318+4 120 > 4294967295");

        row("kept", whole, "riff-beyond-file", "");
        row("a larger size", replaced(riffSizeField, u32(670)), "riff-beyond-file", "error [patch] 4+4 570 > 670");
        row("a file that was cut", whole.left(388), "riff-beyond-file", "error [patch] 4+4 380 > 570");

        row("kept", whole, "riff-too-short", "");
        row("it ends inside of movi", replaced(riffSizeField, u32(400)), "riff-too-short",
            "error [patch] 4+4 570 > 400");
        row("it ends before the index", replaced(riffSizeField, u32(434)), "riff-too-short",
            "error [patch] 4+4 570 > 434");
        row("bytes were put in", inserted(dataOffset + 32, payload(6)), "riff-too-short",
            "error [patch] 4+4 576 > 570 < foreign-bytes");

        row("kept", whole, "child-beyond-parent", "");
        row("a chunk", replaced(dataOffset + 108, u32(60)), "child-beyond-parent", "error [patch] 434+4 #1 4 > 60");
        row("movi takes the index in", replaced(moviSizeField, u32(256)), "child-beyond-parent",
            "error [patch] 318+4 120 > 256");
        row("movi is too short", replaced(moviSizeField, u32(66)), "child-beyond-parent",
            "error [patch] 318+4 120 > 66");
        row("bytes were put in", inserted(dataOffset + 32, payload(6)), "child-beyond-parent",
            "error [patch] 318+4 126 > 120 < foreign-bytes");
        row("a chunk was put in", inserted(dataOffset + 32, chunk("01wb", payload(6))), "child-beyond-parent",
            "error [patch] 318+4 134 > 120 < riff-too-short");
        row("a chunk was taken out", removed(dataOffset + 48, 14), "child-beyond-parent",
            "error [patch] 318+4 106 > 120 < riff-beyond-file");
        row("the header list ends behind avih", replaced(hdrlSizeField, u32(68)), "child-beyond-parent",
            "error [patch] 16+4 294 > 68");
        row("a stream list ends behind strh", replaced(firstStrlSizeField, u32(68)), "child-beyond-parent",
            "error [patch] 92+4 116 > 68");
        row("a stream list takes the next one in", replaced(firstStrlSizeField, u32(300)), "child-beyond-parent",
            "error [patch] 92+4 116 > 300");

        row("kept", whole, "last-chunk-cut", "");
        row("a file that was cut", whole.left(401), "last-chunk-cut",
            "error [patch] 392+4 #0 12 > 5 < riff-beyond-file");
        row("a larger size", file(data(), {}).replace(int(dataOffset) + 108, 4, u32(60)), "last-chunk-cut",
            "error [patch] 434+4 #1 60 > 4");

        row("kept", whole, "pad-missing", "");
        row("between chunks", file(withBefore(2, chunk("00dc", payload(7)).bytes().chopped(1))), "pad-missing",
            "error [rewrite] 373+0 a byte of padding > none");
        row("at the end of the file",
            file(data() + chunk("00dc", payload(3)), {})
                .chopped(1)
                .replace(int(riffSizeField), 4, u32(445))
                .replace(int(moviSizeField), 4, u32(131)),
            "pad-missing", "error [rewrite] 452+0 a byte of padding > none");
        row("the last byte of the file is lost", file(data() + chunk("00dc", payload(3)), {}).chopped(1), "pad-missing",
            "error [rewrite] 452+0 a byte of padding > none < riff-beyond-file");

        row("kept", whole, "pad-not-zero", "");
        row("among the data", replaced(dataOffset + 47, "x"), "pad-not-zero", "note [patch] 373+1 0 > another value");
        row("elsewhere", file(data(), index() + chunk("JUNK", payload(3)).bytes().chopped(1) + "x"), "pad-not-zero",
            "note [patch] 589+1 0 > another value");
        row("where it is missing", file(withBefore(2, chunk("00dc", payload(7)).bytes().chopped(1))), "pad-not-zero",
            "");

        row("kept", whole, "list-stray-end", "");
        row("three bytes", file(data() + payload(3)), "list-stray-end", "warning [none] 442+3 none > 3 bytes");

        row("kept", whole, "trailing-zeros", "");
        row("less than a sector", whole + zeros(5), "trailing-zeros",
            "note [none] 578+5 the end of the file > 5 bytes that are 0");
        row("more than that", whole + zeros(600), "trailing-zeros",
            "warning [none] 578+600 the end of the file > 600 bytes that are 0");
        row("other bytes", whole + payload(5), "trailing-zeros", "");

        row("kept", whole + zeros(5), "trailing-bytes", "");
        row("other bytes", whole + zeros(5) + payload(2), "trailing-bytes",
            "warning [none] 578+7 the end of the file > 7 bytes");

        row("kept", whole, "foreign-bytes", "");
        row("too few for a chunk", file(withBefore(2, payload(5))), "foreign-bytes",
            "error [rewrite] 358+5 a chunk, or the end of the list > 5 bytes");
        row("enough for a chunk", file(withBefore(2, payload(20))), "foreign-bytes",
            "error [patch] 358+20 a chunk, or the end of the list > 20 bytes");
        row("an odd number", file(withBefore(2, payload(21))), "foreign-bytes",
            "error [rewrite] 358+21 a chunk, or the end of the list > 21 bytes");
        row("at two places", file(withBefore(2, payload(20)) + payload(8)), "foreign-bytes",
            "error [patch] 358+20 x2 a chunk, or the end of the list > 20 bytes");

        row("kept", file(withBefore(2, chunk("JUNK", zeros(100)))), "zero-bytes", "");
        row("in movi", file(withBefore(3, zeros(16))), "zero-bytes",
            "error [patch] 374+16 a chunk, or the end of the list > 16 bytes that are 0");
        row("elsewhere", whole + zeros(16) + laterRiff(), "zero-bytes",
            "warning [patch] 578+16 a chunk, or the end of the list > 16 bytes that are 0");

        const QByteArray avih = chunk("avih", MainHeader().frameTime(40000).totalFrames(4).streams(0));
        const QByteArray movi = list("movi", {data()});
        row("kept", whole, "hdrl-missing", "");
        row("no list", riff({movi}), "hdrl-missing", "error [rewrite] 0+12 LIST hdrl > no LIST hdrl");
        row("no main header", riff({list("hdrl", {list("strl", {})}), movi}), "hdrl-missing",
            "error [rewrite] 12+12 avih > no avih");
        row("no stream", riff({list("hdrl", {avih}), movi}), "hdrl-missing",
            "error [rewrite] 12+12 LIST strl > no LIST strl");

        row("kept", whole, "list-order", "");
        row("the headers behind the data", riff({movi, headers(), index()}), "list-order",
            "error [rewrite] 140+12 LIST hdrl before LIST movi > LIST movi before LIST hdrl");
        row("the index before the data", riff({headers(), index(), movi}), "list-order",
            "error [rewrite] 450+12 LIST movi before idx1 > idx1 before LIST movi");

        row("kept", whole + laterRiff(), "movi-count", "");
        row("none", riff({headers()}), "movi-count", "error [none] 0+12 1 > 0");
        row("two", riff({headers(), movi, movi}), "movi-count", "error [none] 442+12 1 > 2");
        row("one that is left over", riff({headers(), movi, movi, index()}), "movi-count",
            "error [none] 442+12 1 > 2 < movi-stale");

        row("kept", riff({headers(), movi, movi}), "movi-stale", "");
        row("the index knows the first one", riff({headers(), movi, movi, index()}), "movi-stale",
            "error [patch] 442+12 one LIST movi, which the index knows > another one at offset 442");
        row("the index knows the second one", riff({headers(), movi, movi, index(4 + 128)}), "movi-stale",
            "error [patch] 314+12 one LIST movi, which the index knows > another one at offset 314");

        row("kept", whole, "duplicate-chunk", "");
        row("avih", riff({list("hdrl", {avih, avih}), movi}), "duplicate-chunk",
            "error [none] 88+8 avih once > 2 times");
        row("hdrl", riff({headers(), headers(), movi}), "duplicate-chunk",
            "error [none] 314+12 LIST hdrl once > 2 times");
        row("strf",
            riff({list("hdrl",
                       {avih,
                        list("strl",
                             {chunk("strh", StreamHeader("vids")), chunk("strf", VideoFormat()),
                              chunk("strf", VideoFormat())})}),
                  movi}),
            "duplicate-chunk", "error [none] 212+8 strf once > 2 times");
        row("idx1", file(data(), index() + index()), "duplicate-chunk", "warning [none] 578+8 idx1 once > 2 times");

        row("kept", whole, "avih-not-first", "");
        row("JUNK first", riff({list("hdrl", {chunk("JUNK", zeros(4)), avih}), movi}), "avih-not-first",
            "error [rewrite] 36+8 avih > JUNK");

        row("kept", whole, "fourcc-not-ascii", "");
        row("the id of a chunk", replaced(dataOffset + 48, "\xFF"), "fourcc-not-ascii",
            "warning [none] 374+8 four printable ASCII characters > other bytes");
        row("a form type", file(data(), list("IN\x01O", {chunk("ISFT", "me")})), "fourcc-not-ascii",
            "warning [none] 442+12 four printable ASCII characters > other bytes");
        row("that of a RIFF has rules of its own", replaced(8, "AVI\x19"), "fourcc-not-ascii", "");
    }

    void rules() { tryRuleRow(); }

    void largeFiles_data()
    {
        QTest::addColumn<quint64>("frameSize");
        QTest::addColumn<quint64>("frames");
        QTest::addColumn<QByteArray>("behindRiff");
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("findings");
        const auto row = [](const char *name, quint64 frameSize, quint64 frames, const QByteArray &behindRiff,
                            const char *rule, const char *findings) {
            QTest::newRow(qPrintable(QString::fromLatin1(rule) + QStringLiteral(": ") + QString::fromLatin1(name)))
                << frameSize << frames << behindRiff << QString::fromLatin1(rule) << QString::fromLatin1(findings);
        };
        // 326 bytes of headers and 8 of each frame come to the data.
        row("kept", 1073741824 - 334, 1, laterRiff(), "first-riff-over-1gib", "");
        row("too large", 1073741824 - 332, 1, laterRiff(), "first-riff-over-1gib",
            "note [rewrite] 4+4 at most 1073741824 bytes > 1073741826 bytes");
        row("kept", 2147483648 - 336, 1, {}, "riff-over-2gib", "");
        row("too large", 2147483648 - 334, 1, {}, "riff-over-2gib",
            "warning [rewrite] 4+4 below 2147483648 bytes > 2147483648 bytes");
        row("kept", 2147483648 - 334, 1, {}, "size-wrapped", "");
        // 326 + 2 * 3000000008 - 8 = 6000000334, of which the size keeps 1705033038.
        row("too large", 3000000000, 2, {}, "size-wrapped",
            "error [rewrite] 4+4 RIFF lists below 4294967296 bytes > 1705033038 for 6000000334");
    }

    void largeFiles()
    {
        QFETCH(quint64, frameSize);
        QFETCH(quint64, frames);
        QFETCH(QByteArray, behindRiff);
        QFETCH(QString, rule);
        QFETCH(QString, findings);
        SparseFile bytes = largeFile(frameSize, frames, {});
        if (!behindRiff.isEmpty())
            bytes.islands[bytes.size] = behindRiff;
        bytes.size += behindRiff.size();
        for (const Level level : {Level::Quick, Level::Default}) {
            CheckOptions options;
            options.level = level;
            const Verdict verdict(std::make_unique<SparseSource>(&bytes), options);
            QVERIFY(verdict.isComplete);
            QCOMPARE(verdict.of(rule), findings);
            QCOMPARE(verdict.problem(), QString());
        }
    }

    void wrappedSizesAreSeenThrough()
    {
        SparseFile bytes = largeFile(3000000000, 2, index());
        const Verdict verdict(std::make_unique<SparseSource>(&bytes));
        QCOMPARE(verdict.layout().packets.size(), quint64(2));
        QCOMPARE(verdict.layout().legacyIndexes.size(), size_t(1));
        QCOMPARE(verdict.layout().damages.size(), size_t(0));
        QVERIFY(verdict.causes().startsWith(QStringLiteral("size-wrapped")));
    }

    // Where the data was not read, the index says which of two lists of data is the one.
    void listsThatIndexesKnowAtLevelQuick_data()
    {
        addRuleColumns();
        const QByteArray movi = list("movi", {data()});
        addRuleRow("no index", riff({headers(), movi, movi}), "movi-stale", "");
        addRuleRow("the index knows the first one", riff({headers(), movi, movi, index()}), "movi-stale",
                   "error [patch] 442+12 one LIST movi, which the index knows > another one at offset 442");
        addRuleRow("the index knows the second one", riff({headers(), movi, movi, index(4 + 128)}), "movi-stale",
                   "error [patch] 314+12 one LIST movi, which the index knows > another one at offset 314");
    }

    void listsThatIndexesKnowAtLevelQuick()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, rule);
        QFETCH(QString, findings);
        CheckOptions options;
        options.level = Level::Quick;
        QCOMPARE(Verdict(bytes, options).of(rule), findings);
    }

    void readingsThatEndEarlyAreSaid()
    {
        const auto notChecked = [](ByteSource &source, std::atomic<bool> *cancel) {
            AviAnalyzer analyzer;
            AnalysisOptions reading;
            reading.cancel = cancel;
            analyzer.read(source, reading);
            if (cancel)
                *cancel = false;
            Findings findings;
            analyzer.check({}, findings);
            return findings.notChecked().value(0);
        };
        // Chunks of 8 + 1000000 bytes from 326 on: the disk fails before the header of number 10, at 10000406.
        SparseFile bytes = largeFile(1000000, 20, index());
        FailingSource failing(std::make_unique<SparseSource>(&bytes), qint64(dataOffset) + 10'000'000);
        QCOMPARE(notChecked(failing, nullptr),
                 QStringLiteral("walk cut short by an error of reading, at offset 10000406"));
        std::atomic<bool> cancel{true};
        SparseSource whole(&bytes);
        QVERIFY(notChecked(whole, &cancel).startsWith(QStringLiteral("walk cut short by a cancel, at offset ")));
    }

    // One damage, one cause: what follows from it hangs below.
    void causesComeFirst_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("first");
        const auto row = [](const char *name, const QByteArray &bytes, const char *first) {
            QTest::newRow(name) << bytes << QString::fromLatin1(first);
        };
        row("nothing is wrong", file(), "");
        row("cut in the middle", file().left(401), "riff-beyond-file");
        row("cut before the data", file().left(300), "riff-beyond-file");
        row("never closed", replaced(riffSizeField, u32(0)).replace(int(moviSizeField), 4, u32(0)).left(442),
            "size-open");
        row("cut in the index", file().left(500), "riff-beyond-file");
        row("bytes put in before the last chunk", inserted(dataOffset + 104, payload(6)), "foreign-bytes");
        row("as many as two entries of the index have", inserted(dataOffset + 70, payload(32)), "foreign-bytes");
        row("one byte is lost", removed(dataOffset + 72, 1), "riff-beyond-file");
        row("bytes put in", inserted(dataOffset + 32, payload(6)), "foreign-bytes");
        row("a chunk put in", inserted(dataOffset + 32, chunk("01wb", payload(6))), "riff-too-short");
        row("a chunk taken out", removed(dataOffset + 48, 14), "riff-beyond-file");
        row("zero bytes over two chunks", replaced(dataOffset + 40, zeros(42)), "zero-bytes");
        row("the header list is too short", replaced(hdrlSizeField, u32(68)), "child-beyond-parent");
        row("a stream list is lost", replaced(212, "JUNK"), "stream-count");
        row("all headers are lost", replaced(12, "JUNK"), "hdrl-missing");
        row("the data is lost", replaced(moviOffset, "JUNK"), "movi-count");
        row("two files in one", file() + file(), "riff-later-form");
    }

    void causesComeFirst()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, first);
        const Verdict verdict(bytes);
        const QStringList causes = verdict.causes().split(QLatin1Char(' '));
        QCOMPARE(causes.front(), first);
        QVERIFY2(causes.size() <= 3, qPrintable(verdict.causes()));
        QCOMPARE(verdict.problem(), QString());
    }
};

QTEST_APPLESS_MAIN(TestStructureRules)
#include "tst_structurerules.moc"
