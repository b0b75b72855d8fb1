// Row bands on all cores, for node-independent grid work (median, kriging).
//
// Rows are dealt out in contiguous bands, one per thread; each node's result depends only on
// its own inputs, so the grid does not depend on the number of threads.
#pragma once

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

namespace sarnoth::detail {

// The threads forRowBands uses when not told: one per core, at most 16.
inline int defaultRowThreads() {
  return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 16);
}

// Calls fn(rowBegin, rowEnd, threadIndex) for disjoint bands that cover [0, rows), on at most
// `threads` threads (0: one per core). Band 0 runs on the calling thread.
template <class Fn>
void forRowBandsOn(int threads, int rows, Fn&& fn, int minRowsPerThread = 4) {
  if (threads <= 0) threads = defaultRowThreads();
  threads = std::max(1, std::min(threads, rows / std::max(1, minRowsPerThread)));
  if (threads <= 1) {
    fn(0, rows, 0);
    return;
  }
  std::vector<std::thread> pool;
  pool.reserve(static_cast<std::size_t>(threads - 1));
  auto band = [&](int t) {
    int b = static_cast<int>(static_cast<long long>(rows) * t / threads);
    int e = static_cast<int>(static_cast<long long>(rows) * (t + 1) / threads);
    fn(b, e, t);
  };
  for (int t = 1; t < threads; ++t) pool.emplace_back(band, t);
  band(0);
  for (auto& th : pool) th.join();
}

// Calls fn(rowBegin, rowEnd, threadIndex) for disjoint bands that cover [0, rows).
template <class Fn>
void forRowBands(int rows, Fn&& fn, int minRowsPerThread = 4) {
  forRowBandsOn(0, rows, std::forward<Fn>(fn), minRowsPerThread);
}

}  // namespace sarnoth::detail
