#pragma once

#include <QLineEdit>

#include <functional>

class QStringListModel;

namespace quenlofar {

class Document;

/// Where people type a place to go to; completes paths, one component at a time.
class GoToField : public QLineEdit
{
    Q_OBJECT

public:
    /// Completes paths of the document that `document` returns, which may be null.
    explicit GoToField(std::function<const Document *()> document, QWidget *parent = nullptr);

    QStringList completions() const; ///< what is offered for the text as it is

private:
    void offer();

    const std::function<const Document *()> m_document;
    QStringListModel *m_offered;
};

} // namespace quenlofar
