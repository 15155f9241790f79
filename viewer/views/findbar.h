#pragma once

#include "bytesearch.h"
#include "document.h"
#include "placesmodel.h"
#include "treesearch.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QToolButton;

namespace quenlofar {

/// Looks for bytes, texts and numbers in a document, and for names and values in its structure, lists where they are,
/// and goes from one place to the next. Hidden until it is asked for.
class FindBar : public QWidget
{
    Q_OBJECT

public:
    /// For `document`, which outlives the bar and is read through `opener`.
    FindBar(Document &document, SourceOpener opener, QWidget *parent = nullptr);

    void open(); ///< shows the bar, for something to be typed
    quint64 count() const; ///< places that were found
    bool isRunning() const; ///< it is being looked for
    bool isWhole() const; ///< everything was looked through
    /// Looks for `text` as one of "bytes", "text", "fourcc", "number", "name" or "value". False where that is no such
    /// kind, or the text cannot be read so; `*error` then says why.
    bool find(const QString &kind, const QString &text, QString *error);
    QString message() const; ///< how many places there are, or what is wrong
    void nextPlace(); ///< goes to the first place behind the current one, then to the first of all
    void previousPlace(); ///< goes to the last place before the current one, then to the last of all

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    bool start(int kind, const QString &text, QString *error);
    bool startItems(int kind, const QString &text, QString *error);
    void stop();
    bool isActive() const;
    size_t listed() const;
    void goToNext(bool isForward);
    void startTyped();
    void close();
    void showFound();
    void goToPlace(std::optional<size_t> position, size_t otherwise);

    Document &m_document;
    ByteSearch m_search;
    TreeSearch m_items;
    bool m_areItems = false; // what is looked for now or was last
    PlacesModel m_model;
    QComboBox *m_kind;
    QLineEdit *m_field;
    QLabel *m_message;
    QToolButton *m_stop;
    QListView *m_list;
    QString m_error; // why the text cannot be looked for
    QString m_typed; // that is being looked for
    bool m_goesToFirst = false; // once it is found
};

} // namespace quenlofar
