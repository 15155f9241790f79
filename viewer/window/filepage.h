#pragma once

#include "analysistabs.h"
#include "bookmarks.h"
#include "bookmarksview.h"
#include "copyjob.h"
#include "document.h"
#include "filterbar.h"
#include "findbar.h"
#include "hexview.h"
#include "limitsbar.h"
#include "overviewbar.h"
#include "repairjob.h"
#include "structureview.h"
#include "summaryjob.h"

#include <QJsonObject>
#include <QWidget>

#include <optional>
#include <vector>

class QLabel;

namespace quenlofar {

/// One open file in the window: its views, and a bar over them that says what is wrong with it.
class FilePage : public QWidget
{
    Q_OBJECT

public:
    /// Opens `path`.
    FilePage(const QString &path, const DocumentOptions &options, QWidget *parent = nullptr);

    Document &document() { return m_document; } ///< the file
    HexView &hexView() { return m_hexView; } ///< its bytes
    StructureView &structureView() { return m_structureView; } ///< its elements
    AnalysisTabs &analysis() { return m_analysis; } ///< its packets, their plot and its findings
    OverviewBar &overview() { return m_overview; } ///< all of it in one bar
    /// The views in the order in which the focus goes through them; of those that share a place the one in front.
    std::vector<QWidget *> views();
    bool follow(); ///< Goes where the current place points at; false where it points nowhere.
    QString elementText(quint64 offset) const; ///< the names of the elements around a byte, the innermost last
    FilterBar &filterBar() { return m_filterBar; } ///< what is asked for of its elements
    CopyJob &copyJob() { return m_copyJob; } ///< what is copied from it
    SummaryJob &summaryJob() { return m_summaryJob; } ///< what is said of it in short
    RepairJob &repairJob() { return m_repairJob; } ///< how it can be mended
    Bookmarks &bookmarks() { return m_bookmarks; } ///< places in it that people want to come back to
    BookmarksView &bookmarksView() { return *m_bookmarksView; } ///< them in a tab beside its findings
    FindBar &findBar() { return m_findBar; } ///< what is looked for in its bytes
    bool isIdle() const; ///< nothing is being read, looked for or expanded
    QString title() const; ///< the file's name without its folders, fit to be shown
    QStringList messages() const; ///< what is wrong with the file, one sentence each
    QString statusText() const; ///< the current place in words
    QJsonObject state(); ///< what is shown, see docs/viewer.md
    /// How the file was opened, with the limit raised that ended its reading; nothing where none did, or none can be.
    std::optional<DocumentOptions> raisedOptions() const;

Q_SIGNALS:
    void raiseWanted(); ///< people want the file to be read again with raisedOptions()
    void statusChanged(); ///< statusText() may say something else

private:
    void showMessages();
    void arrangeAnalysis(QWidget *upper);
    void arrangeBookmarks();
    QString linksText() const;
    QStringList troubles() const;
    QString limitMessage() const;
    QWidget *makeStructurePane();

    const DocumentOptions m_options;
    Document m_document;
    StructureView m_structureView;
    FilterBar m_filterBar;
    LimitsBar m_limitsBar;
    HexView m_hexView;
    FindBar m_findBar;
    CopyJob m_copyJob;
    SummaryJob m_summaryJob;
    RepairJob m_repairJob;
    Bookmarks m_bookmarks;
    AnalysisTabs m_analysis;
    BookmarksView *m_bookmarksView = nullptr;
    OverviewBar m_overview;
    QLabel *m_bar;
};

} // namespace quenlofar
