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
};

Errand::Errand(Document &document, QObject *parent) : QObject(parent), m_document(document) { }

Errand::~Errand()
{
    blockSignals(true); // whoever has the errand is going, too
    cancel();
}

void Errand::start(Work work, Delivery failed)
{
    cancel();
    auto run = std::make_shared<Run>();
    run->receiver = this;
    m_current = run;
    m_document.errandBegan();
    DocumentWork::runDetached([run, work = std::move(work), failed = std::move(failed)] {
        Delivery delivery;
        try {
            delivery = work(run->isCancelled);
        } catch (const std::bad_alloc &) {
            delivery = failed;
        }
        const std::lock_guard lock(run->mutex);
        // A receiver that goes takes with it what was posted to it.
        if (run->receiver) {
            QMetaObject::invokeMethod(
                run->receiver, [receiver = run->receiver, run, delivery] { receiver->finish(run, delivery); },
                Qt::QueuedConnection);
        }
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
    m_document.errandEnded();
    Q_EMIT ended();
}

void Errand::finish(const std::shared_ptr<Run> &run, const Delivery &delivery)
{
    if (run != m_current)
        return; // given up after it was posted
    m_current.reset();
    if (delivery)
        delivery();
    m_document.errandEnded();
    Q_EMIT ended();
}

} // namespace quenlofar
