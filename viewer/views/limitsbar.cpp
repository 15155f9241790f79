#include "limitsbar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace quenlofar {

LimitsBar::LimitsBar(QWidget *parent) : QFrame(parent), m_text(new QLabel(this)), m_raise(new QPushButton(this))
{
    setObjectName(QStringLiteral("limits"));
    setAccessibleName(tr("Limit that ended the reading"));
    setFrameShape(QFrame::StyledPanel);
    m_text->setTextFormat(Qt::PlainText);
    m_text->setWordWrap(true);
    m_text->setAccessibleName(tr("Limit that ended the reading"));
    m_raise->setObjectName(QStringLiteral("raiseLimit"));
    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_raise);
    connect(m_raise, &QPushButton::clicked, this, &LimitsBar::raiseWanted);
    hide();
}

void LimitsBar::say(const QString &text, const QString &action)
{
    m_text->setText(text);
    m_raise->setText(action);
    m_raise->setVisible(!action.isEmpty());
    setVisible(!text.isEmpty());
}

} // namespace quenlofar
