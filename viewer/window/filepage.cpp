#include "filepage.h"

#include "analysisstate.h"
#include "displaytext.h"
#include "filepath.h"
#include "statuscodes.h"

#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>

namespace quenlofar {

namespace {

QJsonObject jsonRange(const ByteRange &range)
{
    return {{QStringLiteral("offset"), jsonNumber(range.offset)}, {QStringLiteral("size"), jsonNumber(range.size)}};
}

QString limitText(const RunResult &result)
{
    switch (result.limit) {
    case RunLimit::None:
        return {};
    case RunLimit::Items:
        return FilePage::tr("Reading ended at %1 elements and fields; what comes behind is not shown.")
            .arg(result.limitValue);
    case RunLimit::Depth:
        return FilePage::tr("Reading ended at %1 elements one inside the other.").arg(result.limitValue);
    case RunLimit::Work:
        return FilePage::tr("Reading ended after %1 bytes were read.").arg(result.limitValue);
    case RunLimit::Time:
        return FilePage::tr("Reading ended after %1 seconds.").arg(result.limitValue);
    case RunLimit::Structure:
        return FilePage::tr("The file has more parts than are kept.");
    }
    return {};
}

} // namespace

FilePage::FilePage(const QString &path, const DocumentOptions &options, QWidget *parent)
    : QWidget(parent), m_options(options), m_document(path, options), m_structureView(m_document),
      m_filterBar(m_document), m_hexView(m_document), m_findBar(m_document, options.opener),
      m_copyJob(m_document, options.opener), m_summaryJob(m_document, options), m_repairJob(m_document, options),
      m_bookmarks(m_document, options.opener), m_analysis(m_document, m_repairJob), m_overview(m_document),
      m_bar(new QLabel(this))
{
    auto *const splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setObjectName(QStringLiteral("structureAndBytes"));
    splitter->addWidget(makeStructurePane());
    splitter->addWidget(&m_hexView);
    splitter->setStretchFactor(0, 1);
    splitter->setChildrenCollapsible(false);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_bar);
    arrangeAnalysis(splitter);
    m_bar->setObjectName(QStringLiteral("messages"));
    m_bar->setAccessibleName(tr("Messages"));
    m_bar->setTextFormat(Qt::PlainText);
    m_bar->setWordWrap(true);
    m_bar->setFrameShape(QFrame::StyledPanel);
    m_bar->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_bar->setContentsMargins(4, 4, 4, 4);
    connect(&m_document, &Document::opened, this, &FilePage::showMessages);
    connect(&m_document, &Document::treeGrew, this, &FilePage::showMessages);
    connect(&m_document, &Document::changed, this, &FilePage::showMessages);
    connect(&m_document, &Document::tablesCame, this, &FilePage::statusChanged);
    connect(&m_document, &Document::placeChanged, this, &FilePage::statusChanged);
    connect(&m_document, &Document::placeResolved, this, &FilePage::statusChanged);
    connect(&m_hexView, &HexView::cursorMoved, this, &FilePage::statusChanged);
    setFocusProxy(&m_structureView);
    arrangeBookmarks();
    showMessages();
}

/// A tab behind those of the analysis, and marks in the overview.
void FilePage::arrangeBookmarks()
{
    m_bookmarksView = new BookmarksView(m_document, m_bookmarks);
    m_analysis.addTab(m_bookmarksView, tr("Bookmarks"));
    connect(&m_bookmarks, &Bookmarks::changed, this, [this] {
        const size_t count = m_bookmarks.list().size();
        m_analysis.setTabText(m_analysis.indexOf(m_bookmarksView),
                              count == 0 ? tr("Bookmarks") : tr("Bookmarks: %1").arg(count));
        std::vector<quint64> places;
        for (const Bookmark &bookmark : m_bookmarks.list())
            places.push_back(bookmark.range.offset);
        m_overview.setBookmarks(std::move(places));
    });
}

/// What the strict reading tells stands below structure and bytes; the overview of the whole file below everything.
void FilePage::arrangeAnalysis(QWidget *upper)
{
    auto *const splitter = new QSplitter(Qt::Vertical, this);
    splitter->setObjectName(QStringLiteral("aboveAndBelow"));
    splitter->addWidget(upper);
    splitter->addWidget(&m_analysis);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    splitter->setChildrenCollapsible(false);
    auto *const all = static_cast<QVBoxLayout *>(layout());
    all->addWidget(splitter, 1);
    all->addWidget(&m_findBar);
    all->addWidget(&m_overview);
    connect(&m_document, &Document::checkCame, this, &FilePage::statusChanged);
    // Enter in the structure: a field of an index entry leads to what it points at.
    connect(&m_structureView, &QAbstractItemView::activated, this, &FilePage::follow);
}

std::vector<QWidget *> FilePage::views()
{
    return {&m_structureView, m_filterBar.field(), &m_hexView, m_analysis.focusView(), &m_overview};
}

