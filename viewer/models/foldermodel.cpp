#include "foldermodel.h"

#include "displaytext.h"
#include "filepath.h"
#include "wildcards.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quenlofar {

namespace {

constexpr int betweenOrders = 200; // milliseconds

constexpr std::array<const char *, size_t(FolderModel::columns)> folderColumnWords{
    "name", "container", "size", "streams", "verdict", "errors", "warnings", "notes", "trouble"};

/// From bad to good; what nobody has looked at stands last.
int rankOf(const FolderFile &file)
{
    constexpr int unread = 4;
    if (!file.isRead)
        return unread;
    switch (file.facts.verdict) {
    case Verdict::Damaged:
        return 0;
    case Verdict::Warnings:
        return 1;
    case Verdict::Unknown:
        return 2;
    case Verdict::Conforms:
        break;
    }
    return 3;
}

qint64 numberOf(const FolderFile &file, FolderColumn column)
{
    if (column == FolderColumn::Verdict)
        return rankOf(file);
    if (!file.isRead)
        return -1;
    switch (column) {
    case FolderColumn::Size:
        return file.facts.size;
    case FolderColumn::Streams:
        return file.facts.streams;
    case FolderColumn::Errors:
        return file.facts.counts.error;
    case FolderColumn::Warnings:
        return file.facts.counts.warning;
    default:
        return file.facts.counts.note;
    }
}

bool isOfTexts(FolderColumn column)
{
    return column == FolderColumn::Name || column == FolderColumn::Container || column == FolderColumn::Trouble;
}

bool isWanted(const FolderFile &file, const FolderQuery &query, const QByteArray &pattern)
{
    if (query.verdict && (!file.isRead || file.facts.verdict != *query.verdict))
        return false;
    if (!pattern.isEmpty())
        return matchesWildcards(pattern, file.name);
    return file.name.contains(query.name, Qt::CaseInsensitive);
}

} // namespace

QString folderCell(const FolderFile &file, FolderColumn column)
{
    if (column == FolderColumn::Name)
        return displayText(QString::fromUtf8(pathForDisplay(file.name)));
    if (!file.isRead)
        return {};
    const FileFacts &facts = file.facts;
    switch (column) {
    case FolderColumn::Name:
        break;
    case FolderColumn::Container:
        return facts.container.isNull() ? QStringLiteral("unknown") : displayText(facts.container);
    case FolderColumn::Size:
        return facts.size < 0 ? QString() : QString::number(facts.size);
    case FolderColumn::Streams:
        return QString::number(facts.streams);
    case FolderColumn::Verdict:
        return verdictText(facts.verdict);
    case FolderColumn::Errors:
        return QString::number(facts.counts.error);
    case FolderColumn::Warnings:
        return QString::number(facts.counts.warning);
    case FolderColumn::Notes:
        return QString::number(facts.counts.note);
    case FolderColumn::Trouble:
        return displayText(facts.trouble);
    }
    return {};
}

std::vector<int> folderOrder(const std::vector<FolderFile> &files, const FolderQuery &query,
                             const std::atomic<bool> &isCancelled)
{
    const bool isPattern = query.name.contains(QLatin1Char('*')) || query.name.contains(QLatin1Char('?'));
    const QByteArray pattern = isPattern ? query.name.toUtf8() : QByteArray();
    std::vector<int> order;
    for (size_t i = 0; i < files.size() && !isCancelled; ++i) {
        if (isWanted(files[i], query, pattern))
            order.push_back(int(i));
    }
    const auto sortBy = [&](auto compare) {
        std::sort(order.begin(), order.end(), [&](int a, int b) {
            const FolderFile &one = files[size_t(a)];
            const FolderFile &other = files[size_t(b)];
            const auto difference = compare(one, other);
            if (difference != 0)
                return query.isDescending ? difference > 0 : difference < 0;
            return one.name < other.name;
        });
    };
    if (query.column == FolderColumn::Name)
        sortBy([](const FolderFile &one, const FolderFile &other) { return one.name.compare(other.name); });
    else if (isOfTexts(query.column))
        sortBy([&query](const FolderFile &one, const FolderFile &other) {
            return folderCell(one, query.column).compare(folderCell(other, query.column));
        });
    else
        sortBy([&query](const FolderFile &one, const FolderFile &other) {
            return numberOf(one, query.column) - numberOf(other, query.column);
        });
    return order;
}

FolderModel::FolderModel(const FolderScan &scan, QObject *parent) : QAbstractTableModel(parent), m_scan(scan)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &FolderModel::order);
    connect(&m_ordering, &Errand::ended, this, [this] {
        if (m_isDirty)
            orderLater();
    });
    connect(&scan, &FolderScan::changed, this, [this] {
        m_isDirty = true;
        orderLater();
    });
}

void FolderModel::setQuery(const FolderQuery &query)
{
    m_query = query;
    m_timer.stop();
    order();
}

/// What goes on is not given up for what has just come: the table would stay as it is while files come quickly.
void FolderModel::orderLater()
{
    if (!m_timer.isActive() && !m_ordering.isRunning())
        m_timer.start(m_scan.isDone() ? 0 : betweenOrders);
}

void FolderModel::order()
{
    m_isDirty = false;
    m_ordering.start([this, files = m_scan.files(), query = m_query](const std::atomic<bool> &isCancelled) {
        return Errand::Delivery([this, order = folderOrder(files, query, isCancelled)] {
            if (order == m_order) {
                if (!m_order.empty())
                    Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columns - 1));
            } else {
                beginResetModel();
                m_order = order;
                endResetModel();
            }
            Q_EMIT ordered();
        });
    });
}

int FolderModel::rowOf(const QString &path) const
{
    const auto found = std::find_if(m_order.begin(), m_order.end(),
                                    [&](int file) { return m_scan.files()[size_t(file)].path == path; });
    return found == m_order.end() ? -1 : int(found - m_order.begin());
}

std::vector<FolderFile> FolderModel::filesInOrder() const
{
    std::vector<FolderFile> files;
    files.reserve(m_order.size());
    for (int row = 0; row < rowCount(); ++row)
        files.push_back(file(row));
    return files;
}

QString FolderModel::columnName(FolderColumn column)
{
    switch (column) {
    case FolderColumn::Name:
        return tr("Name");
    case FolderColumn::Container:
        return tr("Container");
    case FolderColumn::Size:
        return tr("Size");
    case FolderColumn::Streams:
        return tr("Streams");
    case FolderColumn::Verdict:
        return tr("Verdict");
    case FolderColumn::Errors:
        return tr("Errors");
    case FolderColumn::Warnings:
        return tr("Warnings");
    case FolderColumn::Notes:
        return tr("Notes");
    case FolderColumn::Trouble:
        break;
    }
    return tr("Trouble");
}

int FolderModel::columnOf(const QString &word)
{
    const auto found = std::find_if(folderColumnWords.begin(), folderColumnWords.end(),
                                    [&word](const char *each) { return word == QLatin1String(each); });
    return found == folderColumnWords.end() ? -1 : int(found - folderColumnWords.begin());
}

int FolderModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_order.size());
}

int FolderModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant FolderModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto column = FolderColumn(index.column());
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole)
        return folderCell(file(index.row()), column);
    if (role == Qt::TextAlignmentRole && !isOfTexts(column) && column != FolderColumn::Verdict)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

QVariant FolderModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    return orientation == Qt::Horizontal && role == Qt::DisplayRole ? QVariant(columnName(FolderColumn(section)))
                                                                    : QVariant();
}

} // namespace quenlofar
