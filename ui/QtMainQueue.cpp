#include "ui/QtMainQueue.h"

#include "platform/concurrency/MainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <mutex>

namespace tavik {

// Other threads may be about to wake the queue when it goes.
struct QtMainQueue::Link {
    std::mutex mutex;
    QtMainQueue* queue = nullptr;       // guarded by mutex
    std::atomic<bool> isWaking = false; // an event is on its way

    void wake() {
        if (isWaking.exchange(true))
            return;
        const std::lock_guard lock(mutex);
        if (queue)
            QCoreApplication::postEvent(queue, new QEvent(QEvent::User));
    }
};

QtMainQueue::QtMainQueue()
    : link(std::make_shared<Link>()) {
    link->queue = this;
    MainQueue::shared().setWaker([link = link] { link->wake(); });
    link->wake(); // for what was posted before
}

QtMainQueue::~QtMainQueue() {
    MainQueue::shared().setWaker({});
    const std::lock_guard lock(link->mutex);
    link->queue = nullptr;
}

bool QtMainQueue::event(QEvent* event) {
    if (event->type() != QEvent::User)
        return QObject::event(event);
    link->isWaking = false;
    MainQueue::shared().drain();
    if (MainQueue::shared().isQuitting())
        QCoreApplication::exit(0);
    return true;
}

} // namespace tavik
