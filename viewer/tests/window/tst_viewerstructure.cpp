// The structure of a file in the window: what is looked for, columns, expanding, limits; and all of it
// for a container that the viewer has never heard of.
#include "mainwindow.h"
#include "partsfile.h"
#include "pluginloader.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QCompleter>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

using namespace quenlofar;

namespace {

/// A window that shows one file.
struct Shown
{
    explicit Shown(const DocumentOptions &options, const QString &path = QStringLiteral("made up"))
        : window(options), page(window.open(path))
    {
        window.resize(1200, 600);
        window.show();
    }
    bool waitUntilIdle() { return quenlofar::waitUntilIdle(window); }
    bool perform(const char *name, const QString &value = {})
    {
        return window.perform(QString::fromLatin1(name), value, &error) && waitUntilIdle();
    }
    QJsonObject state(const char *view) { return window.state()[QString::fromLatin1(view)].toObject(); }
    QJsonObject filter() { return state("structure")[QStringLiteral("filter")].toObject(); }
    QString current() { return state("structure")[QStringLiteral("current")].toString(); }
    StructureView &structure() { return currentPage().structureView(); }
    FilePage &currentPage() { return *window.currentPage(); }

    MainWindow window;
    FilePage *page = nullptr; // that was opened first
    QString error;
};

} // namespace

class ViewerStructureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void conditionsThatAreTyped_data();
    void conditionsThatAreTyped();
    void matchesAreSteppedThrough();
    void matchesAreMarked();
    void conditionsThatCannotBeRead();
    void lookingWhileTheFileIsRead();
    void placeStaysWhileGroupsAreMade();
    void manyMatches();
    void columnsAreKept();
    void expandingEverything();
    void expandingEndsAtItsBound();
    void fieldOffersCompletions();
    void bytesAreFound();
    void copies_data();
    void copies();
    void exports();
    void limitIsRaised_data();
    void limitIsRaised();
    void anotherContainer();

private:
    QTemporaryDir m_settings;
};

void ViewerStructureTest::initTestCase()
{
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_settings.path()));
}

void ViewerStructureTest::conditionsThatAreTyped_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("count");
    const auto add = [](const char *text, int count) { QTest::newRow(text) << QString::fromLatin1(text) << count; };
    add("part", parts);
    add("PART head", parts + 1);
    add("b*", parts);
    add("nothing", 0);
    add("head=made*", 1);
    add("\"head=made up\"", 1);
    add("head=\"made up\"", 1);
    add("head=made up", 0); // "up" is a name, and no item of that name has the field
    add("bytes>=200", partsWhere([](int byte) { return byte >= 200; }));
    add("bytes>=0x64 bytes<200", partsWhere([](int byte) { return byte >= 100 && byte < 200; }));
    add("bytes!=16", partsWhere([](int byte) { return byte != 16; }));
    add("*=16", partsWhere([](int byte) { return byte == 16; }));
    add("part bytes=16", partsWhere([](int byte) { return byte == 16; }));
    add("head bytes=16", 0);
}

void ViewerStructureTest::conditionsThatAreTyped()
{
    QFETCH(QString, text);
    QFETCH(int, count);
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    QVERIFY2(shown.perform("filter", text), qPrintable(shown.error));
    QCOMPARE(shown.filter()[QStringLiteral("count")].toInt(), count);
    QCOMPARE(int(shown.page->filterBar().search().matches().size()), count);
    QVERIFY(shown.page->filterBar().search().isDone());
}

