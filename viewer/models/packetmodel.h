#pragma once

#include "documentwork.h"
#include "packetorder.h"

#include <QAbstractTableModel>
#include <QStringList>

#include <memory>

namespace quenlofar {

/// What is shown of the packets of a file: a copy is good in any thread, as long as its tables are there.
struct PacketTexts
{
    std::shared_ptr<const StrictTables> tables; ///< null, or without packets: there is nothing to be asked for
    QStringList sources; ///< for each set of sources, by its bits
    bool offsetsInHex = false; ///< otherwise decimal

    PacketTexts() = default;
    /// Of the packets of `strict`.
    explicit PacketTexts(std::shared_ptr<const StrictTables> strict);
    /// The text of a cell of the packet `index`.
    QString cell(quint64 index, PacketColumn column) const;
};

/**
 * Packets of a file for item views, in the order of a PacketOrder. Nothing is kept for a row. Views cannot count more
 * than mostRows: beyond them the rows come in windows of rowsOfWindow, one of which is shown. Views keep something for
 * each row: they get the rows of a window in portions, one with each event, so that none takes long.
 */
class PacketModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    static constexpr quint64 mostRows = 50'000'000; ///< without windows
    static constexpr quint64 rowsOfWindow = 10'000'000; ///< of a window
    static constexpr int rowsOfPortion = 2'000'000; ///< that views get at once
    static constexpr int columns = int(PacketColumn::Gap) + 1; ///< in the order of PacketColumn

    explicit PacketModel(QObject *parent = nullptr);

    /// Shows packets of `tables`, which may be null or without packets, in this order; null: that of the file.
    void setPackets(std::shared_ptr<const StrictTables> tables, std::shared_ptr<const PacketOrder> order = nullptr);
    const PacketOrder &order() const { return *m_order; } ///< of what is shown
    const std::shared_ptr<const PacketOrder> &sharedOrder() const { return m_order; } ///< to be used in other threads
    const PacketTexts &texts() const { return m_texts; } ///< of the cells
    void setOffsetsInHex(bool isHex); ///< how offsets are shown

    int windowCount() const; ///< at least 1
    int window() const { return m_window; } ///< the one that is shown, from 0
    void setWindow(int window); ///< brought into its bounds
    int rowsOfCurrentWindow() const; ///< rowCount(), once all portions have come
    void fetchRow(int row); ///< Makes sure that views have this row of the window, if there is one.
    /// "Rows 10 000 000 to 19 999 999 of 128 000 000"; empty where there is one window alone.
    QString windowText() const;

    quint64 packetOf(int row) const; ///< the index in the table of the packet in a row of the window
    /// The row of a packet in the order, whatever the window; PacketTable::none where it is not shown.
    quint64 rowOf(quint64 packet) const { return m_order->rowOf(packet); }
    quint64 firstRow() const { return quint64(m_window) * rowsInWindow(); } ///< of the window, in the order

    static QString columnName(PacketColumn column); ///< as the header has it
    /// Names of columns as commands have them: "number", "stream"...; -1 for a text that is none.
    static int columnOf(const QString &word);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    void fetchUpTo(int rows);
    void fetchLater();
    quint64 rowsInWindow() const { return m_order->size() > mostRows ? rowsOfWindow : mostRows; }

    PacketTexts m_texts;
    std::shared_ptr<const PacketOrder> m_order;
    int m_window = 0;
    int m_rows = 0; // that views have
    bool m_isFetching = false; // the next portion comes with an event
};

/// "1:02:03.456", or a dash where `seconds` is negative.
QString packetTimeText(double seconds);

} // namespace quenlofar
