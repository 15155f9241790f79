#include "filterbar.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>

namespace quenlofar {

FilterBar::FilterBar(Document &document, QWidget *parent)
    : QWidget(parent), m_document(document), m_search(document), m_field(new QLineEdit(this)),
      m_message(new QLabel(this)), m_previous(new QToolButton(this)), m_next(new QToolButton(this))
{
    m_field->setObjectName(QStringLiteral("filterField"));
    m_field->setAccessibleName(tr("Find elements and fields"));
    m_field->setPlaceholderText(tr("name, or name=value, name>=number"));
    m_field->setToolTip(tr("Names with * and ? for elements and fields; conditions such as name=value, name!=value, "
                           "name>=number for fields. Several names: any of them; several conditions: all of them."));
    m_field->setClearButtonEnabled(true);
    m_message->setObjectName(QStringLiteral("filterMessage"));
    m_message->setTextFormat(Qt::PlainText);
    m_message->setWordWrap(true);
    m_previous->setArrowType(Qt::UpArrow);
    m_previous->setAccessibleName(tr("Previous match"));
    m_previous->setToolTip(tr("Previous match"));
    m_next->setArrowType(Qt::DownArrow);
    m_next->setAccessibleName(tr("Next match"));
    m_next->setToolTip(tr("Next match"));
    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(m_field, 2);
    layout->addWidget(m_message, 1);
    layout->addWidget(m_previous);
    layout->addWidget(m_next);
    connect(m_field, &QLineEdit::textChanged, this, &FilterBar::readConditions);
    connect(m_previous, &QToolButton::clicked, this, &FilterBar::previousMatch);
    connect(m_next, &QToolButton::clicked, this, &FilterBar::nextMatch);
    connect(&m_search, &TreeSearch::changed, this, &FilterBar::showMessage);
    connect(&m_document, &Document::placeChanged, this, &FilterBar::showMessage);
    showMessage();
}

void FilterBar::setText(const QString &text)
{
    m_field->setText(text);
}

QString FilterBar::text() const
{
    return m_field->text();
}

void FilterBar::readConditions()
{
    m_error.clear();
    const std::optional<ItemConditions> conditions = ItemConditions::parse(m_field->text(), &m_error);
    m_search.start(conditions.value_or(ItemConditions()));
    Q_EMIT matchesChanged();
}

QString FilterBar::message() const
{
    if (!m_error.isEmpty())
        return m_error;
    if (!m_search.isActive())
        return {};
    const quint64 count = m_search.count();
    const bool isDone = m_search.isDone();
    if (count == 0)
        return isDone ? tr("no match") : tr("no match so far");
    if (const std::optional<size_t> position = m_search.positionOf(m_document.place().item))
        return isDone ? tr("%1 of %2").arg(*position + 1).arg(count)
                      : tr("%1 of %2 so far").arg(*position + 1).arg(count);
    if (isDone)
        return count == 1 ? tr("1 match") : tr("%1 matches").arg(count);
    return tr("%1 so far").arg(count);
}

void FilterBar::showMessage()
{
    const QString text = message();
    m_message->setText(text);
    m_message->setVisible(!text.isEmpty());
    m_previous->setEnabled(m_search.count() > 0);
    m_next->setEnabled(m_search.count() > 0);
}

void FilterBar::goToMatch(std::optional<size_t> position, size_t otherwise)
{
    m_document.setItem(m_search.matches()[position.value_or(otherwise)], Move::Jump);
}

void FilterBar::nextMatch()
{
    if (!m_search.matches().empty())
        goToMatch(m_search.behind(m_document.place().item), 0);
}

void FilterBar::previousMatch()
{
    if (!m_search.matches().empty())
        goToMatch(m_search.before(m_document.place().item), m_search.matches().size() - 1);
}

/// Keys of the field that it does not take itself come here.
void FilterBar::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        (event->modifiers() & Qt::ShiftModifier) != 0 ? previousMatch() : nextMatch();
    else if (event->key() == Qt::Key_Escape)
        m_field->clear();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quenlofar
