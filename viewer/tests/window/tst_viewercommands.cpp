// What people make of the window: keys, commands by name, the size of texts; and what they look for by name.
#include "commandpalette.h"
#include "keychoice.h"
#include "partsfile.h"
#include "shownwindow.h"
#include "viewersettings.h"

#include <QAccessible>
#include <QAction>
#include <QDialog>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenuBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTreeWidget>

using namespace quenlofar;

class ViewerCommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { QVERIFY(haveThreadsEnded()); }
    void commandsByName_data();
    void commandsByName();
    void paletteRunsCommands();
    void keysAreChosen();
    void keysOfOtherRuns();
    void keysInTheDialog();
    void textsAreScaled();
    void namesAndValuesAreFound();
    void nothingFocusableIsNameless();

private:
    std::unique_ptr<QTemporaryDir> m_home;
};

void ViewerCommandsTest::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_home->path()));
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_home->path());
}

void ViewerCommandsTest::commandsByName_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("rank");
    QTest::newRow("nothing") << utf8("File: Open...") << QString() << 0;
    QTest::newRow("a word") << utf8("File: Open...") << utf8("open") << 0;
    QTest::newRow("a later word") << utf8("Open, File: Open") << utf8("file") << 0;
    QTest::newRow("a part") << utf8("File: Reopen") << utf8("OPEN") << 1;
    QTest::newRow("a part, then a word") << utf8("Reopen: Open") << utf8("open") << 0;
    QTest::newRow("characters") << utf8("File: Open folder...") << utf8("fof") << 2;
    QTest::newRow("with blanks") << utf8("File: Open folder...") << utf8(" fi fo ") << 2;
    QTest::newRow("another order") << utf8("File: Open...") << utf8("oe n f") << -1;
    QTest::newRow("none of it") << utf8("File: Open...") << utf8("x") << -1;
}

void ViewerCommandsTest::commandsByName()
{
    QFETCH(QString, text);
    QFETCH(QString, typed);
    QFETCH(int, rank);
    QCOMPARE(paletteRank(text, typed).value_or(-1), rank);
}

void ViewerCommandsTest::paletteRunsCommands()
{
    Shown shown(optionsFor(makeFile(1000), 3, 20));
    QVERIFY(shown.waitUntilIdle());
    // Every action that has a name is there, once, and no two have one key.
    QStringList keys;
    const std::vector<PaletteEntry> entries = paletteEntries(*shown.window.menuBar());
    const QList<QAction *> actions = shown.window.findChildren<QAction *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QAction *const action : actions) {
        if (action->objectName().isEmpty())
            continue;
        const auto count = std::count_if(entries.begin(), entries.end(),
                                         [action](const PaletteEntry &entry) { return entry.action == action; });
        QVERIFY2(count == 1, qPrintable(action->objectName()));
        for (const QKeySequence &key : action->shortcuts()) {
            QVERIFY2(!keys.contains(key.toString()), qPrintable(action->objectName()));
            keys.append(key.toString());
        }
    }
    QVERIFY(keys.size() > 50);
    for (const PaletteEntry &entry : entries)
        QVERIFY2(!entry.text.contains(QLatin1Char('&')), qPrintable(entry.text));

    QVERIFY(shown.perform(utf8("commands")));
    auto *palette = shown.window.findChild<CommandPalette *>();
    QVERIFY(palette && palette->isVisible());
    QCOMPARE(palette->shown().size(), int(entries.size()));
    auto *field = palette->findChild<QLineEdit *>(utf8("commandField"));
    QTest::keyClicks(field, utf8("more columns"));
    QCOMPARE(palette->shown(), QStringList{utf8("View: More columns of bytes")});
    QCOMPARE(field->accessibleDescription(), utf8("View: More columns of bytes Ctrl+]"));
    QTest::keyClick(field, Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(shown.state(utf8("bytes"))[utf8("columns")].toInt(), 24, patience);
    QTRY_VERIFY_WITH_TIMEOUT(!shown.window.findChild<CommandPalette *>(), patience);
    // What cannot be done now is shown, and not done.
    QVERIFY(shown.perform(utf8("commands")));
    palette = shown.window.findChild<CommandPalette *>();
    field = palette->findChild<QLineEdit *>(utf8("commandField"));
    QTest::keyClicks(field, utf8("export table"));
    QCOMPARE(palette->shown().size(), 1);
    QTest::keyClick(field, Qt::Key_Return);
    QVERIFY(palette->isVisible());
    // Down goes into the list, and what is typed there into the field.
    field->clear();
    QTest::keyClick(field, Qt::Key_Down);
    auto *const list = palette->findChild<QTreeWidget *>();
    QCOMPARE(list->indexOfTopLevelItem(list->currentItem()), 1);
    QTest::keyClick(list, Qt::Key_Z);
    QCOMPARE(field->text(), utf8("z"));
    QTest::keyClicks(field, utf8("zzz"));
    QVERIFY(palette->shown().isEmpty());
    QCOMPARE(field->accessibleDescription(), utf8("no command fits"));
    QTest::keyClick(field, Qt::Key_Return);
    QTest::keyClick(palette, Qt::Key_Escape);
    QVERIFY(!palette->isVisible());
}

