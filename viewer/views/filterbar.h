#pragma once

#include "document.h"
#include "treesearch.h"

#include <QWidget>

class QLabel;
class QLineEdit;
class QToolButton;

namespace quenlofar {

/**
 * Asks for items of a document's structure by the conditions of `quenlofar tree --only` and `--where`, says how many
 * there are or what is wrong with the conditions, and goes from one match to the next.
 */
class FilterBar : public QWidget
{
    Q_OBJECT

public:
    /// For `document`, which outlives the bar.
    explicit FilterBar(Document &document, QWidget *parent = nullptr);

    const TreeSearch &search() const { return m_search; } ///< what is found
    QLineEdit *field() { return m_field; } ///< where conditions are typed
    void setText(const QString &text); ///< as if it were typed
    QString text() const; ///< what is typed
    QString message() const; ///< how many matches there are, or what is wrong
    void nextMatch(); ///< goes to the first match behind the current place, then to the first of all
    void previousMatch(); ///< goes to the last match before the current place, then to the last of all

Q_SIGNALS:
    void matchesChanged(); ///< other items match

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void readConditions();
    void showMessage();
    void goToMatch(std::optional<size_t> position, size_t otherwise);

    Document &m_document;
    TreeSearch m_search;
    QLineEdit *m_field;
    QLabel *m_message;
    QToolButton *m_previous;
    QToolButton *m_next;
    QString m_error; // why the conditions cannot be read
};

} // namespace quenlofar
