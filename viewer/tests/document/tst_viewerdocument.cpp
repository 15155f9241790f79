// One open file: its tree as it grows, its bytes, its places, and threads that come late, fail or never end.
#include "document.h"
#include "fileanalysis.h"
#include "placetext.h"
#include "plaintree.h"
#include "randomdocument.h"
#include "testsources.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace quenlofar;

namespace {

/// The first difference between the two trees, or nothing.
QString difference(const GrowingTree &tree, const PlainTree &plain, std::vector<TreeItem> *handles)
{
    handles->assign(plain.items.size(), GrowingTree::root());
    if (tree.itemCount() != plain.items.size() - 1)
        return QStringLiteral("%1 items").arg(tree.itemCount());
    for (size_t number = 0; number < plain.items.size(); ++number) {
        const PlainItem &is = plain.items[number];
        const TreeItem item = (*handles)[number];
        const QString where = QStringLiteral("item %1: ").arg(number);
        if (tree.childCount(item) != is.children.size())
            return where + QStringLiteral("%1 children").arg(tree.childCount(item));
        for (quint32 row = 0; row < tree.childCount(item); ++row) {
            const TreeItem child = tree.child(item, row);
            if (tree.parent(child) != item || tree.row(child) != row)
                return where + QStringLiteral("parent or row of child %1").arg(row);
            (*handles)[size_t(is.children[row])] = child;
        }
        if (number == 0)
            continue;
        if (tree.isNode(item) != is.isNode || tree.offset(item) != is.offset || tree.size(item) != is.size)
            return where + QStringLiteral("kind or place");
        if (tree.name(item) != is.name || tree.value(item) != is.value || tree.meaning(item) != is.meaning
            || tree.description(item) != is.description)
            return where + QStringLiteral("texts");
    }
    return {};
}

PlaceText parsed(const QString &text)
{
    QString error;
    return PlaceText::parse(text, &error).value_or(PlaceText());
}

/// Goes on where a call fails for want of memory, as a run does.
class Repeating : public ElementSink
{
public:
    explicit Repeating(SegmentSink *to) : m_to(to) { }
    bool beginDocument(const DocumentStart &start) override { return m_to->beginDocument(start); }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        return again([&] { return m_to->beginElement(offset, size, title, index); });
    }
    bool addField(const Field &field) override
    {
        return again([&] { return m_to->addField(field); });
    }
    bool endElement() override { return m_to->endElement(); }
    bool reportFrame(const Frame &frame) override { return m_to->reportFrame(frame); }
    bool endDocument(const RunResult &result) override
    {
        return again([&] { return m_to->endDocument(result); });
    }

private:
    template <typename Call> static bool again(Call call)
    {
        try {
            return call();
        } catch (const std::bad_alloc &) {
            return call();
        }
    }
    SegmentSink *const m_to;
};

} // namespace

class ViewerDocumentTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void treeIsTheSameHoweverItIsCut_data();
    void treeIsTheSameHoweverItIsCut();
    void sizesThatComeAtTheEnd();
    void pathsOfItems();
    void memoryOfTheTreeIsBounded();
    void publishingThatFails();
    void fileIsReadAndNeverByTheWindow();
    void placeBelongsToTheDeepestItem();
    void placeIsResolvedWhenItsItemComes();
    void blockedSourceShowsWhatCameAndCloses();
    void stoppedReadingSaysSo();
    void readsThatFail();
    void fileThatShrinks();
    void changesOnTheDisk();
    void fileThatCannotBeOpened();
    void pagesAreDropped();
    void historyGoesBackAndForward();
    void placesAsPeopleTypeThem_data();
    void placesAsPeopleTypeThem();
    void textsThatAreNoPlace_data();
    void textsThatAreNoPlace();
    void goingToPlaces();
    void pictureAtATime();
};

void ViewerDocumentTest::treeIsTheSameHoweverItIsCut_data()
{
    QTest::addColumn<int>("seed");
    QTest::addColumn<int>("calls");
    QTest::addColumn<int>("itemsOfSegment");
    for (int seed = 1; seed <= 40; ++seed) {
        const bool isLarge = seed % 4 == 0;
        QTest::addRow("seed %d", seed) << seed << (isLarge ? 3000 : 200 + seed)
                                       << (isLarge             ? 100
                                               : seed % 3 == 0 ? 1
                                                               : 7);
    }
}