void ViewerCommandsTest::keysAreChosen()
{
    const auto key = [](const char *text) { return QKeySequence::fromString(utf8(text)); };
    QString error;
    {
        MainWindow window({});
        KeyChoice &choice = window.keyChoice();
        auto *const summary = window.findChild<QAction *>(utf8("summary"));
        auto *const keys = window.findChild<QAction *>(utf8("keys"));
        QVERIFY(keys->shortcut().isEmpty());
        QVERIFY(!choice.setKey(keys, key("Ctrl+I"), &error));
        QCOMPARE(error, utf8("Ctrl+I is the key of \"Summary and streams\"."));
        QVERIFY(!choice.setKey(keys, key("Ctrl+I, Ctrl+I"), &error));
        QVERIFY(!choice.setKey(keys, key("x"), &error));
        QVERIFY(!choice.setKey(keys, key("Shift+Left"), &error));
        QVERIFY(!choice.setKey(keys, key("Ctrl+A"), &error));
        QVERIFY(keys->shortcut().isEmpty());
        QVERIFY(choice.setKey(keys, key("Shift+F12"), &error));
        QVERIFY(choice.setKey(summary, {}, &error));
        QVERIFY(choice.setKey(keys, key("Ctrl+I"), &error));
        QVERIFY(!choice.reset(summary, &error)); // it would take the key again
    }
    MainWindow window({});
    auto *const summary = window.findChild<QAction *>(utf8("summary"));
    auto *const keys = window.findChild<QAction *>(utf8("keys"));
    QCOMPARE(keys->shortcut(), key("Ctrl+I"));
    QVERIFY(summary->shortcut().isEmpty());
    window.keyChoice().resetAll();
    QCOMPARE(summary->shortcut(), key("Ctrl+I"));
    QVERIFY(keys->shortcut().isEmpty());
    const MainWindow later({});
    QCOMPARE(later.findChild<QAction *>(utf8("summary"))->shortcut(), key("Ctrl+I"));
}

void ViewerCommandsTest::keysOfOtherRuns()
{
    // Two actions with one key, keys to type with, and an action that takes another one's key.
    viewerSettings()->setValue(utf8("keys/back"), utf8("Ctrl+F12"));
    viewerSettings()->setValue(utf8("keys/forward"), utf8("Ctrl+F12"));
    viewerSettings()->setValue(utf8("keys/open"), utf8("a"));
    viewerSettings()->setValue(utf8("keys/keys"), utf8("Ctrl+G"));
    viewerSettings()->setValue(utf8("keys/nothing"), utf8("Ctrl+Q"));
    const MainWindow window({});
    QStringList all;
    const QList<QAction *> actions = window.findChildren<QAction *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QAction *const action : actions) {
        for (const QKeySequence &key : action->shortcuts()) {
            QVERIFY2(!all.contains(key.toString()), qPrintable(key.toString()));
            all.append(key.toString());
        }
    }
    const auto keyOf = [&window](const char *name) {
        return window.findChild<QAction *>(utf8(name))->shortcut().toString();
    };
    QCOMPARE(keyOf("keys"), utf8("Ctrl+G"));
    QCOMPARE(keyOf("goto"), QString());
    QCOMPARE(keyOf("open"), utf8("Ctrl+O"));
    QCOMPARE(keyOf("quit"), utf8("Ctrl+Q"));
    QCOMPARE(all.filter(utf8("Ctrl+F12")).size(), 1);
}

