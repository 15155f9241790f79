#include "packetsview.h"

#include "tablesetup.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QScrollBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace quenlofar {

namespace {

/// Rows that are copied.
struct PacketLines
{
    PacketTexts texts;
    std::shared_ptr<const PacketOrder> order;
    std::vector<PacketColumn> columns;
    std::vector<ByteRange> ranges; // rows of the order
    QChar separator;

    /// At most PacketsView::mostCopied; ends early where `isCancelled` becomes true.
    QString text(const std::atomic<bool> &isCancelled) const
    {
        QStringList names;
        for (const PacketColumn column : columns)
            names.append(PacketModel::columnName(column));
        QString text = names.join(separator) + QLatin1Char('\n');
        for (const ByteRange &range : ranges) {
            for (quint64 row = range.offset; row < range.end() && !isCancelled; ++row) {
                const QString line = lineOf(order->indexAt(row));
                if ((qint64(text.size()) + qint64(line.size())) * qint64(sizeof(QChar)) >= PacketsView::mostCopied)
                    return text;
                text += line;
            }
        }
        return text;
    }

private:
    QString lineOf(quint64 packet) const
    {
        QStringList cells;
        for (const PacketColumn column : columns) {
            const QString cell = texts.cell(packet, column);
            const bool isQuoted = separator == QLatin1Char(',') && cell.contains(separator);
            cells.append(isQuoted ? QLatin1Char('"') + cell + QLatin1Char('"') : cell);
        }
        return cells.join(separator) + QLatin1Char('\n');
    }
};

} // namespace

/// A table in which nobody goes to a row by giving it the focus: Qt makes the first one current otherwise.
class PacketsView::Table : public QTableView
{
public:
    explicit Table(PacketsView *view) : QTableView(view), m_view(view) { }

protected:
    void focusInEvent(QFocusEvent *event) override
    {
        m_view->m_isFollowing = true;
        QTableView::focusInEvent(event);
        m_view->m_isFollowing = false;
    }

private:
    PacketsView *const m_view;
};

PacketsView::PacketsView(Document &document, QWidget *parent)
    : QWidget(parent), m_document(document), m_table(new Table(this)), m_field(new QLineEdit(this)),
      m_status(new QLabel(this)), m_before(new QToolButton(this)), m_behind(new QToolButton(this)),
      m_ordering(document), m_looking(document), m_copying(document)
{
    m_field->setObjectName(QStringLiteral("packetFilter"));
    m_field->setAccessibleName(tr("Condition for packets"));
    m_field->setPlaceholderText(tr("condition, such as size>100k && !key && stream==0"));
    m_field->setClearButtonEnabled(true);
    m_status->setObjectName(QStringLiteral("packetStatus"));
    m_status->setTextFormat(Qt::PlainText);
    m_before->setAccessibleName(tr("Rows before"));
    m_before->setToolTip(m_before->accessibleName());
    m_before->setArrowType(Qt::LeftArrow);
    m_behind->setAccessibleName(tr("Rows behind"));
    m_behind->setToolTip(m_behind->accessibleName());
    m_behind->setArrowType(Qt::RightArrow);
    m_table->setObjectName(QStringLiteral("packetTable"));
    setUpTable(*m_table, tr("Packets"), tr("Rows of packets"), tr("Columns of packets"));
    m_table->setModel(&m_model);
    QHeaderView *const header = m_table->horizontalHeader();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(int(PacketColumn::Offset), Qt::AscendingOrder);
    header->setContextMenuPolicy(Qt::CustomContextMenu);

    auto *const bar = new QHBoxLayout;
    bar->addWidget(m_field, 1);
    bar->addWidget(m_before);
    bar->addWidget(m_behind);
    bar->addWidget(m_status);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(m_table, 1);
    setFocusProxy(m_table);

    connect(header, &QHeaderView::sectionClicked, this, [this](int section) {
        const PacketColumn column = PacketColumn(section);
        setSorting(column, column == m_query.column && !m_query.isDescending);
    });
    connect(header, &QHeaderView::customContextMenuRequested, this, &PacketsView::showColumnMenu);
    connect(m_field, &QLineEdit::returnPressed, this, [this] {
        setFilter(m_field->text(), &m_error);
        showStatus();
    });
    connect(m_field, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (text.isEmpty())
            setFilter(text, &m_error);
    });
    connect(m_before, &QToolButton::clicked, this, [this] { m_model.setWindow(m_model.window() - 1); });
    connect(m_behind, &QToolButton::clicked, this, [this] { m_model.setWindow(m_model.window() + 1); });
    connect(&m_model, &QAbstractItemModel::modelReset, this, &PacketsView::showStatus);
    connect(&m_ordering, &Errand::ended, this, &PacketsView::showStatus);
    connect(m_table->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &PacketsView::setFromRow);
    connect(&m_document, &Document::tablesCame, this, [this] {
        m_model.setPackets(m_document.tables());
        if (!m_filter.isEmpty() || m_query.column != PacketColumn::Offset || m_query.isDescending)
            setFilter(m_filter, &m_error);
        showStatus();
        followPlace();
    });
    connect(&m_document, &Document::placeChanged, this, &PacketsView::followPlace);
    connect(&m_document, &Document::placeResolved, this, &PacketsView::followPlace);
    showStatus();
}

