#pragma once

// One way of sharing work between threads, for bitmaps and runs of colours.

#include <cstddef>
#include <functional>

namespace slidebox::color::engine {

/// Threads worth starting for `items` units of work when each thread should
/// have at least `itemsPerThread` of them: at most `wanted` (0: one a core),
/// at least 1.
unsigned threadsFor(std::size_t items, std::size_t itemsPerThread, unsigned wanted = 0);

/// Calls work(first, last) over 0..items in runs of `run` units (the last
/// run shorter), on up to `threads` threads, each taking the next run as it
/// comes free, so that a core busy with something else holds nobody up.
/// The calling thread works too, and alone when no other thread can be had.
/// Returns when every run is done.
void shareWork(std::size_t items, std::size_t run, unsigned threads,
               const std::function<void(std::size_t first, std::size_t last)>& work);

} // namespace slidebox::color::engine
