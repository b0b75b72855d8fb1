// Rows of a grid on all cores, for node-independent grid work (median, kriging, rendering).
//
// A result computed this way depends only on each node's own inputs, never on which thread made
// it or in what order the rows were dealt, so a grid is the same on one thread and on many; the
// tests compare 1 and N threads node for node.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace sarnoth::detail {

inline constexpr int kMaxBandThreads = 16;

// The number of threads to use: `requested` when above 0, else one per core, at most
// kMaxBandThreads, and never more than there are bands of `minRowsPerThread` rows.
inline int rowThreads(int rows, int requested, int minRowsPerThread = 1) {
  int hw = static_cast<int>(std::thread::hardware_concurrency());
  int threads = std::clamp(requested > 0 ? requested : hw, 1, kMaxBandThreads);
  return std::max(1, std::min(threads, rows / std::max(1, minRowsPerThread)));
}

// Calls fn(rowBegin, rowEnd, threadIndex) for disjoint bands that cover [0, rows), band 0 on the
// calling thread, on at most `maxThreads` threads (0: one per core, up to kMaxBandThreads).
template <class Fn>
void forRowBands(int rows, Fn&& fn, int minRowsPerThread = 4, int maxThreads = 0) {
  int threads = rowThreads(rows, maxThreads, minRowsPerThread);
  if (threads <= 1) {
    fn(0, rows, 0);
    return;
  }
  std::vector<std::thread> pool;
  pool.reserve(static_cast<std::size_t>(threads - 1));
  std::exception_ptr failure;
  std::mutex m;
  auto band = [&](int t) {
    int b = static_cast<int>(static_cast<long long>(rows) * t / threads);
    int e = static_cast<int>(static_cast<long long>(rows) * (t + 1) / threads);
    try {
      fn(b, e, t);
    } catch (...) {
      std::lock_guard lock(m);
      if (!failure) failure = std::current_exception();
    }
  };
  for (int t = 1; t < threads; ++t) pool.emplace_back(band, t);
  band(0);
  for (auto& th : pool) th.join();
  if (failure) std::rethrow_exception(failure);
}

// Work items 0 … count−1 (rows, bands) done by `threads` workers (0: one per core), each item
// taken from a shared counter, while the calling thread does none of them and instead calls
// watch(itemsDone) every `intervalMs` and once at the end; it may show progress and let window
// events run there. When watch returns false no further item is started and the call returns
// false (also when that answer comes at the end). An exception in a worker stops the others and is
// rethrown here.
template <class Fn, class Watch>
bool forItemsWatched(int count, int threads, Fn&& fn, Watch&& watch, int intervalMs = 50) {
  threads = std::max(1, std::min(threads > 0 ? threads : rowThreads(count, 0), count));
  std::atomic<int> next{0};
  int done = 0;  // guarded by m
  bool stop = false;
  std::exception_ptr failure;
  std::mutex m;
  std::condition_variable cv;
  auto worker = [&](int t) {
    for (;;) {
      {
        std::lock_guard lock(m);
        if (stop) return;
      }
      const int i = next.fetch_add(1, std::memory_order_relaxed);
      if (i >= count) return;
      try {
        fn(i, t);
      } catch (...) {
        std::lock_guard lock(m);
        if (!failure) failure = std::current_exception();
        stop = true;
        cv.notify_all();
        return;
      }
      std::lock_guard lock(m);
      if (++done == count) cv.notify_all();
    }
  };
  std::vector<std::thread> pool;
  pool.reserve(static_cast<std::size_t>(threads));
  for (int t = 0; t < threads; ++t) pool.emplace_back(worker, t);
  bool cancelled = false;
  {
    std::unique_lock lock(m);
    while (done < count && !stop) {
      cv.wait_for(lock, std::chrono::milliseconds(intervalMs),
                  [&] { return done >= count || stop; });
      if (done >= count || stop) break;
      const int now = done;
      lock.unlock();
      const bool goOn = watch(now);
      lock.lock();
      if (!goOn) {
        cancelled = true;
        stop = true;
      }
    }
  }
  for (auto& th : pool) th.join();
  if (failure) std::rethrow_exception(failure);
  // The last word is the watcher's too: a stop asked for at the very end still stops.
  if (!cancelled && !watch(done)) cancelled = true;
  return !cancelled;
}

}  // namespace sarnoth::detail
