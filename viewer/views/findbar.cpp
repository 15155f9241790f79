#include "findbar.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace quenlofar {

namespace {

/// The kinds as commands and people call them, in the order of the list; of items of the structure behind those of
/// bytes.
struct KindName
{
    std::optional<ByteQuery::Kind> kind;
    const char *name;
    const char *text;
};
constexpr KindName kindNames[] = {
    {ByteQuery::Kind::Bytes, "bytes", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Bytes")},
    {ByteQuery::Kind::Text, "text", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Text")},
    {ByteQuery::Kind::FourCC, "fourcc", QT_TRANSLATE_NOOP("quenlofar::FindBar", "FourCC")},
    {ByteQuery::Kind::Number, "number", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Number")},
    {std::nullopt, "name", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Names")},
    {std::nullopt, "value", QT_TRANSLATE_NOOP("quenlofar::FindBar", "Values")},
};

constexpr int rowsOfList = 5;

/// Conditions for items whose name, or whose value or meaning, has `text` as a part; a text with the marks of patterns
/// is one for the whole of it.
std::optional<ItemConditions> conditionsFor(bool isName, const QString &text)
{
    const bool isPattern =
        std::any_of(text.begin(), text.end(), [](QChar character) { return QStringView(u"*?[").contains(character); });
    const QString pattern = isPattern ? text : QLatin1Char('*') + text + QLatin1Char('*');
    if (text.isEmpty())
        return std::nullopt;
    if (isName)
        return ItemConditions({pattern}, {});
    const std::optional<FieldCondition> condition = FieldCondition::parse(QStringLiteral("*=") + pattern);
    return condition ? std::optional<ItemConditions>(ItemConditions({}, {*condition})) : std::nullopt;
}

} // namespace

FindBar::FindBar(Document &document, SourceOpener opener, QWidget *parent)
    : QWidget(parent), m_document(document), m_search(document.path(), std::move(opener)), m_items(document),
      m_model(m_search, &m_items, document.tree()), m_kind(new QComboBox(this)), m_field(new QLineEdit(this)),
      m_message(new QLabel(this)), m_stop(new QToolButton(this)), m_list(new QListView(this))
{
    m_kind->setObjectName(QStringLiteral("findKind"));
    m_kind->setAccessibleName(tr("What to look for"));
    for (const KindName &each : kindNames)
        m_kind->addItem(tr(each.text));
    m_field->setObjectName(QStringLiteral("findField"));
    m_field->setAccessibleName(tr("Find"));
    m_field->setPlaceholderText(tr("00 DC ?? 4?, or a text, a FourCC, a number, a part of a name or of a value"));
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
    connect(m_stop, &QToolButton::clicked, this, &FindBar::stop);
    connect(&m_search, &ByteSearch::changed, this, &FindBar::showFound);
    connect(&m_items, &TreeSearch::changed, this, &FindBar::showFound);
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
    m_items.start({});
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
        return start(int(&each - kindNames), text, error);
    }
    *error = tr("Nothing can be looked for as \"%1\".").arg(kind);
    return false;
}

bool FindBar::start(int kind, const QString &text, QString *error)
{
    m_search.clear();
    m_items.start({});
    m_areItems = !kindNames[kind].kind;
    m_model.showItems(m_areItems);
    if (m_areItems)
        return startItems(kind, text, error);
    const std::optional<ByteQuery> query = ByteQuery::parse(*kindNames[kind].kind, text, error);
    m_error = query ? QString() : *error;
    m_goesToFirst = query.has_value();
    m_search.start(query.value_or(ByteQuery()));
    return query.has_value();
}

bool FindBar::startItems(int kind, const QString &text, QString *error)
{
    const std::optional<ItemConditions> conditions =
        conditionsFor(QLatin1String(kindNames[kind].name) == QLatin1String("name"), text);
    if (!conditions)
        *error = tr("There is nothing to look for.");
    m_error = conditions ? QString() : *error;
    m_goesToFirst = conditions.has_value();
    m_items.start(conditions.value_or(ItemConditions()));
    return conditions.has_value();
}

void FindBar::stop()
{
    m_search.cancel();
    m_items.stop();
}

bool FindBar::isActive() const
{
    return m_areItems ? m_items.isActive() : m_search.isActive();
}

bool FindBar::isRunning() const
{
    return m_areItems ? !m_items.isDone() : m_search.isRunning();
}

bool FindBar::isWhole() const
{
    return m_areItems ? m_items.isActive() && m_items.isDone() && !m_items.isStopped() : m_search.isWhole();
}

quint64 FindBar::count() const
{
    return m_areItems ? m_items.count() : m_search.count();
}

/// Places in the list.
size_t FindBar::listed() const
{
    return m_areItems ? m_items.matches().size() : m_search.places().size();
}

void FindBar::startTyped()
{
    m_typed = m_field->text();
    QString error;
    start(m_kind->currentIndex(), m_typed, &error);
}

QString FindBar::message() const
{
    if (!m_error.isEmpty())
        return m_error;
    if (!isActive())
        return {};
    const QString places = count() == 0 ? tr("nothing") : count() == 1 ? tr("1 place") : tr("%1 places").arg(count());
    if (isRunning())
        return tr("%1 so far, %2 %").arg(places).arg(m_areItems ? m_document.progress() : m_search.progress());
    if (!m_areItems && !m_search.error().isNull())
        return tr("%1 until reading failed: %2").arg(places, m_search.error());
    return isWhole() ? tr("%1 found").arg(places) : tr("%1 until it was stopped").arg(places);
}

void FindBar::showFound()
{
    m_message->setText(message());
    m_stop->setVisible(isActive() && isRunning());
    m_list->setVisible(listed() > 0);
    if (!m_goesToFirst || listed() == 0)
        return;
    m_goesToFirst = false;
    const Place &place = m_document.place();
    if (m_areItems)
        // The one that is current may be the first.
        goToPlace(m_items.positionOf(place.item) ? m_items.positionOf(place.item) : m_items.behind(place.item), 0);
    else
        goToPlace(place.range.offset == 0 ? std::optional<size_t>(0) : m_search.behind(place.range.offset - 1), 0);
}

void FindBar::goToPlace(std::optional<size_t> position, size_t otherwise)
{
    m_goesToFirst = false;
    const size_t found = position.value_or(otherwise);
    if (m_areItems)
        m_document.setItem(m_items.matches()[found], Move::Jump);
    else
        m_document.setBytes({m_search.places()[found], quint64(m_search.size())}, Move::Jump);
}

void FindBar::goToNext(bool isForward)
{
    if (listed() == 0)
        return;
    const Place &place = m_document.place();
    const size_t otherwise = isForward ? 0 : listed() - 1;
    if (m_areItems)
        goToPlace(isForward ? m_items.behind(place.item) : m_items.before(place.item), otherwise);
    else
        goToPlace(isForward ? m_search.behind(place.range.offset) : m_search.before(place.range.offset), otherwise);
}

void FindBar::nextPlace()
{
    goToNext(true);
}

void FindBar::previousPlace()
{
    goToNext(false);
}

/// Keys of the field that it does not take itself come here.
void FindBar::keyPressEvent(QKeyEvent *event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && m_field->hasFocus()) {
        if (m_typed != m_field->text() || !isActive())
            startTyped();
        else
            (event->modifiers() & Qt::ShiftModifier) != 0 ? previousPlace() : nextPlace();
    } else if (event->key() == Qt::Key_Escape) {
        isActive() && isRunning() ? stop() : close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace quenlofar