bool PacketsView::setFilter(const QString &text, QString *error)
{
    error->clear();
    PacketCondition condition;
    if (m_document.packets()) {
        const QStringList sources = PacketCondition::sourceNames(*m_document.packets());
        const std::optional<PacketCondition> parsed = PacketCondition::parse(text, sources, error);
        if (!parsed)
            return false;
        condition = *parsed;
    }
    m_error.clear();
    m_filter = text;
    m_query.condition = condition;
    if (m_field->text() != text)
        m_field->setText(text);
    runQuery();
    return true;
}

void PacketsView::setSorting(PacketColumn column, bool isDescending)
{
    m_query.column = column;
    m_query.isDescending = isDescending;
    m_table->horizontalHeader()->setSortIndicator(int(column), isDescending ? Qt::DescendingOrder : Qt::AscendingOrder);
    runQuery();
}

void PacketsView::runQuery()
{
    m_hasFailed = false;
    if (!m_document.packets())
        return;
    m_ordering.start(
        [this, tables = m_document.tables(),
         query = m_query](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
            std::shared_ptr<const PacketOrder> order = PacketOrder::make(*tables->packets, query, isCancelled);
            if (!order)
                return {};
            return [this, tables, order = std::move(order)] {
                m_isFollowing = true;
                m_model.setPackets(tables, order);
                m_isFollowing = false;
                followPlace();
            };
        },
        [this] { m_hasFailed = true; });
    showStatus();
}

QString PacketsView::statusText() const
{
    if (!m_error.isEmpty())
        return m_error;
    const PacketTable *const packets = m_document.packets();
    if (!packets) {
        return m_document.tables() ? tr("No plug-in knows the packets of this file.")
            : m_document.isRead()  ? tr("There are no packets.")
                                   : tr("Packets are being read.");
    }
    if (m_hasFailed)
        return tr("There is not enough memory to filter or sort.");
    if (m_ordering.isRunning())
        return tr("Filtering and sorting...");
    QStringList parts{m_model.order().size() == packets->size()
                          ? tr("%1 packets").arg(packets->size())
                          : tr("%1 of %2 packets").arg(m_model.order().size()).arg(packets->size())};
    if (!m_model.order().isSorted())
        parts.append(tr("too many to be sorted"));
    if (m_model.windowCount() > 1)
        parts.append(m_model.windowText());
    return parts.join(QStringLiteral("; "));
}

void PacketsView::showStatus()
{
    m_status->setText(statusText());
    m_before->setVisible(m_model.windowCount() > 1);
    m_behind->setVisible(m_model.windowCount() > 1);
    m_before->setEnabled(m_model.window() > 0);
    m_behind->setEnabled(m_model.window() + 1 < m_model.windowCount());
    Q_EMIT statusChanged();
}

void PacketsView::setFromRow(const QModelIndex &current)
{
    if (m_isFollowing || !current.isValid())
        return;
    m_isSetting = true;
    m_document.setPacket(m_model.packetOf(current.row()), Move::Jump);
    m_isSetting = false;
}

