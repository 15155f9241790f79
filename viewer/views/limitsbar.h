#pragma once

#include <QFrame>

class QLabel;
class QPushButton;

namespace quenlofar {

/// Says which limit ended the reading of a file, and offers to raise it. Hidden where none did.
class LimitsBar : public QFrame
{
    Q_OBJECT

public:
    explicit LimitsBar(QWidget *parent = nullptr);

    /// What is said; an empty text hides the bar. `action` is what the button is called, empty for no button.
    void say(const QString &text, const QString &action);

Q_SIGNALS:
    void raiseWanted(); ///< the button was pressed

private:
    QLabel *m_text;
    QPushButton *m_raise;
};

} // namespace quenlofar