bool FilePage::follow()
{
    const std::optional<Reference> reference = m_document.reference();
    if (!reference)
        return false;
    const quint64 packet = m_document.packetAt(reference->target.offset);
    if (packet != PacketTable::none && m_document.packets()->at(packet).range() == reference->target)
        m_document.setPacket(packet, Move::Jump);
    else
        m_document.setBytes({reference->target.offset, std::max<quint64>(reference->target.size, 1)}, Move::Jump);
    return true;
}

QString FilePage::elementText(quint64 offset) const
{
    QStringList names;
    const GrowingTree &tree = m_document.tree();
    for (TreeItem item = tree.itemAt(offset); item != GrowingTree::root(); item = tree.parent(item))
        names.prepend(displayText(tree.name(item)));
    return names.join(QStringLiteral(" / "));
}

/// What the current place has to do with other places.
QString FilePage::linksText() const
{
    QStringList parts;
    if (const std::optional<Reference> reference = m_document.reference())
        parts.append(reference->isHit ? tr("points at %1").arg(reference->target.offset)
                                      : tr("points at %1, wrongly").arg(reference->target.offset));
    constexpr size_t most = 16;
    // What points into something large says little of it.
    if (m_document.place().packet != PacketTable::none) {
        const size_t count = m_document.pointers(most).size();
        parts.append(count == 0         ? tr("nothing points here")
                         : count == 1   ? tr("an index entry points here")
                         : count < most ? tr("%1 index entries point here").arg(count)
                                        : tr("%1 index entries or more point here").arg(count));
    }
    return parts.join(QStringLiteral(", "));
}

/// The structure with what belongs to it: the limit that ended it above, what is looked for in it below.
QWidget *FilePage::makeStructurePane()
{
    auto *const pane = new QWidget(this);
    auto *const layout = new QVBoxLayout(pane);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(&m_limitsBar);
    layout->addWidget(&m_structureView, 1);
    layout->addWidget(&m_filterBar);
    m_structureView.elements().setMarks([this](TreeItem item) { return m_filterBar.search().matches(item); });
    connect(&m_filterBar, &FilterBar::matchesChanged, &m_structureView.elements(), &ElementModel::updateMarks);
    connect(&m_limitsBar, &LimitsBar::raiseWanted, this, &FilePage::raiseWanted);
    return pane;
}

std::optional<DocumentOptions> FilePage::raisedOptions() const
{
    constexpr quint64 times = 10;
    constexpr quint64 deepest = 1000; // parsers go down by calls: what an ordinary stack holds with room to spare
    const GrowingTree &tree = m_document.tree();
    if (!tree.isComplete())
        return std::nullopt;
    const RunResult &result = tree.result();
    DocumentOptions options = m_options;
    switch (result.limit) {
    case RunLimit::Items:
        options.limits.maxItems = result.limitValue * times;
        return options;
    case RunLimit::Depth:
        if (result.limitValue >= deepest)
            return std::nullopt;
        options.limits.maxDepth = std::min(result.limitValue * times, deepest);
        return options;
    case RunLimit::Work:
        options.limits.maxWork = result.limitValue * times;
        return options;
    case RunLimit::Time:
        options.limits.maxSeconds = result.limitValue * times;
        return options;
    case RunLimit::None:
    case RunLimit::Structure:
        break;
    }
    if (result.sinkError.isNull())
        return std::nullopt;
    options.pace.mostBytes *= 2; // the sink fails for want of room alone
    return options;
}

bool FilePage::isIdle() const
{
    return m_document.isIdle() && m_filterBar.search().isDone() && !m_findBar.isRunning() && !m_copyJob.isRunning()
        && !m_summaryJob.isRunning() && !m_structureView.isExpanding();
}

QString FilePage::title() const
{
    const QString shown = QString::fromUtf8(pathForDisplay(m_document.path()));
    const QString name = displayText(shown.mid(shown.lastIndexOf(QLatin1Char('/')) + 1));
    return m_options.note.isEmpty() ? name : tr("%1 (%2)").arg(name, m_options.note);
}

/// What is wrong with the file, but for the limit.
QStringList FilePage::troubles() const
{
    QStringList messages;
    if (m_document.isOpened() && !m_document.openError().isNull())
        messages.append(tr("The file cannot be opened: %1.").arg(m_document.openError()));
    if (!m_document.change().isNull())
        messages.append(m_document.change());
    if (!m_document.readError().isNull())
        messages.append(tr("Bytes cannot be read: %1.").arg(m_document.readError()));
    const GrowingTree &tree = m_document.tree();
    if (!tree.isComplete() || !m_document.openError().isNull())
        return messages;
    if (tree.document().container.isNull())
        messages.append(tr("No plug-in knows the format of this file: only its bytes are shown."));
    const RunResult &result = tree.result();
    if (result.error.kind != FileError::None)
        messages.append(
            result.error.offset < 0
                ? tr("Reading the structure failed: %1.").arg(result.error.message)
                : tr("Reading the structure failed at %1: %2.").arg(result.error.offset).arg(result.error.message));
    if (result.cancelled)
        messages.append(tr("Reading was stopped; what comes behind is not shown."));
    return messages;
}

