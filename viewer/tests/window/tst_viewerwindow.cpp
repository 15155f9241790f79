// What the window shows: bytes far beyond what a scroll bar counts, views that follow one another, and all of it for
// people who do not see it.
#include "hexaccessible.h"
#include "mainwindow.h"
#include "pluginloader.h"
#include "testsources.h"
#include "windowcommands.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

using namespace quenlofar;

namespace {

constexpr qint64 huge = qint64(1) << 62;

DocumentOptions pluginOptions()
{
    auto plugins = std::make_shared<PluginLoader>();
    plugins->addDirectory(QCoreApplication::applicationDirPath() + QLatin1Char('/')
                          + QStringLiteral(QUENLOFAR_PLUGINS_FROM_TESTS));
    DocumentOptions options;
    options.plugins = plugins;
    return options;
}

QString sample(const char *name)
{
    return QStringLiteral(QUENLOFAR_SAMPLES_DIR) + QLatin1Char('/') + QString::fromLatin1(name);
}

/// A window that shows one file, all of which is read.
struct Shown
{
    explicit Shown(const DocumentOptions &options, const QString &path = QStringLiteral("made up"),
                   const QString &place = {})
        : window(options)
    {
        window.resize(1200, 600);
        window.show();
        page = window.open(path, place);
    }
    bool waitUntilIdle() { return quenlofar::waitUntilIdle(window); }
    bool perform(const char *name, const char *value = "")
    {
        const bool isDone = window.perform(QString::fromLatin1(name), QString::fromLatin1(value), &error);
        return isDone && waitUntilIdle();
    }
    QJsonObject place() { return window.state()[QStringLiteral("place")].toObject(); }
    QJsonObject bytes() { return window.state()[QStringLiteral("bytes")].toObject(); }
    QJsonObject firstRow() { return bytes()[QStringLiteral("rows")].toArray().at(0).toObject(); }
    QString current()
    {
        return window.state()[QStringLiteral("structure")].toObject()[QStringLiteral("current")].toString();
    }

    MainWindow window;
    FilePage *page = nullptr;
    QString error;
};

} // namespace

class ViewerWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { HexAccessible::install(); }
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void rowsAndPositions_data();
    void rowsAndPositions();
    void bytesOfAHugeFile();
    void barOfAHugeFile();
    void sparseFileOnTheDisk();
    void keysAndSelections();
    void mouseSelects();
    void columnsOffsetsAndText();
    void bytesThatCannotBeRead();
    void structureAndBytesFollowEachOther_data();
    void structureAndBytesFollowEachOther();
    void kindsOfBytes();
    void historyAcrossFiles();
    void picturesAndTimes();
    void blockedSourceLeavesTheWindowUsable();
    void focusGoesRound();
    void actionsThatCannotBeDone();
    void nothingFocusableIsNameless();
    void rowsAreReadAloud();
    void argumentsOfFiles();
    void summaryOfAFile();
    void pictureOfTheWindow();
};

