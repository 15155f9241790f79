#pragma once

#include "filecheck.h"

#include <QAbstractItemModel>

#include <vector>

namespace quenlofar {

/// Which findings are shown.
struct FindingsFilter
{
    Severity least = Severity::Note; ///< those that are less severe are left out
    bool isRepairable = false; ///< only those that can be mended

    bool operator==(const FindingsFilter &other) const ///< The same choice.
    {
        return least == other.least && isRepairable == other.isRepairable;
    }
};

/**
 * Findings of a file for item views: causes with what they caused below. A finding that a filter leaves out is still
 * shown where something below it is shown, because it explains that.
 */
class FindingsModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Column {
        MessageColumn,
        SeverityColumn,
        RuleColumn,
        CountColumn,
        OffsetColumn,
        StreamColumn,
        RepairColumn,
        ColumnCount
    };
    /// The id of the finding of an index.
    static constexpr int IdRole = Qt::UserRole;

    explicit FindingsModel(QObject *parent = nullptr);

    void setCheck(const FileCheck *check); ///< Shows its findings; null: none. It is copied.
    const std::vector<JudgedFinding> &findings() const { return m_findings; } ///< all, by id from 1
    const FindingsFilter &filter() const { return m_filter; } ///< see setFilter
    void setFilter(const FindingsFilter &filter); ///< Which are shown.
    int shownCount() const { return m_shown; } ///< findings that are shown, at whatever depth
    bool showsOffsetsInHex() const { return m_offsetsInHex; } ///< otherwise decimal
    void setOffsetsInHex(bool isHex); ///< how offsets are shown

    QModelIndex indexOf(int id, int column = MessageColumn) const; ///< invalid where it is not shown
    int idOf(const QModelIndex &index) const; ///< 0 for an invalid index

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    struct Node
    {
        std::vector<int> children; // ids
        int parent = 0; // id; 0: the top
        int row = -1; // among the shown children of the parent; -1: not shown
    };
    void arrange();
    QString text(const JudgedFinding &finding, int column) const;

    std::vector<JudgedFinding> m_findings;
    std::vector<Node> m_nodes{1}; // by id; 0 is the top
    FindingsFilter m_filter;
    int m_shown = 0;
    bool m_offsetsInHex = false;
};

} // namespace quenlofar