QString FilePage::limitMessage() const
{
    const GrowingTree &tree = m_document.tree();
    if (!tree.isComplete())
        return {};
    const RunResult &result = tree.result();
    if (result.limit != RunLimit::None)
        return limitText(result);
    return result.sinkError.isNull() ? QString() : tr("Reading ended: %1.").arg(result.sinkError);
}

QStringList FilePage::messages() const
{
    QStringList messages = troubles();
    if (const QString limit = limitMessage(); !limit.isEmpty())
        messages.append(limit);
    return messages;
}

void FilePage::showMessages()
{
    m_limitsBar.say(limitMessage(), raisedOptions() ? tr("Raise it and read again") : QString());
    const QString text = troubles().join(QLatin1Char('\n'));
    m_bar->setText(text);
    m_bar->setVisible(!text.isEmpty());
    Q_EMIT statusChanged();
}

QString FilePage::statusText() const
{
    QStringList parts;
    if (!m_document.isRead() && m_document.isOpened())
        parts.append(tr("reading, %1 %").arg(m_document.progress()));
    parts.append(m_hexView.cursorText());
    const ByteRange selection = m_hexView.selection();
    if (selection.size > 1)
        parts.append(tr("%1 bytes selected").arg(selection.size));
    if (const QString links = linksText(); !links.isEmpty())
        parts.append(links);
    return parts.join(QStringLiteral("   "));
}

QJsonObject FilePage::state()
{
    const GrowingTree &tree = m_document.tree();
    QJsonObject place = jsonRange(m_document.place().range);
    place[QStringLiteral("path")] = tree.path(m_document.place().item);
    const QJsonObject links = analysisOfPlace(m_document);
    for (auto member = links.begin(); member != links.end(); ++member)
        place[member.key()] = member.value();

    QJsonArray hexRows;
    for (int i = 0; i < m_hexView.rowsInView() && m_document.size() > 0; ++i) {
        const quint64 number = m_hexView.topRow() + quint64(i);
        const HexRow row = m_hexView.row(number);
        hexRows.append(QJsonObject{{QStringLiteral("offset"), jsonNumber(row.offset)},
                                   {QStringLiteral("hex"), row.hex.trimmed()},
                                   {QStringLiteral("text"), row.text},
                                   {QStringLiteral("elements"), m_hexView.elementsOfRow(number)}});
    }
    const QJsonObject bytes{{QStringLiteral("columns"), m_hexView.layoutOfBytes().columns},
                            {QStringLiteral("topRow"), jsonNumber(m_hexView.topRow())},
                            {QStringLiteral("cursor"), jsonNumber(m_hexView.cursor())},
                            {QStringLiteral("selection"), jsonRange(m_hexView.selection())},
                            {QStringLiteral("rows"), hexRows}};

    QJsonArray treeRows;
    for (const QModelIndex &index : m_structureView.rowsInSight()) {
        QJsonArray texts;
        for (int column = 0; column < ElementModel::ColumnCount; ++column)
            texts.append(index.sibling(index.row(), column).data().toString());
        treeRows.append(texts);
    }
    const QJsonObject filter{{QStringLiteral("text"), m_filterBar.text()},
                             {QStringLiteral("message"), m_filterBar.message()},
                             {QStringLiteral("count"), jsonNumber(m_filterBar.search().count())},
                             {QStringLiteral("complete"), m_filterBar.search().isDone()}};
    const QJsonObject structure{{QStringLiteral("filter"), filter},
                                {QStringLiteral("current"), tree.path(m_structureView.currentItem())},
                                {QStringLiteral("items"), jsonNumber(tree.itemCount())},
                                {QStringLiteral("complete"), tree.isComplete()},
                                {QStringLiteral("rows"), treeRows}};
    const QJsonObject found{{QStringLiteral("message"), m_findBar.message()},
                            {QStringLiteral("count"), jsonNumber(m_findBar.count())},
                            {QStringLiteral("complete"), m_findBar.isWhole()}};
    return {{QStringLiteral("file"), QString::fromUtf8(pathForDisplay(m_document.path()))},
            {QStringLiteral("size"), jsonNumber(m_document.size())},
            {QStringLiteral("container"), tree.hasBegun() ? tree.document().container : QString()},
            {QStringLiteral("messages"), QJsonArray::fromStringList(messages())},
            {QStringLiteral("place"), place},
            {QStringLiteral("structure"), structure},
            {QStringLiteral("summary"), m_summaryJob.text()},
            {QStringLiteral("found"), found},
            {QStringLiteral("bookmarks"), bookmarksState(*m_bookmarksView)},
            {QStringLiteral("bytes"), bytes},
            {QStringLiteral("analysis"), analysisState(m_analysis)},
            {QStringLiteral("overview"), overviewState(m_overview)}};
}

} // namespace quenlofar