void ViewerWindowTest::rowsAndPositions_data()
{
    QTest::addColumn<quint64>("size");
    QTest::addColumn<int>("columns");
    QTest::addColumn<quint64>("rows");
    QTest::newRow("empty") << quint64(0) << 16 << quint64(1);
    QTest::newRow("one row and a byte") << quint64(17) << 16 << quint64(2);
    QTest::newRow("as many rows as a bar has positions") << (quint64(1) << 34) << 16 << (quint64(1) << 30);
    QTest::newRow("2^31 rows and one") << (quint64(1) << 35) + 1 << 16 << (quint64(1) << 31) + 1;
    QTest::newRow("beyond 2^32 rows") << (quint64(1) << 40) << 24 << quint64(45'812'984'491);
    QTest::newRow("2^59 rows") << (quint64(1) << 62) << 8 << (quint64(1) << 59);
}

void ViewerWindowTest::rowsAndPositions()
{
    QFETCH(quint64, size);
    QFETCH(int, columns);
    QFETCH(quint64, rows);
    const HexLayout layout{size, columns, 20};
    QCOMPARE(layout.rowCount(), rows);
    QCOMPARE(layout.lastTop(), rows > 20 ? rows - 20 : 0);
    const int maximum = layout.barMaximum();
    QCOMPARE(layout.topOf(0), quint64(0));
    QCOMPARE(layout.topOf(maximum), layout.lastTop());
    QCOMPARE(layout.positionOf(0), 0);
    QCOMPARE(layout.positionOf(layout.lastTop()), maximum);
    // The bar never jumps by itself: where it is for a row leads back to this row or one shortly before it.
    const quint64 rowsOfPosition = layout.lastTop() / quint64(std::max(maximum, 1)) + 1;
    for (const quint64 part : {1ULL, 3ULL, 1000ULL, 999'983ULL}) {
        const quint64 top = layout.lastTop() / 1'000'000 * part;
        const quint64 back = layout.topOf(layout.positionOf(top));
        QVERIFY(back <= top && top - back < rowsOfPosition);
    }
    int before = 0;
    for (int i = 0; i <= 1000; ++i) {
        const int position = layout.positionOf(layout.lastTop() / 1000 * quint64(i));
        QVERIFY(position >= before);
        before = position;
    }
}

void ViewerWindowTest::bytesOfAHugeFile()
{
    Shown shown(optionsFor(makeFile(huge), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform("goto", "4611686018427387000"));
    QCOMPARE(shown.page->hexView().cursor(), quint64(4'611'686'018'427'387'000));
    QCOMPARE(shown.place()[QStringLiteral("offset")].toString(), QStringLiteral("4611686018427387000"));
    HexView &view = shown.page->hexView();
    const quint64 row = view.layoutOfBytes().rowOf(view.cursor());
    QCOMPARE(row, quint64(288'230'376'151'711'687));
    QVERIFY(row >= view.topRow() && row < view.topRow() + quint64(view.rowsInView()));
    const HexRow shownRow = view.row(row);
    QCOMPARE(shownRow.offset, quint64(4'611'686'018'427'386'992));
    // 4 611 686 018 427 386 992 = 18 373 251 069 431 820 * 251 + 172
    QCOMPARE(int(shownRow.bytes[0]), 172);
    QCOMPARE(int(shownRow.bytes[15]), 187);
    QCOMPARE(shownRow.offsetText, QStringLiteral("3FFFFFFFFFFFFC70"));
    QVERIFY(shown.perform("goto", "end-1"));
    QCOMPARE(view.cursor(), quint64(huge) - 1);
    QCOMPARE(view.topRow(), view.layoutOfBytes().lastTop());
    QTest::keyClick(&view, Qt::Key_Right);
    QTest::keyClick(&view, Qt::Key_Down);
    QTest::keyClick(&view, Qt::Key_PageDown);
    QCOMPARE(view.cursor(), quint64(huge) - 1);
    QTest::keyClick(&view, Qt::Key_Up);
    QCOMPARE(view.cursor(), quint64(huge) - 17);
}

void ViewerWindowTest::barOfAHugeFile()
{
    Shown shown(optionsFor(makeFile(huge), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    HexView &view = shown.page->hexView();
    QScrollBar &bar = *view.verticalScrollBar();
    QCOMPARE(bar.maximum(), 1 << 30);
    // Steps and pages are rows, although a position stands for 268 435 456 of them.
    view.setTopRow(quint64(1) << 40);
    bar.triggerAction(QAbstractSlider::SliderSingleStepAdd);
    QCOMPARE(view.topRow(), (quint64(1) << 40) + 1);
    bar.triggerAction(QAbstractSlider::SliderPageStepSub);
    QCOMPARE(view.topRow(), (quint64(1) << 40) + 1 - quint64(view.layoutOfBytes().visibleRows));
    bar.triggerAction(QAbstractSlider::SliderToMaximum);
    QCOMPARE(view.topRow(), view.layoutOfBytes().lastTop());
    bar.triggerAction(QAbstractSlider::SliderToMinimum);
    QCOMPARE(view.topRow(), quint64(0));
    bar.setValue(1 << 29);
    QCOMPARE(view.topRow(), view.layoutOfBytes().lastTop() / 2);
}

void ViewerWindowTest::sparseFileOnTheDisk()
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("sparse.bin"));
    constexpr qint64 size = qint64(8) << 40;
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    if (!file.resize(size))
        QSKIP("the file system has no files of 8 TiB");
    QVERIFY(file.seek(size - 4));
    QCOMPARE(file.write("last"), 4);
    file.close();
    Shown shown({}, path, QStringLiteral("end-4"));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.page->hexView().cursor(), quint64(size) - 4);
    const HexView &view = shown.page->hexView();
    const HexRow row = view.row(view.layoutOfBytes().rowCount() - 1);
    QCOMPARE(row.hex, QStringLiteral("00 00 00 00 00 00 00 00 00 00 00 00 6C 61 73 74 "));
    QCOMPARE(row.text, QStringLiteral("............last"));
    QCOMPARE(row.offsetText, QStringLiteral("7FFFFFFFFF0"));
}

void ViewerWindowTest::keysAndSelections()
{
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    HexView &view = shown.page->hexView();
    const auto press = [&](Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(&view, key, modifiers);
        return view.selection();
    };
    QCOMPARE(press(Qt::Key_Right), (ByteRange{1, 1}));
    QCOMPARE(press(Qt::Key_Down), (ByteRange{17, 1}));
    QCOMPARE(press(Qt::Key_Right, Qt::ShiftModifier), (ByteRange{17, 2}));
    QCOMPARE(press(Qt::Key_Down, Qt::ShiftModifier), (ByteRange{17, 18}));
    QCOMPARE(shown.page->document().place().range, (ByteRange{17, 18}));
    QVERIFY(shown.page->statusText().contains(QStringLiteral("18 bytes selected")));
    QCOMPARE(press(Qt::Key_Home), (ByteRange{32, 1}));
    QCOMPARE(press(Qt::Key_End), (ByteRange{47, 1}));
    QCOMPARE(press(Qt::Key_End, Qt::ControlModifier), (ByteRange{999, 1}));
    QCOMPARE(press(Qt::Key_Home, Qt::ControlModifier | Qt::ShiftModifier), (ByteRange{0, 1000}));
    QCOMPARE(press(Qt::Key_Left), (ByteRange{0, 1}));
    QCOMPARE(press(Qt::Key_Up), (ByteRange{0, 1}));
    QCOMPARE(press(Qt::Key_A, Qt::ControlModifier), (ByteRange{0, 1000}));
    QVERIFY(shown.perform("select", "0x10+0x20"));
    QCOMPARE(view.selection(), (ByteRange{16, 32}));
}

void ViewerWindowTest::mouseSelects()
{
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    HexView &view = shown.page->hexView();
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, view.byteRect(37).center());
    QCOMPARE(view.selection(), (ByteRange{37, 1}));
    QCOMPARE(shown.current(), QStringLiteral("part[1]/bytes"));
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::ShiftModifier, view.byteRect(70).center());
    QCOMPARE(view.selection(), (ByteRange{37, 34}));
    QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, view.byteRect(5).center());
    // QTest::mouseMove presses no button in every version of Qt.
    const QPoint to = view.byteRect(8).center();
    QMouseEvent dragged(QEvent::MouseMove, to, view.viewport()->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                        Qt::NoModifier);
    QApplication::sendEvent(view.viewport(), &dragged);
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, Qt::NoModifier, view.byteRect(8).center());
    QCOMPARE(view.selection(), (ByteRange{5, 4}));
}

