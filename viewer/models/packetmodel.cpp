#include "packetmodel.h"

#include "packetfacts.h"

#include <QTimer>

#include <algorithm>
#include <array>
#include <cmath>

namespace quenlofar {

namespace {

constexpr std::array<const char *, PacketModel::columns> columnWords{"number", "stream", "kind",  "time", "offset",
                                                                     "size",   "key",    "known", "gap"};

QString grouped(quint64 number)
{
    QString text = QString::number(number);
    for (int at = int(text.size()) - 3; at > 0; at -= 3)
        text.insert(at, QChar(0x202F)); // a narrow blank that breaks no line
    return text;
}

} // namespace

QString packetTimeText(double seconds)
{
    if (seconds < 0)
        return QStringLiteral("\u2013");
    const quint64 thousandths = quint64(std::llround(seconds * 1000));
    const quint64 whole = thousandths / 1000;
    return QStringLiteral("%1:%2:%3.%4")
        .arg(whole / 3600)
        .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(whole % 60, 2, 10, QLatin1Char('0'))
        .arg(thousandths % 1000, 3, 10, QLatin1Char('0'));
}

PacketTexts::PacketTexts(std::shared_ptr<const StrictTables> strict) : tables(std::move(strict))
{
    if (!tables || !tables->packets)
        return;
    const QStringList names = PacketCondition::sourceNames(*tables->packets);
    for (int bits = 0; bits < 1 << int(names.size()); ++bits) {
        QStringList known;
        for (int source = 0; source < int(names.size()); ++source) {
            if ((bits & 1 << source) != 0)
                known.append(names.at(source));
        }
        sources.append(known.join(QStringLiteral(", ")));
    }
}

QString PacketTexts::cell(quint64 index, PacketColumn column) const
{
    const PacketTable &packets = *tables->packets;
    const Packet packet = packets.at(index);
    switch (column) {
    case PacketColumn::Number:
        return packet.isPalette ? QStringLiteral("\u2013") : QString::number(packets.numberOf(index));
    case PacketColumn::Stream:
        return QString::number(packet.stream);
    case PacketColumn::Kind:
        return packet.isPalette ? PacketModel::tr("palette") : streamKindText(packets.stream(packet.stream).kind);
    case PacketColumn::Time:
        return packetTimeText(packets.secondsOf(index));
    case PacketColumn::Offset:
        return offsetsInHex ? QStringLiteral("0x") + QString::number(packet.offset, 16).toUpper()
                            : QString::number(packet.offset);
    case PacketColumn::Size:
        return packet.isCut ? PacketModel::tr("%1, cut").arg(packet.size) : QString::number(packet.size);
    case PacketColumn::Key:
        return packet.key == KeyState::Yes ? PacketModel::tr("key")
            : packet.key == KeyState::No   ? PacketModel::tr("no")
                                           : PacketModel::tr("unknown");
    case PacketColumn::KnownBy:
        return sources.value(packet.knownBy);
    case PacketColumn::Gap:
        break;
    }
    return QString::number(packetFacts(packets, index).gap);
}

PacketModel::PacketModel(QObject *parent) : QAbstractTableModel(parent), m_order(std::make_shared<const PacketOrder>(0))
{
}

void PacketModel::setPackets(std::shared_ptr<const StrictTables> tables, std::shared_ptr<const PacketOrder> order)
{
    beginResetModel();
    const bool isHex = m_texts.offsetsInHex;
    m_texts = PacketTexts(std::move(tables));
    m_texts.offsetsInHex = isHex;
    const PacketTable *const packets = m_texts.tables ? m_texts.tables->packets : nullptr;
    m_order = packets && order ? std::move(order) : std::make_shared<const PacketOrder>(packets ? packets->size() : 0);
    m_window = 0;
    m_rows = std::min(rowsOfCurrentWindow(), rowsOfPortion);
    endResetModel();
    fetchLater();
}

void PacketModel::setOffsetsInHex(bool isHex)
{
    if (isHex == m_texts.offsetsInHex)
        return;
    m_texts.offsetsInHex = isHex;
    if (rowCount() > 0) {
        const int column = int(PacketColumn::Offset);
        Q_EMIT dataChanged(index(0, column), index(rowCount() - 1, column));
    }
}

int PacketModel::windowCount() const
{
    const quint64 rows = rowsInWindow();
    return std::max(1, int((m_order->size() + rows - 1) / rows));
}

void PacketModel::setWindow(int window)
{
    window = std::clamp(window, 0, windowCount() - 1);
    if (window == m_window)
        return;
    beginResetModel();
    m_window = window;
    m_rows = std::min(rowsOfCurrentWindow(), rowsOfPortion);
    endResetModel();
    fetchLater();
}

int PacketModel::rowsOfCurrentWindow() const
{
    return int(std::min(m_order->size() - firstRow(), rowsInWindow()));
}

void PacketModel::fetchRow(int row)
{
    fetchUpTo(row + 1);
}

void PacketModel::fetchUpTo(int rows)
{
    rows = std::min(rows, rowsOfCurrentWindow());
    if (rows <= m_rows)
        return;
    beginInsertRows({}, m_rows, rows - 1);
    m_rows = rows;
    endInsertRows();
}

void PacketModel::fetchLater()
{
    if (m_isFetching || m_rows == rowsOfCurrentWindow())
        return;
    m_isFetching = true;
    QTimer::singleShot(0, this, [this] {
        m_isFetching = false;
        fetchUpTo(m_rows + rowsOfPortion);
        fetchLater();
    });
}

QString PacketModel::windowText() const
{
    if (windowCount() == 1)
        return {};
    return tr("Rows %1 to %2 of %3")
        .arg(grouped(firstRow()), grouped(firstRow() + quint64(rowsOfCurrentWindow()) - 1), grouped(m_order->size()));
}

quint64 PacketModel::packetOf(int row) const
{
    return m_order->indexAt(firstRow() + quint64(row));
}

QString PacketModel::columnName(PacketColumn column)
{
    switch (column) {
    case PacketColumn::Number:
        return tr("Number");
    case PacketColumn::Stream:
        return tr("Stream");
    case PacketColumn::Kind:
        return tr("Kind");
    case PacketColumn::Time:
        return tr("Time");
    case PacketColumn::Offset:
        return tr("Offset");
    case PacketColumn::Size:
        return tr("Size");
    case PacketColumn::Key:
        return tr("Key");
    case PacketColumn::KnownBy:
        return tr("Known by");
    case PacketColumn::Gap:
        break;
    }
    return tr("Gap");
}

int PacketModel::columnOf(const QString &word)
{
    for (int column = 0; column < columns; ++column) {
        if (word == QLatin1String(columnWords[size_t(column)]))
            return column;
    }
    return -1;
}

int PacketModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int PacketModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant PacketModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const PacketColumn column = PacketColumn(index.column());
    if (role == Qt::DisplayRole)
        return m_texts.cell(packetOf(index.row()), column);
    if (role == Qt::TextAlignmentRole) {
        const bool isText =
            column == PacketColumn::Kind || column == PacketColumn::Key || column == PacketColumn::KnownBy;
        return int((isText ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    }
    return {};
}

QVariant PacketModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || section < 0)
        return {};
    if (orientation == Qt::Vertical)
        return QString::number(firstRow() + quint64(section));
    if (section >= columns)
        return {};
    return columnName(PacketColumn(section));
}

} // namespace quenlofar
