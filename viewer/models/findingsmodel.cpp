#include "findingsmodel.h"

#include "displaytext.h"

namespace quenlofar {

FindingsModel::FindingsModel(QObject *parent) : QAbstractItemModel(parent) { }

void FindingsModel::setCheck(const FileCheck *check)
{
    beginResetModel();
    m_findings = check ? check->findings : std::vector<JudgedFinding>();
    arrange();
    endResetModel();
}

void FindingsModel::setFilter(const FindingsFilter &filter)
{
    if (filter == m_filter)
        return;
    beginResetModel();
    m_filter = filter;
    arrange();
    endResetModel();
}

void FindingsModel::setOffsetsInHex(bool isHex)
{
    if (isHex == m_offsetsInHex)
        return;
    beginResetModel();
    m_offsetsInHex = isHex;
    endResetModel();
}

/// Says who is below whom, among those that are shown.
void FindingsModel::arrange()
{
    m_nodes.assign(m_findings.size() + 1, {});
    m_shown = 0;
    std::vector<bool> isShown(m_nodes.size(), false);
    // What is caused stands behind its cause: from the end each finding is met before the one that explains it.
    for (size_t id = m_findings.size(); id > 0; --id) {
        const JudgedFinding &finding = m_findings[id - 1];
        const bool isWanted =
            finding.severity >= m_filter.least && (!m_filter.isRepairable || finding.repair != Repair::None);
        if (!isWanted && !isShown[id])
            continue;
        isShown[id] = true;
        isShown[size_t(finding.causedBy)] = true;
    }
    for (size_t id = 1; id < m_nodes.size(); ++id) {
        if (!isShown[id])
            continue;
        Node &node = m_nodes[id];
        node.parent = m_findings[id - 1].causedBy;
        std::vector<int> &siblings = m_nodes[size_t(node.parent)].children;
        node.row = int(siblings.size());
        siblings.push_back(int(id));
        ++m_shown;
    }
}

QModelIndex FindingsModel::indexOf(int id, int column) const
{
    if (id < 1 || size_t(id) >= m_nodes.size() || m_nodes[size_t(id)].row < 0)
        return {};
    return createIndex(m_nodes[size_t(id)].row, column, quintptr(id));
}

int FindingsModel::idOf(const QModelIndex &index) const
{
    return index.isValid() ? int(index.internalId()) : 0;
}

QModelIndex FindingsModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, quintptr(m_nodes[size_t(idOf(parent))].children[size_t(row)]));
}

QModelIndex FindingsModel::parent(const QModelIndex &child) const
{
    return child.isValid() ? indexOf(m_nodes[size_t(idOf(child))].parent) : QModelIndex();
}

int FindingsModel::rowCount(const QModelIndex &parent) const
{
    return parent.column() > 0 ? 0 : int(m_nodes[size_t(idOf(parent))].children.size());
}

int FindingsModel::columnCount(const QModelIndex &) const
{
    return ColumnCount;
}

QString FindingsModel::text(const JudgedFinding &finding, int column) const
{
    switch (column) {
    case MessageColumn:
        return displayText(finding.message);
    case SeverityColumn:
        return finding.suppressed.isEmpty() ? severityName(finding.severity).toString()
                                            : tr("%1, suppressed").arg(severityName(finding.severity).toString());
    case RuleColumn:
        return finding.rule;
    case CountColumn:
        return QString::number(finding.count);
    case OffsetColumn: {
        const quint64 offset = finding.places.empty() ? 0 : finding.places.front().offset;
        return m_offsetsInHex ? QStringLiteral("0x") + QString::number(offset, 16).toUpper() : QString::number(offset);
    }
    case StreamColumn:
        return finding.stream < 0 ? QString() : QString::number(finding.stream);
    default:
        return repairText(finding.repair);
    }
}

QVariant FindingsModel::data(const QModelIndex &index, int role) const
{
    const int id = idOf(index);
    if (id == 0)
        return {};
    const JudgedFinding &finding = m_findings[size_t(id) - 1];
    switch (role) {
    case Qt::DisplayRole:
        return text(finding, index.column());
    case Qt::ToolTipRole:
        return index.column() == MessageColumn ? QVariant(displayText(finding.message)) : QVariant();
    case Qt::TextAlignmentRole:
        return int((index.column() == CountColumn || index.column() == OffsetColumn ? Qt::AlignRight : Qt::AlignLeft)
                   | Qt::AlignVCenter);
    case IdRole:
        return id;
    default:
        return {};
    }
}

QVariant FindingsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return {};
    const QString names[] = {tr("Finding"), tr("Severity"), tr("Rule"),  tr("Times"),
                             tr("Offset"),  tr("Stream"),   tr("Repair")};
    return names[section];
}

} // namespace quenlofar