void ViewerWindowTest::columnsOffsetsAndText()
{
    const auto file = makeFile(1000);
    file->head = "a\xC3\xA9\xE2\x82\xAC\x01\xFF\xC3";
    Shown shown(optionsFor(file, 3, 20));
    QVERIFY(shown.waitUntilIdle());
    QCOMPARE(shown.firstRow()[QStringLiteral("text")].toString().left(9), QStringLiteral("aÃ©â.¬.ÿÃ"));
    QVERIFY(shown.perform("text"));
    QCOMPARE(shown.firstRow()[QStringLiteral("text")].toString().left(9), QStringLiteral("aé €  ..."));
    QVERIFY(shown.perform("columns", "64"));
    QCOMPARE(shown.bytes()[QStringLiteral("columns")].toInt(), 64);
    QCOMPARE(shown.page->hexView().layoutOfBytes().rowCount(), quint64(16));
    QVERIFY(!shown.perform("columns", "65"));
    QCOMPARE(shown.error, QStringLiteral("There are 8 to 64 columns."));
    QVERIFY(shown.perform("fewer-columns"));
    QCOMPARE(shown.bytes()[QStringLiteral("columns")].toInt(), 56);
    QVERIFY(shown.perform("columns", "10"));
    QCOMPARE(shown.page->hexView().row(2).offsetText, QStringLiteral("00000014"));
    QVERIFY(shown.perform("offsets"));
    QCOMPARE(shown.page->hexView().row(2).offsetText, QStringLiteral(" 20"));
}

