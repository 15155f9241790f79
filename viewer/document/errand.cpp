#include "errand.h"

#include "document.h"

#include <mutex>
#include <new>
#include <utility>

namespace quenlofar {

/// One start. The thread shares it with the errand, which may be gone before the thread ends.
struct Errand::Run
{
    std::atomic<bool> isCancelled{false};
    std::mutex mutex; // guards the receiver
    Errand *receiver = nullptr;

    /// Calls `what` with the receiver between two events; one that goes takes with it what was posted to it.
    template <typename What> void post(What what)
    {
        const std::lock_guard lock(mutex);
        if (receiver)
            QMetaObject::invokeMethod(
                receiver, [receiver = receiver, what = std::move(what)] { what(*receiver); }, Qt::QueuedConnection);
    }
};

Errand::Errand(Document &document, QObject *parent) : QObject(parent), m_document(&document) { }

Errand::Errand(QObject *parent) : QObject(parent), m_document(nullptr) { }

Errand::~Errand()
{
    blockSignals(true); // whoever has the errand is going, too
    cancel();
}

void Errand::start(Work work, Delivery failed)
{
    startLong(
        [work = std::move(work)](const std::atomic<bool> &isCancelled, const Tell &) { return work(isCancelled); },
        std::move(failed));
}

void Errand::startLong(LongWork work, Delivery failed)
{
    cancel();
    auto run = std::make_shared<Run>();
    run->receiver = this;
    m_current = run;
    if (m_document)
        m_document->errandBegan();
    DocumentWork::runDetached([run, work = std::move(work), failed = std::move(failed)] {
        Delivery delivery;
        try {
            delivery = work(run->isCancelled, [&run](Delivery news) {
                run->post([run, news = std::move(news)](Errand &errand) {
                    if (run == errand.m_current)
                        news();
                });
            });
        } catch (const std::bad_alloc &) {
            delivery = failed;
        }
        run->post([run, delivery = std::move(delivery)](Errand &errand) { errand.finish(run, delivery); });
    });
}

void Errand::cancel()
{
    if (!m_current)
        return;
    m_current->isCancelled = true;
    {
        const std::lock_guard lock(m_current->mutex);
        m_current->receiver = nullptr;
    }
    m_current.reset();
    if (m_document)
        m_document->errandEnded();
    Q_EMIT ended();
}

void Errand::finish(const std::shared_ptr<Run> &run, const Delivery &delivery)
{
    if (run != m_current)
        return; // given up after it was posted
    m_current.reset();
    if (delivery)
        delivery();
    if (m_document)
        m_document->errandEnded();
    Q_EMIT ended();
}

} // namespace quenlofar