void PacketsView::showRow(quint64 row, bool isCurrent)
{
    const quint64 rows = m_model.windowCount() > 1 ? PacketModel::rowsOfWindow : PacketModel::mostRows;
    m_model.setWindow(int(row / rows));
    m_model.fetchRow(int(row % rows));
    const QModelIndex index = m_model.index(int(row % rows), qMax(0, m_table->currentIndex().column()));
    if (isCurrent)
        m_table->selectionModel()->setCurrentIndex(index,
                                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_table->scrollTo(index);
}

void PacketsView::followPlace()
{
    if (m_isSetting || !m_document.packets())
        return;
    m_isFollowing = true;
    const Place &place = m_document.place();
    const quint64 row = place.packet == PacketTable::none ? PacketTable::none : m_model.rowOf(place.packet);
    if (row != PacketTable::none) {
        showRow(row, true);
    } else {
        m_table->selectionModel()->clear();
        // The packets around the place, where they stand in the order of the file.
        const quint64 near = m_model.order().rowFrom(m_document.packets()->lowerIndex(place.range.offset));
        if (near != PacketTable::none)
            showRow(near, false);
    }
    m_isFollowing = false;
}

void PacketsView::goToNext(PacketStep step, bool isForward)
{
    const PacketTable *const packets = m_document.packets();
    if (!packets || packets->size() == 0)
        return;
    const Place &place = m_document.place();
    int stream = place.packet != PacketTable::none ? int(packets->at(place.packet).stream) : -1;
    for (int each = 0; stream < 0 && each < packets->streamCount(); ++each) {
        const StreamKind kind = packets->stream(each).kind;
        if (kind == StreamKind::Video || kind == StreamKind::Mixed)
            stream = each;
    }
    // From the packet itself, or from between two.
    const quint64 here = place.packet != PacketTable::none ? place.packet : packets->lowerIndex(place.range.offset);
    const quint64 begin = isForward && place.packet != PacketTable::none ? here + 1 : here;
    m_looking.start([this, tables = m_document.tables(), step, isForward, stream,
                     begin](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
        const PacketTable &table = *tables->packets;
        constexpr quint64 betweenLooks = 0xFFFF;
        for (quint64 at = begin; isForward ? at < table.size() : at > 0; isForward ? ++at : --at) {
            const quint64 index = isForward ? at : at - 1;
            if ((index & betweenLooks) == 0 && isCancelled)
                return {};
            const Packet packet = table.at(index);
            if ((stream >= 0 && packet.stream != stream) || packet.isPalette)
                continue;
            if (step == PacketStep::KeyFrame ? packet.key == KeyState::Yes : packet.isEmpty())
                return [this, index] { m_document.setPacket(index, Move::Jump); };
        }
        return {};
    });
}

void PacketsView::copySelected(bool isCsv)
{
    PacketLines lines;
    for (int column = 0; column < PacketModel::columns; ++column) {
        if (!m_table->isColumnHidden(column))
            lines.columns.push_back(PacketColumn(column));
    }
    for (const QItemSelectionRange &range : m_table->selectionModel()->selection())
        lines.ranges.push_back({m_model.firstRow() + quint64(range.top()), quint64(range.bottom() - range.top()) + 1});
    std::sort(lines.ranges.begin(), lines.ranges.end(),
              [](const ByteRange &a, const ByteRange &b) { return a.offset < b.offset; });
    lines.texts = m_model.texts();
    lines.order = m_model.sharedOrder();
    lines.separator = QLatin1Char(isCsv ? ',' : '\t');
    m_copying.start([lines](const std::atomic<bool> &isCancelled) {
        return Errand::Delivery([text = lines.text(isCancelled)] { QApplication::clipboard()->setText(text); });
    });
}

std::vector<QStringList> PacketsView::rowsInSight() const
{
    std::vector<QStringList> rows;
    const int first = m_table->rowAt(0);
    if (first < 0)
        return rows;
    const int behind = m_table->rowAt(m_table->viewport()->height() - 1);
    const int last = behind < 0 ? m_model.rowCount() - 1 : behind;
    for (int row = first; row <= last; ++row) {
        QStringList texts;
        for (int column = 0; column < PacketModel::columns; ++column)
            texts.append(m_model.texts().cell(m_model.packetOf(row), PacketColumn(column)));
        rows.push_back(texts);
    }
    return rows;
}

void PacketsView::showColumnMenu(const QPoint &position)
{
    QMenu menu(this);
    for (int column = 0; column < PacketModel::columns; ++column) {
        QAction *const action = menu.addAction(PacketModel::columnName(PacketColumn(column)));
        action->setCheckable(true);
        action->setChecked(!m_table->isColumnHidden(column));
        connect(action, &QAction::toggled, this,
                [this, column](bool isShown) { m_table->setColumnHidden(column, !isShown); });
    }
    menu.exec(m_table->horizontalHeader()->mapToGlobal(position));
}

} // namespace quenlofar