void ViewerWindowTest::bytesThatCannotBeRead()
{
    const auto file = makeFile(100'000);
    file->endsAt = 50'003;
    Shown shown(optionsFor(file, 3, 20));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform("goto", "50000"));
    const HexRow row = shown.page->hexView().row(3125);
    QCOMPARE(row.hex.left(15), QStringLiteral("33 34 35 -- -- ")); // 50 000 = 199 * 251 + 51
    const QJsonArray messages = shown.window.state()[QStringLiteral("messages")].toArray();
    QVERIFY(messages.contains(QStringLiteral("Bytes cannot be read: the file has become shorter.")));
}

void ViewerWindowTest::structureAndBytesFollowEachOther_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("size");
    const auto add = [](const char *path, int offset, int size) {
        QTest::newRow(path) << QString::fromLatin1(path) << offset << size;
    };
    // Where things are in samples/sample.avi, as a hex dump of it shows.
    add("RIFF(AVI )/LIST(hdrl)/avih/dwWidth", 0x40, 4);
    add("RIFF(AVI )/LIST(hdrl)/LIST(strl)/strh/fccHandler", 0x70, 4);
    add("RIFF(AVI )/LIST(movi)/00dc/id", 0x2956, 4);
    add("RIFF(AVI )/idx1/id", 0x5364, 4);
}

void ViewerWindowTest::structureAndBytesFollowEachOther()
{
    QFETCH(QString, path);
    QFETCH(int, offset);
    QFETCH(int, size);
    Shown shown(pluginOptions(), sample("sample.avi"));
    QVERIFY(shown.waitUntilIdle());
    const auto verifyPlace = [&](int placeSize) {
        QCOMPARE(shown.current(), path);
        QCOMPARE(shown.place()[QStringLiteral("path")].toString(), path);
        QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), offset);
        QCOMPARE(shown.place()[QStringLiteral("size")].toInt(), placeSize);
        QCOMPARE(shown.bytes()[QStringLiteral("cursor")].toInt(), offset);
        const HexView &view = shown.page->hexView();
        QVERIFY(!view.byteRect(quint64(offset)).isNull());
        StructureView &structure = shown.page->structureView();
        QVERIFY(structure.viewport()->rect().intersects(structure.visualRect(structure.currentIndex())));
    };
    // By its path, in the structure, and in the bytes.
    QVERIFY(shown.perform("goto", path.toLatin1().constData()));
    verifyPlace(size);
    QVERIFY(shown.perform("goto", "0"));
    StructureView &structure = shown.page->structureView();
    const TreeItem item = shown.page->document().tree().itemAt(quint64(offset));
    structure.setCurrentIndex(structure.elements().indexOf(item));
    QVERIFY(shown.waitUntilIdle());
    verifyPlace(size);
    QVERIFY(shown.perform("goto", "0"));
    QVERIFY(shown.perform("goto", QByteArray::number(offset).constData()));
    verifyPlace(1);
}

