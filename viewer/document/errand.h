#pragma once

#include <QObject>

#include <atomic>
#include <functional>
#include <memory>

namespace quenlofar {

class Document;

/**
 * Work that a view wants done outside of the window's thread, the latest alone: starting it again gives up what went on
 * before. The window never waits for it; the document is not idle while it goes on.
 */
class Errand : public QObject
{
    Q_OBJECT

public:
    /// What is done in the window's thread with what came out; not called where the work was given up.
    using Delivery = std::function<void()>;
    /// The work, in a thread of its own: ends early when the flag becomes true; what it answers then is dropped. It
    /// owns or shares all that it uses. It may throw std::bad_alloc: the delivery is then that of a failure.
    using Work = std::function<Delivery(const std::atomic<bool> &isCancelled)>;
    /// Has something done in the window's thread while the work goes on, unless it is given up before.
    using Tell = std::function<void(Delivery)>;
    /// As Work, and tells what came out so far.
    using LongWork = std::function<Delivery(const std::atomic<bool> &isCancelled, const Tell &tell)>;

    /// For a view of `document`, which outlives the errand.
    explicit Errand(Document &document, QObject *parent = nullptr);
    /// For what belongs to no document.
    explicit Errand(QObject *parent = nullptr);
    ~Errand() override;

    /// Begins `work`; where there is no memory for it `failed` is called in the window's thread.
    void start(Work work, Delivery failed = {});
    /// The same for work that tells of itself on its way.
    void startLong(LongWork work, Delivery failed = {});
    void cancel(); ///< gives up what goes on; nothing is delivered
    bool isRunning() const { return m_current != nullptr; } ///< nothing was delivered yet

Q_SIGNALS:
    void ended(); ///< it was delivered, failed or was given up

private:
    struct Run;
    void finish(const std::shared_ptr<Run> &run, const Delivery &delivery);

    Document *const m_document; // null where there is none
    std::shared_ptr<Run> m_current;
};

} // namespace quenlofar
