#include "findbar.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QToolButton>
#include <QVBoxLayout>

namespace quenlofar {

namespace {

/// The kinds as commands and people call them, in the order of the list.
struct KindName
{
    ByteQuery::Kind kind;
    const char *name;
    const char *text;
};
constexpr KindName kindNames[] = {
    {ByteQuery::Kind::Bytes, "bytes", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Bytes")},
    {ByteQuery::Kind::Text, "text", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Text")},
    {ByteQuery::Kind::FourCC, "fourcc", QT_TRANSLATE_NOOP("quenlofar::FindBar", "FourCC")},
    {ByteQuery::Kind::Number, "number", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Number")},
};

constexpr int rowsOfList = 5;

} // namespace

FindBar::FindBar(Document &document, SourceOpener opener, QWidget *parent)
    : QWidget(parent), m_document(document), m_search(document.path(), std::move(opener)),
      m_model(m_search, document.tree()), m_kind(new QComboBox(this)), m_field(new QLineEdit(this)),
      m_message(new QLabel(this)), m_stop(new QToolButton(this)), m_list(new QListView(this))
{
    m_kind->setObjectName(QStringLiteral("findKind"));
    m_kind->setAccessibleName(tr("What to look for"));
    for (const KindName &each : kindNames)
        m_kind->addItem(tr(each.text));
    m_field->setObjectName(QStringLiteral("findField"));
    m_field->setAccessibleName(tr("Find in the bytes"));
    m_field->setPlaceholderText(tr("00 DC ?? 4?, or a text, a FourCC, a number"));
    m_message->setObjectName(QStringLiteral("findMessage"));
    m_message->setTextFormat(Qt::PlainText);
    m_message->setWordWrap(true);
    m_stop->setText(tr("Stop"));
    m_stop->setObjectName(QStringLiteral("stopFinding"));
    m_list->setObjectName(QStringLiteral("foundPlaces"));
    m_list->setAccessibleName(tr("Places that were found"));
    m_list->setUniformItemSizes(true); // otherwise each is measured
    m_list->setLayoutMode(QListView::Batched);
    m_list->setModel(&m_model);
    m_list->setMaximumHeight(fontMetrics().lineSpacing() * (rowsOfList + 1));
    auto *const row = new QHBoxLayout;
    row->addWidget(m_kind);
    row->addWidget(m_field, 2);
    row->addWidget(m_message, 1);
    row->addWidget(m_stop);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addLayout(row);
    layout->addWidget(m_list);
    // The same text may mean something else as another kind.
    connect(m_kind, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] { m_typed.clear(); });
    connect(m_stop, &QToolButton::clicked, &m_search, &ByteSearch::cancel);
    connect(&m_search, &ByteSearch::changed, this, &FindBar::showFound);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex &current) {
        if (current.isValid())
            goToPlace(size_t(current.row()), 0);
    });
    hide();
    m_list->hide();
    m_stop->hide();
}

void FindBar::open()
{
    setVisible(true);
    m_field->setFocus(Qt::ShortcutFocusReason);
    m_field->selectAll();
}

void FindBar::close()
{
    m_search.clear();
    m_typed.clear();
    m_error.clear();
    hide();
}

bool FindBar::find(const QString &kind, const QString &text, QString *error)
{
    for (const KindName &each : kindNames) {
        if (kind != QLatin1String(each.name))
            continue;
        setVisible(true);
        m_kind->setCurrentIndex(int(&each - kindNames));
        m_field->setText(text);
        m_typed = text;
        return start(each.kind, text, error);
    }
    *error = tr("Nothing can be looked for as \"%1\".").arg(kind);
    return false;
}

bool FindBar::start(ByteQuery::Kind kind, const QString &text, QString *error)
{
    const std::optional<ByteQuery> query = ByteQuery::parse(kind, text, error);
    m_error = query ? QString() : *error;
    m_goesToFirst = query.has_value();
    m_search.start(query.value_or(ByteQuery()));
    return query.has_value();
}

void FindBar::startTyped()
{
    const ByteQuery::Kind kind = kindNames[m_kind->currentIndex()].kind;
    m_typed = m_field->text();
    QString error;
    start(kind, m_typed, &error);
}

QString FindBar::message() const
{
    if (!m_error.isEmpty())
        return m_error;
    if (!m_search.isActive())
        return {};
    const quint64 count = m_search.count();
    const QString places = count == 0 ? tr("nothing") : count == 1 ? tr("1 place") : tr("%1 places").arg(count);
    if (m_search.isRunning())
        return tr("%1 so far, %2 %").arg(places).arg(m_search.progress());
    if (!m_search.error().isNull())
        return tr("%1 until reading failed: %2").arg(places, m_search.error());
    return m_search.isWhole() ? tr("%1 found").arg(places) : tr("%1 until it was stopped").arg(places);
}

void FindBar::showFound()
{
    m_message->setText(message());
    m_stop->setVisible(m_search.isRunning());
    m_list->setVisible(!m_search.places().empty());
    if (m_goesToFirst && !m_search.places().empty()) {
        m_goesToFirst = false;
        const quint64 here = m_document.place().range.offset;
        goToPlace(here == 0 ? std::optional<size_t>(0) : m_search.behind(here - 1), 0);
    }
}

void FindBar::goToPlace(std::optional<size_t> position, size_t otherwise)
{
    m_goesToFirst = false;
    m_document.setBytes({m_search.places()[position.value_or(otherwise)], quint64(m_search.size())}, Move::Jump);
}

void FindBar::nextPlace()
{
    if (!m_search.places().empty())
        goToPlace(m_search.behind(m_document.place().range.offset), 0);
}

void FindBar::previousPlace()
{
    if (!m_search.places().empty())
        goToPlace(m_search.before(m_document.place().range.offset), m_search.places().size() - 1);
}

/// Keys of the field that it does not take itself come here.
void FindBar::keyPressEvent(QKeyEvent *event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && m_field->hasFocus()) {
        if (m_typed != m_field->text() || !m_search.isActive())
            startTyped();
        else
            (event->modifiers() & Qt::ShiftModifier) != 0 ? previousPlace() : nextPlace();
    } else if (event->key() == Qt::Key_Escape) {
        m_search.isRunning() ? m_search.cancel() : close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace quenlofar
