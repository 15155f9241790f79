#include "hexaccessible.h"

#include "hexview.h"

#include <algorithm>

namespace quenlofar {

namespace {

/// The row number `m_index` of those that are shown, whichever of the file that is.
class HexRowAccessible : public QAccessibleInterface
{
public:
    HexRowAccessible(HexView *view, int index) : m_view(view), m_index(index) { }

    bool isValid() const override { return m_view && m_index < m_view->rowsInView(); }
    QObject *object() const override { return nullptr; }
    QAccessibleInterface *parent() const override { return QAccessible::queryAccessibleInterface(m_view); }
    QAccessibleInterface *child(int) const override { return nullptr; }
    QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString &) override { }

    QRect rect() const override
    {
        const QRect inView = m_view->rowRect(number());
        return {m_view->viewport()->mapToGlobal(inView.topLeft()), inView.size()};
    }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.readOnly = true;
        state.focusable = true;
        state.focused = m_view->hasFocus() && number() == m_view->layoutOfBytes().rowOf(m_view->cursor());
        state.selectable = true;
        state.selected = state.focused;
        return state;
    }

    QString text(QAccessible::Text text) const override
    {
        const HexRow row = m_view->row(number());
        switch (text) {
        case QAccessible::Name:
            return HexView::tr("offset %1").arg(row.offsetText.trimmed());
        case QAccessible::Value:
            return row.hex.trimmed();
        case QAccessible::Description:
            return m_view->elementsOfRow(number());
        default:
            return {};
        }
    }

private:
    quint64 number() const { return m_view->topRow() + quint64(m_index); }

    HexView *const m_view;
    const int m_index;
};

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    if (className != QLatin1String("quenlofar::HexView"))
        return nullptr;
    auto *const view = qobject_cast<HexView *>(object);
    return view ? new HexAccessible(view) : nullptr;
}

} // namespace

HexAccessible::HexAccessible(HexView *view) : QAccessibleWidget(view, QAccessible::List)
{
    // The interface goes with the view, so it need not be disconnected.
    QObject::connect(view, &HexView::cursorMoved, view, [view] {
        if (!QAccessible::isActive())
            return;
        QAccessibleValueChangeEvent changed(view, view->cursorText());
        QAccessible::updateAccessibility(&changed);
    });
}

HexAccessible::~HexAccessible()
{
    for (const QAccessible::Id id : m_rows) {
        if (id != 0)
            QAccessible::deleteAccessibleInterface(id);
    }
}

void HexAccessible::install()
{
    QAccessible::installFactory(makeInterface);
}

HexView *HexAccessible::view() const
{
    return qobject_cast<HexView *>(object());
}

int HexAccessible::childCount() const
{
    return view()->rowsInView();
}

QAccessibleInterface *HexAccessible::child(int index) const
{
    if (index < 0 || index >= childCount())
        return nullptr;
    if (size_t(index) >= m_rows.size())
        m_rows.resize(size_t(index) + 1);
    QAccessible::Id &id = m_rows[size_t(index)];
    if (id == 0)
        id = QAccessible::registerAccessibleInterface(new HexRowAccessible(view(), index));
    return QAccessible::accessibleInterface(id);
}

int HexAccessible::indexOfChild(const QAccessibleInterface *child) const
{
    const QAccessible::Id id = QAccessible::uniqueId(const_cast<QAccessibleInterface *>(child));
    const auto found = std::find(m_rows.begin(), m_rows.end(), id);
    return found == m_rows.end() ? -1 : int(found - m_rows.begin());
}

QAccessibleInterface *HexAccessible::childAt(int x, int y) const
{
    const QPoint point = view()->viewport()->mapFromGlobal(QPoint(x, y));
    const int count = childCount();
    for (int i = 0; i < count; ++i) {
        if (view()->rowRect(view()->topRow() + quint64(i)).contains(point))
            return child(i);
    }
    return nullptr;
}

QAccessibleInterface *HexAccessible::focusChild() const
{
    const quint64 row = view()->layoutOfBytes().rowOf(view()->cursor());
    const quint64 top = view()->topRow();
    return row < top || row - top >= quint64(childCount()) ? nullptr : child(int(row - top));
}

QString HexAccessible::text(QAccessible::Text text) const
{
    return text == QAccessible::Value ? view()->cursorText() : QAccessibleWidget::text(text);
}

} // namespace quenlofar