void ViewerCommandsTest::keysInTheDialog()
{
    MainWindow window({});
    window.show();
    QString error;
    QVERIFY(window.perform(utf8("keys"), {}, &error));
    auto *const dialog = window.findChild<QDialog *>(utf8("keysDialog"));
    auto *const list = dialog->findChild<QTreeWidget *>();
    auto *const field = dialog->findChild<QKeySequenceEdit *>();
    auto *const message = dialog->findChild<QLabel *>(utf8("keysMessage"));
    const auto press = [dialog](const char *name) { dialog->findChild<QPushButton *>(utf8(name))->click(); };
    const QList<QTreeWidgetItem *> found = list->findItems(utf8("Summary and streams"), Qt::MatchExactly);
    QCOMPARE(found.size(), 1);
    const int row = list->indexOfTopLevelItem(found.first());
    list->setCurrentItem(found.first());
    QCOMPARE(field->keySequence().toString(), utf8("Ctrl+I"));
    field->setKeySequence(QKeySequence::fromString(utf8("Ctrl+G")));
    press("assignKey");
    QVERIFY(message->text().startsWith(utf8("Ctrl+G is the key of ")));
    field->setKeySequence(QKeySequence::fromString(utf8("Ctrl+Alt+I")));
    press("assignKey");
    QVERIFY(message->text().isEmpty());
    QCOMPARE(list->topLevelItem(row)->text(1), utf8("Ctrl+Alt+I"));
    QCOMPARE(list->topLevelItem(row)->text(2), utf8("yes"));
    QCOMPARE(window.findChild<QAction *>(utf8("summary"))->shortcut().toString(), utf8("Ctrl+Alt+I"));
    press("resetKey");
    QCOMPARE(list->topLevelItem(row)->text(1), utf8("Ctrl+I"));
    press("resetKeys");
    QCOMPARE(list->topLevelItem(row)->text(2), QString());
}