void ViewerWindowTest::kindsOfBytes()
{
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    const std::vector<ByteSpan> spans = spansOf(shown.page->document().tree(), {10, 100});
    QCOMPARE(spans.size(), size_t(8));
    const std::vector<std::pair<ByteRange, ElementKind>> expected = {
        {{10, 6}, ElementKind::Field}, {{16, 4}, ElementKind::Field}, {{20, 16}, ElementKind::Node},
        {{36, 4}, ElementKind::Field}, {{40, 16}, ElementKind::Node}, {{56, 4}, ElementKind::Field},
        {{60, 16}, ElementKind::Node}, {{76, 34}, ElementKind::Gap}};
    for (size_t i = 0; i < expected.size(); ++i) {
        QCOMPARE(spans[i].range, expected[i].first);
        QCOMPARE(spans[i].kind, expected[i].second);
    }
    QCOMPARE(shown.page->hexView().elementsOfRow(0), QStringLiteral("head"));
    QCOMPARE(shown.page->hexView().elementsOfRow(1), QStringLiteral("bytes, part"));
    QCOMPARE(shown.page->hexView().elementsOfRow(6), QStringLiteral("gap"));
}

void ViewerWindowTest::historyAcrossFiles()
{
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform("goto", "100"));
    QVERIFY(shown.perform("goto", "200"));
    QVERIFY(shown.perform("open", "another"));
    QVERIFY(shown.perform("goto", "300"));
    QCOMPARE(shown.window.state()[QStringLiteral("tab")].toInt(), 1);
    QVERIFY(!shown.window.state()[QStringLiteral("canGoForward")].toBool());
    QVERIFY(shown.perform("back"));
    QCOMPARE(shown.window.state()[QStringLiteral("tab")].toInt(), 0);
    QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), 200);
    QVERIFY(shown.perform("back"));
    QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), 100);
    QVERIFY(!shown.window.state()[QStringLiteral("canGoBack")].toBool());
    QVERIFY(shown.perform("forward"));
    QTest::mouseClick(shown.page->hexView().viewport(), Qt::ForwardButton);
    QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), 300);
    // What was in a file that is closed is nowhere to go to.
    QVERIFY(shown.perform("close"));
    QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), 200);
    QVERIFY(!shown.window.state()[QStringLiteral("canGoForward")].toBool());
    QVERIFY(shown.perform("back"));
    QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), 100);
}

void ViewerWindowTest::picturesAndTimes()
{
    // ffprobe -show_packets samples/sample.avi: of the video, which has ten pictures a second, the first packet is at
    // 10590 with 1559 bytes, that of 0.5 seconds at 13572 with 234; it leaves out the empty one of 0.1 seconds.
    Shown shown(pluginOptions(), sample("sample.avi"));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY2(shown.perform("goto", "#0"), qPrintable(shown.error));
    QCOMPARE(shown.page->document().place().range, (ByteRange{10590, 1559}));
    QVERIFY(shown.perform("goto", "#5"));
    QCOMPARE(shown.page->document().place().range, (ByteRange{13572, 234}));
    QVERIFY(shown.perform("goto", "#0"));
    QVERIFY(shown.perform("goto", "0:00.5"));
    QCOMPARE(shown.page->document().place().range, (ByteRange{13572, 234}));
    QVERIFY(!shown.perform("goto", "#21"));
    QVERIFY(!shown.perform("goto", "1:00:00"));
    QCOMPARE(shown.error, QStringLiteral("The file has no such picture."));
}

