#pragma once

#include "documentwork.h"
#include "errand.h"
#include "growingtree.h"

#include <QObject>
#include <QString>

namespace quenlofar {

class Document;

/**
 * Says in short what the file of a document is: container, streams, their packets, bytes that nobody interprets. Made
 * in a thread that nobody waits for, of the tree and the packets as far as they are known. Lives in the window's
 * thread.
 */
class SummaryJob : public QObject
{
    Q_OBJECT

public:
    /// Of `document`, which outlives the object and was opened with `options`.
    SummaryJob(const Document &document, const DocumentOptions &options, QObject *parent = nullptr);

    void start(); ///< begins anew; text() stays until the next one is there
    bool isRunning() const { return m_making.isRunning(); } ///< it is being made
    const QString &text() const { return m_text; } ///< lines for people; null before there is one

Q_SIGNALS:
    void finished(); ///< text() is another one

private:
    const Document &m_document;
    const DocumentOptions m_options;
    Errand m_making;
    QString m_text;
};

} // namespace quenlofar
