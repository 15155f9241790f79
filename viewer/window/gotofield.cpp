#include "gotofield.h"

#include "document.h"
#include "pathcompletion.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QStringListModel>

namespace quenlofar {

namespace {

constexpr int mostCompletions = 100;

} // namespace

GoToField::GoToField(std::function<const Document *()> document, QWidget *parent)
    : QLineEdit(parent), m_document(std::move(document)), m_offered(new QStringListModel(this))
{
    setObjectName(QStringLiteral("goToField"));
    setAccessibleName(tr("Go to"));
    setPlaceholderText(tr("offset, +n, -n, #frame, time or path"));
    auto *const completer = new QCompleter(m_offered, this);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    completer->popup()->setAccessibleName(tr("Paths that begin so"));
    setCompleter(completer);
    connect(this, &QLineEdit::textEdited, this, &GoToField::offer);
}

QStringList GoToField::completions() const
{
    const Document *const document = m_document();
    // A text that begins with one of these is an offset, a time or a picture as a rule.
    if (!document || text().isEmpty() || QStringView(u"+-#0123456789").contains(text().at(0)))
        return {};
    return pathCompletions(document->tree(), text(), mostCompletions);
}

void GoToField::offer()
{
    m_offered->setStringList(completions());
}

} // namespace quenlofar
