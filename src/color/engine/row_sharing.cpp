#include "color/engine/row_sharing.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace slidebox::color::engine {

unsigned threadsFor(std::size_t items, std::size_t itemsPerThread, unsigned wanted) {
    if (wanted == 0)
        wanted = std::max(1u, std::thread::hardware_concurrency());
    const std::size_t worth = itemsPerThread == 0 ? items : items / itemsPerThread;
    return static_cast<unsigned>(std::clamp<std::size_t>(worth, 1, wanted));
}

void shareWork(std::size_t items, std::size_t run, unsigned threads,
               const std::function<void(std::size_t, std::size_t)>& work) {
    run = std::max<std::size_t>(run, 1);
    std::atomic<std::size_t> next{0};
    auto take = [&] {
        for (std::size_t first; (first = next.fetch_add(run)) < items;)
            work(first, std::min(items, first + run));
    };
    std::vector<std::thread> helpers;
    for (unsigned i = 1; i < threads; ++i) {
        try {
            helpers.emplace_back(take);
        } catch (const std::system_error&) {
            break; // no more threads to be had: those started and this one share it
        }
    }
    take();
    for (std::thread& helper : helpers)
        helper.join();
}

} // namespace slidebox::color::engine