void ViewerCommandsTest::textsAreScaled()
{
    Shown shown(pluginOptions(), sample(utf8("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    const auto heights = [&shown] {
        HexView &bytes = shown.page->hexView();
        return std::vector<int>{
            bytes.rowRect(bytes.topRow()).height(), shown.page->structureView().fontMetrics().height(),
            shown.analysis().plotView().fontMetrics().height(), shown.analysis().packetsView().table().rowHeight(0)};
    };
    const std::vector<int> normal = heights();
    QVERIFY(shown.perform(utf8("zoom"), utf8("200")));
    std::vector<int> large = heights();
    for (size_t i = 0; i < large.size(); ++i)
        QVERIFY2(large[i] > normal[i] * 3 / 2, qPrintable(QString::number(i)));
    QVERIFY(shown.perform(utf8("zoom-out")));
    QVERIFY(heights()[0] < large[0]);
    QVERIFY(!shown.perform(utf8("zoom"), utf8("401")));
    for (int i = 0; i < 60; ++i)
        QVERIFY(shown.perform(utf8("zoom-in")));
    QVERIFY(!shown.window.grab().isNull());
    {
        // It is kept, and new files look so as well.
        Shown other(pluginOptions(), sample(utf8("sample.avi")));
        QVERIFY(other.waitUntilIdle());
        QVERIFY(other.page->hexView().fontMetrics().height() > normal[0] * 3);
    }
    for (int i = 0; i < 60; ++i)
        QVERIFY(shown.perform(utf8("zoom-out")));
    QVERIFY(!shown.window.grab().isNull());
    QVERIFY(shown.perform(utf8("zoom-normal")));
    QCOMPARE(heights(), normal);
}

void ViewerCommandsTest::namesAndValuesAreFound()
{
    Shown shown(partsOptions());
    QVERIFY(shown.waitUntilIdle());
    const auto message = [&shown] { return shown.state(utf8("found"))[utf8("message")].toString(); };
    const auto current = [&shown] { return shown.state(utf8("structure"))[utf8("current")].toString(); };
    QVERIFY(shown.perform(utf8("find"), utf8("name:EA")));
    QCOMPARE(message(), utf8("1 place found"));
    QCOMPARE(current(), utf8("head"));
    // The value "made up" of the head, and numbers with 25 in them.
    QVERIFY(shown.perform(utf8("find"), utf8("value:de u")));
    QCOMPARE(message(), utf8("1 place found"));
    auto *const list = shown.page->findChild<QListView *>(utf8("foundPlaces"));
    QCOMPARE(list->model()->index(0, 0).data().toString(), utf8("0x0  head = made up"));
    QVERIFY(shown.perform(utf8("find"), utf8("value:25")));
    const int with25 = partsWhere([](int byte) { return byte == 25 || byte == 125 || byte == 225 || byte == 250; });
    QCOMPARE(shown.state(utf8("found"))[utf8("count")].toInt(), with25);
    QVERIFY(shown.perform(utf8("find"), utf8("value:1?")));
    QCOMPARE(shown.state(utf8("found"))[utf8("count")].toInt(),
             partsWhere([](int byte) { return byte >= 10 && byte < 20; }));
    // Part 250 has 247, part 251 has 16 again: it is the next one with such a value.
    QVERIFY(shown.perform(utf8("goto"), utf8("part[250]")));
    QVERIFY(shown.perform(utf8("find"), utf8("value:16")));
    QCOMPARE(current(), utf8("part[251]/bytes"));
    QVERIFY(shown.perform(utf8("next-place")));
    QVERIFY(current() != utf8("part[251]/bytes"));
    QVERIFY(shown.perform(utf8("previous-place")));
    QCOMPARE(current(), utf8("part[251]/bytes"));
    list->setCurrentIndex(list->model()->index(0, 0));
    QCOMPARE(current(), utf8("part/bytes"));
    QVERIFY(shown.perform(utf8("previous-place")));
    QVERIFY(current() > utf8("part[2"));
    QVERIFY(shown.perform(utf8("find"), utf8("name:nothing")));
    QCOMPARE(message(), utf8("nothing found"));
    QVERIFY(!shown.perform(utf8("find"), utf8("name:")));
    QCOMPARE(shown.error, utf8("There is nothing to look for."));
    // Bytes again: the list shows what was found last.
    QVERIFY(shown.perform(utf8("find"), utf8("bytes:10 11 ?2")));
    QCOMPARE(message(), utf8("240 places found"));
    QCOMPARE(list->model()->rowCount(), 240);
    QLineEdit &field = *shown.page->findChild<QLineEdit *>(utf8("findField"));
    QTest::keyClick(&field, Qt::Key_Escape);
    QCOMPARE(shown.state(utf8("found"))[utf8("count")].toInt(), 0);
}

void ViewerCommandsTest::nothingFocusableIsNameless()
{
    Shown shown(pluginOptions(), sample(utf8("sample.avi")));
    QVERIFY(shown.waitUntilIdle());
    QString error;
    QVERIFY(shown.perform(utf8("show-bookmarks")));
    QVERIFY(shown.perform(utf8("open-folder"), m_home->path()));
    QVERIFY(shown.perform(utf8("commands")) && shown.perform(utf8("keys")));
    int focusable = 0;
    const QList<QWidget *> widgets = shown.window.findChildren<QWidget *>();
    for (QWidget *const widget : widgets) {
        if (widget->focusPolicy() == Qt::NoFocus || !widget->isVisible())
            continue;
        ++focusable;
        QAccessibleInterface *const interface = QAccessible::queryAccessibleInterface(widget);
        QVERIFY(interface);
        QVERIFY2(!interface->text(QAccessible::Name).isEmpty(),
                 qPrintable(QLatin1String(widget->metaObject()->className()) + widget->objectName()));
    }
    QVERIFY(focusable > 10);
}

QTEST_MAIN(ViewerCommandsTest)
#include "tst_viewercommands.moc"