void ViewerStructureTest::matchesAreSteppedThrough()
{
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    // 16 + 20 * part = 16 (mod 251): the parts 0, 251, 502 ... 2761.
    QVERIFY(shown.perform("filter", QStringLiteral("bytes=16")));
    QCOMPARE(shown.filter()[QStringLiteral("message")].toString(), QStringLiteral("12 matches"));
    QVERIFY(shown.perform("next-match"));
    QCOMPARE(shown.current(), QStringLiteral("part/bytes"));
    QCOMPARE(shown.filter()[QStringLiteral("message")].toString(), QStringLiteral("1 of 12"));
    QVERIFY(shown.perform("next-match"));
    QCOMPARE(shown.current(), QStringLiteral("part[251]/bytes"));
    QVERIFY(shown.perform("previous-match"));
    QVERIFY(shown.perform("previous-match"));
    QCOMPARE(shown.current(), QStringLiteral("part[2761]/bytes"));
    QVERIFY(shown.perform("next-match"));
    QCOMPARE(shown.current(), QStringLiteral("part/bytes"));
    QVERIFY(shown.perform("goto", QStringLiteral("part[300]")));
    QCOMPARE(shown.filter()[QStringLiteral("message")].toString(), QStringLiteral("12 matches"));
    QLineEdit &field = *shown.page->filterBar().field();
    QTest::keyClick(&field, Qt::Key_Return);
    QCOMPARE(shown.current(), QStringLiteral("part[502]/bytes"));
    QTest::keyClick(&field, Qt::Key_Return, Qt::ShiftModifier);
    QCOMPARE(shown.current(), QStringLiteral("part[251]/bytes"));
    QTest::keyClick(&field, Qt::Key_Escape);
    QVERIFY(field.text().isEmpty());
    QCOMPARE(shown.filter()[QStringLiteral("count")].toInt(), 0);
    QVERIFY(shown.perform("next-match")); // nothing to go to
    QCOMPARE(shown.current(), QStringLiteral("part[251]/bytes"));
    // The way back leads through the matches.
    QVERIFY(shown.perform("back"));
    QCOMPARE(shown.current(), QStringLiteral("part[502]/bytes"));
}

void ViewerStructureTest::matchesAreMarked()
{
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform("filter", QStringLiteral("head")));
    ElementModel &model = shown.structure().elements();
    const auto isBold = [&](const char *path) {
        ElementPath parsed;
        QString error;
        return parseElementPath(QString::fromLatin1(path), &parsed, &error)
            && model.indexOf(shown.page->document().tree().find(parsed)).data(Qt::FontRole).value<QFont>().bold();
    };
    QVERIFY(isBold("head"));
    QVERIFY(!isBold("part"));
    QVERIFY(shown.perform("filter", QStringLiteral("part bytes=16")));
    QVERIFY(!isBold("head"));
    QVERIFY(isBold("part[251]/bytes"));
    QVERIFY(!isBold("part[252]/bytes"));
    const TreeItem item = shown.page->filterBar().search().matches().front();
    QCOMPARE(model.indexOf(item).data(Qt::AccessibleDescriptionRole).toString(), QStringLiteral("match"));
}

void ViewerStructureTest::conditionsThatCannotBeRead()
{
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(!shown.perform("filter", QStringLiteral("part bytes>=many")));
    QCOMPARE(shown.error,
             QStringLiteral("\"bytes>=many\" is no condition such as name=value, name!=value or name>=number."));
    QVERIFY(shown.perform("filter", QStringLiteral("part")));
    QTest::keyClicks(shown.page->filterBar().field(), QStringLiteral(" bytes>"));
    const auto *const label = shown.page->findChild<QLabel *>(QStringLiteral("filterMessage"));
    QVERIFY(label->isVisible());
    QCOMPARE(label->text(),
             QStringLiteral("\"bytes>\" is no condition such as name=value, name!=value or name>=number."));
    QCOMPARE(shown.filter()[QStringLiteral("count")].toInt(), 0);
}

