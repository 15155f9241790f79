#pragma once

#include "errand.h"
#include "folderscan.h"

#include <QAbstractTableModel>
#include <QTimer>

#include <optional>
#include <vector>

namespace quenlofar {

/// Columns of a table of files.
enum class FolderColumn { Name, Container, Size, Streams, Verdict, Errors, Warnings, Notes, Trouble };

/// Which files are shown, and in which order.
struct FolderQuery
{
    QString name; ///< that is part of a file's name, in upper or lower case; with * and ?: the whole name
    std::optional<Verdict> verdict; ///< of the files; none: any, also of those that were not read yet
    FolderColumn column = FolderColumn::Name; ///< to sort by
    bool isDescending = false; ///< the largest first
};

/// The text of a cell, fit to be shown; empty where nothing is known.
QString folderCell(const FolderFile &file, FolderColumn column);
/// The places in `files` of those that `query` asks for, in its order; files that are equal in the column stand by
/// name. Ends early, with any answer, where `isCancelled` becomes true.
std::vector<int> folderOrder(const std::vector<FolderFile> &files, const FolderQuery &query,
                             const std::atomic<bool> &isCancelled);

/// The files of a FolderScan as a table. Filtering and sorting happen in another thread, now and then while the files
/// are being read.
class FolderModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    static constexpr int columns = int(FolderColumn::Trouble) + 1; ///< in the order of FolderColumn

    /// Shows what `scan` finds, which outlives the model.
    explicit FolderModel(const FolderScan &scan, QObject *parent = nullptr);

    const FolderQuery &query() const { return m_query; } ///< see setQuery
    void setQuery(const FolderQuery &query); ///< the rows come later
    /// The rows are those that the query asks for of the files that are known.
    bool isOrdered() const { return !m_isDirty && !m_ordering.isRunning(); }
    const FolderFile &file(int row) const { return m_scan.files()[size_t(m_order[size_t(row)])]; } ///< in a row
    int rowOf(const QString &path) const; ///< of the file; -1 where it is not shown
    /// Files in the order of the rows, to be used in another thread.
    std::vector<FolderFile> filesInOrder() const;

    static QString columnName(FolderColumn column); ///< as the header has it
    static int columnOf(const QString &word); ///< of the names "name", "container", "size"...; -1 where it is none

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

Q_SIGNALS:
    void ordered(); ///< rows are other ones, or say something else

private:
    void orderLater();
    void order();

    const FolderScan &m_scan;
    FolderQuery m_query;
    std::vector<int> m_order; // of each row the place in the files of the scan
    Errand m_ordering;
    QTimer m_timer; // until the next ordering
    bool m_isDirty = false; // something has come since the latest ordering began
};

} // namespace quenlofar
