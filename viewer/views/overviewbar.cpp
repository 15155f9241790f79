#include "overviewbar.h"

#include "bytekinds.h"
#include "kindcolors.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

#include <algorithm>
#include <utility>

namespace quenlofar {

namespace {

constexpr int tickHeight = 6; // pixels
constexpr int classHeight = 6;
constexpr int heightOfBar = 34;

QBrush classBrush(ByteClass byteClass, const QPalette &palette)
{
    const QColor color = palette.color(QPalette::Text);
    switch (byteClass) {
    case ByteClass::NotLooked:
    case ByteClass::Zero:
        return Qt::NoBrush;
    case ByteClass::Text:
        return {color, Qt::VerPattern};
    case ByteClass::Dense:
        return {color, Qt::Dense2Pattern};
    case ByteClass::Other:
        break;
    }
    return {color, Qt::Dense6Pattern};
}

} // namespace

OverviewBar::OverviewBar(Document &document, QWidget *parent)
    : QWidget(parent), m_document(document), m_kindsErrand(document), m_classesErrand(document)
{
    setObjectName(QStringLiteral("overview"));
    setAttribute(Qt::WA_OpaquePaintEvent); // nothing has to be painted below
    setAccessibleName(tr("Overview of the file"));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(&m_document, &Document::opened, this, [this] {
        m_cells.fileSize = m_document.size();
        findKinds();
        update();
    });
    connect(&m_document, &Document::tablesCame, this, &OverviewBar::findKinds);
    connect(&m_document, &Document::treeGrew, this, &OverviewBar::findKinds);
    connect(&m_document, &Document::checkCame, this, QOverload<>::of(&QWidget::update));
    const auto followPlace = [this] {
        update();
        Q_EMIT placeTextChanged();
    };
    connect(&m_document, &Document::placeChanged, this, followPlace);
    connect(&m_document, &Document::placeResolved, this, followPlace);
}

QSize OverviewBar::sizeHint() const
{
    return {OverviewCells::mostCells, heightOfBar};
}

/// From the regions where there are any, otherwise from the tree once it is complete.
void OverviewBar::findKinds()
{
    if (!m_document.isOpened())
        return; // nobody knows how long the file is
    if (m_document.regions() && m_kinds.empty() && !m_kindsErrand.isRunning()) {
        m_kindsErrand.start(
            [this, tables = m_document.tables(), cells = m_cells](const std::atomic<bool> &isCancelled) {
                return Errand::Delivery([this, kinds = cells.kinds(*tables->regions, isCancelled)] {
                    m_kinds = kinds;
                    update();
                    Q_EMIT placeTextChanged();
                });
            });
    } else if (m_document.tables() && !m_document.regions() && m_document.tree().isComplete() && m_kinds.empty()) {
        const GrowingTree &tree = m_document.tree();
        for (int cell = 0; cell < m_cells.count(); ++cell) {
            const quint64 middle = m_cells.begin(cell) + (m_cells.begin(cell + 1) - m_cells.begin(cell)) / 2;
            const TreeItem item = tree.itemAt(middle);
            const bool isKnown = item != GrowingTree::root() && !tree.isUnparsedData(item);
            m_kinds.push_back(!isKnown                ? RegionKind::Unknown
                                  : tree.isNode(item) ? RegionKind::OtherData
                                                      : RegionKind::Header);
        }
        update();
    }
    // A disk that is busy with the structure is not asked for more meanwhile.
    if (m_document.tables() && m_document.tree().isComplete() && !m_hasClasses)
        findClasses();
}

void OverviewBar::findClasses()
{
    m_hasClasses = true;
    if (m_cells.count() == 0)
        return;
    m_classesErrand.start([this, open = m_document.sourceOpener(), path = m_document.path(),
                           cells = m_cells](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
        QString error;
        const std::unique_ptr<ByteSource> source = open(path, &error);
        if (!source)
            return {};
        return [this, classes = cells.classes(*source, isCancelled)] {
            m_classes = classes;
            update();
            Q_EMIT placeTextChanged();
        };
    });
}

std::vector<int> OverviewBar::ticks() const
{
    std::vector<int> ticks;
    if (!m_document.check() || m_cells.count() == 0)
        return ticks;
    for (const JudgedFinding &finding : m_document.check()->findings) {
        for (const ByteRange &place : finding.places)
            ticks.push_back(m_cells.cellOf(place.offset));
    }
    std::sort(ticks.begin(), ticks.end());
    ticks.erase(std::unique(ticks.begin(), ticks.end()), ticks.end());
    return ticks;
}

quint64 OverviewBar::offsetAt(int x) const
{
    const quint64 size = m_cells.fileSize;
    const quint64 columns = quint64(std::max(width(), 1));
    const quint64 at = quint64(std::clamp(x, 0, int(columns) - 1));
    return size / columns * at + size % columns * at / columns;
}

int OverviewBar::xOf(quint64 offset) const
{
    if (m_cells.fileSize == 0)
        return 0;
    const double share = double(std::min(offset, m_cells.fileSize - 1)) / double(m_cells.fileSize);
    return std::clamp(int(share * width()), 0, std::max(width() - 1, 0));
}

QString OverviewBar::textOf(quint64 offset) const
{
    if (m_cells.count() == 0)
        return tr("empty file");
    const size_t cell = size_t(m_cells.cellOf(offset));
    QStringList parts{tr("offset %1 of %2").arg(offset).arg(m_cells.fileSize)};
    if (const RegionTable *const regions = m_document.regions(); regions && offset < regions->fileSize())
        parts.append(kindText(regions->at(offset).kind));
    else if (cell < m_kinds.size())
        parts.append(kindText(m_kinds[cell]));
    if (cell < m_classes.size())
        parts.append(byteClassText(m_classes[cell]));
    return parts.join(QStringLiteral(", "));
}

void OverviewBar::setBookmarks(std::vector<quint64> places)
{
    m_bookmarks = std::move(places);
    update();
}

QString OverviewBar::placeText() const
{
    return textOf(m_document.place().range.offset);
}

bool OverviewBar::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto *const help = static_cast<QHelpEvent *>(event);
        QToolTip::showText(help->globalPos(), textOf(offsetAt(help->pos().x())), this);
        return true;
    }
    return QWidget::event(event);
}

void OverviewBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    const QColor text = palette().color(QPalette::Text);
    const int kindBottom = QWidget::height() - classHeight - 1;
    const int cells = m_cells.count();
    const auto begin = [this](int cell) { return xOf(m_cells.begin(cell)); };
    for (int cell = 0; cell < cells;) {
        // Cells that look the same are painted at once: patterns go on through them.
        const auto kind = size_t(cell) < m_kinds.size() ? m_kinds[size_t(cell)] : RegionKind::Unknown;
        int end = cell + 1;
        while (end < cells && size_t(end) < m_kinds.size() && m_kinds[size_t(end)] == kind)
            ++end;
        const int right = end == cells ? width() : begin(end);
        if (size_t(cell) < m_kinds.size())
            painter.fillRect(begin(cell), tickHeight, right - begin(cell), kindBottom - tickHeight,
                             kindBrush(kind, palette()));
        cell = end;
    }
    for (int cell = 0; cell < cells && size_t(cell) < m_classes.size(); ++cell) {
        const int right = cell + 1 == cells ? width() : begin(cell + 1);
        painter.fillRect(begin(cell), kindBottom + 1, right - begin(cell), classHeight,
                         classBrush(m_classes[size_t(cell)], palette()));
    }
    painter.setPen(text);
    painter.setBrush(text);
    for (const int cell : ticks()) {
        const int x = begin(cell);
        painter.drawPolygon(QPolygon({QPoint(x - 3, 0), QPoint(x + 3, 0), QPoint(x, tickHeight)}));
    }
    // Flags that stand on the lower edge, where no tick of a finding is.
    for (const quint64 place : m_bookmarks) {
        const int x = xOf(place);
        painter.drawLine(x, tickHeight, x, QWidget::height() - 1);
        painter.drawRect(QRect(x, QWidget::height() - 1 - tickHeight, tickHeight, tickHeight));
    }
    if (m_cells.fileSize > 0) {
        const ByteRange range = m_document.place().range;
        const int left = xOf(range.offset);
        const int right = std::max(left + 2, xOf(range.size > 0 ? range.end() - 1 : range.offset));
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(frameColor(palette()), 2));
        painter.drawRect(QRect(QPoint(left, tickHeight), QPoint(right, QWidget::height() - 2)));
    }
    if (hasFocus()) {
        painter.setPen(QPen(text, 1, Qt::DotLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void OverviewBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        m_document.setBytes({offsetAt(event->pos().x()), 1}, Move::Jump);
    else
        QWidget::mousePressEvent(event);
}

void OverviewBar::mouseMoveEvent(QMouseEvent *event)
{
    if ((event->buttons() & Qt::LeftButton) != 0)
        m_document.setBytes({offsetAt(event->pos().x()), 1}, Move::Step);
}

void OverviewBar::keyPressEvent(QKeyEvent *event)
{
    const int cells = m_cells.count();
    const int here = cells == 0 ? 0 : m_cells.cellOf(m_document.place().range.offset);
    constexpr int cellsOfPage = 32;
    int cell = here;
    switch (event->key()) {
    case Qt::Key_Left:
        --cell;
        break;
    case Qt::Key_Right:
        ++cell;
        break;
    case Qt::Key_PageUp:
        cell -= cellsOfPage;
        break;
    case Qt::Key_PageDown:
        cell += cellsOfPage;
        break;
    case Qt::Key_Home:
        cell = 0;
        break;
    case Qt::Key_End:
        cell = cells - 1;
        break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    if ((event->modifiers() & Qt::AltModifier) != 0) {
        QWidget::keyPressEvent(event);
        return;
    }
    if (cells > 0)
        m_document.setBytes({m_cells.begin(std::clamp(cell, 0, cells - 1)), 1}, Move::Step);
}

} // namespace quenlofar