void ViewerStructureTest::lookingWhileTheFileIsRead()
{
    const auto file = makeFile(10'000'000);
    file->blocksFrom = 100'000;
    {
        Shown shown(optionsFor(file, 400'000, partSize));
        QTRY_VERIFY_WITH_TIMEOUT(file->waiting > 0, patience);
        QTRY_VERIFY_WITH_TIMEOUT(shown.page->document().tree().itemCount() > 100, patience);
        QVERIFY(shown.window.perform(QStringLiteral("filter"), QStringLiteral("part"), &shown.error));
        QTRY_VERIFY_WITH_TIMEOUT(shown.page->filterBar().search().count() > 50, patience);
        QVERIFY(!shown.page->filterBar().search().isDone());
        QVERIFY(shown.filter()[QStringLiteral("message")].toString().endsWith(QStringLiteral(" so far")));
        QVERIFY(shown.window.perform(QStringLiteral("next-match"), {}, &shown.error));
        QCOMPARE(shown.current(), QStringLiteral("part"));
        const quint64 before = shown.page->filterBar().search().count();
        file->release();
        QTRY_VERIFY_WITH_TIMEOUT(shown.page->filterBar().search().count() > before, patience);
        QVERIFY(shown.waitUntilIdle());
        QCOMPARE(shown.page->filterBar().search().count(), quint64(400'000));
        // Each once and in order, although they came in many segments.
        const std::vector<TreeItem> &matches = shown.page->filterBar().search().matches();
        for (quint32 number = 0; number < 400'000; number += 999)
            QCOMPARE(matches[number], shown.page->document().tree().child(GrowingTree::root(), number + 1));
    }
    QVERIFY(haveThreadsEnded());
    QVERIFY(!file->usedInWindow);
}

void ViewerStructureTest::placeStaysWhileGroupsAreMade()
{
    const auto file = makeFile(16 + parts * qint64(partSize));
    file->blocksFrom = 2000;
    {
        Shown shown(optionsFor(file, parts, partSize));
        QTRY_VERIFY_WITH_TIMEOUT(file->waiting > 0, patience);
        QTRY_VERIFY_WITH_TIMEOUT(shown.page->document().tree().itemCount() > 20, patience);
        QVERIFY(shown.window.perform(QStringLiteral("goto"), QStringLiteral("part[5]/bytes"), &shown.error));
        QCOMPARE(shown.current(), QStringLiteral("part[5]/bytes"));
        QVERIFY(shown.structure().elements().rowCount() < 1000);
        file->release();
        QVERIFY(shown.waitUntilIdle());
        QCOMPARE(shown.structure().elements().rowCount(), 4);
        QCOMPARE(shown.current(), QStringLiteral("part[5]/bytes"));
        QCOMPARE(shown.state("place")[QStringLiteral("offset")].toInt(), 116);
        QVERIFY(!shown.window.state()[QStringLiteral("canGoBack")].toBool());
    }
}

void ViewerStructureTest::manyMatches()
{
    // More than are kept, and closed while they are looked for.
    constexpr int many = 600'000;
    Shown shown(optionsFor(makeFile(16 + many * qint64(partSize)), many, partSize));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.window.perform(QStringLiteral("filter"), QStringLiteral("*"), &shown.error));
    QTRY_VERIFY_WITH_TIMEOUT(shown.page->filterBar().search().count() > 0, patience);
    QVERIFY(shown.window.perform(QStringLiteral("filter"), QStringLiteral("part* b*"), &shown.error));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.page->filterBar().search().count(), quint64(2 * many));
    QCOMPARE(shown.page->filterBar().search().matches().size(), size_t(TreeSearch::mostKept));
    QVERIFY(shown.window.perform(QStringLiteral("filter"), QStringLiteral("*=17"), &shown.error));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(shown.window.perform(QStringLiteral("close"), {}, &shown.error));
    QVERIFY(timer.elapsed() < soon);
}

void ViewerStructureTest::columnsAreKept()
{
    {
        Shown shown(partsOptions());
        QVERIFY(shown.waitUntilIdle());
        QVERIFY(!shown.structure().isColumnHidden(ElementModel::MeaningColumn));
        QVERIFY(shown.perform("hide-column", QStringLiteral("meaning")));
        QVERIFY(shown.perform("hide-column", QStringLiteral("size")));
        QVERIFY(shown.perform("show-column", QStringLiteral("size")));
        QVERIFY(shown.structure().isColumnHidden(ElementModel::MeaningColumn));
        QVERIFY(!shown.perform("hide-column", QStringLiteral("name")));
        QCOMPARE(shown.error, QStringLiteral("There is no column \"name\" to show or hide."));
        // The menu of the header shows the same.
        const QList<QAction *> actions = shown.structure().header()->actions();
        QCOMPARE(actions.size(), 4);
        QVERIFY(actions[0]->isChecked());
        QVERIFY(!actions[1]->isChecked());
        actions[2]->trigger();
        QVERIFY(shown.structure().isColumnHidden(ElementModel::OffsetColumn));
    }
    Shown again(partsOptions());
    QVERIFY(again.waitUntilIdle());
    QVERIFY(again.structure().isColumnHidden(ElementModel::MeaningColumn));
    QVERIFY(again.structure().isColumnHidden(ElementModel::OffsetColumn));
    QVERIFY(!again.structure().isColumnHidden(ElementModel::SizeColumn));
    for (const char *column : {"meaning", "offset"})
        QVERIFY(again.perform("show-column", QString::fromLatin1(column)));
}

void ViewerStructureTest::expandingEverything()
{
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    StructureView &view = shown.structure();
    QSignalSpy told(&view, &StructureView::told);
    view.selectionModel()->clear();
    QVERIFY(shown.perform("expand"));
    // 3001 items at the top in four groups, and a leaf in each part.
    QCOMPARE(told.size(), 1);
    QCOMPARE(told[0][0].toString(), QStringLiteral("6005 rows are expanded."));
    ElementModel &model = view.elements();
    const QModelIndex group = model.index(2, 0);
    QVERIFY(view.isExpanded(group));
    QVERIFY(view.isExpanded(model.index(500, 0, group)));
    view.collapseAll();
    view.setCurrentIndex(model.index(1, 0));
    QTest::keyClick(&view, Qt::Key_Asterisk);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(told[1][0].toString(), QStringLiteral("2000 rows are expanded."));
    QVERIFY(view.isExpanded(model.index(7, 0, model.index(1, 0))));
    QVERIFY(!view.isExpanded(model.index(2, 0)));
}

void ViewerStructureTest::expandingEndsAtItsBound()
{
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    StructureView &view = shown.structure();
    view.collapseAll();
    SubtreeExpander expander(view, 1500);
    QSignalSpy finished(&expander, &SubtreeExpander::finished);
    expander.start({});
    QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, patience);
    // Four groups, 1000 items of the first, and then one leaf for each of its parts as far as there is room.
    QCOMPARE(finished[0][0].toULongLong(), qulonglong(1500));
    QCOMPARE(finished[0][1].toBool(), false);
    QVERIFY(!expander.isRunning());
    view.collapseAll();
    expander.start({});
    expander.stop();
    QCOMPARE(finished.size(), 2);
    QVERIFY(!view.isExpanded(view.elements().index(0, 0)));
}

void ViewerStructureTest::fieldOffersCompletions()
{
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    auto *const field = shown.window.findChild<QLineEdit *>(QStringLiteral("goToField"));
    QTest::keyClicks(field, QStringLiteral("par"));
    QCOMPARE(field->completer()->completionCount(), 1);
    QCOMPARE(field->completer()->currentCompletion(), QStringLiteral("part"));
    field->clear();
    QTest::keyClicks(field, QStringLiteral("part[12]/"));
    QCOMPARE(field->completer()->currentCompletion(), QStringLiteral("part[12]/bytes"));
    field->clear();
    QTest::keyClicks(field, QStringLiteral("12"));
    QCOMPARE(field->completer()->completionCount(), 0);
}

void ViewerStructureTest::bytesAreFound()
{
    Shown shown(partsOptions()); // 60 016 bytes
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(!shown.page->findBar().isVisible());
    QVERIFY(shown.perform("find", QStringLiteral("bytes:10 11 ?2")));
    QVERIFY(shown.page->findBar().isVisible());
    // At 16 and every 251 bytes.
    const QJsonObject found = shown.state("found");
    QCOMPARE(found[QStringLiteral("message")].toString(), QStringLiteral("240 places found"));
    QCOMPARE(found[QStringLiteral("count")].toInt(), 240);
    QCOMPARE(shown.page->document().place().range, (ByteRange{16, 3}));
    QVERIFY(shown.perform("next-place"));
    QCOMPARE(shown.page->document().place().range, (ByteRange{267, 3}));
    QVERIFY(shown.perform("previous-place"));
    QVERIFY(shown.perform("previous-place"));
    QCOMPARE(shown.page->document().place().range, (ByteRange{60'005, 3}));
    QVERIFY(shown.perform("find", QStringLiteral("number:0x10111213"))); // big-endian
    QCOMPARE(shown.state("found")[QStringLiteral("count")].toInt(), 240);
    QVERIFY(!shown.perform("find", QStringLiteral("fourcc:abc")));
    QCOMPARE(shown.error, QStringLiteral("A FourCC has four characters."));
    QVERIFY(!shown.perform("find", QStringLiteral("dance:abc")));
    QVERIFY(!shown.perform("find", QStringLiteral("abc")));
    // As people do it.
    QVERIFY(shown.perform("find"));
    QLineEdit &field = *shown.page->findChild<QLineEdit *>(QStringLiteral("findField"));
    shown.page->findChild<QComboBox *>(QStringLiteral("findKind"))->setCurrentIndex(1);
    field.setText(QStringLiteral("ABCD"));
    QTest::keyClick(&field, Qt::Key_Return);
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.state("found")[QStringLiteral("count")].toInt(), 239); // at 65 and every 251 bytes
    QCOMPARE(shown.page->document().place().range, (ByteRange{65, 4})); // behind the last one comes the first
    QTest::keyClick(&field, Qt::Key_Return);
    QCOMPARE(shown.page->document().place().range, (ByteRange{316, 4}));
    auto *const list = shown.page->findChild<QListView *>(QStringLiteral("foundPlaces"));
    list->setCurrentIndex(list->model()->index(2, 0));
    QCOMPARE(shown.page->document().place().range, (ByteRange{567, 4}));
    QCOMPARE(list->model()->index(0, 0).data().toString(), QStringLiteral("0x41  part[2]"));
    QTest::keyClick(&field, Qt::Key_Escape);
    QVERIFY(!shown.page->findBar().isVisible());
    QCOMPARE(shown.state("found")[QStringLiteral("count")].toInt(), 0);
}

void ViewerStructureTest::copies_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("text");
    const auto add = [](const char *name, const char *place, const char *what, const char *text) {
        QTest::newRow(name) << QString::fromLatin1(place) << QString::fromLatin1(what) << QString::fromLatin1(text);
    };
    add("value", "goto=head", "value", "made up");
    add("path", "goto=part[2]/bytes", "path", "part[2]/bytes");
    add("command", "goto=part[2]/bytes", "command", "quenlofar at 'made up' 56");
    add("hex dump", "select=60+20", "hex",
        "0000003C  3C 3D 3E 3F 40 41 42 43  44 45 46 47 48 49 4A 4B  <=>?@ABCDEFGHIJK\n"
        "0000004C  4C 4D 4E 4F                                       LMNO\n");
    add("C array", "select=250+14", "c",
        "const unsigned char data[14] = {\n"
        "    0xFA, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A,\n"
        "    0x0B, 0x0C,\n"
        "};\n");
    add("base64", "select=65+4", "base64", "QUJDRA==");
}

void ViewerStructureTest::copies()
{
    QFETCH(QString, place);
    QFETCH(QString, what);
    QFETCH(QString, text);
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform(place.section(QLatin1Char('='), 0, 0).toLatin1().constData(),
                          place.section(QLatin1Char('='), 1)));
    QVERIFY2(shown.perform("copy", what), qPrintable(shown.error));
    QCOMPARE(QApplication::clipboard()->text(), text);
    QApplication::clipboard()->clear();
    shown.window.findChild<QAction *>(QStringLiteral("copy-") + what)->trigger();
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(QApplication::clipboard()->text(), text);
    QVERIFY(!shown.perform("copy", QStringLiteral("everything")));
    QVERIFY(!shown.perform("copy", QStringLiteral("bytes"))); // are no text
}

void ViewerStructureTest::exports()
{
    const QTemporaryDir directory;
    const QString target = directory.filePath(QStringLiteral("out"));
    const auto written = [&target] {
        QFile file(target);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("nothing");
    };
    const auto file = makeFile(qint64(100) << 20);
    Shown shown(optionsFor(file, parts, partSize));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform("select", QStringLiteral("65+4")));
    QVERIFY(shown.perform("export", QStringLiteral("bytes:") + target));
    QCOMPARE(written(), QByteArray("ABCD"));
    QVERIFY(!shown.perform("export", QStringLiteral("bytes")));
    QVERIFY(shown.perform("export", QStringLiteral("bytes:/nowhere/at all")));
    QVERIFY(shown.page->copyJob().error().startsWith(QStringLiteral("No such file")));
    // Of a node, as documents of the program have it.
    QVERIFY(shown.perform("goto", QStringLiteral("part[1]")));
    QVERIFY(shown.perform("export", QStringLiteral("json:") + target));
    const QJsonObject document = QJsonDocument::fromJson(written()).object();
    const QJsonArray elements = document[QStringLiteral("elements")].toArray();
    QCOMPARE(elements.size(), 1);
    QCOMPARE(elements[0].toObject()[QStringLiteral("offset")].toInt(), 36);
    QVERIFY(written().contains("\"bytes\""));
    // Too much for a clipboard: 14 million bytes make more than 64 MiB of hex dump, 80 million are more themselves.
    QVERIFY(shown.perform("select", QStringLiteral("0+14000000")));
    QApplication::clipboard()->setText(QStringLiteral("before"));
    QVERIFY(shown.perform("copy", QStringLiteral("hex")));
    QCOMPARE(shown.page->copyJob().error(), QStringLiteral("more than 64 MiB are not copied: export them to a file"));
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("before"));
    QVERIFY(shown.perform("select", QStringLiteral("0+80000000")));
    QVERIFY(shown.perform("export", QStringLiteral("bytes:") + target));
    QCOMPARE(QFileInfo(target).size(), qint64(80'000'000));
    QVERIFY(shown.window.findChild<QStatusBar *>()->currentMessage().startsWith(QStringLiteral("80000000 bytes")));
    // What is ended, or cannot be read, leaves no file.
    QVERIFY(QFile::remove(target));
    file->blocksFrom = 5'000'000;
    QVERIFY(shown.window.perform(QStringLiteral("export"), QStringLiteral("bytes:") + target, &shown.error));
    QTRY_VERIFY_WITH_TIMEOUT(file->waiting > 0, patience);
    QVERIFY(shown.window.perform(QStringLiteral("stop"), {}, &shown.error));
    QVERIFY(!shown.page->copyJob().isRunning());
    file->release();
    QTRY_COMPARE_WITH_TIMEOUT(int(file->waiting), 0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(DocumentWork::runningThreads(), 1, patience); // that of the pages goes on
    QVERIFY(!QFile::exists(target));
    file->failsFrom = 3'000'000;
    QVERIFY(shown.perform("export", QStringLiteral("bytes:") + target));
    QCOMPARE(shown.page->copyJob().error(), QStringLiteral("the disk is on fire"));
    QVERIFY(!QFile::exists(target));
    QVERIFY(!file->usedInWindow);
}

void ViewerStructureTest::limitIsRaised_data()
{
    QTest::addColumn<QString>("limit");
    QTest::addColumn<QString>("message");
    QTest::newRow("items") << QStringLiteral(
        "items") << QStringLiteral("Reading ended at 700 elements and fields; what comes behind is not shown.");
    QTest::newRow("bytes read") << QStringLiteral("work") << QStringLiteral("Reading ended after 900 bytes were read.");
    QTest::newRow("memory") << QStringLiteral("memory")
                            << QStringLiteral("Reading ended: the tree takes more than 1 MiB of memory.");
}

void ViewerStructureTest::limitIsRaised()
{
    QFETCH(QString, limit);
    QFETCH(QString, message);
    DocumentOptions options = partsOptions();
    options.pace = paceOf(1'000'000, 1'000'000); // one segment: more of them would take more memory
    if (limit == QLatin1String("items"))
        options.limits.maxItems = 700;
    else if (limit == QLatin1String("work"))
        options.limits.maxWork = 900;
    else
        options.pace.mostBytes = (quint64(1) << 20) + 700 * 18;
    Shown shown(options);
    QVERIFY(shown.waitUntilIdle());
    auto *const bar = shown.page->findChild<LimitsBar *>(QStringLiteral("limits"));
    QVERIFY(bar->isVisible());
    const QJsonArray messages = shown.window.state()[QStringLiteral("messages")].toArray();
    QCOMPARE(messages.last().toString(), message);
    const quint64 before = shown.page->document().tree().itemCount();
    QVERIFY(shown.perform("filter", QStringLiteral("part")));
    QVERIFY(shown.perform("goto", QStringLiteral("part[3]/bytes")));
    QVERIFY(shown.perform("goto", QStringLiteral("part[5]/bytes")));
    const QPointer<FilePage> page = shown.page;
    QTest::mouseClick(shown.page->findChild<QPushButton *>(QStringLiteral("raiseLimit")), Qt::LeftButton);
    QVERIFY(shown.waitUntilIdle());
    QTRY_VERIFY_WITH_TIMEOUT(page.isNull(), patience);
    QVERIFY(shown.currentPage().document().tree().itemCount() > before);
    QCOMPARE(shown.window.state()[QStringLiteral("tabs")].toInt(), 1);
    // Where people were and what they looked for stays.
    QCOMPARE(shown.state("place")[QStringLiteral("path")].toString(), QStringLiteral("part[5]/bytes"));
    QCOMPARE(shown.current(), QStringLiteral("part[5]/bytes"));
    QCOMPARE(shown.filter()[QStringLiteral("text")].toString(), QStringLiteral("part"));
    QVERIFY(shown.filter()[QStringLiteral("count")].toInt() > int(before / 2));
    QVERIFY(shown.perform("back"));
    QCOMPARE(shown.current(), QStringLiteral("part[3]/bytes"));
    if (limit == QLatin1String("items")) { // 7000 are enough for 6001
        QVERIFY(!shown.currentPage().findChild<LimitsBar *>(QStringLiteral("limits"))->isVisible());
        QVERIFY(!shown.currentPage().raisedOptions());
        QVERIFY(shown.perform("raise-limit"));
        QCOMPARE(shown.currentPage().document().tree().itemCount(), quint64(6001));
    }
}

void ViewerStructureTest::anotherContainer()
{
    auto plugins = std::make_shared<PluginLoader>();
    plugins->addDirectory(QCoreApplication::applicationDirPath() + QStringLiteral("/viewerplugins"));
    QCOMPARE(plugins->warnings(), QStringList());
    DocumentOptions options;
    options.plugins = plugins;
    Shown shown(options, QStringLiteral(QUENLOFAR_WAVE_SAMPLES) + QStringLiteral("/sox-pcm16-stereo.wav"));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.window.state()[QStringLiteral("container")].toString(), QStringLiteral("WAVE"));
    QCOMPARE(shown.window.state()[QStringLiteral("messages")].toArray().size(), 0);
    // As a hex dump of the file shows: two channels at 0x16, the chunk "data" at 0x24 with 368 bytes.
    QVERIFY(shown.perform("goto", QStringLiteral("0x16")));
    const QString channels = shown.current();
    const QModelIndex row = shown.structure().currentIndex();
    QCOMPARE(row.sibling(row.row(), ElementModel::ValueColumn).data().toString(), QStringLiteral("2"));
    QCOMPARE(row.sibling(row.row(), ElementModel::OffsetColumn).data().toString(), QStringLiteral("0x16"));
    QCOMPARE(shown.page->hexView().elementsOfRow(1).split(QStringLiteral(", ")).size(), 5);
    QVERIFY(shown.perform("goto", QStringLiteral("0")));
    QVERIFY(shown.perform("goto", channels));
    QCOMPARE(shown.page->document().place().range, (ByteRange{0x16, 2}));
    QVERIFY(shown.perform("filter", QStringLiteral("id=data")));
    QVERIFY(shown.perform("next-match"));
    QCOMPARE(shown.page->document().place().range, (ByteRange{0x24, 4}));
    // ffprobe -show_packets: one packet of 368 bytes at byte 44.
    const ContainerAnalyzer *const analyzer = shown.page->document().analyzer();
    QVERIFY(analyzer);
    QCOMPARE(analyzer->packets().at(0).range().offset, quint64(44));
    QVERIFY(!shown.window.grab().isNull());
}

QTEST_MAIN(ViewerStructureTest)
#include "tst_viewerstructure.moc"
