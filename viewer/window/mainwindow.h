#pragma once

#include "columnchoice.h"
#include "filepage.h"

#include <QJsonObject>
#include <QMainWindow>
#include <QPointer>

class QLabel;
class QLineEdit;
class QTabWidget;

namespace quenlofar {

class AnalysisActions;
class RepairActions;
class FolderView;
class KeyChoice;
class RecentFiles;

/// The window: open files in tabs, what can be done as actions, the way that was gone through places of all files.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Files are opened with `options`.
    explicit MainWindow(const DocumentOptions &options);
    ~MainWindow() override;

    /// Opens `path` in a new tab and shows it; once it is open, goes to `place`, as people type it, unless it is empty.
    FilePage *open(const QString &path, const QString &place = {});
    FilePage *currentPage() const; ///< null where no file is open
    /// Opens a table of the files below `path` in a new tab and shows it.
    FolderView *openFolder(const QString &path);
    FolderView *currentFolder() const; ///< null where another tab is in front, or none
    /// From now on files that are opened are noted in the user's settings as recent ones.
    void rememberFiles() { m_isRemembering = true; }
    /// Opens what was open when a window was closed last, and keeps what is open when this one is closed, unless people
    /// have switched that off.
    void restoreSession();
    KeyChoice &keyChoice() { return *m_keys; } ///< of all actions
    bool isIdle() const; ///< no file is being read
    /// Does what the action `name` does, as `--do` names it; `value` is what it needs to know, or empty. False where
    /// that cannot be done, and `*error` says why.
    bool perform(const QString &name, const QString &value, QString *error);
    QJsonObject state() const; ///< what is shown, see docs/viewer.md

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    /// Where the user was, in which file.
    struct Visit
    {
        QPointer<FilePage> page;
        Place place;
        bool operator!=(const Visit &other) const { return page != other.page || place != other.place; }
    };

    void makeMenus();
    void makeStructureActions(QMenu *go, QMenu *view);
    void attachStructure(FilePage *page);
    std::optional<bool> performOnStructure(const QString &name, const QString &value, QString *error);
    FilePage *makePage(const QString &path, const DocumentOptions &options);
    void addPage(FilePage *page);
    void readAgain(FilePage *page);
    void makeCopyActions();
    void attachCopying(FilePage *page);
    std::optional<bool> performCopy(const QString &name, const QString &value, QString *error);
    bool copy(const QString &what, QString *error);
    bool exportTo(const QString &what, const QString &target, QString *error);
    bool exportByDialog(const QString &what, QString *error);
    void makeSummaryActions(QMenu *view);
    void showSummary();
    void makeFolderActions(QMenu *file);
    FolderView *makeFolder(const QString &path);
    void showFolderInstead(FilePage *page);
    void openFolderByDialog();
    void exportFolderByDialog();
    std::optional<bool> performOnFolder(const QString &name, const QString &value, QString *error);
    QJsonObject folderState() const;
    void makeSessionActions(QMenu *file);
    void rememberFile(FilePage *page);
    void saveSession() const;
    void makeBookmarkActions();
    void addBookmark();
    bool addBookmarkNamed(FilePage &page, const QString &name);
    void showBookmarks();
    void editBookmark();
    void deleteBookmark();
    void exportBookmarksByDialog();
    std::optional<bool> performOnBookmarks(const QString &name, const QString &value, QString *error);
    void makeCommandActions(QMenu *edit);
    void showCommands();
    void showKeys();
    void makeZoomActions(QMenu *view);
    void applyZoom(QWidget *tab);
    bool setZoom(int percent);
    void zoomIn();
    void zoomOut();
    void zoomNormal();
    std::optional<bool> performZoom(const QString &name, const QString &value, QString *error);
    void makeFindActions(QMenu *go);
    std::optional<bool> performFind(const QString &name, const QString &value, QString *error);
    void openFind();
    void nextPlace();
    void previousPlace();
    void focusFilter();
    void nextMatch();
    void previousMatch();
    void expandBelow();
    void raiseLimit();
    QAction *addAction(QMenu *menu, const char *name, const QString &text, const QKeySequence &key,
                       void (MainWindow::*slot)());
    void openByDialog();
    void closeCurrent();
    void closePage(int tab);
    void goToTyped();
    void focusGoTo();
    void goBack();
    void goForward();
    void showVisit(const Visit &visit);
    void nextView();
    void previousView();
    void turnFocus(int step);
    void stopReading();
    void toggleOffsets();
    void toggleText();
    void moreColumns();
    void fewerColumns();
    void setStyleOfPages(const HexStyle &style);
    void placeChanged(FilePage *page, Move move);
    void showStatus();
    void updateActions();

    const DocumentOptions m_options;
    QTabWidget *m_tabs;
    QLineEdit *m_goTo;
    QLabel *m_status;
    QAction *m_back = nullptr;
    QAction *m_forward = nullptr;
    QAction *m_close = nullptr;
    QAction *m_stop = nullptr;
    QAction *m_exportFolder = nullptr;
    QMenu *m_editMenu = nullptr;
    AnalysisActions *m_analysisActions = nullptr;
    RepairActions *m_repairActions = nullptr;
    RecentFiles *m_recent = nullptr;
    KeyChoice *m_keys = nullptr;
    std::vector<QAction *> m_pageActions; // that need an open file
    PlaceHistory<Visit> m_history;
    HexStyle m_style;
    ColumnChoice m_columns;
    int m_zoom = 100; // percent
    bool m_isRemembering = false; // files are noted as recent ones
    bool m_isKeepingSession = false; // unless that is switched off
    bool m_isTravelling = false; // the place is being set from the history
};

} // namespace quenlofar
