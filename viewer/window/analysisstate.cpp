#include "analysisstate.h"

#include "analysistabs.h"
#include "bookmarksview.h"
#include "kindcolors.h"
#include "overviewbar.h"

#include <QJsonArray>
#include <QTableView>
#include <QTreeView>
#include <QTreeWidget>

namespace quenlofar {

namespace {

constexpr size_t mostPointersTold = 16;

QJsonObject rangeObject(const ByteRange &range)
{
    return {{QStringLiteral("offset"), jsonNumber(range.offset)}, {QStringLiteral("size"), jsonNumber(range.size)}};
}

QJsonObject packetsState(PacketsView &view)
{
    QJsonArray rows;
    for (const QStringList &row : view.rowsInSight())
        rows.append(QJsonArray::fromStringList(row));
    const QModelIndex current = view.table().currentIndex();
    return {{QStringLiteral("filter"), view.filter()},
            {QStringLiteral("sortedBy"), PacketModel::columnName(view.sortColumn())},
            {QStringLiteral("descending"), view.isDescending()},
            {QStringLiteral("count"), jsonNumber(view.model().order().size())},
            {QStringLiteral("window"), view.model().window()},
            {QStringLiteral("status"), view.statusText()},
            {QStringLiteral("current"),
             current.isValid() ? jsonNumber(view.model().packetOf(current.row())) : QJsonValue()},
            {QStringLiteral("rows"), rows}};
}

QJsonObject plotState(const PlotView &view)
{
    return {{QStringLiteral("axis"),
             view.settings().axis == PlotSettings::Axis::Time ? QStringLiteral("time") : QStringLiteral("number")},
            {QStringLiteral("stream"), view.settings().stream},
            {QStringLiteral("from"), view.from()},
            {QStringLiteral("to"), view.to()},
            {QStringLiteral("scale"), jsonNumber(view.scale())},
            {QStringLiteral("fixedScale"), view.settings().isFixedScale},
            {QStringLiteral("curves"), int(view.settings().curves)},
            {QStringLiteral("cursor"), view.cursorText()},
            {QStringLiteral("status"), view.statusText()}};
}

QJsonObject findingsState(FindingsView &view)
{
    QJsonArray list;
    for (const JudgedFinding &finding : view.model().findings()) {
        if (!view.model().indexOf(finding.id).isValid())
            continue;
        list.append(QJsonObject{{QStringLiteral("id"), finding.id},
                                {QStringLiteral("rule"), finding.rule},
                                {QStringLiteral("severity"), severityName(finding.severity).toString()},
                                {QStringLiteral("count"), jsonNumber(finding.count)},
                                {QStringLiteral("causedBy"), finding.causedBy},
                                {QStringLiteral("offset"),
                                 finding.places.empty() ? QJsonValue() : jsonNumber(finding.places.front().offset)},
                                {QStringLiteral("message"), finding.message}});
    }
    return {{QStringLiteral("status"), view.statusText()},
            {QStringLiteral("current"), view.currentFinding()},
            {QStringLiteral("explanation"), view.explanation()},
            {QStringLiteral("shown"), list}};
}

/// Of each kind both texts, by its name.
QJsonObject valuesState(const ValuesView &view)
{
    QJsonObject all;
    const ValuesModel &model = view.values();
    const auto text = [&model](int row, int column) { return model.index(row, column).data().toString(); };
    for (int row = 0; row < model.rowCount(); ++row)
        all.insert(text(row, ValuesModel::NameColumn),
                   QJsonArray{text(row, ValuesModel::LittleColumn), text(row, ValuesModel::BigColumn)});
    return all;
}

/// Each row with what stands below it.
QJsonObject repairState(RepairView &view)
{
    QJsonArray rows;
    const auto texts = [](const QTreeWidgetItem *row) {
        QJsonArray all;
        for (int column = 0; column < row->columnCount(); ++column)
            all.append(row->text(column));
        return all;
    };
    for (int top = 0; top < view.steps().topLevelItemCount(); ++top) {
        const QTreeWidgetItem *const row = view.steps().topLevelItem(top);
        QJsonArray below;
        for (int child = 0; child < row->childCount(); ++child)
            below.append(texts(row->child(child)));
        rows.append(QJsonObject{{QStringLiteral("texts"), texts(row)}, {QStringLiteral("below"), below}});
    }
    return {{QStringLiteral("status"), view.statusText()},
            {QStringLiteral("bytes"), view.bytesText()},
            {QStringLiteral("rows"), rows}};
}

} // namespace

QJsonValue jsonNumber(quint64 number)
{
    constexpr quint64 exact = quint64(1) << 53;
    return number <= exact ? QJsonValue(double(number)) : QJsonValue(QString::number(number));
}

QJsonObject analysisOfPlace(const Document &document)
{
    const Place &place = document.place();
    QJsonArray pointers;
    for (const Reference &reference : document.pointers(mostPointersTold))
        pointers.append(rangeObject(reference.place));
    const std::optional<Reference> reference = document.reference();
    return {{QStringLiteral("packet"), place.packet == PacketTable::none ? QJsonValue() : jsonNumber(place.packet)},
            {QStringLiteral("finding"), place.finding},
            {QStringLiteral("target"), reference ? QJsonValue(rangeObject(reference->target)) : QJsonValue()},
            {QStringLiteral("pointers"), pointers}};
}

QJsonObject analysisState(AnalysisTabs &tabs)
{
    return {{QStringLiteral("front"), tabs.currentIndex()},
            {QStringLiteral("packets"), packetsState(tabs.packetsView())},
            {QStringLiteral("plot"), plotState(tabs.plotView())},
            {QStringLiteral("findings"), findingsState(tabs.findingsView())},
            {QStringLiteral("values"), valuesState(tabs.valuesView())},
            {QStringLiteral("repair"), repairState(tabs.repairView())}};
}

QJsonObject bookmarksState(BookmarksView &view)
{
    QJsonArray rows;
    const BookmarksModel &model = view.model();
    for (int row = 0; row < model.rowCount(); ++row) {
        QJsonArray cells;
        for (int column = 0; column < BookmarksModel::ColumnCount; ++column)
            cells.append(model.index(row, column).data().toString());
        rows.append(cells);
    }
    const QModelIndex current = view.table().currentIndex();
    return {{QStringLiteral("status"), view.statusText()},
            {QStringLiteral("current"), current.isValid() ? QJsonValue(current.row()) : QJsonValue()},
            {QStringLiteral("rows"), rows}};
}

QJsonObject overviewState(const OverviewBar &overview)
{
    QJsonArray kinds;
    const std::vector<RegionKind> &cells = overview.kinds();
    // Cells side by side of one kind are told once.
    for (size_t cell = 0; cell < cells.size();) {
        size_t end = cell + 1;
        while (end < cells.size() && cells[end] == cells[cell])
            ++end;
        kinds.append(QJsonObject{{QStringLiteral("kind"), kindText(cells[cell])},
                                 {QStringLiteral("from"), jsonNumber(overview.cells().begin(int(cell)))},
                                 {QStringLiteral("to"), jsonNumber(overview.cells().begin(int(end)))}});
        cell = end;
    }
    QJsonArray ticks;
    for (const int cell : overview.ticks())
        ticks.append(jsonNumber(overview.cells().begin(cell)));
    return {{QStringLiteral("kinds"), kinds},
            {QStringLiteral("findings"), ticks},
            {QStringLiteral("place"), overview.placeText()}};
}

} // namespace quenlofar