void ViewerDocumentTest::treeIsTheSameHoweverItIsCut()
{
    QFETCH(int, seed);
    QFETCH(int, calls);
    QFETCH(int, itemsOfSegment);
    PlainTree plain;
    RandomDocument(unsigned(seed), calls)(plain);
    GrowingTree tree;
    int segments = 0;
    SegmentSink sink(
        [&](std::shared_ptr<const TreeSegment> segment) {
            tree.append(std::move(segment));
            ++segments;
        },
        paceOf(1, quint64(itemsOfSegment)));
    RandomDocument(unsigned(seed), calls)(sink);
    QVERIFY(segments > 3);
    QVERIFY(tree.isComplete());
    std::vector<TreeItem> handles;
    QCOMPARE(difference(tree, plain, &handles), QString());
    for (const quint64 byte : {quint64(0), quint64(17), quint64(100), quint64(299), quint64(1000), quint64(5'000'000)})
        QCOMPARE(tree.itemAt(byte), handles[size_t(plain.itemAt(byte))]);
    for (size_t number = 1; number < plain.items.size(); number += 13) {
        const quint64 byte = plain.items[number].offset;
        QCOMPARE(tree.itemAt(byte), handles[size_t(plain.itemAt(byte))]);
    }
}

/// A node that begins without a size, cut in the middle.
void ViewerDocumentTest::sizesThatComeAtTheEnd()
{
    GrowingTree tree;
    SegmentSink sink([&](std::shared_ptr<const TreeSegment> segment) { tree.append(std::move(segment)); },
                     paceOf(1, 1));
    sink.beginDocument({QStringLiteral("a"), QStringLiteral("TEST"), 100});
    sink.beginElement(10, sizeFromEnd, u"open", -1);
    sink.addField(leaf(10, 5, u"first", u"1"));
    sink.addField(leaf(20, 5, u"second", u"2"));
    sink.addField(leaf(30, 5, u"third", u"3"));
    const TreeItem node = tree.child(GrowingTree::root(), 0);
    QCOMPARE(tree.name(node), QStringLiteral("open"));
    QCOMPARE(tree.childCount(node), 2U);
    QCOMPARE(tree.size(node), quint64(15)); // up to the end of what is known
    QCOMPARE(tree.openNodes(), (std::vector<TreeItem>{GrowingTree::root(), node}));
    sink.setElementSize(40);
    sink.endElement();
    sink.endDocument({});
    QCOMPARE(tree.size(node), quint64(40));
    QCOMPARE(tree.childCount(node), 3U);
    QCOMPARE(tree.itemAt(49), node);
    QCOMPARE(tree.itemAt(50), GrowingTree::root());
    QCOMPARE(tree.openNodes(), std::vector<TreeItem>());
}

void ViewerDocumentTest::pathsOfItems()
{
    GrowingTree tree;
    SegmentSink sink([&](std::shared_ptr<const TreeSegment> segment) { tree.append(std::move(segment)); },
                     paceOf(1, 1));
    sink.beginDocument({QStringLiteral("a"), QStringLiteral("TEST"), 100});
    sink.beginElement(0, 50, u"list", -1);
    for (quint64 i = 0; i < 3; ++i) {
        sink.beginElement(10 * i, 10, u"part/x", -1);
        sink.addField(leaf(10 * i, 4, u"id", u"a"));
        sink.addField(leaf(10 * i + 4, 4, unparsedDataMarker, u""));
        sink.endElement();
    }
    sink.endElement();
    sink.endDocument({});
    const TreeItem list = tree.child(GrowingTree::root(), 0);
    const TreeItem unparsed = tree.child(tree.child(list, 2), 1);
    QCOMPARE(tree.path(unparsed), QStringLiteral("list/part%2Fx[2]/unparsed"));
    QCOMPARE(tree.path(tree.child(list, 0)), QStringLiteral("list/part%2Fx"));
    QCOMPARE(tree.path(GrowingTree::root()), QString());
    QCOMPARE(tree.find(parsed(QStringLiteral("list/part%2Fx[2]/unparsed")).path), unparsed);
    QCOMPARE(tree.find(parsed(QStringLiteral("list/part%2Fx[3]")).path), GrowingTree::root());
    QCOMPARE(tree.find(parsed(QStringLiteral("list/part%2Fx/id/deeper")).path), GrowingTree::root());
}

