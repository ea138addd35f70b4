#include "platform/repeating_timer.h"

#include <QCoreApplication>
#include <QThread>

namespace slidebox::platform {

RepeatingTimer::RepeatingTimer(std::chrono::milliseconds interval, std::function<void()> tick)
    : timer_(new QTimer) {
    // A timer of the main thread belongs to the application object, so that
    // a record kept alive only by its own tick is freed when the program
    // ends without that tick coming (no event loop any more).
    if (QCoreApplication* application = QCoreApplication::instance();
        application && application->thread() == QThread::currentThread())
        timer_->setParent(application);
    timer_->setTimerType(Qt::PreciseTimer);
    timer_->setInterval(interval);
    QObject::connect(timer_, &QTimer::timeout, timer_, [tick = std::move(tick)] { tick(); });
    timer_->start();
}

RepeatingTimer::~RepeatingTimer() {
    invalidate();
}

void RepeatingTimer::invalidate() {
    if (timer_.isNull())
        return;
    QTimer* timer = timer_.data();
    timer_.clear();
    timer->stop();
    // Qt keeps a slot alive while it runs, so the tick function (and the last
    // reference it may hold) ends as soon as a running tick returns.
    QObject::disconnect(timer, nullptr, nullptr, nullptr);
    timer->deleteLater();
}

void performAfterDelay(std::chrono::milliseconds delay, std::function<void()> fn) {
    QTimer::singleShot(delay, QCoreApplication::instance(), [fn = std::move(fn)] { fn(); });
}

} // namespace slidebox::platform
