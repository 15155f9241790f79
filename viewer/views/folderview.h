#pragma once

#include "errand.h"
#include "foldermodel.h"
#include "folderscan.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QTableView;
class QToolButton;

namespace quenlofar {

/// The files below a folder as a table: what they are, and how many findings each has. Enter opens a file.
class FolderView : public QWidget
{
    Q_OBJECT

public:
    /// Begins to look below `folder`; files are read as `options` say.
    FolderView(const QString &folder, const DocumentOptions &options, QWidget *parent = nullptr);

    const FolderScan &scan() const { return m_scan; } ///< what is found
    FolderModel &model() { return m_model; } ///< what is shown
    QTableView &table() { return *m_table; } ///< where it is shown
    QString title() const; ///< the folder's name, fit to be shown
    QString statusText() const; ///< how many files there are, and what is wrong
    std::vector<QWidget *> views(); ///< in the order in which the focus goes through them
    bool isIdle() const; ///< nothing is being looked for, read, sorted or written
    void setNameFilter(const QString &text); ///< see FolderQuery::name
    /// Shows files of "damaged", "warnings", "unknown" or "conforms", or "all"; false for any other text.
    bool setVerdictFilter(const QString &verdict);
    void setSorting(FolderColumn column, bool isDescending); ///< see FolderQuery
    void stop() { m_scan.stop(); } ///< looks for nothing more
    void openCurrent(); ///< as Enter does
    /// Writes the rows to a file whose name ends in .csv or .tsv, in another thread. False, and `*error` says why,
    /// where it ends in something else.
    bool exportTo(const QString &path, QString *error);
    QStringList rowsInSight() const; ///< the texts of each row between tabs

Q_SIGNALS:
    void openWanted(const QString &path); ///< people want to see this file
    void statusChanged(); ///< statusText() says something else

private:
    void arrange();
    void showStatus();
    void keepCurrent();

    FolderScan m_scan;
    FolderModel m_model;
    Errand m_exporting;
    QTableView *m_table;
    QLineEdit *m_name;
    QComboBox *m_verdict;
    QToolButton *m_stop;
    QLabel *m_status;
    QString m_current; // path of the current file: rows are reset
    QString m_message; // of the latest export
};

} // namespace quenlofar