void ViewerDocumentTest::memoryOfTheTreeIsBounded()
{
    DocumentOptions options = optionsFor(makeFile(16 + 8 * 400'000), 400'000, 8);
    options.pace.mostBytes = quint64(8) << 20;
    Document document(QStringLiteral("large"), options);
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    QVERIFY(document.tree().itemCount() > 1000);
    QVERIFY(document.tree().itemCount() < (quint64(8) << 20) / 18 + 2);
    QCOMPARE(document.tree().result().sinkError, QStringLiteral("the tree takes more than 8 MiB of memory"));
}

/// Segments that could not be taken come with the next one.
void ViewerDocumentTest::publishingThatFails()
{
    PlainTree plain;
    RandomDocument(5, 301)(plain);
    GrowingTree tree;
    int calls = 0;
    SegmentSink sink(
        [&](std::shared_ptr<const TreeSegment> segment) {
            if (++calls % 3 == 1)
                throw std::bad_alloc();
            tree.append(std::move(segment));
        },
        paceOf(1, 20));
    Repeating repeating(&sink);
    RandomDocument(5, 301)(repeating);
    QVERIFY(calls > 6);
    std::vector<TreeItem> handles;
    QCOMPARE(difference(tree, plain, &handles), QString());
    QVERIFY(tree.isComplete());
}

void ViewerDocumentTest::fileIsReadAndNeverByTheWindow()
{
    const auto file = makeFile(100'000);
    file->head = "0123456789abcdef";
    {
        Document document(QStringLiteral("a file"), optionsFor(file, 1000, 20));
        QSignalSpy idle(&document, &Document::becameIdle);
        QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
        QCOMPARE(document.size(), quint64(100'000));
        QCOMPARE(document.tree().document().container, QStringLiteral("TEST"));
        QCOMPARE(document.tree().itemCount(), quint64(2001));
        QVERIFY(document.tree().result().isClean());

        uchar bytes[3] = {};
        ByteState states[3] = {};
        document.bytes(99'998, 3, bytes, states);
        QCOMPARE(states[0], ByteState::Awaited);
        QCOMPARE(states[1], ByteState::Awaited);
        QCOMPARE(states[2], ByteState::Outside);
        QVERIFY(!document.isIdle());
        QTRY_VERIFY_WITH_TIMEOUT(document.isIdle(), patience);
        document.bytes(99'998, 3, bytes, states);
        QCOMPARE(states[1], ByteState::Known);
        QCOMPARE(int(bytes[0]), 100); // 99 998 = 398 * 251 + 100
        QCOMPARE(int(bytes[1]), 101);
        document.bytes(8, 3, bytes, states);
        QTRY_VERIFY_WITH_TIMEOUT(document.isIdle(), patience);
        document.bytes(8, 3, bytes, states);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(bytes), 3), QByteArray("89a"));
        QVERIFY(!idle.isEmpty());
    }
    QVERIFY(haveThreadsEnded());
    QVERIFY(!file->usedInWindow);
}

void ViewerDocumentTest::placeBelongsToTheDeepestItem()
{
    Document document(QStringLiteral("a file"), optionsFor(makeFile(1000), 4, 20));
    QSignalSpy moves(&document, &Document::placeChanged);
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    document.setBytes({36, 1}, Move::Jump); // the second part
    QCOMPARE(document.tree().path(document.place().item), QStringLiteral("part[1]/bytes"));
    document.setBytes({41, 2}, Move::Jump);
    QCOMPARE(document.tree().path(document.place().item), QStringLiteral("part[1]"));
    document.setBytes({96, 1}, Move::Jump); // behind the last part
    QCOMPARE(document.place().item, GrowingTree::root());
    QCOMPARE(moves.size(), 3);
    document.setBytes({96, 1}, Move::Jump);
    QCOMPARE(moves.size(), 3);
    document.setItem(document.tree().find(parsed(QStringLiteral("part[3]")).path), Move::Jump);
    QCOMPARE(document.place().range, (ByteRange{76, 20}));
    document.setBytes({5000, 10}, Move::Jump);
    QCOMPARE(document.place().range, (ByteRange{999, 1}));
}

void ViewerDocumentTest::placeIsResolvedWhenItsItemComes()
{
    const auto file = makeFile(100'000);
    file->blocksFrom = 4096; // behind the first window of the walk, which begins at 0
    Document document(QStringLiteral("a file"), optionsFor(file, 4000, 20));
    QTRY_VERIFY_WITH_TIMEOUT(document.isOpened(), patience);
    document.setBytes({60'016, 1}, Move::Jump);
    QCOMPARE(document.place().item, GrowingTree::root());
    QSignalSpy resolved(&document, &Document::placeResolved);
    QSignalSpy moves(&document, &Document::placeChanged);
    file->release();
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    QCOMPARE(document.tree().path(document.place().item), QStringLiteral("part[3000]/bytes"));
    QVERIFY(!resolved.isEmpty());
    QCOMPARE(moves.size(), 0);
}

void ViewerDocumentTest::blockedSourceShowsWhatCameAndCloses()
{
    const auto file = makeFile(10'000'000);
    file->blocksFrom = 100'000;
    {
        auto document = std::make_unique<Document>(QStringLiteral("slow"), optionsFor(file, 400'000, 20));
        // The walk waits; what it found until then is there, although nothing came behind it.
        QTRY_VERIFY_WITH_TIMEOUT(document->tree().itemCount() > 100, patience);
        QTRY_VERIFY_WITH_TIMEOUT(file->waiting > 0, patience);
        QVERIFY(!document->tree().isComplete());
        document->setBytes({36, 1}, Move::Jump);
        QCOMPARE(document->tree().path(document->place().item), QStringLiteral("part[1]/bytes"));
        uchar byte = 0;
        ByteState state = ByteState::Outside;
        document->bytes(50'000, 1, &byte, &state);
        QCOMPARE(state, ByteState::Awaited);
        QTRY_VERIFY_WITH_TIMEOUT((document->bytes(50'000, 1, &byte, &state), state == ByteState::Known), patience);
        document->bytes(5'000'000, 1, &byte, &state);
        QTRY_COMPARE_WITH_TIMEOUT(int(file->waiting), 2, patience); // the walk, and the reader of pages
        document->bytes(5'000'000, 1, &byte, &state);
        QCOMPARE(state, ByteState::Awaited);
        QElapsedTimer timer;
        timer.start();
        document.reset();
        QVERIFY(timer.elapsed() < soon);
    }
    QVERIFY(DocumentWork::runningThreads() > 0);
    file->release();
    QVERIFY(haveThreadsEnded());
    QVERIFY(!file->usedInWindow);
}

void ViewerDocumentTest::stoppedReadingSaysSo()
{
    const auto file = makeFile(10'000'000);
    file->blocksFrom = 100'000;
    Document document(QStringLiteral("slow"), optionsFor(file, 400'000, 20));
    QTRY_VERIFY_WITH_TIMEOUT(file->waiting > 0, patience);
    document.stopReading();
    file->release();
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    QVERIFY(document.tree().result().cancelled);
    QVERIFY(document.tree().itemCount() < 100'000);
}

void ViewerDocumentTest::readsThatFail()
{
    const auto file = makeFile(100'000);
    file->failsFrom = PageCache::pageSize;
    Document document(QStringLiteral("broken"), optionsFor(file, 10, 20));
    QSignalSpy changes(&document, &Document::changed);
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    uchar bytes[2] = {};
    ByteState states[2] = {};
    document.bytes(PageCache::pageSize - 1, 2, bytes, states);
    QTRY_VERIFY_WITH_TIMEOUT(document.isIdle(), patience);
    document.bytes(PageCache::pageSize - 1, 2, bytes, states);
    QCOMPARE(states[0], ByteState::Known);
    QCOMPARE(states[1], ByteState::Failed);
    QCOMPARE(document.readError(), QStringLiteral("the disk is on fire"));
    QCOMPARE(changes.size(), 1);
}

void ViewerDocumentTest::fileThatShrinks()
{
    const auto file = makeFile(100'000);
    Document document(QStringLiteral("shrinking"), optionsFor(file, 10, 20));
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    file->endsAt = 50'000;
    uchar bytes[2] = {};
    ByteState states[2] = {};
    document.bytes(49'999, 2, bytes, states);
    QTRY_VERIFY_WITH_TIMEOUT(document.isIdle(), patience);
    document.bytes(49'999, 2, bytes, states);
    QCOMPARE(states[0], ByteState::Known);
    QCOMPARE(int(bytes[0]), 50); // 49 999 = 199 * 251 + 50
    QCOMPARE(states[1], ByteState::Failed);
    QCOMPARE(document.readError(), QStringLiteral("the file has become shorter"));
}

void ViewerDocumentTest::changesOnTheDisk()
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("file.bin"));
    const auto write = [](const QString &name, int size) {
        QFile file(name);
        return file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, 'x')) == size;
    };
    QVERIFY(write(path, 1000));
    Document document(path, {});
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    QCOMPARE(document.size(), quint64(1000));
    QVERIFY(document.change().isNull());
    QVERIFY(QFile::resize(path, 500));
    QTRY_COMPARE_WITH_TIMEOUT(document.change(), QStringLiteral("The file has become shorter since it was opened."),
                              patience);
    QVERIFY(write(path + QStringLiteral(".new"), 1000));
    QVERIFY(QFile::remove(path));
    QTRY_COMPARE_WITH_TIMEOUT(document.change(), QStringLiteral("The file has been deleted."), patience);
    QVERIFY(QFile::rename(path + QStringLiteral(".new"), path));
    QTRY_COMPARE_WITH_TIMEOUT(document.change(), QStringLiteral("Another file stands in the place of this one."),
                              patience);
}

void ViewerDocumentTest::fileThatCannotBeOpened()
{
    Document document(QStringLiteral("/nowhere/at all"), {});
    QTRY_VERIFY_WITH_TIMEOUT(document.isIdle(), patience);
    QCOMPARE(document.openError(), QStringLiteral("No such file or directory"));
    QCOMPARE(document.size(), quint64(0));
    document.setBytes({100, 1}, Move::Jump);
    QCOMPARE(document.place().range, (ByteRange{0, 0}));
}

void ViewerDocumentTest::pagesAreDropped()
{
    PageCache cache;
    for (quint64 number = 0; number < PageCache::mostPages; ++number)
        cache.insert({number, QByteArray("x"), {}});
    QVERIFY(cache.page(0)); // looked at last
    cache.insert({1000, QByteArray("y"), {}});
    QVERIFY(cache.page(0));
    QVERIFY(!cache.page(1));
    QVERIFY(cache.page(2));
    QCOMPARE(cache.page(1000)->bytes, QByteArray("y"));
    cache.insert({1000, QByteArray("z"), {}});
    QCOMPARE(cache.page(1000)->bytes, QByteArray("z"));
    cache.clear();
    QVERIFY(!cache.page(0));
}

void ViewerDocumentTest::historyGoesBackAndForward()
{
    PlaceHistory<int> history;
    QVERIFY(!history.canGoBack());
    history.visit(1, Move::Jump);
    history.visit(2, Move::Jump);
    history.visit(3, Move::Step); // instead of 2
    history.visit(3, Move::Jump); // already there
    QCOMPARE(history.size(), size_t(2));
    QCOMPARE(history.back(), 1);
    QVERIFY(!history.canGoBack());
    QCOMPARE(history.forward(), 3);
    QCOMPARE(history.back(), 1);
    history.visit(4, Move::Jump);
    QVERIFY(!history.canGoForward());
    QCOMPARE(history.back(), 1);
    history.forward();
    history.visit(5, Move::Jump);
    history.remove([](int entry) { return entry == 4; });
    QCOMPARE(history.back(), 1);
    for (int i = 0; i < 3000; ++i)
        history.visit(100 + i, Move::Jump);
    QCOMPARE(history.size(), size_t(1000));
    QCOMPARE(history.back(), 3098);
}

void ViewerDocumentTest::placesAsPeopleTypeThem_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("kind");
    QTest::addColumn<quint64>("number");
    QTest::addColumn<double>("seconds");
    using Kind = PlaceText::Kind;
    const auto add = [](const char *text, Kind kind, quint64 number, double seconds = 0) {
        QTest::newRow(text) << QString::fromLatin1(text) << int(kind) << number << seconds;
    };
    add("1000", Kind::Offset, 1000);
    add(" 0x3E8 ", Kind::Offset, 1000);
    add("end-100", Kind::FromEnd, 100);
    add("+16", Kind::Forwards, 16);
    add("-0x10", Kind::Backwards, 16);
    add("#25", Kind::Frame, 25);
    add("0:01:02.5", Kind::Time, 0, 62.5);
    add("1:02:03", Kind::Time, 0, 3723);
    add("90:00", Kind::Time, 0, 5400);
    add("list/part[2]", Kind::Path, 0);
    add("12:34:56:78", Kind::Path, 0);
}

void ViewerDocumentTest::placesAsPeopleTypeThem()
{
    QFETCH(QString, text);
    QFETCH(int, kind);
    QFETCH(quint64, number);
    QFETCH(double, seconds);
    QString error;
    const std::optional<PlaceText> place = PlaceText::parse(text, &error);
    QVERIFY2(place, qPrintable(error));
    QCOMPARE(int(place->kind), kind);
    QCOMPARE(place->number, number);
    QCOMPARE(place->seconds, seconds);
}

void ViewerDocumentTest::textsThatAreNoPlace_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << QStringLiteral("  ");
    QTest::newRow("sign alone") << QStringLiteral("+");
    QTest::newRow("frame without number") << QStringLiteral("#x");
    QTest::newRow("open bracket") << QStringLiteral("part[2");
}

void ViewerDocumentTest::textsThatAreNoPlace()
{
    QFETCH(QString, text);
    QString error;
    QVERIFY(!PlaceText::parse(text, &error));
    QVERIFY(!error.isEmpty());
}

void ViewerDocumentTest::goingToPlaces()
{
    Document document(QStringLiteral("a file"), optionsFor(makeFile(1000), 4, 20));
    QTRY_VERIFY_WITH_TIMEOUT(document.isRead(), patience);
    QString error;
    const auto go = [&](const char *text) { return goTo(document, parsed(QString::fromLatin1(text)), &error); };
    QVERIFY(go("0x64"));
    QCOMPARE(document.place().range, (ByteRange{100, 1}));
    QVERIFY(go("+50"));
    QCOMPARE(document.place().range.offset, quint64(150));
    QVERIFY(go("-149"));
    QCOMPARE(document.place().range.offset, quint64(1));
    QVERIFY(!go("-2"));
    QCOMPARE(error, QStringLiteral("That is before the start of the file."));
    QVERIFY(go("end-1"));
    QCOMPARE(document.place().range.offset, quint64(999));
    QVERIFY(!go("1000"));
    QCOMPARE(error, QStringLiteral("That is behind the end of the file, which has 1000 bytes."));
    QVERIFY(!go("+18446744073709551615"));
    QVERIFY(go("part[2]/bytes"));
    QCOMPARE(document.place().range, (ByteRange{56, 4}));
    QVERIFY(!go("part[9]"));
    QCOMPARE(error, QStringLiteral("There is no such item."));
    QVERIFY(!go("#1"));
    QCOMPARE(error, QStringLiteral("The pictures of this file are not known."));
    QCOMPARE(document.place().range, (ByteRange{56, 4}));
}

void ViewerDocumentTest::pictureAtATime()
{
    PacketTable packets;
    packets.setStream(0, {StreamKind::Audio, true, 1, 100, 0, 0});
    packets.setStream(1, {StreamKind::Video, true, 1, 10, 0, 0}); // ten pictures a second
    for (quint32 i = 0; i < 20; ++i) {
        Packet packet;
        packet.offset = 100 * (i + 1);
        packet.size = 50;
        packet.stream = quint8(i % 2);
        QVERIFY(packets.append(packet));
    }
    packets.finish();
    QCOMPARE(packetAtTime(packets, 0.0), quint64(1));
    QCOMPARE(packetAtTime(packets, 0.15), quint64(3)); // the second picture
    QCOMPARE(packetAtTime(packets, 0.95), quint64(19));
    QCOMPARE(packetAtTime(packets, 2.0), PacketTable::none);
    QCOMPARE(packetAtTime(PacketTable(), 0.0), PacketTable::none);
}

QTEST_GUILESS_MAIN(ViewerDocumentTest)
#include "tst_viewerdocument.moc"