void ViewerWindowTest::blockedSourceLeavesTheWindowUsable()
{
    const auto file = makeFile(10'000'000);
    file->blocksFrom = 100'000;
    QElapsedTimer timer;
    {
        Shown shown(optionsFor(file, 400'000, 20));
        QTRY_VERIFY_WITH_TIMEOUT(file->waiting > 0, patience);
        QTRY_VERIFY_WITH_TIMEOUT(shown.page->document().tree().itemCount() > 100, patience);
        QVERIFY(shown.window.perform(QStringLiteral("goto"), QStringLiteral("5000000"), &shown.error));
        QTRY_COMPARE_WITH_TIMEOUT(int(file->waiting), 2, patience);
        QVERIFY(shown.page->hexView().row(312'500).hex.startsWith(QStringLiteral(".. ..")));
        timer.start();
        QVERIFY(shown.window.perform(QStringLiteral("goto"), QStringLiteral("part[3]/bytes"), &shown.error));
        QCOMPARE(shown.current(), QStringLiteral("part[3]/bytes"));
        shown.window.grab();
        QVERIFY(timer.elapsed() < soon);
        QVERIFY(shown.page->statusText().startsWith(QStringLiteral("reading")));
        timer.start();
    }
    QVERIFY(timer.elapsed() < soon);
    file->release();
    QVERIFY(haveThreadsEnded());
    QVERIFY(!file->usedInWindow);
}

void ViewerWindowTest::focusGoesRound()
{
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    QApplication::setActiveWindow(&shown.window);
    const auto focus = [&] { return shown.window.state()[QStringLiteral("focus")].toString(); };
    QCOMPARE(focus(), QStringLiteral("structureView"));
    QVERIFY(shown.perform("next-view"));
    QCOMPARE(focus(), QStringLiteral("filterField"));
    QVERIFY(shown.perform("next-view"));
    QCOMPARE(focus(), QStringLiteral("hexView"));
    QVERIFY(shown.perform("next-view"));
    QCOMPARE(focus(), QStringLiteral("packetTable"));
    QVERIFY(shown.perform("next-view"));
    QCOMPARE(focus(), QStringLiteral("overview"));
    QVERIFY(shown.perform("next-view"));
    QCOMPARE(focus(), QStringLiteral("goToField"));
    QVERIFY(shown.perform("next-view"));
    QCOMPARE(focus(), QStringLiteral("structureView"));
    QVERIFY(shown.perform("previous-view"));
    QCOMPARE(focus(), QStringLiteral("goToField"));
    auto *const field = shown.window.findChild<QLineEdit *>(QStringLiteral("goToField"));
    QTest::keyClicks(field, QStringLiteral("0x20"));
    QTest::keyClick(field, Qt::Key_Return);
    QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), 32);
    QCOMPARE(focus(), QStringLiteral("hexView"));
}

void ViewerWindowTest::actionsThatCannotBeDone()
{
    MainWindow window({});
    QString error;
    QVERIFY(!window.perform(QStringLiteral("fly"), {}, &error));
    QCOMPARE(error, QStringLiteral("There is no action \"fly\"."));
    QVERIFY(!window.perform(QStringLiteral("goto"), QStringLiteral("1"), &error));
    QCOMPARE(error, QStringLiteral("No file is open."));
    QVERIFY(!window.perform(QStringLiteral("back"), QStringLiteral("2"), &error));
    QVERIFY(!window.perform({}, {}, &error));
}

void ViewerWindowTest::nothingFocusableIsNameless()
{
    Shown shown(pluginOptions(), sample("sample.avi"));
    QVERIFY(shown.waitUntilIdle());
    int focusable = 0;
    const QList<QWidget *> widgets = shown.window.findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        if (widget->focusPolicy() == Qt::NoFocus || !widget->isVisibleTo(&shown.window))
            continue;
        ++focusable;
        QAccessibleInterface *const interface = QAccessible::queryAccessibleInterface(widget);
        QVERIFY(interface);
        QVERIFY2(!interface->text(QAccessible::Name).isEmpty(),
                 qPrintable(QLatin1String(widget->metaObject()->className()) + widget->objectName()));
    }
    QVERIFY(focusable >= 3);
}

void ViewerWindowTest::rowsAreReadAloud()
{
    Shown shown(pluginOptions(), sample("sample.avi"));
    QVERIFY(shown.waitUntilIdle());
    HexView &view = shown.page->hexView();
    QAccessibleInterface *const list = QAccessible::queryAccessibleInterface(&view);
    QVERIFY(list);
    QCOMPARE(list->role(), QAccessible::List);
    QCOMPARE(list->childCount(), view.rowsInView());
    QAccessibleInterface *const row = list->child(4);
    QCOMPARE(row->text(QAccessible::Name), QStringLiteral("offset 00000040"));
    QCOMPARE(row->text(QAccessible::Value), QStringLiteral("40 00 00 00 30 00 00 00 00 00 00 00 00 00 00 00"));
    QCOMPARE(row->text(QAccessible::Description), QStringLiteral("dwWidth, dwHeight, dwReserved"));
    QCOMPARE(list->indexOfChild(row), 4);
    QCOMPARE(row->parent(), list);
    QVERIFY(!row->state().selected);
    QVERIFY(shown.perform("goto", "0x44"));
    QCOMPARE(list->text(QAccessible::Value), QStringLiteral("offset 00000044, value 30, dwHeight"));
    QCOMPARE(list->focusChild(), row);
    QCOMPARE(list->childAt(row->rect().center().x(), row->rect().center().y()), row);
    QVERIFY(shown.perform("goto", "end-1"));
    QVERIFY(row->text(QAccessible::Name) != QStringLiteral("offset 00000040"));
}

void ViewerWindowTest::argumentsOfFiles()
{
    const auto parsed = [](const char *text) {
        const FileArgument argument = FileArgument::parse(QString::fromLatin1(text));
        return argument.file + QLatin1Char('|') + argument.place;
    };
    QCOMPARE(parsed("a.avi"), QStringLiteral("a.avi|"));
    QCOMPARE(parsed("a.avi@0x10"), QStringLiteral("a.avi|0x10"));
    QCOMPARE(parsed("a.avi@end-4"), QStringLiteral("a.avi|end-4"));
    QCOMPARE(parsed("me@home.avi"), QStringLiteral("me@home.avi|"));
    QCOMPARE(parsed("me@10@0"), QStringLiteral("me@10|0"));
    QCOMPARE(parsed("@10"), QStringLiteral("@10|"));
    QCOMPARE(WindowCommands::Action::parse(QStringLiteral("goto=a=b")).value, QStringLiteral("a=b"));
    QCOMPARE(WindowCommands::Action::parse(QStringLiteral("back")).name, QStringLiteral("back"));
}

void ViewerWindowTest::summaryOfAFile()
{
    Shown shown(pluginOptions(), sample("sample.avi"));
    QVERIFY(shown.waitUntilIdle());
    QVERIFY(shown.perform("summary"));
    auto *const text = shown.page->findChild<QPlainTextEdit *>(QStringLiteral("summaryText"));
    QVERIFY(text->isVisible() && text->isReadOnly());
    // ffprobe -show_streams -count_packets: mpeg4, 64 x 48, ten pictures a second, 20 packets beside an empty one; mp3
    // with 22050 Hz, one channel, 79 packets.
    const QStringList lines = text->toPlainText().split(QLatin1Char('\n'));
    QVERIFY(lines[2].endsWith(QStringLiteral("22956 bytes")));
    const auto line = [&lines](const char *label) {
        return lines.filter(QStringLiteral("  ") + QString::fromLatin1(label) + QLatin1Char(' ')).value(0);
    };
    QVERIFY(line("stream 0").contains(QStringLiteral(", 64 x 48, 10 frames/second, 2.1 s")));
    QVERIFY(line("frames").contains(QStringLiteral("21, 1 empty, ")));
    QVERIFY(line("stream 1").contains(QStringLiteral(", 22050 Hz, 1 channel, ")));
    QVERIFY(line("packets").contains(QStringLiteral("79, ")));
}

void ViewerWindowTest::pictureOfTheWindow()
{
    const QTemporaryDir directory;
    Shown shown(pluginOptions(), sample("sample.avi"));
    WindowCommands commands;
    commands.actions = {{QStringLiteral("goto"), QStringLiteral("0x40")}};
    commands.screenshot = directory.filePath(QStringLiteral("window.png"));
    CommandRunner runner(shown.window, commands);
    runner.start();
    QCOMPARE(QApplication::exec(), 0);
    const QImage picture(commands.screenshot);
    QCOMPARE(picture.size(), QSize(1200, 600));
    QVERIFY(picture.allGray() == false);
    QCOMPARE(shown.place()[QStringLiteral("offset")].toInt(), 64);

    commands.actions = {{QStringLiteral("goto"), QStringLiteral("nowhere")}};
    CommandRunner failing(shown.window, commands);
    failing.start();
    QCOMPARE(QApplication::exec(), 1);
}

QTEST_MAIN(ViewerWindowTest)
#include "tst_viewerwindow.moc"
