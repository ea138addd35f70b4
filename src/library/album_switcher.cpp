#include "library/album_switcher.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include <QCoreApplication>
#include <QMetaObject>

#include "platform/repeating_timer.h"

namespace slidebox {

namespace {
constexpr std::chrono::milliseconds kSwitchDelay{200};
} // namespace

struct AlbumSwitcher::State : std::enable_shared_from_this<AlbumSwitcher::State> {
    explicit State(iPhotoApplication app) : application(std::move(app)) {}

    const iPhotoApplication application; // only const operations: safe from the worker

    std::mutex mutex;
    std::condition_variable idle;
    std::map<std::uint64_t, std::string> delayed; // by order of asking, still in their delay
    std::uint64_t nextTicket = 0;
    std::deque<std::string> queue; // handed over, waiting for the worker
    bool workerRunning = false;    // the worker takes paths until the queue is empty
    std::thread worker;
    FailureHandler onFailure; // main thread only

    // Called with the mutex held.
    bool isIdle() const { return delayed.empty() && queue.empty() && !workerRunning; }

    // Hands a path to the worker, starting one if none runs. Main thread.
    void handOver(std::string path) {
        std::thread finished;
        {
            std::lock_guard lock(mutex);
            queue.push_back(std::move(path));
            if (workerRunning)
                return;
            workerRunning = true;
            finished = std::move(worker);
            worker = std::thread([this] { work(); });
        }
        if (finished.joinable())
            finished.join(); // it had taken its last path and was on its way out
    }

    // From the worker: the handler runs on the main thread, if the switcher
    // is still there by then.
    void reportFailure(const std::string& path, platform::Status status) {
        QCoreApplication* app = QCoreApplication::instance();
        if (!app)
            return;
        std::weak_ptr<State> weak = weak_from_this();
        QMetaObject::invokeMethod(
            app,
            [weak, path, status = std::move(status)] {
                if (auto state = weak.lock(); state && state->onFailure)
                    state->onFailure(path, status);
            },
            Qt::QueuedConnection);
    }

    // The worker thread: one switch after the other, each to its end.
    void work() {
        std::unique_lock lock(mutex);
        while (!queue.empty()) {
            const std::string path = std::move(queue.front());
            queue.pop_front();
            lock.unlock();
            platform::Status status = application.threadSwitchAlbum(path);
            if (!status)
                reportFailure(path, std::move(status));
            lock.lock();
        }
        workerRunning = false;
        idle.notify_all();
    }
};

AlbumSwitcher::AlbumSwitcher(iPhotoApplication application)
    : state_(std::make_shared<State>(std::move(application))) {}

AlbumSwitcher::~AlbumSwitcher() {
    // Switches still in their delay were asked for: they go now, in order.
    std::map<std::uint64_t, std::string> delayed;
    {
        std::lock_guard lock(state_->mutex);
        delayed.swap(state_->delayed);
    }
    for (auto& [ticket, path] : delayed)
        state_->handOver(std::move(path));
    std::thread worker;
    {
        std::unique_lock lock(state_->mutex);
        state_->idle.wait(lock, [this] { return !state_->workerRunning; });
        worker = std::move(state_->worker);
    }
    if (worker.joinable())
        worker.join();
}

void AlbumSwitcher::switchAlbum(const std::string& path) {
    std::uint64_t ticket = 0;
    {
        std::lock_guard lock(state_->mutex);
        ticket = state_->nextTicket++;
        state_->delayed.emplace(ticket, path);
    }
    std::weak_ptr<State> weak = state_;
    platform::performAfterDelay(kSwitchDelay, [weak, ticket] {
        auto state = weak.lock();
        if (!state)
            return;
        // Every switch asked before this one goes first, so that the order
        // of asking holds whatever order the delays end in.
        std::map<std::uint64_t, std::string> due;
        {
            std::lock_guard lock(state->mutex);
            auto end = state->delayed.upper_bound(ticket);
            due.insert(std::make_move_iterator(state->delayed.begin()),
                       std::make_move_iterator(end));
            state->delayed.erase(state->delayed.begin(), end);
        }
        for (auto& [earlier, path] : due)
            state->handOver(std::move(path));
    });
}

void AlbumSwitcher::setFailureHandler(FailureHandler handler) {
    state_->onFailure = std::move(handler);
}

bool AlbumSwitcher::waitUntilIdle(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        // The delays end on this thread's event loop, so it has to turn.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        std::unique_lock lock(state_->mutex);
        if (state_->isIdle())
            return true;
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline)
            return false;
        state_->idle.wait_for(lock, std::min<std::chrono::steady_clock::duration>(
                                        deadline - now, std::chrono::milliseconds(5)));
    }
}

} // namespace slidebox
